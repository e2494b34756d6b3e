// XMODEM, XMODEM-1K, YMODEM and YMODEM-G, both ways, against peers that follow
// a table.
#include "dialogue.h"
#include "tests/support/bench.h"

#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/headless/headless.h"
#include "serial/IOKitSerial.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using std::string;

// ---- blocks by the tests' own hand -----------------------------------------

static const string kSOH = "\x01", kSTX = "\x02", kEOT = "\x04", kACK = "\x06",
                    kNAK = "\x15", kCAN = "\x18", kOff = cancel_string();

static string padded(const string &text, char with = 0x1A)
{
    size_t length = text.size() <= 128 ? 128 : 1024;
    return text + string(length - text.size(), with);
}

static string head(int number, size_t length)
{
    return (length <= 128 ? kSOH : kSTX) + char(number) + char(~number);
}

static string crc_block(int number, const string &text, char with = 0x1A)
{
    string all = padded(text, with);
    uint32_t crc = plain_crc16(all);
    return head(number, text.size()) + all + char(crc >> 8) + char(crc);
}

static string sum_block(int number, const string &text)
{
    string all = padded(text);
    int sum = 0;
    for (unsigned char c : all)
        sum += c;
    return head(number, text.size()) + all + char(sum);
}

static string name_of(const string &name, const string &figures = "")
{
    string text = name + string(1, 0) + figures;
    return crc_block(0, text, 0);
}

static const string kOne(128, 'a'), kTwo(128, 'b'), kBig(1024, 'c');

static string damaged(string block)
{
    block[20] ^= 0x40;
    return block;
}

static void fresh(uint8_t flags = 0)
{
    start_bench();
    cset.xferFlags = flags;
    for (const string &name : folder_list())
        unlink((scratch() + "/" + name).c_str());
}

static void name_it(const char *name)
{
    hl_modal_clear();
    hl_modal([name](WindowPtr w) {
        hl_edit(w, 2, name);
        hl_hit(w, 1);
    });
}

// What the folder holds, as "name: contents" with lengths for long ones.
static string folder()
{
    string out;
    for (const string &name : folder_list()) {
        string bytes = read_file(name);
        out += (out.empty() ? "" : " ") +
               (name.compare(0, 4, "ZRcv") == 0 ? "ZRcv" : name) +
               (name.back() == '\xA5' ? "..." : "") + ":" +
               std::to_string(bytes.size());
    }
    return out;
}

// ---- receiving by XMODEM ---------------------------------------------------

struct receive_row {
    const char *name;
    uint8_t flags; // of cset
    dialogue_rows rows;
    int result;
    string files; // then in the folder
    const char *words;
};

static void receive(const receive_row &r, int16_t mode)
{
    fresh(r.flags);
    name_it("f");
    play(r.name, r.rows, [&] {
        EXPECT_EQ(rz(mode), r.result);
        EXPECT_EQ(folder(), r.files);
        EXPECT_NE(screen().find(r.words), string::npos) << screen();
        EXPECT_EQ(zDlog, nullptr);
        EXPECT_EQ(gWholeFiles > 0, r.result == 0 && mode == kModeX);
    });
}

static const dialogue_rows kEnd = {says(kEOT), hears(kACK)};
static const dialogue_rows kFirst = {hears("C"), says(crc_block(1, kOne)),
                                     hears(kACK)};
static const dialogue_rows kOver = {hears(kOff)}; // rz gives up

TEST(XReceiver, EveryAnswerToABlock)
{
    const receive_row rows[] = {
        {"CRC", 0, kFirst + kEnd, 0, "f:128", "128 bytes"},
        {"checksum by the settings", kXferChecksum,
         dialogue_rows{hears(kNAK), says(sum_block(1, kOne)), hears(kACK)} +
             kEnd,
         0, "f:128", ""},
        {"blocks of 1K", kXfer1K,
         dialogue_rows{hears("CK"), says(crc_block(1, kBig)), hears(kACK),
                       says(crc_block(2, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:1152", "### Receive (X) ZRcv"},
        {"no byte at all", 0, dialogue_rows{hears("C")} + kEnd, 0, "f:0", ""},
        {"a block again", 0,
         kFirst +
             dialogue_rows{says(crc_block(1, kOne)), hears(kACK),
                           says(crc_block(2, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:256", ""},
        {"block 0 is a repeat, too", 0,
         dialogue_rows{hears("C"), says(crc_block(0, "x")), hears(kACK),
                       says(crc_block(1, kOne)), hears(kACK)} +
             kEnd,
         0, "f:128", ""},
        {"the first one damaged", 0,
         dialogue_rows{hears("C"), says(damaged(crc_block(1, kTwo)))} + kFirst +
             kEnd,
         0, "f:128", ""},
        {"a later one damaged, garbled, cut off", 0,
         kFirst +
             dialogue_rows{
                 says(damaged(crc_block(2, kTwo))), hears(kNAK, 6, 60),
                 says("\x01\x02\x02"), hears(kNAK, 6, 60),
                 says(crc_block(2, kTwo).substr(0, 100)), hears(kNAK, 480, 520),
                 says(crc_block(2, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:256", ""},
        {"noise between", 0,
         kFirst +
             dialogue_rows{says("noise"), hears(kNAK, 6, 60),
                           says(crc_block(2, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:256", ""},
        {"the kind of the file", 0,
         dialogue_rows{hears("C"), says("\x81\x04\xFB"), hears("C"),
                       does([] { EXPECT_EQ(zftype, 'T'); }),
                       says(crc_block(1, kOne)), hears(kACK)} +
             kEnd,
         0, "f:128", ""},
        {"a block without its first byte", 0,
         kFirst +
             dialogue_rows{says(crc_block(2, kTwo)), hears(kACK),
                           says(crc_block(3, kTwo)), hears(kACK),
                           says(crc_block(4, kTwo).substr(1)), hears(kNAK),
                           says(crc_block(4, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:512", ""},
        {"no kind of the file within it", 0,
         dialogue_rows{hears("C"), says(crc_block(1, string(128, 1))),
                       hears(kACK)} +
             dialogue_rows{says("\x81\x04\xFB"), hears(kNAK),
                           does([] { EXPECT_NE(zftype, 'T'); }),
                           says(crc_block(2, kTwo)), hears(kACK)} +
             kEnd,
         0, "f:256", ""},
        {"one CAN is an error", 0,
         kFirst +
             dialogue_rows{says(kCAN), silence(10), says(crc_block(2, kTwo)),
                           hears(kACK)} +
             kEnd,
         0, "f:256", ""},
        {"two end it", 0, kFirst + dialogue_rows{says(kCAN + kCAN)} + kOver, 7,
         "ZRcv...:128", "Sender CANcelled"},
        {"a number out of its order", 0,
         kFirst + dialogue_rows{says(crc_block(3, kOne))} + kOver, 7,
         "ZRcv...:128", ""},
        {"silence at first", 0,
         dialogue_rows{hears("C"), hears("C", 210, 230), hears("C", 210, 230),
                       hears(kNAK, 210, 230), hears(kNAK, 600, 620),
                       says(sum_block(1, kOne)), hears(kACK)} +
             kEnd,
         0, "f:128", ""},
        {"a dead sender", 0,
         times(3, {hears("C")}) + times(5, {hears(kNAK)}) +
             dialogue_rows{hears(kOff + kOff)},
         7, "", "Too many errors."},
        {"dead after a block", 0,
         kFirst + dialogue_rows{hears(kNAK, 600, 620)} +
             times(5, {hears(kNAK, 240, 260)}) +
             dialogue_rows{hears(kOff + kOff)},
         7, "ZRcv...:128", "Too many errors."},
    };
    for (const receive_row &r : rows)
        receive(r, kModeX);
}

TEST(XReceiver, NumbersGoRound)
{
    fresh();
    name_it("f");
    dialogue_rows rows = {hears("C")};
    string all;
    for (int i = 1; i <= 600; i++) {
        string part = random_bytes(128, unsigned(i));
        rows.push_back(says(crc_block(i, part)));
        rows.push_back(hears(kACK));
        all += part;
    }
    play("600 blocks", rows + kEnd, [&] {
        EXPECT_EQ(rz(kModeX), 0);
        EXPECT_EQ(read_file("f"), all);
    });
}

// ---- receiving by YMODEM ---------------------------------------------------

TEST(YReceiver, EveryStartAndEndOfAFile)
{
    const dialogue_rows last = {hears("C"), says(name_of("")), hears(kACK)};
    const dialogue_rows named = {hears("C"), says(name_of("f", "130 0 0")),
                                 hears(kACK), hears("C")};
    const dialogue_rows both = {says(crc_block(1, kOne)), hears(kACK),
                                says(crc_block(2, "bb")), hears(kACK)};
    const receive_row rows[] = {
        {"no file", 0, last, 0, "", ""},
        {"a batch", 0,
         named + both + kEnd +
             dialogue_rows{hears("C"), says(name_of("g", "1024")), hears(kACK),
                           hears("C"), says(crc_block(1, kBig)), hears(kACK)} +
             kEnd +
             dialogue_rows{hears("C"), says(name_of("none", "0")), hears(kACK),
                           hears("C")} +
             kEnd + last,
         0, "f:130 g:1024 none:0", "### Receive (Y) g: 1024 bytes"},
        {"a length that nobody told", 0,
         dialogue_rows{hears("C"), says(name_of("f")), hears(kACK),
                       hears("C")} +
             both + kEnd + last,
         0, "f:256", ""},
        {"our ACK of the name got lost", 0,
         named + dialogue_rows{says(name_of("f", "130 0 0")), hears(kACK)} +
             both + kEnd + last,
         0, "f:130", ""},
        {"that of the end got lost", 0,
         named + both + kEnd +
             dialogue_rows{hears("C"), says(kEOT), hears(kACK)} + last,
         0, "f:130", ""},
        {"a name in a long block", 0,
         dialogue_rows{hears("C"),
                       says(crc_block(0, padded(string(40, 'n') + string(1, 0) +
                                                    "128" + string(200, 0),
                                                0))),
                       hears(kACK), hears("C"), says(crc_block(1, kOne)),
                       hears(kACK)} +
             kEnd + last,
         0, string(30, 'n') + ":128", ""},
        {"no name block", 0,
         dialogue_rows{hears("C"), says(crc_block(1, kOne))} + kOver, 7, "",
         "### Receive (y) : Error getting filename (Block 0)."},
        {"an end before its length", 0,
         named +
             dialogue_rows{says(crc_block(1, kOne)), hears(kACK), says(kEOT)} +
             kOver,
         7, "f\xA5...:128", "File is shorter than its length."},
    };
    for (const receive_row &r : rows) {
        SCOPED_TRACE(r.name);
        fresh();
        hl_modal_clear();
        play(r.name, r.rows, [&] {
            EXPECT_EQ(rz(kModeY), r.result);
            EXPECT_EQ(folder(), r.files);
            EXPECT_NE(screen().find(r.words), string::npos) << screen();
        });
    }
}

TEST(YReceiver, SkippedFilesStay)
{
    fresh();
    write_file("old", "precious");
    hl_answer(2);
    play("skip",
         dialogue_rows{hears("C"), says(name_of("old", "128")), hears(kACK)} +
             kOver,
         [] { EXPECT_EQ(rz(kModeY), 7); });
    EXPECT_EQ(folder(), "old:8");
    EXPECT_EQ(gSkippedFiles, 1);
}

// Half a block that came badly leaves nothing behind the next one's end.
TEST(YReceiver, NameEndsWithItsBlock)
{
    fresh();
    string full(128, 'n'); // without an end of its own
    string junk(1024, '9');
    play("junk",
         {hears("C"), says(damaged(crc_block(0, junk))), hears("C"),
          says(crc_block(0, full)), hears(kACK), hears("C"),
          does([] { EXPECT_EQ(TotalBytes, kUnknownSize); }), cancels(),
          hears_the_rest()},
         [] { EXPECT_EQ(rz(kModeY), 7); });
}

TEST(YReceiver, StreamsWithG)
{
    const string three =
        crc_block(1, kBig) + crc_block(2, kBig) + crc_block(3, "end");
    const dialogue_rows named = {hears("G"), says(name_of("f", "2051")),
                                 hears("G")};
    fresh();
    play("whole",
         named + dialogue_rows{says(three + kEOT), hears(kACK), hears("G"),
                               says(name_of(""))},
         [] { EXPECT_EQ(rz(kModeG), 0); });
    EXPECT_EQ(read_file("f"), kBig + kBig + "end");
    EXPECT_NE(screen().find("### Receive (Yg) f: 2051"), string::npos)
        << screen();

    fresh();
    play("one error ends it",
         named + dialogue_rows{says(crc_block(1, kBig) +
                                    damaged(crc_block(2, kBig))),
                               hears(kOff + kOff)},
         [] { EXPECT_EQ(rz(kModeG), 7); });
    EXPECT_EQ(folder(), "f\xA5...:1024");
}

// ---- the user --------------------------------------------------------------

TEST(XYmodem, CancelsEndEveryStateAtOnce)
{
    struct row {
        const char *name;
        char mode; // of rz, or 's' and 'S' for a sender by X and Y
        dialogue_rows before;
    };
    const dialogue_rows y = {hears("C"), says(name_of("f", "999")), hears(kACK),
                             hears("C")};
    const row rows[] = {
        {"before the first block", 'x', {hears("C")}},
        {"within a block",
         'x',
         {hears("C"), says(crc_block(1, kOne).substr(0, 50))}},
        {"between blocks", 'x', kFirst},
        {"before a name", 'y', {hears("C")}},
        {"behind a name", 'y', y},
        {"before the receiver's start", 's', {}},
        {"behind a block", 's', {says("C"), hears(crc_block(1, kOne))}},
        {"at the end",
         's',
         {says("C"), hears(crc_block(1, kOne)), says(kACK), hears(kEOT)}},
        {"before the name", 'S', {}},
        {"a reply that is none",
         's',
         {says("C"), hears(crc_block(1, kOne)), says("?")}},
    };
    for (const row &r : rows) {
        bool sends = r.mode == 's' || r.mode == 'S';
        fresh();
        if (sends)
            write_file("f", kOne);
        data = kData7;
        uint32_t start = 0;
        play(r.name,
             r.before + dialogue_rows{silence(30),
                                      does([&] { start = TickCount(); }),
                                      cancels(), hears_the_rest()},
             [&] {
                 if (!sends)
                     EXPECT_EQ(rz(r.mode), 7);
                 else
                     EXPECT_NE(sz(choose_files({"f"}), sendFSS,
                                  r.mode == 's' ? 'x' : 'y'),
                               0);
             });
        EXPECT_LE(TickCount() - start, 60u * 3) << r.name; // with its rest
        EXPECT_EQ(data, kData7) << r.name;
        EXPECT_EQ(zDlog, nullptr) << r.name;
    }
}

// ---- sending ---------------------------------------------------------------

struct send_row {
    const char *name;
    char protocol;
    uint8_t flags;
    string bytes; // of the file "f"
    dialogue_rows rows;
    bool works;
    const char *words;
};

static void send(const send_row &r)
{
    fresh(r.flags);
    write_file("f", r.bytes);
    // A fixed date for the name block.
    timespec date[2] = {{1700000000, 0}, {1700000000, 0}};
    utimensat(AT_FDCWD, (scratch() + "/f").c_str(), date, 0);
    play(r.name, r.rows, [&] {
        int n = choose_files({"f"});
        EXPECT_EQ(sz(n, sendFSS, r.protocol) == 0, r.works);
        EXPECT_EQ(gWholeFiles, r.works);
        EXPECT_NE(screen().find(r.words), string::npos) << screen();
        EXPECT_EQ(UserCancel, 0);
    });
}

static const dialogue_rows kSent = {says(kACK), hears(kEOT), says(kACK)};

// One block of CRC and what is said to it.
static dialogue_rows block_and(const dialogue_rows &rows)
{
    return dialogue_rows{says("C"), hears(crc_block(1, kOne))} + rows;
}

TEST(XSender, EveryReplyToABlock)
{
    const string one = crc_block(1, kOne);
    const dialogue_rows again = dialogue_rows{hears(one)} + kSent;
    const dialogue_rows off = {hears(kOff)};
    const send_row rows[] = {
        {"ACK", 'x', 0, kOne, block_and(kSent), true,
         "### Send (x) f: 128 bytes"},
        {"NAK starts with checksums", 'x', 0, "end",
         dialogue_rows{says(kNAK), hears(sum_block(1, "end"))} + kSent, true,
         ""},
        {"C, K: blocks of 1K", 'x', 0, kBig + "d",
         dialogue_rows{says("CK"), hears(crc_block(1, kBig)), says(kACK),
                       hears(crc_block(2, "d"))} +
             kSent,
         true, "### Send (X) f"},
        {"C isn't taken", 'x', kXferChecksum, kOne,
         dialogue_rows{says("C"), silence(60), says(kNAK),
                       hears(sum_block(1, kOne), 0, 5)} +
             kSent,
         true, ""},
        {"CAN before the start", 'x', 0, kOne, dialogue_rows{says(kCAN)} + off,
         false, ""},
        {"no start at all", 'x', 0, kOne,
         dialogue_rows{hears(sum_block(1, kOne), 3600, 3700)} + kSent, true,
         ""},
        {"NAK", 'x', 0, kOne, block_and({says(kNAK)}) + again, true,
         "NAK on sector"},
        {"C at the first block asks for CRC", 'x', 0, kOne,
         dialogue_rows{says(kNAK), hears(sum_block(1, kOne)), says("C")} +
             again,
         true, "NAK on sector"},
        {"silence", 'x', 0, kOne, block_and({silence(3500)}) + again, true,
         "Timeout on sector ACK"},
        {"a burst", 'x', 0, kOne, block_and({says("ab")}) + again, true,
         "Got burst for sector ACK"},
        {"flow bytes are none", 'x', 0, kOne,
         block_and({says("\x13\x11"), silence(10)}) + kSent, true, ""},
        {"something, then NAK", 'x', 0, kOne,
         block_and({says("a"), silence(10), says(kNAK)}) + again, true,
         "NAK on sector"},
        {"something, then silence", 'x', 0, kOne,
         block_and({says("a"), silence(10), says(kACK)}) +
             dialogue_rows{hears(one, 3590, 3700)} + kSent,
         true, ""},
        {"CAN, then CAN", 'x', 0, kOne,
         block_and({says(kCAN), silence(10), says(kCAN)}) + off, false,
         "Cancelled"},
        {"nothing but NAK", 'x', 0, kOne,
         dialogue_rows{says("C")} + times(5, {hears(one), says(kNAK)}) + off,
         false, "Retry Count Exceeded"},
        {"the end asked for again", 'x', 0, kOne,
         block_and({says(kACK)}) +
             dialogue_rows{hears(kEOT), says(kNAK), hears(kEOT), says(kACK)},
         true, ""},
        {"the end never taken", 'x', 0, kOne,
         block_and({says(kACK)}) + times(5, {hears(kEOT)}) + off, false,
         "128 bytes"},
        {"nothing to be sent",
         'x',
         0,
         "",
         {says("C"), hears(kEOT), says(kACK)},
         true,
         ""},
        {"the file becomes shorter", 'x', 0, kOne + kTwo,
         dialogue_rows{silence(10), does([] {
                           ASSERT_EQ(truncate((scratch() + "/f").c_str(), 130),
                                     0);
                       }),
                       says("C"), hears(one), says(kACK)} +
             off,
         false, "File has become shorter."},
    };
    for (const send_row &r : rows)
        send(r);
}

// Lengths of the blocks of a file by 1K: a tail of up to 896 goes as short
// ones.
TEST(XSender, BlocksAtTheEndOfAFile)
{
    struct row {
        size_t size;
        const char *blocks; // K long, s short
    };
    for (const row &r :
         {row{895, "sssssss"}, row{896, "sssssss"}, row{897, "K"},
          row{1000, "K"}, row{1024, "K"}, row{1025, "Ks"},
          row{1920, "Ksssssss"}, row{1921, "KK"}, row{2048, "KK"}}) {
        string bytes = random_bytes(r.size, unsigned(r.size));
        dialogue_rows rows = {says("C")};
        size_t at = 0;
        int number = 1;
        for (const char *b = r.blocks; *b; b++) {
            size_t length = *b == 'K' ? 1024 : 128;
            string part = bytes.substr(at, length);
            part += string(length - part.size(), 0x1A);
            rows.push_back(hears(crc_block(number++, part), 0, 2));
            rows.push_back(says(kACK));
            at += length;
        }
        rows = rows + dialogue_rows{hears(kEOT), says(kACK)};
        send({std::to_string(r.size).c_str(), 'X', 0, bytes, rows, true, ""});
    }
}

// ---- sending by YMODEM -----------------------------------------------------

// The name block of "f", as a sender makes it: with the count of its blocks.
static string offer(const string &bytes)
{
    string text = string("f") + string(1, 0) + std::to_string(bytes.size()) +
                  " 014524770400 0 0 1 " + std::to_string(bytes.size());
    text += string(127 - text.size(), 0) + char((bytes.size() + 127) / 128);
    return crc_block(0, text);
}

TEST(YSender, EveryStart)
{
    const dialogue_rows last = {says("C"), hears(crc_block(0, string(128, 0))),
                                says(kACK)};
    const dialogue_rows short_file = {hears(offer("end")), says(kACK),
                                      says("C"), hears(crc_block(1, "end"))};
    const send_row rows[] = {
        {"C", 'y', 0, "end",
         dialogue_rows{says("C")} + short_file + kSent + last, true,
         "### Send (y) f: 3 bytes"},
        {"NAK before the name", 'y', 0, "end",
         dialogue_rows{says("?"), silence(10), says("C")} + short_file + kSent +
             last,
         true, ""},
        {"K", 'y', 0, kBig,
         dialogue_rows{says("K"), hears(offer(kBig)), says(kACK), says("C"),
                       hears(crc_block(1, kBig))} +
             kSent + last,
         true, "### Send (Y) f"},
        {"cancelled", 'y', 0, "end", {says(kOff), hears(kOff)}, false, ""},
        {"G streams",
         'Y',
         0,
         kBig + kBig + "end",
         {says("G"), hears(offer(kBig + kBig + "end")), says("G"),
          hears(crc_block(1, kBig) + crc_block(2, kBig) + crc_block(3, "end") +
                kEOT),
          says(kACK), says("G"), hears(crc_block(0, string(128, 0)))},
         true,
         "### Send (Yg) f: 2051 bytes"},
    };
    for (const send_row &r : rows)
        send(r);
}

// A name block has room for 127 bytes: a figure goes whole or not at all.
TEST(YSender, LongNamesTakeTheRoomOfFigures)
{
    struct row {
        size_t name;
        string figures;
    };
    for (const row &r :
         {row{101, "128 014524770400 0 0 1"}, row{105, "128 014524770400"},
          row{112, "128"}, row{122, "128"}, row{123, "128"}, row{124, ""},
          row{127, ""}, row{200, ""}}) {
        fresh();
        string name(r.name, 'n');
        write_file(name, kOne);
        timespec date[2] = {{1700000000, 0}, {1700000000, 0}};
        utimensat(AT_FDCWD, (scratch() + "/" + name).c_str(), date, 0);
        string told, first;
        hl_line_peer([&](const uint8_t *bytes, size_t n) {
            told.append(reinterpret_cast<const char *>(bytes), n);
            if (told.size() >= 133 && first.empty()) {
                first = told.substr(3, 128);
                hl_line_say(kOff);
            }
        });
        hl_line_say("C");
        (void)sz(choose_files({name}), sendFSS, 'Y');
        string text = first.substr(0, 128);
        EXPECT_EQ(text.find('\0'), std::min<size_t>(r.name, 127)) << r.name;
        if (r.name < 126) {
            EXPECT_EQ(string(text.c_str() + r.name + 1), r.figures) << r.name;
        }
    }
}
