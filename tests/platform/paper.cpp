// Paper and colours: what a page holds, what an answer means.
#include "platform/headless/headless.h"

#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/printing.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

TEST(Paper, APageIsAPictureOfWhatWasDrawn)
{
    PageFormat format;
    PrintSettings settings = {1, 9999, 1};
    WindowPtr w = ui_window();

    ASSERT_EQ(PMDefaultPageFormat(&format), noErr);
    EXPECT_LT(format.paper.left, 0); // the margin that can't be printed on
    hl_ask_answer(false);
    EXPECT_FALSE(PMPrintDialog(&format, &settings));
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
    EXPECT_EQ(draw_pixel(w, 20, 10), 0xFFFFFFu) << "nothing went to the window";
}

TEST(Colors, TheAnswerIsWidenedToSixteenBits)
{
    RGBColor start = {0x1234, 0xFFFF, 0}, out = start;

    hl_ask_answer(false);
    EXPECT_FALSE(GetColor(PSTR("Colour"), &start, &out));
    EXPECT_EQ(out.red, 0x1234);
    hl_ask_answer(true, {}, 0x80FF01);
    EXPECT_TRUE(GetColor(PSTR("Colour"), &start, &out));
    EXPECT_TRUE(out.red == 0x8080 && out.green == 0xFFFF && out.blue == 0x0101);
}
