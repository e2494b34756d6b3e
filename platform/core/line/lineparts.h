// The line's inside, for the wait and for tests: what a wait watches, and the
// device below the line.
#pragma once

#include "platform/line.h"

// ---- the line in a wait ----------------------------------------------------

// What a wait has to watch. The ones that are reported end it; the others are
// for the layer itself.
struct LineWatch {
    int fd; // -1: nothing
    bool read, write;
    bool atOnce;     // bytes are at hand already
    bool reportRead; // else they are read ahead
    bool reportRoom; // else the rest is pushed
};

// For a wait that ends with the line (`ends`) or doesn't, and that sleeps or
// only asks. Writes what has been gathered.
LineWatch line_watch(bool ends, bool sleeps);

// Takes what the wait saw of the line (BE_READ, BE_WRITE); answers what of it
// ends the wait.
unsigned line_saw(const LineWatch &watch, unsigned got);

void line_waited(); // a wait that sleeps is over

// The program reads the line, and nothing has moved for a while.
bool line_idle(int64_t now);

// ---- the device ------------------------------------------------------------
// A descriptor, its terminal settings, and the plain calls of the system with
// the codes of platform/line.h.

int device_open(const char *path);
void device_close(int fd);
void device_short_queue(int fd); // bounds what waits in a socket
int32_t device_read(int fd, void *to, int32_t count);
int32_t device_write(int fd, const void *from, int32_t count);
int device_shape(int fd, int32_t speed, int databits, char par, uint8_t flow);
int device_flow(int fd, uint8_t flow);
int device_speed(int fd, int32_t speed, bool drain);
int device_break(int fd, int16_t duration);
