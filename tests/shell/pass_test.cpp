// One pass of the main loop: what each mode lets through, which keys go where,
// when events are asked for.
#include "shell/Quillon.h"

#include <gtest/gtest.h>

#include "automation/Script.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "resources/names.h"
#include "serial/ModemIO.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"
#include "tests/support/terminalwindow.h"
#include "transfer/xmodem.h"

namespace {

class Pass : public Running {};

// A pass without waiting for anything but what is queued.
void pass(char mode, uint16_t mask = kAllEvents)
{
    MainEventLoop(mask, mode);
}

void passes(char mode, int count = 5, uint16_t mask = kAllEvents)
{
    for (int i = 0; i < count; i++)
        pass(mode, mask);
}

} // namespace

TEST_F(Pass, AKeyReachesTheLineInTheNextPass)
{
    hl_type("x");
    pass(kModeMain);
    EXPECT_EQ(hl_line_heard(), "");
    EXPECT_TRUE(asBusy());
    passes(kModeMain);
    EXPECT_EQ(hl_line_heard(), "x");
}

TEST_F(Pass, InModeSTheUserIsMaskedOutAndTheRestServed)
{
    hl_type("x");
    hl_press(myWindow, 50, 50);
    hl_release();
    passes(kModeSmall, 5, kNoUserEvents);
    EXPECT_FALSE(asBusy());
    EventRecord event;
    EXPECT_TRUE(EventAvail(kUserEvents, &event)) << "they are still there";
    EXPECT_EQ(event.what, keyDown);
    hl_app_active(false);
    passes(kModeSmall, 5, kNoUserEvents);
    EXPECT_TRUE(Suspended);
    // Only the application menu's later items would be served in a menu.
    hl_app_active(true);
    passes(kModeSmall);
    EXPECT_TRUE(hl_choose(kMenuMisc, 8));
    passes(kModeSmall);
    EXPECT_TRUE(interpret_control) << "a command started in mode S";
    EXPECT_EQ(hl_menu_hilited(), 0);
}

TEST_F(Pass, InModeDKeysAreForTheDialerTheDialogOrTheModem)
{
    struct row {
        const char *key;
        uint8_t character; // 0: typed as text
        uint16_t modifiers;
        int16_t item;
        std::string sent;
    };
    const row rows[] = {
        {"\x1b", 0, 0, 1, ""},     {".", 0, cmdKey, 1, ""},
        {".", 0, 0, -1, "."},      {"\r", 0, 0, 2, ""},
        {"D", 0, 0, 0x44, ""},     {"d", 0, 0, 0x44, ""},
        {"5", 0, 0, -1, ""},       {"", 0x1C, 0, -1, ""},
        {"", 0x1F, 0, -1, ""},     {"", 8, 0, -1, ""},
        {"a", 0, 0, -1, "a"},      {"A", 0, 0, -1, "A"},
        {"q", 0, cmdKey, -1, "q"},
    };
    DialogPtr front = GetNewDialog(350); // some dialog stands in front
    ASSERT_TRUE(front);
    ShowWindow(front);
    passes(kModeMain);
    for (const row &r : rows) {
        SCOPED_TRACE(testing::Message()
                     << "key " << r.key << " " << int(r.character));
        dialDItem = -1;
        hl_line_heard();
        if (r.character)
            hl_key(r.character, 0x7B, r.modifiers);
        else
            hl_type(r.key, r.modifiers);
        pass(kModeDial);
        EXPECT_EQ(dialDItem, r.item);
        hl_advance_ticks(2);
        EXPECT_EQ(hl_line_heard(), r.sent);
        EXPECT_FALSE(asBusy()) << "nothing is queued as typed text";
        stop_send();
    }
}

TEST_F(Pass, InModeDAHitInADialogGoesToTheDialer)
{
    DialogPtr dialog = GetNewDialog(350);
    ShowWindow(dialog);
    passes(kModeMain);
    dialDItem = -1;
    hl_hit(dialog, 1);
    passes(kModeDial);
    EXPECT_EQ(dialDItem, 1);
    // Menus other than the application's are let go.
    EXPECT_TRUE(hl_choose(kMenuMisc, 8));
    passes(kModeDial);
    EXPECT_TRUE(interpret_control);
}

TEST_F(Pass, EventsArePutOffOnlyBehindMoreThan200Bytes)
{
    struct row {
        int32_t waiting;
        bool typed; // the key is taken in the second pass
    };
    for (const row &r : {row{200, true}, row{201, false}}) {
        gStillinBuf = 0;
        ModemActive = 1; // a busy line: no wait for events
        gLastModemRead = 400;
        passes(kModeMain, 3); // ends with a pass that had no event
        gStillinBuf = r.waiting;
        hl_type("k");
        pass(kModeMain);
        EXPECT_EQ(asBusy() != 0, r.typed) << r.waiting;
        hl_advance_ticks(3);
        pass(kModeMain);
        EXPECT_TRUE(asBusy() || sendCount || awWait) << r.waiting;
        gStillinBuf = 0;
        passes(kModeMain);
        stop_send();
    }
}

TEST_F(Pass, TimedWaitsAreServedInModeSToo)
{
    struct row {
        int16_t flag;
        char mode;
        bool served;
    };
    for (const row &r :
         {row{kWaitTicks, kModeSmall, true}, row{kWaitSent, kModeSmall, false},
          row{kWaitSent, kModeMain, true}}) {
        hl_advance_ticks(20);
        ScriptFlag = 5;
        WaitFlag = r.flag;
        WaitTime = int32_t(TickCount());
        pass(r.mode);
        EXPECT_EQ(WaitFlag == 0, r.served) << r.flag << r.mode;
        WaitFlag = 0;
        ScriptFlag = 0;
    }
}

TEST_F(Pass, ACancelledScriptEndsAtTheNextIdlePass)
{
    ScriptFlag = -2;
    hl_type("x");
    pass(kModeMain);
    EXPECT_EQ(ScriptFlag, -2) << "an event was being handled";
    pass(kModeMain);
    EXPECT_NE(ScriptFlag, -2);
}

TEST_F(Pass, CommandKeysOfTheirOwn)
{
    // The universal cancel.
    hl_type("some text that waits");
    passes(kModeMain, 20);
    badTrys = 3;
    reqRow = 4;
    hl_type(".", cmdKey);
    passes(kModeMain, 2);
    EXPECT_FALSE(asBusy());
    EXPECT_EQ(badTrys, 0);
    EXPECT_EQ(reqRow, -1);

    // The test of the line's speed sends a CR and counts.
    hl_line_heard();
    PrtCount = 77;
    hl_type("\r", cmdKey);
    passes(kModeMain, 3);
    EXPECT_EQ(hl_line_heard(), "\r");
    EXPECT_NE(TestTicks, 0);
    EXPECT_EQ(PrtCount, 0);
    TestTicks = 0;

    // A macro by its digit.
    hl_type("1", cmdKey);
    passes(kModeMain, 3);
    EXPECT_EQ(hl_line_heard(), "\r");

    // A menu's key, and the break's by its place on the keyboard.
    hl_type("u", cmdKey);
    passes(kModeMain, 2);
    EXPECT_FALSE(interpret_control);
}

TEST_F(Pass, TheTypeAheadWindowSendsItsLine)
{
    EXPECT_TRUE(hl_choose(kMenuEdit, 10));
    passes(kModeMain);
    ASSERT_TRUE(bufDwin);
    EXPECT_EQ(FrontWindow(), bufDwin);
    hl_edit(bufDwin, 1, "ls -l");
    hl_type("\r", shiftKey);
    passes(kModeMain);
    EXPECT_EQ(hl_line_heard(), "") << "Shift-Return is for the text";
    hl_type("\r");
    passes(kModeMain, 20);
    EXPECT_NE(hl_line_heard().find("ls -l"), std::string::npos);
    Str255 left;
    GetDialogItemText(bufDlog, 1, left);
    EXPECT_EQ(left[0], 0);
    // XOFF goes to the host even from here.
    hl_key(0x13, 0x01, controlKey);
    passes(kModeMain);
    EXPECT_EQ(hl_line_heard(), "\x13");
    // Its command again puts it away.
    EXPECT_TRUE(hl_choose(kMenuEdit, 10));
    passes(kModeMain);
    EXPECT_FALSE(bufDwin);
}

TEST_F(Pass, TheBackgroundHidesTheWindowOnlyIfToldSo)
{
    for (uint8_t hides : {0, 1}) {
        qset.bgFlags = hides;
        hl_app_active(false);
        passes(kModeMain);
        EXPECT_TRUE(Suspended);
        EXPECT_EQ(hl_window(myWindow)->visible, !hides);
        hl_app_active(true);
        passes(kModeMain);
        EXPECT_FALSE(Suspended);
        EXPECT_TRUE(hl_window(myWindow)->visible);
    }
}

TEST_F(Pass, ThePortIsServedBehindTheAboutBox)
{
    EXPECT_TRUE(hl_choose(kMenuQuillon, 1)); // about: a nested pass
    hl_after(20, [] { hl_line_say("about\r\n"); });
    hl_after(60, [] { hl_type(" "); });
    run_ticks(120);
    bool seen = false;
    for (int row = 0; row < MaxLine; row++)
        seen = seen || std::string(reinterpret_cast<char *>(scrLine(row)), 80)
                               .find("about") != std::string::npos;
    EXPECT_TRUE(seen);
}

// A transfer is a mode of the pass: what it lets through, and what not.
TEST_F(Pass, ATransferServesItsWindowTheViewAndACancelAlone)
{
    struct row {
        const char *what;
        std::function<void()> act;
        int16_t result;
        std::function<bool()> served;
    };
    const Rect home = *GetRectPtr();
    const row rows[] = {
        {"a key", [] { hl_type("x"); }, 0, [] { return !asBusy(); }},
        {"a digit", [] { hl_type("7"); }, 0, [] { return Verbose == 7; }},
        {"a command's key", [] { hl_type("u", cmdKey); }, 0,
         [] { return interpret_control == 1; }},
        {"a command", [] { hl_choose(kMenuMisc, kItemMiscShowControls); }, 0,
         [] { return interpret_control == 1 && hl_menu_hilited() == 0; }},
        {"the about box", [] { hl_choose(kMenuQuillon, 1); }, 0,
         [] { return hl_messages().size() == 1; }},
        {"text that waits", [] { asSendBuf(PSTR("abc"), 3, 0); }, 0,
         [] { return asBusy() && hl_line_heard().empty(); }},
        {"a script", [] { ScriptFlag = -1; }, 0,
         [] { return ScriptFlag == -1; }},
        {"a cancelled script", [] { ScriptFlag = -2; }, 0,
         [] { return ScriptFlag == -2; }},
        {"a press in the text",
         [] {
             hl_press(myWindow, 40, 40);
             hl_release();
         },
         0, [] { return stSel < 0; }},
        {"the window moved", [] { hl_move(myWindow, 99, 88); }, 0,
         [&] { return *GetRectPtr() == home; }},
        {"the window resized, which the desktop has done already",
         [] { hl_resize(myWindow, 40 * CharWid + 19, 30 * LineHeight + 19); },
         0, [] { return MaxLine == 30 && MaxCol == 40 && rows_ok(); }},
        {"the background", [] { hl_app_active(false); }, 0,
         [] { return Suspended == 1; }},
        {"... and back", [] { hl_app_active(true); }, 0,
         [] { return Suspended == 0; }},
        {"a cancel", [] { hl_type(".", cmdKey); }, 1,
         [] { return UserCancel == 1; }},
        {"nothing", [] {}, 0, [] { return UserCancel == 1; }},
        {"a request to quit", [] { hl_quit(); }, 1,
         [] { return moreToDo == 1; }},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        r.act();
        int16_t result = 0;
        for (int i = 0; i < 3 && !result; i++) {
            hl_advance_ticks(2); // in the background no pass waits
            result = XferEvent(2);
        }
        EXPECT_EQ(result, r.result);
        EXPECT_TRUE(r.served());
    }
}
