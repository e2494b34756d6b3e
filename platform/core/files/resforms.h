// The byte forms of the resources that the platform itself reads: windows,
// dialogs, alerts, menus. tools/rescomp writes them from resources/*.toml;
// menus, dialogs, alerts and windows read them by ResReader.
//
// Everything is big-endian and packed, with no filling. A "pstring" is a length
// byte and that many bytes; a "text" is a 16-bit length and that many bytes,
// for what may pass 255 bytes. Texts are Mac Roman, with return (13) between
// lines. A "rect" is four signed 16-bit numbers: top, left, bottom, right,
// in points at scale 1, in window coordinates for items.
//
// MENU  i16 id, u8 flags (kMenuEnabled), pstring title, u16 count, count items:
//         pstring text, u8 flags (kItem...), u8 command key (0: none),
//         u8 mark (0: none; kCheckMark), u8 style (QuickDraw face bits),
//         i16 id of the submenu (0: none)
// MBAR  u16 count, count times i16 menu id
// WIND  rect bounds (screen), u8 flags (kWindow...), u8 place (kPlace...),
//         i16 least width, i16 least height (0: none), pstring title
// DLOG  rect bounds (screen; only its size counts unless kPlaceAsGiven),
//         u8 flags (kWindow...), u8 place, u8 manner (kDialog...),
//         i16 default item, i16 cancel item (0: none), pstring title,
//         u16 count, count items, numbered from 1:
//         u8 kind (kKind...), u8 flags (kItem...), rect, i16 parameter,
//         text text, pstring accessible name (empty: its own text, or that
//         of the item before)
//       The parameter is: popup control: its menu id; icon: icon id; progress:
//       its maximum; edit text: the most bytes it takes (0: 255); else 0.
//       Static text may hold "^0" to "^3", filled by ParamText. Edit text that
//       is higher than 40 holds several lines.
// ALRT  u8 place, u8 default button, u8 cancel button (0: none), u8 count,
//         count pstrings (the buttons, which are items 1 to count),
//         text message (may hold "^0" to "^3"), text explanation (smaller,
//         below; mostly empty; may hold "^0" to "^3" too)
// STR#  u16 count, count pstrings
// STR   pstring. eSTR  pstring.
// vers  u8 major, u8 minor and fix as two digits, u8 stage, u8 pre-release,
//         u16 region, pstring short text, pstring long text
#pragma once

#include "platform/types.h"

#include <vector>

namespace resforms {

// MENU, item flags (also DLOG items)
constexpr uint8_t kMenuEnabled = 1;
constexpr uint8_t kItemEnabled = 1;
constexpr uint8_t kItemSeparator = 2; // MENU only; its text is "-"
constexpr uint8_t kItemHidden = 4;    // DLOG only

// WIND and DLOG flags
constexpr uint8_t kWindowVisible = 1;
constexpr uint8_t kWindowGoAway = 2;
constexpr uint8_t kWindowGrow = 4; // can be resized
constexpr uint8_t kWindowZoom = 8;

// where a window comes up
constexpr uint8_t kPlaceAsGiven = 0;
constexpr uint8_t kPlaceOverMain = 1;    // centred over the main window, or
                                         // the screen while there is none
constexpr uint8_t kPlaceScreenThird = 2; // centred, a third down the screen

// DLOG manners
constexpr uint8_t kDialogModal = 0;
constexpr uint8_t kDialogModeless = 1;
constexpr uint8_t kDialogPlain = 2; // a notice: no title bar, no close box

// DLOG item kinds
constexpr uint8_t kKindButton = 1;
constexpr uint8_t kKindCheckBox = 2;
constexpr uint8_t kKindRadio = 3;
constexpr uint8_t kKindStatic = 4;
constexpr uint8_t kKindEdit = 5;
constexpr uint8_t kKindUser = 6;  // drawn by the program, reports clicks
constexpr uint8_t kKindIcon = 7;  // parameter 128 is the program's own icon
constexpr uint8_t kKindPopup = 8; // pop-up control
constexpr uint8_t kKindProgress = 9;
constexpr uint8_t kKindGroup = 10;  // a titled frame around other items
constexpr uint8_t kKindSecret = 11; // edit text that shows dots

constexpr uint8_t kCheckMark = 18; // the mark byte of a checked item

} // namespace resforms

// Reads a resource from front to back. A read past the end gives zeros and
// clears `ok`, so that a damaged record is noticed once, at its end.
struct ResReader {
    const uint8_t *p;
    const uint8_t *end;
    bool ok = true;

    bool has(size_t n)
    {
        if (size_t(end - p) >= n)
            return true;
        ok = false;
        p = end;
        return false;
    }
    uint8_t u8() { return has(1) ? *p++ : uint8_t(0); }
    uint16_t u16()
    {
        if (!has(2))
            return 0;
        uint16_t v = uint16_t(p[0] << 8 | p[1]);
        p += 2;
        return v;
    }
    int16_t i16() { return int16_t(u16()); }
    Rect rect()
    {
        Rect r = {}; // in a fixed order, so not in one expression
        r.top = i16();
        r.left = i16();
        r.bottom = i16();
        r.right = i16();
        return r;
    }
    // A pstring in place: its length byte's address, or an empty string.
    const uint8_t *pstring()
    {
        static const uint8_t none[1] = {0};
        if (!has(1) || !has(1u + *p))
            return none;
        const uint8_t *s = p;
        p += 1 + *s;
        return s;
    }
    // A text in place: its bytes and length.
    const uint8_t *text(size_t *length)
    {
        *length = u16();
        if (!has(*length)) {
            *length = 0;
            return end;
        }
        const uint8_t *s = p;
        p += *length;
        return s;
    }
};

// Reads resource `id` of `type` into `bytes`; the reader stays with them. Not
// `ok` when there is no such resource.
ResReader read_form(OSType type, int16_t id, std::vector<uint8_t> *bytes);
