// The shapes that every service shares: strings with a length byte, points
// and rectangles in window units, four-letter codes, result codes, dates and
// the small text calls.
#pragma once

#include <cstddef>
#include <cstdint>

using Str255 = uint8_t[256]; // a length byte, then up to 255 bytes, Mac Roman
using Str63 = uint8_t[64];
using Str31 = uint8_t[32];
using ConstStr = const uint8_t *; // any of them, read only
using StringPtr = uint8_t *;      // any of them, to be written
using Ptr = uint8_t *;
using Handle = uint8_t **; // a block that may move; see memory.h
using OSType = uint32_t;   // four letters, the first one highest
using OSErr = int16_t;     // 0 or a small negative code

// FOUR("TEXT") is 0x54455854.
constexpr OSType FOUR(const char (&s)[5])
{
    return OSType(uint8_t(s[0])) << 24 | OSType(uint8_t(s[1])) << 16 |
           OSType(uint8_t(s[2])) << 8 | OSType(uint8_t(s[3]));
}

// A literal as a length-prefixed string: PSTR("Local"). At most 255 bytes.
template <size_t N> struct pstr_literal {
    uint8_t bytes[N];
    consteval pstr_literal(const char (&s)[N]) : bytes{}
    {
        static_assert(N <= 256);
        bytes[0] = uint8_t(N - 1);
        for (size_t i = 0; i + 1 < N; i++)
            bytes[i + 1] = uint8_t(s[i]);
    }
};
#define PSTR(text)                                                             \
    ([]() -> ConstStr {                                                        \
        static constexpr pstr_literal<sizeof(text)> kText{text};               \
        return kText.bytes;                                                    \
    }())

// Points and rectangles are in units of 1/72 inch by tradition and one screen
// pixel at scale 1 in fact. A rectangle holds left and top and leaves out
// right and bottom; it is empty when right <= left or bottom <= top.
struct Point {
    int16_t v, h;
};
struct Rect {
    int16_t top, left, bottom, right;

    bool operator==(const Rect &) const = default;
};
struct RGBColor {
    uint16_t red, green, blue; // 0 to 65535
};

// Opaque objects. A dialog is a window with items.
struct QlWindow;
struct QlControl;
struct QlMenu;
struct QlRegion;
using WindowPtr = QlWindow *;
using DialogPtr = QlWindow *;
using ControlHandle = QlControl *;
using MenuHandle = QlMenu *;
using RgnHandle = QlRegion *;

// Result codes of the services, with the classic numbers.
enum : OSErr {
    noErr = 0,
    dirFulErr = -33,
    dskFulErr = -34,
    nsvErr = -35, // no such volume
    ioErr = -36,
    bdNamErr = -37, // a name that can't be: empty, ".", "..", NUL, too long
    fnOpnErr = -38,
    eofErr = -39,
    posErr = -40,
    tmfoErr = -42,  // too many files open
    fnfErr = -43,   // file not found
    wPrErr = -44,   // the volume can't be written
    fLckdErr = -45, // the file is locked
    fBsyErr = -47,
    dupFNErr = -48, // a file of that name exists
    opWrErr = -49,  // already open for writing
    paramErr = -50,
    rfNumErr = -51, // no such open file
    permErr = -54,
    nsDrvErr = -56,
    wrPermErr = -61,  // open for reading only
    noTypeErr = -102, // no such clipboard flavour
    memFullErr = -108,
    dirNFErr = -120, // folder not found
    userCanceledErr = -128,
    resNotFound = -192,
    resFNotFound = -193,
    addResFailed = -194,
    mapReadErr = -199, // not a resource file, or a damaged one
    laterErr = -200,   // a resource file of a form that isn't known yet
    eventNotHandledErr = -9874,
};

// ---- dates and numbers (platform/core/dates) -------------------------------

// Seconds since the start of 1904, local time.
constexpr uint32_t kUnixIn1904 = 2082844800; // the start of 1970
void GetDateTime(uint32_t *seconds);

// Short form of the user's locale (yyyy-mm-dd where the locale gives none).
void DateString(uint32_t seconds, Str255 out);
void TimeString(uint32_t seconds, bool withSeconds, Str255 out);

void NumToString(int32_t number, Str255 out);

// ---- text (platform/core/strings) ------------------------------------------

void CopyCStringToPascal(const char *from, Str255 to); // cut at 255
void CopyPascalStringToC(ConstStr from, char *to);     // `to`: 256 bytes

// Equality without case; letters with accents are equal to those without only
// in IdenticalString's sense when `marks` is false.
bool EqualString(ConstStr a, ConstStr b, bool caseSens, bool marks);

// 0 when equal without regard to case, else -1 or 1 by order.
int16_t IdenticalString(ConstStr a, ConstStr b);
int16_t IdenticalText(const void *a, const void *b, int16_t lenA, int16_t lenB);
