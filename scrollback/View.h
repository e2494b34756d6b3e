// The text area is a window on the line numbers of store and screen
// (savbuf.h). At rest its top line is `savlines`, and it shows the live
// screen; above that it is `scrolled`, and output goes on unseen.
#pragma once

#include <cstdint>

#include "platform/types.h"

extern ControlHandle sbar_ctl; // the scroll bar; null until it is made
extern int32_t scrolled;       // the view isn't at the bottom
extern int32_t scrollPosPrev;  // value before the current tracking step
extern RgnHandle upd_rgn;      // what scrolling uncovered; scratch

// The line at the top of the view: the scroll bar's value, also when the
// control itself lags behind (sb_update).
int16_t view_top();

void do_scroll(int16_t part, Point point); // a press; until its release
void sbar_action(ControlHandle control, int16_t part);
void scrollPage(int16_t from, int16_t to); // top line of the view
void scroll_key(int16_t keycode, int16_t modifiers);
void scr_to_bot();
void disp_line(int16_t row, int16_t line); // row from 1; a stored line
