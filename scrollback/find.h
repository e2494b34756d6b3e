// Searching store and screen for a text.
#pragma once

#include <cstdint>

#include "platform/events.h"
#include "platform/types.h"

extern char find_str[256];  // what is looked for, zero-ended
extern int32_t findline;    // the search goes on below this line; -1: start
extern DialogPtr srch_dlog; // null while closed
extern WindowPtr srch_dwin;

int32_t str_find(int32_t offset); // offset of the next match, or -1
int32_t pos2line(int32_t offset);
int16_t find_it(); // selects the next line found: 1, or 0 if there is none
void open_find();  // the Find command
bool do_search(EventRecord *event, DialogPtr *dialog, int16_t *item);
