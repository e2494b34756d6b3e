// Dates as this program counts them, in seconds since the start of 1904 by
// local time, and as the line and other systems do, in seconds since the start
// of 1970 by universal time.
#pragma once

#include <cstdint>

int32_t zGetGMTOffset(); // seconds east of Greenwich, 0 if not known

uint32_t date_from_unix(uint32_t seconds);
uint32_t date_to_unix(uint32_t date);
