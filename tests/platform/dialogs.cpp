// Dialogs: items and their widgets, modal and modeless, alerts, scroll bars.
#include "platform/dialogs.h"

#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/controls.h"
#include "platform/core/files/resforms.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

TEST(Modal, ButtonsKeysAndTheCloseBoxAnswer)
{
    struct {
        const char *act;
        std::function<void(WindowPtr)> user;
        int item;
    } rows[] = {
        {"button", [](WindowPtr w) { hl_hit(w, 2); }, 2},
        {"box", [](WindowPtr w) { hl_hit(w, 4); }, 4},
        {"user item", [](WindowPtr w) { hl_hit(w, 5); }, 5},
        {"Return", [](WindowPtr) { hl_type("xy\r"); }, 1},
        {"Escape", [](WindowPtr) { hl_type("\x1b"); }, 2},
        {"Command-period", [](WindowPtr) { hl_type(".", cmdKey); }, 2},
        {"close box", [](WindowPtr w) { hl_close(w); }, 2},
    };
    (void)ui_window();

    for (auto &row : rows) {
        DialogPtr d = ui_dialog(BE_MODAL);
        int16_t item = 0;
        ShowWindow(d);
        hl_modal(row.user);
        ModalDialog(nullptr, &item);
        EXPECT_EQ(item, row.item) << row.act;
        DisposeDialog(d);
    }
}

TEST(Modal, TextsGoBothWaysAndBoxesAreTheProgramsOwn)
{
    DialogPtr d = ui_dialog(BE_MODAL);
    int16_t item = 0;

    SetDialogItemText(d, 3, PSTR("caf\x8E"));
    ShowWindow(d);
    EXPECT_EQ(hl_item(d, 3)->text, "caf\xC3\xA9");
    EXPECT_EQ(hl_window(d)->focus, 3);
    hl_modal([](WindowPtr w) {
        hl_type("\b!\t12");
        hl_hit(w, 4);
    });
    ModalDialog(nullptr, &item);
    EXPECT_EQ(ui_text(d, 3), "caf!");
    EXPECT_EQ(ui_text(d, 6), "12");
    ASSERT_EQ(item, 4);
    EXPECT_EQ(GetDialogItemValue(d, 4), 0);
    SetDialogItemValue(d, 4, 1);
    EXPECT_EQ(hl_item(d, 4)->value, 1);
    // No longer than the item takes, and what Mac Roman lacks is marked.
    hl_edit(d, 3, std::string(300, 'x').c_str());
    EXPECT_EQ(ui_text(d, 3).size(), 255u);
    EXPECT_EQ(hl_item(d, 3)->text.size(), 255u);
    hl_edit(d, 3, "a\xE4\xB8\xAD\n\xE2\x80\xA2");
    EXPECT_EQ(ui_text(d, 3), "a?\r\xA5");
    DisposeDialog(d);
}

static std::string filterSaw;

static bool filter(DialogPtr, EventRecord *e, int16_t *item)
{
    if (e->what == keyDown && uint8_t(e->message) == 'q') {
        *item = 77;
        return true;
    }
    if (e->what == keyDown && uint8_t(e->message) == 'a')
        e->message = (e->message & ~0xFFu) | 'b'; // seen, and changed
    if (e->what == nullEvent)
        filterSaw += "0";
    return false;
}

TEST(Modal, AFilterSeesEverythingFirst)
{
    DialogPtr d = ui_dialog(BE_MODAL);
    int16_t item = 0;

    ShowWindow(d);
    hl_modal([](WindowPtr) { hl_type("\rz"); });
    ModalDialog(filter, &item);
    EXPECT_EQ(item, 1);
    hl_after(30, [] { hl_type("q"); });
    ModalDialog(filter, &item);
    EXPECT_EQ(item, 77);
    EXPECT_GE(filterSaw.size(), 2u); // it is called while nothing happens
    DisposeDialog(d);
}

TEST(Modal, WhatIsForOthersWaitsUntilItIsGone)
{
    WindowPtr main = ui_window();
    ui_settle();
    DialogPtr d = ui_dialog(BE_MODAL);
    ShowWindow(d);
    int16_t item = 0;
    hl_modal([main](WindowPtr) {
        Rect r = {0, 0, 9, 9};
        InvalWindowRect(main, &r);
        hl_move(main, 7, 8);
        hl_quit();
    });
    ModalDialog(nullptr, &item);
    EXPECT_EQ(item, 2) << "cancelled, since the quit waits behind it";
    DisposeDialog(d);
    // Neither its going nor its coming is told of the window behind it.
    EXPECT_EQ(ui_events(), "press4 Main; request; update Main");
}

static int drawn;

TEST(Modeless, KeysAreOfferedToTheProgramFirst)
{
    DialogPtr d = ui_dialog(BE_MODELESS), hit;
    EventRecord e;
    int16_t item = 0;

    SetDialogItemProc(d, 5, [](DialogPtr w, int16_t n) {
        Rect box;
        GetDialogItem(w, n, nullptr, &box);
        PaintRect(&box);
        drawn++;
    });
    ShowWindow(d);
    while (WaitNextEvent(everyEvent, &e, 0, nullptr)) {
        EXPECT_TRUE(IsDialogEvent(&e));
        EXPECT_FALSE(DialogSelect(&e, &hit, &item));
    }
    EXPECT_EQ(drawn, 1);
    EXPECT_EQ(draw_pixel(d, 50, 90), 0u);

    SelectDialogItemText(d, 3, 0, 255);
    hl_type("x");
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_EQ(ui_text(d, 3), "abc"); // not before it is passed on
    EXPECT_TRUE(IsDialogEvent(&e));
    EXPECT_FALSE(DialogSelect(&e, &hit, &item));
    EXPECT_EQ(ui_text(d, 3), "abcx");
    hl_type("y"); // one that the program keeps
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_EQ(hl_forwarded(), "x");

    hl_hit(d, 1);
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_TRUE(IsDialogEvent(&e));
    ASSERT_TRUE(DialogSelect(&e, &hit, &item));
    EXPECT_EQ(hit, d);
    EXPECT_EQ(item, 1);
    // Dimmed meanwhile: a hit that was on its way is none.
    hl_hit(d, 1);
    EnableDialogItem(d, 1, false);
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_FALSE(DialogSelect(&e, &hit, &item));
    // A press on the user item comes at its time, so that it can be tracked.
    hl_press(d, 20, 80, shiftKey);
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    ASSERT_TRUE(DialogSelect(&e, &hit, &item));
    EXPECT_EQ(item, 5);
    EXPECT_EQ(e.modifiers & shiftKey, shiftKey);
    EXPECT_TRUE(StillDown());
    hl_release();
    EXPECT_FALSE(StillDown());

    // Suspend, quit and a click elsewhere are the program's.
    WindowPtr main = ui_window(600, 400);
    hl_activate(d);
    hl_app_active(false);
    while (WaitNextEvent(everyEvent, &e, 0, nullptr)) {
        if (e.what == osEvt) {
            EXPECT_FALSE(IsDialogEvent(&e));
        }
        if (e.what == updateEvt) {
            BeginUpdate(WindowOfMessage(&e));
            EndUpdate(WindowOfMessage(&e));
        }
    }
    hl_click(main, 5, 5);
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    EXPECT_FALSE(IsDialogEvent(&e));
    EXPECT_EQ(FrontWindow(), main);
}

TEST(Modeless, CutCopyAndPasteWorkInTheTextWithTheKeys)
{
    DialogPtr d = ui_dialog(BE_MODELESS);

    ShowWindow(d);
    SelectDialogItemText(d, 3, 0, 255);
    DialogCut(d);
    EXPECT_EQ(ui_text(d, 3), "");
    EXPECT_STREQ(hl_clip_text(), "abc");
    SelectDialogItemText(d, 6, 0, 0);
    DialogPaste(d);
    EXPECT_EQ(ui_text(d, 6), "abc");
    DialogDelete(d);
    EXPECT_EQ(ui_text(d, 6), "");
}

TEST(Modeless, ItemsMoveHideAndTakeTheirMenu)
{
    DialogPtr d = ui_dialog(BE_MODELESS);
    MenuHandle m = NewMenu(99, PSTR("M"));
    int16_t kind;
    Rect box = {1, 2, 33, 44}, got;

    AppendMenu(m, PSTR("A"));
    ShowWindow(d);
    SetDialogItemRect(d, 3, &box);
    GetDialogItem(d, 3, &kind, &got);
    EXPECT_EQ(kind, kItemEditText | kItemDisabled);
    EXPECT_TRUE(got == box);
    EXPECT_EQ(hl_item(d, 3)->box.right, 44);
    HideDialogItem(d, 5);
    EXPECT_FALSE(hl_item(d, 5)->visible);
    SetDialogItemMenu(d, 4, m);
    EXPECT_EQ(hl_item(d, 4)->menu, 99);
    ASSERT_NE(hl_menu(99), nullptr); // there before the item needs it
    GetDialogItem(d, 40, &kind, &got);
    EXPECT_EQ(kind, 0);
    EXPECT_TRUE(EmptyRect(&got));
    SetDialogItemText(d, 40, PSTR("nobody"));
}

TEST(Alerts, FillTheirTextsAndAnswerByButtonsAndKeys)
{
    WindowPtr main = ui_window();

    ParamText(PSTR("Delete \xD2"), PSTR("host"), PSTR("\xD3?"), nullptr);
    hl_answer(2);
    EXPECT_EQ(StopAlert(300), 2);
    ASSERT_EQ(hl_messages().size(), 1u);
    EXPECT_EQ(hl_messages()[0].substr(0, 18),
              "Delete \xE2\x80\x9Chost\xE2\x80\x9D?");
    hl_modal([](WindowPtr w) {
        EXPECT_TRUE(hl_item(w, 1)->is_default);
        EXPECT_TRUE(hl_item(w, 2)->is_cancel);
        hl_type("\r");
    });
    EXPECT_EQ(CautionAlert(300), 1);
    hl_modal([](WindowPtr) { hl_type("\x1b"); });
    EXPECT_EQ(Alert(300), 2);
    // With one button every answer is that one.
    hl_modal([](WindowPtr) { hl_type("\x1b"); });
    EXPECT_EQ(Alert(302), 1);
    EXPECT_EQ(Alert(-5), -1);
    EXPECT_EQ(FrontWindow(), main);
    EXPECT_EQ(hl_window_titles().size(), 1u);
}

// Every dialog and alert there is can be made, and none of its items lies
// outside the window.
TEST(Resources, EveryDialogCanBeShown)
{
    int dialogs = 0, alerts = 0;

    for (int id = 1; id < 1000; id++) {
        if (DialogPtr d = GetNewDialog(int16_t(id))) {
            dialogs++;
            ShowWindow(d);
            Rect all;
            GetWindowPortBounds(d, &all);
            for (const auto &[number, item] : hl_window(d)->items) {
                const be_rect &b = item.box;
                EXPECT_TRUE(b.left >= 0 && b.top >= 0 && b.right <= all.right &&
                            b.bottom <= all.bottom)
                    << id << " item " << number;
            }
            DisposeDialog(d);
        }
        hl_answer(1);
        if (Alert(int16_t(id)) == 1)
            alerts++;
        else
            hl_modal_clear();
    }
    EXPECT_GT(dialogs, 5);
    EXPECT_GT(alerts, 5);
}

TEST(Resources, EveryMenuAndListIsWhole)
{
    SetMenuBarFromResource(301);
    for (int16_t i = 1; i <= CountResources(FOUR("MENU")); i++) {
        int16_t id = 0;
        GetResInfo(GetIndResource(FOUR("MENU"), i), &id, nullptr, nullptr);
        EXPECT_GT(CountMenuItems(GetMenu(id)), 0) << id;
    }
    for (int16_t i = 1; i <= CountResources(FOUR("STR#")); i++) {
        Handle h = GetIndResource(FOUR("STR#"), i);
        ResReader r{*h, *h + GetHandleSize(h)};
        for (int n = r.u16(); n > 0; n--)
            r.pstring();
        EXPECT_TRUE(r.ok && r.p == r.end) << i;
    }
}

static std::string steps;
static ControlHandle bar;

static void step(ControlHandle c, int16_t part)
{
    steps +=
        std::to_string(part) + "@" + std::to_string(GetControlValue(c)) + " ";
    if (part == inUpButton)
        SetControlValue(c, int16_t(GetControlValue(c) - 1));
    if (part == inPageDown)
        SetControlValue(c, int16_t(GetControlValue(c) + 20));
}

TEST(ScrollBar, EachStepOfAPressRunsTheAction)
{
    WindowPtr w = ui_window();
    Rect r = {0, 284, 184, 300};
    EventRecord e;
    ControlHandle c = nullptr;

    bar = NewControl(w, &r, nullptr, true, 50, 0, 100, kScrollBarLiveProc, 0);
    SetControlViewSize(bar, 24);
    EXPECT_EQ(hl_item(w, control_item(bar))->page, 24);
    hl_scroll(bar, {{inUpButton, 0},
                    {inUpButton, 0},
                    {inPageDown, 0},
                    {inThumb, 10},
                    {inThumb, 30}});
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    WindowPtr hit;
    EXPECT_EQ(FindWindow(&e, &hit), inContent);
    EXPECT_EQ(FindControl(&e, w, &c), inUpButton);
    ASSERT_EQ(c, bar);
    EXPECT_EQ(TrackControl(c, &e, step), inThumb);
    // Of a thumb in a hurry, the newest place.
    EXPECT_EQ(steps, "20@50 20@49 23@48 129@30 ");

    // A press that was never tracked leaves nothing behind for the next.
    steps.clear();
    hl_scroll(bar, {{inPageDown, 0}});
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    hl_scroll(bar, {{inThumb, 5}});
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    EXPECT_EQ(FindControl(&e, w, &c), inThumb);
    (void)TrackControl(c, &e, step);
    EXPECT_EQ(steps, "129@5 ");

    // Values stay in their range, whichever end moves.
    SetControlMaximum(bar, 3);
    EXPECT_EQ(GetControlValue(bar), 3);
    SetControlValue(bar, 99);
    EXPECT_EQ(GetControlValue(bar), 3);
    hl_click(w, 290, 20);
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    EXPECT_EQ(FindControl(&e, w, &c), 0);
    DisposeWindow(w);
}
