// A place of its own for a test of the program: folders, a book written
// record by record, a line to a scripted host, and a run from start to end.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "connect/Settings.h"
#include "platform/files.h"
#include "platform/types.h"

// Makes empty folders for settings, data, state and downloads, and points the
// environment at them. Returns the folder above. It goes when the test ends.
// In memory, if there is such a place, writing to disk costs no time.
std::string make_place(bool inMemory = false);

// The standard book of the place: its path, and its file specification.
std::string book_path();
FSSpec book_spec();

std::string read_bytes(const std::string &path);
void write_bytes(const std::string &path, const std::string &bytes);

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
// its list, macros, settings, global strings. The line is made.
Book plain_book();

std::string pstring_text(ConstStr s);
std::string glob(int16_t index);
std::string local(int16_t index);

// Starts the program on the place's book; it stands, waiting for events.
void start_program();
// Turns passes of the main loop for that long.
void run_ticks(uint32_t ticks);
// Runs the whole program from start to end; `act` happens after `ticks`, and
// the session ends a second later.
int run_program(uint32_t ticks = 30, std::function<void()> act = {});
