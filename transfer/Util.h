// The sent-file reader: decides how a file goes (binary, text, or MacBinary
// made on the fly), measures it, and serves blocks by stream position, so
// that the receiver can ask for any place again.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

extern CatInfo fb;                       // catalog entry of the last filesize
extern int32_t datBytes, rezBytes;       // fork lengths
extern int32_t datBlkBytes, rezBlkBytes; // rounded up to 128
extern int32_t Ascii;                    // text: CR goes as LF
extern int16_t zSendRef;                 // open fork, 0 if none
extern FSSpec *curSendFSS;               // file being sent
extern int32_t Filesleft, Totalleft;     // of the batch

// Length of the stream that `file` makes; sets TotalBytes, zftype, Lzconv,
// Ascii, curFCreator, curFType, MacBin2, DateMod. `quick` not 0 skips the
// look into the contents.
int32_t filesize(FSSpec *file, int16_t quick);

// Whether the file that filesize has just looked at can't go whole: it is no
// file, or too long, or can't be read. The reason is shown with its name.
bool cant_send(const FSSpec *file);

void countem(int32_t count, FSSpec *const files[]);

int32_t zfilbuf(uint8_t *buf, int32_t len); // ZMODEM: bytes read at Txpos
int32_t filbuf(uint8_t *buf, int32_t len);  // X, Y: len (padded) or 0

// `len` bytes of the MacBinary stream at `pos`; returns those delivered.
int32_t zReadData(int32_t pos, uint8_t *buf, int32_t len);

// Octal with a leading "0", length-prefixed and NUL-terminated.
void octstr(uint8_t *out, uint32_t value);
