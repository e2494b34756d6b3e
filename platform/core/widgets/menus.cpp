// Menus: the model of texts, marks and states, and the choices that come back.
//
// A change only marks its menu; what is marked goes to the back end before the
// next wait, so that filling a menu of a hundred entries costs one message.
#include "platform/menus.h"

#include "platform/core/core.h"
#include "platform/core/drawing/fontparts.h"
#include "platform/core/files/resforms.h"
#include "platform/core/macroman.h"
#include "platform/core/outside.h"
#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/menuparts.h"

#include <algorithm>
#include <cassert>
#include <string>
#include <vector>

struct MenuItem {
    std::string text; // Mac Roman
    bool enabled;
    uint8_t mark;    // 0: none
    uint8_t style;   // as TextFace
    uint8_t command; // letter of the Command key, 0: none
    int16_t submenu; // menu id, 0: none
};
struct QlMenu {
    int16_t id;
    std::string title;
    bool enabled;
    bool changed; // not yet handed to the back end
    std::vector<MenuItem> items;
};

// ---- the menus -------------------------------------------------------------

static std::vector<MenuHandle> all; // all that exist
static std::vector<int16_t> bar;    // ids of the bar, left to right
static std::vector<int16_t> beside; // ids put in as hierarchical or pop-up
static bool anyChanged, barChanged;
static void (*willOpen)();

// ---- the pop-up that is open -----------------------------------------------

static bool popupOpen, popupDone;
static int16_t popupItem;

static void touch(MenuHandle m)
{
    m->changed = anyChanged = true;
}

static MenuItem *item_of(MenuHandle m, int16_t item)
{
    if (!m || item < 1 || size_t(item) > m->items.size())
        return nullptr;
    return &m->items[size_t(item - 1)];
}

// Assigns and marks the menu if that is a change.
template <typename T> static void change(MenuHandle m, T *field, T value)
{
    if (*field == value)
        return;
    *field = value;
    touch(m);
}

static void menu_out(MenuHandle m)
{
    std::vector<std::string> texts;
    std::vector<be_menu_item> items;
    std::string title = macroman_to_utf8(m->title);

    for (const MenuItem &i : m->items)
        texts.push_back(macroman_to_utf8(i.text));
    for (size_t n = 0; n < m->items.size(); n++) {
        const MenuItem &i = m->items[n];
        items.push_back({texts[n].c_str(), char(i.command), i.enabled,
                         i.mark != 0, (i.style & 8) != 0, i.submenu});
    }
    be_menu_set(m->id, title.c_str(), m->enabled, items.data(),
                int(items.size()));
    m->changed = false;
}

void menus_flush()
{
    if (anyChanged) {
        anyChanged = false;
        for (MenuHandle m : all)
            if (m->changed)
                menu_out(m);
    }
    if (barChanged) {
        barChanged = false;
        std::vector<int32_t> ids(bar.begin(), bar.end());
        be_menu_bar(ids.data(), int(ids.size()));
    }
}

// ---- making ----------------------------------------------------------------

MenuHandle GetMenuHandle(int16_t id)
{
    for (MenuHandle m : all)
        if (m->id == id)
            return m;
    return nullptr;
}

MenuHandle NewMenu(int16_t id, ConstStr title)
{
    MenuHandle m = new QlMenu{};

    m->id = id;
    m->title = bytes_of(title);
    m->enabled = true;
    all.insert(all.begin(), m); // the newest of an id is the one found
    touch(m);
    return m;
}

void DisposeMenu(MenuHandle m)
{
    auto it = std::find(all.begin(), all.end(), m);

    if (it == all.end())
        return;
    all.erase(it);
    if (MenuHandle older = GetMenuHandle(m->id))
        touch(older);
    else
        DeleteMenu(m->id);
    delete m;
}

int16_t menu_id(MenuHandle m)
{
    return m ? m->id : int16_t(0);
}

MenuHandle GetMenu(int16_t id)
{
    if (MenuHandle made = GetMenuHandle(id))
        return made;
    std::vector<uint8_t> bytes;
    ResReader r = read_form(FOUR("MENU"), id, &bytes);
    int16_t ownID = r.i16();
    uint8_t flags = r.u8();
    ConstStr title = r.pstring();
    std::vector<MenuItem> items;
    for (int count = r.u16(); count > 0 && r.ok; count--) {
        MenuItem i = {};
        i.text = bytes_of(r.pstring());
        i.enabled = r.u8() & resforms::kItemEnabled;
        i.command = r.u8();
        i.mark = r.u8();
        i.style = r.u8();
        i.submenu = r.i16();
        items.push_back(i);
    }
    if (!r.ok)
        return nullptr;
    MenuHandle m = NewMenu(ownID, title);
    m->enabled = flags & resforms::kMenuEnabled;
    m->items = std::move(items);
    for (size_t n = 0; n < m->items.size(); n++) {
        int16_t submenu = m->items[n].submenu;
        if (submenu)
            (void)GetMenu(submenu); // one of the program's comes later
    }
    return m;
}

void SetMenuBarFromResource(int16_t id)
{
    std::vector<uint8_t> bytes;
    ResReader r = read_form(FOUR("MBAR"), id, &bytes);

    if (!r.ok)
        return;
    bar.clear();
    for (int count = r.u16(); count > 0 && r.ok; count--) {
        int16_t menu = r.i16();
        if (GetMenu(menu))
            bar.push_back(menu);
    }
    barChanged = true;
}

// The bar and the list beside it hold each menu once, and only such as exist.
// Usage: assert(menus_ok());
[[maybe_unused]] static bool menus_ok()
{
    for (const auto *list : {&bar, &beside}) {
        for (int16_t id : *list)
            if (!GetMenuHandle(id) ||
                std::count(list->begin(), list->end(), id) != 1)
                return false;
    }
    return true;
}

void InsertMenu(MenuHandle m, int16_t before)
{
    std::vector<int16_t> &list = before == -1 ? beside : bar;

    if (!m || std::find(list.begin(), list.end(), m->id) != list.end())
        return;
    list.insert(std::find(list.begin(), list.end(), before), m->id);
    barChanged |= before != -1;
    assert(menus_ok());
}

void DeleteMenu(int16_t id)
{
    std::erase(beside, id);
    if (std::erase(bar, id))
        barChanged = true;
    assert(menus_ok());
}

void DrawMenuBar()
{
    barChanged = true;
    menus_flush();
}

// ---- items -----------------------------------------------------------------

int16_t CountMenuItems(MenuHandle m)
{
    return m ? int16_t(m->items.size()) : int16_t(0);
}

void InsertMenuItem(MenuHandle m, ConstStr text, int16_t after)
{
    MenuItem i = {};

    if (!m || m->items.size() >= INT16_MAX)
        return;
    i.text = bytes_of(text);
    i.enabled = true;
    int at = std::clamp<int>(after, 0, CountMenuItems(m));
    m->items.insert(m->items.begin() + at, i);
    touch(m);
}

void AppendMenu(MenuHandle m, ConstStr text)
{
    InsertMenuItem(m, text, CountMenuItems(m));
}

void DeleteMenuItem(MenuHandle m, int16_t item)
{
    if (!item_of(m, item))
        return;
    m->items.erase(m->items.begin() + (item - 1));
    touch(m);
}

void SetMenuItemText(MenuHandle m, int16_t item, ConstStr text)
{
    if (MenuItem *i = item_of(m, item))
        change(m, &i->text, bytes_of(text));
}

void GetMenuItemText(MenuHandle m, int16_t item, Str255 text)
{
    MenuItem *i = item_of(m, item);

    bytes_to(i ? i->text : "", text);
}

void CheckMenuItem(MenuHandle m, int16_t item, bool checked)
{
    SetItemMark(m, item, checked ? resforms::kCheckMark : uint8_t(0));
}

void SetItemMark(MenuHandle m, int16_t item, uint8_t mark)
{
    if (MenuItem *i = item_of(m, item))
        change(m, &i->mark, mark);
}

uint8_t GetItemMark(MenuHandle m, int16_t item)
{
    const MenuItem *i = item_of(m, item);

    return i ? i->mark : uint8_t(0);
}

void SetItemCmd(MenuHandle m, int16_t item, uint8_t character)
{
    if (MenuItem *i = item_of(m, item))
        change(m, &i->command, character);
}

void SetItemStyle(MenuHandle m, int16_t item, uint8_t style)
{
    if (MenuItem *i = item_of(m, item))
        change(m, &i->style, style);
}

static void enable(MenuHandle m, int16_t item, bool enabled)
{
    if (m && item == 0)
        change(m, &m->enabled, enabled);
    else if (MenuItem *i = item_of(m, item))
        change(m, &i->enabled, enabled);
}

void EnableMenuItem(MenuHandle m, int16_t item)
{
    enable(m, item, true);
}
void DisableMenuItem(MenuHandle m, int16_t item)
{
    enable(m, item, false);
}

static bool usable(MenuHandle m, int16_t item)
{
    const MenuItem *i = item_of(m, item);

    return i && m->enabled && i->enabled;
}

// ---- choices ---------------------------------------------------------------

static int32_t choice_of(int16_t menu, int16_t item)
{
    return int32_t(uint32_t(uint16_t(menu)) << 16 | uint16_t(item));
}

// The menu of the bar under whose title a menu stands, itself or as a submenu.
static int16_t title_of(int16_t id, int depth = 0)
{
    if (std::find(bar.begin(), bar.end(), id) != bar.end() || depth > 4)
        return id;
    for (MenuHandle m : all)
        for (const MenuItem &i : m->items)
            if (i.submenu == id && m->id != id)
                return title_of(m->id, depth + 1);
    return 0;
}

int32_t MenuSelect(const EventRecord *event)
{
    if ((event->token & kSourceMask) != kFromMenu)
        return 0;
    int16_t menu = int16_t(event->message >> 16);
    int16_t item = int16_t(event->message & 0xFFFF);
    // It may have been dimmed since the menu was opened.
    if (!usable(GetMenuHandle(menu), item))
        return 0;
    HiliteMenu(title_of(menu));
    events_hold_modifiers(event->modifiers);
    return choice_of(menu, item);
}

static uint8_t folded(uint8_t c)
{
    return c >= 'a' && c <= 'z' ? uint8_t(c - 32) : c;
}

int32_t MenuKey(uint8_t character)
{
    std::vector<int16_t> ids = bar;

    if (!character)
        return 0;
    ids.insert(ids.end(), beside.begin(), beside.end());
    for (int16_t id : ids) {
        MenuHandle m = GetMenuHandle(id);
        for (int16_t item = 1; item <= CountMenuItems(m); item++) {
            if (folded(item_of(m, item)->command) != folded(character) ||
                !usable(m, item))
                continue;
            HiliteMenu(title_of(id));
            return choice_of(id, item);
        }
    }
    return 0;
}

void HiliteMenu(int16_t id)
{
    be_menu_hilite(id);
}

int32_t PopUpMenuSelect(MenuHandle m, int16_t top, int16_t left, int16_t item)
{
    if (!m || m->items.empty() || popupOpen)
        return 0;
    popupOpen = true;
    popupDone = false;
    popupItem = 0;
    menu_out(m); // another menu may have gone out under this number
    be_menu_popup(m->id, left, top, std::max<int16_t>(item, 1));
    wait_for_user(popupDone);
    popupOpen = false;
    // The list's own menu of that number comes back.
    MenuHandle listed = GetMenuHandle(m->id);
    if (listed && listed != m)
        touch(listed);
    return usable(m, popupItem) ? choice_of(m->id, popupItem) : 0;
}

void SetMenuWillOpenProc(void (*proc)())
{
    willOpen = proc;
}

void CreateStandardFontMenu(MenuHandle m, int16_t after, int16_t)
{
    for (const std::string &font : font_names()) {
        Str255 name;
        bytes_to(utf8_to_macroman(font), name);
        InsertMenuItem(m, name, after++);
    }
}

// ---- calls up --------------------------------------------------------------

void up_menu_will_open()
{
    if (willOpen)
        willOpen();
    menus_flush();
}

void up_menu(int32_t menu, int item, uint16_t modifiers)
{
    EventRecord e = queue_event(mouseDown, nullptr, inMenuBar);

    e.token = kFromMenu;
    e.message = uint32_t(choice_of(int16_t(menu), int16_t(item)));
    e.modifiers = uint16_t(modifiers & ~btnState);
    queue_post(e);
}

void up_popup_done(int32_t, int item)
{
    popupItem = int16_t(item);
    popupDone = true;
}
