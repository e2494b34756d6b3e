// Kermit: one file out, any number in. Stop and wait with long packets, the
// block checks 1, 2, 3 and B, 8th-bit quoting on lines of 7 bits, repeat counts
// on receipt; no windows, no attributes, no server. The format is that of
// da Cruz, "Kermit Protocol Manual", 6th edition.
//
// The line stays as it is: what it can't carry is quoted. Both calls run to
// the end of the transfer, tell the user, and wait only in XferEvent.
#pragma once

#include <cstdint>

// Receives into zRcvVol, zRcvDirID until the sender has no more files. 0.
int16_t KermRecv();

// Sends curSendFSS under the name in hostnames[0]. 0 when the other side has
// acknowledged everything, else 1.
int16_t KermSend();

// Whether the last transfer came to its proper end rather than being broken
// off. What became of its files is in gWholeFiles and gSkippedFiles.
bool KermEnded();
