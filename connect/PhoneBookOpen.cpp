// A phone book is found or made, brought up from older layouts, and read into
// the settings.
#include <cstring>

#include "base/ErrMsg.h"
#include "base/PathStr.h"
#include "base/Program.h"
#include "base/facts.h"
#include "base/pstr.h"
#include "connect/DialDir.h"
#include "connect/PhoneBook.h"
#include "connect/PhoneBookParts.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "terminal/VT100.h"

// ---- constants -------------------------------------------------------------

// Modem list.
constexpr int16_t kModemFixed = 9; // strings ahead of the patterns
constexpr int16_t kModemMost = 49; // no list has more
constexpr int16_t kModemInit = 5;
constexpr int16_t kModemAbort = 6;
constexpr int kOldAbortLen = 7; // length of an abort string that some
                                // modems took for a command

// ---- messages --------------------------------------------------------------

static int16_t get_word(Handle record, int32_t at)
{
    if (!record || GetHandleSize(record) < at + 2)
        return 0;
    return int16_t((*record)[at] << 8 | (*record)[at + 1]);
}

void TellBookError(OSErr code, ConstStr file)
{
    Str255 names = {0};

    add_quoted(names, file);
    name_error(code, kStrCantOpenBook, names);
}

void TellNoBook(ConstStr file)
{
    Str255 names = {0};

    add_quoted(names, file);
    name_error(noErr, kStrNoBook, names);
}

// Is it some connection's list? Then it has no name of its own.
static bool is_entry_list(int16_t id)
{
    for (int16_t i = 1; i <= Count1Resources(kDial); i++)
        if (get_word(Get1IndResource(kDial, i), kAtListID) == id)
            return true;
    return false;
}

// Looks at every record whose length is fixed and every string list of the
// book, and names the damaged ones in one message. They are used as far as
// they go and stay in the file as they are.
static void tell_damage()
{
    Str255 names = {0}, name;

    for (int16_t i = 1; i <= Count1Resources(kDial); i++) {
        Handle h = Get1IndResource(kDial, i);
        if (!h)
            continue;
        Handle list = GetResource(kStringList, get_word(h, kAtListID));
        if (GetHandleSize(h) == kDialRecLen && (!list || StrListOK(list)))
            continue;
        GetResInfo(h, nullptr, nullptr, name);
        add_quoted(names, name);
    }
    for (int16_t i = 1; i <= Count1Resources(kStringList); i++) {
        Handle h = Get1IndResource(kStringList, i);
        if (!h || StrListOK(h))
            continue;
        int16_t id = 0;
        GetResInfo(h, &id, nullptr, name);
        if (!name[0] && is_entry_list(id))
            continue; // named by its connection
        if (!name[0] || id == kGlobListID) {
            Str255 number;
            pstrcpy(name, PSTR("STR# "));
            NumToString(id, number);
            pstrcat(name, number);
        }
        add_quoted(names, name);
    }
    if (qsHdl && GetHandleSize(qsHdl) > kQsetLen)
        add_quoted(names, PSTR("qSet 1"));
    if (names[0])
        name_error(noErr, kStrBookDamaged, names);
}

// A start may set global strings that it finds empty. In a damaged list they
// may only be hidden, and saving would take them away for good.
static void keep_damaged_globals()
{
    Handle list = Get1Resource(kStringList, kGlobListID);

    DisposeHandle(globsAtStart);
    globsAtStart = list && StrListOK(list) ? nullptr : copy_of(gGlobStrings);
}

// ---- opening ---------------------------------------------------------------

static Handle template_entry()
{
    Handle entry = GetNamedResource(kDial, PSTR(".Default"));

    return entry ? entry : GetIndResource(kDial, 1);
}

// A new book holds the template as its first entry, and the default macros. An
// empty one, of which a crash left no more than that, is made again.
static OSErr make_book(const FSSpec *file, Handle entry, Handle macros)
{
    OSErr err = HCreate(file->vRefNum, file->parID, file->name, kBookCreator,
                        kBookType);
    if (err != noErr && err != dupFNErr)
        return err;
    HCreateResFile(file->vRefNum, file->parID, file->name);
    err = ResError();
    if (err != noErr)
        return err;
    pRef = HOpenResFile(file->vRefNum, file->parID, file->name, fsRdWrPerm);
    if (pRef < 0)
        return ResError();
    UseResFile(pRef);
    err = add_copy(entry, kDial, kFirstDialID, PSTR("Local"));
    if (err == noErr)
        err = add_copy(macros, kStringList, 0, PSTR("Default"));
    return err;
}

// Leaves the book as it is on the disk, and no book open.
static OSErr give_up(OSErr err)
{
    if (pRef > 0)
        CloseResFile(pRef);
    pRef = 0;
    qsHdl = nullptr;
    UseResFile(pgmFRef);
    return err;
}

// Opens the file, or makes it. `isNew` is set if it was made.
static OSErr open_file(const FSSpec *file, bool create, bool *isNew)
{
    Handle entry = template_entry();

    *isNew = false;
    if (!entry) {
        TellBookError(resNotFound, file->name);
        return resNotFound;
    }
    pgmFRef = HomeResFile(entry);
    Handle macros = GetResource(kStringList, 0);

    pRef = HOpenResFile(file->vRefNum, file->parID, file->name, fsRdWrPerm);
    if (pRef >= 0)
        return noErr;
    OSErr err = ResError();
    if (err == noErr)
        err = ioErr;
    if (create && (err == fnfErr || err == eofErr)) {
        *isNew = true;
        err = make_book(file, entry, macros);
        if (err == noErr)
            return noErr;
    } else if (err == eofErr) {
        err = mapReadErr;
    }
    // Nobody asked for a book beside the program, so its absence is no news.
    if (create || err != fnfErr)
        TellBookError(err, file->name);
    return err;
}

// A book that has lost all its entries gets the first one again: without any,
// there is no line to set and nothing to save.
static OSErr need_entry(bool *changed)
{
    if (Count1Resources(kDial) > 0)
        return noErr;
    *changed = true;
    return add_copy(template_entry(), kDial, kFirstDialID, PSTR("Local"));
}

// The oldest layout ended ahead of baudLong. A record that lacks no more than
// what came later grows to its present length; a shorter one is damaged.
static void grow_entries(bool *changed)
{
    for (int16_t i = 1; i <= Count1Resources(kDial); i++) {
        Handle entry = Get1IndResource(kDial, i);
        int32_t size = entry ? GetHandleSize(entry) : kDialRecLen;
        if (size >= kDialRecLen || size < int32_t(offsetof(cset_t, baudLong)))
            continue;
        SetHandleSize(entry, kDialRecLen);
        if (MemError() != noErr)
            continue; // dial_image fills it up; the next start tries again
        memset(*entry + size, 0, size_t(kDialRecLen - size));
        (void)write_record(entry); // FlushPhone reports what becomes of it
        *changed = true;
    }
}

// Takes qSet 1 into qset; a book of an older layout has a shorter one.
static OSErr load_qset(bool *changed)
{
    uint8_t image[kQsetLen] = {};

    qsHdl = Get1Resource(kQset, 1);
    if (!qsHdl) {
        Handle copy = copy_of(GetResource(kQset, 0));
        if (!copy)
            return memFullErr;
        OSErr err = add_record(copy, kQset, 1, PSTR(""));
        if (err != noErr)
            return err;
        qsHdl = copy;
        *changed = true;
    }
    int32_t size = GetHandleSize(qsHdl);
    memcpy(image, *qsHdl, size_t(size < kQsetLen ? size : kQsetLen));
    copy_qsetup_swaps(image, &qset);
    if (size < kQsetLen) {
        SetHandleSize(qsHdl, kQsetLen);
        if (MemError() != noErr)
            return noErr; // it works from memory; the next start tries again
        copy_qsetup_swaps(&qset, *qsHdl);
        (void)write_record(qsHdl); // FlushPhone reports what becomes of it
        *changed = true;
    }
    return noErr;
}

// A string of a record's field, whose length byte may claim anything.
static void field_string(const uint8_t *field, int room, uint8_t *out)
{
    int length = field[0] < room ? field[0] : room - 1;

    out[0] = uint8_t(length);
    memcpy(out + 1, field + 1, size_t(length));
}

// The modem list by its name's number, which the book may have for a list of
// its own under another name.
static Handle modem_list(ConstStr name, int16_t *id)
{
    Handle list = name[0] ? GetNamedResource(kStringList, name) : nullptr;

    *id = kModemListID;
    if (list)
        GetResInfo(list, id, nullptr, nullptr);
    return GetResource(kStringList, *id);
}

// The global strings of a book that has none, partly out of fields in which
// older layouts kept them.
static Handle build_globals()
{
    Handle list = NewStrList();
    if (!list)
        return nullptr;

    Str255 text, modem, port;
    for (int16_t i = 1; i <= kGlobCount; i++)
        (void)AppendStrList(list, nullptr);

    port[0] = 0;
    if (gDevCount > 0 && gPortNames[0])
        pstrcpy(port, gPortNames[0]);
    (void)SetStrInList(list, kGlobPort, port);

    text[0] = 0;
    if (MenuHandle fonts = GetMenu(kMenuPrintFont))
        GetMenuItemText(fonts, kItemPrintFontSame, text);
    (void)SetStrInList(list, kGlobPrintFont, text);

    field_string(qset.oldModemName, sizeof qset.oldModemName, modem);
    (void)SetStrInList(list, kGlobModem, modem);
    int16_t id;
    GetFromStrList(modem_list(modem, &id), kModemInit, text);
    (void)SetStrInList(list, kGlobModemInit, text);
    field_string(qset.oldDefService, sizeof qset.oldDefService, text);
    (void)SetStrInList(list, kGlobDefault, text);

    if (qset.rcvFolder) {
        int16_t volume = int16_t(qset.rcvFolder >> 24);
        int32_t folder = qset.rcvFolder & 0xFFFFFF;
        if (qset.rcvFolder < 0) {
            volume = int16_t(-int64_t(qset.rcvFolder));
            folder = 2;
        }
        VolDirToStr(volume, folder, text);
        (void)SetStrInList(list, kGlobRcvFolder, text);
    }
    (void)SetStrInList(list, kGlobDialSub1, PSTR("*70,"));
    (void)SetStrInList(list, kGlobDialSub1 + 1, PSTR("9,"));
    if (StrListCount(list) < kGlobCount) {
        DisposeHandle(list);
        return nullptr;
    }
    return list;
}

static OSErr load_globals(bool *changed)
{
    Handle list = GetResource(kStringList, kGlobListID);

    if (!list || HomeResFile(list) != pRef) {
        Handle macros = GetResource(kStringList, 0);
        if (macros && HomeResFile(macros) == pRef)
            SetResInfo(macros, 0, PSTR("Default"));
        list = build_globals();
        if (!list)
            return memFullErr;
        OSErr err = add_record(list, kStringList, kGlobListID, PSTR(""));
        if (err != noErr)
            return err;
        *changed = true;
    }
    DisposeHandle(gGlobStrings);
    gGlobStrings = copy_of(list);
    if (!gGlobStrings)
        return memFullErr;

    Str255 name;
    GetGlob(kGlobDefault, name);
    if (name[0] && GetNamedResource(kDial, name))
        pstrcpy(ServiceName, name);
    return noErr;
}

// A modem list of nine strings or fewer is older than the result patterns,
// and an abort string of seven bytes is one that modems took for a command.
// Returns the list in its present form, or null if it has it already.
static Handle renewed_modem_list(Handle list)
{
    Str255 text;
    bool isShort = StrListCount(list) <= kModemFixed;

    GetFromStrList(list, kModemAbort, text);
    if (text[0] != kOldAbortLen && !isShort)
        return nullptr;

    Handle renewed = NewStrList();
    if (!renewed)
        return nullptr;
    for (int16_t i = 1; i <= kModemFixed; i++) {
        GetFromStrList(list, i, text);
        if (i == kModemAbort && text[0] == kOldAbortLen)
            pstrcpy(text, PSTR("\r"));
        (void)AppendStrList(renewed, text);
    }
    Handle patterns = list;
    if (isShort) {
        UseResFile(pgmFRef);
        patterns = Get1Resource(kStringList, modem_res);
        if (!patterns)
            patterns = Get1Resource(kStringList, kModemListID);
        UseResFile(pRef);
    }
    for (int16_t i = kModemFixed + 1; i <= kModemMost; i++) {
        GetFromStrList(patterns, i, text);
        if (!text[0])
            break;
        (void)AppendStrList(renewed, text);
    }
    if (same_bytes(list, renewed)) {
        DisposeHandle(renewed);
        return nullptr;
    }
    return renewed;
}

static void load_modem_list(bool *changed)
{
    Str255 name;

    GetGlob(kGlobModem, name);
    Handle list = modem_list(name, &modem_res);
    mstr_count = 0;
    if (!list)
        return;
    GetResInfo(list, nullptr, nullptr, name);
    mstr_count = StrListCount(list);

    if (!StrListOK(list))
        return; // what a rebuild can't read would be gone
    Handle renewed = renewed_modem_list(list);
    if (!renewed)
        return;
    mstr_count = StrListCount(renewed);
    OSErr err;
    if (HomeResFile(list) == pRef)
        err = ReplaceResource(list, renewed);
    else
        err = add_copy(renewed, kStringList, modem_res, name);
    DisposeHandle(renewed);
    if (err == noErr)
        *changed = true;
}

// A book from before the colours has none; black on black would be the result.
static void load_colours()
{
    constexpr uint8_t nothing[12] = {};

    if (memcmp(qset.rgbTable, nothing, sizeof nothing) != 0)
        return;
    Handle h = GetResource(kQset, 0);
    if (h && GetHandleSize(h) >= kQsetLen)
        memcpy(qset.rgbTable, *h + offsetof(qset_t, rgbTable),
               sizeof qset.rgbTable);
}

// Defaults of older versions that are too small for today's lines, and codes
// that belong to no application.
static void migrate_values()
{
    if (qset.inBufSize < 4097) {
        qset.inBufSize = 16384;
        qsetChanged = 1;
    }
    if (qset.fileBufSize == 8192)
        qset.fileBufSize = 16384;
    if (qset.printFontSize == 60)
        qset.printFontSize = 12;
    if (qset.binType == FOUR("qBIN")) {
        qset.binType = FOUR("????");
        qset.binCreator = FOUR("????");
    }
}

OSErr OpenDefPhoneBook()
{
    FSSpec file;

    GetIndString(file.name, kListNames, kStrBookFile);
    file.vRefNum = pgmVRef;
    file.parID = pgmDir;
    OSErr err = fnfErr;
    if (pgmDir) // 0 where that folder can't be had
        err = OpenAPhoneBook(&file, false);
    if (err == noErr || myWindow)
        return err;
    err = FindFolder(int16_t(gPrefFolderDomain), kPrefFolder, true,
                     &file.vRefNum, &file.parID);
    if (err != noErr) {
        TellBookError(err, file.name);
        return err;
    }
    return OpenAPhoneBook(&file, true);
}

OSErr OpenAPhoneBook(const FSSpec *file, bool create)
{
    bool changed = false;

    curDialItem = 0;
    OSErr err = open_file(file, create, &changed);
    if (err != noErr)
        return give_up(err);
    gBookIsNew = changed;
    UseResFile(pRef);
    BuildPortList();

    err = need_entry(&changed);
    grow_entries(&changed);
    if (err == noErr)
        err = load_qset(&changed);
    if (err == noErr)
        err = load_globals(&changed);
    if (err != noErr) {
        ErrorAlertSTR(err, kListErrors, kStrCantAddRecord);
        return give_up(err);
    }
    load_modem_list(&changed);
    load_colours();
    if (changed)
        (void)FlushPhone(); // what is in memory serves
    migrate_values();
    tell_damage();

    bool complete = gConnectionHooks.completeStart();
    keep_damaged_globals();
    if (complete)
        return noErr;
    // Without a window the program couldn't be made to quit. With one, the
    // user has given up finding a port, and goes on without.
    if (!myWindow) {
        moreToDo = 0;
        return memFullErr;
    }
    gInitializing = 1;
    (void)loadSettings(defDial); // a start asks nothing
    FinishSetup();
    gInitializing = 0;
    return noErr;
}

// The list that an entry of an older layout gets, out of its record.
static Handle old_strings(Handle entry)
{
    Handle list = NewStrList();
    if (!list)
        return nullptr;

    uint8_t image[kDialRecLen];
    Str255 text;
    dial_image(entry, image);
    OSErr err = noErr;
    for (int16_t i = kStrPhone; i <= kStrCmdClick && err == noErr; i++) {
        text[0] = 0;
        if (i == kStrPhone)
            field_string(image + offsetof(cset_t, oldPhone),
                         sizeof cset.oldPhone, text);
        else if (i == kStrZStart)
            field_string(image + offsetof(cset_t, oldZStart),
                         sizeof cset.oldZStart, text);
        else if (i == kStrCmdClick)
            pstrcpy(text, PSTR("d z "));
        err = AppendStrList(list, text);
    }
    if (err == noErr)
        return list;
    DisposeHandle(list);
    return nullptr;
}

static OSErr add_old_strings(Handle entry)
{
    int16_t id = 0;

    GetResInfo(entry, &id, nullptr, nullptr);
    if (id < 3000 || id > 3999 || GetResource(kStringList, id))
        id = UniqRangeID(kStringList, kFirstListID);
    Handle list = old_strings(entry);
    if (!list)
        return memFullErr;
    OSErr err = add_record(list, kStringList, id, PSTR(""));
    if (err != noErr)
        return err;
    (*entry)[kAtListID] = uint8_t(id >> 8);
    (*entry)[kAtListID + 1] = uint8_t(id);
    return write_record(entry);
}

void CheckLocalStrings()
{
    bool changed = false;

    for (int16_t i = 0; i < ddCount; i++) {
        Handle entry = ddHdls[i];
        int16_t id = get_word(entry, kAtListID);
        if (id && GetResource(kStringList, id))
            continue;
        if (GetHandleSize(entry) < kDialRecLen)
            continue; // damaged: it has no room for the number
        OSErr err = add_old_strings(entry);
        if (err != noErr) {
            ErrorAlertSTR(err, kListErrors, kStrCantMigrate);
            break;
        }
        changed = true;
    }
    if (changed)
        (void)FlushPhone(); // reports a failure itself
}
