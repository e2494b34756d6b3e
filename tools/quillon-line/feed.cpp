// Files to the terminal's model and store, and how long that took.
#include "commands.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "scrollback/savbuf.h"
#include "terminal/VT100.h"

static void feed(const std::vector<uint8_t> &bytes, size_t chunk)
{
    for (size_t at = 0; at < bytes.size(); at += chunk)
        DispChars(bytes.data() + at,
                  int16_t(std::min(chunk, bytes.size() - at)));
}

int cmd_feed(const arguments &args)
{
    using clock = std::chrono::steady_clock;

    const long chunk = args.empty() ? 0 : strtol(args[0].c_str(), nullptr, 10);
    if (args.size() < 2 || chunk < 1 || chunk > 32767) {
        fprintf(stderr, "quillon-line: feed takes a chunk of 1 to 32767 "
                        "bytes and at least one file\n");
        return 2;
    }
    start_terminal();
    size_t total = 0;
    double seconds = 0;
    for (size_t i = 1; i < args.size(); i++) {
        std::vector<uint8_t> bytes;
        if (!read_file(args[i], &bytes))
            return 1;
        const auto start = clock::now();
        feed(bytes, size_t(chunk));
        seconds += std::chrono::duration<double>(clock::now() - start).count();
        total += bytes.size();
    }
    printf("%zu bytes %.6f seconds %ld lines kept\n", total, seconds,
           long(savlines));
    return rows_ok() && sav_ok() ? 0 : 1;
}
