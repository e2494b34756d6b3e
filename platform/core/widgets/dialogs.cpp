// Dialogs: a model of items by number, shown by the back end's widgets.
//
// The program's texts and values live here; a widget reports each edit at
// once, so that GetDialogItemText never has to ask. Keys go the other way
// round: the program sees each one first, and DialogSelect sends it on to the
// widget that it was typed at.
#include "platform/core/widgets/dialogparts.h"

#include "platform/core/files/asking.h"
#include "platform/core/files/resforms.h"
#include "platform/core/macroman.h"
#include "platform/core/outside.h"
#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/menuparts.h"

#include <algorithm>
#include <cassert>

constexpr uint8_t kReturn = 0x0D, kEnter = 0x03, kEscape = 0x1B;

// An edit item this high takes more than one line.
constexpr int kMultilineHeight = 40;

// How often a modal dialog's filter sees a null event.
constexpr uint32_t kFilterTicks = 10;

static std::string paramTexts[4]; // ^0 to ^3

// ---- texts -----------------------------------------------------------------

void ParamText(ConstStr p0, ConstStr p1, ConstStr p2, ConstStr p3)
{
    ConstStr given[4] = {p0, p1, p2, p3};

    for (int i = 0; i < 4; i++)
        if (given[i])
            paramTexts[i] = bytes_of(given[i]);
}

std::string dialog_fill_text(const std::string &text)
{
    std::string out;

    for (size_t i = 0; i < text.size(); i++) {
        char next = i + 1 < text.size() ? text[i + 1] : 0;
        if (text[i] == '^' && next >= '0' && next <= '3') {
            out += paramTexts[next - '0'];
            i++;
        } else {
            out += text[i];
        }
    }
    return out;
}

// ---- items -----------------------------------------------------------------

static DialogItem *item_of(DialogPtr d, int16_t item)
{
    if (!d || !d->dialog || item < 1 || size_t(item) > d->dialog->items.size())
        return nullptr;
    return &d->dialog->items[size_t(item - 1)];
}

static int16_t count_of(DialogPtr d)
{
    return d && d->dialog ? int16_t(d->dialog->items.size()) : int16_t(0);
}

static bool is_edit(const DialogItem *i)
{
    return i->kind == BE_EDIT || i->kind == BE_PASSWORD;
}

// Usage: assert(dialog_ok(d));
[[maybe_unused]] static bool dialog_ok(DialogPtr d)
{
    const DialogItem *focus = item_of(d, d->dialog->focus);

    return d->dialog->focus == 0 || (focus && is_edit(focus));
}

// Gives the widget all its properties.
static void item_out(DialogPtr d, int16_t item)
{
    DialogItem *i = item_of(d, item);
    std::string text = text_to_utf8(i->text);
    std::string name = macroman_to_utf8(i->name);
    be_item_info info = {};

    info.kind = i->kind;
    info.box = box_of(i->box).out();
    info.text = text.c_str();
    info.name = name.empty() ? nullptr : name.c_str();
    info.value = i->value;
    info.min = i->min;
    info.max = i->max;
    info.menu = i->menu;
    info.enabled = !i->dimmed;
    info.visible = !i->hidden;
    info.is_default = item == d->dialog->defaultItem;
    info.is_cancel = item == d->dialog->cancelItem;
    info.multiline = i->multiline;
    menus_flush(); // a pop-up's menu must be there
    be_item_set(d->id, item, &info);
}

DialogPtr dialog_make(const WindowMake *make, std::vector<DialogItem> items,
                      int16_t defaultItem, int16_t cancelItem)
{
    WindowMake with = *make;

    with.kind = dialogKind;
    with.canvas = std::any_of(items.begin(), items.end(),
                              [](auto &i) { return i.kind == BE_USER; });
    DialogPtr d = window_make(&with);
    d->dialog = new Dialog{};
    d->dialog->items = std::move(items);
    d->dialog->defaultItem = defaultItem;
    d->dialog->cancelItem = cancelItem;
    int16_t count = count_of(d);
    for (int16_t item = count; item >= 1; item--)
        if (is_edit(item_of(d, item)) && !item_of(d, item)->hidden)
            d->dialog->focus = item;
    for (int16_t item = 1; item <= count; item++)
        item_out(d, item);
    assert(dialog_ok(d));
    return d;
}

void dialog_dispose_items(WindowPtr w)
{
    delete w->dialog;
    w->dialog = nullptr;
}

// The first edit text has the keys, all of it selected, unless the program has
// chosen otherwise before.
void dialog_shown(WindowPtr w)
{
    if (!w->dialog || w->dialog->shownFocus || !w->dialog->focus)
        return;
    SelectDialogItemText(w, w->dialog->focus, 0, 255);
}

static be_item_kind kind_from(uint8_t kind)
{
    switch (kind) {
    case resforms::kKindButton:
        return BE_BUTTON;
    case resforms::kKindCheckBox:
        return BE_CHECKBOX;
    case resforms::kKindRadio:
        return BE_RADIO;
    case resforms::kKindEdit:
        return BE_EDIT;
    case resforms::kKindSecret:
        return BE_PASSWORD;
    case resforms::kKindUser:
        return BE_USER;
    case resforms::kKindIcon:
        return BE_ICON;
    case resforms::kKindPopup:
        return BE_POPUP;
    case resforms::kKindProgress:
        return BE_PROGRESS;
    case resforms::kKindGroup:
        return BE_GROUP;
    default:
        return BE_STATIC;
    }
}

static DialogItem read_item(ResReader *r)
{
    DialogItem i = {};
    size_t length;

    i.kind = kind_from(r->u8());
    uint8_t flags = r->u8();
    i.box = r->rect();
    int16_t parameter = r->i16();
    const uint8_t *text = r->text(&length);
    i.text.assign(reinterpret_cast<const char *>(text), length);
    const uint8_t *name = r->pstring();
    i.name = bytes_of(name);
    i.reports = flags & resforms::kItemEnabled;
    i.hidden = flags & resforms::kItemHidden;
    switch (i.kind) {
    case BE_STATIC:
        i.text = dialog_fill_text(i.text);
        break;
    case BE_EDIT:
    case BE_PASSWORD:
        i.text = dialog_fill_text(i.text);
        i.max = parameter > 0 && parameter < 255 ? parameter : int16_t(255);
        i.multiline = i.box.bottom - i.box.top >= kMultilineHeight;
        break;
    case BE_POPUP:
        i.menu = parameter;
        i.value = 1;
        break;
    case BE_ICON:
        i.value = parameter == 128 ? int16_t(3) : parameter;
        break;
    case BE_PROGRESS:
        i.max = parameter > 0 ? parameter : int16_t(100);
        break;
    default:
        break;
    }
    // A widget that reports nothing looks as if it could not be used; a text
    // and a user item just stand there.
    if (i.kind == BE_BUTTON || i.kind == BE_CHECKBOX || i.kind == BE_RADIO ||
        i.kind == BE_POPUP)
        i.dimmed = !i.reports;
    return i;
}

DialogPtr GetNewDialog(int16_t id)
{
    std::vector<uint8_t> bytes;
    ResReader r = read_form(FOUR("DLOG"), id, &bytes);
    WindowMake make = {};
    Str255 title;

    make.bounds = r.rect();
    uint8_t flags = r.u8();
    uint8_t place = r.u8();
    uint8_t manner = r.u8();
    int16_t defaultItem = r.i16();
    int16_t cancelItem = r.i16();
    bytes_to(dialog_fill_text(bytes_of(r.pstring())), title);
    std::vector<DialogItem> items;
    for (int count = r.u16(); count > 0 && r.ok; count--) {
        items.push_back(read_item(&r));
        if (items.back().kind == BE_POPUP)
            (void)GetMenu(items.back().menu); // null for one of the program's
    }
    if (!r.ok)
        return nullptr;
    make.native = manner == resforms::kDialogModal      ? BE_MODAL
                  : manner == resforms::kDialogModeless ? BE_MODELESS
                                                        : BE_PLAIN;
    make.title = title;
    make.closable = flags & resforms::kWindowGoAway;
    make.resizable = flags & resforms::kWindowGrow;
    make.zoomable = flags & resforms::kWindowZoom;
    window_place(&make.bounds, place);
    DialogPtr d = dialog_make(&make, std::move(items), defaultItem, cancelItem);
    if (flags & resforms::kWindowVisible)
        ShowWindow(d);
    return d;
}

void DisposeDialog(DialogPtr d)
{
    DisposeWindow(d);
}

void GetDialogItem(DialogPtr d, int16_t item, int16_t *kind, Rect *box)
{
    static constexpr int16_t kinds[] = {
        kItemButton,     kItemCheckBox, kItemRadio,      // BE_BUTTON...
        kItemStaticText, kItemEditText, kItemEditText,   // BE_STATIC...
        kItemControl,    kItemControl,  kItemIcon,       // BE_POPUP...
        kItemUser,       kItemControl,  kItemStaticText, // BE_USER...
    };
    const DialogItem *i = item_of(d, item);
    Rect empty = {0, 0, 0, 0};

    if (kind)
        *kind = !i ? int16_t(0)
                   : int16_t(kinds[i->kind] | (i->reports ? 0 : kItemDisabled));
    if (box)
        *box = i ? i->box : empty;
}

void SetDialogItemRect(DialogPtr d, int16_t item, const Rect *box)
{
    DialogItem *i = item_of(d, item);

    if (!i || i->box == *box)
        return;
    Rect old = i->box;
    i->box = *box;
    item_out(d, item);
    if (i->kind == BE_USER) {
        InvalWindowRect(d, &old);
        InvalWindowRect(d, box);
    }
}

void SetDialogItemProc(DialogPtr d, int16_t item, UserItemProc proc)
{
    DialogItem *i = item_of(d, item);

    if (!i)
        return;
    i->proc = proc;
    InvalWindowRect(d, &i->box);
}

void GetDialogItemText(DialogPtr d, int16_t item, Str255 text)
{
    const DialogItem *i = item_of(d, item);

    text[0] = 0;
    if (i)
        bytes_to(i->text, text);
}

void SetDialogItemText(DialogPtr d, int16_t item, ConstStr text)
{
    DialogItem *i = item_of(d, item);

    if (!i)
        return;
    std::string bytes = bytes_of(text);
    if (is_edit(i) && bytes.size() > size_t(i->max))
        bytes.resize(size_t(i->max));
    if (bytes == i->text)
        return;
    i->text = bytes;
    be_item_text(d->id, item, text_to_utf8(bytes).c_str());
}

int16_t GetDialogItemValue(DialogPtr d, int16_t item)
{
    const DialogItem *i = item_of(d, item);

    return i ? i->value : int16_t(0);
}

void SetDialogItemValue(DialogPtr d, int16_t item, int16_t value)
{
    DialogItem *i = item_of(d, item);

    if (!i || i->value == value)
        return;
    i->value = value;
    be_item_value(d->id, item, value);
}

void SetDialogItemRange(DialogPtr d, int16_t item, int16_t min, int16_t max)
{
    DialogItem *i = item_of(d, item);

    if (!i || (i->min == min && i->max == max))
        return;
    i->min = min;
    i->max = max;
    item_out(d, item);
}

void SetDialogItemMenu(DialogPtr d, int16_t item, MenuHandle m)
{
    DialogItem *i = item_of(d, item);

    if (!i || !m)
        return;
    i->menu = menu_id(m);
    item_out(d, item);
}

void EnableDialogItem(DialogPtr d, int16_t item, bool enabled)
{
    DialogItem *i = item_of(d, item);

    if (!i || (i->dimmed == !enabled && i->reports == enabled))
        return;
    i->dimmed = !enabled;
    if (!is_edit(i))
        i->reports = enabled;
    item_out(d, item);
}

void HideDialogItem(DialogPtr d, int16_t item)
{
    DialogItem *i = item_of(d, item);

    if (!i || i->hidden)
        return;
    i->hidden = true;
    item_out(d, item);
    InvalWindowRect(d, &i->box);
}

void SelectDialogItemText(DialogPtr d, int16_t item, int16_t start, int16_t end)
{
    DialogItem *i = item_of(d, item);

    if (!i || !is_edit(i))
        return;
    // A byte is a character of the widget, too, so the places are the same.
    int length = int(i->text.size());
    d->dialog->focus = item;
    d->dialog->shownFocus = true;
    assert(dialog_ok(d));
    be_item_focus(d->id, item, std::clamp<int>(start, 0, length),
                  std::clamp<int>(end, 0, length));
}

void SetDialogDefaultItem(DialogPtr d, int16_t item)
{
    int16_t old;

    if (!d || !d->dialog)
        return;
    old = d->dialog->defaultItem;
    d->dialog->defaultItem = item;
    if (item_of(d, old))
        item_out(d, old);
    if (item_of(d, item))
        item_out(d, item);
}

void SetDialogCancelItem(DialogPtr d, int16_t item)
{
    if (!d || !d->dialog)
        return;
    d->dialog->cancelItem = item;
    if (item_of(d, item))
        item_out(d, item);
}

void DialogCut(DialogPtr d)
{
    if (d)
        be_item_edit(d->id, BE_CUT);
}

void DialogCopy(DialogPtr d)
{
    if (d)
        be_item_edit(d->id, BE_COPY);
}

void DialogPaste(DialogPtr d)
{
    if (d)
        be_item_edit(d->id, BE_PASTE);
}

void DialogDelete(DialogPtr d)
{
    if (d)
        be_item_edit(d->id, BE_CLEAR);
}

// ---- drawing ---------------------------------------------------------------

int16_t dialog_user_item_at(WindowPtr w, Point at)
{
    for (int16_t item = count_of(w); item >= 1; item--) {
        const DialogItem *i = item_of(w, item);
        if (i->kind == BE_USER && i->reports && !i->dimmed && !i->hidden &&
            PtInRect(at, &i->box))
            return item;
    }
    return 0;
}

void dialog_draw_items(WindowPtr d)
{
    WindowPtr port = GetPort();
    RgnHandle todo = NewRgn();

    GetWindowUpdateRgn(d, todo);
    BeginUpdate(d);
    SetPort(d);
    for (int16_t item = 1; item <= count_of(d); item++) {
        const DialogItem *i = item_of(d, item);
        if (i->kind == BE_USER && i->proc && !i->hidden &&
            RectInRgn(&i->box, todo))
            i->proc(d, item);
    }
    EndUpdate(d);
    SetPort(port);
    DisposeRgn(todo);
}

void DrawDialog(DialogPtr d)
{
    Rect all;

    if (!d || !d->dialog)
        return;
    GetWindowPortBounds(d, &all);
    InvalWindowRect(d, &all);
    dialog_draw_items(d);
    draw_present(true);
    wait_until(0, false); // the widgets draw themselves
}

// ---- modeless --------------------------------------------------------------

bool IsDialogEvent(const EventRecord *event)
{
    WindowPtr front = FrontWindow();

    switch (event->what) {
    case updateEvt:
    case activateEvt:
        return event->window && event->window->dialog;
    case mouseDown: {
        WindowPtr w;
        return FindWindow(event, &w) == inContent && w->dialog && w == front;
    }
    case osEvt:
    case diskEvt:
    case kHighLevelEvent:
        return false; // for the program, whatever is in front
    default:
        return front && front->dialog;
    }
}

// The item that a mouse event hit, or 0.
static int16_t hit_of(const EventRecord *event)
{
    if (event->what != mouseDown || !event->window ||
        (event->token & kSourceMask) != kFromItem)
        return 0;
    const DialogItem *i = item_of(event->window, event->part);
    if (!i || !i->reports || i->dimmed || i->hidden)
        return 0;
    return event->part;
}

bool DialogSelect(const EventRecord *event, DialogPtr *d, int16_t *item)
{
    int16_t hit;

    switch (event->what) {
    case updateEvt:
        if (event->window && event->window->dialog)
            dialog_draw_items(event->window);
        return false;
    case mouseDown:
        hit = hit_of(event);
        if (!hit)
            return false;
        *d = event->window;
        *item = hit;
        return true;
    case keyDown:
    case autoKey:
        // The widget may answer at once: an edit reaches the text before this
        // returns, a pressed button comes as an event of its own.
        if (event->token)
            be_key_forward(event->token);
        return false;
    default:
        return false;
    }
}

// ---- modal -----------------------------------------------------------------

// What a modal dialog takes from the queue. The rest (menus, other windows'
// frames, suspend, quit) waits in order until it is gone.
static bool modal_wants(DialogPtr d, const EventRecord &e)
{
    switch (e.what) {
    case keyDown:
    case keyUp:
    case autoKey:
        return true;
    case mouseDown:
        return e.window == d;
    case activateEvt:
        return e.window == d;
    default:
        return false;
    }
}

static bool is_cancel_key(const EventRecord *e)
{
    uint8_t c = uint8_t(e->message);

    return c == kEscape || (c == '.' && e->modifiers & cmdKey);
}

// The usable item behind a key that answers a dialog, or 0.
static int16_t answer_of(DialogPtr d, const EventRecord *e)
{
    uint8_t c = uint8_t(e->message);
    int16_t item = 0;

    if (is_cancel_key(e))
        item = d->dialog->cancelItem;
    else if (c == kReturn || c == kEnter)
        item = d->dialog->defaultItem;
    const DialogItem *i = item_of(d, item);
    return i && i->reports && !i->dimmed && !i->hidden ? item : int16_t(0);
}

// A dialog in the way of a quit is cancelled, or, where there is no cancelling
// it, answered as by Return. Only once: one that the program goes on with is
// the user's again.
static int16_t dismissal_of(DialogPtr d)
{
    if (d->dialog->dismissed || !dialogs_must_go())
        return 0;
    d->dialog->dismissed = true;
    return d->dialog->cancelItem ? d->dialog->cancelItem
                                 : d->dialog->defaultItem;
}

static int16_t serve_event(DialogPtr d, EventRecord *e)
{
    int16_t item = 0;
    DialogPtr hit;

    if (e->what == keyDown || e->what == autoKey) {
        bool answers = uint8_t(e->message) == kReturn ||
                       uint8_t(e->message) == kEnter || is_cancel_key(e);
        if (answers) {
            item = e->what == keyDown ? answer_of(d, e) : int16_t(0);
            const DialogItem *focus = item_of(d, d->dialog->focus);
            if (item || !focus || !focus->multiline)
                return item;
        }
    }
    if (e->what == mouseDown && (e->token & kSourceMask) == kFromFrame)
        return e->part == inGoAway ? d->dialog->cancelItem : int16_t(0);
    return DialogSelect(e, &hit, &item) ? item : int16_t(0);
}

int16_t dialog_serve(DialogPtr d, ModalFilterProc filter)
{
    be_win id = d->id;

    while (window_of(id) == d) {
        EventRecord e = queue_event(nullEvent, nullptr, 0);
        int16_t item = dismissal_of(d);

        if (item)
            return item;
        if (windows_dirty() && windows_next_update(d)) {
            e = queue_event(updateEvt, d, 0);
            e.message = uint32_t(id);
        } else if (!queue_take([d](auto &q) { return modal_wants(d, q); },
                               &e)) {
            if (!filter)
                wait_until(be_now_us() + ticks_to_us(60), false);
            else if (wait_until(be_now_us() + ticks_to_us(kFilterTicks), false))
                continue;
            e = queue_event(nullEvent, nullptr, 0);
        }
        if (filter && filter(d, &e, &item))
            return item;
        if (e.what != nullEvent)
            item = serve_event(d, &e);
        if (item)
            return item;
    }
    return 0; // it went away under us
}

void ModalDialog(ModalFilterProc filter, int16_t *item)
{
    DialogPtr d = FrontWindow();

    *item = 0;
    if (!d || !d->dialog)
        return;
    *item = dialog_serve(d, filter);
}

bool GetColor(ConstStr prompt, const RGBColor *start, RGBColor *out)
{
    std::string text = pstr_to_utf8(prompt);
    be_ask_info ask = {};

    ask.kind = BE_ASK_COLOR;
    ask.prompt = text.c_str();
    ask.value = uint32_t(start->red >> 8) << 16 |
                uint32_t(start->green >> 8) << 8 | uint32_t(start->blue >> 8);
    Answer answer = ask_and_wait(&ask);
    if (!answer.ok)
        return false;
    out->red = uint16_t((answer.value >> 16 & 255) * 257);
    out->green = uint16_t((answer.value >> 8 & 255) * 257);
    out->blue = uint16_t((answer.value & 255) * 257);
    return true;
}

// ---- calls up --------------------------------------------------------------

void up_item_hit(be_win w, int item)
{
    WindowPtr d = window_of(w);
    const DialogItem *i = item_of(d, int16_t(item));

    // A press on a user item comes with its place, by up_mouse.
    if (!i || i->kind == BE_USER)
        return;
    EventRecord e = queue_event(mouseDown, d, int16_t(item));
    e.token = kFromItem;
    queue_post(e);
    // The program ticks its own boxes; the widget shows what the program says.
    if (i->kind == BE_CHECKBOX || i->kind == BE_RADIO)
        be_item_value(w, item, i->value);
}

void up_item_value(be_win w, int item, int value)
{
    DialogItem *i = item_of(window_of(w), int16_t(item));

    if (i && i->kind == BE_POPUP)
        i->value = int16_t(value);
}

void up_item_text(be_win w, int item, const char *text)
{
    DialogItem *i = item_of(window_of(w), int16_t(item));

    if (!i || !is_edit(i))
        return;
    std::string bytes = text_from_utf8(text);
    if (bytes.size() > size_t(i->max)) {
        bytes.resize(size_t(i->max));
        be_item_text(w, item, text_to_utf8(bytes).c_str());
    }
    i->text = bytes;
}

void up_item_focus(be_win w, int item)
{
    WindowPtr d = window_of(w);
    const DialogItem *i = item_of(d, int16_t(item));

    if (i && is_edit(i)) {
        d->dialog->focus = int16_t(item);
        d->dialog->shownFocus = true;
        assert(dialog_ok(d));
    }
}
