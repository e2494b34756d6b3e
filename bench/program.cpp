#include "program.h"

#include <pty.h>

#include <cstdio>
#include <cstdlib>

#include "base/pstr.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/backend.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"

static void give_up(const char *why)
{
    fprintf(stderr, "%s\n", why);
    exit(1);
}

int program_on_pty(int argc, char **argv)
{
    const char *why = "";
    int master, slave; // the slave stays open: the line never hangs up
    char path[128];
    Str255 name;

    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    if (!be_start(&argc, argv, &why))
        give_up(why);
    if (openpty(&master, &slave, path, nullptr, nullptr) < 0)
        give_up("there is no pseudo-terminal");
    if (!InitProgram() || OpenDefPhoneBook() != 0 || myWindow == nullptr)
        give_up("the program doesn't start");
    CopyCStringToPascal(path, name);
    CloseModem();
    SetModem(name);
    if (OpenModem() != 0)
        give_up("the line can't be opened");
    cset.bufFlags = 0;   // lines are kept
    cset.termFlags |= 2; // CR and LF each do their own
    return master;
}
