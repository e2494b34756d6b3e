// Start-up and shut-down.
#include "shell/Inits.h"

#include "automation/AppleEvents.h"
#include "automation/AsciiSend.h"
#include "automation/DragEm.h"
#include "automation/Script.h"
#include "base/Capture.h"
#include "base/ErrMsg.h"
#include "base/WindowPlace.h"
#include "base/pstr.h"
#include "connect/Dial.h"
#include "connect/DialDir.h"
#include "connect/Dialogs.h"
#include "connect/LineSetters.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/files.h"
#include "platform/fonts.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/ports.h"
#include "platform/resources.h"
#include "platform/scrap.h"
#include "resources/names.h"
#include "scrollback/NPrint.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Clipboard.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "shell/QuillonWindow.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zmaclo.h"

// ---- constants -------------------------------------------------------------

constexpr int32_t kXferBuf = 1500;
constexpr uint32_t kLastAnswer = 20; // ticks that the modem gets at the end

// The first window of a new book.
constexpr int16_t kFirstRows = 24, kFirstCols = 80;
constexpr int16_t kWindowExtra = 19; // margins and bars, each way
constexpr int16_t kLastPixel = 1;    // so that termrect holds all of a column

// ---- state -----------------------------------------------------------------

int32_t stTicks;
uint16_t ti;
uint16_t timing[20];

Str255 longvers;

static DialogPtr splash; // until the main window comes

// ---- start -----------------------------------------------------------------

static void stamp()
{
    if (ti < sizeof timing / sizeof timing[0])
        timing[ti++] = uint16_t(int32_t(TickCount()) - stTicks);
}

// A line of its own, which a running connection bears.
static bool say_in_terminal(ConstStr text)
{
    if (!myWindow)
        return false;
    if (curcol != 0)
        crlf();
    drawCString("###  ");
    drawPString(text);
    crlf();
    return true;
}

void MakeUPPs()
{
    // Actions of controls and drawing procedures are given where they are
    // used; these two have no other place.
    SetMenuWillOpenProc(AdjMenus);
    SetPrimaryPasteProc(doPastePrimary);

    gMessageHooks = {
        [] { MainEventLoop(kNoUserEvents, kModeSmall); },
        say_in_terminal,
    };
    gWindowHooks = {
        ShowBar,
        ShowBuf,
        ShowSize,
        SizeWind,
        [](uint8_t c, uint16_t modifiers) { RunKey(c, modifiers, keyDown); },
        sendbrk};
    gProtocolHooks = {do_drcv, do_dsend};
    gConnectionHooks = {
        [] { return FinishInitFoneOpen() != 0; },
        zmputs,
        kill_script,
    };
    gTransferPass = TransferPass;
    gMainPlace = GetRectPtr;
}

// The version resource: numbers and a region in six bytes, then the short and
// the long text.
static void read_version()
{
    constexpr int32_t kShort = 6;
    Handle h = GetResource(FOUR("vers"), 1);

    longvers[0] = 0;
    if (!h || GetHandleSize(h) <= kShort)
        return;
    int32_t at = kShort + 1 + (*h)[kShort];
    if (at < GetHandleSize(h) && at + (*h)[at] < GetHandleSize(h))
        pstrcpy(longvers, *h + at);
}

static void show_splash()
{
    Str255 text;

    ParamText(longvers, nullptr, nullptr, nullptr);
    splash = GetNewDialog(kDlgAbout);
    if (!splash)
        return;
    GetIndString(text, kListTexts, kStrStarting);
    SetDialogItemText(splash, kItemAboutStarting, text);
    ShowWindow(splash);
    DrawDialog(splash);
}

static void hide_splash()
{
    if (splash)
        DisposeDialog(splash);
    splash = nullptr;
}

// What the platform is: one that has everything these facts ask about.
static void take_facts()
{
    gHaveHFS = 1;
    sysVers = 0x1040;
    macType = 406;
    gColorQD = 1;
    gHaveAppearance = 1;
    gAppearanceVer = 0x0110;
    gHaveNav = 1;
}

static void find_folders()
{
    constexpr int16_t kUserDomain = -32763;

    GetProgramFolder(&pgmVolRef, &pgmDir);
    pgmVRef = pgmVolRef;
    gPrefFolderDomain = kUserDomain;
    // The code that needs a missing folder reports it.
    (void)FindFolder(kUserDomain, kPrefFolder, true, &gSysVRefNum,
                     &gSysFolderDirID);
    gHaveUserDLFolder =
        FindFolder(kUserDomain, kDownloadsFolder, true, &gUserDownloadsVRef,
                   &gUserDownloadsDirID) == noErr;
    if (FindFolder(kUserDomain, kAuxFolder, true, &gAuxFilesVRef,
                   &gAuxFilesDirID) != noErr) {
        gAuxFilesVRef = gSysVRefNum;
        gAuxFilesDirID = gSysFolderDirID;
    }
}

static void take_input_facts()
{
    havePop = 1;
    WNEIsImplemented = 1;
    haveScript = 1;
    newKbd = macType >= 5;
    gScriptCount = ScriptCount();
    sv_kchr = 0;
    sv_sicn = 0;
    theKeyBoard = 0;
}

int InitProgram()
{
    ti = 0;
    InitCursor();
    stTicks = int32_t(TickCount());
    SetWaitCursor();

    gUnityPoint = {1, 1};
    read_version();
    show_splash();
    stamp();
    MakeUPPs();
    pstrcpy(ServiceName, PSTR("Local"));

    take_facts();
    find_folders();
    take_input_facts();

    asInit();
    init_tokens();
    do_CTB_init();
    InitDrag();
    InitAppleEvents();
    return 1;
}

// ---- the first book --------------------------------------------------------

// The window sizes of former default settings, which cut the lowest row off.
static void correct_sizes()
{
    struct old_size {
        Rect *rect;
        int16_t width, height, more;
    };
    const old_size sizes[] = {
        {&qset.winRectSmall, 504, 272, 11},
        {&qset.winRectLarge, 584, 368, 15},
    };

    for (const old_size &old : sizes) {
        Rect *r = old.rect;
        if (r->right - r->left == old.width && r->bottom - r->top == old.height)
            r->bottom = int16_t(r->bottom + old.more);
    }
}

// A new book's window is made to fit the font that this machine really has;
// the template can only guess its cell.
static void fit_first_window()
{
    FontInfo font;
    uint16_t rows, cols;

    SetPort(myWindow);
    Rect *saved = GetRectPtr();
    CalcTermSize(cset.termType, saved, &rows, &cols);
    GetFontInfo(&font);
    int height = font.ascent + font.descent + font.leading;
    Rect rect = *saved;
    rect.bottom = int16_t(rect.top + kFirstRows * height + kWindowExtra);
    rect.right = int16_t(rect.left + kFirstCols * CharWidth('0') +
                         kWindowExtra + kLastPixel);
    CalcTermSize(cset.termType, &rect, &rows, &cols);
    if (rows == kFirstRows && cols == kFirstCols)
        *saved = rect;
}

static void make_window()
{
    Rect bounds = {0, 0, kBarSize, kBarSize};

    myWindow = GetNewWindow(kWindowMain);
    InstallDragForWindow(myWindow);
    install_wheel_handler(myWindow);
    SetLimitRects();
    correct_sizes();
    if (gBookIsNew)
        fit_first_window();
    sbar_ctl =
        NewControl(myWindow, &bounds, PSTR(""), true, 0, 0, 0,
                   gHaveAppearance ? kScrollBarLiveProc : scrollBarProc, 0);
    SetWindowZoomed(myWindow, (qset.zoomFlags & 1) != 0);
    SizeWind(myWindow, GetRectPtr());
    ShowWindow(myWindow);
    KeepWindowVisible(myWindow);
    SetPort(myWindow);
}

// The text above the choice of another port: which one failed, and why.
static void explain_port(int16_t error)
{
    Str255 text, name, path = {0}, why;
    char cpath[256];

    GetIndString(text, kListTexts, kStrOtherPort);
    (void)GetPortNames(name, path, nullptr);
    CopyPascalStringToC(path, cpath);
    port_why(cpath, error, why);
    if (!why[0])
        pstrcpy(why, errorString(error, nullptr));
    if (path[0] && !pstrequal(path, name)) {
        pstrcat(name, PSTR(" ("));
        pstrcat(name, path);
        pstrcatchr(name, ')');
    }
    pstrcat(name, PSTR(". "));
    ParamText(text, name, why, PSTR(""));
}

// A dialog draws only its own window, so the window behind it is drawn first.
static bool choose_port()
{
    DoUpdate(myWindow);
    return portonly_set();
}

// Opens the port, asking for another one while that fails. False when the
// user gave up.
static bool open_port()
{
    int16_t error;

    while ((error = OpenModem()) != 0) {
        explain_port(error);
        if (!choose_port())
            return false;
    }
    return true;
}

int FinishInitFoneOpen()
{
    constexpr int8_t kLeastSize = 5, kMostSize = 48;
    Str255 text;

    init_print();
    curFSize = qset.termFontSize;
    if (curFSize < kLeastSize || curFSize > kMostSize)
        curFSize = curFSize < kLeastSize ? kLeastSize : kMostSize;
    if (SerAlloc() != 0 || !AllocRows() || AllocXferBuf(kXferBuf) < kXferBuf) {
        ErrorAlert(nullptr, memFullErr);
        return 0;
    }
    SetupMenus();
    buildDevMenu();
    CheckLocalStrings();
    stamp();
    ourPort = qset.portNumber;
    sIn = int16_t(qset.portIn);
    sOut = int16_t(qset.portOut);
    stamp();
    our_kchr = newKbd ? 303 : 301;
    stamp();
    setKMAP();
    stamp();

    hide_splash();
    GetDateTime(&ConnectTime); // for the bar, until the start is complete
    make_window();
    InitPage();
    if (KeyModifiers() & shiftKey) {
        GetIndString(text, kListTexts, kStrWhichPort);
        ParamText(text, PSTR(""), PSTR(""), PSTR(""));
        (void)choose_port(); // without a choice the port stays the same
    }
    int result = open_port() ? 1 : 0;
    gPortOverride[0] = 0;
    stamp();
    textcreator = qset.textCreator;
    if (result) {
        (void)loadSettings(defDial); // the start asks no questions
        FinishSetup();
        stamp();
        if (!(KeyModifiers() & optionKey))
            SendModInit();
    }
    GetDateTime(&ConnectTime);
    InitCursor();
    gInitializing = 0;
    return result;
}

// ---- the end ---------------------------------------------------------------

void finish_up()
{
    SetWaitCursor();
    if (pRef > 0) {
        SaveAtEnd();
        savePrtInfo();
    }
    StopCapture();
    if (!(KeyModifiers() & optionKey))
        SendModDeInit();
    uint32_t start = TickCount();
    while (sIn && TickCount() - start < kLastAnswer)
        ReadPort();
    CloseModem();

    if (srch_dlog)
        DisposeDialog(srch_dlog);
    srch_dlog = nullptr;
    srch_dwin = nullptr;
    if (bufDlog)
        DisposeDialog(bufDlog);
    bufDlog = nullptr;
    bufDwin = nullptr;
    if (ddir_dwin)
        CloseDialDir();
    hide_splash();
    if (myWindow)
        DisposeWindow(myWindow);
    myWindow = nullptr;
    sbar_ctl = nullptr;
    if (pRef > 0)
        CloseResFile(pRef);
    pRef = 0;
}
