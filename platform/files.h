// Files by volume, folder number and name. A name is one flat component of
// bytes as they came; "/" becomes ":" on disk. Empty, ".", "..", NUL and
// more than 255 bytes are refused (bdNamErr), and so is a name for a new file
// that starts with "._". Opening for write never follows a symbolic link. A
// file has a data fork (the plain file) and, where asked for, a resource fork,
// type, creator and flags (an extended attribute, or a sidecar "._name" by RFC
// 1740).
#pragma once

#include "platform/types.h"

struct FSSpec {
    int16_t vRefNum;
    int32_t parID;
    Str255 name;
};

struct FInfo {
    OSType fdType, fdCreator;
    uint16_t fdFlags;
    Point fdLocation;
    int16_t fdFldr;
};

enum : int8_t { fsRdPerm = 1, fsWrPerm = 2, fsRdWrPerm = 3 };
enum : int16_t {
    fsAtMark = 0,
    fsFromStart = 1,
    fsFromLEOF = 2,
    fsFromMark = 3
};

// Kinds of places for FindFolder.
constexpr OSType kPrefFolder = FOUR("pref");      // settings and phone book
constexpr OSType kDownloadsFolder = FOUR("down"); // the user's downloads
constexpr OSType kLogsFolder = FOUR("logs");
constexpr OSType kAuxFolder = FOUR("auxf"); // sounds, scripts, openers
// Makes a missing one when `create`.
OSErr FindFolder(int16_t domain, OSType kind, bool create, int16_t *vRef,
                 int32_t *dirID);
void GetProgramFolder(int16_t *vRef, int32_t *dirID);

OSErr FSMakeFSSpec(int16_t vRef, int32_t dirID, ConstStr name, FSSpec *out);
// From a native path (bytes); for arguments of the command line. A missing
// file returns fnfErr with `out` filled, if its folder is there.
OSErr FSSpecFromPath(const char *path, FSSpec *out);
// The path that it names, for messages and other programs. `size` bytes.
OSErr FSSpecToPath(const FSSpec *spec, char *out, size_t size);

OSErr HCreate(int16_t vRef, int32_t dirID, ConstStr name, OSType creator,
              OSType type);
OSErr HDelete(int16_t vRef, int32_t dirID, ConstStr name);
OSErr HRename(int16_t vRef, int32_t dirID, ConstStr from, ConstStr to);
OSErr HGetFInfo(int16_t vRef, int32_t dirID, ConstStr name, FInfo *info);
OSErr HSetFInfo(int16_t vRef, int32_t dirID, ConstStr name, const FInfo *info);
OSErr HOpen(int16_t vRef, int32_t dirID, ConstStr name, int8_t permission,
            int16_t *ref);
OSErr HOpenRF(int16_t vRef, int32_t dirID, ConstStr name, int8_t permission,
              int16_t *ref);
OSErr FSpCreate(const FSSpec *s, OSType creator, OSType type);
OSErr FSpDelete(const FSSpec *s);
OSErr FSpGetFInfo(const FSSpec *s, FInfo *info);
OSErr FSpOpenDF(const FSSpec *s, int8_t permission, int16_t *ref);
OSErr FSpOpenRF(const FSSpec *s, int8_t permission, int16_t *ref);

// `count` takes what was done. Reading past the end gives eofErr with what
// there was.
OSErr FSRead(int16_t ref, int32_t *count, void *data);
OSErr FSWrite(int16_t ref, int32_t *count, const void *data);
// The same at the present position, leaving the system's cache alone.
OSErr FSWriteUncached(int16_t ref, int32_t *count, const void *data);
// The 32-bit calls report files of 2 GiB and more as 0x7FFFFFFF.
OSErr SetFPos(int16_t ref, int16_t mode, int32_t offset);
OSErr GetEOF(int16_t ref, int32_t *size);
OSErr SetEOF(int16_t ref, int32_t size);
OSErr FSClose(int16_t ref);
OSErr FlushVol(int16_t vRef);

// What a folder or file is.
struct CatInfo {
    bool isFolder, locked;
    FInfo info;           // of a file
    int16_t vRefNum;      // of a folder: where its files lie
    int32_t dirID, parID; // dirID: of a folder
    int32_t dataLen, rsrcLen;
    uint32_t created, modified; // seconds since 1904
    Str255 name;
    uint8_t dataForkOpen;
};
OSErr GetCatInfo(int16_t vRef, int32_t dirID, ConstStr name, CatInfo *out);
OSErr SetCatInfo(int16_t vRef, int32_t dirID, ConstStr name,
                 const CatInfo *info); // dates, flags, lock
// Entry `index` (from 1) of a folder, in the order of names; fnfErr past it.
OSErr GetFolderByID(int16_t vRef, int32_t dirID, CatInfo *out);

// Volumes: what the folders lie on. By index from 1.
struct VolInfo {
    int16_t vRefNum;
    Str255 name; // at most 27 bytes
    uint32_t created;
    int64_t freeBytes;
};
OSErr GetVolInfo(int16_t vRef, VolInfo *out);
OSErr GetIndVolInfo(int16_t index, VolInfo *out);

// Follows an alias (a symbolic link) to what it stands for.
OSErr ResolveAliasFile(FSSpec *spec, bool *isFolder, bool *wasAlias);
