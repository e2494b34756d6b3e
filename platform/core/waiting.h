// Waiting, for the parts of the core that need more of it than
// core_wait_input.
#pragma once

#include "platform/backend.h"

int64_t ticks_to_us(int64_t ticks);

// Shows what is due, then waits by be_wait until input, the deadline or, with
// `port`, the line. Answers what be_wait answered of these. Shows what falls
// due meanwhile. A wait that doesn't end with the line reads it ahead. A
// deadline of 0 asks the display once.
unsigned wait_until(int64_t deadline, bool port);

int64_t wait_last_asked(); // be_now_us of the last wait's end
