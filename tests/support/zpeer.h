// The other end of a ZMODEM transfer, on the false line: one that says what is
// written down, and one that receives.
#pragma once

#include "tests/support/frames.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

// ---- the scripted peer -----------------------------------------------------

// Answers frames of the program. `rows` are used in order: each waits for a
// frame of its type, then says its text. Frames that no row waits for are
// only noted.
struct peer_row {
    int type;
    std::string say;
    std::function<void(const frame &)> act = {};
};
using peer_rows = std::vector<peer_row>;

// Rows in short: "1 offer 9 data+eof" says to the first ZRINIT the word "offer"
// of `words`, to the first ZRPOS behind it two words.
peer_rows peer_rows_of(const std::string &text,
                       const std::map<std::string, std::string> &words);

struct scripted_peer {
    peer_rows rows;
    size_t next = 0;
    frame_reader heard = {};
    std::vector<int> types = {}; // of all frames, in order
    std::string raw = {};        // all bytes

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
