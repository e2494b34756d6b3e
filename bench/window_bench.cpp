// The whole path of a byte: a writer at the other end of a pseudo-terminal,
// ReadPort, the screen model with its store, and the pixels of a shown window
// on the offscreen platform. Beside it, in the same run, libvterm parsing the
// same bytes in 400-byte feeds with its lines kept, drawing nothing.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vterm.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/drawing.h"
#include "program.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"

using std::chrono::duration;
using std::chrono::steady_clock;

static constexpr size_t kBytes = 64 << 20;
static constexpr int kRuns = 5;

static double seconds_since(steady_clock::time_point start)
{
    return duration<double>(steady_clock::now() - start).count();
}

// Log lines of 30 to 110 characters, as a busy host prints them.
static std::string log_lines(size_t bytes)
{
    static const char *const words[] = {
        "kernel:",    "usb 1-1:",    "new high-speed device",
        "number",     "eth0:",       "link up",
        "100Mbps",    "full-duplex", "accepted",
        "connection", "from",        "10.0.0.17",
        "port",       "session",     "opened",
        "for",        "user",        "daemon",
        "timeout",    "retry",       "sector",
        "checksum",   "ok"};
    std::string out;
    uint32_t seed = 1;

    for (int line = 0; out.size() < bytes; line++) {
        char head[40];
        snprintf(head, sizeof head, "[%8d.%06d] ", line / 7,
                 line * 131 % 999983);
        out += head;
        seed = seed * 1664525 + 1013904223;
        for (uint32_t n = 2 + (seed >> 24) % 10; n > 0; n--) {
            seed = seed * 1664525 + 1013904223;
            out += words[(seed >> 16) % std::size(words)];
            out += ' ';
        }
        out += "\r\n";
    }
    return out;
}

// ---- libvterm ---------------------------------------------------------------

static size_t kept;

static int push_line(int cols, const VTermScreenCell *, void *)
{
    kept += size_t(cols);
    return 1;
}

static double libvterm_seconds(const std::string &text, int rows, int cols)
{
    static const VTermScreenCallbacks callbacks = [] {
        VTermScreenCallbacks c = {};
        c.sb_pushline = push_line;
        return c;
    }();
    VTerm *vt = vterm_new(rows, cols);
    vterm_set_utf8(vt, 0);
    VTermScreen *screen = vterm_obtain_screen(vt);
    vterm_screen_set_callbacks(screen, &callbacks, nullptr);
    vterm_screen_set_damage_merge(screen, VTERM_DAMAGE_SCROLL);
    vterm_screen_reset(screen, 1);

    auto start = steady_clock::now();
    for (size_t at = 0; at < text.size(); at += 400)
        vterm_input_write(vt, text.data() + at,
                          std::min<size_t>(400, text.size() - at));
    vterm_screen_flush_damage(screen);
    double took = seconds_since(start);
    vterm_free(vt);
    return took;
}

// ---- the program -----------------------------------------------------------

static void set_size(int rows, int cols)
{
    Rect r;
    GetWindowBounds(myWindow, &r);
    r.right = int16_t(r.left + cols * CharWid + 19);
    r.bottom = int16_t(r.top + rows * LineHeight + 19);
    ResizeWind(myWindow, &r);
    if (MaxLine != rows || MaxCol != cols) {
        fprintf(stderr, "window is %dx%d, not %dx%d\n", MaxLine, MaxCol, rows,
                cols);
        exit(1);
    }
}

static pid_t start_writer(int fd, const std::string &text)
{
    pid_t pid = fork();
    if (pid != 0)
        return pid;
    signal(SIGHUP, SIG_IGN);
    for (size_t at = 0; at < text.size();) {
        ssize_t n = write(fd, text.data() + at,
                          std::min<size_t>(65536, text.size() - at));
        if (n <= 0)
            _exit(1);
        at += size_t(n);
    }
    pause(); // the line stays up until the reader has all of it
    _exit(0);
}

// The loop of the program until all bytes have been read and drawn.
static double program_seconds(const std::string &text, int master)
{
    pid_t writer = start_writer(master, text);
    cntRead = totRead = 0;

    auto start = steady_clock::now();
    while (size_t(uint32_t(totRead)) < text.size() && sIn != 0) {
        docursor();
        ReadPort();
        MainEventLoop(kAllEvents, kModeMain);
    }
    draw_present(true);
    double took = seconds_since(start);

    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    if (size_t(uint32_t(totRead)) < text.size()) {
        fprintf(stderr, "the line went away\n");
        exit(1);
    }
    return took;
}

int main(int argc, char **argv)
{
    int master = program_on_pty(argc, argv);
    std::string text = log_lines(kBytes);
    for (auto [rows, cols] : {std::pair{24, 80}, std::pair{60, 132}}) {
        set_size(rows, cols);
        std::vector<double> ours, theirs, ratio;
        for (int run = 0; run <= kRuns; run++) {
            double a = program_seconds(text, master);
            double b = libvterm_seconds(text, rows, cols);
            if (run == 0)
                continue; // warm-up
            ours.push_back(a);
            theirs.push_back(b);
            ratio.push_back(b / a);
        }
        std::sort(ours.begin(), ours.end());
        std::sort(theirs.begin(), theirs.end());
        std::sort(ratio.begin(), ratio.end());
        printf("%dx%d plain log lines, port to pixels: %.1f MB/s; libvterm "
               "without drawing: %.1f MB/s; ratio %.2f (%.2f to %.2f)\n",
               rows, cols, double(text.size()) / 1e6 / ours[kRuns / 2],
               double(text.size()) / 1e6 / theirs[kRuns / 2], ratio[kRuns / 2],
               ratio.front(), ratio.back());
    }
    fflush(stdout);
    _exit(0);
}
