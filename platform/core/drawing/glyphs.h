// Strikes: one font at one size, face and scale, as 8-bit masks by byte. The
// letters come from the back end; lines, blocks, shades and scan lines are
// drawn here, to the edges of the cell, so that they join at any size.
//
// Lengths are in program units unless "device" is said; one unit is `scale`
// device pixels. A strike lives to the end of the program, so that recorded
// drawing may point at it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/backend.h"

// Which characters the bytes of a font stand for.
enum FontCoding : uint8_t {
    kMacRoman,    // a system family
    kTerminalMac, // ql-Mac: line graphics at 0xE0 to 0xFE
    kTerminalPC,  // ql-PC: code page 437
    kTwoByte,     // Shift-JIS
};

uint32_t coding_to_unicode(FontCoding coding, uint8_t c);
// A character of two bytes, or 0 where there is none.
uint32_t shift_jis_to_unicode(uint8_t first, uint8_t second);
constexpr bool shift_jis_first(uint8_t c)
{
    return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}

// A mask in device pixels, tight around its ink. `left` counts from the pen,
// `top` down from the top of the line. No ink: `mask` is null.
struct GlyphMask {
    const uint8_t *mask = nullptr;
    int16_t left = 0, top = 0, width = 0, height = 0;
    int16_t advance = 0; // units
    bool known = false;
};

struct Strike {
    int16_t font, size;
    uint8_t face; // bold and italic alone; an underline is drawn over
    int scale;
    FontCoding coding;
    bool fixed; // each byte takes `cell`, and no ink leaves its cell
    int16_t ascent, descent, leading, cell, widest;
    std::string family;
    be_font back; // 0: no face at all, and every glyph is blank
    GlyphMask glyphs[256];
    std::unordered_map<uint16_t, GlyphMask> pairs;
    std::vector<std::unique_ptr<uint8_t[]>> masks;
};

// Never null. `size` below 1 counts as 12.
Strike *strike_get(int16_t font, int16_t size, uint8_t face, int scale);

const GlyphMask &strike_load(Strike *s, uint8_t c);
inline const GlyphMask &strike_glyph(Strike *s, uint8_t c)
{
    return s->glyphs[c].known ? s->glyphs[c] : strike_load(s, c);
}
// The character that starts at text[i]: `*used` becomes 1 or 2.
const GlyphMask &strike_char(Strike *s, const uint8_t *text, int count, int i,
                             int *used);
int32_t strike_width(Strike *s, const uint8_t *text, int count);

// ---- what is drawn here (glyphs_lines.cpp) ---------------------------------

// A cell to draw into: `width` by `height` device pixels, cleared, with the
// thickness of a thin line.
struct CellMask {
    uint8_t *mask;
    int width, height, line;
};
// False when the character isn't one of these.
bool draw_line_glyph(uint32_t codepoint, const CellMask &cell);
