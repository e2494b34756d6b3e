// Settings dialogs by table: the fields, the runner, and the helpers that move
// values between items and memory.
#include "connect/DialogFields.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pstr.h"
#include "platform/fonts.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/printing.h"
#include "platform/sound.h"

constexpr uint8_t kFirstGraphic = 32; // bytes below show as "^" and a letter
constexpr uint8_t kCaretShift = 64;
constexpr uint8_t kLowBits = 31;

// ---- helpers: boxes and numbers --------------------------------------------

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
    int at = 1;
    bool negative = false;
    int64_t value = 0;

    GetDialogItemText(dialog, item, text);
    while (at <= text[0] && text[at] == ' ')
        at++;
    if (at <= text[0] && (text[at] == '-' || text[at] == '+'))
        negative = text[at++] == '-';
    for (; at <= text[0] && text[at] >= '0' && text[at] <= '9'; at++)
        value = std::min<int64_t>(value * 10 + (text[at] - '0'), INT32_MAX);
    return int32_t(negative ? -value : value);
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

// ---- helpers: texts --------------------------------------------------------

void SetCCText(DialogPtr dialog, int16_t item, ConstStr string)
{
    Str255 text;

    text[0] = 0;
    for (int i = 1; i <= string[0]; i++) {
        const uint8_t c = string[i];
        if (c == '^' || c < kFirstGraphic)
            pstrcatchr(text, '^');
        pstrcatchr(text, c < kFirstGraphic ? uint8_t(c + kCaretShift) : c);
    }
    SetDialogItemText(dialog, item, text);
}

void GetCCText(DialogPtr dialog, int16_t item, Str255 out)
{
    Str255 text;

    GetDialogItemText(dialog, item, text);
    out[0] = 0;
    for (int i = 1; i <= text[0]; i++) {
        uint8_t c = text[i];
        if (c == '^' && i < text[0]) {
            c = text[++i];
            if (c != '^')
                c &= kLowBits;
        }
        pstrcatchr(out, c);
    }
}

void SetDFType(DialogPtr dialog, int16_t item, OSType code, bool select)
{
    const uint8_t text[5] = {4, uint8_t(code >> 24), uint8_t(code >> 16),
                             uint8_t(code >> 8), uint8_t(code)};

    SetDialogItemText(dialog, item, text);
    if (select)
        SelectDialogItemText(dialog, item, 0, 255);
}

OSType GetDFType(DialogPtr dialog, int16_t item)
{
    Str255 text;
    OSType code = 0;

    GetDialogItemText(dialog, item, text);
    for (int i = 1; i <= 4; i++)
        code = code << 8 | (i <= text[0] ? text[i] : uint8_t(' '));
    return code;
}

// ---- helpers: lengths ------------------------------------------------------
// An inch is 72 points of 16 parts; a millimeter 1/25.4 of it.

constexpr int64_t kInch = 1152;
constexpr int64_t kOne = 65536;      // 1 in 16.16
constexpr int32_t kHalfDigit = 3276; // 0.05: rounds to one digit
constexpr int64_t kMost = INT32_MAX; // of a 16.16 number

int32_t Str2Fixed(ConstStr string)
{
    int at = 1;
    int64_t whole = 0, part = 0, scale = 1;

    for (; at <= string[0] && string[at] >= '0' && string[at] <= '9'; at++)
        whole = std::min<int64_t>(whole * 10 + (string[at] - '0'), kMost);
    if (at <= string[0] && string[at] == '.') {
        // Nine digits are more than 16 bits can tell apart.
        for (at++; at <= string[0] && string[at] >= '0' && string[at] <= '9' &&
                   scale < 1000000000;
             at++) {
            part = part * 10 + (string[at] - '0');
            scale *= 10;
        }
    }
    return int32_t(std::min(whole * kOne + part * kOne / scale, kMost));
}

void SetPts(DialogPtr dialog, int16_t item, int32_t value, bool metric)
{
    const int64_t scaled =
        metric ? value * kOne * 254 / (kInch * 10) : value * kOne / kInch;
    const int64_t fixed = std::clamp<int64_t>(scaled + kHalfDigit, 0, kMost);
    const int64_t digit = (fixed % kOne) * 10 / kOne;
    Str255 text;

    NumToString(int32_t(fixed / kOne), text);
    if (digit != 0) {
        pstrcatchr(text, '.');
        pstrcatchr(text, uint8_t('0' + digit));
    }
    SetDialogItemText(dialog, item, text);
}

int32_t GetPts(DialogPtr dialog, int16_t item, bool metric)
{
    Str255 text;

    GetDialogItemText(dialog, item, text);
    const int64_t sixteenths = Str2Fixed(text) * kInch;
    return int32_t(metric ? sixteenths * 10 / 254 / kOne : sixteenths / kOne);
}

// ---- numbers and texts of a target -----------------------------------------

static uint8_t *number_at(const settings_target *target, field_place place)
{
    uint8_t *record = place.of == kInConnection
                          ? reinterpret_cast<uint8_t *>(target->connection)
                          : reinterpret_cast<uint8_t *>(target->global);
    return record + place.at;
}

static int32_t read_number(const settings_target *target, field_place place)
{
    const uint8_t *at = number_at(target, place);
    uint16_t word;
    int32_t whole;

    switch (place.size) {
    case 1:
        return place.isSigned ? int8_t(*at) : *at;
    case 2:
        memcpy(&word, at, sizeof word);
        return place.isSigned ? int16_t(word) : word;
    default:
        memcpy(&whole, at, sizeof whole);
        return whole;
    }
}

static void write_number(const settings_target *target, field_place place,
                         int32_t value)
{
    uint8_t *at = number_at(target, place);
    const uint16_t word = uint16_t(value);

    switch (place.size) {
    case 1:
        *at = uint8_t(value);
        break;
    case 2:
        memcpy(at, &word, sizeof word);
        break;
    default:
        memcpy(at, &value, sizeof value);
        break;
    }
}

static Handle list_of(const settings_target *target, field_place place)
{
    return place.of == kInStrings ? target->strings : target->globals;
}

static uint8_t lowest_bit(uint8_t bits)
{
    return uint8_t(bits & -bits);
}

// ---- one field -------------------------------------------------------------
// What a field shows: a value of a box or a choice, or a text.

struct shown_field {
    int16_t value;
    Str255 text;
};

static int16_t pop_item(int16_t label)
{
    return int16_t(label + 1);
}

// Which choice stands for the number, from 1; 0 if none does.
static int16_t choice_of(const dialog_field &f, int32_t number)
{
    if (f.bits)
        number = (number & f.bits) / lowest_bit(f.bits);
    if (f.shown)
        number = f.shown(number);
    if (!f.letters[0])
        return int16_t(number + 1);
    const char *at = number ? strchr(f.letters, int(number)) : nullptr;
    return at ? int16_t(at - f.letters + 1) : int16_t(0);
}

static void fill_menu(DialogPtr dialog, const dialog_field &f,
                      const settings_target *target)
{
    const int16_t id = int16_t(f.least);
    const MenuHandle menu = GetMenu(id);
    Str255 text;

    GetFromStrList(list_of(target, f.place), int16_t(f.place.at), text);
    const bool first = f.most && text[0] == 0;
    up_set(dialog, f.item, menu, id,
           first ? int16_t(1) : SearchMenu(menu, text));
}

static void fill_choice(DialogPtr dialog, const dialog_field &f, int32_t number)
{
    const int16_t choice = choice_of(f, number);

    if (f.kind == kFieldPopUp) {
        up_set(dialog, f.item, nullptr, 0, choice);
        return;
    }
    for (int16_t i = 0; i < f.most; i++)
        SetCtlItem(dialog, int16_t(f.item + i), choice == i + 1);
}

static void fill_text(DialogPtr dialog, const dialog_field &f,
                      const settings_target *target)
{
    Str255 text;
    OSType code = 0;

    switch (f.kind) {
    case kFieldControl:
        GetFromStrList(list_of(target, f.place), int16_t(f.place.at), text);
        SetCCText(dialog, f.item, text);
        break;
    case kFieldByte:
        text[1] = *number_at(target, f.place);
        text[0] = text[1] != 0;
        SetCCText(dialog, f.item, text);
        break;
    default:
        for (int i = 0; i < 4; i++)
            code = code << 8 | number_at(target, f.place)[i];
        SetDFType(dialog, f.item, code, false);
        break;
    }
}

static bool any_set(const dialog_field &f, int32_t number)
{
    return (f.bits ? number & f.bits : number) != 0;
}

static void fill_field(DialogPtr dialog, const dialog_field &f,
                       const settings_target *target)
{
    const int32_t number =
        f.place.size && f.kind != kFieldCode ? read_number(target, f.place) : 0;

    switch (f.kind) {
    case kFieldOn:
        SetCtlItem(dialog, f.item, any_set(f, number));
        break;
    case kFieldOff:
        SetCtlItem(dialog, f.item, !any_set(f, number));
        break;
    case kFieldRadio:
    case kFieldPopUp:
        fill_choice(dialog, f, number);
        break;
    case kFieldMenu:
        fill_menu(dialog, f, target);
        break;
    case kFieldNumber:
        SetNum(dialog, f.item, f.shown ? f.shown(number) : number);
        break;
    case kFieldPoints:
        SetPts(dialog, f.item, number, IsMetric());
        break;
    default:
        fill_text(dialog, f, target);
        break;
    }
}

static void look_at(DialogPtr dialog, const dialog_field &f, shown_field *now)
{
    now->value = 0;
    now->text[0] = 0;
    switch (f.kind) {
    case kFieldOn:
    case kFieldOff:
        now->value = GetDialogItemValue(dialog, f.item);
        break;
    case kFieldRadio:
        for (int16_t i = 0; i < f.most; i++) {
            if (GetDialogItemValue(dialog, int16_t(f.item + i)))
                now->value = int16_t(i + 1);
        }
        break;
    case kFieldPopUp:
    case kFieldMenu:
        now->value = GetPopVal(f.item, 0);
        break;
    default:
        GetDialogItemText(dialog, f.item, now->text);
        break;
    }
}

static bool same_look(const shown_field &a, const shown_field &b)
{
    return a.value == b.value && pstrequal(a.text, b.text);
}

static void store_bits(const dialog_field &f, const settings_target *target,
                       bool on)
{
    const int32_t number = read_number(target, f.place);

    if (f.bits)
        write_number(target, f.place, on ? number | f.bits : number & ~f.bits);
    else
        write_number(target, f.place, on);
}

static void store_choice(const dialog_field &f, const settings_target *target,
                         int16_t choice)
{
    int32_t number = choice - 1;

    if (choice < 1)
        return;
    if (f.letters[0]) {
        if (number >= int32_t(strlen(f.letters)))
            return;
        number = uint8_t(f.letters[number]);
    } else if (f.bits) {
        number = (read_number(target, f.place) & ~f.bits) |
                 ((number * lowest_bit(f.bits)) & f.bits);
    }
    write_number(target, f.place, number);
}

static void store_number(DialogPtr dialog, const dialog_field &f,
                         const settings_target *target)
{
    const int32_t value = std::clamp(GetNum(dialog, f.item), f.least, f.most);

    write_number(target, f.place, f.stored ? f.stored(value) : value);
}

// A list that memory is short for stays as it was, and the user hears it.
static void store_string(const dialog_field &f, const settings_target *target,
                         ConstStr text)
{
    if (SetStrInList(list_of(target, f.place), int16_t(f.place.at), text) !=
        noErr)
        SysBeep(5);
}

static void store_text(DialogPtr dialog, const dialog_field &f,
                       const settings_target *target, int16_t choice)
{
    Str255 text;

    switch (f.kind) {
    case kFieldMenu:
        text[0] = 0;
        if (choice > 1 || !f.most)
            GetMenuItemText(GetMenu(int16_t(f.least)), choice, text);
        store_string(f, target, text);
        break;
    case kFieldControl:
        GetCCText(dialog, f.item, text);
        store_string(f, target, text);
        break;
    case kFieldByte:
        GetCCText(dialog, f.item, text);
        write_number(target, f.place, text[0] ? text[1] : 0);
        break;
    default: {
        const OSType code = GetDFType(dialog, f.item);
        for (int i = 0; i < 4; i++)
            number_at(target, f.place)[i] = uint8_t(code >> (24 - 8 * i));
        break;
    }
    }
}

static void store_field(DialogPtr dialog, const dialog_field &f,
                        const settings_target *target, int16_t value)
{
    constexpr int32_t kMostPoints = INT16_MAX;

    switch (f.kind) {
    case kFieldOn:
        store_bits(f, target, value != 0);
        break;
    case kFieldOff:
        store_bits(f, target, value == 0);
        break;
    case kFieldRadio:
    case kFieldPopUp:
        store_choice(f, target, value);
        break;
    case kFieldNumber:
        store_number(dialog, f, target);
        break;
    case kFieldPoints:
        write_number(target, f.place,
                     std::min(GetPts(dialog, f.item, IsMetric()), kMostPoints));
        break;
    default:
        store_text(dialog, f, target, value);
        break;
    }
}

// ---- the runner ------------------------------------------------------------

// A click on a field: boxes and radio buttons follow it.
static void click_field(DialogPtr dialog, const settings_dialog *settings,
                        int16_t item)
{
    for (int i = 0; i < settings->count; i++) {
        const dialog_field &f = settings->fields[i];
        if ((f.kind == kFieldOn || f.kind == kFieldOff) && f.item == item)
            SetCtlItem(dialog, item, !GetDialogItemValue(dialog, item));
        else if (f.kind == kFieldRadio && item >= f.item &&
                 item < f.item + f.most)
            for (int16_t n = 0; n < f.most; n++)
                SetCtlItem(dialog, int16_t(f.item + n), f.item + n == item);
        else if ((f.kind == kFieldPopUp || f.kind == kFieldMenu) &&
                 item == pop_item(f.item))
            (void)HdlPop(dialog, item); // the table of pop-ups has the choice
    }
}

// A number that is refused: its field, selected, has the keys.
static bool numbers_accepted(DialogPtr dialog, const settings_dialog *settings,
                             const shown_field *shown)
{
    for (int i = 0; i < settings->count; i++) {
        const dialog_field &f = settings->fields[i];
        shown_field now;
        if (!f.refuses)
            continue;
        look_at(dialog, f, &now);
        const int32_t value = GetNum(dialog, f.item);
        if (same_look(now, shown[i]) || (value >= f.least && value <= f.most))
            continue;
        SysBeep(5);
        SelectDialogItemText(dialog, f.item, 0, 255);
        return false;
    }
    return true;
}

static bool wait_for_ok(DialogPtr dialog, const settings_dialog *settings,
                        const shown_field *shown)
{
    for (;;) {
        int16_t item = 0;
        ModalDialog(nullptr, &item);
        if (item == 0)
            item = kItemCancel; // it isn't in front any more
        click_field(dialog, settings, item);
        if (settings->hit)
            settings->hit(dialog, item);
        if (item == kItemCancel)
            return false;
        if (item == kItemOK && numbers_accepted(dialog, settings, shown))
            return true;
    }
}

static void store_edited(DialogPtr dialog, const settings_dialog *settings,
                         const settings_target *target,
                         const shown_field *shown)
{
    for (int i = 0; i < settings->count; i++) {
        const dialog_field &f = settings->fields[i];
        shown_field now;
        look_at(dialog, f, &now);
        if (!same_look(now, shown[i]))
            store_field(dialog, f, target, now.value);
    }
}

// ---- did a byte change? ----------------------------------------------------

struct snapshot {
    cset_t connection;
    qset_t global;
    Handle strings, globals;
};

static Handle copy_of_list(Handle list)
{
    if (list && HandToHand(&list) != noErr)
        return nullptr;
    return list;
}

static void take_snapshot(const settings_target *target, snapshot *before)
{
    if (target->connection)
        before->connection = *target->connection;
    if (target->global)
        before->global = *target->global;
    before->strings = copy_of_list(target->strings);
    before->globals = copy_of_list(target->globals);
}

static bool list_differs(Handle list, Handle before)
{
    if (!list || !before)
        return list != before;
    return GetHandleSize(list) != GetHandleSize(before) ||
           memcmp(*list, *before, size_t(GetHandleSize(list))) != 0;
}

// Lets the snapshot go.
static bool differs(const settings_target *target, snapshot *before)
{
    const bool any =
        (target->connection && memcmp(target->connection, &before->connection,
                                      sizeof before->connection) != 0) ||
        (target->global &&
         memcmp(target->global, &before->global, sizeof before->global) != 0) ||
        list_differs(target->strings, before->strings) ||
        list_differs(target->globals, before->globals);
    DisposeHandle(before->strings);
    DisposeHandle(before->globals);
    return any;
}

SettingsResult RunSettings(const settings_dialog *settings,
                           const settings_target *target)
{
    shown_field shown[kMaxFields];
    snapshot before = {};
    const DialogPtr dialog = GetNewDialog(settings->id);

    assert(settings->count <= kMaxFields);
    if (!dialog)
        return kSettingsCancelled;
    SetDialogDefaultItem(dialog, kItemOK);
    SetDialogCancelItem(dialog, kItemCancel);
    for (int i = 0; i < settings->count; i++) {
        fill_field(dialog, settings->fields[i], target);
        look_at(dialog, settings->fields[i], &shown[i]);
    }
    if (settings->begin)
        settings->begin(dialog);
    ShowWindow(dialog);

    take_snapshot(target, &before);
    const bool ok = wait_for_ok(dialog, settings, shown);
    if (ok)
        store_edited(dialog, settings, target, shown);
    for (int i = 0; i < settings->count; i++) {
        const dialog_field &f = settings->fields[i];
        if (f.kind == kFieldPopUp || f.kind == kFieldMenu)
            (void)GetPopVal(f.item, 1); // read already; lets the menu go
    }
    if (settings->end)
        settings->end();
    DisposeDialog(dialog);
    const bool changed = differs(target, &before);
    if (!ok)
        return kSettingsCancelled;
    return changed ? kSettingsChanged : kSettingsSame;
}
