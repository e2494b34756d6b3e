// Ticks, delays and the one way to wait: what the line has to watch is put
// together here with what has to be shown.
#include "platform/clock.h"

#include "platform/core/core.h"
#include "platform/core/line/lineparts.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/menuparts.h"

#include <algorithm>

constexpr int64_t kSecond = 1000000;

// The clock starts as if the desktop had been up for a while: to the program,
// many a tick of 0 means "never".
constexpr int64_t kFirstTick = 3600;

static int64_t started = -1; // be_now_us at the first question
static int64_t lastAsked;    // when the display was asked last

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

// ---- waiting ---------------------------------------------------------------

int64_t wait_last_asked()
{
    return lastAsked;
}

unsigned wait_until(int64_t deadline, bool port)
{
    const bool sleeps = deadline > 0;

    menus_flush();
    for (;;) {
        draw_present(false);
        LineWatch w = line_watch(port, sleeps);
        int64_t until = w.atOnce ? 0 : std::min(deadline, draw_present_due());
        unsigned got =
            be_wait(until, w.read || w.write ? w.fd : -1, w.read, w.write);
        got = line_saw(w, got);
        lastAsked = be_now_us();
        if (got || lastAsked >= deadline) {
            if (sleeps)
                line_waited();
            return got;
        }
    }
}

void core_wait_input()
{
    wait_until(be_now_us() + kSecond, false);
}
