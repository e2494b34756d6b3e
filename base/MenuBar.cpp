// The program's menus and the marks of their items.
#include "base/MenuBar.h"

MenuHandle DeskMenu, FileMenu, EditMenu, DialMenu, SettingMenu;
MenuHandle MacroMenu, MiscMenu, RcvMenu, SendMenu, xconvMenu;
MenuHandle BaudMenu, BBitsMenu, pfontMenu;
int16_t xconvOffset = 0;
int16_t maxDial;

void chkMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last)
{
    for (int16_t i = first; menu && i <= last; i++)
        CheckMenuItem(menu, i, i == item);
}

void outlineMenu(MenuHandle menu, int16_t item, int16_t first, int16_t last)
{
    constexpr uint8_t kOutline = 8;

    for (int16_t i = first; menu && i <= last; i++)
        SetItemStyle(menu, i, i == item ? kOutline : 0);
}
