// The dialogs of what holds for all connections: questions and marks of files,
// port and modem.
#include <algorithm>

#include "base/DPopup.h"
#include "base/ErrMsg.h"
#include "base/Program.h"
#include "base/pstr.h"
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"

// ---- general ---------------------------------------------------------------

// clang-format off
constexpr dialog_field generalFields[] = {
    field_on (kItemGeneralAskQuit,     GLOBAL(globFlags), kGlobAskQuit),
    field_on (kItemGeneralAskHangUp,   GLOBAL(globFlags), kGlobAskHangUp),
    field_on (kItemGeneralAskClear,    GLOBAL(globFlags), kGlobAskClear),
    field_off(kItemGeneralLog,         GLOBAL(globFlags), kGlobNoXferLog),
    field_of (kItemGeneralTextCreator, kFieldCode, GLOBAL(textCreator)),
    field_of (kItemGeneralBinCreator,  kFieldCode, GLOBAL(binCreator)),
    field_of (kItemGeneralBinType,     kFieldCode, GLOBAL(binType)),
};
// clang-format on
static_assert(dialog_fields_ok(generalFields));

constexpr int16_t kMostCreators = 35; // rows of the pop-up

// The code of a row, from 1; false for a row without one.
static bool creator_code(int16_t row, OSType *code)
{
    Str255 text;

    GetIndString(text, kListCreators, int16_t(row * 2));
    if (text[0] <= 1)
        return false;
    *code = 0;
    for (int i = 1; i <= 4; i++)
        *code = *code << 8 | (i <= text[0] ? text[i] : uint8_t(' '));
    return true;
}

// Fills the pop-up. It starts on the row of the code in the settings, or on
// the last one.
static void begin_general(DialogPtr dialog)
{
    const MenuHandle menu = GetMenu(kMenuCreators);
    int16_t rows = 0, chosen = 0;
    Str255 name;
    OSType code;

    while (rows < kMostCreators) {
        GetIndString(name, kListCreators, int16_t(rows * 2 + 1));
        if (!name[0])
            break;
        rows++;
        if (CountMenuItems(menu) < rows)
            AppendMenu(menu, name);
        SetMenuItemText(menu, rows, name);
        if (!chosen && creator_code(rows, &code) && code == qset.textCreator)
            chosen = rows;
    }
    up_set(dialog, kItemGeneralCreatorLabel, menu, kMenuCreators,
           chosen ? chosen : rows);
}

static void hit_general(DialogPtr dialog, int16_t item)
{
    OSType code;

    if (item == kItemGeneralCreators) {
        (void)HdlPop(dialog, item); // the table of pop-ups has the choice
        if (creator_code(GetPopVal(kItemGeneralCreatorLabel, 0), &code))
            SetDFType(dialog, kItemGeneralTextCreator, code, true);
    }
}

static void end_general()
{
    (void)GetPopVal(kItemGeneralCreatorLabel, 1); // lets the menu go
}

void glob_set()
{
    constexpr settings_dialog general = {
        kDlgGeneral,   generalFields, std::size(generalFields),
        begin_general, hit_general,   end_general};
    const uint8_t flags = qset.globFlags;
    const settings_target target = {nullptr, nullptr, &qset, nullptr};

    if (RunSettings(&general, &target) == kSettingsCancelled)
        return;
    textcreator = qset.textCreator;
    // The codes reach the book at the next save, which compares the bytes.
    if (qset.globFlags != flags)
        qsetChanged = 1;
}

// ---- port and modem --------------------------------------------------------

// clang-format off
constexpr dialog_field modemFields[] = {
    field_menu  (kItemModemPortLabel, global_string(kGlobPort), kMenuPort,
                                      false),
    field_radio (kItemModemTone,      GLOBAL(dialType), 2, "TP"),
    field_number(kItemModemTimeout,   GLOBAL(dialTimeout), 15, 255),
    field_on    (kItemModemDTR,       GLOBAL(modemFlags), 1),
    field_of    (kItemModemInit,      kFieldControl,
                                      global_string(kGlobModemInit)),
    field_of    (kItemModemDeInit,    kFieldControl,
                                      global_string(kGlobModemDeInit)),
    field_of    (kItemModemSub1,      kFieldControl,
                                      global_string(kGlobDialSub1)),
    field_of    (kItemModemSub2,      kFieldControl,
                                      global_string(kGlobDialSub1 + 1)),
    field_of    (kItemModemSub3,      kFieldControl,
                                      global_string(kGlobDialSub1 + 2)),
};
// clang-format on
static_assert(dialog_fields_ok(modemFields));

// The port of the settings takes the place of the open one. If it can't be
// opened, the one before comes back under its name.
static void change_port(ConstStr old)
{
    CloseModem();
    const int16_t error = OpenModem();
    if (error == 0)
        return;
    ErrorAlertSTR(error, kListErrors, kStrCantChangePort);
    SetModem(old);
    (void)OpenModem(); // reports a failure itself
}

void modem_set()
{
    constexpr settings_dialog modem = {
        kDlgModem, modemFields, std::size(modemFields),
        nullptr,   nullptr,     nullptr};
    const settings_target target = {nullptr, nullptr, &qset, gGlobStrings};
    Str255 before, now;

    buildDevMenu(); // what was plugged in since can be chosen
    GetGlob(kGlobPort, before);
    if (RunSettings(&modem, &target) != kSettingsChanged)
        return;
    qsetChanged = 1;
    GetGlob(kGlobPort, now);
    if (!pstrequal(before, now))
        change_port(before);
}
