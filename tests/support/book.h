// Phone books of a case's own, written and read record by record.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "connect/Settings.h"
#include "platform/types.h"
#include "tests/support/sandbox.h"

// The standard book of the sandbox: its path, and its file specification.
std::string book_path();
FSSpec book_spec();

struct Record {
    OSType type;
    int16_t id;
    std::string name;
    std::string data;
};
using Book = std::vector<Record>;

void write_book(const Book &book);
Book read_book();
const Record *find(const Book &book, OSType type, int16_t id);

// Records as they stand in a file.
std::string list_data(const std::vector<std::string> &strings);
std::vector<std::string> list_strings(const std::string &bytes);
std::string dial_data(const std::function<void(cset_t &)> &change = {});
std::string qset_data(const std::function<void(qset_t &)> &change = {});

// A sound book of the present layout: one entry "Local" on the scripted line,
// its list, macros, global strings, settings. The line is made.
Book plain_book();
enum { kEntry, kEntryList, kMacros, kGlobals, kSettings };
