// The test back end itself: the line and its faults, the clock that fails a
// loop without progress, paper, colours.
#include "platform/headless/headless.h"

#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/events.h"
#include "platform/line.h"
#include "platform/printing.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>
#include <unistd.h>

// What the program would read in `ticks`, as its port loop does it.
static std::string read_for(int fd, uint32_t ticks)
{
    std::string all;
    char block[64];
    EventRecord e;
    uint32_t end = TickCount() + ticks;

    while (TickCount() < end) {
        int32_t count = line_read(fd, block, sizeof block);
        if (count > 0)
            all.append(block, size_t(count));
        (void)WaitNextEvent(everyEvent, &e, 1, nullptr);
    }
    return all;
}

TEST(Line, DeliversAtItsSpeedAndAnswersWhatItHears)
{
    int fd = hl_line_open(HL_SOCKET);

    line_use(fd);
    hl_line_speed(600); // ten bytes a tick
    hl_line_peer([](const uint8_t *, size_t count) {
        hl_line_say("got " + std::to_string(count), 100000);
    });
    hl_line_say(std::string(100, 'a'));
    EXPECT_NEAR(double(read_for(fd, 5).size()), 50, 11);
    EXPECT_NEAR(double(read_for(fd, 20).size()), 50, 11);
    ASSERT_EQ(write(fd, "hello", 5), 5);
    EXPECT_EQ(read_for(fd, 4), "");
    EXPECT_EQ(read_for(fd, 10), "got 5");
    EXPECT_EQ(hl_line_heard(), "hello");

    hl_line_fault([](uint8_t &byte, bool out) {
        if (out)
            byte ^= 0x20;
        return byte != 'x';
    });
    hl_line_say("a.x.b");
    EXPECT_EQ(read_for(fd, 5), "a..b");
    ASSERT_EQ(write(fd, "Abc", 3), 3);
    EXPECT_EQ(hl_line_heard(), "aBC");
    line_close();
}

TEST(ClockDeathTest, ALoopWithoutProgressFails)
{
    hl_spin_limit(100000);
    EXPECT_DEATH(
        {
            uint32_t end = TickCount() + 1;
            while (TickCount() < end)
                ;
        },
        "the clock never moves");
    EXPECT_DEATH(
        {
            DialogPtr d = ui_dialog(BE_MODAL);
            int16_t item;
            ShowWindow(d);
            ModalDialog(nullptr, &item); // nobody answers
        },
        "nothing is left.*\"Dialog\"");
}

TEST(Paper, APageIsAPictureOfWhatWasDrawn)
{
    PageFormat format;
    PrintSettings settings = {1, 9999, 1};
    WindowPtr w = ui_window();

    ASSERT_EQ(PMDefaultPageFormat(&format), noErr);
    EXPECT_EQ(format.page.top, 0);
    EXPECT_LT(format.paper.left, 0); // the margin that can't be printed on
    hl_ask_answer(false);
    EXPECT_FALSE(PMPrintDialog(&format, &settings));
    hl_ask_answer(true);
    ASSERT_TRUE(PMPrintDialog(&format, &settings));
    EXPECT_EQ(PMBeginPage(), paramErr); // no document yet
    SetPort(w);
    ASSERT_EQ(PMBeginDocument(&format, &settings, PSTR("Text")), noErr);
    for (int page = 0; page < 2; page++) {
        ASSERT_EQ(PMBeginPage(), noErr);
        Rect r = {10, 20, 12, 30};
        PaintRect(&r);
        ASSERT_EQ(PMEndPage(), noErr);
        EXPECT_EQ(GetPort(), w);
    }
    ASSERT_EQ(PMEndDocument(), noErr);
    ASSERT_EQ(hl_pages().size(), 2u);
    const HlPage &p = hl_pages()[1];
    int scale = p.dpi / 72;
    EXPECT_EQ(p.width, format.page.right * scale);
    auto pixel = [&](int h, int v) {
        return p.pixels[size_t(v * scale * p.width + h * scale)];
    };
    EXPECT_EQ(pixel(20, 10), 0x000000u);
    EXPECT_EQ(pixel(30, 10), 0xFFFFFFu);
    // Nothing of it went to the window.
    EXPECT_EQ(draw_pixel(w, 20, 10), 0xFFFFFFu);
}

TEST(Colors, TheAnswerIsWidenedToSixteenBits)
{
    RGBColor start = {0x1234, 0xFFFF, 0}, out = start;

    hl_ask_answer(false);
    EXPECT_FALSE(GetColor(PSTR("Colour"), &start, &out));
    EXPECT_EQ(out.red, 0x1234);
    hl_ask_answer(true, {}, 0x80FF01);
    EXPECT_TRUE(GetColor(PSTR("Colour"), &start, &out));
    EXPECT_EQ(out.red, 0x8080);
    EXPECT_EQ(out.green, 0xFFFF);
    EXPECT_EQ(out.blue, 0x0101);
    EXPECT_EQ(hl_asked()[0].prompt, "Colour");
}
