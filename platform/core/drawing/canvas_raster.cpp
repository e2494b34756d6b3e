// Pixels: filling, inverting, moving, and masks in colour.
#include "platform/core/drawing/canvas.h"

#include <algorithm>
#include <cstring>

static Box device(const Canvas *c, const Box &b)
{
    return {b.left * c->scale, b.top * c->scale, b.right * c->scale,
            b.bottom * c->scale};
}

static uint32_t *row_at(Canvas *c, int y)
{
    return c->pixels.data() + ptrdiff_t(y) * c->stride;
}

static void fill(Canvas *c, const Box &d, uint32_t color)
{
    if (d.empty())
        return;
    uint32_t *first = row_at(c, d.top) + d.left;
    size_t width = size_t(d.right - d.left);

    std::fill_n(first, width, color);
    for (int y = d.top + 1; y < d.bottom; y++)
        std::memcpy(row_at(c, y) + d.left, first, width * sizeof *first);
}

static void invert(Canvas *c, const Box &d)
{
    for (int y = d.top; y < d.bottom; y++) {
        uint32_t *p = row_at(c, y);
        for (int x = d.left; x < d.right; x++)
            p[x] ^= 0x00FFFFFF;
    }
}

// Moves what stays inside the box; what is uncovered keeps its old pixels,
// which the fill that follows every shift draws over.
void raster_shift(Canvas *c, const Shift &s)
{
    Box d = device(c, s.box);
    int dh = s.dh * c->scale, dv = s.dv * c->scale;
    Box to = d.moved(dh, dv).cut(d);

    if (to.empty())
        return;
    size_t bytes = size_t(to.right - to.left) * sizeof(uint32_t);
    auto move = [&](int y) {
        std::memmove(row_at(c, y) + to.left, row_at(c, y - dv) + to.left - dh,
                     bytes);
    };
    if (dv <= 0) {
        for (int y = to.top; y < to.bottom; y++)
            move(y);
    } else {
        for (int y = to.bottom - 1; y >= to.top; y--)
            move(y);
    }
}

// ---- text ------------------------------------------------------------------

// A part of m/255 of `fore` over `back`, rounded, for three channels at once.
static inline uint32_t blend(uint32_t back, uint32_t fore, uint32_t m)
{
    uint32_t n = 255 - m;
    uint32_t rb = (back & 0xFF00FF) * n + (fore & 0xFF00FF) * m + 0x800080;
    uint32_t g = (back >> 8 & 0xFF) * n + (fore >> 8 & 0xFF) * m + 0x80;

    rb = (rb + (rb >> 8 & 0xFF00FF)) >> 8 & 0xFF00FF;
    g = (g + (g >> 8)) >> 8 & 0xFF;
    return rb | g << 8;
}

// The 256 blends of two colours. A screen uses few pairs at a time.
struct BlendTable {
    uint32_t fore, back;
    bool used;
    uint32_t at[256];
};

static const uint32_t *blend_table(uint32_t fore, uint32_t back)
{
    static BlendTable tables[16];
    static unsigned next;

    for (const BlendTable &t : tables) {
        if (t.used && t.fore == fore && t.back == back)
            return t.at;
    }
    BlendTable &t = tables[next++ % std::size(tables)];
    t.fore = fore;
    t.back = back;
    t.used = true;
    for (uint32_t m = 0; m < 256; m++)
        t.at[m] = blend(back, fore, m);
    return t.at;
}

static void put_on_even_ground(Canvas *c, const Box &to, const uint8_t *mask,
                               int maskWidth, const uint32_t *table)
{
    for (int y = to.top; y < to.bottom; y++, mask += maskWidth) {
        uint32_t *p = row_at(c, y) + to.left;
        for (int x = 0; x < to.right - to.left; x++)
            p[x] = table[mask[x]];
    }
}

static void put_on_any_ground(Canvas *c, const Box &to, const uint8_t *mask,
                              int maskWidth, uint32_t color)
{
    for (int y = to.top; y < to.bottom; y++, mask += maskWidth) {
        uint32_t *p = row_at(c, y) + to.left;
        for (int x = 0; x < to.right - to.left; x++) {
            if (mask[x] == 255)
                p[x] = color;
            else if (mask[x])
                p[x] = blend(p[x], color, mask[x]);
        }
    }
}

static void put_text(Canvas *c, const Op &op, const Box &clip,
                     const uint8_t *bytes)
{
    bool even = op.flags & (kOpaque | kKnownBack);
    const uint32_t *table = even ? blend_table(op.color, op.back) : nullptr;
    Strike *s = op.strike;
    int top = (op.v - s->ascent) * c->scale;
    int left = op.h * c->scale;

    for (int i = 0, used; i < op.count; i += used) {
        const GlyphMask &g = strike_char(s, bytes, op.count, i, &used);
        Box ink = {left + g.left, top + g.top, left + g.left + g.width,
                   top + g.top + g.height};
        left += g.advance * c->scale;
        if (!g.mask)
            continue;
        Box to = ink.cut(clip);
        if (to.empty())
            continue;
        const uint8_t *mask =
            g.mask + (to.top - ink.top) * g.width + (to.left - ink.left);
        if (even)
            put_on_even_ground(c, to, mask, g.width, table);
        else
            put_on_any_ground(c, to, mask, g.width, op.color);
    }
    if (op.flags & kUnderlined) {
        int below = std::min(op.v + 1, op.v + s->descent - 1) * c->scale;
        int thick = std::max(s->size / 14, 1) * c->scale;
        Box line = {op.h * c->scale, below, left, below + thick};
        fill(c, line.cut(clip), op.color);
    }
}

void raster_op(Canvas *c, const Op &op, const uint8_t *bytes)
{
    Box d = device(c, op.box);

    switch (op.kind) {
    case kFill:
        fill(c, d, op.color);
        break;
    case kInvert:
        invert(c, d);
        break;
    case kText:
        if (op.flags & kOpaque)
            fill(c, d, op.back);
        put_text(c, op, d, bytes);
        break;
    }
}
