// The selection on its way out: to files and to paper.
#include "tests/support/terminalwindow.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/PathStr.h"
#include "platform/files.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "scrollback/NPrint.h"
#include "scrollback/SaveText.h"
#include "shell/QuillonMenus.h"
#include "transfer/Names.h"

namespace {

FSSpec file_named(ConstStr name)
{
    FSSpec spec = {};
    int16_t vRef;
    int32_t dirID;

    EXPECT_EQ(FindFolder(0, kDownloadsFolder, true, &vRef, &dirID), noErr);
    (void)FSMakeFSSpec(vRef, dirID, name, &spec);
    (void)FSpDelete(&spec);
    return spec;
}

std::string content(const FSSpec &spec)
{
    char text[4096];
    int32_t size = sizeof text;
    int16_t ref;

    if (FSpOpenDF(&spec, fsRdPerm, &ref) != noErr)
        return "(no file)";
    (void)FSRead(ref, &size, text);
    (void)FSClose(ref);
    return {text, size_t(size)};
}

void text_window()
{
    open_terminal(4, 40);
    show("one\r\ntwo\r\nthree\r\nfour\r\nfive\r\nsix");
    FileMenu = GetMenu(kMenuFile);
}

TEST(SaveText, AppendsWithAnEmptyLineBehind)
{
    text_window();
    const FSSpec spec = file_named(PSTR("append test"));
    SetSel(0, 0, 1, 0);
    EXPECT_EQ(AppendSel(&spec), noErr);
    SetSel(4, 1, 4, 3);
    EXPECT_EQ(AppendSel(&spec), noErr);
    EXPECT_EQ(content(spec), "one\r\riv\r\r");
    FInfo info;
    ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
    EXPECT_EQ(info.fdType, FOUR("TEXT"));
    EXPECT_TRUE(sav_ok());
    (void)FSpDelete(&spec);
}

TEST(SaveText, RemembersTheTarget)
{
    Str255 text, base;

    text_window();
    const FSSpec spec = file_named(PSTR("last"));
    GetMenuItemText(FileMenu, 12, base);
    SetAppendName(&spec, 1);
    EXPECT_EQ(gAppendOK, 1); // a file that isn't there yet will do
    GetMenuItemText(FileMenu, 12, text);
    EXPECT_EQ(text[0], base[0] + 6);
    EXPECT_EQ(memcmp(text + 1 + base[0], "\xD2last\xD3", 6), 0);

    int16_t volume;
    int32_t folder;
    Str255 name;
    GetFolderFromStr(gArchiveStr, &volume, &folder, name);
    EXPECT_EQ(volume, spec.vRefNum);
    EXPECT_EQ(folder, spec.parID);
    EXPECT_EQ(memcmp(name, "\4last", 5), 0);

    SetSel(0, 0, 0, 3);
    DoAppendLast();
    EXPECT_EQ(content(spec), "one\r\r");

    FSSpec none = spec;
    none.name[0] = 0;
    SetAppendName(&none, 0);
    EXPECT_EQ(gAppendOK, 0);
    GetMenuItemText(FileMenu, 12, text);
    EXPECT_EQ(text[0], base[0]);
    (void)FSpDelete(&spec);
}

TEST(SaveText, ANewFileReplacesTheOld)
{
    char path[1024];

    text_window();
    const FSSpec spec = file_named(PSTR("new file"));
    SetSel(0, 0, 3, 0);
    ASSERT_EQ(FSSpecToPath(&spec, path, sizeof path), noErr);
    hl_ask_answer(true, {path});
    EXPECT_EQ(writeBuffer(), noErr);
    EXPECT_EQ(content(spec), "one\rtwo\rthree\r");
    SetSel(1, 0, 1, 3);
    hl_ask_answer(true, {path});
    EXPECT_EQ(writeBuffer(), noErr);
    EXPECT_EQ(content(spec), "two");
    hl_ask_answer(false);
    EXPECT_EQ(writeBuffer(), 0);
    EXPECT_EQ(content(spec), "two");
    EXPECT_EQ(inPrep, 0);
    (void)FSpDelete(&spec);
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
