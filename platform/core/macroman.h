// platform/core/macroman.h
// The program's character set on this side of the desktop: one byte a
// character, Mac Roman. Texts become UTF-8 only where a toolkit, a terminal or
// a TOML file wants them.
// The set: Unicode's mapping table MAPPINGS/VENDORS/APPLE/ROMAN.TXT.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The code point that a byte stands for; bytes below 128 stand for themselves.
char32_t macroman_code_point(uint8_t byte);

// The byte for a code point, or -1 if Mac Roman hasn't got it.
int macroman_byte(char32_t point);

std::string macroman_to_utf8(std::string_view bytes);

// What Mac Roman hasn't got, and what is no valid UTF-8, becomes `instead`. If
// `missing` isn't null, it takes the first such code point, or 0xFFFD for a
// malformed sequence, and 0 if there was none.
std::string utf8_to_macroman(std::string_view utf8, uint8_t instead = '?',
                             char32_t *missing = nullptr);

// Takes one code point off the front of `rest`; 0xFFFD and one byte less for
// what is malformed (cut short, overlong, a surrogate, past 0x10FFFF).
char32_t utf8_next(std::string_view &rest);
void utf8_append(std::string &out, char32_t point);
