// Keys into bytes. Nothing is written here: all goes to the send queue, so
// that a key typed while text is being sent stands behind it.
#pragma once

#include "platform/events.h"
#include "platform/types.h"

extern uint8_t gMetaEsc; // the next key gets an ESC before it

// Command key held: makes a Control or Meta key of it if the settings say so,
// by rewriting message and modifiers.
void CmdEvent(EventRecord *event);

// A key: its character, its virtual key code. `port` is not used.
void SendKey(uint8_t character, uint8_t keycode, int16_t port,
             uint16_t modifiers);

// Takes the keys that scroll the view: 1, else 0.
int CheckScrollKeys(uint8_t character, uint8_t keycode, uint16_t modifiers);

void esco(uint8_t c); // ESC O c

// ESC [ first ; second final. A number below 0 is left out, and with `first`
// the second too.
void escBrak(int16_t first, int16_t second, uint8_t final);

void doMacro(int16_t n); // macro 0 to 9 of the connection's set
void setKMAP();          // nothing: the system's key map is used as it is
