// The menu bar and pop-ups: open menus stop nothing, and a choice is told once.
#include "tests/desktop/recorder.h"

#include <QMenu>
#include <QMenuBar>

class Menus : public Desktop {
protected:
    void SetUp() override
    {
        Desktop::SetUp();
        onMenuWillOpen = nullptr;
        open(1, BE_DOCUMENT, 400, 200);
        be_menu_item edit[] = {
            {"Cut", 'X', false, false, false, 0},
            {"-", 0, true, false, false, 0},
            {"Cut & Run", 'C', true, true, false, 0},
            {"More", 0, true, false, false, 217},
        };
        be_menu_item more[] = {{"XMODEM", 0, true, false, true, 0}};
        int32_t bar[] = {290, 300};
        be_menu_set(290, "File", true, edit, 1);
        be_menu_set(300, "Edit", true, edit, 4);
        be_menu_set(217, "Send", true, more, 1);
        be_menu_bar(bar, 2);
        turn();
        heard.clear();
    }
    QList<QAction *> titles() { return desk_window(1)->bar->actions(); }
    QMenu *edit() { return titles().at(1)->menu<QMenu *>(); }
};

TEST_F(Menus, ShowTheirItems)
{
    ASSERT_EQ(titles().size(), 2);
    QList<QAction *> items = edit()->actions();
    ASSERT_EQ(items.size(), 4);
    EXPECT_FALSE(items[0]->isEnabled());
    EXPECT_TRUE(items[1]->isSeparator());
    EXPECT_EQ(items[2]->text(), "Cut && Run\tAlt+C") << "no mnemonic";
    EXPECT_TRUE(items[2]->isChecked());
    EXPECT_TRUE(items[2]->shortcut().isEmpty());
    ASSERT_NE(items[3]->menu<QMenu *>(), nullptr);
    EXPECT_TRUE(items[3]->menu<QMenu *>()->actions()[0]->font().bold());
}

TEST_F(Menus, ChoiceIsToldAndMarksAreLeftAlone)
{
    edit()->actions()[2]->trigger();
    EXPECT_EQ(take_heard(), "menu 300 item 3");
    EXPECT_TRUE(edit()->actions()[2]->isChecked());
    edit()->actions()[3]->menu<QMenu *>()->actions()[0]->trigger();
    EXPECT_EQ(take_heard(), "menu 217 item 1");
}

// The program brings its items up to date in the very moment, and goes on
// while the menu is open.
TEST_F(Menus, OpenWithoutStopping)
{
    onMenuWillOpen = [] {
        be_menu_item now[] = {{"Undo", 'Z', true, false, false, 0},
                              {"Redo", 0, true, false, false, 0}};
        be_menu_set(300, "Edit", true, now, 2);
    };
    QMenuBar *bar = desk_window(1)->bar;
    QTest::mousePress(bar, Qt::LeftButton, {},
                      bar->actionGeometry(titles()[1]).center());
    turn();
    EXPECT_TRUE(was_heard("menu will open"));
    ASSERT_EQ(QApplication::activePopupWidget(), edit());
    EXPECT_EQ(edit()->actions().size(), 2);
    EXPECT_EQ(edit()->actions()[0]->text(), "Undo\tAlt+Z");
    heard.clear();
    EXPECT_EQ(be_wait(be_now_us() + 30000, -1, false, false), 0u)
        << "the wait still ends by its deadline";

    // An item that changes while its menu is open.
    be_menu_item later[] = {{"Undo", 'Z', false, false, false, 0},
                            {"Redo", 0, true, false, false, 0}};
    be_menu_set(300, "Edit", true, later, 2);
    EXPECT_FALSE(edit()->actions()[0]->isEnabled());
    QTest::keyClick(edit(), Qt::Key_Escape);
    turn();
    EXPECT_FALSE(edit()->isVisible());
}

TEST_F(Menus, PopUpsTellTheirEnd)
{
    be_menu_popup(217, 200, 200, 1);
    turn();
    auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    menu->close();
    turn();
    EXPECT_EQ(take_heard(), "popup 217 item 0");

    be_menu_popup(217, 200, 200, 1);
    turn();
    QTest::mouseClick(menu, Qt::LeftButton, {},
                      menu->actionGeometry(menu->actions()[0]).center());
    turn();
    EXPECT_EQ(take_heard(), "popup 217 item 1");

    // One without items doesn't open, and that is an end, too.
    be_menu_set(218, "None", true, nullptr, 0);
    be_menu_popup(218, 200, 200, 0);
    turn();
    EXPECT_EQ(take_heard(), "popup 218 item 0");
}

TEST_F(Menus, HilitedTitleLooksPressed)
{
    QMenuBar *bar = desk_window(1)->bar;
    auto title = [&] {
        turn();
        return bar->grab(bar->actionGeometry(titles()[1])).toImage();
    };
    QImage plain = title();
    be_menu_hilite(300);
    EXPECT_NE(title(), plain);
    be_menu_hilite(0);
    EXPECT_EQ(title(), plain);
}
