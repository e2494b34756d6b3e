// The false clock, and the wait that moves it.
#include "platform/headless/state.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

constexpr int64_t kSecond = 1000000;

// A wait for more than this without anything left that could end it is a
// program that hangs.
constexpr int64_t kForever = 4 * 3600 * kSecond;

bool hlInput;

static int64_t clockUs = 5 * kSecond;
static bool realTime;
static std::function<void()> onSignal;
static bool signalled; // a wait was interrupted, and onSignal hasn't run
static int64_t spins, spinLimit = 20000000;
static int64_t idleSince = 5 * kSecond; // when something last happened
static int waits;

void hl_fail(const char *what)
{
    fprintf(stderr, "headless: %s, at %.3f s; windows:", what,
            double(clockUs) / 1e6);
    for (be_win w : hl_order()) {
        const HlShown *s = hl_shown(w);
        if (s->w.visible)
            fprintf(stderr, " \"%s\" (%s)", s->w.title.c_str(),
                    hl_window_text(s->w).c_str());
    }
    fprintf(stderr, "\n");
    abort();
}

static void count_spin()
{
    if (!realTime && spinLimit && ++spins > spinLimit)
        hl_fail("a loop asks for the time, and the clock never moves");
}

void hl_move_clock(int64_t us)
{
    if (us <= clockUs)
        return;
    clockUs = us;
    spins = 0;
}

static int64_t real_now()
{
    timespec t;

    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * kSecond + t.tv_nsec / 1000;
}

int64_t hl_now()
{
    return realTime ? real_now() : clockUs;
}

int64_t be_now_us()
{
    if (realTime)
        return real_now();
    count_spin();
    return clockUs;
}

int64_t be_wall_clock()
{
    constexpr int64_t kStart = 1718452800; // 15 June 2024, 12:00

    return kStart + hl_now() / kSecond;
}

int32_t be_caret_ticks()
{
    return 32;
}
int32_t be_double_click_ticks()
{
    return 30;
}

void hl_advance_us(int64_t us)
{
    hl_move_clock(clockUs + us);
}

void hl_advance_ticks(uint32_t ticks)
{
    // Rounded up, so that TickCount is sure to have moved by that many.
    hl_advance_us((int64_t(ticks) * kSecond + 59) / 60);
}

void hl_real_time(bool on)
{
    if (!on)
        clockUs = std::max(clockUs, real_now());
    realTime = on;
}

void hl_on_signal(std::function<void()> act)
{
    onSignal = std::move(act);
}

void hl_spin_limit(int64_t calls)
{
    spinLimit = calls;
}
int hl_waits()
{
    return waits;
}

// ---- waiting ---------------------------------------------------------------

static unsigned state_of(int fd, bool read, bool write, int64_t us)
{
    pollfd p = {fd, short((read ? POLLIN : 0) | (write ? POLLOUT : 0)), 0};
    timespec t = {us / kSecond, (us % kSecond) * 1000};
    unsigned state = 0;

    if (fd < 0 || !(read || write)) {
        if (us > 0)
            nanosleep(&t, nullptr);
        return 0;
    }
    int got = ppoll(&p, 1, &t, nullptr);
    signalled = signalled || (got < 0 && errno == EINTR);
    if (got <= 0)
        return 0;
    if (read && p.revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL))
        state |= BE_READ;
    if (write && p.revents & (POLLOUT | POLLHUP | POLLERR | POLLNVAL))
        state |= BE_WRITE;
    return state;
}

// How long to wait for a real program behind `fd` before the false clock moves
// on without it. Its answers come when they come; the step keeps a test of
// many waits from taking as long as the waits.
constexpr int64_t kRealStep = 2000;

unsigned be_wait(int64_t deadline, int fd, bool read, bool write)
{
    unsigned got = 0;

    hlInput = false;
    if (deadline > hl_now())
        waits++;
    for (;;) {
        int64_t now = hl_now();
        hl_line_serve(now);
        if (hl_run_due_acts(now) || hl_run_modal())
            hl_line_serve(now);
        int64_t until = std::min({deadline, hl_next_act(), hl_line_next()});
        // With real time one call of the system both looks and waits.
        int64_t patience = 0;
        if (realTime && !hlInput)
            patience = std::clamp<int64_t>(until - now, 0, kSecond);
        got = state_of(fd, read, write, patience);
        if (signalled && onSignal) {
            onSignal();
            hlInput = true;
        }
        signalled = false;
        if (hlInput)
            got |= BE_INPUT;
        if (got) {
            idleSince = now;
            return got;
        }
        if (patience > 0)
            now = hl_now();
        if (now >= deadline) {
            count_spin();
            return 0;
        }
        bool scripted = until < deadline || hl_next_act() != INT64_MAX ||
                        hl_line_next() != INT64_MAX;
        if (realTime)
            continue;
        if (fd >= 0 && !hl_line_exists()) {
            got = state_of(fd, read, write, std::min(until - now, kRealStep));
            if (got)
                continue;
        } else if (scripted) {
            idleSince = now;
        } else if (now - idleSince > kForever) {
            hl_fail("nothing is left that could end this wait");
        }
        hl_move_clock(until);
    }
}

void be_empty_read()
{
    if (realTime)
        return;
    hl_line_serve(clockUs);
    hl_move_clock(clockUs + 1000);
    hl_line_serve(clockUs);
}
