// The received-file writer. Every receiving protocol hands its blocks to
// zWriteData and ends with closeit. From the first block it judges what kind
// of file comes (MacBinary, text, binary), makes the file, unpacks MacBinary
// into its two forks, and converts line ends of text. A file that doesn't come
// whole stays as a partial file (Partial.h).
#pragma once

#include "platform/types.h"

#include <cstdint>

constexpr OSType qPBN = FOUR("qPBN"); // kinds of file, should it break
constexpr OSType qPTX = FOUR("qPTX");
constexpr OSType qPMB = FOUR("qPMB");

extern Str255 zRcvName;   // name by the sender, to 31 bytes
extern Str255 zRcvMBName; // name on disk, to 31 bytes
extern int16_t zRcvRef;   // open file, 0 if none
extern int32_t zftype;    // 'B' binary, 'T' text, 'M' MacBinary
extern OSType tFType;     // partial kind; the file carries curFType
extern OSType curFCreator, curFType;
extern int32_t curFflags;      // Finder flags
extern uint8_t curFork;        // 'D' or 'R', the fork in work
extern int16_t fileLock;       // lock the file when it is complete
extern uint8_t mbHeader[128];  // MacBinary header, or a first block held
extern int32_t sPartialMacBin; // bytes held of a short first block
extern uint8_t lastc;          // last input byte that text kept
extern int32_t Eofseen;        // a Ctrl-Z was met in text
extern uint8_t dupeAction;     // 0 undecided, 1 new name, 2 skip, 3 over
extern int32_t op_xconv;       // local conversion: 'S' 'M' 'T' 'B'

// A block at stream position `pos`. 0, an error code, or -1 when the file is
// to be skipped; anything but 0 makes the protocol give the file up.
int32_t zWriteData(int32_t pos, const uint8_t *buf, int16_t len);

// Ends the file. With gotEOF set it is whole, unless something of it is
// missing: then gotEOF is cleared, and it stays as a partial file, as it does
// without gotEOF. 0, or -1 after an error. Safe with no file open.
int32_t closeit();

int16_t IsText(const uint8_t *buf, int32_t len);

bool writer_ok(); // what this keeps is in order. Usage: assert(writer_ok());
