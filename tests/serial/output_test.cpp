// Bytes to the line: staging, blocks and their remainders, one shot, the ring,
// the dump, and a line that has no room.
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/ports.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "tests/support/farend.h"
#include "transfer/xmodem.h"

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <unistd.h>

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

TEST(Output, RemainderGoesOutBeforeTheNextBlock)
{
    stuff_line();
    std::string one(500, '1'), two(500, '2'), heard;
    EXPECT_EQ(
        AWriteBlock(sOut, 500, reinterpret_cast<const uint8_t *>(one.data())),
        0);
    EXPECT_EQ(awRdy(), 1);
    EXPECT_GT(pb1.bytesLeft, 0);
    // The second block waits until the reader has made room.
    hl_after(30, [&heard] { heard += host_heard(); });
    int64_t begin = hl_now();
    EXPECT_EQ(
        AWriteBlock(sOut, 500, reinterpret_cast<const uint8_t *>(two.data())),
        0);
    EXPECT_GE(hl_now() - begin, 30 * 1000000 / 60 - 1000);
    FlushAW();
    EXPECT_EQ(awRdy(), 0);
    heard += host_heard();
    EXPECT_EQ(without_filling(heard), one + two);
}

TEST(Output, CancelEndsAStall)
{
    stuff_line();
    std::string one(500, '1');
    const uint8_t *p = reinterpret_cast<const uint8_t *>(one.data());

    EXPECT_EQ(AWriteBlock(sOut, 500, p), 0);
    hl_after(60, [] { UserCancel = 1; });
    EXPECT_EQ(AWriteBlock(sOut, 500, p), -1);
    FlushAW(); // returns
    awKill();
    EXPECT_EQ(awRdy(), 0);
    EXPECT_EQ(aw1Busy(), 0);
    UserCancel = 0;
    host_heard();
    EXPECT_EQ(AWriteBlock(sOut, 3, reinterpret_cast<const uint8_t *>("new")),
              0);
    EXPECT_EQ(host_heard(), "new") << "the rest of the old block came, too";
}

TEST(Output, KeysAndShotsAreKeptForAFullLine)
{
    stuff_line();
    OutCh(sOut, 'a');
    EXPECT_EQ(aw1Send(sOut, 3, reinterpret_cast<const uint8_t *>("bcd")), 0);
    EXPECT_EQ(pb1.bytesLeft, 0);
    EXPECT_EQ(aw1Busy(), 1);
    OutCh(sOut, 'e');
    std::string heard = host_heard();
    EXPECT_EQ(aw1Busy(), 0);
    OutCh(sOut, 'f');
    EXPECT_EQ(without_filling(heard + host_heard()), "abcdef");

    // The keep is bounded: what is past it is lost, and memory isn't.
    stuff_line();
    for (int i = 0; i < 10000; i++)
        OutCh(sOut, '0');
    heard = without_filling(host_heard());
    (void)aw1Busy();
    heard += host_heard();
    EXPECT_EQ(without_filling(heard).size(), size_t(kPortHold));
}

// The wait for an event ends when the line takes bytes again.
TEST(Output, RoomEndsAWait)
{
    EventRecord event;
    stuff_line();
    aw1Send(sOut, 3, reinterpret_cast<const uint8_t *>("xyz"));
    WaitNextEvent(0, &event, 1, nullptr);
    hl_after(10, [] { host_heard(); });
    int64_t begin = hl_now();
    WaitNextEvent(0, &event, 600, nullptr);
    EXPECT_LT(hl_now() - begin, 100 * 1000000 / 60);
    EXPECT_EQ(aw1Busy(), 0);
}

TEST(Output, BlockForALineThatIsGone)
{
    start_line();
    close(far);
    EXPECT_EQ(AWriteBlock(sOut, 3, reinterpret_cast<const uint8_t *>("abc")),
              0);
    EXPECT_EQ(pb1.bytesLeft, 0) << "dropped without a retry";
    OutCh(sOut, 'x');
    EXPECT_EQ(aw1Busy(), 0);
    sOut = sIn = 0; // a closed port: never standard input
    OutCh(sOut, 'x');
    aw1Send(sOut, 1, reinterpret_cast<const uint8_t *>("y"));
    EXPECT_EQ(awRdy(), 0);
}

TEST(Output, Ring)
{
    start_line();
    fillBuffer();
    for (int i = 0; i < kHistSize; i++)
        EXPECT_EQ(outHist[i], 0xDA);
    for (int i = 0; i < 255; i++)
        OutCh(sOut, uint8_t(i));
    EXPECT_EQ(histOffset, 255);
    putHist(reinterpret_cast<const uint8_t *>("xyz"), 3);
    EXPECT_EQ(histOffset, 2);
    EXPECT_EQ(outHist[255], 'x');
    EXPECT_EQ(outHist[0], 'y');
    EXPECT_EQ(outHist[1], 'z');
    EXPECT_EQ(outHist[2], 2);
}

TEST(Output, Dump)
{
    CatInfo info;
    start_line();
    memset(serialBuffPtr, 'S', size_t(GetPtrSize(serialBuffPtr)));
    putHist(reinterpret_cast<const uint8_t *>("sent"), 4);
    dumpBufs();
    FSSpec any = {pgmVRef, pgmDir, {1, 'x'}};
    char path[4096];
    ASSERT_NE(FSSpecToPath(&any, path, sizeof path), dirNFErr);
    auto folder = std::filesystem::path(path).parent_path();
    bool found = false;
    for (const auto &file : std::filesystem::directory_iterator(folder)) {
        Str255 name;
        CopyCStringToPascal(file.path().filename().c_str(), name);
        if (memcmp(name + 1, "QDump ", 6) != 0)
            continue;
        ASSERT_EQ(GetCatInfo(pgmVRef, pgmDir, name, &info), noErr);
        found = true;
        EXPECT_EQ(memchr(info.name + 1, ':', info.name[0]), nullptr);
        EXPECT_EQ(info.dataLen, 32 + GetPtrSize(serialBuffPtr) + 41 + 256);
        int16_t ref;
        ASSERT_EQ(HOpen(pgmVRef, pgmDir, info.name, fsRdPerm, &ref), noErr);
        std::string all(size_t(info.dataLen), 0);
        int32_t n = info.dataLen;
        EXPECT_EQ(FSRead(ref, &n, all.data()), noErr);
        EXPECT_EQ(all.substr(0, 33), "---Serial input buffer:--------\rS");
        EXPECT_NE(all.find("S----------------  output history buffer:\rsent"),
                  std::string::npos);
        FSClose(ref);
    }
    EXPECT_TRUE(found);
}
