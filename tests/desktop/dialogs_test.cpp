// Dialog items: widgets that leave every decision to the program.
#include "tests/desktop/recorder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>

class Dialogs : public Desktop {
protected:
    void SetUp() override
    {
        Desktop::SetUp();
        open(1, BE_DOCUMENT, 400, 200);
        open(2, BE_MODAL, 300, 300, false);
    }
};

TEST_F(Dialogs, BoxesDontToggleThemselves)
{
    EXPECT_EQ(QApplication::activeModalWidget(), desk_window(2)->top);
    item(2, 1, BE_CHECKBOX, "Echo & more", 0);
    item(2, 2, BE_RADIO, "Even", 1);
    auto *box = widget<QCheckBox>(2, 1);
    auto *radio = widget<QRadioButton>(2, 2);
    EXPECT_EQ(box->text(), "Echo && more");
    box->click();
    radio->click();
    EXPECT_EQ(take_heard(), "hit 2 item 1; hit 2 item 2");
    EXPECT_FALSE(box->isChecked());
    EXPECT_TRUE(radio->isChecked());
    be_item_value(2, 1, 1);
    be_item_value(2, 2, 0);
    EXPECT_TRUE(box->isChecked());
    EXPECT_FALSE(radio->isChecked());
    item(2, 3, BE_PROGRESS, "", 40);
    be_item_value(2, 3, 70);
    EXPECT_EQ(widget<QProgressBar>(2, 3)->value(), 70);
    item(2, 4, BE_STATIC, "Price: 5 & more");
    EXPECT_EQ(widget<QLabel>(2, 4)->text(), "Price: 5 & more");
    EXPECT_EQ(take_heard(), "");
}

// A key is the program's first. Only what it hands back reaches the widget.
TEST_F(Dialogs, KeysReachTheirWidgetOnlyWhenHandedOn)
{
    item(2, 1, BE_EDIT, "ab");
    item(2, 2, BE_BUTTON, "OK");
    auto *edit = widget<QLineEdit>(2, 1);
    be_item_focus(2, 1, 2, 2);
    turn();
    heard.clear();

    QTest::keyClick(edit, 'c');
    EXPECT_EQ(take_heard(), "key 2 'c' 08:00 0000 stored");
    EXPECT_EQ(edit->text(), "ab");
    be_key_forward(lastKeyToken);
    EXPECT_EQ(edit->text(), "abc");
    EXPECT_EQ(take_heard(), "text 2 item 1 'abc'");

    // One that isn't handed on is forgotten, and the next is found.
    QTest::keyClick(edit, 'x');
    uint32_t first = lastKeyToken;
    QTest::keyClick(edit, Qt::Key_Backspace);
    be_key_forward(lastKeyToken);
    EXPECT_EQ(edit->text(), "ab");
    be_key_forward(first);
    EXPECT_EQ(edit->text(), "ab");

    QTest::keyClick(edit, Qt::Key_Tab);
    be_key_forward(lastKeyToken);
    turn();
    EXPECT_EQ(desk_window(2)->top->focusWidget(), widget<QPushButton>(2, 2));

    // The stored target counts, not where the focus has gone since.
    QTest::keyClick(edit, 'd');
    uint32_t token = lastKeyToken;
    be_item_focus(2, 2, 0, 0);
    be_key_forward(token);
    EXPECT_EQ(edit->text(), "abd");

    // The space bar's release has gone by when its press comes back.
    heard.clear();
    QTest::keyClick(widget<QPushButton>(2, 2), Qt::Key_Space);
    be_key_forward(lastKeyToken);
    EXPECT_TRUE(was_heard("hit 2 item 2"));

    // A target that is gone takes nothing.
    QTest::keyClick(edit, 'e');
    token = lastKeyToken;
    be_window_dispose(2);
    turn();
    be_key_forward(token);
}

// Return is the default button's, but not while another button has the keys.
TEST_F(Dialogs, ReturnPressesTheButtonThatHasTheKeys)
{
    item(2, 1, BE_BUTTON, "OK");
    item(2, 2, BE_BUTTON, "Cancel");
    item(2, 3, BE_EDIT, "");
    heard.clear();
    QTest::keyClick(widget<QPushButton>(2, 2), Qt::Key_Return);
    EXPECT_EQ(take_heard(), "hit 2 item 2");
    QTest::keyClick(widget<QLineEdit>(2, 3), Qt::Key_Return);
    EXPECT_EQ(take_heard(), "key 2 '' 24:0D 0000 stored");
}

TEST_F(Dialogs, TheFirstFieldHasTheKeys)
{
    be_window_dispose(2);
    open(3, BE_MODAL, 300, 300, false);
    be_window_show(3, false);
    item(3, 1, BE_BUTTON, "OK");
    item(3, 2, BE_STATIC, "Port:");
    item(3, 3, BE_CHECKBOX, "Again");
    be_window_show(3, true);
    EXPECT_EQ(desk_window(3)->top->focusWidget(), widget<QCheckBox>(3, 3));
}

TEST_F(Dialogs, EditItems)
{
    item(2, 1, BE_EDIT, "hello");
    auto *edit = widget<QLineEdit>(2, 1);
    be_item_focus(2, 1, 1, 3);
    EXPECT_EQ(edit->selectedText(), "el");
    be_item_edit(2, BE_COPY);
    EXPECT_STREQ(be_clip_get(false), "el");
    be_item_edit(2, BE_CUT);
    EXPECT_EQ(edit->text(), "hlo");
    be_item_edit(2, BE_PASTE);
    EXPECT_EQ(edit->text(), "hello");
    EXPECT_TRUE(was_heard("text 2 item 1 'hello'"));
    heard.clear();
    be_item_text(2, 1, "new");
    EXPECT_EQ(edit->text(), "new");
    EXPECT_EQ(take_heard(), "") << "the program's own text is no edit";
    be_item_focus(2, 1, 0, 255);
    EXPECT_EQ(edit->selectedText(), "new");

    item(2, 2, BE_PASSWORD, "secret");
    EXPECT_EQ(widget<QLineEdit>(2, 2)->echoMode(), QLineEdit::Password);

    item(2, 3, BE_EDIT, "one\rtwo");
    auto *area = widget<QPlainTextEdit>(2, 3);
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(area->toPlainText(), "one\ntwo");
    EXPECT_FALSE(was_heard("text 2 item 3 'one\ntwo'"));
}

TEST_F(Dialogs, PopUpsShowTheirMenu)
{
    be_menu_item speeds[] = {{"9600", 0, true, false, false, 0},
                             {"-", 0, true, false, false, 0},
                             {"19200", 0, true, false, false, 0}};
    be_menu_set(410, "Speed", true, speeds, 3);
    item(2, 1, BE_POPUP, "", 3, 410);
    auto *box = widget<QComboBox>(2, 1);
    EXPECT_EQ(box->count(), 3);
    EXPECT_EQ(box->currentText(), "19200");

    // Its menu changes under it: the items do, and the choice stays.
    speeds[2].text = "38400";
    be_menu_set(410, "Speed", true, speeds, 3);
    EXPECT_EQ(box->currentText(), "38400");
    heard.clear();
    box->setFocus();
    emit box->activated(0);
    EXPECT_TRUE(was_heard("value 2 item 1 is 1"));
    EXPECT_TRUE(was_heard("hit 2 item 1"));
}

TEST_F(Dialogs, UserItemsShowTheCanvasAndTellTheirPlace)
{
    open(3, BE_MODELESS, 200, 120, true);
    item(3, 1, BE_USER, ""); // at 10,36 to 160,58
    pixels.assign(200 * 120, 0xFF0000);
    pixels[36 * 200 + 10] = 0x00FF00;
    present(3, 200, 120, 0);
    EXPECT_EQ(pixel(3, 10, 36), 0x00FF00u);
    EXPECT_EQ(pixel(3, 159, 57), 0xFF0000u);
    EXPECT_NE(pixel(3, 5, 5), 0xFF0000u) << "not in the box";

    be_window_dispose(2); // the modal one in front
    turn();
    heard.clear();
    QWidget *box = desk_window(3)->items.at(1).widget;
    QPoint at = box->mapToGlobal(QPoint(4, 5));
    QTest::mousePress(box, Qt::LeftButton, {}, {4, 5});
    EXPECT_EQ(take_heard(), "mouse 3 " + std::to_string(at.x()) + "," +
                                std::to_string(at.y()) + " 0000 down");
}

// Steps are the program's: the bar doesn't move before it is told to.
TEST_F(Dialogs, ScrollBarsAskForSteps)
{
    item(1, 1, BE_SCROLLBAR, "", 50);
    be_window_dispose(2);
    turn();
    heard.clear();

    auto *bar = widget<QScrollBar>(1, 1);
    bar->triggerAction(QAbstractSlider::SliderSingleStepSub);
    bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
    EXPECT_EQ(take_heard(), "scroll 1 item 1 part 20 at 50; "
                            "scroll 1 item 1 part 23 at 50");
    EXPECT_EQ(bar->value(), 50);
    bar->setSliderPosition(70); // as a drag of the thumb does
    EXPECT_EQ(take_heard(), "scroll 1 item 1 part 129 at 70");
    QTest::mouseRelease(bar, Qt::LeftButton);
    EXPECT_EQ(take_heard(), "scroll 1 item 1 part 0 at 70");
    be_item_value(1, 1, 20);
    EXPECT_EQ(bar->value(), 20);
    EXPECT_EQ(take_heard(), "");
}
