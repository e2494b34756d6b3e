// Mac Roman, names, numbers, dates.
#include "platform/types.h"

#include <gtest/gtest.h>

#include "platform/core/macroman.h"
#include "tests/support/sandbox.h"

// Every byte must come back: file names and settings go through this twice.
TEST(Strings, EveryByteSurvivesUtf8)
{
    std::string all;
    for (int c = 1; c < 256; c++)
        all += char(c);
    EXPECT_EQ(utf8_to_macroman(macroman_to_utf8(all)), all);
}

TEST(Strings, MalformedUtf8IsReplacedByteByByte)
{
    struct {
        const char *in, *out;
    } cases[] = {
        {"\xC3\xA4", "\x8A"},         // a umlaut
        {"a\xFFz", "a?z"},            // never a first byte
        {"\xC3", "?"},                // cut short
        {"\xC0\x80", "??"},           // overlong NUL
        {"\xED\xA0\x80", "???"},      // a surrogate
        {"\xF4\x90\x80\x80", "????"}, // past the last code point
        {"\xE2\x82\xAC", "\xDB"},     // euro
        {"\xE4\xB8\xAD", "?"},        // not in Mac Roman
    };
    for (auto &c : cases)
        EXPECT_EQ(utf8_to_macroman(c.in), c.out) << c.in;
}

TEST(Strings, OrderAndEqualityOfNames)
{
    struct {
        const char *a, *b;
        int order;
        bool equalMarks, equalPlain;
    } cases[] = {
        {"Host", "hOST", 0, true, true},
        {"", "", 0, true, true},
        {"a", "b", -1, false, false},
        {"b", "A", 1, false, false},
        {"ab", "abc", -1, false, false},
        {"Z\x8Arich", "Zarich", -1, false, true}, // marks decide last
        {"\x8A", "\x80", 0, true, true},
        {"Z\x9Frich", "Zurzach", -1, false, false}, // stands among the plain
    };
    for (auto &c : cases) {
        ConstStr a = P(c.a), b = P(c.b);
        if (c.order == 0 || !c.equalPlain) {
            EXPECT_EQ(IdenticalString(a, b), c.order) << c.a << " " << c.b;
        }
        EXPECT_EQ(IdenticalString(b, a), -IdenticalString(a, b)) << c.a;
        EXPECT_EQ(EqualString(a, b, false, true), c.equalMarks) << c.a;
        EXPECT_EQ(EqualString(a, b, false, false), c.equalPlain) << c.a;
    }
    EXPECT_FALSE(EqualString(P("Host"), P("host"), true, true));
    EXPECT_TRUE(EqualString(P("h\x99t"), P("hot"), true, false));
    EXPECT_FALSE(EqualString(P("h\x99t"), P("hOt"), true, false));
}

TEST(Strings, NumbersAndConversions)
{
    Str255 s;
    NumToString(INT32_MIN, s);
    EXPECT_EQ(S(s), "-2147483648");
    CopyCStringToPascal(std::string(300, 'x').c_str(), s);
    EXPECT_EQ(S(s), std::string(255, 'x'));
}

TEST(Strings, DatesAreLocalAndReadable)
{
    Str255 s;
    for (bool seconds : {true, false}) {
        TimeString(kUnixIn1904 + 3661u, seconds, s);
        EXPECT_EQ(S(s), seconds ? "01:01:01" : "01:01");
        DateString(seconds ? 0 : UINT32_MAX, s);
        EXPECT_EQ(S(s), seconds ? "1904-01-01" : "2040-02-06");
    }
}
