// The program's menus, for whoever marks an item or changes its text. What an
// item does is known to shell/QuillonMenus alone.
#pragma once

#include <cstdint>

#include "platform/menus.h"
#include "platform/types.h"

// Null until SetupMenus (shell/QuillonMenus) has made them.
extern MenuHandle DeskMenu, FileMenu, EditMenu, DialMenu, SettingMenu;
extern MenuHandle MacroMenu, MiscMenu, RcvMenu, SendMenu, xconvMenu;
extern MenuHandle BaudMenu, BBitsMenu, pfontMenu;
extern int16_t xconvOffset; // offset of the conversion entries in xconvMenu
extern int16_t maxDial;     // items of the Dial menu after it was built

// Marks one item and unmarks the others from `first` to `last`. Nothing
// happens without a menu.
void chkMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last);
void outlineMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last);
