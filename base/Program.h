// What every part may ask about the program as it runs.
#pragma once

#include <cstdint>

#include "platform/types.h"

extern uint8_t moreToDo;      // the program runs while this is nonzero
extern uint8_t Suspended;     // in the background
extern uint8_t gInitializing; // 1 until FinishInitFoneOpen is done
extern OSType textcreator;    // creator of the text files that we write

// Modes of a pass of the main loop.
constexpr char kModeMain = 'M';     // a main window stands
constexpr char kModeSmall = 'S';    // a message box is up, or no window yet
constexpr char kModeDial = 'D';     // the dialer reads from the modem
constexpr char kModeTransfer = 'X'; // a transfer has the line
