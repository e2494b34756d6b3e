// The whole program on a book of a case's own, from its start to its end.
#pragma once

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>

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
