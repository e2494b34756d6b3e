// The selection's coordinates and highlight, the mouse that makes it, and the
// bracket by which its text is used.
#include "scrollback/Selection.h"

#include <algorithm>
#include <cstring>

#include "automation/DragEm.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/windows.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "scrollback/savbuf.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonWindow.h"
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

// Columns of a row; a double-byte character takes two cells of the record.
static int row_width() { return gDoubleByte ? 2 * MaxCol : MaxCol; }

// ---- setting ---------------------------------------------------------------

static void invert(RgnHandle region)
{
    const WindowPtr old = GetPort();

    SetPort(myWindow);
    SetupInvert();
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
    CalcSel(view_top());
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
    Rect area = {int16_t(termrect.top + LineHeight * firstRow),
                 edge(firstRow, firstCol),
                 int16_t(termrect.top + LineHeight * (lastRow + 1)),
                 termrect.right};

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

static int16_t word_in(const uint8_t *text, int length, int pos,
                       int16_t *start, int16_t *end)
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
}
