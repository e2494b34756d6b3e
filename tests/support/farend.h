// A line whose other end is the case: sockets or a pseudo-terminal.
#pragma once

#include <string>

extern int far; // the host's end, not blocking

// Makes a pair of sockets the line: SOCK_SEQPACKET keeps the bounds of writes,
// SOCK_STREAM is full some time.
void use_pair(int type);

// Settings of the case's own, buffers, a window with a screen, a line that
// keeps the bounds of writes.
void start_line();

void host_says(const std::string &s); // one message: one read
std::string host_heard();             // all that has come
std::string screen_row(int n);        // without blanks at its end

struct pty {
    int master; // not blocking
    char path[64];
};
pty make_pty();
