// Records byte for byte, string lists whatever they hold, path strings.
#include "connect/Settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/PathStr.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "tests/support/running.h"
#include "transfer/Names.h"

// ---- records ---------------------------------------------------------------

namespace {

struct field_case {
    int offset;
    std::vector<uint8_t> bytes; // in the file
};

template <class T>
void expect_image(const T &record, void (*copy)(const void *, void *),
                  const std::vector<field_case> &fields)
{
    std::vector<uint8_t> image(sizeof record), again(sizeof record);

    copy(&record, image.data());
    for (const field_case &f : fields) {
        for (size_t i = 0; i < f.bytes.size(); i++)
            EXPECT_EQ(image[size_t(f.offset) + i], f.bytes[i])
                << "offset " << size_t(f.offset) + i;
    }
    T back = {};
    copy(image.data(), &back);
    copy(&back, again.data());
    EXPECT_EQ(image, again) << "the way back isn't the same";
}

template <class T> T numbered_record()
{
    T record;
    std::vector<uint8_t> bytes(sizeof record);
    for (size_t i = 0; i < bytes.size(); i++)
        bytes[i] = uint8_t(i * 7 + 3);
    memcpy(static_cast<void *>(&record), bytes.data(), sizeof record);
    return record;
}

} // namespace

TEST(Records, ConnectionIsBigEndianInTheFile)
{
    cset_t c = numbered_record<cset_t>();
    c.baudWord = 0x2580;
    c.macroSetID = 0x07D1;
    c.lineDelay = 0x0102;
    c.zWindow = 0x0400;
    c.kermLen = 0x2340;
    c.lastConnect = 0xE1D2C3B4;
    c.localStrID = 0x0BB8;
    c.baudLong = 0x00038400;
    c.parityChar = 'E';
    expect_image(c, copy_cset_swaps,
                 {{0, {0x25, 0x80}},
                  {2, {'E'}},
                  {14, {0x07, 0xD1}},
                  {28, {0x01, 0x02}},
                  {36, {0x04, 0x00}},
                  {42, {0x23, 0x40}},
                  {52, {0xE1, 0xD2, 0xC3, 0xB4}},
                  {70, {0x0B, 0xB8}},
                  {128, {0x00, 0x03, 0x84, 0x00}},
                  // reserved: numbered bytes, swapped or as they are
                  {7, {uint8_t(7 * 7 + 3)}},
                  {34, {uint8_t(35 * 7 + 3), uint8_t(34 * 7 + 3)}},
                  {45, {uint8_t(45 * 7 + 3), uint8_t(46 * 7 + 3)}},
                  {58,
                   {uint8_t(61 * 7 + 3), uint8_t(60 * 7 + 3),
                    uint8_t(59 * 7 + 3), uint8_t(58 * 7 + 3)}},
                  {62, {uint8_t(62 * 7 + 3), uint8_t(63 * 7 + 3)}},
                  {68, {uint8_t(68 * 7 + 3), uint8_t(69 * 7 + 3)}},
                  {132, {uint8_t(135 * 7 + 3)}}});
}

TEST(Records, SettingsAreBigEndianButForThreeFields)
{
    qset_t q = numbered_record<qset_t>();
    q.inBufSize = 0x4000;
    q.rcvFolder = 0x02001234;
    q.winRectSmall = {0x0102, 0x0304, 0x0506, 0x0708};
    q.fileBufSize = 0x4001;
    q.findWinLoc = {0x1122, 0x3344};
    q.dirWinRect = {1, 2, 3, 4};
    q.pageMargins = {0x0480, 0x0481, 0x0482, 0x0483};
    q.textCreator = FOUR("ttxt");
    q.rgbTable[0] = {0x0102, 0x0304, 0x0506};
    uint8_t xfer[4];
    memcpy(xfer, &q.xferWinLoc, 4);
    uint8_t rgb[2];
    memcpy(rgb, &q.rgbTable[0].red, 2);
    expect_image(q, copy_qsetup_swaps,
                 {{0, {0x40, 0x00}},
                  {12, {0x02, 0x00, 0x12, 0x34}},
                  {16, {1, 2, 3, 4, 5, 6, 7, 8}},
                  {50, {0x40, 0x01}},
                  {56, {0x11, 0x22, 0x33, 0x44}},
                  {112, {'t', 't', 'x', 't'}},
                  {264, {0, 1, 0, 2, 0, 3, 0, 4}},
                  {288, {0x04, 0x80, 0x04, 0x81, 0x04, 0x82, 0x04, 0x83}},
                  {296, {uint8_t(296 * 7 + 3), uint8_t(297 * 7 + 3)}},
                  {304, {uint8_t(305 * 7 + 3), uint8_t(304 * 7 + 3)}},
                  {310, {uint8_t(310 * 7 + 3), uint8_t(311 * 7 + 3)}},
                  // in the writer's order, its swapped copy, as in memory
                  {52, {xfer[0], xfer[1], xfer[2], xfer[3]}},
                  {8, {xfer[1], xfer[0], xfer[3], xfer[2]}},
                  {320, {rgb[0], rgb[1]}}});
}

TEST(Records, SpeedsPastTheWordAreInTheLongAlone)
{
    cset_t c = {};
    for (uint32_t speed : {300u, 57600u, 57601u, 115200u, 4000000u}) {
        SetBaud(speed, &c);
        EXPECT_EQ(c.baudWord, speed <= 57600 ? speed : 0) << speed;
        EXPECT_EQ(GetBaudFromSetup(&c), speed);
    }
}

// ---- string lists ----------------------------------------------------------

namespace {

Handle list_of(const std::string &bytes)
{
    Handle h;
    EXPECT_EQ(PtrToHand(bytes.data(), &h, int32_t(bytes.size())), noErr);
    return h;
}

std::string bytes_of(Handle h)
{
    return {reinterpret_cast<char *>(*h), size_t(GetHandleSize(h))};
}

std::string get(Handle list, int16_t index)
{
    Str255 s;
    GetFromStrList(list, index, s);
    return S(s);
}

uint8_t *pstring(const std::string &s)
{
    static Str255 buffer;
    CopyCStringToPascal(s.c_str(), buffer);
    return buffer;
}

} // namespace

TEST(StringLists, StringsAreReplacedAddedAndPadded)
{
    struct row {
        const char *what;
        std::vector<std::string> before;
        int16_t index;
        std::string text;
        std::vector<std::string> after;
    };
    const std::vector<std::string> ten = {"1", "2", "3", "4", "5",
                                          "6", "7", "8", "9", "10"};
    std::vector<std::string> eleven = ten;
    eleven.push_back("x");
    const row rows[] = {
        {"longer", {"a", "b", "c"}, 2, "bbbb", {"a", "bbbb", "c"}},
        {"shorter", {"a", "bbbb", "c"}, 2, "", {"a", "", "c"}},
        {"first", {"a", "b"}, 1, "A!", {"A!", "b"}},
        {"last", {"a", "b"}, 2, "B!", {"a", "B!"}},
        {"behind the end", ten, 11, "x", eleven},
        {"padded", {"a"}, 4, "d", {"a", "", "", "d"}},
        {"as far as it goes", {}, 7, "g", {"", "", "", "", "", "", "g"}},
        {"too far", {"a"}, 9, "i", {"a"}},
        {"none", {"a"}, 0, "z", {"a"}},
        {"below", {"a"}, -3, "z", {"a"}},
        {"full length",
         {"a"},
         1,
         std::string(255, 'w'),
         {std::string(255, 'w')}},
    };
    for (const row &r : rows) {
        Handle list = list_of(list_data(r.before));
        EXPECT_EQ(SetStrInList(list, r.index, pstring(r.text)), noErr);
        EXPECT_EQ(bytes_of(list), list_data(r.after)) << r.what;
        EXPECT_TRUE(StrListOK(list)) << r.what;
        DisposeHandle(list);
    }
}

TEST(StringLists, WhatIsNotThereReadsEmpty)
{
    Handle list = list_of(list_data({"a", "b"}));
    EXPECT_EQ(get(list, 2), "b");
    EXPECT_EQ(get(list, 3), "");
    EXPECT_EQ(get(list, 0), "");
    EXPECT_EQ(get(nullptr, 1), "");
    EXPECT_EQ(AppendStrList(list, nullptr), noErr);
    EXPECT_EQ(bytes_of(list), list_data({"a", "b", ""}));
    DisposeHandle(list);
}

TEST(StringLists, ALyingListIsBelievedAsFarAsItGoes)
{
    struct row {
        const char *what;
        std::string bytes;
        int16_t count;
        std::string first;
        std::string afterSet; // string 1 set to "X"
    };
    using namespace std::string_literals;
    const row rows[] = {
        {"no bytes", ""s, 0, "", "\0\1\1X"s},
        {"half a count", "\0"s, 0, "", "\0\1\1X"s},
        {"count too high", "\0\5\1a\1b"s, 2, "a", "\0\2\1X\1b"s},
        {"count huge", "\xff\xff\1a"s, 1, "a", "\0\1\1X"s},
        {"count too low", "\0\1\1a\1b"s, 1, "a", "\0\1\1X"s},
        {"last cut short", "\0\2\1a\5bc"s, 1, "a", "\0\1\1X"s},
        {"only a length", "\0\1\7"s, 0, "", "\0\1\1X"s},
    };
    for (const row &r : rows) {
        Handle list = list_of(r.bytes);
        EXPECT_FALSE(StrListOK(list)) << r.what;
        EXPECT_EQ(StrListCount(list), r.count) << r.what;
        EXPECT_EQ(get(list, 1), r.first) << r.what;
        EXPECT_EQ(get(list, 3), "") << r.what;
        EXPECT_EQ(SetStrInList(list, 1, pstring("X")), noErr);
        EXPECT_EQ(bytes_of(list), r.afterSet) << r.what;
        DisposeHandle(list);
    }
}

TEST(StringLists, WithoutMemoryTheListStaysAsItWas)
{
    std::string before = list_data({"a", "b"});
    Handle list = list_of(before);
    mem_fail_nth(1);
    EXPECT_EQ(SetStrInList(list, 1, pstring(std::string(200, 'x'))),
              memFullErr);
    EXPECT_EQ(bytes_of(list), before);
    mem_fail_nth(1);
    EXPECT_EQ(AppendStrList(list, pstring("c")), memFullErr);
    EXPECT_EQ(bytes_of(list), before);
    mem_fail_nth(0);
    DisposeHandle(list);
}

TEST(StringLists, ThePasswordIsTheGivenListsOrTheConnections)
{
    Str255 out;
    Handle mine = list_of(list_data({"", "", "", "", "", "", "mine"}));
    gLocalStrings = list_of(list_data({"", "", "", "", "", "me", "local"}));
    GetPassword(out, mine);
    EXPECT_EQ(S(out), "mine");
    GetPassword(out, nullptr, 5);
    EXPECT_EQ(S(out), "local");
}

// ---- path strings ----------------------------------------------------------

namespace {

struct parsed {
    int16_t volume;
    int32_t folder;
    std::string name;
};

parsed parse(const std::string &path)
{
    parsed p = {0, 0, ""};
    Str255 text, name;
    text[0] = uint8_t(path.size());
    memcpy(text + 1, path.data(), path.size());
    GetFolderFromStr(text, &p.volume, &p.folder, name);
    p.name = S(name);
    return p;
}

std::string date_bytes(uint32_t date)
{
    return {char(date >> 24), char(date >> 16), char(date >> 8), char(date)};
}

} // namespace

TEST(PathStrings, FoldersComeBackByNameByDateOrNotAtAll)
{
    make_place();
    FSSpec spec = book_spec();
    VolInfo info;
    ASSERT_EQ(GetVolInfo(spec.vRefNum, &info), noErr);
    std::string volume = S(info.name);
    std::string date = date_bytes(info.created);
    Str255 made;
    VolDirToStr(spec.vRefNum, spec.parID, made);
    std::string whole = S(made);
    std::string folder = std::to_string(spec.parID);
    ASSERT_EQ(whole, volume + '\1' + date + ':' + folder);

    struct row {
        const char *what;
        std::string path;
        bool found;
        std::string name;
    };
    const row rows[] = {
        {"folder", whole, true, ""},
        {"file", whole + ":capture.txt", true, "capture.txt"},
        {"colon at the end", whole + ":", true, ""},
        {"colon in the file's name", whole + ":a:b", true, "a:b"},
        {"name alone", volume + ":" + folder, true, ""},
        {"renamed volume", "no such name\1" + date + ":" + folder, true, ""},
        {"unknown volume", std::string("gone\1\xff\xff\xff\xfe", 9) + ":12",
         false, ""},
        {"colons in the date", volume + "\1::::" + ":" + folder, true, ""},
        {"no folder", volume + '\1' + date, false, ""},
        {"folder without digits", volume + ":x", false, ""},
        {"empty", "", false, ""},
        {"colon", ":", false, ""},
        {"lone mark", "\1", false, ""},
    };
    for (const row &r : rows) {
        parsed p = parse(r.path);
        EXPECT_EQ(p.volume, r.found ? spec.vRefNum : kNoVolume) << r.what;
        EXPECT_EQ(p.folder, r.found ? spec.parID : kNoFolder) << r.what;
        EXPECT_EQ(p.name, r.name) << r.what;
    }
    EXPECT_EQ(parse("1").volume, 1);
    EXPECT_EQ(parse("2").volume, 2);
    EXPECT_EQ(parse("2").folder, 2);
    EXPECT_EQ(parse("3").volume, kNoVolume);
}
