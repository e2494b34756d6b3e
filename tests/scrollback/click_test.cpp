// The mouse in the text: what a press, a drag and a second click select.
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include "scrollback/find.h"
#include "serial/ModemIO.h"

namespace {

Point cell(int row, int col)
{
    return {int16_t(row * LineHeight + 3 + LineHeight / 2),
            int16_t(col * CharWid + 3)};
}

// A press, the pointer at each further place for some ticks, and the release.
void click(const std::vector<Point> &way, uint16_t modifiers = 0)
{
    EventRecord press = {};
    uint32_t at = 0;

    hl_press(myWindow, way[0].h, way[0].v, modifiers);
    ASSERT_TRUE(WaitNextEvent(1 << mouseDown, &press, 0, nullptr));
    for (size_t i = 1; i < way.size(); i++) {
        at += 4;
        hl_after(at, [p = way[i]] { hl_mouse_at(myWindow, p.h, p.v); });
    }
    hl_after(at + 4, [] { hl_release(); });
    DoClick(way[0], &press);
}

// Long enough ago to be no double click.
void later()
{
    hl_advance_ticks(1000);
}

void text_window()
{
    open_terminal(8, 40);
    show("alpha beta gamma\r\ndelta epsilon zeta\r\neta theta\r\n");
    gHaveAppearance = 1;
    later();
}

std::string selection()
{
    if (stSel < 0)
        return "none";
    return std::to_string(stSel) + ":" + std::to_string(stCol) + "-" +
           std::to_string(endSel) + ":" + std::to_string(endCol);
}

// Gestures upon one text, each some time after the one before; kTwice has a
// click on the place just before it.
constexpr uint16_t kTwice = 1;

TEST(Click, WhatEachGestureSelects)
{
    struct row {
        const char *what;
        uint16_t modifiers; // or kTwice
        std::vector<Point> way;
        std::string selected; // row:column to row:column
        const char *copied = nullptr;
    };
    text_window();
    // clang-format off
    const row rows[] = {
        {"down", 0, {cell(0, 3), cell(1, 5), cell(1, 8)}, "0:3-1:8",
         "ha beta gamma\ndelta ep"},
        {"to just behind the text", 0, {cell(0, 0), cell(0, 17)}, "0:0-0:17",
         "alpha beta gamma"},
        {"up", 0, {cell(2, 4), cell(0, 2)}, "0:2-2:4"},
        {"a click", 0, {cell(4, 3)}, "none"},
        {"a word", kTwice, {cell(0, 7)}, "0:6-0:10"},
        {"by words", kTwice, {cell(1, 8), cell(1, 15)}, "1:6-1:18"},
        {"by words, up", kTwice, {cell(1, 8), cell(0, 12)}, "0:11-1:13"},
        {"a click", 0, {cell(1, 8)}, "none"},
        {"another, too late", 0, {cell(1, 8)}, "none"},
        {"no word there", kTwice, {cell(5, 5), cell(5, 9)}, "5:5-5:9"},
        {"down", 0, {cell(1, 3), cell(1, 9)}, "1:3-1:9"},
        {"more", shiftKey, {cell(2, 5)}, "1:3-2:5"},
        {"more, up", shiftKey, {cell(0, 2)}, "0:2-2:5"},
        {"a click", 0, {cell(1, 4)}, "none"},
        {"from there", shiftKey, {cell(1, 8)}, "1:4-1:8"},
    };
    // clang-format on
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        later();
        if (r.modifiers == kTwice)
            click({r.way[0]});
        click(r.way, r.modifiers & shiftKey);
        EXPECT_EQ(selection(), r.selected);
        EXPECT_EQ(findline, (r.way.back().v - 3) / LineHeight);
        if (r.copied) {
            EXPECT_STREQ(hl_clip_text(true), r.copied);
        }
    }
}

TEST(Click, OneColumnBackwardsIsShownSelected)
{
    text_window();
    click({cell(0, 3), cell(1, 1)});
    EXPECT_NE(corner(1, 0), corner(1, 1));
}

TEST(Click, ScrollsWhileThePointerIsOutside)
{
    open_terminal(8, 40);
    for (int i = 0; i < 60; i++)
        show("line " + std::to_string(i) + "\r\n");
    later();
    const int16_t bottom = view_top();
    click({cell(3, 4), {-40, 50}, {-40, 50}, {-40, 50}});
    EXPECT_LT(view_top(), bottom);
    EXPECT_EQ(endSel, bottom + 3);
    EXPECT_LE(stSel, view_top() + 12);
    EXPECT_EQ(repainted() == take_picture(), true);
    later();
    const int16_t below = int16_t(termrect.bottom + 400);
    click({cell(3, 4), {below, 50}, {below, 51}, {below, 52}, {below, 53}});
    EXPECT_LE(view_top(), bottom);
    EXPECT_EQ(repainted() == take_picture(), true);
}

TEST(Click, WithOptionTheHostsCursorIsAskedFor)
{
    text_window();
    reqRow = -1;
    const int32_t seen = PrtCount;
    click({cell(1, 4)}, optionKey);
    EXPECT_EQ(reqRow, 1);
    EXPECT_EQ(reqCol, 4);
    EXPECT_EQ(difRow, 1 - abslin);
    EXPECT_EQ(difCol, 4 - curcol);
    EXPECT_EQ(PrtCount, seen + 1);
}

TEST(Click, WithCommandTheSelectionIsSent)
{
    text_window();
    click({cell(0, 6), cell(0, 10)}, cmdKey);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(sendBuf), sendCount),
              "beta\r");
    EXPECT_EQ(stSel, -1);
}

TEST(Click, OutsideTheTextIsIgnored)
{
    text_window();
    SetSel(0, 0, 0, 5);
    click({{int16_t(termrect.bottom + 5), 20}});
    EXPECT_EQ(stSel, 0);
}

} // namespace
