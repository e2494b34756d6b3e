// Records byte for byte, string lists whatever they hold, path strings.
#include "connect/Settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "base/PathStr.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "tests/support/running.h"

// ---- records ---------------------------------------------------------------

// The whole record, byte by byte, out and back. Its bytes (b), words (w) and
// longs (l) stand here a second time, so that a row of the field tables can't
// change by accident.
TEST(Records, CrossToTheBookAndBack)
{
    const struct {
        void (*copy)(const void *, void *);
        const char *layout;
        size_t place; // of the status window, which its copy follows, swapped
    } rows[] = {
        {copy_cset_swaps,
         "w1 b12 w1 b12 w1 b4 w3 b2 w1 b4 w2 l1 w1 l1 b2 l1 b2 w1 b56 l2", 0},
        {copy_qsetup_swaps, "w4 b4 l1 w18 b4 w4 b192 w20 b8 w3 b118", 52},
    };
    for (auto &r : rows) {
        std::string memory, want, one;
        for (std::istringstream in(r.layout); in >> one;) {
            size_t width = one[0] == 'b' ? 1 : one[0] == 'w' ? 2 : 4;
            for (int n = std::stoi(one.substr(1)); n > 0; n--) {
                for (size_t i = 0; i < width; i++)
                    memory += char(memory.size() * 7 + 3);
                want += memory.substr(want.size());
                std::reverse(want.end() - long(width), want.end());
            }
        }
        std::string file(want.size(), 0), back = file, again = memory;
        for (size_t i = 0; r.place && i < 4; i++)
            want[8 + i] = again[8 + i] = memory[r.place + (i ^ 1)];
        r.copy(memory.data(), file.data());
        EXPECT_EQ(file, want) << r.layout;
        r.copy(file.data(), back.data());
        EXPECT_EQ(back, again) << r.layout;
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

static Handle list_of(const std::string &bytes)
{
    Handle h;
    EXPECT_EQ(PtrToHand(bytes.data(), &h, int32_t(bytes.size())), noErr);
    return h;
}

static std::string bytes_of(Handle h)
{
    return {reinterpret_cast<char *>(*h), size_t(GetHandleSize(h))};
}

static std::string get(Handle list, int16_t index)
{
    Str255 s;
    GetFromStrList(list, index, s);
    return S(s);
}

TEST(StringLists, StringsAreReplacedAddedAndPadded)
{
    const std::string ten = "1|2|3|4|5|6|7|8|9|10", full(255, 'w');
    const struct {
        const char *what;
        std::string before;
        int16_t index;
        std::string text, after;
    } rows[] = {
        {"longer", "a|b|c", 2, "bbbb", "a|bbbb|c"},
        {"shorter", "a|bbbb|c", 2, "", "a||c"},
        {"first", "a|b", 1, "A!", "A!|b"},
        {"last", "a|b", 2, "B!", "a|B!"},
        {"behind the end", ten, 11, "x", ten + "|x"},
        {"padded", "a", 4, "d", "a|||d"},
        {"as far as it goes", "", 7, "g", "||||||g"},
        {"too far", "a", 9, "i", "a"},
        {"none", "a", 0, "z", "a"},
        {"below", "a", -3, "z", "a"},
        {"full length", "a", 1, full, full},
    };
    for (auto &r : rows) {
        Handle list = list_of(list_text(r.before));
        EXPECT_EQ(SetStrInList(list, r.index, P(r.text)), noErr);
        EXPECT_EQ(bytes_of(list), list_text(r.after)) << r.what;
        EXPECT_TRUE(StrListOK(list)) << r.what;
        EXPECT_EQ(get(list, 99) + get(list, 0), "") << r.what;
    }
    EXPECT_EQ(get(nullptr, 1), "");
}

TEST(StringLists, ALyingListIsBelievedAsFarAsItGoes)
{
    using namespace std::string_literals;
    const struct {
        const char *what;
        std::string bytes;
        int16_t count;
        std::string first, afterSet; // string 1 set to "X"
    } rows[] = {
        {"no bytes", ""s, 0, "", "\0\1\1X"s},
        {"half a count", "\0"s, 0, "", "\0\1\1X"s},
        {"count too high", "\0\5\1a\1b"s, 2, "a", "\0\2\1X\1b"s},
        {"count huge", "\xff\xff\1a"s, 1, "a", "\0\1\1X"s},
        {"count too low", "\0\1\1a\1b"s, 1, "a", "\0\1\1X"s},
        {"last cut short", "\0\2\1a\5bc"s, 1, "a", "\0\1\1X"s},
        {"only a length", "\0\1\7"s, 0, "", "\0\1\1X"s},
    };
    for (auto &r : rows) {
        SCOPED_TRACE(r.what);
        Handle list = list_of(r.bytes);
        EXPECT_FALSE(StrListOK(list));
        EXPECT_EQ(StrListCount(list), r.count);
        EXPECT_EQ(get(list, 1), r.first);
        EXPECT_EQ(get(list, 3), "");
        EXPECT_EQ(SetStrInList(list, 1, P("X")), noErr);
        EXPECT_EQ(bytes_of(list), r.afterSet);
    }
}

TEST(StringLists, WithoutMemoryTheListStaysAsItWas)
{
    std::string before = list_text("a|b");
    Handle list = list_of(before);
    mem_fail_nth(1);
    EXPECT_EQ(SetStrInList(list, 1, P(std::string(200, 'x'))), memFullErr);
    EXPECT_EQ(bytes_of(list), before);
    mem_fail_nth(1);
    EXPECT_EQ(AppendStrList(list, P("c")), memFullErr);
    EXPECT_EQ(bytes_of(list), before);
    mem_fail_nth(0);
    EXPECT_EQ(AppendStrList(list, nullptr), noErr);
    EXPECT_EQ(bytes_of(list), list_text("a|b|"));
}

TEST(StringLists, ThePasswordIsTheGivenListsOrTheConnections)
{
    Str255 out;
    gLocalStrings = list_of(list_text("|||||me|local"));
    GetPassword(out, list_of(list_text("||||||mine")));
    EXPECT_EQ(S(out), "mine");
    GetPassword(out, nullptr, 5);
    EXPECT_EQ(S(out), "local");
}

// ---- path strings ----------------------------------------------------------

TEST(PathStrings, FoldersComeBackByNameByDateOrNotAtAll)
{
    make_place();
    FSSpec spec = book_spec();
    VolInfo info;
    ASSERT_EQ(GetVolInfo(spec.vRefNum, &info), noErr);
    std::string volume = S(info.name), date, gone = "\1\xff\xff\xff\xfe:12";
    for (int shift = 24; shift >= 0; shift -= 8)
        date += char(info.created >> shift);
    Str255 made;
    VolDirToStr(spec.vRefNum, spec.parID, made);
    std::string whole = S(made), folder = std::to_string(spec.parID);
    ASSERT_EQ(whole, volume + '\1' + date + ':' + folder);

    const struct {
        const char *what;
        std::string path;
        bool found;
        const char *name;
    } rows[] = {
        {"folder", whole, true, ""},
        {"file", whole + ":capture.txt", true, "capture.txt"},
        {"colon at the end", whole + ":", true, ""},
        {"colon in the file's name", whole + ":a:b", true, "a:b"},
        {"name alone", volume + ":" + folder, true, ""},
        {"renamed volume", "no such name\1" + date + ":" + folder, true, ""},
        {"unknown volume", "gone" + gone, false, ""},
        {"colons in the date", volume + "\1::::" + ":" + folder, true, ""},
        {"no folder", volume + '\1' + date, false, ""},
        {"folder without digits", volume + ":x", false, ""},
        {"empty", "", false, ""},
        {"colon", ":", false, ""},
        {"lone mark", "\1", false, ""},
    };
    int16_t vRef;
    int32_t dir;
    for (auto &r : rows) {
        GetFolderFromStr(P(r.path), &vRef, &dir, made);
        EXPECT_EQ(vRef, r.found ? spec.vRefNum : kNoVolume) << r.what;
        EXPECT_EQ(dir, r.found ? spec.parID : kNoFolder) << r.what;
        EXPECT_EQ(S(made), r.name) << r.what;
    }
    for (int16_t volumeNumber : {1, 2, 3}) {
        GetFolderFromStr(P(std::to_string(volumeNumber)), &vRef, &dir, made);
        EXPECT_EQ(vRef, volumeNumber < 3 ? volumeNumber : kNoVolume);
        EXPECT_TRUE(volumeNumber != 2 || dir == 2) << dir;
    }
}
