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

// Lines end in CR inside and in LF outside. On the way in CR LF counts as one
// end; on the way out NUL, which ends a text of the desktop's, is dropped.
std::string text_to_utf8(std::string_view bytes);
std::string text_from_utf8(std::string_view utf8);

// The program's strings with a length byte.
std::string bytes_of(const uint8_t *pstr);
std::string pstr_to_utf8(const uint8_t *pstr);
void bytes_to(std::string_view bytes, uint8_t *pstr); // cut at 255

// Takes one code point off the front of `rest`; 0xFFFD and one byte less for
// what is malformed (cut short, overlong, a surrogate, past 0x10FFFF).
char32_t utf8_next(std::string_view &rest);
void utf8_append(std::string &out, char32_t point);
