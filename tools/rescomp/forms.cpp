// Menus, windows, dialogs, alerts: what the platform shows. The bytes
// are described in platform/core/resforms.h.
//
// The layout rules are checked here rather than by eye, since a text that grows
// by a word would otherwise be cut on somebody's screen: no two items overlap,
// all lie within the dialog, and each is large enough for a native widget and
// its text.
#include "tools/rescomp/rescomp.h"

#include "platform/core/files/resforms.h"

#include <cstring>

using namespace resforms;

// ---- parts -----------------------------------------------------------------

struct Word {
    const char *word;
    int value;
};

// The value of a word out of a table, which is closed by a null.
static int word_in(const toml::table &t, const char *key, const Word *words,
                   int fallback)
{
    const toml::node *n = t.get(key);
    if (!n)
        return fallback;
    std::string given = n->value_or(std::string());
    for (const Word *w = words; w->word; w++)
        if (given == w->word)
            return w->value;
    std::string list;
    for (const Word *w = words; w->word; w++)
        list += std::string(list.empty() ? "" : ", ") + w->word;
    complain(*n, std::string(key) + " is one of: " + list);
    return fallback;
}

static constexpr Word placeWords[] = {{"as given", kPlaceAsGiven},
                                      {"over main", kPlaceOverMain},
                                      {"screen", kPlaceScreenThird},
                                      {nullptr, 0}};

// Exactly `count` numbers under `key`.
static std::vector<int> numbers_in(const toml::table &t, const char *key,
                                   size_t count)
{
    std::vector<int> out;
    const toml::array *a = t.get_as<toml::array>(key);
    if (a)
        for (auto &&n : *a)
            out.push_back(int(n.value_or(int64_t(-32768))));
    if (out.size() != count) {
        complain(t, std::string(key) + " needs " + std::to_string(count) +
                        " numbers");
        out.assign(count, 0);
    }
    for (int v : out)
        if (v < -2000 || v > 4000)
            complain(t, std::string(key) + " is out of range");
    return out;
}

struct Box {
    int left, top, width, height;
};

static Box box_in(const toml::table &t, const char *key)
{
    std::vector<int> n = numbers_in(t, key, 4);
    return {n[0], n[1], n[2], n[3]};
}

static void put_rect(Bytes &b, const Box &box)
{
    b.u16(box.top);
    b.u16(box.left);
    b.u16(box.top + box.height);
    b.u16(box.left + box.width);
}

static int window_flags(const toml::table &t, bool visible)
{
    return (bool_in(t, "visible", visible) ? kWindowVisible : 0) |
           (bool_in(t, "closable", false) ? kWindowGoAway : 0) |
           (bool_in(t, "resizable", false) ? kWindowGrow : 0) |
           (bool_in(t, "zoomable", false) ? kWindowZoom : 0);
}

// ---- menus -----------------------------------------------------------------

// "-", a plain text, or a table with more than that.
static void put_menu_item(Bytes &b, const toml::node &n,
                          const std::string &prefix, int number)
{
    const toml::table *t = n.as_table();
    if (!t) {
        std::string text = text_of(n);
        bool line = text == "-";
        b.pstring(text);
        b.u8(line ? kItemSeparator : kItemEnabled);
        b.u8(0);
        b.u8(0);
        b.u8(0);
        b.u16(0);
        return;
    }
    only_members(
        *t, {"as", "text", "key", "enabled", "checked", "outlined", "submenu"});
    (void)name_in(*t, prefix.c_str(), number);
    std::string key = text_in(*t, "key");
    if (key.size() > 1)
        complain(*t, "a Command key is one letter");
    std::string text = text_in(*t, "text");
    if (text.empty())
        complain(*t, "the item has no text");
    b.pstring(text);
    b.u8(bool_in(*t, "enabled", true) ? kItemEnabled : 0);
    b.u8(key.empty() ? 0 : key[0]);
    b.u8(bool_in(*t, "checked", false) ? kCheckMark : 0);
    b.u8(bool_in(*t, "outlined", false) ? 8 : 0);
    b.u16(int_in(*t, "submenu", 0));
}

static void make_menu(const toml::table &t, Resources &all)
{
    only_members(t, {"as", "id", "title", "items"});
    std::string name = name_needed(t, "kMenu");
    Bytes b;
    b.u16(int_in(t, "id", 0));
    b.u8(kMenuEnabled);
    b.pstring(text_in(t, "title"));
    const toml::array *items = t.get_as<toml::array>("items");
    int count = items ? int(items->size()) : 0, number = 0, named = 0;
    b.u16(count);
    if (!items)
        complain(t, "the menu has no items");
    for (int i = 0; i < count; i++) {
        const toml::node &n = *items->get(size_t(i));
        const toml::table *item = n.as_table();
        named += item && item->contains("as");
        number += item || text_of(n) != "-";
        put_menu_item(b, n, "kItem" + name, i + 1);
    }
    if (named != 0 && named != number)
        complain(t, "either all items have names for the code, or none");
    put_name(t, "kLastItem" + name, count);
    add(all, four("MENU"), t, b.data);
}

static void make_menubar(const toml::table &t, Resources &all)
{
    only_members(t, {"as", "id", "menus"});
    (void)name_needed(t, "kMenuBar");
    Bytes b;
    const toml::array *menus = t.get_as<toml::array>("menus");
    b.u16(menus ? int(menus->size()) : 0);
    if (menus)
        for (auto &&n : *menus)
            b.u16(int(n.value_or(int64_t(0))));
    add(all, four("MBAR"), t, b.data);
}

// ---- windows ---------------------------------------------------------------

static void make_window(const toml::table &t, Resources &all)
{
    (void)name_needed(t, "kWindow");
    only_members(t, {"as", "id", "title", "bounds", "place", "least", "visible",
                     "closable", "resizable", "zoomable"});
    Bytes b;
    put_rect(b, box_in(t, "bounds"));
    b.u8(window_flags(t, true));
    b.u8(word_in(t, "place", placeWords, kPlaceAsGiven));
    std::vector<int> least = {0, 0};
    if (t.contains("least"))
        least = numbers_in(t, "least", 2);
    b.u16(least[0]);
    b.u16(least[1]);
    b.pstring(text_in(t, "title"));
    add(all, four("WIND"), t, b.data);
}

// ---- dialogs ---------------------------------------------------------------

// Least height of a native widget, and what its border and mark take from the
// width of its text.
struct KindInfo {
    const char *word;
    uint8_t kind;
    int height, border;
    bool needsText;
};

// clang-format off
static constexpr KindInfo kinds[] = {
    {"button",   kKindButton,   26, 24, true },
    {"checkbox", kKindCheckBox, 20, 26, true },
    {"radio",    kKindRadio,    20, 26, true },
    {"text",     kKindStatic,   18,  2, false},
    {"edit",     kKindEdit,     24,  0, false},
    {"secret",   kKindSecret,   24,  0, false},
    {"user",     kKindUser,      1,  0, false},
    {"icon",     kKindIcon,     32,  0, false},
    {"popup",    kKindPopup,    26,  0, false},
    {"progress", kKindProgress, 12,  0, false},
    {"group",    kKindGroup,    30, 20, true },
};
// clang-format on

static const KindInfo *kind_of(const toml::table &t)
{
    std::string word = t["kind"].value_or(std::string());
    for (const KindInfo &k : kinds)
        if (word == k.word)
            return &k;
    complain(t, "there is no item of the kind \"" + word + "\"");
    return &kinds[0];
}

// A mean letter of a desktop's usual font at scale 1.
static constexpr double kLetterWidth = 6.8;
static constexpr int kLineHeight = 18;

// Would the text fit? A text that a parameter fills can't be judged.
static void check_text_fits(const toml::table &t, const KindInfo &k,
                            const Box &at, const std::string &text)
{
    if (text.find('^') != std::string::npos)
        return;
    double longest = 0;
    int lines = 1;
    size_t start = 0;
    double room = at.width - k.border;
    for (size_t i = 0; i <= text.size(); i++) {
        if (i < text.size() && text[i] != '\r')
            continue;
        double width = kLetterWidth * double(i - start);
        if (k.kind == kKindStatic && width > room && room > 0)
            lines += int(width / room);
        else if (width > longest)
            longest = width;
        lines += i < text.size();
        start = i + 1;
    }
    if (longest > room)
        complain(t, "the text needs a width of " +
                        std::to_string(int(longest) + 1 + k.border));
    if (k.kind == kKindStatic && lines * kLineHeight > at.height + 2)
        complain(t, "the text needs a height of " +
                        std::to_string(lines * kLineHeight));
}

static Box put_dialog_item(Bytes &b, const toml::table &t, const Box &dialog,
                           uint8_t *kind)
{
    only_members(t, {"as", "kind", "at", "text", "enabled", "hidden", "menu",
                     "icon", "most", "name"});
    const KindInfo *k = kind_of(t);
    Box at = box_in(t, "at");
    std::string text = text_in(t, "text", 1000);
    bool reacts = k->kind != kKindStatic && k->kind != kKindGroup &&
                  k->kind != kKindProgress && k->kind != kKindIcon;

    if (at.left < 0 || at.top < 0 || at.left + at.width > dialog.width ||
        at.top + at.height > dialog.height)
        complain(t, "the item reaches out of the dialog");
    if (at.height < k->height)
        complain(t, "the item needs a height of " + std::to_string(k->height));
    if (k->kind == kKindButton && at.width < 80)
        complain(t, "a button needs a width of 80");
    if (k->needsText && text.empty())
        complain(t, "the item has no text");
    if ((reacts || (k->kind != kKindIcon && text.empty())) && !t.contains("as"))
        complain(t, "the item changes or reacts, and has no name (as = ...)");
    if (k->kind == kKindPopup && !t.contains("menu"))
        complain(t, "the pop-up has no menu");
    check_text_fits(t, *k, at, text);

    int parameter = k->kind == kKindPopup      ? int_in(t, "menu", 0)
                    : k->kind == kKindIcon     ? int_in(t, "icon", 128)
                    : k->kind == kKindProgress ? int_in(t, "most", 100)
                                               : int_in(t, "most", 0);
    b.u8(k->kind);
    b.u8((bool_in(t, "enabled", reacts) ? kItemEnabled : 0) |
         (bool_in(t, "hidden", false) ? kItemHidden : 0));
    put_rect(b, at);
    b.u16(parameter);
    b.text(text);
    b.pstring(text_in(t, "name"));
    *kind = k->kind;
    return at;
}

static bool overlap(const Box &a, const Box &b)
{
    return a.left < b.left + b.width && b.left < a.left + a.width &&
           a.top < b.top + b.height && b.top < a.top + a.height;
}

static constexpr Word mannerWords[] = {{"modal", kDialogModal},
                                       {"modeless", kDialogModeless},
                                       {"plain", kDialogPlain},
                                       {nullptr, 0}};

static void make_dialog(const toml::table &t, Resources &all)
{
    std::string name = name_needed(t, "kDlg");
    only_members(t, {"as", "id", "title", "size", "manner", "place", "default",
                     "cancel", "visible", "closable", "resizable", "items"});
    std::vector<int> size = numbers_in(t, "size", 2);
    Box dialog{0, 0, size[0], size[1]};
    int manner = word_in(t, "manner", mannerWords, kDialogModal);

    Bytes b;
    put_rect(b, dialog);
    b.u8(window_flags(t, true));
    b.u8(word_in(t, "place", placeWords, kPlaceOverMain));
    b.u8(manner);
    b.u16(int_in(t, "default", 0));
    b.u16(int_in(t, "cancel", 0));
    b.pstring(text_in(t, "title"));

    const toml::array *items = t.get_as<toml::array>("items");
    size_t count = items ? items->size() : 0;
    b.u16(int(count));
    std::vector<std::pair<Box, const toml::node *>> placed;
    for (size_t i = 0; i < count; i++) {
        const toml::table *item = items->get_as<toml::table>(i);
        if (!item) {
            complain(*items, "each item is a table");
            continue;
        }
        (void)name_in(*item, ("kItem" + name).c_str(), int(i + 1));
        uint8_t kind;
        Box at = put_dialog_item(b, *item, dialog, &kind);
        if (kind == kKindGroup || bool_in(*item, "hidden", false))
            continue;
        for (auto &[other, node] : placed)
            if (overlap(at, other))
                complain(*item, "the item overlaps the one of line " +
                                    std::to_string(node->source().begin.line));
        placed.push_back({at, item});
    }
    if (size_t(int_in(t, "default", 0)) > count ||
        size_t(int_in(t, "cancel", 0)) > count)
        complain(t, "the default or cancel item isn't there");
    add(all, four("DLOG"), t, b.data);
}

static void make_alert(const toml::table &t, Resources &all)
{
    only_members(t, {"as", "id", "text", "detail", "buttons", "default",
                     "cancel", "place"});
    (void)name_needed(t, "kAlert");
    const toml::array *buttons = t.get_as<toml::array>("buttons");
    int count = buttons ? int(buttons->size()) : 0;
    int standard = int_in(t, "default", 1), cancel = int_in(t, "cancel", 0);
    if (count < 1 || count > 3)
        complain(t, "an alert has one to three buttons");
    if (standard < 1 || standard > count || cancel < 0 || cancel > count)
        complain(t, "the default or cancel button isn't there");

    Bytes b;
    b.u8(word_in(t, "place", placeWords, kPlaceOverMain));
    b.u8(standard);
    b.u8(cancel);
    b.u8(count);
    for (int i = 0; i < count; i++)
        b.pstring(text_of(*buttons->get(size_t(i))));
    b.text(text_in(t, "text", 1000));
    b.text(text_in(t, "detail", 4000));
    add(all, four("ALRT"), t, b.data);
}

void make_forms(const toml::table &file, Resources &all,
                std::map<std::string, const toml::node *> &left)
{
    static constexpr struct {
        const char *name;
        void (*make)(const toml::table &, Resources &);
    } forms[] = {{"menu", make_menu},
                 {"menubar", make_menubar},
                 {"window", make_window},
                 {"dialog", make_dialog},
                 {"alert", make_alert}};

    for (auto &form : forms) {
        const toml::array *a = file.get_as<toml::array>(form.name);
        if (!a)
            continue;
        left.erase(form.name);
        for (auto &&n : *a)
            if (const toml::table *t = n.as_table())
                form.make(*t, all);
    }
}

// ---- references ------------------------------------------------------------

// What the checks need of a menu.
struct MenuFacts {
    std::string keys;
    std::vector<int> submenus;
};

static MenuFacts facts_of(const std::string &menu)
{
    MenuFacts facts;
    const uint8_t *p = reinterpret_cast<const uint8_t *>(menu.data());
    ResReader r{p, p + menu.size()};
    r.i16();
    r.u8();
    r.pstring();
    for (int n = r.u16(); n > 0; n--) {
        r.pstring();
        r.u8();
        if (uint8_t key = r.u8())
            facts.keys += char(key);
        r.u16();
        if (int submenu = r.i16())
            facts.submenus.push_back(submenu);
    }
    return facts;
}

static void need_menu(const Resources &all, int id, const std::string &user)
{
    if (!all.count({four("MENU"), id}))
        complain(user + " names menu " + std::to_string(id) +
                 ", which isn't there");
}

static void check_bar(const Resources &all, int barID, const std::string &bar)
{
    const uint8_t *p = reinterpret_cast<const uint8_t *>(bar.data());
    ResReader r{p, p + bar.size()};
    std::string seen;
    for (int n = r.u16(); n > 0; n--) {
        int id = r.i16();
        need_menu(all, id, "menu bar " + std::to_string(barID));
        auto menu = all.find({four("MENU"), id});
        if (menu == all.end())
            continue;
        for (char key : facts_of(menu->second.data).keys) {
            if (seen.find(key) != std::string::npos)
                complain("Command-" + std::string(1, key) +
                         " stands in the menu bar twice");
            seen += key;
        }
    }
}

static void check_popups(const Resources &all, int id, const std::string &dlog)
{
    const uint8_t *p = reinterpret_cast<const uint8_t *>(dlog.data());
    ResReader r{p, p + dlog.size()};
    for (int i = 0; i < 4; i++)
        r.u16();
    r.u8();
    r.u8();
    r.u8();
    r.u16();
    r.u16();
    r.pstring();
    for (int n = r.u16(); n > 0; n--) {
        uint8_t kind = r.u8();
        r.u8();
        for (int i = 0; i < 4; i++)
            r.u16();
        int parameter = r.i16();
        if (kind == kKindPopup)
            need_menu(all, parameter, "dialog " + std::to_string(id));
        size_t length;
        r.text(&length);
        r.pstring();
    }
}

void check_references(const Resources &all)
{
    for (auto &[key, r] : all) {
        if (key.first == four("MBAR"))
            check_bar(all, key.second, r.data);
        if (key.first == four("DLOG"))
            check_popups(all, key.second, r.data);
        if (key.first == four("MENU"))
            for (int submenu : facts_of(r.data).submenus)
                need_menu(all, submenu, "menu " + std::to_string(key.second));
    }
}
