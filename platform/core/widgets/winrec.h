// A window as the core keeps it, for the parts of the core that need more than
// the calls of windows.h.
#pragma once

#include "platform/core/core.h"
#include "platform/core/drawing/box.h"

struct Dialog; // dialogparts.h

struct QlWindow {
    be_win id;
    int16_t kind; // dialogKind or userKind
    be_window_kind native;
    Rect bounds; // of the content, global
    Str255 title;
    bool visible, collapsed, zoomed;
    bool resizable, closable, zoomable;
    bool hasCanvas; // shows its canvas; the others keep one to measure with
    Canvas *canvas;
    PortState *port;
    RgnHandle update; // still to be redrawn, local
    be_cursor cursor;
    Rect caret;     // local, as the back end knows it
    Dialog *dialog; // null for a plain window

    // The user has given the window another size than the program knows. It is
    // offered by a press in the grow box until GrowWindow takes it.
    bool growPending;
    bool growAnswered; // GrowWindow has reported native_bounds
    Rect native_bounds;
    int64_t growOffered; // when last, microseconds

    // An update event that no BeginUpdate followed is not offered
    // again at once, so that it can't hold the loop in a spin.
    bool updateOffered;
    int64_t updateAgain;

    WheelHandler wheel;
    void *wheelHandler;
};

struct WindowMake {
    be_window_kind native;
    Rect bounds;
    ConstStr title;
    bool resizable, closable, zoomable, canvas;
    int16_t kind;
};
// Hidden, in front of the others in the order.
WindowPtr window_make(const WindowMake *make);

bool window_exists(WindowPtr w); // false for null, too

// Puts a rectangle where a place code of resforms.h wants it.
void window_place(Rect *bounds, uint8_t place);

// The frontmost visible window with something to be redrawn that may be
// offered now, or null. `only` (may be null) looks at that one alone.
WindowPtr windows_next_update(WindowPtr only);
bool windows_dirty(); // false: no window has anything to be redrawn

// Offers sizes that are still pending anew. Called at each event wait.
void windows_offer_sizes();
