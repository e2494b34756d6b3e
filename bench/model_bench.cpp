// Bytes a second through the terminal's model and store, with the view hidden,
// beside libvterm with the lines kept that leave its screen: 400 bytes a call,
// 24x80. Each figure is the best of several turns, taken in alternation.
#include "corpus.h"

#include <vterm.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"

constexpr int kRows = 24, kCols = 80;
constexpr size_t kChunk = 400;
constexpr size_t kSize = 8 << 20;
constexpr int kTurns = 5;

using steady = std::chrono::steady_clock;

static double since(steady::time_point start)
{
    return std::chrono::duration<double>(steady::now() - start).count();
}

// ---- ours ------------------------------------------------------------------

static void start_ours()
{
    hl_real_time(true);
    hl_spin_limit(0);
    Baudrate = 115200;
    cset.termFlags = kTermNoAutoLF;
    qset.useColor = 1;
    qset.globFlags = kGlobNoBell;
    MaxLine = kRows;
    MaxCol = kCols;
    (void)SerAlloc(); // memory for the replies' history: never short here
    asInit();
    InitPage();
    scrolled = 1;
}

// The modes that random bytes leave behind are not carried over.
static void fresh_ours()
{
    clrAttrib();
    insert = 0;
    autowrap = 1;
    charflg = 0;
    init_term();
}

static double run_ours(const std::string &bytes)
{
    const auto *at = reinterpret_cast<const uint8_t *>(bytes.data());

    fresh_ours();
    const auto start = steady::now();

    for (size_t i = 0; i < bytes.size(); i += kChunk)
        DispChars(at + i, int16_t(std::min(kChunk, bytes.size() - i)));
    return since(start);
}

// ---- the peer --------------------------------------------------------------

// Keeps the text of a line, without trailing blanks, as ours does.
static int keep_line(int cols, const VTermScreenCell *cells, void *user)
{
    auto *kept = static_cast<std::vector<std::string> *>(user);
    std::string line;

    while (cols > 0 &&
           (cells[cols - 1].chars[0] == 0 || cells[cols - 1].chars[0] == ' '))
        cols--;
    line.reserve(size_t(cols));
    for (int i = 0; i < cols; i++)
        line += cells[i].chars[0] ? char(cells[i].chars[0]) : ' ';
    kept->push_back(std::move(line));
    return 1;
}

static double run_peer(const std::string &bytes)
{
    std::vector<std::string> kept;
    VTermScreenCallbacks calls = {};
    VTerm *vt = vterm_new(kRows, kCols);

    calls.sb_pushline = keep_line;
    vterm_set_utf8(vt, 0);
    VTermScreen *screen = vterm_obtain_screen(vt);
    vterm_screen_set_callbacks(screen, &calls, &kept);
    vterm_screen_set_damage_merge(screen, VTERM_DAMAGE_SCREEN);
    vterm_screen_reset(screen, 1);
    const auto start = steady::now();
    for (size_t i = 0; i < bytes.size(); i += kChunk)
        vterm_input_write(vt, bytes.data() + i,
                          std::min(kChunk, bytes.size() - i));
    const double seconds = since(start);
    vterm_free(vt);
    return seconds;
}

// ---- the figures -----------------------------------------------------------

static bool measure(const char *name, const std::string &bytes, double wanted)
{
    double ours = 1e9, peer = 1e9;

    for (int i = 0; i < kTurns; i++) {
        ours = std::min(ours, run_ours(bytes));
        peer = std::min(peer, run_peer(bytes));
    }
    const double mb = double(bytes.size()) / 1e6;
    const double ratio = peer / ours;
    printf("%-18s %8.1f MB/s, libvterm %7.1f MB/s, %6.1f times (wanted %.1f)"
           "%s\n",
           name, mb / ours, mb / peer, ratio, wanted,
           ratio < wanted ? "  TOO SLOW" : "");
    return ratio >= wanted;
}

// Cost of a line while a million go through a store that is full.
static void measure_million()
{
    const std::string bytes = corpus_plain(6 << 20);
    const long lines = std::count(bytes.begin(), bytes.end(), '\n');
    double least = 1e9, most = 0;

    for (long done = 0; done < 1000000; done += lines) {
        const double cost = run_ours(bytes) / double(lines) * 1e9;
        least = std::min(least, cost);
        most = std::max(most, cost);
    }
    printf("a million lines    %.0f to %.0f ns a line, %ld kept in %ld kB\n",
           least, most, long(savlines), long(savcount / 1024));
}

int main()
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    start_ours();
    bool good = measure("plain log lines", corpus_plain(kSize), 6);
    good &= measure("coloured log lines", corpus_colour(kSize), 4);
    good &= measure("screen redraws", corpus_redraw(kSize, kRows, kCols), 2.5);
    good &= measure("random bytes", corpus_random(kSize), 4);
    measure_million();
    return good ? 0 : 1;
}
