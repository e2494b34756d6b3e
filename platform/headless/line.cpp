// The simulated line: a socket pair or a pseudo-terminal whose other end is
// held here. Bytes of the host wait with the time at which they arrive and are
// written into the pair when the clock gets there.
#include "platform/headless/state.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <deque>

struct Due {
    int64_t at;
    uint8_t byte;
};

static int ours = -1; // the host's end
static char path[128];
static std::deque<Due> due; // in order of time
static int64_t lastSaid;    // time of the last byte said
static int speed;           // bytes a second, 0: no limit
static bool stuck;
static std::string heard;
static std::function<void(const uint8_t *, size_t)> peer;
static std::function<bool(uint8_t &, bool)> fault;

bool hl_line_exists()
{
    return ours >= 0;
}

static void no_wait(int fd)
{
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
}

static int open_pty()
{
    termios t;

    ours = posix_openpt(O_RDWR | O_NOCTTY);
    if (ours < 0 || grantpt(ours) || unlockpt(ours) ||
        ptsname_r(ours, path, sizeof path))
        hl_fail("no pseudo-terminal");
    no_wait(ours);
    // Raw from the start.
    int slave = open(path, O_RDWR | O_NOCTTY);
    if (slave >= 0 && tcgetattr(slave, &t) == 0) {
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
    }
    if (slave >= 0)
        close(slave);
    return -1;
}

int hl_line_open(HlLineKind kind)
{
    int pair[2];

    hl_line_hangup();
    due.clear();
    heard.clear();
    lastSaid = 0;
    if (kind == HL_PTY)
        return open_pty();
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        hl_fail("no socket pair");
    ours = pair[0];
    no_wait(pair[0]);
    no_wait(pair[1]);
    return pair[1];
}

const char *hl_line_path()
{
    return path;
}

void hl_line_bytes(const void *bytes, size_t count, int64_t delay_us)
{
    const uint8_t *b = static_cast<const uint8_t *>(bytes);
    int64_t at = std::max(lastSaid, hl_now()) + delay_us;

    for (size_t n = 0; n < count; n++) {
        uint8_t c = b[n];
        if (speed > 0)
            at += 1000000 / speed;
        if (!fault || fault(c, false))
            due.push_back({at, c});
    }
    lastSaid = at;
}

void hl_line_say(const std::string &text, int64_t delay_us)
{
    hl_line_bytes(text.data(), text.size(), delay_us);
}

void hl_line_speed(int bytesPerSecond)
{
    speed = bytesPerSecond;
}
size_t hl_line_waiting()
{
    return due.size();
}

void hl_line_peer(std::function<void(const uint8_t *, size_t)> hear)
{
    peer = std::move(hear);
}

std::string hl_line_heard()
{
    hl_line_serve(hl_now());
    std::string all;
    std::swap(all, heard);
    return all;
}

void hl_line_stuck(bool isStuck)
{
    stuck = isStuck;
}

void hl_line_fault(std::function<bool(uint8_t &, bool)> f)
{
    fault = std::move(f);
}

void hl_line_hangup()
{
    if (ours >= 0)
        close(ours);
    ours = -1;
}

int64_t hl_line_next()
{
    return ours < 0 || due.empty() ? INT64_MAX : due.front().at;
}

static void listen_to_program()
{
    uint8_t block[4096];
    ssize_t count;

    while (!stuck && ours >= 0 &&
           (count = read(ours, block, sizeof block)) > 0) {
        std::string came;
        for (ssize_t n = 0; n < count; n++) {
            uint8_t c = block[n];
            if (!fault || fault(c, true))
                came += char(c);
        }
        heard += came;
        if (peer && !came.empty())
            peer(reinterpret_cast<const uint8_t *>(came.data()), came.size());
    }
}

static void deliver(int64_t now)
{
    uint8_t block[4096];

    while (ours >= 0 && !due.empty() && due.front().at <= now) {
        size_t count = 0;
        while (count < sizeof block && count < due.size() &&
               due[count].at <= now) {
            block[count] = due[count].byte;
            count++;
        }
        ssize_t took = write(ours, block, count);
        if (took <= 0) {
            // The program doesn't read: the rest comes a little later.
            for (Due &d : due) {
                if (d.at > now + 1000)
                    break;
                d.at = now + 1000;
            }
            return;
        }
        due.erase(due.begin(), due.begin() + took);
    }
}

void hl_line_serve(int64_t now)
{
    if (ours < 0)
        return;
    listen_to_program();
    deliver(now);
}
