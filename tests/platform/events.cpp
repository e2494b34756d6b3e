// The event queue and the waits: order, masks, sleep, the port, nesting.
#include "platform/events.h"
#include "platform/appleevents.h"
#include "platform/clock.h"
#include "platform/core/core.h"
#include "platform/drag.h"
#include "platform/drawing.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "platform/scrap.h"
#include "platform/windows.h"
#include "tests/support/ui.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <unistd.h>

// How many ticks a wait takes that ends without an event.
static uint32_t waited(uint32_t sleep, uint16_t mask = everyEvent)
{
    uint32_t start = TickCount();
    EXPECT_EQ(ui_event(mask, sleep), "");
    return TickCount() - start;
}

TEST(Events, ComeInOrderAndByMask)
{
    WindowPtr w = ui_window();
    EventRecord e;

    ui_settle();
    hl_type("a");
    hl_click(w, 10, 20, shiftKey);
    hl_type("b");
    // A modal wait leaves keys and mouse where they are.
    ASSERT_FALSE(GetNextEvent(uint16_t(-63), &e));
    ASSERT_TRUE(EventAvail(62, &e));
    EXPECT_EQ(e.message & 0xFF, 'a');
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    EXPECT_TRUE(e.where.h == 110 && e.where.v == 220); // window at 100, 200
    EXPECT_EQ(e.modifiers & shiftKey, shiftKey);
    EXPECT_EQ(ui_event(), "key a");
    ASSERT_TRUE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_EQ(e.message, 0x0B00u | 'b'); // with the key's place
    EXPECT_FALSE(WaitNextEvent(everyEvent, &e, 0, nullptr));
    EXPECT_EQ(e.what, nullEvent);
}

TEST(Events, SleepIsTheWaitAndInputEndsIt)
{
    (void)ui_window();
    ui_settle();

    EXPECT_EQ(waited(5), 5u);
    hl_after(2, [] { hl_type("x"); });
    uint32_t start = TickCount();
    EXPECT_EQ(ui_event(everyEvent, 60), "key x");
    EXPECT_EQ(TickCount(), start + 2);
    // What doesn't fit the mask doesn't end the wait.
    hl_after(2, [] { hl_type("x"); });
    EXPECT_EQ(waited(10, 1 << mouseDown), 10u);
    // A loop that waits wakes twelve times a second.
    (void)ui_events();
    int waits = hl_waits();
    for (start = TickCount(); TickCount() < start + 600;)
        (void)ui_event(everyEvent, 5);
    EXPECT_LE(hl_waits() - waits, 150);
}

TEST(Events, LineEndsAWaitOnceForEachRead)
{
    char bytes[8];
    int fd = hl_line_open(HL_SOCKET);

    line_use(fd);
    hl_line_say("xy", 50000);
    int64_t start = hl_now();
    (void)waited(60);
    EXPECT_EQ(hl_now() - start, 50000);
    EXPECT_GE(waited(6), 6u) << "nobody has read";
    // A reader who leaves some is told of the rest at once.
    ASSERT_EQ(line_read(fd, bytes, 1), 1);
    EXPECT_EQ(waited(60), 0u);
    ASSERT_EQ(line_read(fd, bytes, 8), 1);
    EXPECT_EQ(bytes[0], 'y');
    // A line that has gone is not watched.
    hl_line_hangup();
    EXPECT_EQ(line_read(fd, bytes, 8), kLineGone);
    EXPECT_GE(waited(6), 6u);
    line_close();
}

TEST(Events, RoomOnTheLineEndsAWaitOnce)
{
    char block[4096] = {};
    int fd = hl_line_open(HL_SOCKET);

    hl_line_stuck(true);
    line_use(fd);
    while (write(fd, block, sizeof block) > 0)
        ;
    line_want_room(true);
    EXPECT_GE(waited(6), 6u);
    hl_after(2, [] { hl_line_stuck(false); });
    EXPECT_LE(waited(60), 3u);
    EXPECT_GE(waited(6), 6u);
    line_close();
}

// The hot path: a loop without sleep over a busy line asks the display only
// now and then, and one over a silent line gives the processor away.
TEST(Events, NoSleepNeitherAsksNorSpins)
{
    EventRecord e;
    char byte = 0;
    int fd = hl_line_open(HL_SOCKET);

    line_use(fd);
    hl_line_say(std::string(1000, 'x'));
    (void)WaitNextEvent(everyEvent, &e, 1, nullptr);
    int64_t start = hl_now();
    hl_type("q"); // in the queue already: seen at once
    (void)ui_window();
    for (int n = 0; n < 1000; n++) {
        ASSERT_EQ(line_read(fd, &byte, 1), 1);
        (void)WaitNextEvent(everyEvent, &e, 0, nullptr);
    }
    EXPECT_EQ(hl_now(), start);

    int waits = hl_waits();
    for (int n = 0; n < 1000; n++) {
        ASSERT_EQ(line_read(fd, &byte, 1), -EAGAIN);
        (void)WaitNextEvent(everyEvent, &e, 0, nullptr);
    }
    EXPECT_GT(hl_waits(), waits + 500);
    // A sender that looks for an answer between its blocks is not held up.
    start = hl_now();
    for (int n = 0; n < 1000; n++) {
        ASSERT_EQ(line_write(fd, "x", 1), 1);
        ASSERT_EQ(line_read(fd, &byte, 1), -EAGAIN);
        (void)WaitNextEvent(everyEvent, &e, 0, nullptr);
    }
    // A millisecond each: the clock's own step.
    EXPECT_EQ(hl_now() - start, 1000 * 1000);
    line_close();
}

// A line that trickles is left alone for a moment while the rest of a block is
// sure to come; no other is.
TEST(Events, RestsForTheBytesOfALineThatTrickles)
{
    static const struct {
        const char *name;
        size_t came;
        bool expects;
        int64_t rest;
    } rows[] = {
        {"a slow line", 12, true, 8000},
        {"a fast one", 400, true, 0},
        {"outside of a block", 12, false, 0},
        {"nothing has come yet", 0, true, 0},
    };
    EventRecord e;
    char block[400];

    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        int fd = hl_line_open(HL_SOCKET);
        line_use(fd);
        hl_line_say(std::string(r.came, 'x'));
        if (r.came > 0) {
            hl_advance_us(1);
            (void)WaitNextEvent(0, &e, 1, nullptr);
            ASSERT_EQ(line_read(fd, block, 400), int32_t(r.came));
        }
        hl_line_say("more", 2000);
        int64_t start = hl_now();
        line_expect(r.expects);
        int32_t n = line_read(fd, block, 400);
        line_expect(false);
        EXPECT_EQ(n, r.rest > 0 ? 4 : -EAGAIN);
        EXPECT_EQ(hl_now() - start, r.rest + 1000); // the clock's own step
        line_close();
    }
}

TEST(Events, TrackingBelongsToOnePress)
{
    WindowPtr w = ui_window();
    EventRecord e;

    hl_press(w, 5, 5);
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    uint32_t start = TickCount();
    hl_after(3, [] { hl_release(); });
    while (StillDown())
        ;
    EXPECT_GE(TickCount() - start, 3u);
    EXPECT_LE(TickCount() - start, 4u);
    // Let go and pressed anew before anybody looked: the first press is over.
    hl_press(w, 5, 5);
    ASSERT_TRUE(GetNextEvent(1 << mouseDown, &e));
    hl_release();
    hl_press(w, 6, 6);
    EXPECT_FALSE(StillDown());
    EXPECT_TRUE(Button());
    SetPort(w);
    Point p;
    GetMouse(&p);
    EXPECT_TRUE(p.h == 6 && p.v == 6);
}

// A wait within a wait: the queue and its order survive, and what the inner
// one leaves the outer one gets.
TEST(Events, NestedWaitsKeepTheQueue)
{
    static std::string inner;
    WindowPtr w = ui_window();
    ui_settle();
    InstallWheelHandler(
        w,
        [](void *, int32_t, WindowPtr) {
            for (int n = 0; n < 3; n++)
                inner += ui_event(1 << updateEvt | 1 << activateEvt, 1);
            return OSErr(noErr);
        },
        nullptr);
    hl_type("1");
    hl_wheel(w, 1);
    hl_type("2");
    Rect r = {0, 0, 5, 5};
    InvalWindowRect(w, &r);
    EXPECT_EQ(ui_event(), "key 1");
    EXPECT_EQ(ui_event(), ""); // the wheel's handler, which waits itself
    EXPECT_EQ(inner, "update Main");
    EXPECT_EQ(ui_event(), "key 2");
}

static std::string outside;

TEST(Events, RequestsFromOutsideWaitInTheQueue)
{
    EventRecord e;
    AppleEventHandlers handlers = {
        [] {
            outside += "open ";
            return OSErr(noErr);
        },
        nullptr,
        nullptr,
        [] {
            outside += "quit ";
            return OSErr(-1708);
        },
        nullptr,
    };

    AEInstallHandlers(&handlers);
    ae_queue_start(nullptr, 0);
    hl_quit();
    hl_quit();
    // Not for a wait for mouse and keys; for the pass behind a message box.
    EXPECT_FALSE(EventAvail(62, &e));
    while (WaitNextEvent(uint16_t(-63), &e, 0, nullptr)) {
        ASSERT_EQ(e.what, kHighLevelEvent);
        (void)AEProcessAppleEvent(&e);
    }
    EXPECT_EQ(outside, "open quit ");
    hl_quit(); // refused once, it may come again
    EXPECT_EQ(ui_event(), "request");
}

TEST(Scrap, TextKeepsItsBytesAndConvertsTheDesktops)
{
    const uint8_t text[] = "A\rB\xA5\x01";
    int32_t size = 0;
    uint8_t out[32];

    EXPECT_EQ(GetScrapFlavorSize(FOUR("TEXT"), &size), noTypeErr);
    ASSERT_EQ(PutScrapFlavor(FOUR("TEXT"), 5, text), noErr);
    EXPECT_STREQ(hl_clip_text(), "A\nB\xE2\x80\xA2\x01");
    ASSERT_EQ(GetScrapFlavorSize(FOUR("TEXT"), &size), noErr);
    ASSERT_EQ(size, 5);
    ASSERT_EQ(GetScrapFlavorData(FOUR("TEXT"), &size, out), noErr);
    EXPECT_EQ(memcmp(out, text, 5), 0);
    hl_clip("caf\xC3\xA9\r\nx\n");
    size = 4; // no more than there is room for
    ASSERT_EQ(GetScrapFlavorData(FOUR("TEXT"), &size, out), noErr);
    EXPECT_EQ(memcmp(out, "caf\x8E", 4), 0);
    ASSERT_EQ(GetScrapFlavorSize(FOUR("TEXT"), &size), noErr);
    EXPECT_EQ(size, 7); // CR LF is one line end
    ASSERT_EQ(ClearCurrentScrap(), noErr);
    EXPECT_FALSE(ScrapHasFlavor(FOUR("TEXT")));
}

static std::string dropped;

TEST(Drag, DropsAreServedInTheWaitAndOnlyWhereTaken)
{
    WindowPtr w = ui_window();
    EventRecord e;

    InstallDragHandlers(
        w,
        [](WindowPtr, Point at, bool text, bool) { return text && at.h < 50; },
        [](WindowPtr, const DropInfo *d) {
            dropped.assign(reinterpret_cast<const char *>(d->text),
                           size_t(d->length));
            return OSErr(noErr);
        });
    EXPECT_TRUE(hl_drag_over(w, 10, 10, true, false));
    EXPECT_FALSE(hl_drag_over(w, 60, 10, true, false));
    EXPECT_FALSE(hl_drag_over(w, 10, 10, false, true));
    hl_drop_text(w, 10, 10, "one\r\ntwo\n\xC3\xA9");
    ui_settle();
    EXPECT_EQ(dropped, "");
    (void)WaitNextEvent(1 << mouseDown, &e, 0, nullptr);
    EXPECT_EQ(dropped, "one\rtwo\r\x8E");

    hl_drag_taken(true);
    EXPECT_TRUE(DragTextOut(w, &e, nullptr, "x", 1));
    hl_drag_taken(false);
    EXPECT_FALSE(DragTextOut(w, &e, nullptr, "x", 1));
}
