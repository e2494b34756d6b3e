// The device below the line: opened for us alone, made raw and given back,
// speed and shape, breaks, and the plain reads and writes of the system.
//
// <asm/termbits.h> has the terminal structure that takes any speed; it can't
// stand beside <termios.h>.
#include "platform/core/line/lineparts.h"
#include "platform/core/line/portparts.h"

#include <algorithm>
#include <asm/termbits.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

// A terminal that is held by flow control never drains, and the system would
// wait for it for ever; we wait this long.
constexpr int kDrainMs = 300;
constexpr int kSocketRoom = 16384; // bytes that wait in a socket

constexpr uint8_t kXonOut = 0x04, kXonIn = 0x02, kHardware = 0x18;

// ---- the terminal that we opened -------------------------------------------

static int opened;     // its descriptor; 0: none
static termios2 found; // its state before us

// ---- opening and closing ---------------------------------------------------

void device_short_queue(int fd)
{
    int room = 0;
    socklen_t size = sizeof room;

    // Lines of other kinds refuse to answer. The system doubles what is set.
    if (getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, &size) != 0 ||
        room <= 2 * kSocketRoom)
        return;
    room = kSocketRoom;
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
}

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

// 0 or the errno. Two programs on one line would each take a part of its
// bytes, so a second one is refused: by the lock if it asks for that, too, and
// by the terminal's own flag if it doesn't.
static int take_alone(int fd)
{
    if (flock(fd, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? EBUSY : errno;
    return ioctl(fd, TIOCEXCL) == 0 ? 0 : errno;
}

static int take_terminal(int fd)
{
    termios2 t;

    if (ioctl(fd, TCGETS2, &t) != 0)
        return errno;
    int error = take_alone(fd);
    if (error != 0)
        return error;
    found = t;
    make_raw(&t);
    if (ioctl(fd, TCSETS2, &t) == 0)
        return 0;
    error = errno;
    (void)ioctl(fd, TIOCNXCL);
    return error;
}

int device_open(const char *path)
{
    if (strcmp(path, kDemoPath) == 0)
        return demo_open();
    // Looked at first, so that the wrong name doesn't open a file for writing.
    struct stat s;
    if (stat(path, &s) != 0)
        return -errno;
    if (!S_ISCHR(s.st_mode))
        return -ENOTTY;
    int fd = open(path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return -errno;
    int error = fd == 0 ? EBADF : take_terminal(fd);
    if (error != 0) {
        close(fd);
        return -error;
    }
    opened = fd;
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

void device_close(int fd)
{
    if (fd == opened) {
        // What can't leave would hold up the close for half a minute.
        if (!drained(fd))
            ioctl(fd, TCFLSH, TCOFLUSH);
        // As found, but closing still drops DTR and so hangs a modem up.
        found.c_cflag |= HUPCL;
        ioctl(fd, TCSETS2, &found);
        ioctl(fd, TIOCNXCL);
        opened = 0;
    }
    close(fd);
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
    return ioctl(fd, TCGETS2, t) == 0 ? 0 : errno;
}

static int set_state(int fd, termios2 *t)
{
    return ioctl(fd, TCSETS2, t) == 0 ? 0 : errno;
}

int device_shape(int fd, int32_t speed, int databits, char par, uint8_t flow)
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

int device_flow(int fd, uint8_t flow)
{
    termios2 t;
    int error = get_state(fd, &t);

    if (error != 0)
        return error;
    set_flow(&t, flow);
    return set_state(fd, &t);
}

int device_speed(int fd, int32_t speed, bool drain)
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

int device_break(int fd, int16_t duration)
{
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

int32_t device_read(int fd, void *to, int32_t count)
{
    ssize_t n = read(fd, to, size_t(count));

    if (n > 0)
        return int32_t(n);
    // A terminal may answer 0 for other reasons; the end of a pipe or of a
    // socket is the end of the line.
    if (n == 0)
        return isatty(fd) && !hung_up(fd) ? -EAGAIN : kLineGone;
    if (errno == EWOULDBLOCK || errno == EINTR)
        return -EAGAIN;
    return gone(errno) ? kLineGone : -errno;
}

// write(), with a socket's broken pipe as an error and not as a signal.
int32_t device_write(int fd, const void *from, int32_t count)
{
    static bool pipesIgnored;

    if (!pipesIgnored) {
        signal(SIGPIPE, SIG_IGN);
        pipesIgnored = true;
    }
    ssize_t n = write(fd, from, size_t(count));
    if (n > 0)
        return int32_t(n);
    if (n == 0 || errno == EWOULDBLOCK || errno == EINTR)
        return -EAGAIN;
    return gone(errno) ? kLineGone : -errno;
}
