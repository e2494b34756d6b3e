// The graphics state behind a window or a page, for the parts of the core
// that need more of it than the calls of platform/drawing.h give.
#pragma once

#include "platform/core/core.h"
#include "platform/core/drawing/canvas.h"
#include "platform/core/drawing/regionparts.h"

// Makes an off-screen port the current one: a page to be printed, say. Null
// is nowhere. SetPort brings a window's back.
void port_set_current(PortState *p);

int16_t port_font(); // of the current port
