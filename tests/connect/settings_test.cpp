// Records byte for byte, string lists whatever they hold, path strings.
#include "connect/Settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/PathStr.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "tests/support/running.h"
#include "transfer/Names.h"

// ---- records ---------------------------------------------------------------

// The whole record, byte by byte, out and back. The numbers stand here a second
// time, so that a row of the field tables can't change by accident.
TEST(Records, CrossToTheBookAndBack)
{
    std::vector<int> qsetWords = {0, 2, 4, 6, 304, 306, 308};
    for (int at = 16; at < 64; at += 2)
        if (at != 52 && at != 54)
            qsetWords.push_back(at);
    for (int at = 256; at < 296; at += 2)
        qsetWords.push_back(at);
    const struct {
        size_t size;
        void (*copy)(const void *, void *);
        std::vector<int> words, longs;
    } rows[] = {
        {136,
         copy_cset_swaps,
         {0, 14, 28, 34, 36, 38, 42, 48, 50, 56, 70},
         {52, 58, 64, 128, 132}},
        {428, copy_qsetup_swaps, qsetWords, {12}},
    };
    for (auto &r : rows) {
        std::string memory, file(r.size, 0), back(r.size, 0);
        for (size_t i = 0; i < r.size; i++)
            memory += char(i * 7 + 3);
        std::string want = memory;
        for (int at : r.words)
            std::reverse(&want[size_t(at)], &want[size_t(at)] + 2);
        for (int at : r.longs)
            std::reverse(&want[size_t(at)], &want[size_t(at)] + 4);
        std::string again = memory;
        if (r.size == 428) // the status window's place, swapped
            for (size_t i = 0; i < 4; i++)
                want[8 + i] = again[8 + i] = memory[52 + (i ^ 1)];
        r.copy(memory.data(), file.data());
        EXPECT_EQ(file, want) << r.size;
        r.copy(file.data(), back.data());
        EXPECT_EQ(back, again) << r.size;
    }
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
