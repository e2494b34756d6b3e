// Commands: every choice from a menu and every Command key passes through
// DoMenu. Menus and items go by their names in the resources.
#pragma once

#include <cstdint>

#include "base/MenuBar.h"
#include "connect/LineSetters.h"
#include "platform/dialogs.h"
#include "platform/menus.h"
#include "platform/types.h"
#include "platform/windows.h"
#include "shell/Clipboard.h"

// The type-ahead window, null while closed.
extern DialogPtr bufDlog;
extern WindowPtr bufDwin;

// `choice` has the menu id in its high 16 bits, the item in the low ones.
// `what` is the class of the event that led here: 3 for a key, as key
// equivalents may act otherwise than a choice with the mouse.
void DoMenu(int32_t choice, uint16_t modifiers, int16_t what);

// Whether a choice is served by a pass in that mode: anything in the main mode,
// and otherwise only what can't disturb who has the line.
bool MenuServes(int32_t choice, char mode);

void AdjMenus(); // dims what can't be done now; before a menu opens

// Runs the command of a Command key, if it has one that can be done now. With
// Shift a key may have one although its item is dimmed. `what` is the class of
// the event, as for DoMenu.
void RunKey(uint8_t character, uint16_t modifiers, int16_t what);

void SetupMenus(); // once, when the first book opens

void DoAboutDialog();

// Closes the find dialog, the type-ahead window or the dial directory. Any
// other window, or null, stays.
void CloseToolWindow(WindowPtr window);
