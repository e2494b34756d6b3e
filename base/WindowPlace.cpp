// Windows put back to their places.
#include "base/WindowPlace.h"

#include "platform/drawing.h"

static bool title_on_screen(int16_t h, int16_t v, int16_t width)
{
    Rect strip = {int16_t(v - 18), h, v, int16_t(h + width)};

    InsetRect(&strip, 5, 2);
    return RectInRgn(&strip, GetGrayRgn());
}

void RestoreWinLoc(WindowPtr window, Point point)
{
    Rect bounds;

    GetWindowPortBounds(window, &bounds);
    if (title_on_screen(point.h, point.v, bounds.right))
        MoveWindow(window, point.h, point.v, false);
}

void RestoreWinPos(WindowPtr window, const Rect *rect)
{
    int16_t width = int16_t(rect->right - rect->left);

    SizeWindow(window, width, int16_t(rect->bottom - rect->top), true);
    if (title_on_screen(rect->left, rect->top, width))
        MoveWindow(window, rect->left, rect->top, false);
}

void KeepWindowVisible(WindowPtr window)
{
    constexpr int16_t kLeast = 20;
    Rect bounds;

    GetWindowBounds(window, &bounds);
    RgnHandle seen = NewRgn();
    RectRgn(seen, &bounds);
    SectRgn(seen, GetGrayRgn(), seen);
    GetRegionBounds(seen, &bounds);
    DisposeRgn(seen);
    if (bounds.bottom - bounds.top < kLeast)
        MoveWindow(window, 4, 40, false);
}
