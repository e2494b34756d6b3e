// Windows put back to the places that the settings keep, where those are
// still on a screen.
#pragma once

#include "platform/types.h"
#include "platform/windows.h"

// Moves the window if the middle of its title would lie on a screen there.
void RestoreWinLoc(WindowPtr window, Point point);

// The same with its size, which is taken in any case.
void RestoreWinPos(WindowPtr window, const Rect *rect);

// Moves the window to (4, 40) if less than 20 units of its height are
// visible.
void KeepWindowVisible(WindowPtr window);
