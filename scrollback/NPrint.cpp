// Prints the selection: plain text, a header a page. Long lines run off the
// paper; nothing is wrapped.
#include "scrollback/NPrint.h"

#include <algorithm>

#include "base/MenuBar.h"
#include "base/chars.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/drawing.h"
#include "platform/printing.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/savbuf.h"
#include "terminal/VT100.h"

// ---- the page --------------------------------------------------------------
// Margins and pen are in points, from the top left of the printable part.

static PageFormat gPageFormat; // kept between commands
static bool haveFormat;

static int16_t prFont; // font number; negative: the terminal's
static Str255 header;
static int16_t page;    // number of the page being printed
static int16_t line;    // line on the page
static int16_t curline; // next line number to print
static int16_t leftmargin, topmargin, botmargin;
static FontInfo prInfo;
static int16_t lheight;

constexpr int16_t kPageNumberAt = 360; // points from the left margin
constexpr int32_t kMostPages = 999;

void init_print()
{
    haveFormat = PMDefaultPageFormat(&gPageFormat) == noErr;
}

void savePrtInfo() {}

// Every font by name, behind the item for the terminal's own.
void BuildPrintFontMenu()
{
    constexpr int16_t kFirstID = 160;

    CreateStandardFontMenu(pfontMenu, kItemPrintFontSame, kFirstID);
}

static bool need_format()
{
    if (!haveFormat)
        init_print();
    return haveFormat;
}

void PgSetup()
{
    if (need_format())
        (void)PMPageSetupDialog(&gPageFormat);
}

// ---- drawing ---------------------------------------------------------------

static void set_margins()
{
    const Rect &paper = gPageFormat.paper, &inner = gPageFormat.page;
    const Rect &wanted = qset.pageMargins;

    leftmargin = std::max(int16_t(paper.left + wanted.left / 16), inner.left);
    topmargin = std::max(int16_t(paper.top + wanted.top / 16), inner.top);
    botmargin =
        std::min(int16_t(paper.bottom - wanted.bottom / 16), inner.bottom);
}

static void set_font()
{
    TextFont(prFont < 0 ? termFont : prFont);
    TextSize(qset.printFontSize);
    TextFace(0);
    GetFontInfo(&prInfo);
    lheight = int16_t(prInfo.ascent + prInfo.descent + prInfo.leading);
}

static void pgheader()
{
    Str255 number;
    Point pen;

    page++;
    line = 0;
    MoveTo(leftmargin, int16_t(topmargin + prInfo.ascent));
    if (qset.printHeaderOff)
        return;
    GetPen(&pen);
    TextFace(bold);
    DrawString(header);
    MoveTo(int16_t(leftmargin + kPageNumberAt), pen.v);
    DrawString(PSTR("Page "));
    NumToString(page, number);
    DrawString(number);
    MoveTo(leftmargin, int16_t(pen.v + 2 * lheight));
    TextFace(0);
}

// What the selection has of a line, without its CR.
static void draw_line(int16_t number)
{
    const int32_t start = sav_offset(number);
    int32_t length = sav_offset(number + 1) - start;
    int32_t skipped = 0;

    if (number == endSel)
        length = std::min<int32_t>(length, endCol);
    if (number == stSel)
        skipped = std::min<int32_t>(length, stCol);
    const uint8_t *text = *savhdl + start + skipped;
    length -= skipped;
    if (length > 0 && text[length - 1] == kCR)
        length--;
    if (length > 0)
        DrawText(text, 0, int16_t(length));
}

static bool selection_done()
{
    return curline > endSel || (curline == endSel && endCol == 0) ||
           curline >= savlines;
}

// True: text is left.
static bool drawPage()
{
    Point pen;

    set_margins();
    set_font();
    pgheader();
    while (!selection_done()) {
        GetPen(&pen);
        if (line > 0 && botmargin < pen.v + prInfo.descent + prInfo.leading)
            return true;
        MoveTo(leftmargin, pen.v);
        draw_line(curline);
        MoveTo(leftmargin, int16_t(pen.v + lheight));
        line++;
        curline++;
    }
    return false;
}

// ---- the command -----------------------------------------------------------

static void make_header()
{
    Str255 part;
    uint32_t now;

    GetDateTime(&now);
    pstrcpy(header, ServiceName);
    pstrcat(header, PSTR("  -  "));
    DateString(now, part);
    pstrcat(header, part);
    pstrcat(header, PSTR("  "));
    TimeString(now, false, part);
    pstrcat(header, part);
}

// Counting starts at 1 whatever the first page is: a range's end limits the
// pages, its start has no effect.
static void DoPrintLoop(const PrintSettings &settings)
{
    const int32_t last =
        settings.lastPage >= 1000 ? kMostPages : settings.lastPage;
    bool more = true;

    if (PMBeginDocument(&gPageFormat, &settings, ServiceName) != noErr)
        return;
    for (int32_t number = 1; more && number <= last; number++) {
        if (PMBeginPage() != noErr)
            break;
        more = drawPage();
        if (PMEndPage() != noErr)
            break;
    }
    (void)PMEndDocument();
}

void PrtSel()
{
    PrintSettings settings = {1, 9999, 1};
    const WindowPtr old = GetPort();
    Str255 name;

    if (stSel < 0 || !need_format())
        return;
    GetGlob(kGlobPrintFont, name);
    prFont = MyGetFontNum(name);
    page = line = 0;
    curline = stSel;
    make_header();
    if (PMPrintDialog(&gPageFormat, &settings)) {
        (void)prepSel(nullptr);
        if (savhdl)
            DoPrintLoop(settings);
        unprepSel();
    }
    SetPort(old);
}
