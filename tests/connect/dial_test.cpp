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

namespace {

std::string entry(int16_t index)
{
    Str255 name;
    GetResInfo(ddHdls[index], nullptr, nullptr, name);
    return S(name);
}

Book book_of(const std::vector<std::string> &names)
{
    Book book = plain_book();
    int16_t id = 3001;
    for (const std::string &name : names) {
        book.push_back({FOUR("Dial"), id, name,
                        dial_data([&](cset_t &c) { c.localStrID = id; })});
        book.push_back({FOUR("STR#"), id, "", list_data({name})});
        id++;
    }
    return book;
}

uint8_t *pstring(const char *s)
{
    static Str255 buffer;
    CopyCStringToPascal(s, buffer);
    return buffer;
}

} // namespace

TEST(Directory, IsSortedWithoutCaseAndShownInTheMenu)
{
    make_place();
    write_book(book_of({"zebra", "Alpha", "beta", "Gamma"}));
    start_program();
    ASSERT_EQ(ddCount, 5);
    const char *expected[] = {"Alpha", "beta", "Gamma", "Local", "zebra"};
    for (int16_t i = 0; i < 5; i++)
        EXPECT_EQ(entry(i), expected[i]);
    EXPECT_EQ(defDial, 3);
    EXPECT_EQ(curDialItem, 3);

    const HlMenu *menu = hl_menu(kMenuDial);
    ASSERT_EQ(menu->items.size(), 10u);
    EXPECT_EQ(menu->items[5].text, "Alpha");
    EXPECT_TRUE(menu->items[8].outlined);
    EXPECT_FALSE(menu->items[5].outlined);
    EXPECT_EQ(maxDial, 10);

    bool found;
    for (int16_t i = 0; i < 5; i++) {
        EXPECT_EQ(SearchDial(pstring(expected[i]), &found), i);
        EXPECT_TRUE(found);
    }
    struct row {
        const char *name;
        int16_t place;
        bool found;
    };
    for (const row &r :
         {row{"ALPHA", 0, true}, row{"aaa", 0, false}, row{"axle", 1, false},
          row{"local2", 4, false}, row{"zz", 5, false}}) {
        EXPECT_EQ(SearchDial(pstring(r.name), &found), r.place) << r.name;
        EXPECT_EQ(found, r.found) << r.name;
    }
}

TEST(Directory, IndicesFollowTheirEntries)
{
    make_place();
    write_book(book_of({"b", "d"})); // b, d, Local
    start_program();
    ddCurrent = 1;
    ASSERT_EQ(curDialItem, 2);
    EXPECT_EQ(ddInsList(pstring("D"), ddHdls[0], -1), -1);
    EXPECT_EQ(ddCount, 3);
    Handle c = NewHandleClear(kDialRecLen);
    AddResource(c, FOUR("Dial"), 3100, pstring("c"));
    EXPECT_EQ(ddInsList(pstring("c"), c, -1), noErr);
    EXPECT_EQ(ddCurrent, 2);
    EXPECT_EQ(curDialItem, 3);
    EXPECT_EQ(defDial, 3);
    ddDelFromList(0);
    EXPECT_EQ(ddCurrent, 1);
    EXPECT_EQ(curDialItem, 2);
    EXPECT_TRUE(ddir_ok());
    ddDelFromList(2);
    ddDelFromList(1);
    ddDelFromList(0);
    EXPECT_EQ(ddCount, 1) << "the last one stays";
}

TEST(Directory, AnEntryChosenInTheMenuIsInUse)
{
    make_place();
    Book book = book_of({"Seven"});
    book[5].data = dial_data([](cset_t &c) {
        c.localStrID = 3001;
        c.dataChar = '7';
        c.parityChar = 'E';
        c.baudLong = 9600;
    });
    write_book(book);
    start_program();
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
    const struct {
        const char *what, *heard;
        std::vector<Record> lists;
    } rows[] = {
        {"as shipped", "+++ATH0\r", {}},
        {"by a list of the user's",
         "+++ATH\r",
         {{FOUR("STR#"), 1500, "No Modem",
           list_data({"", "", "", "", "", "", "\xDE+++\xDE", "ATH\r", "",
                      "cCONNECT"})}}},
    };
    for (auto &r : rows) {
        EXPECT_TRUE(apart([&] {
            Book book = plain_book();
            book.insert(book.end(), r.lists.begin(), r.lists.end());
            write_book(book);
            start_program();
            EXPECT_EQ(modem_res, r.lists.empty() ? 1000 : 1500);
            EXPECT_EQ(hl_line_heard(), "") << "nothing is typed at the start";

            hl_answer(2);
            EXPECT_TRUE(hl_choose(kMenuDial, kItemDialHangUp));
            run_ticks(300);
            EXPECT_EQ(hl_line_heard(), "") << "it was cancelled";
            int64_t before = hl_now();
            hl_answer(1);
            EXPECT_TRUE(hl_choose(kMenuDial, kItemDialHangUp));
            run_ticks(300);
            EXPECT_EQ(hl_line_heard(), r.heard);
            EXPECT_GT(hl_now() - before, 2000000) << "without guard times";
        })) << r.what;
    }
}
