// Numbers out of zero-terminated text. Both skip spaces (not tabs), take one
// sign, and read digits until a byte that is none; too large a number wraps
// in 32 bits. The value is stored also when there was no digit, as 0. The
// address of the first unused byte comes back, so that a caller sees whether
// a number stood there.
#pragma once

#include <cstdint>

const char *atolp(const char *text, int32_t *value); // decimal
const char *atoop(const char *text, int32_t *value); // octal
