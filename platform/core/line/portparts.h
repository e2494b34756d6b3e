// The port service's parts that tests look at.
#pragma once

#include "platform/ports.h"

// port_list on a system whose root folder is `root` (no slash at its end; ""
// is the real one).
int port_list_under(const char *root, PortEntry *out, int max);

// A string of the service's list.
void port_text(int16_t index, Str255 out);

constexpr char kDemoPath[] = "demo:";

// Starts the demo host behind a new pseudo-terminal. The end to use, or minus
// the errno.
int demo_open();
// Where its program lies: $QUILLON_DEMOHOST, beside this program, or where it
// is installed. Empty when it is nowhere.
void demo_program(char *out, size_t size);
