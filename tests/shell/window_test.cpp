// The window's geometry and saved places, its status bar, the wheel, and the
// gestures that send.
#include "shell/QuillonWindow.h"

#include <gtest/gtest.h>

#include "serial/ModemIO.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"
#include "tests/support/terminalwindow.h"
#include "transfer/xmodem.h"

namespace {

class Window : public Running {};

Rect bounds_of(WindowPtr w)
{
    Rect r;
    GetWindowBounds(w, &r);
    return r;
}

int16_t bar_right()
{
    Rect r;
    GetWindowPortBounds(myWindow, &r);
    return r.right;
}

// Whether anything but the background stands in a field of the bar.
bool drawn(int left, int right)
{
    Rect r;
    GetWindowPortBounds(myWindow, &r);
    uint32_t empty =
        draw_pixel(myWindow, int16_t(left), int16_t(r.bottom - 13));
    for (int v = r.bottom - 12; v < r.bottom - 3; v++) {
        for (int h = left; h < right; h++) {
            if (draw_pixel(myWindow, int16_t(h), int16_t(v)) != empty)
                return true;
        }
    }
    return false;
}

void lines(int count)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += "line " + std::to_string(i) + "\r\n";
    hl_line_say(text);
    run_ticks(60);
}

} // namespace

TEST_F(Window, SmallMovesAreNoNewPlace)
{
    struct row {
        int dh, dv;
        bool noted;
    };
    for (const row &r : {row{4, 0, false}, row{0, -4, false}, row{5, 0, true},
                         row{0, -5, true}}) {
        qsetChanged = 0;
        *GetRectPtr() = bounds_of(myWindow);
        Rect before = bounds_of(myWindow);
        hl_move(myWindow, before.left + r.dh, before.top + r.dv);
        run_ticks(10);
        EXPECT_EQ(qsetChanged != 0, r.noted) << r.dh << " " << r.dv;
        Rect now = bounds_of(myWindow);
        EXPECT_TRUE(now == *GetRectPtr());
    }
}

TEST_F(Window, AResizeChangesRowsAndColumnsAndIsKept)
{
    qsetChanged = 0;
    hl_resize(myWindow, 40 * CharWid + 19, 30 * LineHeight + 19);
    run_ticks(30);
    EXPECT_EQ(MaxCol, 40);
    EXPECT_EQ(MaxLine, 30);
    EXPECT_TRUE(rows_ok());
    EXPECT_TRUE(qsetChanged);
    EXPECT_EQ(GetRectPtr()->right - GetRectPtr()->left, 40 * CharWid + 19);
    Rect bar;
    GetControlBounds(sbar_ctl, &bar);
    EXPECT_EQ(bar.right, bar_right());
    EXPECT_EQ(bar.right - bar.left, 16);
    EXPECT_EQ(bar.top, -1);
    // Neither too small nor too large for anybody.
    hl_resize(myWindow, 10, 10);
    run_ticks(60);
    EXPECT_GE(bounds_of(myWindow).right - bounds_of(myWindow).left, 120);
    EXPECT_GE(bounds_of(myWindow).bottom - bounds_of(myWindow).top, 80);
    EXPECT_TRUE(rows_ok());
}

TEST_F(Window, EachZoomStateHasItsPlace)
{
    Rect normal = bounds_of(myWindow);
    hl_zoom(myWindow, true);
    run_ticks(60);
    EXPECT_EQ(qset.zoomFlags & 1, 1);
    EXPECT_TRUE(rows_ok());
    hl_zoom(myWindow, false);
    run_ticks(60);
    EXPECT_EQ(qset.zoomFlags & 1, 0);
    Rect now = bounds_of(myWindow);
    EXPECT_TRUE(normal == now);
    // Large and small fonts have places of their own, too.
    curFSize = 9;
    EXPECT_EQ(GetRectPtr(), &qset.winRectSmall);
    curFSize = 10;
    EXPECT_EQ(GetRectPtr(), &qset.winRectLarge);
    qset.zoomFlags = 1;
    EXPECT_EQ(GetRectPtr(), &qset.zoomRectLarge);
}

TEST_F(Window, APlaceThatIsNotSetOrNotOnAScreenIsReplaced)
{
    Rect screen;
    GetScreenBounds(&screen);
    qset.zoomFlags = 1;
    qset.zoomRectLarge = {0, 0, 0, 0};
    Rect r = *GetRectPtr();
    EXPECT_EQ(r.left, screen.left + 4);
    EXPECT_EQ(r.top, screen.top + 24);
    EXPECT_EQ(r.right, screen.right - 4 - 8);
    qset.zoomRectLarge = {30, 30, 20000, 600};
    r = *GetRectPtr();
    EXPECT_EQ(r.bottom, 30 + (screen.bottom - screen.top) - 40);

    Rect away = {9000, 9000, 9200, 9400};
    Rect before = bounds_of(myWindow);
    RestoreWinPos(myWindow, &away);
    Rect now = bounds_of(myWindow);
    EXPECT_EQ(now.left, before.left) << "it moved off the screen";
    EXPECT_EQ(now.right - now.left, 400) << "its size counts all the same";
    RestoreWinLoc(myWindow, {80, 70});
    EXPECT_EQ(bounds_of(myWindow).left, 70);
    RestoreWinLoc(myWindow, {-500, 70});
    EXPECT_EQ(bounds_of(myWindow).top, 80);
}

TEST_F(Window, NarrowWindowsLeaveFieldsOut)
{
    struct row {
        int16_t width;
        bool time, line;
    };
    // 71 is the widest without the time, 221 the widest without the line.
    for (const row &r : {row{71, false, false}, row{72, true, false},
                         row{221, true, false}, row{222, true, true}}) {
        Rect place = {50, 50, 350, int16_t(50 + r.width)};
        ResizeWind(myWindow, &place);
        run_ticks(5);
        Rect all;
        GetWindowPortBounds(myWindow, &all);
        SetPort(myWindow);
        EraseRect(&all);
        ShowTime(true);
        ShowComm();
        EXPECT_EQ(drawn(10, 55), r.time) << r.width;
        if (r.width > 210) {
            EXPECT_EQ(drawn(145, 205), r.line) << r.width;
        }
    }
}

// What stands in the clock's field after so many seconds.
static std::vector<uint32_t> clock_after(uint32_t seconds)
{
    Rect all;
    std::vector<uint32_t> pixels;

    GetDateTime(&ConnectTime);
    ConnectTime -= seconds;
    ShowTime(true);
    GetWindowPortBounds(myWindow, &all);
    for (int v = all.bottom - 14; v < all.bottom - 2; v++)
        for (int h = 10; h < 55; h++)
            pixels.push_back(draw_pixel(myWindow, int16_t(h), int16_t(v)));
    return pixels;
}

TEST_F(Window, TheClockShowsHoursFromTheFirstOneOn)
{
    EXPECT_EQ(clock_after(3600), clock_after(60)) << "1:00";
    EXPECT_NE(clock_after(3599), clock_after(59)) << "59:59, and 0:59";
}

TEST_F(Window, TheClockTicksAndNeverRunsBackwards)
{
    uint32_t now;
    GetDateTime(&now);
    ConnectTime = now + 1000;
    ShowTime(true);
    EXPECT_LE(ConnectTime, now + 1) << "set back to the present";
    run_ticks(70);
    EXPECT_TRUE(drawn(10, 55));
}

TEST_F(Window, TheBarsPopUpsSetSpeedAndFormat)
{
    ShowComm();
    Rect r;
    GetWindowPortBounds(myWindow, &r);
    int16_t v = int16_t(r.bottom - 6);
    ASSERT_GT(baud_right, 147);
    ASSERT_GT(bits_right, baud_right);

    // It opens at the present speed, and leaves the window as it was.
    const picture before = take_picture();
    const int16_t item = bd_item;
    hl_popup_choice(5);
    hl_click(myWindow, 146, v);
    run_ticks(20);
    EXPECT_EQ(hl_popup().item, item);
    EXPECT_EQ(Baudrate, 9600);
    EXPECT_TRUE(take_picture() == before);
    hl_popup_choice(12);
    bot_bar_click({v, 150});
    EXPECT_EQ(Baudrate, 230400) << "this road reads all bits";
    set_baud(9600);
    hl_popup_choice(3);
    bot_bar_click({v, 144});
    EXPECT_EQ(Baudrate, 9600) << "just outside";

    do_dbit('7');
    do_parity('O');
    do_sbit('2');
    bot_bar_click({v, int16_t(baud_right + 1)});
    EXPECT_EQ(cset.dataChar, '7');
    EXPECT_EQ(cset.parityChar, 'O');
    EXPECT_EQ(cset.stopChar, '1');
    hl_popup_choice(1);
    bot_bar_click({v, int16_t(baud_right + 1)});
    EXPECT_EQ(cset.dataChar, '8');
    EXPECT_EQ(cset.parityChar, 'N');
}

TEST_F(Window, TheWheelMovesOneLineWhateverItsSize)
{
    lines(100);
    ASSERT_GT(savlines, 50);
    int16_t bottom = GetControlValue(sbar_ctl);
    EXPECT_EQ(bottom, savlines);
    // The last turn is already at the end.
    for (auto [turn, top] :
         {std::pair(5, bottom - 1), {-1, +bottom}, {-1, +bottom}}) {
        hl_wheel(myWindow, turn);
        run_ticks(10);
        EXPECT_EQ(GetControlValue(sbar_ctl), top);
        EXPECT_EQ(scrolled != 0, top != bottom);
    }
    EXPECT_EQ(MouseWheelHandler(nullptr, 1, nullptr), -9874);
}

TEST_F(Window, TheScrollBarMovesTheViewAlsoDuringATransfer)
{
    lines(100);
    int16_t bottom = GetControlValue(sbar_ctl);
    hl_scroll(sbar_ctl, {{inUpButton, 0}, {inPageUp, 0}});
    run_ticks(10);
    int16_t above = int16_t(bottom - 1 - (MaxLine - 2));
    EXPECT_EQ(GetControlValue(sbar_ctl), above);
    EXPECT_TRUE(scrolled);
    hl_scroll(sbar_ctl, {{inThumb, 3}});
    (void)XferEvent(1);
    EXPECT_EQ(GetControlValue(sbar_ctl), 3);
    hl_scroll(sbar_ctl, {{inThumb, bottom}});
    (void)XferEvent(1);
    EXPECT_FALSE(scrolled);
}

// ---- the gestures ----------------------------------------------------------

TEST_F(Window, ASelectionGoesOutBehindItsPrefix)
{
    Str255 prefix;
    CopyCStringToPascal("get ", prefix);
    ASSERT_EQ(SetStrInList(gLocalStrings, kStrCmdClick, prefix), noErr);
    hl_line_say("file.txt here");
    run_ticks(10);
    SetSel(int16_t(savlines), 0, int16_t(savlines), 8);
    cmdClick();
    EXPECT_EQ(stSel, -1);
    run_ticks(20);
    EXPECT_EQ(hl_line_heard(), "get file.txt\r");
    // Not while something is being sent.
    sendCount = 1;
    SetSel(int16_t(savlines), 0, int16_t(savlines), 8);
    cmdClick();
    EXPECT_NE(stSel, -1);
    sendCount = 0;
}

TEST_F(Window, TheHostsCursorIsMovedByArrowsRowsFirst)
{
    // A host that moves its cursor as the arrows say.
    std::string keys;
    hl_line_peer([&](const uint8_t *bytes, size_t count) {
        keys.append(reinterpret_cast<const char *>(bytes), count);
        hl_line_say(std::string(reinterpret_cast<const char *>(bytes), count));
    });
    hl_line_say("\x1b[5;5H");
    run_ticks(20);
    ASSERT_EQ(abslin, 4);
    reqRow = 2;
    reqCol = 7;
    difRow = int16_t(reqRow - abslin);
    difCol = int16_t(reqCol - curcol);
    aheadPos = 0;
    PrtCount = 1;
    run_ticks(600);
    EXPECT_EQ(abslin, 2);
    EXPECT_EQ(curcol, 7);
    EXPECT_EQ(reqRow, -1);
    EXPECT_EQ(keys, "\x1b[A\x1b[A\x1b[C\x1b[C\x1b[C");
    EXPECT_EQ(hl_beeps(), 0);
}

TEST_F(Window, AHostThatDoesNotFollowIsGivenUpWithABeep)
{
    hl_line_peer([](const uint8_t *, size_t) {});
    reqRow = 10;
    reqCol = 0;
    difRow = 10;
    PrtCount = 1;
    run_ticks(700);
    EXPECT_EQ(reqRow, -1);
    EXPECT_EQ(hl_beeps(), 1) << "silence";

    // One that goes the wrong way.
    hl_line_peer([](const uint8_t *, size_t) { hl_line_say("\x1b[A"); });
    hl_line_say("\x1b[20;1H");
    run_ticks(20);
    reqRow = 22;
    difRow = 3;
    aheadPos = 0;
    PrtCount = 1;
    run_ticks(900);
    EXPECT_EQ(reqRow, -1);
    EXPECT_EQ(hl_beeps(), 2);
    EXPECT_EQ(badTrys, 0);
}
