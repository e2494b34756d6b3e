// What the files of the terminal share among themselves, and nobody else
// needs.
#pragma once

#include <cstdint>

#include "base/chars.h"
#include "connect/Settings.h"
#include "terminal/VT100.h"

constexpr uint8_t kNormalSet = 'U';
constexpr uint8_t kGraphicsSet = 'G';

// The rows in the screen's order, so that finding one is no walk: gRowAt[r]
// is what r steps along nxtlin from toplin lead to. nxtlin is the truth, and
// whoever relinks keeps this in step.
extern uint8_t gRowAt[kMaxRows];

// Rows of the scrolling region, from 0.
inline int region_first()
{
    return margin_top - 1;
}
inline int region_last()
{
    return margin_bottom - 1;
}

inline bool store_on()
{
    return !(cset.bufFlags & 1);
}

// What crlf does, for those who have the port and the cursor in hand.
void new_line();

// The pen's place for a cell, without asking what stands in the line.
Point cell_pen(int col, int row);

// Moves pixels with the current background, unless the view shows scrollback.
void move_cells(const Rect &area, int right, int down);

void highlight(const Rect &area); // the selection, after drawing within

void set_region_rects(); // scrollrect and LFrgn from the margins
void forget_reverse();   // both colours are again those of curFGrgb, curBGrgb

// SGR 7 under ANSI puts basic colours in force beside RGB values that stay.
// Non-zero: the basic code of that plane is what shows.
extern uint8_t gBasicFG, gBasicBG;

// Makes the terminal's window the port; end_port puts back what it returns.
WindowPtr begin_port();
void end_port(WindowPtr old);
