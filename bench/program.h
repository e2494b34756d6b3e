// The program on the offscreen platform, its window shown, with a
// pseudo-terminal as its line.
#pragma once

// Starts it and returns the other end of the line. A failure is reported,
// and the process ends with 1.
int program_on_pty(int argc, char **argv);
