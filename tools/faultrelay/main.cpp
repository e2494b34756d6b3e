// faultrelay: starts two programs and carries bytes between them, each with
// its standard input and output as the line, and does to the bytes what bad
// lines do. Prints one line of figures when both have ended.
//
//  faultrelay [OPTION...] -- PROGRAM-A ARG... -- PROGRAM-B ARG...
//
//  --flip P     each byte has one of its bits inverted with probability P
//  --drop P     ... is lost
//  --double P   ... comes twice
//  --burst P N  ... is lost together with the N - 1 behind it
//  --flow P     ... has an XON or XOFF behind it
//  --seven      the eighth bit is lost
//  --toward W   faults only towards a or b; both ways without it
//  --rate N     bytes a second, each way
//  --delay MS   on the way, each way
//  --cut N      the line goes after N bytes from A
//  --seed N     of the chance
//  --end N      the stream ends with byte N of the busier direction
//  --limit S    both are killed after S seconds
//  --pty        terminals in place of socket pairs
//
// The figures: exit codes (128 + signal), seconds from start to the end of
// both, CPU seconds of each, bytes sent by each, and `stream`: the seconds
// from the first 4096 bytes of the busier direction to its last big piece,
// with the CPU seconds of each in that time as a_work and b_work; `span`: the
// seconds from the first to the last byte of the busier direction on the line.
// The exit code is 0 if both had 0.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

constexpr size_t kPiece = 64;     // bytes that a slow line moves at once
constexpr int kDriverRoom = 4096; // what a program may write ahead
constexpr size_t kBuffer = 2048;  // what a slow line holds on its way
constexpr size_t kChunk = 16384;
constexpr long kStreamStart = 4096; // bytes from which a stream is one
constexpr size_t kBigPiece = 200;
constexpr double kWorkStep = 0.02; // seconds between looks at CPU time
constexpr uint8_t kXon = 0x11, kXoff = 0x13;

struct options {
    double flip = 0, drop = 0, twice = 0, burst = 0, flow = 0;
    long burstLength = 0;
    bool seven = false, terminals = false;
    char toward = 0; // 'a', 'b', or 0 for both
    double rate = 0, delay = 0;
    long cut = -1, end = 0;
    unsigned seed = 1;
    double limit = 0;
};

// ---- time ------------------------------------------------------------------

static double now()
{
    using clock = std::chrono::steady_clock;
    static const clock::time_point start = clock::now();
    return std::chrono::duration<double>(clock::now() - start).count();
}

// ---- one program -----------------------------------------------------------

struct end_point {
    pid_t pid = -1;
    int fd = -1; // the relay's side of its line
    bool running = true;
    int status = 0; // exit code, or 128 + signal
    double cpu = 0;
    double cpuFrom = 0, cpuTo = 0; // at the stream's start and end
    long sent = 0;                 // bytes it has sent
    double streamStart = 0, streamEnd = 0;
    double firstByte = 0, lastByte = 0; // on the line
};

static int make_pair(bool terminals, bool slow, int pair[2])
{
    if (!terminals) {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
            return -1;
        // A socket would take twenty seconds of a slow line's bytes in
        // advance, which no driver of a serial port does.
        int room = kDriverRoom;
        if (slow)
            setsockopt(pair[1], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
        return 0;
    }
    termios raw;
    if (openpty(&pair[0], &pair[1], nullptr, nullptr, nullptr) != 0)
        return -1;
    tcgetattr(pair[1], &raw);
    cfmakeraw(&raw);
    return tcsetattr(pair[1], TCSANOW, &raw);
}

static bool launch(end_point *e, char **argv, const options &o)
{
    int pair[2];

    if (make_pair(o.terminals, o.rate > 0, pair) != 0)
        return false;
    e->pid = fork();
    if (e->pid < 0)
        return false;
    if (e->pid == 0) {
        setpgid(0, 0);
        dup2(pair[1], 0);
        dup2(pair[1], 1);
        for (int fd = 3; fd < 64; fd++)
            close(fd);
        signal(SIGPIPE, SIG_DFL);
        execvp(argv[0], argv);
        perror(argv[0]);
        _exit(127);
    }
    close(pair[1]);
    e->fd = pair[0];
    fcntl(e->fd, F_SETFL, O_NONBLOCK);
    fcntl(e->fd, F_SETFD, FD_CLOEXEC);
    return true;
}

static void reap(end_point *e)
{
    int status;
    rusage usage;

    if (!e->running || wait4(e->pid, &status, WNOHANG, &usage) != e->pid)
        return;
    e->running = false;
    e->status =
        WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    e->cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
             double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// CPU seconds that a running program has used.
static double cpu_of(const end_point &e)
{
    char path[64], text[128] = "";

    snprintf(path, sizeof path, "/proc/%d/schedstat", int(e.pid));
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return e.cpuTo;
    ssize_t n = read(fd, text, sizeof text - 1);
    close(fd);
    return n > 0 ? strtod(text, nullptr) / 1e9 : e.cpuTo;
}

// ---- one direction ---------------------------------------------------------

struct piece {
    double due;
    std::string bytes;
};

struct direction {
    end_point *from, *to;
    bool faulty;
    std::deque<piece> way; // on the line
    double lineFree = 0;   // when the last of them has left
    size_t onWay = 0;      // bytes on the line
    long burstLeft = 0;    // bytes still lost
    long cut = -1;         // the line goes after so many bytes
};

static std::mt19937_64 chance;

static bool strikes(double p)
{
    return p > 0 && std::uniform_real_distribution<>(0, 1)(chance) < p;
}

static std::string damage(direction *d, const options &o, const char *p,
                          size_t n)
{
    std::string out;

    for (size_t i = 0; i < n; i++) {
        uint8_t c = uint8_t(p[i]);
        if (d->burstLeft > 0) {
            d->burstLeft--;
            continue;
        }
        if (strikes(o.burst)) {
            d->burstLeft = o.burstLength - 1;
            continue;
        }
        if (strikes(o.drop))
            continue;
        if (strikes(o.flip))
            c ^= uint8_t(1u << (chance() & 7));
        if (o.seven)
            c &= 0x7F;
        out += char(c);
        if (strikes(o.twice))
            out += char(c);
        if (strikes(o.flow))
            out += char(chance() & 1 ? kXon : kXoff);
    }
    return out;
}

static void put_on_line(direction *d, const options &o, std::string bytes)
{
    double t = now();

    if (bytes.empty())
        return;
    d->onWay += bytes.size();
    if (o.rate <= 0) {
        d->way.push_back({t + o.delay, std::move(bytes)});
        return;
    }
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
        std::string part = bytes.substr(at, kPiece);
        d->lineFree = std::max(d->lineFree, t) + double(part.size()) / o.rate;
        d->way.push_back({d->lineFree + o.delay, std::move(part)});
    }
}

static bool has_room(const direction &d, const options &o)
{
    if (o.rate <= 0)
        return d.onWay < 4 * kChunk || (o.delay > 0 && d.onWay < 1024 * kChunk);
    return (d.lineFree - now()) * o.rate < double(kBuffer);
}

static void note_stream(end_point *e, size_t n, const options &o)
{
    const long before = e->sent;

    e->sent += long(n);
    if (before == 0)
        e->firstByte = now();
    if (e->streamStart == 0 && e->sent >= kStreamStart)
        e->streamStart = now();
    if (o.end > 0 ? before < o.end : n >= kBigPiece)
        e->streamEnd = now();
}

// Takes what the program has sent. False when its end of the line is gone.
static bool pull(direction *d, const options &o)
{
    static const bool quiet = o.flip + o.drop + o.twice + o.burst + o.flow == 0;
    char bytes[kChunk];
    size_t most = o.rate > 0 ? kPiece * 4 : sizeof bytes;

    if (d->cut >= 0)
        most = std::min(most, size_t(std::max(d->cut - d->from->sent, 1L)));
    ssize_t n = read(d->from->fd, bytes, most);
    if (n < 0)
        return errno == EAGAIN || errno == EINTR;
    if (n == 0)
        return false;
    note_stream(d->from, size_t(n), o);
    if (d->faulty && (!quiet || o.seven))
        put_on_line(d, o, damage(d, o, bytes, size_t(n)));
    else
        put_on_line(d, o, std::string(bytes, size_t(n)));
    d->from->lastByte = o.rate > 0 ? d->lineFree : now();
    return true;
}

static void push(direction *d)
{
    while (!d->way.empty() && d->way.front().due <= now()) {
        std::string &front = d->way.front().bytes;
        ssize_t n = write(d->to->fd, front.data(), front.size());
        if (n < 0 && errno != EAGAIN && errno != EINTR)
            n = ssize_t(front.size()); // nobody listens any more
        if (n <= 0)
            return;
        d->onWay -= size_t(n);
        if (size_t(n) < front.size()) {
            front.erase(0, size_t(n));
            return;
        }
        d->way.pop_front();
    }
}

// ---- the line --------------------------------------------------------------

static void hang_up(end_point *e)
{
    if (e->fd >= 0)
        close(e->fd);
    e->fd = -1;
}

static int wait_ms(const direction &d)
{
    if (d.way.empty())
        return 100;
    double ms = (d.way.front().due - now()) * 1000;
    return int(std::clamp(ms, 0.0, 100.0));
}

// Follows the CPU time of both while the stream runs, and once behind its end.
static double noted; // when that was last done, 0: not yet

static void note_work(end_point *a, end_point *b)
{
    const end_point &busy = a->sent >= b->sent ? *a : *b;
    bool first = noted == 0;

    if (busy.streamStart == 0 ||
        (!first && (busy.streamEnd < noted || now() - noted < kWorkStep)))
        return;
    noted = now();
    for (end_point *e : {a, b}) {
        e->cpuTo = e->running ? cpu_of(*e) : e->cpu;
        if (first)
            e->cpuFrom = e->cpuTo;
    }
}

// One turn: waits, then moves what can be moved.
static void turn(direction *ab, direction *ba, const options &o)
{
    direction *both[2] = {ab, ba};
    pollfd fds[2];
    int timeout = std::min(wait_ms(*ab), wait_ms(*ba));

    for (int i = 0; i < 2; i++) {
        const direction &out = *both[i], &in = *both[1 - i];
        bool owed = !in.way.empty() && in.way.front().due <= now();
        fds[i].fd = out.from->fd;
        fds[i].events =
            short((has_room(out, o) ? POLLIN : 0) | (owed ? POLLOUT : 0));
        if (owed && timeout == 0)
            timeout = 100; // it waits for room
        if (!has_room(out, o))
            timeout = std::min(timeout, 1);
    }
    poll(fds, 2, timeout);
    for (int i = 0; i < 2; i++) {
        if ((fds[i].revents & (POLLIN | POLLHUP | POLLERR)) &&
            both[i]->from->fd >= 0 && has_room(*both[i], o) &&
            !pull(both[i], o)) {
            hang_up(both[i]->from);
        }
        if (both[i]->to->fd >= 0)
            push(both[i]);
    }
}

static void relay(end_point *a, end_point *b, const options &o)
{
    direction ab = {a, b, o.toward != 'a', {}, 0, 0, 0};
    direction ba = {b, a, o.toward != 'b', {}, 0, 0, 0};
    ab.cut = o.cut;

    while (a->running || b->running) {
        turn(&ab, &ba, o);
        // What an ended program has said still reaches the other; then the
        // line goes.
        if (a->fd < 0 && ab.way.empty())
            hang_up(b);
        if (b->fd < 0 && ba.way.empty())
            hang_up(a);
        if (o.cut >= 0 && a->sent >= o.cut && ab.way.empty()) {
            hang_up(a);
            hang_up(b);
        }
        if (o.limit > 0 && now() > o.limit) {
            kill(-a->pid, SIGKILL);
            kill(-b->pid, SIGKILL);
        }
        if (a->fd < 0 && b->fd < 0)
            usleep(2000);
        note_work(a, b);
        reap(a);
        reap(b);
    }
}

// ---- the call --------------------------------------------------------------

static void usage()
{
    fputs("usage: faultrelay [OPTION...] -- PROGRAM-A ARG... -- PROGRAM-B "
          "ARG...\n",
          stderr);
    exit(2);
}

static int parse(int argc, char **argv, options *o)
{
    int i = 1;
    auto number = [&]() {
        if (i + 1 >= argc)
            usage();
        return strtod(argv[++i], nullptr);
    };

    for (; i < argc && strcmp(argv[i], "--") != 0; i++) {
        std::string name = argv[i];
        if (name == "--flip")
            o->flip = number();
        else if (name == "--drop")
            o->drop = number();
        else if (name == "--double")
            o->twice = number();
        else if (name == "--burst")
            o->burst = number(), o->burstLength = long(number());
        else if (name == "--flow")
            o->flow = number();
        else if (name == "--seven")
            o->seven = true;
        else if (name == "--pty")
            o->terminals = true;
        else if (name == "--toward" && i + 1 < argc)
            o->toward = argv[++i][0];
        else if (name == "--rate")
            o->rate = number();
        else if (name == "--delay")
            o->delay = number() / 1000;
        else if (name == "--cut")
            o->cut = long(number());
        else if (name == "--seed")
            o->seed = unsigned(number());
        else if (name == "--end")
            o->end = long(number());
        else if (name == "--limit")
            o->limit = number();
        else
            usage();
    }
    return i + 1;
}

int main(int argc, char **argv)
{
    options o;
    end_point a, b;

    int first = parse(argc, argv, &o);
    int second = first;
    while (second < argc && strcmp(argv[second], "--") != 0)
        second++;
    if (first >= argc || second + 1 >= argc || second == first)
        usage();
    argv[second++] = nullptr;
    chance.seed(o.seed);
    signal(SIGPIPE, SIG_IGN);
    now();
    if (!launch(&a, argv + first, o) || !launch(&b, argv + second, o)) {
        perror("faultrelay");
        return 1;
    }
    relay(&a, &b, o);
    const end_point &busy = a.sent >= b.sent ? a : b;
    if (busy.streamEnd >= noted) {
        a.cpuTo = a.cpu; // they ended with the stream
        b.cpuTo = b.cpu;
    }
    printf("a_exit=%d b_exit=%d seconds=%.4f a_cpu=%.4f b_cpu=%.4f a_bytes=%ld "
           "b_bytes=%ld stream=%.4f a_work=%.4f b_work=%.4f span=%.4f\n",
           a.status, b.status, now(), a.cpu, b.cpu, a.sent, b.sent,
           busy.streamEnd - busy.streamStart, a.cpuTo - a.cpuFrom,
           b.cpuTo - b.cpuFrom, busy.lastByte - busy.firstByte);
    return a.status == 0 && b.status == 0 ? 0 : 1;
}
