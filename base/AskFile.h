// The open and save dialogs of single files.
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/types.h"

// One file to open; 1 if chosen. The first two arguments are not applied: all
// files are shown.
int16_t MyGetFile(int32_t selector, const void *types, FSSpec *spec);

// The save dialog of a text file. 1 if a name was chosen; the caller ends
// with DoNavDisposeReply either way.
int16_t MyPutFile(ConstStr prompt, ConstStr defaultName, FSSpec *spec);
void DoNavDisposeReply();
