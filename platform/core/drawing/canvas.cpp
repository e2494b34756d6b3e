// The record of drawing, and what is left of it when it becomes pixels.
#include "platform/core/drawing/canvas.h"

#include <algorithm>
#include <cassert>
#include <cstring>

// Looking for covered operations begins at this many, and costs some ten
// nanoseconds for each. The record never holds more than kMostOps for long.
constexpr size_t kPruneAt = 512;
constexpr size_t kMostOps = 4096;
constexpr size_t kPruneText = 96 * 1024;
constexpr size_t kMostShifts = 64;
constexpr size_t kMostDirty = 12;

constexpr uint32_t kWhite = 0xFFFFFF;

static bool drawAtOnce;

static void clear_record(Canvas *c)
{
    c->ops.clear();
    c->text.clear();
    c->shifts.clear();
    c->rolling = false;
    c->rollH = c->rollV = 0;
    c->uncovered = kNoOp;
    c->pruneAt = kPruneAt;
}

static Box whole(const Canvas *c)
{
    return {0, 0, c->width, c->height};
}

// Where an operation stands on the canvas at this moment.
static Box place(const Canvas *c, const Op &op)
{
    return op.flags & kRolls ? op.box.moved(c->rollH, c->rollV) : op.box;
}

static void move_op(Op *op, int dh, int dv)
{
    op->box = op->box.moved(dh, dv);
    op->h += dh;
    op->v += dv;
}

// ---- what has to be shown --------------------------------------------------

static int64_t area(const Box &b)
{
    return int64_t(b.width()) * b.height();
}

// A few boxes around all that changed; near ones are united.
static void add_dirty(Canvas *c, const Box &box)
{
    if (box.empty())
        return;
    for (Box &d : c->dirty) {
        if (d.contains(box))
            return;
        Box both = d.around(box);
        if (area(both) <= area(d) + area(box)) {
            d = both;
            return;
        }
    }
    if (c->dirty.size() < kMostDirty) {
        c->dirty.push_back(box);
        return;
    }
    Box all = box;
    for (const Box &d : c->dirty)
        all = all.around(d);
    c->dirty.assign(1, all);
}

// ---- what later drawing covers ---------------------------------------------
// Going backwards, the opaque boxes met so far. Rows of text fill their lines
// with the same top, so that small boxes are found by that; a few large ones
// are asked for all.

constexpr int kRowSlots = 64;
constexpr int kPerRow = 4;
constexpr int kLarge = 6;
constexpr int kLargeHeight = 40;

struct Cover {
    Box rows[kRowSlots][kPerRow];
    uint8_t count[kRowSlots];
    Box large[kLarge];
    int largeCount;
};
static Cover cover;

static unsigned row_slot(const Box &b)
{
    return unsigned(b.top) % kRowSlots;
}

static void cover_clear()
{
    std::memset(cover.count, 0, sizeof cover.count);
    cover.largeCount = 0;
}

static bool cover_has(const Box &b)
{
    for (int i = 0; i < cover.largeCount; i++) {
        if (cover.large[i].contains(b))
            return true;
    }
    unsigned slot = row_slot(b);
    for (int i = 0; i < cover.count[slot]; i++) {
        if (cover.rows[slot][i].contains(b))
            return true;
    }
    return false;
}

static void cover_add_large(const Box &b)
{
    if (cover.largeCount < kLarge) {
        cover.large[cover.largeCount++] = b;
        return;
    }
    Box *least = &cover.large[0];
    for (Box &l : cover.large) {
        if (area(l) < area(*least))
            least = &l;
    }
    if (area(b) > area(*least))
        *least = b;
}

static void cover_add(const Box &b)
{
    if (b.height() >= kLargeHeight) {
        cover_add_large(b);
        return;
    }
    unsigned slot = row_slot(b);
    Box *row = cover.rows[slot];
    int n = cover.count[slot];
    for (int i = 0; i < n; i++) {
        if (row[i].top == b.top && row[i].bottom == b.bottom &&
            row[i].left <= b.right && b.left <= row[i].right) {
            row[i] = row[i].around(b);
            return;
        }
    }
    if (n < kPerRow)
        row[cover.count[slot]++] = b;
    else
        row[unsigned(b.left) % kPerRow] = b;
}

static bool fills_its_box(const Op &op)
{
    return op.kind == kFill || (op.kind == kText && op.flags & kOpaque);
}

// Drops what has rolled out of sight and what is covered, and the text that
// nothing needs any more. (Parts of one operation share their text, so it is
// copied rather than moved up.)
static void prune(Canvas *c)
{
    static std::vector<uint8_t> text;
    Box seen = c->roll.moved(-c->rollH, -c->rollV);

    for (Op &op : c->ops) {
        if (op.flags & kRolls)
            op.box = op.box.cut(seen);
    }
    cover_clear();
    for (size_t i = c->ops.size(); i-- > 0;) {
        Op &op = c->ops[i];
        Box at = place(c, op);
        if (at.empty() || cover_has(at))
            op.box = {};
        else if (fills_its_box(op))
            cover_add(at);
    }

    size_t kept = 0;
    size_t uncovered = c->uncovered;
    text.clear();
    c->uncovered = kNoOp;
    for (size_t i = 0; i < c->ops.size(); i++) {
        Op &op = c->ops[i];
        if (op.box.empty())
            continue;
        if (op.kind == kText) {
            const uint8_t *from = c->text.data() + op.text;
            op.text = uint32_t(text.size());
            text.insert(text.end(), from, from + op.count);
        }
        if (i == uncovered)
            c->uncovered = kept;
        c->ops[kept++] = op;
    }
    c->ops.resize(kept);
    c->text.swap(text);
    c->pruneAt = std::max(kPruneAt, 2 * kept);
    assert(canvas_ok(c));
}

// ---- rolling ---------------------------------------------------------------

// Ends the rolling: its operations get plain places, its sum becomes a shift.
static void settle(Canvas *c)
{
    if (!c->rolling)
        return;
    size_t kept = 0;
    for (Op &op : c->ops) {
        if (op.flags & kRolls) {
            move_op(&op, c->rollH, c->rollV);
            op.box = op.box.cut(c->roll);
            op.flags &= uint8_t(~kRolls);
            if (op.box.empty())
                continue;
        }
        c->ops[kept++] = op;
    }
    c->ops.resize(kept);
    c->shifts.push_back({c->roll, c->rollH, c->rollV});
    c->rolling = false;
    c->rollH = c->rollV = 0;
    c->uncovered = kNoOp;
    assert(canvas_ok(c));
}

// Gives `take` the parts of an operation inside and outside of `box`.
template <typename Take>
static void split(const Op &op, const Box &box, Take take)
{
    Op part = op;
    Box b = op.box;
    auto give = [&](const Box &piece, bool inside) {
        if (piece.empty())
            return;
        part.box = piece;
        take(part, inside);
    };

    give({b.left, b.top, b.right, std::min(b.bottom, box.top)}, false);
    give({b.left, std::max(b.top, box.bottom), b.right, b.bottom}, false);
    b.top = std::max(b.top, box.top);
    b.bottom = std::min(b.bottom, box.bottom);
    give({b.left, b.top, std::min(b.right, box.left), b.bottom}, false);
    give({std::max(b.left, box.right), b.top, b.right, b.bottom}, false);
    give(b.cut(box), true);
}

// Begins to roll `box`: every operation is now inside it or outside.
static void start_rolling(Canvas *c, const Box &box)
{
    static std::vector<Op> sorted;

    sorted.clear();
    for (Op &op : c->ops) {
        if (box.contains(op.box)) {
            op.flags |= kRolls;
            sorted.push_back(op);
        } else if (!box.meets(op.box)) {
            sorted.push_back(op);
        } else {
            split(op, box, [](const Op &part, bool inside) {
                sorted.push_back(part);
                if (inside)
                    sorted.back().flags |= kRolls;
            });
        }
    }
    c->ops.swap(sorted);
    c->rolling = true;
    c->roll = box;
    assert(canvas_ok(c));
}

static bool rolls_on(const Canvas *c, const Box &box, int dh, int dv)
{
    return c->rolling && c->roll == box && (dh == 0) == (c->rollH == 0) &&
           (dv == 0) == (c->rollV == 0) && (dh < 0) == (c->rollH < 0) &&
           (dv < 0) == (c->rollV < 0);
}

// The strip that a scroll by (dh, dv) uncovers; one of them is 0.
static Box strip(const Box &b, int dh, int dv)
{
    Box s = b;

    if (dv < 0)
        s.top = b.bottom + dv;
    else if (dv > 0)
        s.bottom = b.top + dv;
    else if (dh < 0)
        s.left = b.right + dh;
    else
        s.right = b.left + dh;
    return s;
}

// What comes into sight is filled by one operation that grows as long as the
// colour stays. No other operation reaches there yet, so its place in the
// order doesn't matter.
static void fill_uncovered(Canvas *c, int dh, int dv, uint32_t back)
{
    Box box = strip(c->roll, dh, dv).moved(-c->rollH, -c->rollV);

    if (c->uncovered != kNoOp && c->ops[c->uncovered].color == back) {
        Box &old = c->ops[c->uncovered].box;
        old = old.around(box);
        return;
    }
    Op op = {};
    op.box = box;
    op.color = back;
    op.kind = kFill;
    op.flags = kRolls;
    c->uncovered = c->ops.size();
    c->ops.push_back(op);
}

// ---- adding to the record --------------------------------------------------

static void keep_small(Canvas *c)
{
    if (c->ops.size() < c->pruneAt && c->text.size() < kPruneText)
        return;
    prune(c);
    if (c->ops.size() > kMostOps || c->text.size() > kPruneText / 2)
        canvas_flush(c);
}

// Two equal inversions undo each other when nothing between them touches their
// box; and inverting a box just filled is filling it otherwise.
static bool cancels(Canvas *c, const Op &op)
{
    constexpr size_t kLookBack = 4;
    size_t n = c->ops.size();

    if (n && c->ops[n - 1].kind == kFill && c->ops[n - 1].box == op.box &&
        c->ops[n - 1].flags == op.flags) {
        c->ops[n - 1].color ^= 0x00FFFFFF;
        return true;
    }
    for (size_t i = n; i-- > 0 && n - i <= kLookBack;) {
        const Op &old = c->ops[i];
        if ((old.flags ^ op.flags) & kRolls)
            continue; // one rolls, the other doesn't: they don't meet
        if (old.kind == kInvert && old.box == op.box) {
            c->ops.erase(c->ops.begin() + ptrdiff_t(i));
            if (c->uncovered != kNoOp && c->uncovered > i)
                c->uncovered--;
            return true;
        }
        if (old.box.meets(op.box))
            return false;
    }
    return false;
}

// Text on a box just filled becomes one operation with the fill, or at least
// knows its ground.
static bool joins_fill(Canvas *c, Op *op)
{
    if (c->ops.empty())
        return false;
    Op &fill = c->ops.back();
    if (fill.kind != kFill || (fill.flags ^ op->flags) & kRolls ||
        !fill.box.contains(op->box))
        return false;
    op->back = fill.color;
    op->flags |= kKnownBack;
    if (!(fill.box == op->box) || c->ops.size() - 1 == c->uncovered)
        return false;
    op->flags |= kOpaque;
    fill = *op;
    return true;
}

static void append(Canvas *c, Op *op)
{
    if (op->kind == kInvert && cancels(c, *op))
        return;
    if (op->kind == kText && joins_fill(c, op))
        return;
    c->ops.push_back(*op);
}

static void record(Canvas *c, Op *op)
{
    if (!c->rolling || !c->roll.meets(op->box)) {
        append(c, op);
    } else if (c->roll.contains(op->box)) {
        move_op(op, -c->rollH, -c->rollV);
        op->flags |= kRolls;
        append(c, op);
    } else {
        split(*op, c->roll, [c](Op &part, bool inside) {
            Op own = part;
            if (inside) {
                move_op(&own, -c->rollH, -c->rollV);
                own.flags |= kRolls;
            }
            append(c, &own);
        });
    }
    keep_small(c);
}

static void draw(Canvas *c, Op *op, const uint8_t *bytes)
{
    if (op->box.empty())
        return;
    assert(whole(c).contains(op->box));
    if (drawAtOnce) {
        raster_op(c, *op, bytes);
        add_dirty(c, op->box);
        return;
    }
    if (bytes) {
        op->text = uint32_t(c->text.size());
        c->text.insert(c->text.end(), bytes, bytes + op->count);
    }
    record(c, op);
}

void canvas_fill(Canvas *c, const Box &box, uint32_t color)
{
    Op op = {};
    op.box = box;
    op.color = color;
    op.kind = kFill;
    draw(c, &op, nullptr);
}

void canvas_invert(Canvas *c, const Box &box)
{
    Op op = {};
    op.box = box;
    op.kind = kInvert;
    draw(c, &op, nullptr);
}

// The box that holds all ink of a run. Ink of a fixed font stays in its cells;
// elsewhere a letter may lean over its neighbours.
static Box ink_box(const TextRun &run)
{
    Strike *s = run.strike;
    Box b = {run.h, run.v - s->ascent, run.h, run.v + s->descent};

    if (s->fixed) {
        b.right += s->cell * run.count;
        return b;
    }
    int32_t pen = run.h;
    for (int32_t i = 0; i < run.count; i++) {
        const GlyphMask &g = strike_glyph(s, run.bytes[i]);
        int right = g.left + g.width + s->scale - 1;
        int left = g.left - (g.left < 0 ? s->scale - 1 : 0);
        b.left = std::min(b.left, pen + left / s->scale);
        b.right = std::max(b.right, pen + right / s->scale);
        pen += g.advance;
    }
    b.right = std::max(b.right, pen);
    return b;
}

void canvas_text(Canvas *c, const Box &clip, const TextRun &run)
{
    Op op = {};

    if (run.count <= 0 || run.count > UINT16_MAX)
        return;
    op.box = ink_box(run).cut(clip);
    op.color = run.color;
    op.h = run.h;
    op.v = run.v;
    op.count = uint16_t(run.count);
    op.kind = kText;
    op.flags = run.underlined ? kUnderlined : 0;
    op.strike = run.strike;
    draw(c, &op, run.bytes);
}

// A scroll across both axes is two, whose strips together are what it
// uncovers.
void canvas_scroll(Canvas *c, const Box &box, int dh, int dv, uint32_t back)
{
    if (box.empty() || (dh == 0 && dv == 0))
        return;
    assert(whole(c).contains(box));
    if (std::abs(dh) >= box.width() || std::abs(dv) >= box.height()) {
        canvas_fill(c, box, back);
        return;
    }
    if (dh && dv) {
        canvas_scroll(c, box, dh, 0, back);
        dh = 0;
    }
    if (drawAtOnce) {
        raster_shift(c, {box, dh, dv});
        canvas_fill(c, strip(box, dh, dv), back);
        add_dirty(c, box);
        return;
    }
    // Sums stay far from the ends of their type, also in a record that is
    // never shown.
    constexpr int32_t kFarthest = 1 << 28;
    if (!rolls_on(c, box, dh, dv) ||
        std::abs(c->rollH + c->rollV) > kFarthest) {
        settle(c);
        if (c->shifts.size() >= kMostShifts)
            canvas_flush(c);
        start_rolling(c, box);
    }
    c->rollH += dh;
    c->rollV += dv;
    fill_uncovered(c, dh, dv, back);
    keep_small(c);
}

// ---- from the record to pixels ---------------------------------------------

// A shift whose box is filled afterwards doesn't matter, unless a later one
// that does matter may carry its pixels elsewhere.
static void make_shifts(Canvas *c)
{
    static std::vector<bool> needed;

    needed.assign(c->shifts.size(), false);
    for (size_t i = c->shifts.size(); i-- > 0;) {
        const Box &box = c->shifts[i].box;
        bool filled =
            std::any_of(c->ops.begin(), c->ops.end(), [&](const Op &op) {
                return op.kind == kFill && op.box.contains(box);
            });
        needed[i] = !filled;
        for (size_t k = i + 1; filled && k < c->shifts.size(); k++) {
            if (needed[k] && c->shifts[k].box.meets(box))
                needed[i] = true;
        }
    }
    for (size_t i = 0; i < c->shifts.size(); i++) {
        add_dirty(c, c->shifts[i].box);
        if (needed[i])
            raster_shift(c, c->shifts[i]);
    }
}

void canvas_flush(Canvas *c)
{
    if (c->ops.empty() && !c->rolling && c->shifts.empty())
        return;
    settle(c);
    prune(c);
    make_shifts(c);
    for (const Op &op : c->ops) {
        raster_op(c, op, c->text.data() + op.text);
        add_dirty(c, op.box);
    }
    clear_record(c);
}

bool canvas_pending(const Canvas *c)
{
    return !c->ops.empty() || c->rolling || !c->shifts.empty() ||
           !c->dirty.empty();
}

uint32_t canvas_pixel(Canvas *c, int h, int v)
{
    if (h < 0 || v < 0 || h >= c->width || v >= c->height)
        return 0xFF000000;
    canvas_flush(c);
    return c->pixels[size_t(v * c->scale) * size_t(c->stride) +
                     size_t(h * c->scale)];
}

void canvas_set_immediate(bool immediate)
{
    drawAtOnce = immediate;
}

bool canvas_ok(const Canvas *c)
{
    if (c->uncovered != kNoOp &&
        (c->uncovered >= c->ops.size() || !c->rolling ||
         c->ops[c->uncovered].kind != kFill))
        return false;
    for (const Op &op : c->ops) {
        if (op.kind == kText && op.text + op.count > c->text.size())
            return false;
        if (op.flags & kRolls) {
            // Recorded inside the box at a time when it had rolled less far.
            Box path = c->roll;
            if (!c->rolling)
                return false;
            path = path.around(path.moved(-c->rollH, -c->rollV));
            if (!path.contains(op.box))
                return false;
        } else if ((c->rolling && c->roll.meets(op.box)) ||
                   !whole(c).contains(op.box)) {
            return false;
        }
    }
    return true;
}

// ---- life ------------------------------------------------------------------

// A window's size comes from the user and a screen's scale from the desktop;
// both are bounded before memory is taken.
static void set_size(Canvas *c, int width, int height, int scale)
{
    c->width = std::clamp(width, 0, 8192);
    c->height = std::clamp(height, 0, 8192);
    c->scale = std::clamp(scale, 1, 8);
    c->stride = c->width * c->scale;
}

Canvas *canvas_new(int width, int height, int scale)
{
    Canvas *c = new Canvas{};

    set_size(c, width, height, scale);
    c->pixels.assign(size_t(c->stride) * size_t(c->height * c->scale), kWhite);
    clear_record(c);
    add_dirty(c, whole(c));
    return c;
}

// Keeps what was shown where the scale stays, so that a window doesn't flash
// white before the program has redrawn it.
void canvas_resize(Canvas *c, int width, int height, int scale)
{
    canvas_flush(c);
    Canvas old = std::move(*c);
    *c = Canvas{};
    set_size(c, width, height, scale);
    c->pixels.assign(size_t(c->stride) * size_t(c->height * c->scale), kWhite);
    clear_record(c);
    if (old.scale == c->scale) {
        int rows = std::min(old.height, c->height) * c->scale;
        size_t bytes = size_t(std::min(old.stride, c->stride)) * 4;
        for (int y = 0; y < rows && bytes; y++)
            std::memcpy(&c->pixels[size_t(y) * size_t(c->stride)],
                        &old.pixels[size_t(y) * size_t(old.stride)], bytes);
    }
    c->retired.swap(old.retired.empty() ? old.pixels : old.retired);
    add_dirty(c, whole(c));
}

void canvas_dispose(Canvas *c)
{
    delete c;
}
