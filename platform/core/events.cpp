// The event queue: what the back end hands up, in the order in which the
// program is to see it.
//
// Activations come first, since they report what has happened already, then
// keys, mouse and the rest in the order they came, and redrawing when nothing
// else is left.
#include "platform/events.h"

#include "platform/clock.h"
#include "platform/core/line/lineparts.h"
#include "platform/core/macroman.h"
#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/dialogparts.h"
#include "platform/core/widgets/winrec.h"

#include <algorithm>
#include <cassert>
#include <deque>

// The display is asked at most once in this time while bytes pour in.
constexpr int64_t kAskEvery = 2000;

// More than a person leaves behind; beyond it the newest are dropped.
constexpr size_t kQueueMax = 2000;

// ---- the queues ------------------------------------------------------------
// They outlive every nested wait: a modal loop takes what it wants from the
// middle and leaves the rest in order.

struct Entry {
    EventRecord e;
    std::function<void()> act; // set: not an event, but work for a wait
    uint16_t bit;              // ... whose mask has one of these
};
static std::deque<EventRecord> activations;
static std::deque<Entry> entries;

// ---- the mouse's state -----------------------------------------------------
// A tracking loop belongs to one press. It is over when the button is up, also
// when it is down again by then.

static uint32_t lastPress;  // the number of the newest press
static uint32_t trackPress; // that of the press last taken from the queue

// The modifiers of a menu choice count until the next event is asked for,
// however fast the keys were let go.
static bool choiceModifiersHold;
static uint16_t choiceModifiers;

static bool servesRequests; // within the wait of such a WaitNextEvent

// ---- making and keeping ----------------------------------------------------

static Point mouse_point(const be_mouse &m)
{
    return {limit16(m.v), limit16(m.h)};
}

static uint16_t modifiers_of(const be_mouse &m)
{
    return uint16_t((m.modifiers & ~btnState) | (m.down ? 0 : btnState));
}

// Everything that waits is about a window that exists, or about none.
// Usage: assert(queue_ok());
[[maybe_unused]] static bool queue_ok()
{
    auto fits = [](const EventRecord &e) {
        return !e.window || window_exists(e.window);
    };
    return entries.size() <= kQueueMax &&
           std::all_of(
               activations.begin(), activations.end(),
               [&](auto &e) { return e.what == activateEvt && fits(e); }) &&
           std::all_of(entries.begin(), entries.end(),
                       [&](auto &n) { return fits(n.e); });
}

EventRecord queue_event(uint16_t what, WindowPtr w, int16_t part)
{
    be_mouse m;
    EventRecord e = {};

    be_mouse_state(&m);
    e.what = what;
    e.when = TickCount();
    e.where = mouse_point(m);
    e.modifiers = modifiers_of(m);
    e.window = w;
    e.part = part;
    return e;
}

void queue_post(const EventRecord &e)
{
    if (entries.size() < kQueueMax)
        entries.push_back({e, nullptr, 0});
}

void queue_act(uint16_t bit, WindowPtr w, std::function<void()> act)
{
    EventRecord e = {};

    e.window = w;
    if (entries.size() < kQueueMax)
        entries.push_back({e, std::move(act), bit});
}

void queue_activate(WindowPtr w, bool active)
{
    EventRecord e;

    // Off and on again, unseen, cancel each other.
    for (auto it = activations.begin(); it != activations.end(); ++it) {
        if (it->window == w && bool(it->modifiers & activeFlag) != active) {
            activations.erase(it);
            return;
        }
    }
    e = queue_event(activateEvt, w, 0);
    e.message = uint32_t(window_id(w));
    e.modifiers = uint16_t((e.modifiers & ~activeFlag) | (active ? 1 : 0));
    activations.push_back(e);
    assert(queue_ok());
}

bool queue_has(uint16_t what, WindowPtr w, int16_t part)
{
    return std::any_of(entries.begin(), entries.end(), [&](const Entry &n) {
        return !n.act && n.e.what == what && n.e.window == w &&
               n.e.part == part;
    });
}

void queue_frame(WindowPtr w, int16_t part)
{
    EventRecord e;

    if (queue_has(mouseDown, w, part))
        return;
    e = queue_event(mouseDown, w, part);
    e.token = kFromFrame;
    queue_post(e);
}

void queue_forget(WindowPtr w)
{
    std::erase_if(activations,
                  [w](const EventRecord &e) { return e.window == w; });
    std::erase_if(entries, [w](const Entry &n) { return n.e.window == w; });
    assert(queue_ok());
}

bool queue_take(const std::function<bool(const EventRecord &)> &fits,
                EventRecord *out)
{
    auto a = std::find_if(activations.begin(), activations.end(), fits);
    if (a != activations.end()) {
        *out = *a;
        activations.erase(a);
        return true;
    }
    auto n = std::find_if(entries.begin(), entries.end(),
                          [&](const Entry &m) { return !m.act && fits(m.e); });
    if (n == entries.end())
        return false;
    *out = n->e;
    entries.erase(n);
    queue_press_taken(*out);
    return true;
}

void queue_press_taken(const EventRecord &e)
{
    uint32_t source = e.token & kSourceMask;

    if (e.what == mouseDown)
        trackPress =
            source == kFromContent || source == kFromItem ? e.message : 0;
}

// ---- asking ----------------------------------------------------------------

static bool mask_has(uint16_t mask, uint16_t what)
{
    if (what == kHighLevelEvent)
        return mask & highLevelEventMask;
    return what < 16 && (mask >> what & 1);
}

static void null_event(EventRecord *e)
{
    *e = queue_event(nullEvent, nullptr, 0);
    if (choiceModifiersHold)
        e->modifiers = choiceModifiers;
}

// What a look at the queue came to.
enum Look { kNothing, kEvent, kActDone };

// The first event that fits; with `take` it leaves the queue, and acts that
// stand in front of it are carried out: one a look.
static Look look(uint16_t mask, EventRecord *e, bool take, bool acts)
{
    if (mask_has(mask, activateEvt) && !activations.empty()) {
        *e = activations.front();
        if (take)
            activations.pop_front();
        return kEvent;
    }
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        if (it->act) {
            if (!acts || !(mask & it->bit))
                continue;
            auto act = std::move(it->act);
            entries.erase(it);
            act();
            return kActDone;
        }
        if (!mask_has(mask, it->e.what))
            continue;
        *e = it->e;
        if (take) {
            entries.erase(it);
            queue_press_taken(*e);
        }
        return kEvent;
    }
    if (!mask_has(mask, updateEvt) || !windows_dirty())
        return kNothing;
    WindowPtr w = windows_next_update(nullptr);
    if (!w)
        return kNothing;
    *e = queue_event(updateEvt, w, 0);
    e->message = uint32_t(window_id(w));
    if (take) {
        w->updateOffered = true;
        w->updateAgain = be_now_us() + ticks_to_us(30);
    }
    return kEvent;
}

static void ask_display()
{
    if (be_now_us() - wait_last_asked() >= kAskEvery)
        wait_until(0, false);
}

WindowPtr WindowOfMessage(const EventRecord *event)
{
    return event->window;
}

bool WaitNextEvent(uint16_t mask, EventRecord *event, uint32_t sleep, RgnHandle)
{
    static EventRecord idle; // the null event of the last question

    choiceModifiersHold = false;
    windows_offer_sizes();
    int64_t now = be_now_us();
    int64_t deadline = sleep ? now + ticks_to_us(sleep) : 0;

    switch (look(mask, event, true, true)) {
    case kEvent:
        return true;
    case kActDone:
        null_event(event);
        return false;
    case kNothing:
        break;
    }
    if (sleep == 0) {
        // A loop that turns without a sleep, and gets nothing from the line,
        // gives the processor away all the same.
        if (line_idle(now))
            deadline = now + kAskEvery;
        else if (now - wait_last_asked() < kAskEvery) {
            *event = idle;
            return false;
        }
    }
    for (;;) {
        bool before = servesRequests;
        servesRequests = mask_has(mask, kHighLevelEvent);
        unsigned got = wait_until(deadline, true);
        servesRequests = before;
        Look found = look(mask, event, true, true);
        if (found == kEvent)
            return true;
        if (found == kActDone || got & (BE_READ | BE_WRITE) ||
            be_now_us() >= deadline) {
            null_event(event);
            idle = *event;
            return false;
        }
    }
}

bool GetNextEvent(uint16_t mask, EventRecord *event)
{
    ask_display();
    if (look(mask, event, true, false) == kEvent)
        return true;
    null_event(event);
    return false;
}

bool EventAvail(uint16_t mask, EventRecord *event)
{
    EventRecord fresh;

    ask_display();
    null_event(&fresh);
    if (look(mask, event, false, false) != kEvent) {
        *event = fresh;
        return false;
    }
    return true;
}

// ---- the mouse -------------------------------------------------------------

// A loop that does nothing but ask this waits a tick each time.
bool Button()
{
    static int64_t asked = -1; // the last wait as this was asked last
    be_mouse m;

    ask_display();
    be_mouse_state(&m);
    if (m.down && asked == wait_last_asked()) {
        wait_until(be_now_us() + ticks_to_us(1), false);
        be_mouse_state(&m);
    }
    asked = wait_last_asked();
    return m.down;
}

// One pass of a tracking loop a tick: what the loop does in a pass (scrolling
// by lines) must not go faster because the mouse moves.
bool StillDown()
{
    be_mouse m;
    int64_t end = be_now_us() + ticks_to_us(1);

    do {
        be_mouse_state(&m);
        if (!m.down || lastPress != trackPress)
            return false;
        wait_until(end, false);
    } while (be_now_us() < end);
    be_mouse_state(&m);
    return m.down && lastPress == trackPress;
}

void GetMouse(Point *p)
{
    be_mouse m;

    ask_display();
    be_mouse_state(&m);
    *p = mouse_point(m);
    GlobalToLocal(p);
}

uint16_t KeyModifiers()
{
    be_mouse m;

    be_mouse_state(&m);
    return modifiers_of(m);
}

void InstallWheelHandler(WindowPtr window, WheelHandler proc, void *handler)
{
    if (!window)
        return;
    window->wheel = proc;
    window->wheelHandler = handler;
}

bool events_serves_requests()
{
    return servesRequests;
}

void events_hold_modifiers(uint16_t modifiers)
{
    choiceModifiersHold = true;
    choiceModifiers = modifiers;
}

// ---- calls up --------------------------------------------------------------

void up_key(be_win w, const char *text, uint8_t character, uint8_t keycode,
            uint16_t modifiers, bool repeat, uint32_t token)
{
    EventRecord e =
        queue_event(repeat ? autoKey : keyDown, window_of(w), inContent);

    e.modifiers = uint16_t(modifiers | (e.modifiers & btnState));
    e.token = token;
    if (character) {
        e.message = uint32_t(keycode) << 8 | character;
        queue_post(e);
        return;
    }
    // A text of several characters is one stroke for the widget that has the
    // keys: the first event carries it there. What Mac Roman lacks can't go to
    // the line, but a widget takes it.
    std::string bytes = utf8_to_macroman(text ? text : "", 0);
    bool toDialog = e.window && e.window->dialog;
    for (char c : bytes) {
        if (c == 0) {
            if (!toDialog || !e.token)
                continue;
            c = '?';
        }
        e.message = uint32_t(keycode) << 8 | uint8_t(c);
        queue_post(e);
        e.token = 0;
    }
}

void up_mouse(be_win w, int h, int v, uint16_t modifiers, bool down)
{
    WindowPtr window = window_of(w);
    EventRecord e;

    if (!down || !window)
        return; // a release shows in be_mouse_state
    e = queue_event(mouseDown, window, inContent);
    e.where = {int16_t(v), int16_t(h)};
    e.modifiers = uint16_t(modifiers & ~btnState);
    e.message = ++lastPress;
    if (window->dialog) {
        Point at = {int16_t(v - window->bounds.top),
                    int16_t(h - window->bounds.left)};
        int16_t item = dialog_user_item_at(window, at);
        if (item) {
            e.token = kFromItem;
            e.part = item;
        }
    }
    queue_post(e);
}

void up_wheel(be_win w, int delta)
{
    WindowPtr window = window_of(w);

    if (!window || !window->wheel)
        return;
    queue_act(everyEvent, window, [window, delta] {
        (void)window->wheel(window->wheelHandler, delta, window);
    });
}

void up_app_active(bool active)
{
    static bool isActive = true; // a program starts in front

    if (active == isActive)
        return;
    isActive = active;
    EventRecord e = queue_event(osEvt, nullptr, 0);
    e.message = active ? 0x01000001 : 0x01000000;
    queue_post(e);
}
