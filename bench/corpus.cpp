#include "corpus.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

static uint64_t gState;

static uint32_t dice(uint32_t sides)
{
    gState = gState * 6364136223846793005u + 1442695040888963407u;
    return uint32_t(gState >> 33) % sides;
}

static void begin(std::string *out, size_t size)
{
    gState = 20240229;
    out->reserve(size + 4096);
}

[[gnu::format(printf, 2, 3)]] static void add(std::string *out,
                                              const char *format, ...)
{
    char text[1024];
    va_list args;

    va_start(args, format);
    const int n = vsnprintf(text, sizeof text, format, args);
    va_end(args);
    out->append(text, size_t(n));
}

static const char *const kWords[] = {
    "connection", "from",   "device", "eth0",    "link",      "is",
    "up",         "failed", "to",     "mount",   "/dev/sda1", "read-only",
    "packet",     "length", "error",  "timeout", "after",     "retry",
    "buffer",     "flush",  "0x7f3a", "irq",     "handler",   "registered"};

static const char *word()
{
    return kWords[dice(24)];
}

static void add_words(std::string *out, int count)
{
    for (int i = 0; i < count; i++)
        add(out, i ? " %s" : "%s", word());
}

std::string corpus_plain(size_t size)
{
    std::string out;

    begin(&out, size);
    for (uint32_t at = 0; out.size() < size; at += dice(9000)) {
        add(&out, "[%5u.%06u] %s[%u]: ", at / 1000000, at % 1000000, word(),
            dice(30000));
        add_words(&out, 3 + int(dice(6)));
        out += "\r\n";
    }
    out.resize(size);
    return out;
}

std::string corpus_colour(size_t size)
{
    static const char *const levels[] = {
        "\33[32mINFO\33[0m", "\33[1;33mWARN\33[0m", "\33[1;31mERROR\33[0m"};
    std::string out;

    begin(&out, size);
    while (out.size() < size) {
        add(&out, "\33[36m2024-02-29 %02u:%02u:%02u\33[0m %s \33[1m%s\33[0m: ",
            dice(24), dice(60), dice(60), levels[dice(3)], word());
        add_words(&out, 2 + int(dice(4)));
        add(&out, " \33[34m%s\33[0m=\33[4m%u\33[0m\r\n", word(), dice(100000));
    }
    out.resize(size);
    return out;
}

static void paint(std::string *out, int rows, int cols)
{
    for (int row = 1; row <= rows; row++) {
        add(out, "\33[%d;1H\33[%um", row, 30 + dice(8));
        const size_t end = out->size() + size_t(cols) / 2 + dice(20);
        while (out->size() < end)
            add(out, "%s ", word());
        *out += "\33[0m\33[K";
    }
}

std::string corpus_redraw(size_t size, int rows, int cols)
{
    std::string out;

    begin(&out, size);
    while (out.size() < size) {
        paint(&out, rows, cols);
        add(&out, "\33[7m\33[%d;1H status %u \33[0m", rows, dice(1000));
        add(&out, "\33[2;%dr\33[%d;1H", rows - 1, rows - 1);
        for (int i = 0; i < 12; i++) {
            add(&out, "\r\n%s line %u", word(), dice(1000));
        }
        add(&out, "\33[2;1H\33M\33M\33M");
        add(&out, "\33[5;1H\33[3L\33[9;1H\33[2M");
        for (int i = 0; i < 8; i++)
            add(&out, "\33[%u;%uH\33[4@edit\33[2P",
                2 + dice(uint32_t(rows) - 2), 1 + dice(uint32_t(cols) - 10));
        out += "\33[r\33[H";
    }
    out.resize(size);
    return out;
}

std::string corpus_random(size_t size)
{
    std::string out;

    begin(&out, size);
    while (out.size() < size)
        out += char(dice(256));
    return out;
}
