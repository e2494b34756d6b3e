// Names, folders and what becomes of a received file: the open and save
// dialogs of the transfers and of capture, the receive folder and its repair,
// unique names on our side and fit names for the host's, the table of file
// kinds, and the automatic opening.
//
// Folders are a volume number and a folder number; -1 as zRcvDirID means
// that the receive folder hasn't been looked up yet.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

// ---- files chosen ----------------------------------------------------------

constexpr int32_t kMaxSendFiles = 104; // more than these are left out

extern FSSpec logFSS;                     // capture file, or last file chosen
extern FSSpec *sendFSS[kMaxSendFiles];    // made on first use and kept
extern uint8_t *hostnames[kMaxSendFiles]; // 256 bytes each, NUL-terminated
extern int32_t mgCount;                   // files chosen

// ---- the receive folder ----------------------------------------------------

extern int16_t zRcvVol;
extern int32_t zRcvDirID;
extern uint8_t needName; // the file came without a name; ask at the end

// ---- dialogs ---------------------------------------------------------------

// Several files, into sendFSS, hostnames and mgCount. Returns their number.
int32_t MultiGetFile();

// Makes sure that slot `index` of sendFSS and hostnames has its blocks.
// Returns 0 if memory is short or the index is out of range.
int16_t SendSlot(int32_t index);

// Where capture goes, into logFSS; an old file of that name is deleted.
int16_t ReceiveFile();

// One file to send, into logFSS and slot 0; 1 if chosen.
int16_t Sendfile(int16_t isAscii);

// Asks for the name of a file that came without one, and renames it.
void NameAs(uint8_t *name, int16_t volume);

int16_t SetRcvFolder(); // asks for the receive folder; 1 if chosen

// ---- names and folders -----------------------------------------------------

// `name` takes `base` and today's date, with " A", " B"... behind if taken.
void MakeUnique(uint8_t *name, ConstStr base, int16_t volume);

// Changes `name`, at most 31 bytes, until nothing in the receive folder has
// it: "name #1", "name #2"...; the 99th is taken as it is.
void UniqueName(uint8_t *name, int16_t volume);

// The far side's name for a file made one for this side, in place: ":" parts
// folders, and a name that starts with "._" would be that of another file's
// fork.
void FitName(uint8_t *name, int32_t length);

// Bytes that the receive folder has room for, or -1 if that isn't known. The
// folder is asked and not zRcvVol, which choosing a file to send or to capture
// to changes, too.
int64_t RcvRoom();

// Whether a file or folder of that name is in the receive folder. If the
// folder's volume has gone, the program's own folder takes its place.
bool InRcvFolder(ConstStr name, CatInfo *info);

int16_t GetRcvVol();    // from the global strings; sets zRcvDirID
int16_t VerifyRcvVol(); // repairs or asks; not 0 if there is a folder
void TouchDir(int16_t volume, int32_t folder);

// `name` (length-prefixed) as the host should see it, by cset's hostNames,
// into `out` (256 bytes), NUL-terminated.
void name4host(ConstStr name, uint8_t *out);

// Looks a received file up by the start of its data (`len` bytes at `data`)
// or the end of its name. Returns 1, with creator and type, if found.
int16_t BinTypeCheck(const uint8_t *data, int32_t len, ConstStr name,
                     OSType *creator, OSType *type);

// ---- finishing -------------------------------------------------------------

// Opens a complete file with the application whose alias, in one of the
// folders of list 450, has the file's suffix or type as its name. Not 0 if none
// did.
OSErr DoAutoOpen(const FSSpec *spec);
OSErr CheckAppName(int16_t length, const uint8_t *name, FSSpec *spec);
OSErr OpenWithDoc(const FSSpec *application, const FSSpec *document);
