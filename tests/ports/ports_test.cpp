// The port service: what is listed under which name, how a line is opened and
// given back, why it can't be, and the demo host behind it.
#include <gtest/gtest.h>

#include "platform/core/line/portparts.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <string>
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

TEST(List, RealPortsThenTheDemoHost)
{
    Sandbox s;
    const fs::path &root = s.root;
    PortEntry ports[kMaxPorts];

    add_port(root, "pnp0/00:01", "ttyS0", "4");
    add_port(root, "platform/serial8250", "ttyS1", "0"); // no chip
    add_port(root, "platform/uart", "ttyAMA0", "32");
    add_port(root, "usb1/1-2/1-2:1.0/ttyUSB10", "ttyUSB10", nullptr);
    put(root / "sys/devices/usb1/1-2/product", "FT232R USB UART");
    add_port(root, "usb1/1-3/1-3:1.0/ttyUSB2", "ttyUSB2", nullptr);
    put(root / "sys/devices/usb1/1-3/product", "Caf\xC3\xA9 \xE2\x82\xAC\xF0");
    add_port(root, "usb1/1-4/1-4:1.0", "ttyACM0", nullptr);
    // Consoles have no device behind them.
    fs::create_directories(root / "sys/class/tty/tty0");
    fs::create_directories(root / "dev/serial/by-id");
    fs::create_symlink("../../ttyUSB10",
                       root / "dev/serial/by-id/usb-FTDI_A1-if00-port0");

    int n = port_list_under(root.c_str(), ports, kMaxPorts);
    std::vector<std::string> names, paths;
    for (int i = 0; i < n; i++) {
        names.push_back(S(ports[i].name));
        std::string p = ports[i].path;
        if (p.rfind(root.string(), 0) == 0)
            p.erase(0, root.string().size());
        paths.push_back(p);
    }
    EXPECT_EQ(names, (std::vector<std::string>{
                         "USB serial port (ttyACM0)", "Serial port (ttyAMA0)",
                         "Serial port 1 (ttyS0)", "Caf\x8E \xDB? (ttyUSB2)",
                         "FT232R USB UART (ttyUSB10)", "Demo host"}));
    EXPECT_EQ(paths,
              (std::vector<std::string>{
                  "/dev/ttyACM0", "/dev/ttyAMA0", "/dev/ttyS0", "/dev/ttyUSB2",
                  "/dev/serial/by-id/usb-FTDI_A1-if00-port0", "demo:"}));

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

TEST(List, LongNames)
{
    Sandbox s;
    PortEntry ports[2];
    add_port(s.root, "usb1/1-1", "ttyUSB0", nullptr);
    put(s.root / "sys/devices/usb1/1-1/product", std::string(250, 'n').c_str());
    ASSERT_EQ(port_list_under(s.root.c_str(), ports, 2), 2);
    EXPECT_EQ(S(ports[0].name), std::string(245, 'n') + " (ttyUSB0)");
}

// ---- the line --------------------------------------------------------------

TEST(Line, RawAndGivenBackAsFound)
{
    pty p = make_pty();
    int other = open(p.path, O_RDWR | O_NOCTTY);
    termios found, raw, back;
    tcgetattr(other, &found);
    cfsetospeed(&found, B1200);
    cfsetispeed(&found, B1200);
    found.c_cc[VINTR] = 'x';
    tcsetattr(other, TCSANOW, &found);
    tcgetattr(other, &found);

    int fd = port_open(p.path);
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
    ASSERT_EQ(write(p.master, all.data(), all.size()), 256);
    char buf[512];
    EXPECT_EQ(port_read(fd, buf, sizeof buf), 256);
    EXPECT_EQ(memcmp(buf, all.data(), 256), 0);
    EXPECT_EQ(port_read(fd, buf, sizeof buf), -EAGAIN);
    EXPECT_EQ(port_write(fd, all.data(), 256), 256);
    EXPECT_EQ(read(p.master, buf, sizeof buf), 256);
    EXPECT_EQ(memcmp(buf, all.data(), 256), 0);

    EXPECT_EQ(port_shape(fd, 12345, 7, 'E', 0x1E), 0);
    port_close(fd);
    tcgetattr(other, &back);
    EXPECT_EQ(back.c_iflag, found.c_iflag);
    EXPECT_EQ(back.c_oflag, found.c_oflag);
    EXPECT_EQ(back.c_lflag, found.c_lflag);
    // Only that closing drops DTR is added.
    EXPECT_EQ(back.c_cflag, found.c_cflag | HUPCL);
    EXPECT_EQ(cfgetospeed(&back), speed_t(B1200));
    EXPECT_EQ(back.c_cc[VINTR], 'x');
    close(other);
}

TEST(Line, NeverAControllingTerminal)
{
    pty p = make_pty();
    pid_t pid = fork();
    if (pid == 0) {
        setsid();
        int fd = port_open(p.path);
        int tty = open("/dev/tty", O_RDWR);
        _exit(fd > 0 && tty < 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Line, HangUp)
{
    pty p = make_pty();
    int fd = port_open(p.path);
    char buf[16];
    ASSERT_GT(fd, 0);
    ASSERT_EQ(write(p.master, "last", 4), 4);
    close(p.master);
    // What came before the end may be read first, or be gone with the line;
    // then it is told, again and again.
    int32_t n = port_read(fd, buf, sizeof buf);
    EXPECT_TRUE(n == 4 || n == kPortGone) << n;
    EXPECT_EQ(port_read(fd, buf, sizeof buf), kPortGone);
    EXPECT_EQ(port_write(fd, "x", 1), kPortGone);
    EXPECT_EQ(port_send(fd, "x", 1), kPortGone);
    EXPECT_FALSE(port_holds(fd));
    port_close(fd);

    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    EXPECT_EQ(port_read(ends[0], buf, sizeof buf), -EAGAIN);
    close(ends[1]);
    EXPECT_EQ(port_read(ends[0], buf, sizeof buf), kPortGone);
    EXPECT_EQ(port_write(ends[0], "x", 1), kPortGone) << "and no signal";
}

// Offers blocks until there is no room: what was taken.
static std::string fill(int fd)
{
    std::string taken;

    for (int i = 0; i < 2000; i++) {
        std::string block(500, char('a' + i % 26));
        int32_t n = port_write(fd, block.data(), 500);
        if (n <= 0) {
            EXPECT_EQ(n, -EAGAIN);
            break;
        }
        taken.append(block, 0, size_t(n));
    }
    return taken;
}

// A host that doesn't read: partial writes, in order and without loss.
TEST(Line, PartialWrites)
{
    pty p = make_pty();
    int fd = port_open(p.path);
    ASSERT_GT(fd, 0);
    std::string sent = fill(fd), got;
    EXPECT_NE(sent.size() % 500, 0u) << "the last was taken in part";
    EXPECT_TRUE(port_holds(fd));
    EXPECT_EQ(port_write(fd, "x", 1), -EAGAIN) << "nothing overtakes the keep";
    EXPECT_EQ(port_send(fd, "keys", 4), 4);
    sent += "keys";
    char buf[4096];
    for (int i = 0; i < 10000 && got.size() < sent.size(); i++) {
        ssize_t n = read(p.master, buf, sizeof buf);
        if (n > 0)
            got.append(buf, size_t(n));
        (void)port_holds(fd);
    }
    EXPECT_TRUE(got == sent);
    EXPECT_FALSE(port_holds(fd));
    port_send(fd, "z", 1);
    EXPECT_EQ(read(p.master, buf, sizeof buf), 1);
    port_close(fd);
}

// What is gathered leaves together: when it is told to, ahead of what is
// offered once, and before a read asks the system, which may wait for the
// answer to it.
TEST(Line, GatheredBytes)
{
    pty p = make_pty();
    int fd = port_open(p.path);
    ASSERT_GT(fd, 0);
    char buf[4096];
    auto came = [&] {
        ssize_t n = read(p.master, buf, sizeof buf);
        return std::string(buf, n > 0 ? size_t(n) : 0);
    };

    port_gather(fd, true);
    EXPECT_EQ(port_write(fd, "one ", 4), 4);
    EXPECT_EQ(port_write(fd, "two ", 4), 4);
    EXPECT_EQ(came(), "");
    EXPECT_FALSE(port_keeps(fd)) << "the line has room: nothing is owed";
    EXPECT_EQ(port_read(fd, buf, 1), -EAGAIN);
    EXPECT_EQ(came(), "one two ");
    EXPECT_EQ(port_write(fd, "block", 5), 5);
    EXPECT_EQ(port_send(fd, "key", 3), 3);
    EXPECT_EQ(came(), "blockkey");
    EXPECT_EQ(port_write(fd, "end", 3), 3);
    port_gather(fd, false);
    EXPECT_EQ(came(), "end");

    // A host that stops reading: what has no room is owed, and in order.
    port_gather(fd, true);
    std::string sent = fill(fd), got;
    EXPECT_TRUE(port_settle(fd));
    EXPECT_TRUE(port_keeps(fd));
    for (int i = 0; i < 10000 && got.size() < sent.size(); i++) {
        got += came();
        (void)port_holds(fd);
    }
    EXPECT_TRUE(got == sent);
    EXPECT_FALSE(port_settle(fd));
    port_close(fd);
}

// What a socket holds can't be taken back, so it must not be much.
TEST(Line, ASocketTakesLittleAhead)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
    size_t taken = fill(ends[0]).size();
    EXPECT_GT(taken, 4096u);
    EXPECT_LT(taken, 65536u);
    port_close(ends[0]);
    close(ends[1]);
}

TEST(Line, CloseDoesntWaitForAStuckLine)
{
    pty p = make_pty();
    int fd = port_open(p.path);
    ASSERT_GT(fd, 0);
    std::string block(4096, 'x');
    while (port_write(fd, block.data(), 4096) > 0)
        ;
    alarm(5);
    port_close(fd);
    alarm(0);
    EXPECT_EQ(port_shape(0, 9600, 8, 'N', 0), EBADF) << "0 is a closed port";
    EXPECT_EQ(port_break(0, 1), EBADF);
}

TEST(Line, WhatIsNoPort)
{
    Sandbox s;
    put(s.root / "file", "text");
    EXPECT_EQ(port_open((s.root / "file").c_str()), -ENOTTY);
    EXPECT_EQ(port_open(s.root.c_str()), -ENOTTY);
    EXPECT_EQ(port_open("/dev/null"), -ENOTTY);
    EXPECT_EQ(port_open((s.root / "none").c_str()), -ENOENT);
    EXPECT_EQ(port_open(""), -ENOENT);
    std::ifstream f(s.root / "file");
    std::string content;
    std::getline(f, content);
    EXPECT_EQ(content, "text");
    EXPECT_FALSE(port_present((s.root / "file").c_str()));
    EXPECT_TRUE(port_present("/dev/null"));
    EXPECT_TRUE(port_present("demo:"));
}

// ---- why not ---------------------------------------------------------------

TEST(Why, Reasons)
{
    Str255 why;
    struct stat st;

    port_why("/dev/ttyNone", ENOENT, why);
    EXPECT_EQ(S(why), "Unplugged?");
    port_why("", ENOENT, why);
    EXPECT_NE(S(why).find("No port"), std::string::npos);
    port_why("demo:", ENOENT, why);
    EXPECT_NE(S(why).find("quillon-demohost"), std::string::npos);
    port_why("/dev/null", ERANGE, why);
    EXPECT_EQ(S(why), "");

    pty p = make_pty();
    ASSERT_EQ(stat(p.path, &st), 0);
    port_why(p.path, EACCES, why);
    group *g = getgrgid(st.st_gid);
    if (g && st.st_gid != 0) {
        EXPECT_NE(S(why).find(g->gr_name), std::string::npos);
        EXPECT_NE(S(why).find("usermod -aG "), std::string::npos);
    }

    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t pid = fork();
    if (pid == 0) {
        int fd = open(p.path, O_RDWR | O_NOCTTY);
        (void)!write(ready[1], "x", 1);
        pause();
        _exit(fd);
    }
    char c;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
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
        int32_t n = port_read(fd, buf, sizeof buf);
        if (n == kPortGone)
            break;
        if (n > 0)
            s.append(buf, size_t(n));
    }
    return s;
}

TEST(Demo, OpensLikeAnyPort)
{
    setenv("QUILLON_DEMOHOST", TOOLS_DIR "/quillon-demohost", 1);
    int fd = port_open("demo:");
    ASSERT_GT(fd, 0);
    EXPECT_EQ(port_shape(fd, 19200, 8, 'N', 0), 0);
    std::string s = read_until(fd, "Your choice: ");
    EXPECT_NE(s.find("Colours"), std::string::npos) << s;
    EXPECT_EQ(port_send(fd, "9\r", 2), 2);
    EXPECT_NE(read_until(fd, "\x05").find('\x05'), std::string::npos);
    EXPECT_EQ(port_send(fd, "me", 2), 2);
    EXPECT_NE(read_until(fd, "\"me\"").find("\"me\""), std::string::npos);
    port_close(fd);
    // It is nobody's child, so no remains are left to be waited for.
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    setenv("QUILLON_DEMOHOST", "/nowhere/quillon-demohost", 1);
    EXPECT_EQ(port_open("demo:"), -ENOENT);
}
