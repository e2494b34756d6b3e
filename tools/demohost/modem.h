// tools/demohost/modem.h
// The modem in front of the host: commands, result codes, the way back from
// the connection by "+++". Also the reading that the host's pages use, since
// every byte of theirs passes the modem.
#pragma once

#include <string>

constexpr int kHungUp = -2; // the call is over; unwind to the modem

// Command mode with no call. Returns when there is one.
void modem_idle();

// A key of the caller: a byte, kTimeout after `ms` (negative: for ever), or
// kHungUp. "+++" between two silences leads to command mode within it.
int host_key(int ms);

// Prompts and reads a line with echo ('*' for each byte with `hidden`), edited
// by BS and DEL. False when hung up. A line that is a modem command is obeyed
// here, as programs send their set-up string without asking who listens.
bool host_line(const char *prompt, std::string &out, bool hidden = false);

// For what relays bytes by itself: tells the modem of bytes and of time
// passing. False when the call is over.
bool modem_saw(const unsigned char *bytes, int count);
int modem_patience(); // ms until modem_due must be asked, -1: not needed
bool modem_due();

// How a call ended that came to kHungUp: by the caller, who has been told, or
// because he dialled anew and is through. Asking forgets it.
enum call_end { kHostEnded, kCallerEnded, kDialledAnew };
call_end modem_call_end();

void modem_say(const char *result); // a result code in words
