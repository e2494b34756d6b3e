// Windows and dialogs without a program behind them.
#pragma once

#include "platform/core/widgets/dialogparts.h"
#include "platform/core/widgets/winrec.h"
#include "platform/headless/headless.h"

#include <string>
#include <vector>

// A shown window with a canvas, 300 wide and 200 high, at (100, 200).
WindowPtr ui_window(int16_t left = 100, int16_t top = 200);
// Serves what a new window brings: its activation, its first redrawing.
void ui_settle();
// One event as words, "key a", "press4 Main" with the part of the window; a
// redrawing is done at once. Nothing: "".
std::string ui_event(uint16_t mask = everyEvent, uint32_t sleep = 0);
// All there are: "activate Main; update Main".
std::string ui_events();
DialogItem ui_item(be_item_kind kind, const char *text, Rect box);
// A dialog with items: 1 OK, 2 Cancel, 3 edit, 4 check box, 5 user item, 6
// another edit; not yet shown.
DialogPtr ui_dialog(be_window_kind kind);
std::string ui_text(DialogPtr d, int16_t item);
