// Lines into the store and out of it, clears, preparations and memory that
// runs short, in any order: the store stays whole, and no number leaves its
// 16 bits.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"

static void start_once()
{
    static bool started;

    if (started)
        return;
    started = true;
    hl_spin_limit(0);
    (void)SerAlloc();
    InitPage();
}

static const uint8_t *gAt, *gEnd;

static uint8_t next()
{
    return gAt < gEnd ? *gAt++ : uint8_t(0);
}

// A line of some bytes of the input, or of many times the same.
static void save_some()
{
    uint8_t line[kMaxCols];
    const int length = next() % (kMaxCols + 1);
    const uint8_t fill = next();

    memset(line, ' ', sizeof line);
    if (fill & 1) {
        for (int i = 0; i < length; i++)
            line[i] = next();
    } else {
        memset(line, fill, size_t(length));
    }
    for (int times = 1 + next(); times > 0; times--)
        savline(line);
}

static void select_some()
{
    stSel = int16_t(next());
    endSel = int16_t(stSel + next());
    stCol = next();
    endCol = next();
}

// The bytes that a selection gives are all the store's.
static void prepare()
{
    int32_t size;
    const uint8_t *text = prepSel(next() & 1 ? &size : nullptr);

    if (text && (text < *savhdl || text + size > *savhdl + savcount))
        abort();
    if (!sav_ok())
        abort();
    if (next() & 1)
        DelLines(0, next());
    unprepSel();
}

static void one_step()
{
    switch (next() % 9) {
    case 0:
    case 1:
        save_some();
        break;
    case 2: {
        const int16_t first = int16_t(next() * 8), last = int16_t(next() * 8);
        DelLines(first, last);
        break;
    }
    case 3:
        prepare();
        break;
    case 4:
        mem_fail_nth(next() % 8);
        break;
    case 5:
        mem_set_budget(int64_t(1) << (10 + next() % 20));
        break;
    case 6:
        clr_savbuf();
        break;
    case 7:
        gDoubleByte = next() & 1;
        Baudrate = next() * 100;
        scrolled = next() & 1;
        break;
    default:
        select_some();
        break;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    start_once();
    gAt = bytes;
    gEnd = bytes + size;
    mem_fail_nth(0);
    mem_set_budget(int64_t(256) << 20);
    savcount = savlines = 0;
    blanklines = 3;
    stSel = endSel = -1;
    qset.globFlags = 0;
    for (int steps = 0; gAt < gEnd && steps < 400; steps++) {
        one_step();
        if (!sav_ok())
            abort();
    }
    return 0;
}
