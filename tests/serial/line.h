// A line for the tests of the serial code: sockets whose messages keep the
// bounds of writes, a window with a screen, and settings of the test's own.
#pragma once

#include <string>

extern int far; // the host's end, not blocking

void start_line();                    // buffers, window, both ends
void host_says(const std::string &s); // one message: one read
std::string host_heard();             // all that has come
std::string screen_row(int n);        // without blanks at its end
std::string scratch_folder();         // gone when the test ends
