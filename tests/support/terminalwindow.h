// A shown terminal window over the headless back end, and its picture.
#pragma once

#include <string>
#include <vector>

#include "platform/controls.h"
#include "platform/drawing.h"
#include "platform/fonts.h"
#include "platform/headless/headless.h"
#include "platform/windows.h"

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonWindow.h"
#include "terminal/VT100.h"

// Global bounds for so many rows and columns in the font of the moment, and not
// a pixel more.
Rect window_bounds(int rows, int cols);
// Serves whatever events a change of windows has brought.
void settle();
// A window of so many rows and columns, in front, black on white, colours 2
// to 9 the eight of ANSI and 10 to 17 the bright ones.
void open_terminal(int rows, int cols);
void show(const std::string &text);

using picture = std::vector<uint32_t>;

int picture_width();
// The text area with its margins, without the cursor.
picture take_picture();
// The picture that a repaint of everything gives.
picture repainted();
// A pixel of a cell, in its upper left corner, where no glyph draws.
uint32_t corner(int row, int col);
bool has_ink(int row, int col, uint32_t color);
