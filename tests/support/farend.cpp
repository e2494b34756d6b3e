// A line whose other end is the case.
#include "tests/support/farend.h"

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/files.h"
#include "platform/line.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"
#include "tests/support/sandbox.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

int far = -1;

static void must(bool fact)
{
    if (!fact)
        abort();
}

void use_pair(int type)
{
    int ends[2];

    must(socketpair(AF_UNIX, type | SOCK_NONBLOCK, 0, ends) == 0);
    far = ends[1];
    sIn = sOut = int16_t(ends[0]);
    line_use(sIn);
}

void start_line()
{
    sandbox();
    myWindow = GetNewWindow(128);
    must(myWindow != nullptr);
    ShowWindow(myWindow);
    gGlobStrings = NewStrList();
    gLocalStrings = NewStrList();
    must(SerAlloc() == 0);
    fillBuffer();
    asInit();
    MakeUPPs();
    InitPage();
    FindFolder(0, kPrefFolder, true, &pgmVRef, &pgmDir);
    cset.termFlags = kTermNoAutoLF;
    cset.flowFlags = 0;
    use_pair(SOCK_SEQPACKET);
}

void host_says(const std::string &s)
{
    must(write(far, s.data(), s.size()) == ssize_t(s.size()));
}

std::string host_heard()
{
    std::string s;
    char buf[4096];
    ssize_t n;

    while ((n = read(far, buf, sizeof buf)) > 0)
        s.append(buf, size_t(n));
    return s;
}

std::string screen_row(int n)
{
    std::string s(reinterpret_cast<const char *>(scrLine(n)), MaxCol);
    size_t end = s.find_last_not_of(std::string(" \0", 2));
    return end == std::string::npos ? "" : s.substr(0, end + 1);
}

pty make_pty()
{
    pty p;

    p.master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    must(grantpt(p.master) == 0 && unlockpt(p.master) == 0);
    must(ptsname_r(p.master, p.path, sizeof p.path) == 0);
    return p;
}
