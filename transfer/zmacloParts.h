// What the received-file writer (zmaclo) and the keeper of partial files
// (Partial) share, and nobody else needs.
#pragma once

#include "platform/types.h"

#include <cstdint>

// A state of the file from which a transfer can go on: what the stream brought
// up to a position is on the disk. The lengths of the forks don't tell that
// position, but for plain binary. `pos` 0: there is no such state.
struct safe_state {
    int32_t pos;
    int32_t data, rsrc; // lengths of the forks
    bool afterCR;       // of text: the last byte was CR, so an LF is part of it
};

// The file in work. It is begun when it has been made, or found as a partial
// copy to go on with; it then has its final name until closeit, and a fork
// of it may be open. Unless it is begun, all else is 0.
struct file_work {
    bool begun;
    bool hasData;         // it holds bytes of this or an earlier transfer
    bool shortOfStream;   // a write failed: the disk lacks some of the stream
    safe_state found;     // the partial copy, as it was
    safe_state written;   // after the last write that went well,
    safe_state wasBefore; // and after the one before it
};
extern file_work work;

OSErr open_fork(); // the one that curFork names, at its end
void close_fork(); // drops what could not be written; its error is known

// Flags and dates of the file on disk; also its type, unless 0, and what a
// partial file notes beside them.
void set_catalog(OSType type, Point note);
