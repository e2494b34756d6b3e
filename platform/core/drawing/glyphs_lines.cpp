// The characters that have to join their neighbours: frames, blocks, shades
// and scan lines. They fill the cell from edge to edge whatever its size.
#include "platform/core/drawing/glyphs.h"

#include <algorithm>
#include <cstring>

static void fill(const CellMask &c, int left, int top, int right, int bottom,
                 uint8_t value = 255)
{
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, c.width);
    bottom = std::min(bottom, c.height);
    for (int y = top; y < bottom && left < right; y++)
        std::memset(c.mask + y * c.width + left, value, size_t(right - left));
}

// ---- frames ----------------------------------------------------------------
// A frame character has four arms of no, one or two lines. Written as
// arms(up, right, down, left).

using Arms = uint8_t;
constexpr Arms arms(int up, int right, int down, int left)
{
    return Arms(up << 6 | right << 4 | down << 2 | left);
}

struct FrameRow {
    uint16_t codepoint;
    Arms arms;
};
// clang-format off
constexpr FrameRow kFrames[] = {
    {0x2500, arms(0, 1, 0, 1)}, {0x2502, arms(1, 0, 1, 0)},
    {0x250C, arms(0, 1, 1, 0)}, {0x2510, arms(0, 0, 1, 1)},
    {0x2514, arms(1, 1, 0, 0)}, {0x2518, arms(1, 0, 0, 1)},
    {0x251C, arms(1, 1, 1, 0)}, {0x2524, arms(1, 0, 1, 1)},
    {0x252C, arms(0, 1, 1, 1)}, {0x2534, arms(1, 1, 0, 1)},
    {0x253C, arms(1, 1, 1, 1)},
    {0x2550, arms(0, 2, 0, 2)}, {0x2551, arms(2, 0, 2, 0)},
    {0x2552, arms(0, 2, 1, 0)}, {0x2553, arms(0, 1, 2, 0)},
    {0x2554, arms(0, 2, 2, 0)}, {0x2555, arms(0, 0, 1, 2)},
    {0x2556, arms(0, 0, 2, 1)}, {0x2557, arms(0, 0, 2, 2)},
    {0x2558, arms(1, 2, 0, 0)}, {0x2559, arms(2, 1, 0, 0)},
    {0x255A, arms(2, 2, 0, 0)}, {0x255B, arms(1, 0, 0, 2)},
    {0x255C, arms(2, 0, 0, 1)}, {0x255D, arms(2, 0, 0, 2)},
    {0x255E, arms(1, 2, 1, 0)}, {0x255F, arms(2, 1, 2, 0)},
    {0x2560, arms(2, 2, 2, 0)}, {0x2561, arms(1, 0, 1, 2)},
    {0x2562, arms(2, 0, 2, 1)}, {0x2563, arms(2, 0, 2, 2)},
    {0x2564, arms(0, 2, 1, 2)}, {0x2565, arms(0, 1, 2, 1)},
    {0x2566, arms(0, 2, 2, 2)}, {0x2567, arms(1, 2, 0, 2)},
    {0x2568, arms(2, 1, 0, 1)}, {0x2569, arms(2, 2, 0, 2)},
    {0x256A, arms(1, 2, 1, 2)}, {0x256B, arms(2, 1, 2, 1)},
    {0x256C, arms(2, 2, 2, 2)},
};
// clang-format on

// Along one axis of the cell: where a single line, and the two lines of a
// double one, begin.
struct Axis {
    int size, single, first, second;
};

static Axis axis(int size, int line)
{
    int middle = (size - line) / 2;
    return {size, middle, std::max(middle - line, 0),
            std::min(middle + line, size - line)};
}

// Where a line along an arm starts, measured on the arm's axis: `near` and
// `far` are the number of lines of the two arms that cross it, the one on this
// line's side and the other.
//   near double             the crossing line on the arm's own side (corner)
//   near single             the middle
//   near none, far double   the crossing line away from the arm (outer corner)
//   near none, far single   the middle
static int corner(int near, int far, int own, int middle, int away)
{
    if (near == 2)
        return own;
    if (near == 1 || far != 2)
        return middle;
    return away;
}

// Draws one arm. `along` is the axis it runs on, `across` the other; towards
// the end of the axis when `forward`. `low` and `high` are the crossing arms
// on the side of smaller and of larger coordinates, `opposite` the one that
// continues this arm.
static void draw_arm(const CellMask &c, bool horizontal, bool forward,
                     int lines, int low, int high, int opposite,
                     const Axis &along, const Axis &across)
{
    int own = forward ? along.second : along.first;
    int away = forward ? along.first : along.second;
    auto line = [&](int at, int from) {
        int start = forward ? from : 0;
        int end = forward ? along.size : from + c.line;
        if (horizontal)
            fill(c, start, at, end, at + c.line);
        else
            fill(c, at, start, at + c.line, end);
    };

    if (lines == 2) {
        line(across.first, corner(low, high, own, along.single, away));
        line(across.second, corner(high, low, own, along.single, away));
    } else if (lines == 1) {
        int from = along.single;
        if (low == 2 && high == 2 && opposite == 0)
            from = own;
        else if ((low == 2) != (high == 2) && opposite == 0)
            from = away;
        line(across.single, from);
    }
}

static bool draw_frame(uint32_t codepoint, const CellMask &c)
{
    const FrameRow *row = std::lower_bound(
        std::begin(kFrames), std::end(kFrames), codepoint,
        [](const FrameRow &r, uint32_t cp) { return r.codepoint < cp; });
    if (row == std::end(kFrames) || row->codepoint != codepoint)
        return false;

    int up = row->arms >> 6, right = row->arms >> 4 & 3;
    int down = row->arms >> 2 & 3, left = row->arms & 3;
    Axis h = axis(c.width, c.line), v = axis(c.height, c.line);
    draw_arm(c, true, true, right, up, down, left, h, v);
    draw_arm(c, true, false, left, up, down, right, h, v);
    draw_arm(c, false, true, down, left, right, up, v, h);
    draw_arm(c, false, false, up, left, right, down, v, h);
    return true;
}

// ---- blocks, shades, scan lines --------------------------------------------

static bool draw_block(uint32_t codepoint, const CellMask &c)
{
    int w = c.width, h = c.height;

    switch (codepoint) {
    case 0x2580: // upper half
        fill(c, 0, 0, w, h / 2);
        return true;
    case 0x2584: // lower half
        fill(c, 0, h / 2, w, h);
        return true;
    case 0x2588: // full
        fill(c, 0, 0, w, h);
        return true;
    case 0x258C: // left half
        fill(c, 0, 0, w / 2, h);
        return true;
    case 0x2590: // right half
        fill(c, w / 2, 0, w, h);
        return true;
    case 0x2591: // shades: an even tone joins better than a pattern
        fill(c, 0, 0, w, h, 64);
        return true;
    case 0x2592:
        fill(c, 0, 0, w, h, 128);
        return true;
    case 0x2593:
        fill(c, 0, 0, w, h, 192);
        return true;
    default:
        return false;
    }
}

// Scan lines 1, 3, 7 and 9 of nine; the fifth is the frame's own line.
static bool draw_scan_line(uint32_t codepoint, const CellMask &c)
{
    int middle = (c.height - c.line) / 2, end = c.height - c.line;
    int top;

    switch (codepoint) {
    case 0x23BA:
        top = 0;
        break;
    case 0x23BB:
        top = middle / 2;
        break;
    case 0x23BC:
        top = (middle + end + 1) / 2;
        break;
    case 0x23BD:
        top = end;
        break;
    default:
        return false;
    }
    fill(c, 0, top, c.width, top + c.line);
    return true;
}

bool draw_line_glyph(uint32_t codepoint, const CellMask &cell)
{
    return draw_frame(codepoint, cell) || draw_block(codepoint, cell) ||
           draw_scan_line(codepoint, cell);
}
