// Typed, numbered, named blobs. The program's own come from an image compiled
// into it (reference 1, read only); a resource file is a SQLite database with
// one table (type, id, name, attributes, data). The current file is searched
// first, then those opened before it, the program's own last. Of a file only
// the types that belong to a book are seen (`Dial`, `STR#`, `qSet`), and the
// program's texts come first, so that no file changes what the program shows.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

constexpr int16_t kProgramResFile = 1;

// The blob's handle stays the file's; asking again gives the same handle. Null
// when there is none; ResError tells resNotFound.
Handle GetResource(OSType type, int16_t id);
Handle Get1Resource(OSType type, int16_t id); // current file alone
Handle GetNamedResource(OSType type, ConstStr name);
Handle GetIndResource(OSType type, int16_t index); // all files, from 1
Handle Get1IndResource(OSType type, int16_t index);
int16_t CountResources(OSType type);
int16_t Count1Resources(OSType type);

void GetResInfo(Handle h, int16_t *id, OSType *type, Str255 name);
void SetResInfo(Handle h, int16_t id, ConstStr name); // null keeps the name
int16_t HomeResFile(Handle h); // -1 when it is no resource

// The handle's bytes become a resource of the current file.
void AddResource(Handle h, OSType type, int16_t id, ConstStr name);
void RemoveResource(Handle h);  // the handle stays, as plain memory
void ChangedResource(Handle h); // to be written at the next update
void WriteResource(Handle h);   // into the file's transaction now
OSErr ResError();               // of the last call of this header

// Makes the file a resource file; it may be there, if it is empty.
// HOpenResFile answers a reference, or -1 with the reason in ResError: fnfErr,
// permErr, mapReadErr for a file that is no book or a damaged one (it is left
// as it was), laterErr for one of a later version, eofErr for a book that was
// never written, fBsyErr when it is in use.
void HCreateResFile(int16_t vRef, int32_t dirID, ConstStr name);
int16_t HOpenResFile(int16_t vRef, int32_t dirID, ConstStr name,
                     int8_t permission);
// Handles of the file's resources go, and what was changed since its last
// update is dropped.
void CloseResFile(int16_t ref);
void UseResFile(int16_t ref);

// Everything changed since the last update becomes lasting, in one step: after
// a crash at any moment the file holds the old state or the new one. What
// fails stays owed, and the next update writes it as well.
void UpdateResFile(int16_t ref);
OSErr FlushResFile(int16_t ref); // and is on the disk

// A file that was moved, replaced or removed while it was open is written anew
// by the next update, at its old place, or beside it if something else lies
// there. True, once, if that was done; `name` gets the file's name.
bool ResFileRemade(int16_t ref, Str255 name);

// String `index` (from 1) of list `id`; empty when it isn't there.
void GetIndString(Str255 out, int16_t id, int16_t index);
// String resource `id`, or null.
Handle GetString(int16_t id);
