// The scripted user: acts that reach the program by the same calls up as a
// desktop's.
#include "platform/headless/state.h"

#include "platform/appleevents.h"
#include "platform/controls.h"

#include <algorithm>
#include <cstring>
#include <deque>

struct Act {
    int64_t at;
    std::function<void()> run;
};
static std::vector<Act> acts;                              // in order of time
static std::deque<std::function<void(WindowPtr)>> answers; // to modal windows
static std::vector<be_win> unanswered;

static be_mouse mouse = {100, 100, false, 0};

// ---- the script ------------------------------------------------------------

void hl_after_us(int64_t us, std::function<void()> act)
{
    int64_t at = hl_now() + us;
    auto behind = std::find_if(acts.begin(), acts.end(),
                               [at](const Act &a) { return a.at > at; });

    acts.insert(behind, {at, std::move(act)});
}

void hl_after(uint32_t ticks, std::function<void()> act)
{
    hl_after_us((int64_t(ticks) * 1000000 + 59) / 60, std::move(act));
}

int64_t hl_next_act()
{
    return acts.empty() ? INT64_MAX : acts.front().at;
}

bool hl_run_due_acts(int64_t now)
{
    bool any = false;

    while (!acts.empty() && acts.front().at <= now) {
        auto run = std::move(acts.front().run);
        acts.erase(acts.begin());
        run();
        hlInput = any = true;
    }
    return any;
}

void hl_modal(std::function<void(WindowPtr)> act)
{
    answers.push_back(std::move(act));
}

void hl_answer(int item)
{
    hl_modal([item](WindowPtr w) { hl_hit(w, item); });
}

void hl_modal_clear()
{
    answers.clear();
}

void hl_modal_came(be_win w)
{
    unanswered.push_back(w);
}

bool hl_run_modal()
{
    be_win front = hl_front();

    if (!front || answers.empty() || std::erase(unanswered, front) == 0)
        return false;
    auto act = std::move(answers.front());
    answers.pop_front();
    act(window_of(front));
    return hlInput = true;
}

// ---- keys ------------------------------------------------------------------

// Virtual key codes of a US keyboard, by the character without Shift.
static uint8_t code_of(char c)
{
    static const char chars[] = "asdfhgzxcv\0bqweryt123465=97-80]ou[ip\0lj'k;\\"
                                ",/nm.\t `";
    c = c >= 'A' && c <= 'Z' ? char(c + 32) : c;
    for (size_t n = 0; n < sizeof chars - 1; n++)
        if (c && chars[n] == c)
            return uint8_t(n);
    return 0x27; // some key
}

static void press_key(const std::string &text, uint8_t character, uint8_t code,
                      uint16_t modifiers, bool repeat)
{
    be_win w = hl_front();
    const HlShown *s = hl_shown(w);
    uint32_t token = 0;

    if (!w)
        return;
    // A notice never has the keys.
    if (s->w.kind == BE_PLAIN) {
        for (be_win behind : hl_order()) {
            s = hl_shown(behind);
            if (s->w.visible && s->w.kind != BE_PLAIN) {
                w = behind;
                break;
            }
        }
    }
    if (s->w.kind != BE_DOCUMENT)
        token = hl_store_key({w, text, character, code, modifiers});
    hlInput = true;
    up_key(w, text.c_str(), character, code,
           uint16_t(modifiers | mouse.modifiers), repeat, token);
}

void hl_type(const char *utf8, uint16_t modifiers)
{
    while (*utf8) {
        size_t length = 1;
        while ((uint8_t(utf8[length]) & 0xC0) == 0x80)
            length++;
        std::string text(utf8, length);
        utf8 += length;
        switch (text[0]) {
        case '\r':
            press_key(text, 0x0D, 0x24, modifiers, false);
            break;
        case '\t':
            press_key(text, 0x09, 0x30, modifiers, false);
            break;
        case '\x1b':
            press_key(text, 0x1B, 0x35, modifiers, false);
            break;
        case '\b':
            press_key("", 0x08, 0x33, modifiers, false);
            break;
        default:
            press_key(text, 0, code_of(text[0]), modifiers, false);
            break;
        }
    }
}

void hl_key(uint8_t character, uint8_t keycode, uint16_t modifiers, bool repeat)
{
    press_key(character >= 32 && character < 127
                  ? std::string(1, char(character))
                  : std::string(),
              character, keycode, modifiers, repeat);
}

// ---- mouse -----------------------------------------------------------------

void be_mouse_state(be_mouse *out)
{
    *out = mouse;
}

static const HlWindow &of(WindowPtr w)
{
    const HlWindow *s = hl_window(w);

    if (!s)
        hl_fail("the user acts on a window that isn't there");
    return *s;
}

void hl_modifiers(uint16_t modifiers)
{
    mouse.modifiers = modifiers;
}

void hl_mouse_at(WindowPtr w, int h, int v)
{
    const HlWindow &s = of(w);

    mouse.h = s.content.left + h;
    mouse.v = s.content.top + v;
    hlInput = true;
}

void hl_press(WindowPtr w, int h, int v, uint16_t modifiers)
{
    hl_activate(w);
    hl_mouse_at(w, h, v);
    mouse.down = true;
    up_mouse(of(w).id, mouse.h, mouse.v, uint16_t(modifiers | mouse.modifiers),
             true);
}

void hl_release()
{
    mouse.down = false;
    hlInput = true;
    up_mouse(hl_front(), mouse.h, mouse.v, mouse.modifiers, false);
}

void hl_click(WindowPtr w, int h, int v, uint16_t modifiers)
{
    hl_press(w, h, v, modifiers);
    hl_release();
}

void hl_middle_click(WindowPtr w)
{
    hlInput = true;
    up_middle_click(of(w).id);
}

void hl_wheel(WindowPtr w, int delta)
{
    hlInput = true;
    up_wheel(of(w).id, delta);
}

// ---- windows ---------------------------------------------------------------

// The desktop doesn't let a window behind a modal one become active.
void hl_activate(WindowPtr w)
{
    const HlWindow &s = of(w);
    be_win front = hl_front();

    if (front == s.id)
        return;
    if (front && hl_shown(front)->w.kind == BE_MODAL)
        hl_fail("the user acts on a window behind a modal one");
    hlInput = true;
    be_window_front(s.id);
    up_active(front, false);
    up_active(s.id, true);
}

void hl_app_active(bool active)
{
    hlInput = true;
    up_app_active(active);
}

void hl_close(WindowPtr w)
{
    hlInput = true;
    up_close(of(w).id);
}

void hl_resize(WindowPtr w, int width, int height)
{
    be_win id = of(w).id;
    be_rect r = of(w).content;

    hlInput = true;
    r.right = r.left + width;
    r.bottom = r.top + height;
    hl_shown(id)->w.content = r;
    up_resized(id, &r, false);
    up_resized(id, &r, true);
}

void hl_move(WindowPtr w, int h, int v)
{
    be_win id = of(w).id;
    be_rect r = of(w).content;

    hlInput = true;
    r = {h, v, h + r.right - r.left, v + r.bottom - r.top};
    hl_shown(id)->w.content = r;
    up_moved(id, &r);
}

void hl_zoom(WindowPtr w, bool zoomed)
{
    be_win id = of(w).id;
    be_rect r = of(w).content;

    hlInput = true;
    if (zoomed) {
        be_screen(&r);
        r.top += 24;
        hl_shown(id)->w.content = r;
    }
    hl_shown(id)->w.zoomed = zoomed;
    up_zoom(id, zoomed, &r);
}

// ---- menus and widgets -----------------------------------------------------

bool hl_choose(int menu, int item, uint16_t modifiers)
{
    up_menu_will_open();
    const HlMenu *m = hl_menu(menu);
    if (!m || !m->enabled || item < 1 || size_t(item) > m->items.size() ||
        !m->items[size_t(item - 1)].enabled)
        return false;
    hlInput = true;
    up_menu(menu, item, uint16_t(modifiers | mouse.modifiers));
    return true;
}

static const HlItem &usable(WindowPtr w, int item)
{
    const HlItem *i = hl_item(w, item);

    (void)of(w);
    if (!i || !i->visible || !i->enabled)
        hl_fail("the user hits an item that isn't there, or can't be used");
    return *i;
}

void hl_hit(WindowPtr w, int item)
{
    const HlItem &i = usable(w, item);

    hlInput = true;
    if (i.kind == BE_USER)
        hl_click(w, (i.box.left + i.box.right) / 2,
                 (i.box.top + i.box.bottom) / 2);
    else
        up_item_hit(of(w).id, item);
}

void hl_pick(WindowPtr w, int item, int value)
{
    (void)usable(w, item);
    be_item_value(of(w).id, item, value);
    hlInput = true;
    up_item_value(of(w).id, item, value);
    up_item_hit(of(w).id, item);
}

void hl_edit(WindowPtr w, int item, const char *utf8)
{
    (void)usable(w, item);
    hlInput = true;
    hl_shown(of(w).id)->w.focus = item;
    up_item_focus(of(w).id, item);
    be_item_text(of(w).id, item, utf8);
    up_item_text(of(w).id, item, utf8);
}

void hl_scroll(ControlHandle c, const std::vector<HlScroll> &steps)
{
    WindowPtr w = control_window(c);
    int item = control_item(c);

    (void)usable(w, item);
    hlInput = true;
    for (const HlScroll &s : steps) {
        if (s.part == inThumb)
            be_item_value(of(w).id, item, s.value);
        up_scroll(of(w).id, item, s.part, s.value);
    }
    up_scroll(of(w).id, item, 0, GetControlValue(c));
}

// ---- from outside ----------------------------------------------------------

static std::vector<const char *> pointers(const std::vector<std::string> &paths)
{
    std::vector<const char *> out;

    for (const std::string &p : paths)
        out.push_back(p.c_str());
    return out;
}

void hl_drop_text(WindowPtr w, int h, int v, const char *utf8)
{
    be_rect r = of(w).content;

    hlInput = true;
    up_drop(of(w).id, r.left + h, r.top + v, mouse.modifiers, utf8, nullptr, 0);
}

void hl_drop_files(WindowPtr w, int h, int v,
                   const std::vector<std::string> &paths)
{
    be_rect r = of(w).content;
    auto list = pointers(paths);

    hlInput = true;
    up_drop(of(w).id, r.left + h, r.top + v, mouse.modifiers, nullptr,
            list.data(), int(list.size()));
}

void hl_open_files(const std::vector<std::string> &paths)
{
    auto list = pointers(paths);

    hlInput = true;
    ae_queue_start(list.data(), int(list.size()));
}

bool hl_drag_over(WindowPtr w, int h, int v, bool text, bool files)
{
    be_rect r = of(w).content;

    return up_drag_over(of(w).id, r.left + h, r.top + v, text, files);
}

void hl_quit()
{
    hlInput = true;
    up_quit();
}
