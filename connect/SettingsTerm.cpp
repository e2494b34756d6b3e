// The dialogs of the terminal, its window, and of sending text.
#include "base/MenuBar.h"
#include "base/WindowPlace.h"
#include "base/facts.h"
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "connect/PhoneBook.h"
#include "connect/PhoneBookParts.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"

static Rect *no_place()
{
    return nullptr; // the window stays as it is
}

Rect *(*gMainPlace)() = no_place;

// ---- the terminal of a connection ------------------------------------------

// clang-format off
constexpr dialog_field termFields[] = {
    field_popup(kItemTermTypeLabel,  CONNECTION(termType)),
    field_menu (kItemTermFontLabel,  connection_string(kStrFont),
                                     kMenuPrintFont, true),
    field_radio(kItemTermBackspace,  CONNECTION(bsKey), 2, "\x08\x7F"),
    field_on   (kItemTermStrip,      CONNECTION(termFlags), kTermStrip8),
    field_off  (kItemTermAutoLF,     CONNECTION(termFlags), kTermNoAutoLF),
    field_off  (kItemTermKeysToHost, CONNECTION(termFlags), kTermKeysLocal),
    field_on   (kItemTermErases,     CONNECTION(termFlags), kTermBSErases),
};
// clang-format on
static_assert(dialog_fields_ok(termFields));

// The menu of fonts is the one for printing, whose first item means another
// thing there.
static SettingsResult run_term(const settings_target *target, ConstStr name)
{
    constexpr settings_dialog term = {kDlgTerm, termFields,
                                      std::size(termFields), nullptr, nullptr};
    Str255 text, same;

    GetIndString(text, kListTexts, kStrUsualFont);
    GetMenuItemText(pfontMenu, kItemPrintFontSame, same);
    SetMenuItemText(pfontMenu, kItemPrintFontSame, text);
    ParamText(name, nullptr, nullptr, nullptr);
    const SettingsResult result = RunSettings(&term, target);
    SetMenuItemText(pfontMenu, kItemPrintFontSame, same);
    return result;
}

// An entry that isn't in use is read from the book and written back.
static void term_entry(Handle resource)
{
    uint8_t image[kDialRecLen];
    cset_t entry;
    Str255 name;

    dial_image(resource, image);
    copy_cset_swaps(image, &entry);
    GetResInfo(resource, nullptr, nullptr, name);
    const Handle list = GetResource(FOUR("STR#"), entry.localStrID);
    const Handle strings = copy_of(list);
    const settings_target target = {&entry, strings, nullptr, nullptr};
    if (run_term(&target, name) == kSettingsChanged) {
        if (strings && ReplaceResource(list, strings) != noErr)
            SysBeep(5);
        SetHandleSize(resource, kDialRecLen);
        if (MemError() == noErr) {
            copy_cset_swaps(&entry, *resource);
            sav_setup(resource);
        } else {
            SysBeep(5);
        }
    }
    DisposeHandle(strings);
}

void term_set(Handle resource, bool isCurrent)
{
    if (!isCurrent) {
        if (resource)
            term_entry(resource);
        return;
    }
    const settings_target target = {&cset, gLocalStrings, nullptr, nullptr};
    const SettingsResult result = run_term(&target, ServiceName);
    if (result == kSettingsCancelled)
        return;
    if (result == kSettingsChanged)
        set_changed = 1;
    setFontCheckRowCol(cset.termType);
}

// ---- the window and the keyboard -------------------------------------------

constexpr uint8_t kHideInBack = 1;  // of bgFlags
constexpr uint8_t kCommandMode = 3; // of keyFlags
constexpr uint8_t kOptionPlain = 4; // of keyFlags: Option isn't Control

// clang-format off
constexpr dialog_field prefsFields[] = {
    field_popup   (kItemPrefsCommandLabel,  GLOBAL(keyFlags), kOneToOne,
                                            kCommandMode),
    field_radio   (kItemPrefsUnderline,     GLOBAL(globFlags), 2, kOneToOne,
                                            kGlobBlockCursor),
    field_off     (kItemPrefsBlinks,        GLOBAL(globFlags),
                                            kGlobSteadyCursor),
    field_refusing(kItemPrefsFontSize,      GLOBAL(termFontSize), 5, 48),
    field_number  (kItemPrefsBreakShort,    GLOBAL(breakShort), 0, 255),
    field_number  (kItemPrefsBreakLong,     GLOBAL(breakLong), 0, 255),
    field_on      (kItemPrefsNoBell,        GLOBAL(globFlags), kGlobNoBell),
    field_on      (kItemPrefsHide,          GLOBAL(bgFlags), kHideInBack),
    field_on      (kItemPrefsCapture,       GLOBAL(globFlags),
                                            kGlobCaptureLines),
    field_off     (kItemPrefsOptionControl, GLOBAL(keyFlags), kOptionPlain),
};
// clang-format on
static_assert(dialog_fields_ok(prefsFields));

// A keyboard with a Control key needs no other.
static void begin_prefs(DialogPtr dialog)
{
    if (newKbd)
        HideDialogItem(dialog, kItemPrefsOptionControl);
}

static void use_font_size()
{
    curFSize = qset.termFontSize;
    if (!myWindow)
        return;
    SetSel(-1, 0, 0, 0);
    ResizeWind(myWindow, gMainPlace());
    KeepWindowVisible(myWindow);
    setFont(cset.termType);
}

void term_prefs()
{
    constexpr settings_dialog prefs = {
        kDlgPrefs, prefsFields, std::size(prefsFields), begin_prefs, nullptr};
    const qset_t before = qset;
    qset_t wanted = qset;
    const settings_target target = {nullptr, nullptr, &wanted, nullptr};

    if (RunSettings(&prefs, &target) != kSettingsChanged)
        return;
    const bool newKeys =
        ((wanted.keyFlags ^ before.keyFlags) & kCommandMode) != 0;
    if (newKeys)
        setKMAP(); // by the mode that goes
    qset = wanted;
    if (newKeys)
        setKMAP();
    qsetChanged = 1;
    if (qset.globFlags != before.globFlags) {
        useBlockCursor = (qset.globFlags & kGlobBlockCursor) != 0;
        blink = (qset.globFlags & kGlobSteadyCursor) == 0;
    }
    if (qset.termFontSize != before.termFontSize)
        use_font_size();
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
    const settings_target target = {&cset, nullptr, nullptr, nullptr};

    if (RunSettings(&pacing, &target) == kSettingsChanged)
        set_changed = 1;
}
