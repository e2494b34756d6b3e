// Any bytes, at any size, type and font, cut anywhere, with the window shown,
// hidden or scrolled back: the rows and the store stay whole. The first nine
// bytes choose the conditions.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tests/support/terminalwindow.h"

constexpr size_t kConditions = 9;

static WindowPtr gWindow;

// The fonts: fixed, two bytes a character, of variable width where one is
// installed.
static void name_font(int which)
{
    static const ConstStr names[] = {PSTR("ql-Mac"), PSTR("Test JIS"),
                                     PSTR("ql-PC"), PSTR("Test Sans")};

    (void)SetStrInList(gLocalStrings, kStrFont, names[which & 3]);
}

static void start_once()
{
    if (gWindow)
        return;
    hl_spin_limit(0);
    open_terminal(24, 80);
    gWindow = myWindow;
    fonts_add_double_byte(PSTR("Test JIS"));
    gLocalStrings = NewStrList();
    for (int i = 0; i < kStrFont; i++)
        (void)AppendStrList(gLocalStrings, nullptr);
}

static void fresh_parser(const uint8_t *c)
{
    interpret_control = !(c[4] >> 1 & 1);
    insert = newline = origin_rel = Invert = textstyle = intense = 0;
    invisible = 0;
    autowrap = 1;
    charflg = 0;
    prvchr = prvchr2 = gFirstChar = gInJapanShift = 0;
    numargs = 1;
    memset(num, 0, sizeof num);
    memset(GSet, 'U', sizeof GSet);
    curGSet = 'U';
    GShift = 0;
    outcnt = 0;
    sendWait = c[5] & 1 ? c[6] : int16_t(0);
    asKill();
}

static void fresh_settings(const uint8_t *c)
{
    cset.termType = c[2] & 3;
    cset.termFlags = c[3];
    cset.bufFlags = c[2] >> 2 & 1;
    qset.useColor = c[2] >> 3 & 1;
    gColorQD = c[2] >> 4 & 1;
    qset.globFlags = kGlobNoBell;
}

// As a program finds it at its start, so that a finding can be played again.
static void fresh(const uint8_t *c)
{
    const uint16_t rows = uint16_t(1 + c[0] % kMaxRows);
    const uint16_t cols = uint16_t(1 + c[1] % kMaxCols);

    fresh_settings(c);
    fresh_parser(c);
    scrolled = 0;
    myWindow = gWindow;
    name_font(c[4] >> 3);
    setFontCheckRowCol(0);
    const Rect bounds = window_bounds(rows, cols);
    ResizeWind(myWindow, &bounds);
    if (c[4] & 1) {
        // Without a window the model has its size alone.
        myWindow = nullptr;
        gProportional = 0;
        gDoubleByte = c[8] & 1;
        MaxLine = rows;
        MaxCol = cols;
        setFont(0);
    }
    scrolled = c[4] >> 2 & 1;
    savcount = savlines = 0;
    blanklines = 3;
    sb_update(0, 0, 2);
    init_term();
    default_tabs();
    cursor_save();
}

static void check()
{
    if (!rows_ok() || outcnt < 0 || !sav_ok())
        abort();
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
    check();
    prepSel(nullptr);
    check();
    unprepSel();
    check();
    if (myWindow)
        term_redraw();
    return 0;
}
