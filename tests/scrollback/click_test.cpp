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

#define EXPECT_SELECTED(a, b, c, d)                                            \
    EXPECT_EQ(stSel, a);                                                       \
    EXPECT_EQ(stCol, b);                                                       \
    EXPECT_EQ(endSel, c);                                                      \
    EXPECT_EQ(endCol, d)

TEST(Click, ADragSelectsInEitherDirection)
{
    text_window();
    click({cell(0, 3), cell(1, 5), cell(1, 8)});
    EXPECT_SELECTED(0, 3, 1, 8);
    EXPECT_EQ(findline, 1);
    EXPECT_STREQ(hl_clip_text(true), "ha beta gamma\ndelta ep");
    later();
    click({cell(0, 0), cell(0, 17)}); // just behind the text
    EXPECT_STREQ(hl_clip_text(true), "alpha beta gamma");
    later();
    click({cell(0, 3), cell(1, 1)});
    EXPECT_NE(corner(1, 0), corner(1, 1)) << "one column is shown selected";
    later();
    click({cell(2, 4), cell(0, 2)});
    EXPECT_SELECTED(0, 2, 2, 4);
    later();
    click({cell(4, 3)});
    EXPECT_EQ(stSel, -1);
}

TEST(Click, TwiceOnAPlaceTakesTheWordAndGoesOnByWords)
{
    text_window();
    click({cell(0, 7)});
    click({cell(0, 7)});
    EXPECT_SELECTED(0, 6, 0, 10);
    later();
    click({cell(1, 8)});
    click({cell(1, 8), cell(1, 15)});
    EXPECT_SELECTED(1, 6, 1, 18);
    later();
    click({cell(1, 8)});
    click({cell(1, 8), cell(0, 12)});
    EXPECT_SELECTED(0, 11, 1, 13);
    later();
    click({cell(1, 8)});
    later();
    click({cell(1, 8)}); // too late
    EXPECT_EQ(stSel, -1);
    later();
    click({cell(5, 5)});
    click({cell(5, 5), cell(5, 9)}); // no word there
    EXPECT_SELECTED(5, 5, 5, 9);
}

TEST(Click, ShiftExtends)
{
    text_window();
    click({cell(1, 3), cell(1, 9)});
    later();
    click({cell(2, 5)}, shiftKey);
    EXPECT_SELECTED(1, 3, 2, 5);
    later();
    click({cell(0, 2)}, shiftKey);
    EXPECT_SELECTED(0, 2, 2, 5);
    SetSel(-1, 0, -1, 0);
    LClickRow = 1;
    LClickCol = 4;
    later();
    click({cell(1, 8)}, shiftKey);
    EXPECT_SELECTED(1, 4, 1, 8);
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
    click({cell(3, 4),
           {int16_t(termrect.bottom + 400), 50},
           {int16_t(termrect.bottom + 401), 50},
           {int16_t(termrect.bottom + 402), 50},
           {int16_t(termrect.bottom + 403), 50}});
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
