// The main window around the text: status bar and its pop-ups, the window's
// saved places, mouse cursor, wheel, and two gestures on text: a selection
// sent as if typed, and the host's cursor moved by arrow keys.
#pragma once

#include <cstdint>

#include "base/WindowPlace.h"
#include "platform/events.h"
#include "platform/types.h"
#include "platform/windows.h"
#include "terminal/HostCursor.h"

// Right ends of the speed and the line format as last drawn, plus 2: the
// regions of their pop-ups.
extern int16_t baud_right, bits_right;

extern Rect dragRect; // where a window may be dragged
extern Point GrowPt;  // click point of the last grow of the main window

// ---- the host's cursor -----------------------------------------------------
// do_vtpos is under way while reqRow (terminal/HostCursor.h) is not negative.

extern int16_t badTrys; // keys that led away from the place

void do_vtpos(int32_t limit); // one step; `limit` is the send limit tick

// ---- status bar ------------------------------------------------------------

void ShowBar(); // all of it
void ShowTime(bool force);
void TickClock(); // draws the time when its second has changed
void ShowSize(WindowPtr window, int16_t rows, int16_t cols);
void ShowBuf();
void ShowComm();
void bot_bar_click(Point point);

// ---- size and place --------------------------------------------------------

void GrowWin(WindowPtr window, Point where);
void SizeWind(WindowPtr window, const Rect *rect);

// The saved rectangle that now applies, in qset; never null, and never all
// zeros. Callers store through it.
Rect *GetRectPtr();
void SetLimitRects(); // takes the screen's bounds

// ---- mouse -----------------------------------------------------------------

void AdjCursor();
void SetArrowCursor();
void install_wheel_handler(WindowPtr window);

// A turn of the wheel: one line, whatever its size. -9874 for another window,
// else 0.
OSErr MouseWheelHandler(void *handler, int32_t delta, WindowPtr window);
