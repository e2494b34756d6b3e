// Settings dialogs, through the menu and the user's hands: what each field
// shows and stores, and that nothing else changes.
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"

#include <gtest/gtest.h>

#include "base/Program.h"
#include "base/facts.h"
#include "connect/DialDir.h"
#include "connect/PhoneBook.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/printing.h"
#include "platform/resources.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"
#include "tests/support/running.h"

namespace {

// Opens the dialog of a Settings item, lets `act` have it, and hits `answer`.
void in_dialog(int settingsItem, const std::function<void(WindowPtr)> &act,
               int answer)
{
    bool seen = false;
    hl_modal([&](WindowPtr w) {
        seen = true;
        act(w);
        hl_hit(w, answer);
    });
    EXPECT_TRUE(hl_choose(kMenuSettings, settingsItem));
    run_ticks(10);
    EXPECT_TRUE(seen) << "the dialog didn't come up";
}

std::string bytes_of_list(Handle list)
{
    return list ? std::string(reinterpret_cast<char *>(*list),
                              size_t(GetHandleSize(list)))
                : "";
}

std::string all_settings()
{
    return std::string(reinterpret_cast<char *>(&cset), sizeof cset) +
           std::string(reinterpret_cast<char *>(&qset), sizeof qset) +
           bytes_of_list(gLocalStrings) + bytes_of_list(gGlobStrings);
}

// ---- one row a field -------------------------------------------------------
// The record before, what the item then shows, the user's act, and the value
// that OK leaves.

struct Row {
    const char *what;
    int settingsItem, item;
    std::function<void()> before;
    std::string shows;
    std::function<void(WindowPtr, int)> act;
    std::function<std::string()> value;
    std::string after;
};

auto typed(const char *text)
{
    return [text](WindowPtr w, int item) { hl_edit(w, item, text); };
}

auto picked(int value)
{
    return [value](WindowPtr w, int item) { hl_pick(w, item, value); };
}

auto code(const four_t &field)
{
    return [&field] { return std::string(field.letters, field.letters + 4); };
}

void hit(WindowPtr w, int item)
{
    hl_hit(w, item);
}

std::function<std::string()> number(const auto &field)
{
    return [&field] { return std::to_string(int(field)); };
}

std::string shown(WindowPtr w, int item)
{
    const HlItem *i = hl_item(w, item);
    if (!i)
        return "no such item";
    return i->kind == BE_EDIT ? i->text : std::to_string(i->value);
}

void run(const std::vector<Row> &rows)
{
    for (const Row &r : rows) {
        SCOPED_TRACE(r.what);
        r.before();
        in_dialog(
            r.settingsItem,
            [&](WindowPtr w) {
                EXPECT_EQ(shown(w, r.item), r.shows);
                r.act(w, r.item);
            },
            kItemOK);
        EXPECT_EQ(r.value(), r.after);
    }
}

} // namespace

using Dialogs = Running;

TEST_F(Dialogs, Pacing)
{
    const int menu = kItemSettingsPacing;
    run({
        {"echo", menu, kItemPacingEcho, [] { cset.paceFlags = 6; }, "0", hit,
         number(cset.paceFlags), "7"},
        {"a character's delay is clamped", menu, kItemPacingCharDelay,
         [] { cset.charDelay = 3; }, "3", typed("100"), number(cset.charDelay),
         "60"},
        {"a number that wraps in 32 bits", menu, kItemPacingCharDelay,
         [] { cset.charDelay = 3; }, "3", typed("4294967297"),
         number(cset.charDelay), "60"},
        {"a line's delay", menu, kItemPacingLineDelay,
         [] { cset.lineDelay = 500; }, "500", typed("2000"),
         number(cset.lineDelay), "1000"},
        {"no less than none", menu, kItemPacingLineDelay,
         [] { cset.lineDelay = 500; }, "500", typed("-1"),
         number(cset.lineDelay), "0"},
        {"the prompt", menu, kItemPacingPrompt, [] { cset.promptChar = 17; },
         "^Q", typed(">"), number(cset.promptChar), "62"},
        {"a control character", menu, kItemPacingPrompt,
         [] { cset.promptChar = 0; }, "", typed("^A"), number(cset.promptChar),
         "1"},
        {"no prompt", menu, kItemPacingPrompt, [] { cset.promptChar = '$'; },
         "$", typed(""), number(cset.promptChar), "0"},
    });
    EXPECT_EQ(set_changed, 1);
}

TEST_F(Dialogs, Terminal)
{
    const int menu = kItemSettingsTerminal;
    auto flags = number(cset.termFlags);
    run({
        {"type", menu, kItemTermType, [] { cset.termType = 0; }, "1", picked(2),
         number(cset.termType), "1"},
        {"delete", menu, kItemTermDelete, [] { cset.bsKey = 8; }, "0", hit,
         number(cset.bsKey), "127"},
        {"backspace", menu, kItemTermBackspace, [] { cset.bsKey = 127; }, "0",
         hit, number(cset.bsKey), "8"},
        {"eighth bit", menu, kItemTermStrip, [] { cset.termFlags = 0xF0; }, "0",
         hit, flags, "241"},
        {"line feed: the bit is off", menu, kItemTermAutoLF,
         [] { cset.termFlags = 2; }, "0", hit, flags, "0"},
        {"keys: the bit is off", menu, kItemTermKeysToHost,
         [] { cset.termFlags = 0; }, "1", hit, flags, "4"},
        {"backspace erases", menu, kItemTermErases,
         [] { cset.termFlags = 0x28; }, "0", hit, flags, "56"},
        {"font", menu, kItemTermFont, [] {}, "1", picked(2),
         [] { return local(kStrFont) == "" ? "none" : "one"; }, "one"},
        {"no font", menu, kItemTermFont, [] {}, "2", picked(1),
         [] { return local(kStrFont); }, ""},
    });
    Str255 same;
    GetMenuItemText(GetMenu(kMenuPrintFont), kItemPrintFontSame, same);
    EXPECT_EQ(S(same), "Same as Terminal");
}

// An entry that isn't in use changes in the book's record alone.
TEST_F(Dialogs, TerminalOfAnotherEntry)
{
    Handle other = ddHdls[0];
    const cset_t before = cset;
    hl_modal([](WindowPtr w) {
        hl_pick(w, kItemTermType, 2);
        hl_hit(w, kItemOK);
    });
    term_set(other, false);
    EXPECT_EQ((*other)[offsetof(cset_t, termType)], 1);
    EXPECT_TRUE(memcmp(&before, &cset, sizeof cset) == 0);
}

TEST_F(Dialogs, WindowAndKeyboard)
{
    const int menu = kItemSettingsWindow;
    auto flags = number(qset.globFlags);
    run({
        {"block", menu, kItemPrefsBlock, [] { qset.globFlags = 1; }, "0", hit,
         flags, "65"},
        {"... at once", menu, kItemPrefsUnderline, [] {}, "0", hit,
         number(useBlockCursor), "0"},
        {"blinking: the bit is off", menu, kItemPrefsBlinks,
         [] { qset.globFlags = 0; }, "1", hit, number(blink), "0"},
        {"capture", menu, kItemPrefsCapture, [] { qset.globFlags = 2; }, "0",
         hit, flags, "3"},
        {"bell", menu, kItemPrefsNoBell, [] { qset.globFlags = 0; }, "0", hit,
         flags, "4"},
        {"hiding", menu, kItemPrefsHide, [] { qset.bgFlags = 2; }, "0", hit,
         number(qset.bgFlags), "3"},
        {"a byte is clamped", menu, kItemPrefsBreakShort,
         [] { qset.breakShort = 15; }, "15", typed("256"),
         number(qset.breakShort), "255"},
        {"the long one", menu, kItemPrefsBreakLong,
         [] { qset.breakLong = 200; }, "200", typed("9"),
         number(qset.breakLong), "9"},
        {"command key", menu, kItemPrefsCommand, [] { qset.keyFlags = 0xF5; },
         "2", picked(4), number(qset.keyFlags), "247"},
    });
    SetSel(0, 0, 1, 0);
    run({{"font size, at once", menu, kItemPrefsFontSize,
          [] { qset.termFontSize = 14; }, "14", typed("9"), number(curFSize),
          "9"}});
    EXPECT_EQ(stSel, -1);
}

// Out of range it is refused: a beep, and the dialog goes on.
TEST_F(Dialogs, AFontSizeOutOfRangeIsRefused)
{
    for (const char *size : {"4", "49", "", "99999999999"}) {
        const int beeps = hl_beeps();
        hl_modal([&](WindowPtr w) {
            hl_edit(w, kItemPrefsFontSize, size);
            hl_hit(w, kItemOK);
            hl_after(30, [w] {
                EXPECT_EQ(hl_window(w)->focus, kItemPrefsFontSize);
                hl_hit(w, kItemCancel);
            });
        });
        const int before = qset.termFontSize;
        EXPECT_TRUE(hl_choose(kMenuSettings, kItemSettingsWindow));
        run_ticks(60);
        EXPECT_EQ(hl_beeps(), beeps + 1) << size;
        EXPECT_EQ(qset.termFontSize, before) << size;
    }
}

TEST_F(Dialogs, General)
{
    const int menu = kItemSettingsGeneral;
    auto flags = number(qset.globFlags);
    run({
        {"quit", menu, kItemGeneralAskQuit, [] { qset.globFlags = 0; }, "0",
         hit, flags, "8"},
        {"clear", menu, kItemGeneralAskClear, [] { qset.globFlags = 0; }, "0",
         hit, flags, "16"},
        {"hang up", menu, kItemGeneralAskHangUp, [] { qset.globFlags = 0; },
         "0", hit, flags, "32"},
        {"log: the bit is off", menu, kItemGeneralLog,
         [] { qset.globFlags = 0; }, "1", hit, flags, "2"},
        {"a short code is padded", menu, kItemGeneralTextCreator, [] {}, "ttxt",
         typed("ab"), code(qset.textCreator), "ab  "},
        {"the pop-up starts on the last row", menu, kItemGeneralCreators, [] {},
         "4", picked(2), code(qset.textCreator), "MSWD"},
        {"... and is known at once", menu, kItemGeneralCreators, [] {}, "2",
         picked(1), [] { return textcreator == FOUR("ttxt") ? "yes" : "no"; },
         "yes"},
        {"creator", menu, kItemGeneralBinCreator, [] {}, "????", typed("abcd"),
         code(qset.binCreator), "abcd"},
        {"type", menu, kItemGeneralBinType, [] {}, "????", typed("abcd"),
         code(qset.binType), "abcd"},
    });
}

TEST_F(Dialogs, PortAndModem)
{
    const int menu = kItemSettingsModem;
    auto string = [](int16_t index) { return [=] { return glob(index); }; };
    run({
        {"pulse", menu, kItemModemPulse, [] { qset.dialType = 'T'; }, "0", hit,
         number(qset.dialType), "80"},
        {"tone", menu, kItemModemTone, [] {}, "0", hit, number(qset.dialType),
         "84"},
        {"DTR", menu, kItemModemDTR, [] { qset.modemFlags = 6; }, "0", hit,
         number(qset.modemFlags), "7"},
        {"too short", menu, kItemModemTimeout, [] { qset.dialTimeout = 60; },
         "60", typed("10"), number(qset.dialTimeout), "15"},
        {"too long", menu, kItemModemTimeout, [] {}, "15", typed("1000"),
         number(qset.dialTimeout), "255"},
        {"control characters", menu, kItemModemInit,
         [] { SetGlob(kGlobModemInit, PSTR("A\r^")); }, "A^M^^",
         typed("^AT^^^M^"), string(kGlobModemInit), "\x01T^\r^"},
        {"at the end", menu, kItemModemDeInit, [] {}, "", typed("x"),
         string(kGlobModemDeInit), "x"},
        {"prefix 1", menu, kItemModemSub1,
         [] { SetGlob(kGlobDialSub1, PSTR("1")); }, "1", typed("a"),
         string(kGlobDialSub1), "a"},
        {"prefix 2", menu, kItemModemSub2,
         [] { SetGlob(kGlobDialSub1 + 1, PSTR("2")); }, "2", typed("b"),
         string(kGlobDialSub1 + 1), "b"},
        {"prefix 3", menu, kItemModemSub3,
         [] { SetGlob(kGlobDialSub1 + 2, PSTR("3")); }, "3", typed("c"),
         string(kGlobDialSub1 + 2), "c"},
    });
}

// The one before comes back under its name, and works.
TEST_F(Dialogs, APortThatCantBeOpenedLeavesTheOneBefore)
{
    const std::string before = glob(kGlobPort);
    hl_modal([](WindowPtr w) {
        MenuHandle menu = GetMenu(kMenuPort);
        AppendMenu(menu, PSTR("/dev/nothing"));
        hl_pick(w, kItemModemPort, CountMenuItems(menu));
        hl_hit(w, kItemOK);
    });
    hl_answer(1);
    EXPECT_TRUE(hl_choose(kMenuSettings, kItemSettingsModem));
    run_ticks(10);
    EXPECT_TRUE(told("stays in use")) << all_messages();
    EXPECT_EQ(glob(kGlobPort), before);
    EXPECT_GT(sIn, 0);
}

TEST_F(Dialogs, Colors)
{
    const int menu = kItemSettingsColors;
    auto asked = [](uint32_t color) {
        return [=](WindowPtr w, int item) {
            hl_ask_answer(true, {}, color);
            hl_hit(w, item);
            hl_after(30, [w] { hl_hit(w, kItemOK); });
        };
    };
    for (int i = 0; i < 18; i++) {
        SCOPED_TRACE(i);
        hl_modal(
            [&](WindowPtr w) { asked(0x102030)(w, kItemColorsFirst + i); });
        qsetChanged = 0;
        EXPECT_TRUE(hl_choose(kMenuSettings, menu));
        run_ticks(60);
        EXPECT_EQ(qset.rgbTable[i].red, 0x1010);
        EXPECT_EQ(qset.rgbTable[i].green, 0x2020);
        EXPECT_EQ(qset.rgbTable[i].blue, 0x3030);
        EXPECT_EQ(qsetChanged, i < 2) << "the others wait for a save";
    }
    EXPECT_EQ(curFGrgb.red, 0x1010) << "the first is in use at once";
    // By the keyboard: the pop-up and its button.
    hl_modal([&](WindowPtr w) {
        hl_pick(w, kItemColorsWhich, 3);
        asked(0x405060)(w, kItemColorsChange);
    });
    EXPECT_TRUE(hl_choose(kMenuSettings, menu));
    run_ticks(60);
    EXPECT_EQ(qset.rgbTable[2].red, 0x4040);
    run({{"any value but 0 is on", menu, kItemColorsUse,
          [] { qset.useColor = 2; }, "1", hit, number(qset.useColor), "0"}});
}

TEST_F(Dialogs, EightColors)
{
    gColorQD = 0;
    const int menu = kItemSettingsColors;
    auto maps = [] {
        return std::string{char(qset.fgMap[0]), char(qset.fgMap[7]),
                           char(qset.bgMap[0]), char(qset.bgMap[7])};
    };
    run({
        {"text", menu, kItemColors8Text, [] { qset.fgColor = '7'; }, "8",
         picked(3), number(qset.fgColor), "50"},
        {"background", menu, kItemColors8Back, [] { qset.bgColor = '0'; }, "1",
         picked(5), number(qset.bgColor), "52"},
        {"use", menu, kItemColors8Use, [] { qset.useColor = 0; }, "0", hit,
         number(qset.useColor), "1"},
        {"swapped", menu, kItemColors8Swap, [] {}, "0", hit, maps, "7070"},
        {"as usual", menu, kItemColors8Swap, [] {}, "1", hit, maps, "0707"},
        {"neither stays", menu, kItemColors8Use, [] { qset.fgMap[0] = '3'; },
         "1", hit, maps, "3707"},
    });
}

TEST_F(Dialogs, LengthsAreShownInTheUsersMeasure)
{
    const struct {
        const char *text;
        bool metric;
        int32_t value;
        const char *shows;
    } rows[] = {
        {"1", false, 1152, "1"},
        {"0.75", false, 864, "0.7"},
        {"25.4", true, 1152, "25.4"},
        {"", false, 0, "0"},
        {"99999999999", false, 37748735, "32767.9"},
    };
    DialogPtr d = GetNewDialog(kDlgModem);
    for (auto &r : rows) {
        Str255 text;
        CopyCStringToPascal(r.text, text);
        SetDialogItemText(d, kItemModemInit, text);
        const int32_t value = GetPts(d, kItemModemInit, r.metric);
        EXPECT_NEAR(value, r.value, 1) << r.text;
        SetPts(d, kItemModemInit, r.value, r.metric);
        EXPECT_EQ(shown(d, kItemModemInit), r.shows) << r.text;
    }
    DisposeDialog(d);
}

// Whatever the records hold, also what no field can show: OK without an edit
// stores nothing, and Cancel nothing after any edit.
TEST_F(Dialogs, WhatIsNotEditedStays)
{
    const int items[] = {
        kItemSettingsTerminal, kItemSettingsPacing,  kItemSettingsTransfer,
        kItemSettingsZmodem,   kItemSettingsGeneral, kItemSettingsWindow,
        kItemSettingsPrinting, kItemSettingsModem,   kItemSettingsColors};
    uint32_t seed = 1;
    auto random = [&] { return seed = seed * 1664525 + 1013904223; };
    auto noise = [&](void *at, size_t size) {
        for (size_t i = 0; i < size; i++)
            static_cast<uint8_t *>(at)[i] = uint8_t(random() >> 24);
    };
    for (int i = 0; i < 200; i++) {
        Str255 text;
        SCOPED_TRACE(i);
        noise(&cset, sizeof cset);
        const int8_t size = qset.termFontSize;
        noise(&qset, sizeof qset);
        qset.termFontSize = size;
        for (int16_t n = 1; n <= kGlobCount; n++) {
            noise(text, sizeof text);
            SetStrInList(n & 1 ? gGlobStrings : gLocalStrings, n, text);
        }
        for (int item : items) {
            const std::string before = all_settings();
            const bool cancel = random() >> 31;
            in_dialog(
                item,
                [&](WindowPtr w) {
                    for (auto &[number, it] : hl_window(w)->items) {
                        if (!cancel || !it.visible || !it.enabled)
                            continue;
                        if (it.kind == BE_EDIT)
                            hl_edit(w, number, "7");
                        else if (it.kind == BE_CHECKBOX || it.kind == BE_RADIO)
                            hl_hit(w, number);
                        else if (it.kind == BE_POPUP)
                            hl_pick(w, number, 2);
                    }
                },
                cancel ? kItemCancel : kItemOK);
            EXPECT_TRUE(all_settings() == before) << "Settings item " << item;
        }
    }
}

TEST_F(Dialogs, AQuitCancels)
{
    const std::string before = all_settings();
    hl_modal([](WindowPtr w) {
        hl_edit(w, kItemPacingCharDelay, "7");
        hl_quit();
    });
    EXPECT_TRUE(hl_choose(kMenuSettings, kItemSettingsPacing));
    run_ticks(60);
    EXPECT_TRUE(all_settings() == before);
    EXPECT_EQ(moreToDo, 0);
}

// ---- transfers and paper ---------------------------------------------------

namespace {

std::function<std::string()> letter(const char &field)
{
    return [&field] { return std::string(1, field); };
}

} // namespace

TEST_F(Dialogs, Transfers)
{
    const int menu = kItemSettingsTransfer;
    run({
        {"send", menu, kItemTransfersSend, [] { cset.sendProto = 'k'; }, "1",
         picked(3), letter(cset.sendProto), "X"},
        {"receive", menu, kItemTransfersReceive, [] { cset.rcvProto = 'Z'; },
         "5", picked(4), letter(cset.rcvProto), "G"},
        {"names", menu, kItemTransfersNames, [] { cset.hostNames = 3; }, "4",
         picked(2), number(cset.hostNames), "1"},
        {"1K blocks", menu, kItemTransfersXmodem,
         [] { cset.xferFlags = kXferChecksum | 0xF8; }, "3", picked(2),
         number(cset.xferFlags), "250"},
        {"plain blocks", menu, kItemTransfersXmodem,
         [] { cset.xferFlags = kXfer1K; }, "2", picked(1),
         number(cset.xferFlags), "0"},
        {"check", menu, kItemTransfersCheck, [] { cset.kermCheck = 1; }, "1",
         picked(3), number(cset.kermCheck), "3"},
        {"a length too short", menu, kItemTransfersLength,
         [] { cset.kermLen = 31; }, "94", typed("20"), number(cset.kermLen),
         "20"},
        {"a length too long", menu, kItemTransfersLength,
         [] { cset.kermLen = 9025; }, "9024", typed("65537"),
         number(cset.kermLen), "65535"},
    });
    EXPECT_EQ(set_changed, 1);
    run_ticks(2);
    const auto &items = hl_menu(kMenuFile)->items;
    EXPECT_EQ(items[kItemFileReceive - 1].text, "Receive YMODEM-G");
    EXPECT_EQ(items[kItemFileSend - 1].text, "Send XMODEM-1K…");
}

TEST_F(Dialogs, Zmodem)
{
    const int menu = kItemSettingsZmodem;
    auto start = [] { return local(kStrZStart); };
    auto window = number(cset.zWindow);
    auto uses = [](int button) {
        return [button](WindowPtr w, int) { hl_hit(w, button); };
    };
    run({
        {"start", menu, kItemZmodemStart, [] {}, "rz^M", typed("rz -y^m"),
         start, "rz -y\r"},
        {"uz", menu, kItemZmodemStart, [] {}, "rz -y^M", uses(kItemZmodemUseUz),
         start, "uz\r"},
        {"rz", menu, kItemZmodemStart, [] {}, "uz^M", uses(kItemZmodemUseRz),
         start, "rz\r"},
        {"an old letter", menu, kItemZmodemBlock1024,
         [] { cset.zBlockChar = 'K'; }, "1", [](WindowPtr, int) {},
         letter(cset.zBlockChar), "K"},
        {"block", menu, kItemZmodemBlock256, [] { cset.zBlockChar = 'A'; }, "0",
         hit, letter(cset.zBlockChar), "2"},
        {"escape", menu, kItemZmodemEscape, [] { cset.zFlags = 6; }, "0", hit,
         number(cset.zFlags), "7"},
        {"window", menu, kItemZmodemWindow, [] { cset.zWindow = 0; }, "0",
         typed("300"), window, "256"},
        {"a window too small", menu, kItemZmodemWindow,
         [] { cset.zWindow = 0; }, "0", typed("1"), window, "256"},
        {"a window too large", menu, kItemZmodemWindow,
         [] { cset.zWindow = 512; }, "512", typed("16385"), window, "16384"},
        {"a window below none", menu, kItemZmodemWindow,
         [] { cset.zWindow = 512; }, "512", typed("-5"), window, "0"},
        {"an odd window stays", menu, kItemZmodemWindow,
         [] { cset.zWindow = 300; }, "300", typed("300"), window, "300"},
    });
    EXPECT_EQ(set_changed, 1);
}

TEST_F(Dialogs, Printing)
{
    const int menu = kItemSettingsPrinting;
    auto font = [] { return glob(kGlobPrintFont); };
    auto top = number(qset.pageMargins.top);
    const bool metric = IsMetric();
    run({
        {"font", menu, kItemPrintingFont,
         [] { SetGlob(kGlobPrintFont, PSTR("")); }, "1", picked(2), font,
         hl_menu(kMenuPrintFont)->items[1].text},
        {"same as terminal", menu, kItemPrintingFont, [] {}, "2", picked(1),
         font, ""},
        {"size", menu, kItemPrintingSize, [] { qset.printFontSize = 10; }, "10",
         typed("3"), number(qset.printFontSize), "4"},
        {"a size too large", menu, kItemPrintingSize, [] {}, "4", typed("300"),
         number(qset.printFontSize), "72"},
        {"header", menu, kItemPrintingHeader, [] { qset.printHeaderOff = 2; },
         "0", hit, number(qset.printHeaderOff), "0"},
        {"an inch", menu, kItemPrintingTop, [] { qset.pageMargins.top = 1152; },
         metric ? "25.4" : "1", typed("0.5"), top, metric ? "22" : "576"},
        {"a margin too large", menu, kItemPrintingRight,
         [] { qset.pageMargins.right = 0; }, "0", typed("99999"),
         number(qset.pageMargins.right), "32767"},
    });
    EXPECT_EQ(qsetChanged, 1);
}
