// Kermit's packets: the state of a transfer, building and checking.

#include "transfer/kermitParts.h"

#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>

#include "base/pstr.h"
#include "platform/resources.h"

// ---- constants -------------------------------------------------------------

constexpr int32_t kShortMost = 95; // SEQ, TYPE, data and check below it: short
constexpr int32_t kHeadShort = 3;  // LEN, SEQ, TYPE
constexpr int32_t kHeadLong = 6;   // and LENX1, LENX2, HCHECK
constexpr int32_t kNulsBehind = 2; // NULs behind a field
constexpr int16_t kTries = 11;
constexpr int16_t kFirstChunk = 32; // of the output, in bytes
constexpr int16_t kLeastChunk = 128;
constexpr int16_t kMostChunk = 510;
constexpr int32_t kTraceLevel = 5; // of Verbose

// ---- state -----------------------------------------------------------------

int16_t urpsiz = 1024;
int16_t rpsiz, spmax, spsiz, spsizr, timint;
int16_t Ktimeout = 400;

int16_t npad;
uint8_t padchar, seol;
int16_t bctr, bctu, bctl;

uint8_t *packet;
uint8_t recpkt[94];
int16_t rln;
int16_t n, numtry, oldtry;
uint8_t state;
int16_t size;

// clang-format off
constexpr uint32_t crcta[16] = {
    0x0000, 0x1081, 0x2102, 0x3183, 0x4204, 0x5285, 0x6306, 0x7387,
    0x8408, 0x9489, 0xA50A, 0xB58B, 0xC60C, 0xD68D, 0xE70E, 0xF78F,
};
constexpr uint32_t crctb[16] = {
    0x0000, 0x1189, 0x2312, 0x329B, 0x4624, 0x57AD, 0x6536, 0x74BF,
    0x8C48, 0x9DC1, 0xAF5A, 0xBED3, 0xCA6C, 0xDBE5, 0xE97E, 0xF8F7,
};
// clang-format on

// ---- traces ----------------------------------------------------------------

bool Tracing()
{
    return Verbose > kTraceLevel;
}

void printnum(int32_t value)
{
    Str255 text;

    NumToString(value, text);
    pstrcatchr(text, ' ');
    drawPString(text);
}

static void trace_packet(const char *what, uint8_t type, int32_t seq,
                         int32_t length)
{
    drawCString(what);
    // The other side's letter: a control byte stays without effect.
    Put_Char(type < ' ' ? uint8_t('?') : type);
    drawCString("  #");
    printnum(seq);
    printnum(length);
}

// ---- checks ----------------------------------------------------------------

// What both checks make of the bytes so far. The CRC is kept only while it is
// the check in use.
struct running_check {
    uint32_t sum = 0;
    uint32_t crc = 0;
};

// Remainders of a byte that so many others follow. A CRC byte by byte was a
// fifth of a transfer's time.
struct wide_tables {
    uint16_t of[4][256];
};

static constexpr wide_tables make_tables()
{
    wide_tables t = {};
    for (int i = 0; i < 256; i++)
        t.of[0][i] = uint16_t(crcta[i >> 4] ^ crctb[i & 15]);
    for (int behind = 1; behind < 4; behind++) {
        for (int i = 0; i < 256; i++) {
            uint16_t c = t.of[behind - 1][i];
            t.of[behind][i] = uint16_t(c >> 8 ^ t.of[0][c & 255]);
        }
    }
    return t;
}
static constexpr wide_tables wide = make_tables();

static uint32_t crc_run(uint32_t crc, const uint8_t *b, int32_t count)
{
    for (; count >= 4; count -= 4, b += 4) {
        uint32_t t = crc ^ (b[0] | uint32_t(b[1]) << 8);
        crc = uint32_t(wide.of[3][t & 255] ^ wide.of[2][t >> 8] ^
                       wide.of[1][b[2]] ^ wide.of[0][b[3]]);
    }
    for (; count > 0; count--, b++)
        crc = crc >> 8 ^ wide.of[0][(crc ^ *b) & 255];
    return crc;
}

static void count_in(running_check &check, const uint8_t *bytes, int32_t count)
{
    uint32_t sum = check.sum;
    for (int32_t i = 0; i < count; i++)
        sum += bytes[i];
    check.sum = sum;
    if (bctu == 3)
        check.crc = crc_run(check.crc, bytes, count);
}

static uint8_t folded(uint32_t sum)
{
    return uint8_t((sum + ((sum & 192) >> 6)) & 63);
}

// The header's own check.
static uint8_t header_check(const uint8_t *head)
{
    uint32_t sum = 0;
    for (int32_t i = 0; i < kHeadLong - 1; i++)
        sum += head[i];
    return folded(sum);
}

void UseAgreedCheck()
{
    bctu = bctr;
    bctl = bctr == kCheckB ? 2 : bctr;
}

// ---- sending ---------------------------------------------------------------

// awPut for many bytes: all but the one that fills a chunk are only copied.
static void put_all(const uint8_t *bytes, int32_t count)
{
    while (count > 0) {
        int32_t some = std::min<int32_t>(awMax - awCnt, count) - 1;
        if (some > 0) {
            awPtr = std::copy(bytes, bytes + some, awPtr);
            awCnt = int16_t(awCnt + some);
            bytes += some;
            count -= some;
        }
        awPut(*bytes++);
        count--;
    }
}

static void put_check(const running_check &check)
{
    uint32_t s = check.sum;
    uint32_t c = check.crc;

    switch (bctu) {
    case 1:
        awPut(folded(s) + 32);
        break;
    case 2:
        awPut((s >> 6 & 63) + 32);
        awPut((s & 63) + 32);
        break;
    case 3:
        awPut((c >> 12 & 15) + 32);
        awPut((c >> 6 & 63) + 32);
        awPut((c & 63) + 32);
        break;
    case kCheckB:
        awPut((s >> 6 & 63) + 33);
        awPut((s & 63) + 33);
        break;
    }
}

void SendPkt(uint8_t type, int16_t seq, int16_t length, const uint8_t *field)
{
    uint8_t head[kHeadLong];
    int32_t headLen = kHeadShort;
    int32_t rest = length + bctl;
    running_check check;

    if (Tracing()) {
        trace_packet(" SendPkt: ", type, seq, length);
        drawCString("bctu=");
        printnum(bctu);
    }
    awMax = kFirstChunk;
    awMax2 = std::clamp<int16_t>(length / 2, kLeastChunk, kMostChunk);

    head[0] = uint8_t(rest + 2 + 32);
    head[1] = uint8_t(seq + 32);
    head[2] = type;
    if (rest + 2 >= kShortMost) {
        head[0] = ' ';
        head[3] = uint8_t(rest / 95 + 32);
        head[4] = uint8_t(rest % 95 + 32);
        head[5] = header_check(head) + 32;
        headLen = kHeadLong;
    }
    count_in(check, head, headLen);
    count_in(check, field, length);

    awGather(true); // one call of the system for the packet
    for (int16_t i = 0; i < npad; i++)
        awPut(padchar);
    awPut(SOH);
    put_all(head, headLen);
    put_all(field, length);
    put_check(check);
    awPut(seol);
    awStart();
    awGather(false);
    FlushAW();
}

// ---- reading ---------------------------------------------------------------

// The next byte, or a negative result. A cancel counts even while bytes come:
// the other side may never stop.
static int16_t next_byte()
{
    return UserCancel ? int16_t(TIMEOUT) : readline(Ktimeout);
}

// LEN to TYPE, of a long packet to HCHECK. A SOH among them starts a packet
// anew: what stood before it was the start of a damaged one. Returns the
// length, or a negative result.
static int32_t read_header(uint8_t *head)
{
    int32_t have = 0, want = kHeadShort;

    while (have < want) {
        int16_t c = next_byte();
        if (c < 0)
            return c;
        c &= 0x7F;
        if (c == SOH) {
            have = 0;
            want = kHeadShort;
            continue;
        }
        head[have++] = uint8_t(c);
        if (have == kHeadShort && head[0] == ' ')
            want = kHeadLong;
    }
    return have;
}

static bool header_good(const uint8_t *head)
{
    uint8_t h = header_check(head);

    // Some senders forget the offset.
    if (head[5] - 32 == h || head[5] == h)
        return true;
    if (Verbose > 0) {
        drawCString("  bad hdr checksum ");
        printnum(h);
        drawCString(",");
        printnum(head[5]);
    }
    return false;
}

// Length of the field by the header; negative if that makes no sense.
static int32_t field_length(const uint8_t *head)
{
    if (head[0] != ' ')
        return head[0] - 32 - bctl - 2;
    return (head[3] - 32) * 95 + (head[4] - 32) - bctl;
}

// What the line brought of a field, from its place `at` on. Returns false if
// the packet is bad: by a SOH, which no correct sender leaves unquoted, or by
// more bytes than there is room for.
static bool take_bytes(uint8_t *bytes, int32_t count, uint8_t *buffer,
                       int32_t at, int32_t room, running_check &check)
{
    bool good = at + count <= room;

    if (parityFlag || Wcsmask != 255) {
        uint8_t mask = uint8_t(parityFlag ? Wcsmask & 0x7F : Wcsmask);
        for (int32_t i = 0; i < count; i++)
            bytes[i] &= mask;
    }
    count_in(check, bytes, count);
    int32_t stored = std::clamp<int32_t>(room - at, 0, count);
    uint32_t soh = 0;
    for (int32_t i = 0; i < count; i++)
        soh |= bytes[i] == SOH;
    std::copy(bytes, bytes + stored, buffer + at);
    return good && !soh;
}

// The field: 1, 0 if the packet is bad, or a negative result. All bytes are
// taken from the line in any case.
static int32_t read_field(uint8_t *buffer, int32_t room, int32_t length,
                          running_check &check)
{
    bool good = true;

    for (int32_t i = 0; i < length;) {
        int16_t c = next_byte();
        if (c < 0)
            return c;
        uint8_t one = uint8_t(c);
        good &= take_bytes(&one, 1, buffer, i++, room, check);
        // The rest of what the port has given, at once.
        int16_t more = int16_t(std::min(BytesReady(), length - i));
        uint8_t *bytes = more > 0 ? GetBytes(&more) : nullptr;
        if (bytes) {
            good &= take_bytes(bytes, more, buffer, i, room, check);
            i += more;
        }
    }
    std::fill_n(buffer + std::min(length, room), kNulsBehind, uint8_t(0));
    return good;
}

// The check bytes against what they are for: 1, 0 or a negative result.
static int32_t read_check(const running_check &check)
{
    uint32_t b[3] = {0, 0, 0};
    bool good = true;

    for (int16_t i = 0; i < bctl; i++) {
        int16_t c = next_byte();
        if (c < 0)
            return c;
        if (parityFlag)
            c &= 0x7F;
        good &= c != SOH;
        b[i] = uint8_t(c - 32);
    }
    switch (bctu) {
    case 1:
        return good && b[0] == folded(check.sum);
    case 2:
        return good && ((b[0] << 6 | b[1]) & 0xFFF) == (check.sum & 0xFFF);
    case 3:
        return good && ((b[0] << 12 | b[1] << 6 | b[2]) & 0xFFFF) == check.crc;
    case kCheckB:
        return good &&
               (((b[0] - 1) << 6 | (b[1] - 1)) & 0xFFF) == (check.sum & 0xFFF);
    }
    return 0;
}

uint8_t ReadPkt(int16_t *length, int16_t *seq, uint8_t *buffer)
{
    const int32_t room =
        (buffer == recpkt ? int32_t(sizeof recpkt) : urpsiz + kPacketSlack) -
        kNulsBehind;
    uint8_t head[kHeadLong];
    running_check check;
    int16_t c;

    do {
        c = next_byte();
        if (c < 0)
            return 0;
    } while ((c & 0x7F) != SOH);

    int32_t headLen = read_header(head);
    if (headLen < 0)
        return 0;
    int32_t fieldLen = field_length(head);
    *seq = (head[1] - 32) & 255;
    uint8_t type = head[2];
    if (Tracing())
        trace_packet("  ReadPkt: ", type, *seq, fieldLen);
    if ((headLen == kHeadLong && !header_good(head)) || fieldLen < 0)
        return 0;
    count_in(check, head, headLen);

    int32_t fieldGood = read_field(buffer, room, fieldLen, check);
    int32_t checkGood = fieldGood < 0 ? fieldGood : read_check(check);
    if (checkGood < 0)
        return 0;
    if (!fieldGood || !checkGood || type == 0) {
        type = 0;
        if (Verbose) {
            drawCString("\n\rReadPkt, chk err: bctu=");
            printnum(bctu);
        }
    }
    (void)readline(1); // the byte behind the packet, if there is one
    *length = rln = int16_t(std::min(fieldLen, room));
    return type;
}

// ---- numbers and tries -----------------------------------------------------

bool one_more(int16_t &tries)
{
    return tries++ < kTries;
}

void step_on()
{
    numtry = 0;
    n = next_seq(n);
}

void printerr(const char *text, int32_t status)
{
    SendPkt('A', n, 0, nullptr);
    if (zdir == 'S')
        sclose();
    else
        (void)closeit(); // it isn't complete, and the text says so
    zprterr(OSErr(status), text);
}
