// The main loop: one pass of events and small jobs, and the routing of each
// class of event.
//
// Everything runs on one thread. A pass may be turned from inside a pass: a
// message box and the dialer call MainEventLoop with a mask and a mode that
// narrow what it may do, so that the port and the timers stay alive behind a
// modal wait.
#pragma once

#include <cstdint>

#include "base/Program.h"
#include "platform/events.h"
#include "platform/types.h"
#include "platform/windows.h"
#include "terminal/VT100.h"
#include "transfer/xmodem.h"

extern uint8_t gWasFront;    // main window was in front at the last suspend
extern int16_t dialDItem;    // what the user told the waiting dialer, or -1
extern uint32_t ConnectTime; // seconds since 1904, start of the timer shown

// Masks for WaitNextEvent.
constexpr uint16_t kAllEvents = 0xFFFF;
constexpr uint16_t kNoUserEvents = 0xFFC1; // all but mouse and keys
constexpr uint16_t kUserEvents = 62;       // mouse and keys

// The program: 0 after a normal end, 1 if it couldn't start.
int QuillonMain();

// One pass. It waits for at most 10 ticks, in WaitNextEvent.
void MainEventLoop(uint16_t mask, char mode);

// A pass in the mode of a transfer, which waits for at most `sleep` ticks.
// Requests from outside stay in the queue, and so does all that would send,
// type or start anything.
transfer_pass TransferPass(uint32_t sleep);

void DoOSEvent(uint32_t message, WindowPtr front);
void DoActivate(WindowPtr window, bool active);
