// Settings dialogs by table. A row ties an item of a dialog to a place in the
// settings; one runner fills the items, waits for OK or Cancel, and stores
// what was edited.
//
// An item that wasn't edited stores nothing, so its bytes stay as they were,
// also those that it can't show. Cancel stores nothing at all. In each of
// these dialogs item 1 is OK and item 2 is Cancel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "base/DPopup.h"
#include "connect/Settings.h"
#include "platform/dialogs.h"

constexpr int kMaxFields = 24;        // rows of a dialog
constexpr int16_t kItemOK = 1;        // of each settings dialog
constexpr int16_t kItemCancel = 2;    // the same
constexpr const char *kOneToOne = ""; // values count from 0 in their order

// ---- what a dialog works on ------------------------------------------------
// Copies or the settings themselves: the runner writes at OK alone, and `set`
// is null where a dialog has no field of that kind.

struct settings_target {
    cset_t *connection;
    Handle strings; // of that connection
    qset_t *global;
    Handle globals; // the global strings
};

// ---- fields ----------------------------------------------------------------

enum FieldKind : uint8_t {
    kFieldOn,      // box: on when any of the bits is set
    kFieldOff,     // box: on when they are clear
    kFieldRadio,   // buttons from `item` on: a letter or a number each
    kFieldPopUp,   // pop-up behind label `item`: the same
    kFieldNumber,  // text: from `least` to `most`
    kFieldPoints,  // text: a length, kept in sixteenths of a point
    kFieldControl, // text in control-character notation
    kFieldByte,    // the first character of such a text, 0 if it is empty
    kFieldCode,    // text: four characters
    kFieldMenu,    // pop-up whose item's text is stored
};

enum FieldPlace : uint8_t {
    kInConnection,
    kInGlobal,
    kInStrings,
    kInGlobals,
};

// A number or a text within the target.
struct field_place {
    FieldPlace of;
    uint16_t at;  // offset in the record, or index in the list
    uint8_t size; // bytes of the number; 0 is a text of a list
    bool isSigned;
};

#define CONNECTION(member)                                                     \
    field_place                                                                \
    {                                                                          \
        kInConnection, offsetof(cset_t, member), sizeof(cset_t::member),       \
            std::is_signed_v<decltype(cset_t::member)>                         \
    }
#define GLOBAL(member)                                                         \
    field_place                                                                \
    {                                                                          \
        kInGlobal, offsetof(qset_t, member), sizeof(qset_t::member),           \
            std::is_signed_v<decltype(qset_t::member)>                         \
    }

constexpr field_place connection_string(uint16_t index)
{
    return {kInStrings, index, 0, false};
}

constexpr field_place global_string(uint16_t index)
{
    return {kInGlobals, index, 0, false};
}

struct dialog_field {
    int16_t item; // of the dialog; a pop-up's label, the first radio button
    FieldKind kind;
    field_place place;
    uint8_t bits;        // that the field is about, from the lowest of them
                         // on; 0 is the whole number
    const char *letters; // of choices in order: a letter each, or kOneToOne
    int32_t least, most; // number; of kFieldMenu the menu, and whether its
                         // first item stores the empty text
    bool refuses;        // a number out of range, by a beep; else it is clamped
    int32_t (*shown)(int32_t value);  // what is shown of a number, if not null
    int32_t (*stored)(int32_t value); // number: the same at OK, after the range
};

constexpr dialog_field field_on(int16_t item, field_place place, uint8_t bits)
{
    return {item, kFieldOn, place, bits,    nullptr,
            0,    0,        false, nullptr, nullptr};
}

constexpr dialog_field field_off(int16_t item, field_place place, uint8_t bits)
{
    return {item, kFieldOff, place, bits,    nullptr,
            0,    0,         false, nullptr, nullptr};
}

// `count` buttons in a row of items.
constexpr dialog_field field_radio(int16_t item, field_place place, int count,
                                   const char *letters = kOneToOne,
                                   uint8_t bits = 0,
                                   int32_t (*shown)(int32_t) = nullptr)
{
    return {item, kFieldRadio, place, bits,  letters,
            0,    count,       false, shown, nullptr};
}

// The item stands for a letter, or for its number from 0 within the bits.
constexpr dialog_field field_popup(int16_t label, field_place place,
                                   const char *letters = kOneToOne,
                                   uint8_t bits = 0)
{
    return {label, kFieldPopUp, place, bits,    letters,
            0,     0,           false, nullptr, nullptr};
}

// A choice whose text is stored; `firstIsEmpty`: item 1 stores no text.
constexpr dialog_field field_menu(int16_t label, field_place place,
                                  int16_t menu, bool firstIsEmpty)
{
    return {label, kFieldMenu,   place, 0,       nullptr,
            menu,  firstIsEmpty, false, nullptr, nullptr};
}

constexpr dialog_field field_number(int16_t item, field_place place,
                                    int32_t least, int32_t most,
                                    int32_t (*shown)(int32_t) = nullptr,
                                    int32_t (*stored)(int32_t) = nullptr)
{
    return {item,  kFieldNumber, place, 0,     nullptr,
            least, most,         false, shown, stored};
}

constexpr dialog_field field_refusing(int16_t item, field_place place,
                                      int32_t least, int32_t most)
{
    return {item,  kFieldNumber, place, 0,       nullptr,
            least, most,         true,  nullptr, nullptr};
}

// Points, control-character texts, bytes and codes.
constexpr dialog_field field_of(int16_t item, FieldKind kind, field_place place)
{
    return {item, kind, place, 0, nullptr, 0, 0, false, nullptr, nullptr};
}

// ---- the runner ------------------------------------------------------------

struct settings_dialog {
    int16_t id;
    const dialog_field *fields;
    int count;
    // Each may be null. `begin` runs once, when the fields are filled and
    // before the dialog shows; `hit` at each item hit, also at OK and Cancel;
    // `end` just before the dialog goes.
    void (*begin)(DialogPtr dialog);
    void (*hit)(DialogPtr dialog, int16_t item);
    void (*end)() = nullptr;
};

enum SettingsResult : uint8_t {
    kSettingsCancelled, // nothing was stored
    kSettingsSame,      // OK, and no byte differs
    kSettingsChanged,   // OK
};

SettingsResult RunSettings(const settings_dialog *settings,
                           const settings_target *target);

// Do the rows fit the tables behind them? A pop-up's label has an even number.
template <size_t N>
consteval bool dialog_fields_ok(const dialog_field (&rows)[N])
{
    for (const dialog_field &f : rows) {
        const bool popup = f.kind == kFieldPopUp || f.kind == kFieldMenu;
        const bool text = f.kind == kFieldControl || f.kind == kFieldMenu;
        const bool choice = f.kind == kFieldRadio || f.kind == kFieldPopUp;
        if (f.item <= kItemCancel || (popup && (f.item & 1)) ||
            (popup && f.item / 2 >= kPopUps) || text != (f.place.size == 0) ||
            choice != (f.letters != nullptr))
            return false;
    }
    return N <= kMaxFields;
}

// ---- field helpers ---------------------------------------------------------

void SetCtlItem(DialogPtr dialog, int16_t item, int16_t value);
void SetNum(DialogPtr dialog, int16_t item, int32_t value);

// 0 for an empty field. More digits than a number holds give the largest or
// the smallest one.
int32_t GetNum(DialogPtr dialog, int16_t item);

// The item with that text, 0 if none.
int16_t SearchMenu(MenuHandle menu, ConstStr text);

// Control-character notation: a byte below 32 is "^" and the byte plus 64, "^"
// is "^^". At most 255 characters come out.
void SetCCText(DialogPtr dialog, int16_t item, ConstStr string);
void GetCCText(DialogPtr dialog, int16_t item, Str255 out);

// A code as four characters, selected with `select`; a shorter text is padded
// with blanks.
void SetDFType(DialogPtr dialog, int16_t item, OSType code, bool select);
OSType GetDFType(DialogPtr dialog, int16_t item);

// A length in sixteenths of a point, shown in millimeters with `metric`, else
// in inches, with one decimal digit.
void SetPts(DialogPtr dialog, int16_t item, int32_t value, bool metric);
int32_t GetPts(DialogPtr dialog, int16_t item, bool metric);
int32_t Str2Fixed(ConstStr string); // in 16.16; no sign
