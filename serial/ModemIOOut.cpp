// serial/ModemIOOut.cpp
// Bytes to the port: one at once, by blocks with a remainder, or as one shot
// of the send queue. Input is in ModemIO.cpp.
#include "serial/ModemIO.h"

#include "base/facts.h"
#include "base/pstr.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/ports.h"
#include "platform/sound.h"
#include "serial/IOKitSerial.h"
#include "transfer/Util.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zstats.h"

constexpr int32_t kDrainTicks = 600;
constexpr uint8_t kFreshHist = 0xDA; // a place of the ring not yet used
// Ticks. Room for more ends the wait, and so does the user: it is only for the
// clock in the status bar that it ever ends by itself.
constexpr int16_t kWriteWait = 30;

// ---- the block writer -------------------------------------------------------
// awCnt bytes lie in awPBuf and awPtr stands behind them. pb1.next and the
// pb1.bytesLeft bytes from there lie in awbuf1.

WriteRequest pb1, pb2;
uint8_t *awPBuf;
uint8_t *awPtr;
int16_t awCnt;
int16_t awMax;
int16_t awMax2;
uint8_t *awbuf1, *awbuf2;
int16_t needProg;
int16_t nprogCnt;

// ---- the ring ---------------------------------------------------------------

uint8_t *outHist;
int16_t histOffset;

static void add_hist(uint8_t c)
{
    outHist[histOffset] = c;
    if (++histOffset >= kHistSize)
        histOffset = 0;
}

void putHist(const uint8_t *buf, int16_t n)
{
    for (int16_t i = 0; i < n; i++)
        add_hist(buf[i]);
}

void fillBuffer()
{
    for (int i = 0; i < kHistSize; i++)
        outHist[i] = kFreshHist;
    histOffset = 0;
}

// ---- what is owed -----------------------------------------------------------

static bool composing; // between awGather(true) and awGather(false)
static bool textReady; // the send queue could go on at once
static bool owed;      // as the clock was last told

// Tries to write only where the line may have room.
static bool remains()
{
    if (!clock_output_room())
        return pb1.bytesLeft > 0 || port_keeps(sOut);
    return pb1.bytesLeft > 0 || port_holds(sOut);
}

static void tell_clock(bool now)
{
    // Told again each time: the clock looks for room only once after it.
    if (now || owed)
        clock_output_owed(now);
    owed = now;
}

void awServe()
{
    // Cleared at each read, so that text which must stand still while a
    // transfer runs doesn't keep its waits from waiting.
    textReady = false;
    if (owed || port_keeps(sOut))
        tell_clock(remains());
}

void awTextReady()
{
    textReady = true;
    tell_clock(true);
}

// After a write: what the line had no room for is watched for.
static void note_rest()
{
    clock_port_wrote();
    if (pb1.bytesLeft > 0 || port_keeps(sOut))
        tell_clock(true);
}

void awGather(bool on)
{
    composing = on;
    port_gather(sOut, on);
    if (!on)
        note_rest();
}

// ---- the three roads --------------------------------------------------------

void OutCh(int16_t fd, uint8_t ch)
{
    int32_t asked = int32_t(TickCount());

    // What is left of a wait for the driver to drain; in practice it passes.
    if (asked + kDrainTicks <= int32_t(TickCount())) {
        SysBeep(3);
        return;
    }
    (void)port_send(fd, &ch, 1);
    add_hist(ch);
    note_rest();
}

static void hand_over()
{
    // After a cancel the bytes are dropped, and the engine learns of it by
    // UserCancel.
    (void)AWriteBlock(sOut, awCnt, awPBuf);
    awCnt = 0;
    awPtr = awPBuf;
    awMax = awMax2;
}

void awPut(uint8_t ch)
{
    // Full only if a caller set awMax past the buffer.
    if (awCnt >= kBlockSize)
        hand_over();
    *awPtr++ = ch;
    awCnt++;
    if (awCnt >= awMax)
        hand_over();
}

void awStart()
{
    if (awCnt != 0)
        hand_over();
}

int16_t AWriteBlock(int16_t fd, int16_t len, const uint8_t *src)
{
    if (len < 1)
        return 0;
    if (len > kBlockSize)
        len = kBlockSize;
    if (needProg) {
        needProg = 0;
        nprogCnt = 1;
    }
    bool busy = awRdy();
    while (busy && !UserCancel) {
        (void)XferEvent(kWriteWait); // sets UserCancel
        busy = awRdy();
    }
    if (UserCancel || busy)
        return -1;
    // The figures are drawn between two blocks, while the driver is busy with
    // the one before.
    if (nprogCnt != 0 && --nprogCnt == 0)
        zprog(Txpos, TotalBytes);

    BlockMove(src, awbuf1, len);
    pb1 = {};
    pb1.fd = fd;
    pb1.next = awbuf1;
    pb1.requested = len;
    // While bytes of the other side are at hand, ours wait for the answers to
    // these, too. A sender that is asked to go back again and again within a
    // millisecond sees it all at once, and goes back once.
    port_gather(fd, composing || BytesReady() > 0);
    int16_t taken = int16_t(port_write(fd, awbuf1, len));
    if (taken > 0 && taken < len) {
        pb1.next += taken;
        pb1.bytesLeft = int16_t(len - taken);
    }
    // A write that failed leaves nothing to be done: the block is gone, and
    // the protocol's own recovery brings it again.
    note_rest();
    return 0;
}

int16_t awRdy()
{
    if (pb1.bytesLeft > 0) {
        int32_t taken = port_write(pb1.fd, pb1.next, pb1.bytesLeft);
        if (taken > 0) {
            pb1.next += taken;
            pb1.bytesLeft = int16_t(pb1.bytesLeft - taken);
        }
    }
    bool left = remains();
    if (left)
        tell_clock(true); // of what little it had room for
    return left;
}

void FlushAW()
{
    while (awRdy() && !UserCancel)
        (void)XferEvent(kWriteWait);
    if (nprogCnt != 0 || needProg)
        zprog(Txpos, TotalBytes);
    nprogCnt = 0;
    needProg = 0;
}

void awKill()
{
    pb1.bytesLeft = 0;
    port_drop(sOut);
    textReady = false;
    tell_clock(false);
}

int16_t aw1Send(int16_t fd, int16_t len, const uint8_t *src)
{
    if (len < 1)
        return 0;
    if (len > kBlockSize)
        len = kBlockSize;
    BlockMove(src, awbuf1, len);
    pb1.bytesLeft = 0;
    // What the line has no room for stays with the port, and aw1Busy tells of
    // it, so that the queue stands until it has gone.
    (void)port_send(fd, awbuf1, len);
    note_rest();
    return 0;
}

int16_t aw1Busy()
{
    return pb1.bytesLeft > 0 || port_holds(sOut);
}

// ---- flow control that nobody can ask about ---------------------------------

void ReleaseOutput() {}
int16_t OutputHeld()
{
    return 0;
}
int16_t ctsHeld()
{
    return 0;
}

// ---- the dump ---------------------------------------------------------------

static void write_part(int16_t ref, const void *bytes, int32_t count)
{
    (void)FSWrite(ref, &count, bytes);
}

void dumpBufs()
{
    static const uint8_t inputTitle[] = "---Serial input buffer:--------\r";
    static const uint8_t outputTitle[] =
        "----------------  output history buffer:\r";
    Str255 name, part;
    uint32_t date;
    int16_t ref;

    GetDateTime(&date);
    pstrcpy(name, PSTR("QDump "));
    DateString(date, part);
    pstrcat(name, part);
    pstrcatchr(name, ' ');
    TimeString(date, false, part);
    // A colon divides folders in names.
    for (int i = 2; i <= 3 && i <= part[0]; i++) {
        if (part[i] == ':')
            part[i] = ';';
    }
    pstrcat(name, part);

    // A dump is for the one who looks for a fault; that it can't be written
    // shows by its absence.
    (void)HCreate(pgmVRef, pgmDir, name, FOUR("????"), FOUR("????"));
    if (HOpen(pgmVRef, pgmDir, name, fsRdWrPerm, &ref) != noErr)
        return;
    write_part(ref, inputTitle, sizeof inputTitle - 1);
    write_part(ref, serialBuffPtr, GetPtrSize(serialBuffPtr));
    write_part(ref, outputTitle, sizeof outputTitle - 1);
    write_part(ref, outHist, kHistSize);
    (void)FSClose(ref);
}
