// The CRCs of ZMODEM: byte tables, and runs of eight bytes a step.

#include "transfer/zm.h"

// ---- CRC -------------------------------------------------------------------
// Row 0 of each set is the standard byte table; row k is the table of a byte
// with k zero bytes behind it, so that eight bytes take one step.

constexpr int kSlices = 8;

using crc16_tables = std::array<std::array<uint16_t, 256>, kSlices>;
using crc32_tables = std::array<std::array<uint32_t, 256>, kSlices>;

static consteval crc16_tables make_crc16()
{
    crc16_tables t{};

    for (int i = 0; i < 256; i++) {
        uint32_t crc = uint32_t(i) << 8;
        for (int bit = 0; bit < 8; bit++)
            crc = crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1;
        t[0][i] = uint16_t(crc);
    }
    for (int k = 1; k < kSlices; k++)
        for (int i = 0; i < 256; i++) {
            uint16_t before = t[k - 1][i];
            t[k][i] = uint16_t(t[0][before >> 8] ^ (before << 8));
        }
    return t;
}

static consteval crc32_tables make_crc32()
{
    crc32_tables t{};

    for (int i = 0; i < 256; i++) {
        uint32_t crc = uint32_t(i);
        for (int bit = 0; bit < 8; bit++)
            crc = crc & 1 ? (crc >> 1) ^ 0xEDB88320 : crc >> 1;
        t[0][i] = crc;
    }
    for (int k = 1; k < kSlices; k++)
        for (int i = 0; i < 256; i++) {
            uint32_t before = t[k - 1][i];
            t[k][i] = t[0][before & 0xFF] ^ (before >> 8);
        }
    return t;
}

static constinit const crc16_tables gCrc16 = make_crc16();
static constinit const crc32_tables gCrc32 = make_crc32();

constinit const std::array<uint16_t, 256> crctab = make_crc16()[0];
constinit const std::array<uint32_t, 256> cr3tab = make_crc32()[0];

uint16_t crc16_run(const uint8_t *p, int32_t n, uint16_t crc)
{
    const crc16_tables &t = gCrc16;

    for (; n >= kSlices; n -= kSlices, p += kSlices)
        crc = uint16_t(t[7][(crc >> 8) ^ p[0]] ^ t[6][(crc & 0xFF) ^ p[1]] ^
                       t[5][p[2]] ^ t[4][p[3]] ^ t[3][p[4]] ^ t[2][p[5]] ^
                       t[1][p[6]] ^ t[0][p[7]]);
    for (; n > 0; n--)
        crc = updcrc(*p++, crc);
    return crc;
}

uint32_t crc32_run(const uint8_t *p, int32_t n, uint32_t crc)
{
    const crc32_tables &t = gCrc32;

    for (; n >= kSlices; n -= kSlices, p += kSlices) {
        uint32_t one = crc ^ (uint32_t(p[0]) | uint32_t(p[1]) << 8 |
                              uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24);
        crc = t[7][one & 0xFF] ^ t[6][(one >> 8) & 0xFF] ^
              t[5][(one >> 16) & 0xFF] ^ t[4][one >> 24] ^ t[3][p[4]] ^
              t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]];
    }
    for (; n > 0; n--)
        crc = UPDC32(*p++, crc);
    return crc;
}
