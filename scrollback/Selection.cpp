// The selection's coordinates and highlight, the mouse that makes it, and the
// bracket by which its text is used.
#include "scrollback/Selection.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "automation/AsciiSend.h"
#include "automation/DragEm.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/scrap.h"
#include "platform/windows.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "scrollback/savbuf.h"
#include "serial/ModemIO.h"
#include "terminal/HostCursor.h"
#include "terminal/VT100.h"

int16_t stSel = -1, stCol;
int16_t endSel = -1, endCol;
RgnHandle selRgn, rgn1, rgn2;

int16_t LClickRow, LClickCol;
int32_t clickTime;
int16_t clickLine, clickCol;

struct place {
    int16_t line, col;
};

static bool before(place a, place b)
{
    return a.line < b.line || (a.line == b.line && a.col < b.col);
}

static bool same(place a, place b)
{
    return a.line == b.line && a.col == b.col;
}

bool sel_ok()
{
    constexpr int kWidest = 2 * kMaxCols;

    if (stSel < 0)
        return true;
    return before({stSel, stCol}, {endSel, endCol}) && stCol >= 0 &&
           stCol <= kWidest && endCol >= 0 && endCol <= kWidest;
}

// Columns of a row; a double-byte character takes two cells of the record.
static int row_width()
{
    return gDoubleByte ? 2 * MaxCol : MaxCol;
}

// ---- setting ---------------------------------------------------------------

static void invert(RgnHandle region)
{
    const WindowPtr old = GetPort();

    SetPort(myWindow);
    InvertRgn(region);
    if (old)
        SetPort(old);
}

void SetSel(int16_t startLine, int16_t startCol, int16_t endLine,
            int16_t endColumn)
{
    place a = {startLine, startCol}, b = {endLine, endColumn};

    if (startLine == -1 || same(a, b)) {
        if (selRgn && !EmptyRgn(selRgn)) {
            invert(selRgn);
            SetEmptyRgn(selRgn);
        }
        stSel = endSel = -1;
        return;
    }
    if (before(b, a))
        std::swap(a, b);
    stSel = a.line;
    stCol = a.col;
    endSel = b.line;
    endCol = b.col;
    assert(sel_ok());
    CalcSel(view_top());
}

// The text below it has moved up, and no stored line keeps the numbers.
void lineLost()
{
    if (stSel < 0 || endSel < savlines)
        return;
    if (stSel > savlines)
        stSel--;
    else if (stSel == savlines)
        stCol = 0;
    if (endSel > savlines)
        endSel--;
    else
        endCol = 0;
    if (stSel == endSel && stCol >= endCol)
        SetSel(-1, 0, -1, 0);
    assert(sel_ok());
}

// Horizontal place of a column's left edge. With a font of variable width
// the line's text decides.
static int16_t edge(int row, int col)
{
    if (col == 0)
        return 2;
    if (!gProportional)
        return int16_t(col * CharWid + kPenMargin);

    int8_t savState, linState;
    int16_t length;
    LockBuffer(&savState, &linState);
    const uint8_t *text = GetLinePtr(view_top() + row, &length);
    const int16_t h = CharToPixel(text, length, std::min<int>(col, length));
    UnlockBuffer(savState, linState);
    return int16_t(h + kPenMargin);
}

void makeRgn(RgnHandle region, int16_t firstRow, int16_t firstCol,
             int16_t lastRow, int16_t lastCol)
{
    Rect area = {
        int16_t(termrect.top + LineHeight * firstRow), edge(firstRow, firstCol),
        int16_t(termrect.top + LineHeight * (lastRow + 1)), termrect.right};

    if (!gProportional || lastCol < row_width())
        area.right = edge(lastRow, lastCol);
    RectRgn(region, &area);
}

static void add_rows(int firstRow, int firstCol, int lastRow, int lastCol)
{
    makeRgn(rgn2, int16_t(firstRow), int16_t(firstCol), int16_t(lastRow),
            int16_t(lastCol));
    UnionRgn(selRgn, rgn2, selRgn);
}

// Only what changes is inverted.
void CalcSel(int16_t topLine)
{
    const int width = row_width();
    int first = stSel - topLine, firstCol = stCol;
    int last = endSel - topLine, lastCol = endCol;

    if (!selRgn)
        return;
    CopyRgn(selRgn, rgn1);
    SetEmptyRgn(selRgn);
    if (first < 0)
        first = firstCol = 0;
    if (last >= MaxLine) {
        last = MaxLine;
        lastCol = 0;
    }
    if (first == last) {
        if (firstCol < lastCol)
            add_rows(first, firstCol, last, lastCol);
    } else if (first < last) {
        if (firstCol >= 1) {
            add_rows(first, firstCol, first, width);
            first++;
        }
        if (first < last)
            add_rows(first, 0, last - 1, width);
        if (lastCol > 0)
            add_rows(last, 0, last, lastCol);
    }
    XorRgn(selRgn, rgn1, rgn1);
    if (!EmptyRgn(rgn1))
        invert(rgn1);
}

// ---- words -----------------------------------------------------------------

static bool in_word(uint8_t byte)
{
    return byte > 32 || (gDoubleByte && byte == 0);
}

static int16_t word_in(const uint8_t *text, int length, int pos, int16_t *start,
                       int16_t *end)
{
    int from = pos;

    if (pos >= length || !in_word(text[pos])) {
        // A click just behind a word still finds it.
        if (pos < 1 || !in_word(text[pos - 1]))
            return 0;
        from = pos - 1;
    }
    while (from > 0 && in_word(text[from - 1]))
        from--;
    while (pos < length && in_word(text[pos]))
        pos++;
    *start = int16_t(from);
    *end = int16_t(pos);
    return 1;
}

int16_t FindWordb(int16_t line, int16_t col, int16_t *start, int16_t *end)
{
    int8_t savState, linState;
    int16_t length;

    *start = *end = col;
    if (line < 0 || line >= savlines + MaxLine || col < 0)
        return 0;
    LockBuffer(&savState, &linState);
    const uint8_t *text = GetLinePtr(line, &length);
    if (line >= savlines)
        length = int16_t(std::min(row_width(), kMaxCols));
    const int16_t found =
        word_in(text, length, std::min(col, length), start, end);
    UnlockBuffer(savState, linState);
    return found;
}

// ---- the bracket -----------------------------------------------------------

// Where an end lies in the text; a column right of the line's text is its CR.
static int32_t end_offset(int32_t line, int16_t col)
{
    const int32_t at = std::min(line, savlines);
    const int32_t start = sav_offset(at);
    const int32_t length = sav_offset(at + 1) - start;

    if (length > col)
        return start + col;
    return length > 0 ? start + length - 1 : start;
}

const uint8_t *prepSel(int32_t *size)
{
    assert(!inPrep && sav_ok());
    inPrep = 1;
    prepSavCount = savcount;
    prepSavLines = savlines;
    prepBlankLines = blanklines;
    if (!size || savlines <= endSel)
        pushLines();
    if (size)
        *size = 0;
    if (!savhdl)
        return nullptr;
    HLock(savhdl);
    HLock(linhdl);
    if (!size)
        return nullptr;
    const int32_t from = end_offset(std::max<int16_t>(stSel, 0), stCol);
    const int32_t to = end_offset(std::max<int16_t>(endSel, 0), endCol);
    *size = std::max<int32_t>(to - from, 0);
    return *savhdl + from;
}

void unprepSel()
{
    if (savhdl) {
        HUnlock(savhdl);
        HUnlock(linhdl);
    }
    savcount = prepSavCount;
    savlines = prepSavLines;
    blanklines = prepBlankLines;
    inPrep = 0;
    sav_fit();
    assert(sav_ok());
}

void offerSel()
{
    int32_t size;
    const uint8_t *text = prepSel(&size);

    // This fails only without a display, and then no program could paste it.
    if (size > 0)
        (void)PutPrimary(size, text);
    unprepSel();
}

// ---- removing --------------------------------------------------------------

// The head of the first line and the tail of the last become one line.
static void join_lines(int32_t from, int32_t to, int32_t first, int32_t last)
{
    int32_t *entry = reinterpret_cast<int32_t *>(*linhdl);
    const int32_t bytes = to - from;

    memmove(*savhdl + from, *savhdl + to, size_t(savcount - to));
    for (int32_t i = last + 1; i <= savlines; i++)
        entry[first + i - last] = entry[i] - bytes;
    savcount -= bytes;
    savlines -= last - first;
    entry[savlines] = savcount;
    assert(sav_ok());
}

static void give_back_memory()
{
    constexpr int32_t kSpare = 32767;
    constexpr int32_t kKeep = 24576;

    if (GetHandleSize(savhdl) - savcount > kSpare)
        SetHandleSize(savhdl, savcount / 1024 * 1024 + kKeep);
}

void remSel()
{
    if (stSel < 0 || stSel >= savlines)
        return;
    const int32_t first = stSel;
    int32_t last = endSel;
    const int32_t from = end_offset(first, stCol);
    int32_t to = end_offset(last, endCol);

    if (last >= savlines) {
        // Only what is stored can go. The head of a line that is left over
        // keeps the last CR.
        last = savlines;
        to = savcount;
        if (from > sav_offset(first)) {
            last--;
            to--;
        }
    }
    SetSel(-1, 0, -1, 0);
    findline = -1;

    int32_t v = view_top();
    if (first < v)
        v = std::max<int32_t>(v - (last - first), 0);
    join_lines(from, to, first, last);
    sb_update(int16_t(v), int16_t(savlines), 2);
    scrolled = v != savlines;
    give_back_memory();
    PrtBufK = int16_t(savcount / 1024);
    gWindowHooks.showBuf();

    Rect bounds;
    GetWindowPortBounds(myWindow, &bounds);
    InvalWindowRect(myWindow, &bounds);
}

// ---- the mouse -------------------------------------------------------------
// One press from its first pass to its release.

struct tracking {
    int16_t top; // line at the top of the view, read anew each pass
    int row;     // row under the pointer: -1 above the text
    place point; // line and column under it
    place anchor;
    place shown;         // the end that was last shown
    place word, wordEnd; // the first word, of a double click
    bool isDouble;
};

static int16_t column_at(const tracking &t, int x)
{
    int col = (x - 1) / CharWid;

    if (gProportional) {
        int8_t savState, linState;
        int16_t length;
        bool leading;
        LockBuffer(&savState, &linState);
        const uint8_t *text = GetLinePtr(t.point.line, &length);
        col = PixelToChar(text, length, int16_t(x - 1), &leading);
        UnlockBuffer(savState, linState);
    }
    return int16_t(std::clamp(col, 0, row_width()));
}

static void look(tracking *t, Point p)
{
    t->top = view_top();
    t->row = p.v <= 2 ? -1 : (p.v - 3) / LineHeight;
    t->point.line = int16_t(t->top + std::clamp<int>(t->row, 0, MaxLine - 1));
    t->point.col = column_at(*t, p.h);
}

// The point as far as it goes with Shift: from where tracking last ended, or
// from the end of the selection that is farther away.
static place extended(place point)
{
    if (stSel < 0)
        return {LClickRow, LClickCol};
    const place start = {stSel, stCol};
    return before(start, point) ? start : place{endSel, endCol};
}

static void first_pass(tracking *t, uint16_t modifiers)
{
    int16_t start, end;
    const place point = t->point;

    if (!same(point, {clickLine, clickCol}))
        t->isDouble = false;
    clickLine = point.line;
    clickCol = point.col;
    t->anchor = point;
    if (t->isDouble && FindWordb(point.line, point.col, &start, &end)) {
        t->anchor.col = start;
        t->point.col = end;
        t->word = {point.line, start};
        t->wordEnd = {point.line, end};
    } else {
        t->isDouble = false;
    }
    if (modifiers & shiftKey)
        t->anchor = extended(point);
}

// Goes on by whole words, in both directions, and keeps the first one.
static void later_pass(tracking *t)
{
    int16_t start, end;

    if (!t->isDouble || !FindWordb(t->point.line, t->point.col, &start, &end))
        return;
    if (before(t->point, t->anchor)) {
        t->point.col = start;
        t->anchor = t->wordEnd;
    } else if (before(t->anchor, t->point)) {
        t->anchor = t->word;
        t->point.col = end;
    } else {
        t->point.col = end;
    }
}

// The farther the pointer is from the text, the faster it scrolls.
static void scroll_along(const tracking &t, Point p)
{
    constexpr int kFastest = 12;
    int to = t.top;

    if (t.row < 0) {
        to -= std::min((3 - p.v) / LineHeight, kFastest);
        to = std::max(to, 0);
    } else if (t.row >= MaxLine) {
        to += std::min((p.v - termrect.bottom) / LineHeight, kFastest);
        to = std::min<int>(to, sMax);
    } else {
        return;
    }
    scrollPage(t.top, int16_t(to));
    sb_flush();
}

void cmdClick()
{
    Str255 prefix;
    int32_t size = 0;

    if (sendCount || asciiSend || stSel < 0)
        return;
    GetFromStrList(gLocalStrings, kStrCmdClick, prefix);
    const uint8_t *text = prepSel(&size);
    int32_t room = kSendBuf - 1 - prefix[0];
    if (size > room)
        size = room;
    memcpy(sendBuf, prefix + 1, prefix[0]);
    if (text && size > 0)
        memcpy(sendBuf + prefix[0], text, size_t(size));
    else
        size = 0;
    sendBuf[prefix[0] + size] = '\r';
    sendCount = uint16_t(prefix[0] + size + 1);
    sendPtr = sendBuf;
    unprepSel();
    SetSel(-1, 0, -1, 0);
    scr_to_bot();
}

// Asks for the host's cursor to come here; do_vtpos moves it.
static void request_cursor(const tracking &t)
{
    reqRow = int16_t(std::clamp<int>(t.row, 0, MaxLine - 1));
    reqCol = t.point.col;
    difRow = int16_t(reqRow - abslin);
    difCol = int16_t(reqCol - curcol);
    aheadPos = 0;
    PrtCount++;
}

static void end_tracking(const tracking &t, uint16_t modifiers)
{
    clickTime = int32_t(TickCount());
    LClickRow = t.point.line;
    LClickCol = t.point.col;
    findline = t.point.line;
    if ((modifiers & cmdKey) && t.point.line == t.anchor.line &&
        t.point.col != t.anchor.col)
        cmdClick();
    else if (modifiers & optionKey)
        request_cursor(t);
}

void DoClick(Point point, const EventRecord *event)
{
    tracking t = {};
    bool first = true, dragged = false;

    if (!PtInRect(point, &termrect))
        return;
    SetPort(myWindow); // GetMouse answers in its places
    t.isDouble = int32_t(TickCount()) - clickTime <= int32_t(GetDblTime());
    t.anchor = {-1, -1};
    t.shown = {-2, -1};
    do {
        look(&t, point);
        if (first)
            dragged = PtInRgn(point, selRgn) && DragText(event, selRgn);
        if (!dragged) {
            if (first)
                first_pass(&t, event->modifiers);
            else
                later_pass(&t);
            if (!same(t.point, t.shown)) {
                SetSel(t.anchor.line, t.anchor.col, t.point.line, t.point.col);
                t.shown = t.point;
            } else {
                scroll_along(t, point);
            }
        }
        first = false;
        GetMouse(&point);
    } while (StillDown());
    if (!dragged && stSel >= 0)
        offerSel();
    // A press that became a drag is no gesture.
    end_tracking(t, dragged ? uint16_t(0) : event->modifiers);
}
