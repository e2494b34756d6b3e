// What the parts of the file service share: paths behind folder numbers, the
// meaning of errno, and where type, creator and resource fork of a file lie.
// Nothing outside platform/core/files*, resources and prefs includes it.
#pragma once

#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "platform/files.h"

// ---- errors ----------------------------------------------------------------

OSErr os_error(int error);

// ---- folders (files_folders.cpp) -------------------------------------------
// A folder number stands for an absolute path, a volume number for a mount
// point. Both are kept in a table of the state folder and never change.

constexpr int32_t kRootDirID = 2; // a volume's mount point

// Path without a slash at its end (but for "/"). nsvErr, dirNFErr.
OSErr folder_path(int16_t vRef, int32_t dirID, std::string &path);

// Number of an existing folder; symbolic links in its path are followed.
OSErr folder_number(const std::string &path, int16_t *vRef, int32_t *dirID);

// Path of a file, which needn't exist. bdNamErr, nsvErr, dirNFErr. An empty
// name is refused: see entry_path.
OSErr file_path(int16_t vRef, int32_t dirID, ConstStr name, std::string &path);

// The same, but an empty name is the folder itself.
OSErr entry_path(int16_t vRef, int32_t dirID, ConstStr name, std::string &path);

// What a lookup that failed with ENOENT means: no such file, or no folder.
OSErr missing_error(const std::string &path);

std::string parent_of(const std::string &path);
std::string last_of(const std::string &path);
// A file's name as the program has it; cut at 255.
void name_from_bytes(const std::string &bytes, uint8_t *name);

// Folder of the settings, made if missing; empty if it can't be.
std::string settings_folder();

// Point of the volume, or empty.
std::string volume_point(int16_t vRef);
int volume_count();

// ---- kind of a file (files_info.cpp) ---------------------------------------

// What a file carries besides its bytes: Finder info as by RFC 1740, entry 9,
// and the date of creation (seconds since 1904, 0 for none).
struct FileExtra {
    FInfo info = {};
    uint8_t more[16] = {};
    uint32_t created = 0;
};

// False if nothing is stored; `info` is then guessed from name and content.
bool read_extra(const std::string &path, FileExtra &extra);
OSErr write_extra(const std::string &path, const FileExtra &extra);

// "._name" beside the file.
std::string sidecar_path(const std::string &path);
bool is_sidecar(const std::string &path); // an AppleDouble file by its mark
void remove_sidecar(const std::string &path);
// A sidecar without its file would give a new file of that name a foreign
// fork. It becomes ".fork of NAME", so that what it holds isn't lost.
OSErr set_sidecar_aside(const std::string &path);
// "._name" is where a fork lies: no file may take such a name.
bool is_sidecar_name(ConstStr name);

// Where the resource fork lies in the sidecar.
struct ForkPlace {
    int64_t base = 0; // offset of its first byte
    int64_t length = 0;
    int64_t lengthAt = 0; // offset of the 32-bit length, to be kept right
};
// fnfErr without a fork, ioErr for a sidecar that contradicts itself.
OSErr find_fork(int fd, ForkPlace &place);
// Makes the fork the last thing of the sidecar, so that it can grow.
OSErr make_fork(const std::string &path, int &fd, ForkPlace &place);

// ---- open files (files.cpp) ------------------------------------------------

bool file_is_open(const struct stat &st, bool forWriting);

// ---- dates -----------------------------------------------------------------

uint32_t date_of_unix(int64_t seconds);
int64_t unix_of_date(uint32_t date);
