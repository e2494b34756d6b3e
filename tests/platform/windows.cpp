// Windows: order and activation, redrawing, and the acts on a frame.
#include "platform/windows.h"

#include "platform/clock.h"
#include "platform/drawing.h"
#include "tests/support/ui.h"

#include <gtest/gtest.h>

TEST(Windows, FrontAndActivationFollowOneAnother)
{
    WindowPtr a = ui_window();
    EXPECT_EQ(ui_events(), "activate Main; update Main");
    WindowPtr b = ui_window(500, 300);
    SetWTitle(b, PSTR("Second"));
    EXPECT_EQ(FrontWindow(), b);
    EXPECT_EQ(ui_events(), "deactivate Main; activate Second; update Second");
    SelectWindow(a);
    EXPECT_EQ(ui_events(), "deactivate Second; activate Main");
    hl_activate(b);
    EXPECT_EQ(FrontWindow(), b);
    EXPECT_EQ(ui_events(), "deactivate Main; activate Second");
    // There and back before anybody looks is nothing.
    SelectWindow(a);
    SelectWindow(b);
    EXPECT_EQ(ui_events(), "");
    ShowHide(b, false);
    EXPECT_EQ(FrontWindow(), a);
    EXPECT_EQ(ui_events(), "deactivate Second; activate Main");
    hl_app_active(false);
    hl_app_active(true);
    EXPECT_EQ(ui_events(), "suspend; resume");
    DisposeWindow(a);
    EXPECT_EQ(FrontWindow(), nullptr);
    EXPECT_EQ(ui_events(), "");
}

TEST(Windows, ModalStaysInFrontAndANoticeNeverHasTheKeys)
{
    WindowPtr main = ui_window();
    DialogPtr notice = ui_dialog(BE_PLAIN);

    ShowWindow(notice);
    EXPECT_EQ(FrontWindow(), notice);
    up_active(window_id(main), true); // the desktop never took it away
    EXPECT_EQ(FrontWindow(), notice);
    hl_type("x");
    EventRecord e;
    ASSERT_TRUE(GetNextEvent(1 << keyDown, &e));
    EXPECT_EQ(e.window, main);
    DisposeDialog(notice);
    DialogPtr modal = ui_dialog(BE_MODAL);
    ShowWindow(modal);
    up_active(window_id(main), true);
    EXPECT_EQ(FrontWindow(), modal);
    DisposeDialog(modal);
}

TEST(Windows, UpdatesCutDrawingToWhatIsInvalid)
{
    WindowPtr w = ui_window();
    (void)ui_events();
    Rect r = {10, 10, 20, 20}, all;
    RgnHandle rgn = NewRgn();

    InvalWindowRect(w, &r);
    EventRecord e;
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    ASSERT_EQ(e.what, updateEvt);
    // Unanswered it isn't offered again at once.
    EXPECT_FALSE(WaitNextEvent(everyEvent, &e, 1, nullptr));
    SetPort(w);
    GetWindowPortBounds(w, &all);
    BeginUpdate(w);
    PaintRect(&all);
    EndUpdate(w);
    EXPECT_EQ(draw_pixel(w, 15, 15), 0x000000u);
    EXPECT_EQ(draw_pixel(w, 25, 15), 0xFFFFFFu);
    GetWindowUpdateRgn(w, rgn);
    EXPECT_TRUE(EmptyRgn(rgn));
    Point p = {7, 9};
    LocalToGlobal(&p);
    EXPECT_TRUE(p.h == 109 && p.v == 207);
    // What a wait shows is what was drawn.
    (void)WaitNextEvent(everyEvent, &e, 5, nullptr);
    EXPECT_EQ(hl_pixel(w, 15, 15), 0x000000u);
    EXPECT_EQ(hl_pixel(w, 25, 15), 0xFFFFFFu);
    DisposeRgn(rgn);
    DisposeWindow(w);
    EXPECT_EQ(GetPort(), nullptr);
}

// What GrowWindow answers, as "400x250".
static std::string grown(WindowPtr w, const Rect *limits)
{
    int32_t size = GrowWindow(w, nullptr, limits);
    return std::to_string(size & 0xFFFF) + "x" + std::to_string(size >> 16);
}

static int width_shown(WindowPtr w)
{
    return hl_window(w)->content.right - hl_window(w)->content.left;
}

TEST(Windows, AFinishedResizeIsAPressInTheGrowBox)
{
    WindowPtr w = ui_window();
    Rect limits = {80, 120, 8000, 2000}, r;
    (void)ui_events();

    hl_resize(w, 400, 250);
    hl_resize(w, 410, 260); // two before anybody looks are one
    GetWindowPortBounds(w, &r);
    EXPECT_EQ(r.right, 300); // until the program takes it
    EXPECT_EQ(ui_event(), "press5 Main");
    EXPECT_EQ(grown(w, &limits), "410x260");
    SizeWindow(w, 410, 260, true);
    GetWindowPortBounds(w, &r);
    EXPECT_EQ(r.right, 410);
    EXPECT_EQ(ui_events(), "update Main");
    EXPECT_EQ(grown(w, &limits), "0x0");

    // Nobody takes it (a transfer is running): it is offered again later.
    hl_resize(w, 500, 300);
    EXPECT_EQ(ui_events(), "press5 Main");
    EXPECT_EQ(ui_events(), "");
    hl_advance_ticks(40);
    EXPECT_EQ(ui_events(), "press5 Main");
    EXPECT_EQ(grown(w, nullptr), "500x300");
    SizeWindow(w, 500, 300, true);
    hl_advance_ticks(40);
    EXPECT_EQ(ui_events(), "update Main");
    // Below the limits: the program's size goes back to the desktop.
    hl_resize(w, 90, 300);
    EXPECT_EQ(ui_events(), "press5 Main");
    EXPECT_EQ(grown(w, &limits), "120x300");
    SizeWindow(w, 120, 300, true);
    EXPECT_EQ(width_shown(w), 120);
}

TEST(Windows, MoveZoomAndCloseAreEventsToo)
{
    WindowPtr w = ui_window();
    DialogPtr d = ui_dialog(BE_MODELESS);
    Rect r;
    (void)ui_events();

    hl_move(w, 40, 60);
    EXPECT_EQ(ui_events(), "press4 Main");
    GetWindowBounds(w, &r);
    EXPECT_TRUE(r.left == 40 && r.top == 60 && r.right == 340);

    // A zoom: the program's own rectangle first, then what the desktop gave.
    hl_zoom(w, true);
    EXPECT_EQ(ui_events(), "press8 Main");
    SizeWindow(w, 1000, 700, true);
    (void)ui_events();
    hl_advance_ticks(40);
    EXPECT_EQ(ui_events(), "press5 Main");
    EXPECT_EQ(grown(w, nullptr), "1600x976");
    SizeWindow(w, 1600, 976, true);
    EXPECT_TRUE(hl_window(w)->zoomed);
    hl_zoom(w, false);
    EXPECT_EQ(ui_events(), "press7 Main; update Main");
    SizeWindow(w, 300, 200, true);
    EXPECT_EQ(width_shown(w), 300);

    ShowWindow(d);
    (void)ui_events();
    hl_close(d);
    EXPECT_EQ(ui_events(), "press6 Dialog");
    hl_close(w); // the terminal's window closes the program
    EXPECT_EQ(ui_event(), "request");
    // What was about a window that has gone isn't told.
    hl_close(d);
    DisposeDialog(d);
    EXPECT_EQ(ui_events(), "activate Main");
}

TEST(Windows, TypingHidesTheCursorUntilTheMouseMoves)
{
    WindowPtr w = ui_window();

    SetCursorID(w, 1);
    EXPECT_EQ(hl_window(w)->cursor, BE_TEXT);
    ObscureCursor();
    SetCursorID(w, 1);
    EXPECT_EQ(hl_window(w)->cursor, BE_HIDDEN);
    hl_mouse_at(w, 33, 44);
    SetCursorID(w, 310);
    EXPECT_EQ(hl_window(w)->cursor, BE_POSITION);
    SetWaitCursor();
    EXPECT_EQ(hl_window(w)->cursor, BE_WAIT);
    InitCursor();
    EXPECT_EQ(hl_window(w)->cursor, BE_ARROW);
    Rect caret = {30, 40, 42, 46};
    SetCaretRect(w, &caret);
    EXPECT_EQ(hl_window(w)->caret.left, 40);
    EXPECT_EQ(hl_window(w)->caret.bottom, 42);
}
