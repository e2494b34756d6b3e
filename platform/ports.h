// Serial ports: which there are, and why one can't be opened. The open one is
// platform/line.h.
#pragma once

#include "platform/types.h"

constexpr int kMaxPorts = 40;

struct PortEntry {
    Str255 name;    // what a person reads: "FT232R USB UART (ttyUSB0)"
    char path[256]; // what is opened; "demo:" stands for the demo host
};

// The ports of this machine, without opening one: USB adapters, then the ports
// with hardware behind them, each by name, then the demo host. Returns their
// number; past `max` the last place is the demo host's.
int port_list(PortEntry *out, int max);

// Why it can't be opened, for the user: group and command for EACCES, the
// holder for EBUSY, "unplugged?" for ENOENT. Empty when there is no more to
// say than the number.
void port_why(const char *path, int error, Str255 out);

// Whether the device of that path is there (again). Costs one stat.
bool port_present(const char *path);
