// Scroll bars and the native controls that stand in dialogs.
#pragma once

#include "platform/types.h"

enum : int16_t { // control parts
    inButton = 10,
    inCheckBox = 11,
    inUpButton = 20,
    inDownButton = 21,
    inPageUp = 22,
    inPageDown = 23,
    inThumb = 129,
};

enum : int16_t { // control procedures
    scrollBarProc = 16,
    kScrollBarLiveProc = 386,
};

using ControlActionProc = void (*)(ControlHandle c, int16_t part);

ControlHandle NewControl(WindowPtr w, const Rect *bounds, ConstStr title,
                         bool visible, int16_t value, int16_t min, int16_t max,
                         int16_t proc, int32_t refCon);

// Values are limited to the range; 16 bits.
int16_t GetControlValue(ControlHandle c);
void SetControlValue(ControlHandle c, int16_t value);
int16_t GetControlMaximum(ControlHandle c);
void SetControlMaximum(ControlHandle c, int16_t max);
// What a page is, and so how long the thumb.
void SetControlViewSize(ControlHandle c, int32_t size);

void GetControlBounds(ControlHandle c, Rect *bounds);
void MoveControl(ControlHandle c, int16_t h, int16_t v);
void SizeControl(ControlHandle c, int16_t width, int16_t height);
void ShowControl(ControlHandle c);
void HideControl(ControlHandle c);
void HiliteControl(ControlHandle c, int16_t state); // 0 enabled, 255 dimmed

// The control of a mouse event in the content, and the part; 0 for none.
// A press in a native scroll bar arrives as such an event.
int16_t FindControl(const struct EventRecord *event, WindowPtr w,
                    ControlHandle *c);

// Follows the press to its end, calling `action` for each step (the thumb,
// too, with its new value already set). Returns the part, 0 when let go
// outside. The display is served meanwhile. An event without a token stands
// for the newest press.
int16_t TrackControl(ControlHandle c, const struct EventRecord *event,
                     ControlActionProc action);
