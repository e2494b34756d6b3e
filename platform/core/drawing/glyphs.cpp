// Strikes: from a font number and a byte to a mask.
#include "platform/core/drawing/glyphs.h"

#include <algorithm>
#include <cstring>
#include <iconv.h>
#include <string>

#include "platform/core/drawing/fontparts.h"
#include "platform/core/macroman.h"

// ---- what bytes stand for --------------------------------------------------

// clang-format off
constexpr uint16_t kPC437Low[32] = {  // 0 is blank
    0x0020, 0x263A, 0x263B, 0x2665, 0x2666, 0x2663, 0x2660, 0x2022,
    0x25D8, 0x25CB, 0x25D9, 0x2642, 0x2640, 0x266A, 0x266B, 0x263C,
    0x25BA, 0x25C4, 0x2195, 0x203C, 0x00B6, 0x00A7, 0x25AC, 0x21A8,
    0x2191, 0x2193, 0x2192, 0x2190, 0x221F, 0x2194, 0x25B2, 0x25BC,
};
constexpr uint16_t kPC437High[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,
    0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,
    0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,
    0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192,
    0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,
    0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,
    0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229,
    0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248,
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};
// The VT100's graphics, bytes 0x60 to 0x7E of its second character set.
constexpr uint16_t kLineGraphics[31] = {
    0x25C6, 0x2592, 0x2409, 0x240C, 0x240D, 0x240A, 0x00B0, 0x00B1,
    0x2424, 0x240B, 0x2518, 0x2510, 0x250C, 0x2514, 0x253C, 0x23BA,
    0x23BB, 0x2500, 0x23BC, 0x23BD, 0x251C, 0x2524, 0x2534, 0x252C,
    0x2502, 0x2264, 0x2265, 0x03C0, 0x2260, 0x00A3, 0x00B7,
};
// Control characters by two letters, small and aslant, for 0x2400 and up.
constexpr char kControlNames[0x25][3] = {
    "NU", "SH", "SX", "EX", "ET", "EQ", "AK", "BL",
    "BS", "HT", "LF", "VT", "FF", "CR", "SO", "SI",
    "DL", "D1", "D2", "D3", "D4", "NK", "SY", "EB",
    "CN", "EM", "SB", "EC", "FS", "GS", "RS", "US",
    "SP", "DT", "  ", "  ", "NL",
};
// clang-format on

uint32_t coding_to_unicode(FontCoding coding, uint8_t c)
{
    switch (coding) {
    case kTerminalPC:
        if (c < 32)
            return kPC437Low[c];
        if (c == 127)
            return 0x2302;
        return c < 128 ? c : kPC437High[c - 128];
    case kTerminalMac:
        if (c >= 0xE0 && c <= 0xFE)
            return kLineGraphics[c - 0xE0];
        if (c == 0)
            return ' ';
        if (c < 32)
            return 0x2400u + c;
        break;
    case kTwoByte:
        if (c >= 0xA1 && c <= 0xDF)
            return 0xFF61u + c - 0xA1; // katakana of one cell
        return c >= 32 && c < 127 ? c : ' ';
    case kMacRoman:
        break;
    }
    if (c < 32 || c == 127)
        return ' ';
    return macroman_code_point(c);
}

uint32_t shift_jis_to_unicode(uint8_t first, uint8_t second)
{
    static iconv_t table = iconv_open("UTF-32LE", "CP932");
    char in[2] = {char(first), char(second)}, *from = in;
    uint8_t out[8] = {};
    char *to = reinterpret_cast<char *>(out);
    size_t inLeft = 2, outLeft = sizeof out;

    if (table == iconv_t(-1) || !shift_jis_first(first))
        return 0;
    (void)iconv(table, nullptr, nullptr, nullptr, nullptr);
    if (iconv(table, &from, &inLeft, &to, &outLeft) == size_t(-1) || inLeft)
        return 0;
    return uint32_t(out[0]) | uint32_t(out[1]) << 8 | uint32_t(out[2]) << 16;
}

// ---- faces -----------------------------------------------------------------

// A back end may open a face anew each time, so each is opened once. 0 when
// there is no such family.
static be_font open_face(const char *family, int pixels, uint8_t face,
                         be_font_metrics *metrics)
{
    struct Face {
        std::string family;
        int pixels;
        uint8_t face;
        be_font font;
        be_font_metrics metrics;
    };
    static std::vector<Face> faces;

    if (!family)
        return 0;
    for (const Face &f : faces) {
        if (f.pixels == pixels && f.face == face && f.family == family) {
            *metrics = f.metrics;
            return f.font;
        }
    }
    *metrics = {};
    be_font font =
        be_font_open(family, pixels, face & 1, (face & 2) != 0, metrics);
    faces.push_back({family, pixels, face, font, *metrics});
    return font;
}

// ---- masks -----------------------------------------------------------------

struct Drawing { // a whole cell, before it is cut down to its ink
    int width, height;
    std::vector<uint8_t> pixels;
    Drawing(int w, int h) : width(w), height(h), pixels(size_t(w) * size_t(h))
    {
    }
};

// Copies a mask of the back end into the drawing; ink outside is lost.
static void put_mask(Drawing *d, const be_glyph &g, int left, int top)
{
    if (!g.mask)
        return;
    for (int y = 0; y < g.height; y++) {
        int row = top + y;
        if (row < 0 || row >= d->height)
            continue;
        for (int x = 0; x < g.width; x++) {
            int column = left + x;
            if (column < 0 || column >= d->width)
                continue;
            uint8_t &p = d->pixels[size_t(row * d->width + column)];
            p = std::max(p, g.mask[y * g.width + x]);
        }
    }
}

// Keeps the ink of a drawing whose left edge lies `left` from the pen.
static void keep_ink(Strike *s, GlyphMask *g, const Drawing &d, int left)
{
    int x0 = d.width, x1 = 0, y0 = d.height, y1 = 0;

    for (int y = 0; y < d.height; y++) {
        for (int x = 0; x < d.width; x++) {
            if (!d.pixels[size_t(y * d.width + x)])
                continue;
            x0 = std::min(x0, x);
            x1 = std::max(x1, x + 1);
            y0 = std::min(y0, y);
            y1 = y + 1;
        }
    }
    if (x1 <= x0)
        return;
    int width = x1 - x0, height = y1 - y0;
    auto mask = std::make_unique<uint8_t[]>(size_t(width) * size_t(height));
    for (int y = 0; y < height; y++)
        std::memcpy(&mask[size_t(y * width)],
                    &d.pixels[size_t((y0 + y) * d.width + x0)], size_t(width));
    g->mask = mask.get();
    g->left = int16_t(left + x0);
    g->top = int16_t(y0);
    g->width = int16_t(width);
    g->height = int16_t(height);
    s->masks.push_back(std::move(mask));
}

// Two small letters, one high and one low, stand for a control character.
static bool draw_control(Strike *s, uint32_t codepoint, Drawing *d)
{
    if (codepoint < 0x2400 || codepoint >= 0x2400 + std::size(kControlNames))
        return false;
    const char *name = kControlNames[codepoint - 0x2400];
    int pixels = std::max(s->size * s->scale * 11 / 20, 4);
    be_font_metrics m;
    be_font small = open_face(s->family.c_str(), pixels, 0, &m);
    if (!small)
        return false;
    for (int i = 0; i < 2; i++) {
        be_glyph g;
        be_font_glyph(small, uint8_t(name[i]), &g);
        int left = i ? d->width - g.width : 0;
        int top = i ? s->ascent * s->scale - g.height : 0;
        put_mask(d, g, left, i ? top : std::max(top, d->height / 8));
    }
    return true;
}

// The face's own glyph, else that of another face at the same size.
static void find_glyph(Strike *s, uint32_t codepoint, be_glyph *out)
{
    const char *const others[] = {be_font_best_fixed(), be_font_small()};

    *out = {};
    if (s->back)
        be_font_glyph(s->back, codepoint, out);
    if (s->back && !out->missing)
        return;
    for (const char *family : others) {
        be_font_metrics m;
        be_font other = open_face(family, s->size * s->scale, s->face, &m);
        if (!other)
            continue;
        be_font_glyph(other, codepoint, out);
        if (!out->missing)
            return;
    }
    *out = {};
    if (s->back)
        be_font_glyph(s->back, '?', out);
}

// Device pixels of a thin line; two of them and a gap fit into every cell.
static int line_width(const Strike *s)
{
    int width = (std::max(s->size / 12, 1) + (s->face & 1)) * s->scale;

    return std::max(std::min(width, (s->cell * s->scale - 2) / 3), 1);
}

// `cells`: 2 for a character of two bytes.
static void make_glyph(Strike *s, uint32_t codepoint, int cells, GlyphMask *g)
{
    int height = (s->ascent + s->descent) * s->scale;

    g->known = true;
    g->advance = int16_t(s->cell * cells);
    if (s->fixed) {
        Drawing d(s->cell * cells * s->scale, height);
        CellMask cell = {d.pixels.data(), d.width, d.height, line_width(s)};
        if (codepoint != ' ' && !draw_line_glyph(codepoint, cell) &&
            !draw_control(s, codepoint, &d)) {
            be_glyph b;
            find_glyph(s, codepoint, &b);
            // A letter of a wider face is centred rather than cut at one side.
            int shift = b.advance > d.width ? (d.width - b.advance) / 2 : 0;
            put_mask(&d, b, b.left + shift, s->ascent * s->scale - b.top);
        }
        keep_ink(s, g, d, 0);
        return;
    }
    be_glyph b;
    find_glyph(s, codepoint, &b);
    g->advance = int16_t((b.advance + s->scale / 2) / s->scale);
    if (!b.mask || b.width <= 0)
        return;
    Drawing d(b.width, height);
    put_mask(&d, b, 0, s->ascent * s->scale - b.top);
    keep_ink(s, g, d, b.left);
}

const GlyphMask &strike_load(Strike *s, uint8_t c)
{
    make_glyph(s, coding_to_unicode(s->coding, c), 1, &s->glyphs[c]);
    return s->glyphs[c];
}

const GlyphMask &strike_char(Strike *s, const uint8_t *text, int count, int i,
                             int *used)
{
    *used = 1;
    if (s->coding != kTwoByte || !shift_jis_first(text[i]) || i + 1 >= count ||
        text[i + 1] < 0x40)
        return strike_glyph(s, text[i]);
    *used = 2;
    GlyphMask &g = s->pairs[uint16_t(text[i] << 8 | text[i + 1])];
    if (!g.known) {
        uint32_t c = shift_jis_to_unicode(text[i], text[i + 1]);
        make_glyph(s, c ? c : 0x3013, 2, &g); // the mark for a missing one
    }
    return g;
}

int32_t strike_width(Strike *s, const uint8_t *text, int count)
{
    int32_t width = 0;

    if (s->fixed)
        return s->cell * count;
    for (int i = 0; i < count; i++)
        width += strike_glyph(s, text[i]).advance;
    return width;
}

// ---- strikes ---------------------------------------------------------------

static int16_t units(int pixels, int scale) // a part counts as a whole
{
    return int16_t((pixels + scale - 1) / scale);
}

static void set_metrics(Strike *s, const be_font_metrics &m, bool fixed)
{
    s->ascent = std::max<int16_t>(units(m.ascent, s->scale), 1);
    s->descent = std::max<int16_t>(units(m.descent, s->scale), 0);
    s->leading = std::max<int16_t>(units(m.leading, s->scale), 0);
    s->cell = std::max<int16_t>(units(m.advance, s->scale), 1);
    s->fixed = fixed;
    s->widest = s->fixed ? s->cell : std::max<int16_t>(s->size, s->cell);
}

static std::unique_ptr<Strike> strike_new(int16_t font, int16_t size,
                                          uint8_t face, int scale)
{
    auto s = std::make_unique<Strike>();
    be_font_metrics m = {}, styled = {};
    int pixels = size * scale;
    const char *family = font_family(font, &s->coding);

    s->font = font;
    s->size = size;
    s->face = face;
    s->scale = scale;
    if (!open_face(family, pixels, 0, &m)) {
        family = be_font_best_fixed();
        if (!open_face(family, pixels, 0, &m))
            m = {pixels * 4 / 5, (pixels + 4) / 5, 0, pixels / 2, true};
    }
    s->family = family ? family : "";
    s->back = open_face(family, pixels, face, &styled);
    // Bold and slanted cells are those of the plain face, so that a line keeps
    // its columns whatever stands in it.
    bool fixed = m.fixed || s->coding != kMacRoman;
    set_metrics(s.get(), fixed || !s->back ? m : styled, fixed);
    return s;
}

Strike *strike_get(int16_t font, int16_t size, uint8_t face, int scale)
{
    static std::vector<std::unique_ptr<Strike>> strikes;

    if (size < 1)
        size = 12;
    size = std::min<int16_t>(size, 255);
    face &= 3;
    for (const auto &s : strikes) {
        if (s->font == font && s->size == size && s->face == face &&
            s->scale == scale)
            return s.get();
    }
    strikes.push_back(strike_new(font, size, face, scale));
    return strikes.back().get();
}
