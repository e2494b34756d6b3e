// Headers and subpackets on the wire, byte by byte, both ways.
#include "tests/support/bench.h"

using std::string;

static const string XONs = "\x11";

static void set_header(const string &bytes)
{
    for (int i = 0; i < 4; i++)
        Txhdr[i] = uint8_t(bytes[size_t(i)]);
}

static string sent()
{
    hl_advance_us(1000);
    int16_t none = 0;
    (void)GetBytes(&none);
    return hl_line_heard();
}

// ---- sending ---------------------------------------------------------------

TEST(Headers, HexFormIsThePublishedOne)
{
    start_bench();
    set_header(four(0));
    zshhdr(ZRQINIT, Txhdr);
    EXPECT_EQ(sent(), "**\030B00000000000000\r\x8A\x11");
    set_header(flags(0x23));
    zshhdr(ZRINIT, Txhdr);
    EXPECT_EQ(sent(), "**\030B0100000023be50\r\x8A\x11");
    // Behind these two nobody may be left to eat an XON.
    set_header(four(0));
    zshhdr(ZFIN, Txhdr);
    EXPECT_EQ(sent(), "**\030B0800000000022d\r\x8A");
    set_header(four(0x12345678));
    zshhdr(ZACK, Txhdr);
    EXPECT_EQ(sent(), hex_frame(ZACK, four(0x12345678)));
}

TEST(Headers, BinaryFormsFollowTheSetting)
{
    start_bench();
    // Each of these data bytes has to be escaped.
    const string bytes = "\x18\x11\x93\x10";
    set_header(bytes);
    Txfcs32 = 0;
    zsbhdr(ZFILE, Txhdr);
    EXPECT_EQ(sent(), bin16_frame(ZFILE, bytes));
    EXPECT_EQ(Crc32t, 0);
    Txfcs32 = 1;
    zsbhdr(ZDATA, Txhdr);
    EXPECT_EQ(sent(), bin32_frame(ZDATA, bytes));
    EXPECT_NE(Crc32t, 0);
    zshhdr(ZNAK, Txhdr);
    EXPECT_EQ(Crc32t, 0) << "subpackets follow the form of their header";
    sent();
    Txfcs32 = 0;
    Znulls = 3;
    zsbhdr(ZDATA, Txhdr);
    EXPECT_EQ(sent(), string(3, 0) + bin16_frame(ZDATA, bytes));
}

TEST(Subpackets, AllBytesInBothFormsAndSettings)
{
    start_bench();
    string body = all_bytes(256) + random_bytes(768) + "@\r\xC0\r\x8D@\x8D";
    auto raw = reinterpret_cast<const uint8_t *>(body.data());
    for (int escape : {0, 1}) {
        Zctlesc = escape;
        for (char end : string("hijk")) {
            lastsent = 0;
            Crc32t = 0;
            zsdata(raw, int32_t(body.size()), uint8_t(end));
            string expected = escaped(body, escape);
            string out = sent();
            EXPECT_EQ(out.substr(0, expected.size()), expected);
            frame_reader reader;
            reader.feed(bin16_frame(ZDATA, four(0)) + out);
            ASSERT_EQ(reader.frames.at(0).packets.size(), 1u);
            EXPECT_EQ(reader.frames[0].packets[0].data, body);
            EXPECT_EQ(reader.frames[0].packets[0].end, end);
            EXPECT_FALSE(reader.damaged);
            Crc32t = 1;
            zsdata(raw, int32_t(body.size()), uint8_t(end));
            frame_reader reader32;
            reader32.feed(bin32_frame(ZDATA, four(0)) + sent());
            ASSERT_EQ(reader32.frames.at(0).packets.size(), 1u);
            EXPECT_EQ(reader32.frames[0].packets[0].data, body);
            EXPECT_FALSE(reader32.damaged);
        }
    }
}

TEST(Subpackets, BytesThatAreEscapedAndThoseThatAreNot)
{
    const struct {
        const char *name;
        int escape;
        string plain, wire;
    } rows[] = {
        {"ZDLE", 0, "\x18", "\x18\x58"},
        {"flow and DLE", 0, "\x10\x11\x13", "\x18P\x18Q\x18S"},
        {"the same with parity", 0, "\x90\x91\x93", "\x18\xD0\x18\xD1\x18\xD3"},
        {"rubouts stay", 0, "\x7F\xFF", "\x7F\xFF"},
        {"CR stays", 0, "a\r", "a\r"},
        {"CR behind @", 0, "@\r", "@\x18M"},
        {"the @ may have the high bit", 0, "\xC0\r", "\xC0\x18M"},
        {"CR with it, too", 0, "@\x8D", "@\x18\xCD"},
        {"NUL stays", 0, string("\0\r", 2), string("\0\r", 2)},
        {"all control bytes", 1, "\x01\r\x9F", "\030A\x18M\x18\xDF"},
    };
    start_bench();
    for (const auto &r : rows) {
        Zctlesc = r.escape;
        lastsent = 0;
        for (char c : r.plain)
            zsendline(uint8_t(c));
        awStart();
        EXPECT_EQ(sent(), r.wire) << r.name;
    }
}

// ---- receiving headers -----------------------------------------------------

struct header_row {
    const char *name;
    string wire;
    int result;
    int32_t position;
};

TEST(Headers, EveryFormIsRead)
{
    const string pos = four(0x00010203);
    const string long_can(5, 0x18);
    const header_row rows[] = {
        {"hex", hex_frame(ZRPOS, pos), ZRPOS, 0x010203},
        {"hex behind text", "login: " + hex_frame(ZRPOS, pos), ZRPOS, 0x010203},
        {"hex, one pad", hex_frame(ZRPOS, pos).substr(1), ZRPOS, 0x010203},
        {"pad with parity", "\xAA" + hex_frame(ZRPOS, pos).substr(1), ZRPOS,
         0x010203},
        {"upper-case digits", "**\030B0100000023BE50\r\x8A", ERROR, 0},
        {"bad hex CRC", "**\030B0100000023be51\r\x8A", ERROR, 0x23000000},
        {"CRC-16", bin16_frame(ZDATA, pos), ZDATA, 0x010203},
        {"CRC-32", bin32_frame(ZDATA, pos), ZDATA, 0x010203},
        {"form D is CRC-32", bin32_frame(ZDATA, pos, 'D'), ZDATA, 0x010203},
        {"flow bytes within",
         "*\x11\x18\023A" + bin16_frame(ZDATA, pos).substr(3), ZDATA, 0x010203},
        {"five CAN", long_can, ZCAN, -1},
        {"five CAN within", "*\x18\x41" + long_can, ZCAN, 0},
        {"CAN, then a header", "\x18\x18" + hex_frame(ZEOF, pos), ZEOF,
         0x010203},
        {"CANs that are no run",
         "x\x18\x18yy\x18\x18yy\x18\x18yy" + hex_frame(ZEOF, pos), ZEOF,
         0x010203},
        {"a frame end within", "*\x18\x43\x0A\x18i", ERROR, 0},
        {"a frame end behind CAN", "\x18k", ERROR, -1},
        {"nothing", "", TIMEOUT, -1},
        {"unknown form, then a header", "*\x18Z" + hex_frame(ZFIN, pos), ZFIN,
         0x010203},
    };
    start_bench();
    for (const header_row &r : rows) {
        Rxpos = -1;
        hl_line_say(r.wire);
        EXPECT_EQ(zgethdr(Rxhdr, 0), r.result) << r.name;
        if (r.position != 0) {
            EXPECT_EQ(Rxpos, r.position) << r.name;
        }
        hl_line_say("");
        purgeBuffer(20);
    }
}

TEST(Headers, FourCanAndAPauseAreNoCancel)
{
    start_bench();
    hl_line_say(string(4, 0x18));
    hl_line_say(hex_frame(ZRINIT, flags(0x23)), 500000);
    EXPECT_EQ(zgethdr(Rxhdr, 0), ZRINIT);
}

TEST(Headers, GarbageHasALimitAndIsShownByRule)
{
    start_bench();
    Baudrate = 100;
    hl_line_say(string(1499, 'x') + hex_frame(ZRINIT, flags(0)));
    EXPECT_EQ(zgethdr(Rxhdr, 0), ZRINIT) << "one less than the limit";
    hl_line_say(string(1500, 'x') + hex_frame(ZRINIT, flags(0)));
    EXPECT_EQ(zgethdr(Rxhdr, 0), ERROR);
    EXPECT_EQ(screen(), "");
    EXPECT_EQ(zgethdr(Rxhdr, 0), ZRINIT);

    // eflag 1: the printable ones; after a time-out everything.
    hl_line_say("Hel\x01lo\xB1" + hex_frame(ZRINIT, flags(0)));
    EXPECT_EQ(zgethdr(Rxhdr, 1), ZRINIT);
    EXPECT_EQ(screen(), "Hello1\n");
    EXPECT_EQ(zgethdr(Rxhdr, 0), TIMEOUT);
    hl_line_say("\r\nprompt" + hex_frame(ZRINIT, flags(0)));
    EXPECT_EQ(zgethdr(Rxhdr, 0), ZRINIT);
    EXPECT_EQ(screen(), "Hello1\nprompt\n");
    hl_line_say("unseen" + hex_frame(ZRINIT, flags(0)));
    EXPECT_EQ(zgethdr(Rxhdr, 0), ZRINIT);
    EXPECT_EQ(screen(), "Hello1\nprompt\n");
}

// ---- receiving subpackets --------------------------------------------------

TEST(Subpackets, EveryResult)
{
    const string body = all_bytes(256);
    const struct {
        const char *name;
        int escape;
        string wire;
        int result;
        int count;
    } rows[] = {
        {"ZCRCE", 0, packet16(body, 'h'), GOTCRCE, 256},
        {"ZCRCG", 0, packet16(body, 'i'), GOTCRCG, 256},
        {"ZCRCQ", 0, packet16(body, 'j'), GOTCRCQ, 256},
        {"ZCRCW", 0, packet16(body, 'k'), GOTCRCW, 256},
        {"empty", 0, packet16("", 'h'), GOTCRCE, 0},
        {"just as long as may be", 0, packet16(string(300, 'x'), 'h'), GOTCRCE,
         300},
        {"one too long", 0, packet16(string(301, 'x'), 'h'), ERROR, 0},
        {"rubouts escaped", 0, "\x18l\x18m" + packet16("", 'h'), ERROR, 0},
        {"bad CRC", 0, "A" + packet16(body, 'h'), ERROR, 0},
        {"bad escape", 0, "ab\x18\x01", ERROR, 0},
        {"flow byte behind ZDLE", 0,
         "\x18\x11" + packet16("\x18", 'h').substr(1), GOTCRCE, 1},
        {"five CAN", 0, "ab" + string(5, 0x18), ZCAN, 0},
        {"strays with all escaped", 1,
         "a\x01" + packet16("ab\x02", 'h', true).substr(1), GOTCRCE, 3},
    };
    start_bench();
    uint8_t buf[302];
    for (const auto &r : rows) {
        Zctlesc = r.escape;
        Rxframeind = BIN16;
        hl_line_say(r.wire);
        EXPECT_EQ(zrdata(buf, 300), r.result) << r.name;
        EXPECT_EQ(Rxcount, r.count) << r.name;
        purgeBuffer(20);
    }
    hl_line_say("abc");
    EXPECT_EQ(zrdata(buf, 300), TIMEOUT);

    Zctlesc = 0;
    Rxframeind = BIN32;
    LastGetTicks = int32_t(TickCount());
    hl_line_say(packet32(body, 'i'));
    EXPECT_EQ(zrdata(buf, 300), GOTCRCG);
    EXPECT_EQ(string(reinterpret_cast<char *>(buf), 256), body);
    string bad = packet32(body, 'i');
    bad[20] ^= 1;
    hl_line_say(bad);
    EXPECT_EQ(zrdata(buf, 300), ERROR);
}

// A batch ends anywhere: behind an escape, within a CRC, between two packets.
TEST(Subpackets, AnySplitGivesTheSame)
{
    const string body = "\x18\x11x\r@\r\x7F" + random_bytes(40);
    const string wire = packet32(body, 'i') + packet32("next", 'h');
    start_bench();
    Rxframeind = BIN32;
    for (size_t cut = 0; cut <= wire.size(); cut++) {
        uint8_t buf[64];
        LastGetTicks = int32_t(TickCount()); // a header has just come
        hl_line_say(wire.substr(0, cut));
        hl_line_say(wire.substr(cut), 40000);
        ASSERT_EQ(zrdata(buf, 60), GOTCRCG) << cut;
        ASSERT_EQ(string(reinterpret_cast<char *>(buf), size_t(Rxcount)), body);
        ASSERT_EQ(zrdata(buf, 60), GOTCRCE) << cut;
        ASSERT_EQ(Rxcount, 4);
    }
}

TEST(Crc, RunsAgreeWithSingleBytes)
{
    const string body = random_bytes(100);
    for (size_t n = 0; n <= body.size(); n++) {
        string part = body.substr(0, n);
        auto p = reinterpret_cast<const uint8_t *>(part.c_str());
        EXPECT_EQ(crc16_run(p, int32_t(n), 0), plain_crc16(part));
        EXPECT_EQ(~crc32_run(p, int32_t(n), 0xFFFFFFFF), plain_crc32(part));
    }
}
