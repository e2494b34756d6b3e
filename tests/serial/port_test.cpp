// The port and the line's settings, on pseudo-terminals: what the terminal
// driver gets, a device that goes and comes back, breaks.
#include <gtest/gtest.h>

#include "base/pstr.h"
#include "connect/Dial.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/headless/headless.h"
#include "platform/menus.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "tests/support/farend.h"
#include "tests/support/sandbox.h"

#include <asm/termbits.h>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

static void use_port(const std::string &path)
{
    Str255 name;
    CopyCStringToPascal(path.c_str(), name);
    SetModem(name);
}

static termios2 state(int fd)
{
    termios2 t = {};
    EXPECT_EQ(ioctl(fd, TCGETS2, &t), 0);
    return t;
}

TEST(Port, ShapeOfTheLine)
{
    static const struct {
        int32_t speed;
        int16_t bits, par;
        uint8_t flow;
        unsigned cflag, iflag;
    } rows[] = {
        {300, kData8, kParityNone, 0, CS8, 0},
        {9600, kData7, kParityEven, 0x04, CS7 | PARENB, IXON},
        {19200, kData7, kParityOdd, 0x02, CS7 | PARENB | PARODD, IXOFF},
        {31250, kData8, kParityEven, 0x06, CS8 | PARENB, IXON | IXOFF},
        {115200, kData8, kParityNone, 0x10, CS8 | CRTSCTS, 0},
        {230400, kData8, kParityNone, 0x08, CS8 | CRTSCTS, 0},
        {230400, 99, 77, 0x1E, CS8 | CRTSCTS, IXON | IXOFF},
    };
    start_line();
    pty p = make_pty();
    use_port(p.path);
    ASSERT_EQ(OpenModem(), 0);
    EXPECT_EQ(sIn, sOut);

    for (const auto &r : rows) {
        SCOPED_TRACE(r.speed);
        Baudrate = r.speed;
        data = r.bits;
        parity = r.par;
        stopBits = kStop2;
        cset.flowFlags = r.flow;
        set_port();
        termios2 t = state(sIn);
        // A pseudo-terminal keeps what is set but for the size, which it
        // always calls eight bits, and the parity, of which only the kind
        // stays.
        EXPECT_EQ(t.c_cflag & (CSTOPB | CREAD | HUPCL | CLOCAL),
                  unsigned(CREAD | HUPCL | CLOCAL));
        EXPECT_EQ(t.c_cflag & CRTSCTS, r.cflag & CRTSCTS);
        EXPECT_EQ(t.c_cflag & PARODD, r.cflag & PARODD);
        EXPECT_EQ(t.c_iflag, r.iflag | IGNBRK);
        EXPECT_EQ(int32_t(t.c_ospeed), r.speed);
        EXPECT_EQ(int32_t(t.c_ispeed), r.speed);
        EXPECT_EQ(t.c_cc[VSTART], 0x11);
        EXPECT_EQ(t.c_cc[VSTOP], 0x13);
        EXPECT_EQ(t.c_lflag & (ECHO | ICANON | ISIG), 0u);
        EXPECT_EQ(t.c_oflag & OPOST, 0u);
    }

    uint8_t kept = cset.flowFlags;
    SetFlow(0);
    EXPECT_EQ(state(sIn).c_iflag, unsigned(IGNBRK));
    EXPECT_EQ(state(sIn).c_cflag & CRTSCTS, 0u);
    SetFlow(0x04);
    EXPECT_EQ(state(sIn).c_iflag, unsigned(IGNBRK | IXON));
    EXPECT_EQ(cset.flowFlags, kept);
    CloseModem();
    EXPECT_EQ(sIn, 0);
    EXPECT_EQ(sOut, 0);
    SetFlow(0x06); // a closed port is not standard input
}

TEST(Port, Speeds)
{
    static const struct {
        int32_t asked, speed;
        int16_t item, code;
        uint16_t word; // the connection's older field; 0: in the long one alone
    } rows[] = {
        {115200, 115200, 11, 14, 0},
        {300, 300, 1, 380, 300},
        {2000, 2400, 3, 46, 2400}, // in no table
        {0, 2400, 3, 46, 2400},
    };
    start_line();
    for (const auto &r : rows) {
        SCOPED_TRACE(r.asked);
        EXPECT_EQ(Baud2Item(r.asked), r.item);
        set_baud(r.asked);
        EXPECT_EQ(Baudrate, r.speed);
        EXPECT_EQ(baud, r.code);
        EXPECT_EQ(bd_item, r.item);
        EXPECT_EQ(cset.baudWord, r.word);
        EXPECT_EQ(gCarrierRate, uint32_t(r.speed));
    }
}

TEST(Port, EightBitsForATransfer)
{
    static const struct {
        const char *name;
        int16_t bits, par;
        const char *calls; // of xfer_port
        int16_t bitsThen, parThen;
    } rows[] = {
        {"nothing was saved", kData8, kParityNone, "1", kData8, kParityNone},
        {"begun", kData7, kParityOdd, "0", kData8, kParityNone},
        {"and over", kData7, kParityOdd, "01", kData7, kParityOdd},
        {"begun twice", kData7, kParityOdd, "001", kData8, kParityNone},
        {"parity of eight", kData8, kParityEven, "0", kData8, kParityEven},
    };
    start_line();
    for (const auto &r : rows) {
        SCOPED_TRACE(r.name);
        data = r.bits;
        parity = r.par;
        gXferRestore = 1;
        for (const char *c = r.calls; *c; c++)
            xfer_port(*c == '1');
        EXPECT_EQ(data, r.bitsThen);
        EXPECT_EQ(parity, r.parThen);
        EXPECT_EQ(gXferRestore, 0);
    }
}

TEST(Port, Names)
{
    Str255 name, in = {1, '-'}, out = {1, '-'};
    start_line();

    gDevCount = 0;
    for (int16_t i = 0; i < 45; i++) {
        Str255 n = {5, 'p', 'o', 'r', 't', uint8_t('0' + i)};
        StorePortEntry(i, n, n, nullptr);
    }
    EXPECT_EQ(gDevCount, kMaxPorts) << "one more than fits is left out";
    EXPECT_EQ(gPortDevOutNames[0], nullptr);
    use_port("port3");
    EXPECT_EQ(GetPortNames(name, nullptr, nullptr), 0);
    EXPECT_EQ(S(name), "port3");
    EXPECT_EQ(gPortIndex, 0);
    const struct {
        const char *override;
        int16_t index;
        const char *names;
    } rows[] = {
        {"", 3, "port3"},
        {"port5", 5, "port5"},
        {"other", 0, "port5"}, // no match leaves the buffers
    };
    for (const auto &r : rows) {
        CopyCStringToPascal(r.override, gPortOverride);
        GetPortNames(nullptr, in, out);
        EXPECT_EQ(gPortIndex, r.index) << r.override;
        EXPECT_EQ(S(in) + S(out), std::string(r.names) + r.names);
    }
    gPortOverride[0] = 0;

    // A port without a name takes its slot.
    StorePortEntry(2, nullptr, PSTR("x"), nullptr);
    EXPECT_EQ(gDevCount, 3);

    // The list of this machine ends with the demo host, in the menu, too.
    buildDevMenu();
    ASSERT_GT(gDevCount, 0);
    EXPECT_EQ(S(gPortNames[gDevCount - 1]), "Demo host");
    Str255 item;
    GetMenuItemText(devMenuHdl, int16_t(gDevCount), item);
    EXPECT_EQ(S(item), "Demo host");
}

// A device of a name that stays, as udev gives it.
static pty plug(const std::string &link)
{
    pty p = make_pty();
    EXPECT_EQ(symlink(p.path, link.c_str()), 0);
    return p;
}

static void unplug(const pty &p, const std::string &link)
{
    close(p.master);
    unlink(link.c_str());
}

static std::string whole_screen()
{
    std::string s;
    for (int i = 0; i < MaxLine; i++)
        s += screen_row(i) + "\n";
    return s;
}

TEST(Port, CantBeOpened)
{
    start_line();
    use_port("nowhere");
    EXPECT_EQ(OpenModem(), ENOENT);
    EXPECT_EQ(sIn, 0);
    use_port(scratch_folder() + "/gone");
    EXPECT_EQ(OpenModem(), ENOENT);
    EXPECT_NE(whole_screen().find("Unplugged?"), std::string::npos)
        << whole_screen();
    EXPECT_EQ(RetryModem(), 0) << "a port that never was isn't sought";
}

// The other end goes in the middle of its output: that is reported once, what
// came is kept, and the port is taken up again when the device is back.
TEST(Port, GoesAndComesBack)
{
    start_line();
    std::string link = scratch_folder() + "/port";
    pty p = plug(link);
    use_port(link);
    ASSERT_EQ(OpenModem(), 0);
    ASSERT_EQ(write(p.master, "still here", 10), 10);
    ReadPort();
    EXPECT_EQ(screen_row(0), "still here");
    EXPECT_EQ(ReadPort(), 0);
    OutCh(sOut, 'k');
    char c = 0;
    EXPECT_EQ(read(p.master, &c, 1), 1);
    EXPECT_EQ(c, 'k');

    unplug(p, link);
    ReadPort();
    EXPECT_EQ(sIn, 0);
    std::string text = whole_screen();
    EXPECT_NE(text.find("###  "), std::string::npos);
    EXPECT_NE(text.find("Unplugged?"), std::string::npos) << text;
    EXPECT_EQ(screen_row(0), "still here");

    for (int i = 0; i < 300; i++) {
        hl_advance_ticks(1);
        EXPECT_EQ(RetryModem(), 0);
    }
    EXPECT_EQ(whole_screen(), text) << "looking for it is silent";

    p = plug(link);
    int looks = 0;
    for (; looks < 40 && !RetryModem(); looks++)
        hl_advance_ticks(1);
    EXPECT_LE(looks, 31) << "back within half a second";
    ASSERT_GT(sIn, 0);
    ASSERT_EQ(write(p.master, "back", 4), 4);
    EXPECT_EQ(ReadPort(), 1);
    EXPECT_NE(whole_screen().find("back"), std::string::npos);

    // A port that the user closed isn't opened behind his back.
    unplug(p, link);
    ReadPort();
    CloseModem();
    p = plug(link);
    for (int i = 0; i < 100; i++) {
        hl_advance_ticks(1);
        EXPECT_EQ(RetryModem(), 0);
    }
}

// A line that goes and is there again at once is opened by the reader.
TEST(Port, ReopensAtOnce)
{
    start_line();
    std::string link = scratch_folder() + "/port";
    pty p = plug(link);
    use_port(link);
    ASSERT_EQ(OpenModem(), 0);
    unlink(link.c_str());
    pty q = plug(link);
    close(p.master);
    ReadPort();
    EXPECT_GT(sIn, 0);
    ASSERT_EQ(write(q.master, "again", 5), 5);
    ReadPort();
    EXPECT_NE(whole_screen().find("again"), std::string::npos);
}

// A device that opens and is gone again at once, for ever: reported a few
// times, not twice a second.
TEST(Port, OpensAndIsGoneAgain)
{
    start_line();
    setenv("QUILLON_DEMOHOST", "/bin/true", 1);
    BuildPortList();
    use_port("Demo host");
    ASSERT_EQ(OpenModem(), 0);
    int losses = 0;
    for (int i = 0; i < 3600; i++) {
        // The program ends in its own time.
        int was = sIn;
        for (int j = 0; j < 2000 && was != 0 && sIn == was; j++) {
            ReadPort();
            usleep(sIn == was ? 500 : 0);
        }
        losses += was != 0;
        RetryModem();
        hl_advance_ticks(1);
    }
    EXPECT_GE(losses, 3);
    EXPECT_LE(losses, 12);
}

struct BreakRow {
    const char *preference;
    bool simulated;
};

class Break : public testing::TestWithParam<BreakRow> {};

TEST_P(Break, RealOrSimulated)
{
    write_prefs(sandbox(), GetParam().preference);
    start_line();
    pty p = make_pty();
    char buf[64];
    use_port(p.path);
    ASSERT_EQ(OpenModem(), 0);
    DoBreak(5);
    ssize_t n = read(p.master, buf, sizeof buf);
    EXPECT_EQ(std::string(buf, n > 0 ? size_t(n) : 0),
              std::string(GetParam().simulated, '\0'));
    EXPECT_EQ(int32_t(state(sIn).c_ospeed), Baudrate);
    EXPECT_EQ(whole_screen().find("tcsendbreak"), std::string::npos);
    CloseModem();
    DoBreak(5);
    EXPECT_EQ(whole_screen().find("in tcsendbreak") == std::string::npos,
              GetParam().simulated);
}

INSTANTIATE_TEST_SUITE_P(Port, Break,
                         testing::Values(BreakRow{"", true},
                                         BreakRow{"breakSim = 41\n", true},
                                         BreakRow{"breakSim = 40\n", false}));
