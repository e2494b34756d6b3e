// The inside of a region, for the parts of the core that draw with it.
//
// A region is a list of rectangles in bands: all rectangles of a band share
// top and bottom, bands run downwards without overlap, and within a band the
// rectangles run to the right and never touch. Two bands that touch differ in
// their rectangles. So equal areas have equal lists.
#pragma once

#include "platform/core/drawing/box.h"
#include "platform/regions.h"

#include <vector>

struct QlRegion {
    std::vector<Rect> rects;
};

enum RegionOp { kSect, kUnion, kDiff, kXor };

void region_set(QlRegion *r, const Rect &rect); // an empty one empties it
void region_combine(const QlRegion *a, const QlRegion *b, RegionOp op,
                    QlRegion *out);
Rect region_bounds(const QlRegion *r);
bool region_ok(const QlRegion *r); // the rules above hold
