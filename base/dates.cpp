// Dates of 1904 and of 1970.
#include "base/dates.h"

#include "platform/types.h"

#include <ctime>

int32_t zGetGMTOffset()
{
    std::time_t now = std::time(nullptr);
    std::tm utc = *std::gmtime(&now);
    utc.tm_isdst = -1;
    std::time_t shifted = std::mktime(&utc);
    return shifted == -1 ? 0 : int32_t(now - shifted);
}

uint32_t date_from_unix(uint32_t seconds)
{
    return seconds + uint32_t(zGetGMTOffset()) + kUnixIn1904;
}

uint32_t date_to_unix(uint32_t date)
{
    return date - uint32_t(zGetGMTOffset()) - kUnixIn1904;
}
