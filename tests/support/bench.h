// The test bench of the transfers: a terminal in memory, a receive folder of
// the case's own, and a peer on a line whose time is false.
#pragma once

#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/headless/headless.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "tests/support/sandbox.h"
#include "tests/support/zpeer.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// ---- folders and files -----------------------------------------------------

std::string scratch(); // the receive folder, gone at the end
void write_file(const std::string &name, const std::string &bytes);
std::string read_file(const std::string &name); // in the scratch folder
bool file_there(const std::string &name);
std::vector<std::string> folder_list();       // names, without sidecars
std::string partial(const std::string &name); // with the mark behind

// A file with the date 14524770400 (octal).
void put_file(const std::string &name, const std::string &bytes);
// "name:length" of all files; "..." is a partial one, "ZRcv" any made-up name.
std::string folder();

// ---- the program -----------------------------------------------------------

// Terminal, settings, buffers, an empty receive folder, a new line, and nothing
// left of what was under way. `escape` is the setting that escapes all control
// characters.
void start_bench(char convert = 'B', bool escape = false);
std::string screen(); // all rows, joined by "\n", without trailing blanks
void expect_shown(const std::string &words); // on the screen
std::string log_text();                      // the transfer log
void pump_port(); // what has come goes to the terminal

// Makes files[i] of the scratch folder the files to send.
int choose_files(const std::vector<std::string> &names);

// The user cancels in so many ticks: the time when. What then holds after a
// transfer on a line of seven bits: it took so many ticks at most, and all is
// as it was.
uint32_t cancel_after(uint32_t ticks);
void expect_cancelled(uint32_t pressed, uint32_t most);

std::string many(const std::string &one); // again and again, 100,000 bytes
std::string random_bytes(size_t count, unsigned seed = 1);
std::string all_bytes(size_t count); // 0 to 255, again and again
