// The status window of a transfer, its lines in the terminal, its log.

#include "transfer/zstats.h"

#include "base/ErrMsg.h"
#include "base/Program.h"
#include "base/WindowPlace.h"
#include "base/facts.h"
#include "base/pstr.h"
#include "connect/Dial.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/drawing.h"
#include "platform/resources.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "terminal/VT100.h"
#include "transfer/MacBinary.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"

#include <algorithm>

// ---- constants -------------------------------------------------------------

constexpr int32_t kRedrawTicks = 50;      // no redraw of figures before
constexpr int32_t kMostShown = 200000001; // sizes from here on show no bar
constexpr int32_t kSureBytes = 4001; // from here on the rate is taken as it is

// ---- state -----------------------------------------------------------------

DialogPtr zDlog;
WindowPtr zDwin;
ControlHandle gProg;
Rect barbox;
Str255 zmsg;
int32_t zsTotal, zsCur;
int32_t estCPS;
uint8_t prog1st;

static int32_t lastUpdate; // elapsed ticks at the last redraw of zprog

// ---- composing -------------------------------------------------------------

static void add(uint8_t *out, const char *text)
{
    Str255 p;
    CopyCStringToPascal(text, p);
    pstrcat(out, p);
}

static void add_number(uint8_t *out, int32_t number)
{
    Str255 p;
    NumToString(number, p);
    pstrcat(out, p);
}

static void add_code(uint8_t *out, OSType code)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        pstrcatchr(out, uint8_t(code >> shift));
}

// The line's speed in hundreds, the divisor of all percentages.
static int32_t hundreds()
{
    int32_t n = int32_t(gCarrierRate / 100);
    return n > 0 ? n : 1;
}

static int32_t clamped(int64_t n)
{
    return int32_t(std::clamp<int64_t>(n, -0x7FFFFFFF, 0x7FFFFFFF));
}

// Characters per second; a time of 0 counts as one tick.
static int32_t rate_of(int64_t bytes, int32_t ticks)
{
    return clamped(bytes * 60 / (ticks > 0 ? ticks : 1));
}

static int32_t percent_of(int32_t rate)
{
    return clamped(int64_t(rate) * 10 / hundreds());
}

static void add_time(uint8_t *out, int32_t seconds)
{
    Str255 t;
    MinSec(t, int16_t(std::clamp(seconds, 0, 0x7FFF)));
    pstrcat(out, t);
}

static void add_two(uint8_t *out, int32_t n)
{
    if (n < 10)
        pstrcatchr(out, '0');
    add_number(out, n);
}

void MinSec(uint8_t *out, int16_t seconds)
{
    int32_t h = seconds / 3600;
    int32_t m = seconds / 60 % 60;

    out[0] = 0;
    if (h != 0) {
        add_number(out, h);
        pstrcatchr(out, ':');
        add_two(out, m);
    } else {
        add_number(out, m);
    }
    pstrcatchr(out, ':');
    add_two(out, seconds % 60);
}

// Protocol letter, with what sets its kind apart.
static void add_protocol(uint8_t *out)
{
    pstrcatchr(out, uint8_t(zprot));
    if (zprot == 'B')
        pstrcatchr(out, '+');
    else if ((zprot == 'Y' || zprot == 'y') && Optiong)
        pstrcatchr(out, 'g');
}

// The file in transfer, as the user knows it.
static ConstStr shown_name()
{
    static const uint8_t none[1] = {0};

    if (zdir == 'R')
        return zRcvMBName;
    return curSendFSS ? curSendFSS->name : none;
}

// ---- the window ------------------------------------------------------------

static void draw_bar_item(DialogPtr, int16_t)
{
    drawBar();
}

void zshow()
{
    zsTotal = zsCur = 0;
    lastUpdate = 0;
    prog1st = 1;
    zDlog = GetNewDialog(kDlgStatus);
    zDwin = zDlog;
    if (!zDlog)
        return;

    int16_t kind;
    GetDialogItem(zDlog, kItemStatusBar, &kind, &barbox);
    if ((kind & ~kItemDisabled) == kItemUser)
        SetDialogItemProc(zDlog, kItemStatusBar, draw_bar_item);
    ztitle();
    if (zdir == 'S') {
        Str255 word;
        GetIndString(word, kListTexts, kStrSending);
        if (word[0])
            SetDText(zDlog, kItemStatusDirection, word);
    }
    RestoreWinLoc(zDwin, qset.xferWinLoc);
    ShowWindow(zDwin);
    DrawDialog(zDlog);
}

void zrmv()
{
    if (zDlog)
        DisposeDialog(zDlog);
    zDlog = nullptr;
    zDwin = nullptr;
    gProg = nullptr;
}

// A protocol's name and the share of the line's speed, in percent, that it
// reaches by experience.
struct protocol_row {
    char letter;
    const char *name;
    int32_t factor;
};

// clang-format off
constexpr protocol_row protocols[] = {
    { 'B', "CIS B-Plus/QB ", 90 },
    { 'K', "Kermit ",        50 },
    { 'X', "XModem-1K ",     80 },
    { 'Y', "YModem ",        80 },
    { 'Z', "ZModem ",        90 },
    { 'k', "Kermit ",        50 },
    { 'x', "XModem ",        70 },
    { 'y', "YModem ",        80 },
    { 'z', "ZModem ",        90 },
};
// clang-format on
constexpr protocol_row kYModemG = {'G', "YModem-G ", 95};

void ztitle()
{
    const protocol_row *row = &protocols[4];

    for (const protocol_row &p : protocols)
        if (p.letter == zprot)
            row = &p;
    if ((zprot == 'Y' || zprot == 'y') && Optiong)
        row = &kYModemG;

    estCPS = int32_t(gCarrierRate / 100) * row->factor / 10;
    if (!zDwin)
        return;
    Str255 title;
    CopyCStringToPascal(row->name, title);
    add(title, zdir == 'S' ? "Send" : "Receive");
    SetWTitle(zDwin, title);
}

// Without a native progress bar: a frame, the share done, and ticks at the
// tenths, the fifth of them longer.
void drawBar()
{
    if (!zDwin || barbox.right <= barbox.left)
        return;
    WindowPtr before = GetPort();
    SetPort(zDwin);

    const Rect &b = barbox;
    int32_t width = b.right - b.left - 2;
    int32_t done = zsTotal > 0 ? int32_t(int64_t(width) * zsCur / zsTotal) : 0;
    if (done > width)
        done = width;
    Rect inner = {int16_t(b.top + 1), int16_t(b.left + 1),
                  int16_t(b.bottom - 1), int16_t(b.right - 1)};
    Rect part = inner;
    part.right = int16_t(part.left + done);
    FrameRect(&b);
    FillGrayRect(&part);
    inner.left = part.right;
    EraseRect(&inner);
    for (int i = 1; i < 10; i++) {
        int16_t h = int16_t(b.left + (b.right - b.left) * i / 10);
        MoveTo(h, int16_t(b.bottom - 1));
        LineTo(h, int16_t(b.bottom - (i == 5 ? 7 : 4)));
    }
    SetPort(before);
}

// The bar shows zsCur of zsTotal.
static void set_bar()
{
    if (!zDlog)
        return;
    int16_t kind;
    Rect box;
    GetDialogItem(zDlog, kItemStatusBar, &kind, &box);
    if ((kind & ~kItemDisabled) == kItemUser) {
        drawBar();
        return;
    }
    constexpr int16_t kFull = 1000;
    SetDialogItemRange(zDlog, kItemStatusBar, 0, kFull);
    int32_t value = 0;
    if (zsTotal > 0)
        value = zsCur >= zsTotal ? kFull
                                 : int32_t(int64_t(zsCur) * kFull / zsTotal);
    SetDialogItemValue(zDlog, kItemStatusBar, int16_t(value < 0 ? 0 : value));
}

void zitemNoEvt(int16_t item, ConstStr text)
{
    if (zDlog)
        SetDText(zDlog, item, text);
}

void zitem(int16_t item, ConstStr text)
{
    zitemNoEvt(item, text);
    (void)XferEvent(-1); // a cancel is seen by the engine's own test
}

// ---- figures ---------------------------------------------------------------

static void show_number(int16_t item, int32_t number)
{
    Str255 text;
    NumToString(number, text);
    zitemNoEvt(item, text);
}

// Rate, share of the line's speed, time gone and time left.
static void show_rate(int32_t current, int32_t total, int32_t elapsed)
{
    Str255 text;
    int32_t rate = 0;
    // The far side names the places, so they need not lie in order.
    int64_t bytes = int64_t(current) - StartPos;

    if (bytes > 0) {
        rate = rate_of(bytes, elapsed);
        if (rate > estCPS || bytes >= kSureBytes)
            estCPS = rate;
    }
    text[0] = 0;
    add_time(text, elapsed / 60);
    if (zsTotal != 0) {
        add(text, " / ");
        add_time(text, clamped((int64_t(total) - current) /
                               (estCPS > 0 ? estCPS : 1)));
    }
    zitemNoEvt(kItemStatusTime, text);

    NumToString(rate, text);
    add(text, " cps, ");
    add_number(text, percent_of(rate));
    pstrcatchr(text, '%');
    zitemNoEvt(kItemStatusRate, text);
}

void zprog(int32_t current, int32_t total)
{
    int32_t elapsed = int32_t(TickCount()) - start_ticks;

    if (prog1st) {
        prog1st = 0;
        lastUpdate = 0;
        zsTotal = zsCur = 0;
        set_bar();
        zecheck();
    }
    if (elapsed < lastUpdate) // the timer has been reset since
        lastUpdate = 0;
    bool edge = current == 0 || current == total;
    if (!edge && elapsed - lastUpdate <= kRedrawTicks) {
        (void)XferEvent(-1); // a cancel is seen by the engine's own test
        return;
    }
    lastUpdate = elapsed;

    show_number(kItemStatusBytes, current);
    if (total != 0 && total < kMostShown) {
        zsTotal = total;
        zsCur = current;
        set_bar();
        show_number(kItemStatusTotal, total);
    } else {
        zsTotal = 0;
    }
    show_rate(current, total, elapsed);
    (void)XferEvent(-1);
}

void zecheck()
{
    const char *word = "CRC-16";

    if (zerchk == 1)
        word = "Checksum";
    else if (zerchk == 3)
        word = "Checksum-2";
    else if (zerchk == 4)
        word = "CRC-32";
    Str255 text;
    CopyCStringToPascal(word, text);
    zitem(kItemStatusCheck, text);
}

void ztype()
{
    Str255 text;

    text[0] = 0;
    add_code(text, curFType);
    add(text, " / ");
    add_code(text, curFCreator);
    if (zftype == 'M')
        add(text, MacBin2 ? " (MacBinary II)" : " (MacBinary)");
    else
        add(text, zftype == 'T' ? " (Text)" : " (Binary)");
    zitem(kItemStatusKind, text);
    prog1st = 1;
}

// Item 4 names the folder, or the volume when it has no name of its own.
void zvolume(int16_t vol, int32_t dir)
{
    CatInfo folder;
    VolInfo volume;

    if (GetFolderByID(vol, dir, &folder) == noErr && folder.name[0])
        zitem(kItemStatusFolder, folder.name);
    else if (GetVolInfo(vol, &volume) == noErr)
        zitem(kItemStatusFolder, volume.name);
}

void zNameVol(const FSSpec *file)
{
    zitem(kItemStatusName, file->name);
    zvolume(file->vRefNum, file->parID);
}

void show_retry()
{
    Str255 text;

    text[0] = 0;
    if (retries != 0)
        NumToString(retries, text);
    zitem(kItemStatusRetries, text);
}

void inc_retry()
{
    retries++;
    show_retry();
}

// ---- words -----------------------------------------------------------------

static void new_line()
{
    if (curcol != 0)
        drawCString("\r\n");
}

// A name comes from the other side: its control bytes stay without effect.
static void draw_name(ConstStr name)
{
    for (int i = 1; i <= name[0]; i++)
        Put_Char((name[i] & 0x7F) < ' ' ? uint8_t('?') : name[i]);
}

void zstatp(ConstStr text)
{
    zitem(kItemStatusStatus, text);
    if (Verbose) {
        new_line();
        drawPString(text);
        drawCString("\r\n");
    }
}

void zstat(const char *text)
{
    Str255 p;
    CopyCStringToPascal(text, p);
    zstatp(p);
}

void zprtstatp(ConstStr text)
{
    Str255 line;

    zitemNoEvt(kItemStatusStatus, text);
    new_line();
    CopyCStringToPascal(zdir == 'S' ? "### Send (" : "### Receive (", line);
    add_protocol(line);
    add(line, ") ");
    drawPString(line);
    draw_name(shown_name());
    drawCString(": ");
    drawPString(text);
    drawCString("\r\n");
    (void)XferEvent(-1);
}

void zprtstat(const char *text)
{
    Str255 p;
    CopyCStringToPascal(text, p);
    zprtstatp(p);
}

void zprterr(OSErr code, const char *text)
{
    Str255 p, words;
    CopyCStringToPascal(text, p);
    pstrcpy(words, errorString(code, p));
    zprtstatp(words);
}

void zmsgnum(int16_t item, const char *text, int32_t number)
{
    CopyCStringToPascal(text, zmsg);
    add_number(zmsg, number);
    if (item == kItemStatusStatus)
        zstatp(zmsg);
    else
        zitem(item, zmsg);
}

void zdsphdr(int32_t type)
{
    EventRecord event;

    (void)EventAvail(0, &event); // for the modifiers alone
    if (!(event.modifiers & optionKey))
        return;
    int32_t row = type + 3;
    if (type < CARRIER_LOST || type > 22 || row >= kFrameNames) {
        zmsgnum(kItemStatusStatus, "GetHDR invalid hdr ", type);
        return;
    }
    CopyCStringToPascal(frametypes[row], zmsg);
    add(zmsg, " Frame received");
    zstatp(zmsg);
}

// ---- the end of a file -----------------------------------------------------

// One line of the log. A name of the other side's making may fill a string,
// so the line is longer than one.
struct log_text {
    uint8_t bytes[1024];
    int32_t count;
};

static void put(log_text &log, uint8_t c)
{
    if (log.count < int32_t(sizeof log.bytes))
        log.bytes[log.count++] = c;
}

static void put(log_text &log, const char *text)
{
    for (; *text; text++)
        put(log, uint8_t(*text));
}

// A text as a field; what could pass for a field's or a line's end doesn't.
static void put_field(log_text &log, ConstStr text)
{
    for (int i = 1; i <= text[0]; i++)
        put(log, text[i] < ' ' ? uint8_t('?') : text[i]);
    put(log, kHT);
}

static void put_field(log_text &log, int32_t number)
{
    Str255 text;
    NumToString(number, text);
    put_field(log, text);
}

// The log file, open at its end; 0 if it can't be had. A new one starts with
// the header line.
static int16_t open_log()
{
    int16_t vol;
    int32_t dir;
    int16_t ref = 0;
    Str255 name;

    GetIndString(name, kListNames, kStrLogFile);
    if (FindFolder(int16_t(gPrefFolderDomain), kLogsFolder, true, &vol, &dir) !=
        noErr) {
        vol = gAuxFilesVRef;
        dir = gAuxFilesDirID;
    }
    bool fresh = HCreate(vol, dir, name, textcreator, FOUR("TEXT")) == noErr;
    if (HOpen(vol, dir, name, fsRdWrPerm, &ref) != noErr)
        return 0;
    (void)SetFPos(ref, fsFromLEOF, 0); // at worst the line stands elsewhere
    if (fresh) {
        Str255 header;
        GetIndString(header, kListNames, kStrLogHead);
        if (header[0] && header[header[0]] != kCR)
            pstrcatchr(header, kCR);
        int32_t count = header[0];
        (void)FSWrite(ref, &count, header + 1); // the lines matter more
    }
    return ref;
}

// Appends the file's line, unless the log can't be had: the line in the
// terminal stands all the same.
static void log_file(ConstStr name, uint8_t direction, int32_t bytes,
                     int32_t seconds, int32_t rate, int32_t percent)
{
    log_text log;
    Str255 text;
    uint32_t now;

    log.count = 0;
    GetDateTime(&now);
    DateString(now, text);
    put_field(log, text);
    TimeString(now, true, text);
    put_field(log, text);
    text[0] = 0;
    pstrcatchr(text, direction);
    add_protocol(text);
    put_field(log, text);
    put_field(log, int32_t(gCarrierRate));
    put_field(log, bytes);
    put_field(log, seconds);
    put_field(log, rate);
    NumToString(percent, text);
    pstrcatchr(text, '%');
    put_field(log, text);
    put_field(log, ServiceName);
    put_field(log, name);
    log.count--; // the last two fields bring what stands before them
    if (StartPos != 0)
        put(log, "\tResume");
    if (!gotEOF)
        put(log, StartPos != 0 ? ", Incomplete" : "\tIncomplete");
    put(log, kCR);

    int16_t ref = open_log();
    if (ref == 0)
        return;
    (void)FSWrite(ref, &log.count, log.bytes); // a full disk loses the line
    (void)FSClose(ref);
}

void zperf(ConstStr name, int32_t start, int32_t end, int32_t bytes,
           uint8_t direction)
{
    int32_t seconds = (end - start) / 60;
    int32_t rate = rate_of(bytes, end - start);
    int32_t percent = percent_of(rate);
    Str255 text;

    NumToString(rate, text);
    add(text, " cps, ");
    add_number(text, percent);
    pstrcatchr(text, '%');
    zitemNoEvt(kItemStatusRate, text);

    if (zDlog) {
        Str255 line;
        NumToString(bytes, line);
        add(line, " bytes, ");
        add_time(line, seconds);
        add(line, " elapsed, ");
        pstrcat(line, text);
        if (StartPos != 0)
            add(line, " Resume");
        if (!gotEOF)
            add(line, " Incomplete");
        zprtstatp(line);
    }
    if (!(qset.globFlags & kGlobNoXferLog))
        log_file(name, direction, bytes, seconds, rate, percent);
}
