// XMODEM, XMODEM-1K, YMODEM and YMODEM-G, both ways, against peers that follow
// a table.
#include "dialogue.h"
#include "tests/support/bench.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using std::string;

// ---- blocks by the tests' own hand -----------------------------------------

static string block(int number, string text, bool sum = false, char pad = 0x1A)
{
    const bool small = text.size() <= 128;
    uint32_t check = 0;

    text.resize(small ? 128 : 1024, pad);
    if (sum)
        for (unsigned char c : text)
            check += c;
    else
        check = plain_crc16(text);
    string out{small ? '\x01' : '\x02', char(number), char(~number)};
    out += text;
    if (!sum)
        out += char(check >> 8);
    return out + char(check);
}

static string named(const string &name, const string &figures = "")
{
    return block(0, name + string(1, 0) + figures, false, 0);
}

static const string kOne(128, 'a'), kTwo(128, 'b'), kBig(1024, 'c');

// The name block of our sender, with the count of blocks at its end.
static string offer(size_t size)
{
    string length = std::to_string(size);
    string text = "f" + string(1, 0) + length + " 014524770400 0 0 1 " + length;
    text.resize(127, 0);
    return block(0, text + char((size + 127) / 128));
}

static string damaged(string block)
{
    block[20] ^= 0x40;
    return block;
}

// Words of the tables: s is a block with a checksum, d a damaged one, K one of
// 1K; n name blocks, o our sender's.
static const dialogue_words kWords = {
    {"A", "\x06"},
    {"E", "\x04"},
    {"N", "\x15"},
    {"X", "\x18"},
    {"off", cancel_string()},
    {"flow", "\x13\x11"},
    {"text?", "\x81\x04\xFB"},
    {"head", "\x01\x02\x02"},
    {"0", block(0, "x")},
    {"1", block(1, kOne)},
    {"1s", block(1, kOne, true)},
    {"1d", damaged(block(1, kTwo))},
    {"1half", block(1, kOne).substr(0, 50)},
    {"1nul", block(1, string(128, 0))},
    {"1end", block(1, "end")},
    {"1ends", block(1, "end", true)},
    {"2", block(2, kTwo)},
    {"2d", damaged(block(2, kTwo))},
    {"2half", block(2, kTwo).substr(0, 100)},
    {"2bb", block(2, "bb")},
    {"3", block(3, kOne)},
    {"3end", block(3, "end")},
    {"4", block(4, kTwo)},
    {"4less", block(4, kTwo).substr(1)},
    {"K1", block(1, kBig)},
    {"K2", block(2, kBig)},
    {"K2d", damaged(block(2, kBig))},
    {"n", named("")},
    {"n130", named("f", "130 0 0")},
    {"n128", named("f", "128")},
    {"n0", named("none", "0")},
    {"ng", named("g", "1024")},
    {"n2051", named("f", "2051")},
    {"n?", named("f")},
    {"nK", block(0, string(40, 'n') + string(1, 0) + "128" + string(200, 0),
                 false, 0)},
    {"nold", named("old", "128")},
    {"nfull", block(0, string(128, 'n'))},
    {"njunk", damaged(block(0, string(1024, '9')))},
    {"o3", offer(3)},
    {"oK", offer(1024)},
    {"o2051", offer(2051)},
};

static void fresh(uint8_t flags = 0)
{
    start_bench();
    cset.xferFlags = flags;
}

// ---- receiving -------------------------------------------------------------

struct receive_row {
    const char *name;
    uint8_t flags; // of cset
    const char *rows;
    int result;
    const char *files; // then in the folder
    const char *words; // on the screen
};

static void receive(const receive_row &r, int16_t mode)
{
    fresh(r.flags);
    hl_modal([](WindowPtr w) {
        hl_edit(w, 2, "f");
        hl_hit(w, 1);
    });
    play(r.name, rows_of(r.rows, kWords), [&] {
        EXPECT_EQ(rz(mode), r.result);
        EXPECT_EQ(folder(), r.files);
        expect_shown(r.words);
        EXPECT_EQ(zDlog, nullptr);
    });
}

TEST(XReceiver, EveryAnswerToABlock)
{
    // clang-format off
    const receive_row rows[] = {
        {"CRC", 0, "<C >1 <A >E <A", 0, "f:128", "128 bytes"},
        {"checksum by the settings", kXferChecksum, "<N >1s <A >E <A",
         0, "f:128", ""},
        {"blocks of 1K", kXfer1K, "<CK >K1 <A >2 <A >E <A",
         0, "f:1152", "### Receive (X) ZRcv"},
        {"no byte at all", 0, "<C >E <A", 0, "f:0", ""},
        {"a block again", 0, "<C >1 <A >1 <A >2 <A >E <A", 0, "f:256", ""},
        {"block 0 is a repeat, too", 0, "<C >0 <A >1 <A >E <A",
         0, "f:128", ""},
        {"the first one damaged", 0, "<C >1d <C >1 <A >E <A", 0, "f:128", ""},
        {"damaged, garbled, cut off", 0,
         "<C >1 <A >2d <N@6-60 >head <N@6-60 >2half <N@480-520 >2 <A >E <A",
         0, "f:256", ""},
        {"noise between", 0, "<C >1 <A >noise <N@6-60 >2 <A >E <A",
         0, "f:256", ""},
        {"the kind of the file", 0, "<C >text? <C >1 <A >E <A",
         0, "f:128", ""},
        {"no kind within it", 0, "<C >1nul <A >text? <N >2 <A >E <A",
         0, "f:256", ""},
        {"a block without its first byte", 0,
         "<C >1 <A >2 <A >3 <A >4less <N >4 <A >E <A", 0, "f:512", ""},
        {"one CAN is an error", 0, "<C >1 <A >X ~10 >2 <A >E <A",
         0, "f:256", ""},
        {"two end it", 0, "<C >1 <A >X+X <off", 7, "ZRcv...:128",
         "Sender CANcelled"},
        {"out of its order", 0, "<C >1 <A >3 <off", 7, "ZRcv...:128", ""},
        {"silence at first", 0,
         "<C <C@210-230 <C@210-230 <N@210-230 <N@600-620 >1s <A >E <A",
         0, "f:128", ""},
        {"a dead sender", 0, "3x<C 5x<N <off+off", 7, "", "Too many errors."},
        {"dead after a block", 0,
         "<C >1 <A <N@600-620 5x<N@240-260 <off+off",
         7, "ZRcv...:128", "Too many errors."},
    };
    // clang-format on
    for (const receive_row &r : rows)
        receive(r, kModeX);
}

TEST(XReceiver, NumbersGoRound)
{
    string all;
    dialogue_rows rows = {hears("C")};
    for (int i = 1; i <= 600; i++) {
        string part = random_bytes(128, unsigned(i));
        rows = rows + dialogue_rows{says(block(i, part)), hears("\x06")};
        all += part;
    }
    fresh();
    hl_answer(1); // the name stays
    play("600 blocks", rows + rows_of(">E <A", kWords), [&] {
        EXPECT_EQ(rz(kModeX), 0);
        EXPECT_EQ(read_file(folder_list().at(0)), all);
    });
}

TEST(YReceiver, EveryStartAndEndOfAFile)
{
    static const string long_name = string(30, 'n') + ":128";
    // clang-format off
    const receive_row rows[] = {
        {"no file", 0, "<C >n <A", 0, "", ""},
        {"a batch", 0,
         "<C >n130 <A <C >1 <A >2bb <A >E <A <C >ng <A <C >K1 <A >E <A "
         "<C >n0 <A <C >E <A <C >n <A",
         0, "f:130 g:1024 none:0", "### Receive (Y) g: 1024 bytes"},
        {"no length", 0, "<C >n? <A <C >1 <A >2bb <A >E <A <C >n <A",
         0, "f:256", ""},
        {"our ACK of the name got lost", 0,
         "<C >n130 <A <C >n130 <A >1 <A >2bb <A >E <A <C >n <A",
         0, "f:130", ""},
        {"that of the end got lost", 0,
         "<C >n128 <A <C >1 <A >E <A <C >E <A <C >n <A", 0, "f:128", ""},
        {"a name in a long block", 0,
         "<C >nK <A <C >1 <A >E <A <C >n <A", 0, long_name.c_str(), ""},
        {"no name block", 0, "<C >1 <off", 7, "",
         "### Receive (y) : Error getting filename (Block 0)."},
        {"an end before its length", 0, "<C >n130 <A <C >1 <A >E <off",
         7, "f...:128", "File is shorter than its length."},
    };
    // clang-format on
    for (const receive_row &r : rows)
        receive(r, kModeY);
}

TEST(YReceiver, StreamsWithG)
{
    // clang-format off
    const receive_row rows[] = {
        {"whole", 0, "<G >n2051 <G >K1+K2+3end+E <A <G >n",
         0, "f:2051", "### Receive (Yg) f: 2051"},
        {"one error ends it", 0, "<G >n2051 <G >K1+K2d <off+off",
         7, "f...:1024", "Too many errors."},
    };
    // clang-format on
    for (const receive_row &r : rows)
        receive(r, kModeG);
}

TEST(YReceiver, SkippedFilesStay)
{
    fresh();
    write_file("old", "precious");
    hl_answer(2);
    play("skip", rows_of("<C >nold <A <off", kWords),
         [] { EXPECT_EQ(rz(kModeY), 7); });
    EXPECT_EQ(folder(), "old:8");
    EXPECT_EQ(gSkippedFiles, 1);
}

// A long block that came damaged leaves nothing behind the next one's end.
TEST(YReceiver, NameEndsWithItsBlock)
{
    fresh();
    play("junk",
         rows_of("<C >njunk <C >nfull <A <C & ! <*", kWords,
                 [] { EXPECT_EQ(TotalBytes, kUnknownSize); }),
         [] { EXPECT_EQ(rz(kModeY), 7); });
}

// ---- the user --------------------------------------------------------------

TEST(XYmodem, CancelsEndEveryStateAtOnce)
{
    const struct {
        char mode; // 'x', 'y' receive, 'X', 'Y' send
        const char *before;
    } rows[] = {
        {'x', "<C"},    {'x', "<C >1half"},      {'x', "<C >1 <A"},
        {'y', "<C"},    {'y', "<C >n130 <A <C"}, {'X', ""},
        {'X', ">C <1"}, {'X', ">C <1 >A <E"},    {'X', ">C <1 >?"},
        {'Y', ""},
    };
    for (const auto &r : rows) {
        fresh();
        bool sends = isupper(r.mode);
        if (sends)
            write_file("f", kOne);
        data = kData7;
        uint32_t start = 0;
        play(r.before,
             rows_of(string(r.before) + " ~30 & ! <*", kWords,
                     [&] { start = TickCount(); }),
             [&] {
                 bool worked =
                     sends ? sz(choose_files({"f"}), sendFSS, r.mode | 32) == 0
                           : rz(r.mode) == 0;
                 EXPECT_FALSE(worked);
             });
        EXPECT_LE(TickCount() - start, 180u) << r.before; // with its rest
        EXPECT_EQ(UserCancel, 0) << r.before;
        EXPECT_EQ(data, kData7) << r.before;
        EXPECT_EQ(zDlog, nullptr) << r.before;
    }
}

// ---- sending ---------------------------------------------------------------

struct send_row {
    string name;
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
    put_file("f", r.bytes);
    play(r.name, r.rows, [&] {
        int n = choose_files({"f"});
        EXPECT_EQ(sz(n, sendFSS, r.protocol) == 0, r.works);
        EXPECT_EQ(gWholeFiles, r.works);
        expect_shown(r.words);
        EXPECT_EQ(UserCancel, 0);
    });
}

static dialogue_rows in_short(const char *text)
{
    return rows_of(text, kWords, [] {
        ASSERT_EQ(truncate((scratch() + "/f").c_str(), 130), 0);
    });
}

TEST(XSender, EveryReplyToABlock)
{
    // clang-format off
    const struct {
        const char *name;
        string bytes;
        const char *rows;
        bool works;
        const char *words;
        uint8_t flags = 0;
    } rows[] = {
        {"ACK", kOne, ">C <1 >A <E >A", true, "### Send (x) f: 128 bytes"},
        {"NAK starts with checksums", "end", ">N <1ends >A <E >A", true, ""},
        {"C, K: blocks of 1K", kBig + kTwo, ">CK <K1 >A <2 >A <E >A", true,
         "### Send (X) f"},
        {"C isn't taken", kOne, ">C ~60 >N <1s@0-5 >A <E >A", true, "",
         kXferChecksum},
        {"CAN before the start", kOne, ">X <off", false, ""},
        {"no start at all", kOne, "<1s@3600-3700 >A <E >A", true, ""},
        {"NAK", kOne, ">C <1 >N <1 >A <E >A", true, "NAK on sector"},
        {"C at the first asks for CRC", kOne, ">N <1s >C <1 >A <E >A", true,
         "NAK on sector"},
        {"silence", kOne, ">C <1 <1@3600-3700 >A <E >A", true,
         "Timeout on sector ACK"},
        {"a burst", kOne, ">C <1 >ab <1 >A <E >A", true,
         "Got burst for sector ACK"},
        {"flow bytes are none", kOne, ">C <1 >flow ~10 >A <E >A", true, ""},
        {"something, then NAK", kOne, ">C <1 >a ~10 >N <1 >A <E >A", true,
         "NAK on sector"},
        {"something, then silence", kOne,
         ">C <1 >a ~10 >A <1@3590-3700 >A <E >A", true, ""},
        {"CAN, then CAN", kOne, ">C <1 >X ~10 >X <off", false, "Cancelled"},
        {"nothing but NAK", kOne,
         ">C <1 >N <1 >N <1 >N <1 >N <1 >N <off", false,
         "Retry Count Exceeded"},
        {"the end asked for again", kOne, ">C <1 >A <E >N <E >A", true, ""},
        {"the end never taken", kOne, ">C <1 >A 5x<E <off", false,
         "128 bytes"},
        {"nothing to be sent", "", ">C <E >A", true, ""},
        {"the file becomes shorter", kOne + kTwo, "~10 & >C <1 >A <off",
         false, "File has become shorter."},
    };
    // clang-format on
    for (const auto &r : rows)
        send({r.name, 'x', r.flags, r.bytes, in_short(r.rows), r.works,
              r.words});
}

// A tail of up to 896 bytes goes as short blocks; and an ACK is enough for the
// next one to start.
TEST(XSender, BlocksAtTheEndOfAFile)
{
    const struct {
        size_t size;
        const char *blocks; // K long, s short
    } rows[] = {{895, "sssssss"},   {896, "sssssss"}, {897, "K"},
                {1000, "K"},        {1024, "K"},      {1025, "Ks"},
                {1920, "Ksssssss"}, {1921, "KK"},     {2048, "KK"}};
    for (const auto &r : rows) {
        string bytes = random_bytes(r.size, unsigned(r.size));
        dialogue_rows says_all = {says("C")};
        size_t at = 0;
        int number = 1;
        for (const char *b = r.blocks; *b; b++) {
            size_t length = *b == 'K' ? 1024 : 128;
            string part = bytes.substr(at, length);
            part.resize(length, 0x1A);
            says_all.push_back(hears(block(number, part), 0, 5));
            says_all.push_back(says("\x06"));
            number++;
            at += length;
        }
        send({std::to_string(r.size), 'X', 0, bytes,
              says_all + in_short("<E >A"), true, ""});
    }
}

TEST(YSender, EveryStart)
{
    // clang-format off
    const struct {
        const char *name;
        char protocol;
        string bytes;
        const char *rows;
        bool works;
        const char *words;
    } rows[] = {
        {"C", 'y', "end", ">C <o3 >A >C <1end >A <E >A >C <n >A", true,
         "### Send (y) f: 3 bytes"},
        {"noise at first", 'y', "end",
         ">? ~10 >C <o3 >A >C <1end >A <E >A >C <n >A", true, ""},
        {"K", 'y', kBig, ">K <oK >A >C <K1 >A <E >A >C <n >A", true,
         "### Send (Y) f"},
        {"cancelled", 'y', "end", ">off <off", false, ""},
        {"G streams", 'Y', kBig + kBig + "end",
         ">G <o2051 >G <K1+K2+3end+E >A >G <n", true,
         "### Send (Yg) f: 2051 bytes"},
        {"G and a cancel", 'Y', kBig, ">G <oK >X+X <off", false, ""},
    };
    // clang-format on
    for (const auto &r : rows)
        send({r.name, r.protocol, 0, r.bytes, in_short(r.rows), r.works,
              r.words});
}

// A name block has room for 127 bytes: a figure goes whole or not at all.
TEST(YSender, LongNamesTakeTheRoomOfFigures)
{
    const struct {
        size_t name;
        const char *figures;
    } rows[] = {
        {101, "128 014524770400 0 0 1"},
        {105, "128 014524770400"},
        {112, "128"},
        {123, "128"},
        {124, ""},
        {200, ""},
    };
    for (const auto &r : rows) {
        fresh();
        string name(r.name, 'n');
        put_file(name, kOne);
        string text = name.substr(0, 127) + string(1, 0) + r.figures;
        text.resize(128, 0);
        if (text[125] == 0)
            text[127] = 1; // the count of its blocks
        play(r.figures,
             {says("C"), hears(block(0, text)), says(cancel_string()),
              hears(cancel_string())},
             [&] { (void)sz(choose_files({name}), sendFSS, 'Y'); });
    }
}
