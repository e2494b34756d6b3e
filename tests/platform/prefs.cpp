// Preferences: what is read, what is passed over, what is refused.
#include "platform/prefs.h"

#include <gtest/gtest.h>

#include "tests/support/sandbox.h"

static std::string pref(const char *key)
{
    bool exists = false;
    int32_t value = PrefInteger(key, &exists);
    return exists ? std::to_string(value) : value == 0 ? "-" : "wrong";
}

// Only integers outside of tables are ours; the rest is passed over.
TEST(Prefs, IntegersAreRead)
{
    Place at;
    write_prefs(at, "breakSim = 250 # baud\r\n"
                    "'quoted' = -7\n"
                    "name = \"12\"\n"
                    "[other]\n"
                    "inside = 2\n");
    EXPECT_EQ(pref("breakSim"), "250");
    EXPECT_EQ(pref("quoted"), "-7");
    for (const char *other : {"name", "inside", "BreakSim"})
        EXPECT_EQ(pref(other), "-") << other;
    EXPECT_EQ(PrefInteger("none", nullptr), 0);
}

// A malformed file counts as empty, and the line is reported. No file is none.
TEST(Prefs, MalformedFilesAreReported)
{
    for (const char *bad : {"breakSim 5", "breakSim = 99999999999", ""}) {
        Place at;
        if (*bad)
            write_prefs(at, "fine = 1\n" + std::string(bad) + "\n");
        // Read once in a run, so each in a process of its own.
        EXPECT_EXIT(
            {
                bool empty = pref("fine") == "-" && pref("breakSim") == "-";
                std::exit(empty ? 0 : 1);
            },
            testing::ExitedWithCode(0), *bad ? "prefs.toml, line 2" : "^$")
            << bad;
    }
}
