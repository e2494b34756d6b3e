// The received-file writer: kinds, forks, breaks at every place and what goes
// on from there, files in the way, a disk that is full.
#include "tests/support/bench.h"

#include "platform/files.h"
#include "transfer/MacBinary.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using std::string;

// The header block of a file, as the receiver takes it.
static int32_t offer(const string &name, const string &figures, uint8_t zf0 = 0)
{
    string block = file_block(name, figures) + string(2, '\0');
    std::vector<uint8_t> bytes(block.begin(), block.end());
    zprot = 'Z';
    zdir = 'R';
    zconv = zf0;
    gotEOF = 0;
    StartPos = 0;
    int32_t result = procheader(bytes.data());
    rxbytes = StartPos;
    return result;
}

// Gives stream[rxbytes...] in blocks. Returns the first result that isn't 0.
static int32_t give(const string &stream, size_t end, size_t block)
{
    while (size_t(rxbytes) < end) {
        size_t n = std::min(block, end - size_t(rxbytes));
        string part = stream.substr(size_t(rxbytes), n);
        int32_t err =
            zWriteData(rxbytes, reinterpret_cast<const uint8_t *>(part.data()),
                       int16_t(n));
        if (err)
            return err;
        rxbytes += int32_t(n);
    }
    return 0;
}

static int32_t finish(bool complete)
{
    gotEOF = complete;
    return closeit();
}

// A transfer that breaks behind `end` bytes. The result of its last step.
static int32_t begin(const string &name, size_t size, const string &stream,
                     size_t end, size_t block)
{
    EXPECT_EQ(offer(name, std::to_string(size)), 0);
    EXPECT_EQ(give(stream, end, block), 0);
    return finish(false);
}

static string receive(const string &name, const string &stream, size_t block,
                      uint8_t zf0 = 0)
{
    EXPECT_EQ(offer(name, std::to_string(stream.size()), zf0), 0);
    EXPECT_EQ(give(stream, stream.size(), block), 0);
    EXPECT_EQ(finish(true), 0);
    return read_file(name);
}

static CatInfo catalog(const string &name)
{
    CatInfo info = {};
    EXPECT_EQ(GetCatInfo(zRcvVol, zRcvDirID, P(name), &info), noErr) << name;
    return info;
}

static string resource_fork(const string &name)
{
    int16_t ref;
    if (HOpenRF(zRcvVol, zRcvDirID, P(name), fsRdPerm, &ref) != noErr)
        return "";
    int32_t n = 0;
    GetEOF(ref, &n);
    string out(size_t(n), 0);
    FSRead(ref, &n, out.data());
    FSClose(ref);
    return out;
}

// A MacBinary stream; lengths and codes in the machine's own order.
static string macbinary(const string &name, const string &dataFork,
                        const string &rsrcFork, OSType type)
{
    string h(128, 0);
    auto put = [&](size_t at, auto value) {
        memcpy(&h[at], &value, sizeof value);
    };
    h[1] = char(name.size());
    h.replace(2, name.size(), name);
    put(65, type);
    put(69, FOUR("CRTR"));
    put(83, int32_t(dataFork.size()));
    put(87, int32_t(rsrcFork.size()));
    put(91, uint32_t(3700000000));
    put(95, uint32_t(3700000100));
    auto pad = [](string s) {
        s.resize((s.size() + 127) / 128 * 128);
        return s;
    };
    return h + pad(dataFork) + pad(rsrcFork);
}

// ---- kinds -----------------------------------------------------------------

TEST(Writer, TextAndBinary)
{
    struct row {
        const char *name;
        char convert;
        uint8_t zf0;
        string in, out;
        char kind;
    };
    const string odd = string("line\r\nline\n\x01\r", 13);
    const row rows[] = {
        {"line ends", 'S', 0, "a\r\nb\nc\rd\r\n\ne", "a\rb\rc\rd\re", 'T'},
        {"the same, as binary", 'B', 0, "a\r\nb", "a\r\nb", 'B'},
        {"NUL by the sender's word", 'S', ZCNL, string("a\0b", 3), "ab", 'T'},
        {"Ctrl-Z ends the block", 'S', 0, "one\x1Atwo", "one", 'T'},
        {"high bytes are text", 'S', 0, "\xE9t\xE9\r\n", "\xE9t\xE9\r", 'T'},
        {"one odd byte is not", 'S', 0, odd, odd, 'B'},
        {"but for who insists", 'T', 0, odd, string("line\rline\r\x01\r", 12),
         'T'},
    };
    for (const auto &r : rows) {
        start_bench(r.convert);
        string name = string("f") + r.kind;
        EXPECT_EQ(receive(name, r.in, 1024, r.zf0), r.out) << r.name;
        EXPECT_EQ(zftype, r.kind) << r.name;
        if (r.kind == 'T') {
            EXPECT_EQ(catalog(name).info.fdType, FOUR("TEXT")) << r.name;
        }
    }
}

// A line end may be cut anywhere; Ctrl-Z ends only its own block.
TEST(Writer, TextInBlocksOfAnySize)
{
    const string in = "one\r\ntwo\r\n\r\nthree\nfour\r";
    for (size_t block = 1; block < 12; block++) {
        start_bench('S');
        EXPECT_EQ(receive("t", in, block), "one\rtwo\r\rthree\rfour\r")
            << block;
    }
    start_bench('S');
    EXPECT_EQ(receive("t", "ab\032cdef", 4), "abdef");
}

TEST(Writer, MacBinaryMakesTwoForks)
{
    const string d = random_bytes(512), r = random_bytes(768, 2);
    for (size_t block : {1024u, 300u, 128u, 100u, 1u}) {
        start_bench('S');
        string stream = macbinary("Two:Forks", d, r, FOUR("APPL"));
        stream[81] = 1; // locked
        EXPECT_EQ(offer("two.bin", std::to_string(stream.size())), 0);
        EXPECT_EQ(give(stream, stream.size(), block), 0);
        EXPECT_EQ(finish(true), 0);
        if (block == 1) {
            // A first block of one NUL is held with all that follow.
            EXPECT_EQ(zftype, 'M');
        }
        ASSERT_TRUE(file_there("Two;Forks")) << block;
        EXPECT_EQ(read_file("Two;Forks"), d) << block;
        EXPECT_EQ(resource_fork("Two;Forks"), r) << block;
        CatInfo info = catalog("Two;Forks");
        EXPECT_EQ(info.info.fdType, FOUR("APPL"));
        EXPECT_EQ(info.info.fdCreator, FOUR("CRTR"));
        EXPECT_EQ(info.modified, 3700000100u);
        EXPECT_TRUE(info.locked);
    }
    start_bench('B');
    string stream = macbinary("x", d, r, FOUR("APPL"));
    EXPECT_EQ(receive("whole", stream, 1024), stream) << "taken as it comes";
}

TEST(Writer, WhatIsAMacBinaryHeader)
{
    start_bench();
    const struct {
        const char *name;
        int at;
        int value;
        bool is;
    } rows[] = {
        {"good", 0, 0, true},
        {"version", 0, 1, false},
        {"zero at 74", 74, 2, false},
        {"one at 74", 74, 1, true},
        {"zero at 82", 82, 1, false},
        {"no name", 1, 0, false},
        {"name of 63", 1, 63, true},
        {"name of 64", 1, 64, false},
        {"control in the name", 2, 31, false},
        {"first length byte", 83, 1, false},
        {"of the other", 87, 1, false},
        {"negative length", 86, 0xFF, false},
        {"bad second CRC counts as the first version", 122, 129, true},
    };
    for (const auto &r : rows) {
        string h = macbinary("n", string(256, 'd'), "", FOUR("TEXT"));
        h[size_t(r.at)] = char(r.value);
        if (r.at == 1) // a name that long
            h.replace(2, size_t(r.value), size_t(r.value), 'n');
        h[123] = h[122];
        EXPECT_EQ(IsMacBin(reinterpret_cast<const uint8_t *>(h.data())), r.is)
            << r.name;
        EXPECT_EQ(MacBin2, 0) << r.name;
    }
    string h = macbinary("n", string(256, 'd'), "", FOUR("TEXT"));
    h[122] = h[123] = char(129);
    uint32_t crc = plain_crc16(h.substr(0, 124));
    h[124] = char(crc >> 8);
    h[125] = char(crc);
    EXPECT_EQ(IsMacBin(reinterpret_cast<const uint8_t *>(h.data())), 1);
    EXPECT_EQ(MacBin2, 1);
}

// Lengths that no file has must not hang the writer or pass its bounds.
TEST(Writer, HostileHeaders)
{
    const int32_t lengths[] = {0, 0x100, 0x7FFFFF00, int32_t(0x80000000), -256};
    for (int32_t d : lengths)
        for (int32_t r : lengths) {
            start_bench('S');
            string stream = macbinary("evil", "", "", FOUR("evil"));
            memcpy(&stream[83], &d, 4);
            memcpy(&stream[87], &r, 4);
            stream += random_bytes(3000);
            (void)offer("h", "3128");
            (void)give(stream, stream.size(), 1000);
            (void)finish(true);
        }
}

TEST(Writer, ShortFirstBlocks)
{
    start_bench('S');
    const string body = string(1, 0) + random_bytes(99);
    EXPECT_EQ(receive("held", body, 1024), body) << "nothing came behind it";
    EXPECT_EQ(receive("joined", body + body, 100), body + body);
    // One that starts otherwise is judged at once, whatever follows.
    string bin = macbinary("m", string(256, 'd'), "", FOUR("APPL"));
    string shifted = "x" + bin;
    EXPECT_EQ(receive("plain", shifted, 100), shifted);
}

// ---- breaks and going on ---------------------------------------------------

struct broken_row {
    const char *name;
    char convert;
    string stream;
    std::function<void(const string &)> check; // of the complete file
};

// Breaks the transfer behind `at` bytes, starts it again, and lets it end.
static void break_and_resume(const broken_row &row, size_t at, size_t block)
{
    const string figures = std::to_string(row.stream.size());

    start_bench(row.convert);
    ASSERT_EQ(begin("file", row.stream.size(), row.stream, at, block), 0);
    ASSERT_TRUE(file_there(partial("file"))) << row.name << at;
    ASSERT_EQ(folder_list().size(), 1u);

    ASSERT_EQ(offer("file", figures), 0);
    EXPECT_EQ(size_t(StartPos), at) << row.name;
    // And once more before anything has come: it must still be a partial one.
    ASSERT_EQ(finish(false), 0);
    ASSERT_TRUE(file_there(partial("file"))) << row.name << at;
    ASSERT_EQ(folder_list().size(), 1u);

    ASSERT_EQ(offer("file", figures), 0);
    ASSERT_EQ(give(row.stream, row.stream.size(), block), 0);
    ASSERT_EQ(finish(true), 0);
    EXPECT_FALSE(file_there(partial("file"))) << row.name << at;
    row.check(row.name + string(" at ") + std::to_string(at));
}

TEST(Writer, GoesOnWhereItBroke)
{
    string text, kept;
    for (int i = 0; i < 300; i++)
        text += "line " + std::to_string(i) + "\n";
    kept = text;
    for (char &c : kept)
        c = c == '\n' ? '\r' : c;
    const string d = random_bytes(1024), r = random_bytes(768, 2);
    const string letter = "Dear Sir,\rsome text in a data fork";
    string doc = letter;
    doc.resize(1024, '.');

    auto plain = [](const string &want) {
        return [want](const string &where) {
            EXPECT_EQ(read_file("file"), want) << where;
        };
    };
    auto forks = [](const string &data_, const string &rsrc, OSType type) {
        return [=](const string &where) {
            EXPECT_EQ(read_file("mac"), data_) << where;
            EXPECT_EQ(resource_fork("mac"), rsrc) << where;
            EXPECT_EQ(catalog("mac").info.fdType, type) << where;
        };
    };
    auto typed = [=](const string &want, OSType type) {
        return [=](const string &where) {
            EXPECT_EQ(read_file("file"), want) << where;
            EXPECT_EQ(catalog("file").info.fdType, type) << where;
        };
    };
    const broken_row rows[] = {
        {"binary", 'B', random_bytes(3000), plain(random_bytes(3000))},
        {"text", 'S', text, typed(kept, FOUR("TEXT"))},
        {"text as binary", 'B', text, typed(text, FOUR("TEXT"))},
        {"two forks", 'S', macbinary("mac", d, r, FOUR("APPL")),
         forks(d, r, FOUR("APPL"))},
        {"one fork", 'S', macbinary("mac", d, "", FOUR("APPL")),
         forks(d, "", FOUR("APPL"))},
        {"the other fork", 'S', macbinary("mac", "", r, FOUR("APPL")),
         forks("", r, FOUR("APPL"))},
        {"a text document", 'S', macbinary("mac", doc, r, FOUR("TEXT")),
         forks(doc, r, FOUR("TEXT"))},
    };
    for (const broken_row &row : rows) {
        for (size_t at : {200u, 256u, 700u, 1100u, 1152u, 1153u, 1200u}) {
            if (at >= row.stream.size())
                continue;
            SCOPED_TRACE(string(row.name) + " " + std::to_string(at));
            break_and_resume(row, at, 128);
            break_and_resume(row, at, 1024);
            if (HasFatalFailure())
                return;
        }
    }
}

// The two bytes of a line end in two transfers, in one run of the program or
// in two, or with another text between. No blank line comes or goes.
TEST(Writer, ATextBrokenWithinALineEndGoesOn)
{
    for (const string stream :
         {"one\r\ntwo\r\n\r\nfour\r\n", "one\n\ntwo\n\n\nfour\n",
          "x\r\n\r\nbody\n\nmore\n\n\nend\n", "\r\r\n\n\r"}) {
        start_bench('S');
        const string whole = receive("f", stream, 100);
        for (size_t at = 1; at < stream.size(); at++)
            for (string between : {"", "\r", "\n", "x"}) {
                start_bench('S');
                ASSERT_EQ(begin("f", stream.size(), stream, at, 100), 0);
                if (!between.empty())
                    receive("other", between, 100);
                EXPECT_EQ(receive("f", stream, 100), whole) << at << between;
            }
    }
}

TEST(Writer, ABreakBeforeAnyDataLeavesNothing)
{
    start_bench();
    ASSERT_EQ(offer("f", "100"), 0);
    EXPECT_EQ(finish(false), 0);
    EXPECT_TRUE(folder_list().empty());
    // An empty block made the file, and it is gone again.
    ASSERT_EQ(offer("f", "100"), 0);
    uint8_t nothing[1] = {0};
    EXPECT_EQ(zWriteData(0, nothing, 0), 0);
    EXPECT_EQ(finish(false), 0);
    EXPECT_TRUE(folder_list().empty());
}

TEST(Writer, PartialsThatAreNotResumed)
{
    start_bench();
    // Too short to tell what it is; what comes is a file of its own, and its
    // partial takes the older one's place.
    write_file(partial("f"), string(100, 1));
    ASSERT_EQ(offer("f", "5000"), 0);
    EXPECT_EQ(StartPos, 0);
    EXPECT_EQ(zRcvRef, 0);
    ASSERT_EQ(give(string(500, 'n'), 500, 100), 0);
    EXPECT_EQ(finish(false), 0);
    EXPECT_EQ(folder_list(), (std::vector<string>{partial("f")}));
    EXPECT_EQ(read_file(partial("f")), string(500, 'n'));

    // One at least as long as the offer is left open, and takes the data
    // behind its own: nothing of it is lost.
    ASSERT_EQ(offer("f", "300"), 0);
    EXPECT_EQ(StartPos, 0);
    EXPECT_NE(zRcvRef, 0);
    ASSERT_EQ(give(string(300, 'm'), 300, 100), 0);
    EXPECT_EQ(finish(true), 0);
    EXPECT_EQ(gotEOF, 0) << "it is no complete file";
    EXPECT_EQ(read_file(partial("f")), string(500, 'n') + string(300, 'm'));
    EXPECT_FALSE(file_there("f"));

    // So does a text, whose position stays at its end. It holds two files now,
    // and no later offer goes on with that.
    start_bench('S');
    ASSERT_EQ(begin("t", 500, string(400, 'o'), 400, 100), 0);
    const string old = read_file(partial("t"));
    ASSERT_EQ(offer("t", "300"), 0);
    EXPECT_EQ(finish(false), 0);
    EXPECT_EQ(read_file(partial("t")), old) << "nothing came";
    ASSERT_EQ(begin("t", 300, string(200, 'm'), 200, 100), 0);
    EXPECT_EQ(read_file(partial("t")),
              string(400, 'o') + string(200, 'm') + old.substr(400));
    ASSERT_EQ(offer("t", "5000"), 0);
    EXPECT_EQ(StartPos, 0);
    start_bench();

    // A folder, and a link that leads out of here.
    ASSERT_EQ(mkdir((scratch() + "/" + partial("g")).c_str(), 0777), 0);
    ASSERT_EQ(offer("g", "300"), 0);
    EXPECT_EQ(StartPos, 0);
    write_file("target", string(400, 't'));
    ASSERT_EQ(symlink((scratch() + "/target").c_str(),
                      (scratch() + "/" + partial("h")).c_str()),
              0);
    ASSERT_EQ(offer("h", "3000"), 0);
    EXPECT_EQ(StartPos, 0);
    EXPECT_EQ(zRcvRef, 0);
    EXPECT_EQ(read_file("target"), string(400, 't'));
}

// What isn't whole never keeps the name of a whole file.
TEST(Writer, APartialNameThatIsTaken)
{
    start_bench();
    ASSERT_EQ(mkdir((scratch() + "/" + partial("f")).c_str(), 0777), 0);
    ASSERT_EQ(begin("f", 5000, string(500, 'n'), 500, 100), 0);
    EXPECT_FALSE(file_there("f"));
    EXPECT_EQ(read_file(partial("f") + " #1"), string(500, 'n'));
}

// The stream of a MacBinary file ends before its forks do.
TEST(Writer, ForksThatDoNotComeWhole)
{
    start_bench('S');
    const string stream =
        macbinary("mac", random_bytes(512), random_bytes(512), FOUR("APPL"));
    for (size_t end : {200u, 700u}) {
        ASSERT_EQ(offer("f", ""), 0);
        ASSERT_EQ(give(stream, end, 100), 0);
        (void)finish(true);
        EXPECT_EQ(gotEOF, 0) << end;
        EXPECT_FALSE(file_there("mac")) << end;
        EXPECT_TRUE(file_there(partial("f"))) << end;
    }
}

TEST(Writer, HostileTrailers)
{
    const int32_t places[] = {0, -1, int32_t(0x80000000), 0x7FFFFFFF, 1};
    for (int32_t place : places) {
        for (bool text : {true, false}) {
            start_bench('S');
            string body =
                text ? string(200, 't')
                     : macbinary("m", string(256, 'd'), "", FOUR("APPL"))
                           .substr(0, 128);
            if (text)
                body += string(reinterpret_cast<const char *>(&place), 4);
            else
                memcpy(&body[112], &place, 4);
            write_file(partial("f"), string(text ? 0 : 300, 'x') + body);
            FInfo info = {};
            info.fdType = text ? FOUR("TEXT") : FOUR("qPMB");
            Str255 p = {2, 'f', 0xA5};
            HSetFInfo(zRcvVol, zRcvDirID, p, &info);
            (void)offer("f", "5000");
            EXPECT_GE(StartPos, 0);
            (void)give(string(5000, 'n'), 4000, 1000);
            (void)finish(false);
        }
    }
}

// ---- files in the way ------------------------------------------------------

TEST(Writer, AsksAboutAFileThatExists)
{
    start_bench();
    write_file("f", "old");
    hl_answer(1);
    (void)offer("f", "3");
    give("new", 3, 3);
    finish(true);
    EXPECT_EQ(read_file("f"), "old");
    EXPECT_EQ(read_file("f #1"), "new");
    expect_shown("f #1: File exists, using new name");

    hl_answer(2);
    EXPECT_EQ(offer("f", "3"), -1);

    hl_answer(3);
    (void)offer("f", "5");
    give("newer", 5, 5);
    finish(true);
    EXPECT_EQ(read_file("f"), "newer");
    EXPECT_GT(hl_beeps(), 2);

    // A resumed file keeps off a complete one of its name.
    write_file("g", "complete");
    write_file(partial("g"), string(200, 2));
    (void)offer("g", "300");
    EXPECT_EQ(StartPos, 200);
    string stream = string(200, 2) + string(100, 'q');
    give(stream, 300, 100);
    EXPECT_EQ(finish(true), 0);
    EXPECT_EQ(read_file("g"), "complete");
    EXPECT_EQ(read_file("g #1"), stream);
}

// ---- a disk that is full ---------------------------------------------------

static void disk_limit(rlim_t bytes)
{
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
}

// What had come before stays good to go on from, also of a kind whose position
// isn't its length, and whether a write in the middle fails or the last one.
TEST(Writer, AFullDiskMakesNoWholeFileAndCostsNoPartial)
{
    string text, lines;
    while (lines.size() < 60000) {
        text += "some line\r\n";
        lines += "some line\r";
    }
    const string body = random_bytes(60000), data_ = random_bytes(10240),
                 rsrc = random_bytes(50176, 2),
                 forked = macbinary("f", data_, rsrc, FOUR("TEST"));
    const struct {
        const char *what;
        const string &stream;
        size_t size, begun,
            limit; // offered; of the first transfer; of the disk
    } rows[] = {
        {"binary", body, 60000, 0, 20000},
        {"binary, its last bytes", body, 20100, 0, 20000},
        {"text, fresh", text, 60500, 0, 20000},
        {"text, its last bytes", text, 22110, 0, 20000},
        {"text, to the last byte of the disk", text, 60500, 0, 16384},
        {"text, resumed", text, 60500, 9000, 9000},
        {"data fork, fresh", forked, forked.size(), 0, 9000},
        {"data fork, resumed", forked, forked.size(), 5000, 8000},
        {"resources, fresh", forked, forked.size(), 0, 20000},
        {"resources, resumed", forked, forked.size(), 15000, 20000},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.what);
        start_bench(&r.stream == &body ? 'B' : 'S');
        const string size = std::to_string(r.size);
        if (r.begun > 0) {
            ASSERT_EQ(begin("f", r.size, r.stream, r.begun, 1000), 0);
        }
        disk_limit(r.limit);
        ASSERT_EQ(offer("f", size), 0);
        int32_t err = give(r.stream, r.size, 1000);
        EXPECT_EQ(finish(err == 0), err == 0 ? -1 : 0);
        disk_limit(RLIM_INFINITY);
        EXPECT_EQ(gotEOF, 0);
        EXPECT_EQ(folder_list(), (std::vector<string>{partial("f")}));
        ASSERT_EQ(offer("f", size), 0);
        EXPECT_GE(size_t(StartPos), r.begun);
        EXPECT_GT(StartPos, 0);
        EXPECT_EQ(give(r.stream, r.size, 1000), 0);
        EXPECT_EQ(finish(true), 0);
        if (&r.stream == &forked) {
            EXPECT_EQ(read_file("f"), data_);
            EXPECT_EQ(resource_fork("f"), rsrc);
        } else {
            EXPECT_EQ(read_file("f"), &r.stream == &body
                                          ? body.substr(0, r.size)
                                          : lines.substr(0, r.size / 11 * 10));
        }
    }
    EXPECT_TRUE(writer_ok());
}

// A folder with a file system of its own that never has room.
TEST(Writer, NotEnoughRoomIsToldBeforehand)
{
    start_bench();
    int16_t other = zRcvVol;
    FSSpec there;
    ASSERT_EQ(FSSpecFromPath("/proc/none", &there), fnfErr);
    zRcvVol = other; // left by a file that was chosen elsewhere
    zRcvDirID = there.parID;
    EXPECT_EQ(offer("f", "100"), -1);
    expect_shown("f: Not enough disk space, Skipped.");
    start_bench();
    EXPECT_EQ(offer("f", "100"), 0);
}

// ---- a place that has gone -------------------------------------------------

TEST(Writer, NothingIsCompleteThatIsNotThere)
{
    const string stream = random_bytes(5000);
    const string forked =
        macbinary("f", random_bytes(256), random_bytes(2048), FOUR("TEST"));
    enum { file, replaced, fork, folder };
    for (int gone : {file, replaced, fork, folder}) {
        start_bench(gone == fork ? 'S' : 'B');
        qset.globFlags = 0;
        const string &all = gone == fork ? forked : stream;
        zshow();
        ASSERT_EQ(offer("f", std::to_string(all.size())), 0);
        ASSERT_EQ(give(all, all.size() - 500, 1000), 0);
        string path = scratch() + "/f";
        if (gone == folder) {
            ASSERT_EQ(rename(scratch().c_str(), (scratch() + ".was").c_str()),
                      0);
        } else {
            remove(gone == fork ? (scratch() + "/._f").c_str() : path.c_str());
        }
        if (gone == replaced)
            write_file("f", "somebody else's");
        EXPECT_EQ(give(all, all.size(), 1000), 0);
        EXPECT_EQ(finish(true), -1) << gone;
        EXPECT_EQ(gotEOF, 0) << gone;
        expect_shown(" during close");
        expect_shown(" Incomplete");
        EXPECT_NE(log_text().find("\tIncomplete"), string::npos) << gone;
        zrmv();
        if (gone == folder) {
            ASSERT_EQ(rename((scratch() + ".was").c_str(), scratch().c_str()),
                      0);
        }
        if (gone == replaced) {
            EXPECT_EQ(read_file("f"), "somebody else's");
        }
    }
}
