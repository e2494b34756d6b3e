// The resource compiler: what it refuses, and the bytes it makes.
#include <gtest/gtest.h>

#include "tests/support/book.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

struct Result {
    bool made;
    std::string messages, image, names;
};

// The bytes behind the "{" of the C++ that was made.
static std::string image_in(const std::string &text)
{
    std::istringstream numbers(text.substr(text.find('{') + 1));
    std::string bytes, number;
    while (std::getline(numbers, number, ',') &&
           number.find('}') == std::string::npos)
        bytes += char(std::atoi(number.c_str()));
    return bytes;
}

// Compiles lines that end in a semicolon; "@" stands for the head of a dialog.
static Result compile(std::string toml)
{
    Sandbox s;
    std::string command = TOOLS_DIR "/rescomp";
    Result r = {};
    if (size_t at = toml.find('@'); at != std::string::npos)
        toml.replace(at, 1, "[[dialog]];id = 1;size = [200, 100];items = [;");
    std::ranges::replace(toml, ';', '\n');
    write_bytes(s.root / "in.toml", toml);
    for (const char *name : {"out.cpp", "names.h", "in.toml"})
        command += " " + (s.root / name).string();
    FILE *pipe = popen((command + " 2>&1").c_str(), "r");
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;)
        r.messages += char(c);
    r.made = pipe && pclose(pipe) == 0;
    EXPECT_EQ(r.made, std::filesystem::exists(s.root / "out.cpp"));
    if (r.made)
        r.image = image_in(read_bytes(s.root / "out.cpp"));
    r.names = read_bytes(s.root / "names.h");
    return r;
}

// Each mistake is reported with its line, and nothing is made.
TEST(Rescomp, Mistakes)
{
    const struct {
        const char *toml, *message;
    } cases[] = {
        {"a = ", "in.toml:1: "},
        {"[[menus]];id = 1", ":1: no resource is called \"menus\""},
        {"[[string]];text = 'x'", ":1: an id"},
        {"[[string]];id = 1;[[string]];id = 1", ":3: there is a resource"},
        {"[[string]];id = 1;text = '中'",
         ":3: no such character in Mac Roman: U+4E2D"},
        {"[[string]];id = 1;tekst = 'x'", ":3: nothing reads \"tekst\""},
        {"[[list]];id = 1;strings = [1]", ":3: a text is expected"},
        {"[[list]];id = 1;[list.strings];0 = 'x'", ":4: a place"},
        {"[[menu]];id = 1;items = [{ text = 'x', submenu = 7 }]",
         "menu 1 names menu 7"},
        {"[[menu]];id = 1;items = [{ text = 'x', key = 'Q' },"
         "{ text = 'y', key = 'Q' }];[[menubar]];id = 1;menus = [1]",
         "Command-Q stands in the menu bar twice"},
        {"[[alert]];id = 1;buttons = ['a'];cancel = 2", "button isn't"},
        {"@{ kind = 'edit', at = [0, 0, 100, 24] },;"
         "{ kind = 'edit', at = [99, 23, 100, 24] }]",
         ":6: the item overlaps the one of line 5"},
        {"@{ kind = 'edit', at = [101, 0, 100, 24] }]",
         ":5: the item reaches out"},
        {"@{ kind = 'button', at = [0, 0, 80, 26], text = 'Much too long' }]",
         ":5: the text needs a width of"},
        {"@{ kind = 'popup', at = [0, 0, 80, 26], menu = 9 }]",
         "dialog 1 names menu 9"},
        {"[[connection]];id = 1;bsKey = 256", ":3: the number doesn't fit"},
        {"[[connection]];id = 1;bskey = 8", ":3: no such field"},
        {"[[settings]];id = 1;fgMap = '0123'", ":3: the text needs 8"},
        {"[[settings]];id = 1;fontName0 = '1234567890123456'",
         ":3: the text has 16 bytes, at most 15"},
        {"[[settings]];id = 1;winRectLarge = [1, 2, 3]", ":3: the field"},
        {"[errors];0 = 'x'", ":2: an error code"},
        {"[[alert]];id = 1;buttons = ['a']", ":1: the name for the code"},
        {"[[list]];id = 1;as = 'a b';strings = []", ":3: a name is"},
        {"[[list]];id = 1;as = 'A';strings = [];"
         "[[list]];id = 2;as = 'A';strings = []",
         ":7: kListA is the name of "},
        {"[[list]];id = 1;as = 'A';[list.strings];"
         "1 = { as = 'X', text = 'x' };2 = 'y'",
         ":1: either all strings"},
        {"[[menu]];id = 1;as = 'A';items = ['x', { as = 'Y', text = 'y' }]",
         ":1: either all items"},
        {"[[dialog]];id = 1;as = 'A';size = [200, 100];items = [;"
         "{ kind = 'edit', at = [0, 0, 100, 24] }]",
         ":6: the item changes or reacts"},
    };
    for (auto &c : cases) {
        Result r = compile(c.toml);
        EXPECT_FALSE(r.made) << c.toml;
        EXPECT_NE(r.messages.find(c.message), std::string::npos)
            << c.toml << "\ngave: " << r.messages;
    }
}

// The whole image of a few small resources, byte by byte: sorted by type and
// id, big-endian, Mac Roman, return at line ends.
TEST(Rescomp, ImageByteByByte)
{
    using namespace std::string_literals;
    Result r = compile("[[string]];id = 500;as = 'S';text = 'ä\u2026';"
                       "[[list]];id = 2;name = 'N';strings = ['a', ''];"
                       "[[list]];id = 1;as = 'L';[list.strings];2 = \"b\\n\";"
                       "[errors];-43 = 'x';");
    ASSERT_TRUE(r.made) << r.messages;
    EXPECT_EQ(r.image, "qRIM\0\0\0\4"
                       "STR \1\xF4\0\0\0\0\0\3\2\x8A\xC9"
                       "STR#\0\1\1\0\0\0\0\6\0\2\0\2b\r"
                       "STR#\0\2\0\1N\0\0\0\5\0\2\1a\0"
                       "eSTR\xFF\xD5\0\0\0\0\0\2\1x"s);
}

// Names lead to the numbers that the image has; what needs none gets none.
TEST(Rescomp, Names)
{
    Result r = compile(
        "[[menubar]];id = 301;as = 'Main';menus = [7];"
        "[[menu]];id = 7;as = 'File';items = [{ as = 'Open', text = 'o' }, "
        "'-', { as = 'Quit', text = 'q' }, '-'];"
        "[[list]];id = 9;as = 'L';[list.strings];"
        "4 = { as = 'Four', text = 'x' };2 = { as = 'Two', text = 'y' };"
        "[[list]];id = 10;name = 'N';strings = ['z'];"
        "[[alert]];id = 11;as = 'A';buttons = ['OK'];"
        "[[dialog]];id = 12;as = 'D';size = [200, 100];items = [;"
        "{ kind = 'text', at = [0, 0, 100, 18], text = 'x' },;"
        "{ as = 'Name', kind = 'edit', at = [0, 20, 100, 24] }];");
    ASSERT_TRUE(r.made) << r.messages;
    std::string got;
    std::istringstream lines(r.names);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("constexpr int16_t "))
            got += line.substr(18);
    EXPECT_EQ(got, "kMenuFile = 7;kItemFileOpen = 1;kItemFileQuit = 3;"
                   "kLastItemFile = 4;kMenuBarMain = 301;kDlgD = 12;"
                   "kItemDName = 2;kAlertA = 11;kListL = 9;kStrTwo = 2;"
                   "kStrFour = 4;");
}

// Fields land at their offsets in the book's byte order; what stays in the
// machine's own order does so here too.
TEST(Rescomp, RecordsByField)
{
    const struct {
        const char *toml, *fields;
        size_t size;
    } rows[] = {
        {"[[connection]];id = 1;parityChar = 'E';macroSetID = 0x1234;"
         "baudLong = 115200;oldZStart = 'rz'",
         "parityChar='E' macroSetID=4660 baudLong=115200 oldZStart=rz", 136},
        {"[[settings]];id = 0;inBufSize = 0x1234;xferWinLoc = [0x1234, 1];"
         "printFontSize = -1;textCreator = 'ttxt'",
         "inBufSize=4660 xferWinLoc=4660,1 printFontSize=255 textCreator=ttxt",
         428},
    };
    for (auto &r : rows) {
        Result made = compile(r.toml);
        ASSERT_TRUE(made.made) << made.messages;
        std::string record = made.image.substr(made.image.size() - r.size);
        EXPECT_EQ(record, with(std::string(r.size, '\0'), r.fields));
    }
}
