// The queue of text to the line and its pacing, on the false clock: what goes
// out, in what pieces, and when.
#include <gtest/gtest.h>

#include "automation/AsciiSend.h"
#include "automation/Script.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "serial/ModemIO.h"
#include "terminal/HostCursor.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"
#include "tests/support/terminalwindow.h"
#include "transfer/xmodem.h"

#include <sys/socket.h>

struct piece {
    int32_t tick; // since start()
    std::string text;
};

static std::vector<piece> sent;
static int32_t begun;

static void note_sent()
{
    char buf[4096];
    ssize_t n;

    while ((n = read(far, buf, sizeof buf)) > 0)
        sent.push_back(
            {int32_t(TickCount()) - begun, std::string(buf, size_t(n))});
}

static void start()
{
    use_pair(SOCK_SEQPACKET); // each write arrives as one message
    SerAlloc();
    asInit();
    MakeUPPs();
    InitPage();
    cset.termFlags = kTermNoAutoLF;
    begun = int32_t(TickCount());
}

static void queue(const std::string &s, int16_t mode = 0)
{
    asSendBuf(reinterpret_cast<const uint8_t *>(s.data()), int32_t(s.size()),
              mode);
}

// Turns passes for so many ticks: pump, one step of the sender, a tick.
static void run(int ticks, char mode = 'M')
{
    for (int i = 0; i < ticks; i++) {
        ReadPort();
        if (sendCount || awWait || asBusy())
            sendSomeAscii(0, mode);
        note_sent();
        // Reading moved the clock, too, a little.
        for (uint32_t now = TickCount(); TickCount() == now;)
            hl_advance_us(100);
    }
}

static std::string all()
{
    std::string s;
    for (const piece &p : sent)
        s += p.text;
    return s;
}

// Ticks between pieces.
using ticks = std::vector<int>;
static ticks gaps()
{
    ticks g;
    for (size_t i = 1; i < sent.size(); i++)
        g.push_back(sent[i].tick - sent[i - 1].tick);
    return g;
}

TEST(Queue, PiecesAreLinesOfAtMostEighty)
{
    start();
    std::string eighty(80, 'x');
    queue(std::string(200, 'a') + eighty.substr(0, 10) + "\r" + eighty +
          "\rend");
    run(40);
    std::vector<size_t> sizes;
    for (const piece &p : sent)
        sizes.push_back(p.text.size());
    // A piece of the queue ends with a line or at 256 bytes.
    EXPECT_EQ(sizes, (std::vector<size_t>{80, 80, 51, 80, 1, 3}));
    EXPECT_EQ(sendWait, 0);
    EXPECT_EQ(gotCR, 0);
    EXPECT_FALSE(asBusy());
}

TEST(Queue, EveryByteInOrderWhateverTheChunks)
{
    start();
    std::string want;
    for (int i = 0; i < 300; i++) {
        std::string s = std::to_string(i * 7919) + (i % 5 ? "," : "\r");
        queue(s, int16_t(i % 3 == 0 ? 4 : 0));
        want += s;
        if (i % 4 == 0)
            run(1);
        if (i == 150) {
            Handle h;
            PtrToHand("HANDLE\r", &h, 7);
            asSendHdl(h, 0);
            want += "HANDLE\r";
        }
    }
    run(2000);
    EXPECT_EQ(all(), want);
}

TEST(Queue, ChunksOfOneModeShareABlock)
{
    start();
    queue("one", 0);
    queue("two", 0);
    EXPECT_EQ(firstAS->next, nullptr);
    EXPECT_EQ(firstAS->count, 6);
    queue("\x1bOA", 4); // another mode: a chunk of its own
    ASSERT_NE(firstAS->next, nullptr);
    EXPECT_EQ(firstAS->next->echoMode, 4);
    queue(std::string(98, 'x'), 4); // no room behind it
    EXPECT_NE(firstAS->next->next, nullptr);
    asKill();
    EXPECT_EQ(firstAS->next, nullptr);
    EXPECT_FALSE(asBusy());
    queue("fresh", 1);
    EXPECT_EQ(firstAS->echoMode, 1);
    run(5);
    EXPECT_EQ(all(), "fresh");
}

TEST(Pacing, CharacterDelay)
{
    start();
    cset.charDelay = 7;
    queue("abcd");
    run(60);
    EXPECT_EQ(gaps(), (ticks{7, 7, 7}));
}

TEST(Pacing, LineDelayBehindTheCR)
{
    start();
    cset.lineDelay = 30;
    queue(std::string(80, 'a') + "\rnext\rlast");
    run(120);
    // 80 bytes, then the CR alone, and the delay behind that. A delay begins
    // when the write has been seen to end, a pass after it.
    EXPECT_EQ(gaps(), (ticks{1, 31, 31}));
}

TEST(Pacing, EchoOfEachCharacter)
{
    start();
    cset.paceFlags = 1;
    queue("ab\tcd");
    run(20);
    EXPECT_EQ(all(), "a");
    EXPECT_EQ(sendWait, 'a');
    host_says("a");
    run(10);
    EXPECT_EQ(all(), "ab");
    host_says("X"); // another byte is no echo: the limit counts
    run(275);
    EXPECT_EQ(all(), "ab");
    host_says("Y");
    run(20);
    EXPECT_EQ(all(), "ab\t");
    EXPECT_NEAR(sent.back().tick - sent[1].tick, 300, 1);
    // A control character has no echo to be known by; the line must be quiet
    // for a third of a second.
    EXPECT_EQ(sendWait, kWaitQuiet);
    host_says("   ");
    run(10);
    host_says(" ");
    int32_t last = int32_t(TickCount()) - begun;
    run(40);
    EXPECT_EQ(all(), "ab\tc");
    EXPECT_NEAR(sent.back().tick - last, 21, 2);
}

TEST(Pacing, EchoIsNotAwaitedWithLocalEchoOrForControlStrings)
{
    start();
    cset.paceFlags = 1;
    cset.echoFlag = 1;
    localEcho = 1;
    cset.charDelay = 3;
    queue("abc", 1);
    run(20);
    EXPECT_EQ(all(), "abc");
    EXPECT_EQ(gaps(), (ticks{3, 3}));
    EXPECT_EQ(curcol, 3) << "local echo shows what is sent";

    sent.clear();
    cset.echoFlag = 0;
    cset.charDelay = 0;
    queue("\x1b[A", 4);
    run(20);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].text, "\x1b[A");
}

TEST(Pacing, PromptAfterEachLine)
{
    static const struct {
        int16_t delay;
        int limit; // without a prompt
    } rows[] = {{0, 400}, {59, 400}, {60, 60}, {120, 120}};

    start();
    cset.promptChar = '>';
    for (const auto &r : rows) {
        sent.clear();
        cset.lineDelay = r.delay;
        queue("one\rtwo");
        run(r.limit + 10);
        ASSERT_EQ(sent.size(), 2u) << r.delay;
        EXPECT_NEAR(gaps()[0], r.limit + 1, 1) << r.delay;
    }

    // The prompt counts only behind the end of the echoed line.
    sent.clear();
    cset.lineDelay = 0;
    queue("one\rtwo\rthree");
    run(5);
    host_says("one>");
    run(20);
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_EQ(sendWait, 13);
    host_says("\r\n");
    run(20);
    EXPECT_EQ(sendWait, '>');
    EXPECT_EQ(sent.size(), 1u);
    host_says(">");
    run(3);
    EXPECT_EQ(sent.size(), 2u);
}

TEST(Pacing, DialerSendsTheFirstBytesSlowly)
{
    start();
    cset.charDelay = 50; // the connection's pacing doesn't count then
    localEcho = 1;
    set_send(PSTR("ATDT5551234\r"));
    EXPECT_EQ(sendAmount, 0);
    run(60, 'D');
    EXPECT_EQ(all(), "ATDT5551234\r");
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(sent[1].text, "T");
    EXPECT_EQ(gaps(), (ticks{5, 5}));
    EXPECT_EQ(curcol, 0) << "the dialer shows the echo itself";
}

// ---- files -----------------------------------------------------------------

static int16_t open_file(const std::string &content)
{
    static const Place place;
    int16_t ref = 0;

    place.write("queue", content);
    EXPECT_EQ(HOpen(place.vRef, place.dir, PSTR("queue"), fsRdPerm, &ref),
              noErr);
    return ref;
}

TEST(Queue, FileThenPaste)
{
    start();
    std::string content;
    for (int i = 0; i < 1000; i++)
        content += "line " + std::to_string(i) + "\r";
    asciiSend = 1;
    asSendFile(open_file(content), 0);
    queue("pasted", 0);
    run(3);
    EXPECT_TRUE(asciiSend);
    run(4000);
    EXPECT_EQ(all(), content + "pasted");
    EXPECT_FALSE(asciiSend) << "the end of the file wasn't noticed";
}

TEST(Queue, StopDropsEverything)
{
    start();
    asciiSend = 1;
    asSendFile(open_file(std::string(50000, 'x')), 0);
    queue("more", 4);
    run(3);
    reqRow = 5;
    stop_send();
    sent.clear();
    run(10);
    EXPECT_EQ(all(), "");
    EXPECT_FALSE(asciiSend);
    EXPECT_EQ(sendCount, 0);
    EXPECT_EQ(awWait, 0);
    EXPECT_EQ(reqRow, -1);
    EXPECT_EQ(firstAS->fileRef, 0);
    ScriptFlag = 12622;
    kill_script();
    EXPECT_EQ(ScriptFlag, 0);
}

// Memory that runs short at each allocation in turn: only what it was for is
// lost, and nothing breaks.
TEST(Queue, ShortMemory)
{
    int lost = 0;
    start();
    for (int n = 1; n < 12; n++) {
        sent.clear();
        mem_fail_nth(n);
        queue("short");
        queue(std::string(150, 'b'));
        queue("\x1bX", 4);
        Handle h = NewHandle(50);
        if (h)
            asSendHdl(h, 0);
        asSendFile(open_file("file"), 0);
        queue("end");
        mem_fail_nth(0);
        run(200);
        EXPECT_FALSE(asBusy());
        int parts = 0;
        for (const char *part : {"short", "bbb", "\x1bX", "file", "end"})
            parts += all().find(part) != std::string::npos;
        EXPECT_GE(parts, 4) << n;
        lost += parts < 5;
    }
    EXPECT_GT(lost, 0) << "no allocation failed at all";
}

// ---- a line that takes less ------------------------------------------------

// A host that stops reading: the queue stands, nothing is lost and nothing
// grows; then it goes on. A megabyte, as one would paste it.
TEST(Queue, HostThatStopsReading)
{
    start();
    use_pair(SOCK_STREAM);
    std::string text, got;
    for (int i = 0; text.size() < 1000000; i++)
        text += std::to_string(i) + (i % 9 ? " " : "\r");
    Handle h;
    ASSERT_EQ(PtrToHand(text.data(), &h, int32_t(text.size())), noErr);
    asSendHdl(h, 0);
    int32_t before = FreeMem();
    int32_t stuck = 0;
    for (int i = 0; i < 30000 && stuck < 100; i++) {
        sendSomeAscii(0, 'M');
        stuck = aw1Busy() ? stuck + 1 : 0;
    }
    ASSERT_GE(stuck, 100) << "it never filled up";
    int32_t left = firstAS->count;
    for (int i = 0; i < 1000; i++)
        sendSomeAscii(0, 'M');
    EXPECT_EQ(firstAS->count, left);
    EXPECT_GE(FreeMem(), before);

    char buf[65536];
    for (int i = 0; i < 100000 && got.size() < text.size(); i++) {
        ssize_t n = read(far, buf, i % 100 == 0 ? sizeof buf : 333);
        if (n > 0)
            got.append(buf, size_t(n));
        sendSomeAscii(0, 'M');
        sendSomeAscii(0, 'M');
    }
    EXPECT_TRUE(got == text) << got.size() << " of " << text.size();
}

// ---- waits of scripts ------------------------------------------------------

TEST(Waits, EndWhenTheyAreDue)
{
    start();
    ScriptFlag = 12622;
    WaitFlag = kWaitTicks;
    WaitTime = int32_t(TickCount()) + 10;
    check_wait();
    EXPECT_EQ(WaitFlag, kWaitTicks);
    hl_advance_ticks(10);
    check_wait();
    EXPECT_EQ(WaitFlag, 0);
    EXPECT_EQ(ScriptFlag, -1);

    WaitFlag = kWaitLineQuiet;
    WaitTime = 20;
    host_says("x");
    ReadPort();
    hl_advance_ticks(19);
    check_wait();
    EXPECT_EQ(WaitFlag, kWaitLineQuiet);
    hl_advance_ticks(1);
    check_wait();
    EXPECT_EQ(WaitFlag, 0);

    WaitFlag = kWaitSent;
    queue("text");
    check_wait();
    EXPECT_EQ(WaitFlag, kWaitSent);
    run(5);
    check_wait();
    EXPECT_EQ(WaitFlag, 0);
}

TEST(Waits, TextIsSoughtAfterEachBurst)
{
    start();
    host_says("\r\nlogin: ");
    ReadPort();
    WaitFlag = kWaitText;
    WaitTime = int32_t(TickCount());
    for (int i = 0; i < 6; i++)
        string_buf[i] = uint8_t("login"[i]);
    hl_advance_ticks(30);
    check_wait();
    EXPECT_EQ(WaitFlag, kWaitText) << "it stood there before the wait";
    host_says(" ");
    ReadPort();
    hl_advance_ticks(15);
    check_wait();
    EXPECT_EQ(WaitFlag, kWaitText) << "not yet quiet for long enough";
    hl_advance_ticks(1);
    check_wait();
    EXPECT_EQ(WaitFlag, 0);
}
