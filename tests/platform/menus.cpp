// Menus: the model, what the desktop is told, and the choices.
#include "platform/menus.h"

#include "platform/clock.h"
#include "platform/events.h"
#include "platform/windows.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

// File (10) and Edit (11) in the bar, By (20) beside it.
struct Menus : testing::Test {
    MenuHandle file, edit, sub;

    void SetUp() override
    {
        (void)ui_window();
        file = NewMenu(10, PSTR("File"));
        AppendMenu(file, PSTR("Open"));
        AppendMenu(file, PSTR("-"));
        AppendMenu(file, PSTR("By"));
        edit = NewMenu(11, PSTR("Edit"));
        AppendMenu(edit, PSTR("Caf\x8E;(literal"));
        sub = NewMenu(20, PSTR("By"));
        AppendMenu(sub, PSTR("One"));
        AppendMenu(sub, PSTR("Two"));
        InsertMenu(file, 0);
        InsertMenu(edit, 0);
        InsertMenu(sub, -1);
        SetItemCmd(file, 1, 'O');
        SetItemCmd(sub, 2, '2');
        DrawMenuBar();
        ui_settle();
    }
};

TEST_F(Menus, TheDesktopIsToldBeforeTheNextWait)
{
    EventRecord e;

    EXPECT_EQ(hl_menu_bar(), (std::vector<int32_t>{10, 11}));
    EXPECT_EQ(hl_menu(11)->items[0].text, "Caf\xC3\xA9;(literal");
    CheckMenuItem(file, 1, true);
    SetItemStyle(file, 1, 8);
    DisableMenuItem(edit, 0);
    InsertMenuItem(file, PSTR("First"), 0);
    DeleteMenuItem(sub, 1);
    SetItemMark(sub, 1, 19);
    (void)WaitNextEvent(everyEvent, &e, 1, nullptr);
    EXPECT_EQ(hl_menu(10)->items[0].text, "First");
    EXPECT_TRUE(hl_menu(10)->items[1].checked);
    EXPECT_TRUE(hl_menu(10)->items[1].outlined);
    EXPECT_FALSE(hl_menu(11)->enabled);
    EXPECT_TRUE(hl_menu(20)->items[0].checked);
    EXPECT_EQ(CountMenuItems(file), 4);
}

static MenuHandle dimmedAtOpening;

TEST_F(Menus, AChoiceIsAPressInTheBar)
{
    EventRecord e;
    WindowPtr w;

    InsertMenu(GetMenu(290), 0);
    ASSERT_TRUE(hl_choose(217, 2, optionKey)); // beside an item of 290
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    ASSERT_EQ(FindWindow(&e, &w), inMenuBar);
    EXPECT_EQ(w, nullptr);
    EXPECT_EQ(MenuSelect(&e), 217 << 16 | 2);
    EXPECT_EQ(hl_menu_hilited(), 290); // the title it hangs under
    // The keys held at the choice count, though they are up by now.
    EventRecord fresh;
    EXPECT_FALSE(EventAvail(1 << mouseUp, &fresh));
    EXPECT_EQ(fresh.modifiers & optionKey, optionKey);
    HiliteMenu(0);
    EXPECT_EQ(hl_menu_hilited(), 0);
    (void)WaitNextEvent(everyEvent, &e, 0, nullptr);
    (void)EventAvail(1 << mouseUp, &fresh);
    EXPECT_EQ(fresh.modifiers & optionKey, 0);

    // Opening brings the items up to date first.
    dimmedAtOpening = file;
    SetMenuWillOpenProc([] { DisableMenuItem(dimmedAtOpening, 1); });
    EXPECT_FALSE(hl_choose(10, 1));
    // Dimmed between the choice and its event.
    SetMenuWillOpenProc([] { EnableMenuItem(dimmedAtOpening, 1); });
    ASSERT_TRUE(hl_choose(10, 1));
    DisableMenuItem(file, 1);
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_EQ(MenuSelect(&e), 0);
}

TEST_F(Menus, CommandKeysFindEnabledItemsInBarAndSubmenus)
{
    EXPECT_EQ(MenuKey('o'), 10 << 16 | 1);
    EXPECT_EQ(hl_menu_hilited(), 10);
    EXPECT_EQ(MenuKey('2'), 20 << 16 | 2);
    EXPECT_EQ(MenuKey('x'), 0);
    DisableMenuItem(file, 1);
    EXPECT_EQ(MenuKey('O'), 0);
    DeleteMenu(20);
    EXPECT_EQ(MenuKey('2'), 0);
}

TEST_F(Menus, APopUpWaitsForItsChoice)
{
    MenuHandle other = NewMenu(20, PSTR("Other")); // the same number
    AppendMenu(other, PSTR("A"));
    AppendMenu(other, PSTR("B"));

    hl_popup_choice(2);
    EXPECT_EQ(PopUpMenuSelect(other, 10, 30, 2), 20 << 16 | 2);
    EXPECT_EQ(hl_popup().h, 30);
    EXPECT_EQ(hl_popup().v, 10);
    EXPECT_EQ(hl_popup().item, 2);
    EXPECT_EQ(hl_menu(20)->items[1].text, "B");
    EXPECT_EQ(PopUpMenuSelect(other, 10, 20, 1), 0); // let go
    DisableMenuItem(other, 1);
    hl_popup_choice(1);
    EXPECT_EQ(PopUpMenuSelect(other, 10, 20, 1), 0);
    // The first menu of that number comes back when the other one goes.
    DisposeMenu(other);
    EventRecord e;
    (void)WaitNextEvent(everyEvent, &e, 1, nullptr);
    EXPECT_EQ(hl_menu(20)->items[1].text, "Two");
    EXPECT_EQ(MenuKey('2'), 20 << 16 | 2);
}
