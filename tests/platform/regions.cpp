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
    QlRegion own[4];
    RgnHandle rgns[4] = {&own[0], &own[1], &own[2], &own[3]};
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
        QlRegion rect, common;
        region_set(&rect, r);
        SectRgn(&rect, rgns[to], &common);
        ASSERT_EQ(RectInRgn(&r, rgns[to]), !EmptyRgn(&common)) << i;
    }
}

TEST(Regions, BoundsMoveAndInset)
{
    QlRegion frame, hole, r;
    auto bounds = [](QlRegion *of) {
        Rect all;
        GetRegionBounds(of, &all);
        return all;
    };

    region_set(&frame, {0, 0, 30, 40});
    region_set(&hole, {10, 10, 20, 20});
    DiffRgn(&frame, &hole, &frame);
    EXPECT_EQ(frame.rects.size(), 4u) << "above, left, right, below";
    OffsetRgn(&frame, -5, 7);
    EXPECT_EQ(bounds(&frame), (Rect{7, -5, 37, 35}));
    InsetRgn(&frame, 2, 3);
    EXPECT_EQ(bounds(&frame), (Rect{10, -3, 34, 33}));
    EXPECT_FALSE(PtInRgn({15, 4}, &frame)) << "beside the hole";
    EXPECT_TRUE(PtInRgn({15, 2}, &frame));

    region_set(&r, {0, 0, 5, 5});
    InsetRgn(&r, 3, 0);
    EXPECT_TRUE(EmptyRgn(&r));
    region_set(&r, {0, 32000, 10, 32700}); // stops at the end of the plane
    OffsetRgn(&r, 500, 0);
    EXPECT_EQ(bounds(&r), (Rect{0, 32500, 10, 32767}));
    OffsetRgn(&r, 500, 0);
    EXPECT_TRUE(EmptyRgn(&r));
}

} // namespace
