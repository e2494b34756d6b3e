// The back end for tests: a scripted user, a scripted line, a clock that moves
// only on request, and a record of all that was shown, asked and played.
//
// Time stands still while code runs. It moves when the program waits: to the
// nearest of the wait's end, the next scripted act and the next byte due on
// the line; and by a millisecond at each empty read of the port. A wait that
// nothing can end, or a loop that asks for the time forever, stops the test
// with a message that names the windows on show.
//
// Acts of the user (hl_type, hl_click...) happen at once: their events lie in
// the queue when the call returns. To have one happen later, during a wait,
// wrap it: hl_after(ticks, [] { hl_type("x"); }).
#pragma once

#include "platform/backend.h"
#include "platform/events.h"
#include "platform/types.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

// ---- the clock -------------------------------------------------------------

void hl_advance_us(int64_t us);
void hl_advance_ticks(uint32_t ticks);

// Runs `act` inside the first wait at or after that time.
void hl_after(uint32_t ticks, std::function<void()> act);
void hl_after_us(int64_t us, std::function<void()> act);

// From now on the clock is the real one, for peers that are real programs.
void hl_real_time(bool on);
// Runs when a signal ends a wait for the real line.
void hl_on_signal(std::function<void()> act);

// Calls of be_now_us and of waits of no length in a row without the clock
// moving, before the test fails; 0 is no limit. 20 million to begin with.
void hl_spin_limit(int64_t calls);

int hl_waits();   // waits so far that were not just polls
int64_t hl_now(); // microseconds; asking doesn't count

// ---- the user: keys and mouse ----------------------------------------------

// Types UTF-8 text at the front window, with the key codes of a US keyboard.
// "\r" is Return, "\t" Tab, "\x1b" Escape, "\b" the delete key.
void hl_type(const char *utf8, uint16_t modifiers = 0);
// One press with a classic character, as arrows and function keys give it.
void hl_key(uint8_t character, uint8_t keycode, uint16_t modifiers = 0,
            bool repeat = false);
// Keys that were forwarded to a native widget, as UTF-8.
std::string hl_forwarded();

// Places are local to the window.
void hl_mouse_at(WindowPtr w, int h, int v);
void hl_press(WindowPtr w, int h, int v, uint16_t modifiers = 0);
void hl_release();
void hl_click(WindowPtr w, int h, int v, uint16_t modifiers = 0);
void hl_middle_click(WindowPtr w);
void hl_wheel(WindowPtr w, int delta);
void hl_modifiers(uint16_t modifiers); // held down from now on

// ---- the user: windows, menus, widgets -------------------------------------

void hl_activate(WindowPtr w);
void hl_app_active(bool active);
void hl_close(WindowPtr w);
void hl_resize(WindowPtr w, int width, int height);
void hl_move(WindowPtr w, int h, int v);
void hl_zoom(WindowPtr w, bool zoomed);

// Opens the bar (so that items are brought up to date) and chooses; a dimmed
// item is refused, as on any desktop. False then, or when there is none.
bool hl_choose(int menu, int item, uint16_t modifiers = 0);
// The choice in pop-ups to come, in order; 0 lets one go. None queued: 0.
void hl_popup_choice(int item);
// The newest pop-up: its menu, the global place, the item under that.
struct HlPopup {
    int menu, h, v, item;
};
const HlPopup &hl_popup();

void hl_hit(WindowPtr w, int item); // button, box, radio; user item: a press
void hl_pick(WindowPtr w, int item, int value);        // pop-up of a dialog
void hl_edit(WindowPtr w, int item, const char *utf8); // typed over the text
// Steps of a scroll bar: parts 20 to 23, or 129 with the thumb's new value.
// All of one press; its end comes by itself.
struct HlScroll {
    int part, value;
};
void hl_scroll(ControlHandle c, const std::vector<HlScroll> &steps);

// What to do with modal windows (alerts, too), in the order they come up:
// called in the first wait with a modal window in front, once a wait.
void hl_modal(std::function<void(WindowPtr)> act);
void hl_answer(int item); // hits that item of the next one
void hl_modal_clear();    // forgets what was prepared and not used

// Answers to questions for files, colours and pages to come, in order.
void hl_ask_answer(bool ok, const std::vector<std::string> &paths = {},
                   uint32_t value = 0);

void hl_drop_text(WindowPtr w, int h, int v, const char *utf8);
void hl_drop_files(WindowPtr w, int h, int v,
                   const std::vector<std::string> &paths);
bool hl_drag_over(WindowPtr w, int h, int v, bool text, bool files);
void hl_drag_taken(bool taken); // ends of drags out to come

void hl_open_files(const std::vector<std::string> &paths);
void hl_quit();
void hl_clip(const char *utf8, bool primary = false); // null: no text

// ---- what was shown --------------------------------------------------------

struct HlItem {
    be_item_kind kind;
    be_rect box;
    std::string text, name;
    int value, min, max, page, menu;
    bool enabled, visible, is_default, is_cancel;
};
struct HlWindow {
    be_win id;
    be_window_kind kind;
    std::string title;
    be_rect content;
    bool visible, zoomed, collapsed, resizable, closable, canvas;
    be_cursor cursor;
    be_rect caret; // local
    int presents;  // be_present calls
    int focus;     // item with the keys, 0 for none
    int selected;  // characters of it, as last selected by the program
    std::map<int, HlItem> items;
};
struct HlMenuItem {
    std::string text;
    char command;
    bool enabled, checked, outlined;
    int submenu;
};
struct HlMenu {
    std::string title;
    bool enabled;
    std::vector<HlMenuItem> items; // item 1 is items[0]
};
struct HlAsked {
    be_ask_kind kind;
    std::string prompt, name, folder;
};
struct HlPage {
    int width, height, dpi;
    std::vector<uint32_t> pixels;
};

// Null when there is none. The pointer lasts until the window goes.
const HlWindow *hl_window(WindowPtr w);
const HlItem *hl_item(WindowPtr w, int item);
const HlMenu *hl_menu(int id);
const std::vector<int32_t> &hl_menu_bar();
int hl_menu_hilited();
std::vector<std::string> hl_window_titles(); // those shown, front first

// A pixel as last presented, in window units, 0x00RRGGBB; all ones: never.
uint32_t hl_pixel(WindowPtr w, int h, int v);

// The texts of alerts, modal dialogs and notices, in the order they came up:
// static texts in item order, joined by "|", as they stood last.
const std::vector<std::string> &hl_messages();
const std::vector<HlAsked> &hl_asked();
int hl_beeps();
const std::vector<std::string> &hl_sounds(); // files and names played
void hl_sounds_known(bool known);            // do sounds exist? At first not
const std::vector<std::string> &hl_opened(); // "program|path"
const std::vector<HlPage> &hl_pages();
const char *hl_clip_text(bool primary = false);

// ---- the line --------------------------------------------------------------

enum HlLineKind {
    HL_SOCKET, // a socket pair: fast, no line discipline
    HL_PTY,    // a pseudo-terminal: hl_line_path() can be opened as a port
};
// Makes the line. Returns the descriptor that the program reads and writes
// (non-blocking); -1 with HL_PTY, whose path is opened by the program.
int hl_line_open(HlLineKind kind);
const char *hl_line_path();

// The host says something, `delay_us` after what it said before (or after now,
// if that has been said).
void hl_line_say(const std::string &text, int64_t delay_us = 0);
void hl_line_bytes(const void *bytes, size_t count, int64_t delay_us = 0);
// Bytes a second towards the program; 0 (the beginning) is all at once.
void hl_line_speed(int bytesPerSecond);
size_t hl_line_waiting(); // said and not yet delivered

// Called with what the program has sent, at its next wait or empty read. It
// may say something itself.
void hl_line_peer(std::function<void(const uint8_t *bytes, size_t count)> hear);
// Everything heard since the last call.
std::string hl_line_heard();
// The host stops taking bytes, so that the line fills up; or goes on.
void hl_line_stuck(bool stuck);
// Sees every byte towards the program (`out` false) or from it; may change it;
// false loses it.
void hl_line_fault(std::function<bool(uint8_t &byte, bool out)> fault);
void hl_line_hangup();
