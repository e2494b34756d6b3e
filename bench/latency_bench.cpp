// From a byte's departure at the other end of a pseudo-terminal to its place in
// the screen model, with the program at rest in its loop and its window shown:
// what a typed key waits for its echo.
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/backend.h"
#include "program.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"

static constexpr int kBytes = 500, kWarmUp = 20;

struct shared {
    std::atomic<int64_t> left; // us; when the byte went
    std::atomic<int> sent;     // bytes so far
};

// Sends a byte every 20 to 60 ms, out of step with the program's own beat.
static void send_bytes(int fd, shared *with)
{
    uint32_t seed = 1;

    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (int i = 0; i < kBytes + kWarmUp; i++) {
        seed = seed * 1664525 + 1013904223;
        usleep(20000 + (seed >> 8) % 40000);
        char byte = i % 70 == 69 ? '\r' : char('a' + i % 26);
        with->left = be_now_us();
        with->sent = i + 1;
        if (write(fd, &byte, 1) != 1)
            _exit(1);
    }
    pause();
}

int main(int argc, char **argv)
{
    int master = program_on_pty(argc, argv);
    void *page = mmap(nullptr, sizeof(shared), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return 1;
    auto *with = new (page) shared;
    std::vector<int64_t> times;

    for (int64_t settled = be_now_us() + 500000; be_now_us() < settled;)
        MainEventLoop(kAllEvents, kModeMain);
    if (fork() == 0)
        send_bytes(master, with);
    int16_t column = curcol;
    for (int seen = 0; seen < kBytes + kWarmUp && sIn;) {
        docursor();
        ReadPort();
        if (curcol != column) {
            int64_t took = be_now_us() - with->left;
            column = curcol;
            if (++seen > kWarmUp)
                times.push_back(took);
            if (seen != with->sent) {
                fprintf(stderr, "two bytes came as one\n");
                return 1;
            }
        }
        MainEventLoop(kAllEvents, kModeMain);
    }
    if (times.empty())
        return 1;
    std::sort(times.begin(), times.end());
    printf("byte to screen model, program at rest: median %.3f ms, 99 of 100 "
           "within %.3f ms, longest %.3f ms (%zu bytes)\n",
           double(times[times.size() / 2]) / 1e3,
           double(times[times.size() * 99 / 100]) / 1e3,
           double(times.back()) / 1e3, times.size());
    fflush(stdout);
    _exit(0);
}
