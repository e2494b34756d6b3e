// MacBinary headers, from the line and for it.

#include "transfer/MacBinary.h"

#include "transfer/zm.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- the header's fields ---------------------------------------------------

enum : int {
    kAtVersion = 0,    // 0
    kAtName = 1,       // length, and up to 63 bytes
    kAtInfo = 65,      // type, creator, flags and the rest of the Finder info
    kAtCreator = 69,   //
    kAtFlags = 73,     // high byte of the Finder flags
    kAtZero1 = 74,     // 0; some senders put 1
    kAtLocked = 81,    // bit 0
    kAtZero2 = 82,     // 0
    kAtDataLen = 83,   // its first byte is 0
    kAtRsrcLen = 87,   // the same
    kAtCreated = 91,   //
    kAtModified = 95,  //
    kAtFlagsLow = 101, // low byte of the Finder flags, in version II
    kAtBreak = 112,    // free: our stream position in a partial file
    kAtWriter = 122,   // the writer's version and the least to read it: above
    kAtReader = 123,   // 128 they make version II
    kAtCRC = 124,      // CRC-16 of all before, high byte first
};

constexpr uint8_t kVersionII = 129;
constexpr int kNameMax = 63;

uint8_t MacBin2;

template <typename T> static T take(const uint8_t *at)
{
    T value;
    memcpy(&value, at, sizeof value);
    return value;
}

template <typename T> static void put(uint8_t *at, T value)
{
    memcpy(at, &value, sizeof value);
}

// ---- receiving -------------------------------------------------------------

int16_t IsMacBin(const uint8_t *h)
{
    const int name = h[kAtName];

    MacBin2 = 0;
    if (h[kAtVersion] != 0 || h[kAtZero1] > 1 || h[kAtZero2] != 0 || name < 1 ||
        name > kNameMax || h[kAtDataLen] != 0 || h[kAtRsrcLen] != 0)
        return 0;
    if (int64_t(take<int32_t>(h + kAtDataLen)) +
            take<int32_t>(h + kAtRsrcLen) <=
        0)
        return 0;
    const uint8_t *text = h + kAtName + 1;
    if (std::any_of(text, text + name, [](uint8_t c) { return c < 32; }))
        return 0;
    if (h[kAtWriter] >= kVersionII && h[kAtReader] >= kVersionII) {
        if (crc16_run(h, kAtCRC + 2, 0) == 0)
            MacBin2 = 1;
        else
            zstat("Bad MacBin2 Hdr CRC");
    }
    return 1;
}

void read_mac_header(const uint8_t *bytes, mac_header *h)
{
    *h = {};
    memcpy(h->name, bytes + kAtName, sizeof h->name);
    h->info.fdType = take<OSType>(bytes + kAtInfo);
    h->info.fdCreator = take<OSType>(bytes + kAtCreator);
    h->info.fdFlags = uint16_t(bytes[kAtFlags] << 8);
    if (MacBin2)
        h->info.fdFlags |= bytes[kAtFlagsLow];
    h->locked = bytes[kAtLocked] & 1;
    h->dataLen = std::max(take<int32_t>(bytes + kAtDataLen), 0);
    h->rsrcLen = std::max(take<int32_t>(bytes + kAtRsrcLen), 0);
    h->created = take<uint32_t>(bytes + kAtCreated);
    h->modified = take<uint32_t>(bytes + kAtModified);
}

// ---- sending ---------------------------------------------------------------

void make_mac_header(const mac_header &h, uint8_t *bytes)
{
    memset(bytes, 0, kMacBinHeader);
    const int name = std::min<int>(h.name[0], kNameMax);
    bytes[kAtName] = uint8_t(name);
    memcpy(bytes + kAtName + 1, h.name + 1, size_t(name));

    // The Finder info goes as it lies in memory. The flags' second byte falls
    // on one that must be zero.
    static_assert(sizeof h.info == 16);
    memcpy(bytes + kAtInfo, &h.info, sizeof h.info);
    bytes[kAtZero1] = 0;
    bytes[kAtLocked] = h.locked;
    put(bytes + kAtDataLen, h.dataLen);
    put(bytes + kAtRsrcLen, h.rsrcLen);
    put(bytes + kAtCreated, h.created);
    put(bytes + kAtModified, h.modified);
    bytes[kAtFlagsLow] = uint8_t(h.info.fdFlags);
    bytes[kAtWriter] = kVersionII;
    bytes[kAtReader] = kVersionII;
    put(bytes + kAtCRC, crc16_run(bytes, kAtCRC, 0));
}

// ---- partial files ---------------------------------------------------------

void put_break(uint8_t *bytes, int32_t pos)
{
    put(bytes + kAtBreak, pos);
}

int32_t take_break(uint8_t *bytes)
{
    int32_t pos = take<int32_t>(bytes + kAtBreak);
    put(bytes + kAtBreak, int32_t(0));
    return pos;
}
