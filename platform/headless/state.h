// What the files of the headless back end share: the windows and menus as the
// core set them, the script of acts to come, and the clock.
#pragma once

#include "platform/core/core.h"
#include "platform/headless/headless.h"

// Stops the test: says what, and which windows are on show.
[[noreturn]] void hl_fail(const char *what);

// ---- the clock (clock.cpp) -------------------------------------------------

extern bool hlInput; // something was handed up since the wait began
void hl_move_clock(int64_t us);

// ---- the script (user.cpp) -------------------------------------------------

// When the next act is due, INT64_MAX without one.
int64_t hl_next_act();
bool hl_run_due_acts(int64_t now); // true: some ran
// Lets the answer that was prepared for a modal window in front act on it.
bool hl_run_modal();
void hl_modal_came(be_win w);

// ---- the line (line.cpp) ---------------------------------------------------

bool hl_line_exists();
int64_t hl_line_next();          // when the next bytes arrive
void hl_line_serve(int64_t now); // hears the program, delivers what is due

// ---- the display (display.cpp) ---------------------------------------------

struct HlShown {
    HlWindow w;
    std::vector<uint32_t> pixels; // as presented, device pixels
    int pixelWidth, pixelHeight;
    int message; // its place among the messages, -1 for none
};
HlShown *hl_shown(be_win w);
be_win hl_front();                             // the frontmost one shown
const std::vector<be_win> &hl_order();         // front first, hidden ones too
std::string hl_window_text(const HlWindow &w); // its static texts

// A key press that a dialog's widget could take.
struct HlKey {
    be_win w;
    std::string text;
    uint8_t character, keycode;
    uint16_t modifiers;
};
uint32_t hl_store_key(const HlKey &key);
