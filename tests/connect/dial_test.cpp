// The sorted list of connections, and what the modem gets.
#include "connect/DialDir.h"

#include <gtest/gtest.h>

#include "connect/Dial.h"
#include "connect/PhoneBook.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"

// The program on a book with entries 3001, 3002... besides "Local".
static void start_with(const std::vector<const char *> &names,
                       const std::string &fields = "")
{
    make_place();
    Book book = plain_book();
    for (int16_t id = 3001; const char *name : names) {
        std::string own = "localStrID=" + std::to_string(id) + " " + fields;
        book.push_back({FOUR("Dial"), id, name, with(dial_data(), own)});
        book.push_back({FOUR("STR#"), id++, "", list_text(name)});
    }
    write_book(book);
    start_program();
}

TEST(Directory, IsSortedWithoutCaseAndShownInTheMenu)
{
    start_with({"zebra", "Alpha", "beta", "Gamma"});
    ASSERT_EQ(ddCount, 5);
    EXPECT_EQ(defDial, 3);
    EXPECT_EQ(curDialItem, 3);
    const HlMenu *menu = hl_menu(kMenuDial);
    ASSERT_EQ(menu->items.size(), 10u);
    EXPECT_EQ(menu->items[5].text, "Alpha");
    EXPECT_TRUE(menu->items[8].outlined);
    EXPECT_FALSE(menu->items[5].outlined);
    EXPECT_EQ(maxDial, 10);

    const struct {
        const char *name;
        int16_t place;
        bool found;
    } rows[] = {
        {"Alpha", 0, true}, {"beta", 1, true},  {"Gamma", 2, true},
        {"Local", 3, true}, {"zebra", 4, true}, {"ALPHA", 0, true},
        {"aaa", 0, false},  {"axle", 1, false}, {"local2", 4, false},
        {"zz", 5, false},
    };
    for (auto &r : rows) {
        bool found;
        EXPECT_EQ(SearchDial(P(r.name), &found), r.place) << r.name;
        EXPECT_EQ(found, r.found) << r.name;
    }
}

TEST(Directory, IndicesFollowTheirEntries)
{
    start_with({"b", "d"}); // b, d, Local
    ddCurrent = 1;
    ASSERT_EQ(curDialItem, 2);
    EXPECT_EQ(ddInsList(P("D"), ddHdls[0], -1), -1);
    EXPECT_EQ(ddCount, 3);
    Handle c = NewHandleClear(kDialRecLen);
    AddResource(c, FOUR("Dial"), 3100, P("c"));
    EXPECT_EQ(ddInsList(P("c"), c, -1), noErr);
    EXPECT_EQ(ddCurrent, 2);
    EXPECT_EQ(curDialItem, 3);
    EXPECT_EQ(defDial, 3);
    ddDelFromList(0);
    EXPECT_EQ(ddCurrent, 1);
    EXPECT_EQ(curDialItem, 2);
    EXPECT_TRUE(ddir_ok());
    for (int16_t i : {2, 1, 0})
        ddDelFromList(i);
    EXPECT_EQ(ddCount, 1) << "the last one stays";
}

TEST(Directory, AnEntryChosenInTheMenuIsInUse)
{
    start_with({"Seven"}, "dataChar='7' parityChar='E' baudLong=9600");
    EXPECT_TRUE(hl_choose(kMenuDial, 7)); // Seven, behind Local
    run_ticks(10);
    EXPECT_EQ(curDialItem, 1);
    EXPECT_EQ(cset.dataChar, '7');
    EXPECT_EQ(GetBaudFromSetup(), 9600u);
    EXPECT_EQ(local(1), "Seven");
    EXPECT_EQ(hl_window_titles().at(0), "Seven");
    // With Shift it is marked, and nothing else happens.
    EXPECT_TRUE(hl_choose(kMenuDial, 6, shiftKey));
    hl_modifiers(shiftKey);
    run_ticks(10);
    hl_modifiers(0);
    EXPECT_TRUE(hl_menu(kMenuDial)->items[5].checked);
    EXPECT_EQ(GetItemMark(DialMenu, 6), 19);
    EXPECT_EQ(curDialItem, 1);
}

TEST(Modem, HangsUpAsTheListSaysAndAsks)
{
    // A list of the user's, or the one as shipped.
    for (bool own : {false, true}) {
        EXPECT_TRUE(apart([&] {
            Book book = plain_book();
            if (own)
                book.push_back(
                    {FOUR("STR#"), 1500, "No Modem",
                     list_text("||||||\xDE+++\xDE|ATH\r||cCONNECT")});
            write_book(book);
            start_program();
            EXPECT_EQ(modem_res, own ? 1500 : 1000);
            EXPECT_EQ(hl_line_heard(), "") << "nothing is typed at the start";

            hl_answer(2);
            EXPECT_TRUE(hl_choose(kMenuDial, kItemDialHangUp));
            run_ticks(300);
            EXPECT_EQ(hl_line_heard(), "") << "it was cancelled";
            int64_t before = hl_now();
            hl_answer(1);
            EXPECT_TRUE(hl_choose(kMenuDial, kItemDialHangUp));
            run_ticks(300);
            EXPECT_EQ(hl_line_heard(), own ? "+++ATH\r" : "+++ATH0\r");
            EXPECT_GT(hl_now() - before, 2000000) << "without guard times";
        })) << (own ? "a list of the user's" : "as shipped");
    }
}
