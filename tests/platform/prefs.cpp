#include "platform/prefs.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

static std::string pref(const char *key)
{
    bool exists = false;
    int32_t value = PrefInteger(key, &exists);
    return exists ? std::to_string(value) : value == 0 ? "-" : "wrong";
}

TEST(Prefs, WithoutAFile)
{
    Place at;
    EXPECT_EQ(pref("breakSim"), "-");
    EXPECT_EQ(PrefInteger("breakSim", nullptr), 0);
}

// Only integers outside of tables are ours; the rest of TOML is passed over.
TEST(Prefs, IntegersAreRead)
{
    Place at;
    write_prefs(at, "# ours\r\n"
                    "breakSim = 250 # baud\r\n"
                    "'quoted' = -7\n"
                    "\"also\"=1_000\n"
                    "hex = 0x1F\n"
                    "\n"
                    "name = \"12\"\n"
                    "yes = true\n"
                    "[other]\n"
                    "breakSim = 1\n"
                    "inside = 2\n");
    EXPECT_EQ(pref("breakSim"), "250");
    EXPECT_EQ(pref("quoted"), "-7");
    EXPECT_EQ(pref("also"), "1000");
    EXPECT_EQ(pref("hex"), "31");
    for (const char *other : {"name", "yes", "inside", "BreakSim"})
        EXPECT_EQ(pref(other), "-") << other;
}

// A malformed file counts as empty, and the line is told.
TEST(Prefs, MalformedLinesAreTold)
{
    for (const char *bad :
         {"breakSim 5", "= 5", "a b = 5", "breakSim = 99999999999",
          "breakSim = 5x", "breakSim = 1__0", "breakSim = ", "[open"}) {
        Place at;
        write_prefs(at, "fine = 1\n" + std::string(bad) + "\n");
        // Read once in a run, so each in a process of its own.
        EXPECT_EXIT(
            {
                bool empty = pref("fine") == "-" && pref("breakSim") == "-";
                std::exit(empty ? 0 : 1);
            },
            testing::ExitedWithCode(0), "prefs.toml, line 2")
            << bad;
    }
}
