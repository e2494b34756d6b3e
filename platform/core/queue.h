// The queue between the back end's calls up and the program's event calls.
// What can't be an event of the classic record waits here as an act, which a
// wait for events carries out where its turn comes.
#pragma once

#include "platform/events.h"

#include <functional>

// The `token` of a mouse event: where it came from. The message of a
// press in the content or a user item is the press's number; of a menu choice,
// the choice.
enum EventSource : uint32_t {
    kFromContent = 0,         // a press in the content
    kFromItem = 0x10000000,   // a dialog item was hit; part is its number
    kFromScroll = 0x20000000, // low 16 bits: the scroll bar's item
    kFromMenu = 0x30000000,   // message: the choice
    kFromFrame = 0x40000000,  // close, move, size, zoom
    kSourceMask = 0xF0000000,
};

// A record with time, mouse place and modifiers of now.
EventRecord queue_event(uint16_t what, WindowPtr w, int16_t part);
void queue_post(const EventRecord &e);
void queue_activate(WindowPtr w, bool active);
// Posts a frame event unless the same one is still waiting.
void queue_frame(WindowPtr w, int16_t part);
bool queue_has(uint16_t what, WindowPtr w, int16_t part);

// `act` runs in a WaitNextEvent whose mask has `bit`, on the program's stack.
void queue_act(uint16_t bit, WindowPtr w, std::function<void()> act);

// Drops everything about a window that goes.
void queue_forget(WindowPtr w);

// Takes the first event that `fits`; for core code that waits for its own.
bool queue_take(const std::function<bool(const EventRecord &)> &fits,
                EventRecord *out);

// The program waits in a WaitNextEvent that takes high-level events: where it
// would serve a request from outside, one may be served from within the wait.
bool events_serves_requests();

// EventAvail and null events carry these modifiers until WaitNextEvent.
void events_hold_modifiers(uint16_t modifiers);

// Every event that leaves the queue: which press is being tracked.
void queue_press_taken(const EventRecord &e);
