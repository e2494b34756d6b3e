// The resource compiler: what it refuses, and the bytes it makes.
#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Result {
    bool made;
    std::string messages;
    std::string image;
    std::string names;
};

} // namespace

// The bytes behind the "{" of the C++ that was made.
static std::string image_in(const fs::path &source)
{
    std::ifstream in(source);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    std::istringstream numbers(text.substr(text.find('{') + 1));
    std::string bytes, number;
    while (std::getline(numbers, number, ',') &&
           number.find('}') == std::string::npos)
        bytes += char(std::atoi(number.c_str()));
    return bytes;
}

static Result compile(const std::string &toml)
{
    Sandbox s;
    const fs::path &folder = s.root;
    std::ofstream(folder / "in.toml") << toml;
    std::string command = std::string(TOOLS_DIR) + "/rescomp " +
                          (folder / "out.cpp").string() + " " +
                          (folder / "names.h").string() + " " +
                          (folder / "in.toml").string() + " 2>&1";
    Result r = {};
    FILE *pipe = popen(command.c_str(), "r");
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;)
        r.messages += char(c);
    r.made = pipe && pclose(pipe) == 0;
    EXPECT_EQ(r.made, fs::exists(folder / "out.cpp")) << r.messages;
    if (r.made)
        r.image = image_in(folder / "out.cpp");
    r.names = read_bytes(folder / "names.h");
    return r;
}

// Each mistake is reported with its line, and nothing is made.
TEST(Rescomp, Mistakes)
{
    struct {
        const char *toml, *message;
    } cases[] = {
        {"a = ", "in.toml:1: "},
        {"[[menus]]\nid = 1", ":1: no resource is called \"menus\""},
        {"[[string]]\ntext = 'x'", ":1: an id"},
        {"[[string]]\nid = 1\n[[string]]\nid = 1", ":3: there is a resource"},
        {"[[string]]\nid = 1\ntext = '中'", ":3: no such character in Mac "
                                            "Roman: U+4E2D"},
        {"[[string]]\nid = 1\ntekst = 'x'", ":3: nothing reads \"tekst\""},
        {"[[list]]\nid = 1\nstrings = [1]", ":3: a text is expected"},
        {"[[list]]\nid = 1\n[list.strings]\n0 = 'x'", ":4: a place"},
        {"[[menu]]\nid = 1\nitems = [{ text = 'x', submenu = 7 }]",
         "menu 1 names menu 7"},
        {"[[menu]]\nid = 1\nitems = [{ text = 'x', key = 'Q' },"
         "{ text = 'y', key = 'Q' }]\n[[menubar]]\nid = 1\nmenus = [1]",
         "Command-Q stands in the menu bar twice"},
        {"[[alert]]\nid = 1\nbuttons = ['a']\ncancel = 2", "button isn't"},
        {"[[dialog]]\nid = 1\nsize = [200, 100]\nitems = [\n"
         "{ kind = 'edit', at = [0, 0, 100, 24] },\n"
         "{ kind = 'edit', at = [99, 23, 100, 24] }]",
         ":6: the item overlaps the one of line 5"},
        {"[[dialog]]\nid = 1\nsize = [200, 100]\nitems = [\n"
         "{ kind = 'edit', at = [101, 0, 100, 24] }]",
         ":5: the item reaches out"},
        {"[[dialog]]\nid = 1\nsize = [200, 100]\nitems = [\n"
         "{ kind = 'button', at = [0, 0, 80, 26], text = 'Much too long' }]",
         ":5: the text needs a width of"},
        {"[[dialog]]\nid = 1\nsize = [200, 100]\nitems = [\n"
         "{ kind = 'popup', at = [0, 0, 80, 26], menu = 9 }]",
         "dialog 1 names menu 9"},
        {"[[connection]]\nid = 1\nbsKey = 256", ":3: the number doesn't fit"},
        {"[[connection]]\nid = 1\nbskey = 8", ":3: no such field"},
        {"[[settings]]\nid = 1\nfgMap = '0123'", ":3: the text needs 8"},
        {"[[settings]]\nid = 1\nfontName0 = '1234567890123456'",
         ":3: the text has 16 bytes, at most 15"},
        {"[[settings]]\nid = 1\nwinRectLarge = [1, 2, 3]", ":3: the field"},
        {"[errors]\n0 = 'x'", ":2: an error code"},
        {"[[alert]]\nid = 1\nbuttons = ['a']", ":1: the name for the code"},
        {"[[list]]\nid = 1\nas = 'a b'\nstrings = []", ":3: a name is"},
        {"[[list]]\nid = 1\nas = 'A'\nstrings = []\n"
         "[[list]]\nid = 2\nas = 'A'\nstrings = []",
         ":7: kListA is the name of "},
        {"[[list]]\nid = 1\nas = 'A'\n[list.strings]\n"
         "1 = { as = 'X', text = 'x' }\n2 = 'y'",
         ":1: either all strings"},
        {"[[menu]]\nid = 1\nas = 'A'\n"
         "items = ['x', '-', { as = 'Y', text = 'y' }]",
         ":1: either all items"},
        {"[[dialog]]\nid = 1\nas = 'A'\nsize = [200, 100]\nitems = [\n"
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
    Result r =
        compile("[[string]]\nid = 500\nas = 'S'\ntext = 'ä\u2026'\n"
                "[[list]]\nid = 2\nname = 'N'\nstrings = ['a', '']\n"
                "[[list]]\nid = 1\nas = 'L'\n[list.strings]\n2 = \"b\\n\"\n"
                "[errors]\n-43 = 'x'\n");
    ASSERT_TRUE(r.made) << r.messages;
    std::string want;
    auto put = [&](const char *head, size_t n, const std::string &data) {
        want.append(head, n);
        want += std::string("\0\0\0", 3) + char(data.size()) + data;
    };
    want.append("qRIM\0\0\0\4", 8);
    put("STR \1\xF4\0\0", 8, "\2\x8A\xC9");
    put("STR#\0\1\1\0", 8, std::string("\0\2\0\2b\r", 6));
    put("STR#\0\2\0\1N", 9, std::string("\0\2\1a\0", 5));
    put("eSTR\xFF\xD5\0\0", 8, "\1x");
    EXPECT_EQ(r.image, want);
}

// Names lead to the numbers that the image has; what needs none gets none.
TEST(Rescomp, Names)
{
    Result r = compile(
        "[[menubar]]\nid = 301\nas = 'Main'\nmenus = [7]\n"
        "[[menu]]\nid = 7\nas = 'File'\n"
        "items = [{ as = 'Open', text = 'o' }, '-', "
        "{ as = 'Quit', text = 'q' }, '-']\n"
        "[[list]]\nid = 9\nas = 'L'\n[list.strings]\n"
        "4 = { as = 'Four', text = 'x' }\n2 = { as = 'Two', text = 'y' }\n"
        "[[list]]\nid = 10\nname = 'N'\nstrings = ['z']\n"
        "[[alert]]\nid = 11\nas = 'A'\nbuttons = ['OK']\n"
        "[[dialog]]\nid = 12\nas = 'D'\nsize = [200, 100]\nitems = [\n"
        "{ kind = 'text', at = [0, 0, 100, 18], text = 'x' },\n"
        "{ as = 'Name', kind = 'edit', at = [0, 20, 100, 24] }]\n");
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
    Result r = compile("[[connection]]\nid = 1\nparityChar = 'E'\n"
                       "macroSetID = 0x1234\nbaudLong = 115200\n"
                       "oldZStart = \"rz\\r\"\n");
    ASSERT_TRUE(r.made) << r.messages;
    std::string record = r.image.substr(r.image.size() - 136);
    std::string want(136, '\0');
    want[2] = 'E';
    want.replace(14, 2, "\x12\x34");
    want.replace(104, 4, "\3rz\r");
    want.replace(128, 4, std::string("\0\1\xC2\0", 4));
    EXPECT_EQ(record, want);

    r = compile("[[settings]]\nid = 0\ninBufSize = 0x1234\n"
                "xferWinLoc = [0x1234, 1]\nprintFontSize = -1\n"
                "textCreator = 'ttxt'\n");
    ASSERT_TRUE(r.made) << r.messages;
    record = r.image.substr(r.image.size() - 428);
    uint16_t native = 0x1234;
    EXPECT_EQ(record.substr(0, 2), "\x12\x34");
    EXPECT_EQ(record.substr(52, 2),
              std::string(reinterpret_cast<char *>(&native), 2));
    EXPECT_EQ(record[66], '\xFF');
    EXPECT_EQ(record.substr(112, 4), "ttxt");
}
