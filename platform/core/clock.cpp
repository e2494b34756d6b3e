// Ticks, delays and the one way to wait: what the program asked to watch of
// the port is put together here with what has to be shown.
#include "platform/clock.h"

#include "platform/core/core.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/menuparts.h"
#include "platform/ports.h"

#include <algorithm>

constexpr int64_t kSecond = 1000000;

// The clock starts as if the desktop had been up for a while: many a tick of 0
// means "never" to the program.
constexpr int64_t kFirstTick = 3600;

static int64_t started = -1; // be_now_us at the first question

// ---- the port --------------------------------------------------------------
// `readable` is watched only after a read: once reported, a port that nobody
// reads must not end every further wait. Output is watched the same way.

static int portFd = -1;
static bool portGone;     // hung up; not watched until opened anew
static bool readArmed;    // a read came since the last report
static bool owed;         // output waits for room
static bool writeArmed;   // ... and room hasn't been reported since
static int emptyReads;    // empty reads since bytes, a write or a real wait
static bool silent;       // the last wait for bytes brought nothing
static int64_t lastMoved; // when bytes were last read or written
static int64_t lastAsked; // when the display was asked last

// A program that reads nothing this long after the last byte either way is
// waiting for the line. A sender that looks for an answer between two blocks
// isn't, and must not be held up.
constexpr int64_t kQuiet = 2000;

// So many reads in a row that find nothing, with no write between them, are a
// program that waits, too: on a fast line it would read again thousands of
// times before the next bytes are there.
constexpr int kEmptyReads = 3;

// What such a read waits, and what it waits when the wait before it brought
// nothing either. Bytes and input end it at once.
constexpr int64_t kFirstWait = 1000, kNextWait = 3000;

// ---- the pace of the line --------------------------------------------------
// It is known once bytes have come for kPaceTime without a pause.

static int32_t expected;  // by clock_expect
static int64_t paceFrom;  // -1: none have come
static int32_t paceBytes; // since then
static int32_t pace;      // bytes a second, 0: not known
static int64_t restedFor; // the rest before this read, 0: none

constexpr int64_t kPaceTime = 30000, kPause = 100000;
constexpr int64_t kLeastRest = 2000, kMostRest = 16000;

static void forget_pace()
{
    paceFrom = -1;
    pace = 0;
    restedFor = 0;
}

static void note_pace(int64_t now, int32_t bytes)
{
    // Far more than a rest should have brought: it runs faster than thought.
    bool outrun =
        restedFor > 0 && bytes > 2 * int64_t(pace) * restedFor / kSecond;

    if (paceFrom < 0 || outrun || now - lastMoved > kPause) {
        forget_pace();
        paceFrom = now;
        paceBytes = 0;
        return;
    }
    restedFor = 0;
    paceBytes += bytes;
    if (now - paceFrom < kPaceTime)
        return;
    pace = int32_t(
        std::min<int64_t>(paceBytes * kSecond / (now - paceFrom), 0x7FFFFFFF));
    paceFrom = now;
    paceBytes = 0;
}

// How long to rest for the bytes that are expected; 0: not at all.
static int64_t rest_for_bytes()
{
    if (expected <= 0 || pace <= 0)
        return 0;
    int64_t rest = std::min(expected * kSecond / pace, kMostRest);
    return rest < kLeastRest ? 0 : rest;
}

uint32_t TickCount()
{
    int64_t now = be_now_us();

    if (started < 0)
        started = now;
    return uint32_t((now - started) * 60 / kSecond + kFirstTick);
}

// Rounded up, so that TickCount has moved by as many when they have passed.
int64_t ticks_to_us(int64_t ticks)
{
    return (ticks * kSecond + 59) / 60;
}

void Delay(uint32_t ticks, uint32_t *final)
{
    int64_t end = be_now_us() + ticks_to_us(ticks);

    do {
        wait_until(end, false);
    } while (be_now_us() < end);
    if (final)
        *final = TickCount();
}

uint32_t GetCaretTime()
{
    return uint32_t(be_caret_ticks());
}
uint32_t GetDblTime()
{
    return uint32_t(be_double_click_ticks());
}

void clock_watch_port(int fd)
{
    portFd = fd;
    portGone = false;
    readArmed = fd >= 0;
    owed = writeArmed = silent = false;
    emptyReads = 0;
    forget_pace();
}

void clock_expect(int32_t bytes)
{
    expected = bytes;
}

void clock_port_empty(bool gone)
{
    portGone = gone;
    readArmed = !gone;
    be_empty_read();
    restedFor = gone ? 0 : rest_for_bytes();
    if (restedFor > 0) {
        wait_until(be_now_us() + restedFor, false);
        return;
    }
    emptyReads++;
    if (gone || (emptyReads <= kEmptyReads &&
                 (emptyReads <= 1 || be_now_us() - lastMoved <= kQuiet)))
        return;
    int64_t most = !silent ? kFirstWait : expected > 0 ? kMostRest : kNextWait;
    silent = wait_until(be_now_us() + most, true) == 0;
    if (silent)
        emptyReads = kEmptyReads; // one more empty read waits again
}

void clock_port_read(int32_t bytes)
{
    int64_t now = be_now_us();

    readArmed = true;
    portGone = false;
    silent = false;
    emptyReads = 0;
    note_pace(now, bytes);
    lastMoved = now;
}

void clock_port_wrote()
{
    silent = false;
    emptyReads = 0;
    writeArmed = owed;
    lastMoved = be_now_us();
}

void clock_output_owed(bool isOwed)
{
    owed = writeArmed = isOwed;
}

bool clock_output_room()
{
    return !(owed && writeArmed && portFd >= 0);
}

// ---- waiting ---------------------------------------------------------------

bool wait_port_idle(int64_t now)
{
    return portFd >= 0 && emptyReads > 0 && now - lastMoved > kQuiet;
}

int64_t wait_last_asked()
{
    return lastAsked;
}

unsigned wait_until(int64_t deadline, bool port)
{
    if (portFd >= 0 && port_settle(portFd) && !owed)
        owed = writeArmed = true;

    bool read = port && portFd >= 0 && readArmed && !portGone;
    bool write = port && portFd >= 0 && owed && writeArmed;

    menus_flush();
    for (;;) {
        draw_present(false);
        int64_t until = std::min(deadline, draw_present_due());
        unsigned got = be_wait(until, read || write ? portFd : -1, read, write);
        if (got & BE_READ)
            readArmed = false;
        if (got & BE_WRITE)
            writeArmed = false;
        lastAsked = be_now_us();
        if (got || lastAsked >= deadline) {
            if (deadline > 0)
                emptyReads = 0;
            return got;
        }
    }
}

void core_wait_input()
{
    wait_until(be_now_us() + kSecond, false);
}
