// The ZMODEM sender against a receiver of ours on the false clock.
#include "tests/support/bench.h"

#include "transfer/kermit.h"

#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using std::string;

static const string kInit = hex_frame(ZRINIT, flags(0x23));

static string reply(int type, uint32_t pos = 0)
{
    return hex_frame(type, four(pos));
}

// Sends the files to the receiver, whose first ZRINIT stands on the line.
static int32_t send(live_receiver &peer, const std::vector<string> &names)
{
    int n = choose_files(names);
    hl_line_say(peer.init);
    peer.begin();
    return sz(n, sendFSS, 'Z');
}

// The bench with a file "f" of so many random bytes, which are returned.
static string start_with(size_t size, char convert = 'B', bool escape = false)
{
    start_bench(convert, escape);
    const string body = random_bytes(size);
    write_file("f", body);
    return body;
}

// Frame ends and lengths: "1024k 452h". Runs are counted: "1024i*7".
static string shape(const frame &f)
{
    string out;
    for (size_t i = 0; i < f.packets.size();) {
        size_t same = i;
        auto alike = [&](const sub_packet &p) {
            return p.end == f.packets[i].end &&
                   p.data.size() == f.packets[i].data.size();
        };
        while (same < f.packets.size() && alike(f.packets[same]))
            same++;
        out += (out.empty() ? "" : " ") +
               std::to_string(f.packets[i].data.size()) + f.packets[i].end;
        if (same - i > 1)
            out += "*" + std::to_string(same - i);
        i = same;
    }
    return out;
}

static frame nth(const live_receiver &peer, int type, int n = 0)
{
    for (const frame &f : peer.heard.frames)
        if (f.type == type && n-- == 0)
            return f;
    ADD_FAILURE() << "no frame of type " << type;
    return {};
}

static size_t data_bytes(const live_receiver &peer)
{
    size_t n = 0;
    for (const frame &f : peer.heard.frames)
        for (const sub_packet &p : f.packets)
            n += f.type == ZDATA ? p.data.size() : 0;
    return n;
}

TEST(Sender, GivesABatchAndEnds)
{
    start_bench();
    put_file("empty", "");
    put_file("a b;c", all_bytes(3000));
    put_file("block", string(1024, 'b'));
    live_receiver peer;
    EXPECT_EQ(send(peer, {"empty", "a b;c", "block"}), 0);
    EXPECT_EQ(peer.type_list(), "0 4 10 11 4 10 11 4 10 11 8");
    EXPECT_FALSE(peer.heard.damaged);
    // A full last block is followed by an empty one that ends the frame.
    const char *const rows[][2] = {
        {"0 014524770400 0 0 3 4024", "0h"},
        {"3000 014524770400 0 0 2 4024", "1024i*2 952h"},
        {"1024 014524770400 0 0 1 1024", "1024i 0h"},
    };
    const string names[] = {"empty", "a b;c", "block"};
    for (int i = 0; i < 3; i++) {
        const frame offer = nth(peer, ZFILE, i);
        EXPECT_EQ(offer.form, 'C');
        EXPECT_EQ(offer.data, flags(0));
        ASSERT_EQ(offer.packets.size(), 1u);
        EXPECT_EQ(offer.packets[0].data, file_block(names[i], rows[i][0]));
        EXPECT_EQ(offer.packets[0].end, 'k');
        EXPECT_EQ(shape(nth(peer, ZDATA, i)), rows[i][1]);
    }
    EXPECT_EQ(nth(peer, ZEOF, 1).position(), 3000u);
    EXPECT_EQ(peer.file(), string(1024, 'b'));
    EXPECT_EQ(peer.raw.substr(peer.raw.size() - 2), "OO");
    EXPECT_EQ(gWholeFiles, 3);
    expect_shown("### Send (Z) a b;c: 3000 bytes, ");
    EXPECT_EQ(zDlog, nullptr);
}

// ---- every answer ----------------------------------------------------------

static const string kBadInit = "**\030B01000000230000\r\x8A",
                    kBadAny = "**\030B09000000000000\r\x8A";

// What the receiver says to the nth frame of a type in place of its usual
// answer, and what the sender then does. A block asks for an answer behind a
// ZRPOS, so ZDATA 1 is the first that hears one.
TEST(Sender, EveryAnswer)
{
    struct row {
        int type, nth;
        const char *name;
        string say;
        string types; // of all frames, up to where the sender gives up
        bool works;
        const char *words = "";
    };
    const string off = cancel_string(), gone = "Cancelled by receiver";
    const row rows[] = {
        {ZRQINIT, 0, "ZRINIT", "*" + kInit, "0 4 10 11 8", true},
        {ZRQINIT, 0, "ZCHALLENGE", "*" + reply(ZCHALLENGE, 4711) + kInit,
         "0 3 4 10 11 8", true},
        {ZRQINIT, 0, "our request come back",
         "*" + hex_frame(ZRQINIT, flags(18)) + kInit, "0 4 10 11 8", true},
        {ZRQINIT, 0, "any other", "*" + reply(ZACK) + kInit, "0 6 4 10 11 8",
         true},
        {ZRQINIT, 0, "damaged", "*" + kBadInit + kInit, "0 6 4 10 11 8", true},
        {ZRQINIT, 0, "cancel", "*" + off, "0", false},
        {ZRQINIT, 0, "silence", "*", "0", false},
        {ZFILE, 0, "ZSKIP", reply(ZSKIP), "0 4 8", true},
        {ZFILE, 0, "ZRINIT first", kInit + reply(ZRPOS), "0 4 10 11 8", true},
        {ZFILE, 0, "any other", reply(ZACK), "0 4 4 10 11 8", true},
        {ZFILE, 0, "damaged", kBadAny, "0 4 4 10 11 8", true},
        {ZFILE, 0, "ZABORT", reply(ZABORT), "0 4", false},
        {ZFILE, 0, "ZFIN", reply(ZFIN), "0 4", false},
        {ZFILE, 0, "cancel", off, "0 4", false},
        {ZFILE, 0, "silence", "", "0 4", false},
        {ZDATA, 1, "ZACK", reply(ZACK, 1024), "0 4 10 10 10 11 8", true},
        {ZDATA, 1, "ZACK of an older place, then ours",
         reply(ZACK, 0) + reply(ZACK, 1024), "0 4 10 10 10 11 8", true},
        {ZDATA, 1, "ZSKIP", reply(ZSKIP), "0 4 10 10 8", true,
         "Skipped by receiver"},
        {ZDATA, 1, "ZRPOS", reply(ZRPOS, 0), "0 4 10 10 10 10 11 8", true},
        {ZDATA, 1, "damaged, then good", kBadAny + reply(ZACK, 1024),
         "0 4 10 10 6 10 11 8", true},
        {ZDATA, 1, "ZABORT", reply(ZABORT), "0 4 10 10", false, gone.c_str()},
        {ZDATA, 1, "ZFIN", reply(ZFIN), "0 4 10 10", false, gone.c_str()},
        {ZDATA, 1, "cancel", off, "0 4 10 10", false, gone.c_str()},
        {ZDATA, 1, "silence", "", "0 4 10 10", false, gone.c_str()},
        {ZEOF, 0, "ZACK", reply(ZACK, 3000), "0 4 10 11 11 8", true},
        {ZEOF, 0, "ZRPOS", reply(ZRPOS, 1), "0 4 10 11 10 10 11 8", true},
        {ZEOF, 0, "ZSKIP", reply(ZSKIP), "0 4 10 11 8", true},
        {ZEOF, 0, "any other", reply(ZCOMPL), "0 4 10 11 6", false},
        {ZEOF, 0, "cancel", off, "0 4 10 11", false},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(std::to_string(r.type) + " " + r.name);
        start_with(3000);
        live_receiver peer;
        if (r.type == ZDATA)
            peer.instead[{ZDATA, 0}] = reply(ZRPOS, 0);
        peer.instead[{r.type, r.nth}] = r.say;
        EXPECT_EQ(send(peer, {"f"}), r.works ? 0 : 128);
        EXPECT_EQ(peer.type_list(), r.types);
        expect_shown(r.words);
        if (!r.works) {
            EXPECT_NE(peer.raw.find(cancel_string()), string::npos);
        }
        EXPECT_EQ(zSendRef, 0);
        EXPECT_EQ(zDlog, nullptr);
    }
}

// ---- meeting the receiver --------------------------------------------------

TEST(Sender, FollowsTheReceiversAbilities)
{
    const struct {
        const char *name;
        string init;
        bool escape; // our setting
        char form;   // of binary headers
        bool sinit;  // ZSINIT comes
        const char *first;
    } rows[] = {
        {"CRC-32", kInit, false, 'C', false, "1024i*2 452h"},
        {"CRC-16 only", hex_frame(ZRINIT, flags(0x03)), false, 'A', false,
         "1024i*2 452h"},
        {"it wants all escaped", hex_frame(ZRINIT, flags(0x63)), false, 'C',
         false, "1024i*2 452h"},
        {"we want it", kInit, true, 'C', true, "1024i*2 452h"},
        {"a small buffer", hex_frame(ZRINIT, string("\0\2\0\x23", 4)), false,
         'C', false, "512k"},
    };
    for (const auto &r : rows) {
        start_bench('B', r.escape);
        const string body = all_bytes(2500);
        write_file("f", body);
        live_receiver peer;
        peer.init = r.init;
        EXPECT_EQ(send(peer, {"f"}), 0) << r.name;
        EXPECT_EQ(nth(peer, ZFILE).form, r.form) << r.name;
        EXPECT_EQ(shape(nth(peer, ZDATA)), r.first) << r.name;
        EXPECT_EQ(peer.type_list().find("0 2 ") == 0, r.sinit) << r.name;
        EXPECT_EQ(peer.file(), body) << r.name;
        bool bare = peer.raw.find("\x01\x02\x03") != string::npos;
        EXPECT_EQ(bare, !r.escape && r.init != rows[2].init) << r.name;
    }
}

// ---- places and files -----------------------------------------------------

TEST(Sender, ResumesWhereTheReceiverWants)
{
    const string body = start_with(5000);
    live_receiver peer;
    peer.start = 3333;
    EXPECT_EQ(send(peer, {"f"}), 0);
    EXPECT_EQ(nth(peer, ZDATA).position(), 3333u);
    EXPECT_EQ(peer.file().substr(3333), body.substr(3333));
    expect_shown("% Resume");
}

// A place beyond the file, or one that no 31 bits hold: nothing is read there.
TEST(Sender, AFileThatShrinksIsNotWhole)
{
    start_with(100000);
    live_receiver rx;
    rx.packet = [](const frame &, size_t) {
        (void)!truncate((scratch() + "/f").c_str(), 50000);
    };
    int n = choose_files({"f"});
    rx.begin();
    (void)sz(n, sendFSS, 'Z');
    EXPECT_EQ(gWholeFiles, 0);
    expect_shown(" Incomplete");
}

TEST(Sender, PlacesThatAreNone)
{
    for (uint32_t start : {6000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (char convert : {'B', 'M'}) {
            start_with(5000, convert);
            live_receiver peer;
            peer.start = start;
            peer.instead[{ZEOF, 0}] = kInit;
            (void)send(peer, {"f"});
            EXPECT_EQ(data_bytes(peer), 0u) << start << convert;
            EXPECT_EQ(gWholeFiles, 0) << start << convert;
        }
    }
}

// What can't go whole is named, and not sent; the others are.
TEST(Sender, WhatCannotGoWholeDoesNotGo)
{
    auto sparse = [](const char *name, off_t length) {
        write_file(name, "x");
        ASSERT_EQ(truncate((scratch() + "/" + name).c_str(), length), 0);
    };
    const struct {
        const char *what;
        char convert;
        std::function<void(const char *)> make;
        bool sent;
    } rows[] = {
        {"folder", 'B',
         [](const char *n) { mkdir((scratch() + "/" + n).c_str(), 0777); },
         false},
        {"pipe", 'B',
         [](const char *n) { mkfifo((scratch() + "/" + n).c_str(), 0777); },
         false},
        {"vanished", 'B', [](const char *) {}, false},
        {"2GiB", 'B', [&](const char *n) { sparse(n, off_t(1) << 31); }, false},
        {"5GiB", 'T', [&](const char *n) { sparse(n, off_t(5) << 30); }, false},
        {"300MB", 'M', [&](const char *n) { sparse(n, 300000000); }, false},
        {"usual", 'M', [](const char *n) { write_file(n, "abc"); }, true},
    };
    for (const auto &r : rows)
        for (bool alone : {true, false}) {
            start_bench(r.convert);
            write_file("good", "whole");
            write_file(r.what, "");
            std::vector<string> names = {r.what};
            if (!alone)
                names.push_back("good");
            int n = choose_files(names);
            unlink((scratch() + "/" + r.what).c_str());
            r.make(r.what);
            live_receiver peer;
            hl_line_say(peer.init);
            peer.begin();
            EXPECT_EQ(sz(n, sendFSS, 'Z') == 0, r.sent) << r.what;
            EXPECT_EQ(gWholeFiles, r.sent + !alone) << r.what << alone;
            EXPECT_EQ(gSkippedFiles, !r.sent) << r.what;
            const size_t at = screen().find(string(r.what) + ":");
            EXPECT_NE(at, string::npos) << r.what << screen();
            EXPECT_EQ(screen().find("ot sent", at) != string::npos, !r.sent);
            if (r.sent)
                continue;
            hl_line_peer({});
            curSendFSS = sendFSS[0];
            EXPECT_EQ(KermSend(), 1) << r.what;
            EXPECT_EQ(gSkippedFiles, 1) << r.what;
        }
}

// ---- the stream ------------------------------------------------------------

TEST(Sender, ErrorsInTheStreamAreHeardWithoutAStop)
{
    const string body = start_with(20000);
    live_receiver peer;
    int complaints = 0;
    peer.packet = [&](const frame &f, size_t i) {
        // Once, in the middle of the stream: from 4096 again.
        if (f.type == ZDATA && f.position() == 0 && i == 6 && !complaints++)
            hl_line_say(reply(ZRPOS, 4096));
    };
    EXPECT_EQ(send(peer, {"f"}), 0);
    EXPECT_EQ(complaints, 1);
    // Behind such a ZRPOS the first block asks for an answer.
    EXPECT_EQ(nth(peer, ZDATA, 1).position(), 4096u);
    EXPECT_EQ(shape(nth(peer, ZDATA, 1)), "1024k");
    EXPECT_EQ(nth(peer, ZDATA, 2).position(), 5120u);
    EXPECT_EQ(peer.file(), body);
    EXPECT_LT(nth(peer, ZDATA, 0).packets.size(), 12u) << "heard too late";
}

// Two complaints in a row, about different places: the block in hand is that
// of the first.
TEST(Sender, TwoPlacesInARow)
{
    const string body = start_with(9000);
    live_receiver peer;
    peer.instead[{ZDATA, 0}] = reply(ZRPOS, 0) + reply(ZRPOS, 2048);
    EXPECT_EQ(send(peer, {"f"}), 0);
    for (const auto &[at, bytes] : peer.parts)
        EXPECT_EQ(bytes, body.substr(at, bytes.size())) << at;
}

TEST(Sender, BacksOffAndGrowsAgain)
{
    start_with(40000);
    live_receiver peer;
    for (int i = 0; i < 12; i++)
        peer.instead[{ZDATA, i}] = reply(ZRPOS, 0);
    EXPECT_EQ(send(peer, {"f"}), 0);
    EXPECT_EQ(shape(nth(peer, ZDATA, 4)), "1024k");
    // More than four times the same place: half, then a quarter, not less.
    EXPECT_EQ(shape(nth(peer, ZDATA, 6)).substr(0, 4), "1024");
    size_t least = 1024;
    for (const frame &f : peer.heard.frames)
        for (const sub_packet &p : f.packets)
            if (f.type == ZDATA && p.end != 'h')
                least = std::min(least, p.data.size());
    EXPECT_EQ(least, 256u);
    // Then 8 clean blocks double it.
    string last = shape(nth(peer, ZDATA, 13));
    EXPECT_NE(last.find("1024i"), string::npos) << last;
}

TEST(Sender, BlockSizesByLineAndSetting)
{
    const struct {
        int32_t speed;
        char block;
        uint16_t window;
        const char *frame;  // its shape
        uint8_t buffer = 0; // of the receiver, in 256 bytes
    } rows[] = {
        {9600, 'A', 0, "1024i*9 784h"},
        {9600, '2', 0, "256i*39 16h"},
        {9600, '5', 0, "512i*19 272h"},
        // Eight clean blocks double the size, where nothing fixes it.
        {2400, 'A', 0, "512i*8 1024i*5 784h"},
        {1200, 'A', 0, "256i*8 512i*8 1024i*3 784h"},
        {1200, 'k', 0, "1024i*9 784h"},
        // A window of 1024: blocks of a quarter, each one acknowledged.
        {9600, 'A', 1024, "256j*39 16h"},
        {9600, 'A', 4096, "1024j*9 784h"},
        // Blocks that grow never pass the receiver's buffer.
        {1200, 'A', 0, "256i 256k", 2},
    };
    for (const auto &r : rows) {
        start_bench();
        Baudrate = r.speed;
        cset.zBlockChar = r.block;
        cset.zWindow = r.window;
        write_file("f", random_bytes(10000));
        live_receiver peer;
        peer.init = hex_frame(ZRINIT, {0, char(r.buffer), 0, '\x23'});
        EXPECT_EQ(send(peer, {"f"}), 0);
        EXPECT_EQ(shape(nth(peer, ZDATA)), r.frame) << r.speed << r.block;
        size_t most = 0;
        for (const auto &[at, bytes] : peer.parts)
            most = std::max(most, bytes.size());
        EXPECT_EQ(most, r.buffer ? r.buffer * 256u : most);
    }
}

TEST(Sender, WindowHoldsTheStream)
{
    start_bench();
    cset.zWindow = 2048;
    write_file("f", random_bytes(20000));
    live_receiver peer;
    uint32_t acked = 1024;
    bool over = false;
    peer.packet = [&](const frame &f, size_t i) {
        if (f.type != ZDATA)
            return;
        uint32_t at = f.position();
        for (size_t k = 0; k <= i; k++)
            at += uint32_t(f.packets[k].data.size());
        over = over || at > acked + 2048 + 512;
        if (f.packets[i].end == 'j' || f.packets[i].end == 'k')
            acked = at;
    };
    EXPECT_EQ(send(peer, {"f"}), 0);
    EXPECT_FALSE(over);
    EXPECT_GT(peer.asked.size(), 30u);
}

TEST(Sender, UserCancelsAnywhere)
{
    using answers = decltype(live_receiver::instead);
    const answers rows[] = {
        {{{ZRQINIT, 0}, ""}},
        {{{ZFILE, 0}, ""}},
        {{{ZDATA, 0}, reply(ZRPOS)}, {{ZDATA, 1}, ""}},
        {{{ZEOF, 0}, ""}},
    };
    for (const answers &row : rows) {
        SCOPED_TRACE(row.begin()->first.first);
        start_with(50000);
        data = kData7;
        parity = kParityEven;
        live_receiver peer;
        peer.instead = row;
        const uint32_t pressed = cancel_after(200);
        EXPECT_EQ(send(peer, {"f"}), 128);
        expect_cancelled(pressed, 60 * 5);
        EXPECT_NE(peer.raw.find(cancel_string()), string::npos);
        EXPECT_EQ(zSendRef, 0);
    }
}

// Floods of what is read on and on: none outlasts the user's cancel.
TEST(Sender, FloodsCanBeCancelled)
{
    const std::pair<const char *, string> rows[] = {
        {"flow bytes", many("\x11\x13")},
        {"flow bytes for a start", "*" + many("\x11")},
        {"offers to receive, cut short", many("**\030B01")},
        {"offers to receive", many(kInit)},
        {"acknowledgements of nothing",
         "*" + kInit + reply(ZRPOS) + many(reply(ZACK, 77))},
        {"the same place again and again", "*" + kInit + many(reply(ZRPOS, 5))},
    };
    for (const auto &[name, flood] : rows) {
        start_with(50000);
        int n = choose_files({"f"});
        hl_line_speed(20000);
        hl_line_say(flood);
        const uint32_t pressed = cancel_after(200);
        EXPECT_EQ(sz(n, sendFSS, 'Z'), 128) << name;
        EXPECT_LT(int32_t(TickCount() - pressed), 60 * 9) << name;
        EXPECT_EQ(zSendRef, 0) << name;
    }
}

TEST(Sender, ShowsTheHostsPromptAndTellsItToReceive)
{
    start_bench();
    write_file("f", "abc");
    gLocalStrings = NewStrList();
    SetStrInList(gLocalStrings, 5, PSTR(""));
    SetStrInList(gLocalStrings, kStrZStart, PSTR("rz\r"));
    live_receiver peer;
    hl_line_say("rz waiting\xEF ");
    EXPECT_EQ(send(peer, {"f"}), 0);
    EXPECT_EQ(peer.raw.substr(0, 3), "rz\r");
    expect_shown("rz waitingo");
}
