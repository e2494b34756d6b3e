// The line: what was read and not handed out, what was taken and not written,
// and what a wait watches for. The calls of the system are in device.cpp.
#include "platform/core/line/lineparts.h"

#include "platform/backend.h"
#include "platform/core/waiting.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>

constexpr int32_t kOneRead = 8192; // taken from the line at once

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

// A line trickles while its reads bring fewer bytes than these. The wait for
// more of them, in microseconds, is a tenth of a block of 1K at 115200 bit/s:
// a third less work for a receiver there, and no block ends noticeably later.
constexpr int32_t kTrickle = 256;
constexpr int64_t kTrickleWait = 8000;

// Whether a wait watches for room. Room is reported once: a program that
// doesn't write then must not keep every wait from waiting.
enum room_watch : uint8_t { ROOM_UNWANTED, ROOM_WATCHED, ROOM_SEEN };

// ---- the line --------------------------------------------------------------
// Without a line all of it is 0. `kept` bytes of `rest` go out before any
// other; they are there because they are gathered, or because the line had no
// room for them, and then a wait watches for it.

static struct {
    int fd;        // 0: none
    bool gone;     // hung up, or broken: not watched until a read brings bytes
    bool reported; // a wait has ended with bytes, and nobody has read since

    bool expects;     // the reader's block isn't over
    int32_t lastCame; // bytes of the last read that brought any

    uint8_t *ready; // `size` bytes, of which `ahead` from `at` on were read
    int32_t size;
    int32_t at;
    int32_t ahead;

    uint8_t rest[kLineRest];
    int32_t kept;
    bool gathers; // what is written waits in `rest`
    bool refused; // the line had no room for all of it
    room_watch room;

    int emptyReads;    // since bytes, a write or a real wait
    bool silent;       // the last rest of a read brought nothing
    int64_t lastMoved; // be_now_us when bytes were last read or written
} line;

bool line_ok()
{
    const auto &l = line;

    if (l.fd < 0 || l.at < 0 || l.ahead < 0 || l.at + l.ahead > l.size ||
        l.size > kLineAhead || (l.ready == nullptr) != (l.size == 0))
        return false;
    if (l.kept < 0 || l.kept > kLineRest)
        return false;
    if (l.refused ? l.kept == 0 || l.room == ROOM_UNWANTED
                  : l.kept > 0 && !l.gathers)
        return false; // bytes that nothing would ever write
    return l.fd > 0 || (l.size == 0 && l.kept == 0 && !l.gathers &&
                        !l.reported && l.room == ROOM_UNWANTED);
}

static bool is_line(int fd)
{
    return fd > 0 && fd == line.fd;
}

// ---- the pace --------------------------------------------------------------

static void moved()
{
    line.silent = false;
    line.emptyReads = 0;
    line.lastMoved = be_now_us();
}

// A read that found nothing: rests if it is one of many. True when bytes have
// come meanwhile.
static bool rest_a_little()
{
    if (line.expects && line.lastCame > 0 && line.lastCame < kTrickle) {
        wait_until(be_now_us() + kTrickleWait, false);
        return true;
    }
    bool sender = be_now_us() - line.lastMoved <= kQuiet;

    line.emptyReads++;
    if (line.emptyReads <= 1 || (sender && line.emptyReads <= kEmptyReads))
        return false;
    unsigned got =
        wait_until(be_now_us() + (line.silent ? kNextWait : kFirstWait), true);
    line.silent = got == 0;
    if (line.silent)
        line.emptyReads = kEmptyReads; // one more empty read waits again
    line.reported = false;
    return got & BE_READ;
}

bool line_idle(int64_t now)
{
    return line.fd > 0 && line.emptyReads > 0 && now - line.lastMoved > kQuiet;
}

void line_waited()
{
    line.emptyReads = 0;
}

// ---- the rest --------------------------------------------------------------

static void note_refusal()
{
    line.refused = line.kept > 0;
    if (line.refused)
        line.room = ROOM_WATCHED;
}

static void push()
{
    int32_t n = device_write(line.fd, line.rest, line.kept);

    if (n > 0) {
        line.kept -= n;
        memmove(line.rest, line.rest + n, size_t(line.kept));
        moved();
    } else if (n != -EAGAIN) {
        line.kept = 0; // nobody is there to take it
    }
    note_refusal();
    assert(line_ok());
}

// What has been gathered leaves, unless the line is known to be full.
static void push_gathered()
{
    if (line.kept > 0 && !line.refused)
        push();
}

static int32_t keep(const void *from, int32_t count)
{
    int32_t n = std::min(count, kLineRest - line.kept);

    memcpy(line.rest + line.kept, from, size_t(n));
    line.kept += n;
    return n;
}

// ---- reading ahead ---------------------------------------------------------

// Makes room for at least a byte behind what is there; false at the bound, and
// when memory is short. Then the line's flow control holds.
static bool make_room()
{
    if (line.ahead == 0)
        line.at = 0;
    if (line.at + line.ahead < line.size)
        return true;
    if (line.at > 0) {
        memmove(line.ready, line.ready + line.at, size_t(line.ahead));
        line.at = 0;
        return true;
    }
    int32_t more = std::clamp<int32_t>(line.size * 2, kOneRead, kLineAhead);
    void *bigger =
        more > line.size ? realloc(line.ready, size_t(more)) : nullptr;
    if (!bigger)
        return false;
    line.ready = static_cast<uint8_t *>(bigger);
    line.size = more;
    return true;
}

// Reads once from the system, after the bytes already there. Returns what the
// read returned.
static int32_t fill()
{
    if (!make_room())
        return -EAGAIN;
    int32_t behind = line.at + line.ahead;
    int32_t n = device_read(line.fd, line.ready + behind, line.size - behind);
    if (n > 0) {
        line.ahead += n;
        line.lastCame = n;
        moved();
    }
    line.gone = n < 0 && n != -EAGAIN;
    assert(line_ok());
    return n;
}

static void drop_ahead()
{
    free(line.ready);
    line.ready = nullptr;
    line.size = line.at = line.ahead = 0;
}

static int32_t hand_out(void *to, int32_t count)
{
    int32_t n = std::min(count, line.ahead);

    memcpy(to, line.ready + line.at, size_t(n));
    line.at += n;
    line.ahead -= n;
    if (line.ahead == 0 && line.size > kOneRead)
        drop_ahead(); // a long dialog's memory
    return n;
}

// ---- the line in a wait ----------------------------------------------------

LineWatch line_watch(bool ends, bool sleeps)
{
    LineWatch w = {-1, false, false, false, false, false};

    if (line.fd == 0 || (line.expects && !ends))
        return w;
    push_gathered();
    w.fd = line.fd;
    w.reportRead = ends && !line.reported;
    w.atOnce = w.reportRead && line.ahead > 0;
    if (!line.gone)
        w.read = w.reportRead || (sleeps && make_room());
    w.reportRoom = ends && line.room == ROOM_WATCHED;
    w.write = w.reportRoom || (sleeps && line.refused);
    return w;
}

unsigned line_saw(const LineWatch &w, unsigned got)
{
    if (w.atOnce)
        got |= BE_READ;
    if (got & BE_READ) {
        if (w.reportRead) {
            line.reported = true;
        } else {
            (void)fill();
            got &= ~unsigned(BE_READ);
        }
    }
    if (got & BE_WRITE) {
        if (w.reportRoom) {
            line.room = ROOM_SEEN;
        } else {
            push();
            got &= ~unsigned(BE_WRITE);
        }
    }
    return got;
}

// ---- opening and closing ---------------------------------------------------

void line_use(int fd)
{
    drop_ahead();
    line = {};
    line.fd = fd > 0 ? fd : 0;
    if (fd > 0)
        device_short_queue(fd);
    assert(line_ok());
}

int line_open(const char *path)
{
    line_close();
    int fd = device_open(path);
    if (fd > 0)
        line_use(fd);
    return fd;
}

void line_close()
{
    int fd = line.fd;

    if (fd == 0)
        return;
    if (line.kept > 0)
        push(); // what is still left would wait for ever
    line_use(0);
    device_close(fd);
}

// ---- the line's shape ------------------------------------------------------

int line_shape(int fd, int32_t speed, int databits, char par, uint8_t flow)
{
    return is_line(fd) ? device_shape(fd, speed, databits, par, flow) : EBADF;
}

int line_flow(int fd, uint8_t flow)
{
    return is_line(fd) ? device_flow(fd, flow) : EBADF;
}

int line_speed(int fd, int32_t speed, bool drain)
{
    return is_line(fd) ? device_speed(fd, speed, drain) : EBADF;
}

int line_break(int fd, int16_t duration)
{
    return is_line(fd) ? device_break(fd, duration) : EBADF;
}

// ---- input -----------------------------------------------------------------

int32_t line_read(int fd, void *to, int32_t count)
{
    if (!is_line(fd))
        return -EBADF;
    line.reported = false;
    if (line.refused && line.room != ROOM_WATCHED)
        push();
    if (line.ahead > 0)
        return hand_out(to, count);
    push_gathered();
    int32_t n = fill();
    if (n == -EAGAIN) {
        be_empty_read();
        if (rest_a_little())
            n = fill();
    }
    if (n <= 0 && line.ahead == 0)
        return n == 0 ? -EAGAIN : n;
    return hand_out(to, count);
}

void line_expect(bool more)
{
    line.expects = more;
}

// ---- output ----------------------------------------------------------------

// What is written while the line gathers.
static int32_t gather(const void *from, int32_t count)
{
    if (line.kept + count > kLineRest)
        push();
    int32_t n = keep(from, count);
    return n > 0 ? n : -EAGAIN;
}

int32_t line_write(int fd, const void *from, int32_t count)
{
    if (!is_line(fd))
        return -EBADF;
    if (count <= 0)
        return 0;
    if (line.gathers)
        return gather(from, count);
    if (line.kept > 0)
        push();
    int32_t n = line.kept > 0 ? -EAGAIN : device_write(line.fd, from, count);
    if (n > 0)
        moved();
    if (n == -EAGAIN || (n > 0 && n < count))
        line.room = ROOM_WATCHED;
    assert(line_ok());
    return n;
}

int32_t line_send(int fd, const void *from, int32_t count)
{
    const uint8_t *p = static_cast<const uint8_t *>(from);
    int32_t taken = 0;

    if (!is_line(fd))
        return -EBADF;
    if (line.kept > 0)
        push(); // also what has only been gathered
    if (line.kept == 0) {
        taken = device_write(line.fd, p, count);
        if (taken < 0 && taken != -EAGAIN)
            return taken;
        taken = std::max(taken, 0);
    }
    if (taken > 0)
        moved();
    taken += keep(p + taken, count - taken);
    note_refusal();
    assert(line_ok());
    return taken;
}

void line_gather(bool on)
{
    if (line.fd == 0)
        return;
    line.gathers = on;
    if (!on && line.kept > 0)
        push();
    assert(line_ok());
}

bool line_busy()
{
    if (line.refused)
        push();
    return line.refused;
}

void line_want_room(bool more)
{
    bool wanted = line.fd > 0 && (more || line.refused);

    line.room = wanted ? ROOM_WATCHED : ROOM_UNWANTED;
    assert(line_ok());
}
