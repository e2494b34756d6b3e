// Regions: areas made of rectangles, and the small calls on rectangles.
#include "platform/core/drawing/regionparts.h"

#include <algorithm>
#include <cassert>
#include <climits>

// ---- combining -------------------------------------------------------------
// Both operands are cut into slabs at every top and bottom of either. Within
// a slab each is a row of spans, and the spans are combined edge by edge.

struct Span {
    int16_t left, right;
};
using Spans = std::vector<Span>;

static void spans_in_slab(const QlRegion *r, int16_t top, size_t *from,
                          Spans *out)
{
    const std::vector<Rect> &rects = r->rects;

    out->clear();
    while (*from < rects.size() && rects[*from].bottom <= top)
        ++*from;
    for (size_t i = *from; i < rects.size() && rects[i].top <= top; i++)
        out->push_back({rects[i].left, rects[i].right});
}

static bool keeps(RegionOp op, bool a, bool b)
{
    switch (op) {
    case kSect:
        return a && b;
    case kUnion:
        return a || b;
    case kDiff:
        return a && !b;
    default:
        return a != b;
    }
}

static void combine_spans(const Spans &a, const Spans &b, RegionOp op,
                          Spans *out)
{
    size_t ia = 0, ib = 0; // twice the span, plus one inside it
    bool on = false;
    int16_t start = 0;

    out->clear();
    while (ia < 2 * a.size() || ib < 2 * b.size()) {
        auto edge = [](const Spans &s, size_t i) {
            if (i >= 2 * s.size())
                return INT_MAX;
            return int(i & 1 ? s[i / 2].right : s[i / 2].left);
        };
        int ea = edge(a, ia), eb = edge(b, ib), x = std::min(ea, eb);
        ia += ea == x;
        ib += eb == x;
        bool now = keeps(op, ia & 1, ib & 1);
        if (now && !on)
            start = int16_t(x);
        if (!now && on)
            out->push_back({start, int16_t(x)});
        on = now;
    }
}

// Adds a band, or makes the last one taller when it has the same spans.
static void add_band(std::vector<Rect> *rects, size_t *lastBand, int16_t top,
                     int16_t bottom, const Spans &spans)
{
    size_t count = rects->size() - *lastBand;

    if (spans.empty())
        return;
    bool grows = count == spans.size() && (*rects)[*lastBand].bottom == top;
    for (size_t i = 0; grows && i < count; i++) {
        const Rect &r = (*rects)[*lastBand + i];
        grows = r.left == spans[i].left && r.right == spans[i].right;
    }
    if (grows) {
        for (size_t i = *lastBand; i < rects->size(); i++)
            (*rects)[i].bottom = bottom;
        return;
    }
    *lastBand = rects->size();
    for (const Span &s : spans)
        rects->push_back({top, s.left, bottom, s.right});
}

// The cases that every scrolled line meets, without a sweep.
static bool combine_simple(const QlRegion *a, const QlRegion *b, RegionOp op,
                           QlRegion *out)
{
    const std::vector<Rect> &ra = a->rects, &rb = b->rects;

    if (ra.empty() || rb.empty()) {
        if (op == kSect || (op == kDiff && ra.empty()))
            out->rects.clear();
        else
            *out = ra.empty() ? *b : *a;
        return true;
    }
    if (ra.size() != 1 || rb.size() != 1)
        return false;
    if (ra[0] == rb[0]) {
        if (op == kSect || op == kUnion)
            *out = *a;
        else
            out->rects.clear();
        return true;
    }
    if (op == kSect) {
        region_set(out, box_of(ra[0]).cut(box_of(rb[0])).rect());
        return true;
    }
    if (op == kDiff && !box_of(ra[0]).meets(box_of(rb[0]))) {
        *out = *a;
        return true;
    }
    return false;
}

void region_combine(const QlRegion *a, const QlRegion *b, RegionOp op,
                    QlRegion *out)
{
    if (combine_simple(a, b, op, out))
        return;

    std::vector<int16_t> cuts;
    for (const QlRegion *r : {a, b}) {
        for (const Rect &rect : r->rects) {
            cuts.push_back(rect.top);
            cuts.push_back(rect.bottom);
        }
    }
    std::sort(cuts.begin(), cuts.end());
    cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());

    std::vector<Rect> result;
    size_t fromA = 0, fromB = 0, lastBand = 0;
    Spans inA, inB, both;
    for (size_t i = 0; i + 1 < cuts.size(); i++) {
        spans_in_slab(a, cuts[i], &fromA, &inA);
        spans_in_slab(b, cuts[i], &fromB, &inB);
        combine_spans(inA, inB, op, &both);
        add_band(&result, &lastBand, cuts[i], cuts[i + 1], both);
    }
    out->rects.swap(result);
    assert(region_ok(out));
}

void region_set(QlRegion *r, const Rect &rect)
{
    r->rects.clear();
    if (!EmptyRect(&rect))
        r->rects.push_back(rect);
}

Rect region_bounds(const QlRegion *r)
{
    if (r->rects.empty())
        return {0, 0, 0, 0};
    Box all = box_of(r->rects[0]);
    for (const Rect &rect : r->rects)
        all = all.around(box_of(rect));
    return all.rect();
}

bool region_ok(const QlRegion *r)
{
    const std::vector<Rect> &rects = r->rects;

    for (size_t i = 0; i < rects.size(); i++) {
        if (EmptyRect(&rects[i]))
            return false;
        if (i == 0)
            continue;
        const Rect &before = rects[i - 1];
        if (rects[i].top == before.top) {
            if (rects[i].bottom != before.bottom ||
                rects[i].left <= before.right)
                return false;
        } else if (rects[i].top < before.bottom) {
            return false;
        }
    }
    return true;
}

// ---- the calls -------------------------------------------------------------

RgnHandle NewRgn()
{
    return new QlRegion;
}

void DisposeRgn(RgnHandle r)
{
    delete r;
}

void SetEmptyRgn(RgnHandle r)
{
    r->rects.clear();
}

void RectRgn(RgnHandle r, const Rect *rect)
{
    region_set(r, *rect);
}

void CopyRgn(RgnHandle from, RgnHandle to)
{
    if (from != to)
        to->rects = from->rects;
}

void OffsetRgn(RgnHandle r, int16_t dh, int16_t dv)
{
    bool cut = false;

    for (Rect &rect : r->rects) {
        rect = box_of(rect).moved(dh, dv).rect();
        cut |= EmptyRect(&rect);
    }
    if (cut)
        std::erase_if(r->rects, [](const Rect &x) { return EmptyRect(&x); });
    assert(region_ok(r));
}

// Insetting takes away what lies within (dh, dv) of the outside: that is the
// area that stays inside under every shift of the region by less than that.
// Shifts to the four corners are enough when holes are larger than the inset.
void InsetRgn(RgnHandle r, int16_t dh, int16_t dv)
{
    if (r->rects.empty())
        return;
    if (r->rects.size() == 1) {
        Rect rect = r->rects[0];
        InsetRect(&rect, dh, dv);
        region_set(r, rect);
        return;
    }
    QlRegion result, moved;
    bool first = true;
    RegionOp op = dh >= 0 && dv >= 0 ? kSect : kUnion;
    for (int16_t h : {int16_t(-dh), dh}) {
        for (int16_t v : {int16_t(-dv), dv}) {
            moved = *r;
            OffsetRgn(&moved, h, v);
            if (first)
                result = moved;
            else
                region_combine(&result, &moved, op, &result);
            first = false;
        }
    }
    region_combine(&result, r, op, r);
}

void SectRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    region_combine(a, b, kSect, out);
}

void UnionRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    region_combine(a, b, kUnion, out);
}

void DiffRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    region_combine(a, b, kDiff, out);
}

void XorRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    region_combine(a, b, kXor, out);
}

bool EmptyRgn(RgnHandle r)
{
    return r->rects.empty();
}

bool EqualRgn(RgnHandle a, RgnHandle b)
{
    return a->rects == b->rects;
}

bool PtInRgn(Point p, RgnHandle r)
{
    return std::any_of(r->rects.begin(), r->rects.end(),
                       [p](const Rect &x) { return PtInRect(p, &x); });
}

bool RectInRgn(const Rect *rect, RgnHandle r)
{
    Box box = box_of(*rect);

    return !box.empty() &&
           std::any_of(r->rects.begin(), r->rects.end(),
                       [&](const Rect &x) { return box.meets(box_of(x)); });
}

void GetRegionBounds(RgnHandle r, Rect *bounds)
{
    *bounds = region_bounds(r);
}

// ---- rectangles ------------------------------------------------------------

void InsetRect(Rect *r, int16_t dh, int16_t dv)
{
    Box b = {r->left + dh, r->top + dv, r->right - dh, r->bottom - dv};

    *r = b.empty() ? Rect{0, 0, 0, 0} : b.rect();
}

bool EmptyRect(const Rect *r)
{
    return box_of(*r).empty();
}

bool PtInRect(Point p, const Rect *r)
{
    return p.h >= r->left && p.h < r->right && p.v >= r->top && p.v < r->bottom;
}
