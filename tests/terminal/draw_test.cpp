// What stands in the window: runs, scrolling, the cursor, colours, sizes. The
// surest check of all drawing by moved pixels is that a repaint of the whole
// changes nothing.
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include <random>

#include "platform/line.h"
#include "platform/resources.h"

namespace {

constexpr uint32_t kWhite = 0xFFFFFF, kBlack = 0;

// Lines of text and edits that leave no attributes behind.
std::string plain_edits(unsigned seed, int steps)
{
    static const char *const edits[] = {
        "\33[L",   "\33[3L",  "\33[M", "\33[2M",   "\33[@",    "\33[5@",
        "\33[P",   "\33[4P",  "\33[K", "\33[1K",   "\33[2K",   "\33[J",
        "\33[1J",  "\33M",    "\33D",  "\33[3;7r", "\33[2;4r", "\33[r",
        "\33[?6h", "\33[?6l", "\n",    "\r\n",     "\b\b",     "\t",
        "\33[4h",  "\33[4l",  "\33(0", "\33(B",    "\33[2J",   "\33#8"};
    std::mt19937 dice(seed);
    std::string out;

    for (int i = 0; i < steps; i++) {
        switch (dice() % 4) {
        case 0:
            out += "\33[" + std::to_string(1 + dice() % 12) + ";" +
                   std::to_string(1 + dice() % 44) + "H";
            break;
        case 1:
            out += edits[dice() % std::size(edits)];
            break;
        default:
            for (unsigned n = dice() % 30; n > 0; n--)
                out += char('!' + dice() % 94);
            break;
        }
    }
    return out;
}

class Draw : public testing::Test {
protected:
    void SetUp() override { open_terminal(6, 20); }
};
using Reply = Draw;
using Bars = Draw;
using Cursor = Draw;
using Size = Draw;
using Font = Draw;

TEST(Edits, EqualARepaint)
{
    open_terminal(12, 40);
    for (unsigned seed = 0; seed < 60; seed++) {
        const std::string text = plain_edits(seed, 25);
        for (size_t at = 0; at < text.size(); at += 37) {
            if (seed % 3 == 0 && at % 2 == 0)
                SetSel(int16_t(savlines + 2), 5, int16_t(savlines + 8), 40);
            show(text.substr(at, 37));
        }
        settle(); // the alignment test waits for its update
        SetSel(-1, 0, -1, 0);
        ASSERT_TRUE(rows_ok());
        const picture moved = take_picture();
        ASSERT_EQ(moved == repainted(), true) << "seed " << seed;
    }
}

// A scroll fills the margins with the background, and an erase wipes them.
TEST_F(Draw, NoColourStaysBesideTheText)
{
    static const char *const wipes[] = {
        "\33[H\33[J", "\33[6H\33[1J\33[K", "\33[H\33[6M\33[K",
        "\33[H\33[K\n\33[K\n\33[2K\n\33[K\n\33[K\n\33[K"};

    Rect bounds = window_bounds(6, 20);
    bounds.right = int16_t(bounds.right + 4);
    ResizeWind(myWindow, &bounds);
    settle();
    for (const char *wipe : wipes) {
        SCOPED_TRACE(wipe);
        show("\33[42m\n\n\n\n\n\n\n\33[0m\r");
        show(wipe);
        const picture after = take_picture();
        EXPECT_EQ(repainted() == after, true);
    }
}

TEST_F(Draw, OverstrikeInTheLastColumnDrawsTheRunWhereItBegan)
{
    show("\33[?7l\33[2;3Habcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(take_picture() == repainted(), true);
}

TEST_F(Draw, ARunIsDrawnInTheColoursInForce)
{
    cset.termType = 1;
    show("\33[31;44mX \33[m");
    EXPECT_EQ(corner(0, 1), 0x000080u);
    EXPECT_TRUE(has_ink(0, 0, 0x800000));
    show("\33[2;1H\33[45m\33[K");
    EXPECT_EQ(corner(1, 12), 0x800080u);
    show("\33[0;31m\33[1mX");
    EXPECT_TRUE(has_ink(1, 0, 0xFF10FF));
}

// Bold on a colour screen is a colour, and the reverse one of its own, which
// only a 0 takes back.
TEST_F(Draw, ReverseShowsByTheTypeAndEndsInItsOwnWay)
{
    static const struct {
        uint16_t type;
        const char *text;
        std::vector<uint32_t> corners; // of row 0
    } rows[] = {
        {0, " \33[7m \33[27m \33[7m\33[0m ", {kWhite, kBlack, kWhite, kWhite}},
        {1, "\33[0m \33[7m \33[27m ", {kBlack, kWhite, kWhite}},
        {1, "\33[41m \33[0m ", {0x800000, kBlack}},
    };

    for (const auto &r : rows) {
        cset.termType = uint8_t(r.type);
        show("\r");
        show(r.text);
        for (size_t i = 0; i < r.corners.size(); i++)
            EXPECT_EQ(corner(0, int(i)), r.corners[i]) << r.text << " " << i;
    }
}

TEST_F(Draw, ARepaintShowsTheTextPlain)
{
    show("abc");
    const picture plain = take_picture();
    show("\r\33[7;1;4mabc\33[0m");
    EXPECT_EQ(take_picture() == plain, false);
    EXPECT_EQ(repainted() == plain, true);
}

// ---- replies ---------------------------------------------------------------

// The host checks the text by the sum behind it.
TEST_F(Reply, IdentificationCarriesItsSum)
{
    sIn = sOut = int16_t(hl_line_open(HL_SOCKET));
    line_use(sIn);
    cset.xferFlags = kXferBPlus;
    const Handle ident = GetString(510);
    ASSERT_NE(ident, nullptr);
    std::string want;
    int sum = 0;
    for (int i = 1; i <= (*ident)[0]; i++) {
        want += char((*ident)[i]);
        sum += (*ident)[i];
    }
    show("\33I");
    EXPECT_EQ(hl_line_heard(), want + std::to_string(sum) + "\r");
}

// A host that asks and never listens must not fill the memory with answers.
TEST_F(Reply, StatusIsNotAnsweredWithoutEnd)
{
    for (int i = 0; i < 3000; i++)
        show("\33[5n");
    EXPECT_EQ(asAnswers(INT32_MAX), 4096);
    asKill();
    // The user's own text holds back no answer.
    const std::string pasted(5000, 'p');
    asSendBuf(reinterpret_cast<const uint8_t *>(pasted.data()), 5000, 0);
    show("\33[5n");
    EXPECT_EQ(asAnswers(INT32_MAX), 4);
}

// ---- the bars --------------------------------------------------------------

// A scroll redraws the status bar if a part of it waits for that, and what
// was uncovered in the text is not lost.
TEST_F(Bars, AreRedrawnInPassing)
{
    Rect bounds;
    GetWindowPortBounds(myWindow, &bounds);
    bounds.top = int16_t(bounds.bottom - 10);
    InvalWindowRect(myWindow, &bounds);
    show("1\r\n2\r\n3\r\n4\r\n5\r\n6\r\n7");
    RgnHandle waiting = NewRgn();
    GetWindowUpdateRgn(myWindow, waiting);
    EXPECT_TRUE(EmptyRgn(waiting));
    EXPECT_EQ(take_picture() == repainted(), true);
}

// ---- the cursor ------------------------------------------------------------

TEST_F(Cursor, BlinksByTheCaretTime)
{
    show("ab");
    EXPECT_EQ(cursorInverted, 0);
    hl_advance_ticks(1);
    docursor();
    EXPECT_EQ(cursorInverted, 1);
    EXPECT_EQ(hl_window(myWindow)->caret.left, cursRect.left);
    EXPECT_EQ(cursRect.left, 2 * CharWid + 3);
    EXPECT_EQ(cursRect.bottom - cursRect.top, LineHeight - Ascent);
    EXPECT_TRUE(has_ink(0, 2, kBlack));
    hl_advance_ticks(uint32_t(caretTime));
    docursor();
    EXPECT_EQ(cursorInverted, 1);
    hl_advance_ticks(1);
    docursor();
    EXPECT_EQ(cursorInverted, 0);
    EXPECT_FALSE(has_ink(0, 2, kBlack));
}

TEST_F(Cursor, SteadyAndBlock)
{
    show("\33[3v\33[4vab");
    for (int i = 0; i < 5; i++) {
        hl_advance_ticks(100);
        docursor();
        EXPECT_EQ(cursorInverted, 1);
    }
    EXPECT_EQ(cursRect.bottom - cursRect.top, LineHeight);
    EXPECT_EQ(corner(0, 2), kBlack);
    stop_cursor();
    EXPECT_EQ(corner(0, 2), kWhite);
    EXPECT_EQ(cursorActive, 0);
}

TEST_F(Cursor, ShownInMidBatchStandsWhereTheBatchEnds)
{
    show("\33[1vab");
    EXPECT_EQ(cursorActive, 0);
    show("\33[0v\33[4;7H");
    hl_advance_ticks(1);
    docursor();
    EXPECT_EQ(cursRect.left, 6 * CharWid + 3);
    EXPECT_EQ(cursRect.bottom, 4 * LineHeight + 3);
}

TEST_F(Cursor, IsOffWhileSuspendedOrBehindADialog)
{
    stop_cursor();
    Suspended = 1;
    start_cursor();
    EXPECT_EQ(cursorActive, 0);
    Suspended = 0;
    start_cursor();
    EXPECT_EQ(cursorActive, 1);
}

// ---- sizes and fonts -------------------------------------------------------

TEST_F(Size, ColumnsKeepTheTextRowsSendItToTheStore)
{
    show("one\r\ntwo\33[2;4r\33[3;20Hx");
    EXPECT_EQ(curcol, 20);
    Rect bounds = window_bounds(6, 12);
    ResizeWind(myWindow, &bounds);
    EXPECT_EQ(MaxCol, 12);
    EXPECT_TRUE(rows_ok());
    EXPECT_EQ(memcmp(scrLine(0), "one ", 4), 0);
    EXPECT_EQ(margin_bottom, 4);
    EXPECT_EQ(scrollrect.bottom, 4 * LineHeight + 3);
    EXPECT_EQ(savlines, 0);

    bounds = window_bounds(7, 12);
    ResizeWind(myWindow, &bounds);
    EXPECT_EQ(MaxLine, 7);
    EXPECT_TRUE(rows_ok());
    EXPECT_EQ(scrLine(0)[0], ' ');
    EXPECT_EQ(margin_bottom, 7);
    EXPECT_EQ(scrollrect.bottom, termrect.bottom);
    EXPECT_GE(savlines, 2);
    EXPECT_TRUE(sav_ok());
}

TEST_F(Size, IsHeldWithinTheRecords)
{
    Rect bounds = {0, 0, 4000, 4000};
    uint16_t rows, cols;

    CalcRowCols(&bounds, &rows, &cols);
    EXPECT_EQ(cols, 160);
    EXPECT_EQ(rows, 100);
    bounds = {0, 0, 10, 10};
    CalcRowCols(&bounds, &rows, &cols);
    EXPECT_EQ(cols, 0);
    EXPECT_EQ(rows, 0);
    ResizeWind(myWindow, &bounds);
    EXPECT_TRUE(rows_ok());
    show("still\r\nalive");
    EXPECT_TRUE(rows_ok());
}

TEST_F(Size, AnotherFontClearsOnlyIfItsCellDiffers)
{
    show("text");
    setFontCheckRowCol(0);
    EXPECT_EQ(memcmp(scrLine(0), "text", 4), 0);
    const int16_t width = CharWid;
    curFSize = 24;
    setFontCheckRowCol(0);
    EXPECT_NE(CharWid, width);
    EXPECT_EQ(scrLine(0)[0], ' ');
    EXPECT_EQ(savlines, 3); // the text, and two of the blank rows
    EXPECT_TRUE(rows_ok());
    show("more");
    EXPECT_EQ(take_picture() == repainted(), true);
}

// A connection that names a font of its own.
void connection_font(ConstStr name)
{
    gLocalStrings = NewStrList();
    for (int i = 1; i < kStrFont; i++)
        ASSERT_EQ(AppendStrList(gLocalStrings, nullptr), noErr);
    ASSERT_EQ(AppendStrList(gLocalStrings, name), noErr);
}

TEST_F(Font, IsLookedForInOrder)
{
    EXPECT_EQ(MyGetFontNum(PSTR("no such font")), -1);
    const int16_t own = MyGetFontNum(PSTR("ql-Mac"));
    EXPECT_GT(own, 0);
    EXPECT_EQ(GetTermFontID(0), own);
    const uint8_t pc[] = "\5ql-PC";
    memcpy(qset.fontName1, pc, sizeof pc - 1);
    EXPECT_EQ(GetTermFontID(1), MyGetFontNum(pc));
    EXPECT_EQ(GetTermFontID(0), own);
    qset.fontName0[0] = 255; // a damaged book
    EXPECT_EQ(GetTermFontID(0), own);
    connection_font(pc);
    EXPECT_EQ(GetTermFontID(0), MyGetFontNum(pc));
}

TEST_F(Font, ACharacterOfTwoBytesIsNotSplit)
{
    fonts_add_double_byte(PSTR("Test JIS"));
    connection_font(PSTR("Test JIS"));
    setFontCheckRowCol(0);
    ASSERT_EQ(gDoubleByte, 1);

    // The first byte waits for the second over the end of a read.
    show("\x82");
    EXPECT_EQ(gFirstChar, 0x82);
    EXPECT_EQ(curcol, 0);
    show("\xa0");
    EXPECT_EQ(gFirstChar, 0);
    EXPECT_EQ(curcol, 2);
    EXPECT_EQ(memcmp(scrLine(0), "\x82\xa0", 2), 0);

    // A single byte has a NUL before it, and the store leaves that out.
    show("a\r\n");
    EXPECT_EQ(memcmp(scrLine(0) + 2, "\0a", 2), 0);
    clear_screen();
    int16_t length;
    const uint8_t *line = GetLinePtr(0, &length);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(memcmp(line,
                     "\x82\xa0"
                     "a",
                     3),
              0);

    // A run that ends in a first byte keeps it for the next one.
    home_cursor();
    memcpy(outbuf, "\x82\xa0\x82", 3);
    outcnt = 3;
    outcol = 0;
    flushCRT();
    EXPECT_EQ(outcnt, 1);
    EXPECT_EQ(outbuf[0], 0x82);
    EXPECT_EQ(curPenLoc.h, 2 * CharWid + 3);
    outcnt = 0;
}

} // namespace
