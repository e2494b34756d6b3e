// The demo host, driven over its pseudo-terminal in real time: what a person,
// a dialer and a transfer program meet there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono;

constexpr int kPatience = 10000; // ms; only a fault waits so long

struct host {
    int fd = -1;
    pid_t pid = -1;
    std::string seen; // not yet matched
    std::string temp; // its folder for files
};

static std::string program()
{
    return std::string(TOOLS_DIR) + "/quillon-demohost";
}

static host start(bool modem, const char *path = nullptr)
{
    host h;
    char name[64], scratch[] = "/tmp/demohost-test-XXXXXX";
    int master = posix_openpt(O_RDWR | O_NOCTTY);

    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    ptsname_r(master, name, sizeof name);
    h.fd = open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    h.temp = mkdtemp(scratch);
    h.pid = fork();
    if (h.pid == 0) {
        std::string number = std::to_string(master);
        setenv("TMPDIR", h.temp.c_str(), 1);
        setenv("SHELL", "/bin/sh", 1);
        unsetenv("ENV");
        if (path)
            setenv("PATH", path, 1);
        execl(program().c_str(), "quillon-demohost", "--fd", number.c_str(),
              modem ? "--modem" : nullptr, nullptr);
        _exit(127);
    }
    close(master);
    return h;
}

static void say(host &h, const std::string &text)
{
    size_t at = 0;
    while (at < text.size()) {
        ssize_t n = write(h.fd, text.data() + at, text.size() - at);
        if (n > 0) {
            at += size_t(n);
        } else {
            pollfd p = {h.fd, POLLOUT, 0};
            ASSERT_GT(poll(&p, 1, kPatience), 0) << "the host takes nothing";
        }
    }
}

static void listen_for(host &h, int ms)
{
    char buf[4096];
    pollfd p = {h.fd, POLLIN, 0};

    if (poll(&p, 1, ms) > 0) {
        ssize_t n = read(h.fd, buf, sizeof buf);
        if (n > 0)
            h.seen.append(buf, size_t(n));
    }
}

// Waits for `text`; what stands before it is returned, and both are taken.
static std::string expect(host &h, const std::string &text)
{
    auto end = steady_clock::now() + milliseconds(kPatience);
    size_t at;

    while ((at = h.seen.find(text)) == std::string::npos) {
        if (steady_clock::now() > end) {
            ADD_FAILURE() << "never came: \"" << text << "\" in \"" << h.seen
                          << "\"";
            return "";
        }
        listen_for(h, 50);
    }
    std::string before = h.seen.substr(0, at);
    h.seen.erase(0, at + text.size());
    return before;
}

static std::string quiet_for(host &h, int ms)
{
    auto end = steady_clock::now() + milliseconds(ms);
    while (steady_clock::now() < end)
        listen_for(h, 10);
    std::string s = h.seen;
    h.seen.clear();
    return s;
}

// Closes the line; the host must end by itself and leave nothing behind.
static void finish(host &h)
{
    int status = -1;
    close(h.fd);
    for (int i = 0; i < 500; i++) {
        if (waitpid(h.pid, &status, WNOHANG) == h.pid) {
            EXPECT_TRUE(WIFEXITED(status));
            EXPECT_EQ(rmdir(h.temp.c_str()), 0) << "files were left";
            return;
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
    kill(h.pid, SIGKILL);
    waitpid(h.pid, &status, 0);
    ADD_FAILURE() << "the host outlived its line";
}

static void choose(host &h, const char *key)
{
    expect(h, "Your choice: ");
    say(h, std::string(key) + "\r");
}

static void enter_menu(host &h)
{
    h = start(false);
}

TEST(DemoHost, Modem)
{
    static const struct {
        const char *command, *answer;
    } rows[] = {
        {"AT", "\r\nOK\r\n"},
        {"at", "\r\nOK\r\n"},
        {"ATI", "modem and host in one\r\n\r\nOK\r\n"},
        {"ATNONSENSE", "\r\nERROR\r\n"},
        {"ATE1V1Q0 X4 &C1&D2 M0L3", "\r\nOK\r\n"},
        {"ATS7=45S7?", "\r\n045\r\n\r\nOK\r\n"},
        {"ATS99=1", "\r\nERROR\r\n"},
        {"ATS6=256", "\r\nERROR\r\n"},
        {"ATO", "\r\nERROR\r\n"}, // no call to go back to
        {"ATH", "\r\nOK\r\n"},
        {"ATS6=0", "\r\nOK\r\n"}, // no wait before a call, for this test
        {"ATDT555 0000", "\r\nBUSY\r\n"},
        {"ATDP5551111", "\r\nNO CARRIER\r\n"},
        {"ATD555-2222", "\r\nNO ANSWER\r\n"},
        {"ATDT5553333", "\r\nNO DIALTONE\r\n"},
    };
    host h = start(true);

    for (const auto &r : rows) {
        say(h, std::string(r.command) + "\r");
        std::string before = expect(h, r.answer);
        EXPECT_EQ(before.rfind(std::string(r.command) + "\r", 0), 0u)
            << "no echo of " << r.command << ": " << before;
    }
    say(h, "ATE0V0\r");
    expect(h, "0\r");
    say(h, "ATX0\r");
    EXPECT_EQ(expect(h, "0\r"), "") << "echo was off";
    say(h, "ATDT5550000\r");
    expect(h, "7\r");
    say(h, "A/");
    EXPECT_EQ(expect(h, "7\r"), "");
    say(h, "not a command\rATZ\r");
    EXPECT_EQ(expect(h, "\r\nOK\r\n"), "");
    say(h, "ATX\bS9=0\r"); // edited
    expect(h, "OK");
    finish(h);
}

TEST(DemoHost, CallEscapeAndHangUp)
{
    host h = start(true);

    say(h, "ATS6=0S12=10\r");
    expect(h, "OK");
    say(h, "ATDT5551234\r");
    expect(h, "CONNECT 38400\r\n");
    expect(h, "login: ");
    // Within a second of other bytes, or with a fourth, it is plain text.
    say(h, "a+++");
    expect(h, "a+++");
    EXPECT_EQ(quiet_for(h, 400), "");
    say(h, "++++");
    expect(h, "++++");
    EXPECT_EQ(quiet_for(h, 400), "");
    say(h, "+++");
    expect(h, "\r\nOK\r\n");
    say(h, "ATO\r");
    expect(h, "CONNECT");
    say(h, "\r");
    expect(h, "Password: ");
    std::this_thread::sleep_for(milliseconds(250));
    say(h, "+++");
    expect(h, "OK");
    say(h, "ATH\r");
    expect(h, "OK");
    EXPECT_EQ(quiet_for(h, 100), "\r\n");
    say(h, "AT\r");
    expect(h, "OK");
    finish(h);
}

TEST(DemoHost, Login)
{
    host h = start(true);

    say(h, "ATS6=0\rATD1234\r");
    expect(h, "login: ");
    say(h, "mary\r");
    expect(h, "Password: ");
    say(h, "se\bsecret\r");
    EXPECT_EQ(expect(h, "Good day, mary.").find("secret"), std::string::npos)
        << "the password was shown";
    choose(h, "x");
    expect(h, "NO CARRIER");
    say(h, "ATD1\r");
    for (int i = 0; i < 3; i++) {
        expect(h, "login: ");
        say(h, "\r");
    }
    expect(h, "NO CARRIER");
    finish(h);
}

// Programs send their set-up string to whatever is there.
TEST(DemoHost, ModemCommandsAtThePrompt)
{
    host h;
    enter_menu(h);

    choose(h, "ATZ");
    expect(h, "\r\nOK\r\n");
    choose(h, "AT&F E1 Q0 V1");
    expect(h, "OK");
    choose(h, "ATS6=0");
    expect(h, "OK");
    choose(h, "ATDT5550000");
    expect(h, "BUSY");
    say(h, "ATDT5551234\r");
    expect(h, "CONNECT");
    expect(h, "login: ");
    finish(h);
}

TEST(DemoHost, TerminalPages)
{
    static const struct {
        const char *key;
        std::vector<const char *> marks;
    } rows[] = {
        {"1", {"\x1b[0;1;37;40m", "\x1b[1;4;7m"}},
        {"2", {"\x1b(0lqqqq", "\x1b(B", "\x0e", "\x0f", "\xC9\xCD"}},
        {"3",
         {"\x1b[2;1H|", "\x1b[B\x1b[2C",
          "\x1b"
          "7",
          "\x1b[70`"}},
        {"4", {"\x1b[5;15r", "\x1bM", "\x1b[r", "\x1b[2L", "\x1b[3@"}},
    };
    host h;
    enter_menu(h);

    for (const auto &r : rows) {
        choose(h, r.key);
        std::string page = expect(h, "Press a key");
        for (const char *m : r.marks)
            EXPECT_NE(page.find(m), std::string::npos)
                << "page " << r.key << " lacks " << m;
        say(h, " ");
    }
    choose(h, "q");
    expect(h, "There is no \"q\"");
    finish(h);
}

TEST(DemoHost, Pager)
{
    host h;
    enter_menu(h);

    choose(h, "5");
    std::string page = expect(h, "--MORE--");
    EXPECT_NE(page.find("00023 "), std::string::npos);
    EXPECT_EQ(page.find("00024 "), std::string::npos);
    say(h, " ");
    expect(h, "00046 ");
    expect(h, "--MORE--");
    say(h, "q");
    choose(h, "5");
    for (int i = 0; i < 5; i++) {
        expect(h, "--MORE--");
        say(h, " ");
    }
    expect(h, "00120 ");
    expect(h, "Press a key");
    finish(h);
}

TEST(DemoHost, SlowPromptForgetsWhatComesTooSoon)
{
    host h;
    enter_menu(h);

    choose(h, "7");
    expect(h, "\n> ");
    say(h, "abc\r"); // "b" and "c" come while "a" is being taken
    expect(h, "a");
    std::this_thread::sleep_for(milliseconds(200));
    say(h, "\r");
    expect(h, "took 1 bytes");
    expect(h, "\n> ");
    say(h, "\r");
    expect(h, "Your choice");
    finish(h);
}

TEST(DemoHost, EchoGivesBackEveryByte)
{
    std::string all;
    host h;
    enter_menu(h);

    for (int c = 0; c < 256; c++) {
        if (c != 3)
            all += char(c);
    }
    choose(h, "8");
    expect(h, "Ctrl-C ends.\r\n\r\n");
    say(h, all);
    expect(h, all);
    say(h, "\x03");
    expect(h, "255 bytes");
    finish(h);
}

TEST(DemoHost, Answerback)
{
    host h;
    enter_menu(h);

    choose(h, "9");
    expect(h, "\x05");
    say(h, "me\r");
    expect(h, "\"me^M\"");
    choose(h, "9");
    expect(h, "no answerback");
    finish(h);
}

// A flood is held by XOFF, stopped by Ctrl-C, and waits for a reader.
TEST(DemoHost, Flood)
{
    host h;
    enter_menu(h);

    choose(h, "6");
    expect(h, "00100 ");
    say(h, "\x13");
    quiet_for(h, 300);
    EXPECT_EQ(quiet_for(h, 200), "") << "XOFF didn't hold it";
    say(h, "\x11");
    listen_for(h, 1000);
    std::this_thread::sleep_for(milliseconds(200)); // and nobody reads
    say(h, "\x03");
    std::string rest = expect(h, "^C");
    EXPECT_EQ(rest.find("10000 "), std::string::npos);
    finish(h);
}

TEST(DemoHost, Shell)
{
    host h;
    enter_menu(h);

    choose(h, "s");
    expect(h, "\x1b[6n");
    say(h, "\x1b[30;100R");
    say(h, "echo $TERM-$((6*7)); stty size; exit\r");
    expect(h, "vt100-42");
    expect(h, "30 100");
    expect(h, "Back at the demo host");
    expect(h, "Your choice");
    finish(h);
}

// ---- files -----------------------------------------------------------------

static bool have(const char *tool)
{
    return system(
               (std::string("command -v ") + tool + " >/dev/null").c_str()) ==
           0;
}

// Runs a transfer program here, with the line as its input and output. The
// host may speak again before the program has ended, so what came last is
// left in `seen` even where the program was given it.
static int run_here(host &h, std::vector<std::string> words,
                    const std::string &folder)
{
    int ends[2];
    signal(SIGPIPE, SIG_IGN); // the program may end before it has heard all
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    pid_t pid = fork();
    if (pid == 0) {
        std::vector<char *> args;
        for (std::string &w : words)
            args.push_back(w.data());
        args.push_back(nullptr);
        signal(SIGPIPE, SIG_DFL);
        dup2(ends[1], 0);
        dup2(ends[1], 1);
        dup2(open("/dev/null", O_WRONLY), 2);
        if (chdir(folder.c_str()) == 0)
            execvp(args[0], args.data());
        _exit(127);
    }
    close(ends[1]);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    std::string out, last; // towards the program; what came last
    out.swap(h.seen);
    int status = -1;
    auto end = steady_clock::now() + milliseconds(4 * kPatience);
    for (;;) {
        char buf[4096];
        pollfd p[2] = {{h.fd, POLLIN, 0}, {ends[0], POLLIN, 0}};
        if (!out.empty())
            p[1].events |= POLLOUT;
        poll(p, 2, 100);
        ssize_t n = read(h.fd, buf, sizeof buf);
        if (n > 0) {
            out.append(buf, size_t(n));
            last.append(buf, size_t(n));
            last.erase(0, last.size() - std::min(last.size(), size_t(4096)));
        }
        n = out.empty() ? 0 : write(ends[0], out.data(), out.size());
        if (n > 0)
            out.erase(0, size_t(n));
        n = read(ends[0], buf, sizeof buf);
        if (n > 0)
            say(h, std::string(buf, size_t(n)));
        else if (n == 0 || steady_clock::now() > end)
            break;
    }
    h.seen = last;
    kill(pid, SIGTERM);
    waitpid(pid, &status, 0);
    close(ends[0]);
    return status;
}

static std::string content(const std::string &path)
{
    std::string s;
    FILE *f = fopen(path.c_str(), "rb");
    char buf[4096];
    size_t n;
    while (f && (n = fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    if (f)
        fclose(f);
    return s;
}

TEST(DemoHost, FetchAndGive)
{
    static const struct {
        const char *key;
        std::vector<std::string> receive, send;
    } rows[] = {
        {"z", {"rz", "-b", "-q"}, {"sz", "-b", "-q", "mine.bin"}},
        {"1",
         {"rx", "-b", "-q", "-c", "readme.txt"},
         {"sx", "-b", "-q", "-k", "mine.bin"}},
        {"k",
         {"gkermit", "-q", "-i", "-r"},
         {"gkermit", "-q", "-i", "-s", "mine.bin"}},
    };
    char folder[] = "/tmp/demohost-files-XXXXXX";
    std::string dir = mkdtemp(folder), data;

    if (!have("rz") || !have("gkermit"))
        GTEST_SKIP() << "no transfer programs here";
    for (int i = 0; i < 20000; i++)
        data += char(i * i / 7);
    FILE *f = fopen((dir + "/mine.bin").c_str(), "wb");
    fwrite(data.data(), 1, data.size(), f);
    fclose(f);

    for (const auto &r : rows) {
        SCOPED_TRACE(r.key);
        host h;
        enter_menu(h);
        choose(h, "f");
        std::string list = expect(h, "Number: ");
        size_t at = list.find("  readme.txt, ");
        ASSERT_NE(at, std::string::npos);
        size_t size =
            size_t(atol(list.c_str() + at + strlen("  readme.txt, ")));
        say(h, std::string(1, list[at - 1]) + "\r");
        choose(h, r.key);
        expect(h, "Receive it now.\r\n");
        run_here(h, r.receive, dir);
        expect(h, "The transfer is complete");
        // By XMODEM a file has its padding behind it.
        size_t came = content(dir + "/readme.txt").size();
        EXPECT_TRUE(came >= size && came < size + 128) << came;
        unlink((dir + "/readme.txt").c_str());

        choose(h, "g");
        choose(h, r.key);
        expect(h, "Send it now.\r\n");
        run_here(h, r.send, dir);
        // Kermit sends names in capitals.
        expect(h, *r.key == '1' ? "20096 bytes" : "20000 bytes");
        finish(h);
    }
    unlink((dir + "/mine.bin").c_str());
    rmdir(dir.c_str());
}

TEST(DemoHost, MissingProgramsAreNamed)
{
    host h = start(false, "/nowhere");

    choose(h, "f");
    expect(h, "Number: ");
    say(h, "1\r");
    choose(h, "z");
    expect(h, "ZMODEM needs the program \"sz\" of the package lrzsz");
    choose(h, "g");
    choose(h, "k");
    expect(h, "Kermit needs the program \"gkermit\" of the package gkermit");
    finish(h);
}

// Whatever the host is at, it goes when its line goes.
TEST(DemoHost, EndsWithItsLine)
{
    for (const char *key : {"5", "6", "7", "8", "s", "f"}) {
        SCOPED_TRACE(key);
        host h;
        enter_menu(h);
        choose(h, key);
        listen_for(h, 200);
        finish(h);
    }
    host h = start(true);
    finish(h);
}
