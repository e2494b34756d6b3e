// The event queue: one record for whatever the user or the system did.
#pragma once

#include "platform/types.h"

// Classes, and the bit of a class in a mask is 1 << class.
enum : uint16_t {
    nullEvent = 0,
    mouseDown = 1,
    mouseUp = 2,
    keyDown = 3,
    keyUp = 4,
    autoKey = 5,
    updateEvt = 6,
    diskEvt = 7,
    activateEvt = 8,
    osEvt = 15,
    kHighLevelEvent = 23, // its bit in a mask is highLevelEventMask
};
constexpr uint16_t everyEvent = 0xFFFF;
constexpr uint16_t highLevelEventMask = 0x0400;

enum : uint16_t {
    activeFlag = 0x0001, // in an activate event: becomes active
    btnState = 0x0080,   // the mouse button is up
    cmdKey = 0x0100,
    shiftKey = 0x0200,
    alphaLock = 0x0400,
    optionKey = 0x0800,
    controlKey = 0x1000,
};

struct EventRecord {
    uint16_t what;
    // Key: low byte the character (Mac Roman), next byte the virtual key code.
    // Update, activate: the window, by WindowOfMessage().
    // OS: 0x01000000 suspend, 0x01000001 resume.
    uint32_t message;
    uint32_t when; // ticks
    Point where;   // global
    uint16_t modifiers;
    uint32_t token;   // ours: the stored native event behind it, 0 for none
    WindowPtr window; // ours: where it happened, or null
    int16_t part;     // ours: the part code for FindWindow, or a dialog item
};

// The window that an update or activate event is for.
WindowPtr WindowOfMessage(const EventRecord *event);

// Waits up to `sleep` ticks for an event that fits the mask. Returns early,
// with false and a null event, when the line has bytes. With sleep 0 and
// nothing pending it costs a fraction of a microsecond.
bool WaitNextEvent(uint16_t mask, EventRecord *event, uint32_t sleep,
                   RgnHandle mouseRgn);

bool GetNextEvent(uint16_t mask, EventRecord *event); // takes it, no wait
bool EventAvail(uint16_t mask, EventRecord *event);   // leaves it; modifiers
                                                      // and where are fresh

bool Button();           // the mouse button is down
bool StillDown();        // ... since the last press; may wait a tick
void GetMouse(Point *p); // in the current port's coordinates; may wait a tick
uint16_t KeyModifiers(); // modifiers held now

// Wheel and whatever else comes by handlers. Class "mous", kind 10 calls
// back with the window and the delta (positive: towards older text).
using WheelHandler = OSErr (*)(void *handler, int32_t delta, WindowPtr window);
void InstallWheelHandler(WindowPtr window, WheelHandler proc, void *handler);
