// Pop-up menus in dialogs: up to ten of them, in one table. Items come in
// pairs: an even item is the label, the next one the pop-up, and both stand
// for the same row (item / 2). `up_set` is given the label's number; clicks
// arrive on the pop-up's.
//
// With appearance services (`gHaveAppearance`) a pop-up is a real control that
// draws and tracks itself. Without, these routines draw and track it.
#pragma once

#include "platform/types.h"

constexpr int kPopUps = 10;

// Parallel tables, a row per pair of items. A row out of range is refused:
// setting does nothing, reading gives 0.
extern MenuHandle up_mhdl[kPopUps]; // null: the menu comes from the control
extern int16_t up_menuid[kPopUps];
extern int16_t up_cur[kPopUps];  // item chosen now
extern int16_t up_orig[kPopUps]; // item chosen on opening
extern ControlHandle up_ctl[kPopUps];

// Sets up the pop-up behind label `item`. `menu` may be null if the control
// takes the menu `menuID` from the resources.
void up_set(DialogPtr dialog, int16_t item, MenuHandle menu, int16_t menuID,
            int16_t selected);

// The item chosen now; with `release` the menu leaves the menu list.
int16_t GetPopVal(int16_t item, int release);

// A click on a pop-up that we draw: its new item, or 0. Nothing with controls.
int16_t HdlPop(DialogPtr dialog, int16_t item);

// Tracks `menu` over `popRect`, inverting `labelRect` meanwhile. With `insert`
// the menu is put into the menu list for that time. Returns the new item or 0.
int16_t DoPop(MenuHandle menu, int16_t menuID, int16_t current, int insert,
              const Rect *labelRect, const Rect *popRect, DialogPtr dialog,
              int16_t item);

void DrawPop(DialogPtr dialog, int16_t item, MenuHandle menu, int16_t current);
void DrawPopItem(DialogPtr dialog, int16_t item); // the drawing callback
void PlotSICN(const Rect *place, int16_t id);     // a 16 by 16 icon
