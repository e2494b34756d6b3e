// The demo host as a program behind a pseudo-terminal: what it says to what it
// hears, the files it gives and takes, and that it ends with its line.
#include <gtest/gtest.h>

#include "tests/support/farend.h"
#include "tests/support/sandbox.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace std::chrono;

namespace {

enum { kPlain, kModem, kBare }; // bare: no program to be found

constexpr int kPatience = 10000; // ms; only a fault waits so long

// The program, and our end of its line. It must end by itself when the line is
// closed, and leave no file behind.
struct Host {
    Sandbox temp;
    int fd = -1;
    pid_t pid = -1;
    std::string seen; // not yet matched

    explicit Host(int as = kPlain);
    ~Host();
    void say(const std::string &text) const;
    void listen(int ms);
    std::string expect(const std::string &text);
    void choose(const std::string &key);
};

Host::Host(int as)
{
    pty line = make_pty();

    fcntl(line.master, F_SETFL, 0);
    fd = open(line.path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    pid = fork();
    if (pid == 0) {
        setenv("TMPDIR", temp.root.c_str(), 1);
        setenv("SHELL", "/bin/sh", 1);
        unsetenv("ENV");
        if (as == kBare)
            setenv("PATH", "/nowhere", 1);
        execl(TOOLS_DIR "/quillon-demohost", "quillon-demohost", "--fd",
              std::to_string(line.master).c_str(),
              as == kModem ? "--modem" : nullptr, nullptr);
        _exit(127);
    }
    close(line.master);
}

Host::~Host()
{
    int status = -1, ms = 0;

    close(fd);
    while (waitpid(pid, &status, WNOHANG) == 0 && ms < kPatience)
        ms += 10 + 0 * usleep(10000);
    if (ms >= kPatience) {
        ADD_FAILURE() << "the host outlived its line";
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
    EXPECT_TRUE(WIFEXITED(status) || ms >= kPatience);
    EXPECT_TRUE(std::filesystem::is_empty(temp.root)) << "files were left";
}

void Host::say(const std::string &text) const
{
    for (size_t at = 0; at < text.size();) {
        ssize_t n = write(fd, text.data() + at, text.size() - at);
        pollfd p = {fd, POLLOUT, 0};
        if (n > 0)
            at += size_t(n);
        else
            ASSERT_GT(poll(&p, 1, kPatience), 0) << "the host takes nothing";
    }
}

void Host::listen(int ms)
{
    char buf[4096];
    pollfd p = {fd, POLLIN, 0};
    ssize_t n = poll(&p, 1, ms) > 0 ? read(fd, buf, sizeof buf) : 0;

    if (n > 0)
        seen.append(buf, size_t(n));
}

// Waits for `text`; what stands before it is returned, and both are taken.
std::string Host::expect(const std::string &text)
{
    auto end = steady_clock::now() + milliseconds(kPatience);
    size_t at;

    while ((at = seen.find(text)) == std::string::npos) {
        if (steady_clock::now() > end) {
            ADD_FAILURE() << "\"" << text << "\" never came: " << seen;
            return "";
        }
        listen(50);
    }
    std::string before = seen.substr(0, at);
    seen.erase(0, at + text.size());
    return before;
}

void Host::choose(const std::string &key)
{
    expect("Your choice: ");
    say(key + "\r");
}

// What is said, what has to come for it, and what must not stand before that.
// The first two may be empty; dots are a rest of so many tenths of a second.
struct Step {
    const char *say, *answer, *not_before = nullptr;
};

void play(Host &h, const std::vector<Step> &steps)
{
    for (const Step &s : steps) {
        SCOPED_TRACE(s.say);
        if (s.say[0] == '.')
            usleep(useconds_t(strlen(s.say) * 100000));
        else
            h.say(s.say);
        const std::string before = h.expect(s.answer);
        EXPECT_TRUE(!s.not_before ||
                    before.find(s.not_before) == std::string::npos)
            << before;
    }
}

// clang-format off
const char kPrompt[] = "Your choice: ";

TEST(DemoHost, Conversations)
{
    static const struct {
        const char *what;
        int as;
        std::vector<Step> steps;
    } rows[] = {
        // Within a second of other bytes, or with a fourth, it is plain text.
        {"escapes and hangs up", kModem,
         {{"ATS6=0S12=10\r", "OK"}, {"ATDT5551234\r", "CONNECT 38400\r\n"},
          {"", "login: "}, {"a+++", "a+++"}, {"....", ""}, {"++++", "++++"},
          {"....", ""}, {"+++", "\r\nOK\r\n", "OK"}, {"ATO\r", "CONNECT"},
          {"\r", "Password: "}, {"...", ""}, {"+++", "OK"}, {"ATH\r", "OK"},
          {"AT\r", "OK"}}},
        {"logs in, and three times not", kModem,
         {{"ATS6=0\rATD1234\r", "login: "}, {"mary\r", "Password: "},
          {"se\bsecret\r", "Good day, mary.", "secret"}, {"", kPrompt},
          {"x\r", "NO CARRIER"}, {"ATD1\r", "login: "}, {"\r", "login: "},
          {"\r", "login: "}, {"\r", "NO CARRIER"}}},
        // Programs send their set-up string to whatever is there.
        {"modem commands at the prompt", kPlain,
         {{"", kPrompt}, {"ATZ\r", "\r\nOK\r\n"}, {"", kPrompt},
          {"AT&F E1 Q0 V1\r", "OK"}, {"", kPrompt}, {"ATS6=0\r", "OK"},
          {"", kPrompt}, {"ATDT5550000\r", "BUSY"},
          {"ATDT5551234\r", "CONNECT"}, {"", "login: "}}},
        {"pages", kPlain,
         {{"", kPrompt}, {"1\r", "\33[0;1;37;40m"}, {"", "\33[1;4;7m"},
          {"", "Press a key"}, {" ", kPrompt}, {"2\r", "\33(B"},
          {"", "\33(0lqqqq"}, {"", "\x0e"}, {"", "\x0f"}, {"", "\xC9\xCD"},
          {"", "Press a key"}, {" ", kPrompt}, {"3\r", "\33[2;1H|"},
          {"", "\33[B\33[2C"}, {"", "\0337"}, {"", "\33[70`"},
          {"", "Press a key"}, {" ", kPrompt}, {"4\r", "\33[5;15r"},
          {"", "\33M"}, {"", "\33[r"}, {"", "\33[2L"}, {"", "\33[3@"},
          {"", "Press a key"}, {" ", kPrompt}, {"q\r", "There is no \"q\""}}},
        {"pager", kPlain,
         {{"", kPrompt}, {"5\r", "00023 "}, {"", "--MORE--", "00024 "},
          {" ", "00046 "}, {"", "--MORE--"}, {"q", kPrompt},
          {"5\r", "--MORE--"}, {" ", "--MORE--"}, {" ", "--MORE--"},
          {" ", "--MORE--"}, {" ", "--MORE--"}, {" ", "00120 "},
          {"", "Press a key"}}},
        // "b" and "c" come while "a" is being taken.
        {"slow prompt", kPlain,
         {{"", kPrompt}, {"7\r", "\n> "}, {"abc\r", "a"}, {"..", ""},
          {"\r", "took 1 bytes"}, {"", "\n> "}, {"\r", kPrompt}}},
        {"answerback", kPlain,
         {{"", kPrompt}, {"9\r", "\x05"}, {"me\r", "\"me^M\""},
          {"", kPrompt}, {"9\r", "no answerback"}}},
        {"shell", kPlain,
         {{"", kPrompt}, {"s\r", "\33[6n"}, {"\33[30;100R", ""},
          {"echo $TERM-$((6*7)); stty size; exit\r", "vt100-42"},
          {"", "30 100"}, {"", "Back at the demo host"}, {"", kPrompt}}},
        {"programs that are missing", kBare,
         {{"", kPrompt}, {"f\r", "Number: "}, {"1\r", kPrompt},
          {"z\r", "ZMODEM needs the program \"sz\" of the package lrzsz"},
          {"", kPrompt}, {"g\r", kPrompt},
          {"k\r",
           "Kermit needs the program \"gkermit\" of the package gkermit"}}},
        // Whatever the host is at, it goes when its line goes.
        {"ends as a modem", kModem, {}},
        {"ends in the pager", kPlain, {{"", kPrompt}, {"5\r", "--MORE--"}}},
        {"ends in a flood", kPlain, {{"", kPrompt}, {"6\r", "00100 "}}},
        {"ends in a slow prompt", kPlain, {{"", kPrompt}, {"7\r", "> "}}},
        {"ends in the echo", kPlain, {{"", kPrompt}, {"8\r", "Ctrl-C"}}},
        {"ends in a shell", kPlain, {{"", kPrompt}, {"s\r", "\33[6n"}}},
        {"ends in a list", kPlain, {{"", kPrompt}, {"f\r", "Number: "}}},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.what);
        Host h(r.as);
        play(h, r.steps);
    }
}

// Each answer comes behind the echo of its command, which may be off.
TEST(DemoHost, Modem)
{
    static const Step rows[] = {
        {"AT", "\r\nOK\r\n"}, {"at", "\r\nOK\r\n"},
        {"ATI", "modem and host in one\r\n\r\nOK\r\n"},
        {"ATNONSENSE", "\r\nERROR\r\n"},
        {"ATE1V1Q0 X4 &C1&D2 M0L3", "\r\nOK\r\n"},
        {"ATS7=45S7?", "\r\n045\r\n\r\nOK\r\n"},
        {"ATS99=1", "\r\nERROR\r\n"}, {"ATS6=256", "\r\nERROR\r\n"},
        {"ATO", "\r\nERROR\r\n"}, {"ATH", "\r\nOK\r\n"},
        {"ATS6=0", "\r\nOK\r\n"}, {"ATDT555 0000", "\r\nBUSY\r\n"},
        {"ATDP5551111", "\r\nNO CARRIER\r\n"},
        {"ATD555-2222", "\r\nNO ANSWER\r\n"},
        {"ATDT5553333", "\r\nNO DIALTONE\r\n"}, {"ATE0V0", "\r0\r"},
        {"ATX0", "0\r"}, {"ATDT5550000", "7\r"}, {"A/", "7\r"},
        {"not a command\rATZ", "\r\nOK\r\n"},
    };
    bool echo = true;
    Host h(kModem);

    for (const Step &s : rows) {
        const std::string line = std::string(s.say) + "\r";
        h.say(strcmp(s.say, "A/") == 0 ? s.say : line);
        const std::string all = h.expect(s.answer) + s.answer;
        EXPECT_EQ(all.rfind(echo ? line : s.answer, 0), 0u) << all;
        echo = echo && strcmp(s.say, "ATE0V0") != 0;
    }
    play(h, {{"ATX\bS9=0\r", "OK"}}); // edited
}
// clang-format on

TEST(DemoHost, EchoGivesBackEveryByte)
{
    std::string all;
    Host h;

    for (int c = 0; c < 256; c++) {
        if (c != 3)
            all += char(c);
    }
    h.choose("8");
    h.expect("Ctrl-C ends.\r\n\r\n");
    h.say(all);
    EXPECT_EQ(h.expect(all), "");
    play(h, {{"\x03", "255 bytes"}});
}

// A flood is held by XOFF, stopped by Ctrl-C, and waits for a reader.
TEST(DemoHost, Flood)
{
    Host h;

    h.choose("6");
    play(h, {{"", "00100 "}, {"\x13", ""}});
    for (int i = 0; i < 30; i++)
        h.listen(10); // what was on its way
    h.seen.clear();
    h.listen(200);
    EXPECT_EQ(h.seen, "") << "XOFF didn't hold it";
    h.say("\x11");
    h.listen(1000);
    usleep(200000); // and nobody reads
    play(h, {{"\x03", "^C", "10000 "}});
}

// ---- files -----------------------------------------------------------------

// Runs a transfer program with the line as its input and output. The host may
// speak again before the program has ended, so what came last stays in `seen`
// even where the program was given it.
void run_here(Host &h, const std::string &command, const Sandbox &folder)
{
    int ends[2];
    const int kinds = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;
    const std::string line =
        "cd " + folder.root.string() + " && exec " + command + " 2>/dev/null";

    signal(SIGPIPE, SIG_IGN); // the program may end before it has heard all
    ASSERT_EQ(socketpair(AF_UNIX, kinds, 0, ends), 0);
    pid_t pid = fork();
    if (pid == 0) {
        signal(SIGPIPE, SIG_DFL);
        fcntl(ends[1], F_SETFL, 0);
        dup2(ends[1], 0);
        dup2(ends[1], 1);
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    auto end = steady_clock::now() + milliseconds(4 * kPatience);
    size_t given = 0; // of `seen`
    ssize_t n = -1;
    while (n != 0 && steady_clock::now() < end) {
        char buf[4096];
        pollfd p = {ends[0], POLLIN, 0};
        h.listen(5);
        n = write(ends[0], h.seen.data() + given, h.seen.size() - given);
        given += size_t(std::max<ssize_t>(n, 0));
        n = poll(&p, 1, 5) > 0 ? read(ends[0], buf, sizeof buf) : -1;
        if (n > 0)
            h.say({buf, size_t(n)});
    }
    h.seen.erase(0, given - std::min(given, size_t(4096)));
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(ends[0]);
}

TEST(DemoHost, FetchAndGive)
{
    static const struct {
        const char *key, *receive, *send, *given;
    } rows[] = {
        {"z", "rz -b -q", "sz -b -q mine.bin", "20000 bytes"},
        {"1", "rx -b -q -c readme.txt", "sx -b -q -k mine.bin", "20096 bytes"},
        {"k", "gkermit -q -i -r", "gkermit -q -i -s mine.bin", "20000 bytes"},
    };
    Sandbox dir;
    std::string data;

    if (system("command -v rz >/dev/null && command -v gkermit >/dev/null"))
        GTEST_SKIP() << "no transfer programs here";
    for (int i = 0; i < 20000; i++)
        data += char(i * i / 7);
    write_bytes(dir.root / "mine.bin", data);
    for (const auto &r : rows) {
        SCOPED_TRACE(r.key);
        const std::string entry = "  readme.txt, ";
        Host h;
        h.choose("f");
        std::string list = h.expect("Number: ");
        size_t at = list.find(entry);
        ASSERT_NE(at, std::string::npos);
        size_t size = size_t(atol(list.c_str() + at + entry.size()));
        h.say(std::string(1, list[at - 1]) + "\r");
        h.choose(r.key);
        h.expect("Receive it now.\r\n");
        run_here(h, r.receive, dir);
        h.expect("The transfer is complete");
        // By XMODEM a file has its padding behind it.
        size_t came = read_bytes(dir.root / "readme.txt").size();
        EXPECT_TRUE(came >= size && came < size + 128) << came;
        std::filesystem::remove(dir.root / "readme.txt");
        h.choose("g");
        h.choose(r.key);
        h.expect("Send it now.\r\n");
        run_here(h, r.send, dir);
        h.expect(r.given);
    }
}

} // namespace
