// Partial files: what a broken transfer leaves, and how a later one goes on
// with it. Its name is that of the file and one byte 0xA5. It holds
//   binary     the data as received; its length is where to resume
//   text       the converted text and 4 bytes, the stream position
//   MacBinary  the forks so far, and its 128-byte header at the end of the
//              data fork, with the stream position in it
// What else there is to know is noted in its Finder info, as a place that
// nothing else uses there.
//
// Only the name ties a partial file to a new offer. One that is shorter than
// the offer is gone on with, whether the sender asks for it or not.
#pragma once

#include "platform/types.h"

#include <cstdint>

constexpr uint8_t kPartialMark = 0xA5;

// 1 if a partial copy of zRcvName is there and goes on at StartPos. It then
// has its final name, and needs closeit to become a partial file again.
int32_t CheckForResume();

// The file in work isn't whole: it becomes a partial file, or goes if nothing
// could be done with it.
void keep_partial();

// ---- a partial that stays open ---------------------------------------------
// What comes goes into it behind what it holds. Known and kept: one that is at
// least as long as the offer is for the user to look at, and this way nothing
// of either is lost. Such a transfer makes no whole file.

bool partial_is_open();    // zRcvRef is one
OSErr start_behind_part(); // before the first byte goes into it
void forget_part();        // when a file is over
