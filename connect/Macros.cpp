// Macro sets: the menu of the one in use, and the dialogs that edit, choose,
// rename and delete sets.
#include "connect/Macros.h"

#include <cstring>

#include "base/DPopup.h"
#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/pstr.h"
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "connect/PhoneBook.h"
#include "connect/PhoneBookParts.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"

constexpr int16_t kFirstMacroItem = kLastItemMacros + 1;
constexpr int16_t kMostMacros = 10;
constexpr int16_t kSetStrings = 2 * kMostMacros;
constexpr uint8_t kMostName = 31;

// ---- sets in the book ------------------------------------------------------

static bool is_set_id(int16_t id)
{
    return id == kDefaultSetID || (id >= kFirstSetID && id <= kLastSetID);
}

// The set of that id, or null. An id that isn't a set's finds nothing: the
// book's other lists are no macros.
static Handle set_of_id(int16_t id)
{
    return is_set_id(id) ? GetResource(kStringList, id) : nullptr;
}

// Whether a list is a set that can be chosen. The program's own "Default" is
// one, too, so that it can be returned to where the book has no copy.
static bool is_set(Handle list, int16_t *id, Str255 name)
{
    GetResInfo(list, id, nullptr, name);
    return name[0] && is_set_id(*id) &&
           (*id == kDefaultSetID || HomeResFile(list) == pRef);
}

static Handle find_set(ConstStr name, int16_t *id)
{
    Str255 its;

    for (int16_t i = 1; i <= CountResources(kStringList); i++) {
        Handle list = GetIndResource(kStringList, i);
        if (list && is_set(list, id, its) && pstrequal(its, name))
            return list;
    }
    return nullptr;
}

// The name of the set in use; empty where it is gone.
static void name_in_use(Str255 name)
{
    Handle set = set_of_id(cset.macroSetID);

    name[0] = 0;
    if (set)
        GetResInfo(set, nullptr, nullptr, name);
}

bool cmpbytes(const void *a, const void *b, int32_t count)
{
    return count <= 0 || memcmp(a, b, size_t(count)) == 0;
}

// ---- the Macros menu -------------------------------------------------------

void set_macro_menu()
{
    Handle set = GetResource(kStringList, cset.macroSetID);
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
            AppendMenu(MacroMenu, sp_str);
            if (n <= kMostMacros)
                SetItemCmd(MacroMenu, item, digit);
        }
        SetMenuItemText(MacroMenu, item, title);
    }
}

// ---- editing a set ---------------------------------------------------------

static_assert(kItemEditMacrosText10 == kItemEditMacrosTitle1 + kSetStrings - 1);

static int16_t field_item(int16_t string)
{
    return int16_t(kItemEditMacrosTitle1 + string - 1);
}

// The fields, and what they showed before the user came. A field that shows
// the same at the end keeps its bytes, also those that it had no room for.
static void fill_fields(DialogPtr dialog, Handle set, Str255 shown[kSetStrings])
{
    Str255 text;

    for (int16_t i = 1; i <= kSetStrings; i++) {
        GetFromStrList(set, i, text);
        SetCCText(dialog, field_item(i), text);
        GetDialogItemText(dialog, field_item(i), shown[i - 1]);
    }
}

// The fields as a list, and behind them what a longer set has. Null where
// `set` stays as it is, with `failed` false; or without memory.
static Handle list_of_fields(DialogPtr dialog, Handle set,
                             const Str255 shown[kSetStrings], bool *failed)
{
    const int16_t had = StrListCount(set);
    Handle list = NewStrList();
    OSErr err = list ? noErr : memFullErr;
    bool edited = !set;
    Str255 text;

    for (int16_t i = 1; err == noErr && (i <= kSetStrings || i <= had); i++) {
        GetFromStrList(set, i, text);
        if (i <= kSetStrings) {
            Str255 now;
            GetDialogItemText(dialog, field_item(i), now);
            if (!pstrequal(now, shown[i - 1])) {
                GetCCText(dialog, field_item(i), text);
                edited = true;
            }
        }
        err = AppendStrList(list, text);
    }
    *failed = err != noErr;
    if (err == noErr && edited &&
        !(set && GetHandleSize(set) == GetHandleSize(list) &&
          cmpbytes(*set, *list, GetHandleSize(list))))
        return list;
    if (list)
        DisposeHandle(list);
    return nullptr;
}

// False on Cancel. `list` is what is to be stored, or null for nothing.
static bool ask_macros(Handle set, ConstStr name, Handle *list, bool *failed)
{
    Str255 shown[kSetStrings];
    int16_t item = 0;

    *list = nullptr;
    ParamText(nullptr, nullptr, nullptr, name);
    DialogPtr dialog = GetNewDialog(kDlgEditMacros);
    if (!dialog)
        return false;
    fill_fields(dialog, set, shown);
    SelectDialogItemText(dialog, kItemEditMacrosTitle1, 0, INT16_MAX);
    ShowWindow(dialog);
    do
        ModalDialog(nullptr, &item);
    while (item > kItemEditMacrosCancel); // 0: it isn't in front any more
    if (item == kItemEditMacrosOK)
        *list = list_of_fields(dialog, set, shown, failed);
    DisposeDialog(dialog);
    return item == kItemEditMacrosOK;
}

// "Host set", "Host set1", "Host set2" and so on; past "9" the byte goes on.
static void new_set_name(Str255 name)
{
    const ConstStr end = PSTR(" set");
    constexpr int kDigits = 256 - '1'; // bytes from "1" on

    pstrcpy(name, ServiceName);
    if (name[0] + end[0] + 1 > kMostName)
        name[0] = uint8_t(kMostName - end[0] - 1);
    pstrcat(name, end);
    for (int i = 0; i < kDigits && GetNamedResource(kStringList, name); i++) {
        if (i == 0)
            pstrcatchr(name, '1');
        else
            name[name[0]]++;
    }
}

// The first edit of the program's "Default" makes a copy in the book, which
// hides it.
static OSErr store_set(Handle set, Handle list, ConstStr name)
{
    if (set && HomeResFile(set) == pRef)
        return ReplaceResource(set, list);
    if (set)
        return add_copy(list, kStringList, kDefaultSetID, name);
    int16_t id = UniqRangeID(kStringList, kFirstSetID);
    if (id < 0)
        return addResFailed;
    cset.macroSetID = id;
    set_changed = 1;
    return add_copy(list, kStringList, id, name);
}

bool edit_macros(bool isNew)
{
    Handle set = isNew ? nullptr : set_of_id(cset.macroSetID);
    bool failed = false;
    Handle list;
    Str255 name;

    if (set)
        GetResInfo(set, nullptr, nullptr, name);
    else
        new_set_name(name);
    if (!ask_macros(set, name, &list, &failed))
        return false;
    if (list) {
        failed = store_set(set, list, name) != noErr;
        DisposeHandle(list);
        if (!failed)
            (void)FlushPhone(); // reports a failure itself
    }
    if (failed)
        SysBeep(3);
    else
        set_macro_menu();
    return !failed;
}

// ---- choosing a set --------------------------------------------------------

int16_t InsMenuSort(MenuHandle menu, ConstStr text)
{
    const int16_t count = CountMenuItems(menu);
    int16_t before = 1;
    Str255 item;

    for (; before <= count; before++) {
        GetMenuItemText(menu, before, item);
        int16_t order = IdenticalString(item, text);
        if (order == 0)
            return -1;
        if (order > 0)
            break;
    }
    InsertMenuItem(menu, text, int16_t(before - 1));
    return 0;
}

MenuHandle make_mset_menu()
{
    MenuHandle menu = GetMenu(kMenuMacroSets);
    int16_t id;
    Str255 name;

    while (menu && CountMenuItems(menu) > 0)
        DeleteMenuItem(menu, 1);
    for (int16_t i = 1; menu && i <= CountResources(kStringList); i++) {
        Handle list = GetIndResource(kStringList, i);
        if (list && is_set(list, &id, name))
            (void)InsMenuSort(menu, name); // of two equal names one shows
    }
    return menu;
}

// Fills the pop-up, with the set of that id chosen, and shows which one is in
// use.
static void show_sets(DialogPtr dialog, MenuHandle menu, int16_t id)
{
    Handle set = set_of_id(id);
    int16_t chosen = 0;
    Str255 name;

    if (set) {
        GetResInfo(set, nullptr, nullptr, name);
        chosen = SearchMenu(menu, name);
    }
    up_set(dialog, kItemMacroSetsLabel, menu, kMenuMacroSets,
           chosen ? chosen : int16_t(1));
    name_in_use(name);
    SetDialogItemText(dialog, kItemMacroSetsInUse, name);
}

// A button of the chooser. Answers the id that is to be chosen then.
static int16_t act_on_set(int16_t item, int16_t id, ConstStr name)
{
    const bool edits =
        item == kItemMacroSetsRename || item == kItemMacroSetsDelete;

    if (edits && id == kDefaultSetID) {
        (void)Alert(kAlertKeepDefaultMacros); // it has one button
        return id;
    }
    switch (item) {
    case kItemMacroSetsNew:
        return edit_macros(true) ? cset.macroSetID : id;
    case kItemMacroSetsRename:
        (void)RenameMSet(name); // the pop-up shows what came of it
        return id;
    case kItemMacroSetsDelete:
        return DelMSet(name) ? cset.macroSetID : id;
    case kItemMacroSetsUse:
        if (cset.macroSetID != id)
            set_changed = 1;
        cset.macroSetID = id;
        set_macro_menu();
        return id;
    default:
        return id;
    }
}

void select_macro()
{
    DialogPtr dialog = GetNewDialog(kDlgMacroSets);
    int16_t item = 0, id;
    Str255 name;

    if (!dialog)
        return;
    SetDialogItemText(dialog, kItemMacroSetsConnection, ServiceName);
    show_sets(dialog, make_mset_menu(), cset.macroSetID);
    ShowWindow(dialog);
    for (;;) {
        ModalDialog(nullptr, &item);
        if (item == kItemMacroSetsDone || item == 0)
            break; // done, or not in front any more
        GetMenuItemText(GetMenu(kMenuMacroSets),
                        GetPopVal(kItemMacroSetsLabel, 0), name);
        if (item == kItemMacroSetsPopUp || !find_set(name, &id))
            continue;
        id = act_on_set(item, id, name);
        show_sets(dialog, make_mset_menu(), id);
    }
    (void)GetPopVal(kItemMacroSetsLabel, 1); // lets the menu go
    DisposeDialog(dialog);
}

// ---- deleting and renaming -------------------------------------------------

bool DelMSet(ConstStr name)
{
    int16_t id;

    ParamText(name, nullptr, nullptr, nullptr);
    if (CautionAlert(kAlertDeleteMacroSet) != 1)
        return false;
    Handle set = find_set(name, &id);
    OSErr err = resNotFound;
    if (set) {
        RemoveResource(set);
        err = ResError();
    }
    if (err != noErr) {
        ErrorAlertSTR(err, kListErrors, kStrCantDeleteMacros);
    } else {
        DisposeHandle(set); // the book's no more
        (void)FlushPhone(); // reports a failure itself
    }
    return true;
}

// Whether a set may have that name: it fits, and no list has it but this one.
static bool name_is_good(ConstStr now, ConstStr before)
{
    if (!now[0] || now[0] > kMostName) {
        SysBeep(3);
        return false;
    }
    if (IdenticalString(now, before) != 0 &&
        GetNamedResource(kStringList, now)) {
        (void)Alert(kAlertMacroSetTaken); // it has one button
        return false;
    }
    return true;
}

bool RenameMSet(ConstStr name)
{
    int16_t item = 0, id;
    Str255 now;
    Handle set = find_set(name, &id);

    ParamText(name, nullptr, nullptr, nullptr);
    DialogPtr dialog = set ? GetNewDialog(kDlgRenameSet) : nullptr;
    if (!dialog)
        return false;
    SetDialogItemText(dialog, kItemRenameSetName, name);
    ShowWindow(dialog);
    do {
        SelectDialogItemText(dialog, kItemRenameSetName, 0, INT16_MAX);
        ModalDialog(nullptr, &item);
        GetDialogItemText(dialog, kItemRenameSetName, now);
    } while (item == kItemRenameSetName ||
             (item == kItemRenameSetOK && !pstrequal(now, name) &&
              !name_is_good(now, name)));
    DisposeDialog(dialog);
    if (item != kItemRenameSetOK || pstrequal(now, name))
        return false;
    SetResInfo(set, id, now);
    OSErr err = ResError();
    if (err == noErr)
        WriteResource(set);
    (void)FlushPhone(); // reports what it couldn't write, too
    return err == noErr;
}
