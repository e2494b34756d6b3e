// The services on real widgets, without a display: what the program calls, with
// a user behind native events.
#include "platform/alerts.h"
#include "platform/appleevents.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/desktop/qtwindows.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/menus.h"
#include "platform/navigation.h"
#include "platform/regions.h"
#include "platform/resources.h"
#include "platform/scrap.h"
#include "shell/Quillon.h"
#include "tests/support/sandbox.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QScrollBar>
#include <QTimer>
#include <QtTest/QTest>

#include <csignal>

// The toolkit keeps some of its own for the life of a process.
extern "C" const char *__asan_default_options()
{
    return "detect_leaks=0";
}

class OnWidgets : public testing::Test {
protected:
    Sandbox home; // an account without files

    void SetUp() override
    {
        static char program[] = "test";
        static char *argv[] = {program, nullptr};
        static int argc = 1;
        const char *why = "";

        ASSERT_TRUE(be_start(&argc, argv, &why)) << why;
    }
    void TearDown() override { be_stop(); }

    template <class Widget> Widget *item(WindowPtr w, int number)
    {
        QWidget *found = desk_window(window_id(w))->items.at(number).widget;
        return dynamic_cast<Widget *>(found);
    }
    QWidget *content(WindowPtr w) { return desk_window(window_id(w))->content; }

    // The user does something while the program waits.
    static void soon(std::function<void()> act, int milliseconds = 30)
    {
        QTimer::singleShot(milliseconds, act);
    }
    // A press in the content, let go a little later: a tracking loop runs
    // between.
    static void click(QWidget *at, QPoint where, int hold = 60)
    {
        QTest::mousePress(at, Qt::LeftButton, {}, where);
        soon(
            [held = QPointer<QWidget>(at), where] {
                if (held) // the press may have closed its dialog
                    QTest::mouseRelease(held, Qt::LeftButton, {}, where);
            },
            hold);
    }
};

// Every way to answer a modal dialog, each by its native act.
TEST_F(OnWidgets, ModalDialogsAreAnswered)
{
    WindowPtr main = ui_window();
    struct {
        const char *act;
        std::function<void(DialogPtr)> user;
        int item;
    } rows[] = {
        {"button", [&](DialogPtr d) { item<QAbstractButton>(d, 2)->click(); },
         2},
        {"Return",
         [&](DialogPtr d) {
             QTest::keyClick(item<QLineEdit>(d, 3), Qt::Key_Return);
         },
         1},
        {"Escape",
         [&](DialogPtr d) {
             QTest::keyClick(item<QLineEdit>(d, 3), Qt::Key_Escape);
         },
         2},
        {"close box",
         [&](DialogPtr d) { desk_window(window_id(d))->top->close(); }, 2},
        {"user item",
         [&](DialogPtr d) {
             click(item<QWidget>(d, 5), {5, 5});
         },
         5},
        {"check box",
         [&](DialogPtr d) { item<QAbstractButton>(d, 4)->click(); }, 4},
    };

    for (auto &row : rows) {
        SCOPED_TRACE(row.act);
        DialogPtr d = ui_dialog(BE_MODAL);
        int16_t hit = 0;
        ShowWindow(d);
        soon([&] { row.user(d); });
        ModalDialog(nullptr, &hit);
        EXPECT_EQ(hit, row.item);
        EXPECT_EQ(GetDialogItemValue(d, 4), 0) << "the program sets its boxes";
        DisposeDialog(d);
    }
    DisposeWindow(main);
}

// What is open when the end is asked for goes as if it had been cancelled.
TEST_F(OnWidgets, ASignalPutsAwayWhatIsOpen)
{
    WindowPtr main = ui_window();
    DialogPtr d = ui_dialog(BE_MODAL);
    MenuHandle speeds = NewMenu(410, PSTR("Speed"));
    int16_t hit = 0;

    AppendMenu(speeds, PSTR("300"));
    AppendMenu(speeds, PSTR("1200"));
    ShowWindow(d);
    soon([] { raise(SIGTERM); });
    ModalDialog(nullptr, &hit);
    EXPECT_EQ(hit, 2);
    EXPECT_TRUE(QuitIsWaiting());
    DisposeDialog(d);
    EXPECT_EQ(NavAskSaveChanges(PSTR("Local")), int(kNavCancel));
    EXPECT_EQ(PopUpMenuSelect(speeds, 250, 150, 1), 0);
    DisposeWindow(main);
}

TEST_F(OnWidgets, TypedTextReachesTheDialog)
{
    DialogPtr d = ui_dialog(BE_MODELESS);
    ShowWindow(d);
    SelectWindow(d);
    auto *edit = item<QLineEdit>(d, 3);
    EventRecord e;
    DialogPtr hit;
    int16_t number;
    int keys = 0;

    soon([edit] { QTest::keyClicks(edit, "xyz"); });
    int64_t end = be_now_us() + 3000000;
    while (keys < 3 && be_now_us() < end) {
        if (!WaitNextEvent(everyEvent, &e, 5, nullptr))
            continue;
        if (e.what == keyDown && IsDialogEvent(&e)) {
            keys++;
            if ((e.message & 0xFF) == 'y')
                continue; // the program keeps this one
        }
        if (IsDialogEvent(&e))
            (void)DialogSelect(&e, &hit, &number);
    }
    EXPECT_EQ(ui_text(d, 3), "xz");
    EXPECT_EQ(edit->text(), "xz");
    SetDialogItemText(d, 3, PSTR("caf\x8E"));
    EXPECT_EQ(edit->text(), QStringLiteral("café"));
    DisposeDialog(d);
}

// An alert above a dialog above the terminal, and an event pass inside the
// filter of the dialog: what is nested ends in its own time.
TEST_F(OnWidgets, WaitsNest)
{
    static int passes;
    WindowPtr main = ui_window();
    DialogPtr d = ui_dialog(BE_MODAL);
    int16_t hit = 0;

    passes = 0;
    ShowWindow(d);
    soon([&] { item<QAbstractButton>(d, 4)->click(); });
    ModalDialog(
        [](DialogPtr, EventRecord *, int16_t *) {
            EventRecord inner;
            (void)WaitNextEvent(1 << updateEvt, &inner, 0, nullptr);
            passes++;
            return false;
        },
        &hit);
    EXPECT_EQ(hit, 4);
    EXPECT_GT(passes, 0);

    soon([] {
        QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape);
    });
    EXPECT_EQ(Alert(315), 2);
    soon([] {
        QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Return);
    });
    EXPECT_EQ(Alert(315), 1);

    // Disposed of while its own click is still being told.
    soon([&] { item<QAbstractButton>(d, 1)->click(); });
    ModalDialog(nullptr, &hit);
    DisposeDialog(d);
    DisposeWindow(main);
    Delay(3, nullptr);
    EXPECT_TRUE(QApplication::topLevelWidgets().isEmpty());
}

TEST_F(OnWidgets, WhatIsDrawnIsShown)
{
    WindowPtr main = ui_window();
    ui_settle();
    RGBColor red = {0xFFFF, 0, 0};
    Rect box = {20, 30, 60, 90};

    SetPort(main);
    RGBForeColor(&red);
    PaintRect(&box);
    MoveTo(40, 120);
    DrawString(PSTR("Quillon"));
    // A frame: one region less another.
    RgnHandle frame = NewRgn(), hole = NewRgn();
    SetRectRgn(frame, 150, 20, 250, 80);
    SetRectRgn(hole, 170, 40, 230, 60);
    DiffRgn(frame, hole, frame);
    PaintRgn(frame);
    DisposeRgn(frame);
    DisposeRgn(hole);
    draw_present(true);
    QImage shown = content(main)->grab().toImage();
    EXPECT_EQ(shown.pixel(155, 50) & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(shown.pixel(200, 50) & 0xFFFFFF, 0xFFFFFFu);
    EXPECT_EQ(shown.pixel(30, 20) & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(shown.pixel(90, 60) & 0xFFFFFF, 0xFFFFFFu);
    int differing = 0;
    for (int v = 0; v < 200; v++)
        for (int h = 0; h < 300; h++)
            differing += (shown.pixel(h, v) & 0xFFFFFF) !=
                         draw_pixel(main, int16_t(h), int16_t(v));
    EXPECT_EQ(differing, 0);

    // Scrolled pixels come along, and what they uncover is bare.
    box = {0, 0, 200, 300};
    ScrollRect(&box, 0, 50, nullptr);
    draw_present(true);
    shown = content(main)->grab().toImage();
    EXPECT_EQ(shown.pixel(30, 70) & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(shown.pixel(30, 20) & 0xFFFFFF, 0xFFFFFFu);
    DisposeWindow(main);
}

TEST_F(OnWidgets, UserItemsAreDrawnByTheProgram)
{
    DialogPtr d = ui_dialog(BE_MODELESS);
    SetDialogItemProc(d, 5, [](DialogPtr dialog, int16_t number) {
        int16_t kind;
        Rect box;
        RGBColor blue = {0, 0, 0xFFFF};
        GetDialogItem(dialog, number, &kind, &box);
        RGBForeColor(&blue);
        PaintRect(&box);
    });
    ShowWindow(d);
    DrawDialog(d);
    draw_present(true);
    QImage shown = content(d)->grab().toImage();
    EXPECT_EQ(shown.pixel(50, 90) & 0xFFFFFF, 0x0000FFu);
    EXPECT_NE(shown.pixel(150, 90) & 0xFFFFFF, 0x0000FFu);
    DisposeDialog(d);
}

static int steps;

// The bar's arrow is held: one step for each repeat, to the program's own
// width, and the end when it is let go.
TEST_F(OnWidgets, ScrollBarsAreTracked)
{
    WindowPtr main = ui_window();
    Rect box = {0, 284, 200, 300};
    ControlHandle bar =
        NewControl(main, &box, PSTR(""), true, 50, 0, 100, 386, 0);
    QScrollBar *native = nullptr;
    EventRecord e;
    ControlHandle found;
    int16_t part = 0;

    ui_settle();
    for (auto &[number, i] : desk_window(window_id(main))->items)
        native = dynamic_cast<QScrollBar *>(i.widget.data());
    ASSERT_NE(native, nullptr);
    EXPECT_EQ(native->value(), 50);
    steps = 0;
    soon([native] { click(native, {8, native->height() - 4}, 700); });
    int64_t end = be_now_us() + 3000000;
    while (!part && be_now_us() < end) {
        if (!WaitNextEvent(everyEvent, &e, 5, nullptr) || e.what != mouseDown)
            continue;
        part = FindControl(&e, main, &found);
    }
    ASSERT_EQ(part, inDownButton);
    ASSERT_EQ(found, bar);
    TrackControl(bar, &e, [](ControlHandle c, int16_t p) {
        if (p != inDownButton)
            return;
        steps++;
        SetControlValue(c, int16_t(GetControlValue(c) + 3));
    });
    EXPECT_GT(steps, 1) << "it repeats while it is held";
    EXPECT_EQ(GetControlValue(bar), 50 + 3 * steps);
    EXPECT_EQ(native->value(), 50 + 3 * steps);
    DisposeWindow(main);
}

TEST_F(OnWidgets, MenusChoose)
{
    static int opened;
    WindowPtr main = ui_window();
    EventRecord e;
    int32_t choice = 0;

    opened = 0;
    SetMenuBarFromResource(301);
    DrawMenuBar();
    SetMenuWillOpenProc([] {
        opened++;
        EnableMenuItem(GetMenuHandle(300), 9);
    });
    ui_settle();
    QMenuBar *bar = desk_window(window_id(main))->bar;
    ASSERT_EQ(bar->actions().size(), 7);
    QMenu *edit = bar->actions().at(2)->menu<QMenu *>();
    soon([bar] {
        QTest::mouseClick(bar, Qt::LeftButton, {},
                          bar->actionGeometry(bar->actions().at(2)).center());
    });
    soon(
        [edit] {
            QTest::mouseClick(
                edit, Qt::LeftButton, {},
                edit->actionGeometry(edit->actions().at(8)).center());
        },
        150);
    int64_t end = be_now_us() + 3000000;
    while (!choice && be_now_us() < end)
        if (WaitNextEvent(everyEvent, &e, 5, nullptr) && e.what == mouseDown &&
            e.part == inMenuBar)
            choice = MenuSelect(&e);
    EXPECT_EQ(choice, 300 << 16 | 9);
    EXPECT_EQ(opened, 1);

    MenuHandle speeds = GetMenu(410);
    InsertMenu(speeds, -1);
    soon([] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        QTest::mouseClick(menu, Qt::LeftButton, {},
                          menu->actionGeometry(menu->actions().at(2)).center());
    });
    EXPECT_EQ(PopUpMenuSelect(speeds, 250, 150, 1), 410 << 16 | 3);
    soon([] {
        QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
    });
    EXPECT_EQ(PopUpMenuSelect(speeds, 250, 150, 1), 0);
    DisposeWindow(main);
}

TEST_F(OnWidgets, ClipboardGoesBothWays)
{
    const char text[] = "caf\x8E\rtwo";
    int32_t size = 0;
    char back[50] = {};

    ClearCurrentScrap();
    EXPECT_EQ(PutScrapFlavor(FOUR("TEXT"), sizeof text - 1, text), noErr);
    EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("café\ntwo"));
    QApplication::clipboard()->setText(QStringLiteral("é\nb"));
    ASSERT_EQ(GetScrapFlavorSize(FOUR("TEXT"), &size), noErr);
    ASSERT_EQ(size, 3);
    ASSERT_EQ(GetScrapFlavorData(FOUR("TEXT"), &size, back), noErr);
    EXPECT_STREQ(back, "\x8E\rb");
}

// ---- the whole program -----------------------------------------------------

// Agrees to whatever stands in the way: the port dialog takes the demo host.
static void answer_questions()
{
    QWidget *dialog = QApplication::activeModalWidget();
    if (!dialog || !dialog->isVisible())
        return;
    if (auto *box = dialog->findChild<QComboBox *>()) {
        box->setCurrentIndex(box->count() - 1);
        emit box->activated(box->count() - 1);
    }
    QTest::keyClick(dialog, Qt::Key_Return);
}

// From an empty account to its window, through keys and a resize, to its end
// by the close box: the loop never stops and the book is kept.
TEST_F(OnWidgets, TheProgramRuns)
{
    QTimer user;
    int step = 0;
    QImage shown;

    QObject::connect(&user, &QTimer::timeout, [&] {
        DeskWindow *w = desk_document();
        if (!w || !w->top->isVisible() || QApplication::activeModalWidget()) {
            answer_questions();
            return;
        }
        switch (step++) {
        case 2:
            QTest::keyClicks(w->content, "AT");
            QTest::keyClick(w->content, Qt::Key_Return);
            break;
        case 6:
            w->top->resize(w->top->width() + 40, w->top->height() + 60);
            break;
        case 10:
            shown = w->content->grab().toImage();
            break;
        case 11:
        case 21: // a question may have taken the first one's place
            w->top->close();
            break;
        default:
            break;
        }
    });
    user.start(100);
    ae_queue_start(nullptr, 0);
    EXPECT_EQ(QuillonMain(), 0);
    user.stop();
    ASSERT_FALSE(shown.isNull());
    QSet<QRgb> colors;
    for (int v = 0; v < shown.height(); v += 1)
        for (int h = 0; h < shown.width() - 20; h += 1)
            colors.insert(shown.pixel(h, v));
    EXPECT_GT(colors.size(), 2) << "something is written on the screen";
    EXPECT_TRUE(
        std::filesystem::exists(home.root / ".config/quillon/phonebook.qpho"));
}
