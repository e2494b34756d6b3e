// The one algebra of rectangles. A Box has room for coordinates that scroll
// far out of sight; a Rect is the program's, of 16 bits; a be_rect is the back
// end's. Right and bottom lie outside of it.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/backend.h"
#include "platform/types.h"

// A coordinate or value cut to the program's 16 bits.
constexpr int16_t limit16(int64_t n)
{
    return int16_t(std::clamp<int64_t>(n, INT16_MIN, INT16_MAX));
}

struct Box {
    int32_t left, top, right, bottom;

    bool operator==(const Box &) const = default;
    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool empty() const { return left >= right || top >= bottom; }
    bool contains(const Box &b) const
    {
        return left <= b.left && top <= b.top && right >= b.right &&
               bottom >= b.bottom;
    }
    bool meets(const Box &b) const
    {
        return left < b.right && b.left < right && top < b.bottom &&
               b.top < bottom;
    }
    Box cut(const Box &b) const
    {
        return {left > b.left ? left : b.left, top > b.top ? top : b.top,
                right < b.right ? right : b.right,
                bottom < b.bottom ? bottom : b.bottom};
    }
    Box around(const Box &b) const // the smallest that holds both
    {
        return {std::min(left, b.left), std::min(top, b.top),
                std::max(right, b.right), std::max(bottom, b.bottom)};
    }
    Box moved(int dh, int dv) const
    {
        return {left + dh, top + dv, right + dh, bottom + dv};
    }
    Box moved_to(int h, int v) const { return moved(h - left, v - top); }
    // Coordinates stop at the ends of the 16-bit plane.
    Rect rect() const
    {
        return {limit16(top), limit16(left), limit16(bottom), limit16(right)};
    }
    be_rect out() const { return {left, top, right, bottom}; }
};

constexpr Box box_of(const Rect &r)
{
    return {r.left, r.top, r.right, r.bottom};
}

constexpr Box box_of(const be_rect &r)
{
    return {r.left, r.top, r.right, r.bottom};
}
