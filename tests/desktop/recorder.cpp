// The calls up, one line each.
#include "tests/desktop/recorder.h"

#include <cstdarg>
#include <cstring>

std::vector<std::string> heard;
uint32_t lastKeyToken;
bool dropAllowed;
void (*onMenuWillOpen)();

// The toolkit keeps some of its own for the life of a process.
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}

__attribute__((format(printf, 1, 2))) static void note(const char *form, ...)
{
    char line[400];
    va_list args;

    va_start(args, form);
    vsnprintf(line, sizeof line, form, args);
    va_end(args);
    heard.push_back(line);
}

std::string take_heard()
{
    std::string all;

    for (const std::string &line : heard)
        all += (all.empty() ? "" : "; ") + line;
    heard.clear();
    return all;
}

bool was_heard(const std::string &line)
{
    return std::find(heard.begin(), heard.end(), line) != heard.end();
}

void turn(int milliseconds)
{
    int64_t end = be_now_us() + milliseconds * 1000;

    while (be_now_us() < end)
        be_wait(end, -1, false, false);
}

bool turn_until(const std::string &line, int milliseconds)
{
    int64_t end = be_now_us() + milliseconds * 1000;

    while (!was_heard(line) && be_now_us() < end)
        be_wait(end, -1, false, false);
    return was_heard(line);
}

// ---- the cases' ground -----------------------------------------------------

void Desktop::SetUp()
{
    static char name[] = "test";
    static char *argv[] = {name, nullptr};
    static int argc = 1;
    const char *why = "";

    ASSERT_TRUE(be_start(&argc, argv, &why)) << why;
    heard.clear();
}

void Desktop::TearDown()
{
    for (be_win w = 1; w < 10; w++)
        be_window_dispose(w);
    be_stop();
}

void Desktop::open(be_win w, be_window_kind kind, int width, int height,
                   bool canvas)
{
    be_window_info info = {};

    info.kind = kind;
    info.content = {100, 120, 100 + width, 120 + height};
    info.title = "Test";
    info.resizable = kind == BE_DOCUMENT;
    info.closable = info.zoomable = true;
    info.canvas = canvas;
    be_window_new(w, &info);
    be_window_show(w, true);
    be_window_front(w);
    turn(250); // until the place has settled
    heard.clear();
}

void Desktop::item(be_win w, int number, be_item_kind kind, const char *text,
                   int value, int menu)
{
    be_item_info info = {};
    int top = 10 + number * 26;

    info.kind = kind;
    info.box = {10, top, 160, top + 22};
    info.text = text;
    info.value = value;
    info.max = kind == BE_EDIT || kind == BE_PASSWORD ? 255 : 100;
    info.page = 10;
    info.menu = menu;
    info.enabled = info.visible = true;
    info.multiline = strchr(text, '\r') != nullptr;
    be_item_set(w, number, &info);
}

void Desktop::present(be_win w, int width, int height, uint32_t color)
{
    int scale = be_window_scale(w);
    be_rect dirty = {0, 0, 10000, 10000};

    pixels.resize(size_t(width * scale * height * scale), color);
    be_present(w, pixels.data(), width * scale, height * scale, width * scale,
               &dirty, 1);
}

uint32_t Desktop::pixel(be_win w, int h, int v)
{
    turn();
    return content(w)->grab().toImage().pixel(h, v) & 0xFFFFFF;
}

// ---- the calls up ----------------------------------------------------------

// clang-format off
void up_key(be_win w, const char *text, uint8_t character, uint8_t keycode, uint16_t modifiers, bool repeat, uint32_t token)
{
    lastKeyToken = token;
    note("key %d '%s' %02X:%02X %04X%s%s", w, text, keycode, character, modifiers, repeat ? " again" : "", token ? " stored" : "");
}
void up_mouse(be_win w, int h, int v, uint16_t modifiers, bool down) { note("mouse %d %d,%d %04X %s", w, h, v, modifiers, down ? "down" : "up"); }
void up_middle_click(be_win w) { note("middle %d", w); }
void up_wheel(be_win w, int delta) { note("wheel %d %d", w, delta); }
void up_close(be_win w) { note("close %d", w); }
void up_moved(be_win w, const be_rect *c) { note("moved %d %d,%d", w, c->left, c->top); }
void up_zoom(be_win w, bool zoomed, const be_rect *) { note("zoom %d %d", w, zoomed); }
void up_collapsed(be_win w, bool collapsed) { note("collapsed %d %d", w, collapsed); }
void up_active(be_win w, bool active) { note("active %d %d", w, active); }
void up_app_active(bool) {}
void up_scale(be_win w) { note("scale %d", w); }
void up_menu(int32_t menu, int item, uint16_t) { note("menu %d item %d", menu, item); }
void up_popup_done(int32_t menu, int item) { note("popup %d item %d", menu, item); }
void up_item_hit(be_win w, int item) { note("hit %d item %d", w, item); }
void up_item_value(be_win w, int item, int value) { note("value %d item %d is %d", w, item, value); }
void up_item_text(be_win w, int item, const char *text) { note("text %d item %d '%s'", w, item, text); }
void up_item_focus(be_win w, int item) { note("focus %d item %d", w, item); }
void up_scroll(be_win w, int item, int part, int value) { note("scroll %d item %d part %d at %d", w, item, part, value); }
void up_drag_done(bool taken) { note("drag done %d", taken); }
void up_quit() { note("quit"); }
void up_resized(be_win w, const be_rect *c, bool finished) { note("resized %d %dx%d%s", w, c->right - c->left, c->bottom - c->top, finished ? "" : " still"); }
bool up_drag_over(be_win, int, int, bool text, bool files) { note("over%s%s", text ? " text" : "", files ? " files" : ""); return dropAllowed; }
void up_drop(be_win w, int, int, uint16_t, const char *text, const char *const *paths, int count) { note("drop %d '%s' %d %s", w, text ? text : "", count, count ? paths[0] : ""); }
be_session_answer up_session_end(be_may_ask *) { note("session end"); return BE_SESSION_SAVED; }
// clang-format on

void up_menu_will_open()
{
    note("menu will open");
    if (onMenuWillOpen)
        onMenuWillOpen();
}

void up_answer(bool ok, uint32_t value, const char *const *paths, int count)
{
    std::string all;

    for (int i = 0; i < count; i++)
        all += std::string(" ") + paths[i];
    note("answer %d %06X%s", ok, value, all.c_str());
}
