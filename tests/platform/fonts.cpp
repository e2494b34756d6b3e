// Fonts: numbers and names, what bytes show, and lines that join.
#include "platform/core/drawing/drawparts.h"
#include "platform/core/drawing/fontparts.h"
#include "platform/core/macroman.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Fonts, NumbersAndNamesAgree)
{
    std::vector<std::string> names = font_names();
    int16_t number;
    Str255 name, back;

    EXPECT_GE(names.size(), 4u);
    names.insert(names.end(), {"System", "Small", "Fixed"});
    for (const std::string &one : names) {
        bytes_to(one, name);
        GetFNum(name, &number);
        GetFontName(number, back);
        EXPECT_EQ(bytes_of(back), one);
    }
    const std::pair<ConstStr, int16_t> rows[] = {
        {PSTR("QL-mac"), 130}, // case doesn't count
        {PSTR("no such font"), 0},
        {PSTR("Fixed"), 4}};
    for (auto &[wanted, expected] : rows) {
        GetFNum(wanted, &number);
        EXPECT_EQ(number, expected) << bytes_of(wanted);
    }
    GetFontName(32000, name);
    EXPECT_EQ(name[0], 0);
}

TEST(Fonts, BytesShowWhatTheFontSays)
{
    struct {
        FontCoding coding;
        uint8_t byte;
        uint32_t shows;
    } const rows[] = {
        {kTerminalMac, 'A', 'A'},     {kTerminalMac, 0x8A, 0xE4},
        {kTerminalMac, 0xE0, 0x25C6}, {kTerminalMac, 0xEE, 0x253C},
        {kTerminalMac, 0xF1, 0x2500}, {kTerminalMac, 0xF8, 0x2502},
        {kTerminalMac, 0xFE, 0x00B7}, {kTerminalMac, 13, 0x240D},
        {kMacRoman, 0xE0, 0x2021},    {kMacRoman, 9, ' '},
        {kTerminalPC, 1, 0x263A},     {kTerminalPC, 0xC9, 0x2554},
        {kTerminalPC, 0x81, 0x00FC},  {kTerminalPC, 0xFE, 0x25A0},
        {kTerminalPC, 127, 0x2302},   {kTwoByte, 0xB1, 0xFF71},
    };
    for (const auto &row : rows)
        EXPECT_EQ(coding_to_unicode(row.coding, row.byte), row.shows)
            << int(row.byte);
    EXPECT_EQ(shift_jis_to_unicode(0x82, 0xA0), 0x3042u);
    EXPECT_EQ(shift_jis_to_unicode(0x88, 0x9F), 0x4E9Cu);
    EXPECT_EQ(shift_jis_to_unicode(0x82, 0x20), 0u);
    EXPECT_EQ(shift_jis_to_unicode('A', 'A'), 0u);
}

// The ink at one edge of a glyph's cell, as a string of dots and hashes.
std::string edge(Strike *s, uint8_t c, char side)
{
    const GlyphMask &g = strike_glyph(s, c);
    int w = s->cell * s->scale, h = (s->ascent + s->descent) * s->scale;
    bool upright = side == 'l' || side == 'r';
    std::string out;
    for (int i = 0; i < (upright ? h : w); i++) {
        int x = side == 'l' ? 0 : side == 'r' ? w - 1 : i;
        int y = side == 't' ? 0 : side == 'b' ? h - 1 : i;
        x -= g.left;
        y -= g.top;
        bool in = x >= 0 && y >= 0 && x < g.width && y < g.height;
        out += in && g.mask[y * g.width + x] ? '#' : '.';
    }
    return out;
}

// In code page 437 the frames are the bytes 0xB3 to 0xDA. Whatever stands
// beside or below one, lines that meet at an edge meet in full.
TEST(Fonts, FramesJoinAtEverySizeAndScale)
{
    int16_t pc;
    GetFNum(PSTR("ql-PC"), &pc);

    for (int scale = 1; scale <= 3; scale++) {
        for (int16_t size : {9, 11, 12, 13, 14, 18, 31}) {
            for (uint8_t face : {0, 1}) {
                Strike *s = strike_get(pc, size, face, scale);
                if (s->cell * scale < 5)
                    continue; // no room for two lines, a gap and margins
                std::string h1 = edge(s, 0xC4, 'l'), h2 = edge(s, 0xCD, 'l');
                std::string v1 = edge(s, 0xB3, 't'), v2 = edge(s, 0xBA, 't');
                std::string no(h1.size(), '.'), nov(v1.size(), '.');
                ASSERT_TRUE(h1 != no && h1 != h2 && v1 != v2 && v2 != nov);
                for (int c = 0xB3; c <= 0xDA; c++) {
                    for (char side : {'l', 'r', 't', 'b'}) {
                        std::string e = edge(s, uint8_t(c), side);
                        bool across = side == 'l' || side == 'r';
                        EXPECT_TRUE(e == (across ? h1 : v1) ||
                                    e == (across ? h2 : v2) ||
                                    e == (across ? no : nov))
                            << std::hex << c << side << e;
                    }
                }
                EXPECT_EQ(edge(s, 0xC9, 'r'), h2); // double corner
                EXPECT_EQ(edge(s, 0xC9, 'b'), v2);
                EXPECT_EQ(edge(s, 0xC9, 'l'), no);
                EXPECT_EQ(edge(s, 0xD1, 'b'), v1); // double with single tee
                EXPECT_EQ(edge(s, 0xDB, 'l'), std::string(h1.size(), '#'));
            }
        }
    }
}

// How many pieces the ink of a glyph falls into.
int pieces(const GlyphMask &g)
{
    std::vector<bool> seen(size_t(g.width * g.height));
    int count = 0;
    auto visit = [&](auto self, int x, int y) -> bool {
        size_t at = size_t(y * g.width + x);
        if (x < 0 || y < 0 || x >= g.width || y >= g.height || !g.mask[at] ||
            seen[at])
            return false;
        seen[at] = true;
        for (int d : {-1, 1}) {
            self(self, x + d, y);
            self(self, x, y + d);
        }
        return true;
    };

    for (int y = 0; y < g.height; y++)
        for (int x = 0; x < g.width; x++)
            count += visit(visit, x, y);
    return count;
}

// No line of a frame breaks off inside its cell. A single line that meets two
// others ties them together; a stem on a double bar leaves its far line alone.
TEST(Fonts, FramesAreWhole)
{
    const std::string two = "\xBA\xCD\xBB\xBC\xC8\xC9\xC7\xB6\xCF\xD1";
    const std::string three = "\xB9\xCC\xCA\xCB", four = "\xCE";
    int16_t pc;
    GetFNum(PSTR("ql-PC"), &pc);
    Strike *s = strike_get(pc, 16, 0, 1);

    for (int c = 0xB3; c <= 0xDA; c++) {
        auto in = [c](const std::string &set) {
            return set.find(char(c)) != std::string::npos;
        };
        EXPECT_EQ(pieces(strike_glyph(s, uint8_t(c))), in(four)    ? 4
                                                       : in(three) ? 3
                                                       : in(two)   ? 2
                                                                   : 1)
            << std::hex << c;
    }
}

TEST(Fonts, CellsStayTheSameInEveryFace)
{
    int16_t mac;
    GetFNum(PSTR("ql-Mac"), &mac);

    for (int scale = 1; scale <= 2; scale++) {
        Strike *plain = strike_get(mac, 12, 0, scale);
        for (uint8_t face = 1; face < 4; face++) {
            Strike *s = strike_get(mac, 12, face, scale);
            EXPECT_TRUE(s->cell == plain->cell && s->ascent == plain->ascent &&
                        s->descent == plain->descent);
            for (int c = 0; c < 256; c++) {
                const GlyphMask &g = strike_glyph(s, uint8_t(c));
                EXPECT_TRUE(g.left >= 0 && g.left + g.width <= s->cell * scale);
                EXPECT_TRUE(g.top >= 0 && g.top + g.height <=
                                              (s->ascent + s->descent) * scale);
            }
        }
    }
}

TEST(Fonts, TwoBytesACharacter)
{
    EXPECT_EQ(FontToScript(4), smRoman);
    EXPECT_EQ(GetScriptVariable(smRoman, 22) & 2, 2);
    EXPECT_EQ(GetScriptVariable(smJapanese, 22) & 2, 0);
    fonts_add_double_byte(PSTR("Test Mincho"));
    EXPECT_EQ(ScriptCount(), 2);
    int16_t font;
    GetFNum(PSTR("Test Mincho"), &font);
    ASSERT_GT(font, 0);
    EXPECT_EQ(FontToScript(font), smJapanese);

    Canvas *canvas = canvas_new(100, 40, 1);
    PortState *port = port_new(canvas);
    port_set_current(port);
    TextFont(font);
    // A, a kanji whose second byte looks like a first one, B, half of one.
    const uint8_t text[] = {'A', 0x95, 0x95, 'B', 0xB1, 0x88};
    const int types[] = {0, -1, 1, 0, 0, -1};
    for (int16_t i = 0; i < 6; i++)
        EXPECT_EQ(CharacterByteType(text, i, smJapanese), types[i]) << i;
    // Each byte takes a cell, so that columns and bytes stay in step.
    EXPECT_EQ(TextWidth(text, 0, 6), 6 * CharWidth('0'));
    MoveTo(0, 20);
    DrawText(text, 0, 6);
    Strike *s = strike_get(font, 12, 0, 1);
    int used;
    EXPECT_EQ(strike_char(s, text, 6, 1, &used).advance, 2 * s->cell);
    EXPECT_EQ(used, 2);
    (void)strike_char(s, text, 6, 5, &used); // the other half isn't there
    EXPECT_EQ(used, 1);
    canvas_flush(canvas);

    TextFont(4);
    EXPECT_EQ(CharacterByteType(text, 1, smJapanese), 0);
    port_dispose(port);
    canvas_dispose(canvas);
}

} // namespace
