// The one place that waits.
#include "tests/desktop/recorder.h"

#include <QTimer>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

class Wait : public Desktop {
protected:
    int here = -1, there = -1;

    void SetUp() override
    {
        int pair[2];

        Desktop::SetUp();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
        here = pair[0];
        there = pair[1];
        turn();
    }
    void TearDown() override
    {
        close(here);
        if (there >= 0)
            close(there);
        Desktop::TearDown();
    }
    static int64_t after(int milliseconds)
    {
        return be_now_us() + milliseconds * 1000;
    }
};

TEST_F(Wait, EndsAtItsDeadlineOrWithThePort)
{
    int64_t deadline = after(30);
    EXPECT_EQ(be_wait(deadline, here, true, false), 0u);
    EXPECT_GE(be_now_us(), deadline);
    EXPECT_EQ(be_wait(0, here, true, false), 0u);
    QTimer::singleShot(20, [this] { (void)!write(there, "x", 1); });
    EXPECT_EQ(be_wait(after(5000), here, true, false), unsigned(BE_READ));
    EXPECT_EQ(be_wait(after(5000), here, true, true),
              unsigned(BE_READ | BE_WRITE));
    EXPECT_EQ(be_wait(after(30), here, false, false), 0u)
        << "a port that isn't watched ends nothing";
    char c;
    ASSERT_EQ(read(here, &c, 1), 1);
    EXPECT_EQ(be_wait(after(30), here, true, false), 0u);
}

// A line that has hung up can always be read. Told once, it is not watched
// again before the program has read, and costs nothing.
TEST_F(Wait, HangUpIsToldAndThenSilent)
{
    close(there);
    there = -1;
    EXPECT_EQ(be_wait(after(5000), here, true, false), unsigned(BE_READ));
    clock_t before = clock();
    EXPECT_EQ(be_wait(after(300), -1, false, false), 0u);
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 10);
}

TEST_F(Wait, EndsWithInput)
{
    open(1, BE_DOCUMENT, 200, 100);
    QTimer::singleShot(10, [this] { QTest::keyClick(content(1), 'k'); });
    EXPECT_EQ(be_wait(after(5000), here, true, false), unsigned(BE_INPUT));
    EXPECT_TRUE(was_heard("key 1 'k' 28:00 0000"));

    // What was heard between two waits ends the next.
    QTest::keyClick(content(1), 'l');
    EXPECT_EQ(be_wait(after(5000), here, true, false), unsigned(BE_INPUT));
    EXPECT_EQ(be_wait(after(10), here, true, false), 0u);
}

TEST_F(Wait, AnotherPortMayFollow)
{
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    EXPECT_EQ(be_wait(after(10), here, true, false), 0u);
    close(here);
    here = -1;
    EXPECT_EQ(be_wait(after(10), -1, false, false), 0u);
    QTimer::singleShot(10, [&] { (void)!write(pair[1], "x", 1); });
    EXPECT_EQ(be_wait(after(5000), pair[0], true, false), unsigned(BE_READ));
    close(pair[0]);
    close(pair[1]);
}

// The end of a session, or of the patience of whoever started us, is a wish.
TEST_F(Wait, SignalsAskForTheEnd)
{
    raise(SIGTERM);
    EXPECT_TRUE(turn_until("quit"));
}
