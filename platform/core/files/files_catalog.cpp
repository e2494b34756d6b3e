// What the folders know of files: making, removing and renaming them, their
// kind, dates and lock, listing a folder, and the volumes.
//
// The lock of a file is its missing write permission for the owner.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/core/files/filesparts.h"
#include "platform/files.h"

static constexpr OSType kFolderType = FOUR("fold");

// ---- dates -----------------------------------------------------------------
// Dates in this program's numbers are local time. The present offset serves
// for all of them, so that a date which goes out by the offset and comes back
// by it is the same, also across a change to summer time.

static int64_t local_offset()
{
    time_t now = time(nullptr);
    tm parts;
    return localtime_r(&now, &parts) ? parts.tm_gmtoff : 0;
}

uint32_t date_of_unix(int64_t seconds)
{
    int64_t date = seconds + local_offset() + kUnixIn1904;
    return uint32_t(std::clamp(date, int64_t(0), int64_t(UINT32_MAX)));
}

int64_t unix_of_date(uint32_t date)
{
    return int64_t(date) - kUnixIn1904 - local_offset();
}

// ---- making and removing ---------------------------------------------------

bool is_sidecar_name(ConstStr name)
{
    return name[0] >= 2 && name[1] == '.' && name[2] == '_';
}

OSErr HCreate(int16_t vRef, int32_t dirID, ConstStr name, OSType creator,
              OSType type)
{
    std::string path;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err != noErr)
        return err;
    if (is_sidecar_name(name))
        return bdNamErr;
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    (void)close(fd);
    err = set_sidecar_aside(path);
    if (err != noErr) {
        (void)unlink(path.c_str()); // it is empty still
        return err;
    }
    if (type == 0 && creator == 0)
        return noErr;
    FileExtra extra;
    extra.info.fdType = type;
    extra.info.fdCreator = creator;
    // Some file systems can't keep a kind. The file can be written all the
    // same.
    (void)write_extra(path, extra);
    return noErr;
}

// What stands in the way of removing or renaming.
static OSErr may_change(const std::string &path, struct stat *st)
{
    if (lstat(path.c_str(), st) != 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    if (S_ISREG(st->st_mode) && !(st->st_mode & S_IWUSR))
        return fLckdErr;
    return noErr;
}

OSErr HDelete(int16_t vRef, int32_t dirID, ConstStr name)
{
    std::string path;
    struct stat st;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err == noErr)
        err = may_change(path, &st);
    if (err != noErr)
        return err;
    if (S_ISDIR(st.st_mode) || file_is_open(st, false))
        return fBsyErr;
    if (unlink(path.c_str()) != 0)
        return os_error(errno);
    remove_sidecar(path);
    return noErr;
}

OSErr HRename(int16_t vRef, int32_t dirID, ConstStr from, ConstStr to)
{
    std::string oldPath, newPath;
    struct stat st, other;
    OSErr err = file_path(vRef, dirID, from, oldPath);
    if (err == noErr)
        err = file_path(vRef, dirID, to, newPath);
    if (err == noErr && is_sidecar_name(to))
        err = bdNamErr;
    if (err == noErr)
        err = may_change(oldPath, &st);
    if (err != noErr || oldPath == newPath)
        return err;
    if (renameat2(AT_FDCWD, oldPath.c_str(), AT_FDCWD, newPath.c_str(),
                  RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL && errno != ENOSYS)
            return os_error(errno);
        // A file system without that call: look first.
        if (lstat(newPath.c_str(), &other) == 0)
            return dupFNErr;
        if (rename(oldPath.c_str(), newPath.c_str()) != 0)
            return os_error(errno);
    }
    err = set_sidecar_aside(newPath);
    if (err != noErr)
        return err;
    std::string sidecar = sidecar_path(oldPath);
    if (is_sidecar(sidecar) &&
        rename(sidecar.c_str(), sidecar_path(newPath).c_str()) != 0)
        return os_error(errno);
    return noErr;
}

OSErr FSpCreate(const FSSpec *s, OSType creator, OSType type)
{
    return HCreate(s->vRefNum, s->parID, s->name, creator, type);
}

OSErr FSpDelete(const FSSpec *s)
{
    return HDelete(s->vRefNum, s->parID, s->name);
}

// ---- what a file is --------------------------------------------------------

// Everything but the number of a folder. A link that leads nowhere is a file
// of no known type: it is in the way of a new one of its name.
static OSErr cat_of(const std::string &path, CatInfo *out)
{
    struct stat link, st;
    struct statx sx;
    if (lstat(path.c_str(), &link) != 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    if (stat(path.c_str(), &st) != 0)
        st = link;
    *out = {};
    out->isFolder = S_ISDIR(st.st_mode);
    out->locked = !out->isFolder && !(st.st_mode & S_IWUSR);
    out->modified = date_of_unix(st.st_mtime);
    name_from_bytes(last_of(path), out->name);

    FileExtra extra;
    if (out->isFolder)
        extra.info.fdType = kFolderType;
    else
        (void)read_extra(path, extra); // a guess serves as well
    out->info = extra.info;
    out->created = extra.created;
    if (out->created == 0 &&
        statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &sx) == 0 &&
        (sx.stx_mask & STATX_BTIME))
        out->created = date_of_unix(sx.stx_btime.tv_sec);
    if (out->created == 0)
        out->created = out->modified;
    if (out->isFolder)
        return noErr;

    out->dataLen = int32_t(std::min<int64_t>(st.st_size, INT32_MAX));
    out->dataForkOpen = file_is_open(st, false);
    int fd = open(sidecar_path(path).c_str(),
                  O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return noErr;
    ForkPlace place;
    if (find_fork(fd, place) == noErr)
        out->rsrcLen = int32_t(std::min<int64_t>(place.length, INT32_MAX));
    (void)close(fd);
    return noErr;
}

OSErr GetCatInfo(int16_t vRef, int32_t dirID, ConstStr name, CatInfo *out)
{
    std::string path;
    OSErr err = entry_path(vRef, dirID, name, path);
    if (err == noErr)
        err = cat_of(path, out);
    if (err != noErr)
        return err;
    int16_t volume = vRef;
    out->vRefNum = vRef;
    if (out->isFolder)
        err = folder_number(path, &out->vRefNum, &out->dirID);
    if (err == noErr && name[0] != 0)
        out->parID = dirID;
    else if (err == noErr)
        err = folder_number(parent_of(path), &volume, &out->parID);
    return err;
}

OSErr GetFolderByID(int16_t vRef, int32_t dirID, CatInfo *out)
{
    static const uint8_t itself[1] = {0};
    return GetCatInfo(vRef, dirID, itself, out);
}

static OSErr set_dates(const std::string &path, const CatInfo *info)
{
    timespec times[2] = {{0, UTIME_OMIT}, {0, 0}};
    times[1].tv_sec = time_t(unix_of_date(info->modified));
    return utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0
               ? OSErr(noErr)
               : os_error(errno);
}

OSErr SetCatInfo(int16_t vRef, int32_t dirID, ConstStr name,
                 const CatInfo *info)
{
    std::string path;
    struct stat st;
    OSErr err = entry_path(vRef, dirID, name, path);
    if (err != noErr)
        return err;
    if (lstat(path.c_str(), &st) != 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    if (S_ISDIR(st.st_mode))
        return set_dates(path, info);
    if (!S_ISREG(st.st_mode))
        return permErr;

    FileExtra extra;
    (void)read_extra(path, extra); // for what CatInfo doesn't hold
    extra.info = info->info;
    extra.created = info->created;
    // The lock goes last on and first off: a locked file takes no attributes.
    mode_t unlocked = (st.st_mode | S_IWUSR) & 07777;
    mode_t wanted = info->locked ? unlocked & mode_t(~0222) : unlocked;
    if ((st.st_mode & S_IWUSR) == 0 && chmod(path.c_str(), unlocked) != 0)
        return os_error(errno);
    err = write_extra(path, extra);
    OSErr dates = set_dates(path, info);
    if (info->locked && chmod(path.c_str(), wanted) != 0 && err == noErr)
        err = os_error(errno);
    return err != noErr ? err : dates;
}

OSErr HGetFInfo(int16_t vRef, int32_t dirID, ConstStr name, FInfo *info)
{
    std::string path;
    CatInfo cat;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err == noErr)
        err = cat_of(path, &cat);
    if (err == noErr)
        *info = cat.info;
    return err;
}

OSErr HSetFInfo(int16_t vRef, int32_t dirID, ConstStr name, const FInfo *info)
{
    std::string path;
    struct stat st;
    FileExtra extra;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err == noErr)
        err = may_change(path, &st);
    if (err != noErr)
        return err;
    if (!S_ISREG(st.st_mode))
        return permErr;
    (void)read_extra(path, extra); // for what FInfo doesn't hold
    extra.info = *info;
    return write_extra(path, extra);
}

OSErr FSpGetFInfo(const FSSpec *s, FInfo *info)
{
    return HGetFInfo(s->vRefNum, s->parID, s->name, info);
}

OSErr ResolveAliasFile(FSSpec *spec, bool *isFolder, bool *wasAlias)
{
    std::string path;
    char real[PATH_MAX];
    struct stat st;
    OSErr err = file_path(spec->vRefNum, spec->parID, spec->name, path);
    if (err != noErr)
        return err;
    if (lstat(path.c_str(), &st) != 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    *wasAlias = S_ISLNK(st.st_mode);
    if (*wasAlias) {
        if (!realpath(path.c_str(), real) || stat(real, &st) != 0)
            return os_error(errno);
        err = FSSpecFromPath(real, spec);
    }
    *isFolder = S_ISDIR(st.st_mode);
    return err;
}

// ---- volumes ---------------------------------------------------------------

// A mark by the mount point, which differs for volumes of the same name. No
// byte of it is a control character or ":", since it stands in path strings.
static uint32_t volume_mark(const std::string &point)
{
    uint32_t hash = 2166136261u; // FNV-1a
    for (char c : point)
        hash = (hash ^ uint8_t(c)) * 16777619u;
    return (hash & 0x3F3F3F3Fu) | 0x40404040u;
}

OSErr GetVolInfo(int16_t vRef, VolInfo *out)
{
    static constexpr size_t kLongestName = 27;
    std::string point = volume_point(vRef);
    struct statvfs fs;
    if (point.empty())
        return nsvErr;
    if (statvfs(point.c_str(), &fs) != 0)
        return os_error(errno);
    std::string name = point == "/" ? "Root" : last_of(point);
    for (char &c : name)
        if (c == ':' || uint8_t(c) < 32)
            c = '-';
    out->vRefNum = vRef;
    name_from_bytes(name.substr(0, kLongestName), out->name);
    out->created = volume_mark(point);
    out->freeBytes = int64_t(fs.f_bavail) * int64_t(fs.f_frsize);
    return noErr;
}

OSErr GetIndVolInfo(int16_t index, VolInfo *out)
{
    for (int volume = 0; volume < volume_count(); volume++)
        if (!volume_point(int16_t(-1 - volume)).empty() && --index == 0)
            return GetVolInfo(int16_t(-1 - volume), out);
    return nsvErr;
}
