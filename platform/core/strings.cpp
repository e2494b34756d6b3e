// Numbers as text, comparing names, and strings with a length byte.
//
// Case is folded for all of Mac Roman. Order and equality without marks go by
// the base letter, so that accented names stand among the plain ones.
#include "platform/types.h"

#include <cstdio>
#include <cstring>

// ---- numbers and conversions -----------------------------------------------

void NumToString(int32_t number, Str255 out)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%d", int(number));
    CopyCStringToPascal(digits, out);
}

void CopyCStringToPascal(const char *from, Str255 to)
{
    size_t length = std::strlen(from);
    if (length > 255)
        length = 255;
    std::memmove(to + 1, from, length);
    to[0] = uint8_t(length);
}

void CopyPascalStringToC(ConstStr from, char *to)
{
    size_t length = from[0];
    std::memmove(to, from + 1, length);
    to[length] = 0;
}

// ---- comparing -------------------------------------------------------------

// The capital of each byte from 0x80, and its plain capital: without marks.
// clang-format off
static constexpr uint8_t capitalsHigh[128] = {
    0x80,0x81,0x82,0x83,0x84,0x85,0x86,0xE7,0xCB,0xE5,0x80,0xCC,0x81,0x82,0x83,0xE9,
    0xE6,0xE8,0xEA,0xED,0xEB,0xEC,0x84,0xEE,0xF1,0xEF,0x85,0xCD,0xF2,0xF4,0xF3,0x86,
    0xA0,0xA1,0xA2,0xA3,0xA4,0xA5,0xA6,0xA7,0xA8,0xA9,0xAA,0xAB,0xAC,0xAD,0xAE,0xAF,
    0xB0,0xB1,0xB2,0xB3,0xB4,0xB5,0xB6,0xB7,0xB8,0xB9,0xBA,0xBB,0xBC,0xBD,0xAE,0xAF,
    0xC0,0xC1,0xC2,0xC3,0xC4,0xC5,0xC6,0xC7,0xC8,0xC9,0xCA,0xCB,0xCC,0xCD,0xCE,0xCE,
    0xD0,0xD1,0xD2,0xD3,0xD4,0xD5,0xD6,0xD7,0xD9,0xD9,0xDA,0xDB,0xDC,0xDD,0xDE,0xDF,
    0xE0,0xE1,0xE2,0xE3,0xE4,0xE5,0xE6,0xE7,0xE8,0xE9,0xEA,0xEB,0xEC,0xED,0xEE,0xEF,
    0xF0,0xF1,0xF2,0xF3,0xF4,0xF5,0xF6,0xF7,0xF8,0xF9,0xFA,0xFB,0xFC,0xFD,0xFE,0xFF,
};
static constexpr uint8_t plainHigh[128] = {
    'A', 'A', 'C', 'E', 'N', 'O', 'U', 'A', 'A', 'A', 'A', 'A', 'A', 'C', 'E', 'E',
    'E', 'E', 'I', 'I', 'I', 'I', 'N', 'O', 'O', 'O', 'O', 'O', 'U', 'U', 'U', 'U',
    0xA0,0xA1,0xA2,0xA3,0xA4,0xA5,0xA6,0xA7,0xA8,0xA9,0xAA,0xAB,0xAC,0xAD,0xAE,'O',
    0xB0,0xB1,0xB2,0xB3,0xB4,0xB5,0xB6,0xB7,0xB8,0xB9,0xBA,'A', 'O', 0xBD,0xAE,'O',
    0xC0,0xC1,0xC2,0xC3,0xC4,0xC5,0xC6,'"', '"', 0xC9,' ', 'A', 'A', 'O', 0xCE,0xCE,
    0xD0,0xD1,'"', '"', '\'','\'',0xD6,0xD7,'Y', 'Y', 0xDA,0xDB,0xDC,0xDD,0xDE,0xDF,
    0xE0,0xE1,0xE2,0xE3,0xE4,'A', 'E', 'A', 'E', 'E', 'I', 'I', 'I', 'I', 'O', 'O',
    0xF0,'O', 'U', 'U', 'U', 0xF5,0xF6,0xF7,0xF8,0xF9,0xFA,0xFB,0xFC,0xFD,0xFE,0xFF,
};
// clang-format on

static uint8_t capital(uint8_t c)
{
    if (c >= 128)
        return capitalsHigh[c - 128];
    return c >= 'a' && c <= 'z' ? uint8_t(c - 32) : c;
}

static uint8_t plain_capital(uint8_t c)
{
    return c >= 128 ? plainHigh[c - 128] : capital(c);
}

// A letter's marks off, its case kept.
static uint8_t plain(uint8_t c)
{
    uint8_t p = plain_capital(c);
    bool small = capital(c) != c && p >= 'A' && p <= 'Z';
    return c < 128 ? c : small ? uint8_t(p + 32) : p;
}

bool EqualString(ConstStr a, ConstStr b, bool caseSens, bool marks)
{
    if (a[0] != b[0])
        return false;
    for (int i = 1; i <= a[0]; i++) {
        uint8_t x = a[i], y = b[i];
        if (!marks) {
            x = plain(x);
            y = plain(y);
        }
        if (!caseSens) {
            x = capital(x);
            y = capital(y);
        }
        if (x != y)
            return false;
    }
    return true;
}

// By base letters first; marks decide between names that are else the same.
int16_t IdenticalText(const void *a, const void *b, int16_t lenA, int16_t lenB)
{
    const uint8_t *x = static_cast<const uint8_t *>(a);
    const uint8_t *y = static_cast<const uint8_t *>(b);
    int common = lenA < lenB ? lenA : lenB;
    for (int i = 0; i < common; i++) {
        int d = plain_capital(x[i]) - plain_capital(y[i]);
        if (d != 0)
            return d < 0 ? -1 : 1;
    }
    if (lenA != lenB)
        return lenA < lenB ? -1 : 1;
    for (int i = 0; i < common; i++) {
        int d = capital(x[i]) - capital(y[i]);
        if (d != 0)
            return d < 0 ? -1 : 1;
    }
    return 0;
}

int16_t IdenticalString(ConstStr a, ConstStr b)
{
    return IdenticalText(a + 1, b + 1, a[0], b[0]);
}
