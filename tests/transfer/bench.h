// The test bench of the transfers: a terminal in memory, a receive folder of
// the test's own, and a scripted peer on a line whose time is false.
#pragma once

#include "frames.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

// ---- folders and files -----------------------------------------------------

std::string scratch(); // folder of this test, gone at its end
void write_file(const std::string &name, const std::string &bytes);
std::string read_file(const std::string &name); // in the scratch folder
bool file_there(const std::string &name);
std::vector<std::string> folder_list();       // names, without sidecars
std::string partial(const std::string &name); // with the mark behind

// ---- the program -----------------------------------------------------------

// Terminal, settings, buffers, receive folder, line. `escape` is the setting
// that escapes all control characters.
void start_bench(char convert = 'B', bool escape = false);
std::string screen();   // all rows, joined by "\n", without trailing blanks
std::string log_text(); // the transfer log
void pump_port();       // what has come goes to the terminal

// Makes files[i] of the scratch folder the files to send.
int choose_files(const std::vector<std::string> &names);

std::string random_bytes(size_t count, unsigned seed = 1);
std::string all_bytes(size_t count); // 0 to 255, again and again

// ---- the scripted peer -----------------------------------------------------

// Answers frames of the program. `rows` are used in order: each waits for a
// frame of its type, then says its text. Frames that no row waits for are
// only noted.
struct peer_row {
    int type;
    std::string say;
    std::function<void(const frame &)> act; // may be empty
};
struct scripted_peer {
    std::vector<peer_row> rows;
    size_t next = 0;
    frame_reader heard;
    std::vector<int> types; // of all frames, in order
    std::string raw;        // all bytes

    void start(); // listens from now on
    bool done() const { return next == rows.size(); }
    std::string type_list() const; // "1 9 3 8"
};

// ---- the receiver at work --------------------------------------------------

// Takes what a sender gives, as a receiver does. `instead` replaces its answer
// to the nth frame of a type (from 0): to a header for those without data, to
// the first subpacket for the others.
struct live_receiver {
    std::string init;   // its ZRINIT
    uint32_t start = 0; // position of its ZRPOS
    std::map<std::pair<int, int>, std::string> instead;
    std::function<void(const frame &, size_t)> packet; // each subpacket

    frame_reader heard;
    std::vector<int> types;
    std::string raw;
    std::map<uint32_t, std::string> parts; // by position, of the last file
    std::vector<uint32_t> asked; // positions at which an answer was wanted

    live_receiver();
    void begin(); // listens from now on
    std::string type_list() const;
    std::string file() const; // what the parts make

private:
    size_t packetsSeen = 0;   // of the last frame
    std::map<int, int> count; // frames of a type so far
    void answer(const frame &f, const std::string &usual);
    void take_packet(const frame &f, size_t i);
    void take_head(const frame &f);
};
