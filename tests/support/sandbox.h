// Folders of a case's own, with all the places of the program in them, and
// what is done with files there.
#pragma once

#include <filesystem>
#include <string>

#include "platform/files.h"

// A folder that is the account's home: settings, data and state lie below it.
// It goes with the object. In memory, if there is such a place, writing to
// disk costs no time.
struct Sandbox {
    std::filesystem::path root;

    explicit Sandbox(bool inMemory = false);
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;
};

// The sandbox of this process: made at the first call, gone at the end.
Sandbox &sandbox();
// The same, but empty again.
Sandbox &fresh_sandbox(bool inMemory = false);
// Its path.
std::string scratch_folder();

// A sandbox with a folder "work", and the numbers by which the program calls
// that folder.
struct Place : Sandbox {
    int16_t vRef = 0;
    int32_t dir = 0;

    Place();
    std::filesystem::path path(const std::string &name) const;
    void write(const std::string &name, const std::string &bytes) const;
    std::string read(const std::string &name) const;
};

// A file of bytes. What can't be read is empty.
std::string read_bytes(const std::filesystem::path &path);
void write_bytes(const std::filesystem::path &path, const std::string &bytes);

// Writes the account's preferences, which the program reads at its start.
void write_prefs(const Sandbox &at, const std::string &toml);

// Bytes as a string with a length byte, for a few calls, and back.
ConstStr P(const std::string &s);
std::string S(ConstStr s);
