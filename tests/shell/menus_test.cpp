// What the menus do, when they are dimmed, and the setters behind them.
#include "shell/QuillonMenus.h"

#include <gtest/gtest.h>

#include "platform/menus.h"
#include "resources/names.h"
#include "scrollback/SaveText.h"
#include "scrollback/find.h"
#include "tests/support/running.h"
#include "tests/support/terminalwindow.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"

namespace {

class Menus : public Running {};

int32_t choice(int menu, int item)
{
    return menu << 16 | item;
}

bool enabled(int menu, int item)
{
    AdjMenus();
    const HlMenu *m = hl_menu(menu);
    return m && m->enabled && (!item || m->items.at(size_t(item - 1)).enabled);
}

// The items that can be chosen now, each behind a blank; no separators.
std::string choosable(int menu)
{
    std::string out;

    for (int16_t i = 1; i <= CountMenuItems(GetMenuHandle(int16_t(menu)));
         i++) {
        Str255 text;
        GetMenuItemText(GetMenuHandle(int16_t(menu)), i, text);
        if (text[1] != '-' && enabled(menu, i))
            out += " " + std::to_string(i);
    }
    return out;
}

bool checked(int menu, int item)
{
    return hl_menu(menu)->items.at(size_t(item - 1)).checked;
}

} // namespace

static const auto parity_word = [] { return int(parity); };
static const auto data_word = [] { return int(data); };
static const auto stop_word = [] { return int(stopBits); };

TEST_F(Menus, SettersStoreTheLetterTheWordAndTheFlag)
{
    const struct {
        void (*set)(char);
        char letter, stored;
        int (*words)();
        int word;
    } rows[] = {
        {do_parity, 'E', 'E', parity_word, 12288},
        {do_parity, 'O', 'O', parity_word, 4096},
        {do_parity, 'x', 'N', parity_word, 0},
        {do_dbit, '7', '7', data_word, 1024},
        {do_dbit, '9', '8', data_word, 3072},
        {do_sbit, '2', '2', stop_word, 49152},
        {do_sbit, '5', '5', stop_word, 32768},
        {do_sbit, '3', '1', stop_word, 16384},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.letter);
        for (bool changes : {true, false}) { // the same again is no change
            set_changed = 0;
            r.set(r.letter);
            EXPECT_EQ(set_changed != 0, changes);
        }
        const auto &stored = r.set == do_parity ? cset.parityChar
                             : r.set == do_dbit ? cset.dataChar
                                                : cset.stopChar;
        EXPECT_EQ(stored, r.stored);
        EXPECT_EQ(r.words(), r.word);
    }
}

TEST_F(Menus, ConversionEchoAndFlow)
{
    struct row {
        char letter, stored;
        int item;
    };
    for (const row &r : {row{'M', 'M', 2}, row{'T', 'T', 4}, row{'B', 'B', 3},
                         row{'q', 'S', 1}}) {
        set_changed = 0;
        set_dconv(r.letter);
        EXPECT_EQ(op_xconv, r.stored);
        EXPECT_EQ(cset.dconvChar, r.stored);
        EXPECT_TRUE(set_changed) << r.letter;
        for (int i = 1; i <= 4; i++)
            EXPECT_EQ(checked(kMenuConvert, i), i == r.item) << r.letter;
    }
    set_xon(1);
    EXPECT_EQ(cset.flowFlags, 6);
    set_xon(24);
    EXPECT_EQ(cset.flowFlags, 24) << "the line doesn't hold CTS";
    set_changed = 0;
    set_echo(1);
    EXPECT_TRUE(set_changed);
    EXPECT_EQ(localEcho, 1);
    EXPECT_EQ(cset.echoFlag, 1);
}

TEST_F(Menus, TheConnectionsKeyWithShiftIsTheEchosSwitch)
{
    const size_t before = hl_messages().size();
    hl_type("e", cmdKey);
    run_ticks(150);
    EXPECT_EQ(localEcho, 0) << "that dialog isn't there";
    EXPECT_EQ(hl_messages().size(), before);
    for (int on : {1, 0}) {
        hl_type("E", cmdKey | shiftKey);
        run_ticks(150);
        EXPECT_EQ(localEcho, on);
        EXPECT_EQ(cset.echoFlag, on);
        EXPECT_TRUE(set_changed);
        EXPECT_NE(hl_messages().back().find(on ? "echo is on" : "echo is off"),
                  std::string::npos);
    }
}

TEST_F(Menus, TheSpeedMenuReadsSixteenBits)
{
    DoMenu(choice(kMenuSpeed, 5), 0, 1);
    EXPECT_EQ(Baudrate, 9600);
    EXPECT_EQ(cset.baudWord, 9600);
    DoMenu(choice(kMenuSpeed, 11), 0, 1);
    EXPECT_EQ(Baudrate, 2400) << "115200 comes out negative on this road";
    DoMenu(choice(kMenuSpeed, 99), 0, 1);
    EXPECT_EQ(Baudrate, 2400);
}

TEST_F(Menus, WithAModifierAProtocolIsOnlyMadeTheDefault)
{
    DoMenu(choice(kMenuReceive, 2), optionKey, 1);
    EXPECT_EQ(cset.rcvProto, 'X');
    EXPECT_EQ(dRcvItem, 3);
    DoMenu(choice(kMenuSend, 6), shiftKey, 1);
    EXPECT_EQ(cset.sendProto, 'Z');
    // The one menu that holds all three.
    DoMenu(choice(kMenuTransfer, 5), cmdKey, 1);
    EXPECT_EQ(cset.rcvProto, 'Z');
    DoMenu(choice(kMenuTransfer, 12), cmdKey, 1);
    EXPECT_EQ(cset.sendProto, 'Z');
    DoMenu(choice(kMenuTransfer, 15), 0, 1);
    EXPECT_EQ(cset.dconvChar, 'M');
    EXPECT_TRUE(hl_asked().empty()) << "no file was asked for";
}

// What the table says of each item, in the states that matter to any: the
// items that can be chosen, menu by menu.
TEST_F(Menus, DimmedIsWhatCantBeDoneNow)
{
    struct row {
        const char *state;
        std::function<void()> act;
        std::string file, edit, misc;
    };
    const std::string misc = " 1 2 3 4 6 7 8 9";
    const row rows[] = {
        {"nothing selected or copied", [] { hl_clip(nullptr); },
         " 1 2 5 6 7 8 9 14 17", " 9 10 12 14 15", misc + " 10"},
        {"text to paste", [] { hl_clip("text"); }, " 1 2 5 6 7 8 9 14 17",
         " 5 9 10 12 14 15", misc + " 10"},
        {"a selection", [] { SetSel(0, 0, 1, 0); },
         " 1 2 5 6 7 8 9 11 13 14 15 17", " 3 4 5 6 7 9 10 12 14 15",
         misc + " 10"},
        {"... and a file to append to", [] { gAppendOK = 1; },
         " 1 2 5 6 7 8 9 11 12 13 14 15 17", " 3 4 5 6 7 9 10 12 14 15",
         misc + " 10"},
        {"a text to find", [] { strcpy(find_str, "x"); },
         " 1 2 5 6 7 8 9 11 12 13 14 15 17", " 3 4 5 6 7 9 10 12 13 14 15",
         misc + " 10"},
        {"the type-ahead window in front",
         [] { DoMenu(choice(kMenuEdit, kItemEditTypeAhead), 0, 1); },
         " 1 2 3 5 6 7 8 9 14 17", " 3 4 5 6 9 10 12 14 15", misc},
        {"the find dialog in front",
         [] { DoMenu(choice(kMenuEdit, kItemEditFind), 0, 1); },
         " 1 2 3 5 6 7 8 9 14 17", " 3 4 5 6 9 10 12 13 14 15", misc},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.state);
        r.act();
        run_ticks(10);
        EXPECT_EQ(choosable(kMenuFile), r.file);
        EXPECT_EQ(choosable(kMenuEdit), r.edit);
        EXPECT_EQ(choosable(kMenuMisc), r.misc);
    }
    EXPECT_EQ(choosable(kMenuQuillon), " 1");
    EXPECT_EQ(choosable(kMenuDial), " 2 4 6");
    EXPECT_EQ(choosable(kMenuConvert), " 1 2 3 4");
    EXPECT_EQ(choosable(kMenuReceive), " 1 2 3 4 5");
    EXPECT_EQ(choosable(kMenuSend), " 1 2 3 4 5 6");
    DoMenu(choice(kMenuFile, kItemFileClose), 0, 1);
    EXPECT_FALSE(srch_dwin);
    SelectWindow(bufDwin);
    DoMenu(choice(kMenuFile, kItemFileClose), 0, 1);
    EXPECT_FALSE(bufDwin);
}

TEST_F(Menus, MiscItemsActOnTheTerminal)
{
    hl_line_say("line one\r\nline two");
    run_ticks(10);
    ASSERT_EQ(abslin, 1);
    DoMenu(choice(kMenuMisc, 1), 0, 1);
    EXPECT_EQ(abslin, 0);
    EXPECT_EQ(curcol, 0);
    EXPECT_GT(savlines, 0) << "the screen went to the store";

    for (int on : {0, 1}) {
        keypad_app = 1;
        DoMenu(choice(kMenuMisc, 8), 0, 1);
        EXPECT_EQ(interpret_control, on);
        EXPECT_EQ(checked(kMenuMisc, 8), !on);
        EXPECT_EQ(keypad_app, on) << "only turning them off resets modes";
        DoMenu(choice(kMenuEdit, 15), 0, 1);
        EXPECT_EQ(cset.bufFlags & 1, !on);
        EXPECT_EQ(checked(kMenuEdit, 15), on != 0);
    }
}

TEST_F(Menus, PasteGoesToTheQueueAndKeepsTheTitleMarkedWhileItRuns)
{
    cset.lineDelay = 30;
    hl_clip("one\ntwo\n");
    DoMenu(choice(kMenuEdit, 5), 0, 1);
    EXPECT_TRUE(asBusy());
    run_ticks(120);
    EXPECT_EQ(hl_line_heard(), "one\rtwo\r");

    // Pasted behind a piece that is on its way, the title stays marked until
    // the queue is empty.
    hl_clip("behind");
    memcpy(sendBuf, "first", 5);
    sendPtr = sendBuf;
    sendCount = 5;
    DoMenu(choice(kMenuEdit, 5), 0, 1);
    EXPECT_EQ(hl_menu_hilited(), kMenuEdit);
    run_ticks(60);
    EXPECT_EQ(hl_line_heard(), "firstbehind");
    EXPECT_EQ(hl_menu_hilited(), 0);

    // Nothing, or nothing much, on the clipboard.
    hl_clip(nullptr);
    doPaste();
    hl_clip("");
    doPaste();
    EXPECT_FALSE(asBusy());
    hl_clip("middle", true);
    doPastePrimary();
    run_ticks(60);
    EXPECT_EQ(hl_line_heard(), "middle");
}

TEST_F(Menus, TheTerminalsOwnFontComesFirst)
{
    Str255 text;

    GetMenuItemText(pfontMenu, 1, text);
    EXPECT_EQ(std::string(text + 1, text + 1 + text[0]), "Same as Terminal");
    EXPECT_GT(CountMenuItems(pfontMenu), 1);
}

TEST_F(Menus, AppendAsksWhereButForItsKeyWithShift)
{
    FSSpec last = book_spec();

    CopyCStringToPascal("last", last.name);
    SetAppendName(&last, 1);
    for (int16_t what : {mouseDown, keyDown}) {
        const size_t asked = hl_asked().size();
        SetSel(0, 0, 0, 1);
        hl_ask_answer(false);
        DoMenu(choice(kMenuFile, 11), shiftKey, what);
        EXPECT_EQ(hl_asked().size(), asked + (what == mouseDown));
    }
}

TEST_F(Menus, CopyPutsTextOnTheClipboard)
{
    EXPECT_EQ(doCopy("abc", 3), noErr);
    EXPECT_STREQ(hl_clip_text(), "abc");
}

TEST_F(Menus, QuitAsksByKeyAloneAndNeverLosesAChange)
{
    qset.globFlags |= kGlobAskQuit;
    size_t before = hl_messages().size();
    hl_answer(2);
    DoMenu(choice(kMenuFile, 17), cmdKey, 3);
    EXPECT_TRUE(moreToDo);
    EXPECT_EQ(hl_messages().size(), before + 1);
    do_parity('E');
    hl_ask_answer(false);
    DoMenu(choice(kMenuFile, 17), 0, 1);
    EXPECT_TRUE(moreToDo) << "the question about the change was cancelled";
    EXPECT_EQ(hl_messages().size(), before + 1) << "no question by the menu";
    hl_ask_answer(true, {}, 2);
    DoMenu(choice(kMenuFile, 17), 0, 1);
    EXPECT_FALSE(moreToDo);
}

TEST_F(Menus, EveryItemCanBeChosenWithoutHarm)
{
    // With nobody to answer, each question is called off.
    const int menus[] = {kMenuFile,     kMenuEdit,   kMenuDial,
                         kMenuSettings, kMenuMacros, kMenuMisc,
                         kMenuReceive,  kMenuSend,   kMenuConvert,
                         kMenuQuillon,  9999,        -1};
    hl_line_peer([](const uint8_t *, size_t) {});
    for (int menu : menus) {
        for (int item : {-1, 0, 99, 32767}) {
            if (menu == kMenuMacros && item == 99)
                continue; // a macro beyond the set, which reads as empty
            DoMenu(choice(menu, item & 0xFFFF), 0, 1);
        }
    }
    EXPECT_TRUE(moreToDo);
}
