// The ZMODEM receiver against a scripted sender, on a clock that moves only
// when the program waits.
#include "tests/support/bench.h"

#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/headless/headless.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using std::string;

static string offer(const string &name, const string &figures, uint8_t zf0 = 0,
                    uint8_t zf1 = 0)
{
    return bin32_frame(ZFILE, flags(zf0, zf1)) +
           packet32(file_block(name, figures), 'k');
}

static string send_all(const string &body)
{
    return bin32_frame(ZDATA, four(0)) + packet32(body, 'h') +
           bin32_frame(ZEOF, four(uint32_t(body.size())));
}

static const string kFin = hex_frame(ZFIN, four(0));
static const string kDamaged = "**\x18"
                               "B0000000000FFFF\r\x8A";

// The rows of a sender, and those by which it ends.
using peer_rows = std::vector<peer_row>;
static peer_rows and_end(peer_rows rows, const string &last = "OO")
{
    rows.push_back({ZRINIT, kFin});
    rows.push_back({ZFIN, last});
    return rows;
}

static peer_rows one_file(const string &name, const string &body)
{
    return and_end({{ZRINIT, offer(name, std::to_string(body.size()))},
                    {ZRPOS, send_all(body)}},
                   "OO$ ");
}

// What the receiver sent, by types, for these rows. `done`: all were used.
struct answer {
    int16_t result;
    string types, raw;
    bool done;
};
static answer receive(const peer_rows &rows)
{
    scripted_peer peer{rows};
    peer.start();
    int16_t result = rz(kModeZ);
    hl_line_peer({});
    return {result, peer.type_list(), peer.raw, peer.done()};
}

TEST(Receiver, TakesAFileAndShowsThePromptBehindIt)
{
    start_bench();
    scripted_peer peer{one_file("hello", "some\x18 bytes\x11")};
    peer.start();
    EXPECT_EQ(rz(kModeZ), 0);
    EXPECT_TRUE(peer.done());
    EXPECT_EQ(peer.type_list(), "1 9 1 8");
    EXPECT_EQ(read_file("hello"), "some\x18 bytes\x11");
    EXPECT_EQ(zDlog, nullptr);
    pump_port();
    EXPECT_NE(screen().find("$"), string::npos);
    EXPECT_EQ(peer.heard.frames[0].data, flags(0x27));
    EXPECT_EQ(gWholeFiles, 1);
}

TEST(Receiver, StartsByItselfOnlyOnAGoodStart)
{
    start_bench();
    scripted_peer peer{one_file("auto", "x")};
    peer.start();
    hl_line_say("rz\r**\x18"
                "B00000000000000\r\x8A\x11");
    for (int i = 0; i < 100 && !file_there("auto"); i++)
        ReadPort();
    EXPECT_EQ(read_file("auto"), "x");

    // A stray start costs little and changes nothing.
    peer.types.clear();
    for (string stray : {"*\x18"
                         "C",
                         "*\x18"
                         "B00000000000001\r\x8A"}) {
        uint32_t before = TickCount();
        hl_line_say(stray);
        pump_port();
        EXPECT_LT(TickCount() - before, 60u);
    }
    EXPECT_EQ(peer.type_list(), "");
    EXPECT_EQ(zDlog, nullptr);
}

// ---- every header ----------------------------------------------------------

struct header_row {
    const char *name;
    string say;
    string types; // what the receiver then sends
    int result = 0;
};

// Each row is said to the first ZRINIT. The offer comes with it, or in answer
// to what the receiver says to it.
TEST(Receiver, EveryHeaderBeforeAFile)
{
    const string bad = bin32_frame(ZFILE, flags(0)) + packet32("f", 'h');
    const header_row rows[] = {
        {"ZRQINIT", hex_frame(ZRQINIT, four(0)), "1 1 9"},
        {"ZSINIT", bin32_frame(ZSINIT, flags(0)) + packet32(string(1, 0), 'k'),
         "1 3 9"},
        {"ZSINIT with another end",
         bin32_frame(ZSINIT, flags(0)) + packet32(string(1, 0), 'h'), "1 6 9"},
        {"ZFILE with another end", bad, "1 6 9"},
        {"ZCOMPL", hex_frame(ZCOMPL, four(0)), "1 9"},
        {"ZFREECNT", hex_frame(ZFREECNT, four(0)), "1 3 9"},
        {"ZNAK", hex_frame(ZNAK, four(0)), "1 1 9"},
        {"ZRPOS", hex_frame(ZRPOS, four(0)), "1 1 9"},
        {"ZCOMMAND with another end",
         bin32_frame(ZCOMMAND, four(0)) + packet32("ls", 'h'), "1 6 9"},
        {"a damaged header", kDamaged, "1 1 9"},
    };
    for (const header_row &r : rows) {
        start_bench();
        Zmodem = 0;
        peer_rows peer = {{ZRINIT, r.say}};
        if (r.types == "1 9")
            peer[0].say += offer("f", "1");
        else
            peer.push_back({r.types[2] - '0', offer("f", "1")});
        peer.push_back({ZRPOS, send_all("x")});
        const answer a = receive(and_end(peer));
        EXPECT_EQ(a.result, 0) << r.name;
        EXPECT_EQ(a.types, r.types + " 1 8") << r.name;
    }
}

TEST(Receiver, EndsWithoutAFile)
{
    const string cmd =
        bin32_frame(ZCOMMAND, four(0)) + packet32(string("rm -rf *\0", 9), 'k');
    const header_row rows[] = {
        {"ZFIN", kFin + "OO", "1 8"},
        {"cancelled", cancel_string(), "1", 7},
        {"a command, not run", cmd, "1 15 8"},
        {"silence", "", "1 1 1 1 1", 7},
    };
    for (const header_row &r : rows) {
        start_bench();
        Zmodem = 0;
        const answer a =
            receive({{ZRINIT, r.say}, {ZCOMPL, kFin}, {ZFIN, "OO"}});
        EXPECT_EQ(a.result, r.result) << r.name;
        EXPECT_EQ(a.types.substr(0, r.types.size()), r.types) << r.name;
        EXPECT_TRUE(folder_list().empty()) << r.name;
        EXPECT_EQ(zDlog, nullptr);
    }
}

// The sender's "OO" may be lost, or be something else by damage.
TEST(Receiver, TheEndIsSaidUpToThreeTimes)
{
    struct row {
        string first, second;
        const char *types;
    };
    for (const row &r : {row{"", "", "1 8 8 8"}, row{"$ ", "$ ", "1 8 8 8"},
                         row{"x", "OO", "1 8 8"}}) {
        start_bench();
        const answer a = receive(
            {{ZRINIT, kFin}, {ZFIN, r.first}, {ZFIN, r.second}, {ZFIN, ""}});
        EXPECT_EQ(a.result, 0) << r.first;
        EXPECT_EQ(a.types, r.types) << r.first;
    }
}

// Each row is said to the first ZRPOS; the sender goes on with the whole file
// at the next one.
TEST(Receiver, EveryHeaderWithinAFile)
{
    const string body = random_bytes(700);
    const std::pair<const char *, string> rows[] = {
        {"ZNAK", hex_frame(ZNAK, four(0)) + packet32("x", 'h')},
        {"time-out", ""},
        {"damaged header", kDamaged},
        {"ZFILE again", offer("f", "700")},
        {"ZDATA elsewhere",
         bin32_frame(ZDATA, four(512)) + packet32("zz", 'h')},
        {"ZEOF elsewhere", hex_frame(ZEOF, four(4711))},
        {"damaged data",
         bin32_frame(ZDATA, four(0)) + "Q" + packet32(body, 'i')},
    };
    for (const auto &[name, say] : rows) {
        start_bench();
        const answer a = receive(and_end({{ZRINIT, offer("f", "700")},
                                          {ZRPOS, say},
                                          {ZRPOS, send_all(body)}}));
        EXPECT_EQ(a.result, 0) << name;
        EXPECT_EQ(a.types, "1 9 9 1 8") << name;
        EXPECT_EQ(read_file("f"), body) << name;
    }
}

TEST(Receiver, EmptySubpacketsAreNoFirstBlock)
{
    start_bench();
    const answer a = receive(
        and_end({{ZRINIT, offer("f", "3")},
                 {ZRPOS, bin32_frame(ZDATA, four(0)) + packet32("", 'i') +
                             packet32("", 'i') + packet32("abc", 'i') +
                             packet32("", 'h') + hex_frame(ZEOF, four(3))},
                 {ZRINIT, offer("none", "0")},
                 {ZRPOS, hex_frame(ZEOF, four(0))}}));
    EXPECT_EQ(a.result, 0);
    EXPECT_EQ(folder_list(), (std::vector<string>{"f", "none"}));
    EXPECT_EQ(read_file("f"), "abc");
    EXPECT_EQ(read_file("none"), "");
}

TEST(Receiver, WaysAFileEndsBadly)
{
    const string half =
        bin32_frame(ZDATA, four(0)) + packet32(string(300, 'a'), 'i');
    struct row {
        const char *name;
        string say;
        const char *words;
        bool kept;
    };
    const row rows[] = {
        {"sender cancels", half + cancel_string(), "Cancelled by sender.",
         true},
        {"sender cancels before data", cancel_string(), "", false},
        {"an unforeseen header",
         half + packet32("", 'h') + hex_frame(ZFERR, four(0)), "", true},
        {"sender is gone", half, "", true},
    };
    for (const row &r : rows) {
        start_bench();
        EXPECT_EQ(receive({{ZRINIT, offer("f", "700")}, {ZRPOS, r.say}}).result,
                  7)
            << r.name;
        EXPECT_NE(screen().find(r.words), string::npos) << r.name << screen();
        EXPECT_FALSE(file_there("f")) << r.name;
        EXPECT_EQ(file_there(partial("f")), r.kept) << r.name;
        EXPECT_EQ(read_file(partial("f")), string(r.kept ? 300 : 0, 'a'));
    }
}

// ---- what is taken ---------------------------------------------------------

// A file whose end comes too early isn't whole, and the sender hears that we
// don't take it. The next one comes all the same.
TEST(Receiver, AFileShorterThanOfferedIsNotWhole)
{
    for (size_t came : {0u, 300u}) {
        start_bench();
        const answer a = receive(and_end({{ZRINIT, offer("short", "1000")},
                                          {ZRPOS, send_all(string(came, 'a'))},
                                          {ZSKIP, offer("next", "2")},
                                          {ZRPOS, send_all("ok")}}));
        EXPECT_TRUE(a.done) << came << a.types;
        EXPECT_FALSE(file_there("short")) << came;
        EXPECT_EQ(read_file(partial("short")), string(came, 'a'));
        EXPECT_EQ(read_file("next"), "ok");
        EXPECT_EQ(gWholeFiles, 1);
        EXPECT_EQ(gSkippedFiles, 1);
        EXPECT_NE(screen().find("shorter than its length"), string::npos);
    }
}

TEST(Receiver, OfferedLengths)
{
    struct row {
        const char *length;
        const char *types; // 5: refused before its first byte, or at its end
    };
    const row rows[] = {
        {"2000000000", "1 9 5 8"},
        {"2147483647", "1 9 5 8"},
        {"2147483648", "1 5 8"},
        {"4294967299", "1 5 8"},
        {"99999999999999999999", "1 5 8"},
        {"", "1 9 1 8"},
        {"-5", "1 9 1 8"},
        {"0", "1 9 1 8"},
    };
    for (const row &r : rows) {
        start_bench();
        const bool refused = r.types[2] == '5';
        peer_rows peer = {{ZRINIT, offer("f", r.length)}};
        if (!refused)
            peer.push_back({ZRPOS, send_all("abc")});
        peer.push_back({r.types[refused ? 2 : 4] - '0', kFin});
        peer.push_back({ZFIN, "OO"});
        EXPECT_EQ(receive(peer).types, r.types) << r.length << screen();
        EXPECT_EQ(screen().find("too long") != string::npos, refused);
    }
}

// Of an empty file no partial one is the beginning.
TEST(Receiver, AnEmptyOfferResumesNothing)
{
    start_bench();
    write_file(partial("f"), string(500, 'p'));
    EXPECT_EQ(receive(and_end({{ZRINIT, offer("f", "0")},
                               {ZRPOS, hex_frame(ZEOF, four(0))}}))
                  .result,
              0);
    EXPECT_TRUE(file_there("f"));
    EXPECT_EQ(read_file("f"), "");
    EXPECT_EQ(read_file(partial("f")), string(500, 'p'));
}

TEST(Receiver, SkippedBySenderOrUs)
{
    start_bench();
    write_file("old", "precious");
    const answer a =
        receive(and_end({{ZRINIT, offer("first", "10")},
                         {ZRPOS, hex_frame(ZSKIP, four(0))},
                         {ZRINIT, offer("old", "3", 0, 7)}, // protected
                         {ZSKIP, offer("last", "2")},
                         {ZRPOS, send_all("ok")}}));
    EXPECT_EQ(a.result, 0);
    EXPECT_TRUE(a.done);
    EXPECT_EQ(read_file("old"), "precious");
    EXPECT_EQ(read_file("last"), "ok");
    EXPECT_FALSE(file_there("first"));
    EXPECT_EQ(gSkippedFiles, 2);
    EXPECT_NE(screen().find("Sender SKIPPED file"), string::npos);
    EXPECT_NE(screen().find("old: File exists, Skipped"), string::npos);
}

// What the sender asks to be done about a file that exists.
TEST(Receiver, ManagementOfFilesThatExist)
{
    // Our file: 8 bytes, of 1700000000.
    struct row {
        int zf1;
        const char *figures;
        bool taken;
    };
    const row rows[] = {
        {1, "4 14524770401", true}, // newer
        {1, "4 1000000000", false}, // older and shorter
        {1, "9 1000000000", true},  // older but longer
        {2, "9 0", true},           {2, "8 0", false},
        {4, "1 0", true},           {5, "1 14524770401", true},
        {5, "1 1000000000", false}, {6, "8 14524770400", false},
        {6, "7 14524770400", true}, {7, "9 14524770401", false},
    };
    for (const row &r : rows) {
        start_bench();
        write_file("f", "12345678");
        struct timespec times[2] = {{1700000000, 0}, {1700000000, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, (scratch() + "/f").c_str(), times, 0), 0);
        const string body(size_t(r.figures[0] - '0'), 'n');
        const string offered = offer("f", r.figures, 0, uint8_t(r.zf1));
        if (r.taken)
            receive(and_end({{ZRINIT, offered}, {ZRPOS, send_all(body)}}));
        else
            receive({{ZRINIT, offered}, {ZSKIP, kFin}, {ZFIN, "OO"}});
        EXPECT_EQ(read_file("f"), r.taken ? body : "12345678")
            << r.zf1 << " " << r.figures;
    }
}

TEST(Receiver, AcknowledgesWhatAsksForIt)
{
    start_bench();
    std::vector<uint32_t> acks;
    auto note = [&](const frame &f) { acks.push_back(f.position()); };
    const answer a = receive(and_end(
        {{ZRINIT, offer("f", "254")},
         {ZRPOS, bin32_frame(ZDATA, four(0)) + packet32(string(100, 'a'), 'j') +
                     packet32(string(50, 'b'), 'i') +
                     packet32(string(50, 'c'), 'k')},
         {ZACK, "", note},
         {ZACK,
          bin32_frame(ZDATA, four(200)) + packet32(string(54, 'd'), 'h') +
              hex_frame(ZEOF, four(254)),
          note}}));
    EXPECT_EQ(a.result, 0);
    EXPECT_EQ(acks, (std::vector<uint32_t>{100, 200}));
    EXPECT_EQ(read_file("f").size(), 254u);
}

// ---- cancelling ------------------------------------------------------------

static void press_cancel()
{
    hl_type(".", cmdKey);
}

TEST(Receiver, UserCancelsAnywhere)
{
    // In the silence before, in the middle of data, between two subpackets.
    for (int when = 0; when < 3; when++) {
        start_bench();
        data = kData7;
        parity = kParityEven;
        peer_rows rows;
        if (when > 0)
            rows = {{ZRINIT, offer("f", "5000")},
                    {ZRPOS, bin32_frame(ZDATA, four(0)) +
                                packet32(string(500, 'a'), 'i') +
                                (when == 1 ? string(40, 'b') : "")}};
        hl_after(90, press_cancel);
        uint32_t before = TickCount();
        const answer a = receive(rows);
        EXPECT_EQ(a.result, 7);
        EXPECT_LT(TickCount() - before, 60u * 6) << when;
        EXPECT_EQ(zDlog, nullptr);
        EXPECT_EQ(UserCancel, 0) << "what comes next runs whole";
        EXPECT_EQ(data, kData7) << "the line is as it was";
        EXPECT_EQ(parity, kParityEven);
        if (when > 0) {
            EXPECT_NE(a.raw.find(cancel_string()), string::npos) << when;
            EXPECT_EQ(read_file(partial("f")), string(500, 'a'));
        }
        hl_line_say("prompt> ");
        pump_port();
        EXPECT_NE(screen().find("prompt>"), string::npos) << when;
    }
}

// A sender in full stream, at 11,520 bytes a second, is answered at once.
TEST(Receiver, CancelWithinTheStreamIsQuick)
{
    start_bench();
    hl_line_speed(11520);
    string stream = bin32_frame(ZDATA, four(0));
    for (int i = 0; i < 200; i++)
        stream += packet32(random_bytes(1000, unsigned(i)), 'i');
    int64_t pressed = 0, answered = 0;
    hl_after(200, [&] {
        pressed = hl_now();
        press_cancel();
    });
    hl_line_fault([&](uint8_t &byte, bool out) {
        if (out && byte == 0x18 && pressed && !answered)
            answered = hl_now();
        return true;
    });
    EXPECT_EQ(receive({{ZRINIT, offer("f", "200000")}, {ZRPOS, stream}}).result,
              7);
    hl_line_fault({});
    ASSERT_NE(answered, 0);
    EXPECT_LT(answered - pressed, 200000);
}

// Floods of what is read on and on: none outlasts the user's cancel.
TEST(Receiver, FloodsCanBeCancelled)
{
    auto many = [](const string &one) {
        string all;
        while (all.size() < 200000)
            all += one;
        return all;
    };
    const string offered = offer("f", "9");
    const std::pair<const char *, string> rows[] = {
        {"flow bytes", many("\x11\x13")},
        {"flow bytes in a header", "*" + many("\x11")},
        {"flow bytes behind an escape", "*\x18"
                                        "A\x18" +
                                            many("\x13")},
        {"frames that mean nothing", many(hex_frame(ZCOMPL, four(0)))},
        {"wrong ends of file", offered + many(hex_frame(ZEOF, four(7)))},
        {"empty subpackets",
         offered + bin32_frame(ZDATA, four(0)) + many(packet32("", 'i'))},
        {"pauses of an attention string",
         bin32_frame(ZSINIT, flags(0)) + packet32(string(31, '\xDE'), 'k') +
             offered + many(bin32_frame(ZDATA, four(99)))},
    };
    for (const auto &[name, flood] : rows) {
        start_bench();
        hl_line_speed(20000);
        hl_line_say(flood);
        hl_after(120, press_cancel);
        uint32_t before = TickCount();
        EXPECT_EQ(rz(kModeZ), 7) << name;
        EXPECT_LT(TickCount() - before, 60u * 30) << name;
    }
}

TEST(Receiver, SevenBitLineIsEightForTheTransfer)
{
    start_bench();
    data = kData7;
    parity = kParityEven;
    int16_t during = 0;
    peer_rows rows = one_file("x", "y");
    rows[1].act = [&](const frame &) { during = data; };
    EXPECT_EQ(receive(rows).result, 0);
    EXPECT_EQ(during, kData8);
    EXPECT_EQ(data, kData7);
    EXPECT_EQ(parity, kParityEven);
}
