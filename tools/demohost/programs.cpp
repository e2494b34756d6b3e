// tools/demohost/programs.cpp
// Shell and file transfers: other programs behind the line.
#include "tools/demohost/programs.h"

#include "tools/demohost/hostline.h"
#include "tools/demohost/modem.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

constexpr int kRows = 24, kCols = 80;
constexpr int kAnswerMs = 800; // for a report of the terminal's size
constexpr size_t kMostPending = 65536;

static pid_t child = -1;
static std::string folder; // of our own, for files both ways; "" is none yet

// ---- relaying --------------------------------------------------------------

// Between the line and `fd` until `fd` ends. With `watched`, "+++" works. False
// when the call was hung up.
static bool relay(int fd, bool watched)
{
    std::string toProgram;
    bool open = true;

    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    while (open) {
        // First what the line has handed over already: no poll reports it.
        while (toProgram.size() <= kMostPending && line_waiting()) {
            unsigned char c = (unsigned char)line_key(0);
            if (watched)
                (void)modem_saw(&c, 1);
            toProgram += char(c);
        }
        pollfd p[2] = {{line_fd(), POLLIN, 0}, {fd, POLLIN, 0}};
        if (toProgram.size() > kMostPending)
            p[0].events = 0;
        if (!toProgram.empty())
            p[1].events |= POLLOUT;
        poll(p, 2, watched ? modem_patience() : -1);
        if (watched && !modem_due())
            return false;
        if (!toProgram.empty()) {
            ssize_t n = write(fd, toProgram.data(), toProgram.size());
            if (n > 0)
                toProgram.erase(0, size_t(n));
            else if (n < 0 && errno != EAGAIN && errno != EINTR)
                toProgram.clear();
        }
        if (p[1].revents & (POLLIN | POLLHUP | POLLERR)) {
            char buf[4096];
            ssize_t n = read(fd, buf, sizeof buf);
            if (n > 0)
                line_put(buf, size_t(n));
            else if (n == 0 || (errno != EAGAIN && errno != EINTR))
                open = false;
        }
    }
    return true;
}

// The status of the child, which ends soon; if it doesn't, it is ended.
static int reap()
{
    int status = 0;

    for (int i = 0; i < 300; i++) {
        if (waitpid(child, &status, WNOHANG) == child) {
            child = -1;
            return status;
        }
        if (i == 100)
            kill(child, SIGTERM);
        if (i == 200)
            kill(child, SIGKILL);
        usleep(10000);
    }
    child = -1;
    return -1;
}

// ---- the shell -------------------------------------------------------------

// Asks the terminal how large it is: the cursor stops in the last corner.
static bool terminal_size(winsize *w)
{
    std::string s;

    w->ws_row = kRows;
    w->ws_col = kCols;
    line_forget();
    line_text("\0337\033[999;999H\033[6n\0338");
    while (s.size() < 16 && (s.empty() || s.back() != 'R')) {
        int c = host_key(kAnswerMs);
        if (c == kHungUp)
            return false;
        if (c == kTimeout)
            return true;
        s += char(c);
    }
    int rows = 0, cols = 0;
    if (sscanf(s.c_str(), "\033[%d;%dR", &rows, &cols) == 2 && rows > 0 &&
        rows <= 300 && cols > 0 && cols <= 500) {
        w->ws_row = (unsigned short)rows;
        w->ws_col = (unsigned short)cols;
    }
    return true;
}

static std::string users_shell()
{
    const char *s = getenv("SHELL");
    const passwd *p = getpwuid(getuid());

    if (s && access(s, X_OK) == 0)
        return s;
    if (p && p->pw_shell && access(p->pw_shell, X_OK) == 0)
        return p->pw_shell;
    return "/bin/sh";
}

static void run_shell(const char *terminal)
{
    std::string shell = users_shell();

    setsid();
    int fd = open(terminal, O_RDWR);
    if (fd < 0 || ioctl(fd, TIOCSCTTY, 0) != 0)
        _exit(126);
    for (int i = 0; i < 3; i++)
        dup2(fd, i);
    if (fd > 2)
        close(fd);
    // Programs ask the locale for the form of their bytes, and UTF-8 would be
    // rubbish on a terminal of single bytes.
    if (const char *all = getenv("LC_ALL"))
        setenv("LANG", all, 1);
    unsetenv("LC_ALL");
    setenv("LC_CTYPE", "C", 1);
    setenv("TERM", "vt100", 1);
    unsetenv("COLUMNS");
    unsetenv("LINES");
    signal(SIGPIPE, SIG_DFL);
    execl(shell.c_str(), shell.c_str(), "-i", static_cast<char *>(nullptr));
    _exit(127);
}

bool page_shell()
{
    winsize size = {};
    char name[128];

    if (!terminal_size(&size))
        return false;
    int fd = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 || grantpt(fd) != 0 || unlockpt(fd) != 0 ||
        ptsname_r(fd, name, sizeof name) != 0) {
        if (fd >= 0)
            close(fd);
        line_text("\nThere is no terminal left for a shell.\n");
        return true;
    }
    ioctl(fd, TIOCSWINSZ, &size);
    line_text("\nYour shell. It ends with \"exit\".\n\n");
    // Held here until the shell has it: the pair would count as hung up.
    int hold = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    child = fork();
    if (child == 0)
        run_shell(name);
    if (child > 0) {
        // The first byte of the shell shows that its end is open.
        pollfd p = {fd, POLLIN, 0};
        poll(&p, 1, 2000);
    }
    close(hold);
    line_flow(false);
    bool call = relay(fd, true);
    line_flow(true);
    close(fd);
    if (child > 0)
        (void)reap();
    line_text("\n\033[0mBack at the demo host.\n");
    return call;
}

// ---- files -----------------------------------------------------------------

struct protocol {
    char key;
    const char *name;
    const char *package;     // of the system, that has the programs
    const char *sender[5];   // program and options, file last
    const char *receiver[5]; // without a file name; none: it only sends
    bool named;              // the receiver must be told a name
};

// clang-format off
static const protocol protocols[] = {
    {'Z', "ZMODEM",    "lrzsz",   {"sz", "-b", "-q"},
     {"rz", "-b", "-q", "-E", "-R"}, false},
    {'Y', "YMODEM",    "lrzsz",   {"sb", "-b", "-q", "-k"},
     {"rb", "-b", "-q", "-E", "-R"}, false},
    {'G', "YMODEM-G",  "lrzsz",   {"sb", "-b", "-q", "-k"}, {}, false},
    {'X', "XMODEM",    "lrzsz",   {"sx", "-b", "-q"},
     {"rx", "-b", "-q", "-c"}, true},
    {'1', "XMODEM-1K", "lrzsz",   {"sx", "-b", "-q", "-k"},
     {"rx", "-b", "-q", "-c"}, true},
    {'K', "Kermit",    "gkermit", {"gkermit", "-q", "-i", "-s"},
     {"gkermit", "-q", "-i", "-r"}, false},
};
// clang-format on

struct sample {
    const char *name;
    int size;
    bool text;
};
static const sample samples[] = {
    {"readme.txt", 4000, true},
    {"numbers.txt", 60000, true},
    {"noise.bin", 100000, false},
    {"large.bin", 1000000, false},
};

static std::string which(const char *program)
{
    const char *path = getenv("PATH");
    std::string list = path ? path : "/usr/bin:/bin";
    size_t from = 0;

    while (from <= list.size()) {
        size_t to = list.find(':', from);
        if (to == std::string::npos)
            to = list.size();
        std::string p = list.substr(from, to - from) + "/" + program;
        if (access(p.c_str(), X_OK) == 0)
            return p;
        from = to + 1;
    }
    return "";
}

static void write_sample(const sample &s)
{
    std::string path = folder + "/" + s.name;
    FILE *f = fopen(path.c_str(), "we");
    uint32_t seed = 12345;

    if (!f)
        return;
    for (int n = 0, i = 0; n < s.size; i++) {
        if (s.text) {
            n += fprintf(f, "%06d This line comes from the demo host.\n", i);
        } else {
            seed = seed * 1664525 + 1013904223;
            fputc(int(seed >> 24), f);
            n++;
        }
    }
    fclose(f);
}

static bool make_folder()
{
    if (!folder.empty())
        return true;
    const char *base = getenv("TMPDIR");
    std::string name =
        std::string(base && *base ? base : "/tmp") + "/quillon-demohost-XXXXXX";
    if (!mkdtemp(name.data()))
        return false;
    folder = name;
    for (const sample &s : samples)
        write_sample(s);
    return true;
}

// Our folder is flat: the receivers run without the right to make others.
static std::vector<std::string> files_there()
{
    std::vector<std::string> names;
    DIR *d = opendir(folder.c_str());

    while (dirent *e = d ? readdir(d) : nullptr) {
        if (strcmp(e->d_name, ".") && strcmp(e->d_name, ".."))
            names.push_back(e->d_name);
    }
    if (d)
        closedir(d);
    return names;
}

void programs_end()
{
    if (child > 0)
        kill(child, SIGHUP);
    if (folder.empty())
        return;
    for (const std::string &n : files_there())
        unlink((folder + "/" + n).c_str());
    rmdir(folder.c_str());
}

// Runs a transfer program with the line as its input and output: through a
// socket pair, as some flush a terminal's input and lose blocks.
static bool run_transfer(const std::vector<std::string> &words, int *status)
{
    int ends[2];
    std::string program = which(words[0].c_str());

    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return true;
    child = fork();
    if (child == 0) {
        std::vector<char *> args;
        for (const std::string &w : words)
            args.push_back(const_cast<char *>(w.c_str()));
        args.push_back(nullptr);
        int null = open("/dev/null", O_WRONLY);
        dup2(ends[1], 0);
        dup2(ends[1], 1);
        dup2(null, 2);
        if (chdir(folder.c_str()) != 0)
            _exit(126);
        signal(SIGPIPE, SIG_DFL);
        execv(program.c_str(), args.data());
        _exit(127);
    }
    close(ends[1]);
    line_flow(false);
    bool call = relay(ends[0], false);
    line_flow(true);
    close(ends[0]);
    *status = child > 0 ? reap() : -1;
    return call;
}

// Asks for a protocol; null when the caller thinks better of it, or when its
// program isn't there, which is reported.
static bool ask_protocol(bool sending, const protocol **out)
{
    std::string s;

    *out = nullptr;
    line_text("\nProtocol:");
    for (const protocol &p : protocols) {
        if (sending || p.receiver[0])
            line_text(std::string("  ") + p.key + " " + p.name);
    }
    if (!host_line("\nYour choice: ", s))
        return false;
    for (const protocol &p : protocols) {
        const char *program = sending ? p.sender[0] : p.receiver[0];
        if (!program || s.empty() || toupper((unsigned char)s[0]) != p.key)
            continue;
        if (which(program).empty()) {
            line_text(std::string("\n") + p.name + " needs the program \"" +
                      program + "\" of the package " + p.package +
                      ", which is not installed here.\n");
            return true;
        }
        *out = &p;
    }
    return true;
}

static void tell_result(int status)
{
    // Some programs leave their last words on the line.
    (void)host_key(200);
    line_text(status == 0 ? "\nThe transfer is complete.\n"
                          : "\nThe transfer failed.\n");
}

bool page_fetch()
{
    std::string s;
    const protocol *p;

    if (!make_folder()) {
        line_text("\nThere is no room for the files.\n");
        return true;
    }
    line_text("\nFiles of the host:\n\n");
    std::vector<std::string> names = files_there();
    for (size_t i = 0; i < names.size(); i++) {
        struct stat st = {};
        stat((folder + "/" + names[i]).c_str(), &st);
        line_text("  " + std::to_string(i + 1) + "  " + names[i] + ", " +
                  std::to_string(long(st.st_size)) + " bytes\n");
    }
    if (!host_line("\nNumber: ", s))
        return false;
    size_t n = size_t(atol(s.c_str()));
    if (n < 1 || n > names.size())
        return true;
    if (!ask_protocol(true, &p))
        return false;
    if (!p)
        return true;
    line_text("\nSending " + names[n - 1] + " by " + p->name +
              ". Receive it now.\n");
    std::vector<std::string> words;
    for (const char *w : p->sender) {
        if (w)
            words.push_back(w);
    }
    words.push_back(names[n - 1]);
    int status = 0;
    if (!run_transfer(words, &status))
        return false;
    tell_result(status);
    return true;
}

bool page_give()
{
    const protocol *p;

    if (!make_folder()) {
        line_text("\nThere is no room for files.\n");
        return true;
    }
    if (!ask_protocol(false, &p))
        return false;
    if (!p)
        return true;
    line_text(std::string("\nReceiving by ") + p->name + ". Send it now.\n");
    std::vector<std::string> before = files_there(), words;
    for (const char *w : p->receiver) {
        if (w)
            words.push_back(w);
    }
    if (p->named)
        words.push_back("received");
    int status = 0;
    if (!run_transfer(words, &status))
        return false;
    tell_result(status);
    for (const std::string &n : files_there()) {
        bool old = false;
        for (const std::string &b : before)
            old = old || b == n;
        struct stat st = {};
        if (!old && stat((folder + "/" + n).c_str(), &st) == 0)
            line_text("Received " + n + ", " +
                      std::to_string(long(st.st_size)) + " bytes\n");
    }
    return true;
}
