// Regions: areas made of rectangles, and the small calls on rectangles.
#include "platform/core/drawing/regionparts.h"

#include <algorithm>
#include <cassert>
#include <climits>

// Sums of coordinates stop at the ends of the 16-bit plane.
static int16_t limit(int value)
{
    return int16_t(std::clamp(value, SHRT_MIN, SHRT_MAX));
}

static bool same(const Rect &a, const Rect &b)
{
    return a.top == b.top && a.left == b.left && a.bottom == b.bottom &&
           a.right == b.right;
}

static bool meet(const Rect &a, const Rect &b)
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom &&
           b.top < a.bottom;
}

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
    if (same(ra[0], rb[0])) {
        if (op == kSect || op == kUnion)
            *out = *a;
        else
            out->rects.clear();
        return true;
    }
    if (op == kSect) {
        Rect r;
        SectRect(&ra[0], &rb[0], &r);
        region_set(out, r);
        return true;
    }
    if (op == kDiff && !meet(ra[0], rb[0])) {
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
    Rect all = r->rects[0];
    all.bottom = r->rects.back().bottom;
    for (const Rect &rect : r->rects) {
        all.left = std::min(all.left, rect.left);
        all.right = std::max(all.right, rect.right);
    }
    return all;
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

void SetRectRgn(RgnHandle r, int16_t left, int16_t top, int16_t right,
                int16_t bottom)
{
    region_set(r, {top, left, bottom, right});
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
        OffsetRect(&rect, dh, dv);
        cut |= EmptyRect(&rect);
    }
    if (cut)
        std::erase_if(r->rects, [](const Rect &x) { return EmptyRect(&x); });
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
    return std::equal(a->rects.begin(), a->rects.end(), b->rects.begin(),
                      b->rects.end(), same);
}

bool PtInRgn(Point p, RgnHandle r)
{
    return std::any_of(r->rects.begin(), r->rects.end(),
                       [p](const Rect &x) { return PtInRect(p, &x); });
}

bool RectInRgn(const Rect *rect, RgnHandle r)
{
    if (EmptyRect(rect))
        return false;
    return std::any_of(r->rects.begin(), r->rects.end(),
                       [rect](const Rect &x) { return meet(*rect, x); });
}

void GetRegionBounds(RgnHandle r, Rect *bounds)
{
    *bounds = region_bounds(r);
}

int RegionRects(RgnHandle r, Rect *out, int max)
{
    int count = int(r->rects.size());

    for (int i = 0; i < count && i < max; i++)
        out[i] = r->rects[size_t(i)];
    return count;
}

// ---- rectangles ------------------------------------------------------------

void SetRect(Rect *r, int16_t left, int16_t top, int16_t right, int16_t bottom)
{
    *r = {top, left, bottom, right};
}

void OffsetRect(Rect *r, int16_t dh, int16_t dv)
{
    r->left = limit(r->left + dh);
    r->right = limit(r->right + dh);
    r->top = limit(r->top + dv);
    r->bottom = limit(r->bottom + dv);
}

// A rectangle too small for the inset becomes empty.
void InsetRect(Rect *r, int16_t dh, int16_t dv)
{
    r->left = limit(r->left + dh);
    r->right = limit(r->right - dh);
    r->top = limit(r->top + dv);
    r->bottom = limit(r->bottom - dv);
    if (EmptyRect(r))
        *r = {0, 0, 0, 0};
}

bool SectRect(const Rect *a, const Rect *b, Rect *out)
{
    Rect r = {std::max(a->top, b->top), std::max(a->left, b->left),
              std::min(a->bottom, b->bottom), std::min(a->right, b->right)};

    *out = EmptyRect(&r) ? Rect{0, 0, 0, 0} : r;
    return !EmptyRect(out);
}

void UnionRect(const Rect *a, const Rect *b, Rect *out)
{
    if (EmptyRect(a))
        *out = *b;
    else if (EmptyRect(b))
        *out = *a;
    else
        *out = {std::min(a->top, b->top), std::min(a->left, b->left),
                std::max(a->bottom, b->bottom), std::max(a->right, b->right)};
}

bool EmptyRect(const Rect *r)
{
    return r->right <= r->left || r->bottom <= r->top;
}

bool EqualRect(const Rect *a, const Rect *b)
{
    return same(*a, *b);
}

bool PtInRect(Point p, const Rect *r)
{
    return p.h >= r->left && p.h < r->right && p.v >= r->top && p.v < r->bottom;
}
