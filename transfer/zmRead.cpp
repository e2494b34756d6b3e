// The ZMODEM frame layer: headers and data subpackets off the line.

#include "transfer/zm.h"

#include "platform/clock.h"
#include "platform/line.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "transfer/zmTables.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <array>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr uint8_t kPadHigh = 0xAA; // ZPAD with the parity bit
constexpr int32_t kGarbage = -100; // read_form: the byte leads nowhere
constexpr int32_t kBadSum = -101;  // check: all came, but is wrong
constexpr int kCanRun = 5;         // so many CAN end a transfer
constexpr int16_t kTenth = 1;      // tenth of a second, for readline

// ---- state -----------------------------------------------------------------

// A time-out occurred and no header has started since. What comes then is
// most likely the host talking, so all of it is shown.
static int16_t header_timeout;

// ---- receiving: bytes ------------------------------------------------------

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
        if (c == kCR || c == kLF || c == ZDLE)
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
        const int16_t value = gInValue[c & 0xFF];
        const bool dropped =
            value == kInFlow || (value == kInControl && Zctlesc);
        if (!dropped)
            return value == kInControl ? ERROR : value;
        if (UserCancel)
            return ERROR;
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

// ---- receiving: headers ----------------------------------------------------

// A header's type, data and sum through `read`, into `hdr`. Its type, ERROR, or
// what came in place of a byte.
static int32_t read_header(int32_t (*read)(), uint8_t *hdr, bool wide)
{
    uint8_t raw[9];
    const int length = wide ? 9 : 7;

    for (int i = 0; i < length; i++) {
        int32_t c = read();
        if (c & ~0xFF)
            return c;
        raw[i] = uint8_t(c);
        if (i == 0)
            Rxtype = int16_t(c);
        else if (i < 5)
            hdr[i - 1] = raw[i];
    }
    const bool good = wide ? crc32_run(raw, length, 0xFFFFFFFF) == CRC32_GOOD
                           : crc16_run(raw, length, 0) == 0;
    if (!good)
        return ERROR;
    Zmodem = 1;
    return Rxtype;
}

int32_t zrbhdr(uint8_t *hdr)
{
    return read_header(zdlread, hdr, false);
}

int32_t zrbhdr32(uint8_t *hdr)
{
    return read_header(zdlread, hdr, true);
}

int32_t zrhhdr(uint8_t *hdr)
{
    int32_t c = read_header(zgeth1, hdr, false);
    // The line end behind a good header. Some peers send one byte, some two,
    // and what it is doesn't matter.
    if (c >= 0 && readline(kTenth) == kCR)
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

// Skips bytes that can't start a header, without a wait and at most `most` of
// them. Returns their number. Behind a damaged subpacket comes all that the
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
    case BIN32 + 1: // what some senders put for a variant of the same form
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

// A frame end within a header is damage like any other. On a bad line the
// search for a header meets what only looks like one again and again, and this
// must not end the transfer.
static int32_t finish_header(int32_t c)
{
    if (c == GOTCAN)
        c = ZCAN;
    else if (c > 0xFF)
        c = ERROR;
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
            if (eflag == 0 && !header_timeout && count > 0) {
                const int32_t skipped = skip_garbage(limit - 2 - count);
                count += skipped;
                if (skipped > 0)
                    cancount = kCanRun; // CANs around them are no run
            }
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

// ---- receiving: data -------------------------------------------------------

// What decodes a subpacket: where the next byte goes, and how much has come.
struct subpacket {
    uint8_t *buf;
    int32_t limit;    // most data bytes
    int32_t count;    // data bytes so far
    int cans;         // CAN in a row
    bool escaped;     // a ZDLE came
    uint8_t frameend; // set when the frame end came
};

// Copies a run of plain bytes; never past limit + 1. Returns its length.
static int32_t take_run(subpacket &s, const uint8_t *p, int32_t have)
{
    const std::array<bool, 256> &stops = Zctlesc ? gStopsAll : gStops;
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

// A byte behind ZDLE, but XON and XOFF. 0 to go on, else a result.
static int32_t take_escaped(subpacket &s, uint8_t b)
{
    const int16_t value = gInValue[b];

    if (value == GOTCAN)
        return ++s.cans > 4 ? ZCAN : 0;
    if (value >= GOTOR) {
        s.frameend = b;
        return value;
    }
    if (value == kInControl && Zctlesc)
        return 0;
    if (value < 0) {
        zstat("Bad ctl escape");
        return ERROR;
    }
    s.buf[s.count++] = uint8_t(value);
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
            s.cans = 0; // a control byte that the line put in
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
            (void)XferEvent(0); // a cancel is seen on the next line
            if (UserCancel)
                return ERROR;
            int16_t n = int16_t(kReadSize);
            line_expect(true);
            p = GetBytes(&n);
            line_expect(false);
            have = p ? n : 0;
            if (have == 0 &&
                uint32_t(TickCount()) - uint32_t(LastGetTicks) > limit)
                return TIMEOUT;
        }
        result = decode(s, p, have);
    }
    if (have > 0)
        putBack(int16_t(have)); // the CRC bytes are read one by one
    return result;
}

// The sum behind a subpacket. 0 good, kBadSum, else what came in place of a
// byte.
static int32_t check(const subpacket &s, bool wide)
{
    const int length = wide ? 4 : 2;
    uint32_t crc = wide ? crc32_run(s.buf, s.count, 0xFFFFFFFF)
                        : crc16_run(s.buf, s.count, 0);
    auto add = [&](uint8_t c) {
        crc = wide ? UPDC32(c, crc) : updcrc(c, uint16_t(crc));
    };

    add(s.frameend);
    for (int i = 0; i < length; i++) {
        int32_t c = zdlread();
        // In a CRC-32 a time-out needs no test of its own: summed as a byte
        // it makes the sum wrong, and the data are asked for again, as they
        // would be after a time-out. The caller of a CRC-16 hears of it.
        if (!wide && (c & 0xFF00))
            return c;
        add(uint8_t(c));
    }
    return crc == (wide ? CRC32_GOOD : 0) ? 0 : kBadSum;
}

int32_t zrdata(uint8_t *buf, int32_t length)
{
    subpacket s{buf, length, 0, 0, false, 0};
    Rxcount = 0;

    int32_t result = read_subpacket(s);
    if (result == ERROR || result == TIMEOUT || result == ZCAN)
        return result;

    const bool wide = Rxframeind == BIN32;
    int32_t sum = check(s, wide);
    if (sum == kBadSum) {
        zmsgnum(kItemStatusStatus,
                wide ? "CRC32 err, cnt= " : "CRC16 err, cnt= ", s.count);
        return ERROR;
    }
    if (sum != 0)
        return sum;
    Rxcount = s.count;
    if (Verbose > 0)
        zmsgnum(kItemStatusStatus, "zrdata: cnt = ", Rxcount);
    if (Verbose > 2)
        zmsgnum(kItemStatusStatus, "zrdata returns ", result);
    return result;
}
