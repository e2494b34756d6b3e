// The screen's model: line records, their order, tabs, and the resets.
#include "terminal/VT100.h"

#include <cassert>
#include <cstring>

#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/sound.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "terminal/VT100Parts.h"

// ---- rows ------------------------------------------------------------------

uint8_t *scr[kMaxRows]; // all cut from one block, made by AllocRows
uint16_t nxtlin[kMaxRows];
uint8_t gRowAt[kMaxRows];
int16_t toplin, botlin;
int32_t scrtop, scrbot;
int16_t curlin_array;

// ---- cursor and size -------------------------------------------------------

uint16_t MaxLine = 24;
uint16_t MaxCol = 80;
int16_t abslin, curcol;
int8_t margin_top = 1;
int8_t margin_bottom = 24;
uint8_t tabstops[kLineLen];

uint8_t *scrLine(int row)
{
    if (row >= MaxLine)
        row = MaxLine - 1;
    if (row < 0)
        row = 0;
    return scr[gRowAt[row]];
}

// ---- checking --------------------------------------------------------------

// The walk meets MaxLine different rows, ends at botlin, and gRowAt agrees.
static bool links_ok()
{
    bool seen[kMaxRows] = {};
    int count = 0, last = -1;

    for (int r = toplin; r != NO_ROW; r = nxtlin[r]) {
        if (r < 0 || r >= MaxLine || seen[r] || gRowAt[count] != r)
            return false;
        seen[r] = true;
        last = r;
        count++;
    }
    if (count != MaxLine || last != botlin)
        return false;
    for (int r = MaxLine; r < kMaxRows; r++) {
        if (nxtlin[r] != r + 1)
            return false;
    }
    return true;
}

static bool region_ok()
{
    return margin_top >= 1 && margin_top <= margin_bottom &&
           margin_bottom <= MaxLine && gRowAt[region_first()] == scrtop &&
           gRowAt[region_last()] == scrbot;
}

static bool cursor_ok()
{
    // Double-byte text wraps at the record's end, and its last character may
    // have begun in the last column.
    const int widest = gDoubleByte ? kMaxCols + 1 : MaxCol;

    return abslin >= 0 && abslin < MaxLine && curcol >= 0 && curcol <= widest &&
           gRowAt[abslin] == curlin_array;
}

bool rows_ok()
{
    if (MaxLine < 1 || MaxLine > kMaxRows || MaxCol < 1 || MaxCol > kMaxCols)
        return false;
    if (!links_ok() || !region_ok() || !cursor_ok())
        return false;
    for (int r = 0; r < kMaxRows; r++) {
        if (scr[r] != scr[0] + r * kLineLen || scr[r][kMaxCols] != 0)
            return false;
    }
    return outcnt >= -1 && outcnt <= kMaxCols && charflg <= 2 && numargs >= 0 &&
           numargs <= kMaxParams && (GShift & ~1) == 0;
}

// ---- making and clearing ---------------------------------------------------

static void cursor_settings()
{
    useBlockCursor = (qset.globFlags & kGlobBlockCursor) != 0;
    blink = (qset.globFlags & kGlobSteadyCursor) == 0;
}

void init_term()
{
    for (int r = 0; r < kMaxRows; r++) {
        nxtlin[r] = uint16_t(r + 1);
        gRowAt[r] = uint8_t(r);
        memset(scr[r], ' ', kMaxCols);
        scr[r][kMaxCols] = 0;
    }
    abslin = curcol = curlin_array = toplin = 0;
    botlin = int16_t(MaxLine - 1);
    nxtlin[botlin] = NO_ROW;

    scrtop = 0;
    scrbot = botlin;
    margin_top = 1;
    margin_bottom = int8_t(MaxLine);
    set_region_rects();
    gNeedPen = 1;

    cursor_settings();
    assert(rows_ok());
}

void default_tabs()
{
    memset(tabstops, 0, sizeof tabstops);
    for (int col = 8; col < kMaxCols; col += 8)
        tabstops[col] = 1;
}

// Neither autowrap nor insert is touched: a host that set them sees them
// outlive a new connection.
void clrAttrib()
{
    const WindowPtr old = begin_port();

    keypad_app = cursor_mode = newline = origin_rel = 0;
    Invert = textstyle = intense = 0;
    cursor_settings();

    TextFace(0);
    TextMode(srcOr);
    TextSize(curFSize);
    SetColor(1);

    GSet[0] = GSet[1] = kNormalSet;
    GShift = 0;
    curGSet = kNormalSet;
    default_tabs();
    end_port(old);
}

// The screen goes to the scrollback first. The interpreter's state stays, and
// so does autowrap. The beep is the confirmation.
void reset_term()
{
    const WindowPtr old = begin_port();

    stop_cursor();
    scr_to_bot();
    SetColor(1);
    clear_screen();
    home_cursor();
    cursor_save();
    clrAttrib();
    Invert = textstyle = keypad_app = newline = insert = cursor_mode = 0;
    init_term();
    default_tabs();
    start_cursor();
    SysBeep(10);
    end_port(old);
}

bool AllocRows()
{
    if (scr[0])
        return true;
    uint8_t *block = NewPtr(kMaxRows * kLineLen);
    if (!block)
        return false;
    for (int r = 0; r < kMaxRows; r++)
        scr[r] = block + r * kLineLen;
    return true;
}

void InitPage()
{
    if (!AllocRows())
        return; // AllocRows made the rows at the start
    dumptr = NewRgn();
    sbarRgn = NewRgn();
    selRgn = NewRgn();
    rgn1 = NewRgn();
    rgn2 = NewRgn();
    termrgn = NewRgn();
    LFrgn = NewRgn();
    stSel = endSel = -1;

    const WindowPtr old = begin_port();
    setFont(0);
    SetColor(1);
    init_term();
    clear_screen();
    home_cursor();
    default_tabs();
    cursorInverted = 0;
    cursor_save();
    start_cursor();
    end_port(old);
}

// ---- searching -------------------------------------------------------------

// The text may run past MaxCol into the padding, but not past the record.
static bool row_contains(const uint8_t *row, const char *text, size_t length)
{
    for (size_t col = 0; col < MaxCol && col + length <= kMaxCols; col++) {
        if (memcmp(row + col, text, length) == 0)
            return true;
    }
    return false;
}

bool linecontains(const char *text)
{
    const size_t length = strlen(text);

    if (!scr[0])
        return false;
    if (row_contains(scr[curlin_array], text, length))
        return true;
    // The host may have ended the line just behind the text.
    if (abslin < 1 || (curcol >= 6 && curcol >= int(length)))
        return false;
    return row_contains(scrLine(abslin - 1), text, length);
}
