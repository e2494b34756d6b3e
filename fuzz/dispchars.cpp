// Any bytes, at any size, type and font, cut anywhere: the rows and the store
// stay whole. The first eight bytes choose the conditions.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"

constexpr size_t kConditions = 8;

static void start_once()
{
    static bool started;

    if (started)
        return;
    started = true;
    hl_spin_limit(0);
    asInit();
    Baudrate = 9600;
    (void)SerAlloc();
    InitPage();
}

// As a program finds it at its start, so that a finding can be played again.
static void fresh(const uint8_t *c)
{
    MaxLine = uint16_t(1 + c[0] % kMaxRows);
    MaxCol = uint16_t(1 + c[1] % kMaxCols);
    cset.termType = c[2] & 3;
    cset.termFlags = c[3];
    cset.bufFlags = c[2] >> 2 & 1;
    qset.useColor = c[2] >> 3 & 1;
    qset.globFlags = kGlobNoBell;
    gProportional = 0;
    gDoubleByte = c[4] & 1;
    interpret_control = !(c[4] >> 1 & 1);
    scrolled = c[4] >> 2 & 1;
    insert = newline = origin_rel = Invert = textstyle = intense = 0;
    autowrap = 1;
    charflg = 0;
    prvchr = prvchr2 = gFirstChar = gInJapanShift = 0;
    numargs = 1;
    memset(num, 0, sizeof num);
    memset(GSet, 'U', sizeof GSet);
    curGSet = 'U';
    GShift = 0;
    outcnt = 0;
    savcount = savlines = 0;
    blanklines = 3;
    sendWait = c[5] & 1 ? c[6] : int16_t(0);
    setFont(0);
    init_term();
    default_tabs();
    cursor_save();
    asKill();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    start_once();
    if (size < kConditions)
        return 0;
    fresh(bytes);
    const size_t chunk = 1 + bytes[7];
    bytes += kConditions;
    size -= kConditions;
    while (size > 0) {
        const size_t n = std::min(chunk, size);
        DispChars(bytes, int16_t(n));
        if (!rows_ok() || outcnt < 0)
            abort();
        bytes += n;
        size -= n;
    }
    if (!sav_ok())
        abort();
    prepSel(nullptr);
    if (!sav_ok())
        abort();
    unprepSel();
    if (!sav_ok())
        abort();
    return 0;
}
