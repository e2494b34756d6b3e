// The dialer and what talks to the modem besides it.
#pragma once

#include <cstdint>

#include "platform/dialogs.h"
#include "platform/types.h"

extern DialogPtr ddlog;       // the dialing dialog, null when no dial goes on
extern WindowPtr ddwin;       // its window
extern uint32_t gCarrierRate; // speed of the line as far as known

void do_dial(int16_t item, uint16_t modifiers); // the Dial menu's handler
void HangUp();
void SendModInit();   // global string 4 to the modem
void SendModDeInit(); // global string 7, if not empty
