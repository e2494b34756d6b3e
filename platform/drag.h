// Text and files dragged out of and into windows.
#pragma once

#include "platform/events.h"
#include "platform/files.h"
#include "platform/types.h"

struct DropInfo {
    Point where; // local
    uint16_t modifiers;
    const uint8_t *text; // Mac Roman, or null
    int32_t length;
    const FSSpec *files;
    int fileCount;
};
// May this be dropped here? Called while the drag moves; must not wait.
using DragOverProc = bool (*)(WindowPtr w, Point where, bool text, bool files);
using DropProc = OSErr (*)(WindowPtr w, const DropInfo *drop);
void InstallDragHandlers(WindowPtr w, DragOverProc over, DropProc drop);

// Drags a text out; waits for the end. True when it was taken.
bool DragTextOut(WindowPtr w, const EventRecord *event, RgnHandle outlineRgn,
                 const void *text, int32_t length);
