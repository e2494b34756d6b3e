// File names, folders, and what becomes of a received file.

#include "transfer/Names.h"

#include "automation/Script.h"
#include "base/AskFile.h"
#include "base/ErrMsg.h"
#include "base/PathStr.h"
#include "base/Sounds.h"
#include "base/facts.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/appleevents.h"
#include "platform/dialogs.h"
#include "platform/memory.h"
#include "platform/navigation.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "transfer/zmaclo.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int16_t kOpeners = 9;         // at most so many of them
constexpr int kNameMax = 31;            // bytes of a received file's name
constexpr int kHostName = 256;          // bytes of a block in hostnames
constexpr int kKindHead = 9;            // kind, creator, type
constexpr int16_t kOldestEvents = 1791; // sysVers up to this opens nothing

// ---- state -----------------------------------------------------------------

FSSpec logFSS;
FSSpec *sendFSS[kMaxSendFiles];
uint8_t *hostnames[kMaxSendFiles];
int32_t mgCount;

int16_t zRcvVol;
int32_t zRcvDirID = kNoFolder;
uint8_t needName;

// ---- dialogs ---------------------------------------------------------------

int16_t SendSlot(int32_t index)
{
    if (index < 0 || index >= kMaxSendFiles)
        return 0;
    if (!sendFSS[index])
        sendFSS[index] = reinterpret_cast<FSSpec *>(NewPtr(sizeof(FSSpec)));
    if (!hostnames[index]) {
        hostnames[index] = NewPtr(kHostName);
        if (hostnames[index])
            hostnames[index][0] = 0;
    }
    return sendFSS[index] && hostnames[index];
}

int32_t MultiGetFile()
{
    static const uint8_t none[1] = {0};
    FSSpec *chosen =
        reinterpret_cast<FSSpec *>(NewPtr(kMaxSendFiles * sizeof(FSSpec)));

    mgCount = 0;
    if (!chosen)
        return 0;
    int count =
        std::min(NavGetFiles(none, chosen, kMaxSendFiles), int(kMaxSendFiles));
    for (int i = 0; i < count && SendSlot(i); i++) {
        *sendFSS[i] = chosen[i];
        name4host(chosen[i].name, hostnames[i]);
        mgCount = i + 1;
    }
    DisposePtr(reinterpret_cast<Ptr>(chosen));
    return mgCount;
}

int16_t ReceiveFile()
{
    Str255 name, part, prompt;
    uint32_t now;

    pstrcpy(name, ServiceName);
    pstrcatchr(name, ' ');
    GetDateTime(&now);
    DateString(now, part);
    pstrcat(name, part);
    GetIndString(prompt, kListTexts, kStrCaptureTo);
    if (!MyPutFile(prompt, name, &logFSS)) {
        DoNavDisposeReply();
        return 0;
    }
    zRcvVol = logFSS.vRefNum;
    (void)FSpDelete(&logFSS); // most often there is none
    return 1;
}

int16_t Sendfile(int16_t)
{
    if (!MyGetFile(0, nullptr, &logFSS) || !SendSlot(0))
        return 0;
    zRcvVol = logFSS.vRefNum;
    *sendFSS[0] = logFSS;
    mgCount = 1;
    return 1;
}

void NameAs(uint8_t *name, int16_t volume)
{
    DialogPtr d = GetNewDialog(kDlgNameFile);
    if (!d)
        return;
    SetDText(d, kItemNameFileName, name);
    SelectDialogItemText(d, kItemNameFileName, 0, 32767);
    if (!PlaySound(kStrSoundDone))
        SysBeep(5);

    OSErr err;
    for (;;) {
        int16_t item = 0;
        Str255 text;

        ModalDialog(nullptr, &item);
        GetDialogItemText(d, kItemNameFileName, text);
        err = text[0] == 0 ? OSErr(dupFNErr)
                           : HRename(volume, zRcvDirID, name, text);
        if (err == noErr) {
            pstrcpy(name, text);
            break;
        }
        SysBeep(3);
        if (err != dupFNErr)
            break;
    }
    DisposeDialog(d);
    if (err != noErr)
        PrtErrorSTR(err, kListErrors, kStrBadName);
}

int16_t SetRcvFolder()
{
    Str255 prompt, path;
    int16_t volume = zRcvVol;
    int32_t folder = zRcvDirID;

    GetIndString(prompt, kListTexts, kStrChooseFolder);
    if (!NavChooseFolder(prompt, &volume, &folder))
        return 0;
    zRcvVol = volume;
    zRcvDirID = folder;
    VolDirToStr(volume, folder, path);
    (void)SetGlob(kGlobRcvFolder, path); // without memory: for this run only
    return 1;
}

// ---- names -----------------------------------------------------------------

// A folder of that name is in the way as well.
static bool name_taken(int16_t volume, ConstStr name)
{
    CatInfo info;
    return GetCatInfo(volume, zRcvDirID, name, &info) == noErr;
}

void MakeUnique(uint8_t *name, ConstStr base, int16_t volume)
{
    Str255 date;
    uint32_t now;

    pstrcpy(name, base);
    GetDateTime(&now);
    DateString(now, date);
    pstrcat(name, date);
    if (name[0] > kNameMax - 2)
        name[0] = kNameMax - 2;
    for (int pass = 0; pass < 40 && name_taken(volume, name); pass++) {
        if (pass == 0) {
            pstrcatchr(name, ' ');
            pstrcatchr(name, 'A');
        } else {
            name[name[0]]++;
        }
    }
}

void UniqueName(uint8_t *name, int16_t volume)
{
    Str255 candidate, number;

    for (int n = 1;; n++) {
        pstrcpy(candidate, name);
        if (candidate[0] < 28)
            pstrcat(candidate, PSTR(" #"));
        NumToString(n, number);
        pstrcat(candidate, number);
        if (n == 99 || !name_taken(volume, candidate))
            break;
    }
    pstrcpy(name, candidate);
}

void FitName(uint8_t *name, int32_t length)
{
    std::replace(name, name + length, uint8_t(':'), uint8_t(';'));
    if (length >= 2 && name[0] == '.' && name[1] == '_')
        name[0] = '_';
}

static bool illegal(uint8_t c)
{
    return c < 33 || c > 126 || c == '\\' || c == '/' || c == '*' || c == '<' ||
           c == '>' || c == '?';
}

// Mode 2: at most eight characters, a dot, at most three.
static int short_name(ConstStr name, uint8_t *out)
{
    int n = 0;
    int left = 8;
    int lastDot = 0;

    for (int i = 1; i <= name[0]; i++)
        if (name[i] == '.')
            lastDot = i;
    for (int i = 1; i <= name[0]; i++) {
        if (i == lastDot) {
            out[n++] = '.';
            left = 3;
        } else if (name[i] != '.' && !illegal(name[i]) && left > 0) {
            out[n++] = name[i];
            left--;
        }
    }
    return n;
}

void name4host(ConstStr name, uint8_t *out)
{
    int n = 0;

    if (cset.hostNames == 2) {
        n = short_name(name, out);
    } else {
        for (int i = 1; i <= name[0]; i++) {
            if (!illegal(name[i]) || cset.hostNames == 3)
                out[n++] = name[i];
            else if (cset.hostNames == 1)
                out[n++] = '_';
        }
    }
    out[n] = 0;
}

int16_t BinTypeCheck(const uint8_t *data, int32_t len, ConstStr name,
                     OSType *creator, OSType *type)
{
    Str255 entry;

    for (int16_t i = 1;; i++) {
        GetIndString(entry, kListFileKinds, i);
        if (entry[0] == 0)
            return 0;
        int n = entry[0] - kKindHead;
        if (n <= 0)
            continue;

        const uint8_t *pattern = entry + 1 + kKindHead;
        bool found = false;
        if (entry[1] == '0')
            found = n <= len && memcmp(pattern, data, size_t(n)) == 0;
        else if (entry[1] == '1')
            found =
                n <= name[0] && IdenticalText(pattern, name + 1 + name[0] - n,
                                              int16_t(n), int16_t(n)) == 0;
        if (!found)
            continue;
        *creator = OSType(entry[2]) << 24 | OSType(entry[3]) << 16 |
                   OSType(entry[4]) << 8 | entry[5];
        *type = OSType(entry[6]) << 24 | OSType(entry[7]) << 16 |
                OSType(entry[8]) << 8 | entry[9];
        return 1;
    }
}

// ---- folders ---------------------------------------------------------------

int16_t GetRcvVol()
{
    Str255 path;
    int16_t volume;
    int32_t folder;
    VolInfo info;

    GetGlob(kGlobRcvFolder, path);
    GetFolderFromStr(path, &volume, &folder, nullptr);
    if (GetVolInfo(volume, &info) != noErr) {
        volume = kNoVolume;
        folder = kNoFolder;
    }
    zRcvDirID = folder;
    return volume;
}

bool InRcvFolder(ConstStr name, CatInfo *info)
{
    OSErr err = GetCatInfo(zRcvVol, zRcvDirID, name, info);
    if (err == nsvErr) {
        zRcvVol = pgmVRef;
        zRcvDirID = 0;
        err = GetCatInfo(zRcvVol, zRcvDirID, name, info);
    }
    return err == noErr;
}

int64_t RcvRoom()
{
    CatInfo folder;
    VolInfo volume;

    if (GetFolderByID(zRcvVol, zRcvDirID, &folder) != noErr ||
        GetVolInfo(folder.vRefNum, &volume) != noErr)
        return -1;
    return volume.freeBytes;
}

// Whether there is a receive folder; an error that says the place is gone.
static OSErr probe_folder()
{
    FInfo info;
    CatInfo folder;

    OSErr err = HGetFInfo(zRcvVol, zRcvDirID, PSTR("X"), &info);
    if (err != fnfErr)
        return err;
    err = GetFolderByID(zRcvVol, zRcvDirID, &folder);
    return err == fnfErr ? OSErr(dirNFErr) : err;
}

int16_t VerifyRcvVol()
{
    if (zRcvDirID == kNoFolder)
        zRcvVol = GetRcvVol();

    switch (probe_folder()) {
    case nsvErr:
    case nsDrvErr:
    case paramErr:
    case dirNFErr:
        break;
    default:
        return 1;
    }
    if (!gHaveUserDLFolder)
        return SetRcvFolder();
    zRcvVol = gUserDownloadsVRef;
    zRcvDirID = gUserDownloadsDirID;
    return 1;
}

// Every error is a folder that doesn't mind.
void TouchDir(int16_t volume, int32_t folder)
{
    static const uint8_t itself[1] = {0};
    CatInfo info;

    if (GetFolderByID(volume, folder, &info) != noErr)
        return;
    GetDateTime(&info.modified);
    (void)SetCatInfo(volume, folder, itself, &info);
}

// ---- finishing -------------------------------------------------------------

OSErr CheckAppName(int16_t length, const uint8_t *name, FSSpec *spec)
{
    bool isFolder = false, wasAlias = false;
    FInfo info;

    length = std::clamp<int16_t>(length, 0, 255);
    spec->name[0] = uint8_t(length);
    memcpy(spec->name + 1, name, size_t(length));
    OSErr err = ResolveAliasFile(spec, &isFolder, &wasAlias);
    if (err != noErr)
        return err;
    if (isFolder)
        return 1;
    err = FSpGetFInfo(spec, &info);
    if (err != noErr)
        return err;
    return info.fdType == FOUR("APPL") ? 0 : 1;
}

OSErr OpenWithDoc(const FSSpec *application, const FSSpec *document)
{
    return OpenDocumentWith(application, document);
}

// Place of the dot that parts the suffix, 0 if there is none. The first and
// the last character don't count: ".profile" and "end." have no suffix.
static int suffix_dot(ConstStr name)
{
    for (int i = name[0] - 1; i >= 2; i--)
        if (name[i] == '.')
            return i;
    return 0;
}

// Folder `index` of the list, as a specification to put an entry's name in.
// False at the end of the list; `there`: the folder exists.
static bool opener_folder(int16_t index, FSSpec *spec, bool *there)
{
    Str255 name;
    FSSpec folder, resolved;
    CatInfo info;

    *there = false;
    GetIndString(name, kListOpeners, index);
    if (name[0] == 0)
        return false;
    if (FSMakeFSSpec(pgmVRef, pgmDir, name, &folder) != noErr ||
        ResolveDir(&folder, &resolved) != noErr ||
        GetCatInfo(resolved.vRefNum, resolved.parID, resolved.name, &info) !=
            noErr)
        return true;
    spec->vRefNum = resolved.vRefNum;
    spec->parID = info.dirID;
    *there = true;
    return true;
}

OSErr DoAutoOpen(const FSSpec *spec)
{
    if (sysVers <= kOldestEvents)
        return 1;
    for (int16_t i = 1; i <= kOpeners; i++) {
        FSSpec app;
        bool there;
        FInfo info;

        if (!opener_folder(i, &app, &there))
            return 1;
        if (!there)
            continue;
        OSErr err = FSpGetFInfo(spec, &info);
        if (err != noErr)
            return err;

        const FSSpec folder = app;
        int dot = suffix_dot(spec->name);
        err = 1;
        if (dot)
            err = CheckAppName(int16_t(spec->name[0] - dot),
                               spec->name + dot + 1, &app);
        if (err != noErr) {
            uint8_t type[4];
            for (int k = 0; k < 4; k++)
                type[k] = uint8_t(info.fdType >> (24 - 8 * k));
            app = folder;
            err = CheckAppName(4, type, &app);
        }
        if (err != noErr)
            return err;
        err = OpenWithDoc(&app, spec);
        if (err != noErr)
            PrtErrorSTR(err, kListErrors, kStrCantOpenReceived);
        return err;
    }
    return 1;
}
