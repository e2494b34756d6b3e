// Scroll bars: values kept here, shown by the back end. A press in one comes
// as a mouse event; its steps wait beside the queue for TrackControl.
#include "platform/controls.h"

#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/dialogparts.h"

#include <algorithm>
#include <cassert>
#include <deque>

// The back end counts controls among the items of their window, above those of
// any dialog.
constexpr int kFirstItem = 1000;

struct QlControl {
    WindowPtr w;
    int item;
    Rect bounds;
    int16_t value, min, max;
    int32_t page;
    bool visible, dimmed;
};

static std::vector<ControlHandle> all;
static int lastItem = kFirstItem;

// ---- the presses -----------------------------------------------------------
// Every press has a number, and its event carries that number. Steps of a press
// whose event was lost are dropped when a later one is tracked.

struct Step {
    uint32_t press;
    int item;
    int16_t part, value; // part 0: the end
};
static std::deque<Step> steps;
static uint32_t press; // the newest
static bool pressHeld; // its end hasn't come

// Usage: assert(controls_ok());
[[maybe_unused]] static bool controls_ok()
{
    return std::all_of(all.begin(), all.end(), [](ControlHandle c) {
        return window_exists(c->w) && c->item > kFirstItem &&
               c->item <= lastItem && c->min <= c->value && c->value <= c->max;
    });
}

static bool known(ControlHandle c)
{
    return std::find(all.begin(), all.end(), c) != all.end();
}

static void control_out(ControlHandle c)
{
    be_item_info info = {};

    info.kind = BE_SCROLLBAR;
    info.box = box_of(c->bounds).out();
    info.text = "";
    info.value = c->value;
    info.min = c->min;
    info.max = c->max;
    info.page = c->page;
    info.enabled = !c->dimmed;
    info.visible = c->visible;
    be_item_set(c->w->id, c->item, &info);
}

int control_item(ControlHandle c)
{
    return c ? c->item : 0;
}
WindowPtr control_window(ControlHandle c)
{
    return c ? c->w : nullptr;
}

ControlHandle NewControl(WindowPtr w, const Rect *bounds, ConstStr,
                         bool visible, int16_t value, int16_t min, int16_t max,
                         int16_t, int32_t)
{
    if (!w)
        return nullptr;
    ControlHandle c = new QlControl{};

    c->w = w;
    c->item = ++lastItem;
    c->bounds = *bounds;
    c->min = min;
    c->max = std::max(min, max);
    c->value = std::clamp(value, c->min, c->max);
    c->visible = visible;
    all.push_back(c);
    control_out(c);
    assert(controls_ok());
    return c;
}

void controls_dispose_of(WindowPtr w)
{
    std::erase_if(all, [w](ControlHandle c) {
        bool goes = c->w == w;
        if (goes)
            delete c;
        return goes;
    });
    assert(controls_ok());
}

// ---- values ----------------------------------------------------------------

int16_t GetControlValue(ControlHandle c)
{
    return c ? c->value : int16_t(0);
}
int16_t GetControlMaximum(ControlHandle c)
{
    return c ? c->max : int16_t(0);
}

void SetControlValue(ControlHandle c, int16_t value)
{
    if (!c)
        return;
    value = std::clamp(value, c->min, c->max);
    if (value == c->value)
        return;
    c->value = value;
    be_item_value(c->w->id, c->item, value);
}

void SetControlMaximum(ControlHandle c, int16_t max)
{
    if (!c)
        return;
    max = std::max(c->min, max);
    if (c->max == max)
        return;
    c->max = max;
    c->value = std::min(c->value, max);
    control_out(c);
    assert(controls_ok());
}

void SetControlViewSize(ControlHandle c, int32_t size)
{
    if (!c || c->page == size)
        return;
    c->page = size;
    control_out(c);
}

void GetControlBounds(ControlHandle c, Rect *bounds)
{
    *bounds = c ? c->bounds : Rect{0, 0, 0, 0};
}

static void set_bounds(ControlHandle c, const Rect &r)
{
    if (c->bounds == r)
        return;
    c->bounds = r;
    control_out(c);
}

void MoveControl(ControlHandle c, int16_t h, int16_t v)
{
    if (!c)
        return;
    set_bounds(c, box_of(c->bounds).moved_to(h, v).rect());
}

void SizeControl(ControlHandle c, int16_t width, int16_t height)
{
    if (!c)
        return;
    Rect r = c->bounds;
    r.right = int16_t(r.left + width);
    r.bottom = int16_t(r.top + height);
    set_bounds(c, r);
}

static void show(ControlHandle c, bool visible)
{
    if (!c || c->visible == visible)
        return;
    c->visible = visible;
    control_out(c);
}

void ShowControl(ControlHandle c)
{
    show(c, true);
}
void HideControl(ControlHandle c)
{
    show(c, false);
}

void HiliteControl(ControlHandle c, int16_t state)
{
    bool dimmed = state == 255;

    if (!c || c->dimmed == dimmed)
        return;
    c->dimmed = dimmed;
    control_out(c);
}

// ---- tracking --------------------------------------------------------------

int16_t FindControl(const EventRecord *event, WindowPtr w, ControlHandle *c)
{
    *c = nullptr;
    if (event->what != mouseDown || event->window != w ||
        (event->token & kSourceMask) != kFromScroll)
        return 0;
    for (ControlHandle one : all)
        if (one->w == w && uint32_t(one->item) == (event->token & 0xFFFF))
            *c = one;
    return *c ? event->part : int16_t(0);
}

// The next step of press `n`; waits for it.
static Step next_step(uint32_t n)
{
    for (;;) {
        while (!steps.empty() && steps.front().press < n)
            steps.pop_front();
        if (!steps.empty() && steps.front().press > n)
            return {n, 0, 0, 0}; // the next press has begun
        if (!steps.empty()) {
            Step s = steps.front();
            steps.pop_front();
            return s;
        }
        if (!pressHeld || press != n)
            return {n, 0, 0, 0};
        core_wait_input();
    }
}

int16_t TrackControl(ControlHandle c, const EventRecord *event,
                     ControlActionProc action)
{
    int16_t last = 0;
    uint32_t number = event->message;

    if (event->token == 0)
        number = press;
    else if ((event->token & kSourceMask) != kFromScroll)
        return 0;
    for (;;) {
        Step s = next_step(number);
        if (s.part == 0 || !known(c))
            return last;
        if (s.item != c->item)
            continue;
        last = s.part;
        // The widget's thumb is there already.
        if (s.part == inThumb)
            c->value = std::clamp(s.value, c->min, c->max);
        if (action)
            action(c, s.part);
    }
}

void up_scroll(be_win w, int item, int part, int value)
{
    WindowPtr window = window_of(w);

    if (!window)
        return;
    if (part == 0) {
        if (pressHeld)
            steps.push_back({press, item, 0, 0});
        pressHeld = false;
        return;
    }
    if (!pressHeld) {
        pressHeld = true;
        EventRecord e = queue_event(mouseDown, window, int16_t(part));
        e.token = kFromScroll | (uint32_t(item) & 0xFFFF);
        e.message = ++press;
        queue_post(e);
    }
    // Of a thumb that moves faster than the view can follow, its newest place.
    if (part == inThumb && !steps.empty() && steps.back().part == inThumb &&
        steps.back().press == press && steps.back().item == item)
        steps.back().value = limit16(value);
    else
        steps.push_back({press, item, int16_t(part), limit16(value)});
}
