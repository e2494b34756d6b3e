// The terminal: a VT100 with the editing functions of a VT102, ANSI colour
// and JIS text. There is one, with one screen, and bytes come in by one door,
// DispChars. Whatever draws in the text area brackets it with stop_cursor and
// start_cursor.
//
// A screen row is plain bytes: colour, bold and reverse exist only at the
// moment a run is drawn, so a repaint shows plain text. Rows are never copied
// when the screen scrolls; they are linked, and a scroll relinks one row.
//
// While `scrolled` (scrollback/View.h) is set everything here goes on in the
// model, and nothing is drawn. Nothing here waits or turns the event loop.
#pragma once

#include <cstdint>

#include "platform/fonts.h"
#include "platform/types.h"

constexpr int kMaxRows = 100;
constexpr int kMaxCols = 160;
constexpr int kLineLen = 162;       // 160 characters, a zero, a spare byte
constexpr uint16_t NO_ROW = 0xFFFF; // the link of the bottom row
constexpr int kMaxParams = 10;
constexpr int kPenMargin = 3; // pixels left of and above the text

// Height of the status bar; the scroll bar is as wide.
constexpr int16_t kBarSize = 16;

// ---- the window around the text ----------------------------------------

extern WindowPtr myWindow; // the terminal window, null until a book opens

// What the terminal needs of the program above it, set by MakeUPPs. Until
// then each does nothing.
struct window_hooks {
    void (*showBar)(); // draws the whole status bar
    void (*showBuf)(); // draws the size of the store in it
    void (*showSize)(WindowPtr window, int16_t rows, int16_t cols);
    void (*sizeWindow)(WindowPtr window, const Rect *rect);
    void (*menuKey)(uint8_t character, uint16_t modifiers); // runs a command
    void (*sendBreak)(); // the break of a key, after a second of silence
};
extern window_hooks gWindowHooks;

// ---- rows --------------------------------------------------------------
// Walking nxtlin from toplin meets exactly MaxLine rows and ends at botlin.
// scrtop and scrbot are on that walk, scrtop not after scrbot. curlin_array
// is the row `abslin` steps below toplin. rows_ok() checks all of it.

extern uint8_t *scr[kMaxRows];    // line records of kLineLen bytes
extern uint16_t nxtlin[kMaxRows]; // index of the row below, or NO_ROW
extern int16_t toplin;            // index in scr of the screen's top row
extern int16_t botlin;            // ... of its bottom row
extern int32_t scrtop;            // ... of the scrolling region's first row
extern int32_t scrbot;            // ... of its last row
extern int16_t curlin_array;      // ... of the cursor's row

// ---- cursor and size ---------------------------------------------------

extern uint16_t MaxLine;     // rows in force, 1 to 100
extern uint16_t MaxCol;      // columns in force, 1 to 160
extern int16_t abslin;       // the cursor's row, from 0
extern int16_t curcol;       // its column, from 0; MaxCol: a wrap is pending
extern uint8_t didWrap;      // the last byte wrapped; nothing reads it
extern int8_t margin_top;    // first row of the region, from 1
extern int8_t margin_bottom; // last row of the region, from 1
extern uint8_t tabstops[kLineLen]; // by column; non-zero: a stop

// ---- the run that waits to be drawn ------------------------------------
// Its bytes are in the line record already.

extern uint8_t outbuf[kLineLen]; // at most 160 are used
extern int16_t outcnt;           // bytes waiting; -1: one overstruck unseen
extern int16_t outcol;           // column of the first

// ---- modes -------------------------------------------------------------

extern uint8_t cursor_mode;       // cursor keys send ESC O x
extern uint8_t keypad_app;        // keypad sends application sequences
extern uint8_t autowrap;          // a byte past the last column wraps
extern uint8_t origin_rel;        // addressing is relative to the region
extern uint8_t newline;           // LF returns to column 0, Return sends CR LF
extern uint8_t insert;            // printing shifts the rest of the line
extern uint8_t Invert;            // text is drawn reversed
extern uint8_t textstyle;         // face of the next text: 1 bold, 4 underline
extern uint8_t invisible;         // cursor hidden
extern uint8_t blink;             // cursor blinks
extern uint8_t useBlockCursor;    // block, else underline
extern uint8_t interpret_control; // control bytes act, else show as glyphs
extern uint8_t intense;           // offset into the colours: 0, or 8 for bold

// ---- colour ------------------------------------------------------------

extern const int16_t colorTab[8]; // the basic colours, in ANSI order
extern int16_t curFG, curBG;      // basic colour codes in force
extern RGBColor curFGrgb, curBGrgb;
extern uint8_t curFGindex; // last ANSI foreground, 0 to 7, for bold

// ---- the saved cursor --------------------------------------------------

extern int16_t savcol, savlin;
extern uint8_t savTxStyle, savInvert, savOrigin;
extern int8_t savGShift;
extern uint8_t savGS0, savGS1;

// ---- parser ------------------------------------------------------------
// All of it survives the end of a batch, and no reset touches it.

extern uint16_t charflg; // 0 text, 1 after ESC, 2 in CSI, 3 drop a byte
extern uint8_t prvchr;   // state 1: last intermediate; 2: private marker
extern uint8_t prvchr2;  // the intermediate before it
extern uint32_t num[kMaxParams + 1]; // parameters 1 to 10; 0 is unused
extern int32_t numargs;              // the parameter being collected, 1 to 10
extern uint8_t gFirstChar;           // half a double-byte character; 0: none
extern uint8_t gDoubleByte;          // the font belongs to a double-byte script
extern uint8_t gInJapanShift; // 0 single byte, 1 JIS X 0208, 3 JIS X 0212
extern uint8_t GSet[4];       // 'U' normal or 'G' graphics; 0, 1 reachable
extern int8_t GShift;         // 0 or 1
extern uint8_t curGSet;       // GSet[GShift]
extern const uint8_t querystring[]; // device attributes, length-prefixed

// ---- pen, metrics, geometry: pixels, window-local ----------------------

extern int16_t termFont;   // font number in use
extern int16_t curFSize;   // its size, 9 until the settings say
extern FontInfo fontstuff; // of the font last asked about
extern int16_t Ascent, LineHeight, CharWid; // of the one in use
extern uint8_t gProportional;               // "i" or "W" isn't as wide as "0"
extern Point curPenLoc;                     // the pen after the last text
extern uint8_t gNeedPen;  // drawing was skipped: curPenLoc is stale
extern Rect termrect;     // the text rows
extern Rect scrollrect;   // those of the scrolling region
extern Rect contRect;     // the content, for selecting
extern Rect cursRect;     // what the cursor inverts
extern RgnHandle dumptr;  // scratch
extern RgnHandle sbarRgn; // scroll bar and status bar together
extern RgnHandle termrgn; // termrect
extern RgnHandle LFrgn;   // the bottom row of scrollrect

extern uint8_t cursorActive;   // the cursor blinks
extern uint8_t cursorInverted; // it is now shown
extern int32_t cursorTime;     // tick of the next change
extern int32_t caretTime;      // ticks between changes

// ---- bytes in ----------------------------------------------------------

// Shows `count` bytes; 0 or less only restarts the cursor.
void DispChars(const uint8_t *bytes, int16_t count);
void drawPString(ConstStr text);
void drawCString(const char *text);
void Put_Char(uint8_t byte);
void DispNum(int32_t number); // in decimal
void drawAChar(uint8_t byte); // one byte as in text, ESC included
void writeps(ConstStr text);  // to the port, not to the screen

// ---- state -------------------------------------------------------------

bool AllocRows();  // memory for the rows, once; false: there is none
void InitPage();   // once, when the window stands
void init_term();  // new row list for MaxLine, all rows blank
void reset_term(); // the user's reset
void clrAttrib();  // modes and tabs; the screen stays

// The line record at a screen row, from 0; a row off the screen gives the
// nearest one.
uint8_t *scrLine(int row);

// Whether the cursor's line holds the text; the line above it too, when the
// cursor has just left it.
bool linecontains(const char *text);

// Follows the rows as the screen shows them, with cursor, region and records.
// Usage: assert(rows_ok());
bool rows_ok();

// ---- editing -----------------------------------------------------------
// Handlers read num[1] and up. None fails.

void absmove(int16_t col, int16_t row); // the one setter of the cursor
void home_cursor();
void cursor_up();
void cursor_down();
void cursor_right();
void cursor_left();
void cursor_position();
void horiz_position();
void carriage_return();
void back_space();
void tab();
void cursor_save();
void cursor_restore();
void esc8();
void line_feed();
void crlf(); // may be called with text waiting, and from outside
void next_line();
void reverse_line_feed();
void form_feed();
void insert_line();
void delete_line();
void insert_char();
void delete_char();
void erase_char();
void clear_line();
void clear_screen();
void erase_display();
void set_scroll_region();
void set_tab();
void clear_tab();
void default_tabs();
void pushLines(); // the screen's rows into the store, for prepSel
void update_bars(RgnHandle region); // status bar and controls within

// ---- modes and replies -------------------------------------------------

void set_char_set(uint8_t intermediate, uint8_t final);
void mode_set_reset(uint8_t value);
void text_mode();
void do_ENQ();
void query_terminal();
void dev_stat_report();
void cis_interrogate();
void bell();
void set_printing();
void cursor_attributes();

// ---- drawing -----------------------------------------------------------

void flushCRT();                             // draws the waiting run
void term_redraw();                          // repaints the text
void DoUpdate(WindowPtr window);             // redraws the terminal's window
void disp_tline(int16_t row, int16_t index); // window row from 1, screen
                                             // row from 0
void docursor(); // the blink step, once a turn of the main loop
void start_cursor();
void stop_cursor();
void SetCRect();
void MoveProportionalPen(int16_t col, int16_t row);

// ---- colours, font, size -----------------------------------------------

void SetColor(int16_t save);   // the defaults; non-zero: they become current
void SetFgBg(int16_t current); // current colours or defaults, if useColor
int16_t GetTermFontID(int16_t termType);
int16_t MyGetFontNum(ConstStr name); // -1 if there is no such font
void CalcRowCols(const Rect *rect, uint16_t *rows, uint16_t *cols);
void CalcTermSize(int16_t termType, const Rect *rect, uint16_t *rows,
                  uint16_t *cols);
void setFont(int16_t termType);
void setFontCheckRowCol(int16_t termType); // after a change of settings
void ResizeWind(WindowPtr window, const Rect *rect); // null: as it stands
