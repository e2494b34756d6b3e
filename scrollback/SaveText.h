// The selection as a text file, new or appended to the last one.
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/types.h"

extern Str255 gAppendBase; // the menu item's text without a name
extern FSSpec gAppendFSS;  // the last append target
extern uint8_t gAppendOK;  // it is usable

int16_t writeBuffer();
OSErr AppendSel(const FSSpec *file);
void SetAppendName(const FSSpec *file, int16_t remember);
void DoAppendSel();
void DoAppendLast();
