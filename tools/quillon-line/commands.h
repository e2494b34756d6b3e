// The subcommands of quillon-line. Each gets what stands behind its name and
// answers the exit code: 0, 1 when something failed, 2 for a wrong call.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using arguments = std::vector<std::string>;

int cmd_feed(const arguments &args);
int cmd_send(const arguments &args); // transfer.cpp
int cmd_receive(const arguments &args);

// The whole file; false, with a line on stderr, if it can't be read.
bool read_file(const std::string &path, std::vector<uint8_t> *bytes);

// The terminal in memory: 24x80, settings of a new connection, store on, the
// view hidden, no bell. The clock is the real one.
void start_terminal();
