// Strings, numbers, and what is said of failures.
#include <gtest/gtest.h>

#include "base/ErrMsg.h"
#include "base/atol.h"
#include "base/pstr.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"
#include "tests/support/terminalwindow.h"

static void fill(uint8_t *s, int length, uint8_t c)
{
    s[0] = uint8_t(length);
    memset(s + 1, c, size_t(length));
}

TEST(Strings, AppendingStopsAtTheEnd)
{
    struct {
        Str255 s;
        uint8_t behind;
    } room = {{}, 0x77};
    Str255 more;

    fill(room.s, 200, 'a');
    fill(more, 100, 'b');
    more[55] = 'x';
    more[56] = 'y';
    EXPECT_EQ(pstrcat(room.s, more), room.s);
    EXPECT_EQ(room.s[0], 255);
    EXPECT_EQ(room.s[200], 'a');
    EXPECT_EQ(room.s[201], 'b');
    EXPECT_EQ(room.s[255], 'x');
    pstrcatchr(room.s, 'z');
    pstrcat(room.s, more);
    EXPECT_EQ(room.s[0], 255);
    EXPECT_EQ(room.s[255], 'x');
    EXPECT_EQ(room.behind, 0x77);

    fill(room.s, 100, 'a');
    fill(more, 155, 'b');
    pstrcat(room.s, more);
    EXPECT_EQ(room.s[0], 255); // just fits

    uint8_t small[2] = {9, 9};
    pstrcpy(small, PSTR(""));
    EXPECT_EQ(small[0], 0);
    EXPECT_EQ(small[1], 9);
    pstrcatchr(small, 'q');
    EXPECT_EQ(S(small), "q");
}

TEST(Strings, Equality)
{
    EXPECT_EQ(pstrequal(PSTR(""), PSTR("")), 1);
    EXPECT_EQ(pstrequal(PSTR("ab"), PSTR("ab")), 1);
    for (ConstStr other : {PSTR("aB"), PSTR("abc"), PSTR("a"), PSTR("a\0")})
        EXPECT_EQ(pstrequal(PSTR("ab"), other), 0);
    EXPECT_EQ(pstrequal(PSTR("a\0b"), PSTR("a\0c")), 0);
}

TEST(Numbers, Parsing)
{
    static const struct {
        const char *text;
        bool octal;
        int32_t value;
        int used;
    } rows[] = {
        {"  -12x", false, -12, 5},
        {"+", false, 0, 1},
        {"- 5", false, 0, 1},
        {"", false, 0, 0},
        {"\t5", false, 0, 0}, // a tab is no space
        {"--5", false, 0, 1},
        {"4294967297", false, 1, 10}, // wraps
        {"-2147483648", false, INT32_MIN, 11},
        {"778", true, 63, 2},
        {"-17", true, -15, 3},
        {"8", true, 0, 0},
        {"040000000001", true, 1, 12},
    };

    for (const auto &r : rows) {
        int32_t value = 99;
        const char *end =
            r.octal ? atoop(r.text, &value) : atolp(r.text, &value);
        EXPECT_EQ(value, r.value) << '"' << r.text << '"';
        EXPECT_EQ(end - r.text, r.used) << '"' << r.text << '"';
    }
}

TEST(Errors, Words)
{
    constexpr int16_t kUnknown = 17321; // no resource has it

    EXPECT_EQ(S(errorString(kUnknown, nullptr)), "Error: 17321");
    EXPECT_EQ(S(errorString(kUnknown, PSTR("x"))), "Error: 17321x");
    EXPECT_EQ(S(errorString(-17321, PSTR(" x"))), "Error: -17321 x");
    EXPECT_EQ(S(errorString(0, nullptr)), "Error: ");
    // Cancelling keeps its own words.
    EXPECT_EQ(S(errorString(kUserCancelled, PSTR("more"))),
              S(errorString(kUserCancelled, nullptr)));
    // A code that the resources know.
    std::string full = S(errorString(dskFulErr, nullptr));
    EXPECT_EQ(full.find("Error: "), std::string::npos);
    EXPECT_EQ(S(errorString(dskFulErr, PSTR(": x"))), full + ": x");
}

TEST(Errors, LineInTheTerminal)
{
    myWindow = GetNewWindow(128);
    ASSERT_NE(myWindow, nullptr);
    MakeUPPs();
    InitPage();

    EXPECT_EQ(PrtError(17321, PSTR(" x")), 17321);
    EXPECT_EQ(screen_row(0), "###  Error: 17321 x");
    EXPECT_EQ(curcol, 0);
    EXPECT_EQ(abslin, 1);
    drawCString("abcde");
    PrtErrorSTR(0, kListErrors, 1);
    EXPECT_EQ(screen_row(1), "abcde");
    Str255 one;
    GetIndString(one, kListErrors, 1);
    EXPECT_EQ(screen_row(2).rfind("###  Error: ", 0), 0u);
    EXPECT_EQ(abslin > 2, true);
}

// A warning and a notice go by themselves and leave no window behind.
TEST(Errors, PassingNotices)
{
    int64_t start = hl_now();

    ShowWarn(PSTR("careful"));
    EXPECT_GE(hl_now() - start, 119 * 1000000 / 60);
    EXPECT_EQ(hl_beeps(), 1);
    ASSERT_FALSE(hl_messages().empty());
    EXPECT_NE(hl_messages().back().find("careful"), std::string::npos);
    start = hl_now();
    MessageFlash(PSTR("done"), 30);
    EXPECT_GE(hl_now() - start, 29 * 1000000 / 60);
    EXPECT_LT(hl_now() - start, 60 * 1000000 / 60);
    EXPECT_NE(hl_messages().back().find("done"), std::string::npos);
    EXPECT_TRUE(hl_window_titles().empty());

    // Without a window an error is a warning, with the same words.
    PrtError(17321, PSTR(" y"));
    EXPECT_NE(hl_messages().back().find("17321 y"), std::string::npos);
    hl_answer(1);
    ErrorAlert(PSTR(" that"), 17321);
    EXPECT_NE(hl_messages().back().find("17321 that"), std::string::npos);
}
