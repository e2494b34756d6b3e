#include "line.h"

#include <gtest/gtest.h>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"

#include <cstdlib>
#include <filesystem>
#include <sys/socket.h>
#include <unistd.h>

int far = -1;

struct folder {
    std::string path =
        testing::TempDir() + "quillon-serial-" + std::to_string(getpid());
    folder() { std::filesystem::create_directories(path); }
    ~folder() { std::filesystem::remove_all(path); }
};

std::string scratch_folder()
{
    static folder ours;
    return ours.path;
}

void start_line()
{
    int ends[2];

    setenv("XDG_CONFIG_HOME", scratch_folder().c_str(), 1);
    setenv("XDG_STATE_HOME", scratch_folder().c_str(), 1);
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
    far = ends[1];
    myWindow = GetNewCWindow(128);
    ASSERT_NE(myWindow, nullptr);
    ShowWindow(myWindow);
    gGlobStrings = NewStrList();
    gLocalStrings = NewStrList();
    ASSERT_EQ(SerAlloc(), 0);
    fillBuffer();
    asInit();
    InitPage();
    FindFolder(0, kPrefFolder, true, &pgmVRef, &pgmDir);
    cset.termFlags = kTermNoAutoLF;
    cset.flowFlags = 0;
    sIn = sOut = int16_t(ends[0]);
    clock_watch_port(sIn);
}

void host_says(const std::string &s)
{
    ASSERT_EQ(write(far, s.data(), s.size()), ssize_t(s.size()));
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
