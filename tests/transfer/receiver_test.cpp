// The ZMODEM receiver against a scripted sender, on a clock that moves only
// when the program waits.
#include "tests/support/bench.h"

#include <cstring>

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
static const string kBody = random_bytes(700);

static string data_at(uint32_t pos, const string &packets)
{
    return bin32_frame(ZDATA, four(pos)) + packets;
}

static string eof(uint32_t pos)
{
    return hex_frame(ZEOF, four(pos));
}

static string with_packet(int type, const string &bytes, char end)
{
    return bin32_frame(type, flags(0)) + packet32(bytes, end);
}

// What a sender says. A "?" marks a subpacket whose end is another than it has
// to be.
static const std::map<string, string> kWords = {
    {"-", ""},
    {"OO", "OO"},
    {"prompt", "$ "},
    {"x", "x"},
    {"off", cancel_string()},
    {"bad", "**\030B0000000000FFFF\r\x8A"},
    {"rqinit", hex_frame(ZRQINIT, four(0))},
    {"sinit", with_packet(ZSINIT, string(1, 0), 'k')},
    {"sinit?", with_packet(ZSINIT, string(1, 0), 'h')},
    {"command", with_packet(ZCOMMAND, string("rm -rf *\0", 9), 'k')},
    {"command?", with_packet(ZCOMMAND, "ls", 'h')},
    {"compl", hex_frame(ZCOMPL, four(0))},
    {"freecnt", hex_frame(ZFREECNT, four(0))},
    {"nak", hex_frame(ZNAK, four(0))},
    {"rpos", hex_frame(ZRPOS, four(0))},
    {"ferr", hex_frame(ZFERR, four(0))},
    {"skip", hex_frame(ZSKIP, four(0))},
    {"fin", kFin},
    {"f", offer("f", "700")},
    {"f?", with_packet(ZFILE, "f", 'h')},
    {"g", offer("g", "2")},
    {"none", offer("none", "0")},
    {"kept", offer("old", "3", 0, 7)}, // protected
    {"all", send_all(kBody)},
    {"two", send_all(kBody.substr(0, 2))},
    {"part", data_at(0, packet32(kBody.substr(0, 300), 'i'))},
    {"parts", data_at(0, packet32("", 'i') + packet32("", 'i') +
                             packet32(kBody, 'i') + packet32("", 'h'))},
    {"nothing", packet32("", 'h')},
    {"data512", data_at(512, packet32("zz", 'h'))},
    {"damaged", data_at(0, "Q" + packet32(kBody, 'i'))},
    {"eof0", eof(0)},
    {"eof300", eof(300)},
    {"eof700", eof(700)},
    {"eof4711", eof(4711)},
};

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

static peer_rows and_end(const peer_rows &rows)
{
    scripted_peer peer{rows};
    for (const peer_row &row : peer_rows_of("1 fin 8 OO", kWords))
        peer.rows.push_back(row);
    return peer.rows;
}

// ---- a transfer, row by row ------------------------------------------------

struct transfer_row {
    const char *name;
    const char *rows;  // of the sender; "." ends as one does with a whole file
    const char *types; // what the receiver sends, at least, if it gives up
    const char *files; // then in the folder: the beginning of kBody each
    const char *words = "";
    int skipped = 0;
};

static void transfer(const transfer_row &r, bool works)
{
    SCOPED_TRACE(r.name);
    string rows = r.rows;
    if (rows.back() == '.')
        rows.replace(rows.size() - 1, 1, "9 all 1 fin 8 OO");
    start_bench();
    write_file("old", "precious");
    const answer a = receive(peer_rows_of(rows, kWords));
    EXPECT_EQ(a.result, works ? 0 : 7);
    EXPECT_EQ(works ? a.types : a.types.substr(0, strlen(r.types)), r.types);
    EXPECT_TRUE(a.done);
    EXPECT_EQ(folder(), r.files + string(*r.files ? " old:8" : "old:8"));
    EXPECT_EQ(read_file("old"), "precious");
    for (const string &name : folder_list())
        if (name != "old") {
            const string got = read_file(name);
            EXPECT_EQ(got, kBody.substr(0, got.size())) << name;
        }
    EXPECT_EQ(gSkippedFiles, r.skipped);
    pump_port(); // what stood behind a cancel
    expect_shown(r.words);
    EXPECT_EQ(zDlog, nullptr);
}

// clang-format off
TEST(Receiver, EveryHeaderInEveryState)
{
    const transfer_row rows[] = {
        {"ZRQINIT", "1 rqinit 1 f .", "1 1 9 1 8", "f:700"},
        {"ZSINIT", "1 sinit 3 f .", "1 3 9 1 8", "f:700"},
        {"ZSINIT, another end", "1 sinit? 6 f .", "1 6 9 1 8", "f:700"},
        {"ZFILE, another end", "1 f? 6 f .", "1 6 9 1 8", "f:700"},
        {"ZCOMPL", "1 compl+f .", "1 9 1 8", "f:700"},
        {"ZFREECNT", "1 freecnt 3 f .", "1 3 9 1 8", "f:700"},
        {"ZNAK", "1 nak 1 f .", "1 1 9 1 8", "f:700"},
        {"ZRPOS", "1 rpos 1 f .", "1 1 9 1 8", "f:700"},
        {"ZCOMMAND, another end", "1 command? 6 f .", "1 6 9 1 8", "f:700"},
        {"a damaged header", "1 bad 1 f .", "1 1 9 1 8", "f:700"},
        {"no file", "1 fin 8 OO", "1 8", ""},
        {"a command isn't run", "1 command 15 fin 8 OO", "1 15 8", ""},
        // The sender's "OO" may be lost, or be something else by damage.
        {"no OO", "1 fin", "1 8 8 8", ""},
        {"the prompt for OO", "1 fin 8 prompt 8 prompt", "1 8 8 8", ""},
        {"a damaged OO", "1 fin 8 x 8 OO", "1 8 8", ""},
        // Within a file.
        {"ZNAK within", "1 f 9 nak+x+nothing .", "1 9 9 1 8", "f:700"},
        {"silence within", "1 f 9 - .", "1 9 9 1 8", "f:700"},
        {"a damaged header within", "1 f 9 bad .", "1 9 9 1 8", "f:700"},
        {"ZFILE again", "1 f 9 f .", "1 9 9 1 8", "f:700"},
        {"ZDATA elsewhere", "1 f 9 data512 .", "1 9 9 1 8", "f:700"},
        {"ZEOF elsewhere", "1 f 9 eof4711 .", "1 9 9 1 8", "f:700"},
        {"damaged data", "1 f 9 damaged .", "1 9 9 1 8", "f:700"},
        {"empty subpackets", "1 f 9 parts+eof700 1 none 9 eof0 1 fin 8 OO",
         "1 9 1 9 1 8", "f:700 none:0"},
        // What is shorter than offered isn't whole, and the sender hears that
        // we don't take it. The next one comes all the same.
        {"an end before all data", "1 f 9 eof0 5 g 9 two 1 fin 8 OO",
         "1 9 5 9 1 8", "g:2", "shorter than its length", 1},
        {"an end before some data",
         "1 f 9 part+nothing+eof300 5 g 9 two 1 fin 8 OO",
         "1 9 5 9 1 8", "f...:300 g:2", "shorter than its length", 1},
        {"skipped by the sender", "1 f 9 skip 1 g 9 two 1 fin 8 OO",
         "1 9 1 9 1 8", "g:2", "Sender SKIPPED file", 1},
        {"skipped by us", "1 kept 5 g 9 two 1 fin 8 OO",
         "1 5 9 1 8", "g:2", "old: File exists, Skipped", 1},
    };
    for (const transfer_row &r : rows)
        transfer(r, true);
}

TEST(Receiver, WaysToEndBadly)
{
    const transfer_row rows[] = {
        {"cancelled", "1 off", "1", ""},
        {"silence", "1 -", "1 1 1 1 1", ""},
        {"cancelled before data", "1 f 9 off", "1 9", ""},
        {"cancelled within data", "1 f 9 part+off", "1 9", "f...:300",
         "Cancelled by sender."},
        {"and its prompt", "1 f 9 part+off+prompt", "1 9", "f...:300", "$"},
        {"an unforeseen header", "1 f 9 part+nothing+ferr", "1 9", "f...:300"},
        {"the sender is gone", "1 f 9 part", "1 9", "f...:300"},
    };
    for (const transfer_row &r : rows)
        transfer(r, false);
}
// clang-format on

static peer_rows one_file(const string &name, const string &body)
{
    return and_end({{ZRINIT, offer(name, std::to_string(body.size()))},
                    {ZRPOS, send_all(body)}});
}

TEST(Receiver, TakesAFileAndShowsThePromptBehindIt)
{
    start_bench();
    scripted_peer peer{one_file("hello", "some\x18 bytes\x11")};
    peer.rows.back().say += "$ ";
    peer.start();
    EXPECT_EQ(rz(kModeZ), 0);
    EXPECT_EQ(peer.type_list(), "1 9 1 8");
    EXPECT_EQ(read_file("hello"), "some\x18 bytes\x11");
    pump_port();
    expect_shown("$");
    EXPECT_EQ(peer.heard.frames[0].data, flags(0x27));
    EXPECT_EQ(gWholeFiles, 1);
}

TEST(Receiver, StartsByItselfOnlyOnAGoodStart)
{
    start_bench();
    scripted_peer peer{one_file("auto", "x")};
    peer.start();
    hl_line_say("rz\r" + hex_frame(ZRQINIT, four(0)));
    for (int i = 0; i < 100 && !file_there("auto"); i++)
        ReadPort();
    EXPECT_EQ(read_file("auto"), "x");

    // A stray start costs little and changes nothing.
    peer.types.clear();
    for (string stray : {"*\030C", "*\030B00000000000001\r\x8A"}) {
        uint32_t before = TickCount();
        hl_line_say(stray);
        pump_port();
        EXPECT_LT(TickCount() - before, 60u);
    }
    EXPECT_EQ(peer.type_list(), "");
    EXPECT_EQ(zDlog, nullptr);
}

// ---- what is taken ---------------------------------------------------------

TEST(Receiver, OfferedLengths)
{
    // 5: refused before its first byte, or at its end.
    const std::pair<const char *, const char *> rows[] = {
        {"2000000000", "1 9 5 8"},
        {"2147483647", "1 9 5 8"},
        {"2147483648", "1 5 8"},
        {"4294967299", "1 5 8"},
        {"99999999999999999999", "1 5 8"},
        {"", "1 9 1 8"},
        {"-5", "1 9 1 8"},
        {"0", "1 9 1 8"},
    };
    for (const auto &[length, types] : rows) {
        start_bench();
        const bool refused = types[2] == '5';
        peer_rows peer = {{ZRINIT, offer("f", length)}};
        if (!refused)
            peer.push_back({ZRPOS, send_all("abc")});
        peer.push_back({types[refused ? 2 : 4] - '0', kFin});
        peer.push_back({ZFIN, "OO"});
        EXPECT_EQ(receive(peer).types, types) << length << screen();
        EXPECT_EQ(screen().find("too long") != string::npos, refused);
    }
}

// Of an empty file no partial one is the beginning.
TEST(Receiver, AnEmptyOfferResumesNothing)
{
    start_bench();
    write_file(partial("none"), string(500, 'p'));
    EXPECT_EQ(receive(peer_rows_of("1 none 9 eof0 1 fin 8 OO", kWords)).result,
              0);
    EXPECT_EQ(folder(), "none:0 none...:500");
}

// What the sender asks to be done about a file that exists.
TEST(Receiver, ManagementOfFilesThatExist)
{
    // Our file: 8 bytes, of 1700000000.
    const struct {
        int zf1;
        const char *figures;
        bool taken;
    } rows[] = {
        {1, "4 14524770401", true}, // newer
        {1, "4 1000000000", false}, // older and shorter
        {1, "9 1000000000", true},  // older but longer
        {2, "9 0", true},           {2, "8 0", false},
        {4, "1 0", true},           {5, "1 14524770401", true},
        {5, "1 1000000000", false}, {6, "8 14524770400", false},
        {6, "7 14524770400", true}, {7, "9 14524770401", false},
    };
    for (const auto &r : rows) {
        start_bench();
        put_file("f", "12345678");
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

TEST(Receiver, UserCancelsAnywhere)
{
    const string begun = data_at(0, packet32(string(500, 'a'), 'i'));
    // In the silence before, in the middle of data, between two subpackets.
    for (const string &said : {string(), begun + string(40, 'b'), begun}) {
        start_bench();
        data = kData7;
        parity = kParityEven;
        peer_rows rows;
        if (!said.empty())
            rows = {{ZRINIT, offer("f", "5000")}, {ZRPOS, said}};
        const uint32_t pressed = cancel_after(90);
        const answer a = receive(rows);
        EXPECT_EQ(a.result, 7);
        expect_cancelled(pressed, 60 * 5);
        if (!said.empty()) {
            EXPECT_NE(a.raw.find(cancel_string()), string::npos);
            EXPECT_EQ(read_file(partial("f")), string(500, 'a'));
        }
        hl_line_say("prompt> ");
        pump_port();
        expect_shown("prompt>");
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
        hl_type(".", cmdKey);
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
    const string offered = offer("f", "9");
    const std::pair<const char *, string> rows[] = {
        {"flow bytes", many("\x11\x13")},
        {"flow bytes in a header", "*" + many("\x11")},
        {"flow bytes behind an escape", "*\030A\x18" + many("\x13")},
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
        const uint32_t pressed = cancel_after(120);
        EXPECT_EQ(rz(kModeZ), 7) << name;
        EXPECT_LT(int32_t(TickCount() - pressed), 60 * 28) << name;
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
