// quillon-line: the program without a window.
//
//  quillon-line feed CHUNK FILE...   gives the files to the terminal in pieces
//                                    of CHUNK bytes; prints bytes and seconds
//  quillon-line send LETTER FILE...  sends files over standard input and output
//                                    by z ZMODEM, y YMODEM, Y with blocks of
//                                    1K, x XMODEM, X with 1K, k Kermit
//  quillon-line receive LETTER FOLDER
//                                    receives into a folder by z, y or Y, G
//                                    YMODEM-G, x or X, k
//                                    exit 0 only if every file is whole there
#include "commands.h"

#include <cstdio>
#include <cstring>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "terminal/VT100.h"

struct subcommand {
    const char *name;
    const char *usage;
    int (*run)(const arguments &args);
};

static const subcommand subcommands[] = {
    {"feed", "CHUNK FILE...", cmd_feed},
    {"send", "z|y|Y|x|X|k [OPTION...] FILE...", cmd_send},
    {"receive", "z|y|Y|G|x|X|k [OPTION...] FOLDER", cmd_receive},
};

static int usage()
{
    for (const subcommand &c : subcommands)
        fprintf(stderr, "usage: quillon-line %s %s\n", c.name, c.usage);
    fputs("options of a transfer: --port DEVICE, --baud N, --convert S|M|T|B,"
          " --escape,\n  --window N, --block A|2|5|k, --verbose, --log;"
          " receiving x or y: --name NAME,\n  --1k, --checksum; Kermit:"
          " --kermit-length N, --kermit-check 1|2|3|B, --seven\n",
          stderr);
    return 2;
}

bool read_file(const std::string &path, std::vector<uint8_t> *bytes)
{
    FILE *file = fopen(path.c_str(), "rb");
    uint8_t part[65536];

    if (!file) {
        perror(path.c_str());
        return false;
    }
    for (size_t n; (n = fread(part, 1, sizeof part, file)) > 0;)
        bytes->insert(bytes->end(), part, part + n);
    const bool good = !ferror(file);
    if (!good)
        perror(path.c_str());
    fclose(file);
    return good;
}

void start_terminal()
{
    hl_real_time(true);
    hl_spin_limit(0);
    MakeUPPs(); // errors go to the terminal, and not into a dialog
    Baudrate = 115200;
    cset.termFlags = kTermNoAutoLF;
    qset.useColor = 1;
    qset.globFlags = kGlobNoBell;
    MaxLine = 24;
    MaxCol = 80;
    (void)SerAlloc();
    asInit();
    InitPage();
    scrolled = 1;
}

int main(int argc, char **argv)
{
    if (argc < 2)
        return usage();
    for (const subcommand &c : subcommands) {
        if (strcmp(argv[1], c.name) == 0)
            return c.run(arguments(argv + 2, argv + argc));
    }
    fprintf(stderr, "quillon-line: no subcommand %s\n", argv[1]);
    return usage();
}
