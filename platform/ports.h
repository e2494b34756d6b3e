// Serial ports: which there are, and what a terminal device needs beyond the
// plain system calls.
#pragma once

#include "platform/types.h"

constexpr int kMaxPorts = 40;

struct PortEntry {
    Str255 name;    // what a person reads: "FT232R USB UART (ttyUSB0)"
    char path[256]; // what is opened; "demo:" stands for the demo host
};

// Real ports in a stable order, then the demo host. Never opens one.
int port_list(PortEntry *out, int max);

// Opens a device or a pseudo-terminal non-blocking, never as controlling
// terminal, in raw mode, and remembers how it was found. A descriptor above
// 0, or minus the errno.
int port_open(const char *path);
void port_close(int fd); // gives the line back as found

// Why it can't be opened, for the user: group and command for EACCES, the
// holder for EBUSY, "unplugged?" for ENOENT. Empty when there is no more to
// say than the number.
void port_why(const char *path, int error, Str255 out);

// The line's shape. Any speed; `databits` 7 or 8, `par` 'N' 'E' 'O'. Flow
// bits: 0x04 XON/XOFF on output, 0x02 on input, 0x18 hardware. Answers 0 or
// the errno (a pseudo-terminal takes what it can).
int port_shape(int fd, int32_t speed, int databits, char par, uint8_t flow);
int port_flow(int fd, uint8_t flow); // flow alone
int port_speed(int fd, int32_t speed, bool drain);
int port_break(int fd, int16_t duration); // the real one

// Bytes as read() and write() do, with two differences: minus the errno in
// place of -1, and a line that has gone is -28 (ENOSPC never comes from a
// terminal). A pseudo-terminal whose other end closed counts as gone.
//
// Nothing is lost while the line stands: a write that finds no room at all
// still takes one byte, which waits here until there is room, ahead of all
// that follows.
//
// A read may take more from the line than it hands out; later reads hand out
// the rest. Nothing watches for that rest: whoever reads goes on until a read
// finds nothing before it waits.
constexpr int kPortGone = -28;
int32_t port_read(int fd, void *to, int32_t count);
int32_t port_write(int fd, const void *from, int32_t count);

// For what is offered once and never again (a key, a reply, a shot of queued
// text): takes all of it, and keeps here what the line has no room for. Past
// kPortHold bytes kept, the rest is lost, and the count taken is less.
constexpr int32_t kPortHold = 4096;
int32_t port_send(int fd, const void *from, int32_t count);

// Between port_gather(fd, true) and port_gather(fd, false) what port_write
// takes is kept together and leaves with one call of the system, which is
// what a call costs on a fast line. What is kept doesn't outlast a wait, nor a
// read that has to ask the system: both call port_settle, which writes it, and
// is true if there was no room for all.
void port_gather(int fd, bool on);
bool port_settle(int fd);

// Writes what is kept, as far as there is room; true while some is left.
bool port_holds(int fd);
bool port_keeps(int fd); // the same without a try to write
void port_drop(int fd);  // forgets what is kept

// Is the device of that path there (again)? Costs one stat.
bool port_present(const char *path);
