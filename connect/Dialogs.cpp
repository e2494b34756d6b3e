// The choice of a port, for the case that the present one can't be opened.
#include "connect/Dialogs.h"

#include "base/DPopup.h"
#include "platform/dialogs.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"

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
