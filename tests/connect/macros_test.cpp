// Macro sets: the dialogs in the user's hands, and the sets in the book.
#include "connect/Macros.h"

#include <gtest/gtest.h>

#include "base/pstr.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "tests/support/running.h"

namespace {

using Act = std::function<void(WindowPtr)>;
using Strings = std::vector<std::string>;

class Macros : public Running {};

// One act after the other on whatever window is in front then, each once the
// program has nothing more to do.
void act_soon(const std::vector<Act> *acts, size_t *done)
{
    hl_after(5, [acts, done] {
        (*acts)[*done](FrontWindow());
        if (++*done < acts->size())
            act_soon(acts, done);
    });
}

// The user's acts from a command of the Macros menu on.
void by_menu(int item, const std::vector<Act> &acts)
{
    size_t done = 0;

    EXPECT_TRUE(hl_choose(kMenuMacros, item));
    act_soon(&acts, &done);
    run_ticks(uint32_t(10 * acts.size()));
    EXPECT_EQ(done, acts.size());
    EXPECT_EQ(FrontWindow(), myWindow);
}

Act hit(int item)
{
    return [item](WindowPtr w) { hl_hit(w, item); };
}

Act typed(int item, const char *text, int button)
{
    return [=](WindowPtr w) {
        hl_edit(w, item, text);
        hl_hit(w, button);
    };
}

const Act done = hit(kItemMacroSetsDone);
const Act ok = hit(kItemEditMacrosOK);

// Picks a set by its name, and then a button.
Act with_set(const std::string &name, int button)
{
    return [=](WindowPtr w) {
        const auto &items = hl_menu(kMenuMacroSets)->items;
        for (size_t i = 0; i < items.size(); i++) {
            if (items[i].text == name) {
                hl_pick(w, kItemMacroSetsPopUp, int(i + 1));
                hl_hit(w, button);
                return;
            }
        }
        ADD_FAILURE() << "no set " << name;
        hl_hit(w, kItemMacroSetsDone);
    };
}

// What the book's file has under that id: the name, then the strings. The book
// is open, so a copy of the file is read.
Strings set_on_disk(int16_t id)
{
    const std::filesystem::path book = book_path();
    const std::filesystem::path copy = book.parent_path() / "copy.qpho";
    FSSpec spec = book_spec();
    Strings all;
    Str255 name, text;

    std::filesystem::copy_file(
        book, copy, std::filesystem::copy_options::overwrite_existing);
    const int16_t ref =
        HOpenResFile(spec.vRefNum, spec.parID, PSTR("copy.qpho"), fsRdWrPerm);
    EXPECT_GT(ref, 0);
    if (Handle set = Get1Resource(FOUR("STR#"), id)) {
        GetResInfo(set, nullptr, nullptr, name);
        all.push_back(S(name));
        for (int16_t i = 1; i <= StrListCount(set); i++) {
            GetFromStrList(set, i, text);
            all.push_back(S(text));
        }
    }
    CloseResFile(ref);
    UseResFile(pRef);
    return all;
}

std::string menu_text(int macro)
{
    const auto &items = hl_menu(kMenuMacros)->items;
    size_t i = size_t(kLastItemMacros + macro - 1);
    return i < items.size() ? items[i].text : "";
}

Strings all_sets()
{
    Strings names;

    (void)make_mset_menu();
    run_ticks(2);
    for (const HlMenuItem &i : hl_menu(kMenuMacroSets)->items)
        names.push_back(i.text);
    return names;
}

} // namespace

TEST_F(Macros, FieldsShowAndStoreControlCharacters)
{
    by_menu(kItemMacrosEdit, {[](WindowPtr w) {
                EXPECT_EQ(hl_item(w, kItemEditMacrosTitle1)->text, "Return");
                EXPECT_EQ(hl_item(w, kItemEditMacrosText1)->text, "^M");
                hl_edit(w, kItemEditMacrosText2, "a^A^^^");
                hl_edit(w, kItemEditMacrosText10, "ls^m");
                hl_hit(w, kItemEditMacrosOK);
            }});
    Strings set = set_on_disk(0);
    ASSERT_EQ(set.size(), 21u);
    EXPECT_EQ(set[0], "Default");
    EXPECT_EQ(set[2], "\r");
    EXPECT_EQ(set[4], "a\001^^");
    EXPECT_EQ(set[20], "ls\r");
    EXPECT_EQ(menu_text(1), "Return");
    EXPECT_EQ(menu_text(2), "2") << "without a title its digit";
    EXPECT_EQ(menu_text(10), "0");
    by_menu(kItemMacrosEdit,
            {typed(kItemEditMacrosText1, "gone", kItemEditMacrosCancel)});
    EXPECT_EQ(set_on_disk(0), set);
}

// What a field has no room for stays, as do strings behind the twentieth.
TEST_F(Macros, WhatIsNotEditedStays)
{
    Strings strings(24, "more");
    strings[1] = std::string(200, '\002');
    strings[3] = std::string("\0\x7F\xA8\xFF^", 5);
    for (size_t count : {size_t(24), size_t(5)}) {
        SCOPED_TRACE(count);
        Strings all(strings.begin(), strings.begin() + long(count));
        Handle set = GetResource(FOUR("STR#"), 0);
        const std::string bytes = list_data(all);
        SetHandleSize(set, int32_t(bytes.size()));
        memcpy(*set, bytes.data(), bytes.size());
        by_menu(kItemMacrosEdit, {ok});
        EXPECT_EQ(std::string(reinterpret_cast<char *>(*set),
                              size_t(GetHandleSize(set))),
                  bytes);
        by_menu(kItemMacrosEdit,
                {typed(kItemEditMacrosTitle1, "now", kItemEditMacrosOK)});
        all[0] = "now";
        all.resize(count > 20 ? count : 20);
        all.insert(all.begin(), "Default");
        EXPECT_EQ(set_on_disk(0), all);
    }
}

// The first edit of the program's own set makes a copy in the book; later ones
// change that.
TEST_F(Macros, DefaultIsCopiedByItsFirstEdit)
{
    RemoveResource(GetResource(FOUR("STR#"), 0));
    FlushPhone();
    EXPECT_TRUE(set_on_disk(0).empty());
    EXPECT_EQ(all_sets(), Strings{"Default"}) << "it can still be chosen";
    by_menu(kItemMacrosEdit, {ok});
    EXPECT_TRUE(set_on_disk(0).empty()) << "nothing was edited";
    for (const char *title : {"One", "Two"}) {
        by_menu(kItemMacrosEdit,
                {typed(kItemEditMacrosTitle1, title, kItemEditMacrosOK)});
        Strings set = set_on_disk(0);
        ASSERT_EQ(set.size(), 21u);
        EXPECT_EQ(set[0], "Default");
        EXPECT_EQ(set[1], title);
        EXPECT_EQ(set[4], "ls -l\r") << "as the program has it";
        EXPECT_EQ(menu_text(1), title);
    }
}

TEST_F(Macros, SetsAreMadeChosenRenamedAndDeleted)
{
    // Two new ones, the second under the next name.
    by_menu(kItemMacrosSets,
            {hit(kItemMacroSetsNew),
             typed(kItemEditMacrosTitle1, "A", kItemEditMacrosOK),
             hit(kItemMacroSetsNew), ok, done});
    EXPECT_EQ(cset.macroSetID, 2001);
    EXPECT_EQ(set_on_disk(2000)[0], "Local set");
    EXPECT_EQ(set_on_disk(2000)[1], "A");
    EXPECT_EQ(set_on_disk(2001)[0], "Local set1");
    EXPECT_EQ(set_on_disk(2001).size(), 21u);
    EXPECT_EQ(all_sets(), (Strings{"Default", "Local set", "Local set1"}));
    EXPECT_TRUE(set_changed);

    by_menu(kItemMacrosSets, {with_set("Local set", kItemMacroSetsUse), done});
    EXPECT_EQ(cset.macroSetID, 2000);
    EXPECT_EQ(menu_text(1), "A");

    // A name that is taken, or none, or one too long: asked again.
    by_menu(kItemMacrosSets,
            {with_set("Local set", kItemMacroSetsRename),
             typed(kItemRenameSetName, "LOCAL SET1", kItemRenameSetOK),
             hit(1), // the message
             typed(kItemRenameSetName, "", kItemRenameSetOK),
             typed(kItemRenameSetName, "LOCAL set", kItemRenameSetOK), done});
    EXPECT_EQ(set_on_disk(2000)[0], "LOCAL set") << "its own, in capitals";
    by_menu(kItemMacrosSets,
            {with_set("LOCAL set", kItemMacroSetsRename),
             typed(kItemRenameSetName, "Zoo", kItemRenameSetOK),
             [](WindowPtr w) { // it is chosen under its new name
                 EXPECT_EQ(hl_item(w, kItemMacroSetsPopUp)->value, 3);
                 EXPECT_EQ(hl_item(w, kItemMacroSetsInUse)->text, "Zoo");
                 hl_hit(w, kItemMacroSetsRename);
             },
             typed(kItemRenameSetName, "No", kItemRenameSetCancel), done});
    EXPECT_EQ(all_sets(), (Strings{"Default", "Local set1", "Zoo"}));

    by_menu(kItemMacrosSets,
            {with_set("Zoo", kItemMacroSetsDelete), hit(2),
             with_set("Zoo", kItemMacroSetsDelete), hit(1), done});
    EXPECT_TRUE(set_on_disk(2000).empty());
    EXPECT_EQ(all_sets(), (Strings{"Default", "Local set1"}));
    EXPECT_EQ(cset.macroSetID, 2000) << "an entry keeps the number";
    EXPECT_EQ(menu_text(1), "A") << "and the menu its items";

    // A connection whose set has gone gets a new one.
    by_menu(kItemMacrosEdit, {ok});
    EXPECT_EQ(set_on_disk(cset.macroSetID)[0], "Local set");
}

TEST_F(Macros, DefaultIsNeverLost)
{
    by_menu(kItemMacrosSets,
            {with_set("Default", kItemMacroSetsRename), hit(1),
             with_set("Default", kItemMacroSetsDelete), hit(1), done});
    EXPECT_EQ(set_on_disk(0)[0], "Default");
    EXPECT_TRUE(told("neither renamed nor deleted"));
}

// Other lists of the book are no macros, also where a record names one.
TEST_F(Macros, OtherListsAreNoSets)
{
    const Strings globals = set_on_disk(kGlobListID);
    cset.macroSetID = kGlobListID;
    by_menu(kItemMacrosEdit, {ok});
    EXPECT_EQ(cset.macroSetID, 2000);
    EXPECT_EQ(set_on_disk(kGlobListID), globals);
}

TEST_F(Macros, NamesAreCutAndSorted)
{
    pstrcpy(ServiceName, PSTR("A name of thirty-one characters"));
    for (int i = 0; i < 12; i++)
        by_menu(kItemMacrosSets, {hit(kItemMacroSetsNew), ok, done});
    EXPECT_EQ(set_on_disk(2000)[0], "A name of thirty-one chara set");
    EXPECT_EQ(set_on_disk(2001)[0], "A name of thirty-one chara set1");
    EXPECT_EQ(set_on_disk(2010)[0], "A name of thirty-one chara set:");

    MenuHandle menu = make_mset_menu();
    while (CountMenuItems(menu))
        DeleteMenuItem(menu, 1);
    EXPECT_EQ(InsMenuSort(menu, PSTR("b")), 0);
    EXPECT_EQ(InsMenuSort(menu, PSTR("C")), 0);
    EXPECT_EQ(InsMenuSort(menu, PSTR("a")), 0);
    EXPECT_EQ(InsMenuSort(menu, PSTR("B")), -1);
    run_ticks(2);
    std::string order;
    for (const HlMenuItem &i : hl_menu(kMenuMacroSets)->items)
        order += i.text;
    EXPECT_EQ(order, "abC");
}
