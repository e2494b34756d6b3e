// The Macros menu for the connection's set.
#include "connect/Macros.h"

#include "base/MenuBar.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/resources.h"
#include "resources/names.h"

constexpr int16_t kFirstMacroItem = kLastItemMacros + 1;
constexpr int16_t kMostMacros = 10;

void set_macro_menu()
{
    Handle set = GetResource(FOUR("STR#"), cset.macroSetID);
    int16_t macros = int16_t(StrListCount(set) / 2);
    Str255 title;

    if (!MacroMenu)
        return;
    for (int16_t n = 1; n <= macros; n++) {
        int16_t item = int16_t(n - 1 + kFirstMacroItem);
        uint8_t digit = uint8_t('0' + n % 10);
        GetFromStrList(set, int16_t(2 * n - 1), title);
        if (!title[0])
            pstrcatchr(title, digit);
        if (CountMenuItems(MacroMenu) < item) {
            AppendMenu(MacroMenu, PSTR(" "));
            if (n <= kMostMacros)
                SetItemCmd(MacroMenu, item, digit);
        }
        SetMenuItemText(MacroMenu, item, title);
    }
}

// Dimmed in the menu: the dialogs on sets aren't there.

bool edit_macros(bool)
{
    return false;
}

void select_macro() {}
