// The demo host as a port: its program behind a new pseudo-terminal.
#include "platform/core/line/portparts.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#ifndef QUILLON_LIBEXEC
#define QUILLON_LIBEXEC "/usr/local/libexec/quillon"
#endif

static const char kProgram[] = "quillon-demohost";

static bool runnable(const std::string &path)
{
    struct stat s;

    return stat(path.c_str(), &s) == 0 && S_ISREG(s.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

void demo_program(char *out, size_t size)
{
    char self[PATH_MAX];
    std::string found;

    if (const char *own = getenv("QUILLON_DEMOHOST")) {
        found = own;
    } else {
        ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
        std::string folder(self, n > 0 ? size_t(n) : 0);
        folder.erase(folder.rfind('/') + 1);
        // Beside us in a build; installed, by the prefix we lie under.
        for (const std::string &p :
             {folder + kProgram, folder + "../libexec/quillon/" + kProgram,
              std::string(QUILLON_LIBEXEC "/") + kProgram}) {
            if (runnable(p)) {
                found = p;
                break;
            }
        }
    }
    if (found.size() >= size || !runnable(found))
        found.clear();
    snprintf(out, size, "%s", found.c_str());
}

// Both ends, the second one raw: the host speaks before we could set it.
static int make_pair(int *master)
{
    char name[64];
    int error;

    *master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (*master < 0)
        return -errno;
    int fd = -1;
    if (grantpt(*master) == 0 && unlockpt(*master) == 0 &&
        ptsname_r(*master, name, sizeof name) == 0)
        fd = open(name, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    termios t;
    if (fd <= 0 || tcgetattr(fd, &t) != 0) {
        error = errno ? errno : EIO;
        if (fd >= 0)
            close(fd);
        close(*master);
        return -error;
    }
    cfmakeraw(&t);
    t.c_iflag |= IGNBRK;
    tcsetattr(fd, TCSANOW, &t);
    return fd;
}

int demo_open()
{
    char program[PATH_MAX];
    int master;

    demo_program(program, sizeof program);
    if (program[0] == 0)
        return -ENOENT;
    int fd = make_pair(&master);
    if (fd < 0)
        return fd;
    char number[16];
    snprintf(number, sizeof number, "%d", master);
    char flag[] = "--fd";
    char *args[] = {program, flag, number, nullptr};

    // Forks twice, so that the host isn't our child and leaves no zombie when
    // it ends with its line.
    pid_t pid = fork();
    if (pid == 0) {
        pid_t host = fork();
        if (host != 0)
            _exit(host > 0 ? 0 : 1);
        setsid();
        fcntl(master, F_SETFD, 0);
        execv(program, args);
        _exit(127);
    }
    int status = 1;
    if (pid > 0) {
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
            ;
    }
    close(master);
    if (pid < 0 || status != 0) {
        close(fd);
        return -EAGAIN;
    }
    return fd;
}
