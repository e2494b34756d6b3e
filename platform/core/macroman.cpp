// Mac Roman to Unicode and back.
#include "platform/core/macroman.h"

#include <algorithm>

static constexpr char16_t upperHalf[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8, // 88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, // 98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF, // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, // A8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, // B8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, // C8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, // D8
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, // E8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC, // F0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7, // F8
};

static constexpr char32_t kMalformed = 0xFFFD;

char32_t macroman_code_point(uint8_t byte)
{
    return byte < 128 ? byte : upperHalf[byte - 128];
}

int macroman_byte(char32_t point)
{
    if (point < 128)
        return int(point);
    for (int i = 0; i < 128; i++)
        if (upperHalf[i] == point)
            return i + 128;
    return -1;
}

void utf8_append(std::string &out, char32_t point)
{
    if (point < 0x80) {
        out += char(point);
        return;
    }
    int tail = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    static constexpr uint8_t lead[4] = {0, 0xC0, 0xE0, 0xF0};
    out += char(lead[tail] | point >> (6 * tail));
    while (tail-- > 0)
        out += char(0x80 | (point >> (6 * tail) & 0x3F));
}

char32_t utf8_next(std::string_view &rest)
{
    static constexpr char32_t least[4] = {0, 0x80, 0x800, 0x10000};
    uint8_t first = uint8_t(rest[0]);
    rest.remove_prefix(1);
    if (first < 0x80)
        return first;
    int tail = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || rest.size() < size_t(tail))
        return kMalformed;
    char32_t point = first & (0x3F >> tail);
    for (int i = 0; i < tail; i++) {
        uint8_t c = uint8_t(rest[size_t(i)]);
        if ((c & 0xC0) != 0x80)
            return kMalformed;
        point = point << 6 | (c & 0x3F);
    }
    if (point < least[tail] || point > 0x10FFFF ||
        (point >= 0xD800 && point < 0xE000))
        return kMalformed;
    rest.remove_prefix(size_t(tail));
    return point;
}

std::string macroman_to_utf8(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (char c : bytes)
        utf8_append(out, macroman_code_point(uint8_t(c)));
    return out;
}

std::string utf8_to_macroman(std::string_view utf8, uint8_t instead,
                             char32_t *missing)
{
    std::string out;
    if (missing)
        *missing = 0;
    while (!utf8.empty()) {
        char32_t point = utf8_next(utf8);
        int byte = macroman_byte(point);
        if (byte < 0 && missing && *missing == 0)
            *missing = point;
        out += byte < 0 ? char(instead) : char(byte);
    }
    return out;
}

std::string text_to_utf8(std::string_view bytes)
{
    std::string text(bytes);

    std::replace(text.begin(), text.end(), '\r', '\n');
    std::erase(text, '\0');
    return macroman_to_utf8(text);
}

std::string text_from_utf8(std::string_view utf8)
{
    std::string bytes = utf8_to_macroman(utf8);
    size_t at = 0;

    while ((at = bytes.find("\r\n", at)) != std::string::npos)
        bytes.erase(at, 1);
    std::replace(bytes.begin(), bytes.end(), '\n', '\r');
    return bytes;
}

std::string bytes_of(const uint8_t *pstr)
{
    return {reinterpret_cast<const char *>(pstr + 1), pstr[0]};
}

std::string pstr_to_utf8(const uint8_t *pstr)
{
    return macroman_to_utf8(bytes_of(pstr));
}

void bytes_to(std::string_view bytes, uint8_t *pstr)
{
    pstr[0] = uint8_t(std::min<size_t>(bytes.size(), 255));
    std::copy_n(bytes.begin(), pstr[0], pstr + 1);
}
