// The whole program on a book of a case's own, from its start to its end.
#pragma once

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/headless/headless.h"
#include "shell/Quillon.h"
#include "tests/support/book.h"

// An empty account for the program. Returns its folder.
std::string make_place(bool inMemory = false);

// Strings of the book in use.
std::string glob(int16_t index);
std::string local(int16_t index);

// Starts the program on the place's book; it stands, waiting for events.
void start_program();
// Turns passes of the main loop for that long.
void run_ticks(uint32_t ticks);
// Runs the whole program from start to end; `act` happens after `ticks`, and
// the session ends a second later.
int run_program(uint32_t ticks = 30, std::function<void()> act = {});

// What the user was told so far: all messages, and whether words are in them.
std::string all_messages();
bool told(const std::string &words);

// Runs a case in a process and a place of its own, as the program's state can't
// be made fresh. False if an expectation failed there, which is shown. The case
// has no place of its own yet.
inline bool apart(const std::function<void()> &run)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        make_place();
        std::filesystem::path root = sandbox().root;
        run();
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
}

// A program that stands on a sound book, with its line quiet.
class Running : public testing::Test {
protected:
    void SetUp() override
    {
        make_place();
        write_book(plain_book());
        start_program();
        ASSERT_TRUE(myWindow);
        hl_line_heard();
    }
};
