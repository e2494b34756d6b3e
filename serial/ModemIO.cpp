// serial/ModemIO.cpp
// Bytes from the port: the one reader, the pump of terminal mode, and what
// the quiet line is good for. Bytes to the port are in ModemIOOut.cpp.
#include "serial/ModemIO.h"

#include <cstring>

#include "base/Capture.h"
#include "base/ErrMsg.h"
#include "base/chars.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/events.h"
#include "platform/line.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/PortHooks.h"

#include <cerrno>

constexpr int16_t kPurgePiece = 200;
constexpr int32_t kPurgeLimit = 1200; // purgeBuffer gives up on a talker
constexpr int32_t kQuietTicks = 20;   // then nothing is echoed any more
constexpr int32_t kTestPause = 59;    // a longer one ends the speed test
constexpr int32_t kIdleTicks = 240;   // then the line counts as idle
constexpr uint16_t kKeyDownMask = 1 << keyDown;

constexpr int16_t kDriverLost = -18; // of an older port layer

// ---- the batch --------------------------------------------------------------
// lineBufCnt bytes at `pos` are still to be taken; pos and they lie within
// lineBuff.

uint8_t *lineBuff;
static uint8_t *pos;
int32_t lineBufCnt;
static int16_t lastErr; // of the last read, so that it is reported only once

// ---- what is known of the line ----------------------------------------------

int16_t gLastModemRead;
int32_t gStillinBuf;
int32_t cntRead, totRead, maxRead, avgRead;
int16_t ModemActive;
int32_t LastGetTicks;
int32_t LastPrtTicks;
int32_t PrtCount;
int32_t TestTicks;
uint8_t *serialBuffPtr;

static int32_t now()
{
    return int32_t(TickCount());
}

// ---- reading ----------------------------------------------------------------

static void judge(int16_t code)
{
    if (code == kLineGone || code == kDriverLost) {
        if (code == kLineGone)
            PrtErrorSTR(0, kListErrors, kStrLineLost);
        else
            PrtErrorSTR(kDriverLost, kListErrors, kStrOverrun);
        lineBufCnt = 0;
        (void)LoseModem(); // reports by itself
    } else if (code != 0 && code != lastErr) {
        PrtErrorSTR(code, kListErrors, kStrCantReadPort);
        lineBufCnt = 0;
    }
    lastErr = code;
}

static void read_port()
{
    int16_t code = 0;

    lineBufCnt = line_read(sIn, lineBuff, kReadSize);
    if (lineBufCnt < 0) {
        if (lineBufCnt == kLineGone)
            code = kLineGone;
        else if (lineBufCnt != -EAGAIN)
            code = int16_t(-lineBufCnt);
        lineBufCnt = 0;
    }
    gLastModemRead = int16_t(lineBufCnt);
    awServe();
    if (code != 0 || lastErr != 0)
        judge(code);
    if (lineBufCnt <= 0)
        return;

    gStillinBuf = lineBufCnt;
    if (lineBufCnt > maxRead)
        maxRead = lineBufCnt;
    cntRead++;
    if (lineBufCnt > kReadSize)
        lineBufCnt = kReadSize;
    gStillinBuf -= lineBufCnt;
    LastGetTicks = now();
    pos = lineBuff;
    totRead = int32_t(uint32_t(totRead) + uint32_t(lineBufCnt)); // may wrap
    avgRead = totRead / cntRead;
}

uint8_t *GetBytes(int16_t *count)
{
    if (sIn != 0 && lineBufCnt <= 0)
        read_port();
    if (*count > int16_t(lineBufCnt))
        *count = int16_t(lineBufCnt);
    if (*count <= 0) {
        *count = 0;
        return nullptr;
    }
    uint8_t *bytes = pos;
    pos += *count;
    lineBufCnt -= *count;
    return bytes;
}

int32_t BytesReady()
{
    return lineBufCnt > 0 ? lineBufCnt : 0;
}

void putBack(int16_t n)
{
    lineBufCnt += n;
    pos -= n;
}

// ---- the pump ---------------------------------------------------------------
// Of the statics of ReadPort `lastch` survives a batch, so that a start
// sequence may be split; `lscroll` tells a view that was just scrolled back.

static uint8_t lastch;  // masked byte before the next one
static uint8_t lscroll; // low byte of `scrolled` at the end of the last call

static uint8_t before(const uint8_t *batch, int i, uint8_t mask)
{
    return i > 0 ? uint8_t(batch[i - 1] & mask) : lastch;
}

// Where in the batch a transfer begins by itself: CAN behind "*", and for
// B Plus, if the connection answers it, DLE or ENQ. -1: nowhere.
static int find_trigger(const uint8_t *batch, int n, uint8_t mask, bool bplus)
{
    if (mask == 0xFF && !bplus) {
        // The usual case, and it stands before every byte that is shown.
        const uint8_t *p = batch, *end = batch + n;
        while ((p = static_cast<const uint8_t *>(
                    memchr(p, CAN, size_t(end - p)))) != nullptr) {
            if (before(batch, int(p - batch), mask) == '*')
                return int(p - batch);
            p++;
        }
        return -1;
    }
    for (int i = 0; i < n; i++) {
        uint8_t c = batch[i] & mask;
        if (c == CAN && before(batch, i, mask) == '*')
            return i;
        if (bplus && (c == DLE || c == ENQ))
            return i;
    }
    return -1;
}

// The capture gets masked bytes, and no LF: its lines end in CR.
static int stage(uint8_t *out, const uint8_t *batch, int n, uint8_t mask)
{
    int held = 0;

    for (int i = 0; i < n; i++) {
        uint8_t c = batch[i] & mask;
        if (c != kLF)
            out[held++] = c;
    }
    return held;
}

static void idle()
{
    const bool scrolled = gPortHooks.scrolled() != 0;
    int32_t t = now();

    if (t - LastGetTicks > kQuietTicks)
        gPortHooks.lineQuiet();
    if (TestTicks != 0 && TestTicks < LastPrtTicks &&
        t - LastPrtTicks > kTestPause)
        TimingResults();
    if (!ModemActive)
        return;
    if (scrolled && lscroll == 0) {
        ModemActive = 0;
    } else if (t - LastGetTicks > kIdleTicks) {
        ModemActive = 0;
        if (gXferRestore)
            xfer_port(1);
        if (scrolled)
            SysBeep(4); // the reader of the history learns that it is over
    }
}

int16_t ReadPort()
{
    const uint8_t mask = cset.termFlags & kTermStrip8 ? 0x7F : 0xFF;
    const bool bplus = (cset.xferFlags & kXferBPlus) != 0;
    uint8_t staged[kReadSize];
    int held = 0;
    int16_t n = kReadSize;
    const uint8_t *batch = GetBytes(&n);

    if (batch) {
        ModemActive = 1;
        if (PrtCount == 0 && TestTicks != 0)
            TestTicks = now();
        int at = find_trigger(batch, n, mask, bplus);
        if (at < 0) {
            gPortHooks.show(batch, n);
            LastPrtTicks = now();
            PrtCount = int32_t(uint32_t(PrtCount) + uint32_t(n)); // may wrap
            lastch = batch[n - 1] & mask;
            if (asciiReceive == 'C')
                held = stage(staged, batch, n, mask);
        } else {
            // The byte before the trigger isn't shown: of a transfer's start
            // that is the "*", and the other two are kept like it.
            uint8_t trigger = batch[at] & mask;
            bool last = at + 1 == n;
            held = stage(staged, batch, at, mask);
            lastch = before(batch, at, mask);
            if (at > 1)
                gPortHooks.show(batch, int16_t(at - 1));
            // The rest goes back first, as the transfer reads it.
            if (!last)
                putBack(int16_t(n - at - 1));
            // An ENQ with bytes behind it starts nothing: it is gone, and they
            // come again with the next batch.
            if (trigger != ENQ || last)
                gPortHooks.startTransfer(trigger);
        }
    } else {
        idle();
    }
    lscroll = uint8_t(gPortHooks.scrolled());
    if (asciiReceive == 'C' && held > 0)
        (void)WriteCapture(staged, held,
                           kStrCantWriteFile); // it reports its error
    return batch != nullptr;
}

void purgeBuffer(int32_t ticks)
{
    EventRecord event;
    int32_t hard = now() + kPurgeLimit, quiet = now() + ticks;

    do {
        int16_t n = kPurgePiece;
        (void)GetBytes(&n); // dropped
        if (GetNextEvent(kKeyDownMask, &event))
            return;
        if (n > 0)
            quiet = now() + ticks;
        if (now() - quiet >= 0 || (sIn == 0 && BytesReady() == 0))
            return;
    } while (now() - hard < 0);
}

// ---- figures ----------------------------------------------------------------

static void add_number(uint8_t *text, int32_t number)
{
    Str255 digits;

    NumToString(number, digits);
    pstrcat(text, digits);
}

void TimingResults()
{
    Str255 text;
    int32_t elapsed = LastPrtTicks - TestTicks;
    int32_t rate = elapsed != 0 ? int32_t(int64_t(PrtCount) * 60 / elapsed) : 0;

    SysBeep(7);
    pstrcpy(text, PSTR("### "));
    add_number(text, PrtCount);
    pstrcat(text, PSTR(" chars, "));
    add_number(text, elapsed / 60);
    pstrcat(text, PSTR(" secs, "));
    add_number(text, rate);
    pstrcat(text, PSTR(" cps\r\n"));
    gPortHooks.show(text + 1, text[0]);
    TestTicks = 0;
}

void ShowReadStats()
{
    Str255 most, size;

    NumToString(maxRead, most);
    NumToString(qset.inBufSize, size);
    ParamText(most, size, nullptr, nullptr);
    Alert(kAlertReadStats);
    maxRead = totRead = cntRead = 0;
}
