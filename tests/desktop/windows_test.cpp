// Windows: what is shown is what the core drew, and what the user does to a
// window is told once, when it is done.
#include "tests/desktop/recorder.h"

#include <QMenuBar>
#include <QMimeData>
#include <QUrl>

using Windows = Desktop;

TEST_F(Windows, ShowWhatTheCoreDrew)
{
    open(1, BE_DOCUMENT, 300, 200);
    EXPECT_EQ(content(1)->size(), QSize(300, 200));
    EXPECT_EQ(pixel(1, 5, 5), 0xFFFFFFu); // nothing drawn yet
    present(1, 300, 200, 0x123456);
    EXPECT_EQ(pixel(1, 0, 0), 0x123456u);
    EXPECT_EQ(pixel(1, 299, 199), 0x123456u);

    // The pixels stay the core's: a later change shows at the next expose.
    pixels[0] = 0x654321;
    EXPECT_EQ(pixel(1, 0, 0), 0x654321u);
    EXPECT_EQ(pixel(1, 1, 0), 0x123456u);
}

TEST_F(Windows, ResizeIsToldOnceAndAtTheEnd)
{
    open(1, BE_DOCUMENT, 300, 200);
    present(1, 300, 200, 0x102030);
    int bar = desk_window(1)->bar->height();
    for (int width : {310, 330, 350}) {
        desk_window(1)->top->resize(width, 220 + bar);
        turn(20);
    }
    EXPECT_FALSE(was_heard("resized 1 310x220"));
    EXPECT_EQ(pixel(1, 349, 219), 0x102030u)
        << "the corner's colour, meanwhile";
    EXPECT_TRUE(turn_until("resized 1 350x220"));
    EXPECT_FALSE(was_heard("resized 1 330x220"));

    be_window_limits(1, 120, 80, 600, 400); // of the content
    EXPECT_EQ(desk_window(1)->top->minimumSize(), QSize(120, 80 + bar));
    EXPECT_EQ(desk_window(1)->top->maximumSize(), QSize(600, 400 + bar));

    // What the program asks for itself is no news.
    heard.clear();
    be_rect wanted = {100, 120, 500, 420};
    be_window_bounds(1, &wanted);
    turn(300);
    EXPECT_EQ(content(1)->size(), QSize(400, 300));
    EXPECT_EQ(take_heard(), "");
}

TEST_F(Windows, ZoomIsToldWithItsPlaceAndNoResize)
{
    open(1, BE_DOCUMENT, 300, 200);
    desk_window(1)->top->setWindowState(Qt::WindowMaximized);
    if (!turn_until("zoom 1 1", 1000))
        GTEST_SKIP() << "no window manager";
    EXPECT_EQ(take_heard(), "zoom 1 1");

    // A size asked for while the desktop decides is answered by the true one.
    QSize full = content(1)->size();
    be_rect wanted = {0, 0, 310, 210};
    be_window_bounds(1, &wanted);
    EXPECT_TRUE(turn_until("resized 1 " + std::to_string(full.width()) + "x" +
                           std::to_string(full.height())));
}

TEST_F(Windows, CloseIsAWish)
{
    open(1, BE_DOCUMENT, 300, 200);
    open(2, BE_MODELESS, 200, 100, false);
    desk_window(2)->top->close();
    EXPECT_EQ(take_heard(), "close 2");
    EXPECT_TRUE(desk_window(2)->top->isVisible());
    desk_window(1)->top->close();
    EXPECT_EQ(take_heard(), "quit");
    EXPECT_TRUE(desk_window(1)->top->isVisible());
}

TEST_F(Windows, MouseInTheContent)
{
    open(1, BE_DOCUMENT, 300, 200);
    QPoint corner = content(1)->mapToGlobal(QPoint(0, 0));
    auto at = [&](int h, int v) {
        return std::to_string(corner.x() + h) + "," +
               std::to_string(corner.y() + v);
    };
    // Where the pointer is, and what is held.
    auto state = [&] {
        be_mouse now;
        be_mouse_state(&now);
        return std::to_string(now.h) + "," + std::to_string(now.v) +
               (now.modifiers == cmdKey ? " command" : "") +
               (now.down ? " down" : "");
    };

    QTest::mousePress(content(1), Qt::LeftButton, Qt::ControlModifier, {7, 9});
    EXPECT_EQ(take_heard(), "mouse 1 " + at(7, 9) + " 0100 down")
        << "Ctrl+click is a Command-click";
    EXPECT_EQ(state(), at(7, 9) + " command down");

    QMouseEvent move(QEvent::MouseMove, QPointF(20, 30),
                     QPointF(corner + QPoint(20, 30)), Qt::NoButton,
                     Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(content(1), &move);
    EXPECT_EQ(state(), at(20, 30) + " down");
    QTest::mouseRelease(content(1), Qt::LeftButton, Qt::NoModifier, {20, 30});
    EXPECT_EQ(state(), at(20, 30));
    take_heard();
    QTest::mouseClick(content(1), Qt::MiddleButton);
    EXPECT_EQ(take_heard(), "middle 1");
}

TEST_F(Windows, WheelTurnsLines)
{
    open(1, BE_DOCUMENT, 300, 200);
    int lines = QApplication::wheelScrollLines();
    auto turn_wheel = [this](int angle) {
        QWheelEvent event(QPointF(5, 5), QPointF(5, 5), QPoint(),
                          QPoint(0, angle), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(content(1), &event);
    };

    turn_wheel(120);
    EXPECT_EQ(heard.size(), size_t(lines));
    EXPECT_EQ(heard.front(), "wheel 1 1");
    heard.clear();
    // A touchpad gives small parts, which add up.
    for (int i = 0; i < 12; i++)
        turn_wheel(-10);
    EXPECT_EQ(heard.size(), size_t(lines));
    EXPECT_EQ(heard.front(), "wheel 1 -1");
}

TEST_F(Windows, PointerHidesUntilItMoves)
{
    open(1, BE_DOCUMENT, 300, 200);
    be_set_cursor(1, BE_TEXT);
    EXPECT_EQ(content(1)->cursor().shape(), Qt::IBeamCursor);
    be_set_cursor(1, BE_HIDDEN);
    be_set_cursor(1, BE_TEXT);
    EXPECT_EQ(content(1)->cursor().shape(), Qt::BlankCursor);
    QTest::mouseMove(content(1), {50, 50});
    QMouseEvent move(QEvent::MouseMove, QPointF(5, 5), QPointF(5, 5),
                     Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(content(1), &move);
    EXPECT_EQ(content(1)->cursor().shape(), Qt::IBeamCursor);
}

// The program may dispose of a window while a handler of its is on the stack.
TEST_F(Windows, DisposeIsSafeAtAnyTime)
{
    open(1, BE_DOCUMENT, 300, 200);
    open(2, BE_MODELESS, 200, 100);
    QPointer<QWidget> top = desk_window(2)->top;
    be_window_dispose(2);
    EXPECT_EQ(desk_window(2), nullptr);
    EXPECT_FALSE(top.isNull());
    turn();
    EXPECT_TRUE(top.isNull());
    // Calls for a window that has gone are ignored.
    be_rect r = {0, 0, 10, 10};
    be_window_show(2, true);
    be_window_bounds(2, &r);
    be_item_value(2, 1, 5);
    present(2, 10, 10, 0);
}

TEST_F(Windows, DropsAreOfferedFirst)
{
    open(1, BE_DOCUMENT, 300, 200);
    QMimeData text, file;
    text.setText(QStringLiteral("hello"));
    file.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/some file"))});
    auto offer = [this](auto event) {
        QApplication::sendEvent(content(1), &event);
        return event.isAccepted();
    };
    constexpr auto copy = Qt::CopyAction;
    constexpr auto left = Qt::LeftButton;
    auto enter = [&](QMimeData *data) {
        return offer(QDragEnterEvent({5, 5}, copy, data, left, {}));
    };
    auto move = [&](QMimeData *data) {
        return offer(QDragMoveEvent({50, 5}, copy, data, left, {}));
    };
    auto drop = [&](QMimeData *data) {
        return offer(QDropEvent({50, 5}, copy, data, left, {}));
    };

    // A drag comes in over a place that refuses it, and goes on to one that
    // doesn't.
    dropAllowed = false;
    EXPECT_TRUE(enter(&text) && !move(&text) && !drop(&text));
    EXPECT_EQ(take_heard(), "over text; over text");
    dropAllowed = true;
    EXPECT_TRUE(enter(&text) && move(&text) && drop(&text));
    EXPECT_EQ(take_heard(), "over text; over text; drop 1 'hello' 0 ");
    EXPECT_TRUE(enter(&file) && drop(&file));
    EXPECT_EQ(take_heard(), "over text files; drop 1 '' 1 /tmp/some file");
    QMimeData other;
    other.setData(QStringLiteral("image/png"), "x");
    EXPECT_FALSE(enter(&other));
}
