// The services on real widgets, without a display: what the program calls, with
// a user behind native events.
#include "platform/alerts.h"
#include "platform/appleevents.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/desktop/qtwindows.h"
#include "platform/dialogs.h"
#include "platform/menus.h"
#include "platform/navigation.h"
#include "shell/Quillon.h"
#include "tests/support/sandbox.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
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
