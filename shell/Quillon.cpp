// The main loop: small jobs, the event wait, the filters of keys, dialogs,
// and the routes of what remains.
#include "shell/Quillon.h"

#include "automation/AsciiSend.h"
#include "automation/Script.h"
#include "base/chars.h"
#include "base/keys.h"
#include "connect/Dial.h"
#include "connect/DialDir.h"
#include "connect/Settings.h"
#include "platform/appleevents.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "shell/QuillonMenus.h"
#include "shell/QuillonWindow.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"
#include "transfer/xmodem.h"
#include "transfer/zstats.h"

// ---- constants -------------------------------------------------------------

constexpr int32_t kSlowJobs = 5;    // ticks between two slow jobs
constexpr int32_t kQuietLine = 4;   // ticks after which they may run
constexpr int32_t kBusyInput = 200; // bytes waiting that put events off
constexpr int16_t kMoved = 4;       // pixels that don't count as a new place

// What goes to the dialer: its dialog's buttons, and a letter.
constexpr int16_t kDialCancel = 1, kDialStop = 2, kDialNow = 0x44;

// The status bar's clickable part.
constexpr int16_t kBarLeft = 10, kBarRight = 205;

// ---- state -----------------------------------------------------------------

uint8_t gWasFront;
int16_t dialDItem = -1;
uint32_t ConnectTime;

// The pass may be turned from within itself. These belong to the source of
// events and not to who asked, so they live across all of it.
static int32_t cursTick; // when the slow jobs run next
static int32_t sLastGNE; // tick of the last WaitNextEvent
static bool gotOne;      // the last one returned an event
static int32_t LastDrag; // tick of the last window drag; nothing reads it

// Of a pass in the mode of a transfer.
static uint32_t transferSleep;     // ticks that it may wait
static transfer_pass transferGave; // what came of it

static bool resuming; // DoActivate is called for a return to the foreground

// ---- the program -----------------------------------------------------------

int QuillonMain()
{
    if (!InitProgram())
        return 1;
    while (moreToDo) {
        if (!Suspended && myWindow)
            docursor();
        if (sIn)
            ReadPort();
        else
            RetryModem(); // a device that was unplugged may be back
        MainEventLoop(kAllEvents, myWindow ? kModeMain : kModeSmall);
    }
    finish_up();
    return 0;
}

// ---- jobs of a pass --------------------------------------------------------

// The clock goes on while a transfer has the line; nothing else does.
static void slow_jobs(int32_t now, char mode)
{
    if (mode == kModeTransfer) {
        if (now > cursTick) {
            cursTick = now + kSlowJobs;
            TickClock();
        }
        return;
    }
    if (mode != kModeSmall && now > cursTick) {
        cursTick = now + kSlowJobs;
        AdjCursor();
        if (WaitFlag)
            check_wait();
        if (now - LastGetTicks > kQuietLine)
            sb_flush();
    } else if (WaitFlag > 127 && now >= WaitTime) {
        // A wait for a time is over on time, whatever stands before it.
        check_wait();
    }
}

static void send_jobs(char mode)
{
    bool slowEcho = Baudrate < 1200 || (cset.echoFlag & 1);
    int32_t limit = LastGetTicks + (slowEcho ? 4 : 2);

    if (sendCount || awWait || asBusy())
        sendSomeAscii(limit, mode);
    if (reqRow >= 0)
        do_vtpos(limit);
}

// Takes the next event, if it is time to ask for one: asking costs more
// than any other call of the loop, so at high speeds not every pass does it.
static void fetch_event(EventRecord *event, uint16_t mask, char mode,
                        int32_t now)
{
    uint32_t sleep = Suspended ? 10 : 5;

    if (mode == kModeTransfer) {
        // XferEvent has judged whether it is time to ask, and how long to wait.
        gotOne = WaitNextEvent(mask, event, transferSleep, nullptr);
        return;
    }
    if (ModemActive)
        sleep = gLastModemRead <= 4 ? 1 : 0;
    if (!gotOne && gStillinBuf > kBusyInput && now < sLastGNE + 2)
        return;
    if (WNEIsImplemented)
        gotOne = WaitNextEvent(mask, event, sleep, nullptr);
    sLastGNE = now;
}

// ---- transfers -------------------------------------------------------------

static void cancel_transfer()
{
    UserCancel = 1;
    transferGave = kPassCancelled;
}

// ---- filters of keys -------------------------------------------------------

static bool is_key(const EventRecord &event)
{
    return event.what == keyDown || event.what == autoKey;
}

static uint8_t key_char(const EventRecord &event)
{
    return uint8_t(event.message);
}

static uint8_t key_code(const EventRecord &event)
{
    return uint8_t(event.message >> 8);
}

static bool is_accessory(WindowPtr w)
{
    return w && GetWindowKind(w) < 0;
}

// Keys while the dialer waits. Some are for its dialog; any other key goes to
// the modem, so that the user can talk to it meanwhile.
static void dial_key(EventRecord *event, bool command)
{
    uint8_t c = key_char(*event);

    if (c == kESC || (command && c == '.'))
        dialDItem = kDialCancel;
    else if (c == kCR)
        dialDItem = kDialStop;
    else if ((c >= kLeftChar && c <= kDownChar) || c == kBS ||
             (c >= '0' && c <= '9'))
        return;
    else if (c == 'D' || c == 'd')
        dialDItem = kDialNow;
    else
        OutCh(sOut, c);
    event->what = nullEvent;
}

static void filter_keys(EventRecord *event, WindowPtr front, char mode)
{
    if (!is_key(*event) || !front || is_accessory(front))
        return;
    if (front != myWindow && front != ddir_dwin &&
        CheckScrollKeys(key_char(*event), key_code(*event), event->modifiers)) {
        event->what = nullEvent;
        return;
    }
    if (mode == kModeDial)
        dial_key(event, (event->modifiers & cmdKey) != 0);
}

// ---- dialogs ---------------------------------------------------------------

// Queues the type-ahead window's text as a line. It isn't built in sendBuf,
// where a piece may still be on its way.
static void send_type_ahead()
{
    Str255 text;
    uint8_t line[257];

    GetDialogItemText(bufDlog, 1, text);
    for (int i = 0; i < text[0]; i++)
        line[i] = text[i + 1];
    line[text[0]] = kCR;
    sendAmount = 0;
    asSendBuf(line, text[0] + 1, int16_t(localEcho & 1));
    SetDialogItemText(bufDlog, 1, PSTR(""));
}

static void type_ahead_key(EventRecord *event)
{
    uint8_t c = key_char(*event);

    if (c == kCR && !(event->modifiers & shiftKey)) {
        event->what = nullEvent;
        send_type_ahead();
    } else if (c == kEnterChar || c == XON || c == XOFF) {
        SendKey(c, key_code(*event), sOut, event->modifiers);
        event->what = nullEvent;
    }
}

// The only dialog of a transfer is its status window, whose one button ends the
// transfer. A key is for the transfer as well.
static bool serve_status_window(EventRecord *event)
{
    DialogPtr dialog = nullptr;
    int16_t item = 0;

    if (!IsDialogEvent(event))
        return false;
    if (DialogSelect(event, &dialog, &item) && item == kItemStatusCancel) {
        cancel_transfer();
        return true;
    }
    return !is_key(*event);
}

// Whose the event is: keys and clicks go to the front, a redrawing or a change
// of activation names its window.
static WindowPtr window_of(const EventRecord &event, WindowPtr front)
{
    if (event.what == updateEvt || event.what == activateEvt)
        return WindowOfMessage(&event);
    if (event.what == mouseDown && event.window)
        return event.window;
    return front;
}

// True if a dialog has had the event.
static bool serve_dialogs(EventRecord *event, WindowPtr front, char mode)
{
    bool command = (event->modifiers & cmdKey) != 0;

    if (event->what == keyDown && command && front != ddir_dwin)
        return false;
    if (event->what == nullEvent && Suspended)
        return false;
    if (!IsDialogEvent(event))
        return false;

    WindowPtr window = window_of(*event, front);
    DialogPtr dialog = nullptr;
    int16_t item = 0;
    if (front && front == bufDwin && event->what == keyDown)
        type_ahead_key(event);
    if (window && window == srch_dwin)
        return do_search(event, &dialog, &item);
    if (window && window == ddir_dwin)
        return DDirEvt(event);
    if (DialogSelect(event, &dialog, &item) && mode == kModeDial && item > 0)
        dialDItem = item;
    return true;
}

// ---- mouse -----------------------------------------------------------------

static void menu_click(const EventRecord &event, char mode)
{
    EventRecord fresh = {};

    if (mode != kModeTransfer)
        AdjMenus();
    int32_t choice = MenuSelect(&event);
    if (mode != kModeTransfer)
        (void)EventAvail(4, &fresh);
    if (MenuServes(choice, mode))
        DoMenu(choice, fresh.modifiers, int16_t(event.what));
    else
        HiliteMenu(0);
}

// A press in the scroll bar is served in every mode. True if it was one.
static bool scroll_click(const EventRecord &event, WindowPtr window)
{
    ControlHandle control = nullptr;

    int16_t part = FindControl(&event, window, &control);
    if (!part || !control || control != sbar_ctl)
        return false;
    Point where = event.where;
    SetPort(window);
    GlobalToLocal(&where);
    sb_flush();
    do_scroll(part, where);
    return true;
}

static void content_click(const EventRecord &event, WindowPtr window, char mode)
{
    if (mode == kModeTransfer) {
        if (window && window == zDwin && window != FrontWindow())
            SelectWindow(window);
        return;
    }
    if (mode != kModeDial && window != FrontWindow()) {
        SelectWindow(window);
        return;
    }
    if (mode != kModeMain || window != myWindow)
        return;

    Rect bounds;
    Point where = event.where;
    SetPort(myWindow);
    GlobalToLocal(&where);
    GetWindowPortBounds(myWindow, &bounds);
    if (where.v > bounds.bottom - kBarSize && where.h >= kBarLeft &&
        where.h <= kBarRight) {
        bot_bar_click(where);
    } else {
        stop_cursor();
        DoClick(where, &event);
        start_cursor();
    }
}

static bool moved(int16_t a, int16_t b)
{
    return a - b > kMoved || b - a > kMoved;
}

static void keep_place(const Rect &now, Rect *saved, bool note)
{
    if (note &&
        (moved(now.top, saved->top) || moved(now.left, saved->left) ||
         moved(now.bottom, saved->bottom) || moved(now.right, saved->right)))
        qsetChanged = 1;
    *saved = now;
}

static void keep_place(const Rect &now, Point *saved)
{
    if (moved(now.top, saved->v) || moved(now.left, saved->h))
        qsetChanged = 1;
    *saved = {now.top, now.left};
}

// During a transfer the status window alone has a place that is kept.
static void drag_click(WindowPtr window, char mode)
{
    Rect place;

    LastDrag = int32_t(TickCount());
    GetWindowBounds(window, &place);
    if (mode == kModeTransfer) {
        if (window && window == zDwin) {
            qset.xferWinLoc = {place.top, place.left};
            qsetChanged = 1;
        }
        return;
    }
    if (window == myWindow)
        keep_place(place, GetRectPtr(), true);
    else if (window == ddir_dwin)
        keep_place(place, &qset.dirWinRect, false);
    else if (window == srch_dwin)
        keep_place(place, &qset.findWinLoc);
    else if (window == ddwin)
        keep_place(place, &qset.dialWinLoc);
    else if (window == bufDwin)
        keep_place(place, &qset.bufWinRect, true);
}

static void grow_click(const EventRecord &event, WindowPtr window)
{
    // The window manager has given the window its size already, be it in
    // front or not, and the content must follow.
    if (window == myWindow || window == ddir_dwin || window == bufDwin)
        GrowWin(window, event.where);
    if (window != FrontWindow())
        SelectWindow(window);
}

static void zoom_click(WindowPtr window)
{
    // Where the window manager has an idea of its own of a zoomed window, it
    // offers that as a resize next, and the place is kept then.
    qset.zoomFlags ^= 1;
    ResizeWind(window, GetRectPtr());
}

static void mouse_click(const EventRecord &event, char mode)
{
    WindowPtr window = nullptr;
    int16_t part = FindWindow(&event, &window);

    if (mode == kModeDial && ddwin && window == ddwin &&
        window != FrontWindow())
        SelectWindow(window);
    if (part == inContent && window && window == myWindow &&
        scroll_click(event, window))
        return;

    bool all = mode == kModeMain;
    switch (part) {
    case inMenuBar:
        menu_click(event, mode);
        break;
    case inContent:
        content_click(event, window, mode);
        break;
    case inDrag:
        if (all || mode == kModeTransfer ||
            (mode == kModeDial && window == FrontWindow()))
            drag_click(window, mode);
        break;
    case inGrow:
        // Also behind a dialer: a size that isn't followed leaves rows
        // out of sight.
        if (all || window == myWindow)
            grow_click(event, window);
        break;
    case inGoAway:
        if (all)
            CloseToolWindow(window);
        break;
    case inZoomIn:
    case inZoomOut:
        if (all || window == myWindow)
            zoom_click(window);
        break;
    }
}

// ---- keys ------------------------------------------------------------------

// The universal cancel.
static void cancel_all()
{
    stop_send();
    if (ScriptFlag) {
        ScriptFlag = -2;
        do_script();
    }
    badTrys = 0;
}

// Starts the test of the line's speed: a CR, and then a count of what comes.
static void start_speed_test(uint8_t code, int32_t now)
{
    TestTicks = now;
    PrtCount = 0;
    SendKey(kCR, code, sOut, 0);
}

static void command_key(const EventRecord &event, int32_t now)
{
    uint8_t c = key_char(event), code = key_code(event);

    if (c == '.') {
        cancel_all();
    } else if (c == kCR) {
        start_speed_test(code, now);
    } else if (c == kEnterChar) {
        DoBreak(event.modifiers & (shiftKey | optionKey) ? qset.breakLong
                                                         : qset.breakShort);
    } else if (c >= '0' && c <= '9') {
        doMacro(int16_t(c - '0'));
    } else if (!CheckScrollKeys(c, code, event.modifiers)) {
        // By its place, so that the break's key is found on every layout.
        if (code == kKeyB)
            c = 'B';
        RunKey(c, event.modifiers, int16_t(event.what));
    }
}

// Keys during a transfer: a cancel, the level of its traces, the view, and the
// output that a lost XON holds.
static void transfer_key(const EventRecord &event)
{
    uint8_t c = key_char(event);

    if ((event.modifiers & cmdKey) && c == '.') {
        cancel_transfer();
        return;
    }
    if (c >= '0' && c <= '9')
        Verbose = c - '0';
    (void)CheckScrollKeys(c, key_code(event), event.modifiers);
    if (c == XON || c == 'Q' || c == 'q')
        ReleaseOutput();
}

static void key_press(const EventRecord &event, bool command, int32_t now)
{
    constexpr uint8_t kCommandMode = 3; // of keyFlags

    if (is_accessory(FrontWindow()))
        return;
    if (!command || (qset.keyFlags & kCommandMode))
        SendKey(key_char(event), key_code(event), sOut, event.modifiers);
    else
        command_key(event, now);
}

// ---- the pass --------------------------------------------------------------

static void dispatch(const EventRecord &event, WindowPtr front, char mode,
                     bool command, int32_t now)
{
    switch (event.what) {
    case mouseDown:
        mouse_click(event, mode);
        break;
    case keyDown:
    case autoKey:
        if (mode == kModeTransfer)
            transfer_key(event);
        else
            key_press(event, command, now);
        break;
    case updateEvt:
        DoUpdate(WindowOfMessage(&event));
        break;
    case activateEvt:
        DoActivate(WindowOfMessage(&event),
                   (event.modifiers & activeFlag) != 0);
        break;
    case osEvt:
        DoOSEvent(event.message, front);
        break;
    case kHighLevelEvent:
        (void)AEProcessAppleEvent(&event); // its sender hears of an error
        break;
    }
}

// What becomes of one event while a transfer has the line.
static void transfer_event(EventRecord *event)
{
    if (!serve_status_window(event))
        dispatch(*event, FrontWindow(), kModeTransfer, false, 0);
}

void MainEventLoop(uint16_t mask, char mode)
{
    constexpr char kModeBare = 'Z'; // no caller uses this mode: no sending
    const bool transfer = mode == kModeTransfer;
    EventRecord event = {};
    int32_t now = int32_t(TickCount());

    gMetaEsc = 0;
    slow_jobs(now, mode);
    if (!transfer && ScriptFlag == -1)
        do_script();
    if (!transfer && mode != kModeBare)
        send_jobs(mode);
    fetch_event(&event, mask, mode, now);
    bool got = gotOne; // a nested pass below sets gotOne again
    if (transfer) {
        transferGave = got ? kPassEvent : kPassEmpty;
        if (got)
            transfer_event(&event);
        return;
    }
    if (!got && ScriptFlag == -2)
        ScriptFlag = -1;

    // Not before the wait: the desktop may bring another window to the front
    // in it.
    WindowPtr front = FrontWindow();
    if (is_key(event) && (event.modifiers & cmdKey))
        CmdEvent(&event);
    bool command = (event.modifiers & cmdKey) != 0;
    if (event.what == diskEvt)
        event.what = nullEvent;
    filter_keys(&event, front, mode);
    if (!serve_dialogs(&event, front, mode) && got)
        dispatch(event, front, mode, command, now);
}

transfer_pass TransferPass(uint32_t sleep)
{
    constexpr uint16_t kMask = everyEvent & ~highLevelEventMask;

    transferSleep = sleep;
    MainEventLoop(kMask, kModeTransfer);
    return transferGave;
}

// ---- routed events ---------------------------------------------------------

void DoOSEvent(uint32_t message, WindowPtr front)
{
    constexpr uint32_t kSuspendResume = 1;
    bool hides = (qset.bgFlags & 1) != 0;

    if (message >> 24 != kSuspendResume)
        return;
    if (message & 1) {
        Suspended = 0;
        resuming = true;
        if (!hides) {
            DoActivate(front, true);
        } else if (gWasFront) {
            ShowWindow(myWindow);
            DoActivate(myWindow, true);
        } else if (myWindow) {
            ShowHide(myWindow, true);
        }
        resuming = false;
        return;
    }
    Suspended = 1;
    gWasFront = front && front == myWindow;
    if (hides && myWindow) {
        ShowHide(myWindow, false);
        if (gWasFront)
            return;
    }
    DoActivate(front, false);
}

void DoActivate(WindowPtr window, bool active)
{
    if (window && window == myWindow) {
        if (active) {
            SetPort(myWindow);
            start_cursor();
        } else {
            SetArrowCursor();
            stop_cursor();
        }
    } else if (window && window == ddir_dwin && ddsbar_ctl) {
        HiliteControl(ddsbar_ctl, active ? 0 : 255);
    }
    if (sbar_ctl) {
        WindowPtr front = FrontWindow();
        bool companion = front && (front == srch_dwin || front == zDwin ||
                                   front == ddwin || front == bufDwin);
        bool on = !Suspended && ((active && window == myWindow) || companion);
        HiliteControl(sbar_ctl, on ? 0 : 255);
    }
    if (active && !resuming)
        SetArrowCursor();
}
