// The ZMODEM frame layer: headers and data subpackets, to and from the line.

#include "transfer/zm.h"

#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "platform/clock.h"
#include "terminal/VT100.h"
#include "transfer/rz.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <array>
#include <cstring>

// ---- constants --------------------------------------------------------------

constexpr uint8_t kPadHigh = 0xAA;    // ZPAD with the parity bit
constexpr uint8_t kLFHigh = 0x8A;     // ends a hex header, behind CR
constexpr uint8_t kCtlMask = 0x60;    // none of these bits: a control byte
constexpr uint8_t kFlip = 0x40;       // what escaping changes in a byte
constexpr uint8_t kFlowMask = 0x7D;   // under it XON and XOFF are 0x11,
constexpr uint8_t kFlowByte = 0x11;   // with or without the high bit
constexpr int16_t kFirstFlush = 32;   // the line starts at so many bytes
constexpr int32_t kLeastFlush = 128;  // and goes on in half blocks, at least
// Skips what can't start a header, as far as it is at hand and at most `most`
// bytes. Returns their number. Behind a damaged subpacket this is all that the
// sender had on its way, which on a fast line is a lot.
static int32_t skip_garbage(int32_t most)
{
    int16_t n = int16_t(std::clamp<int32_t>(most, 0, kReadSize));
    const uint8_t *p = GetBytes(&n);
    int32_t k = 0;

    while (k < n && p[k] != CAN && p[k] != ZPAD && p[k] != kPadHigh)
        k++;
    if (k < n)
        putBack(int16_t(n - k));
    return k;
}

constexpr int32_t kGarbage = -100;    // read_form: the byte leads nowhere
constexpr int32_t kBadSum = -101;     // check16: all came, but is wrong
constexpr int kCanRun = 5;            // so many CAN end a transfer
constexpr int16_t kTenth = 1;         // tenth of a second, for readline

// ---- state -------------------------------------------------------------------

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

// A time-out occurred and no header has started since. What comes then is
// most likely the host talking, so all of it is shown.
static int16_t header_timeout;

const char *const frametypes[kFrameNames] = {
    "Carrier Lost",  // -3
    "TIMEOUT",  "ERROR",    "ZRQINIT", "ZRINIT",     "ZSINIT",
    "ZACK",     "ZFILE",    "ZSKIP",   "ZNAK",       "ZABORT",
    "ZFIN",     "ZRPOS",    "ZDATA",   "ZEOF",       "ZFERR",
    "ZCRC",     "ZCHALLENGE", "ZCOMPL", "ZCAN",      "ZFREECNT",
    "ZCOMMAND", "ZSTDERR",  "xxxxx",
};

// ---- CRC ---------------------------------------------------------------------
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

// ---- which bytes need a second look -------------------------------------------

using byte_set = std::array<bool, 256>;

static constexpr bool is_flow(int32_t c)
{
    return (c & kFlowMask) == kFlowByte;
}

// Bytes that zsendline may have to escape; the others go as they are.
static consteval byte_set escaped_bytes(bool all)
{
    byte_set s{};

    for (int c = 0; c < 256; c++) {
        if (c & kCtlMask)
            continue;
        int low = c & 0x7F;
        s[c] = all || low == 0x10 || low == 0x11 || low == 0x13 ||
               low == 0x0D || c == ZDLE;
    }
    return s;
}

// Bytes at which zrdata stops copying.
static consteval byte_set stopping_bytes(bool all)
{
    byte_set s{};

    for (int c = 0; c < 256; c++)
        s[c] = c == ZDLE || is_flow(c) || (all && !(c & kCtlMask));
    return s;
}

static constinit const byte_set gEscaped = escaped_bytes(false);
static constinit const byte_set gEscapedAll = escaped_bytes(true);
static constinit const byte_set gStops = stopping_bytes(false);
static constinit const byte_set gStopsAll = stopping_bytes(true);

// ---- sending -------------------------------------------------------------------

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
    switch (c) {
    case ZDLE:
        escaped(c);
        return;
    case 0x10: case 0x11: case 0x13:
    case 0x90: case 0x91: case 0x93:
        escaped(c);
        return;
    case 0x0D: case 0x8D:
        // "@" and CR is the command prefix of an old packet network.
        if (Zctlesc || (lastsent & 0x7F) == '@')
            escaped(c);
        else
            plain(c);
        return;
    default:
        if (Zctlesc)
            escaped(c);
        else
            plain(c);
    }
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
    const byte_set &special = Zctlesc ? gEscapedAll : gEscaped;
    const uint8_t *end = p + n;

    while (p < end) {
        const uint8_t *run = p;
        while (p < end && !special[*p])
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
    awPut(0x0D);
    awPut(kLFHigh);
    // An XON frees a line that a stray XOFF holds. Behind these two the other
    // side may be gone already, and its shell would get the byte.
    if (type != ZACK && type != ZFIN)
        awPut(XON);
    awStart();
    FlushAW();
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
    if (Txfcs32) {
        uint32_t crc = ~crc32_run(bytes, 5, 0xFFFFFFFF);
        for (int i = 0; i < 4; i++, crc >>= 8)
            zsendline(uint8_t(crc));
    } else {
        uint16_t crc = crc16_run(bytes, 5, 0);
        zsendline(uint8_t(crc >> 8));
        zsendline(uint8_t(crc));
    }
    awStart();
    if (type != ZDATA)  // its data follow without a pause
        FlushAW();
}

// The line starts at 32 bytes, then goes on in half blocks, so that composing
// overlaps sending.
static void set_flush(int32_t length)
{
    awMax = kFirstFlush;
    awMax2 = int16_t(std::clamp<int32_t>(length / 2, kLeastFlush, kBlockSize));
}

static void end_subpacket(uint8_t frameend)
{
    if (frameend == ZCRCW)
        awPut(XON);
    awStart();
    awGather(false);
    if (frameend == ZCRCW)
        FlushAW();
}

void zsda32(const uint8_t *buf, int32_t length, uint8_t frameend)
{
    awGather(true);
    set_flush(length);
    uint32_t crc = crc32_run(buf, length, 0xFFFFFFFF);
    send_escaped(buf, length);
    awPut(ZDLE);
    awPut(frameend);
    crc = ~UPDC32(frameend, crc);
    for (int i = 0; i < 4; i++, crc >>= 8)
        zsendline(uint8_t(crc));
    end_subpacket(frameend);
}

void zsdata(const uint8_t *buf, int32_t length, uint8_t frameend)
{
    if (Crc32t) {
        zsda32(buf, length, frameend);
        return;
    }
    awGather(true);
    set_flush(length);
    uint16_t crc = crc16_run(buf, length, 0);
    send_escaped(buf, length);
    awPut(ZDLE);
    awPut(frameend);
    crc = updcrc(frameend, crc);
    zsendline(uint8_t(crc >> 8));
    zsendline(uint8_t(crc));
    end_subpacket(frameend);
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

// ---- receiving: bytes -------------------------------------------------------------

int32_t rdchk()
{
    return BytesReady();
}

int32_t noxrd7()
{
    for (;;) {
        int32_t c = readline(Rxtimeout);
        if (c < 0)
            return c;
        c &= 0x7F;
        if (c == 0x0D || c == 0x0A || c == ZDLE)
            return c;
        if (c == XON || c == XOFF)
            hdl_flow();
        else if (!Zctlesc || (c & kCtlMask))
            return c;
        // A line that says nothing else must not outlast the user's cancel.
        if (UserCancel)
            return TIMEOUT;
    }
}

// A digit's value; anything but a lower-case hex digit is ERROR.
static int32_t hex_digit(int32_t c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return ERROR;
}

int32_t zgeth1()
{
    int32_t c = noxrd7();
    if (c < 0)
        return c;
    int32_t high = hex_digit(c);
    if (high < 0)
        return high;
    c = noxrd7();
    if (c < 0)
        return c;
    int32_t low = hex_digit(c);
    return low < 0 ? low : high << 4 | low;
}

// Behind a ZDLE: what the pair stands for.
static int32_t read_escaped()
{
    for (;;) {
        int32_t c = readline(Rxtimeout);
        for (int again = 0; again < 3 && c == CAN; again++)
            c = readline(Rxtimeout);
        if (c < 0)
            return c;
        if (is_flow(c) && !UserCancel)
            continue;
        switch (c) {
        case CAN:
            return GOTCAN;
        case ZCRCE: case ZCRCG: case ZCRCQ: case ZCRCW:
            return c | GOTOR;
        case ZRUB0:
            return 0x7F;
        case ZRUB1:
            return 0xFF;
        }
        if (Zctlesc && !(c & kCtlMask) && !UserCancel)
            continue;
        return (c & kCtlMask) == kFlip ? c ^ kFlip : ERROR;
    }
}

int32_t zdlread()
{
    for (;;) {
        int32_t c = readline(Rxtimeout);
        if (c < 0 || (c & kCtlMask))
            return c;
        if (c == ZDLE)
            return read_escaped();
        if (is_flow(c))
            hdl_flow();
        else if (!Zctlesc)
            return c;
        if (UserCancel)
            return TIMEOUT;
    }
}

// ---- receiving: headers -------------------------------------------------------------

// Type, data and `crcLength` check bytes through `read`, into `raw`. 0, or the
// first value that is no byte.
static int32_t read_header(int32_t (*read)(), uint8_t *hdr, uint8_t *raw,
                           int crcLength)
{
    for (int i = 0; i < 5 + crcLength; i++) {
        int32_t c = read();
        if (c & ~0xFF)
            return c;
        raw[i] = uint8_t(c);
        if (i == 0)
            Rxtype = int16_t(c);
        else if (i < 5)
            hdr[i - 1] = raw[i];
    }
    return 0;
}

static int32_t header16(int32_t (*read)(), uint8_t *hdr)
{
    uint8_t raw[7];

    int32_t c = read_header(read, hdr, raw, 2);
    if (c)
        return c;
    if (crc16_run(raw, 7, 0) != 0)
        return ERROR;
    Zmodem = 1;
    return Rxtype;
}

int32_t zrbhdr(uint8_t *hdr)
{
    return header16(zdlread, hdr);
}

int32_t zrbhdr32(uint8_t *hdr)
{
    uint8_t raw[9];

    int32_t c = read_header(zdlread, hdr, raw, 4);
    if (c)
        return c;
    if (crc32_run(raw, 9, 0xFFFFFFFF) != CRC32_GOOD)
        return ERROR;
    Zmodem = 1;
    return Rxtype;
}

int32_t zrhhdr(uint8_t *hdr)
{
    int32_t c = header16(zgeth1, hdr);
    // The line end behind a good header. Some peers send one byte, some two,
    // and what it is doesn't matter.
    if (c >= 0 && readline(kTenth) == 0x0D)
        (void)readline(kTenth);
    return c;
}

// Shows a byte that belongs to no header, by eflag and header_timeout.
static void show_garbage(int32_t c, int16_t eflag)
{
    if (header_timeout) {
        Put_Char(uint8_t(c));
    } else if (eflag) {
        c &= 0x7F;
        if ((c & kCtlMask) || eflag > 1)
            Put_Char(uint8_t(c));
    }
}

// Behind ZPAD, ZDLE: the form of the header, and its rest.
static int32_t read_form(int32_t form, uint8_t *hdr)
{
    int32_t c;

    switch (form) {
    case BIN16:
        Rxframeind = BIN16;
        Crc32 = 0;
        c = zrbhdr(hdr);
        break;
    case HEX16:
        Rxframeind = HEX16;
        Crc32 = 0;
        c = zrhhdr(hdr);
        break;
    case BIN32:
    case BIN32 + 1:  // what some senders put for a variant of the same form
        Rxframeind = BIN32;
        Crc32 = BIN32;
        c = zrbhdr32(hdr);
        break;
    default:
        return kGarbage;
    }
    Rxpos = int32_t(rclhdr(hdr));
    return c;
}

static int32_t finish_header(int32_t c)
{
    if (c == GOTCAN)
        c = ZCAN;
    zdsphdr(c);
    return c;
}

//  state   what ends it
//  HUNT    CAN: RUN   ZPAD: PAD   else garbage
//  RUN     CAN CAN CAN CAN: ZCAN   ZCRCW: ERROR   silence: HUNT
//  PAD     ZPAD: PAD   ZDLE: FORM   else garbage
//  FORM    a header's form: its result   ZDLE: RUN   else garbage
int32_t zgethdr(uint8_t *hdr, int16_t eflag)
{
    enum { HUNT, RUN, PAD, FORM } state = HUNT;
    const int32_t limit = Zrwindow + Baudrate;
    int32_t count = 0;
    int cancount = kCanRun;

    Rxframeind = 0;
    Rxtype = 0;
    for (;;) {
        int32_t c = 0;
        bool garbage = false;

        switch (state) {
        case HUNT:
            // Unseen bytes need not come one by one.
            if (eflag == 0 && !header_timeout && count > 0)
                count += skip_garbage(limit - 2 - count);
            c = readline(Rxtimeout);
            if (c == TIMEOUT)
                header_timeout = 1;
            if (c < 0)
                return finish_header(c);
            if (c == CAN) {
                state = RUN;
            } else if (c == ZPAD || c == kPadHigh) {
                evenp = c & 0x80;
                state = PAD;
            } else {
                garbage = true;
            }
            break;

        case RUN:
            if (--cancount <= 0)
                return finish_header(ZCAN);
            c = readline(kTenth);
            if (c == TIMEOUT) {
                state = HUNT;
            } else if (c == ZCRCW) {
                return finish_header(ERROR);
            } else if (c == CAN) {
                if (--cancount <= 0)
                    return finish_header(ZCAN);
                state = HUNT;
            } else if (c < 0) {
                return finish_header(c);
            } else {
                garbage = true;
            }
            break;

        case PAD:
            c = noxrd7();
            if (c == ZDLE)
                state = FORM;
            else if (c < 0)
                return finish_header(c);
            else if (c != ZPAD)
                garbage = true;
            break;

        case FORM:
            header_timeout = 0;
            c = noxrd7();
            if (c < 0)
                return finish_header(c);
            if (c == CAN) {
                cancount = kCanRun;
                state = RUN;
                break;
            }
            int32_t result = read_form(c, hdr);
            if (result != kGarbage)
                return finish_header(result);
            garbage = true;
            break;
        }

        if (garbage) {
            // A sender in full stream would be read to the limit otherwise,
            // which takes ten seconds, while the user waits.
            if (UserCancel)
                return finish_header(ERROR);
            if (count + 1 == limit)
                return ERROR;
            show_garbage(c, eflag);
            count++;
            cancount = kCanRun;
            state = HUNT;
        }
    }
}

// ---- receiving: data ---------------------------------------------------------------

// What decodes a subpacket: where the next byte goes, and how much has come.
struct subpacket {
    uint8_t *buf;
    int32_t limit;      // most data bytes
    int32_t count;      // data bytes so far
    int cans;           // CAN in a row
    bool escaped;       // a ZDLE came
    uint8_t frameend;   // set when the frame end came
};

// Copies a run of plain bytes; never past limit + 1. Returns its length.
static int32_t take_run(subpacket &s, const uint8_t *p, int32_t have)
{
    const byte_set &stops = Zctlesc ? gStopsAll : gStops;
    int32_t most = std::min(have, s.limit + 1 - s.count);
    int32_t n = 0;

    while (n < most && !stops[p[n]])
        n++;
    if (n > 0) {
        memcpy(s.buf + s.count, p, size_t(n));
        s.count += n;
        s.cans = 0;
    }
    return n;
}

// A byte behind ZDLE. 0 to go on, else a result.
static int32_t take_escaped(subpacket &s, uint8_t b)
{
    int32_t c;

    switch (b) {
    case ZCRCE: case ZCRCG: case ZCRCQ: case ZCRCW:
        s.frameend = b;
        return b | GOTOR;
    case CAN:
        return ++s.cans > 4 ? ZCAN : 0;
    case ZRUB0:
        c = 0x7F;
        break;
    case ZRUB1:
        c = 0xFF;
        break;
    default:
        if (Zctlesc && !(b & kCtlMask))
            return 0;
        if ((b & kCtlMask) != kFlip) {
            zstat("Bad ctl escape");
            return ERROR;
        }
        c = b ^ kFlip;
    }
    s.buf[s.count++] = uint8_t(c);
    s.escaped = false;
    return 0;
}

// Decodes from the batch until it is used up or the result stands.
static int32_t decode(subpacket &s, const uint8_t *&p, int32_t &have)
{
    int32_t result = 0;

    while (have > 0 && result == 0) {
        if (!s.escaped) {
            int32_t n = take_run(s, p, have);
            p += n;
            have -= n;
            if (s.count > s.limit)
                break;
            if (n > 0)
                continue;
        }
        uint8_t b = *p++;
        have--;
        if (is_flow(b)) {
            hdl_flow();
        } else if (s.escaped) {
            result = take_escaped(s, b);
        } else if (b == ZDLE) {
            s.cans = 1;
            s.escaped = true;
        } else {
            s.cans = 0;  // a control byte that the line put in
        }
        if (s.count > s.limit)
            break;
    }
    if (result == 0 && s.count > s.limit) {
        zstat("Data subpacket too long");
        result = ERROR;
    }
    return result;
}

// Data and frame end, whatever it takes. GOTCRC., or why not.
static int32_t read_subpacket(subpacket &s)
{
    const uint32_t limit = uint32_t(Rxtimeout) * 6;
    const uint8_t *p = nullptr;
    int32_t have = 0;
    int32_t result = 0;

    while (result == 0) {
        if (have == 0) {
            (void)XferEvent(0);  // a cancel is seen on the next line
            if (UserCancel)
                return ERROR;
            int16_t n = int16_t(kReadSize);
            p = GetBytes(&n);
            have = p ? n : 0;
            if (have == 0 &&
                uint32_t(TickCount()) - uint32_t(LastGetTicks) > limit)
                return TIMEOUT;
        }
        result = decode(s, p, have);
    }
    if (have > 0)
        putBack(int16_t(have));  // the CRC bytes are read one by one
    return result;
}

static bool check32(const subpacket &s)
{
    uint32_t crc = crc32_run(s.buf, s.count, 0xFFFFFFFF);
    crc = UPDC32(s.frameend, crc);
    for (int i = 0; i < 4; i++)
        crc = UPDC32(uint8_t(zdlread()), crc);
    return crc == CRC32_GOOD;
}

// 0 good, kBadSum, else what came in place of a byte.
static int32_t check16(const subpacket &s)
{
    uint16_t crc = crc16_run(s.buf, s.count, 0);
    crc = updcrc(s.frameend, crc);
    for (int i = 0; i < 2; i++) {
        int32_t c = zdlread();
        if (c & 0xFF00)
            return c;
        crc = updcrc(uint8_t(c), crc);
    }
    return crc == 0 ? 0 : kBadSum;
}

int32_t zrdata(uint8_t *buf, int32_t length)
{
    Rxcount = 0;
    subpacket s{buf, length, 0, 0, false, 0};

    int32_t result = read_subpacket(s);
    if (result == ERROR || result == TIMEOUT || result == ZCAN)
        return result;

    if (Rxframeind == BIN32) {
        if (!check32(s)) {
            zmsgnum(zi_status, "CRC32 err, cnt= ", s.count);
            return ERROR;
        }
    } else {
        int32_t c = check16(s);
        if (c == kBadSum) {
            zmsgnum(zi_status, "CRC16 err, cnt= ", s.count);
            return ERROR;
        }
        if (c != 0)
            return c;
    }
    Rxcount = s.count;
    if (Verbose > 0)
        zmsgnum(zi_status, "zrdata: cnt = ", Rxcount);
    if (Verbose > 2)
        zmsgnum(zi_status, "zrdata returns ", result);
    return result;
}
