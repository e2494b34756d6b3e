// The test bench of the transfers: a terminal in memory, a receive folder of
// the test's own, and a scripted peer on a line whose time is false.
#pragma once

#include "frames.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// ---- folders and files -------------------------------------------------------

std::string scratch();  // folder of this test, gone at its end
void write_file(const std::string &name, const std::string &bytes);
std::string read_file(const std::string &name);  // in the scratch folder
bool file_there(const std::string &name);
std::vector<std::string> folder_list();  // names, without sidecars
std::string partial(const std::string &name);  // with the mark behind

// ---- the program ------------------------------------------------------------

// Terminal, settings, buffers, receive folder, line. `escape` is the setting
// that escapes all control characters.
void start_bench(char convert = 'B', bool escape = false);
std::string screen();  // all rows, joined by "\n", without trailing blanks
std::string log_text();  // the transfer log
void pump_port();        // what has come goes to the terminal

// Makes files[i] of the scratch folder the files to send.
int choose_files(const std::vector<std::string> &names);

std::string random_bytes(size_t count, unsigned seed = 1);
std::string all_bytes(size_t count);  // 0 to 255, again and again

// ---- the scripted peer ---------------------------------------------------------

// Answers frames of the program. `rows` are used in order: each waits for a
// frame of its type, then says its text. Frames that no row waits for are
// only noted.
struct peer_row {
    int type;
    std::string say;
    std::function<void(const frame &)> act;  // may be empty
};
struct scripted_peer {
    std::vector<peer_row> rows;
    size_t next = 0;
    frame_reader heard;
    std::vector<int> types;  // of all frames, in order
    std::string raw;         // all bytes

    void start();  // listens from now on
    bool done() const { return next == rows.size(); }
    std::string type_list() const;  // "1 9 3 8"
};
