// Helpers for the fields of dialogs, and the choice of a port.
#include "connect/Dialogs.h"

#include "base/DPopup.h"
#include "base/atol.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"

// ---- constants -------------------------------------------------------------

// ---- field helpers ---------------------------------------------------------

void SetCtlItem(DialogPtr dialog, int16_t item, int16_t value)
{
    SetDialogItemValue(dialog, item, value);
}

void SetNum(DialogPtr dialog, int16_t item, int32_t value)
{
    Str255 text;

    NumToString(value, text);
    SetDialogItemText(dialog, item, text);
}

int32_t GetNum(DialogPtr dialog, int16_t item)
{
    Str255 text;
    char number[256];
    int32_t value;

    GetDialogItemText(dialog, item, text);
    CopyPascalStringToC(text, number);
    atolp(number, &value);
    return value;
}

int16_t SearchMenu(MenuHandle menu, ConstStr text)
{
    Str255 item;

    for (int16_t i = 1; i <= CountMenuItems(menu); i++) {
        GetMenuItemText(menu, i, item);
        if (pstrequal(item, text))
            return i;
    }
    return 0;
}

// ---- the port alone --------------------------------------------------------

bool portonly_set()
{
    // What was plugged in since the last look can be chosen now.
    buildDevMenu();
    DialogPtr dialog = GetNewDialog(kDlgPort);
    if (!dialog)
        return false;

    Str255 path;
    int16_t item = 0;
    path[0] = 0;
    (void)GetPortNames(nullptr, path, nullptr);
    up_set(dialog, kItemPortLabel, devMenuHdl, kMenuPort,
           int16_t(gPortIndex + 1));
    SetDialogDefaultItem(dialog, kItemPortOK);
    SetDialogCancelItem(dialog, kItemPortCancel);
    ShowWindow(dialog);
    while (item != kItemPortOK && item != kItemPortCancel)
        ModalDialog(nullptr, &item);

    int16_t choice = GetPopVal(kItemPortLabel, 1);
    DisposeDialog(dialog);
    if (item != kItemPortOK)
        return false;
    if (choice >= 1 && choice <= gDevCount && gPortNames[choice - 1])
        SetModem(gPortNames[choice - 1]);
    return true;
}

// Dimmed in the menu: these dialogs aren't there.

void term_prefs() {}
void pace_set() {}
void color_set() {}
void color2_set() {}
void glob_set() {}
void xfer_set() {}
void modem_set() {}
void prt_options() {}
void zmod_parms() {}
