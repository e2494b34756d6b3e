// The view over store and screen, the selection on it, and the search.
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include "platform/dialogs.h"
#include "platform/memory.h"
#include "resources/names.h"
#include "scrollback/find.h"

namespace {

std::string number_lines(int from, int to)
{
    std::string out;
    for (int i = from; i < to; i++)
        out += "line " + std::to_string(i) + "\r\n";
    return out;
}

std::string selected()
{
    int32_t size;
    const uint8_t *text = prepSel(&size);
    const std::string out(reinterpret_cast<const char *>(text), size_t(size));
    unprepSel();
    EXPECT_TRUE(sav_ok());
    return out;
}

TEST(View, HistoryLooksAsTheScreenDid)
{
    open_terminal(8, 30);
    show(number_lines(0, 7));
    const picture first = take_picture();
    show(number_lines(7, 60));
    const picture last = take_picture();
    const int16_t bottom = view_top();
    EXPECT_EQ(bottom, savlines);

    scrollPage(bottom, 0);
    EXPECT_NE(scrolled, 0);
    EXPECT_EQ(GetControlValue(sbar_ctl), 0);
    // Row 7 of the first picture was still blank.
    show("");
    const picture history = take_picture();
    const size_t rows7 = size_t((7 * LineHeight + 3) * picture_width());
    EXPECT_TRUE(std::equal(history.begin(), history.begin() + ptrdiff_t(rows7),
                           first.begin()));

    // Step by step, each line by itself, gives what one leap gives.
    for (int16_t at = 0; at < bottom; at++)
        scrollPage(at, int16_t(at + 1));
    EXPECT_EQ(scrolled, 0);
    EXPECT_EQ(take_picture() == last, true);
    for (int16_t at = bottom; at > 20; at--)
        scrollPage(at, int16_t(at - 1));
    const picture stepped = take_picture();
    EXPECT_EQ(repainted() == stepped, true);
    scr_to_bot();
    EXPECT_EQ(take_picture() == last, true);
}

TEST(View, OutputGoesOnUnseen)
{
    open_terminal(8, 30);
    show(number_lines(0, 40));
    scrollPage(view_top(), 5);
    const picture before = take_picture();
    show("\33[7m" + number_lines(40, 60) + "\33[3;5Hmore\33[2J\33[4;4Hhere");
    EXPECT_EQ(take_picture() == before, true);
    EXPECT_EQ(view_top(), 5);
    EXPECT_EQ(cursorActive, 0);
    scr_to_bot();
    EXPECT_EQ(scrolled, 0);
    EXPECT_EQ(cursorActive, 1);
    EXPECT_EQ(memcmp(scrLine(3) + 3, "here", 4), 0);
    // The pen is where the model says.
    show("\33[0m!");
    EXPECT_EQ(take_picture() == repainted(), true);
}

TEST(View, TheCursorDoesNotScrollAlong)
{
    open_terminal(8, 30);
    show(number_lines(0, 40));
    const picture live = take_picture();
    hl_advance_ticks(1);
    docursor();
    ASSERT_EQ(cursorInverted, 1);
    const int16_t bottom = view_top();
    scrollPage(bottom, int16_t(bottom - 3));
    EXPECT_EQ(cursorActive, 0);
    EXPECT_EQ(repainted() == take_picture(), true);
    scrollPage(int16_t(bottom - 3), bottom);
    EXPECT_EQ(cursorActive, 1);
    EXPECT_EQ(take_picture() == live, true);
}

// Nothing places the pen for the cursor then, so the run must do it.
TEST(View, OutputGoesOnInTheBackground)
{
    open_terminal(8, 30);
    show(number_lines(0, 40));
    scrollPage(view_top(), 5);
    show("\33[3;5Hunseen");
    Suspended = 1;
    scr_to_bot();
    show(" seen");
    EXPECT_EQ(memcmp(scrLine(2) + 4, "unseen seen", 11), 0);
    EXPECT_EQ(take_picture() == repainted(), true);
}

TEST(View, DroppedLinesMoveTheView)
{
    open_terminal(8, 30);
    show(number_lines(0, 100));
    scrollPage(view_top(), 50);
    DelLines(0, 19);
    EXPECT_EQ(view_top(), 30);
    DelLines(0, 29);
    EXPECT_EQ(view_top(), 0);
    // All that was in view goes, and the bottom comes to the view.
    DelLines(0, int16_t(savlines - 1));
    scr_to_bot();
    EXPECT_EQ(scrolled, 0);
    settle();
    EXPECT_EQ(take_picture() == repainted(), true);
}

TEST(View, Keys)
{
    static const struct {
        int16_t code;
        uint16_t modifiers;
        int from, to;
    } rows[] = {
        {72, 0, 10, 16},   {125, 0, 10, 16}, {125, optionKey, 10, 100},
        {77, 0, 10, 4},    {126, 0, 3, 0},   {126, optionKey, 50, 0},
        {115, 0, 50, 0},   {116, 0, 50, 44}, {119, 0, 50, 100},
        {121, 0, 97, 100}, {36, 0, 50, 50},
    };

    open_terminal(8, 30);
    while (savlines < 100)
        show(number_lines(int(savlines), int(savlines) + 1));
    for (const auto &row : rows) {
        scrollPage(view_top(), int16_t(row.from));
        scroll_key(row.code, int16_t(row.modifiers));
        EXPECT_EQ(view_top(), row.to) << row.code;
        EXPECT_EQ(scrolled != 0, row.to != 100) << row.code;
    }
    clr_savbuf();
    scroll_key(116, 0);
    EXPECT_EQ(view_top(), 0);
    EXPECT_EQ(scrolled, 0);
}

TEST(View, BarParts)
{
    static const struct {
        int16_t part, top;
    } rows[] = {
        {inUpButton, 99},  {inPageUp, 93},      {inPageDown, 99},
        {inPageDown, 100}, {inDownButton, 100}, {inThumb, 40},
    };

    open_terminal(8, 30);
    while (savlines < 100)
        show(number_lines(int(savlines), int(savlines) + 1));
    sb_flush();
    for (const auto &row : rows) {
        if (row.part == inThumb)
            SetControlValue(sbar_ctl, row.top);
        sbar_action(sbar_ctl, row.part);
        EXPECT_EQ(view_top(), row.top) << row.part;
        EXPECT_EQ(scrolled != 0, row.top != 100) << row.part;
        if (row.part == inDownButton)
            scrollPosPrev = 100;
    }
    EXPECT_EQ(scrollPosPrev, 40);
}

// ---- the selection ---------------------------------------------------------

TEST(Selection, TextAcrossStoreAndScreen)
{
    open_terminal(4, 30);
    show("one\r\ntwo  \r\nthree\r\nfour\r\nfive\r\n\r\n");
    ASSERT_EQ(savlines, 3);
    // 3: four, 4: five, 5 and 6 blank
    static const struct {
        int16_t from, fromCol, to, toCol;
        const char *text;
    } rows[] = {
        {1, 1, 4, 2, "wo\rthree\rfour\rfi"},
        {4, 2, 1, 1, "wo\rthree\rfour\rfi"}, // backwards
        {0, 0, 1, 0, "one\r"},
        {0, 0, 0, 25, "one"},
        {0, 0, 6, 30, "one\rtwo\rthree\rfour\rfive\r\r"},
    };
    for (const auto &r : rows) {
        SetSel(r.from, r.fromCol, r.to, r.toCol);
        EXPECT_EQ(selected(), r.text);
    }
    SetSel(2, 3, 2, 3);
    EXPECT_EQ(stSel, -1);
}

TEST(Selection, TheHighlightStaysWithTheText)
{
    open_terminal(6, 20);
    show("one\r\ntwo\r\nthree\r\nfour\r\nfive\r\nsix");
    const picture plain = take_picture();
    SetSel(1, 1, 3, 2);
    EXPECT_EQ(take_picture() == plain, false);
    EXPECT_EQ(repainted() == take_picture(), true);
    show("\r\n");
    EXPECT_EQ(repainted() == take_picture(), true);
    scrollPage(view_top(), 0);
    SetSel(-1, 0, -1, 0);
    scr_to_bot();
    EXPECT_EQ(repainted() == take_picture(), true);
    EXPECT_TRUE(EmptyRgn(selRgn));
}

TEST(Selection, StaysWithTextWhenRowsLeaveUnkept)
{
    open_terminal(6, 20);
    show("\r\n\r\n\r\n\r\nfive\r\nsix");
    SetSel(4, 1, 5, 2);
    show("\r\n\r\n\r\n"); // blank lines, of which none is kept at the start
    EXPECT_EQ(savlines, 0);
    EXPECT_EQ(selected(), "ive\rsi");
    EXPECT_EQ(repainted() == take_picture(), true);
    cset.bufFlags |= 1;
    show("\r\n\r\n");
    EXPECT_EQ(selected(), "si");
    show("\r\n");
    EXPECT_EQ(stSel, -1);
    EXPECT_EQ(repainted() == take_picture(), true);
}

// Whatever the host does to the rows meanwhile, nothing of the highlight is
// left when it is taken off.
TEST(Selection, TheHighlightCanBeTakenOff)
{
    static const char *const edits[] = {
        "\n\n",        "\33[2;4r\33[4H\n", "\33[2;4r\33[2H\33M", "\33[2H\33[2L",
        "\33[2H\33M",  "\33[3H\33[K",      "\33[2H\33[4@",       "\33[2HXYZ",
        "\33[2H\33[M", "\33[2H\33[4h-+-"};

    open_terminal(6, 20);
    for (const char *edit : edits) {
        SCOPED_TRACE(edit);
        show(
            "\33[r\33[4l\33[H\33[2Jone\r\ntwo\r\nthree\r\nfour\r\nfive\r\nsix");
        SetSel(int16_t(savlines), 1, int16_t(savlines + 4), 20);
        show(edit);
        EXPECT_EQ(repainted() == take_picture(), true);
        SetSel(-1, 0, -1, 0);
        const picture after = take_picture();
        EXPECT_EQ(repainted() == after, true);
    }
}

TEST(Selection, TheHighlightCoversWhatIsSelected)
{
    open_terminal(6, 20);
    SetSel(1, 3, 3, 5);
    for (int row = 0; row < 6; row++) {
        for (int col = 0; col < 20; col++) {
            const bool in =
                (row == 1 && col >= 3) || row == 2 || (row == 3 && col < 5);
            EXPECT_EQ(corner(row, col) != 0xFFFFFF, in) << row << " " << col;
        }
    }
    SetSel(4, 7, 4, 2);
    for (int col = 0; col < 20; col++)
        EXPECT_EQ(corner(4, col) != 0xFFFFFF, col >= 2 && col < 7) << col;
    EXPECT_EQ(corner(2, 2), 0xFFFFFFu);
}

TEST(Selection, WordsAndDoubleClicks)
{
    open_terminal(6, 40);
    show("some words-here,  x\r\n");
    static const struct {
        int16_t line, col;
        bool word; // the one from 5 to 16
    } rows[] = {{0, 7, true},
                {0, 16, true}, // just behind
                {0, 17, false},
                {0, 39, false},
                {900, 2, false}};
    for (const auto &r : rows) {
        int16_t start = 0, end = 0;
        EXPECT_EQ(FindWordb(r.line, r.col, &start, &end), r.word) << r.col;
        EXPECT_TRUE(!r.word || (start == 5 && end == 16)) << r.col;
    }
}

TEST(Selection, RemovedFromTheStore)
{
    open_terminal(3, 30);
    show("one\r\ntwo\r\nthree\r\nfour\r\nfive\r\nsix");
    ASSERT_EQ(savlines, 3);
    // Only the stored part goes; what is left of its line stays a line.
    static const struct {
        int16_t fromCol, to, toCol;
        int lines, bytes; // of the store, behind it
    } rows[] = {
        {2, 2, 3, 1, 5}, {1, 2, 1, 1, 2}, {0, 3, 1, 0, 0}, {0, 1, 1, 0, 0}};
    for (const auto &r : rows) {
        SetSel(0, r.fromCol, r.to, r.toCol);
        remSel();
        EXPECT_TRUE(sav_ok());
        EXPECT_EQ(savlines, r.lines);
        EXPECT_EQ(savcount, r.bytes);
        if (r.bytes == 5) {
            EXPECT_EQ(memcmp(*savhdl, "onee", 4), 0);
            EXPECT_EQ(stSel, -1);
        }
    }
    EXPECT_EQ(memcmp(scrLine(0), "four", 4), 0);
}

// ---- the search ------------------------------------------------------------

TEST(Find, GoesOnBelowTheLastLine)
{
    open_terminal(4, 40);
    show("Alpha beta\r\ngamma\r\nBETA alpha\r\nx\r\ny\r\nz\r\nbeta here");
    strcpy(find_str, "beta");
    for (int line : {0, 2, 6}) { // the last on the live screen
        EXPECT_EQ(find_it(), 1);
        EXPECT_EQ(stSel, line);
        EXPECT_EQ(endSel, line + 1);
    }
    EXPECT_EQ(find_it(), 0); // it doesn't begin anew by itself
    EXPECT_EQ(inPrep, 0);
    show("more\r\n");
    EXPECT_EQ(find_it(), 1);
    EXPECT_EQ(stSel, 0);
    strcpy(find_str, std::string(41, 'a').c_str());
    EXPECT_EQ(find_it(), 0);
    EXPECT_TRUE(sav_ok());
}

TEST(Find, ShowsTheLineThirdFromTheTop)
{
    open_terminal(8, 40);
    show(number_lines(0, 100));
    // The line, and the view's top behind it: 17 lines count as in view.
    for (auto [line, top] : {std::pair(40, 38), {55, 38}, {56, 54}}) {
        strcpy(find_str, ("line " + std::to_string(line)).c_str());
        EXPECT_EQ(find_it(), 1);
        EXPECT_EQ(findline, line);
        EXPECT_EQ(view_top(), top);
    }
}

// Every way out of a search takes the screen's copy out of the store again.
TEST(Find, NoWayOutLeavesTheScreenInTheStore)
{
    static const struct {
        const char *what, *text;
        bool keeps;   // lines go to the store
        int32_t from; // findline
        int rows;     // of the window when it searches
    } rows[] = {
        {"no text", "", true, -1, 8},
        {"not found", "nowhere", true, -1, 8},
        {"below the last line", "line", true, 1000, 8},
        {"nothing stored, a click on row 7, fewer rows", "line", false, 7, 4},
    };
    open_terminal(8, 40);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.what);
        clr_savbuf();
        cset.bufFlags = r.keeps ? 0 : 1;
        show(number_lines(0, 30));
        const Rect bounds = window_bounds(r.rows, 40);
        ResizeWind(myWindow, &bounds);
        const int32_t lines = savlines, bytes = savcount;
        strcpy(find_str, r.text);
        findline = r.from;
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(find_it(), 0);
            EXPECT_FALSE(inPrep);
            EXPECT_EQ(savlines, lines);
            EXPECT_EQ(savcount, bytes);
            ASSERT_TRUE(sav_ok());
        }
    }
}

// The dialog, already open, selects itself and its text; Return with nothing
// in it is the dimmed button's: nothing.
TEST(Find, TheDialog)
{
    open_terminal(8, 40);
    show(number_lines(0, 30));
    find_str[0] = 0;
    open_find();
    ASSERT_NE(srch_dwin, nullptr);
    EventRecord key = {};
    DialogPtr dialog = nullptr;
    int16_t item = 0;
    key.what = keyDown;
    key.message = 13;
    EXPECT_TRUE(do_search(&key, &dialog, &item));
    EXPECT_EQ(hl_beeps(), 0);
    EXPECT_EQ(inPrep, 0);

    hl_edit(srch_dwin, kItemFindText, "line 3");
    SelectWindow(myWindow);
    settle();
    open_find();
    EXPECT_EQ(FrontWindow(), srch_dwin);
    EXPECT_EQ(hl_window(srch_dwin)->focus, kItemFindText);
    EXPECT_EQ(hl_window(srch_dwin)->selected, 6);
    EXPECT_TRUE(do_search(&key, &dialog, &item));
    EXPECT_EQ(stSel, 3);
    EXPECT_EQ(hl_beeps(), 0);
}

} // namespace
