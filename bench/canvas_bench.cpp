// Drawing alone: a line of the log drawn and scrolled away as the terminal does
// it, shown 60 times a second; the same without recording; and what the lines
// cost libvterm to parse, in the same run. Best of several turns each.
#include "corpus.h"

#include <vterm.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/core/drawing/drawparts.h"

constexpr size_t kSize = 4 << 20;
constexpr int kTurns = 5;

using steady = std::chrono::steady_clock;

static double since(steady::time_point start)
{
    return std::chrono::duration<double>(steady::now() - start).count();
}

static std::vector<std::string> lines_of(const std::string &bytes, int cols)
{
    std::vector<std::string> lines;
    size_t start = 0;

    for (size_t i = 0; i < bytes.size(); i++) {
        if (bytes[i] != '\n')
            continue;
        std::string line = bytes.substr(start, i - start);
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line.substr(0, size_t(cols)));
        start = i + 1;
    }
    return lines;
}

struct Screen {
    Canvas *canvas;
    PortState *port;
    FontInfo font;
    int16_t wide, high;
    Rect area;
};

static Screen open_screen(int rows, int cols, int scale)
{
    Screen s;
    int16_t number;

    // Sizes are measured on a small canvas of the same scale.
    Canvas *small = canvas_new(1, 1, scale);
    PortState *measure = port_new(small);
    GetFNum(PSTR("ql-Mac"), &number);
    port_set_current(measure);
    TextFont(number);
    TextSize(13);
    GetFontInfo(&s.font);
    s.wide = CharWidth('0');
    s.high = int16_t(s.font.ascent + s.font.descent);
    port_dispose(measure);
    canvas_dispose(small);

    s.canvas = canvas_new(cols * s.wide + 19, rows * s.high + 19, scale);
    s.port = port_new(s.canvas);
    port_set_current(s.port);
    TextFont(number);
    TextSize(13);
    s.area = {3, 0, int16_t(3 + rows * s.high), int16_t(cols * s.wide + 2)};
    return s;
}

// Seconds a line; `frames` counts how often pixels were made.
static double run_drawing(const Screen &s,
                          const std::vector<std::string> &lines, int rounds,
                          int *frames)
{
    RgnHandle update = NewRgn();
    const auto start = steady::now();
    double shown = 0;
    size_t n = 0, all = lines.size() * size_t(rounds);

    *frames = 0;
    while (n < all) {
        const std::string &line = lines[n % lines.size()];
        Rect row = {int16_t(s.area.bottom - s.high), 3, s.area.bottom,
                    int16_t(3 + int(line.size()) * s.wide)};
        EraseRect(&row);
        MoveTo(3, int16_t(row.top + s.font.ascent));
        DrawText(line.data(), 0, int16_t(line.size()));
        ScrollRect(&s.area, 0, int16_t(-s.high), update);
        if (++n % 8 == 0 && since(start) - shown > 1.0 / 60) {
            shown = since(start);
            canvas_flush(s.canvas);
            s.canvas->dirty.clear();
            ++*frames;
        }
    }
    canvas_flush(s.canvas);
    s.canvas->dirty.clear();
    double seconds = since(start);
    DisposeRgn(update);
    return seconds / double(all);
}

static double run_vterm(const std::string &bytes, int rows, int cols)
{
    VTerm *vt = vterm_new(rows, cols);
    vterm_screen_reset(vterm_obtain_screen(vt), 1);
    const auto start = steady::now();

    for (size_t i = 0; i < bytes.size(); i += 400)
        vterm_input_write(vt, bytes.data() + i,
                          std::min<size_t>(400, bytes.size() - i));
    double seconds = since(start);
    vterm_free(vt);
    return seconds;
}

static void measure(int rows, int cols, int scale)
{
    const std::string bytes = corpus_plain(kSize);
    const std::vector<std::string> lines = lines_of(bytes, cols);
    const std::vector<std::string> few(
        lines.begin(), lines.begin() + ptrdiff_t(lines.size() / 20));
    Screen s = open_screen(rows, cols, scale);
    double best[3] = {1e9, 1e9, 1e9};
    int frames, none;

    for (int turn = 0; turn < kTurns; turn++) {
        best[0] = std::min(best[0],
                           run_vterm(bytes, rows, cols) / double(lines.size()));
        best[1] = std::min(best[1], run_drawing(s, lines, 20, &frames));
        canvas_set_immediate(true);
        best[2] = std::min(best[2], run_drawing(s, few, 1, &none));
        canvas_set_immediate(false);
    }
    printf("%dx%d at scale %d: %.0f ns a line drawn (%d frames), %.0f at once, "
           "%.0f parsed by libvterm: %.1f times its speed\n",
           rows, cols, scale, best[1] * 1e9, frames, best[2] * 1e9,
           best[0] * 1e9, best[0] / best[1]);
    port_dispose(s.port);
    canvas_dispose(s.canvas);
}

int main()
{
    measure(24, 80, 1);
    measure(60, 132, 1);
    measure(24, 80, 2);
    return 0;
}
