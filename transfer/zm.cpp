// The ZMODEM frame layer: its state, and headers and data subpackets onto the
// line. Taking them off it is zmRead.cpp; the CRCs are zmCrc.cpp.

#include "transfer/zm.h"

#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "transfer/zmTables.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr uint8_t kLFHigh = 0x8A;    // ends a hex header, behind CR
constexpr int16_t kFirstFlush = 32;  // the line starts at so many bytes
constexpr int32_t kLeastFlush = 128; // and goes on in half blocks, at least

// ---- state -----------------------------------------------------------------

uint8_t Rxhdr[4], Txhdr[4];
int16_t Rxtype;
int16_t Rxframeind;
int32_t Rxpos;
int32_t Rxcount;
int16_t Rxtimeout = 100;
int32_t Zrwindow = 1400;
int32_t Zctlesc;
int16_t Txfcs32;
int16_t Crc32t;
int16_t Crc32;
int16_t Znulls;
int32_t Zmodem;
int32_t lastsent;
int32_t evenp;

const char *const frametypes[kFrameNames] = {
    "Carrier Lost", // -3
    "TIMEOUT",      "ERROR",    "ZRQINIT",  "ZRINIT",  "ZSINIT",     "ZACK",
    "ZFILE",        "ZSKIP",    "ZNAK",     "ZABORT",  "ZFIN",       "ZRPOS",
    "ZDATA",        "ZEOF",     "ZFERR",    "ZCRC",    "ZCHALLENGE", "ZCOMPL",
    "ZCAN",         "ZFREECNT", "ZCOMMAND", "ZSTDERR", "xxxxx",
};

// ---- sending ---------------------------------------------------------------

static void plain(uint8_t c)
{
    awPut(c);
    lastsent = c;
}

static void escaped(uint8_t c)
{
    awPut(ZDLE);
    plain(uint8_t(c ^ kFlip));
}

void zsendline(uint8_t c)
{
    if (c & kCtlMask) {
        plain(c);
        return;
    }
    // "@" and CR is the command prefix of an old packet network.
    const out_rule rule = gOutRule[c];
    if (rule == kOutEscape || Zctlesc ||
        (rule == kOutAfterAt && (lastsent & 0x7F) == '@'))
        escaped(c);
    else
        plain(c);
}

// Stages a run as it is: all but the byte that fills the staging buffer are
// copied at once, and awPut hands over.
static void put_run(const uint8_t *p, int32_t n)
{
    while (n > 0) {
        int32_t room = std::min<int32_t>(awMax, kBlockSize) - awCnt - 1;
        int32_t k = std::clamp<int32_t>(room, 0, n);
        if (k > 0) {
            memcpy(awPtr, p, size_t(k));
            awPtr += k;
            awCnt = int16_t(awCnt + k);
            p += k;
            n -= k;
        }
        if (n > 0) {
            awPut(*p++);
            n--;
        }
    }
}

// The data of a subpacket: runs of bytes that need nothing go by put_run.
static void send_escaped(const uint8_t *p, int32_t n)
{
    const out_rule most = Zctlesc ? kOutPlain : kOutIfAll;
    const uint8_t *end = p + n;

    while (p < end) {
        const uint8_t *run = p;
        while (p < end && gOutRule[*p] <= most)
            p++;
        if (p > run) {
            put_run(run, int32_t(p - run));
            lastsent = p[-1];
        }
        if (p < end)
            zsendline(*p++);
    }
}

static void put_hex(uint8_t c)
{
    static const char digits[] = "0123456789abcdef";

    awPut(uint8_t(digits[c >> 4]));
    awPut(uint8_t(digits[c & 15]));
}

void zshhdr(int16_t type, const uint8_t *hdr)
{
    awMax = awMax2 = kFirstFlush;
    Crc32t = 0;

    awPut(ZPAD);
    awPut(ZPAD);
    awPut(ZDLE);
    awPut(HEX16);
    put_hex(uint8_t(type));
    uint16_t crc = updcrc(uint8_t(type), 0);
    for (int i = 0; i < 4; i++) {
        put_hex(hdr[i]);
        crc = updcrc(hdr[i], crc);
    }
    put_hex(uint8_t(crc >> 8));
    put_hex(uint8_t(crc));
    awPut(kCR);
    awPut(kLFHigh);
    // An XON frees a line that a stray XOFF holds. Behind these two the other
    // side may be gone already, and its shell would get the byte.
    if (type != ZACK && type != ZFIN)
        awPut(XON);
    awStart();
    FlushAW();
}

// CRC-32 goes out as its complement, low byte first; CRC-16 high byte first.
static void put_sum(uint32_t crc, bool wide)
{
    if (wide) {
        crc = ~crc;
        for (int i = 0; i < 4; i++, crc >>= 8)
            zsendline(uint8_t(crc));
    } else {
        zsendline(uint8_t(crc >> 8));
        zsendline(uint8_t(crc));
    }
}

void zsbhdr(int16_t type, const uint8_t *hdr)
{
    awMax = awMax2 = kFirstFlush;
    Crc32t = Txfcs32;

    if (type == ZDATA)
        for (int n = Znulls; n > 0; n--)
            awPut(0);
    awPut(ZPAD);
    awPut(ZDLE);

    uint8_t bytes[5] = {uint8_t(type), hdr[0], hdr[1], hdr[2], hdr[3]};
    awPut(Txfcs32 ? BIN32 : BIN16);
    for (uint8_t c : bytes)
        zsendline(c);
    if (Txfcs32)
        put_sum(crc32_run(bytes, 5, 0xFFFFFFFF), true);
    else
        put_sum(crc16_run(bytes, 5, 0), false);
    awStart();
    if (type != ZDATA) // its data follow without a pause
        FlushAW();
}

// The line starts at 32 bytes, then goes on in half blocks, so that composing
// overlaps sending.
static void set_flush(int32_t length)
{
    awMax = kFirstFlush;
    awMax2 = int16_t(std::clamp<int32_t>(length / 2, kLeastFlush, kBlockSize));
}

static void put_subpacket(const uint8_t *buf, int32_t length, uint8_t frameend,
                          bool wide)
{
    awGather(true);
    set_flush(length);
    uint32_t crc =
        wide ? crc32_run(buf, length, 0xFFFFFFFF) : crc16_run(buf, length, 0);
    send_escaped(buf, length);
    awPut(ZDLE);
    awPut(frameend);
    put_sum(wide ? UPDC32(frameend, crc) : updcrc(frameend, uint16_t(crc)),
            wide);
    if (frameend == ZCRCW)
        awPut(XON);
    awStart();
    awGather(false);
    if (frameend == ZCRCW)
        FlushAW();
}

void zsdata(const uint8_t *buf, int32_t length, uint8_t frameend)
{
    put_subpacket(buf, length, frameend, Crc32t != 0);
}

void stohdr(uint32_t pos)
{
    for (int i = 0; i < 4; i++, pos >>= 8)
        Txhdr[i] = uint8_t(pos);
}

uint32_t rclhdr(const uint8_t *hdr)
{
    return uint32_t(hdr[3]) << 24 | uint32_t(hdr[2]) << 16 |
           uint32_t(hdr[1]) << 8 | hdr[0];
}

void sendbrk()
{
    zsleep(1);
    DoBreak(60);
}
