// Length-prefixed strings.
#include "base/pstr.h"

#include <cstring>

constexpr int kLongest = 255;

const uint8_t sp_str[2] = {1, ' '};

uint8_t *pstrcpy(uint8_t *destination, const uint8_t *source)
{
    memmove(destination, source, size_t(source[0]) + 1);
    return destination;
}

uint8_t *pstrcat(uint8_t *destination, const uint8_t *source)
{
    int have = destination[0], more = source[0];

    if (have + more > kLongest)
        more = kLongest - have;
    memmove(destination + 1 + have, source + 1, size_t(more));
    destination[0] = uint8_t(have + more);
    return destination;
}

void pstrcatchr(uint8_t *destination, uint8_t byte)
{
    if (destination[0] == kLongest)
        return;
    destination[0]++;
    destination[destination[0]] = byte;
}

int pstrequal(const uint8_t *a, const uint8_t *b)
{
    return a[0] == b[0] && memcmp(a + 1, b + 1, a[0]) == 0;
}
