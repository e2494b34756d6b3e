// The open line: raw mode made and given back, speed and shape, breaks, and
// reading and writing with what must not be lost.
//
// <asm/termbits.h> has the terminal structure that takes any speed; it can't
// stand beside <termios.h>.
#include "platform/core/line/portparts.h"

#include <algorithm>
#include <asm/termbits.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

// A terminal that is held by flow control never drains, and the system would
// wait for it for ever; we wait this long.
constexpr int kDrainMs = 300;
constexpr int kMostDescriptor = 1024;
constexpr int32_t kPortAhead = 8192; // taken from the line at once
constexpr int kSocketRoom = 16384;   // bytes that wait in a socket

constexpr uint8_t kXonOut = 0x04, kXonIn = 0x02, kHardware = 0x18;

// ---- open lines ------------------------------------------------------------
// One is the rule; the second place is for the moment of a change. A place is
// free when its fd is 0. `held` bytes of `hold` go out before any other, and
// `ahead` bytes were read before any that the line still has.

struct open_line {
    int fd;
    bool terminal;  // else a socket or a pipe: nothing to set
    termios2 found; // its state before us
    int32_t held;
    uint8_t hold[kPortHold];
    bool gathers;  // what is written waits in `hold` for port_gather(false)
    bool stuck;    // the line had no room for all of `hold`
    int32_t ahead; // bytes read and not yet handed out, from ready + at
    int32_t at;
    uint8_t ready[kPortAhead];
};
static open_line lines[2];

static open_line *line_of(int fd)
{
    for (open_line &l : lines) {
        if (fd > 0 && l.fd == fd)
            return &l;
    }
    return nullptr;
}

// What lies in a socket can't be taken back when the other side asks for an
// earlier place, nor overtaken by a cancel. A serial driver takes a few KiB.
static void keep_short(int fd)
{
    int room = 0;
    socklen_t size = sizeof room;

    // Lines of other kinds refuse to tell. The system doubles what is set.
    if (getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, &size) != 0 ||
        room <= 2 * kSocketRoom)
        return;
    room = kSocketRoom;
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
}

// A line that we didn't open ourselves still gets its hold.
static open_line *adopt(int fd)
{
    if (fd <= 0 || fd >= kMostDescriptor)
        return nullptr;
    open_line *l = line_of(fd);
    if (l)
        return l;
    for (open_line &f : lines) {
        if (f.fd != 0 && fcntl(f.fd, F_GETFD) < 0)
            f.fd = 0; // closed by its owner
        if (f.fd == 0) {
            f.fd = fd;
            f.terminal = false;
            f.held = f.ahead = 0;
            f.gathers = f.stuck = false;
            keep_short(fd);
            return &f;
        }
    }
    return nullptr;
}

// ---- opening and closing ---------------------------------------------------

static void make_raw(termios2 *t)
{
    t->c_iflag = IGNBRK;
    t->c_oflag = 0;
    t->c_lflag = 0;
    t->c_cflag |= CREAD | CLOCAL;
    // With VMIN 0 a read that finds nothing would look like the end of file.
    t->c_cc[VMIN] = 1;
    t->c_cc[VTIME] = 0;
}

int port_open(const char *path)
{
    if (strcmp(path, kDemoPath) == 0) {
        int fd = demo_open();
        if (fd > 0)
            (void)adopt(fd);
        return fd;
    }
    // Looked at first, so that the wrong name doesn't open a file for writing.
    struct stat s;
    if (stat(path, &s) != 0)
        return -errno;
    if (!S_ISCHR(s.st_mode))
        return -ENOTTY;
    int fd = open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    termios2 t;
    if (fd == 0 || ioctl(fd, TCGETS2, &t) != 0) {
        int error = fd == 0 ? EBADF : errno;
        close(fd);
        return -error;
    }
    open_line *l = adopt(fd);
    if (!l) {
        close(fd);
        return -EMFILE;
    }
    l->terminal = true;
    l->found = t;
    make_raw(&t);
    if (ioctl(fd, TCSETS2, &t) != 0) {
        int error = errno;
        port_close(fd);
        return -error;
    }
    return fd;
}

// The other end of a pseudo-terminal: nothing in it goes at a speed.
static bool is_pseudo(int fd)
{
    struct stat s;

    return fstat(fd, &s) == 0 && major(s.st_rdev) >= 136 &&
           major(s.st_rdev) <= 143;
}

// The system's queue may be empty while the chip still holds bytes, whose speed
// must not change under them. A chip that can't be asked gets the time of two
// bytes.
static bool chip_empty(int fd)
{
    unsigned state = 0;

    if (ioctl(fd, TIOCSERGETLSR, &state) == 0)
        return state & TIOCSER_TEMT;
    termios2 t;
    if (!is_pseudo(fd) && ioctl(fd, TCGETS2, &t) == 0) {
        constexpr int64_t kTwoBytes = 20 * int64_t(1000000000); // bits, ns
        timespec pause = {0, long(kTwoBytes / std::max(t.c_ospeed, 75U))};
        nanosleep(&pause, nullptr);
    }
    return true;
}

static bool drained(int fd)
{
    for (int ms = 0; ms < kDrainMs; ms += 5) {
        int left = 0;
        if (ioctl(fd, TIOCOUTQ, &left) != 0 || (left == 0 && chip_empty(fd)))
            return true;
        timespec pause = {0, 5000000};
        nanosleep(&pause, nullptr);
    }
    return false;
}

void port_close(int fd)
{
    open_line *l = line_of(fd);

    if (fd <= 0)
        return;
    (void)port_settle(fd); // what is still left would wait for ever
    if (l && l->terminal) {
        // What can't leave would hold up the close for half a minute.
        if (!drained(fd))
            ioctl(fd, TCFLSH, TCOFLUSH);
        // As found, but closing still drops DTR and so hangs a modem up.
        l->found.c_cflag |= HUPCL;
        ioctl(fd, TCSETS2, &l->found);
    }
    close(fd);
    if (l)
        l->fd = 0;
}

// ---- the line's shape ------------------------------------------------------

static void set_speed(termios2 *t, int32_t speed)
{
    t->c_cflag &= ~tcflag_t(CBAUD | CBAUD << IBSHIFT);
    t->c_cflag |= BOTHER | BOTHER << IBSHIFT;
    t->c_ispeed = t->c_ospeed = speed_t(speed);
}

static void set_flow(termios2 *t, uint8_t flow)
{
    t->c_cc[VSTART] = 0x11;
    t->c_cc[VSTOP] = 0x13;
    t->c_iflag &= ~tcflag_t(IXON | IXOFF);
    t->c_cflag &= ~tcflag_t(CRTSCTS);
    if (flow & kXonOut)
        t->c_iflag |= IXON;
    if (flow & kXonIn)
        t->c_iflag |= IXOFF;
    if (flow & kHardware)
        t->c_cflag |= CRTSCTS;
}

static int get_state(int fd, termios2 *t)
{
    if (fd <= 0)
        return EBADF; // 0 is a closed port, not standard input
    return ioctl(fd, TCGETS2, t) == 0 ? 0 : errno;
}

static int set_state(int fd, termios2 *t)
{
    return ioctl(fd, TCSETS2, t) == 0 ? 0 : errno;
}

int port_shape(int fd, int32_t speed, int databits, char par, uint8_t flow)
{
    termios2 t;
    int error = get_state(fd, &t);

    if (error != 0)
        return error;
    t.c_cflag = CREAD | HUPCL | CLOCAL;
    t.c_cflag |= databits == 7 ? CS7 : CS8;
    if (par == 'E')
        t.c_cflag |= PARENB;
    else if (par == 'O')
        t.c_cflag |= PARENB | PARODD;
    t.c_iflag = IGNBRK;
    set_speed(&t, speed);
    set_flow(&t, flow);
    return set_state(fd, &t);
}

int port_flow(int fd, uint8_t flow)
{
    termios2 t;
    int error = get_state(fd, &t);

    if (error != 0)
        return error;
    set_flow(&t, flow);
    return set_state(fd, &t);
}

int port_speed(int fd, int32_t speed, bool drain)
{
    termios2 t;
    int error = get_state(fd, &t);

    if (error != 0)
        return error;
    set_speed(&t, speed);
    if (drain)
        (void)drained(fd);
    return set_state(fd, &t);
}

int port_break(int fd, int16_t duration)
{
    if (fd <= 0)
        return EBADF;
    if (!drained(fd))
        return ETIMEDOUT;
    if (ioctl(fd, TIOCSBRK, 0) != 0)
        return errno;
    int64_t ns = int64_t(duration > 0 ? duration : 1) * 1000000000 / 60;
    timespec length = {time_t(ns / 1000000000), long(ns % 1000000000)};
    nanosleep(&length, nullptr);
    return ioctl(fd, TIOCCBRK, 0) == 0 ? 0 : errno;
}

// ---- bytes -----------------------------------------------------------------

// The line has hung up, or its device is gone.
static bool gone(int error)
{
    return error == EIO || error == ENXIO || error == ENODEV ||
           error == EPIPE || error == ECONNRESET;
}

static bool hung_up(int fd)
{
    pollfd p = {fd, POLLIN, 0};

    return poll(&p, 1, 0) > 0 && (p.revents & (POLLHUP | POLLERR | POLLNVAL));
}

static int32_t hand_out(open_line *l, void *to, int32_t count)
{
    int32_t n = count < l->ahead ? count : l->ahead;

    memcpy(to, l->ready + l->at, size_t(n));
    l->at += n;
    l->ahead -= n;
    return n;
}

int32_t port_read(int fd, void *to, int32_t count)
{
    open_line *l = adopt(fd);

    if (l && l->ahead > 0)
        return hand_out(l, to, count);
    (void)port_settle(fd); // what is left over shows by port_keeps
    ssize_t n =
        l ? read(fd, l->ready, sizeof l->ready) : read(fd, to, size_t(count));
    if (n > 0 && !l)
        return int32_t(n);
    if (n > 0) {
        l->ahead = int32_t(n);
        l->at = 0;
        return hand_out(l, to, count);
    }
    if (n == 0)
        return hung_up(fd) ? kPortGone : -EAGAIN;
    if (errno == EWOULDBLOCK || errno == EINTR)
        return -EAGAIN;
    return gone(errno) ? kPortGone : -errno;
}

// write(), with a socket's broken pipe as an error and not as a signal.
static int32_t put(int fd, const void *from, int32_t count)
{
    static bool pipesIgnored;

    if (!pipesIgnored) {
        signal(SIGPIPE, SIG_IGN);
        pipesIgnored = true;
    }
    ssize_t n = write(fd, from, size_t(count));
    if (n >= 0)
        return int32_t(n);
    if (errno == EWOULDBLOCK || errno == EINTR)
        return -EAGAIN;
    return gone(errno) ? kPortGone : -errno;
}

static void push(open_line *l)
{
    int32_t n = put(l->fd, l->hold, l->held);

    if (n > 0) {
        l->held -= n;
        memmove(l->hold, l->hold + n, size_t(l->held));
    } else if (n < 0 && n != -EAGAIN) {
        l->held = 0; // nobody is there to take it
    }
    l->stuck = l->held > 0;
}

void port_gather(int fd, bool on)
{
    open_line *l = adopt(fd);

    if (!l)
        return;
    l->gathers = on;
    if (!on && l->held > 0)
        push(l);
}

bool port_settle(int fd)
{
    open_line *l = line_of(fd);

    if (l && l->gathers && l->held > 0 && !l->stuck)
        push(l);
    return l && l->stuck;
}

// Room for `count` bytes more in `hold`, or as much of it as there is.
static int32_t gather(open_line *l, const void *from, int32_t count)
{
    if (l->held + count > kPortHold)
        push(l);
    if (count > kPortHold - l->held)
        count = kPortHold - l->held;
    if (count <= 0)
        return -EAGAIN;
    memcpy(l->hold + l->held, from, size_t(count));
    l->held += count;
    return count;
}

bool port_keeps(int fd)
{
    const open_line *l = line_of(fd);

    return l && l->held > 0 && (!l->gathers || l->stuck);
}

bool port_holds(int fd)
{
    if (!port_keeps(fd))
        return false;
    push(line_of(fd));
    return port_keeps(fd);
}

void port_drop(int fd)
{
    if (open_line *l = line_of(fd)) {
        l->held = 0;
        l->stuck = false;
    }
}

int32_t port_write(int fd, const void *from, int32_t count)
{
    open_line *l = adopt(fd);

    if (!l)
        return -EBADF;
    if (count <= 0)
        return 0;
    if (port_holds(fd))
        return -EAGAIN;
    if (l->gathers)
        return gather(l, from, count);
    int32_t n = put(fd, from, count);
    if (n == -EAGAIN || n == 0) {
        memcpy(l->hold, from, 1);
        l->held = 1;
        l->stuck = true;
        return 1;
    }
    return n;
}

int32_t port_send(int fd, const void *from, int32_t count)
{
    open_line *l = adopt(fd);
    const uint8_t *p = static_cast<const uint8_t *>(from);
    int32_t taken = 0;

    if (!l)
        return -EBADF;
    if (l->held > 0)
        push(l); // also what has only been gathered
    if (l->held == 0) {
        taken = put(fd, p, count);
        if (taken < 0 && taken != -EAGAIN)
            return taken;
        if (taken < 0)
            taken = 0;
    }
    int32_t rest = count - taken;
    if (rest > kPortHold - l->held)
        rest = kPortHold - l->held;
    memcpy(l->hold + l->held, p + taken, size_t(rest));
    l->held += rest;
    l->stuck = l->held > 0;
    return taken + rest;
}
