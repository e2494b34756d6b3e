// The drawing calls. The cases use the corner of 100 by 80 of a window.
#include "platform/core/drawing/drawparts.h"

#include "tests/support/ui.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kWhite = 0xFFFFFF, kBlack = 0x000000;

class Drawing : public testing::Test {
protected:
    Drawing() : w(ui_window()), canvas(window_canvas(w)) { SetPort(w); }
    uint32_t at(int h, int v) { return canvas_pixel(canvas, h, v); }
    // How many pixels of the box have that colour.
    int count(const Rect &r, uint32_t color)
    {
        int n = 0;
        for (int v = r.top; v < r.bottom; v++) {
            for (int h = r.left; h < r.right; h++)
                n += at(h, v) == color;
        }
        return n;
    }

    WindowPtr w;
    Canvas *canvas;
};

TEST_F(Drawing, ShapesAndColours)
{
    Rect r = {10, 20, 30, 50};

    RGBColor teal = {0x1234, 0x8001, 0xABFF};
    RGBForeColor(&teal);
    FrameRect(&r);
    EXPECT_EQ(count(r, 0x1280AB), 2 * 30 + 2 * 18);
    EXPECT_EQ(count({0, 0, 80, 100}, 0x1280AB), 2 * 30 + 2 * 18);

    BackColor(redColor);
    EraseRect(&r);
    EXPECT_EQ(at(20, 10), 0xFF0000u);
    InvertRect(&r);
    EXPECT_EQ(at(49, 29), 0x00FFFFu);
    ForeColor(blackColor);
    PaintRect(&r);
    EXPECT_EQ(count(r, kBlack), 20 * 30);
    EXPECT_EQ(count({0, 0, 80, 100}, kWhite), 8000 - 600);

    Rect outside = {-20, -20, 200, 300}; // cut, not refused
    PaintRect(&outside);
    EXPECT_EQ(count({0, 0, 80, 100}, kBlack), 8000);
}

TEST_F(Drawing, LinesHoldBothEnds)
{
    struct {
        int16_t h0, v0, h1, v1;
        int pixels;
    } const rows[] = {
        {5, 5, 5, 5, 1},      {5, 5, 20, 5, 16},    {20, 8, 5, 8, 16},
        {5, 20, 5, 11, 10},   {30, 30, 40, 40, 11}, {40, 60, 30, 50, 11},
        {50, 10, 70, 15, 21}, {60, 70, 55, 40, 31},
    };
    for (const auto &row : rows) {
        Rect all = {0, 0, 80, 100};
        EraseRect(&all);
        MoveTo(row.h0, row.v0);
        LineTo(row.h1, row.v1);
        EXPECT_EQ(at(row.h0, row.v0), kBlack);
        EXPECT_EQ(at(row.h1, row.v1), kBlack);
        EXPECT_EQ(count(all, kBlack), row.pixels) << row.h0 << "," << row.v0;
        Point pen;
        GetPen(&pen);
        EXPECT_TRUE(pen.h == row.h1 && pen.v == row.v1);
    }
}

TEST_F(Drawing, TextModesAndPen)
{
    TextFont(4);
    TextSize(12);
    FontInfo info;
    GetFontInfo(&info);
    int16_t wide = CharWidth('0');
    MoveTo(10, 30);
    DrawText("xxHHxx", 2, 2);
    Point pen;
    GetPen(&pen);
    EXPECT_EQ(pen.h, 10 + 2 * wide);
    EXPECT_EQ(pen.v, 30);
    Rect cell = {int16_t(30 - info.ascent), 10, int16_t(30 + info.descent),
                 int16_t(10 + 2 * wide)};
    int ink = 2 * wide * (info.ascent + info.descent) - count(cell, kWhite);
    EXPECT_GT(ink, 0);
    EXPECT_EQ(count({0, 0, 80, 100}, kWhite), 8000 - ink);

    // Reversed text: the ground inverted, the letters in the back colour.
    BackColor(whiteColor);
    ForeColor(redColor);
    EraseRect(&cell);
    InvertRect(&cell);
    TextMode(srcBic);
    MoveTo(10, 30);
    DrawText("HH", 0, 2);
    EXPECT_EQ(count(cell, 0xFF0000), 0);
    EXPECT_EQ(2 * wide * (info.ascent + info.descent) - count(cell, kBlack),
              ink);

    TextMode(srcOr);
    TextFace(underline);
    EraseRect(&cell);
    MoveTo(10, 30);
    DrawText("  ", 0, 2);
    EXPECT_EQ(count(cell, 0xFF0000), 2 * wide);

    DrawText("x", 0, -1);
    GetPen(&pen);
    EXPECT_EQ(pen.h, 10 + 2 * wide);
}

TEST_F(Drawing, ProportionalPlaces)
{
    const uint8_t text[] = "illW iiWW";
    int32_t length = sizeof text - 1;

    TextFont(1);
    TextSize(9);
    EXPECT_EQ(CharToPixel(text, length, 0), 0);
    EXPECT_EQ(CharToPixel(text, length, length + 9), TextWidth(text, 0, 9));
    for (int16_t i = 0; i < length; i++) {
        int16_t left = CharToPixel(text, length, i);
        int16_t right = CharToPixel(text, length, i + 1);
        ASSERT_EQ(right - left, CharWidth(text[i]));
        bool leading = false;
        EXPECT_EQ(PixelToChar(text, length, left, &leading), i);
        EXPECT_TRUE(leading);
        if (right - left >= 2) {
            EXPECT_EQ(PixelToChar(text, length, right - 1, &leading), i + 1);
            EXPECT_FALSE(leading);
        }
    }
    EXPECT_EQ(PixelToChar(text, length, -5, nullptr), 0);
    EXPECT_EQ(PixelToChar(text, length, 9999, nullptr), length);
    EXPECT_EQ(StringWidth(PSTR("illW")), CharToPixel(text, length, 4));
}

TEST_F(Drawing, ClipAndVisibleRegionCut)
{
    QlRegion area, hole;
    Rect all = {0, 0, 80, 100}, part = {0, 0, 15, 15}, none = {5, 5, 5, 5};

    region_set(&area, {10, 10, 60, 60});
    region_set(&hole, {20, 20, 30, 30});
    DiffRgn(&area, &hole, &area);
    SetPortVisibleRegion(w, &area);
    PaintRect(&all);
    EXPECT_EQ(count(all, kBlack), 50 * 50 - 10 * 10);
    EXPECT_EQ(at(25, 25), kWhite);
    InvertRgn(&area);
    EXPECT_EQ(count(all, kWhite), 8000);
    ClipRect(&part);
    PaintRect(&all);
    EXPECT_EQ(count(all, kBlack), 25);
    ClipRect(&none);
    EraseRect(&all);
    MoveTo(10, 10);
    DrawChar('W'); // the pen moves though nothing is drawn
    Point pen;
    GetPen(&pen);
    EXPECT_EQ(pen.h, 10 + CharWidth('W'));
    EXPECT_EQ(count(all, kBlack), 25);
}

// Every pixel of the area tells where it came from.
TEST_F(Drawing, ScrollTellsWhatItUncovers)
{
    QlRegion update, clip, hole, wide;
    auto colour = [](int h, int v) { return uint32_t(0x010000 + h * 256 + v); };
    auto paint = [&] {
        for (int16_t v = 0; v < 80; v++) {
            for (int16_t h = 0; h < 100; h++)
                canvas_fill(canvas, {h, v, h + 1, v + 1}, colour(h, v));
        }
    };
    region_set(&wide, {0, 0, 80, 100});
    region_set(&clip, {5, 5, 75, 90});
    region_set(&hole, {30, 40, 50, 60});
    DiffRgn(&clip, &hole, &hole);
    BackColor(redColor);

    struct {
        Rect box;
        int16_t dh, dv;
    } const rows[] = {
        {{10, 10, 70, 80}, 0, -11}, {{10, 10, 70, 80}, 0, 11},
        {{10, 10, 70, 80}, 7, 0},   {{10, 10, 70, 80}, -7, 9},
        {{10, 10, 70, 80}, 0, 60},  {{10, 10, 70, 80}, 0, 300},
        {{-5, -9, 90, 120}, 3, -3}, {{10, 10, 70, 80}, 0, 0},
        {{20, 20, 20, 50}, 0, 4},
    };
    for (RgnHandle area : {&wide, &clip, &hole}) {
        for (const auto &row : rows) {
            paint();
            SetPortVisibleRegion(w, area);
            ScrollRect(&row.box, row.dh, row.dv, &update);
            for (int16_t v = 0; v < 80; v++) {
                for (int16_t h = 0; h < 100; h++) {
                    auto in = [&](int hh, int vv) {
                        Point p = {int16_t(vv), int16_t(hh)};
                        return PtInRect(p, &row.box) && PtInRgn(p, area);
                    };
                    bool moves = in(h, v) && (row.dh || row.dv);
                    bool comes = moves && in(h - row.dh, v - row.dv);
                    uint32_t expected = !moves  ? colour(h, v)
                                        : comes ? colour(h - row.dh, v - row.dv)
                                                : 0xFF0000;
                    ASSERT_EQ(at(h, v), expected) << h << ", " << v;
                    ASSERT_EQ(PtInRgn({v, h}, &update), moves && !comes);
                }
            }
        }
    }
}

TEST_F(Drawing, NoPortIsNowhere)
{
    Rect r = {0, 0, 10, 10};

    SetPort(nullptr);
    EXPECT_EQ(GetPort(), nullptr);
    PaintRect(&r);
    MoveTo(3, 3);
    DrawString(PSTR("lost"));
    ScrollRect(&r, 0, 1, nullptr);
    EXPECT_GT(StringWidth(PSTR("measured")), 0);
    EXPECT_EQ(count({0, 0, 80, 100}, kWhite), 8000);
}

TEST(Presenting, AtMostSixtyTimesASecond)
{
    WindowPtr w = ui_window();
    Rect r = {5, 5, 10, 10};
    SetPort(w);
    draw_present(true);
    int shown = hl_window(w)->presents;

    for (int i = 0; i < 1000; i++) { // a millisecond each
        InvertRect(&r);
        hl_advance_us(500);
        InsetRect(&r, int16_t(i % 2 ? 1 : -1), 0);
        hl_advance_us(500);
        draw_present(false);
    }
    int presents = hl_window(w)->presents - shown;
    EXPECT_GE(presents, 55);
    EXPECT_LE(presents, 60);

    draw_present(true);
    EXPECT_EQ(draw_present_due(), INT64_MAX);
    shown = hl_window(w)->presents;
    draw_present(true); // nothing has changed
    EXPECT_EQ(hl_window(w)->presents, shown);
    InvertRect(&r);
    EXPECT_LE(draw_present_due(), be_now_us() + 17000);
    InvertRect(&r); // and back, unseen
    draw_present(true);
    EXPECT_EQ(hl_window(w)->presents, shown);
}

} // namespace
