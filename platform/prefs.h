// System preferences of this user, from prefs.toml in the settings folder:
// lines of key = integer.
#pragma once

#include "platform/types.h"

// The value, or 0 with *exists false. A malformed file counts as empty and is
// reported once on standard error.
int32_t PrefInteger(const char *key, bool *exists);
