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
// The same, with the strings as one text: "a||c".
std::string list_text(const std::string &strings);
std::string text_of_list(const std::string &bytes);
std::string dial_data(const std::function<void(cset_t &)> &change = {});
std::string qset_data(const std::function<void(qset_t &)> &change = {});
// A Dial or qSet record with other fields, "bsKey=8 dataChar='7' oldPhone=555":
// numbers, characters, texts without blanks. Of several numbers, "1,2", the
// last one fills the field.
std::string with(std::string record, const std::string &fields);

// A sound book of the present layout: one entry "Local" on the scripted line,
// its list, macros, global strings, settings. The line is made.
Book plain_book();
enum { kEntry, kEntryList, kMacros, kGlobals, kSettings };
