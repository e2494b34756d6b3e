// tools/demohost/modem.h
// The modem in front of the host: commands, result codes, the way back from
// the connection by "+++". Also the reading that the host's pages use, since
// every byte of theirs passes the modem.
#pragma once

#include <string>

constexpr int kHungUp = -2;  // the call is over; unwind to the modem

// Command mode with no call. Returns when there is one.
void modem_idle();

// A key of the caller: a byte, kTimeout after `ms` (negative: for ever), or
// kHungUp. "+++" between two silences leads to command mode within it.
int host_key(int ms);

// Reads a line with echo ('*' for each byte with `hidden`), edited by BS and
// DEL. False when hung up. A line that is a modem command is obeyed here, as
// programs send their set-up string without asking who listens.
bool host_line(std::string &out, bool hidden = false);

// For what relays bytes by itself: tells the modem of bytes and of time
// passing. False when the call is over.
bool modem_saw(const unsigned char *bytes, int count);
int modem_patience();  // ms until modem_due must be asked, -1: not needed
bool modem_due();

void modem_say(const char *result);  // a result code in words
