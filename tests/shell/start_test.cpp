// Start-up and shut-down in their order, with what the user can hold down.
#include "shell/Inits.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "connect/Dialogs.h"
#include "connect/PhoneBook.h"
#include "platform/appleevents.h"
#include "platform/backend.h"
#include "platform/memory.h"
#include "platform/navigation.h"
#include "platform/regions.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"
#include "tests/support/terminalwindow.h"

namespace {

// The plain book with strings for the modem at both ends, and another port.
Book modem_book(const char *port = nullptr)
{
    Book book = plain_book();
    std::vector<std::string> globals = list_strings(book[3].data);
    globals[kGlobModemInit - 1] = "HELLO\r";
    globals[kGlobModemDeInit - 1] = "BYE\r";
    if (port)
        globals[kGlobPort - 1] = port;
    book[3].data = list_data(globals);
    return book;
}

Rect bounds_of(WindowPtr w)
{
    Rect r;
    GetWindowBounds(w, &r);
    return r;
}

} // namespace

TEST(Start, RunsInItsOrderAndEndsInItsOrder)
{
    make_place();
    write_book(modem_book());
    std::vector<std::string> log;
    std::string said;
    hl_line_peer([&](const uint8_t *bytes, size_t count) {
        said.append(reinterpret_cast<const char *>(bytes), count);
        if (said.empty() || said.back() != '\r')
            return; // bytes come one by one, if the machine has other work
        said.pop_back();
        log.push_back("line " + said + (myWindow ? ", window" : "") +
                      (gInitializing ? "" : ", ready"));
        if (said == "BYE")
            hl_line_say("bye then\r\n", 50000);
        said.clear();
    });
    EXPECT_TRUE(gInitializing);
    EXPECT_EQ(run_program(30,
                          [&] {
                              log.push_back("title " +
                                            hl_window_titles().at(0));
                              EXPECT_GT(sIn, 0);
                              EXPECT_EQ(ti, 7);
                              EXPECT_FALSE(gInitializing);
                          }),
              0);
    // What the modem answers to the last string is still taken.
    EXPECT_EQ(hl_line_waiting(), 0u);
    const std::vector<std::string> expected = {
        "line HELLO, window, ready", "title Local", "line BYE, window, ready"};
    EXPECT_EQ(log, expected);
    EXPECT_FALSE(myWindow);
    EXPECT_EQ(sIn, 0);
    EXPECT_EQ(pRef, 0);
    ASSERT_EQ(hl_messages().size(), 1u);
    EXPECT_NE(hl_messages()[0].find("Starting"), std::string::npos);
    EXPECT_TRUE(hl_window_titles().empty());
}

TEST(Start, OptionHeldLeavesTheModemAlone)
{
    make_place();
    write_book(modem_book());
    hl_modifiers(optionKey);
    EXPECT_EQ(run_program(), 0);
    EXPECT_EQ(hl_line_heard(), "");
}

TEST(Start, ShiftHeldAsksForThePortFirst)
{
    make_place();
    write_book(modem_book());
    hl_modifiers(shiftKey);
    bool asked = false;
    hl_modal([&](WindowPtr w) {
        asked = true;
        EXPECT_EQ(sIn, 0) << "the port isn't open yet";
        EXPECT_TRUE(myWindow) << "the window stands";
        EXPECT_NE(hl_messages().back().find("Which port"), std::string::npos);
        hl_modifiers(0);
        hl_hit(w, 2);
    });
    EXPECT_EQ(run_program(), 0);
    EXPECT_TRUE(asked);
    EXPECT_EQ(hl_line_heard(), "HELLO\rBYE\r");
}

TEST(Start, APortThatCantBeOpenedIsExplainedAndAskedFor)
{
    make_place();
    const Book book = modem_book("/dev/no-such-port");
    const std::string line = hl_line_path();
    write_book(book);
    hl_modal([&](WindowPtr w) {
        std::string text = hl_messages().back();
        EXPECT_NE(text.find("can’t be opened"), std::string::npos) << text;
        EXPECT_NE(text.find("/dev/no-such-port"), std::string::npos) << text;
        EXPECT_NE(text.find("nplugged"), std::string::npos) << text;
        // It is plugged in meanwhile, under its own name.
        CopyCStringToPascal(line.c_str(), gPortOverride);
        hl_hit(w, 1);
    });
    start_program();
    EXPECT_GT(sIn, 0);
    EXPECT_EQ(gPortOverride[0], 0);
    EXPECT_EQ(hl_line_heard(), "HELLO\r");
}

TEST(Start, WhoGivesUpThePortGoesOnWithout)
{
    make_place();
    write_book(modem_book("/dev/no-such-port"));
    hl_answer(2);
    start_program();
    ASSERT_TRUE(myWindow);
    EXPECT_TRUE(moreToDo);
    EXPECT_EQ(sIn, 0);
    EXPECT_EQ(hl_window_titles().at(0), "Local") << "settings stand";
    hl_type("abc\r");
    run_ticks(30);
    hl_quit();
    run_ticks(30);
    EXPECT_FALSE(moreToDo);
    finish_up();
}

// Each allocation of the start fails in turn: it may do without, or end with
// the message, but never writes to a block that it hasn't got.
TEST(Start, EndsInOrderWhateverBlockItLacks)
{
    for (int n = 1; n <= 60; n++) {
        EXPECT_EXIT(
            {
                make_place();
                write_book(plain_book());
                mem_fail_nth(n);
                (void)run_program();
                exit(0);
            },
            testing::ExitedWithCode(0), "")
            << "allocation " << n;
    }
}

TEST(Start, SavedWindowsAreCorrectedAndBroughtBack)
{
    struct row {
        const char *what;
        Rect saved;
        int8_t fontSize;
        Rect expected;
    };
    Rect screen;
    GetScreenBounds(&screen);
    const int16_t low = int16_t(screen.bottom - 19), end = int16_t(low + 319);
    const int16_t up = int16_t(low - 1);
    // A window whose screen has gone keeps its size, and the place that it was
    // made at; one of which only the title shows is fetched.
    const row rows[] = {
        {"small default", {60, 60, 332, 564}, 9, {60, 60, 343, 564}},
        {"a pixel higher", {60, 60, 333, 564}, 9, {60, 60, 333, 564}},
        {"large default", {60, 60, 428, 644}, 14, {60, 60, 443, 644}},
        {"a pixel wider", {60, 60, 428, 645}, 14, {60, 60, 428, 645}},
        {"off the screen", {9000, 9000, 9300, 9500}, 14, {60, 60, 360, 560}},
        {"below the edge", {low, 100, end, 600}, 14, {40, 4, 359, 504}},
        {"just above it", {up, 100, end, 600}, 14, {up, 100, end, 600}},
    };
    for (const row &r : rows) {
        EXPECT_TRUE(apart([&r] {
            Book book = plain_book();
            book[kSettings].data = qset_data([&](qset_t &q) {
                q.winRectSmall = q.winRectLarge = r.saved;
                q.termFontSize = r.fontSize;
            });
            write_book(book);
            start_program();
            const Rect now = bounds_of(myWindow);
            EXPECT_TRUE(now == r.expected) << now.top << " " << now.left << " "
                                           << now.bottom << " " << now.right;
        })) << r.what;
    }
}

TEST(Start, ANewBooksWindowShows24By80WhateverTheFont)
{
    make_place();
    hl_modifiers(shiftKey);
    hl_line_open(HL_PTY);
    hl_modal([&](WindowPtr w) {
        CopyCStringToPascal(hl_line_path(), gPortOverride);
        hl_modifiers(0);
        hl_hit(w, 2);
    });
    start_program();
    ASSERT_TRUE(myWindow);
    EXPECT_TRUE(gBookIsNew);
    EXPECT_EQ(MaxLine, 24);
    EXPECT_EQ(MaxCol, 80);
    EXPECT_EQ(Baudrate, 115200);
}

TEST(End, TheSessionsEndAsksAboutChangesAndCanBeRefused)
{
    make_place();
    write_book(plain_book());
    start_program();
    do_parity('E');
    hl_ask_answer(false);
    hl_quit();
    run_ticks(30);
    EXPECT_TRUE(moreToDo) << "cancelled";
    hl_ask_answer(true, {}, 1);
    hl_quit();
    run_ticks(30);
    EXPECT_FALSE(moreToDo);
    finish_up();
    EXPECT_EQ(find(read_book(), FOUR("Dial"), 3000)->data[2], 'E');
}

// A signal must end the program also while it asks which port to use.
TEST(End, ARequestToQuitPutsAwayTheDialogInItsWay)
{
    make_place();
    write_book(modem_book("No such port"));
    ae_queue_start(nullptr, 0);
    hl_modal([](WindowPtr) { hl_quit(); });
    EXPECT_EQ(QuillonMain(), 0);

    hl_ask_answer(true, {}, kNavSave);
    hl_quit();
    EXPECT_EQ(NavAskSaveChanges(PSTR("x")), int(kNavCancel));
}

static be_session_answer answered;
static std::string bookThen; // as the session was answered

static void end_session(be_may_ask *mayAsk)
{
    answered = up_session_end(mayAsk);
    bookThen = read_bytes(book_path());
}

// The session ends everything once it has its answer.
TEST(End, TheSessionIsAnsweredOnlyWhenTheBookIsSaved)
{
    make_place();
    write_book(plain_book());
    start_program();
    std::string book = read_bytes(book_path());
    do_parity('E');

    // Refused.
    hl_ask_answer(false);
    hl_after(1, [] { end_session([] { return true; }); });
    run_ticks(30);
    EXPECT_EQ(answered, BE_SESSION_REFUSED);
    EXPECT_EQ(bookThen, book);
    EXPECT_TRUE(moreToDo);

    // In the middle of a dialog: a moment later.
    hl_modal([](WindowPtr) { end_session([] { return true; }); });
    EXPECT_FALSE(portonly_set());
    EXPECT_EQ(answered, BE_SESSION_LATER);
    hl_ask_answer(false);
    run_ticks(30);
    EXPECT_TRUE(moreToDo) << "the request that had been queued was refused";

    // Agreed without saving: the end that follows doesn't ask again.
    hl_ask_answer(true, {}, kNavDontSave);
    hl_after(1, [] { end_session([] { return true; }); });
    run_ticks(30);
    EXPECT_EQ(answered, BE_SESSION_SAVED);
    EXPECT_EQ(bookThen, book);
    EXPECT_TRUE(moreToDo) << "another program may yet refuse";
    hl_quit();
    run_ticks(30);
    EXPECT_FALSE(moreToDo);
    moreToDo = 1;

    // Nobody can be asked: what was changed is kept.
    hl_after(1, [] { end_session([] { return false; }); });
    run_ticks(30);
    EXPECT_EQ(answered, BE_SESSION_SAVED);
    finish_up();
    EXPECT_EQ(bookThen, read_bytes(book_path())) << "nothing was left to save";
    EXPECT_EQ(find(read_book(), FOUR("Dial"), 3000)->data[2], 'E');
}

TEST(End, FilesLieOnlyInTheirPlaces)
{
    std::string place = make_place();
    write_book(plain_book());
    EXPECT_EQ(run_program(), 0);
    int found = 0;
    for (const auto &e : std::filesystem::recursive_directory_iterator(place)) {
        const std::string f = e.path().string().substr(place.size());
        found += e.is_regular_file();
        EXPECT_TRUE(!e.is_regular_file() ||
                    f.rfind("/.config/quillon/", 0) == 0 ||
                    f.rfind("/.local/share/quillon/", 0) == 0 ||
                    f.rfind("/.local/state/quillon/", 0) == 0)
            << f;
    }
    EXPECT_GT(found, 0);
}
