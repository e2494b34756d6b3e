// Text dropped on the window goes to the host like pasted text, and the
// selection can be dragged out.
#include "automation/DragEm.h"

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "scrollback/Selection.h"
#include "terminal/VT100.h"

constexpr OSErr kRefused = -1857; // the drop isn't accepted

uint8_t gHaveDrag;
uint8_t canAcceptItems;
uint8_t cursorInContent;
int16_t insertPosition = 1;

void InitDrag()
{
    gHaveDrag = 1;
}

// A drag that is all text may be dropped into the text area, but not on the
// selection it comes from.
static bool drag_over(WindowPtr window, Point where, bool text, bool files)
{
    canAcceptItems = text && !files;
    cursorInContent = PtInRect(where, &contRect);
    insertPosition =
        stSel >= 0 && window == myWindow && PtInRgn(where, selRgn) ? -1 : 1;
    return canAcceptItems && cursorInContent && insertPosition == 1;
}

static OSErr receive_drop(WindowPtr window, const DropInfo *drop)
{
    bool accepted = drag_over(window, drop->where, drop->text != nullptr,
                              drop->fileCount > 0);
    cursorInContent = 0;
    if (!accepted)
        return kRefused;
    asSendBuf(drop->text, drop->length, cset.echoFlag);
    return noErr;
}

void InstallDragForWindow(WindowPtr window)
{
    if (gHaveDrag)
        InstallDragHandlers(window, drag_over, receive_drop);
}

// True once the mouse has left the place of the press with the button down.
static bool mouse_moved(Point from)
{
    constexpr int kNear = 3;
    Point now;

    while (StillDown()) {
        GetMouse(&now);
        int dh = now.h - from.h, dv = now.v - from.v;
        if (dh > kNear || dh < -kNear || dv > kNear || dv < -kNear)
            return true;
    }
    return false;
}

bool DragText(const EventRecord *event, RgnHandle region)
{
    int32_t size = 0;
    Handle copy = nullptr;
    Point from;

    if (!gHaveDrag)
        return false;
    GetMouse(&from);
    if (!mouse_moved(from))
        return false;
    // A copy, as the screen can't stay pushed into the store during the drag.
    const uint8_t *text = prepSel(&size);
    OSErr err = text ? PtrToHand(text, &copy, size) : OSErr(noTypeErr);
    unprepSel();
    if (err != noErr)
        return false;

    RgnHandle outline = NewRgn(), inner = NewRgn();
    CopyRgn(region, outline);
    CopyRgn(region, inner);
    InsetRgn(inner, 1, 1);
    DiffRgn(outline, inner, outline);
    HLock(copy);
    (void)DragTextOut(myWindow, event, outline, *copy, size);
    HUnlock(copy);
    DisposeRgn(outline);
    DisposeRgn(inner);
    DisposeHandle(copy);
    return true;
}
