// Commands: the menus, what each item does, what is dimmed when, and the
// setters of the line's parameters.
#include "shell/QuillonMenus.h"

#include "automation/AsciiSend.h"
#include "automation/Script.h"
#include "base/ErrMsg.h"
#include "base/pstr.h"
#include "connect/Dial.h"
#include "connect/DialDir.h"
#include "connect/Dialogs.h"
#include "connect/LineSetters.h"
#include "connect/Macros.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/scrap.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/NPrint.h"
#include "scrollback/SaveText.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Clipboard.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonWindow.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"

// ---- constants -------------------------------------------------------------

constexpr uint16_t kModifier = cmdKey | shiftKey | optionKey;

constexpr const char *xconv_types = "SMBT"; // by item from 1

// Items of the hierarchical menus within menu 345.
constexpr int16_t kLastRcvItem = 6, kLastSendItem = 13;

// Items of File and Edit that other items are matched against.
constexpr int16_t kFileSendText = 2, kFileRcvDefault = 6, kFileSendDefault = 8;
constexpr int16_t kEditKeepLines = 15, kMiscShowControls = 8;

// What the program doesn't have: its item is dimmed, and a choice that comes
// by another way does nothing. `shifted` tells that its key with Shift is
// another command, which is there. A row goes when its command comes.
struct absent_item {
    int16_t menu, item;
    bool shifted = false;
};
// clang-format off
constexpr absent_item absent[] = {
    {kMenuDial, 1},      // dial directory
    {kMenuDial, 3},      // dial the marked entries
    {kMenuSettings, 1, true}, // dialogs; with Shift the echo's switch
    {kMenuSettings, 2},
    {kMenuSettings, 3},
    {kMenuSettings, 4},
    {kMenuSettings, 5},
    {kMenuSettings, 7},
    {kMenuSettings, 8},
    {kMenuSettings, 9},
    {kMenuSettings, 10},
    {kMenuSettings, 11},
    {kMenuMacros, 1},     // dialogs on macro sets
    {kMenuMacros, 2},
    {kMenuMacros, 3},     // scripts
};
// clang-format on

// ---- state -----------------------------------------------------------------

DialogPtr bufDlog;
WindowPtr bufDwin;

// ---- helpers ---------------------------------------------------------------

static bool is_absent(int16_t menu, int16_t item, bool shiftedKey)
{
    for (const absent_item &row : absent) {
        if (row.menu == menu && row.item == item)
            return !(shiftedKey && row.shifted);
    }
    return false;
}

static void enable(MenuHandle menu, int16_t item, bool on)
{
    if (on)
        EnableMenuItem(menu, item);
    else
        DisableMenuItem(menu, item);
}

static bool is_dialog(WindowPtr w)
{
    return w && GetWindowKind(w) == dialogKind;
}

static bool is_accessory(WindowPtr w)
{
    return w && GetWindowKind(w) < 0;
}

// ---- the menus' commands ---------------------------------------------------

void DoAboutDialog()
{
    EventRecord event;

    ParamText(longvers, nullptr, nullptr, nullptr);
    DialogPtr dialog = GetNewDialog(kDlgAbout);
    if (!dialog)
        return;
    ShowWindow(dialog);
    DrawDialog(dialog);
    while (moreToDo && !EventAvail(kUserEvents, &event))
        MainEventLoop(kNoUserEvents, kModeSmall);
    (void)GetNextEvent(kUserEvents, &event); // what ended it is used up
    DisposeDialog(dialog);
}

void CloseToolWindow(WindowPtr window)
{
    if (!window)
        return;
    if (window == srch_dwin) {
        DisposeDialog(srch_dlog);
        srch_dlog = nullptr;
        srch_dwin = nullptr;
    } else if (window == bufDwin) {
        DisposeDialog(bufDlog);
        bufDlog = nullptr;
        bufDwin = nullptr;
    } else if (window == ddir_dwin) {
        CloseDialDir();
    }
}

static void do_receive_item(int16_t item, uint16_t modifiers)
{
    if (item < 1 || item > 5)
        return;
    if (modifiers & kModifier)
        do_drcv(uint8_t(rcvtypes[item]));
    else
        Xreceive(int16_t(item + 1));
}

static void do_send_item(int16_t item, uint16_t modifiers)
{
    if (item < 1 || item > 6)
        return;
    if (modifiers & kModifier)
        do_dsend(uint8_t(sendtypes[item]));
    else
        Xsend(int16_t(item + 1));
}

static void do_quit(bool byKey)
{
    if (byKey && (qset.globFlags & kGlobAskQuit)) {
        SetArrowCursor();
        if (StopAlert(kAlertQuit) == 2)
            return;
    }
    if (chkSetChg())
        moreToDo = 0;
}

static void do_file(int16_t item, uint16_t modifiers, bool byKey)
{
    switch (item) {
    case 1:
        Xreceive(1);
        break;
    case kFileSendText:
        Xsend(1);
        break;
    case 3:
        CloseToolWindow(FrontWindow());
        break;
    case kFileRcvDefault:
        Xreceive(dRcvItem);
        break;
    case kFileSendDefault:
        Xsend(dSendItem);
        break;
    case 11:
        if (byKey && (modifiers & shiftKey) && gAppendOK)
            DoAppendLast();
        else
            DoAppendSel();
        break;
    case 12:
        DoAppendLast();
        break;
    case 13:
        (void)writeBuffer();
        break; // it tells its own errors
    case 14:
        PgSetup();
        break;
    case 15:
        PrtSel();
        break;
    case 17:
        do_quit(byKey);
        break;
    }
}

// Cut, copy, and copy and send back, which is item 7.
static void do_copy_item(int16_t item)
{
    WindowPtr front = FrontWindow();

    if (front && front == myWindow) {
        int32_t size = 0;
        const uint8_t *text = prepSel(&size);
        OSErr err = doCopy(text, size);
        if (err != noErr)
            SysBeep(5);
        unprepSel();
        if (item == 3)
            remSel();
        else if (item == 7)
            doPaste();
    } else if (is_dialog(front) && item != 7) {
        // The clipboard isn't cleared first: the field shares it, and what it
        // has just been given would go.
        if (item == 3)
            DialogCut(front);
        else
            DialogCopy(front);
    }
}

static void do_paste_item()
{
    WindowPtr front = FrontWindow();

    if (!is_dialog(front))
        doPaste();
    else
        DialogPaste(front);
}

// The type-ahead window comes, comes forward, or goes.
static void do_type_ahead()
{
    if (bufDwin && bufDwin == FrontWindow()) {
        CloseToolWindow(bufDwin);
    } else if (bufDwin) {
        SelectWindow(bufDwin);
    } else {
        bufDlog = GetNewDialog(kDlgTypeAhead);
        bufDwin = bufDlog;
        if (!bufDwin)
            return;
        Rect place = qset.bufWinRect;
        if (EmptyRect(&place))
            GetWindowBounds(bufDwin, &place);
        SizeWind(bufDwin, &place);
        ShowWindow(bufDwin);
        SetPort(myWindow);
    }
}

static void do_edit(int16_t item, uint16_t modifiers)
{
    WindowPtr front = FrontWindow();

    switch (item) {
    case 3:
    case 4:
    case 7:
        do_copy_item(item);
        break;
    case 5:
        do_paste_item();
        break;
    case 6:
        if (is_dialog(front))
            DialogDelete(front);
        else
            remSel();
        break;
    case 9:
        if (front && front == myWindow) {
            SetSel(0, 0, int16_t(MaxLine + savlines - 1), int16_t(MaxCol));
            offerSel();
        }
        break;
    case 10:
        do_type_ahead();
        break;
    case 12:
        open_find();
        break;
    case 13:
        if (!find_it())
            SysBeep(6);
        break;
    case 14:
        if (modifiers & shiftKey) {
            clear_screen();
            home_cursor();
            scr_to_bot();
        }
        clr_savbuf();
        break;
    case kEditKeepLines:
        cset.bufFlags ^= 1;
        set_buf_save();
        break;
    }
}

static void do_dial_menu(int16_t item, uint16_t modifiers, bool byKey)
{
    if (byKey && (modifiers & shiftKey) && item == 1) {
        item = 3;
        modifiers = 0;
        if (is_absent(kMenuDial, item, false))
            return;
    }
    if (item == 4) {
        kill_script();
        HangUp();
    } else {
        do_dial(item, modifiers);
    }
}

// The key of the connection dialog, with Shift, is the switch of the echo.
static void flip_echo()
{
    Str255 text;

    cset.echoFlag ^= 1;
    localEcho = cset.echoFlag;
    set_changed = 1;
    GetIndString(text, kListTexts,
                 cset.echoFlag & 1 ? kStrEchoOn : kStrEchoOff);
    MessageFlash(text, 100);
}

static void do_settings(int16_t item, uint16_t modifiers, bool byKey)
{
    bool fromList = ddir_dwin && FrontWindow() == ddir_dwin;

    switch (item) {
    case 1:
        if (byKey && (modifiers & shiftKey))
            flip_echo();
        else
            edit_aconn(fromList);
        break;
    case 2:
        term_aset(fromList);
        break;
    case 3:
        pace_set();
        break;
    case 4:
        xfer_set();
        break;
    case 5:
        zmod_parms();
        break;
    case 7:
        glob_set();
        break;
    case 8:
        term_prefs();
        break;
    case 9:
        prt_options();
        break;
    case 10:
        modem_set();
        break;
    case 11:
        if (gColorQD)
            color2_set();
        else
            color_set();
        break;
    case 12:
        (void)SetRcvFolder();
        break; // no choice changes nothing
    }
}

static void do_macros(int16_t item)
{
    constexpr int16_t kFirstMacro = 4; // macro n is item n + 4

    if (item == 1)
        (void)edit_macros(false);
    else if (item == 2)
        select_macro();
    else if (item == 3)
        run_script();
    else if (item > kFirstMacro)
        doMacro(item - kFirstMacro == 10 ? int16_t(0)
                                         : int16_t(item - kFirstMacro));
}

// Control bytes act, or show as glyphs. Then the modes that a host has set go:
// it can't take them back any more.
static void flip_controls()
{
    interpret_control = !interpret_control;
    CheckMenuItem(MiscMenu, kMiscShowControls, !interpret_control);
    if (!interpret_control)
        clrAttrib();
}

static void do_misc(int16_t item, uint16_t modifiers)
{
    WindowPtr front = FrontWindow();

    switch (item) {
    case 1:
        scr_to_bot();
        clear_screen();
        home_cursor();
        break;
    case 2:
        DoBreak(modifiers & (shiftKey | optionKey) ? qset.breakLong
                                                   : qset.breakShort);
        break;
    case 3:
        (void)Alert(kAlertKeys);
        break;
    case 4:
        (void)Alert(kAlertMouse);
        break;
    case 6:
        reset_term();
        if ((modifiers & optionKey) && cset.hasPhone)
            SendModInit();
        break;
    case 7:
        SendModInit();
        break;
    case kMiscShowControls:
        flip_controls();
        break;
    case 9:
        if (modifiers & optionKey)
            dumpBufs();
        purgeBuffer(120);
        break;
    case 10:
        if (front && (front == myWindow || front == ddir_dwin))
            CollapseWindow(front, true);
        break;
    case 888:
        ShowReadStats();
        break;
    }
}

// The speed is read in 16 bits here, so that rates above 32767 come out
// negative and end as 2400. The pop-up of the status bar reads all of it, and
// is the road in use.
static void do_speed(int16_t item)
{
    if (item < 1 || item > kSpeeds)
        return;
    int16_t speed = int16_t(bd_tbl[item]);
    if (speed != Baudrate)
        set_changed = 1;
    set_baud(speed);
}

static void run_item(int16_t menu, int16_t item, uint16_t modifiers,
                     int16_t what)
{
    bool byKey = what == keyDown;

    switch (menu) {
    case kMenuReceive:
        do_receive_item(item, modifiers);
        break;
    case kMenuSend:
        do_send_item(item, modifiers);
        break;
    case kMenuConvert:
        if (item >= 1 && item <= 4)
            set_dconv(xconv_types[item - 1]);
        break;
    case kMenuQuillon:
        if (item == 1)
            DoAboutDialog();
        break;
    case kMenuFile:
        do_file(item, modifiers, byKey);
        break;
    case kMenuEdit:
        do_edit(item, modifiers);
        break;
    case kMenuDial:
        do_dial_menu(item, modifiers, byKey);
        break;
    case kMenuSettings:
        do_settings(item, modifiers, byKey);
        break;
    case kMenuMacros:
        do_macros(item);
        break;
    case kMenuMisc:
        do_misc(item, modifiers);
        break;
    case kMenuSpeed:
        do_speed(item);
        break;
    }
}

void DoMenu(int32_t choice, uint16_t modifiers, int16_t what)
{
    int16_t menu = int16_t(uint32_t(choice) >> 16);
    int16_t item = int16_t(choice);
    bool shiftedKey = what == keyDown && (modifiers & shiftKey);

    if (menu == kMenuTransfer) {
        if (item <= kLastRcvItem) {
            menu = kMenuReceive;
        } else if (item <= kLastSendItem) {
            menu = kMenuSend;
            item = int16_t(item - kLastRcvItem);
        } else {
            menu = kMenuConvert;
            item = int16_t(item - kLastSendItem);
        }
    }
    if (menu != 0 && !is_absent(menu, item, shiftedKey)) {
        stop_cursor();
        run_item(menu, item, modifiers, what);
        start_cursor();
        // A title that stays marked is the sign of a running send; its end
        // takes the mark away.
        if ((menu == kMenuFile && item == kFileSendText && asciiSend) ||
            (menu == kMenuEdit && sendCount != 0)) {
            HiliteMenu(menu);
            return;
        }
    }
    HiliteMenu(0);
}

// ---- what can be chosen now ------------------------------------------------

// Copying and pasting: what the front window allows.
static void adjust_clipboard(WindowPtr front, bool sel)
{
    bool canCopy = false, canPaste = false;

    if (is_accessory(front)) {
        canCopy = canPaste = true;
    } else if (front &&
               (front == myWindow || front == bufDwin || front == srch_dwin)) {
        canCopy = front == myWindow ? sel : true;
        canPaste = ScrapHasFlavor(kTextFlavor);
    }
    enable(EditMenu, 1, is_accessory(front));
    enable(EditMenu, 3, canCopy);
    enable(EditMenu, 4, canCopy);
    enable(EditMenu, 6, canCopy);
    enable(EditMenu, 5, canPaste);
}

void AdjMenus()
{
    if (!EditMenu)
        return;
    WindowPtr front = FrontWindow();
    bool sel = stSel >= 0;
    bool mainFront = front && front == myWindow;
    bool bufFront = front && front == bufDwin;
    bool findFront = front && front == srch_dwin;
    bool dirFront = front && front == ddir_dwin;
    bool selFront = sel && mainFront;

    adjust_clipboard(front, sel);
    enable(FileMenu, 3,
           bufFront || findFront || dirFront || is_accessory(front));
    enable(FileMenu, 11, selFront);
    enable(FileMenu, 12, selFront && gAppendOK);
    enable(FileMenu, 13, selFront);
    enable(FileMenu, 14, true);
    enable(FileMenu, 15, selFront);
    enable(EditMenu, 7, selFront);
    enable(EditMenu, 13, (mainFront || findFront) && find_str[0]);
    enable(MiscMenu, 10, (mainFront || dirFront) && !IsWindowCollapsed(front));
    for (const absent_item &row : absent)
        DisableMenuItem(GetMenuHandle(row.menu), row.item);
    SetArrowCursor();
}

void RunKey(uint8_t character, uint16_t modifiers, int16_t what)
{
    AdjMenus();
    for (const absent_item &row : absent) {
        if (row.shifted && (modifiers & shiftKey))
            EnableMenuItem(GetMenuHandle(row.menu), row.item);
    }
    int32_t choice = MenuKey(character);
    AdjMenus();
    DoMenu(choice, modifiers, what);
}

void SetupMenus()
{
    SetMenuBarFromResource(kMenuBarMain);
    DeskMenu = GetMenu(kMenuQuillon);
    FileMenu = GetMenu(kMenuFile);
    GetMenuItemText(FileMenu, kFileSendText, StrSendAscii);
    EditMenu = GetMenu(kMenuEdit);
    DialMenu = GetMenu(kMenuDial);
    ddGetList();
    ddMenuFromList();
    SettingMenu = GetMenu(kMenuSettings);
    MacroMenu = GetMenu(kMenuMacros);
    MiscMenu = GetMenu(kMenuMisc);

    RcvMenu = GetMenu(kMenuReceive);
    SendMenu = GetMenu(kMenuSend);
    xconvMenu = GetMenu(kMenuConvert);
    InsertMenu(RcvMenu, -1);
    InsertMenu(SendMenu, -1);
    InsertMenu(xconvMenu, -1);
    BaudMenu = GetMenu(kMenuSpeed);
    BBitsMenu = GetMenu(kMenuFormat);
    pfontMenu = GetMenu(kMenuPrintFont);
    BuildPrintFontMenu();
    InsertMenu(pfontMenu, -1);
    SetMenuWillOpenProc(AdjMenus);
    DrawMenuBar();
}
