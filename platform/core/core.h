// What the parts of the core share. Nothing above includes it.
#pragma once

#include "platform/backend.h"
#include "platform/drawing.h"
#include "platform/events.h"
#include "platform/windows.h"

// ---- canvases (canvas, drawing) --------------------------------------------

struct Canvas; // platform/core/drawing/canvas.h

// Called by the windows: a canvas comes, takes another size or scale (its
// pixels become the back colour white), goes.
Canvas *canvas_new(int width, int height, int scale);
void canvas_resize(Canvas *c, int width, int height, int scale);
void canvas_dispose(Canvas *c);

// The graphics state of a window: pen, font, face, mode, colours, clip,
// visible region (drawing.cpp keeps them).
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

// Waits until the user does something; shows meanwhile what is due.
void core_wait_input();
