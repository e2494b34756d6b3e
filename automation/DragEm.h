// Drag and drop of text: dropped text goes to the host like pasted text, and
// the selection can be dragged out.
#pragma once

#include <cstdint>

#include "platform/drag.h"
#include "platform/events.h"
#include "platform/regions.h"
#include "platform/types.h"
#include "platform/windows.h"

extern uint8_t gHaveDrag;       // drag services exist
extern uint8_t canAcceptItems;  // the drag under way is all text
extern uint8_t cursorInContent; // it is over the text, and that is highlighted
extern int16_t insertPosition;  // -1 while over the drag's own selection

void InitDrag();
void InstallDragForWindow(WindowPtr window);

// For a press on the selection: true if it became a drag.
bool DragText(const EventRecord *event, RgnHandle region);
