// Commands: every choice from a menu and every Command key passes through
// DoMenu. Menus and items go by their names in the resources.
#pragma once

#include <cstdint>

#include "platform/dialogs.h"
#include "platform/menus.h"
#include "platform/types.h"
#include "platform/windows.h"

extern MenuHandle DeskMenu, FileMenu, EditMenu, DialMenu, SettingMenu;
extern MenuHandle MacroMenu, MiscMenu, RcvMenu, SendMenu, xconvMenu;
extern MenuHandle BaudMenu, BBitsMenu, pfontMenu;
extern int16_t xconvOffset; // offset of the conversion entries in xconvMenu
extern int16_t maxDial;     // items of the Dial menu after it was built

// The type-ahead window, null while closed.
extern DialogPtr bufDlog;
extern WindowPtr bufDwin;

// `choice` has the menu id in its high 16 bits, the item in the low ones.
// `what` is the class of the event that led here: 3 for a key, as key
// equivalents may act otherwise than a choice with the mouse.
void DoMenu(int32_t choice, uint16_t modifiers, int16_t what);
void AdjMenus(); // dims what can't be done now; before a menu opens

// The command of a Command key, or 0. With Shift a key may have one although
// its item is dimmed.
int32_t ChoiceOfKey(uint8_t character, uint16_t modifiers);

void SetupMenus(); // once, when the first book opens

// Marks one item and unmarks the others from `first` to `last`.
void chkMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last);
void outlineMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last);

void DoAboutDialog();

// Closes the find dialog, the type-ahead window or the dial directory. Any
// other window, or null, stays.
void CloseToolWindow(WindowPtr window);

// ---- setters of the connection's line --------------------------------------
// Each raises set_changed when the value differs, stores the letter, and
// programs the port.

void do_parity(char letter); // E, O, else N
void do_sbit(char letter);   // 2, 5, else 1
void do_dbit(char letter);   // 7, else 8
void set_echo(uint8_t on);
void set_xon(uint8_t value); // flow bits; 1 stands for both XON/XOFF bits
void set_buf_save();         // Edit item 15's check mark
void set_dconv(char letter); // M, T, B, else S

// ---- clipboard -------------------------------------------------------------

// Replaces the clipboard with text. 0 or an error.
OSErr doCopy(const void *address, int32_t size);
void doPaste();        // queues the clipboard's text for the line
void doPastePrimary(); // the same with the text selected last, anywhere
