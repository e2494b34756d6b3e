// tools/demohost/hostline.h
// The demo host's end of the line: the master of a pseudo-terminal. The other
// end is opened by the terminal program like any serial port. When that is
// closed the line is gone, and this program ends with it, from whatever it is
// doing: none of the calls below returns then.
#pragma once

#include <cstdint>
#include <string>

constexpr int kTimeout = -1;

// Takes `fd`, the master, as the line and makes the pair raw. False if it is
// no pseudo-terminal.
bool line_adopt(int fd);

// Makes a new pair and returns the path of the end to open, or "" on failure.
std::string line_create();

int line_fd();
int line_speed(); // bits per second as set at the other end

// What shall be done before the program ends with its line.
void line_at_end(void (*action)());

// Milliseconds of a clock that only goes forward.
int64_t now_ms();

// The next byte, or kTimeout after `ms` (negative: waits for ever).
int line_key(int ms);
bool line_waiting(); // a byte stands ready
void line_forget();  // drops what has come and isn't read yet

// Sends; waits while the other end doesn't read. XOFF from there holds it back
// until XON, except between line_flow(false) and line_flow(true).
void line_put(const void *bytes, size_t count);
void line_text(const std::string &text); // "\n" goes out as CR LF
void line_flow(bool obeyed);

// Stops output that is under way when Ctrl-C comes: true once, until asked.
bool line_interrupted();
