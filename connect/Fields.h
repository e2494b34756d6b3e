// The layout of the two records of a phone book, `Dial` (cset_t) and `qSet`
// (qset_t): one row a field, without gaps. The routines that carry a record
// between memory and the book go by these tables, and so do the templates in
// resources/templates.toml.
#pragma once

#include <cstddef>
#include <cstdint>

#include "connect/Settings.h"

enum FieldForm : uint8_t {
    kU8,       // numbers of one byte, or characters
    kU16,      // numbers, big-endian in the book
    kU32,      // the same
    kOwnOrder, // numbers of 16 bits in the order of the machine that wrote them
    kChars,    // a text of exactly so many characters
    kPString,  // a length byte and a text, in so many bytes altogether
};

constexpr uint16_t width_of(FieldForm form)
{
    return form == kU32 ? 4 : form == kU16 || form == kOwnOrder ? 2 : 1;
}

struct record_field {
    const char *name;
    uint16_t offset; // in the book, and in memory as well
    FieldForm form;
    uint16_t count;          // elements, or bytes of a text
    uint16_t memberAt, size; // of the member in the struct
};

// Does each row begin where the one before it ends, is its member there, and
// does the last one end the record?
template <size_t N>
consteval bool fields_ok(const record_field (&fields)[N], size_t recordSize)
{
    size_t at = 0;
    for (const record_field &f : fields) {
        if (f.offset != at || f.memberAt != at ||
            f.size != f.count * width_of(f.form))
            return false;
        at += f.size;
    }
    return at == recordSize;
}

#define FIELD(member, offset, form, count)                                     \
    {                                                                          \
#member, offset, form, count, uint16_t(offsetof(RECORD, member)),      \
            uint16_t(sizeof(RECORD::member))                                   \
    }

// clang-format off
#define RECORD cset_t
constexpr record_field csetFields[] = {
    FIELD(baudWord,         0, kU16,       1),
    FIELD(parityChar,       2, kU8,        1),
    FIELD(dataChar,         3, kU8,        1),
    FIELD(stopChar,         4, kU8,        1),
    FIELD(echoFlag,         5, kU8,        1),
    FIELD(termFlags,        6, kU8,        1),
    FIELD(reserved7,        7, kU8,        1),
    FIELD(bsKey,            8, kU8,        1),
    FIELD(flowFlags,        9, kU8,        1),
    FIELD(hasPhone,        10, kU8,        1),
    FIELD(bufFlags,        11, kU8,        1),
    FIELD(termType,        12, kU8,        1),
    FIELD(maxTries,        13, kU8,        1),
    FIELD(macroSetID,      14, kU16,       1),
    FIELD(dconvChar,       16, kU8,        1),
    FIELD(xferFlags,       17, kU8,        1),
    FIELD(rcvProto,        18, kU8,        1),
    FIELD(sendProto,       19, kU8,        1),
    FIELD(xmTimeout,       20, kU8,        1),
    FIELD(xmStartTimeout,  21, kU8,        1),
    FIELD(szTimeout,       22, kU8,        1),
    FIELD(rzTimeout,       23, kU8,        1),
    FIELD(paceFlags,       24, kU8,        1),
    FIELD(reserved25,      25, kU8,        1),
    FIELD(charDelay,       26, kU8,        1),
    FIELD(reserved27,      27, kU8,        1),
    FIELD(lineDelay,       28, kU16,       1),
    FIELD(promptChar,      30, kU8,        1),
    FIELD(reserved31,      31, kU8,        1),
    FIELD(zBlockChar,      32, kU8,        1),
    FIELD(zFlags,          33, kU8,        1),
    FIELD(reserved34,      34, kU16,       1),
    FIELD(zWindow,         36, kU16,       1),
    FIELD(reserved38,      38, kU16,       1),
    FIELD(reserved40,      40, kU8,        1),
    FIELD(hostNames,       41, kU8,        1),
    FIELD(kermLen,         42, kU16,       1),
    FIELD(kermCheck,       44, kU8,        1),
    FIELD(reserved45,      45, kU8,        3),
    FIELD(reserved48,      48, kU16,       1),
    FIELD(reserved50,      50, kU16,       1),
    FIELD(lastConnect,     52, kU32,       1),
    FIELD(reserved56,      56, kU16,       1),
    FIELD(reserved58,      58, kU32,       1),
    FIELD(reserved62,      62, kU8,        2),
    FIELD(reserved64,      64, kU32,       1),
    FIELD(reserved68,      68, kU8,        2),
    FIELD(localStrID,      70, kU16,       1),
    FIELD(oldPhone,        72, kPString,  32),
    FIELD(oldZStart,      104, kPString,  24),
    FIELD(baudLong,       128, kU32,       1),
    FIELD(reserved132,    132, kU32,       1),
};
#undef RECORD

#define RECORD qset_t
constexpr record_field qsetFields[] = {
    FIELD(inBufSize,        0, kU16,       1),
    FIELD(portNumber,       2, kU16,       1),
    FIELD(portIn,           4, kU16,       1),
    FIELD(portOut,          6, kU16,       1),
    FIELD(bufWinLoc,        8, kU16,       2),
    FIELD(rcvFolder,       12, kU32,       1),
    FIELD(winRectSmall,    16, kU16,       4),
    FIELD(zoomRectSmall,   24, kU16,       4),
    FIELD(winRectLarge,    32, kU16,       4),
    FIELD(zoomRectLarge,   40, kU16,       4),
    FIELD(zoomFlags,       48, kU16,       1),
    FIELD(fileBufSize,     50, kU16,       1),
    FIELD(xferWinLoc,      52, kOwnOrder,  2),
    FIELD(findWinLoc,      56, kU16,       2),
    FIELD(dialWinLoc,      60, kU16,       2),
    FIELD(termFontSize,    64, kU8,        1),
    FIELD(keyFlags,        65, kU8,        1),
    FIELD(printFontSize,   66, kU8,        1),
    FIELD(printHeaderOff,  67, kU8,        1),
    FIELD(reserved68,      68, kU8,        4),
    FIELD(globFlags,       72, kU8,        1),
    FIELD(bgFlags,         73, kU8,        1),
    FIELD(reserved74,      74, kU8,        2),
    FIELD(useColor,        76, kU8,        1),
    FIELD(reserved77,      77, kU8,        1),
    FIELD(fgColor,         78, kU8,        1),
    FIELD(bgColor,         79, kU8,        1),
    FIELD(fgMap,           80, kChars,     8),
    FIELD(bgMap,           88, kChars,     8),
    FIELD(redialDelay,     96, kU8,        1),
    FIELD(dialTimeout,     97, kU8,        1),
    FIELD(dialType,        98, kU8,        1),
    FIELD(modemFlags,      99, kU8,        1),
    FIELD(breakShort,     100, kU8,        1),
    FIELD(breakLong,      101, kU8,        1),
    FIELD(reserved102,    102, kU8,       10),
    FIELD(textCreator,    112, kChars,     4),
    FIELD(binCreator,     116, kChars,     4),
    FIELD(binType,        120, kChars,     4),
    FIELD(reserved124,    124, kU8,        4),
    FIELD(fontName0,      128, kPString,  16),
    FIELD(fontName1,      144, kPString,  16),
    FIELD(fontName2,      160, kPString,  16),
    FIELD(fontName3,      176, kPString,  16),
    FIELD(oldDefService,  192, kPString,  32),
    FIELD(oldModemName,   224, kPString,  32),
    FIELD(bufWinRect,     256, kU16,       4),
    FIELD(dirWinRect,     264, kU16,       4),
    FIELD(reserved272,    272, kU16,       4),
    FIELD(reserved280,    280, kU16,       4),
    FIELD(pageMargins,    288, kU16,       4),
    FIELD(reserved296,    296, kU8,        8),
    FIELD(reserved304,    304, kU16,       3),
    FIELD(reserved310,    310, kU8,       10),
    FIELD(rgbTable,       320, kOwnOrder, 54),
};
#undef RECORD
// clang-format on
#undef FIELD

// A field that slips is a book that no other version can read.
static_assert(fields_ok(csetFields, kDialRecLen) &&
              sizeof(cset_t) == kDialRecLen);
static_assert(fields_ok(qsetFields, kQsetLen) && sizeof(qset_t) == kQsetLen);
