// Colours, the terminal's font, and its size in rows and columns.
#include "terminal/VT100.h"

#include <algorithm>
#include <cstring>

#include "base/facts.h"
#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/windows.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "terminal/VT100Parts.h"

// ---- colours ---------------------------------------------------------------

const int16_t colorTab[8] = {blackColor, redColor,     greenColor, yellowColor,
                             blueColor,  magentaColor, cyanColor,  whiteColor};

int16_t curFG = blackColor, curBG = whiteColor;
RGBColor curFGrgb, curBGrgb;
uint8_t curFGindex;
uint8_t gBasicFG, gBasicBG;

// ---- font and metrics ------------------------------------------------------
// The metrics below hold until a window stands and its font has been measured.

int16_t termFont;
int16_t curFSize = 9;
FontInfo fontstuff = {9, 3, 6, 0};
int16_t Ascent = 9;
int16_t LineHeight = 12;
int16_t CharWid = 6;
uint8_t gProportional;

static int16_t cur_ind; // termType of the last setFont

// ---- geometry --------------------------------------------------------------

Rect termrect, scrollrect, contRect;
RgnHandle dumptr, sbarRgn, termrgn, LFrgn;

constexpr int kFontFallback = 4;
constexpr int kAroundText = 19; // margin and bar, in either direction
constexpr int kRightOfText = 17;

// ---- colours ---------------------------------------------------------------

void forget_reverse()
{
    gBasicFG = gBasicBG = 0;
}

static int16_t default_color(char digit)
{
    return colorTab[digit & 7];
}

static void apply_defaults()
{
    if (gColorQD) {
        RGBForeColor(&qset.rgbTable[0]);
        RGBBackColor(&qset.rgbTable[1]);
    } else {
        ForeColor(default_color(qset.fgColor));
        BackColor(default_color(qset.bgColor));
    }
}

void SetColor(int16_t save)
{
    apply_defaults();
    if (!save)
        return;
    curFG = default_color(qset.fgColor);
    curBG = default_color(qset.bgColor);
    curFGrgb = qset.rgbTable[0];
    curBGrgb = qset.rgbTable[1];
    forget_reverse();
}

void SetFgBg(int16_t current)
{
    if (!qset.useColor)
        return;
    if (!current) {
        apply_defaults();
        return;
    }
    if (gColorQD && !gBasicFG)
        RGBForeColor(&curFGrgb);
    else
        ForeColor(curFG);
    if (gColorQD && !gBasicBG)
        RGBBackColor(&curBGrgb);
    else
        BackColor(curBG);
}

// ---- finding the font ------------------------------------------------------

// 0 is an answer only for the font that really is number 0.
int16_t MyGetFontNum(ConstStr name)
{
    int16_t number = 0;
    Str255 zero;

    GetFNum(name, &number);
    if (number != 0)
        return number;
    GetFontName(0, zero);
    return EqualString(name, zero, false, false) ? 0 : -1;
}

// The settings' name for a terminal type; a length that its field can't hold
// is cut.
static void settings_font(int16_t termType, Str255 name)
{
    const uint8_t *const fields[4] = {qset.fontName0, qset.fontName1,
                                      qset.fontName2, qset.fontName3};
    const uint8_t *field = fields[termType & 3];
    const size_t length = std::min<size_t>(field[0], sizeof qset.fontName0 - 1);

    name[0] = uint8_t(length);
    memcpy(name + 1, field + 1, length);
}

int16_t GetTermFontID(int16_t termType)
{
    Str255 name;

    GetFromStrList(gLocalStrings, kStrFont, name);
    int16_t number = name[0] ? MyGetFontNum(name) : int16_t(-1);
    if (number >= 0)
        return number;
    settings_font(termType, name);
    number = name[0] ? MyGetFontNum(name) : int16_t(-1);
    if (number >= 0)
        return number;
    number = MyGetFontNum(PSTR("ql-Mac"));
    if (number >= 0)
        return number;
    number = MyGetFontNum(PSTR("VT100"));
    return number >= 0 ? number : int16_t(kFontFallback);
}

// ---- size ------------------------------------------------------------------

static uint16_t whole(int space, int unit, int most)
{
    return uint16_t(std::clamp(space / std::max(unit, 1), 0, most));
}

void CalcRowCols(const Rect *rect, uint16_t *rows, uint16_t *cols)
{
    *cols = whole(rect->right - rect->left - kAroundText, CharWid, kMaxCols);
    *rows = whole(rect->bottom - rect->top - kAroundText, LineHeight, kMaxRows);
}

static void take_metrics()
{
    Ascent = fontstuff.ascent;
    LineHeight = int16_t(fontstuff.ascent + fontstuff.descent);
    CharWid = CharWidth('0');
}

static bool double_byte_font()
{
    constexpr int16_t kScriptFlags = 22;
    constexpr int32_t kSingleByte = 2;

    return haveScript && gScriptCount > 1 &&
           !(GetScriptVariable(FontToScript(termFont), kScriptFlags) &
             kSingleByte);
}

// The window's port takes the font; the metrics in use stay. A window too
// small for one row or column counts as having one.
void CalcTermSize(int16_t termType, const Rect *rect, uint16_t *rows,
                  uint16_t *cols)
{
    const int16_t ascent = Ascent, height = LineHeight, width = CharWid;

    termFont = GetTermFontID(termType);
    TextFont(termFont);
    TextSize(curFSize);
    GetFontInfo(&fontstuff);
    gDoubleByte = double_byte_font();
    take_metrics();
    CalcRowCols(rect, rows, cols);
    *rows = std::max<uint16_t>(*rows, 1);
    *cols = std::max<uint16_t>(*cols, 1);
    Ascent = ascent;
    LineHeight = height;
    CharWid = width;
}

static void set_geometry(const Rect &bounds)
{
    termrect = bounds;
    termrect.top = int16_t(bounds.top + kPenMargin);
    // Where the columns fit exactly, the last pixel of the last one belongs to
    // what scrolls, or it would stay behind.
    termrect.right =
        int16_t(std::max<int>(bounds.right - kRightOfText,
                              bounds.left + kPenMargin + MaxCol * CharWid));
    termrect.bottom = int16_t(termrect.top + MaxLine * LineHeight);
    contRect = bounds;
    contRect.bottom = int16_t(bounds.bottom - 20);
    contRect.right = int16_t(bounds.right - 15);
    if (margin_bottom > MaxLine) {
        // The row list is about to be rebuilt, with a region of all rows.
        margin_top = 1;
        margin_bottom = int8_t(MaxLine);
    }
    set_region_rects();
    if (!sbarRgn)
        return;
    RectRgn(termrgn, &termrect);

    Rect bar = bounds;
    bar.left = int16_t(bounds.right - kBarSize);
    RectRgn(sbarRgn, &bar);
    bar = bounds;
    bar.top = int16_t(bounds.bottom - kBarSize);
    RgnHandle bottom = NewRgn();
    RectRgn(bottom, &bar);
    UnionRgn(sbarRgn, bottom, sbarRgn);
    DisposeRgn(bottom);
}

// Without a window the model keeps the size it has.
static void set_font_unseen()
{
    set_geometry({0, 0, int16_t(MaxLine * LineHeight + kAroundText),
                  int16_t(MaxCol * CharWid + kAroundText)});
}

void setFont(int16_t termType)
{
    if (!myWindow) {
        set_font_unseen();
        return;
    }
    const WindowPtr old = begin_port();
    const uint16_t rows = MaxLine, cols = MaxCol;
    Rect bounds;

    GetWindowPortBounds(myWindow, &bounds);
    CalcTermSize(termType, &bounds, &MaxLine, &MaxCol);
    take_metrics();
    gProportional = CharWidth('i') != CharWid || CharWidth('W') != CharWid;
    set_geometry(bounds);
    if (termType != cur_ind || rows != MaxLine || cols != MaxCol)
        InvalWindowRect(myWindow, &bounds);
    cur_ind = termType;
    if (gAppearanceVer > 271 && sbar_ctl)
        SetControlViewSize(sbar_ctl, MaxLine);

    // Fewer columns may have taken the place under the cursor.
    curcol = int16_t(std::min<int>(curcol, MaxCol));
    gNeedPen = 1;
    sav_fit();
    end_port(old);
}

void setFontCheckRowCol(int16_t termType)
{
    const WindowPtr old = begin_port();
    const int16_t height = LineHeight, width = CharWid;
    uint16_t rows = MaxLine, cols = MaxCol;
    const uint16_t before = MaxLine;
    Rect bounds;
    bool changed = false;

    stop_cursor();
    if (myWindow) {
        GetWindowPortBounds(myWindow, &bounds);
        CalcTermSize(termType, &bounds, &rows, &cols);
        changed = fontstuff.ascent + fontstuff.descent != height ||
                  CharWidth('0') != width;
    }
    if (changed || rows != before) {
        clear_screen();
        home_cursor();
    }
    setFont(termType);
    if (changed || MaxLine != before)
        init_term();
    start_cursor();
    end_port(old);
}

// A change in columns alone keeps the screen: records are always 160 wide.
void ResizeWind(WindowPtr window, const Rect *rect)
{
    const WindowPtr old = begin_port();
    Rect bounds;
    uint16_t rows, cols;

    stop_cursor();
    if (rect)
        bounds = *rect;
    else
        GetWindowBounds(window, &bounds);
    CalcTermSize(cset.termType, &bounds, &rows, &cols);
    const uint16_t before = MaxLine;
    if (rows != before) {
        clear_screen();
        home_cursor();
    }
    gWindowHooks.sizeWindow(window, &bounds);
    setFont(cset.termType);
    if (MaxLine != before)
        init_term();
    gWindowHooks.showSize(window, int16_t(MaxLine), int16_t(MaxCol));
    start_cursor();
    end_port(old);
}
