// Canvases: the pixels of a window's content, and the drawing that waits to
// become pixels.
//
// Drawing is recorded. Nobody sees a pixel before the canvas is presented, at
// most 60 times a second, and by then most of what a busy terminal drew has
// scrolled away or has been drawn over. So the record of a line costs some
// tens of nanoseconds and its pixels, mostly, nothing.
//
// The record is a list of shifts and a list of operations: the pixels are the
// old ones, moved by the shifts in order, then drawn on by the operations in
// order. A scroll of rectangle R is put before the operations instead of
// behind them by moving every one inside R along; those across R's edge are
// cut into parts first. While the same R scrolls on in the same direction
// even that is put off: operations inside R are then kept in coordinates that
// move with it (`kRolls`), and the sum of the scrolls is a number.
//
// Boxes are in program units and lie within the canvas; callers cut them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/core/core.h"
#include "platform/core/drawing/box.h"
#include "platform/core/drawing/glyphs.h"

enum OpKind : uint8_t { kFill, kInvert, kText };
enum OpFlags : uint8_t {
    kRolls = 1,     // coordinates move with the rolling rectangle
    kOpaque = 2,    // text that fills its box with `back` first
    kKnownBack = 4, // text on an even ground of colour `back`
    kUnderlined = 8,
};

struct Op {
    Box box; // what it changes
    uint32_t color;
    uint32_t back;
    int32_t h, v;  // text: the pen at its start
    uint32_t text; // where its bytes stand in Canvas::text
    uint16_t count;
    OpKind kind;
    uint8_t flags;
    Strike *strike;
};

struct Shift {
    Box box;
    int32_t dh, dv;
};

struct Canvas {
    int width, height; // units
    int scale;
    int stride;                   // device pixels a row
    std::vector<uint32_t> pixels; // 0x00RRGGBB
    // The pixels of another size, which the back end paints from until it is
    // shown the new ones.
    std::vector<uint32_t> retired;

    // ---- the record --------------------------------------------------------
    // `rollH`, `rollV` (one of them 0) is how far `roll` has been scrolled
    // since it began to roll; an operation with kRolls stands at its box moved
    // by that. Operations with it lie inside `roll`, those without outside.
    std::vector<Op> ops;
    std::vector<uint8_t> text;
    std::vector<Shift> shifts; // to be made before `ops`
    bool rolling;
    Box roll;
    int32_t rollH, rollV;
    size_t uncovered; // the fill of what the roll uncovers, or kNoOp
    size_t pruneAt;   // operations at which to look for covered ones

    std::vector<Box> dirty; // drawn since it was last presented
};
constexpr size_t kNoOp = SIZE_MAX;

struct TextRun {
    Strike *strike;
    int32_t h, v; // the pen, on the baseline
    const uint8_t *bytes;
    int32_t count;
    uint32_t color;
    bool underlined;
};

void canvas_fill(Canvas *c, const Box &box, uint32_t color);
void canvas_invert(Canvas *c, const Box &box);
void canvas_text(Canvas *c, const Box &clip, const TextRun &run);
void canvas_scroll(Canvas *c, const Box &box, int dh, int dv, uint32_t back);

// Makes pixels of all that is recorded.
void canvas_flush(Canvas *c);
bool canvas_pending(const Canvas *c); // recorded or not yet presented
uint32_t canvas_pixel(Canvas *c, int h, int v);

// Draw at once instead of recording, in all canvases. For tests.
void canvas_set_immediate(bool immediate);

bool canvas_ok(const Canvas *c); // the record keeps its rules

// ---- the pixels (canvas_raster.cpp) ----------------------------------------

// `bytes` are the operation's text.
void raster_op(Canvas *c, const Op &op, const uint8_t *bytes);
void raster_shift(Canvas *c, const Shift &s);
