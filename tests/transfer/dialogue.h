// A peer of any protocol that follows a table of rows, one step a row, on the
// false clock:
//
//     play("a lost block",
//          {hears("C"), says(block(1)), hears("\x06"), silence(60),
//           says("\x04"), hears("\x06")},
//          [] { EXPECT_EQ(rz(kModeX), 0); });
//
// Each byte that the program sends belongs to a row that hears it. The first
// one that fits no row fails the case with both sides shown, and from then on
// the peer is silent, so the program ends by its own time-outs.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct dialogue_row {
    enum { say, hear, rest, silence, fact } kind;
    std::string bytes;
    int32_t least = 0, most = 0; // ticks
    std::function<void()> act;
};
using dialogue_rows = std::vector<dialogue_row>;

dialogue_row says(const std::string &bytes);

// The next bytes of the program are these. With limits, the first of them
// comes so many ticks (1/60 s) after the row before was done.
dialogue_row hears(const std::string &bytes, int32_t least = 0,
                   int32_t most = INT32_MAX);
dialogue_row hears_the_rest(); // as the last: whatever comes until the end
dialogue_row silence(int32_t ticks);          // the peer rests
dialogue_row cancels();                       // the user presses Command-period
dialogue_row does(std::function<void()> act); // a fact, an answer, a fault

// `n` times the rows, one behind the other.
dialogue_rows times(int n, const dialogue_rows &rows);
dialogue_rows operator+(dialogue_rows a, const dialogue_rows &b);

// Rows in short, parted by blanks, with names of what is said:
//
//     >a+b      says a and b        <a+b      hears them
//     <a@6-60   hears a after 6 to 60 ticks
//     ~60       rests 60 ticks      !         the user cancels
//     &         calls `act`         <*        hears whatever comes, as the last
//     5x<a      the row five times
//
// A name that `words` doesn't have stands for its own letters.
using dialogue_words = std::map<std::string, std::string>;
dialogue_rows rows_of(const std::string &text, const dialogue_words &words,
                      const std::function<void()> &act = {});

// Plays the rows while `run` runs. The case fails if a row doesn't fit or is
// never reached. The line is that of start_bench.
void play(const std::string &name, const dialogue_rows &rows,
          const std::function<void()> &run);
