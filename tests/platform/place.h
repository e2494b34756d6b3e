// A folder of its own for each case, with all the places of the program in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/files.h"

struct Place {
    std::filesystem::path root;
    int16_t vRef = 0;
    int32_t dir = 0;

    Place()
    {
        const char *base = std::getenv("TMPDIR");
        std::string name = base ? base : "/tmp";
        name += "/quillon-test-XXXXXX";
        root = mkdtemp(name.data());
        setenv("HOME", root.c_str(), 1);
        for (const char *v :
             {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
            unsetenv(v);
        std::filesystem::create_directory(root / "work");
        FSSpec spec;
        (void)FSSpecFromPath((root / "work" / "x").c_str(), &spec);
        vRef = spec.vRefNum;
        dir = spec.parID;
    }
    ~Place()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    std::filesystem::path path(const std::string &name) const
    {
        return root / "work" / name;
    }
    void write(const std::string &name, const std::string &bytes) const
    {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string read(const std::string &name) const
    {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

// A literal's bytes as a string with a length byte; one at a time.
inline ConstStr P(const std::string &s)
{
    static uint8_t slots[8][256];
    static int turn;
    uint8_t *out = slots[turn++ % 8];
    out[0] = uint8_t(s.size());
    s.copy(reinterpret_cast<char *>(out + 1), s.size());
    return out;
}

inline std::string S(ConstStr s)
{
    return {reinterpret_cast<const char *>(s + 1), s[0]};
}
