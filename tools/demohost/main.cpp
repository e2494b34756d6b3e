// tools/demohost/main.cpp
// A modem and a host on a pseudo-terminal, so that a terminal program can be
// tried, and tested, with no hardware.
#include "tools/demohost/hostline.h"
#include "tools/demohost/modem.h"
#include "tools/demohost/pages.h"
#include "tools/demohost/programs.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

static const char kUsage[] =
    "usage: quillon-demohost [--modem] [--fd N]\n"
    "A modem and a host behind a pseudo-terminal. Prints the path to open,\n"
    "and ends when that is closed.\n"
    "  --modem  begin hung up; dial with ATDT and any number. One that ends\n"
    "           in 0000 is busy, in 1111 gives no carrier, in 2222 no answer,\n"
    "           in 3333 no dial tone. Otherwise the menu comes at once.\n"
    "  --fd N   the line is descriptor N, the master of a pseudo-terminal\n";

int main(int argc, char **argv)
{
    bool direct = true;
    int fd = -1;

    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--modem") == 0) {
            direct = false;
        } else if (strcmp(argv[i], "--fd") == 0 && i + 1 < argc) {
            fd = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--help") == 0) {
            fputs(kUsage, stdout);
            return 0;
        } else {
            fprintf(stderr, "quillon-demohost: bad argument \"%s\"\n%s",
                    argv[i], kUsage);
            return 2;
        }
    }
    signal(SIGPIPE, SIG_IGN);
    if (fd >= 0) {
        if (!line_adopt(fd)) {
            fprintf(stderr, "quillon-demohost: descriptor %d is no terminal\n",
                    fd);
            return 1;
        }
    } else {
        std::string path = line_create();
        if (path.empty()) {
            perror("quillon-demohost: no pseudo-terminal to be had");
            return 1;
        }
        printf("%s\n", path.c_str());
        fflush(stdout);
    }
    line_at_end(programs_end);

    if (direct)
        (void)host_menu();
    for (bool first = !direct;; first = false) {
        call_end end = modem_call_end();
        if (end == kHostEnded && !first)
            modem_say("NO CARRIER");
        if (end != kDialledAnew)
            modem_idle();
        if (host_login())
            (void)host_menu();
    }
}
