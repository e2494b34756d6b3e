// Kermit both ways, against peers that follow a table.

#include "dialogue.h"
#include "tests/support/bench.h"

#include "transfer/kermit.h"

#include <unistd.h>

using std::string;
using std::to_string;

// ---- packets by the tests' own hand ----------------------------------------

static string check_of(const string &text, char check)
{
    int s = 0, c = 0, from = check == 'B' ? 33 : 32;

    for (unsigned char b : text) {
        s += b;
        c ^= b;
        for (int bit = 0; bit < 8; bit++)
            c = c & 1 ? c >> 1 ^ 0x8408 : c >> 1;
    }
    if (check == '1')
        return {char(((s + (s >> 6 & 3)) & 63) + 32)};
    if (check == '3')
        return {char((c >> 12) + 32), char((c >> 6 & 63) + 32),
                char((c & 63) + 32)};
    return {char((s >> 6 & 63) + from), char((s & 63) + from)};
}

// A whole packet; `offset` 0 forgets the header check's, as some senders do.
static string pkt(char type, int seq, const string &field = "",
                  char check = '1', int offset = 32)
{
    int length = int(field.size()) + (check == 'B' ? 2 : check - '0');
    string text = {char(length + 34), char(seq % 64 + 32), type};

    if (length + 2 > 94) {
        text[0] = ' ';
        text += {char(length / 95 + 32), char(length % 95 + 32)};
        text += char(check_of(text, '1')[0] - 32 + offset);
    }
    text += field;
    return "\x01" + text + check_of(text, check) + "\r";
}

static string damaged(string packet)
{
    packet[3] ^= 2;
    return packet;
}

// ---- what both say in turn -------------------------------------------------

using lines = std::vector<string>;

static lines operator+(lines a, const lines &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Packets of a file and their acknowledgements.
static lines file(int seq, const string &name, const string &bytes,
                  const string &end = "", char check = '1')
{
    return {pkt('F', seq, name, check),      pkt('Y', seq, "", check),
            pkt('D', seq + 1, bytes, check), pkt('Y', seq + 1, "", check),
            pkt('Z', seq + 2, end, check),   pkt('Y', seq + 2, "", check)};
}

static lines over(int seq, char check = '1')
{
    return {pkt('B', seq, "", check), pkt('Y', seq, "", check)};
}

// A whole transfer, by the first side's parameters and the other's.
static lines course(const string &begins, const string &other,
                    const string &field = "abcdefgh", char check = '1')
{
    return lines{pkt('S', 0, begins), pkt('Y', 0, other)} +
           file(1, "f", field, "", check) + over(4, check);
}

// What the program announces by the settings of fresh(), and a plain peer.
static const string kOurs = "}* @-#Y1~\"! }", kPeer = "~* @-#N1~";
static const lines kSending = course(kOurs, kPeer);
static const lines kReceiving = course(kPeer, kOurs);

static lines part(const lines &all, int from, int to = 5)
{
    return {all.begin() + from * 2, all.begin() + to * 2};
}

// One line each; the program begins, or the peer. An empty one isn't said.
static dialogue_rows talk(bool programBegins, const lines &all)
{
    dialogue_rows rows;
    for (size_t i = 0; i < all.size(); i++)
        if (!all[i].empty())
            rows.push_back(programBegins == (i % 2 == 0) ? hears(all[i])
                                                         : says(all[i]));
    return rows;
}

// ---- one transfer ----------------------------------------------------------

struct setting {
    uint16_t length = 94;
    uint8_t check = 1;
    bool seven = false; // bits of the line
    char convert = 'B';
};

static void fresh(const setting &s)
{
    start_bench(s.convert);
    cset.kermLen = s.length;
    cset.kermCheck = s.check;
    data = s.seven ? kData7 : kData8;
}

// How a transfer ended: all of it, files whole and skipped, what is shown.
struct outcome {
    bool ended;
    int whole, skipped = 0;
    string words = "";
};

static void look(const setting &s, const outcome &o)
{
    EXPECT_EQ(KermEnded(), o.ended);
    EXPECT_EQ(gWholeFiles, o.whole);
    EXPECT_EQ(gSkippedFiles, o.skipped);
    expect_shown(o.words);
    EXPECT_EQ(data, s.seven ? kData7 : kData8);
    EXPECT_NE(cset.kermCheck, 0);
    EXPECT_TRUE(!zDlog && zSendRef == 0 && UserCancel == 0);
}

static void send(const string &name, const dialogue_rows &rows,
                 const outcome &o, const string &bytes = "abcdefgh",
                 const setting &s = {})
{
    fresh(s);
    play(name, rows, [&] {
        write_file("f", bytes);
        choose_files({"f"});
        curSendFSS = sendFSS[0];
        EXPECT_EQ(KermSend(), !o.ended);
        look(s, o);
    });
}

// `files`: what the folder then holds, "name:bytes", beside "old".
static void receive(const string &name, const dialogue_rows &rows,
                    const string &files, const outcome &o = {true, 1},
                    const setting &s = {})
{
    fresh(s);
    write_file("old", "old");
    hl_modal_clear();
    hl_answer(2);
    play(name, rows, [&] {
        EXPECT_EQ(KermRecv(), 0);
        look(s, o);
        string held;
        for (const string &f : folder_list())
            held += f == "old" && read_file(f) == "old"
                        ? ""
                        : f + ":" + read_file(f) + " ";
        EXPECT_EQ(held, files.empty() ? "" : files + " ");
    });
}

// clang-format off

// ---- the sender ------------------------------------------------------------

TEST(KermitSender, EveryAnswerInEveryState)
{
    enum { next, again, abort };
    const char *const words[][2] = {
        {"Bad packet type--sinit", "many tries"},
        {"Bad packet type--in sfile", "Too many tries-- in sfile"},
        {"Bad packet type--sdata", "Too many tries--in sdata"},
        {"type--seof", "Too many tries--seof"},
        {"", "Too many tries--sbreak"},
    };
    for (int s = 0; s < 5; s++) {
        const lines before = part(kSending, 0, s), now = part(kSending, s, s + 1);
        const struct { const char *name; string says; int then; } rows[] = {
            {"Y", now[1], next},
            {"Y of another", pkt('Y', s + 1), again},
            {"N", pkt('N', s), again},
            {"N of the next", pkt('N', s + 1), s == 0 ? again : next},
            {"damaged", damaged(now[1]), again},
            {"nothing", "", again},
            {"E", pkt('E', s, "no"), abort},
        };
        for (const auto &r : rows) {
            lines all = before + lines{now[0], r.says};
            if (r.then != abort)
                all = all + part(kSending, r.then == again ? s : s + 1);
            else if (s < 4)
                all.push_back(pkt('A', s));
            send(r.name + to_string(s), talk(true, all),
                 {r.then != abort, r.then != abort || s == 4, 0,
                  r.then == abort ? words[s][0] : "8 bytes"});
        }
        send("tries " + to_string(s), talk(true, before) +
                 times(11, {hears(now[0]), says(pkt('N', s))}) +
                 talk(true, {pkt('A', s)}),
             {false, s == 4, 0, words[s][1]});
    }
}

struct field_row {
    const char *name;
    string peer; // its parameters
    string bytes, field;
    setting s = {};
};
static const setting kSeven = {94, 1, true, 'B'}, kText = {94, 1, false, 'T'};

TEST(KermitSender, QuotesWhatTheLineAndThePeerNeed)
{
    const string high = "\x8D\xC1\xA6\xFE", none = "~* @-#N1 ";
    const field_row rows[] = {
        {"controls", none, string("\0\x1f\x7f\r", 4), "#@#_#?#M"},
        {"high", none, high, "#\xCD\xC1\xA6\xFE"},
        {"prefixes alone", none, "#&~", "##&~"},
        {"repeats", kPeer, "~\xFE~aaaa", "#~#\xFE#~aaaa"},
        {"the peer's own quote", "~* @-%N1 ", "%#", "%%#"},
        {"seven bits, Y", "~* @-#Y1 ", high, "&#M&A&#&&~", kSeven},
        {"seven bits, named", "~* @-#&1 ", "&\xA3", "#&&##", kSeven},
        {"seven bits refused", none, "\xC1", "\xC1", kSeven},
        {"eight bits, Y", "~* @-#Y1 ", "\xC1", "\xC1"},
        {"eight bits, asked for", "~* @-#&1 ", "\xC1", "&A"},
        {"text", none, "a\rb", "a#M#Jb", kText},
        {"text of Unix", none, "a\nb\rc", "a#Jb#Mc", kText},
        {"nothing", none, "", ""},
    };
    for (const field_row &r : rows) {
        string ours = kOurs;
        ours[6] = r.s.seven ? '&' : 'Y';
        send(r.name, talk(true, course(ours, r.peer, r.field)), {true, 1},
             r.bytes, r.s);
    }
}

TEST(KermitSender, FieldsAsLongAsThePeerTakes)
{
    const struct {
        string peer;
        size_t length; // of fields
        string before = "", after = "\r";
    } rows[] = {
        {"", 72},
        {")* @-#N1 ", 72},                   // too short to be used
        {"** @-#N1 ", 2},
        {"~* @-#N1 ", 86},
        {"~* @-#N1 \"!+=", 1066},
        {"~* @-#N1 # !*T", 994},             // a second byte of capabilities
        {"~* @-#N1 \"!~~", 1992},            // more than ours
        {"~* @-#N1 \"! %", 72},              // too short
        {"~* @-#N1 \"!+", 1037},             // cut off
        {"~*\"B*#N1 ", 86, "\x02\x02", "\n"}, // padding and an end of its own
    };
    for (const auto &r : rows) {
        const string field(r.length, 'x');
        lines all = {pkt('S', 0, "~* @-#Y1~\"!5$"), pkt('Y', 0, r.peer)};
        const string fields[] = {"f", field, field, "x", "", ""};
        for (int i = 0; i < 6; i++) {
            string packet = pkt("FDDDZB"[i], i + 1, fields[i]);
            packet.replace(packet.size() - 1, 1, r.after);
            all = all + lines{r.before + packet, pkt('Y', i + 1)};
        }
        send(r.peer, talk(true, all), {true, 1}, field + field + "x", {2000});
    }
}

TEST(KermitSender, FilesThatDontArrive)
{
    const auto answered = [](const string &field) {
        return talk(true, part(kSending, 0, 2) + lines{kSending[4], pkt('Y', 2, field)} +
                              part(kSending, 3));
    };
    send("declined", answered("X"), {true, 0, 1, "SKIPPED"});
    send("six stray bytes", answered("X23456"), {true, 1});
    send("shrunken",
         talk(true, part(kSending, 0, 1)) +
             dialogue_rows{does([] { write_file("f", "short"); })} +
             talk(true, part(kSending, 1, 2) + lines{pkt('D', 2), pkt('Y', 2), pkt('A', 3)}),
         {false, 0, 0, "shorter"}, string(300, 'x'));
    fresh({});
    write_file("f", "x");
    choose_files({"f"});
    curSendFSS = sendFSS[0];
    play("vanished", {}, [] {
        unlink((scratch() + "/f").c_str());
        EXPECT_EQ(KermSend(), 1);
        look({}, {false, 0, 1, "not sent"});
    });
}

// ---- the receiver ----------------------------------------------------------

TEST(KermitReceiver, EveryPacketInEveryState)
{
    const string broken = "f\xA5:abcdefgh";
    const struct {
        int taken; // packets, before
        string says, hears;
        bool goesOn = true;
        string files = "";
        const char *words = "";
    } rows[] = {
        {0, damaged(pkt('S', 0)), pkt('N', 0)},
        {0, pkt('E', 0), pkt('A', 0), false, "", "type--rinit"},
        {1, damaged(pkt('F', 1)), pkt('N', 1)},
        {1, pkt('S', 0), pkt('Y', 0, kOurs)},
        {1, pkt('S', 1), "", false},
        {1, pkt('Z', 0), pkt('Y', 0)},
        {1, pkt('Z', 5), "", false},
        {1, pkt('F', 2), "", false},
        {1, pkt('B', 2), "", false},
        {1, pkt('E', 1), "", false},
        {2, damaged(pkt('D', 2)), pkt('N', 2)},
        {2, pkt('F', 1, "f"), pkt('Y', 1)},
        {2, pkt('F', 2), pkt('A', 2), false, "", "Not previous packet-rdata"},
        {3, pkt('D', 2, "abcdefgh"), pkt('Y', 2, "abcdef")},
        {3, pkt('D', 4, "x"), pkt('A', 3), false, broken, "Bad Packet no--rdata"},
        {3, pkt('Z', 4), "", false, broken, "Incomplete"},
        {3, pkt('E', 3), "", false, broken, "Incomplete"},
        {4, pkt('Z', 3), pkt('Y', 3)},
        {4, pkt('E', 4), "", false, "f:abcdefgh"},
    };
    for (const auto &r : rows) {
        lines all = part(kReceiving, 0, r.taken) + lines{r.says, r.hears};
        if (r.goesOn)
            all = all + part(kReceiving, r.taken);
        receive(to_string(r.taken) + r.says, talk(false, all),
                r.goesOn ? "f:abcdefgh" : r.files,
                {r.goesOn, r.goesOn || r.taken == 4, 0, r.words});
    }
    const char *const tries[] = {"tries--rinit", "tries--rfile", "tries--rdata"};
    for (int s = 0; s < 3; s++) {
        const dialogue_rows before = talk(false, part(kReceiving, 0, s));
        receive("silence", before + times(11, {hears(pkt('N', s), 2395, 2410)}) +
                               talk(true, {pkt('A', s)}), "", {false, 0, 0, tries[s]});
        if (s > 0)
            receive("the same again",
                    before + times(10, talk(false, part(kReceiving, s - 1, s))) +
                        talk(false, {kReceiving[size_t(s * 2 - 2)]}) +
                        dialogue_rows{hears_the_rest()}, "", {false, 0});
    }
}

TEST(KermitReceiver, AgreesOnTheFirstExchange)
{
    const struct {
        setting s;
        string said, answer;
        char agreed = '1';
    } rows[] = {
        {{94, 3}, "", "}* @-#Y1~\"! }"},
        {{94, 3}, "~* @-#N3", "}* @-#Y3~\"! }", '3'},
        {{94, 2}, "~* @-#N3", "}* @-#Y2~\"! }", '2'},
        {{94, 3}, "~* @-#N2", "}* @-#Y2~\"! }", '2'},
        {{94, 3}, "~* @-#NB", "}* @-#YB~\"! }", 'B'},
        {{94, 2}, "~* @-#NB", "}* @-#YB~\"! }", 'B'},
        {{94, 1}, "~* @-#NB", "}* @-#Y1~\"! }"},
        {{94, 0}, "~* @-#N3", "}* @-#Y1~\"! }"},
        {{94, 3}, "~* @-#N9", "}* @-#Y1~\"! }"},
        {kSeven, "~* @-#Y1", "}* @-#&1~\"! }"},
        {kSeven, "~* @-#&1", "}* @-#Y1~\"! }"},
        {kSeven, "~* @-#N1", "}* @-#Y1~\"! }"},
        {{94, 1}, "~* @-#N1*", "}* @-#Y1*\"! }"},
        {{31, 1}, "~* @-#N1", "}* @-#Y1~\"! }"},
        {{40, 1}, "~* @-#N1", "G* @-#Y1~\"! G"},
        {{9024, 1}, "~* @-#N1", "~* @-#Y1~\"!~}"},
        {{65535, 1}, "~* @-#N1", "~* @-#Y1~\"!~}"},
    };
    for (const auto &r : rows)
        receive(r.said + " " + to_string(r.s.length),
                talk(false, course(r.said, r.answer, string(100, 'x'), r.agreed)),
                "f:" + string(100, 'x'), {true, 1}, r.s);
}

TEST(KermitReceiver, ReadsWhatFieldsMean)
{
    const field_row rows[] = {
        {"controls", kPeer, string("\0\x7f#x", 4), "#@#?###x"},
        {"repeats", kPeer, "aaab", "~#ab"},
        {"a repeated quote", kPeer, "~~~", "~##~"},
        {"a repeated control", kPeer, string(10, 0), "~*#@"},
        {"high and repeated", "~* @-#&1~", "\x81\x81", "~\"&#A"},
        {"a repeat of 0", kPeer, "a", "~ a"},
        {"more than is held", kPeer, string(282, 'a'), "~~a~~a~~a"},
        {"no repeats", "~* @-#N1 ", "~a", "~#a"},
        {"a quote at the end", kPeer, "ab", "ab#"},
        {"a repeat at the end", kPeer, "ab", "ab~#"},
        {"7 bits", "~* @-#&1~", "a\xE1", "\xE1&a", kSeven},
        {"text", kPeer, "a\rb\rc", "a#M#Jb#Jc", kText},
        {"nothing", kPeer, "", ""},
    };
    for (const field_row &r : rows) {
        lines all = course(r.peer, kOurs, r.field);
        if (r.s.seven) // its check is that of the seven bits
            all[4] = "\x01&\"D\xE1&a" + check_of("&\"Da&a", '1') + "\r";
        receive(r.name, talk(false, all), "f:" + r.bytes, {true, 1}, r.s);
    }
}

TEST(KermitReceiver, OddPackets)
{
    const string x91(91, 'x'), x92(92, 'x'), x250(250, 'x');
    string head = pkt('D', 2, x250);
    head[6] ^= 1;
    const struct { const char *name; string says, taken = ""; } rows[] = {
        {"noise ahead", "noise\r\n" + kReceiving[4], "abcdefgh"},
        {"a header cut short", "\x01+\"" + kReceiving[4], "abcdefgh"},
        {"91 bytes", pkt('D', 2, x91), x91},
        {"92 are long", pkt('D', 2, x92), x92},
        {"a long packet", pkt('D', 2, x250), x250},
        {"a header's check as it is", pkt('D', 2, x250, '1', 0), x250},
        {"a bad header", head},
        {"SOH in the field", pkt('D', 2, "ab\x01")},
        {"longer than the buffer", pkt('D', 2, string(295, 'x'))},
        {"as long as can be", pkt('D', 2, string(9000, 'x'))},
        {"a negative length", "\x01!\"D"},
        {"a negative long one", "\x01 \"D\x02 \"\r"},
        {"a type of 0", pkt(0, 2)},
    };
    for (const auto &r : rows) {
        const bool bad = r.taken.empty();
        receive(r.name, talk(false, part(kReceiving, 0, 2) +
                                 lines{r.says, pkt(bad ? 'N' : 'Y', 2)} +
                                 part(kReceiving, bad ? 2 : 3)),
                "f:" + (bad ? "abcdefgh" : r.taken));
    }
}

TEST(KermitReceiver, FilesOneBehindTheOther)
{
    const lines last = file(4, "g", "new") + over(7);
    const lines cut = part(file(4, "g", "x"), 0, 2) + lines{pkt('E', 6)};
    const struct { lines rows; string files; outcome o; } rows[] = {
        {file(1, "f", "abc") + last, "f:abc g:new", {true, 2}},
        {file(1, "f", "") + last, "f: g:new", {true, 2}},
        {file(1, "f", "abc", "D") + last, "f\xA5:abc g:new", {true, 1, 1}},
        {file(1, "old", "abc") + last, "g:new", {true, 1, 1}},
        {file(1, "f", "abc") + cut, "f:abc g\xA5:x", {false, 1}},
    };
    for (const auto &r : rows)
        receive(r.files, talk(false, part(kReceiving, 0, 1) + r.rows), r.files, r.o);
}

// ---- both ------------------------------------------------------------------

TEST(Kermit, NumbersWrap)
{
    lines all;
    string bytes;
    int seq = 2;
    for (; seq < 72; seq++) {
        const string field(86, char('a' + seq % 26));
        bytes += field;
        all = all + lines{pkt('D', seq, field), pkt('Y', seq)};
    }
    all = all + lines{pkt('Z', seq), pkt('Y', seq)} + over(seq + 1);
    send("sending", talk(true, part(kSending, 0, 2) + all), {true, 1}, bytes);
    receive("receiving", talk(false, part(kReceiving, 0, 2) + all), "f:" + bytes);
}

TEST(Kermit, AFirstPacketAgainHasTheCheckOfTheSettings)
{
    string ours = kOurs, peer = "~* @-#N3";
    ours[7] = '3';
    const lines rest = part(course("", "", "abcdefgh", '3'), 1);
    send("sender",
         talk(true, lines{pkt('S', 0, ours), pkt('N', 0), pkt('S', 0, ours, '3'),
                          pkt('Y', 0, peer, '3')} + rest),
         {true, 1}, "abcdefgh", {94, 3});
    receive("receiver",
            talk(false, lines{damaged(pkt('S', 0)), pkt('N', 0), pkt('S', 0, peer, '3'),
                              pkt('Y', 0, ours, '3')} + rest),
            "f:abcdefgh", {true, 1}, {94, 3});
}

TEST(Kermit, ACancelEndsAnyState)
{
    const string left[] = {"", "", "", "f\xA5:abcdefgh", "f:abcdefgh"};
    for (int s = 0; s < 5; s++) {
        uint32_t at = 0;
        const dialogue_rows cancel = {silence(30), cancels(),
                                      does([&] { at = TickCount(); }), hears_the_rest()};
        send("sender", talk(true, part(kSending, 0, s)) + cancel, {false, s == 4});
        EXPECT_LE(TickCount() - at, 120u) << s;
        receive("receiver", talk(false, part(kReceiving, 0, s)) + cancel,
                left[s], {false, s == 4});
        EXPECT_LE(TickCount() - at, 120u) << s;
    }
}
// clang-format on
