// What the parts of the core share with each other and with nobody else.
#pragma once

#include "platform/backend.h"
#include "platform/drawing.h"
#include "platform/events.h"
#include "platform/windows.h"

// ---- text (macroman) -------------------------------------------------------

// Mac Roman to code points and back. 0 to 127 are ASCII; a character that Mac
// Roman lacks answers 0.
uint32_t macroman_to_unicode(uint8_t c);
uint8_t unicode_to_macroman(uint32_t codepoint);
// Writes at most `size` - 1 bytes and a NUL; answers the bytes needed.
size_t macroman_to_utf8(const uint8_t *text, size_t count, char *out,
                        size_t size);
// `bad` stands for what Mac Roman lacks; 0 drops it.
size_t utf8_to_macroman(const char *text, uint8_t *out, size_t size,
                        uint8_t bad);

// ---- canvases (canvas, drawing) --------------------------------------------

struct Canvas; // platform/core/canvas.h

// Called by the windows: a canvas comes, takes another size or scale (its
// pixels become the back colour white), goes.
Canvas *canvas_new(int width, int height, int scale);
void canvas_resize(Canvas *c, int width, int height, int scale);
void canvas_dispose(Canvas *c);

// The graphics state of a window: pen, font, face, mode, colours, clip,
// visible and update regions (platform/core/drawing.cpp keeps them).
struct PortState;
PortState *port_new(Canvas *c);
void port_dispose(PortState *p);
void port_resized(PortState *p, int width, int height);

// When draw_present will show something (be_now_us time; the past: now), or
// INT64_MAX while there is nothing to show. Costs nothing.
int64_t draw_present_due();

// ---- windows ---------------------------------------------------------------

be_win window_id(WindowPtr w);      // 0 for null
WindowPtr window_of(be_win id);     // null when it is gone
Canvas *window_canvas(WindowPtr w); // null for a window without one
PortState *window_port(WindowPtr w);
RgnHandle window_update_rgn(WindowPtr w); // what is still to be redrawn
WindowPtr window_next(WindowPtr w);       // behind it; null starts at the front

// ---- controls --------------------------------------------------------------

// The number by which the back end knows a control, an item of its window.
int control_item(ControlHandle c);
WindowPtr control_window(ControlHandle c);

// ---- dialogs ---------------------------------------------------------------

// Redraws the user items of a dialog that meet its update region.
void dialog_draw_items(WindowPtr d);

// ---- waiting ---------------------------------------------------------------

// One be_wait with the port watched as the program asked for; presents what is
// due first. `ticks` at most; 0 asks the display once.
void core_wait(uint32_t ticks);
// The same, for core code that waits for an answer of the user's.
void core_wait_input();
