// The ports and the line: what is listed under which name, how a line is
// opened and given back, that no byte is lost on it, why it can't be opened,
// and the demo host behind it.
#include <gtest/gtest.h>

#include "platform/alerts.h"
#include "platform/core/line/portparts.h"
#include "platform/events.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "resources/names.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <poll.h>
#include <string>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

static void put(const fs::path &file, const char *content)
{
    fs::create_directories(file.parent_path());
    std::ofstream(file) << content << "\n";
}

// ---- the list --------------------------------------------------------------

// A machine: devices under /sys/devices, their entries in /sys/class/tty, the
// nodes in /dev.
static void add_port(const fs::path &root, const std::string &device,
                     const std::string &name, const char *type)
{
    fs::path dir = root / "sys/devices" / device;
    fs::path entry = dir / "tty" / name;
    fs::create_directories(entry);
    fs::create_directories(root / "sys/class/tty");
    fs::create_directory_symlink(dir, entry / "device");
    fs::create_directory_symlink(entry, root / "sys/class/tty" / name);
    if (type)
        put(entry / "type", type);
    put(root / "dev" / name, "");
}

TEST(List, UsbThenOtherRealPortsThenTheDemoHost)
{
    Sandbox s;
    const fs::path &root = s.root;
    PortEntry ports[kMaxPorts];

    add_port(root, "pnp0/00:01", "ttyS0", "4");
    add_port(root, "platform/serial8250", "ttyS1", "0");     // no chip
    add_port(root, "platform/serial8250", "ttyS2", nullptr); // not shown
    add_port(root, "platform/uart", "ttyAMA1", "32");
    fs::remove(root / "dev/ttyAMA1"); // no node
    add_port(root, "platform/uart", "ttyAMA0", "32");
    add_port(root, "usb1/1-2/1-2:1.0/ttyUSB10", "ttyUSB10", nullptr);
    put(root / "sys/devices/usb1/1-2/product", "FT232R USB UART");
    add_port(root, "usb1/1-3/1-3:1.0/ttyUSB2", "ttyUSB2", nullptr);
    put(root / "sys/devices/usb1/1-3/product", "Caf\xC3\xA9 \xE2\x82\xAC\xF0");
    const std::string longest(245, 'n');
    add_port(root, "usb1/1-5/1-5:1.0/ttyUSB11", "ttyUSB1", nullptr);
    put(root / "sys/devices/usb1/1-5/product", (longest + "nnnnn").c_str());
    add_port(root, "usb1/1-4/1-4:1.0", "ttyACM0", nullptr);
    // Consoles have no device behind them.
    fs::create_directories(root / "sys/class/tty/tty0");
    fs::create_directories(root / "dev/serial/by-id");
    fs::create_symlink("../../ttyUSB10",
                       root / "dev/serial/by-id/usb-FTDI_A1-if00-port0");

    int n = port_list_under(root.c_str(), ports, kMaxPorts);
    std::string list;
    for (int i = 0; i < n; i++) {
        std::string p = ports[i].path;
        if (p.rfind(root.string(), 0) == 0)
            p.erase(0, root.string().size());
        list += S(ports[i].name) + ": " + p + "\n";
    }
    EXPECT_EQ(list, "USB serial port (ttyACM0): /dev/ttyACM0\n" + longest +
                        " (ttyUSB1): /dev/ttyUSB1\n"
                        "Caf\x8E \xDB? (ttyUSB2): /dev/ttyUSB2\n"
                        "FT232R USB UART (ttyUSB10): "
                        "/dev/serial/by-id/usb-FTDI_A1-if00-port0\n"
                        "Serial port (ttyAMA0): /dev/ttyAMA0\n"
                        "Serial port 1 (ttyS0): /dev/ttyS0\n"
                        "Demo host: demo:\n");

    // Too many: the last place is the demo host's, nothing is overwritten.
    for (int i = 20; i < 70; i++)
        add_port(root, "usb9/" + std::to_string(i),
                 "ttyUSB" + std::to_string(i), nullptr);
    n = port_list_under(root.c_str(), ports, kMaxPorts);
    EXPECT_EQ(n, kMaxPorts);
    EXPECT_EQ(S(ports[n - 1].name), "Demo host");

    fs::remove_all(root / "sys");
    EXPECT_EQ(port_list_under(root.c_str(), ports, kMaxPorts), 1);
    EXPECT_EQ(port_list_under(root.c_str(), ports, 0), 0);
}

// ---- the line --------------------------------------------------------------

// The line, and the host's end of it, over a pseudo-terminal or sockets.
struct TestLine {
    pty p{-1, ""};
    int fd = -1, host = -1;

    explicit TestLine(bool terminal)
    {
        int ends[2];
        if (terminal) {
            p = make_pty();
            host = p.master;
            fd = line_open(p.path);
        } else if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) ==
                   0) {
            fd = ends[0];
            host = ends[1];
            line_use(fd);
        }
        EXPECT_GT(fd, 0);
    }
    ~TestLine()
    {
        line_close();
        hang_up();
    }
    void hang_up()
    {
        close(host);
        host = -1;
    }
    std::string heard() const
    {
        std::string s;
        char buf[4096];
        for (ssize_t n; (n = read(host, buf, sizeof buf)) > 0;)
            s.append(buf, size_t(n));
        return s;
    }
    // Offers blocks until there is no room: what was taken.
    std::string fill() const
    {
        std::string taken, block(500, 'a');
        int32_t n;
        while ((n = line_write(fd, block.data(), 500)) > 0)
            taken.append(block, 0, size_t(n));
        EXPECT_EQ(n, -EAGAIN);
        return taken;
    }
};

TEST(Line, RawAndGivenBackAsFound)
{
    pty p = make_pty();
    int other = open(p.path, O_RDWR | O_NOCTTY);
    termios found = {}, raw, back = {};
    tcgetattr(other, &found);
    cfsetspeed(&found, B1200);
    found.c_cc[VINTR] = 'x';
    tcsetattr(other, TCSANOW, &found);
    tcgetattr(other, &found);

    int fd = line_open(p.path);
    ASSERT_GT(fd, 0);
    EXPECT_TRUE(fcntl(fd, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
    tcgetattr(fd, &raw);
    EXPECT_EQ(raw.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0u);
    EXPECT_EQ(raw.c_oflag & OPOST, 0u);
    EXPECT_NE(raw.c_cflag & CLOCAL, 0u) << "no modem may stop it";
    EXPECT_EQ(raw.c_iflag & (ICRNL | INLCR | ISTRIP | IXON | BRKINT), 0u);

    // Every byte passes both ways, untouched.
    std::string all;
    for (int c = 0; c < 256; c++)
        all += char(c);
    char buf[512];
    ASSERT_EQ(write(p.master, all.data(), all.size()), 256);
    EXPECT_EQ(line_read(fd, buf, sizeof buf), 256);
    EXPECT_EQ(std::string(buf, 256), all);
    EXPECT_EQ(line_read(fd, buf, sizeof buf), -EAGAIN);
    EXPECT_EQ(line_write(fd, all.data(), 256), 256);
    EXPECT_EQ(read(p.master, buf, sizeof buf), 256);
    EXPECT_EQ(std::string(buf, 256), all);

    EXPECT_EQ(line_shape(fd, 12345, 7, 'E', 0x1E), 0);
    line_close();
    tcgetattr(other, &back);
    found.c_cflag |= HUPCL; // only that closing drops DTR is added
    EXPECT_EQ(memcmp(&back, &found, sizeof back), 0);
    int alone = 1;
    EXPECT_EQ(ioctl(other, TIOCGEXCL, &alone), 0);
    EXPECT_EQ(alone, 0);
    close(other);
}

// Whether a child in a session of its own finds it so.
static bool in_child(bool (*holds)(const char *path), const char *path)
{
    int status = -1;
    pid_t pid = fork();

    if (pid == 0) {
        setsid();
        _exit(holds(path) ? 0 : 1);
    }
    waitpid(pid, &status, 0);
    return status == 0;
}

TEST(Line, NeverAControllingTerminal)
{
    auto holds = [](const char *path) {
        return line_open(path) > 0 && open("/dev/tty", O_RDWR) < 0;
    };
    EXPECT_TRUE(in_child(holds, make_pty().path));
}

// Two programs on one line would each get a part of its bytes.
TEST(Line, IsOursAlone)
{
    pty p = make_pty();
    auto refused = [](const char *path) {
        line_use(0); // the parent's, which the fork has copied
        return line_open(path) == -EBUSY;
    };

    ASSERT_GT(line_open(p.path), 0);
    int alone = 0;
    int other = open(p.path, O_RDWR | O_NOCTTY); // only root still may
    EXPECT_TRUE(other < 0 ? errno == EBUSY
                          : ioctl(other, TIOCGEXCL, &alone) == 0 && alone);
    close(other);
    EXPECT_TRUE(in_child(refused, p.path));
    line_close();
    EXPECT_FALSE(in_child(refused, p.path));

    // A program that only locks is respected, too.
    other = open(p.path, O_RDWR | O_NOCTTY);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_EQ(line_open(p.path), -EBUSY);
    close(other);
    EXPECT_GT(line_open(p.path), 0);
    line_close();
}

// The end is reported again and again; a host that only stops speaking is gone,
// too, and one that has closed makes no signal of it.
TEST(Line, HangUp)
{
    char buf[16];

    for (bool terminal : {true, false}) {
        SCOPED_TRACE(terminal);
        TestLine l(terminal);
        EXPECT_EQ(line_read(l.fd, buf, sizeof buf), -EAGAIN);
        ASSERT_EQ(write(l.host, "last", 4), 4);
        if (terminal)
            l.hang_up();
        else
            shutdown(l.host, SHUT_WR);
        // A terminal may lose with the line what came before its end.
        int32_t n = line_read(l.fd, buf, sizeof buf);
        EXPECT_TRUE(n == 4 || (terminal && n == kLineGone)) << n;
        EXPECT_EQ(line_read(l.fd, buf, sizeof buf), kLineGone);
        EXPECT_EQ(line_read(l.fd, buf, sizeof buf), kLineGone);
        l.hang_up();
        EXPECT_EQ(line_write(l.fd, "x", 1), kLineGone);
        EXPECT_EQ(line_send(l.fd, "x", 1), kLineGone);
        EXPECT_FALSE(line_busy());
        line_close();
        EXPECT_EQ(line_write(l.fd, "x", 1), -EBADF) << "a closed line";
        EXPECT_EQ(line_shape(0, 9600, 8, 'N', 0), EBADF);
    }
}

// A host that doesn't read: nothing overtakes what is kept, what is gathered
// waits for it, too, and all of it goes out in its order. What a socket takes
// can't be taken back, so it must not be much.
TEST(Line, FullLineLosesNothing)
{
    TestLine l(false);
    std::string sent = l.fill(), keys(3000, 'k'), got;

    EXPECT_GT(sent.size(), 4096u);
    EXPECT_LT(sent.size(), 65536u);
    EXPECT_FALSE(line_busy()) << "the rest of a block is its writer's";
    EXPECT_EQ(line_send(l.fd, keys.data(), 3000), 3000);
    EXPECT_TRUE(line_busy());
    EXPECT_EQ(line_write(l.fd, "x", 1), -EAGAIN);
    line_gather(true);
    EXPECT_EQ(line_write(l.fd, keys.data(), 1000), 1000);
    EXPECT_EQ(line_write(l.fd, keys.data(), 1000), kLineRest - 4000);
    EXPECT_EQ(line_write(l.fd, "x", 1), -EAGAIN);
    line_gather(false);
    EXPECT_EQ(line_send(l.fd, "x", 1), 0) << "the bound";
    sent += std::string(kLineRest, 'k');
    for (int i = 0; i < 10000 && got.size() < sent.size(); i++) {
        got += l.heard();
        (void)line_busy();
    }
    EXPECT_TRUE(got == sent);
    EXPECT_FALSE(line_busy());
}

// What is gathered leaves together: at the switching off, ahead of what is
// offered once, and before a read asks the system or a wait begins, which may
// wait for the answer to it.
TEST(Line, GatheredBytes)
{
    TestLine l(true);
    char c;
    EventRecord e;

    line_gather(true);
    EXPECT_EQ(line_write(l.fd, "one ", 4), 4);
    EXPECT_EQ(line_write(l.fd, "two ", 4), 4);
    EXPECT_EQ(l.heard(), "");
    EXPECT_FALSE(line_busy()) << "the line has room: nothing is refused";
    EXPECT_EQ(line_read(l.fd, &c, 1), -EAGAIN);
    EXPECT_EQ(l.heard(), "one two ");
    EXPECT_EQ(line_write(l.fd, "wait", 4), 4);
    (void)WaitNextEvent(0, &e, 1, nullptr);
    EXPECT_EQ(l.heard(), "wait");
    EXPECT_EQ(line_write(l.fd, "block", 5), 5);
    EXPECT_EQ(line_send(l.fd, "key", 3), 3);
    EXPECT_EQ(l.heard(), "blockkey");
    EXPECT_EQ(line_write(l.fd, "end", 3), 3);
    line_gather(false);
    EXPECT_EQ(l.heard(), "end");
}

// Nobody reads the line while an alert stands: what comes is kept, up to a
// bound behind which the line itself holds.
TEST(Line, IsReadAheadWhileAnAlertStands)
{
    static const struct {
        const char *name;
        bool terminal;
        size_t bytes;
        bool all; // fits
    } rows[] = {
        {"a pseudo-terminal", true, 100000, true},
        {"a socket", false, 100000, true},
        {"past the bound", false, size_t(kLineAhead) + 1000000, false},
    };

    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        TestLine l(r.terminal);
        std::string text, got;
        for (size_t i = 0; text.size() < r.bytes; i++)
            text += std::to_string(i) + "\r\n";

        // The host speaks as fast as it may, and then the user answers.
        size_t said = 0;
        int refused = 0;
        std::function<void(WindowPtr)> speak = [&](WindowPtr w) {
            ssize_t n = write(l.host, text.data() + said, text.size() - said);
            said += n > 0 ? size_t(n) : 0;
            refused = n > 0 ? 0 : refused + 1;
            if (said < text.size() && refused < 20)
                hl_after(1, [&, w] { speak(w); });
            else
                hl_hit(w, 1);
        };
        hl_modal(speak);
        (void)Alert(kAlertReadStats);

        EXPECT_EQ(said == text.size(), r.all);
        char buf[400];
        for (int32_t n; (n = line_read(l.fd, buf, sizeof buf)) > 0;)
            got.append(buf, size_t(n));
        EXPECT_EQ(got.size(), said);
        EXPECT_TRUE(text.compare(0, got.size(), got) == 0);
    }
}

TEST(Line, CloseDoesntWaitForAStuckLine)
{
    TestLine l(true);
    (void)l.fill();
    alarm(5);
    line_close();
    alarm(0);
}

// ---- why not ---------------------------------------------------------------

TEST(Why, WhatIsNoPort)
{
    Sandbox s;
    put(s.root / "file", "text");
    const struct {
        std::string path;
        int error;
        bool present;
        const char *why; // a part of it
    } rows[] = {
        {s.root / "file", ENOTTY, false, ""},
        {s.root, ENOTTY, false, ""},
        {"/dev/null", ENOTTY, true, ""},
        {s.root / "none", ENOENT, false, "Unplugged?"},
        {"", ENOENT, false, "No port"},
    };
    Str255 why;

    for (const auto &r : rows) {
        SCOPED_TRACE(r.path);
        EXPECT_EQ(line_open(r.path.c_str()), -r.error);
        EXPECT_EQ(port_present(r.path.c_str()), r.present);
        port_why(r.path.c_str(), r.error, why);
        EXPECT_NE(S(why).find(r.why), std::string::npos) << S(why);
    }
    EXPECT_EQ(read_bytes(s.root / "file"), "text\n");
    port_why("/dev/null", ERANGE, why);
    EXPECT_EQ(S(why), "") << "nothing to say";
}

TEST(Why, GroupAndHolder)
{
    pty p = make_pty();
    Str255 why;
    struct stat st;

    ASSERT_EQ(stat(p.path, &st), 0);
    port_why(p.path, EACCES, why);
    group *g = getgrgid(st.st_gid);
    if (g && st.st_gid != 0) {
        EXPECT_NE(S(why).find(g->gr_name), std::string::npos);
        EXPECT_NE(S(why).find("usermod -aG "), std::string::npos);
    }

    int ready[2];
    char c;
    ASSERT_EQ(pipe(ready), 0);
    pid_t pid = fork();
    if (pid == 0) {
        (void)line_open(p.path);
        (void)!write(ready[1], "x", 1);
        pause();
    }
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    EXPECT_EQ(line_open(p.path), -EBUSY);
    port_why(p.path, EBUSY, why);
    EXPECT_NE(S(why).find("(" + std::to_string(pid) + ")"), std::string::npos)
        << S(why);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

// ---- the demo host as a port -----------------------------------------------

static std::string read_until(int fd, const char *mark)
{
    std::string s;
    char buf[400];

    for (int i = 0; i < 200 && s.find(mark) == std::string::npos; i++) {
        pollfd p = {fd, POLLIN, 0};
        poll(&p, 1, 50);
        int32_t n = line_read(fd, buf, sizeof buf);
        s.append(buf, n > 0 ? size_t(n) : 0);
    }
    return s;
}

TEST(Demo, OpensLikeAnyPort)
{
    setenv("QUILLON_DEMOHOST", TOOLS_DIR "/quillon-demohost", 1);
    int fd = line_open("demo:");
    ASSERT_GT(fd, 0);
    EXPECT_EQ(line_shape(fd, 19200, 8, 'N', 0), 0);
    std::string s = read_until(fd, "Your choice: ");
    EXPECT_NE(s.find("Colours"), std::string::npos) << s;
    EXPECT_EQ(line_send(fd, "9\r", 2), 2);
    EXPECT_NE(read_until(fd, "\x05").find('\x05'), std::string::npos);
    EXPECT_EQ(line_send(fd, "me", 2), 2);
    EXPECT_NE(read_until(fd, "\"me\"").find("\"me\""), std::string::npos);
    line_close();
    // It is nobody's child, so no remains are left to be waited for.
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    setenv("QUILLON_DEMOHOST", "/nowhere/quillon-demohost", 1);
    EXPECT_EQ(line_open("demo:"), -ENOENT);
    Str255 why;
    port_why("demo:", ENOENT, why);
    EXPECT_NE(S(why).find("quillon-demohost"), std::string::npos);
    EXPECT_TRUE(port_present("demo:"));
}
