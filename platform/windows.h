// Windows, front to back. Bounds are those of the content; global coordinates
// count from the main screen's top left.
#pragma once

#include "platform/events.h"
#include "platform/types.h"

enum : int16_t { // part codes
    inDesk = 0,
    inMenuBar = 1,
    inSysWindow = 2,
    inContent = 3,
    inDrag = 4,
    inGrow = 5,
    inGoAway = 6,
    inZoomIn = 7,
    inZoomOut = 8,
};

enum : int16_t { // GetWindowKind; below 0 would be a desk accessory
    dialogKind = 2,
    userKind = 8,
};

// From window resource `id`, hidden or shown as it says. Null when there is
// no such resource.
WindowPtr GetNewWindow(int16_t id);
void DisposeWindow(WindowPtr w);

WindowPtr FrontWindow(); // the frontmost one shown, or null
int16_t GetWindowKind(WindowPtr w);
void SetWTitle(WindowPtr w, ConstStr title);

void ShowWindow(WindowPtr w);
void ShowHide(WindowPtr w, bool show);
void SelectWindow(WindowPtr w);
void CollapseWindow(WindowPtr w, bool collapse);
bool IsWindowCollapsed(WindowPtr w);

void MoveWindow(WindowPtr w, int16_t h, int16_t v, bool front);
void SizeWindow(WindowPtr w, int16_t width, int16_t height, bool update);
void GetWindowPortBounds(WindowPtr w, Rect *local); // top left is 0, 0
void GetWindowBounds(WindowPtr w, Rect *global);    // of the content
void SetWindowZoomed(WindowPtr w, bool zoomed);

// The desktop: the union of all screens, less panels where that is known.
void GetScreenBounds(Rect *bounds);
RgnHandle GetGrayRgn();

// The part under a mouse event that WaitNextEvent has just returned. The part
// comes from the native act, so `where` needs no hit test of its own.
int16_t FindWindow(const EventRecord *event, WindowPtr *w);

// The native act has already happened when this is called.
// High word the height, low word the width after the resize; 0 for no change.
uint32_t GrowWindow(WindowPtr w, const EventRecord *event, const Rect *limits);

// Redrawing. Between the two, drawing is cut to what has to be redrawn.
void BeginUpdate(WindowPtr w);
void EndUpdate(WindowPtr w);
void InvalWindowRect(WindowPtr w, const Rect *r);
void InvalWindowRgn(WindowPtr w, RgnHandle rgn);
void ValidWindowRgn(WindowPtr w, RgnHandle rgn);
// The region still to be redrawn, local coordinates; empty without one.
void GetWindowUpdateRgn(WindowPtr w, RgnHandle rgn);

// Cursors: 1 text, 4 wait, 310 positioning, 0 the arrow.
void SetCursorID(WindowPtr w, int16_t id);
void InitCursor(); // the arrow, everywhere
void SetWaitCursor();
void ObscureCursor();

// Where the text cursor stands: an input method opens its window there.
void SetCaretRect(WindowPtr w, const Rect *local);
