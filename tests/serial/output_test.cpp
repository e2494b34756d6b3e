// Bytes to the line: staging, blocks and their remainders, one shot, the ring,
// the dump, and a line that has no room.
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "tests/support/farend.h"
#include "transfer/xmodem.h"

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

static const uint8_t *U(const std::string &s)
{
    return reinterpret_cast<const uint8_t *>(s.data());
}

static std::vector<size_t> message_sizes()
{
    std::vector<size_t> sizes;
    char buf[1024];
    ssize_t n;

    while ((n = read(far, buf, sizeof buf)) > 0)
        sizes.push_back(size_t(n));
    return sizes;
}

TEST(Output, StagingHandsOverInTime)
{
    start_line();
    awMax = 32;
    awMax2 = 128;
    for (int i = 0; i < 31; i++)
        awPut(uint8_t(i));
    EXPECT_TRUE(message_sizes().empty());
    for (int i = 31; i < 300; i++)
        awPut(uint8_t(i));
    EXPECT_EQ(message_sizes(), (std::vector<size_t>{32, 128, 128}));
    awStart();
    EXPECT_EQ(message_sizes(), (std::vector<size_t>{12}));
    awMax = 32;
    awStart();
    EXPECT_EQ(awMax, 32) << "nothing staged: nothing changes";
    awMax = awMax2 = 3000; // past the buffer
    for (int i = 0; i < 600; i++)
        awPut(uint8_t(i));
    EXPECT_EQ(message_sizes(), (std::vector<size_t>{520}));
}

// A stream that its reader leaves full.
static void stuff_line()
{
    static bool started;

    if (!started)
        start_line();
    started = true;
    use_pair(SOCK_STREAM);
    std::string block(500, 'f');
    while (write(sOut, block.data(), block.size()) > 0)
        ;
}

static std::string without_filling(std::string s)
{
    s.erase(0, s.find_first_not_of('f'));
    return s;
}

TEST(Output, CancelEndsAStall)
{
    stuff_line();
    std::string one(500, '1');

    EXPECT_EQ(AWriteBlock(sOut, 500, U(one)), 0);
    hl_after(60, [] { UserCancel = 1; });
    EXPECT_EQ(AWriteBlock(sOut, 500, U(one)), -1);
    FlushAW(); // returns
    awKill();
    EXPECT_EQ(awRdy(), 0);
    EXPECT_EQ(aw1Busy(), 0);
    UserCancel = 0;
    host_heard();
    EXPECT_EQ(AWriteBlock(sOut, 3, U("new")), 0);
    EXPECT_EQ(host_heard(), "new");
}

// Whatever is given to a full line leaves in its order, or not at all after a
// kill by which its writer didn't count it as written.
TEST(Output, FullLineKeepsTheOrder)
{
    const std::string ones(500, '1'), twos(500, '2');
    const struct {
        const char *name;
        // '+', '-' gather on and off, '!' kill; else a letter and its text:
        // b a block, k a key, s a shot
        std::vector<std::string> steps;
        std::string want;
    } rows[] = {
        {"keys and shots", {"ka", "sbcd", "ke"}, "abcde"},
        {"a key, a block", {"kx", "bone"}, "xone"},
        {"long blocks", {"b" + ones, "b" + twos}, ones + twos},
        {"gathered, then not", {"+", "bone", "-", "btwo"}, "onetwo"},
        {"gathered", {"+", "b" + ones, "b" + twos}, ones + twos},
        {"a key overtakes nothing", {"+", "bone", "kx"}, "onex"},
        {"a killed block", {"bone", "!", "btwo"}, "two"},
        {"killed, but gathered", {"+", "bone", "!"}, "one"},
    };
    static std::string heard;
    static std::function<void()> listen = [] {
        heard += host_heard();
        hl_after(10, listen);
    };

    stuff_line();
    hl_after(30, listen);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        stuff_line();
        heard.clear();
        for (const std::string &s : r.steps) {
            const std::string text = s.substr(1);
            switch (s[0]) {
            case '+':
            case '-':
                awGather(s[0] == '+');
                break;
            case '!':
                awKill();
                break;
            case 'b':
                EXPECT_EQ(AWriteBlock(sOut, int16_t(text.size()), U(text)), 0);
                break;
            case 'k':
                OutCh(sOut, uint8_t(text[0]));
                break;
            case 's':
                aw1Send(sOut, int16_t(text.size()), U(text));
                EXPECT_EQ(aw1Busy(), 1);
                break;
            }
            EXPECT_TRUE(line_ok() && aw_ok());
        }
        FlushAW();
        EXPECT_EQ(awRdy(), 0);
        EXPECT_EQ(without_filling(heard + host_heard()), r.want);
    }
}

TEST(Output, BlockForALineThatIsGone)
{
    start_line();
    close(far);
    EXPECT_EQ(AWriteBlock(sOut, 3, U("abc")), 0);
    EXPECT_EQ(pb1.bytesLeft, 0) << "dropped without a retry";
    OutCh(sOut, 'x');
    EXPECT_EQ(aw1Busy(), 0);
    sOut = sIn = 0; // a closed port: never standard input
    OutCh(sOut, 'x');
    aw1Send(sOut, 1, U("y"));
    EXPECT_EQ(awRdy(), 0);
}

TEST(Output, Ring)
{
    start_line();
    for (int i = 0; i < 255; i++)
        OutCh(sOut, uint8_t(i));
    putHist(U("xyz"), 3);
    EXPECT_EQ(histOffset, 2);
    EXPECT_EQ(outHist[255], 'x');
    EXPECT_EQ(std::string(outHist, outHist + 3), "yz\2");
}

TEST(Output, Dump)
{
    CatInfo info;
    std::string all;
    start_line();
    memset(serialBuffPtr, 'S', size_t(GetPtrSize(serialBuffPtr)));
    putHist(U("sent"), 4);
    dumpBufs();
    FSSpec any = {pgmVRef, pgmDir, {1, 'x'}};
    char path[4096];
    ASSERT_NE(FSSpecToPath(&any, path, sizeof path), dirNFErr);
    auto folder = std::filesystem::path(path).parent_path();
    for (const auto &file : std::filesystem::directory_iterator(folder)) {
        Str255 name;
        int16_t ref;
        CopyCStringToPascal(file.path().filename().c_str(), name);
        if (memcmp(name + 1, "QDump ", 6) != 0)
            continue;
        ASSERT_EQ(GetCatInfo(pgmVRef, pgmDir, name, &info), noErr);
        EXPECT_EQ(memchr(info.name + 1, ':', info.name[0]), nullptr);
        ASSERT_EQ(HOpen(pgmVRef, pgmDir, info.name, fsRdPerm, &ref), noErr);
        all.resize(size_t(info.dataLen));
        EXPECT_EQ(FSRead(ref, &info.dataLen, all.data()), noErr);
        FSClose(ref);
    }
    EXPECT_EQ(all.size(), size_t(32 + GetPtrSize(serialBuffPtr) + 41 + 256));
    EXPECT_EQ(all.substr(0, 33), "---Serial input buffer:--------\rS");
    EXPECT_NE(all.find("S----------------  output history buffer:\rsent\xDA"),
              std::string::npos);
}
