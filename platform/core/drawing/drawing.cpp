// Ports and the calls that draw into them.
#include "platform/core/drawing/drawparts.h"

#include <algorithm>
#include <cstdlib>

#include "platform/core/drawing/fontparts.h"

// The drawing area of a port is the cut of its clip rectangle, its visible
// region and its canvas. Nearly always that is one rectangle, `area`, and then
// a call costs one comparison more than its record.
struct PortState {
    Canvas *canvas;
    int16_t penH, penV;
    int16_t font, size, mode;
    uint8_t face;
    uint32_t fore, back;
    Strike *strike; // of font, size, face; null: to be looked up

    Rect clip;
    QlRegion visible;
    bool areaKnown;
    bool areaIsRect;
    Box area;       // bounds of the area
    QlRegion parts; // the area, when it isn't a rectangle
};

static PortState *current;
static WindowPtr currentWindow;

constexpr Rect kEverywhere = {INT16_MIN, INT16_MIN, INT16_MAX, INT16_MAX};

// ---- ports -----------------------------------------------------------------

static Rect bounds_of(const PortState *p)
{
    return {0, 0, int16_t(p->canvas->height), int16_t(p->canvas->width)};
}

PortState *port_new(Canvas *c)
{
    PortState *p = new PortState{};

    p->canvas = c;
    p->size = 12;
    p->mode = srcOr;
    p->back = 0xFFFFFF;
    p->clip = kEverywhere;
    region_set(&p->visible, bounds_of(p));
    return p;
}

void port_dispose(PortState *p)
{
    if (p == current) {
        current = nullptr;
        currentWindow = nullptr;
    }
    delete p;
}

void port_resized(PortState *p, int width, int height)
{
    region_set(&p->visible, {0, 0, int16_t(height), int16_t(width)});
    p->areaKnown = false;
    p->strike = nullptr; // the scale may have changed
}

void port_set_current(PortState *p)
{
    current = p;
    currentWindow = nullptr;
}

void SetPort(WindowPtr w)
{
    if (w == currentWindow && w)
        return;
    currentWindow = w;
    current = w ? window_port(w) : nullptr;
}

WindowPtr GetPort()
{
    return currentWindow;
}

static Point origin()
{
    Rect r = {0, 0, 0, 0};

    if (currentWindow)
        GetWindowBounds(currentWindow, &r);
    return {r.top, r.left};
}

void LocalToGlobal(Point *p)
{
    Point o = origin();
    p->h = int16_t(p->h + o.h);
    p->v = int16_t(p->v + o.v);
}

void GlobalToLocal(Point *p)
{
    Point o = origin();
    p->h = int16_t(p->h - o.h);
    p->v = int16_t(p->v - o.v);
}

void ClipRect(const Rect *r)
{
    if (!current)
        return;
    current->clip = *r;
    current->areaKnown = false;
}

void GetPortVisibleRegion(WindowPtr w, RgnHandle r)
{
    PortState *p = w ? window_port(w) : nullptr;

    if (p)
        CopyRgn(&p->visible, r);
    else
        SetEmptyRgn(r);
}

void SetPortVisibleRegion(WindowPtr w, RgnHandle r)
{
    PortState *p = w ? window_port(w) : nullptr;

    if (!p)
        return;
    CopyRgn(r, &p->visible);
    p->areaKnown = false;
}

// ---- the drawing area ------------------------------------------------------

static void find_area(PortState *p)
{
    Box may = box_of(p->clip).cut(box_of(bounds_of(p)));
    QlRegion bounds;

    region_set(&bounds, may.rect());
    region_combine(&p->visible, &bounds, kSect, &p->parts);
    p->area = box_of(region_bounds(&p->parts));
    p->areaIsRect = p->parts.rects.size() <= 1;
    p->areaKnown = true;
}

// The current port with its area known, or null when drawing goes nowhere.
static PortState *drawable()
{
    if (!current)
        return nullptr;
    if (!current->areaKnown)
        find_area(current);
    return current->area.empty() ? nullptr : current;
}

// Gives `draw` the parts of a box that may be drawn on.
template <typename Draw>
static void each_part(PortState *p, const Box &box, Draw draw)
{
    if (p->areaIsRect) {
        Box b = box.cut(p->area);
        if (!b.empty())
            draw(b);
        return;
    }
    for (const Rect &r : p->parts.rects) {
        Box b = box.cut(box_of(r));
        if (!b.empty())
            draw(b);
    }
}

// ---- pen and text ----------------------------------------------------------

void MoveTo(int16_t h, int16_t v)
{
    if (!current)
        return;
    current->penH = h;
    current->penV = v;
}

void Move(int16_t dh, int16_t dv)
{
    if (current)
        MoveTo(int16_t(current->penH + dh), int16_t(current->penV + dv));
}

void GetPen(Point *p)
{
    *p = current ? Point{current->penV, current->penH} : Point{0, 0};
}

// A line is one unit thick and holds both its ends. It is drawn as runs of
// rectangles, one a row or one a column.
void LineTo(int16_t h, int16_t v)
{
    PortState *p = drawable();
    if (!p) {
        MoveTo(h, v);
        return;
    }
    int h0 = p->penH, v0 = p->penV;
    int steps = std::max(std::abs(h - h0), std::abs(v - v0));
    auto at = [steps](int from, int to, int i) {
        int twice = 2 * (to - from) * i + (to >= from ? steps : -steps);
        return steps ? from + twice / (2 * steps) : from;
    };
    auto paint = [p](int ha, int va, int hb, int vb) {
        Box b = {std::min(ha, hb), std::min(va, vb), std::max(ha, hb) + 1,
                 std::max(va, vb) + 1};
        each_part(p, b, [p](const Box &part) {
            canvas_fill(p->canvas, part, p->fore);
        });
    };
    int startH = h0, startV = v0, lastH = h0, lastV = v0;
    for (int i = 1; i <= steps; i++) {
        int nextH = at(h0, h, i), nextV = at(v0, v, i);
        if (nextH != startH && nextV != startV) {
            paint(startH, startV, lastH, lastV);
            startH = nextH;
            startV = nextV;
        }
        lastH = nextH;
        lastV = nextV;
    }
    paint(startH, startV, lastH, lastV);
    MoveTo(h, v);
}

void TextFont(int16_t font)
{
    if (!current || current->font == font)
        return;
    current->font = font;
    current->strike = nullptr;
}

void TextSize(int16_t size)
{
    if (!current || current->size == size)
        return;
    current->size = size;
    current->strike = nullptr;
}

void TextFace(uint8_t face)
{
    if (!current || current->face == face)
        return;
    current->face = face;
    current->strike = nullptr;
}

void TextMode(int16_t mode)
{
    if (current)
        current->mode = mode;
}

int16_t port_font()
{
    return current ? current->font : int16_t(0);
}

// Measuring works without a port, too: then with the system's font.
static Strike *strike()
{
    if (!current)
        return strike_get(0, 12, 0, 1);
    if (!current->strike)
        current->strike = strike_get(current->font, current->size,
                                     current->face, current->canvas->scale);
    return current->strike;
}

void GetFontInfo(FontInfo *info)
{
    const Strike *s = strike();
    *info = {s->ascent, s->descent, s->widest, s->leading};
}

int16_t CharWidth(uint8_t c)
{
    return limit16(strike_width(strike(), &c, 1));
}

int16_t TextWidth(const void *text, int16_t first, int16_t count)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(text) + first;

    return count > 0 ? limit16(strike_width(strike(), bytes, count))
                     : int16_t(0);
}

int16_t StringWidth(ConstStr s)
{
    return TextWidth(s, 1, s[0]);
}

void DrawText(const void *text, int16_t first, int16_t count)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(text) + first;

    if (!current || count <= 0)
        return;
    Strike *s = strike();
    if (PortState *p = drawable()) {
        TextRun run = {s,
                       p->penH,
                       p->penV,
                       bytes,
                       count,
                       p->mode == srcBic ? p->back : p->fore,
                       (p->face & underline) != 0};
        if (p->areaIsRect)
            canvas_text(p->canvas, p->area, run);
        else
            for (const Rect &r : p->parts.rects)
                canvas_text(p->canvas, box_of(r), run);
    }
    current->penH = limit16(current->penH + strike_width(s, bytes, count));
}

void DrawString(ConstStr s)
{
    DrawText(s, 1, s[0]);
}

void DrawChar(uint8_t c)
{
    DrawText(&c, 0, 1);
}

int16_t CharToPixel(const uint8_t *text, int32_t length, int32_t offset)
{
    int32_t count = std::clamp<int32_t>(offset, 0, length);

    return limit16(strike_width(strike(), text, count));
}

int16_t PixelToChar(const uint8_t *text, int32_t length, int16_t pixel,
                    bool *leading)
{
    Strike *s = strike();
    int32_t left = 0;

    if (leading)
        *leading = pixel < 0;
    for (int32_t i = 0; i < length; i++) {
        int32_t width = strike_width(s, text + i, 1);
        if (pixel < left + width) {
            bool firstHalf = pixel < left + (width + 1) / 2;
            if (leading)
                *leading = firstHalf;
            return limit16(firstHalf ? i : i + 1);
        }
        left += width;
    }
    return limit16(length);
}

// ---- colours ---------------------------------------------------------------

static RGBColor color_of_code(int16_t code)
{
    constexpr uint16_t on = 0xFFFF;

    switch (code) {
    case whiteColor:
        return {on, on, on};
    case redColor:
        return {on, 0, 0};
    case greenColor:
        return {0, on, 0};
    case blueColor:
        return {0, 0, on};
    case cyanColor:
        return {0, on, on};
    case magentaColor:
        return {on, 0, on};
    case yellowColor:
        return {on, on, 0};
    default:
        return {0, 0, 0};
    }
}

static uint32_t pixel_of(const RGBColor *c)
{
    return uint32_t(c->red >> 8) << 16 | uint32_t(c->green >> 8) << 8 |
           uint32_t(c->blue >> 8);
}

void RGBForeColor(const RGBColor *c)
{
    if (current)
        current->fore = pixel_of(c);
}

void RGBBackColor(const RGBColor *c)
{
    if (current)
        current->back = pixel_of(c);
}

void ForeColor(int16_t code)
{
    RGBColor c = color_of_code(code);
    RGBForeColor(&c);
}

void BackColor(int16_t code)
{
    RGBColor c = color_of_code(code);
    RGBBackColor(&c);
}

// ---- shapes ----------------------------------------------------------------

static void fill_box(const Box &box, uint32_t PortState::*color)
{
    if (PortState *p = drawable())
        each_part(p, box, [p, color](const Box &b) {
            canvas_fill(p->canvas, b, p->*color);
        });
}

void EraseRect(const Rect *r)
{
    fill_box(box_of(*r), &PortState::back);
}

void PaintRect(const Rect *r)
{
    fill_box(box_of(*r), &PortState::fore);
}

void EraseRgn(RgnHandle r)
{
    for (const Rect &rect : r->rects)
        EraseRect(&rect);
}

// Half way between the two colours, as the classic pattern looks from afar.
void FillGrayRect(const Rect *r)
{
    PortState *p = drawable();
    if (!p)
        return;
    uint32_t gray = ((p->fore ^ p->back) >> 1 & 0x7F7F7F) + (p->fore & p->back);
    each_part(p, box_of(*r),
              [p, gray](const Box &b) { canvas_fill(p->canvas, b, gray); });
}

void FrameRect(const Rect *r)
{
    if (EmptyRect(r))
        return;
    Box b = box_of(*r);
    fill_box({b.left, b.top, b.right, b.top + 1}, &PortState::fore);
    fill_box({b.left, b.bottom - 1, b.right, b.bottom}, &PortState::fore);
    fill_box({b.left, b.top + 1, b.left + 1, b.bottom - 1}, &PortState::fore);
    fill_box({b.right - 1, b.top + 1, b.right, b.bottom - 1}, &PortState::fore);
}

// A selection is shown by this, too: it can be read on any colour, and a second
// inversion takes it off exactly.
void InvertRect(const Rect *r)
{
    if (PortState *p = drawable())
        each_part(p, box_of(*r),
                  [p](const Box &b) { canvas_invert(p->canvas, b); });
}

void InvertRgn(RgnHandle r)
{
    for (const Rect &rect : r->rects)
        InvertRect(&rect);
}

// Scrolls an area that isn't a rectangle: what can come from inside it is
// carried over from a copy of the old pixels.
static void scroll_parts(PortState *p, const Box &box, int dh, int dv,
                         QlRegion *uncovered)
{
    Canvas *c = p->canvas;
    QlRegion target, moved;

    region_set(&target, box.rect());
    region_combine(&target, &p->parts, kSect, &target);
    moved = target;
    OffsetRgn(&moved, int16_t(dh), int16_t(dv));
    region_combine(&moved, &target, kSect, &moved);
    region_combine(&target, &moved, kDiff, uncovered);

    canvas_flush(c);
    std::vector<uint32_t> old = c->pixels;
    for (const Rect &r : moved.rects) {
        canvas_fill(c, box_of(r), p->back); // so that it counts as changed
        canvas_flush(c);
        auto width = size_t(r.right - r.left) * size_t(c->scale);
        for (int y = r.top * c->scale; y < r.bottom * c->scale; y++) {
            ptrdiff_t to = ptrdiff_t(y) * c->stride + r.left * c->scale;
            ptrdiff_t from =
                to - ptrdiff_t(dv * c->scale) * c->stride - dh * c->scale;
            std::copy_n(old.begin() + from, width, c->pixels.begin() + to);
        }
    }
    for (const Rect &r : uncovered->rects)
        canvas_fill(c, box_of(r), p->back);
}

static void uncovered_by(const Box &box, int dh, int dv, QlRegion *out)
{
    Box s = box;

    if (dh == 0 && std::abs(dv) < box.height()) {
        if (dv < 0)
            s.top = box.bottom + dv;
        else
            s.bottom = box.top + dv;
        region_set(out, s.rect());
        return;
    }
    QlRegion all, moved;
    region_set(&all, box.rect());
    region_set(&moved, box.moved(dh, dv).rect());
    region_combine(&all, &moved, kDiff, out);
}

void ScrollRect(const Rect *r, int16_t dh, int16_t dv, RgnHandle update)
{
    PortState *p = drawable();

    if (update)
        SetEmptyRgn(update);
    if (!p || (dh == 0 && dv == 0))
        return;
    Box box = box_of(*r).cut(p->area);
    if (box.empty())
        return;
    if (p->areaIsRect) {
        canvas_scroll(p->canvas, box, dh, dv, p->back);
        if (update)
            uncovered_by(box, dh, dv, update);
        return;
    }
    QlRegion uncovered;
    scroll_parts(p, box, dh, dv, &uncovered);
    if (update)
        CopyRgn(&uncovered, update);
}

// ---- for the layer and its tests -------------------------------------------

static void present(WindowPtr w, Canvas *c)
{
    be_rect dirty[32];
    int count = 0;

    canvas_flush(c);
    for (const Box &b : c->dirty) {
        if (count < int(std::size(dirty)))
            dirty[count++] = b.out();
    }
    c->dirty.clear();
    if (!count)
        return;
    be_present(window_id(w), c->pixels.data(), c->stride, c->height * c->scale,
               c->stride, dirty, count);
    c->retired = {};
}

constexpr int64_t kFrame = 1000000 / 60; // microseconds
static int64_t lastPresent = -kFrame;

static bool anything_to_show()
{
    for (WindowPtr w = window_next(nullptr); w; w = window_next(w)) {
        Canvas *c = window_canvas(w);
        if (c && canvas_pending(c))
            return true;
    }
    return false;
}

void draw_present(bool now)
{
    if (!anything_to_show())
        return;
    int64_t time = be_now_us();
    if (!now && time >= lastPresent && time - lastPresent < kFrame)
        return;
    lastPresent = time;
    for (WindowPtr w = window_next(nullptr); w; w = window_next(w)) {
        Canvas *c = window_canvas(w);
        if (c && canvas_pending(c))
            present(w, c);
    }
}

int64_t draw_present_due()
{
    return anything_to_show() ? lastPresent + kFrame : INT64_MAX;
}

uint32_t draw_pixel(WindowPtr w, int16_t h, int16_t v)
{
    Canvas *c = w ? window_canvas(w) : nullptr;

    return c ? canvas_pixel(c, h, v) : 0xFF000000;
}
