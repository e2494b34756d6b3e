// The store of lines that left the screen, its scroll bar, and the capture by
// lines. Both blocks only grow; the store has no limit but memory.
#include "scrollback/savbuf.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/Capture.h"
#include "base/chars.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/find.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"

constexpr int kBlanksKept = 2; // of blank lines in a row

constexpr int32_t kTextStart = 8192;
constexpr int32_t kTextStep = 8192;
constexpr int32_t kTextAfterClear = 24576;
constexpr int32_t kTableStart = 1024;
constexpr int32_t kTableStep = 1024;
constexpr int32_t kTableSmallStep = 256;
constexpr int32_t kSlack = 20; // room wanted beyond what is stored

// ---- the store -------------------------------------------------------------

Handle savhdl, linhdl;
int32_t savcount, savlines;
// Until the first line with text has come no blank line is kept.
int16_t blanklines = kBlanksKept + 1;
int32_t leave_free;
uint16_t inPrep;
int32_t prepSavCount, prepSavLines;
int16_t prepBlankLines;
int32_t savAllow;
int16_t PrtBufK;

// ---- the scroll bar's shadow -----------------------------------------------

int16_t sVal, sMax;
int32_t sUpdateCount;
int32_t sUpdTicks;
int16_t sSBPos;

// ---- the table -------------------------------------------------------------

static int32_t *entries()
{
    return reinterpret_cast<int32_t *>(*linhdl);
}

int32_t sav_offset(int32_t line)
{
    if (!linhdl)
        return 0;
    return entries()[std::clamp(line, int32_t(0), savlines)];
}

bool sav_ok()
{
    if (!savhdl || !linhdl)
        return !savhdl && !linhdl && savlines == 0 && savcount == 0;
    if (savcount < 0 || savcount > GetHandleSize(savhdl) || savlines < 0 ||
        (savlines + 1) * 4 > GetHandleSize(linhdl) ||
        savlines + (inPrep ? 0 : MaxLine) > kLastLineNo)
        return false;
    const int32_t *entry = entries();
    if (entry[0] != 0 || entry[savlines] != savcount)
        return false;
    for (int32_t i = 0; i < savlines; i++) {
        const int32_t length = entry[i + 1] - entry[i];
        if (length < 1 || entry[i + 1] > savcount ||
            (*savhdl)[entry[i + 1] - 1] != kCR)
            return false;
    }
    return true;
}

// ---- trimming --------------------------------------------------------------

static int without_spaces(const uint8_t *line, int n)
{
    constexpr uint64_t kSpaces = 0x2020202020202020;

    for (; n >= 8; n -= 8) {
        uint64_t word;
        memcpy(&word, line + n - 8, 8);
        if (word != kSpaces)
            break;
    }
    while (n > 0 && line[n - 1] == ' ')
        n--;
    return n;
}

// Trailing spaces go, then one LF, then one CR. Spaces in front of those stay:
// there is only one pass.
static int trimmed(const uint8_t *line, int n)
{
    n = without_spaces(line, n);
    if (n > 0 && line[n - 1] == kLF)
        n--;
    if (n > 0 && line[n - 1] == kCR)
        n--;
    return n;
}

// ---- making room -----------------------------------------------------------

static bool make_blocks()
{
    if (savhdl)
        return true;
    const int32_t half = FreeMem() / 2;
    leave_free = half < 32768 ? half : 32767;
    savhdl = NewHandle(kTextStart);
    linhdl = NewHandle(kTableStart);
    if (!savhdl || !linhdl) {
        if (savhdl)
            DisposeHandle(savhdl);
        if (linhdl)
            DisposeHandle(linhdl);
        savhdl = linhdl = nullptr;
        return false;
    }
    entries()[0] = 0;
    return true;
}

static bool grow(Handle block, int32_t step)
{
    SetHandleSize(block, GetHandleSize(block) + step);
    return MemError() == noErr;
}

// False: the store is full.
static bool room_for_text(int n)
{
    if (GetHandleSize(savhdl) >= savcount + n + kSlack)
        return true;
    if (FreeMem() < leave_free)
        return false;
    return grow(savhdl, kTextStep) || inPrep;
}

static bool room_in_table()
{
    if (GetHandleSize(linhdl) < savlines * 4 + kSlack &&
        !grow(linhdl, kTableStep))
        (void)grow(linhdl, kTableSmallStep); // judged by the size it has
    return GetHandleSize(linhdl) >= savlines * 4 + 8;
}

// Numbers of lines are 16 bits, those of the screen's rows included. In a
// preparation the screen's rows are the lines that come.
static bool room_for_number()
{
    return savlines + 1 + (inPrep ? 0 : MaxLine) <= kLastLineNo;
}

// Some line speed's worth of the oldest lines goes at a time, a second or so
// of text, but never more than half of all.
static void drop_oldest()
{
    const int32_t limit =
        std::max(std::min(Baudrate, savcount / 2), int32_t(1));
    const int32_t *entry = entries();
    int32_t count = 0;

    while (count < savlines && entry[count] < limit)
        count++;
    if (count > 0)
        DelLines(0, int16_t(count - 1));
}

void sav_fit()
{
    const int32_t excess = savlines + MaxLine - kLastLineNo;

    if (!inPrep && excess > 0)
        DelLines(0, int16_t(excess - 1));
}

// ---- locks -----------------------------------------------------------------

void LockBuffer(int8_t *savState, int8_t *linState)
{
    *savState = *linState = 0;
    if (!savhdl)
        return;
    *savState = HGetState(savhdl);
    *linState = HGetState(linhdl);
    HLock(savhdl);
    HLock(linhdl);
}

void UnlockBuffer(int8_t savState, int8_t linState)
{
    if (!savhdl)
        return;
    HSetState(savhdl, savState);
    HSetState(linhdl, linState);
}

// ---- storing ---------------------------------------------------------------

// Double-byte text has a NUL before each single byte, for the sake of the
// columns; the store leaves them out. Returns how many bytes were copied.
static int copy_text(uint8_t *to, const uint8_t *from, int n)
{
    if (!gDoubleByte) {
        memcpy(to, from, size_t(n));
        return n;
    }
    int copied = 0;
    for (int i = 0; i < n; i++) {
        if (from[i])
            to[copied++] = from[i];
    }
    return copied;
}

static void show_size()
{
    const int16_t k = int16_t(savcount / 1024);

    if (k == PrtBufK)
        return;
    PrtBufK = k;
    if (myWindow)
        gWindowHooks.showBuf();
}

// Whether a line is kept, and the count of blank lines. A lone "~" counts as
// blank, so that the runs of them that an editor shows collapse as well.
static bool keep(const uint8_t *line, int n)
{
    if (n > 0 && !(n == 1 && line[0] == '~')) {
        blanklines = 0;
        return true;
    }
    if (blanklines < INT16_MAX)
        blanklines++;
    return blanklines <= kBlanksKept || inPrep;
}

// A line for which there is no room is lost without a word.
bool savline(const uint8_t *line)
{
    const int n = trimmed(line, kMaxCols);

    if (!inPrep)
        findline = -1;
    if (!keep(line, n) || !make_blocks())
        return false;
    const bool text = room_for_text(n), table = room_in_table();
    if (!text || !table || !room_for_number())
        drop_oldest();
    if (GetHandleSize(savhdl) <= n + savcount ||
        GetHandleSize(linhdl) <= savlines * 4 + 8)
        return false;

    uint8_t *const to = *savhdl + savcount;
    const int length = copy_text(to, line, n);
    to[length] = kCR;
    savcount += length + 1;
    savlines++;
    entries()[savlines] = savcount;

    if (!inPrep) {
        if (scrolled)
            sb_update(-1, int16_t(savlines), 1);
        else
            sb_update(int16_t(savlines), int16_t(savlines), 0);
    }
    show_size();
    assert(entries()[savlines - 1] + length + 1 == savcount);
    return true;
}

// ---- removing --------------------------------------------------------------

// What a preparation will put back must shrink with what it is counted from.
static void shrink_prep(int32_t first, int32_t count, int32_t start,
                        int32_t bytes)
{
    if (!inPrep || first >= prepSavLines)
        return;
    prepSavCount -= std::min(bytes, prepSavCount - start);
    prepSavLines -= std::min(count, prepSavLines - first);
}

void DelLines(int16_t first, int16_t last)
{
    findline = -1;
    if (last > savlines - 1)
        last = int16_t(savlines - 1);
    if (!savhdl || first < 0 || first > last)
        return;
    const int32_t count = last - first + 1;
    int32_t *entry = entries();
    const int32_t src = entry[last + 1], dst = entry[first];
    const int32_t bytes = src - dst;

    shrink_prep(first, count, dst, bytes);
    memmove(*savhdl + dst, *savhdl + src, size_t(savcount - src));
    for (int32_t i = last + 1; i <= savlines; i++)
        entry[i - count] = entry[i] - bytes;
    savcount -= bytes;
    savlines -= count;

    const int16_t v = view_top();
    sb_update(first < v ? int16_t(v - count) : v, int16_t(savlines), 1);

    // Lines that are gone leave negative numbers behind, and those are no
    // selection.
    if (stSel >= 0 && first < stSel) {
        stSel = int16_t(stSel - count);
        endSel = int16_t(endSel - count);
    }
    assert(sav_ok() && sel_ok());
}

const uint8_t *GetLinePtr(int32_t line, int16_t *length)
{
    if (line < 0)
        line = 0;
    if (line >= savlines) {
        *length = kMaxCols;
        return scrLine(int(std::min<int32_t>(line - savlines, kMaxRows)));
    }
    const int32_t *entry = entries();
    *length = int16_t(entry[line + 1] - entry[line] - 1);
    return *savhdl + entry[line];
}

void clr_savbuf()
{
    Str255 what;

    GetIndString(what, kListTexts, kStrAskClear);
    ParamText(what, nullptr, nullptr, nullptr);
    if (qset.globFlags & kGlobAskClear) {
        InitCursor();
        if (CautionAlert(kAlertAsk) != 1) {
            savAllow = savcount;
            return;
        }
    }
    if (stSel > 0)
        SetSel(-1, 0, -1, 0);
    scr_to_bot();
    savcount = savlines = savAllow = 0;
    assert(sav_ok());
    findline = -1;
    sb_update(0, 0, 2);
    if (savhdl && GetHandleSize(savhdl) > kTextAfterClear)
        SetHandleSize(savhdl, kTextAfterClear);
    PrtBufK = 0;
    gWindowHooks.showBuf();
}

// ---- the scroll bar --------------------------------------------------------

// The thumb's place in pixels for a value.
static int thumb_place(int32_t value)
{
    constexpr int kArrowsAndThumb = 48;
    Rect bounds;

    if (!sbar_ctl || sMax == 0)
        return 0;
    GetControlBounds(sbar_ctl, &bounds);
    return (bounds.bottom - bounds.top - kArrowsAndThumb) * value / sMax;
}

// While text pours in the control is drawn only when its thumb would visibly
// move; the rest waits for sb_flush.
void sb_update(int16_t value, int16_t maximum, int16_t mode)
{
    sUpdateCount = int32_t(uint32_t(sUpdateCount) + 1);
    if (value >= 0)
        sVal = value;
    sMax = maximum;
    if (sVal > sMax)
        sVal = sMax;
    if (sMax == 1)
        mode = 2;
    const int moved = thumb_place(value) - sSBPos;
    if (moved >= -2 && moved <= 2 && mode != 2)
        return;
    sb_flush();
}

void sb_flush()
{
    if ((sUpdateCount & 0xFFFF) == 0)
        return;
    if (sbar_ctl) {
        SetControlMaximum(sbar_ctl, sMax);
        SetControlValue(sbar_ctl, sVal);
    }
    sUpdateCount = 0;
    sUpdTicks = int32_t(TickCount());
    sSBPos = int16_t(thumb_place(sVal));
}

// ---- capture by lines ------------------------------------------------------

void PutLine(uint8_t *line, int16_t length)
{
    static int32_t PutBlanks;

    const int n = trimmed(line, length);
    if (n > 0) {
        PutBlanks = 0;
    } else if (++PutBlanks > kBlanksKept) {
        PutBlanks = kBlanksKept + 1;
        return;
    }

    const uint8_t kept = line[n];
    line[n] = kCR;
    const OSErr error = WriteCapture(line, n + 1, kStrCantCapture);
    line[n] = kept;
    if (error != noErr)
        SysBeep(3);
}
