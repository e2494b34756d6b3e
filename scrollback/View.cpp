// Moving the view over store and screen. One line up or down draws that line;
// everything else goes through the window's update.
#include "scrollback/View.h"

#include <algorithm>

#include "base/facts.h"
#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/events.h"
#include "platform/windows.h"
#include "scrollback/Selection.h"
#include "scrollback/savbuf.h"
#include "terminal/VT100.h"

ControlHandle sbar_ctl;
int32_t scrolled;
int32_t scrollPosPrev;
RgnHandle upd_rgn;

int16_t view_top()
{
    const bool lags = (sUpdateCount & 0xFFFF) != 0;
    return lags || !sbar_ctl ? sVal : GetControlValue(sbar_ctl);
}

static int16_t within(int value, int most)
{
    return int16_t(std::clamp(value, 0, std::max(most, 0)));
}

// ---- by mouse --------------------------------------------------------------

void do_scroll(int16_t part, Point point)
{
    EventRecord press = {};
    const WindowPtr old = GetPort();

    SetPort(myWindow);
    stop_cursor();
    scrollPosPrev = GetControlValue(sbar_ctl);
    if (part != inThumb || gHaveAppearance) {
        press.what = mouseDown;
        press.where = point;
        press.window = myWindow;
        press.part = part;
        TrackControl(sbar_ctl, &press, sbar_action);
    }
    if (GetControlValue(sbar_ctl) == savlines)
        start_cursor();
    if (old)
        SetPort(old);
}

// Two lines of a page stay in view.
void sbar_action(ControlHandle control, int16_t part)
{
    const int16_t v = GetControlValue(control);
    int from = v, to = v;

    switch (part) {
    case inUpButton:
        to = v - 1;
        break;
    case inDownButton:
        to = v + 1;
        break;
    case inPageUp:
        to = v - MaxLine + 2;
        break;
    case inPageDown:
        to = v + MaxLine - 2;
        break;
    case inThumb:
        from = scrollPosPrev;
        break;
    default:
        break;
    }
    to = within(to, GetControlMaximum(control));
    if (to == from)
        return;
    scrollPage(int16_t(from), int16_t(to));
    sb_flush();
    scrollPosPrev = to;
}

// ---- by key ----------------------------------------------------------------

void scroll_key(int16_t keycode, int16_t modifiers)
{
    stop_cursor();
    sb_flush();
    const int v = view_top(), most = sMax;
    const bool far = modifiers & optionKey;
    int to = v;

    switch (keycode) {
    case 72:  // keypad clear
    case 125: // down
        to = far ? most : v + MaxLine - 2;
        break;
    case 77:  // keypad star
    case 126: // up
        to = far ? 0 : v - MaxLine + 2;
        break;
    case 115: // home
        to = 0;
        break;
    case 116: // page up
        to = v - MaxLine + 2;
        break;
    case 119: // end
        to = most;
        break;
    case 121: // page down
        to = v + MaxLine - 2;
        break;
    default:
        break;
    }
    to = within(to, most);
    if (to != v)
        scrollPage(int16_t(v), int16_t(to));
    if (!scrolled)
        start_cursor();
}

// ---- moving the view -------------------------------------------------------

// How urgently the scroll bar must show it.
static int16_t update_mode(int diff, int16_t to)
{
    if (diff > 10 || diff < -10 || to == 0 || to == savlines)
        return 2;
    return Button() ? 1 : 2;
}

// One line up: the new top row. True if that was all there is to draw.
static bool draw_top(int16_t to, const Rect &uncovered)
{
    if (uncovered.bottom - uncovered.top > LineHeight ||
        uncovered.top != termrect.top)
        return false;
    disp_line(1, to);
    return true;
}

// One line down: the new bottom row, which may be the screen's.
static bool draw_bottom(int16_t to, const Rect &uncovered)
{
    if (uncovered.bottom - uncovered.top > LineHeight ||
        uncovered.top != termrect.bottom - LineHeight)
        return false;
    const int line = to + MaxLine - 1;
    if (line >= savlines)
        disp_tline(int16_t(MaxLine), int16_t(line - savlines));
    else
        disp_line(int16_t(MaxLine), int16_t(line));
    if (to == savlines)
        MoveTo(curPenLoc.h, curPenLoc.v);
    return true;
}

// The selection is out of the way meanwhile; CalcSel corrects it afterwards.
static void redraw_uncovered()
{
    InvalWindowRgn(myWindow, upd_rgn);
    CopyRgn(selRgn, rgn1);
    SetEmptyRgn(selRgn);
    DoUpdate(myWindow);
    CopyRgn(rgn1, selRgn);
}

static void move_pixels(int16_t from, int16_t to)
{
    const int diff = from - to;
    // History has no attributes; a screen row comes in the terminal's colours.
    const bool live = to == savlines || (diff == -1 && savlines < to + MaxLine);
    // A move by more than the text is as good as one by all of it.
    const int rows = std::clamp<int>(diff, -MaxLine, MaxLine);
    const int16_t by = int16_t(rows * LineHeight);
    Rect uncovered;

    if (!upd_rgn)
        upd_rgn = NewRgn();
    SetFgBg(live);
    ScrollRect(&termrect, 0, by, upd_rgn);
    OffsetRgn(selRgn, 0, by);
    SectRgn(selRgn, termrgn, selRgn);

    TextFace(0);
    TextMode(srcOr);
    GetRegionBounds(upd_rgn, &uncovered);
    if (!(diff == 1 && draw_top(to, uncovered)) &&
        !(diff == -1 && draw_bottom(to, uncovered)))
        redraw_uncovered();
    if (stSel >= 0)
        CalcSel(to);
}

void scrollPage(int16_t from, int16_t to)
{
    const WindowPtr old = GetPort();

    SetPort(myWindow);
    if (to != from) {
        stop_cursor(); // or its pixels would scroll along
        sb_update(to, int16_t(savlines), update_mode(from - to, to));
        if (myWindow)
            move_pixels(from, to);
    }
    scrolled = to != savlines;
    if (!scrolled) {
        TextFace(textstyle);
        TextMode(Invert ? srcBic : srcOr);
        SetFgBg(1);
        if (to != from)
            start_cursor();
    }
    if (old)
        SetPort(old);
}

void disp_line(int16_t row, int16_t line)
{
    int8_t savState, linState;
    int16_t length;

    MoveTo(kPenMargin, int16_t((row - 1) * LineHeight + Ascent + kPenMargin));
    LockBuffer(&savState, &linState);
    SetFgBg(0);
    const uint8_t *text = GetLinePtr(line, &length);
    if (!gDoubleByte && length > MaxCol)
        length = int16_t(MaxCol);
    if (length > 0)
        DrawText(text, 0, length);
    UnlockBuffer(savState, linState);
}

void scr_to_bot()
{
    sb_flush();
    const int16_t v = view_top();
    if (v != savlines) {
        scrollPage(v, int16_t(savlines));
        start_cursor();
    } else if (scrolled && myWindow) {
        // The lines in view were dropped, and the bottom came to the view.
        InvalWindowRect(myWindow, &termrect);
        scrolled = 0;
        start_cursor();
    }
    scrolled = 0;
}
