// Kermit's data fields: bytes of the file into a field, and back.

#include "transfer/kermitParts.h"

#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <cstring>

// A field is filled to so many bytes below the agreed size, as only whole
// characters are tested for and one may be as long as four.
constexpr int16_t kFieldSlack = 8;

// ---- state -----------------------------------------------------------------

uint8_t kbuffer[256];
uint8_t *kbufPtr;
int16_t kbufCount;
int32_t kbfilePos;
int32_t Txbytes;
uint8_t crm = kCR, lfm = kLF;
int32_t rptn;

static bool goesPlain[256]; // bytes that are sent as they are

// ---- sending ---------------------------------------------------------------

// The next bytes of the file. False at its end, also if it can't be read.
static bool refill()
{
    const int32_t ascii = Ascii;
    const int32_t at = Txpos;

    // The reader's own conversion would make LF of every CR, of which a text
    // here makes CR and LF. Its test for a Unix file stays: that goes as it is.
    Ascii = 0;
    Txpos = kbfilePos;
    int32_t got = zfilbuf(kbuffer, sizeof kbuffer);
    Txpos = at;
    Ascii = ascii;
    if (got <= 0)
        return false;
    if (kbfilePos == 0 && memchr(kbuffer, kLF, size_t(got)))
        Ascii = 0;
    kbfilePos += got;
    kbufCount = int16_t(got);
    kbufPtr = kbuffer;
    return true;
}

static uint8_t *put_control(uint8_t *to, uint8_t b)
{
    *to++ = ctlQuote;
    *to++ = b ^ 64;
    return to;
}

// A byte of a text that stands for a line end: as `how` says, or not at all.
static uint8_t *put_line_end(uint8_t *to, uint8_t how)
{
    if (how == 'z') {
        to = put_control(to, kCR);
        return put_control(to, kLF);
    }
    return how == kCR || how == kLF ? put_control(to, how) : to;
}

void SettlePlain()
{
    for (int b = 0; b < 256; b++) {
        const int low = b & 127;
        goesPlain[b] = low >= 32 && low < kDEL && low != ctlQuote &&
                       !(hiBitQFlag && (b != low || low == hiBitQuote)) &&
                       !(rptFlag && low == rptQuote);
    }
}

// A byte that may not go as it is.
static uint8_t *put_quoted(uint8_t *to, uint8_t b)
{
    const uint8_t low = b & 127;

    if (Ascii && b == kCR)
        return put_line_end(to, crm);
    if (Ascii && b == kLF)
        return put_line_end(to, lfm);
    if (b != low && hiBitQFlag) {
        *to++ = hiBitQuote;
        b = low;
    }
    if (low < 32 || low == kDEL)
        return put_control(to, b);
    if (low == ctlQuote || (rptFlag && low == rptQuote) ||
        (hiBitQFlag && low == hiBitQuote))
        *to++ = ctlQuote;
    *to++ = b;
    return to;
}

int16_t bufill(uint8_t *buffer)
{
    uint8_t *to = buffer;
    const uint8_t *const end = buffer + spsiz - kFieldSlack;

    Txbytes = 0;
    while (to < end && (kbufCount > 0 || refill())) {
        uint8_t *p = kbufPtr, *const stop = p + kbufCount;
        while (p < stop && to < end) {
            const uint8_t b = *p++;
            if (goesPlain[b])
                *to++ = b;
            else
                to = put_quoted(to, b);
        }
        Txbytes += int32_t(p - kbufPtr);
        kbufCount = int16_t(stop - p);
        kbufPtr = p;
    }
    return to == buffer ? int16_t(-1) : int16_t(to - buffer);
}

// ---- receiving -------------------------------------------------------------

static int32_t write_out(int16_t count)
{
    if (int64_t(rxbytes) + count > 0x7FFFFFFF) {
        zprtstat("File is too long.");
        return ioErr;
    }
    int32_t err = zWriteData(rxbytes, kbuffer, count);
    if (err == 0)
        rxbytes += count;
    return err;
}

int32_t bufemp(const uint8_t *field, int16_t length)
{
    const uint8_t *p = field, *const end = field + length;
    int16_t out = 0;

    while (p < end) {
        uint8_t c = *p++;
        uint8_t count = 0, high = 0;
        // A prefix with nothing behind it ends the field.
        if (rptFlag && c == rptQuote) {
            if (end - p < 2)
                break;
            count = *p++ - 32;
            rptn = int32_t(uint32_t(rptn) + count); // may wrap
            c = *p++;
        }
        if (hiBitQFlag && c == hiBitQuote) {
            if (p == end)
                break;
            high = 128;
            c = *p++;
        }
        if (c == ctlQuote) {
            if (p == end)
                break;
            c = *p++;
            if ((c & 127) >= 63 && (c & 127) <= 95)
                c ^= 64;
        }
        if (count == 0)
            count = 1;
        if (out != 0 && out + count > 255) {
            int32_t err = write_out(out);
            if (err != 0)
                return err;
            out = 0;
        }
        if (count == 1)
            kbuffer[out++] = c | high;
        else {
            memset(kbuffer + out, c | high, count);
            out += count;
        }
    }
    if (out != 0) {
        int32_t err = write_out(out);
        if (err != 0)
            return err;
    }
    zprog(rxbytes, TotalBytes);
    return 0;
}
