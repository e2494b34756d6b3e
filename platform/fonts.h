// Fonts by number. 0 is the system's, 1 the small one of the status bar, 4
// the plain fixed-width one; the program's own are "ql-Mac" (Mac Roman, VT100
// line graphics at 0xE0 to 0xFE) and "ql-PC" (code page 437 with glyphs for 1
// to 31). A system family shows bytes as Mac Roman.
#pragma once

#include "platform/types.h"

struct FontInfo {
    int16_t ascent, descent, widMax, leading;
};

// Number of the font, or 0 when there is none of that name (compare
// GetFontName(0)). Case doesn't count.
void GetFNum(ConstStr name, int16_t *number);
void GetFontName(int16_t number, Str255 name);

// Script systems, for text of two bytes a character.
enum : int16_t { smRoman = 0, smJapanese = 1 };
int16_t FontToScript(int16_t font);
// Selector 22 (the script's flags): bit value 2 set means one byte a
// character.
int32_t GetScriptVariable(int16_t script, int16_t selector);
int16_t ScriptCount(); // 1 with Roman alone

// Which part of a character is the byte at `offset`? 0 single byte, -1 first
// byte, 1 last byte, 2 middle byte, in the script of the current port's font.
int16_t CharacterByteType(const uint8_t *text, int16_t offset, int16_t script);

// For tests: a fixed-width face that counts as Japanese, under this name.
void fonts_add_double_byte(ConstStr name);
