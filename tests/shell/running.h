// A program that stands on a sound book, with its line quiet.
#pragma once

#include <gtest/gtest.h>

#include "platform/headless/headless.h"
#include "terminal/VT100.h"
#include "tests/connect/book.h"

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
