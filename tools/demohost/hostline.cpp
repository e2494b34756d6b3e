// tools/demohost/line.cpp
// The demo host's end of the line.
#include "tools/demohost/hostline.h"

#include <asm/termbits.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

constexpr int kCtrlC = 3, kXon = 17, kXoff = 19;
constexpr size_t kMostWaiting = 65536; // unread input; more stays outside

static int line = -1;
static int ownEnd = -1; // keeps a new pair alive until the first byte comes
static std::deque<uint8_t> waiting;
static bool flowObeyed = true;
static bool heldBack;    // XOFF came
static bool interrupted; // Ctrl-C came while something was being sent
static void (*endAction)();

static void line_lost()
{
    if (endAction)
        endAction();
    _exit(0);
}

int64_t now_ms()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

bool line_adopt(int fd)
{
    termios2 t;
    if (ioctl(fd, TCGETS2, &t) != 0)
        return false;
    // A fresh pair echoes and edits. The host must find it raw before its
    // first word, which would come back to it otherwise.
    t.c_iflag = 0;
    t.c_oflag = 0;
    t.c_lflag = 0;
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    if (ioctl(fd, TCSETS2, &t) != 0)
        return false;
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    line = fd;
    return true;
}

std::string line_create()
{
    int fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 || grantpt(fd) != 0 || unlockpt(fd) != 0)
        return "";
    char name[128];
    if (ptsname_r(fd, name, sizeof name) != 0)
        return "";
    ownEnd = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (ownEnd < 0 || !line_adopt(fd))
        return "";
    return name;
}

int line_fd()
{
    return line;
}

int line_speed()
{
    termios2 t;
    if (ioctl(line, TCGETS2, &t) != 0 || t.c_ospeed == 0)
        return 9600;
    return int(t.c_ospeed);
}

void line_at_end(void (*action)())
{
    endAction = action;
}

void line_flow(bool obeyed)
{
    flowObeyed = obeyed;
    heldBack = false;
}

bool line_interrupted()
{
    bool was = interrupted;
    interrupted = false;
    return was;
}

// Takes what has come. Only while something is being sent does Ctrl-C count as
// an interrupt; a page that reads its keys gets it as a byte.
static void take_input(bool sending)
{
    uint8_t buf[4096];
    if (waiting.size() > kMostWaiting)
        return;
    ssize_t n = read(line, buf, sizeof buf);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
        line_lost();
    if (n > 0 && ownEnd >= 0) {
        close(ownEnd); // somebody is there: from now on a hang-up shows
        ownEnd = -1;
    }
    for (ssize_t i = 0; i < n; i++) {
        if (flowObeyed && buf[i] == kXoff)
            heldBack = true;
        else if (flowObeyed && buf[i] == kXon)
            heldBack = false;
        else if (sending && flowObeyed && buf[i] == kCtrlC)
            interrupted = true;
        else
            waiting.push_back(buf[i]);
    }
}

// Waits at most `ms` for input, or for room to send if asked.
static bool wait_line(bool room, int ms, bool sending)
{
    pollfd p = {line, POLLIN, 0};
    if (room)
        p.events |= POLLOUT;
    if (waiting.size() > kMostWaiting)
        p.events &= short(~POLLIN);
    int r = poll(&p, 1, ms);
    if (r <= 0)
        return false;
    if (p.revents & POLLIN)
        take_input(sending);
    else if (p.revents & (POLLHUP | POLLERR | POLLNVAL))
        line_lost();
    return (p.revents & POLLOUT) != 0;
}

int line_key(int ms)
{
    int64_t end = now_ms() + ms;
    while (waiting.empty()) {
        int left = ms < 0 ? -1 : int(end - now_ms());
        if (ms >= 0 && left < 0)
            left = 0;
        wait_line(false, left, false);
        if (waiting.empty() && ms >= 0 && now_ms() >= end)
            return kTimeout;
    }
    int c = waiting.front();
    waiting.pop_front();
    return c;
}

bool line_waiting()
{
    if (waiting.empty())
        wait_line(false, 0, false);
    return !waiting.empty();
}

void line_forget()
{
    while (line_waiting())
        waiting.clear();
}

void line_put(const void *bytes, size_t count)
{
    const char *p = static_cast<const char *>(bytes);
    interrupted = false;
    wait_line(false, 0, true);
    while (count > 0) {
        if (heldBack) {
            wait_line(false, -1, true);
            continue;
        }
        ssize_t n = write(line, p, count);
        if (n > 0) {
            p += n;
            count -= size_t(n);
        } else if (n < 0 && errno == EAGAIN) {
            wait_line(true, -1, true);
        } else if (n < 0 && errno != EINTR) {
            line_lost();
        }
    }
}

void line_text(const std::string &text)
{
    std::string out;
    out.reserve(text.size() + 32);
    for (char c : text) {
        if (c == '\n')
            out += '\r';
        out += c;
    }
    line_put(out.data(), out.size());
}
