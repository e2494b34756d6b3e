// From the model to pixels: runs of text, the repaint, the cursor. Text is
// never drawn a character at a time, and a repaint shows it plain, as cells
// keep no attributes.
#include "terminal/VT100.h"

#include <algorithm>
#include <cstring>

#include "base/Program.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/sound.h"
#include "platform/windows.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "terminal/VT100Parts.h"

// ---- the window ------------------------------------------------------------

WindowPtr myWindow;

window_hooks gWindowHooks = {
    [] {},
    [] {},
    [](WindowPtr, int16_t, int16_t) {},
    [](WindowPtr, const Rect *) {},
    [](uint8_t, uint16_t) {},
    [] {},
};

// ---- state -----------------------------------------------------------------

Point curPenLoc;
uint8_t gNeedPen;
Rect cursRect;

uint8_t cursorActive;
uint8_t cursorInverted;
int32_t cursorTime;
int32_t caretTime;

// ---- the port --------------------------------------------------------------

// A dialog may be the port when bytes come in. If no window was the port, the
// terminal keeps it.
WindowPtr begin_port()
{
    const WindowPtr old = GetPort();

    if (old != myWindow)
        SetPort(myWindow);
    return old;
}

void end_port(WindowPtr old)
{
    if (old && old != myWindow)
        SetPort(old);
}

// ---- the pen ---------------------------------------------------------------

static int16_t baseline(int row)
{
    return int16_t(row * LineHeight + Ascent + kPenMargin);
}

Point cell_pen(int col, int row)
{
    return {baseline(row), int16_t(col * CharWid + kPenMargin)};
}

// The live view's top line is savlines, whether or not the scroll bar shows
// it yet.
void MoveProportionalPen(int16_t col, int16_t row)
{
    int16_t h = termrect.right;

    if (col < MaxCol) {
        int8_t savState, linState;
        int16_t length;

        LockBuffer(&savState, &linState);
        const uint8_t *text =
            GetLinePtr((scrolled ? view_top() : savlines) + row, &length);
        h = int16_t(CharToPixel(text, length, std::min(col, length)) +
                    kPenMargin);
        UnlockBuffer(savState, linState);
    }
    MoveTo(h, baseline(row));
}

static void place_pen(int col, int row)
{
    if (gProportional) {
        MoveProportionalPen(int16_t(col), int16_t(row));
        GetPen(&curPenLoc);
    } else {
        curPenLoc = cell_pen(col, row);
        MoveTo(curPenLoc.h, curPenLoc.v);
    }
    gNeedPen = 0;
}

// ---- runs ------------------------------------------------------------------

// How much of the run may be drawn: a character of two bytes isn't split.
static int whole_characters()
{
    int n = outcnt;

    if (!gDoubleByte)
        return n;
    switch (CharacterByteType(outbuf, int16_t(n - 1), -2)) {
    case -1:
        n -= 1;
        break;
    case 2:
        n -= 2;
        break;
    default:
        break;
    }
    return std::max(n, 0);
}

// What is drawn over a selection comes up selected, as a repaint shows it, so
// that the highlight can always be taken off by inverting it.
void highlight(const Rect &area)
{
    if (EmptyRgn(selRgn))
        return;
    RectRgn(rgn2, &area);
    SectRgn(rgn2, selRgn, rgn2);
    if (EmptyRgn(rgn2))
        return;
    InvertRgn(rgn2);
}

static void draw_run(int n)
{
    if (gNeedPen)
        place_pen(outcol, abslin);
    const int width =
        gProportional ? TextWidth(outbuf, 0, int16_t(n)) : n * CharWid;
    const int16_t top = int16_t(abslin * LineHeight + kPenMargin);
    Rect area = {top, curPenLoc.h, int16_t(top + LineHeight), 0};

    SetFgBg(1);
    if (insert)
        move_cells({top, int16_t(outcol * CharWid + kPenMargin), area.bottom,
                    int16_t(MaxCol * CharWid + kPenMargin)},
                   width, 0);
    TextFace(textstyle);
    TextMode(Invert ? srcBic : srcOr);
    area.right = int16_t(std::min<int>(area.left + width, termrect.right));
    EraseRect(&area);
    if (Invert)
        InvertRect(&area);
    MoveTo(curPenLoc.h, curPenLoc.v);
    DrawText(outbuf, 0, int16_t(n));
    GetPen(&curPenLoc);
    highlight(area);
}

void flushCRT()
{
    if (outcnt == 0)
        return;
    if (scrolled || outcnt < 0) {
        // The text is in the records, but the pen isn't after it.
        outcnt = 0;
        gNeedPen = 1;
        return;
    }
    const bool shown = cursorActive;
    if (shown)
        stop_cursor();
    const int n = whole_characters();
    if (n > 0)
        draw_run(n);
    if (shown)
        start_cursor();
    outcnt = int16_t(outcnt - n);
    outcol = int16_t(outcol + n);
    memmove(outbuf, outbuf + n, size_t(outcnt));
}

// ---- repainting ------------------------------------------------------------

// One row with its baseline at screen row `row`. A double-byte row ends
// behind its last character, which MaxCol might cut in two.
static void draw_row(const uint8_t *line, int row)
{
    int length = MaxCol;

    if (gDoubleByte) {
        length = kMaxCols;
        while (length > 0 && line[length - 1] == ' ')
            length--;
    }
    if (length == 0)
        return;
    MoveTo(kPenMargin, baseline(row));
    SetFgBg(1);
    DrawText(line, 0, int16_t(length));
}

void disp_tline(int16_t row, int16_t index)
{
    draw_row(scrLine(index), row - 1);
}

static void draw_screen(int from)
{
    int row = from;

    for (int r = toplin; row < MaxLine; r = nxtlin[r], row++) {
        if (r >= kMaxRows) {
            SysBeep(4); // a broken list
            return;
        }
        draw_row(scr[r], row);
    }
}

void term_redraw()
{
    if (!myWindow || !scr[0])
        return;
    const WindowPtr old = begin_port();
    const int32_t top = view_top();
    const int32_t above = std::max<int32_t>(savlines - top, 0);
    Rect bounds;

    SetColor(0);
    SetFgBg(above == 0);
    GetWindowPortBounds(myWindow, &bounds);
    EraseRect(&bounds);
    TextFace(0);
    TextMode(srcOr);
    for (int row = 0; row < above && row < MaxLine; row++)
        disp_line(int16_t(row + 1), int16_t(top + row));
    if (above < MaxLine)
        draw_screen(int(above));
    MoveTo(curPenLoc.h, curPenLoc.v);
    if (cursorInverted)
        InvertRect(&cursRect);
    if (!EmptyRgn(selRgn)) {
        InvertRgn(selRgn);
    }

    SetColor(0);
    bounds.top = int16_t(bounds.bottom - (kBarSize - 1));
    EraseRect(&bounds);
    TextFace(textstyle);
    TextMode(Invert ? srcBic : srcOr);
    end_port(old);
}

void DoUpdate(WindowPtr window)
{
    if (!window || window != myWindow)
        return;
    const WindowPtr old = GetPort();
    SetPort(window);
    BeginUpdate(window);
    term_redraw();
    gWindowHooks.showBar();
    EndUpdate(window);
    SetPort(old);
}

// ---- cursor ----------------------------------------------------------------
// Off (cursorActive 0), on and not shown, on and shown.

void SetCRect()
{
    const int16_t descent = int16_t(LineHeight - Ascent);

    if (gNeedPen)
        place_pen(curcol, abslin);
    cursRect.left = curPenLoc.h;
    cursRect.right = int16_t(curPenLoc.h + CharWid);
    cursRect.bottom = int16_t(curPenLoc.v + descent);
    cursRect.top = useBlockCursor ? int16_t(curPenLoc.v - Ascent) : curPenLoc.v;
}

static void invert_cursor()
{
    const WindowPtr old = begin_port();

    InvertRect(&cursRect);
    cursorInverted = !cursorInverted;
    if (cursorInverted)
        SetCaretRect(myWindow, &cursRect);
    end_port(old);
}

// Leaves it on and not shown, and due: who types sees a steady cursor.
void start_cursor()
{
    if (invisible || scrolled || Suspended || !myWindow ||
        FrontWindow() != myWindow)
        return;
    const WindowPtr old = begin_port();
    caretTime = int32_t(GetCaretTime());
    cursorActive = 1;
    cursorInverted = 0;
    cursorTime = int32_t(TickCount());
    SetCRect();
    end_port(old);
}

void stop_cursor()
{
    if (invisible)
        return;
    cursorActive = 0;
    if (cursorInverted)
        invert_cursor();
}

void docursor()
{
    if (invisible || (!blink && cursorInverted))
        return;
    if (!cursorActive || scrolled)
        return;
    const int32_t now = int32_t(TickCount());
    if (now <= cursorTime)
        return;
    cursorTime = now + caretTime;
    invert_cursor();
}
