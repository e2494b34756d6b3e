// The phone book's records, the connection in use, and saving what differs.
// Opening is in PhoneBookOpen.cpp.
#include "connect/PhoneBook.h"

#include <cassert>
#include <cstring>

#include "base/ErrMsg.h"
#include "base/PathStr.h"
#include "base/Program.h"
#include "base/pstr.h"
#include "connect/Dial.h"
#include "connect/DialDir.h"
#include "connect/LineSetters.h"
#include "connect/Macros.h"
#include "connect/PhoneBookParts.h"
#include "platform/memory.h"
#include "platform/navigation.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "scrollback/SaveText.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"

// ---- state -----------------------------------------------------------------

Handle qsHdl;
Handle DialHdl;
int16_t pRef;
int16_t pgmFRef = kProgramResFile;
int16_t curDialItem;
int16_t modem_res = kModemListID;
int16_t mstr_count;
bool gBookIsNew;
Handle globsAtStart;
connection_hooks gConnectionHooks = {
    [] { return false; },
    [](const uint8_t *) {},
    [] {},
};

// A save has failed, and none has succeeded since. What it was to write is
// still owed, though the records in memory have it already.
static bool saveFailed;

// ---- messages --------------------------------------------------------------

void name_error(OSErr code, int16_t message, ConstStr names)
{
    Str255 text;

    GetIndString(text, kListErrors, message);
    pstrcat(text, names);
    ErrorAlert(text, code);
}

void add_quoted(uint8_t *names, ConstStr name)
{
    constexpr uint8_t kOpenQuote = 0xD2, kCloseQuote = 0xD3;

    pstrcatchr(names, ' ');
    pstrcatchr(names, kOpenQuote);
    pstrcat(names, name);
    pstrcatchr(names, kCloseQuote);
}

static void save_error(OSErr code, int16_t message)
{
    saveFailed = true;
    ErrorAlertSTR(code, kListErrors, message);
}

// ---- records in the book ---------------------------------------------------

bool book_ok()
{
    if (pRef <= 0)
        return true;
    return (!qsHdl || HomeResFile(qsHdl) == pRef) &&
           (!DialHdl || HomeResFile(DialHdl) == pRef) &&
           (!gGlobStrings || HomeResFile(gGlobStrings) < 0) &&
           (!gLocalStrings || HomeResFile(gLocalStrings) < 0);
}

bool same_bytes(Handle a, Handle b)
{
    return GetHandleSize(a) == GetHandleSize(b) &&
           memcmp(*a, *b, size_t(GetHandleSize(a))) == 0;
}

OSErr write_record(Handle resource)
{
    ChangedResource(resource);
    OSErr err = ResError();
    if (err != noErr)
        return err;
    WriteResource(resource);
    return ResError();
}

OSErr add_record(Handle h, OSType type, int16_t id, ConstStr name)
{
    AddResource(h, type, id, name);
    OSErr err = ResError();
    if (err != noErr)
        return err;
    return write_record(h);
}

Handle copy_of(Handle resource)
{
    if (!resource || HandToHand(&resource) != noErr)
        return nullptr;
    return resource;
}

OSErr add_copy(Handle resource, OSType type, int16_t id, ConstStr name)
{
    Handle copy = copy_of(resource);

    if (!copy)
        return resource ? memFullErr : resNotFound;
    OSErr err = add_record(copy, type, id, name);
    if (err != noErr && HomeResFile(copy) < 0)
        DisposeHandle(copy);
    return err;
}

OSErr ReplaceResource(Handle resource, Handle content)
{
    int32_t size = GetHandleSize(content);

    if (HomeResFile(resource) != pRef)
        return wrPermErr; // the program's own don't change
    SetHandleSize(resource, size);
    if (MemError() != noErr)
        return MemError();
    memcpy(*resource, *content, size_t(size));
    return write_record(resource);
}

void dial_image(Handle resource, uint8_t image[kDialRecLen])
{
    int32_t size = GetHandleSize(resource);

    memset(image, 0, size_t(kDialRecLen));
    memcpy(image, *resource, size_t(size < kDialRecLen ? size : kDialRecLen));
}

int16_t UniqRangeID(OSType type, int16_t base)
{
    constexpr int16_t kRange = 500;

    for (int16_t id = base; id < base + kRange; id++) {
        if (GetResource(type, id))
            continue;
        OSErr err = ResError();
        if (err == noErr || err == resNotFound)
            return id;
    }
    return -1;
}

// ---- the connection in use -------------------------------------------------

bool loadSettings(int16_t index)
{
    clrAttrib();
    ReleaseOutput();
    fillBuffer();
    if (index < 0 || index >= ddCount)
        return true;
    if (!gInitializing) {
        if (index == curDialItem)
            return true;
        if (!chkSetChg())
            return false;
    }
    Str255 name;
    GetResInfo(ddHdls[index], nullptr, nullptr, name);
    curDialItem = index;
    do_setup(ddHdls[index], name);
    return true;
}

void do_setup(Handle resource, ConstStr name)
{
    uint8_t image[kDialRecLen];

    DialHdl = resource;
    dial_image(resource, image);
    copy_cset_swaps(image, &cset);

    DisposeHandle(gLocalStrings);
    gLocalStrings = copy_of(GetResource(kStringList, cset.localStrID));

    assert(book_ok());

    if (!ddlog && myWindow)
        SetWTitle(myWindow, name);
    pstrcpy(ServiceName, name);

    set_baud(int32_t(GetBaudFromSetup()));
    gCarrierRate = cset.baudLong;
    do_dbit(cset.dataChar);
    do_sbit(cset.stopChar);
    do_parity(cset.parityChar);
    set_echo(cset.echoFlag);
    set_xon(cset.flowFlags);
    gProtocolHooks.receive(uint8_t(cset.rcvProto));
    gProtocolHooks.send(uint8_t(cset.sendProto));
    set_dconv(char(cset.dconvChar));

    if (cset.bsKey == 0)
        cset.bsKey = 8;
    if (cset.xmTimeout == 0) {
        cset.xmTimeout = 80;
        cset.xmStartTimeout = 100;
        cset.szTimeout = 60;
        cset.rzTimeout = 10;
    }
    // Last, as the setters raise it. A record that has just got the defaults
    // above differs from the book all the same, and the next chkSetChg says so.
    set_changed = 0;
}

void FinishSetup()
{
    setFontCheckRowCol(cset.termType);
    set_macro_menu();
    set_buf_save();
    GetFromStrList(gLocalStrings, kStrCapture, gArchiveStr);
    if (gArchiveStr[0]) {
        FSSpec file;
        GetFolderFromStr(gArchiveStr, &file.vRefNum, &file.parID, file.name);
        SetAppendName(&file, 0);
    }
}

// ---- saving ----------------------------------------------------------------

// Makes the book's list of the connection equal to gLocalStrings. `changed`
// is set if it had to be written.
static OSErr save_strings(bool *changed)
{
    if (!gLocalStrings)
        return noErr;
    Handle list = GetResource(kStringList, cset.localStrID);
    if (!list) {
        if (!cset.localStrID)
            return noErr;
        *changed = true;
        return add_copy(gLocalStrings, kStringList, cset.localStrID, PSTR(""));
    }
    if (same_bytes(list, gLocalStrings))
        return noErr;
    *changed = true;
    return ReplaceResource(list, gLocalStrings);
}

// A new capture path is kept without a question: the user chose it by name.
static void save_capture_path()
{
    Str255 path;
    bool changed = false;

    GetFromStrList(gLocalStrings, kStrCapture, path);
    if (pstrequal(path, gArchiveStr))
        return;
    if (SetStrInList(gLocalStrings, kStrCapture, gArchiveStr) != noErr)
        return;
    OSErr err = save_strings(&changed);
    if (err != noErr)
        save_error(err, kStrCantSaveConnection);
    else if (changed)
        (void)FlushPhone(); // reports a failure itself
}

// Sets set_changed by what the book holds.
static void compare_connection()
{
    uint8_t image[kDialRecLen], now[kDialRecLen];

    dial_image(DialHdl, image);
    copy_cset_swaps(&cset, now);
    set_changed = memcmp(image, now, sizeof now) != 0;
    if (!set_changed) {
        Handle list = GetResource(kStringList, cset.localStrID);
        if (gLocalStrings && (!list || !same_bytes(list, gLocalStrings)))
            set_changed = 1;
        else if (gLocalStrings)
            save_capture_path();
    }
}

bool chkSetChg()
{
    if (!DialHdl)
        return true;
    assert(book_ok());
    compare_connection();
    while (set_changed || saveFailed) {
        switch (NavAskSaveChanges(ServiceName)) {
        case kNavSave:
            sav_setup(nullptr);
            if (!NavCanAsk())
                return true;
            break;
        case kNavDontSave:
            set_changed = 0;
            saveFailed = false;
            break;
        default:
            return false;
        }
    }
    return true;
}

void sav_setup(Handle resource)
{
    OSErr err = noErr;
    bool changed = false;

    if (!resource) {
        resource = DialHdl;
        if (!resource)
            return;
        (void)SetStrInList(gLocalStrings, kStrCapture, gArchiveStr);
        err = save_strings(&changed);
        SetHandleSize(resource, kDialRecLen);
        if (MemError() == noErr)
            copy_cset_swaps(&cset, *resource);
        else if (err == noErr)
            err = MemError();
    }
    ChangedResource(resource);
    if (ResError() != noErr)
        SysBeep(3);
    if (err == noErr)
        err = ResError();
    if (err == noErr) {
        WriteResource(resource);
        err = ResError();
    }
    if (err != noErr)
        save_error(err, kStrCantSaveConnection);
    else
        (void)FlushPhone(); // reports a failure itself
    set_changed = 0;
}

static OSErr save_globals(bool *changed)
{
    if (!gGlobStrings)
        return noErr;
    Handle list = GetResource(kStringList, kGlobListID);
    if (list && same_bytes(list, gGlobStrings))
        return noErr;
    if (globsAtStart && same_bytes(globsAtStart, gGlobStrings))
        return noErr;
    *changed = true;
    if (!list || HomeResFile(list) != pRef)
        return add_copy(gGlobStrings, kStringList, kGlobListID, PSTR(""));
    return ReplaceResource(list, gGlobStrings);
}

void saveQset()
{
    uint8_t image[kQsetLen];
    bool changed = saveFailed;

    if (pRef <= 0 || !qsHdl)
        return;
    assert(book_ok());
    OSErr err = save_globals(&changed);
    copy_qsetup_swaps(&qset, image);
    int32_t size = GetHandleSize(qsHdl);
    if (size > kQsetLen)
        size = kQsetLen;
    if (memcmp(*qsHdl, image, size_t(size)) != 0) {
        memcpy(*qsHdl, image, size_t(size));
        changed = true;
        OSErr werr = write_record(qsHdl);
        if (err == noErr)
            err = werr;
    }
    if (err != noErr) {
        save_error(err, kStrCantSaveSettings);
        return;
    }
    if (changed && FlushPhone() != noErr)
        return;
    qsetChanged = 0;
}

void SaveAtEnd()
{
    Str255 book;

    saveQset();
    GetIndString(book, kListNames, kStrBookFile);
    while (saveFailed && NavCanAsk() && NavAskSaveChanges(book) == kNavSave)
        saveQset();
}

OSErr FlushPhone()
{
    if (pRef <= 0)
        return noErr;
    UpdateResFile(pRef);
    OSErr err = ResError();
    if (err == noErr)
        err = FlushResFile(pRef);
    if (err != noErr) {
        save_error(err, kStrCantFlushBook);
        return err;
    }
    saveFailed = false;
    Str255 name, names = {0};
    if (ResFileRemade(pRef, name)) {
        add_quoted(names, name);
        name_error(noErr, kStrBookRemade, names);
    }
    return noErr;
}

void UpdateConnect()
{
    GetDateTime(&cset.lastConnect);
    if (!DialHdl || GetHandleSize(DialHdl) < kAtLastConnect + 4)
        return;
    for (int i = 0; i < 4; i++)
        (*DialHdl)[kAtLastConnect + i] =
            uint8_t(cset.lastConnect >> (24 - 8 * i));
    sav_setup(DialHdl);
}
