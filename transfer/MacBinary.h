// MacBinary: a file of two forks as one stream, which is a header of 128 bytes
// and then the data fork and the resource fork, each padded to a multiple of
// 128. The format is the public MacBinary II.
//
// The header's numbers stand in the machine's own byte order, in both
// directions. On a little-endian machine they are reversed against the public
// format, and so is the CRC.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

constexpr int32_t kMacBinHeader = 128; // bytes of it, and what forks pad to

// What a header says.
struct mac_header {
    uint8_t name[64];           // length-prefixed; from afar it may be any name
    FInfo info;                 // type, creator, flags; 0 beside them when read
    bool locked;                //
    int32_t dataLen, rsrcLen;   // of the forks, never negative when read
    uint32_t created, modified; // dates; before 1970 they mean nothing
};

extern uint8_t MacBin2; // the header last judged, or to be sent, is version II

// 1 if a block of 128 bytes is a header; sets MacBin2. One of version II with
// a wrong CRC counts as version I.
int16_t IsMacBin(const uint8_t *bytes);

// A block that IsMacBin has just accepted, taken apart.
void read_mac_header(const uint8_t *bytes, mac_header *h);

// The same made, for a file to be sent: version II.
void make_mac_header(const mac_header &h, uint8_t *bytes);

// ---- lengths ---------------------------------------------------------------
// A fork's length with its padding. The receiver has 24 bits for it and the
// sender 28, so a longer fork comes out short.

constexpr uint32_t kPadMaskIn = 0xFFFF80;
constexpr uint32_t kPadMaskOut = 0xFFFFF80;

constexpr int32_t padded(int32_t length, uint32_t mask)
{
    return int32_t((uint32_t(length) + 127) & mask);
}

// Bytes of padding behind a fork.
constexpr int32_t padding(int32_t length)
{
    return -length & (kMacBinHeader - 1);
}

// ---- partial files ---------------------------------------------------------
// A place that the format leaves free holds the stream position at the break.

void put_break(uint8_t *bytes, int32_t pos);
int32_t take_break(uint8_t *bytes); // and clears it
