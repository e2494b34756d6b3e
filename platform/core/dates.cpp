// Dates: seconds since the start of 1904, local time.
//
// A date is local already, so it is taken apart and written as if it were
// universal time; no zone rule is applied a second time.
#include <clocale>
#include <ctime>

#include "platform/backend.h"
#include "platform/core/macroman.h"
#include "platform/types.h"

void GetDateTime(uint32_t *seconds)
{
    *seconds = uint32_t(be_wall_clock() + kUnixIn1904);
}

// By strftime, or by `standard` where the locale has no form of its own. The
// locale is the one that the program's start has chosen.
static void write_date(uint32_t seconds, const char *form, const char *standard,
                       Str255 out)
{
    char text[64];
    tm parts;
    time_t unixTime = time_t(int64_t(seconds) - kUnixIn1904);
    out[0] = 0;
    if (!gmtime_r(&unixTime, &parts))
        return;
    const char *locale = setlocale(LC_TIME, nullptr);
    bool plain = !locale || locale[0] == 'C' || locale[0] == 'P';
    if (strftime(text, sizeof text, plain ? standard : form, &parts) > 0)
        CopyCStringToPascal(utf8_to_macroman(text).c_str(), out);
}

void DateString(uint32_t seconds, Str255 out)
{
    write_date(seconds, "%x", "%Y-%m-%d", out);
}

void TimeString(uint32_t seconds, bool withSeconds, Str255 out)
{
    write_date(seconds, withSeconds ? "%X" : "%H:%M",
               withSeconds ? "%H:%M:%S" : "%H:%M", out);
}
