// Recorded drawing against drawing at once: the pixels have to be the same
// whatever was drawn in whatever order.
#include "platform/core/drawing/canvas.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

// Two canvases that get the same operations, one of them at once.
struct Pair {
    Canvas *recorded, *immediate;
    Strike *strike;

    Pair(int width, int height, int scale)
        : recorded(canvas_new(width, height, scale)),
          immediate(canvas_new(width, height, scale)),
          strike(strike_get(130, 9, 0, scale))
    {
    }
    ~Pair()
    {
        canvas_dispose(recorded);
        canvas_dispose(immediate);
    }
    template <typename Draw> void both(Draw draw)
    {
        canvas_set_immediate(false);
        draw(recorded);
        canvas_set_immediate(true);
        draw(immediate);
        canvas_set_immediate(false);
    }
    Box whole() const { return {0, 0, recorded->width, recorded->height}; }
    bool same()
    {
        canvas_flush(recorded);
        return recorded->pixels == immediate->pixels;
    }

    void fill(const Box &b, uint32_t color)
    {
        both([&](Canvas *c) { canvas_fill(c, b.cut(whole()), color); });
    }
    void invert(const Box &b)
    {
        both([&](Canvas *c) { canvas_invert(c, b.cut(whole())); });
    }
    void scroll(const Box &b, int dh, int dv, uint32_t back)
    {
        both(
            [&](Canvas *c) { canvas_scroll(c, b.cut(whole()), dh, dv, back); });
    }
    void text(int h, int v, const std::string &s, uint32_t color,
              bool underlined = false)
    {
        TextRun run = {strike,
                       h,
                       v,
                       reinterpret_cast<const uint8_t *>(s.data()),
                       int32_t(s.size()),
                       color,
                       underlined};
        both([&](Canvas *c) { canvas_text(c, whole(), run); });
    }
    int row_height() const { return strike->ascent + strike->descent; }
    // A run as the terminal draws it: its ground erased, then the letters.
    void cells(int row, int column, const std::string &s, uint32_t fore,
               uint32_t back, bool reversed = false)
    {
        int left = 3 + column * strike->cell, top = 3 + row * row_height();
        Box b = {left, top, left + int(s.size()) * strike->cell,
                 top + row_height()};
        fill(b, back);
        if (reversed)
            invert(b);
        text(left, top + strike->ascent, s, fore);
    }
};

struct Random {
    std::mt19937 engine;
    int operator()(int low, int high) // both may come
    {
        return std::uniform_int_distribution<int>(low, high)(engine);
    }
    uint32_t color()
    {
        static const uint32_t some[] = {0xFFFFFF, 0x000000, 0xFF0000, 0x00AA33};
        return some[(*this)(0, 3)];
    }
    Box box(const Box &in)
    {
        int l = (*this)(in.left, in.right), r = (*this)(in.left, in.right);
        int t = (*this)(in.top, in.bottom), b = (*this)(in.top, in.bottom);
        return {std::min(l, r), std::min(t, b), std::max(l, r), std::max(t, b)};
    }
    std::string word(int most)
    {
        std::string s;
        for (int n = (*this)(1, most); n > 0; n--)
            s.push_back(char((*this)(32, 126)));
        return s;
    }
};

// One step of a screen in use: mostly lines that scroll, with everything that
// can come between.
void terminal_step(Pair &p, Random &r, int rows, int columns)
{
    int height = p.row_height();
    Box screen = {0, 3, p.recorded->width - 17, 3 + rows * height};
    auto region = [&] {
        int top = r(0, rows - 2), bottom = r(top + 1, rows - 1);
        return Box{screen.left, 3 + top * height, screen.right,
                   3 + (bottom + 1) * height};
    };
    Box area = r(0, 9) ? screen : region();
    int row = r(0, rows - 1), column = r(0, columns - 1);

    switch (r(0, 15)) {
    case 0:
        p.scroll(area, 0, r(0, 1) ? height : -3 * height, r.color());
        break;
    case 1: // insert or delete lines, a little narrower than a line feed's
        p.scroll(
            {3, 3 + row * height, 3 + columns * p.strike->cell, screen.bottom},
            0, (r(0, 1) ? 1 : -1) * height, 0xFFFFFF);
        break;
    case 2: // insert or delete characters
        p.scroll({3 + column * p.strike->cell, 3 + row * height,
                  3 + columns * p.strike->cell, 3 + (row + 1) * height},
                 (r(0, 1) ? 1 : -1) * p.strike->cell, 0, 0xFFFFFF);
        break;
    case 3: { // the cursor comes, mostly goes again
        int h = 3 + column * p.strike->cell;
        Box b = {h, 3 + row * height, h + p.strike->cell,
                 3 + (row + 1) * height};
        p.invert(b);
        if (r(0, 2))
            p.cells(r(0, rows - 1), r(0, 4), r.word(20), 0, 0xFFFFFF);
        if (r(0, 3))
            p.invert(b);
        break;
    }
    case 4:
        p.cells(row, column, r.word(12), r.color(), r.color(), true);
        break;
    case 5: // to the end of the line, or of the screen
        p.fill({3 + column * p.strike->cell, 3 + row * height, screen.right,
                r(0, 3) ? 3 + (row + 1) * height : screen.bottom},
               r.color());
        break;
    case 6: // the status bar
        p.fill({10, screen.bottom + 2, 55, screen.bottom + 12}, 0xFFFFFF);
        p.text(12, screen.bottom + 11, r.word(5), 0);
        break;
    case 7:
        if (r(0, 9) == 0)
            p.fill(p.whole(), r.color());
        break;
    default:
        p.cells(rows - 1, 0, r.word(columns), r.color(), 0xFFFFFF);
        p.scroll(area, 0, -height, 0xFFFFFF);
        break;
    }
}

void scribble_step(Pair &p, Random &r)
{
    static Box last;
    Box b = r(0, 3) ? r.box(p.whole()) : last.cut(p.whole());
    switch (r(0, 4)) {
    case 0:
        p.fill(b, r.color());
        break;
    case 1:
        p.invert(b);
        break;
    case 2:
        p.text(r(-20, 90), r(-5, 80), r.word(9), r.color(), r(0, 1));
        break;
    default:
        p.scroll(b, r(-8, 8) * r(0, 1), r(-8, 8), r.color());
        break;
    }
    last = b;
}

// Whether the dirty boxes hold each pixel that has changed.
bool dirty_holds(const Canvas *c, const std::vector<uint32_t> &before)
{
    for (size_t at = 0; at < before.size(); at++) {
        int x = int(at) % c->stride / c->scale;
        int y = int(at) / c->stride / c->scale;
        bool told = before[at] == c->pixels[at];
        for (const Box &d : c->dirty)
            told |= d.contains({x, y, x + 1, y + 1});
        if (!told)
            return false;
    }
    return true;
}

TEST(Canvas, RecordedHasTheSamePixelsAndTellsWhatChanged)
{
    for (unsigned seed = 0; seed < 48; seed++) {
        bool terminal = seed % 2;
        Random r{std::mt19937(seed)};
        Pair p(terminal ? 160 : 90, terminal ? 130 : 70, 1 + int(seed % 3));
        int rows = (130 - 20) / p.row_height();
        int columns = (160 - 20) / p.strike->cell;
        int frame = r(1, 2000); // some frames are long, so that pruning runs
        std::vector<uint32_t> before = p.recorded->pixels;
        for (int i = 0; i < 1000; i++) {
            if (terminal)
                terminal_step(p, r, rows, columns);
            else
                scribble_step(p, r);
            ASSERT_TRUE(canvas_ok(p.recorded)) << "seed " << seed << " " << i;
            if (i % frame && i < 999)
                continue;
            ASSERT_TRUE(p.same()) << "seed " << seed << " step " << i;
            ASSERT_TRUE(dirty_holds(p.recorded, before)) << seed << " " << i;
            p.recorded->dirty.clear();
            before = p.recorded->pixels;
        }
    }
}

// A log that scrolls away, and rows drawn again and again.
TEST(Canvas, WhatIsCoveredIsForgotten)
{
    for (bool log : {true, false}) {
        Pair p(400, 300, 1);
        Box screen = {0, 3, 383, 3 + 20 * p.row_height()};
        for (int i = 0; i < 8000; i++) {
            p.cells(log ? 19 : i % 20, 0, "line " + std::to_string(i), i & 0xFF,
                    0xFFFFFF);
            if (log)
                p.scroll(screen, 0, -p.row_height(), 0xFFFFFF);
            ASSERT_LT(p.recorded->ops.size(), 600u);
            ASSERT_TRUE(p.recorded->shifts.empty());
        }
        EXPECT_TRUE(p.same());
    }
}

TEST(Canvas, ABlinkNobodySawIsNothingToShow)
{
    Pair p(100, 100, 1);
    canvas_flush(p.recorded);
    p.recorded->dirty.clear();

    p.invert({10, 10, 16, 20});
    EXPECT_TRUE(canvas_pending(p.recorded));
    p.invert({10, 10, 16, 20});
    EXPECT_FALSE(canvas_pending(p.recorded));

    p.invert({10, 10, 16, 20});
    p.fill({12, 12, 14, 14}, 0xFF0000); // between them: both count
    p.invert({10, 10, 16, 20});
    EXPECT_TRUE(p.same());
    EXPECT_EQ(canvas_pixel(p.recorded, 12, 12), 0x00FFFFu);
    EXPECT_EQ(canvas_pixel(p.recorded, 10, 10), 0xFFFFFFu);
}

TEST(Canvas, ResizingKeepsWhatWasShown)
{
    Canvas *c = canvas_new(50, 40, 2);

    canvas_fill(c, {10, 10, 50, 40}, 0x123456);
    canvas_resize(c, 30, 60, 2);
    EXPECT_EQ(canvas_pixel(c, 29, 39), 0x123456u);
    EXPECT_EQ(canvas_pixel(c, 29, 40), 0xFFFFFFu);
    EXPECT_EQ(canvas_pixel(c, 30, 0), 0xFF000000u);
    canvas_resize(c, 30, 60, 1); // another scale: all white
    EXPECT_EQ(canvas_pixel(c, 29, 39), 0xFFFFFFu);
    canvas_resize(c, 0, 0, 1);
    EXPECT_EQ(canvas_pixel(c, 0, 0), 0xFF000000u);
    canvas_dispose(c);
}

} // namespace
