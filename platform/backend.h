// The narrow waist between the platform's core and a desktop. Two back ends
// define the calls down (be_*) in this order: platform/desktop over Qt 6, and
// platform/headless for tests. The calls up (up_*) are the core's; they only
// enqueue and return, but for up_menu_will_open and up_drag_over, which answer
// at once and never wait, and up_session_end, which may run the program's
// saving. A back end never calls program code otherwise.
//
// Texts are UTF-8 here. Coordinates are the program's (pixels at scale 1),
// global ones from the main screen's top left. Windows are named by small
// numbers of the core's, controls and items by the window and a number.
#pragma once

#include <cstddef>
#include <cstdint>

using be_win = int32_t; // 1 and up; 0 is none
using be_font = int32_t;

struct be_rect {
    int32_t left, top, right, bottom;
};

// ---- start and time ---------------------------------------------------------

// Opens the display. False when there is none; *why is then one clear line.
bool be_start(int *argc, char **argv, const char **why);
void be_stop();

int64_t be_now_us();     // monotonic microseconds
int64_t be_wall_clock(); // seconds since 1970, local time added in
int32_t be_caret_ticks();
int32_t be_double_click_ticks();

// The one place that waits: until input, until `fd` can be read or written
// (where asked for; fd -1 watches nothing), or until be_now_us() reaches
// `deadline`. All pending native events have been handed up at return. A
// deadline in the past asks the display once and doesn't sleep.
enum : unsigned { BE_INPUT = 1, BE_READ = 2, BE_WRITE = 4 };
unsigned be_wait(int64_t deadline, int fd, bool read, bool write);

// Called by the core after each empty read of the port; the headless clock
// moves by it. Costs nothing elsewhere.
void be_empty_read();

// ---- windows ----------------------------------------------------------------

enum be_window_kind {
    BE_DOCUMENT, // the terminal: menu bar, scroll bars, grow box
    BE_MODELESS, // a dialog that may stay
    BE_MODAL,    // a dialog that must be answered
    BE_PLAIN,    // splash, notices: no title, no focus
};

struct be_window_info {
    be_window_kind kind;
    be_rect content; // global
    const char *title;
    bool resizable, closable, zoomable;
    bool canvas; // the core draws the content; in a dialog, the boxes of
                 // user items alone
};

void be_window_new(be_win w, const be_window_info *info);
void be_window_dispose(be_win w);
void be_window_show(be_win w, bool show);
void be_window_front(be_win w); // to the front and active
void be_window_title(be_win w, const char *title);
void be_window_bounds(be_win w, const be_rect *content); // move and size
void be_window_limits(be_win w, int minW, int minH, int maxW, int maxH);
void be_window_state(be_win w, bool zoomed, bool collapsed);
int be_window_scale(be_win w);   // whole pixels a unit: 1, 2, ...
void be_screen(be_rect *bounds); // all screens together

// Shows parts of the window's canvas: rows of 0x00RRGGBB, `stride` pixels a
// row, scale times the content's size. The core keeps the pixels alive until
// the next be_present or the window's end, and never writes to them between
// be_present and its return to be_wait except through the core's thread: the
// back end may paint from them at any expose without asking.
void be_present(be_win w, const uint32_t *pixels, int width, int height,
                int stride, const be_rect *dirty, int count);

enum be_cursor { BE_ARROW, BE_TEXT, BE_WAIT, BE_POSITION, BE_HIDDEN };
void be_set_cursor(be_win w, be_cursor cursor);
// Place of the text cursor, for input methods.
void be_caret_at(be_win w, const be_rect *local);

struct be_mouse {
    int32_t h, v; // global
    bool down;
    uint16_t modifiers; // as in events.h
};
void be_mouse_state(be_mouse *out);

// ---- menus -----------------------------------------------------------------

struct be_menu_item {
    const char *text; // "-" is a separator
    char command;     // letter of the Command key, 0 for none
    bool enabled, checked, outlined;
    int32_t submenu; // menu id, 0 for none
};
// Replaces the whole content of a menu. The back end keeps a copy.
void be_menu_set(int32_t id, const char *title, bool enabled,
                 const be_menu_item *items, int count);
void be_menu_bar(const int32_t *ids, int count);
void be_menu_hilite(int32_t id); // 0: none
// Opens at a global place with `item` under it; up_popup_done brings the
// choice.
void be_menu_popup(int32_t id, int h, int v, int item);

// ---- dialog items and controls ---------------------------------------------

enum be_item_kind {
    BE_BUTTON,
    BE_CHECKBOX,
    BE_RADIO,
    BE_STATIC,
    BE_EDIT,
    BE_PASSWORD,
    BE_POPUP, // menu by id in `menu`, value the item chosen
    BE_PROGRESS,
    BE_ICON,      // value: 0 stop, 1 note, 2 caution, 3 the program
    BE_USER,      // its box shows the canvas. A press in it comes by
                  // up_mouse, at its time, with the release; no up_item_hit
    BE_SCROLLBAR, // vertical
    BE_GROUP,     // a titled frame around other items
};
struct be_item_info {
    be_item_kind kind;
    be_rect box; // local
    const char *text;
    const char *name; // for accessibility; may be null
    int32_t value, min, max, page, menu;
    bool enabled, visible;
    bool is_default, is_cancel, multiline;
};
// Makes item `item` of window `w`, or gives it all new properties. Items go
// with their window.
void be_item_set(be_win w, int item, const be_item_info *info);
void be_item_value(be_win w, int item, int value); // just that
void be_item_text(be_win w, int item, const char *text);
// Puts the keys into an edit item and selects characters start to end.
void be_item_focus(be_win w, int item, int start, int end);
enum be_edit { BE_CUT, BE_COPY, BE_PASTE, BE_CLEAR };
void be_item_edit(be_win w, be_edit what); // the item with the keys
// The stored key press `token` goes on to the widget it was typed at. A token
// never forwarded is forgotten by the back end at the next one.
void be_key_forward(uint32_t token);

// ---- fonts -----------------------------------------------------------------

struct be_font_metrics {
    int32_t ascent, descent, leading; // pixels at the size asked for
    int32_t advance;                  // of "0", whole pixels
    bool fixed;
};
struct be_glyph {
    const uint8_t *mask; // 8 bits a pixel, `width` a row; valid until the
                         // font's next glyph; null when blank
    int32_t width, height;
    int32_t left, top; // from the pen: right, and up from the baseline
    int32_t advance;
    bool missing; // the font has no such character
};
// Families, sorted. `fixed`: those of fixed width alone.
int be_font_list(const char **names, int max, bool fixed);
// The best fixed-width family installed for a terminal, and the small font of
// the desktop.
const char *be_font_best_fixed();
const char *be_font_small();
// 0 when there is no such family. `pixels` is the size in real pixels.
be_font be_font_open(const char *family, int pixels, bool bold, bool italic,
                     be_font_metrics *metrics);
void be_font_glyph(be_font font, uint32_t codepoint, be_glyph *out);

// ---- asking for files, paper, colours --------------------------------------

enum be_ask_kind {
    BE_ASK_OPEN,
    BE_ASK_OPEN_MANY,
    BE_ASK_SAVE,
    BE_ASK_FOLDER,
    BE_ASK_SAVE_CHANGES, // answer in `value`: 1 save, 2 don't, 3 cancel
    BE_ASK_COLOR,        // start and answer in `value`: 0x00RRGGBB
};
struct be_ask_info {
    be_ask_kind kind;
    const char *prompt;
    const char *name;   // default name, or the document
    const char *folder; // where to start, or null
    uint32_t value;
};
// Opens the dialog and returns; up_answer brings the result.
void be_ask(const be_ask_info *info);
// Puts away what is open of be_ask, be_page_ask and be_menu_popup. Its answer
// comes as after a cancel.
void be_dismiss();

// ---- clipboard, drag, sound, other programs --------------------------------

void be_clip_set(const char *text, bool primary);
const char *be_clip_get(bool primary); // null when there is no text
// Drags a text out of a window; up_drag_done reports the end.
void be_drag_text(be_win w, const char *text);
void be_beep();
bool be_sound_file(const char *path);
bool be_sound_named(const char *name);
// Opens a file with a program (null: the desktop's choice).
bool be_open_with(const char *program, const char *path);

// ---- paper -----------------------------------------------------------------

struct be_page {
    int32_t paperW, paperH;           // points
    int32_t left, top, right, bottom; // printable part
    bool landscape;
    int32_t first, last, copies;
};
// Opens the dialog; up_answer brings the result, be_page_get the page.
void be_page_ask(bool setup, const be_page *start);
void be_page_get(be_page *out);
bool be_print_begin(const be_page *page, const char *title);
// One page: pixels at `dpi`, as be_present's.
bool be_print_page(const uint32_t *pixels, int width, int height, int dpi);
bool be_print_end();

// ==== calls up, defined by the core ==========================================

// A key press in window `w`. `text` is what it types (UTF-8, may be several
// characters or empty), `character` the classic character of a named key (0
// when `text` decides), `keycode` the virtual key code. `token` names the
// stored native event for be_key_forward, 0 for none.
void up_key(be_win w, const char *text, uint8_t character, uint8_t keycode,
            uint16_t modifiers, bool repeat, uint32_t token);
// A press in the content; global place.
void up_mouse(be_win w, int h, int v, uint16_t modifiers, bool down);
void up_middle_click(be_win w);
void up_wheel(be_win w, int delta); // positive: towards older text
void up_close(be_win w);            // the close button
void up_resized(be_win w, const be_rect *content, bool finished);
void up_moved(be_win w, const be_rect *content);
void up_zoom(be_win w, bool zoomed, const be_rect *content);
void up_collapsed(be_win w, bool collapsed);
void up_active(be_win w, bool active);
void up_app_active(bool active);
void up_scale(be_win w); // its scale changed: draw anew
void up_menu_will_open();
void up_menu(int32_t menu, int item, uint16_t modifiers);
void up_popup_done(int32_t menu, int item); // item 0: none
void up_item_hit(be_win w, int item); // button, box, radio, pop-up, user item
void up_item_value(be_win w, int item, int value); // with or before the hit
void up_item_text(be_win w, int item, const char *text); // after each edit
void up_item_focus(be_win w, int item);
// A step in a scroll bar: part 20 to 23 or 129 (value: where the thumb is),
// 0 at its end.
void up_scroll(be_win w, int item, int part, int value);
void up_answer(bool ok, uint32_t value, const char *const *paths, int count);
bool up_drag_over(be_win w, int h, int v, bool text, bool files);
void up_drop(be_win w, int h, int v, uint16_t modifiers, const char *text,
             const char *const *paths, int count);
void up_drag_done(bool taken);
void up_quit(); // a signal, or the last window's close

// The session ends and waits for this call: the program saves, and asks if it
// must and `mayAsk` allows. LATER: it is in the middle of something; a request
// to quit has been queued, and it will be able to a moment later.
enum be_session_answer {
    BE_SESSION_SAVED,
    BE_SESSION_REFUSED,
    BE_SESSION_LATER
};
using be_may_ask = bool();
be_session_answer up_session_end(be_may_ask *mayAsk);
