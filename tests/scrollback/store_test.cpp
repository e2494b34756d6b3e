// The store: what is kept, how it grows, drops and clears.
#include "tests/support/sandbox.h"
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/memory.h"
#include "scrollback/find.h"
#include "transfer/xmodem.h"

namespace {

void store_model(int rows = 24)
{
    MaxLine = uint16_t(rows);
    MaxCol = 80;
    Baudrate = 9600;
    InitPage();
}

void save(const std::string &text)
{
    uint8_t line[kMaxCols];

    memset(line, ' ', sizeof line);
    memcpy(line, text.data(), text.size());
    savline(line);
}

std::string stored(int n)
{
    int16_t length;
    const uint8_t *text = GetLinePtr(n, &length);
    return {reinterpret_cast<const char *>(text), size_t(length)};
}

TEST(Savline, Trims)
{
    static const struct {
        const char *line, *kept;
    } rows[] = {
        {"plain", "plain"},   {"spaces   ", "spaces"}, {"  lead", "  lead"},
        {"two  \n", "two  "}, {"both \r\n", "both "},  {"once \n\n", "once \n"},
        {"cr\r", "cr"},
    };

    store_model();
    for (const auto &row : rows) {
        save(row.line);
        EXPECT_EQ(stored(savlines - 1), row.kept) << row.line;
    }
    save(std::string(160, 'x'));
    EXPECT_EQ(sav_offset(savlines) - sav_offset(savlines - 1), 161);
    EXPECT_TRUE(sav_ok());
}

TEST(Savline, KeepsTwoBlankLinesInARow)
{
    static const struct {
        const char *line;
        int stored; // lines, behind it
    } rows[] = {
        {"", 0}, // none before the first text
        {"text", 1}, {"\r\n", 2}, {"\n", 3}, {"\r\n", 3}, {"\n", 3}, {"~", 3},
        {"text", 4}, {"~", 5},    {"", 6},   {"", 6},     {"~~", 7},
    };

    store_model();
    for (const auto &row : rows) {
        findline = 5;
        save(row.line);
        EXPECT_EQ(savlines, row.stored) << row.line;
        EXPECT_EQ(findline, -1) << row.line;
    }
    EXPECT_EQ(stored(2), "");
    EXPECT_EQ(stored(4), "~");
}

TEST(Savline, InAPreparationEveryLineCounts)
{
    store_model(10);
    save("one");
    const int32_t lines = savlines, bytes = savcount;
    prepSel(nullptr);
    EXPECT_EQ(savlines, lines + 10);
    unprepSel();
    EXPECT_EQ(savlines, lines);
    EXPECT_EQ(savcount, bytes);
    EXPECT_TRUE(sav_ok());
}

TEST(Store, DropsASecondsWorthWhenMemoryRunsShort)
{
    store_model();
    Baudrate = 19200;
    while (savcount < 100000)
        save(std::string(size_t(savlines % 90) + 1, 'x'));
    const int32_t room = GetHandleSize(savhdl) - savcount;
    mem_set_budget(0);
    int32_t lines = savlines, first = 0;
    while (sav_offset(first) < 19200)
        first++;
    const std::string boundary = stored(first);
    // What is left of the block is used first.
    while (savlines >= lines) {
        lines = savlines;
        save(std::string(150, 'y'));
    }
    EXPECT_EQ(savlines, lines - first + 1);
    EXPECT_EQ(stored(0), boundary);
    EXPECT_LT(room, 8192);
    EXPECT_TRUE(sav_ok());
}

TEST(Store, NeverDropsMoreThanHalf)
{
    store_model();
    Baudrate = 230400;
    for (int i = 0; i < 100; i++)
        save(std::string(79, 'x'));
    mem_set_budget(0);
    for (int i = 0; i < 300; i++) {
        const int32_t before = savcount;
        save(std::string(79, 'z'));
        EXPECT_GE(savcount, before / 2);
    }
    EXPECT_TRUE(sav_ok());
}

TEST(Store, WithoutAnyMemoryALineIsLostInSilence)
{
    store_model();
    mem_fail_nth(1);
    save("lost");
    EXPECT_EQ(savlines, 0);
    EXPECT_TRUE(sav_ok());
    save("kept");
    EXPECT_EQ(stored(0), "kept");
    for (int nth = 1; nth < 4; nth++) {
        mem_fail_nth(nth);
        for (int i = 0; i < 400; i++)
            save(std::string(60, 'x'));
        EXPECT_TRUE(sav_ok());
    }
}

// The screen's rows have numbers behind those of the store, all of 16 bits.
TEST(Store, AMillionLinesStayWithinTheirNumbers)
{
    store_model(100);
    Baudrate = 115200;
    int32_t most = 0;
    const int32_t free = FreeMem();
    for (int i = 0; i < 1000000; i++) {
        char text[32];
        snprintf(text, sizeof text, "line %d", i);
        save(text);
        most = std::max(most, savlines);
    }
    EXPECT_EQ(most + 100, 32767);
    EXPECT_EQ(stored(savlines - 1), "line 999999");
    EXPECT_TRUE(sav_ok());
    EXPECT_LT(free - FreeMem(), 4 << 20);

    prepSel(nullptr);
    EXPECT_TRUE(sav_ok());
    unprepSel();
    EXPECT_TRUE(sav_ok());
}

TEST(Store, LosesLinesWhenTheScreenGrows)
{
    store_model(24);
    while (savlines + 24 < 32767)
        save("x");
    MaxLine = 60;
    init_term();
    sav_fit();
    EXPECT_EQ(savlines, 32767 - 60);
    EXPECT_TRUE(sav_ok());
}

TEST(DelLines, TakesTheSelectionAlong)
{
    store_model();
    for (int i = 0; i < 20; i++)
        save("line " + std::to_string(i));
    static const struct {
        int16_t from, to;
        int lines, first; // left, and the selection's first
    } rows[] = {{2, 4, 17, 7}, {7, 30000, 7, 7}, {0, 6, 0, 0}, {0, 5, 0, 0}};
    stSel = 10;
    endSel = 12;
    for (const auto &r : rows) {
        DelLines(r.from, r.to);
        EXPECT_EQ(savlines, r.lines);
        EXPECT_EQ(stSel, r.first);
        if (r.lines == 17) {
            EXPECT_EQ(endSel, 9);
            EXPECT_EQ(stored(2), "line 5");
        }
        EXPECT_TRUE(sav_ok());
    }
}

// Lines that go while the screen is pushed in must not come back with it.
TEST(DelLines, InAPreparationLowersWhatItReturnsTo)
{
    store_model(6);
    for (int i = 0; i < 20; i++)
        save("line " + std::to_string(i));
    prepSel(nullptr);
    DelLines(0, 4);
    EXPECT_TRUE(sav_ok());
    unprepSel();
    EXPECT_EQ(savlines, 15);
    EXPECT_EQ(stored(0), "line 5");
    EXPECT_TRUE(sav_ok());
}

TEST(Clear, AsksIfTheSettingsSaySo)
{
    open_terminal(6, 40);
    for (int i = 0; i < 1000; i++)
        save("a line of some length " + std::to_string(i));
    qset.globFlags = kGlobAskClear;
    hl_answer(2);
    clr_savbuf();
    EXPECT_EQ(savlines, 1000);
    EXPECT_EQ(savAllow, savcount);
    ASSERT_EQ(hl_messages().size(), 1u);

    hl_answer(1);
    clr_savbuf();
    EXPECT_EQ(savlines, 0);
    EXPECT_EQ(savcount, 0);
    EXPECT_EQ(GetHandleSize(savhdl), 24576);
    EXPECT_EQ(GetControlMaximum(sbar_ctl), 0);
    EXPECT_EQ(PrtBufK, 0);
    EXPECT_TRUE(sav_ok());

    qset.globFlags = 0;
    save("text");
    clr_savbuf();
    EXPECT_EQ(savlines, 0);
    EXPECT_EQ(hl_messages().size(), 2u);
}

// ---- the scroll bar --------------------------------------------------------

TEST(ScrollBar, FollowsWhenItsThumbMovesOrTheLineIsQuiet)
{
    open_terminal(6, 40);
    save("one");
    EXPECT_EQ(GetControlMaximum(sbar_ctl), 1); // the first always shows
    for (int i = 0; i < 500; i++)
        save("more");
    // At the bottom the thumb stays where it is.
    EXPECT_LT(GetControlMaximum(sbar_ctl), 501);
    EXPECT_EQ(view_top(), 501);
    sb_flush();
    EXPECT_EQ(GetControlMaximum(sbar_ctl), 501);
    EXPECT_EQ(GetControlValue(sbar_ctl), 501);
    EXPECT_EQ(sUpdateCount, 0);
}

// ---- capture by lines ------------------------------------------------------

TEST(PutLine, WritesTrimmedLines)
{
    const Place place;

    store_model();
    ASSERT_EQ(HCreate(place.vRef, place.dir, PSTR("capture"), 0, 0), noErr);
    ASSERT_EQ(
        HOpen(place.vRef, place.dir, PSTR("capture"), fsRdWrPerm, &recRef),
        noErr);
    asciiReceive = 'L';
    show("first  \r\n~\r\n\r\n\r\n\r\nlast\33[1;1H");
    show("\33[7;1H");
    show(std::string(160, 'w'));
    asciiReceive = 'L';
    uint8_t full[kLineLen];
    memset(full, 'f', sizeof full);
    PutLine(full, kMaxCols);
    EXPECT_EQ(full[kMaxCols], 'f');

    (void)FSClose(recRef);
    EXPECT_EQ(place.read("capture"), "first\r~\r\r\r" + std::string(80, 'w') +
                                         "\r" + std::string(160, 'f') + "\r");
}

} // namespace
