// Plays every script of this folder, whole and byte by byte.
#include "script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

std::vector<std::string> script_names()
{
    std::vector<std::string> names;

    for (const auto &entry : std::filesystem::directory_iterator(TEST_DIR)) {
        if (entry.path().extension() == ".test")
            names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class Script : public testing::TestWithParam<std::string> {
protected:
    std::string path() const
    {
        return std::string(TEST_DIR) + "/" + GetParam() + ".test";
    }
};

TEST_P(Script, Whole)
{
    EXPECT_EQ(run_script(path(), false), "");
}

TEST_P(Script, ByteByByte)
{
    EXPECT_EQ(run_script(path(), true), "");
}

INSTANTIATE_TEST_SUITE_P(Terminal, Script, testing::ValuesIn(script_names()),
                         [](const auto &row) { return row.param; });

} // namespace
