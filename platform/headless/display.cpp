// The display that isn't there: every call of the waist is recorded, and tests
// read it back.
#include "platform/headless/state.h"

#include "platform/core/widgets/menuparts.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>

// ---- the record ------------------------------------------------------------

static std::map<be_win, std::unique_ptr<HlShown>> shown;
static std::vector<be_win> order; // front first
static std::map<int, HlMenu> menus;
static std::vector<int32_t> bar;
static int hilited;
static std::vector<std::string> messages, sounds, opened;
static std::vector<HlAsked> asked;
static std::vector<HlPage> pages;
static int beeps;
static bool soundsKnown;
static std::string clips[2];
static bool clipSet[2];

// ---- answers that were prepared --------------------------------------------

struct AskAnswer {
    bool ok;
    std::vector<std::string> paths;
    uint32_t value;
};
static std::deque<AskAnswer> askAnswers;
static std::deque<int> popupChoices;
static HlPopup lastPopup;
static bool dragTaken;

static be_page page = {595, 842, 18, 18, 577, 824, false, 1, 9999, 1};

bool be_start(int *, char **, const char **why)
{
    *why = "";
    return true;
}

void be_stop() {}

// ---- windows ---------------------------------------------------------------

HlShown *hl_shown(be_win w)
{
    auto it = shown.find(w);

    return it == shown.end() ? nullptr : it->second.get();
}

const std::vector<be_win> &hl_order()
{
    return order;
}

be_win hl_front()
{
    for (be_win w : order)
        if (hl_shown(w)->w.visible)
            return w;
    return 0;
}

std::string hl_window_text(const HlWindow &w)
{
    std::string all;

    for (const auto &[number, item] : w.items) {
        if (item.kind != BE_STATIC || item.text.empty() || !item.visible)
            continue;
        all += all.empty() ? "" : "|";
        all += item.text;
    }
    return all;
}

// Every call that names a window must name one that exists.
static HlShown *must(be_win w)
{
    HlShown *s = hl_shown(w);

    if (!s)
        hl_fail("a call for a window that has gone");
    return s;
}

void be_window_new(be_win w, const be_window_info *info)
{
    auto s = std::make_unique<HlShown>();

    s->w.id = w;
    s->w.kind = info->kind;
    s->w.title = info->title;
    s->w.content = info->content;
    s->w.resizable = info->resizable;
    s->w.closable = info->closable;
    s->w.canvas = info->canvas;
    s->w.cursor = BE_ARROW;
    s->w.visible = s->w.zoomed = s->w.collapsed = false;
    s->w.presents = s->w.focus = 0;
    s->w.caret = {0, 0, 0, 0};
    s->pixelWidth = s->pixelHeight = 0;
    s->message = -1;
    shown[w] = std::move(s);
    order.insert(order.begin(), w);
}

void be_window_dispose(be_win w)
{
    must(w);
    shown.erase(w);
    std::erase(order, w);
}

void be_window_show(be_win w, bool show)
{
    HlShown *s = must(w);

    s->w.visible = show;
    if (!show || s->w.kind == BE_DOCUMENT || s->w.kind == BE_MODELESS)
        return;
    s->message = int(messages.size());
    messages.push_back(hl_window_text(s->w));
    if (s->w.kind == BE_MODAL)
        hl_modal_came(w);
}

void be_window_front(be_win w)
{
    must(w);
    std::erase(order, w);
    order.insert(order.begin(), w);
}

void be_window_title(be_win w, const char *title)
{
    must(w)->w.title = title;
}

void be_window_bounds(be_win w, const be_rect *content)
{
    must(w)->w.content = *content;
}

void be_window_limits(be_win w, int, int, int, int)
{
    must(w);
}

void be_window_state(be_win w, bool zoomed, bool collapsed)
{
    must(w)->w.zoomed = zoomed;
    must(w)->w.collapsed = collapsed;
}

int be_window_scale(be_win w)
{
    must(w);
    return 1;
}

void be_screen(be_rect *bounds)
{
    *bounds = {0, 0, 1600, 1000};
}

void be_present(be_win w, const uint32_t *pixels, int width, int height,
                int stride, const be_rect *dirty, int count)
{
    HlShown *s = must(w);

    if (!s->w.canvas)
        hl_fail("pixels for a window that shows none");
    s->w.presents++;
    if (s->pixelWidth != width || s->pixelHeight != height) {
        s->pixels.assign(size_t(width) * size_t(height), 0xFFFFFFFF);
        s->pixelWidth = width;
        s->pixelHeight = height;
    }
    for (int n = 0; n < count; n++) {
        const be_rect &r = dirty[n];
        if (r.left < 0 || r.top < 0 || r.right > width || r.bottom > height)
            hl_fail("a dirty rectangle outside the pixels");
        for (int y = r.top; y < r.bottom; y++)
            std::copy_n(pixels + size_t(y) * size_t(stride) + r.left,
                        r.right - r.left,
                        s->pixels.begin() + y * width + r.left);
    }
}

void be_set_cursor(be_win w, be_cursor cursor)
{
    must(w)->w.cursor = cursor;
}
void be_caret_at(be_win w, const be_rect *local)
{
    must(w)->w.caret = *local;
}

// ---- menus -----------------------------------------------------------------

void be_menu_set(int32_t id, const char *title, bool enabled,
                 const be_menu_item *items, int count)
{
    HlMenu m = {title, enabled, {}};

    for (int n = 0; n < count; n++)
        m.items.push_back({items[n].text, items[n].command, items[n].enabled,
                           items[n].checked, items[n].outlined,
                           items[n].submenu});
    menus[id] = m;
}

void be_menu_bar(const int32_t *ids, int count)
{
    bar.assign(ids, ids + count);
}
void be_menu_hilite(int32_t id)
{
    hilited = id;
}

void be_menu_popup(int32_t id, int h, int v, int at)
{
    lastPopup = {id, h, v, at};
    if (!menus.count(id))
        hl_fail("a pop-up of a menu that was never set");
    int item = 0;
    if (!popupChoices.empty()) {
        item = popupChoices.front();
        popupChoices.pop_front();
    }
    hl_after(0, [id, item] { up_popup_done(id, item); });
}

const HlPopup &hl_popup()
{
    return lastPopup;
}

void hl_popup_choice(int item)
{
    popupChoices.push_back(item);
}

// ---- items -----------------------------------------------------------------

// A notice may get its text after it has come up.
static void text_changed(be_win w)
{
    HlShown *s = must(w);

    if (s->message >= 0)
        messages[size_t(s->message)] = hl_window_text(s->w);
}

void be_item_set(be_win w, int item, const be_item_info *info)
{
    HlItem i = {};

    i.kind = info->kind;
    i.box = info->box;
    i.text = info->text ? info->text : "";
    i.name = info->name ? info->name : "";
    i.value = info->value;
    i.min = info->min;
    i.max = info->max;
    i.page = info->page;
    i.menu = info->menu;
    i.enabled = info->enabled;
    i.visible = info->visible;
    i.is_default = info->is_default;
    i.is_cancel = info->is_cancel;
    must(w)->w.items[item] = i;
    text_changed(w);
}

static HlItem &must_item(be_win w, int item)
{
    auto &items = must(w)->w.items;

    if (!items.count(item))
        hl_fail("a call for an item that was never made");
    return items[item];
}

void be_item_value(be_win w, int item, int value)
{
    must_item(w, item).value = value;
}

void be_item_text(be_win w, int item, const char *text)
{
    must_item(w, item).text = text;
    text_changed(w);
}

void be_item_focus(be_win w, int item, int start, int end)
{
    must_item(w, item);
    must(w)->w.focus = item;
    must(w)->w.selected = end - start;
}

void be_item_edit(be_win w, be_edit what)
{
    HlShown *s = must(w);

    if (!s->w.focus)
        return;
    HlItem &i = must_item(w, s->w.focus);
    if (what == BE_CUT || what == BE_COPY)
        be_clip_set(i.text.c_str(), false);
    if (what == BE_CUT || what == BE_CLEAR)
        i.text.clear();
    if (what == BE_PASTE && be_clip_get(false))
        i.text += be_clip_get(false);
    std::string text = i.text;
    if (what != BE_COPY)
        up_item_text(w, s->w.focus, text.c_str());
}

// ---- keys for widgets ------------------------------------------------------

static std::map<uint32_t, HlKey> keys;
static uint32_t lastKey;
static std::string forwarded;

uint32_t hl_store_key(const HlKey &key)
{
    keys[++lastKey] = key;
    return lastKey;
}

std::string hl_forwarded()
{
    std::string all;
    std::swap(all, forwarded);
    return all;
}

// The widget with the keys takes the press: an edit grows at its end or loses
// its last character, Tab goes to the next edit.
void be_key_forward(uint32_t token)
{
    auto it = keys.find(token);
    if (it == keys.end())
        return;
    HlKey key = it->second;
    keys.erase(it);
    forwarded += key.text;
    HlShown *s = hl_shown(key.w);
    if (!s || !s->w.focus)
        return;
    if (key.text == "\t") {
        auto next = s->w.items.upper_bound(s->w.focus);
        for (size_t n = 0; n < s->w.items.size(); n++, ++next) {
            if (next == s->w.items.end())
                next = s->w.items.begin();
            if (next->second.kind == BE_EDIT)
                break;
        }
        s->w.focus = next->first;
        up_item_focus(key.w, s->w.focus);
        return;
    }
    HlItem &i = must_item(key.w, s->w.focus);
    if (key.character == 8 && !i.text.empty()) {
        while (i.text.size() > 1 && (uint8_t(i.text.back()) & 0xC0) == 0x80)
            i.text.pop_back();
        i.text.pop_back();
    } else if (key.text == "\r") {
        i.text += "\n";
    } else if (key.character == 0 || uint8_t(key.text[0]) >= 32) {
        i.text += key.text;
    } else {
        return;
    }
    std::string text = i.text;
    up_item_text(key.w, s->w.focus, text.c_str());
}

// ---- asking ----------------------------------------------------------------

static bool unanswered; // a question is open

static void answer()
{
    if (askAnswers.empty())
        hl_fail("a question that no answer was prepared for");
    AskAnswer a = askAnswers.front();
    askAnswers.pop_front();
    unanswered = true;
    hl_after(1, [a] {
        if (!unanswered)
            return;
        unanswered = false;
        std::vector<const char *> paths;
        for (const std::string &p : a.paths)
            paths.push_back(p.c_str());
        up_answer(a.ok, a.value, paths.data(), int(paths.size()));
    });
}

void be_ask(const be_ask_info *info)
{
    asked.push_back({info->kind, info->prompt ? info->prompt : "",
                     info->name ? info->name : "",
                     info->folder ? info->folder : ""});
    answer();
}

void be_dismiss()
{
    if (unanswered)
        up_answer(false, 0, nullptr, 0);
    unanswered = false;
}

void hl_ask_answer(bool ok, const std::vector<std::string> &paths,
                   uint32_t value)
{
    askAnswers.push_back({ok, paths, value});
}

// ---- clipboard, drag, sound, other programs --------------------------------

void be_clip_set(const char *text, bool primary)
{
    clips[primary] = text;
    clipSet[primary] = true;
}

const char *be_clip_get(bool primary)
{
    return clipSet[primary] ? clips[primary].c_str() : nullptr;
}

void be_drag_text(be_win w, const char *)
{
    must(w);
    hl_after(1, [] { up_drag_done(dragTaken); });
}

void be_beep()
{
    beeps++;
}

bool be_sound_file(const char *path)
{
    if (soundsKnown)
        sounds.push_back(path);
    return soundsKnown;
}

bool be_sound_named(const char *name)
{
    return be_sound_file(name);
}

bool be_open_with(const char *program, const char *path)
{
    opened.push_back(std::string(program ? program : "") + "|" + path);
    return true;
}

// ---- paper -----------------------------------------------------------------

void be_page_ask(bool, const be_page *start)
{
    page = *start;
    answer();
}

void be_page_get(be_page *out)
{
    *out = page;
}

bool be_print_begin(const be_page *, const char *)
{
    pages.clear();
    return true;
}

bool be_print_page(const uint32_t *pixels, int width, int height, int dpi)
{
    size_t count = size_t(width) * size_t(height);

    pages.push_back({width, height, dpi, {pixels, pixels + count}});
    return true;
}

bool be_print_end()
{
    return true;
}

// ---- for tests -------------------------------------------------------------

const HlWindow *hl_window(WindowPtr w)
{
    HlShown *s = hl_shown(window_id(w));

    return s ? &s->w : nullptr;
}

const HlItem *hl_item(WindowPtr w, int item)
{
    const HlWindow *s = hl_window(w);
    if (!s)
        return nullptr;
    auto it = s->items.find(item);
    return it == s->items.end() ? nullptr : &it->second;
}

const HlMenu *hl_menu(int id)
{
    menus_flush();
    auto it = menus.find(id);

    return it == menus.end() ? nullptr : &it->second;
}

const std::vector<int32_t> &hl_menu_bar()
{
    return bar;
}
int hl_menu_hilited()
{
    return hilited;
}

std::vector<std::string> hl_window_titles()
{
    std::vector<std::string> titles;

    for (be_win w : order)
        if (hl_shown(w)->w.visible)
            titles.push_back(hl_shown(w)->w.title);
    return titles;
}

uint32_t hl_pixel(WindowPtr w, int h, int v)
{
    HlShown *s = hl_shown(window_id(w));

    if (!s || h < 0 || v < 0 || h >= s->pixelWidth || v >= s->pixelHeight)
        return 0xFFFFFFFF;
    return s->pixels[size_t(v) * size_t(s->pixelWidth) + size_t(h)];
}

const std::vector<std::string> &hl_messages()
{
    return messages;
}
const std::vector<HlAsked> &hl_asked()
{
    return asked;
}
int hl_beeps()
{
    return beeps;
}
const std::vector<std::string> &hl_sounds()
{
    return sounds;
}
void hl_sounds_known(bool known)
{
    soundsKnown = known;
}
const std::vector<std::string> &hl_opened()
{
    return opened;
}
const std::vector<HlPage> &hl_pages()
{
    return pages;
}
void hl_drag_taken(bool taken)
{
    dragTaken = taken;
}

void hl_clip(const char *utf8, bool primary)
{
    clips[primary] = utf8 ? utf8 : "";
    clipSet[primary] = utf8 != nullptr;
}

const char *hl_clip_text(bool primary)
{
    return be_clip_get(primary);
}
