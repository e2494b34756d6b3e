// What the desktop asks of the program.
#include "automation/AppleEvents.h"

#include "connect/PhoneBook.h"
#include "scrollback/NPrint.h"
#include "shell/Quillon.h"

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

OSErr qlAEQuitApplication()
{
    if (!chkSetChg())
        return kNotHandled;
    moreToDo = 0;
    return noErr;
}

// What finish_up would write later is written here: the session may not wait
// for it.
OSErr EndOfSession()
{
    OSErr err = qlAEQuitApplication();

    if (err == noErr && pRef > 0) {
        saveQset();
        savePrtInfo();
    }
    return err;
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
        else
            TellBookError(err == noErr ? OSErr(mapReadErr) : err,
                          files[i].name);
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
