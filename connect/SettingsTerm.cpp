// The dialogs of the terminal and of sending text.
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "resources/names.h"

// What a dialog on the connection in use and the global settings works on.
static settings_target in_use()
{
    return {&cset, gLocalStrings, &qset, gGlobStrings};
}

// ---- the pace of text ------------------------------------------------------

// clang-format off
constexpr dialog_field paceFields[] = {
    field_on    (kItemPacingEcho,      CONNECTION(paceFlags), 1),
    field_number(kItemPacingCharDelay, CONNECTION(charDelay), 0, 60),
    field_number(kItemPacingLineDelay, CONNECTION(lineDelay), 0, 1000),
    field_of    (kItemPacingPrompt,    kFieldByte, CONNECTION(promptChar)),
};
// clang-format on
static_assert(dialog_fields_ok(paceFields));

void pace_set()
{
    constexpr settings_dialog pacing = {
        kDlgPacing, paceFields, std::size(paceFields), nullptr, nullptr};
    const settings_target target = in_use();

    if (RunSettings(&pacing, &target) == kSettingsChanged)
        set_changed = 1;
}
