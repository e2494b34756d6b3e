// What the desktop asks of the program: start, open documents, quit.
#pragma once

#include <cstdint>

#include "platform/appleevents.h"
#include "platform/types.h"

extern uint8_t gHasAppleEvents;
extern uint8_t gHasPPCToolbox;

void InitAppleEvents(); // installs the handlers

// Handlers. Each gives 0, or the code that the sender of the event gets.
OSErr qlAEOpenApplication();
OSErr qlAEQuitApplication(); // -1708 when refused
OSErr EndOfSession();        // saves all; -1708 when refused
OSErr qlAEOpenDocuments(const FSSpec *files, int count);
OSErr qlAEPrintDocuments(const FSSpec *files, int count); // always -1708

// The first phone book among the documents opens, if none is open yet;
// everything else is ignored. If there was none, the standard book opens.
OSErr OpenDocEventHandler(const FSSpec *files, int count);
