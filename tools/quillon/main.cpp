// tools/quillon/main.cpp
// The program's start: what can be answered without a display is answered
// first, then the display is opened and the rest is the program's.
#include "platform/appleevents.h"
#include "platform/backend.h"
#include "shell/Quillon.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

static const char kUsage[] =
    "Usage: quillon [PHONE BOOK]\n"
    "A terminal for the serial line.\n"
    "\n"
    "  PHONE BOOK     the phone book to open instead of the default one\n"
    "      --help     show this text and exit\n"
    "      --version  show the version and exit\n"
    "\n"
    "Shift held at the start asks for the port first. See quillon(1).\n";

// A document is opened when the program's loop runs, and by then a relative
// path might mean another place.
static std::string absolute(const char *path)
{
    char here[PATH_MAX];

    if (path[0] == '/' || !getcwd(here, sizeof here))
        return path;
    return std::string(here) + "/" + path;
}

// Answers what needs no display. True when that was all.
static bool answered(int argc, char **argv, int *result)
{
    *result = 0;
    for (int i = 1; i < argc && strcmp(argv[i], "--") != 0; i++) {
        if (!strcmp(argv[i], "--help") || !strcmp(argv[i], "-h")) {
            fputs(kUsage, stdout);
            return true;
        }
        if (!strcmp(argv[i], "--version")) {
            puts("Quillon " QUILLON_VERSION);
            return true;
        }
    }
    return false;
}

// The documents among the arguments that the desktop left. False, with a
// message to the user, for an unknown option or a missing file.
static bool find_documents(int argc, char **argv,
                           std::vector<std::string> *documents)
{
    bool options = true;

    for (int i = 1; i < argc; i++) {
        if (options && !strcmp(argv[i], "--")) {
            options = false;
        } else if (options && argv[i][0] == '-' && argv[i][1]) {
            fprintf(stderr, "quillon: unknown option %s; try --help\n",
                    argv[i]);
            return false;
        } else if (access(argv[i], F_OK) != 0) {
            fprintf(stderr, "quillon: %s: %s\n", argv[i], strerror(errno));
            return false;
        } else {
            documents->push_back(absolute(argv[i]));
        }
    }
    return true;
}

int main(int argc, char **argv)
{
    int result;
    const char *why = "no display";
    std::vector<std::string> documents;
    std::vector<const char *> paths;

    if (answered(argc, argv, &result))
        return result;
    if (!be_start(&argc, argv, &why)) {
        fprintf(stderr, "quillon: %s\n", why);
        return 1;
    }
    if (!find_documents(argc, argv, &documents)) {
        be_stop();
        return 1;
    }
    for (const std::string &document : documents)
        paths.push_back(document.c_str());
    ae_queue_start(paths.data(), int(paths.size()));
    result = QuillonMain();
    be_stop();
    return result;
}
