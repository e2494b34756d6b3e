// What surrounds the engines: default protocols, buffers, capture, events
// during a transfer, the figures, the transcript and the log.
#include "tests/support/bench.h"

#include "automation/AsciiSend.h"
#include "connect/Dial.h"
#include "platform/appleevents.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "shell/QuillonMenus.h"

#include <cstring>

using std::string;

// ---- default protocols -----------------------------------------------------

TEST(Defaults, CaseAndUnknownLetters)
{
    start_bench();
    do_drcv('g');
    EXPECT_EQ(dRcvItem, 5);
    EXPECT_EQ(cset.rcvProto, 'g') << "stored as it came";
    do_drcv('?');
    EXPECT_EQ(cset.rcvProto, 'X');
    do_dsend('g');
    EXPECT_EQ(cset.sendProto, 'Z') << "there is no sending by YMODEM-G";
    do_dsend('x');
    EXPECT_EQ(dSendItem, 3);
    do_dsend('X');
    EXPECT_EQ(dSendItem, 4);
    for (bool changes : {true, false}) {
        set_changed = 0;
        do_drcv('Z');
        EXPECT_EQ(set_changed != 0, changes);
    }
}

// ---- buffers ---------------------------------------------------------------

TEST(Buffers, TheTransferBufferOnlyGrows)
{
    start_bench();
    int32_t size = gSecBufSize;
    uint8_t *before = gSecBuf;
    EXPECT_EQ(AllocXferBuf(10), size);
    EXPECT_EQ(gSecBuf, before);
    mem_fail_nth(1);
    EXPECT_EQ(AllocXferBuf(size + 1), size);
    EXPECT_EQ(GetXferBuf(), before);
    EXPECT_EQ(AllocXferBuf(size + 1), size + 1);
}

TEST(Buffers, WritesAreGathered)
{
    constexpr int32_t kBlock = 3072; // whole KiB
    start_bench();
    qset.fileBufSize = 2049;
    FSSpec spec;
    int16_t ref;
    FSMakeFSSpec(zRcvVol, zRcvDirID, PSTR("b"), &spec);
    ASSERT_EQ(FSpCreate(&spec, 0, 0), noErr);
    ASSERT_EQ(FSpOpenDF(&spec, fsWrPerm, &ref), noErr);
    string all, part = random_bytes(1000);
    auto p = reinterpret_cast<const uint8_t *>(part.data());
    for (int i = 0; i < 20; i++, all += part) {
        EXPECT_EQ(fbWrite(ref, 1000, p), noErr);
        // Nothing is written while there is room.
        if ((i + 1) * 1000 <= kBlock) {
            EXPECT_EQ(inbufCount, (i + 1) * 1000);
        }
        EXPECT_LE(inbufCount, kBlock);
    }
    string big = random_bytes(20000);
    all += big;
    p = reinterpret_cast<const uint8_t *>(big.data());
    EXPECT_EQ(fbWrite(ref, 20000, p), noErr);
    EXPECT_EQ(fbWrite(ref, 0, nullptr), noErr);
    EXPECT_EQ(inbufCount, 0);
    FSClose(ref);
    EXPECT_EQ(read_file("b"), all);
}

// ---- reading and events ----------------------------------------------------

TEST(Events, TimesAndCancel)
{
    start_bench();
    uint8_t c[3];
    uint32_t start = TickCount();
    EXPECT_EQ(readline(10), TIMEOUT);
    EXPECT_NEAR(double(TickCount() - start), 60, 2);
    hl_line_say("ab");
    hl_line_say("c", 500000);
    EXPECT_EQ(TimedRead(1, c, 3, 120), 1);
    EXPECT_EQ(memcmp(c, "abc", 3), 0);
    zprot = 'Z';
    zshow(); // keys go to a window

    // A cancel ends a read at once, and no rest.
    hl_after(30, [] { hl_type(".", cmdKey); });
    start = TickCount();
    EXPECT_EQ(TimedRead(1, c, 1, 600), 0);
    EXPECT_LT(TickCount() - start, 40u);
    EXPECT_NE(UserCancel, 0);
    start = TickCount();
    zsleep(1);
    EXPECT_GE(TickCount() - start, 60u);
    UserCancel = 0;
    hl_type("7");
    XferEvent(0);
    EXPECT_EQ(Verbose, 7);
    EXPECT_EQ(user_abort(), 0);
    Verbose = 0;

    // A request to quit ends the transfer and waits for the main loop.
    hl_quit();
    EXPECT_EQ(XferEvent(1), 1);
    EXPECT_NE(UserCancel, 0);
    EXPECT_TRUE(QuitIsWaiting());
    zrmv();
}

TEST(Events, CancelButtonOfTheWindow)
{
    start_bench();
    zprot = 'Z';
    zdir = 'S';
    zshow();
    ASSERT_NE(zDlog, nullptr);
    EXPECT_EQ(hl_window(zDwin)->title, "ZModem Send");
    hl_hit(zDwin, kItemStatusCancel);
    EXPECT_EQ(XferEvent(1), 1);
    EXPECT_NE(UserCancel, 0);
    hl_move(zDwin, 123, 77);
    XferEvent(0);
    EXPECT_EQ(qset.xferWinLoc.h, 123);
    EXPECT_EQ(qset.xferWinLoc.v, 77);
    zrmv();
    EXPECT_EQ(zDwin, nullptr);
}

// ---- figures ---------------------------------------------------------------

static string item(int16_t n)
{
    const HlItem *i = hl_item(zDlog, n);
    return i ? i->text : "none";
}

TEST(Figures, TimesAndNumbers)
{
    struct row {
        int16_t seconds;
        const char *text;
    };
    for (const row &r : {row{0, "0:00"}, row{59, "0:59"}, row{61, "1:01"},
                         row{3600, "1:00:00"}, row{3661, "1:01:01"}}) {
        uint8_t out[256];
        MinSec(out, r.seconds);
        EXPECT_EQ(S(out), r.text);
    }
    uint8_t out[256];
    octstr(out, 0);
    EXPECT_EQ(S(out), "00");
    octstr(out, 0xFFFFFFFF);
    EXPECT_EQ(S(out), "037777777777");
    EXPECT_EQ(out[out[0] + 1], 0);
}

TEST(Figures, WhatTheWindowShows)
{
    start_bench();
    zprot = 'Z';
    zdir = 'R';
    gCarrierRate = 9600;
    zshow();
    ASSERT_NE(zDlog, nullptr);
    EXPECT_EQ(estCPS, 96 * 90 / 10);
    curFType = FOUR("TEXT");
    curFCreator = FOUR("ttxt");
    zftype = 'T';
    ztype();
    EXPECT_EQ(item(kItemStatusKind), "TEXT / ttxt (Text)");
    const char *const words[] = {"Checksum", "CRC-16", "Checksum-2", "CRC-32"};
    for (int check = 1; check <= 4; check++) {
        zerchk = check;
        zecheck();
        EXPECT_EQ(item(kItemStatusCheck), words[check - 1]);
    }
    StartPos = 1000;
    ResetXferTimer();
    zprog(1000, 20000);
    hl_advance_ticks(600);
    zprog(10600, 20000);
    EXPECT_EQ(item(kItemStatusBytes), "10600");
    EXPECT_EQ(item(kItemStatusTotal), "20000");
    EXPECT_EQ(item(kItemStatusRate), "960 cps, 100%");
    EXPECT_EQ(item(kItemStatusTime), "0:10 / 0:09");
    // Within 50 ticks nothing is redrawn, but for the end.
    hl_advance_ticks(30);
    zprog(11000, 20000);
    EXPECT_EQ(item(kItemStatusBytes), "10600");
    zprog(20000, 20000);
    EXPECT_EQ(item(kItemStatusBytes), "20000");
    EXPECT_EQ(zsCur, zsTotal);
    // Without a size there is no bar and no time left.
    zprog(0, 2000000000);
    EXPECT_EQ(zsTotal, 0);
    EXPECT_EQ(item(kItemStatusTime).find("/"), string::npos);
    // At 300 bits a second the divisor is 3.
    gCarrierRate = 300;
    StartPos = 0;
    ResetXferTimer();
    hl_advance_ticks(60);
    zprog(30, 30);
    EXPECT_EQ(item(kItemStatusRate), "30 cps, 100%");
    inc_retry();
    EXPECT_NE(item(kItemStatusRetries), "");
    zrmv();
}

TEST(Figures, TranscriptAndLog)
{
    start_bench();
    qset.globFlags = 0;
    zprot = 'Z';
    zdir = 'R';
    memcpy(zRcvMBName, "\5a\tb\rc", 6);
    zshow();
    gotEOF = 1;
    StartPos = 0;
    zperf(PSTR("a\tb\rc"), 1000, 1600, 11520, 'R');
    expect_shown("### Receive (Z) a?b?c: 11520 bytes, 0:10 elapsed, "
                 "1152 cps, 10%\n");
    gotEOF = 0;
    StartPos = 5;
    zdir = 'S';
    zperf(PSTR("f"), 1000, 1060, 60, 'S');
    expect_shown(" cps, 0% Resume Incomplete");
    StartPos = 0;
    zperf(PSTR("f"), 1000, 1060, 60, 'S');
    zrmv();

    string log = log_text();
    std::vector<string> lines;
    for (size_t at = 0; at < log.size();) {
        size_t end = log.find('\r', at);
        ASSERT_NE(end, string::npos);
        lines.push_back(log.substr(at, end - at));
        at = end + 1;
    }
    ASSERT_EQ(lines.size(), 4u) << log;
    auto fields = [](const string &line) {
        std::vector<string> out(1);
        for (char c : line)
            if (c == '\t')
                out.emplace_back();
            else
                out.back() += c;
        return out;
    };
    auto f = fields(lines[1]);
    ASSERT_EQ(f.size(), 10u) << lines[1];
    EXPECT_EQ(
        std::vector<string>(f.begin() + 2, f.end() - 2),
        (std::vector<string>{"RZ", "115200", "11520", "10", "1152", "10%"}));
    EXPECT_EQ(f[9], "a?b?c");
    f = fields(lines[2]);
    EXPECT_EQ(f.at(2), "SZ");
    EXPECT_EQ(f.back(), "Resume, Incomplete");
    EXPECT_EQ(fields(lines[3]).back(), "Incomplete");

    qset.globFlags = kGlobNoXferLog;
    zperf(PSTR("f"), 1000, 1060, 60, 'S');
    EXPECT_EQ(log_text(), log);
}

// ---- capture ---------------------------------------------------------------

TEST(Capture, BothModesAndAppending)
{
    start_bench();
    write_file("cap", "before|");
    FSSpec spec;
    ASSERT_EQ(FSSpecFromPath((scratch() + "/cap").c_str(), &spec), noErr);
    EXPECT_EQ(StartCapture(&spec), noErr);
    EXPECT_EQ(asciiReceive, 'C');
    hl_line_say("one\r\ntwo\r\n");
    pump_port();
    StopCapture();
    EXPECT_EQ(recRef, 0);
    EXPECT_EQ(asciiReceive, 0);
    EXPECT_EQ(read_file("cap"), "before|one\rtwo\r");
    StopCapture();

    qset.globFlags |= kGlobCaptureLines;
    EXPECT_EQ(StartCapture(&spec), noErr);
    EXPECT_EQ(asciiReceive, 'L');
    StopCapture();

    spec.parID = 0x7FFFFFF;
    EXPECT_NE(StartCapture(&spec), noErr);
    EXPECT_EQ(asciiReceive, 0);
    EXPECT_EQ(recRef, 0);
}

TEST(Capture, CommandTogglesIt)
{
    start_bench();
    write_file("log", "an old one");
    hl_ask_answer(true, {scratch() + "/log"});
    Xreceive(1);
    EXPECT_EQ(asciiReceive, 'C');
    ASSERT_FALSE(hl_asked().empty());
    Xreceive(1);
    EXPECT_EQ(asciiReceive, 0);
    EXPECT_EQ(read_file("log"), "") << "the old file is gone, as agreed";
    hl_ask_answer(false);
    Xreceive(1);
    EXPECT_EQ(asciiReceive, 0);
}

TEST(Commands, CancelledDialogsOfSends)
{
    start_bench();
    for (int16_t n : {7, 1}) {
        hl_ask_answer(false);
        Xsend(n);
    }
    hl_advance_us(1000);
    EXPECT_EQ(hl_line_heard(), "");
    EXPECT_EQ(zDlog, nullptr);
}
