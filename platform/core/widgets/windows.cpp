// Windows: their order, their activation, what is still to be redrawn, and how
// the user's acts on a frame become the program's events.
#include "platform/windows.h"

#include "platform/core/files/resforms.h"
#include "platform/core/macroman.h"
#include "platform/core/outside.h"
#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/dialogparts.h"
#include "platform/core/widgets/winrec.h"
#include "platform/memory.h"
#include "platform/regions.h"
#include "platform/resources.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <string>
#include <vector>

// ---- the windows -----------------------------------------------------------
// All that exist, front to back, hidden ones too. `active` had the newest
// activation; retarget() keeps it equal to FrontWindow().

static std::vector<WindowPtr> order;
static WindowPtr active;
static be_win lastId;
static bool anyInvalid;   // false: no update region holds anything
static bool anyUnsized;   // some window has growPending
static be_win obscured;   // window whose cursor is hidden until the mouse moves
static be_mouse hiddenAt; // ... and where the mouse was

constexpr int64_t kOfferEvery = 500000; // a size that was not taken

// ---- small things ----------------------------------------------------------

static int16_t width_of(const Rect &r)
{
    return int16_t(r.right - r.left);
}
static int16_t height_of(const Rect &r)
{
    return int16_t(r.bottom - r.top);
}

bool window_exists(WindowPtr w)
{
    return w && std::find(order.begin(), order.end(), w) != order.end();
}

be_win window_id(WindowPtr w)
{
    return w ? w->id : 0;
}

WindowPtr window_of(be_win id)
{
    for (WindowPtr w : order)
        if (w->id == id)
            return w;
    return nullptr;
}

Canvas *window_canvas(WindowPtr w)
{
    return w && w->hasCanvas ? w->canvas : nullptr;
}

PortState *window_port(WindowPtr w)
{
    return w ? w->port : nullptr;
}
RgnHandle window_update_rgn(WindowPtr w)
{
    return w ? w->update : nullptr;
}

WindowPtr window_next(WindowPtr w)
{
    if (!w)
        return order.empty() ? nullptr : order.front();
    auto it = std::find(order.begin(), order.end(), w);
    if (it == order.end() || ++it == order.end())
        return nullptr;
    return *it;
}

// ---- order and activation --------------------------------------------------

WindowPtr FrontWindow()
{
    for (WindowPtr w : order)
        if (w->visible)
            return w;
    return nullptr;
}

// Usage: assert(windows_ok());
[[maybe_unused]] static bool windows_ok()
{
    for (size_t i = 0; i < order.size(); i++) {
        WindowPtr w = order[i];
        bool twice =
            std::find(order.begin(), order.begin() + i, w) != order.begin() + i;
        bool hiddenUpdate = !w->visible && !EmptyRgn(w->update);
        if (twice || w->id <= 0 || w->id > lastId || !w->canvas || !w->port ||
            hiddenUpdate || (!anyInvalid && !EmptyRgn(w->update)))
            return false;
    }
    return active == FrontWindow();
}

// Queues the activations when another window has come to the front.
static void retarget()
{
    WindowPtr front = FrontWindow();

    if (front != active) {
        if (active)
            queue_activate(active, false);
        active = front;
        if (active)
            queue_activate(active, true);
    }
    assert(windows_ok());
}

static void to_front(WindowPtr w)
{
    order.erase(std::find(order.begin(), order.end(), w));
    order.insert(order.begin(), w);
}

static void invalidate(WindowPtr w)
{
    Rect all = {0, 0, height_of(w->bounds), width_of(w->bounds)};

    InvalWindowRect(w, &all);
}

WindowPtr window_make(const WindowMake *make)
{
    WindowPtr w = new QlWindow{};
    std::string title = pstr_to_utf8(make->title);

    w->id = ++lastId;
    w->kind = make->kind;
    w->native = make->native;
    w->bounds = make->bounds;
    std::copy_n(make->title, make->title[0] + 1, w->title);
    w->resizable = make->resizable;
    w->closable = make->closable;
    w->zoomable = make->zoomable;
    w->hasCanvas = make->canvas;
    w->update = NewRgn();
    w->cursor = BE_ARROW;
    order.insert(order.begin(), w);

    be_window_info info = {};
    info.kind = make->native;
    info.content = box_of(w->bounds).out();
    info.title = title.c_str();
    info.resizable = make->resizable;
    info.closable = make->closable;
    info.zoomable = make->zoomable;
    info.canvas = make->canvas;
    be_window_new(w->id, &info);
    w->canvas = canvas_new(width_of(w->bounds), height_of(w->bounds),
                           be_window_scale(w->id));
    w->port = port_new(w->canvas);
    assert(windows_ok());
    return w;
}

void window_place(Rect *bounds, uint8_t place)
{
    Rect over;
    int16_t width = width_of(*bounds), height = height_of(*bounds);

    if (place == resforms::kPlaceAsGiven)
        return;
    GetScreenBounds(&over);
    Rect screen = over;
    if (place == resforms::kPlaceOverMain) {
        for (WindowPtr w : order)
            if (w->native == BE_DOCUMENT && w->visible)
                over = w->bounds;
    }
    int left = (over.left + over.right - width) / 2;
    int top = place == resforms::kPlaceOverMain
                  ? (over.top + over.bottom - height) / 2
                  : over.top + (over.bottom - over.top - height) / 3;
    left =
        std::max<int>(screen.left, std::min<int>(left, screen.right - width));
    top = std::max<int>(screen.top + 24,
                        std::min<int>(top, screen.bottom - height));
    *bounds = box_of(*bounds).moved_to(left, top).rect();
}

WindowPtr GetNewWindow(int16_t id)
{
    std::vector<uint8_t> bytes;
    ResReader r = read_form(FOUR("WIND"), id, &bytes);
    WindowMake make = {};

    make.native = BE_DOCUMENT;
    make.kind = userKind;
    make.canvas = true;
    make.bounds = r.rect();
    uint8_t flags = r.u8();
    uint8_t place = r.u8();
    int16_t minWidth = r.i16();
    int16_t minHeight = r.i16();
    make.title = r.pstring();
    if (!r.ok)
        return nullptr;
    make.closable = flags & resforms::kWindowGoAway;
    make.resizable = flags & resforms::kWindowGrow;
    make.zoomable = flags & resforms::kWindowZoom;
    window_place(&make.bounds, place);
    WindowPtr w = window_make(&make);
    if (minWidth > 0 || minHeight > 0)
        be_window_limits(w->id, minWidth, minHeight, SHRT_MAX, SHRT_MAX);
    if (flags & resforms::kWindowVisible)
        ShowWindow(w);
    return w;
}

void DisposeWindow(WindowPtr w)
{
    if (!window_exists(w))
        return;
    controls_dispose_of(w);
    dialog_dispose_items(w);
    if (GetPort() == w)
        SetPort(nullptr);
    order.erase(std::find(order.begin(), order.end(), w));
    queue_forget(w);
    if (active == w)
        active = nullptr;
    be_window_dispose(w->id);
    port_dispose(w->port);
    canvas_dispose(w->canvas);
    DisposeRgn(w->update);
    delete w;
    retarget();
}

int16_t GetWindowKind(WindowPtr w)
{
    return w ? w->kind : 0;
}

void SetWTitle(WindowPtr w, ConstStr title)
{
    if (!w || std::equal(title, title + title[0] + 1, w->title))
        return;
    std::copy_n(title, title[0] + 1, w->title);
    be_window_title(w->id, pstr_to_utf8(title).c_str());
}

void ShowWindow(WindowPtr w)
{
    if (!w || w->visible)
        return;
    w->visible = true;
    be_window_show(w->id, true);
    dialog_shown(w);
    invalidate(w);
    retarget();
}

void ShowHide(WindowPtr w, bool show)
{
    if (show) {
        ShowWindow(w);
        return;
    }
    if (!w || !w->visible)
        return;
    w->visible = false;
    SetEmptyRgn(w->update);
    be_window_show(w->id, false);
    retarget();
}

void SelectWindow(WindowPtr w)
{
    if (!window_exists(w))
        return;
    to_front(w);
    be_window_front(w->id);
    retarget();
}

void CollapseWindow(WindowPtr w, bool collapse)
{
    if (!w || w->collapsed == collapse)
        return;
    w->collapsed = collapse;
    be_window_state(w->id, w->zoomed, w->collapsed);
}

bool IsWindowCollapsed(WindowPtr w)
{
    return w && w->collapsed;
}

// ---- place and size --------------------------------------------------------

// The program's idea of the content has changed. A window that the user has
// zoomed keeps the size that the desktop gave it: what differs is offered,
// once.
static void bounds_out(WindowPtr w)
{
    if (w->zoomed) {
        bool same = w->bounds == w->native_bounds;
        w->growPending = !same && !w->growAnswered;
        anyUnsized |= w->growPending;
        return;
    }
    w->native_bounds = w->bounds;
    w->growPending = false;
    be_rect r = box_of(w->bounds).out();
    be_window_bounds(w->id, &r);
}

static void new_size(WindowPtr w)
{
    int16_t width = width_of(w->bounds), height = height_of(w->bounds);

    canvas_resize(w->canvas, width, height, be_window_scale(w->id));
    port_resized(w->port, width, height);
    if (w->visible)
        invalidate(w);
}

void MoveWindow(WindowPtr w, int16_t h, int16_t v, bool front)
{
    if (!w)
        return;
    if (w->bounds.left != h || w->bounds.top != v) {
        w->bounds = box_of(w->bounds).moved_to(h, v).rect();
        bounds_out(w);
    }
    if (front)
        SelectWindow(w);
}

void SizeWindow(WindowPtr w, int16_t width, int16_t height, bool)
{
    if (!w)
        return;
    width = std::max<int16_t>(width, 1);
    height = std::max<int16_t>(height, 1);
    bool changed =
        width != width_of(w->bounds) || height != height_of(w->bounds);
    w->bounds.right = int16_t(w->bounds.left + width);
    w->bounds.bottom = int16_t(w->bounds.top + height);
    // Also when the size is the known one: the user may have given it another,
    // and this is how the program refuses.
    if (changed || w->growPending)
        bounds_out(w);
    if (changed)
        new_size(w);
}

void GetWindowPortBounds(WindowPtr w, Rect *local)
{
    *local = {0, 0, 0, 0};
    if (w)
        *local = {0, 0, height_of(w->bounds), width_of(w->bounds)};
}

void GetWindowBounds(WindowPtr w, Rect *global)
{
    *global = {0, 0, 0, 0};
    if (w)
        *global = w->bounds;
}

void SetWindowZoomed(WindowPtr w, bool zoomed)
{
    if (!w || w->zoomed == zoomed)
        return;
    w->zoomed = zoomed;
    be_window_state(w->id, w->zoomed, w->collapsed);
}

void GetScreenBounds(Rect *bounds)
{
    be_rect r;

    be_screen(&r);
    *bounds = box_of(r).rect();
}

RgnHandle GetGrayRgn()
{
    static RgnHandle gray = NewRgn();
    Rect screen;

    GetScreenBounds(&screen);
    RectRgn(gray, &screen);
    return gray;
}

// ---- the frame's events ----------------------------------------------------

int16_t FindWindow(const EventRecord *event, WindowPtr *w)
{
    *w = window_exists(event->window) ? event->window : nullptr;
    switch (event->token & kSourceMask) {
    case kFromMenu:
        return inMenuBar;
    case kFromFrame:
        return *w ? event->part : int16_t(inDesk);
    default:
        return *w ? int16_t(inContent) : int16_t(inDesk);
    }
}

uint32_t GrowWindow(WindowPtr w, const EventRecord *, const Rect *limits)
{
    if (!w || !w->growPending)
        return 0;
    w->growPending = false;
    w->growAnswered = true;
    int width = width_of(w->native_bounds),
        height = height_of(w->native_bounds);
    if (limits) { // the classic form: least and most width, height
        width = std::clamp<int>(width, limits->left,
                                std::max(limits->left, limits->right));
        height = std::clamp<int>(height, limits->top,
                                 std::max(limits->top, limits->bottom));
    }
    // A resize from the left or top edge has moved the window, too.
    w->bounds.right = int16_t(w->native_bounds.left + width_of(w->bounds));
    w->bounds.bottom = int16_t(w->native_bounds.top + height_of(w->bounds));
    w->bounds.left = w->native_bounds.left;
    w->bounds.top = w->native_bounds.top;
    if (width == width_of(w->bounds) && height == height_of(w->bounds)) {
        if (w->bounds != w->native_bounds)
            bounds_out(w);
        return 0;
    }
    return uint32_t(height) << 16 | uint32_t(width);
}

void windows_offer_sizes()
{
    if (!anyUnsized)
        return;
    anyUnsized = false;
    int64_t now = be_now_us();
    for (WindowPtr w : order) {
        if (!w->growPending)
            continue;
        anyUnsized = true;
        // A press in the grow box of a window behind others would only bring
        // it to the front.
        if (w != FrontWindow() || now - w->growOffered < kOfferEvery)
            continue;
        w->growOffered = now;
        queue_frame(w, inGrow);
    }
}

// ---- redrawing -------------------------------------------------------------

bool windows_dirty()
{
    return anyInvalid;
}

WindowPtr windows_next_update(WindowPtr only)
{
    bool any = false;
    WindowPtr found = nullptr;

    for (WindowPtr w : order) {
        if (EmptyRgn(w->update))
            continue;
        any = true;
        if ((only && w != only) || found)
            continue;
        if (!w->updateOffered || be_now_us() >= w->updateAgain)
            found = w;
    }
    anyInvalid = any;
    return found;
}

void BeginUpdate(WindowPtr w)
{
    if (!w)
        return;
    SetPortVisibleRegion(w, w->update);
    SetEmptyRgn(w->update);
    w->updateOffered = false;
}

void EndUpdate(WindowPtr w)
{
    Rect all;
    static RgnHandle whole = NewRgn();

    if (!w)
        return;
    GetWindowPortBounds(w, &all);
    RectRgn(whole, &all);
    SetPortVisibleRegion(w, whole);
}

void InvalWindowRect(WindowPtr w, const Rect *r)
{
    static RgnHandle area = NewRgn();

    RectRgn(area, r);
    InvalWindowRgn(w, area);
}

void InvalWindowRgn(WindowPtr w, RgnHandle rgn)
{
    static RgnHandle whole = NewRgn();
    Rect all;

    if (!w || !w->visible)
        return;
    GetWindowPortBounds(w, &all);
    RectRgn(whole, &all);
    SectRgn(whole, rgn, whole);
    UnionRgn(w->update, whole, w->update);
    if (!EmptyRgn(w->update))
        anyInvalid = true;
}

void ValidWindowRgn(WindowPtr w, RgnHandle rgn)
{
    if (w)
        DiffRgn(w->update, rgn, w->update);
}

void GetWindowUpdateRgn(WindowPtr w, RgnHandle rgn)
{
    if (w)
        CopyRgn(w->update, rgn);
    else
        SetEmptyRgn(rgn);
}

// ---- cursors ---------------------------------------------------------------

static void show_cursor(WindowPtr w, be_cursor cursor)
{
    if (w->cursor == cursor)
        return;
    w->cursor = cursor;
    be_set_cursor(w->id, cursor);
}

void SetCursorID(WindowPtr w, int16_t id)
{
    be_mouse now;

    if (!w)
        return;
    // Typing hides the cursor, and only the mouse brings it back.
    if (obscured == w->id) {
        be_mouse_state(&now);
        if (now.h == hiddenAt.h && now.v == hiddenAt.v)
            return;
        obscured = 0;
    }
    show_cursor(w, id == 1     ? BE_TEXT
                   : id == 4   ? BE_WAIT
                   : id == 310 ? BE_POSITION
                               : BE_ARROW);
}

void InitCursor()
{
    for (WindowPtr w : order)
        show_cursor(w, BE_ARROW);
    obscured = 0;
}

void SetWaitCursor()
{
    for (WindowPtr w : order)
        show_cursor(w, BE_WAIT);
}

void ObscureCursor()
{
    WindowPtr w = FrontWindow();

    if (!w || !w->hasCanvas)
        return;
    obscured = w->id;
    be_mouse_state(&hiddenAt);
    show_cursor(w, BE_HIDDEN);
}

void SetCaretRect(WindowPtr w, const Rect *local)
{
    if (!w || w->caret == *local)
        return;
    w->caret = *local;
    be_rect out = box_of(*local).out();
    be_caret_at(w->id, &out);
}

// ---- calls up --------------------------------------------------------------

void up_close(be_win id)
{
    WindowPtr w = window_of(id);

    if (!w)
        return;
    // The terminal's window has no close of its own: it ends the program,
    // which may ask first.
    if (w->native == BE_DOCUMENT)
        up_quit();
    else
        queue_frame(w, inGoAway);
}

void up_resized(be_win id, const be_rect *content, bool finished)
{
    WindowPtr w = window_of(id);

    if (!w || !finished)
        return;
    w->native_bounds = box_of(*content).rect();
    if (width_of(w->native_bounds) == width_of(w->bounds) &&
        height_of(w->native_bounds) == height_of(w->bounds)) {
        w->growPending = false;
        up_moved(id, content);
        return;
    }
    w->growPending = anyUnsized = true;
    w->growAnswered = false;
    w->growOffered = be_now_us() - kOfferEvery; // at the next event wait
}

void up_moved(be_win id, const be_rect *content)
{
    WindowPtr w = window_of(id);

    if (!w ||
        (w->bounds.left == content->left && w->bounds.top == content->top))
        return;
    w->bounds = box_of(w->bounds).moved_to(content->left, content->top).rect();
    queue_frame(w, inDrag);
}

void up_zoom(be_win id, bool zoomed, const be_rect *content)
{
    WindowPtr w = window_of(id);

    if (!w || w->zoomed == zoomed)
        return;
    w->zoomed = zoomed;
    w->growAnswered = false;
    w->native_bounds = box_of(*content).rect();
    queue_frame(w, zoomed ? inZoomOut : inZoomIn);
}

void up_collapsed(be_win id, bool collapsed)
{
    WindowPtr w = window_of(id);

    if (w)
        w->collapsed = collapsed;
}

// The desktop's activation brings a window to the front of the order. A notice
// that never has the keys stays above; a question that must be answered keeps
// everything behind it.
void up_active(be_win id, bool isActive)
{
    WindowPtr w = window_of(id);

    if (!w || !isActive || !w->visible)
        return;
    for (WindowPtr above : order) {
        if (above == w)
            break;
        if (above->visible && above->native != BE_MODELESS &&
            above->native != BE_DOCUMENT)
            return;
    }
    to_front(w);
    retarget();
}

void up_scale(be_win id)
{
    WindowPtr w = window_of(id);

    if (w)
        new_size(w);
}
