// A megabyte pasted, through whole passes of the event loop: how fast it goes
// out, and what happens when the host stops reading.
#include <gtest/gtest.h>

#include "automation/AsciiSend.h"
#include "platform/clock.h"
#include "platform/memory.h"
#include "serial/ModemIO.h"
#include "shell/QuillonMenus.h"
#include "tests/support/farend.h"
#include "tests/support/terminalwindow.h"

#include <sys/socket.h>

static std::string pasted()
{
    std::string s;
    for (int i = 0; s.size() < 1000000; i++)
        s += std::to_string(i) + (i % 9 ? " " : "\n");
    return s;
}

static void start()
{
    myWindow = GetNewWindow(128);
    ASSERT_NE(myWindow, nullptr);
    ShowWindow(myWindow);
    SetupMenus();
    ASSERT_EQ(SerAlloc(), 0);
    asInit();
    MakeUPPs();
    InitPage();
    cset.termFlags = kTermNoAutoLF;
    use_pair(SOCK_STREAM);
    hl_clip(pasted().c_str());
}

static void turn()
{
    ReadPort();
    MainEventLoop(kAllEvents, kModeMain);
}

static size_t read_host()
{
    char buf[65536];
    size_t all = 0;
    ssize_t n;

    while ((n = read(far, buf, sizeof buf)) > 0)
        all += size_t(n);
    return all;
}

TEST(Paste, GoesAsFastAsTheLineTakesIt)
{
    start();
    size_t want = pasted().size(), got = 0;
    doPaste();
    int64_t begin = hl_now();
    for (int i = 0; i < 100000 && got < want; i++) {
        turn();
        got += read_host();
    }
    EXPECT_EQ(got, want);
    // 80 bytes a pass; a wait of five ticks behind each would be 20 minutes.
    EXPECT_LT(hl_now() - begin, int64_t(60) * 1000000);
    // And with nothing left to send, the loop sleeps again.
    for (int i = 0; i < 10; i++)
        turn();
    begin = hl_now();
    for (int i = 0; i < 20; i++)
        turn();
    EXPECT_GE(hl_now() - begin, 20 * 4 * 1000000 / 60);
}

TEST(Paste, HostThatStopsReading)
{
    start();
    int32_t before = FreeMem();
    doPaste();
    for (int i = 0; i < 20000 && !(aw1Busy() && hl_waits() > 50); i++)
        turn();
    ASSERT_TRUE(aw1Busy()) << "the line never filled up";
    EXPECT_GT(FreeMem(), before - 1100000) << "more than the text is held";

    // The passes go on at the pace of an idle program, and serve the user.
    int64_t begin = hl_now();
    for (int i = 0; i < 60; i++)
        turn();
    EXPECT_GE(hl_now() - begin, 60 * 4 * 1000000 / 60);
    EXPECT_TRUE(asBusy());
    hl_type(".", cmdKey);
    turn();
    EXPECT_FALSE(asBusy());
    EXPECT_EQ(sendCount, 0);
    read_host();
    for (int i = 0; i < 20; i++)
        turn();
    EXPECT_LE(read_host(), 80u) << "more than the shot that was under way";
    EXPECT_FALSE(aw1Busy());

    hl_type("x");
    for (int i = 0; i < 4; i++)
        turn();
    EXPECT_EQ(read_host(), 1u) << "the keyboard is alive";
}
