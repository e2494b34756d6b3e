// Numbers out of text.
#include "base/atol.h"

static const char *scan(const char *text, int32_t *value, uint32_t base)
{
    bool negative = false;
    uint32_t n = 0; // unsigned, so that too many digits wrap

    while (*text == ' ')
        text++;
    if (*text == '-' || *text == '+')
        negative = *text++ == '-';
    while (*text >= '0' && uint32_t(*text - '0') < base)
        n = n * base + uint32_t(*text++ - '0');
    *value = int32_t(negative ? 0 - n : n);
    return text;
}

const char *atolp(const char *text, int32_t *value)
{
    return scan(text, value, 10);
}

const char *atoop(const char *text, int32_t *value)
{
    return scan(text, value, 8);
}
