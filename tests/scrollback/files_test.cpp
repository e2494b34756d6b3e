// The selection on its way out: to files and to paper.
#include "tests/support/sandbox.h"
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include "base/PathStr.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "scrollback/NPrint.h"
#include "scrollback/SaveText.h"
#include "shell/QuillonMenus.h"
#include "transfer/Names.h"

namespace {

// A file of the case's folder, which isn't there yet.
struct Target : Place {
    FSSpec spec = {};

    Target() { (void)FSMakeFSSpec(vRef, dir, PSTR("last"), &spec); }
    std::string content() const { return read("last"); }
};

void text_window()
{
    open_terminal(4, 40);
    show("one\r\ntwo\r\nthree\r\nfour\r\nfive\r\nsix");
    FileMenu = GetMenu(kMenuFile);
}

TEST(SaveText, AppendsWithAnEmptyLineBehind)
{
    text_window();
    const Target to;
    SetSel(0, 0, 1, 0);
    EXPECT_EQ(AppendSel(&to.spec), noErr);
    SetSel(4, 1, 4, 3);
    EXPECT_EQ(AppendSel(&to.spec), noErr);
    EXPECT_EQ(to.content(), "one\r\riv\r\r");
    FInfo info;
    ASSERT_EQ(FSpGetFInfo(&to.spec, &info), noErr);
    EXPECT_EQ(info.fdType, FOUR("TEXT"));
    EXPECT_TRUE(sav_ok());
}

TEST(SaveText, RemembersTheTarget)
{
    Str255 text, base;

    text_window();
    const Target to;
    GetMenuItemText(FileMenu, 12, base);
    SetAppendName(&to.spec, 1);
    EXPECT_EQ(gAppendOK, 1); // a file that isn't there yet will do
    GetMenuItemText(FileMenu, 12, text);
    EXPECT_EQ(text[0], base[0] + 6);
    EXPECT_EQ(memcmp(text + 1 + base[0], "\xD2last\xD3", 6), 0);

    int16_t volume;
    int32_t folder;
    Str255 name;
    GetFolderFromStr(gArchiveStr, &volume, &folder, name);
    EXPECT_EQ(volume, to.vRef);
    EXPECT_EQ(folder, to.dir);
    EXPECT_EQ(memcmp(name, "\4last", 5), 0);

    SetSel(0, 0, 0, 3);
    DoAppendLast();
    EXPECT_EQ(to.content(), "one\r\r");

    FSSpec none = to.spec;
    none.name[0] = 0;
    SetAppendName(&none, 0);
    EXPECT_EQ(gAppendOK, 0);
    GetMenuItemText(FileMenu, 12, text);
    EXPECT_EQ(text[0], base[0]);
}

TEST(SaveText, ANewFileReplacesTheOld)
{
    text_window();
    const Target to;
    SetSel(0, 0, 3, 0);
    hl_ask_answer(true, {to.path("last")});
    EXPECT_EQ(writeBuffer(), noErr);
    EXPECT_EQ(to.content(), "one\rtwo\rthree\r");
    SetSel(1, 0, 1, 3);
    hl_ask_answer(true, {to.path("last")});
    EXPECT_EQ(writeBuffer(), noErr);
    EXPECT_EQ(to.content(), "two");
    hl_ask_answer(false);
    EXPECT_EQ(writeBuffer(), 0);
    EXPECT_EQ(to.content(), "two");
    EXPECT_EQ(inPrep, 0);
}

// How many dark pixels a page has from one row of points to another.
int ink(const HlPage &page, int top, int bottom)
{
    const int scale = page.dpi / 72;
    int dark = 0;

    for (int v = top * scale; v < bottom * scale && v < page.height; v++) {
        for (int h = 0; h < page.width; h++)
            dark += page.pixels[size_t(v * page.width + h)] < 0x808080;
    }
    return dark;
}

TEST(Print, PagesHoldTheSelection)
{
    open_terminal(4, 40);
    for (int i = 0; i < 150; i++)
        show("printed line " + std::to_string(i) + "\r\n");
    init_print();
    qset.printFontSize = 10;
    qset.pageMargins = {0, 0, 0, 0};
    SetSel(0, 0, 100, 0);
    hl_ask_answer(true);
    PrtSel();
    ASSERT_GE(hl_pages().size(), 2u);
    for (const HlPage &page : hl_pages())
        EXPECT_GT(ink(page, 0, 20), 0); // the header
    EXPECT_EQ(inPrep, 0);
    EXPECT_TRUE(sav_ok());

    qset.printHeaderOff = 1;
    SetSel(2, 8, 2, 12);
    hl_ask_answer(true);
    PrtSel();
    ASSERT_EQ(hl_pages().size(), 1u);
    EXPECT_GT(ink(hl_pages().back(), 0, 14), 0);
    EXPECT_EQ(ink(hl_pages().back(), 30, 800), 0);

    hl_ask_answer(false);
    PrtSel();
    EXPECT_EQ(hl_pages().size(), 1u);
}

} // namespace
