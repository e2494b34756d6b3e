// File transfers over standard input and output, or a device: the program's
// engines with its settings, and nobody at the keyboard. A file that exists
// gets a new name beside it. What the program would show in its terminal goes
// to standard error with --verbose; --log keeps the program's log of transfers.
#include "commands.h"

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "connect/Dial.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/events.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "resources/names.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/kermit.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

constexpr uint32_t kPromptTicks = 20; // for the host's prompt to come

// ---- what was asked for ----------------------------------------------------

struct wishes {
    std::string port;
    long baud = 115200;
    char convert = 'B';
    char block = 'A';
    long window = 0;
    bool escape = false;
    bool verbose = false;
    bool log = false;
    bool oneK = false, sum = false; // asked for when receiving X and Y
    bool seven = false;             // a line of seven bits
    char protocol = 'z';
    char check = '3';   // of Kermit
    long packet = 1024; // of Kermit
    std::string name;   // of a file that comes without one
    arguments rest;     // behind the options
};

static bool number_of(const std::string &text, long least, long most, long *out)
{
    char *end;

    errno = 0;
    *out = strtol(text.c_str(), &end, 10);
    return !text.empty() && !*end && errno == 0 && *out >= least &&
           *out <= most;
}

static bool letter_of(const std::string &text, const char *choices, char *out)
{
    if (text.size() != 1 || !strchr(choices, text[0]))
        return false;
    *out = text[0];
    return true;
}

// One option with its value. False if there is no such option or value.
static bool take(wishes *w, const std::string &option, const std::string &value)
{
    if (option == "--port") {
        w->port = value;
        return !value.empty();
    }
    if (option == "--baud")
        return number_of(value, 50, 4000000, &w->baud);
    if (option == "--window")
        return number_of(value, 0, 16384, &w->window);
    if (option == "--convert")
        return letter_of(value, "SMTB", &w->convert);
    if (option == "--block")
        return letter_of(value, "A25k", &w->block);
    if (option == "--kermit-length")
        return number_of(value, 0, 32767, &w->packet);
    if (option == "--kermit-check")
        return letter_of(value, "123B", &w->check);
    if (option == "--name") {
        w->name = value;
        return !value.empty();
    }
    return false;
}

// Options that stand alone.
static bool *flag_of(wishes *w, const std::string &option)
{
    const struct {
        const char *option;
        bool *flag;
    } flags[] = {
        {"--escape", &w->escape}, {"--verbose", &w->verbose},
        {"--log", &w->log},       {"--1k", &w->oneK},
        {"--checksum", &w->sum},  {"--seven", &w->seven},
    };
    for (const auto &f : flags)
        if (option == f.option)
            return f.flag;
    return nullptr;
}

// `letters`: the protocols of the direction.
static bool parse(const arguments &args, const char *letters, wishes *w)
{
    if (args.empty() || !letter_of(args[0], letters, &w->protocol)) {
        fprintf(stderr, "quillon-line: the protocol is one of %s\n", letters);
        return false;
    }
    size_t i = 1;
    for (; i < args.size() && args[i].compare(0, 2, "--") == 0; i++) {
        if (args[i] == "--") {
            i++;
            break;
        }
        if (bool *flag = flag_of(w, args[i])) {
            *flag = true;
        } else if (i + 1 >= args.size() || !take(w, args[i], args[i + 1])) {
            fprintf(stderr, "quillon-line: wrong option %s\n", args[i].c_str());
            return false;
        } else {
            i++;
        }
    }
    w->rest.assign(args.begin() + long(i), args.end());
    return true;
}

// ---- the line --------------------------------------------------------------

static int savedFlags = -1; // of standard input, to be given back

// Carries bytes both ways between a socket and two pipes, for a line of two
// descriptors: the program's port is one. Ends with either side.
[[noreturn]] static void pump(int socket)
{
    bool in = true, out = true;
    char bytes[4096];

    while (in || out) {
        pollfd fds[2] = {{in ? 0 : -1, POLLIN, 0},
                         {out ? socket : -1, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0 && errno != EINTR)
            break;
        for (int i = 0; i < 2; i++) {
            if (!fds[i].revents)
                continue;
            int from = i == 0 ? 0 : socket;
            int to = i == 0 ? socket : 1;
            ssize_t n = read(from, bytes, sizeof bytes);
            if (n <= 0) {
                (i == 0 ? in : out) = false;
                if (i == 0)
                    shutdown(socket, SHUT_WR);
                continue;
            }
            for (ssize_t done = 0; done < n;) {
                ssize_t put = write(to, bytes + done, size_t(n - done));
                if (put < 0 && errno != EINTR)
                    _exit(0);
                done += put > 0 ? put : 0;
            }
        }
    }
    _exit(0);
}

// Standard input and output as one descriptor above 2, or -1.
static int standard_line()
{
    struct stat in, out;
    if (fstat(0, &in) != 0 || fstat(1, &out) != 0)
        return -1;
    if (in.st_dev == out.st_dev && in.st_ino == out.st_ino) {
        savedFlags = fcntl(0, F_GETFL);
        return fcntl(0, F_DUPFD_CLOEXEC, 3);
    }
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        return -1;
    pid_t child = fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        close(pair[0]);
        pump(pair[1]);
    }
    close(pair[1]);
    return pair[0];
}

static bool open_line(const wishes &w)
{
    if (!w.port.empty()) {
        Str255 name;
        CopyCStringToPascal(w.port.c_str(), name);
        SetModem(name);
        int16_t error = OpenModem();
        if (error)
            fprintf(stderr, "quillon-line: %s: %s\n", w.port.c_str(),
                    strerror(error));
        return error == 0;
    }
    int fd = standard_line();
    if (fd < 0 || fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) != 0) {
        perror("quillon-line: standard input and output");
        return false;
    }
    sIn = sOut = int16_t(fd);
    line_use(fd);
    return true;
}

static void close_line(const wishes &w)
{
    // What the engine has written last is still on its way to the far end.
    if (!w.port.empty())
        CloseModem();
    if (savedFlags >= 0)
        (void)fcntl(0, F_SETFL, savedFlags);
}

static volatile sig_atomic_t interrupted;

static void on_signal(int)
{
    interrupted = 1;
}

// Nobody presses Cancel here: an interrupt stands for that.
static void look_at_signal()
{
    if (interrupted)
        UserCancel = 1;
}

// ---- the program -----------------------------------------------------------

// What a new connection has, for a line of this speed.
static void settings(const wishes &w)
{
    cset.rzTimeout = 10;
    cset.szTimeout = 60;
    cset.xmTimeout = 80;
    cset.xmStartTimeout = 100;
    cset.zBlockChar = w.block;
    cset.zFlags = w.escape;
    cset.zWindow = uint16_t(w.window);
    cset.hostNames = 3;
    cset.rcvProto = cset.sendProto = 'Z';
    cset.xferFlags =
        uint8_t((w.oneK ? kXfer1K : 0) | (w.sum ? kXferChecksum : 0));
    cset.kermLen = uint16_t(w.packet);
    // Type B is the other side's to ask for; it is taken where 2 would be.
    cset.kermCheck = w.check == 'B' ? 2 : uint8_t(w.check - '0');
    if (w.seven) {
        cset.dataChar = '7';
        cset.parityChar = 'E';
        data = kData7;
        parity = kParityEven;
    }
    if (!w.log)
        qset.globFlags |= kGlobNoXferLog;
    qset.fileBufSize = 8192;
    qset.binCreator = qset.binType = 0;
    op_xconv = w.convert;
    Baudrate = int32_t(w.baud);
    gCarrierRate = uint32_t(w.baud);
}

// The name that was given, or the first one behind it that no file has.
static std::string free_name(const std::string &name)
{
    std::string text = name;
    Str255 wanted;
    CatInfo info;

    for (int n = 1;; n++) {
        CopyCStringToPascal(text.c_str(), wanted);
        if (GetCatInfo(zRcvVol, zRcvDirID, wanted, &info) != noErr)
            return text;
        text = name + " #" + std::to_string(n);
    }
}

// A file without a name gets the one that was given, one that exists a new one
// beside it.
static void answer_question(WindowPtr window, const std::string &name)
{
    const HlItem *field = hl_item(window, 2);

    if (field && field->kind == BE_EDIT)
        hl_edit(window, 2, free_name(name).c_str());
    hl_hit(window, 1);
}

static void answer_questions(const std::string &name)
{
    hl_modal([name](WindowPtr window) {
        answer_question(window, name);
        answer_questions(name);
    });
}

// What is at hand is read and given back, as only a read meets a line's end.
static bool line_ended()
{
    int16_t n = 1;

    if (sIn != 0 && BytesReady() == 0 && GetBytes(&n))
        putBack(n);
    return sIn == 0;
}

static bool start(const wishes &w)
{
    signal(SIGINT, on_signal);
    signal(SIGTERM, on_signal);
    start_terminal();
    settings(w);
    if (SerAlloc() != 0 || AllocXferBuf(1500) < 1500) {
        fprintf(stderr, "quillon-line: no memory\n");
        return false;
    }
    // Never shown: an error's line goes to its terminal, where a dialog would
    // stand for seconds.
    myWindow = GetNewWindow(kWindowMain);
    if (!open_line(w))
        return false;
    answer_questions(w.name);
    hl_on_signal(look_at_signal);
    if (line_ended()) {
        fprintf(stderr, "quillon-line: the line has ended\n");
        return false;
    }
    return true;
}

// The rows of the screen that hold text, with what the host says behind the
// transfer.
static void show_screen(const wishes &w)
{
    EventRecord event;

    if (!w.verbose)
        return;
    for (const uint32_t end = TickCount() + kPromptTicks; TickCount() < end;) {
        if (line_ended() || !ReadPort())
            (void)WaitNextEvent(0, &event, 1, nullptr);
    }
    for (int row = 0; row < MaxLine; row++) {
        const uint8_t *line = scrLine(row);
        int n = MaxCol;
        while (n > 0 && (line[n - 1] == ' ' || line[n - 1] == 0))
            n--;
        if (n > 0)
            fprintf(stderr, "%.*s\n", n, reinterpret_cast<const char *>(line));
    }
}

static bool fill_slots(const arguments &files)
{
    if (files.size() > size_t(kMaxSendFiles)) {
        fprintf(stderr, "quillon-line: more than %d files\n",
                int(kMaxSendFiles));
        return false;
    }
    for (size_t i = 0; i < files.size(); i++) {
        if (!SendSlot(int32_t(i)))
            return false;
        if (FSSpecFromPath(files[i].c_str(), sendFSS[i]) != noErr) {
            fprintf(stderr, "quillon-line: %s: no such file\n",
                    files[i].c_str());
            return false;
        }
        name4host(sendFSS[i]->name, hostnames[i]);
    }
    mgCount = int32_t(files.size());
    return true;
}

// One file, or as many as the protocol carries.
static bool check_count(const wishes &w)
{
    if (w.rest.empty())
        return false;
    if (w.rest.size() == 1 || strchr("zyY", w.protocol))
        return true;
    fprintf(stderr, "quillon-line: %c sends one file a call\n", w.protocol);
    return false;
}

int cmd_send(const arguments &args)
{
    wishes w;

    if (!parse(args, "zyYxXk", &w) || !check_count(w))
        return 2;
    if (!start(w) || !fill_slots(w.rest))
        return 1;
    int32_t result;
    if (w.protocol == 'k') {
        curSendFSS = sendFSS[0];
        result = KermSend();
    } else {
        result = sz(mgCount, sendFSS, w.protocol == 'z' ? 'Z' : w.protocol);
    }
    show_screen(w);
    close_line(w);
    return result == 0 && gWholeFiles == mgCount ? 0 : 1;
}

static int16_t receive_by(char protocol)
{
    switch (protocol) {
    case 'x':
    case 'X':
        return rz(kModeX);
    case 'y':
    case 'Y':
        return rz(kModeY);
    case 'G':
        return rz(kModeG);
    case 'k':
        (void)KermRecv(); // 0 also when it was broken off
        return KermEnded() ? 0 : 1;
    }
    return rz(kModeZ);
}

int cmd_receive(const arguments &args)
{
    wishes w;
    FSSpec spec;
    CatInfo folder;

    if (!parse(args, "zyYGxXk", &w) || w.rest.size() != 1)
        return 2;
    if (tolower(w.protocol) == 'x' && w.name.empty()) {
        fprintf(stderr, "quillon-line: XMODEM tells no name: --name NAME\n");
        return 2;
    }
    if (!start(w))
        return 1;
    if (FSSpecFromPath(w.rest[0].c_str(), &spec) != noErr ||
        GetCatInfo(spec.vRefNum, spec.parID, spec.name, &folder) != noErr ||
        !folder.isFolder) {
        fprintf(stderr, "quillon-line: %s: no such folder\n",
                w.rest[0].c_str());
        return 1;
    }
    zRcvVol = folder.vRefNum;
    zRcvDirID = folder.dirID;
    int16_t result = receive_by(w.protocol);
    show_screen(w);
    close_line(w);
    return result == 0 && gSkippedFiles == 0 && gWholeFiles > 0 ? 0 : 1;
}
