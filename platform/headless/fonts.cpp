// Faces made of nothing: sizes follow by rule from the size asked for, and each
// character has a pattern of its own, so that tests can distinguish them.
#include "platform/headless/state.h"

#include <cstring>

static const char *const kFamilies[] = {"Test Mono", "Test Sans"};

struct Face {
    int pixels;
    bool bold, italic, fixed;
};
static std::vector<Face> faces; // be_font is the index plus 1

int be_font_list(const char **names, int max, bool fixed)
{
    int count = 0;

    for (const char *name : kFamilies) {
        if (fixed && name != kFamilies[0])
            continue;
        if (count < max)
            names[count++] = name;
    }
    return count;
}

const char *be_font_best_fixed()
{
    return kFamilies[0];
}
const char *be_font_small()
{
    return kFamilies[1];
}

static int advance_of(const Face &f, uint32_t c)
{
    int advance = (f.pixels * 6 + 5) / 10;

    if (!f.fixed && c < 128 && c && strchr("il.,:;'|!", int(c)))
        advance = (f.pixels * 3 + 5) / 10;
    if (!f.fixed && (c == 'W' || c == 'M' || c == 'm' || c == 'w'))
        advance = (f.pixels * 9 + 5) / 10;
    return advance > 0 ? advance : 1;
}

be_font be_font_open(const char *family, int pixels, bool bold, bool italic,
                     be_font_metrics *metrics)
{
    bool fixed = strcasecmp(family, kFamilies[0]) == 0;

    if (!fixed && strcasecmp(family, kFamilies[1]) != 0)
        return 0;
    Face f = {pixels > 0 ? pixels : 1, bold, italic, fixed};
    metrics->ascent = (f.pixels * 8 + 5) / 10;
    metrics->descent =
        f.pixels - metrics->ascent > 0 ? f.pixels - metrics->ascent : 1;
    metrics->leading = 0;
    metrics->advance = advance_of(f, '0');
    metrics->fixed = fixed;
    faces.push_back(f);
    return be_font(faces.size());
}

void be_font_glyph(be_font font, uint32_t codepoint, be_glyph *out)
{
    static std::vector<uint8_t> mask;

    *out = {};
    if (font < 1 || size_t(font) > faces.size())
        return;
    const Face &f = faces[size_t(font - 1)];
    out->advance = advance_of(f, codepoint);
    // The private range and what lies past the planes in use is missing.
    out->missing =
        (codepoint >= 0xE000 && codepoint < 0xF900) || codepoint > 0x2FFFF;
    if (codepoint == ' ' || codepoint == 0xA0 || codepoint < 32)
        return;
    out->width = out->advance > 1 ? out->advance - 1 : 1;
    out->height = (f.pixels * 7 + 5) / 10;
    if (out->height < 1)
        out->height = 1;
    out->top = out->height;
    mask.assign(size_t(out->width) * size_t(out->height), 0);
    uint32_t seed = codepoint * 2654435761u + (f.bold ? 77u : 0u) +
                    (f.italic ? 991u : 0u) + 1;
    for (uint8_t &m : mask) {
        seed = seed * 1664525u + 1013904223u;
        m = seed >> 30 == 0 ? 255 : seed >> 30 == 1 ? 128 : 0;
    }
    mask[0] = 255; // never quite empty
    out->mask = mask.data();
}
