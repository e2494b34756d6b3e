// Start-up and shut-down, in their fixed order.
//
// InitProgram leaves the program without a window. The first book that opens
// calls FinishInitFoneOpen, which makes the window, then opens the port, then
// applies the settings of the default entry: the port opens only after the
// window stands, and settings need the open port.
#pragma once

#include "base/Program.h"
#include "base/facts.h"
#include "platform/types.h"

#include <cstdint>

// Returns nonzero on success; it can't fail.
int InitProgram();

// 1 when window, port and settings stand; 0 when there was no memory, or the
// user gave up choosing a port.
int FinishInitFoneOpen();

// Saves the settings, lets the modem answer, closes port and windows.
void finish_up();

void MakeUPPs(); // registers the callbacks that controls and dialogs use

extern int32_t stTicks;     // TickCount at the start of InitProgram
extern uint16_t ti;         // next free stamp
extern uint16_t timing[20]; // ticks since stTicks at fixed points; unread

extern Str255 longvers; // the version as people read it
