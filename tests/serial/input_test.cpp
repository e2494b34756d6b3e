// Bytes from the line: batches, automatic starts, capture, errors, the idle
// line.
#include <gtest/gtest.h>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

static std::string take(int16_t wanted)
{
    int16_t n = wanted;
    const uint8_t *p = GetBytes(&n);
    return p ? std::string(reinterpret_cast<const char *>(p), size_t(n)) : "";
}

// The host says it, and one read takes it.
static void arrives(const std::string &s)
{
    host_says(s);
    EXPECT_EQ(ReadPort(), 1);
}

TEST(Input, BytesAreHandedOutFromOneRead)
{
    start_line();
    EXPECT_EQ(BytesReady(), 0);
    EXPECT_EQ(take(10), "");
    EXPECT_EQ(gLastModemRead, 0);
    host_says("abcdefgh");
    host_says("next");
    EXPECT_EQ(take(3), "abc");
    EXPECT_EQ(gLastModemRead, 8);
    EXPECT_EQ(BytesReady(), 5);
    EXPECT_EQ(take(2), "de");
    putBack(2);
    EXPECT_EQ(take(100), "defgh") << "the batch is used up before a read";
    EXPECT_EQ(take(0), "");
    EXPECT_EQ(BytesReady(), 4) << "nothing wanted still reads";
    EXPECT_EQ(take(100), "next");

    EXPECT_EQ(cntRead, 2);
    EXPECT_EQ(totRead, 12);
    EXPECT_EQ(maxRead, 8);
    EXPECT_EQ(avgRead, 6);
    hl_answer(1);
    ShowReadStats();
    EXPECT_NE(hl_messages().back().find("8"), std::string::npos);
    EXPECT_EQ(cntRead, 0);
    EXPECT_EQ(maxRead, 0);
    EXPECT_EQ(avgRead, 6) << "the average stays";

    host_says("left");
    EXPECT_EQ(take(1), "l");
    sIn = 0;
    EXPECT_EQ(take(9), "eft") << "a closed port hands out what is left";
    EXPECT_EQ(take(9), "");
}

TEST(Input, BatchToTheScreen)
{
    start_line();
    EXPECT_EQ(ReadPort(), 0);
    arrives("Hello");
    EXPECT_EQ(screen_row(0), "Hello");
    EXPECT_EQ(ModemActive, 1);
    EXPECT_EQ(PrtCount, 5);
    host_says("\r\n\xAA\x98"); // no start: the eighth bit counts
    ReadPort();
    EXPECT_EQ(screen_row(1), "\xAA\x98");
}

// What stands before a start is shown but for the byte just before it; the
// receiver asks for the file; bytes behind the start are the receiver's.
TEST(Input, StartOfZmodem)
{
    static const struct {
        const char *name;
        uint8_t flags;
        std::vector<std::string> batches;
        const char *shown;
        bool starts;
    } rows[] = {
        {"in one batch", 0, {"ab*\x18"}, "ab", true},
        {"first in the batch", 0, {"*\x18"}, "", true},
        {"split", 0, {"ab*", "\x18"}, "ab*", true},
        {"LF between", 0, {"*\n\x18", "cd"}, "*", false},
        {"no star",
         0,
         {"ab\x18"
          "cd"},
         "abcd",
         false},
        {"eighth bit", 0, {"\xAA\x98"}, "\xAA\x98", false},
        {"eighth bit stripped", kTermStrip8, {"\xAA\x98"}, "", true},
        {"split and stripped", kTermStrip8, {"x\xAA", "\x98"}, "x*", true},
    };

    start_line();
    hl_ask_answer(true, {scratch_folder()}); // where files shall go
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        DispChars(reinterpret_cast<const uint8_t *>("\x1b[2J\x1b[H"), 7);
        host_heard();
        cset.termFlags = uint8_t(kTermNoAutoLF | r.flags);
        for (size_t i = 0; i < r.batches.size(); i++) {
            // The sender asks for a receiver and gives up at once.
            if (r.starts && i + 1 == r.batches.size())
                host_says(r.batches[i] + "B00000000000000\r\x8a\x11" +
                          std::string(12, '\x18'));
            else
                host_says(r.batches[i]);
        }
        for (size_t i = 0; i < r.batches.size(); i++)
            EXPECT_EQ(ReadPort(), 1);
        std::string heard = host_heard();
        EXPECT_EQ(heard.find("B01") != std::string::npos, r.starts) << heard;
        std::string first = screen_row(0);
        EXPECT_EQ(first.substr(0, first.find('#')), r.shown);
        int16_t n = 400;
        while (GetBytes(&n))
            n = 400;
    }
}

TEST(Input, StartOfBPlus)
{
    start_line();
    arrives("ab\x10"
            "cd\x05");
    EXPECT_EQ(screen_row(0), "abcd") << "not answered: ordinary bytes";
    cset.termFlags |= kTermStrip8;
    arrives("\x05yz");
    EXPECT_EQ(screen_row(0), "abcdyz") << "with seven bits, too";
    EXPECT_EQ(BytesReady(), 0);

    cset.termFlags &= uint16_t(~kTermStrip8);
    cset.xferFlags = kXferBPlus;
    arrives("\r\x1b[Kab\x05yz");
    EXPECT_EQ(screen_row(0), "a");
    EXPECT_EQ(BytesReady(), 2) << "bytes behind an ENQ come again";
    ReadPort();
    EXPECT_EQ(screen_row(0), "ayz");
}

TEST(Input, Capture)
{
    FSSpec spec;
    char buf[64];
    int32_t n = sizeof buf;

    start_line();
    ASSERT_EQ(FindFolder(0, kPrefFolder, true, &spec.vRefNum, &spec.parID),
              noErr);
    FSMakeFSSpec(spec.vRefNum, spec.parID, PSTR("captured"), &spec);
    ASSERT_EQ(StartCapture(&spec), noErr);
    asciiReceive = 'C';
    cset.termFlags = kTermNoAutoLF | kTermStrip8;
    arrives("one\r\ntw\xEF\r\n");
    arrives("x*\x18" + std::string(12, '\x18'));
    ASSERT_EQ(SetFPos(recRef, fsFromStart, 0), noErr);
    EXPECT_EQ(FSRead(recRef, &n, buf), eofErr);
    // Masked, no LF, and up to the start of the transfer.
    EXPECT_EQ(std::string(buf, size_t(n)), "one\rtwo\rx*");

    // A write that fails ends the capture, and the terminal goes on.
    int16_t closed = recRef;
    FSClose(closed);
    host_says("lost\r\n");
    for (int i = 0; i < 20; i++)
        ReadPort();
    EXPECT_EQ(asciiReceive, 0);
    EXPECT_NE(screen_row(abslin - 1).find("###"), std::string::npos);
}

TEST(Input, IdleLine)
{
    start_line();
    arrives("x");
    sendWait = kWaitQuiet;
    hl_advance_ticks(20);
    ReadPort();
    EXPECT_EQ(sendWait, kWaitQuiet);
    hl_advance_ticks(1);
    ReadPort();
    EXPECT_EQ(sendWait, -1);
    EXPECT_EQ(ModemActive, 1);

    data = kData7;
    xfer_port(0);
    gXferRestore = 1;
    hl_advance_ticks(219);
    ReadPort();
    EXPECT_EQ(ModemActive, 1);
    hl_advance_ticks(2);
    ReadPort();
    EXPECT_EQ(ModemActive, 0);
    EXPECT_EQ(data, kData7) << "a line left at eight bits is set back";
    EXPECT_EQ(gXferRestore, 0);

    // A view that was just scrolled back stops the waiting at once; one that
    // was so before beeps when the line has fallen silent.
    arrives("y");
    scrolled = 1;
    ReadPort();
    EXPECT_EQ(ModemActive, 0);
    int beeps = hl_beeps();
    arrives("z");
    hl_advance_ticks(241);
    ReadPort();
    EXPECT_EQ(hl_beeps(), beeps + 1);
    scrolled = 0;
}

TEST(Input, SpeedTest)
{
    start_line();
    TestTicks = int32_t(TickCount());
    PrtCount = 0;
    hl_advance_ticks(50); // the way of the key doesn't count
    arrives("\r\n" + std::string(58, 'a'));
    hl_advance_ticks(120);
    arrives(std::string(60, 'b') + "\r\n");
    hl_advance_ticks(61);
    ReadPort();
    EXPECT_EQ(TestTicks, 0);
    std::string all;
    for (int i = 0; i < 6; i++)
        all += screen_row(i);
    EXPECT_NE(all.find("### 122 chars, 2 secs, 61 cps"), std::string::npos)
        << all;
}

TEST(Input, PurgeUntilQuiet)
{
    start_line();
    for (int i = 0; i < 20; i++)
        hl_after(uint32_t(i * 10), [] { host_says(std::string(300, 'x')); });
    int64_t begin = hl_now();
    purgeBuffer(30);
    int64_t ticks = (hl_now() - begin) * 60 / 1000000;
    EXPECT_GE(ticks, 30);
    int16_t n = 400;
    EXPECT_EQ(GetBytes(&n), nullptr);

    hl_type("k");
    begin = hl_now();
    purgeBuffer(120);
    EXPECT_LT((hl_now() - begin) * 60 / 1000000, 20) << "a key ends it";
}

// ---- what may go wrong -----------------------------------------------------

TEST(Input, RepeatedErrorIsReportedOnce)
{
    start_line();
    int good = sIn;
    int file = open("/", O_RDONLY | O_DIRECTORY); // reading gives an error
    sIn = int16_t(file);
    for (int i = 0; i < 5; i++)
        ReadPort();
    auto reports = [] {
        int n = 0;
        for (int i = 0; i < MaxLine; i++)
            n += screen_row(i).starts_with("###");
        return n;
    };
    EXPECT_EQ(reports(), 1);
    sIn = int16_t(good);
    ReadPort();
    sIn = int16_t(file);
    ReadPort();
    EXPECT_EQ(reports(), 2) << "after a clean read it is news again";
    close(file);
}

// A line that goes, wherever the transfer stands, ends it soon and at rest.
TEST(Input, LineThatGoesEndsATransfer)
{
    const std::string offer = "**\x18"
                              "B0400000000"
                              "8906\r\n\x11";
    const struct {
        const char *name;
        std::string said;
    } rows[] = {
        {"before the first byte", ""},
        {"in a header", "**\x18"
                        "B0400"},
        {"in a subpacket", offer + "name"},
        {"behind an escape", offer + "name\x18"},
    };

    start_line();
    hl_ask_answer(true, {scratch_folder()});
    cset.rzTimeout = 10;
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        use_pair(SOCK_STREAM);
        host_says(r.said);
        hl_after(60, [] { close(far); });
        hl_spin_limit(2000); // questions for the time without its moving
        int64_t begin = hl_now();
        EXPECT_NE(rz(kModeZ), 0);
        EXPECT_LT(hl_now() - begin, 6 * 1000000);
        EXPECT_EQ(sIn, 0);
    }
}
