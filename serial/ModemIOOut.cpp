// serial/ModemIOOut.cpp
// Bytes to the port: one at once, by blocks with a remainder, or as one shot
// of the send queue. Input is in ModemIO.cpp.
#include "serial/ModemIO.h"

#include "base/facts.h"
#include "base/pstr.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "platform/sound.h"
#include "serial/IOKitSerial.h"
#include "serial/PortHooks.h"

#include <cassert>
#include <cerrno>

constexpr int32_t kDrainTicks = 600;
constexpr uint8_t kFreshHist = 0xDA; // a place of the ring not yet used
// Ticks. Room for more ends the wait, and so does the user: it is only for the
// clock in the status bar that it ever ends by itself.
constexpr int16_t kWriteWait = 30;

// ---- the block writer -------------------------------------------------------
// awCnt bytes lie in awPBuf and awPtr stands behind them. The pb1.bytesLeft
// bytes from pb1.next on lie in awbuf1, and go out behind what the line keeps.

WriteRequest pb1, pb2;
uint8_t *awPBuf;
uint8_t *awPtr;
int16_t awCnt;
int16_t awMax;
int16_t awMax2;
uint8_t *awbuf1, *awbuf2;
int16_t needProg;
int16_t nprogCnt;

bool aw_ok()
{
    if (awCnt < 0 || awCnt > kBlockSize || awPtr != awPBuf + awCnt)
        return false;
    return pb1.bytesLeft <= 0 ||
           (pb1.next >= awbuf1 &&
            pb1.next + pb1.bytesLeft <= awbuf1 + kBlockSize);
}

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

// ---- one byte, and staging --------------------------------------------------

void OutCh(int16_t fd, uint8_t ch)
{
    int32_t asked = int32_t(TickCount());

    // What is left of a wait for the driver to drain; in practice it passes.
    if (asked + kDrainTicks <= int32_t(TickCount())) {
        SysBeep(3);
        return;
    }
    (void)line_send(fd, &ch, 1);
    add_hist(ch);
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
    assert(aw_ok());
}

void awStart()
{
    if (awCnt != 0)
        hand_over();
}

// ---- blocks -----------------------------------------------------------------

// Offers the line what is left of the block. An error loses it: the protocol's
// own recovery brings it again. A line that is full loses nothing.
static void write_left()
{
    int32_t taken = line_write(pb1.fd, pb1.next, pb1.bytesLeft);

    if (taken > 0) {
        pb1.next += taken;
        pb1.bytesLeft = int16_t(pb1.bytesLeft - taken);
    } else if (taken != -EAGAIN) {
        pb1.bytesLeft = 0;
    }
    assert(aw_ok());
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
    while (busy && !gPortHooks.cancelled()) {
        gPortHooks.serveEvents(kWriteWait);
        busy = awRdy();
    }
    if (busy || gPortHooks.cancelled())
        return -1;
    // The figures are drawn between two blocks, while the driver is busy with
    // the one before.
    if (nprogCnt != 0 && --nprogCnt == 0)
        gPortHooks.showProgress();

    BlockMove(src, awbuf1, len);
    pb1 = {};
    pb1.fd = fd;
    pb1.next = awbuf1;
    pb1.requested = len;
    pb1.bytesLeft = len;
    write_left();
    return 0;
}

int16_t awRdy()
{
    if (pb1.bytesLeft > 0)
        write_left();
    return pb1.bytesLeft > 0 || line_busy();
}

void FlushAW()
{
    awGather(false);
    while (awRdy() && !gPortHooks.cancelled())
        gPortHooks.serveEvents(kWriteWait);
    if (nprogCnt != 0 || needProg)
        gPortHooks.showProgress();
    nprogCnt = 0;
    needProg = 0;
}

void awKill()
{
    pb1.bytesLeft = 0;
    line_want_room(false);
}

void awServe()
{
    line_want_room(pb1.bytesLeft > 0);
}

void awGather(bool on)
{
    line_gather(on);
}

// ---- one shot ---------------------------------------------------------------

int16_t aw1Send(int16_t fd, int16_t len, const uint8_t *src)
{
    if (len < 1)
        return 0;
    if (len > kBlockSize)
        len = kBlockSize;
    BlockMove(src, awbuf1, len);
    pb1.bytesLeft = 0;
    // What the line has no room for stays in its rest, and the queue stands
    // until it has gone.
    (void)line_send(fd, awbuf1, len);
    return 0;
}

int16_t aw1Busy()
{
    return pb1.bytesLeft > 0 || line_busy();
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
    int32_t folder;
    int16_t volume, ref;

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
    gPortHooks.dumpFolder(&volume, &folder);
    (void)HCreate(volume, folder, name, FOUR("????"), FOUR("????"));
    if (HOpen(volume, folder, name, fsRdWrPerm, &ref) != noErr)
        return;
    write_part(ref, inputTitle, sizeof inputTitle - 1);
    write_part(ref, serialBuffPtr, GetPtrSize(serialBuffPtr));
    write_part(ref, outputTitle, sizeof outputTitle - 1);
    write_part(ref, outHist, kHistSize);
    (void)FSClose(ref);
}
