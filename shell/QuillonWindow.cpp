// The main window around the text: status bar, geometry and saved places,
// mouse cursor, wheel, and the gestures that send.
#include "shell/QuillonWindow.h"

#include <cstring>

#include "automation/AsciiSend.h"
#include "automation/DragEm.h"
#include "base/DPopup.h"
#include "base/WindowPlace.h"
#include "base/chars.h"
#include "base/pstr.h"
#include "connect/DialDir.h"
#include "connect/LineSetters.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/menus.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"
#include "transfer/zstats.h"

// ---- constants -------------------------------------------------------------

// A field of the status bar: the part that is erased, and where its text
// starts. The speed's field also begins the line's pop-ups.
struct bar_field {
    int16_t left, right, text;
};
constexpr bar_field kTimeField = {10, 55, 12};
constexpr bar_field kSizeField = {60, 100, 62};
constexpr bar_field kBufField = {110, 140, 112};
constexpr bar_field kLineField = {145, 205, 147};

constexpr int16_t kBarFont = 1, kBarFontSize = 9;
constexpr int16_t kGap = 4;       // between speed and format
constexpr int16_t kMoved = 4;     // pixels that don't count as a new place
constexpr int16_t kSmallFont = 9; // sizes above it have places of their own

// Mouse cursors.
constexpr int16_t kTextCursor = 1, kPlaceCursor = 310;

constexpr int32_t kGiveUp = 480; // ticks without an answer to an arrow key
constexpr int16_t kMostBad = 4;  // keys that may lead away

// ---- state -----------------------------------------------------------------

int16_t baud_right, bits_right;
Rect dragRect;
Point GrowPt;

int16_t badTrys;
static uint8_t fastCurs; // far from the place: keys go out without a wait

static uint32_t ldiff;    // elapsed value last drawn
static uint32_t lastTime; // second of the clock's last look
static uint8_t sHandler;  // its address names the wheel's handler

// ---- drawing into the bar --------------------------------------------------

// What a field changes of the port and gives back. The terminal draws on as if
// nothing had been: its pen stands behind the last text.
struct bar_state {
    WindowPtr port;
    Point pen;
    int16_t bottom; // of the window
};

static int16_t window_right(WindowPtr w)
{
    Rect bounds;

    GetWindowPortBounds(w, &bounds);
    return bounds.right;
}

static bar_state open_bar(WindowPtr window)
{
    bar_state state;
    Rect bounds;

    state.port = GetPort();
    SetPort(window);
    GetPen(&state.pen);
    GetWindowPortBounds(window, &bounds);
    state.bottom = bounds.bottom;
    TextFont(kBarFont);
    TextSize(kBarFontSize);
    TextFace(0);
    TextMode(srcOr);
    SetColor(0);
    return state;
}

static void close_bar(const bar_state &state)
{
    TextFont(termFont);
    TextSize(curFSize);
    TextFace(textstyle);
    TextMode(Invert ? srcBic : srcOr);
    SetFgBg(1);
    MoveTo(state.pen.h, state.pen.v);
    SetPort(state.port);
}

// Erases a field from `left` on, and puts the pen to its text.
static void start_field(const bar_state &state, const bar_field &field,
                        int16_t left, int16_t text)
{
    Rect r = {int16_t(state.bottom - 14), left, int16_t(state.bottom - 2),
              field.right};

    EraseRect(&r);
    MoveTo(text, int16_t(state.bottom - 3));
}

static void start_field(const bar_state &state, const bar_field &field)
{
    start_field(state, field, field.left, field.text);
}

void ShowTime(bool force)
{
    constexpr int16_t kLeast = 55;
    uint32_t now;
    Str255 text;

    if (!myWindow || window_right(myWindow) - kBarSize <= kLeast)
        return;
    GetDateTime(&now);
    if (now < ConnectTime)
        ConnectTime = now;
    uint32_t elapsed = now - ConnectTime;
    if (elapsed > 3599)
        elapsed /= 60;
    if (!force && elapsed == ldiff)
        return;

    MinSec(text, int16_t(elapsed > 32767 ? 32767 : elapsed));
    bar_state state = open_bar(myWindow);
    bool oneDigit =
        !force && text[0] && text[text[0]] != '0' && elapsed == ldiff + 1;
    if (oneDigit) {
        int16_t before = TextWidth(text + 1, 0, int16_t(text[0] - 1));
        int16_t left = int16_t(kTimeField.left + 2 + before);
        start_field(state, kTimeField, left, int16_t(kTimeField.text + before));
        DrawChar(text[text[0]]);
    } else {
        start_field(state, kTimeField);
        DrawString(text);
    }
    close_bar(state);
    ldiff = elapsed;
}

void ShowSize(WindowPtr window, int16_t rows, int16_t cols)
{
    Str255 text;

    if (!window || rows <= 0 || cols <= 0)
        return;
    bar_state state = open_bar(window);
    start_field(state, kSizeField);
    NumToString(rows, text);
    DrawString(text);
    DrawChar('x');
    NumToString(cols, text);
    DrawString(text);
    close_bar(state);
}

void ShowBuf()
{
    Str255 text;

    if (!myWindow)
        return;
    bar_state state = open_bar(myWindow);
    start_field(state, kBufField);
    NumToString(PrtBufK, text);
    pstrcatchr(text, 'k');
    DrawString(text);
    close_bar(state);
}

void ShowComm()
{
    Str255 text;
    Point pen;

    if (!myWindow || window_right(myWindow) - kBarSize <= kLineField.right)
        return;
    if (!cset.dataChar)
        return; // the start asks for a port, and no connection is in use
    bar_state state = open_bar(myWindow);
    start_field(state, kLineField);
    NumToString(int32_t(GetBaudFromSetup()), text);
    DrawString(text);
    GetPen(&pen);
    baud_right = int16_t(pen.h + 2);
    Move(kGap, 0);
    DrawChar(uint8_t(cset.parityChar));
    DrawChar(uint8_t(cset.dataChar));
    if (cset.stopChar == '5')
        DrawString(PSTR("1."));
    DrawChar(uint8_t(cset.stopChar));
    GetPen(&pen);
    bits_right = int16_t(pen.h + 2);
    close_bar(state);
}

void ShowBar()
{
    ShowTime(true);
    ShowSize(myWindow, int16_t(MaxLine), int16_t(MaxCol));
    ShowBuf();
    ShowComm();
}

// ---- the bar's pop-ups -----------------------------------------------------

// The three formats that the pop-up offers; item 0 is any other.
struct line_format {
    char data, parity;
};
constexpr line_format kFormats[] = {{'8', 'N'}, {'7', 'E'}, {'7', 'O'}};
static int16_t format_item()
{
    for (int16_t i = 0; i < kLastItemFormat; i++) {
        if (cset.stopChar == '1' && cset.dataChar == kFormats[i].data &&
            cset.parityChar == kFormats[i].parity)
            return int16_t(i + 1);
    }
    return 0;
}

static int16_t pop_field(MenuHandle menu, int16_t id, int16_t current,
                         int16_t left, int16_t right)
{
    Rect bounds;

    GetWindowPortBounds(myWindow, &bounds);
    Rect field = {int16_t(bounds.bottom - 12), left, int16_t(bounds.bottom - 1),
                  right};
    // No dialog: the bar draws its fields itself.
    return DoPop(menu, id, current, 1, &field, &field, nullptr, 0);
}

void bot_bar_click(Point point)
{
    if (point.h >= kLineField.left && point.h <= baud_right) {
        int16_t item = pop_field(BaudMenu, kMenuSpeed, bd_item,
                                 int16_t(kLineField.left - 1), baud_right);
        if (item > 0 && item <= kSpeeds && bd_tbl[item])
            set_baud(bd_tbl[item]);
    } else if (point.h > baud_right && point.h <= bits_right) {
        int16_t current = format_item();
        chkMenu(BBitsMenu, current, 1, kLastItemFormat);
        int16_t item =
            pop_field(BBitsMenu, kMenuFormat, current, baud_right, bits_right);
        if (item < 1 || item > kLastItemFormat || item == current)
            return;
        do_dbit(kFormats[item - 1].data);
        do_sbit('1');
        do_parity(kFormats[item - 1].parity);
    }
}

// ---- sending by the mouse --------------------------------------------------

// Ends a move of the host's cursor; with a beep if it didn't arrive.
static void end_move(bool arrived)
{
    if (!arrived)
        SysBeep(3);
    badTrys = 0;
    reqRow = -1;
}

static void send_arrow(uint8_t letter)
{
    if (cursor_mode)
        esco(letter);
    else
        escBrak(-1, -1, letter);
}

void do_vtpos(int32_t limit)
{
    int32_t now = int32_t(TickCount());

    if (reqRow < 0)
        return;
    if (PrtCount == 0) { // nothing has come back since the last key
        if (now > limit + kGiveUp)
            end_move(false);
        return;
    }
    // Before the line is quiet only a fast move goes on, one key ahead.
    if (now <= limit && !(fastCurs && aheadPos <= 1 && now >= sendWaitLimit))
        return;
    sendWaitLimit = now + 2;
    fastCurs = 0;

    // Rows first: a full-screen program may move the column with the row.
    int16_t d = int16_t(reqRow - abslin);
    int16_t *memory = &difRow;
    uint8_t letter = d > 0 ? 'B' : 'A';
    if (d == 0) {
        d = int16_t(reqCol - curcol);
        memory = &difCol;
        letter = d > 0 ? 'C' : 'D';
    }
    if (d == 0) {
        end_move(true);
        return;
    }
    if ((d < 0 ? -d : d) - aheadPos >= 4)
        fastCurs = 1;
    bool bad = d > 0 ? d > *memory : d < *memory;
    *memory = d;
    if (bad && ++badTrys > kMostBad) {
        end_move(false);
        return;
    }
    PrtCount = 0;
    aheadPos++;
    LastGetTicks = now;
    send_arrow(letter);
    if (cset.echoFlag & 1)
        PrtCount++;
}

// ---- size and place --------------------------------------------------------

static bool is_unset(const Rect &r)
{
    return !r.top && !r.left && !r.bottom && !r.right;
}

static bool differs(int16_t a, int16_t b)
{
    return a - b > kMoved || b - a > kMoved;
}

void SetLimitRects()
{
    GetScreenBounds(&dragRect);
    dragRect.left += 4;
    dragRect.right -= 4;
    dragRect.bottom -= 4;
    dragRect.top += 24;
}

Rect *GetRectPtr()
{
    bool zoomed = (qset.zoomFlags & 1) != 0;
    bool large = curFSize > kSmallFont;
    Rect *rect;

    if (large)
        rect = zoomed ? &qset.zoomRectLarge : &qset.winRectLarge;
    else
        rect = zoomed ? &qset.zoomRectSmall : &qset.winRectSmall;
    if (is_unset(*rect)) {
        *rect = dragRect;
        rect->right -= 8;
    }
    Rect desktop;
    GetRegionBounds(GetGrayRgn(), &desktop);
    int height = desktop.bottom - desktop.top;
    if (rect->bottom - rect->top > height)
        rect->bottom = int16_t(rect->top + height - 40);
    return rect;
}

static void place_scroll_bar(const Rect &bounds)
{
    if (!sbar_ctl)
        return;
    HideControl(sbar_ctl);
    MoveControl(sbar_ctl, int16_t(bounds.right - kBarSize), -1);
    SizeControl(sbar_ctl, kBarSize, int16_t(bounds.bottom - 14 + 1));
    ShowControl(sbar_ctl);
}

void SizeWind(WindowPtr window, const Rect *rect)
{
    Rect bounds;

    RestoreWinPos(window, rect);
    GetWindowPortBounds(window, &bounds);
    InvalWindowRect(window, &bounds);
    if (window == myWindow) {
        place_scroll_bar(bounds);
    } else if (window == ddir_dwin) {
        ddResize();
    } else if (window == bufDwin) {
        InsetRect(&bounds, 1, 1);
        SetDialogItemRect(bufDlog, 1, &bounds);
    }
}

// Least and most of height and width, as GrowWindow takes them.
static Rect grow_limits(WindowPtr window)
{
    if (window == ddir_dwin)
        return {160, 420, 8000, 2000};
    if (window == bufDwin)
        return {16, 100, 8000, 2000};
    return {80, 120, 8000, 2000};
}

void GrowWin(WindowPtr window, Point where)
{
    EventRecord event = {};
    Rect limits = grow_limits(window);

    event.what = mouseDown;
    event.where = where;
    event.window = window;
    event.part = inGrow;
    if (window == myWindow)
        GrowPt = where;
    uint32_t size = GrowWindow(window, &event, &limits);
    if (size) {
        Rect rect;
        GetWindowBounds(window, &rect);
        rect.bottom = int16_t(rect.top + int16_t(size >> 16));
        rect.right = int16_t(rect.left + int16_t(size));
        if (window == myWindow) {
            Rect *saved = GetRectPtr();
            if (differs(rect.top, saved->top) ||
                differs(rect.left, saved->left) ||
                differs(rect.bottom, saved->bottom) ||
                differs(rect.right, saved->right))
                qsetChanged = 1;
            *saved = rect;
            ResizeWind(window, &rect);
        } else if (window == ddir_dwin) {
            qset.dirWinRect = rect;
            SizeWind(window, &rect);
        } else if (window == bufDwin) {
            qset.bufWinRect = rect;
            SizeWind(window, &rect);
        }
    }
    if (window == myWindow)
        ShowSize(window, int16_t(MaxLine), int16_t(MaxCol));
}

// ---- mouse -----------------------------------------------------------------

void SetArrowCursor()
{
    InitCursor();
}

static void text_cursor(Point mouse, uint16_t modifiers)
{
    if (!PtInRect(mouse, &termrect))
        SetCursorID(myWindow, 0);
    else if ((modifiers & optionKey) || reqRow >= 0)
        SetCursorID(myWindow, kPlaceCursor);
    else if (gHaveDrag && stSel >= 0 && PtInRgn(mouse, selRgn))
        SetCursorID(myWindow, 0);
    else
        SetCursorID(myWindow, kTextCursor);
}

void TickClock()
{
    uint32_t now;

    GetDateTime(&now);
    if (now == lastTime || !myWindow)
        return;
    ShowTime(false);
    lastTime = now;
}

void AdjCursor()
{
    TickClock();
    if (Suspended)
        return;
    WindowPtr front = FrontWindow();
    if (front && front == myWindow) {
        // The place of the mouse by way of an event's: asking for the mouse
        // itself may wait, and this runs all the time.
        EventRecord event;
        (void)EventAvail(0, &event);
        WindowPtr port = GetPort();
        SetPort(myWindow);
        GlobalToLocal(&event.where);
        SetPort(port);
        text_cursor(event.where, event.modifiers);
    } else if (!front || GetWindowKind(front) >= 0) {
        SetArrowCursor();
    }
}

OSErr MouseWheelHandler(void *, int32_t delta, WindowPtr window)
{
    if (window != myWindow || !sbar_ctl)
        return eventNotHandledErr;
    sb_flush(); // the bar may lag behind the lines that have come
    int16_t old = GetControlValue(sbar_ctl);
    int16_t value = int16_t(delta > 0 ? old - 1 : old + 1);
    if (value < 0)
        value = 0;
    if (value > GetControlMaximum(sbar_ctl))
        value = GetControlMaximum(sbar_ctl);
    if (value != old) {
        scrollPage(old, value);
        sb_flush();
    }
    return noErr;
}

void install_wheel_handler(WindowPtr window)
{
    InstallWheelHandler(window, MouseWheelHandler, &sHandler);
}
