// Relocatable blocks: moving, locking, the budget, failures.
#include "platform/memory.h"

#include <gtest/gtest.h>

#include <cstring>

// A kept pointer must show at once, so a debug build moves at every resize;
// the bytes stay. A locked block stays in its place and can only shrink.
TEST(Memory, ResizeKeepsTheBytesAndMovesUnlessLocked)
{
    Handle h = NewHandle(10);
    ASSERT_TRUE(h);
    std::memcpy(*h, "0123456789", 10);
    for (int32_t size : {11, 4000, 4000, 100, 10}) {
        uint8_t *before = *h;
        SetHandleSize(h, size);
        EXPECT_EQ(MemError(), noErr);
        EXPECT_EQ(GetHandleSize(h), size);
        EXPECT_EQ(std::memcmp(*h, "0123456789", 10), 0);
#ifndef NDEBUG
        EXPECT_NE(*h, before);
#endif
    }
    int8_t state = HGetState(h);
    HLock(h);
    uint8_t *before = *h;
    const std::pair<int32_t, OSErr> rows[] = {
        {11, memFullErr}, {5, noErr}, {10, memFullErr}};
    for (auto &[size, err] : rows) {
        SetHandleSize(h, size);
        EXPECT_EQ(MemError(), err) << size;
        EXPECT_EQ(*h, before);
    }
    EXPECT_EQ(GetHandleSize(h), 5);
    HSetState(h, state);
    SetHandleSize(h, 101);
    EXPECT_EQ(MemError(), noErr);
    DisposeHandle(h);
}

// Each way to take memory fails once, leaves what there was, and works again.
TEST(Memory, FailureLeavesEverythingAsItWas)
{
    Handle h = NewHandle(4);
    std::memcpy(*h, "abcd", 4);
    int32_t before = FreeMem();
    Handle copy = h;

    mem_fail_nth(1);
    EXPECT_EQ(NewHandle(1), nullptr);
    EXPECT_EQ(MemError(), memFullErr);
    mem_fail_nth(1);
    EXPECT_EQ(NewPtr(1), nullptr);
    mem_fail_nth(1);
    EXPECT_EQ(HandToHand(&copy), memFullErr);
    EXPECT_EQ(copy, h);
    mem_fail_nth(2);
    SetHandleSize(h, 3); // shrinking takes nothing
    SetHandleSize(h, 4);
    EXPECT_EQ(MemError(), noErr);
    SetHandleSize(h, 5);
    EXPECT_EQ(MemError(), memFullErr);

    EXPECT_EQ(GetHandleSize(h), 4);
    EXPECT_EQ(std::memcmp(*h, "abc", 3), 0);
    EXPECT_EQ(FreeMem(), before);
    EXPECT_EQ(HandToHand(&copy), noErr);
    EXPECT_NE(copy, h);
    EXPECT_EQ(std::memcmp(*copy, *h, 4), 0);
    DisposeHandle(copy);
    EXPECT_EQ(FreeMem(), before);
    DisposeHandle(h);
}

TEST(Memory, BudgetBoundsWhatCanBeTaken)
{
    mem_set_budget(1000);
    Handle h = NewHandle(600);
    ASSERT_TRUE(h);
    EXPECT_EQ(NewPtr(401), nullptr);
    Ptr p = NewPtr(400);
    ASSERT_TRUE(p);
    EXPECT_EQ(FreeMem(), 0);
    SetHandleSize(h, 601);
    EXPECT_EQ(MemError(), memFullErr);
    DisposePtr(p);
    SetHandleSize(h, 1000);
    EXPECT_EQ(MemError(), noErr);
    mem_set_budget(10);
    EXPECT_EQ(FreeMem(), 0); // never below
    for (int32_t wrong : {-1, INT32_MIN})
        EXPECT_TRUE(!NewHandle(wrong) && !NewPtr(wrong));
}
