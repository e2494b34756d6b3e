// What the menus do, when they are dimmed, and the setters behind them.
#include "shell/QuillonMenus.h"

#include <gtest/gtest.h>

#include <cstring>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"
#include "tests/support/running.h"
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

bool checked(int menu, int item)
{
    return hl_menu(menu)->items.at(size_t(item - 1)).checked;
}

} // namespace

TEST_F(Menus, SettersStoreTheLetterTheWordAndTheFlag)
{
    struct row {
        void (*set)(char);
        char letter, stored;
        const char *field;
        int word;
    };
    const row rows[] = {
        {do_parity, 'E', 'E', "parity", 12288},
        {do_parity, 'O', 'O', "parity", 4096},
        {do_parity, 'x', 'N', "parity", 0},
        {do_dbit, '7', '7', "data", 1024},
        {do_dbit, '9', '8', "data", 3072},
        {do_sbit, '2', '2', "stop", 49152},
        {do_sbit, '5', '5', "stop", 32768},
        {do_sbit, '3', '1', "stop", 16384},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.field << " " << r.letter);
        set_changed = 0;
        r.set(r.letter);
        EXPECT_TRUE(set_changed);
        set_changed = 0;
        r.set(r.letter);
        EXPECT_FALSE(set_changed) << "the same again is no change";
        std::string field = r.field;
        EXPECT_EQ(field == "parity" ? cset.parityChar
                  : field == "data" ? cset.dataChar
                                    : cset.stopChar,
                  r.stored);
        EXPECT_EQ(field == "parity" ? int(parity)
                  : field == "data" ? int(data)
                                    : int(stopBits),
                  r.word);
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
    size_t before = hl_messages().size();
    hl_type("e", cmdKey);
    run_ticks(150);
    EXPECT_EQ(localEcho, 0) << "that dialog isn't there";
    EXPECT_EQ(hl_messages().size(), before);
    hl_type("E", cmdKey | shiftKey);
    run_ticks(150);
    EXPECT_EQ(localEcho, 1);
    EXPECT_EQ(cset.echoFlag, 1);
    EXPECT_TRUE(set_changed);
    EXPECT_NE(hl_messages().back().find("echo is on"), std::string::npos);
    EXPECT_FALSE(enabled(kMenuSettings, 1));
    hl_type("E", cmdKey | shiftKey);
    run_ticks(150);
    EXPECT_EQ(localEcho, 0);
    EXPECT_NE(hl_messages().back().find("echo is off"), std::string::npos);
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

TEST_F(Menus, DimmedIsWhatCantBeDoneNow)
{
    hl_clip(nullptr);
    EXPECT_FALSE(enabled(kMenuEdit, 1));
    EXPECT_FALSE(enabled(kMenuEdit, 4)) << "nothing selected";
    EXPECT_FALSE(enabled(kMenuEdit, 5)) << "nothing to paste";
    EXPECT_FALSE(enabled(kMenuEdit, 7));
    EXPECT_FALSE(enabled(kMenuFile, 3));
    EXPECT_TRUE(enabled(kMenuMisc, 10));
    hl_clip("text");
    EXPECT_TRUE(enabled(kMenuEdit, 5));
    SetSel(0, 0, 1, 0);
    EXPECT_TRUE(enabled(kMenuEdit, 3));
    EXPECT_TRUE(enabled(kMenuEdit, 4));
    EXPECT_TRUE(enabled(kMenuEdit, 7));

    DoMenu(choice(kMenuEdit, 10), 0, 1);
    run_ticks(10);
    ASSERT_TRUE(bufDwin);
    EXPECT_TRUE(enabled(kMenuFile, 3));
    EXPECT_TRUE(enabled(kMenuEdit, 4)) << "a field copies";
    EXPECT_FALSE(enabled(kMenuEdit, 7));
    EXPECT_FALSE(enabled(kMenuMisc, 10));
    DoMenu(choice(kMenuFile, 3), 0, 1);
    EXPECT_FALSE(bufDwin);
    SetSel(-1, 0, -1, 0);
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

    keypad_app = 1;
    DoMenu(choice(kMenuMisc, 8), 0, 1);
    EXPECT_FALSE(interpret_control);
    EXPECT_TRUE(checked(kMenuMisc, 8));
    EXPECT_FALSE(keypad_app);
    keypad_app = 1;
    DoMenu(choice(kMenuMisc, 8), 0, 1);
    EXPECT_TRUE(interpret_control);
    EXPECT_FALSE(checked(kMenuMisc, 8));
    EXPECT_TRUE(keypad_app) << "only turning them off resets modes";

    DoMenu(choice(kMenuEdit, 15), 0, 1);
    EXPECT_EQ(cset.bufFlags & 1, 1);
    EXPECT_FALSE(checked(kMenuEdit, 15));
    DoMenu(choice(kMenuEdit, 15), 0, 1);
    EXPECT_TRUE(checked(kMenuEdit, 15));
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
