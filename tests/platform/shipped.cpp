// Whatever the resources ship can be loaded and shown; a text that the program
// asks for is there.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/core/files/resforms.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "tests/support/sandbox.h"

static int16_t id_of(OSType type, int16_t index)
{
    int16_t id = 0;
    GetResInfo(GetIndResource(type, index), &id, nullptr, nullptr);
    return id;
}

TEST(Shipped, EveryMenuLoads)
{
    SetMenuBarFromResource(301);
    int16_t menus = CountResources(FOUR("MENU"));
    EXPECT_GE(menus, 14);
    for (int16_t i = 1; i <= menus; i++) {
        int16_t id = id_of(FOUR("MENU"), i);
        EXPECT_GT(CountMenuItems(GetMenu(id)), 0) << id;
    }
    // F1 to F4 without a string are these four.
    const char keys[] = "zxcv";
    const int16_t items[] = {1, 3, 4, 5};
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(MenuKey(uint8_t(keys[i])), 300 << 16 | items[i]);
}

TEST(Shipped, ListsAreWholeAndHoldWhatIsAskedFor)
{
    for (int16_t i = 1; i <= CountResources(FOUR("STR#")); i++) {
        Handle h = GetIndResource(FOUR("STR#"), i);
        ResReader r{*h, *h + GetHandleSize(h)};
        for (int n = r.u16(); n > 0; n--)
            r.pstring();
        EXPECT_TRUE(r.ok && r.p == r.end) << i;
    }
    struct {
        int16_t list;
        std::initializer_list<int16_t> places;
    } asked[] = {
        {300, {1,  3,  5,  6,  7,  8,  9,  10, 12, 13, 14,
               15, 16, 17, 18, 19, 20, 21, 22, 23, 24}},
        {310, {1, 2, 6, 7}},
        {320, {2, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 16, 17}},
        {360, {1,  2,  3,  4,  5,  6,  7,  8,  9,  11, 12, 13, 15,
               16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 28, 29}},
    };
    for (auto &a : asked)
        for (int16_t place : a.places) {
            Str255 s;
            GetIndString(s, a.list, place);
            EXPECT_GT(s[0], 0) << a.list << " " << place;
        }
}

// The records that a new book starts with.
TEST(Shipped, Templates)
{
    Handle entry = GetNamedResource(FOUR("Dial"), P(".Default"));
    ASSERT_TRUE(entry);
    ASSERT_EQ(GetHandleSize(entry), 136);
    const uint8_t *c = *entry;
    EXPECT_EQ(std::memcmp(c + 2, "N81", 3), 0);
    EXPECT_EQ(c[10], 0);                                 // a direct line
    EXPECT_EQ(std::memcmp(c + 128, "\0\1\xC2\0", 4), 0); // 115200

    Handle settings = GetResource(FOUR("qSet"), 0);
    ASSERT_EQ(GetHandleSize(settings), 428);
    Str255 modem;
    std::memcpy(modem, *settings + 224, 32);
    Handle list = GetNamedResource(FOUR("STR#"), modem);
    ASSERT_TRUE(list); // the book looks the modem list up by this name
    for (int16_t id : {1000, 1001, 1002}) {
        Str255 pattern;
        GetIndString(pattern, id, 10);
        EXPECT_GT(pattern[0], 1) << id;
    }
    Handle macros = GetResource(FOUR("STR#"), 0);
    ASSERT_TRUE(macros);
    EXPECT_EQ((*macros)[1], 20);
}
