// Time and the one place that waits.
#pragma once

#include "platform/types.h"

uint32_t TickCount(); // 1/60 s since the program started

// Waits; nothing is served meanwhile. `final` (may be null) takes the tick.
void Delay(uint32_t ticks, uint32_t *final);

uint32_t GetCaretTime(); // ticks between two changes of a blinking cursor
uint32_t GetDblTime();   // ticks within which two clicks are a double click

// ---- what the port tells the clock -----------------------------------------
// An event wait also ends when the line has bytes, or takes bytes again while
// output is owed. The serial code keeps these three up to date.

// The descriptor to watch, or -1.
void clock_watch_port(int fd);

// A read found nothing (`gone`: and the line has hung up, so that it must not
// be watched until it is opened anew), or it found so many bytes.
void clock_port_empty(bool gone);
void clock_port_read(int32_t bytes);

// At least so many bytes are still to come, and nobody answers before the last
// of them. While it isn't 0, a read that finds nothing on a slow line rests for
// the time in which a good part of them should arrive, up to a tick; a call for
// each handful is what a slow line costs. User input ends the rest.
void clock_expect(int32_t bytes);

// A write took something. Without it, a loop that reads nothing again and
// again counts as one that waits for the line, and is slowed down.
void clock_port_wrote();

// A write took less than was offered: watch for room until told otherwise.
void clock_output_owed(bool owed);

// False while room is watched for and none has been seen: a write now would
// take nothing.
bool clock_output_room();
