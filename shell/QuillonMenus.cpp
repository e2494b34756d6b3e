// Commands. One table holds what each item does and when it can be chosen. The
// menus' dimming, the Command keys and DoMenu all use it.
#include "shell/QuillonMenus.h"

#include "automation/AsciiSend.h"
#include "base/ErrMsg.h"
#include "base/facts.h"
#include "connect/Dial.h"
#include "connect/DialDir.h"
#include "connect/Dialogs.h"
#include "connect/Macros.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/drawing.h"
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

// Within the menu of all transfers each list ends with a separator.
constexpr int16_t kSendBase = kLastItemReceive + 1;
constexpr int16_t kConvertBase = kSendBase + kLastItemSend + 1;

constexpr int16_t kReadStats = 888; // no menu has it
constexpr int16_t kEveryItem = INT16_MAX;

// ---- state -----------------------------------------------------------------

DialogPtr bufDlog;
WindowPtr bufDwin;

// How a command was chosen.
struct Choice {
    int16_t item;
    uint16_t modifiers;
    bool byKey; // by its Command key
};

// ---- helpers ---------------------------------------------------------------

static bool is_dialog(WindowPtr w)
{
    return w && GetWindowKind(w) == dialogKind;
}

static bool is_accessory(WindowPtr w)
{
    return w && GetWindowKind(w) < 0;
}

static bool is_front(WindowPtr w)
{
    return w && FrontWindow() == w;
}

// Any of these modifier keys was held.
static bool held(const Choice &c, uint16_t keys)
{
    return (c.modifiers & keys) != 0;
}

// A command that needs nothing to know of how it was chosen.
template <auto act> static void plain(const Choice &)
{
    (void)act(); // each reports its own errors
}

static void nothing(const Choice &) {}

// ---- the application's menu, and tool windows ------------------------------

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

// ---- File ------------------------------------------------------------------

static void receive(const Choice &c)
{
    if (held(c, kModifier))
        do_drcv(uint8_t(rcvtypes[c.item]));
    else
        Xreceive(int16_t(c.item + 1));
}

static void send(const Choice &c)
{
    if (held(c, kModifier))
        do_dsend(uint8_t(sendtypes[c.item]));
    else
        Xsend(int16_t(c.item + 1));
}

static void convert(const Choice &c)
{
    set_dconv(xconv_types[c.item - 1]);
}

static void capture(const Choice &)
{
    Xreceive(1);
}

static void send_text(const Choice &)
{
    Xsend(1);
}

static void receive_default(const Choice &)
{
    Xreceive(dRcvItem);
}

static void send_default(const Choice &)
{
    Xsend(dSendItem);
}

static void close_front(const Choice &)
{
    CloseToolWindow(FrontWindow());
}

static void quit(const Choice &c)
{
    if (c.byKey && (qset.globFlags & kGlobAskQuit)) {
        SetArrowCursor();
        if (StopAlert(kAlertQuit) == 2)
            return;
    }
    if (chkSetChg())
        moreToDo = 0;
}

// ---- Edit ------------------------------------------------------------------

// Cut, copy, and copy and send back.
static void copy(const Choice &c)
{
    WindowPtr front = FrontWindow();

    if (is_front(myWindow)) {
        int32_t size = 0;
        const uint8_t *text = prepSel(&size);
        OSErr err = doCopy(text, size);
        if (err != noErr)
            SysBeep(5);
        unprepSel();
        if (c.item == kItemEditCut)
            remSel();
        else if (c.item == kItemEditCopyPaste)
            doPaste();
    } else if (is_dialog(front) && c.item != kItemEditCopyPaste) {
        // The clipboard isn't cleared first: the field shares it, and what it
        // has just been given would go.
        if (c.item == kItemEditCut)
            DialogCut(front);
        else
            DialogCopy(front);
    }
}

static void paste(const Choice &)
{
    WindowPtr front = FrontWindow();

    if (!is_dialog(front))
        doPaste();
    else
        DialogPaste(front);
}

static void clear(const Choice &)
{
    WindowPtr front = FrontWindow();

    if (is_dialog(front))
        DialogDelete(front);
    else
        remSel();
}

static void select_all(const Choice &)
{
    if (!is_front(myWindow))
        return;
    SetSel(0, 0, int16_t(MaxLine + savlines - 1), int16_t(MaxCol));
    offerSel();
}

// The type-ahead window comes, comes forward, or goes.
static void do_type_ahead()
{
    if (is_front(bufDwin)) {
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

static void find_again(const Choice &)
{
    if (!find_it())
        SysBeep(6);
}

static void clear_store(const Choice &c)
{
    if (held(c, shiftKey)) {
        clear_screen();
        home_cursor();
        scr_to_bot();
    }
    clr_savbuf();
}

static void keep_lines(const Choice &)
{
    cset.bufFlags ^= 1;
    set_buf_save();
}

// ---- Dial, Settings, Macros ------------------------------------------------

static void dial(const Choice &c)
{
    do_dial(c.item, c.modifiers);
}

static void hang_up(const Choice &)
{
    kill_script();
    HangUp();
}

static void flip_echo(const Choice &)
{
    Str255 text;

    cset.echoFlag ^= 1;
    localEcho = cset.echoFlag;
    set_changed = 1;
    GetIndString(text, kListTexts,
                 cset.echoFlag & 1 ? kStrEchoOn : kStrEchoOff);
    MessageFlash(text, 100);
}

static void edit_set(const Choice &)
{
    (void)edit_macros(false); // the dialog shows what came of it
}

static void terminal_settings(const Choice &)
{
    term_aset(is_front(ddir_dwin));
}

static void color_settings(const Choice &)
{
    if (gColorQD)
        color2_set();
    else
        color_set();
}

static void macro(const Choice &c)
{
    const int n = c.item - kLastItemMacros;

    doMacro(int16_t(n == 10 ? 0 : n)); // the tenth has the digit 0
}

// ---- Misc ------------------------------------------------------------------

static void clear_terminal(const Choice &)
{
    scr_to_bot();
    clear_screen();
    home_cursor();
}

static void send_break(const Choice &c)
{
    DoBreak(held(c, shiftKey | optionKey) ? qset.breakLong : qset.breakShort);
}

static void show_keys(const Choice &)
{
    (void)Alert(kAlertKeys); // it has one button
}

static void show_mouse(const Choice &)
{
    (void)Alert(kAlertMouse);
}

static void reset(const Choice &c)
{
    reset_term();
    if (held(c, optionKey) && cset.hasPhone)
        SendModInit();
}

// Control bytes act, or show as glyphs. Then the modes that a host has set go:
// it can't take them back any more.
static void flip_controls(const Choice &)
{
    interpret_control = !interpret_control;
    CheckMenuItem(MiscMenu, kItemMiscShowControls, !interpret_control);
    if (!interpret_control)
        clrAttrib();
}

static void discard_input(const Choice &c)
{
    if (held(c, optionKey))
        dumpBufs();
    purgeBuffer(120);
}

static void minimize(const Choice &)
{
    if (is_front(myWindow) || is_front(ddir_dwin))
        CollapseWindow(FrontWindow(), true);
}

// The speed is read in 16 bits here, so that rates above 32767 come out
// negative and end as 2400. The pop-up of the status bar reads all of it, and
// is the one in use.
static void speed(const Choice &c)
{
    int16_t value = int16_t(bd_tbl[c.item]);

    if (value != Baudrate)
        set_changed = 1;
    set_baud(value);
}

// ---- what can be chosen now ------------------------------------------------

static bool always(int16_t)
{
    return true;
}

static bool on_accessory(int16_t)
{
    return is_accessory(FrontWindow());
}

static bool on_tool_window(int16_t)
{
    return is_front(bufDwin) || is_front(srch_dwin) || is_front(ddir_dwin) ||
           is_accessory(FrontWindow());
}

static bool on_selection(int16_t)
{
    return stSel >= 0 && is_front(myWindow);
}

static bool on_append_target(int16_t item)
{
    return on_selection(item) && gAppendOK;
}

static bool can_copy(int16_t item)
{
    return on_selection(item) || is_front(bufDwin) || is_front(srch_dwin) ||
           is_accessory(FrontWindow());
}

static bool can_paste(int16_t)
{
    if (is_accessory(FrontWindow()))
        return true;
    return (is_front(myWindow) || is_front(bufDwin) || is_front(srch_dwin)) &&
           ScrapHasFlavor(kTextFlavor);
}

static bool can_find_again(int16_t)
{
    return (is_front(myWindow) || is_front(srch_dwin)) && find_str[0];
}

static bool can_minimize(int16_t)
{
    return (is_front(myWindow) || is_front(ddir_dwin)) &&
           !IsWindowCollapsed(FrontWindow());
}

// ---- the table -------------------------------------------------------------

using Act = void (*)(const Choice &);

enum : uint8_t {     // flags
    kEveryMode = 1,  // also while a dialer or a transfer has the line
    kTitleSend = 2,  // its title stays marked while a text is being sent
    kTitlePaste = 4, // ... and while a piece waits that was being sent
    kUnlisted = 8,   // no item of the menu
};

// A row stands for the items from `item` to `last`. A null `act` is a
// command that the program doesn't have: its item is dimmed, and a choice that
// comes by another way does nothing. `shifted` is what its Command key does
// with Shift held, also where the item itself has no act.
struct Command {
    int16_t menu, item, last;
    Act act;
    bool (*can)(int16_t item);
    uint8_t flags;
    Act shifted;
};

constexpr Command one(int16_t menu, int16_t item, Act act,
                      bool (*can)(int16_t) = always, uint8_t flags = 0,
                      Act shifted = nullptr)
{
    return {menu, item, item, act, can, flags, shifted};
}

// clang-format off
constexpr Command commands[] = {
    {kMenuReceive, 1, kLastItemReceive, receive, always, 0, nullptr},
    {kMenuSend,    1, kLastItemSend,    send,    always, 0, nullptr},
    {kMenuConvert, 1, kLastItemConvert, convert, always, 0, nullptr},

    one(kMenuQuillon, kItemQuillonAbout, plain<DoAboutDialog>),
    {kMenuQuillon, kLastItemQuillon + 1, kEveryItem, nothing, always,
     kEveryMode, nullptr}, // what the desktop adds

    one(kMenuFile, kItemFileCapture,    capture),
    one(kMenuFile, kItemFileSendText,   send_text, always, kTitleSend),
    one(kMenuFile, kItemFileClose,      close_front, on_tool_window),
    one(kMenuFile, kItemFileReceive,    receive_default),
    one(kMenuFile, kItemFileSend,       send_default),
    one(kMenuFile, kItemFileAppend,     plain<DoAppendSel>, on_selection, 0,
                                        plain<DoAppendLast>),
    one(kMenuFile, kItemFileAppendLast, plain<DoAppendLast>, on_append_target),
    one(kMenuFile, kItemFileSaveAs,     plain<writeBuffer>, on_selection),
    one(kMenuFile, kItemFilePageSetup,  plain<PgSetup>),
    one(kMenuFile, kItemFilePrint,      plain<PrtSel>, on_selection),
    one(kMenuFile, kItemFileQuit,       quit),

    one(kMenuEdit, kItemEditUndo,       nothing, on_accessory, kTitlePaste),
    one(kMenuEdit, kItemEditCut,        copy, can_copy, kTitlePaste),
    one(kMenuEdit, kItemEditCopy,       copy, can_copy, kTitlePaste),
    one(kMenuEdit, kItemEditPaste,      paste, can_paste, kTitlePaste),
    one(kMenuEdit, kItemEditClear,      clear, can_copy, kTitlePaste),
    one(kMenuEdit, kItemEditCopyPaste,  copy, on_selection, kTitlePaste),
    one(kMenuEdit, kItemEditSelectAll,  select_all, always, kTitlePaste),
    one(kMenuEdit, kItemEditTypeAhead,  plain<do_type_ahead>, always,
                                        kTitlePaste),
    one(kMenuEdit, kItemEditFind,       plain<open_find>, always, kTitlePaste),
    one(kMenuEdit, kItemEditFindAgain,  find_again, can_find_again,
                                        kTitlePaste),
    one(kMenuEdit, kItemEditClearStore, clear_store, always, kTitlePaste),
    one(kMenuEdit, kItemEditKeepLines,  keep_lines, always, kTitlePaste),

    one(kMenuDial, kItemDialDirectory,  nullptr),
    one(kMenuDial, kItemDialSave,       dial),
    one(kMenuDial, kItemDialMarked,     nullptr),
    one(kMenuDial, kItemDialHangUp,     hang_up),
    {kMenuDial, kDialFirstItem, kEveryItem, dial, always, 0, nullptr},

    one(kMenuSettings, kItemSettingsConnection, nullptr, always, 0, flip_echo),
    one(kMenuSettings, kItemSettingsTerminal,   terminal_settings),
    one(kMenuSettings, kItemSettingsPacing,     plain<pace_set>),
    one(kMenuSettings, kItemSettingsTransfer,   plain<xfer_set>),
    one(kMenuSettings, kItemSettingsZmodem,     plain<zmod_parms>),
    one(kMenuSettings, kItemSettingsGeneral,    plain<glob_set>),
    one(kMenuSettings, kItemSettingsWindow,     plain<term_prefs>),
    one(kMenuSettings, kItemSettingsPrinting,   plain<prt_options>),
    one(kMenuSettings, kItemSettingsModem,      plain<modem_set>),
    one(kMenuSettings, kItemSettingsColors,     color_settings),
    one(kMenuSettings, kItemSettingsFolder,     plain<SetRcvFolder>),

    one(kMenuMacros, kItemMacrosEdit,   edit_set),
    one(kMenuMacros, kItemMacrosSets,   plain<select_macro>),
    one(kMenuMacros, kItemMacrosScript, nullptr),
    {kMenuMacros, kLastItemMacros + 1, kEveryItem, macro, always, 0, nullptr},

    one(kMenuMisc, kItemMiscClear,        clear_terminal),
    one(kMenuMisc, kItemMiscBreak,        send_break),
    one(kMenuMisc, kItemMiscKeys,         show_keys),
    one(kMenuMisc, kItemMiscMouse,        show_mouse),
    one(kMenuMisc, kItemMiscReset,        reset),
    one(kMenuMisc, kItemMiscInitModem,    plain<SendModInit>),
    one(kMenuMisc, kItemMiscShowControls, flip_controls),
    one(kMenuMisc, kItemMiscDiscard,      discard_input),
    one(kMenuMisc, kItemMiscMinimize,     minimize, can_minimize),
    one(kMenuMisc, kReadStats,            plain<ShowReadStats>, always,
                                          kUnlisted),

    {kMenuSpeed, 1, kLastItemSpeed, speed, always, 0, nullptr},
};
// clang-format on

// The last of its menu's own items, which a row of one item can't be beyond.
constexpr int16_t last_item(int16_t menu)
{
    switch (menu) {
    case kMenuReceive:
        return kLastItemReceive;
    case kMenuSend:
        return kLastItemSend;
    case kMenuConvert:
        return kLastItemConvert;
    case kMenuQuillon:
        return kLastItemQuillon;
    case kMenuFile:
        return kLastItemFile;
    case kMenuEdit:
        return kLastItemEdit;
    case kMenuDial:
        return kLastItemDial;
    case kMenuSettings:
        return kLastItemSettings;
    case kMenuMacros:
        return kLastItemMacros;
    case kMenuMisc:
        return kLastItemMisc;
    case kMenuSpeed:
        return kLastItemSpeed;
    default:
        return 0;
    }
}

// Rows ascend by menu and item and don't overlap, every item lies in its menu,
// and every row can be asked whether it can be chosen.
consteval bool rows_in_order()
{
    const Command *before = nullptr;

    for (const Command &row : commands) {
        const int16_t last = last_item(row.menu);
        const bool open = row.last == kEveryItem && row.item > last;
        const bool listed = row.last <= last || (row.flags & kUnlisted);
        if (row.item < 1 || row.last < row.item || !row.can || last == 0 ||
            !(open || listed))
            return false;
        if (before && (row.menu < before->menu ||
                       (row.menu == before->menu && row.item <= before->last)))
            return false;
        before = &row;
    }
    return true;
}
static_assert(rows_in_order());
static_assert(kLastItemSpeed == kSpeeds);
static_assert(kConvertBase + kLastItemConvert == kLastItemTransfer);

static const Command *find_command(int16_t menu, int16_t item)
{
    for (const Command &row : commands) {
        if (row.menu == menu && item >= row.item && item <= row.last)
            return &row;
    }
    return nullptr;
}

// ---- choosing --------------------------------------------------------------

bool MenuServes(int32_t choice, char mode)
{
    if (mode == kModeMain)
        return true;
    const Command *row =
        find_command(int16_t(uint32_t(choice) >> 16), int16_t(choice));
    return row && (row->flags & kEveryMode);
}

// The menu of all transfers stands for three others.
static void split_transfers(int16_t *menu, int16_t *item)
{
    if (*menu != kMenuTransfer)
        return;
    if (*item > kConvertBase) {
        *menu = kMenuConvert;
        *item = int16_t(*item - kConvertBase);
    } else if (*item > kSendBase) {
        *menu = kMenuSend;
        *item = int16_t(*item - kSendBase);
    } else {
        *menu = kMenuReceive;
    }
}

void DoMenu(int32_t choice, uint16_t modifiers, int16_t what)
{
    int16_t menu = int16_t(uint32_t(choice) >> 16);
    int16_t item = int16_t(choice);

    split_transfers(&menu, &item);
    const Command *row = find_command(menu, item);
    if (row) {
        const Choice c = {item, modifiers, what == keyDown};
        const bool shifted = c.byKey && held(c, shiftKey) && row->shifted;
        const Act act = shifted ? row->shifted : row->act;
        if (act) {
            stop_cursor();
            act(c);
            start_cursor();
        }
        // A title that stays marked is the sign of a running send; its end
        // takes the mark away.
        if (((row->flags & kTitleSend) && asciiSend) ||
            ((row->flags & kTitlePaste) && sendCount != 0)) {
            HiliteMenu(menu);
            return;
        }
    }
    HiliteMenu(0);
}

// Dims what can't be chosen; with `shift`, by a Command key and Shift.
static void adjust(bool shift)
{
    for (const Command &row : commands) {
        const MenuHandle menu = GetMenuHandle(row.menu);
        if (!menu || (row.flags & kUnlisted))
            continue;
        const bool there = row.act || (shift && row.shifted);
        const int16_t count = CountMenuItems(menu);
        for (int16_t i = row.item; i <= row.last && i <= count; i++) {
            if (there && row.can(i))
                EnableMenuItem(menu, i);
            else
                DisableMenuItem(menu, i);
        }
    }
}

void AdjMenus()
{
    if (!EditMenu)
        return;
    adjust(false);
    SetArrowCursor();
}

void RunKey(uint8_t character, uint16_t modifiers, int16_t what)
{
    AdjMenus();
    if (modifiers & shiftKey)
        adjust(true);
    int32_t choice = MenuKey(character);
    AdjMenus();
    DoMenu(choice, modifiers, what);
}

void SetupMenus()
{
    SetMenuBarFromResource(kMenuBarMain);
    DeskMenu = GetMenu(kMenuQuillon);
    FileMenu = GetMenu(kMenuFile);
    GetMenuItemText(FileMenu, kItemFileSendText, StrSendAscii);
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
