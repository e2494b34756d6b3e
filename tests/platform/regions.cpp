// Regions against a bitmap of the same area.
#include "platform/core/drawing/regionparts.h"

#include <bitset>
#include <gtest/gtest.h>
#include <random>

namespace {

constexpr int kSide = 24;
using Bitmap = std::bitset<kSide * kSide>;

Bitmap bitmap_of(RgnHandle r)
{
    Bitmap b;
    for (int v = 0; v < kSide; v++) {
        for (int h = 0; h < kSide; h++)
            b[size_t(v * kSide + h)] = PtInRgn({int16_t(v), int16_t(h)}, r);
    }
    return b;
}

Rect random_rect(std::mt19937 &engine)
{
    auto at = [&](int low, int high) {
        return int16_t(std::uniform_int_distribution<int>(low, high)(engine));
    };
    int16_t top = at(0, kSide - 1), left = at(0, kSide - 1);
    return {top, left, at(top, kSide), at(left, kSide)};
}

TEST(Regions, CombineLikeSetsOfPoints)
{
    std::mt19937 engine(1);
    RgnHandle rgns[4] = {NewRgn(), NewRgn(), NewRgn(), NewRgn()};
    Bitmap bits[4];

    for (int i = 0; i < 8000; i++) {
        unsigned a = engine() % 4, b = engine() % 4, to = engine() % 4;
        Rect r = random_rect(engine);
        switch (engine() % 6) {
        case 0:
            RectRgn(rgns[to], &r);
            bits[to] = bitmap_of(rgns[to]);
            break;
        case 1:
            SectRgn(rgns[a], rgns[b], rgns[to]);
            bits[to] = bits[a] & bits[b];
            break;
        case 2:
            UnionRgn(rgns[a], rgns[b], rgns[to]);
            bits[to] = bits[a] | bits[b];
            break;
        case 3:
            DiffRgn(rgns[a], rgns[b], rgns[to]);
            bits[to] = bits[a] & ~bits[b];
            break;
        case 4:
            XorRgn(rgns[a], rgns[b], rgns[to]);
            bits[to] = bits[a] ^ bits[b];
            break;
        default:
            CopyRgn(rgns[a], rgns[to]);
            bits[to] = bits[a];
            break;
        }
        ASSERT_TRUE(region_ok(rgns[to])) << i;
        ASSERT_EQ(bitmap_of(rgns[to]), bits[to]) << i;
        ASSERT_EQ(EmptyRgn(rgns[to]), bits[to].none()) << i;
        // Equal areas have equal lists, however they came about.
        ASSERT_EQ(EqualRgn(rgns[a], rgns[b]), bits[a] == bits[b]) << i;
        RgnHandle rect = NewRgn(), common = NewRgn();
        RectRgn(rect, &r);
        SectRgn(rect, rgns[to], common);
        ASSERT_EQ(RectInRgn(&r, rgns[to]), !EmptyRgn(common)) << i;
        DisposeRgn(rect);
        DisposeRgn(common);
    }
    for (RgnHandle r : rgns)
        DisposeRgn(r);
}

TEST(Regions, BoundsListMoveAndInset)
{
    RgnHandle r = NewRgn(), b = NewRgn();
    Rect list[4], all;

    SetRectRgn(r, 0, 0, 40, 30);
    SetRectRgn(b, 10, 10, 20, 20);
    DiffRgn(r, b, r); // a frame with a hole
    EXPECT_EQ(RegionRects(r, list, 4), 4);
    EXPECT_EQ(RegionRects(r, list, 0), 4);
    EXPECT_EQ(list[1].right, 10);
    EXPECT_EQ(list[2].left, 20);
    OffsetRgn(r, -5, 7);
    GetRegionBounds(r, &all);
    EXPECT_TRUE(all.left == -5 && all.top == 7 && all.right == 35 &&
                all.bottom == 37);
    InsetRgn(r, 2, 3);
    GetRegionBounds(r, &all);
    EXPECT_TRUE(all.left == -3 && all.top == 10 && all.right == 33 &&
                all.bottom == 34);
    EXPECT_FALSE(PtInRgn({15, 4}, r)); // beside the hole: within the inset
    EXPECT_TRUE(PtInRgn({15, 2}, r));

    SetRectRgn(r, 0, 0, 5, 5);
    InsetRgn(r, 3, 0);
    EXPECT_TRUE(EmptyRgn(r));
    OffsetRgn(r, 10, 10);
    GetRegionBounds(r, &all);
    EXPECT_TRUE(EmptyRect(&all));

    SetRectRgn(r, 32000, 0, 32700, 10); // stops at the end of the plane
    OffsetRgn(r, 500, 0);
    GetRegionBounds(r, &all);
    EXPECT_TRUE(all.left == 32500 && all.right == 32767);
    OffsetRgn(r, 500, 0);
    EXPECT_TRUE(EmptyRgn(r));
    DisposeRgn(r);
    DisposeRgn(b);
}

} // namespace
