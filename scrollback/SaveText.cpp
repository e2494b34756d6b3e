// The selection's bytes as a file of its own, or at the end of one that is
// remembered by the connection and named in the File menu.
#include "scrollback/SaveText.h"

#include <cstring>

#include "base/AskFile.h"
#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/PathStr.h"
#include "base/Program.h"
#include "base/chars.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/files.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/Selection.h"

Str255 gAppendBase;
FSSpec gAppendFSS;
uint8_t gAppendOK;

constexpr int32_t kMostBytes = 10000000; // a larger selection can't leave
constexpr OSType kTextType = FOUR("TEXT");

// A failed write isn't reported; the file is then shorter than the selection.
static int16_t write_new(const FSSpec &file, const uint8_t *text, int32_t size)
{
    int16_t ref;

    (void)FSpDelete(&file);
    (void)FSpCreate(&file, textcreator, kTextType);
    const OSErr error = FSpOpenDF(&file, fsWrPerm, &ref);
    if (error != noErr)
        return error;
    (void)FSWriteUncached(ref, &size, text);
    return FSClose(ref);
}

int16_t writeBuffer()
{
    Str255 name, date, prompt;
    FSSpec file;
    uint32_t now;
    int16_t result = 0;

    if (stSel < 0)
        return 0;
    GetDateTime(&now);
    DateString(now, date);
    pstrcpy(name, ServiceName);
    pstrcatchr(name, ' ');
    pstrcat(name, date);
    GetIndString(prompt, kListTexts, kStrSaveSelection);
    if (MyPutFile(prompt, name, &file)) {
        int32_t size;
        const uint8_t *text = prepSel(&size);
        if (size <= kMostBytes)
            result = write_new(file, text, size);
        else
            SysBeep(8);
        DoNavDisposeReply();
        unprepSel();
    } else {
        DoNavDisposeReply();
    }
    return result;
}

static OSErr append_bytes(int16_t ref, const uint8_t *text, int32_t size)
{
    static const uint8_t cr = kCR;
    int32_t count = size, one = 1;

    (void)SetFPos(ref, fsFromLEOF, 0);
    const OSErr error = FSWriteUncached(ref, &count, text);
    if (error != noErr)
        PrtErrorSTR(error, kListErrors, kStrCantWriteFile);
    // Every piece ends its line, and an empty line stands behind it.
    if (size == 0 || text[size - 1] != cr)
        (void)FSWriteUncached(ref, &one, &cr);
    one = 1;
    (void)FSWriteUncached(ref, &one, &cr);
    return error;
}

OSErr AppendSel(const FSSpec *file)
{
    FInfo info;
    int32_t size;
    int16_t ref;
    const uint8_t *text = prepSel(&size);

    if (size > kMostBytes) {
        PrtErrorSTR(dskFulErr, kListErrors, kStrTooLarge);
        unprepSel();
        return noErr;
    }
    if (FSpGetFInfo(file, &info) == fnfErr)
        (void)FSpCreate(file, textcreator, kTextType);
    OSErr error = FSpOpenDF(file, fsWrPerm, &ref);
    if (error != noErr) {
        PrtErrorSTR(error, kListErrors, kStrCantOpenFile);
        unprepSel();
        return error;
    }
    error = append_bytes(ref, text, size);
    (void)FSClose(ref);
    unprepSel();
    return error;
}

// The volume's name, the byte 1, the four bytes of its creation date, ":",
// the folder's number, ":", the file's name.
static void remember_target()
{
    VolInfo volume;
    Str255 number;

    if (GetVolInfo(gAppendFSS.vRefNum, &volume) != noErr)
        return;
    pstrcpy(gArchiveStr, volume.name);
    pstrcatchr(gArchiveStr, 1);
    for (int shift = 24; shift >= 0; shift -= 8)
        pstrcatchr(gArchiveStr, uint8_t(volume.created >> shift));
    pstrcatchr(gArchiveStr, ':');
    NumToString(gAppendFSS.parID, number);
    pstrcat(gArchiveStr, number);
    pstrcatchr(gArchiveStr, ':');
    pstrcat(gArchiveStr, gAppendFSS.name);
}

void SetAppendName(const FSSpec *file, int16_t remember)
{
    constexpr uint8_t kLeftQuote = 0xD2, kRightQuote = 0xD3;
    Str255 text;

    gAppendOK = 0;
    gAppendFSS = *file;
    if (!gAppendBase[0])
        GetMenuItemText(FileMenu, kItemFileAppendLast, gAppendBase);
    if (gAppendFSS.name[0]) {
        FInfo info;
        const OSErr error = FSpGetFInfo(&gAppendFSS, &info);
        gAppendOK = error == noErr || error == fnfErr;
        if (remember)
            remember_target();
    }
    pstrcpy(text, gAppendBase);
    if (gAppendOK) {
        pstrcatchr(text, kLeftQuote);
        pstrcat(text, gAppendFSS.name);
        pstrcatchr(text, kRightQuote);
    }
    SetMenuItemText(FileMenu, kItemFileAppendLast, text);
}

void DoAppendSel()
{
    constexpr int32_t kTextFiles = 2;
    static const OSType types[] = {kTextType};
    FSSpec file;

    if (!MyGetFile(kTextFiles, types, &file))
        return;
    // A failure has been reported; the target is remembered all the same.
    (void)AppendSel(&file);
    SetAppendName(&file, 1);
}

void DoAppendLast()
{
    Str255 text;

    if (!gAppendOK || AppendSel(&gAppendFSS) != noErr) {
        DoAppendSel();
        return;
    }
    GetIndString(text, kListTexts, kStrAppendedTo);
    pstrcat(text, gAppendFSS.name);
    MessageFlash(text, 100);
}
