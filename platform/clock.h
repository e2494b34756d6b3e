// Time.
#pragma once

#include "platform/types.h"

uint32_t TickCount(); // 1/60 s since the program started

// Waits; nothing is served meanwhile. `final` (may be null) takes the tick.
void Delay(uint32_t ticks, uint32_t *final);

uint32_t GetCaretTime(); // ticks between two changes of a blinking cursor
uint32_t GetDblTime();   // ticks within which two clicks are a double click
