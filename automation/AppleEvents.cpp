// What the desktop asks of the program.
#include "automation/AppleEvents.h"

#include <cstring>

#include "base/Program.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "scrollback/NPrint.h"
#include "terminal/VT100.h"

constexpr OSErr kNotHandled = -1708;

uint8_t gHasAppleEvents;
uint8_t gHasPPCToolbox;

void InitAppleEvents()
{
    constexpr AppleEventHandlers handlers = {
        qlAEOpenApplication, qlAEOpenDocuments, qlAEPrintDocuments,
        qlAEQuitApplication, EndOfSession,
    };

    gHasAppleEvents = 1;
    AEInstallHandlers(&handlers);
}

OSErr qlAEOpenApplication()
{
    OSErr err = OpenDefPhoneBook();

    if (err != noErr)
        moreToDo = 0;
    return err;
}

// The connection as it stood when the session's end asked about it: the quit
// that follows doesn't ask about the same again.
static cset_t askedAbout;
static bool asked;

OSErr qlAEQuitApplication()
{
    bool same = asked && memcmp(&cset, &askedAbout, sizeof cset) == 0;

    if (!same && !chkSetChg())
        return kNotHandled;
    moreToDo = 0;
    return noErr;
}

// Saves only, as another program may yet refuse the end; what finish_up would
// write later is written, too. The end itself comes as a quit.
OSErr EndOfSession()
{
    if (!chkSetChg())
        return kNotHandled;
    if (pRef > 0) {
        saveQset();
        savePrtInfo();
    }
    askedAbout = cset;
    asked = true;
    return noErr;
}

OSErr qlAEOpenDocuments(const FSSpec *files, int count)
{
    return OpenDocEventHandler(files, count);
}

OSErr qlAEPrintDocuments(const FSSpec *, int)
{
    return kNotHandled;
}

OSErr OpenDocEventHandler(const FSSpec *files, int count)
{
    OSErr result = noErr;

    // A book can be chosen only while none is open, that is at the start.
    for (int i = 0; i < count && result == noErr && !myWindow; i++) {
        FInfo info;
        OSErr err = FSpGetFInfo(&files[i], &info);
        if (err == noErr && info.fdType == kBookType)
            result = OpenAPhoneBook(&files[i], false);
        else if (err == noErr)
            TellNoBook(files[i].name);
        else
            TellBookError(err, files[i].name);
    }
    if (!myWindow && moreToDo) {
        OSErr err = OpenDefPhoneBook();
        if (err != noErr)
            moreToDo = 0;
        if (result == noErr)
            result = err;
    }
    return result;
}
