// The capture file.
#include "base/Capture.h"

#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/Program.h"
#include "platform/resources.h"
#include "resources/names.h"

int16_t recRef;
uint8_t asciiReceive;
static int16_t recVol; // the file's volume, while recRef is set

static void set_item(int16_t text)
{
    Str255 s;

    GetIndString(s, kListFileItems, text);
    if (FileMenu)
        SetMenuItemText(FileMenu, kItemFileCapture, s);
}

OSErr OpenCapture(const FSSpec *spec, uint8_t mode)
{
    (void)FSpCreate(spec, textcreator, FOUR("TEXT")); // it may be there
    OSErr err = FSpOpenDF(spec, fsRdWrPerm, &recRef);
    if (err != noErr) {
        recRef = 0;
        return err;
    }
    (void)SetFPos(recRef, fsFromLEOF, 0); // the end of an open file exists
    recVol = spec->vRefNum;
    asciiReceive = mode;
    set_item(kStrStopCapture);
    return noErr;
}

OSErr WriteCapture(const uint8_t *bytes, int32_t count, int16_t message)
{
    const OSErr err = FSWrite(recRef, &count, bytes);

    if (err != noErr) {
        StopCapture();
        PrtErrorSTR(err, kListErrors, message);
    }
    return err;
}

void StopCapture()
{
    if (!asciiReceive)
        return;
    (void)FSClose(recRef); // errors were reported at the write
    recRef = 0;
    asciiReceive = 0;
    set_item(kStrStartCapture);
    (void)FlushVol(recVol);
}
