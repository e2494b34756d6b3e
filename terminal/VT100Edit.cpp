// What the tables call to move the cursor, scroll, insert, delete and erase.
// Each changes rows and records, and, while the view is live, moves or erases
// the same pixels. Rows that are lost go to the scrollback first.
#include "terminal/VT100.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "automation/AsciiSend.h"
#include "base/Capture.h"
#include "base/facts.h"
#include "platform/drawing.h"
#include "platform/windows.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "terminal/HostCursor.h"
#include "terminal/VT100Parts.h"

// ---- the host's cursor on its way to a place -------------------------------

int16_t reqRow = -1, reqCol;
int16_t difRow, difCol;
int16_t aheadPos;

// ---- the saved cursor ------------------------------------------------------

int16_t savcol, savlin;
uint8_t savTxStyle, savInvert, savOrigin;
int8_t savGShift;
uint8_t savGS0 = kNormalSet, savGS1 = kNormalSet;

// ---- helpers ---------------------------------------------------------------

// A count: the low 16 bits of the first parameter, 1 for 0.
static int count_param()
{
    const int n = int(num[1] & 0xFFFF);
    return n ? n : 1;
}

// A place, from 0, in a parameter that counts from 1.
static int place_param(int i)
{
    if (num[i] == 0)
        return 0;
    return int(std::min<uint32_t>(num[i], INT16_MAX)) - 1;
}

static uint8_t *current_line()
{
    return scr[curlin_array];
}

static void blank(uint8_t *line)
{
    memset(line, ' ', kMaxCols);
}

// Whoever waits for the end of the echoed line now waits for the prompt.
static void line_ended()
{
    if (sendWait == kWaitCR) {
        sendWait = sendWait2;
        sendWait2 = -1;
    }
}

static int col_pixel(int col)
{
    return col * CharWid + kPenMargin;
}
static int row_pixel(int row)
{
    return row * LineHeight + kPenMargin;
}

// The pixels of columns `first` up to `last` of rows `top` up to `bottom`,
// the ends left out.
static Rect cells(int top, int first, int bottom, int last)
{
    return {int16_t(row_pixel(top)), int16_t(col_pixel(first)),
            int16_t(row_pixel(bottom)), int16_t(col_pixel(last))};
}

// The same rows with the margins, which a scroll fills, too: what goes or is
// wiped by whole rows leaves no colour of them beside the text.
static Rect whole_rows(int top, int bottom)
{
    return {int16_t(row_pixel(top)), termrect.left, int16_t(row_pixel(bottom)),
            termrect.right};
}

// Each of these does nothing while the view shows scrollback.

static void erase_cells(int top, int first, int bottom, int last)
{
    if (scrolled)
        return;
    Rect area = cells(top, first, bottom, last);
    if (first == 0)
        area.left = termrect.left;
    if (last >= MaxCol)
        area.right = termrect.right;
    SetFgBg(1);
    EraseRect(&area);
    highlight(area);
}

void move_cells(const Rect &area, int right, int down)
{
    if (scrolled)
        return;
    highlight(area); // off: it doesn't go along
    SetFgBg(1);
    ScrollRect(&area, int16_t(right), int16_t(down), dumptr);
    highlight(area);
}

// ---- cursor ----------------------------------------------------------------

void absmove(int16_t col, int16_t row)
{
    col = int16_t(std::clamp<int>(col, 0, MaxCol - 1));
    row = int16_t(std::clamp<int>(row, 0, MaxLine - 1));

    if (!gProportional) {
        curPenLoc = cell_pen(col, row);
        if (!scrolled)
            MoveTo(curPenLoc.h, curPenLoc.v);
        gNeedPen = 0;
    } else if (!scrolled) {
        MoveProportionalPen(col, row);
        GetPen(&curPenLoc);
        gNeedPen = 0;
    } else {
        // The pen isn't seen now, so measuring the line for it can wait.
        gNeedPen = 1;
    }

    if ((col != curcol || row != abslin) && aheadPos > 0)
        aheadPos--;
    curcol = col;
    abslin = row;
    curlin_array = gRowAt[row];
}

// Sums of a place and a count are made in 32 bits: a count of 40,000 is far,
// and not backwards.
static void move_to(int col, int row)
{
    absmove(int16_t(std::clamp(col, 0, kMaxCols)),
            int16_t(std::clamp(row, 0, kMaxRows)));
}

void home_cursor()
{
    move_to(0, origin_rel ? region_first() : 0);
}

// In origin mode the region holds the cursor; otherwise it may leave it.
void cursor_up()
{
    int n = count_param();

    if (origin_rel)
        n = std::clamp(abslin - region_first(), 0, n);
    move_to(curcol, abslin - n);
}

void cursor_down()
{
    int n = count_param();

    if (origin_rel)
        n = std::clamp(region_last() - abslin, 0, n);
    move_to(curcol, abslin + n);
}

void cursor_right()
{
    if ((num[1] & 0xFFFF) == 0)
        num[1] = 1;
    move_to(curcol + count_param(), abslin);
}

void cursor_left()
{
    move_to(curcol - count_param(), abslin);
}

void cursor_position()
{
    int row = place_param(1);

    if (origin_rel)
        row = std::min(margin_bottom - margin_top, row) + region_first();
    move_to(place_param(2), row);
}

void horiz_position()
{
    move_to(place_param(1), abslin);
}

void carriage_return()
{
    line_ended();
    absmove(0, abslin);
}

void back_space()
{
    if (curcol == 0)
        return;
    absmove(int16_t(curcol - 1), abslin);
    if (cset.termFlags & kTermBSErases)
        erase_char();
}

void tab()
{
    int col = curcol + 1;

    while (col < kMaxCols && !tabstops[col])
        col++;
    move_to(col, abslin);
}

void cursor_save()
{
    savcol = curcol;
    savlin = abslin;
    savTxStyle = textstyle;
    savInvert = Invert;
    savGShift = GShift;
    savGS0 = GSet[0];
    savGS1 = GSet[1];
    savOrigin = origin_rel;
}

void cursor_restore()
{
    absmove(savcol, savlin);
    textstyle = savTxStyle;
    Invert = savInvert;
    if (!scrolled) {
        TextFace(textstyle);
        TextMode(Invert == 1 ? srcBic : srcOr);
    }
    GShift = savGShift;
    GSet[0] = savGS0;
    GSet[1] = savGS1;
    curGSet = GSet[GShift];
    origin_rel = savOrigin;
}

// The alignment pattern: the screen full of E.
static void alignment_test()
{
    for (int r = 0; r < MaxLine; r++)
        memset(scr[r], 'E', kMaxCols);
    if (!scrolled && myWindow) {
        Rect bounds;
        GetWindowPortBounds(myWindow, &bounds);
        InvalWindowRect(myWindow, &bounds);
    }
}

void esc8()
{
    if (prvchr == 0)
        cursor_restore();
    else if (prvchr == '#')
        alignment_test();
}

// ---- line feeds ------------------------------------------------------------

// The highlight goes with the text of the region, and what leaves that is no
// longer seen.
static void move_highlight(int down)
{
    if (EmptyRgn(selRgn))
        return;
    RectRgn(rgn1, &scrollrect);
    DiffRgn(selRgn, rgn1, rgn2);
    SectRgn(selRgn, rgn1, selRgn);
    OffsetRgn(selRgn, 0, int16_t(down));
    SectRgn(selRgn, rgn1, selRgn);
    UnionRgn(selRgn, rgn2, selRgn);
}

// The region's pixels one line up or down. What is uncovered beyond the row
// that is expected, a covered part of the window, has to be repainted.
static void scroll_pixels(int down)
{
    SetFgBg(1);
    ScrollRect(&scrollrect, 0, int16_t(down), dumptr);
    if (!gColorQD) {
        SetColor(0);
        EraseRgn(dumptr);
    }
    if (!myWindow)
        return;
    GetWindowUpdateRgn(myWindow, rgn2);
    if (!EmptyRgn(rgn2)) {
        SectRgn(rgn2, sbarRgn, rgn2);
        if (!EmptyRgn(rgn2))
            update_bars(rgn2);
    }
    move_highlight(down);
}

static void inval_uncovered()
{
    if (!myWindow || EqualRgn(dumptr, LFrgn))
        return;
    DiffRgn(dumptr, LFrgn, dumptr);
    if (!EmptyRgn(dumptr))
        InvalWindowRgn(myWindow, dumptr);
}

// The region's first row becomes its last.
static void relink_up()
{
    const int first = region_first(), last = region_last();
    const int old = scrtop, tail = scrbot;
    const uint16_t after = nxtlin[tail];

    scrbot = old;
    nxtlin[tail] = uint16_t(old);
    scrtop = nxtlin[old];
    if (old == toplin)
        toplin = int16_t(scrtop);
    else
        nxtlin[gRowAt[first - 1]] = uint16_t(scrtop);
    if (tail == botlin) {
        botlin = int16_t(old);
        nxtlin[old] = NO_ROW;
    } else {
        nxtlin[old] = after;
    }
    memmove(gRowAt + first, gRowAt + first + 1, size_t(last - first));
    gRowAt[last] = uint8_t(old);
}

// The region's last row becomes its first.
static void relink_down()
{
    const int first = region_first(), last = region_last();
    const int old = scrbot, head = scrtop;
    const uint16_t after = nxtlin[old];

    if (first == last)
        return;
    scrtop = old;
    scrbot = gRowAt[last - 1];
    nxtlin[old] = uint16_t(head);
    nxtlin[scrbot] = after;
    if (head == toplin)
        toplin = int16_t(old);
    else
        nxtlin[gRowAt[first - 1]] = uint16_t(old);
    if (old == botlin)
        botlin = int16_t(scrbot);
    memmove(gRowAt + first + 1, gRowAt + first, size_t(last - first));
    gRowAt[first] = uint8_t(old);
}

// A pending wrap outlives a feed that scrolls and not one that moves the
// cursor. A row goes to the scrollback also when the region is only part of
// the screen: a host that keeps a status line still has a history.
void line_feed()
{
    if (asciiReceive == 'L')
        PutLine(current_line(), kMaxCols);
    line_ended();
    if (newline)
        absmove(0, abslin);
    if (curlin_array != scrbot) {
        absmove(curcol, int16_t(abslin + 1));
        return;
    }
    if (!scrolled) {
        scroll_pixels(-LineHeight);
        inval_uncovered();
    }
    const bool kept = store_on() && savline(scr[scrtop]);
    if (!kept && scrtop == toplin && scrbot == botlin)
        lineLost();
    blank(scr[scrtop]);
    relink_up();
    curlin_array = int16_t(scrbot);
    assert(rows_ok());
}

void new_line()
{
    flushCRT();
    line_ended();
    absmove(0, abslin);
    line_feed();
}

void crlf()
{
    const WindowPtr old = begin_port();
    const bool shown = cursorActive;

    if (shown)
        stop_cursor();
    new_line();
    if (shown)
        start_cursor();
    end_port(old);
}

void next_line()
{
    line_ended();
    absmove(0, abslin);
    line_feed();
}

void reverse_line_feed()
{
    if (curlin_array != scrtop) {
        absmove(curcol, int16_t(abslin - 1));
        return;
    }
    if (!scrolled)
        scroll_pixels(LineHeight);
    blank(scr[scrbot]);
    relink_down();
    curlin_array = int16_t(scrtop);
    assert(rows_ok());
}

void form_feed()
{
    if (cset.termType == 0) {
        line_feed();
    } else {
        clear_screen();
        home_cursor();
    }
}

// ---- inserting and deleting lines ------------------------------------------

// How many rows move. One row less than there are from the cursor to the
// region's end at most: one row is always left. Outside the region none.
static int rows_to_move()
{
    if (abslin < region_first())
        return 0;
    return std::min(count_param(), region_last() - abslin);
}

// Takes rows `from` up to `to` of the screen, `to` left out, and puts them
// before row `before`, which lies outside of them.
static void relink_rows(int from, int to, int before)
{
    // The rows between are the other half of a rotation.
    const int first = std::min(from, before);
    const int last = std::max(to, before);
    const int split = before < from ? from : to;

    std::rotate(gRowAt + first, gRowAt + split, gRowAt + last);
    const int joint = first + last - split;

    if (first > 0)
        nxtlin[gRowAt[first - 1]] = gRowAt[first];
    nxtlin[gRowAt[joint - 1]] = gRowAt[joint];
    nxtlin[gRowAt[last - 1]] = last < MaxLine ? gRowAt[last] : NO_ROW;

    toplin = gRowAt[0];
    botlin = gRowAt[MaxLine - 1];
    scrtop = gRowAt[region_first()];
    scrbot = gRowAt[region_last()];
    curlin_array = gRowAt[abslin];
}

void insert_line()
{
    const int n = rows_to_move(), end = region_last() + 1;

    if (n <= 0)
        return;
    move_cells(whole_rows(abslin, end), 0, n * LineHeight);
    for (int row = end - n; row < end; row++)
        blank(scr[gRowAt[row]]);
    relink_rows(end - n, end, abslin);
    assert(rows_ok());
}

void delete_line()
{
    const int n = rows_to_move(), end = region_last() + 1;

    if (n <= 0)
        return;
    move_cells(whole_rows(abslin, end), 0, -n * LineHeight);
    for (int row = abslin; row < abslin + n; row++)
        blank(scr[gRowAt[row]]);
    relink_rows(abslin, abslin + n, end);
    assert(rows_ok());
}

// ---- within a line ---------------------------------------------------------

void insert_char()
{
    const int width = MaxCol - curcol;
    const int n = std::min(count_param(), width);

    if (n <= 0)
        return;
    move_cells(cells(abslin, curcol, abslin + 1, MaxCol), n * CharWid, 0);
    uint8_t *at = current_line() + curcol;
    memmove(at + n, at, size_t(width - n));
    memset(at, ' ', size_t(n));
}

// The last cell stays: in the last column nothing is deleted.
void delete_char()
{
    const int width = MaxCol - curcol;
    const int n = std::min(count_param(), width - 1);

    if (n <= 0)
        return;
    move_cells(cells(abslin, curcol, abslin + 1, MaxCol), -n * CharWid, 0);
    uint8_t *at = current_line() + curcol;
    memmove(at, at + n, size_t(width - n));
    memset(at + width - n, ' ', size_t(n));
}

void erase_char()
{
    if (curcol < kMaxCols)
        current_line()[curcol] = ' ';
    if (scrolled)
        return;
    const Rect area = {int16_t(row_pixel(abslin)), curPenLoc.h,
                       int16_t(row_pixel(abslin + 1)),
                       int16_t(curPenLoc.h + CharWid)};
    SetFgBg(1);
    EraseRect(&area);
    if (Invert)
        InvertRect(&area);
    highlight(area);
}

// ---- erasing ---------------------------------------------------------------

// A pager wipes its prompt by an erase from column 0; the lines that scroll
// through are wanted in the scrollback, the prompt is not. Everything else
// that such an erase wipes is kept, even with the store off.
static void save_cleared_line()
{
    const bool whole =
        store_on() && (cset.termFlags & kTermSaveClear) && num[1] == 2;
    const bool from_start = curcol == 0 && num[1] == 0;

    if ((whole || from_start) && memcmp(current_line(), "--MORE--", 8) != 0)
        savline(current_line());
}

void clear_line()
{
    int first, last;

    save_cleared_line();
    switch (num[1]) {
    case 0:
        first = curcol;
        last = kMaxCols;
        break;
    case 1:
        first = 0;
        last = curcol + 1;
        break;
    case 2:
        first = 0;
        last = kMaxCols;
        break;
    default:
        return;
    }
    last = std::min(last, kMaxCols);
    if (first < last)
        memset(current_line() + first, ' ', size_t(last - first));
    erase_cells(abslin, first, abslin + 1, std::min<int>(last, MaxCol));
}

void clear_screen()
{
    const WindowPtr old = begin_port();

    if (store_on())
        pushLines();
    if (!scrolled && myWindow) {
        Rect area;
        GetWindowPortBounds(myWindow, &area);
        area.right = int16_t(area.right - kBarSize);
        area.bottom = int16_t(area.bottom - kBarSize);
        SetFgBg(1);
        EraseRect(&area);
    }
    SetEmptyRgn(selRgn);
    for (int r = 0; r < MaxLine; r++)
        blank(scr[r]);
    end_port(old);
}

// Rows `from` up to `to` of the screen, `to` left out.
static void erase_rows(int from, int to)
{
    erase_cells(from, 0, to, MaxCol);
    for (int row = from; row < to; row++) {
        uint8_t *line = scr[gRowAt[row]];
        if (store_on())
            savline(line);
        blank(line);
    }
}

void erase_display()
{
    switch (num[1]) {
    case 0:
        if (curcol != 0) {
            clear_line();
            erase_rows(abslin + 1, MaxLine);
        } else {
            erase_rows(abslin, MaxLine);
        }
        break;
    case 1:
        erase_rows(0, abslin);
        clear_line();
        break;
    case 2:
        clear_screen();
        if (cset.termType == 1)
            home_cursor();
        break;
    default:
        break;
    }
}

void pushLines()
{
    for (int row = 0; row < MaxLine; row++)
        savline(scr[gRowAt[row]]);
}

// ---- region and tabs -------------------------------------------------------

void set_region_rects()
{
    scrollrect = termrect;
    scrollrect.top = int16_t(row_pixel(region_first()));
    scrollrect.bottom = int16_t(row_pixel(margin_bottom));
    if (!LFrgn)
        return;
    Rect bottom = scrollrect;
    bottom.top = int16_t(row_pixel(region_last()));
    RectRgn(LFrgn, &bottom);
}

void set_scroll_region()
{
    int top = place_param(1);
    int bottom = MaxLine;

    if (num[2] != 0 && num[2] < MaxLine)
        bottom = int(num[2]);
    if (top + 2 > bottom)
        top = 0;
    margin_top = int8_t(top + 1);
    margin_bottom = int8_t(bottom);
    set_region_rects();
    scrtop = gRowAt[region_first()];
    scrbot = gRowAt[region_last()];
    home_cursor();
    assert(rows_ok());
}

void set_tab()
{
    if (curcol < kMaxCols)
        tabstops[curcol] = 1;
}

void clear_tab()
{
    if (num[1] == 0 && curcol < kMaxCols)
        tabstops[curcol] = 0;
    else if (num[1] == 3)
        memset(tabstops, 0, kMaxCols);
}

// ---- the bars --------------------------------------------------------------

void update_bars(RgnHandle region)
{
    static RgnHandle visible;
    const WindowPtr old = begin_port();

    if (!visible)
        visible = NewRgn();
    GetPortVisibleRegion(myWindow, visible);
    SetPortVisibleRegion(myWindow, region);
    gWindowHooks.showBar();
    SetPortVisibleRegion(myWindow, visible);
    ValidWindowRgn(myWindow, sbarRgn);
    end_port(old);
}
