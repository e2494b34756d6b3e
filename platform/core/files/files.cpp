// Open forks: reading, writing, positions.
//
// A reference is an index into one table. A resource fork is a stretch of the
// sidecar from `base` on; it is always the sidecar's last part, and its length
// in the header is set right at each write, so that a crash leaves no fork
// longer or shorter than it says.
#include "platform/files.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/core/files/filesparts.h"

static constexpr int kMostFiles = 64;
static constexpr int16_t kFirstRef = 101;
static constexpr int64_t kLargest = INT32_MAX; // what 32-bit calls can report

// How much is written past the cache before its pages are given back.
static constexpr int64_t kCacheStep = int64_t(8) << 20;

namespace {

struct OpenFile {
    int fd; // -1: the slot is free
    bool writing;
    bool isFork;     // a resource fork, in the sidecar
    bool isEmpty;    // a resource fork that isn't there, open for reading
    ForkPlace place; // of a resource fork
    int64_t pos;
    dev_t device; // of the file itself, not of the sidecar
    ino_t inode;
    int64_t uncached; // bytes already given back to the system
};

} // namespace

static OpenFile table[kMostFiles];
static bool tableMade;

// ---- the table -------------------------------------------------------------

static void make_table()
{
    if (!tableMade)
        for (OpenFile &f : table)
            f.fd = -1;
    tableMade = true;
}

[[maybe_unused]] static bool file_ok(const OpenFile &f)
{
    bool plain = f.place.base == 0 && f.place.length == 0 && !f.isEmpty;
    return f.pos >= 0 && f.place.base >= 0 && f.place.length >= 0 &&
           (f.isFork || plain) && !(f.isEmpty && f.writing);
}

static OpenFile *file_of(int16_t ref)
{
    make_table();
    int i = ref - kFirstRef;
    if (i < 0 || i >= kMostFiles || table[i].fd < 0)
        return nullptr;
    assert(file_ok(table[i]));
    return &table[i];
}

bool file_is_open(const struct stat &st, bool forWriting)
{
    make_table();
    for (const OpenFile &f : table)
        if (f.fd >= 0 && f.device == st.st_dev && f.inode == st.st_ino &&
            (f.writing || !forWriting))
            return true;
    return false;
}

static OSErr add_file(const OpenFile &f, int16_t *ref)
{
    make_table();
    for (int i = 0; i < kMostFiles; i++)
        if (table[i].fd < 0) {
            table[i] = f;
            *ref = int16_t(kFirstRef + i);
            return noErr;
        }
    (void)close(f.fd); // nothing was written yet
    return tmfoErr;
}

// ---- opening ---------------------------------------------------------------

// A plain file by the rules for opening: no link is followed for writing, and
// nothing but a regular file is opened, so that a pipe can't hang us.
static OSErr open_plain(const std::string &path, int8_t permission, int *fd,
                        struct stat *st)
{
    bool writing = permission & fsWrPerm;
    if (stat(path.c_str(), st) != 0)
        return errno == ENOENT ? missing_error(path) : os_error(errno);
    if (!S_ISREG(st->st_mode))
        return S_ISDIR(st->st_mode) ? fnfErr : permErr;
    if (writing && !(st->st_mode & S_IWUSR))
        return fLckdErr;
    if (writing && file_is_open(*st, true))
        return opWrErr;
    int flags = permission == fsWrPerm ? O_RDWR : writing ? O_RDWR : O_RDONLY;
    if (writing)
        flags |= O_NOFOLLOW;
    *fd = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
    if (*fd < 0)
        return os_error(errno);
    if (fstat(*fd, st) == 0 && S_ISREG(st->st_mode))
        return noErr;
    (void)close(*fd);
    return permErr;
}

OSErr HOpen(int16_t vRef, int32_t dirID, ConstStr name, int8_t permission,
            int16_t *ref)
{
    std::string path;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err != noErr)
        return err;
    OpenFile f = {};
    struct stat st;
    err = open_plain(path, permission, &f.fd, &st);
    if (err != noErr)
        return err;
    f.writing = permission & fsWrPerm;
    f.device = st.st_dev;
    f.inode = st.st_ino;
    return add_file(f, ref);
}

// The sidecar's fork; for writing, made if there is none.
static OSErr open_fork(const std::string &path, OpenFile &f)
{
    int flags = f.writing ? O_RDWR | O_CREAT : O_RDONLY;
    f.fd = open(sidecar_path(path).c_str(),
                flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666);
    if (f.fd < 0 && (f.writing || errno != ENOENT))
        return os_error(errno);
    OSErr err = fnfErr;
    if (f.fd >= 0) {
        struct stat st;
        bool fresh = fstat(f.fd, &st) == 0 && st.st_size == 0;
        err = fresh ? OSErr(fnfErr) : find_fork(f.fd, f.place);
        if (f.writing && err != ioErr)
            err = make_fork(path, f.fd, f.place);
    }
    if (err != fnfErr)
        return err;
    // A file without a fork has an empty one.
    f.isEmpty = true;
    if (f.fd < 0)
        f.fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return f.fd < 0 ? os_error(errno) : OSErr(noErr);
}

OSErr HOpenRF(int16_t vRef, int32_t dirID, ConstStr name, int8_t permission,
              int16_t *ref)
{
    std::string path;
    OSErr err = file_path(vRef, dirID, name, path);
    if (err != noErr)
        return err;
    int fd;
    struct stat st;
    err = open_plain(path, permission, &fd, &st);
    if (err != noErr)
        return err;
    (void)close(fd);

    OpenFile f = {};
    f.fd = -1;
    f.writing = permission & fsWrPerm;
    f.isFork = true;
    f.device = st.st_dev;
    f.inode = st.st_ino;
    err = open_fork(path, f);
    if (err == noErr)
        return add_file(f, ref);
    if (f.fd >= 0)
        (void)close(f.fd);
    return err;
}

OSErr FSpOpenDF(const FSSpec *s, int8_t permission, int16_t *ref)
{
    return HOpen(s->vRefNum, s->parID, s->name, permission, ref);
}

OSErr FSpOpenRF(const FSSpec *s, int8_t permission, int16_t *ref)
{
    return HOpenRF(s->vRefNum, s->parID, s->name, permission, ref);
}

OSErr FSClose(int16_t ref)
{
    OpenFile *f = file_of(ref);
    if (!f)
        return rfNumErr;
    // A full disk behind a network shows only now.
    OSErr err = close(f->fd) == 0 ? OSErr(noErr) : os_error(errno);
    f->fd = -1;
    return err;
}

// ---- bytes -----------------------------------------------------------------

static int64_t length_of(const OpenFile &f)
{
    struct stat st;
    if (f.isFork)
        return f.isEmpty ? 0 : f.place.length;
    return fstat(f.fd, &st) == 0 ? st.st_size : 0;
}

static OSErr set_fork_length(OpenFile &f, int64_t length)
{
    uint8_t bytes[4] = {uint8_t(length >> 24), uint8_t(length >> 16),
                        uint8_t(length >> 8), uint8_t(length)};
    if (pwrite(f.fd, bytes, 4, f.place.lengthAt) != 4)
        return os_error(errno);
    f.place.length = length;
    return noErr;
}

OSErr FSRead(int16_t ref, int32_t *count, void *data)
{
    OpenFile *f = file_of(ref);
    int32_t wanted = *count;
    *count = 0;
    if (!f)
        return rfNumErr;
    if (wanted < 0)
        return paramErr;
    int64_t most = wanted;
    if (f->isFork)
        most = std::min(most, std::max(int64_t(0), length_of(*f) - f->pos));
    uint8_t *to = static_cast<uint8_t *>(data);
    while (*count < most) {
        ssize_t n = pread(f->fd, to + *count, size_t(most - *count),
                          f->place.base + f->pos);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return os_error(errno);
        if (n == 0)
            break;
        *count += int32_t(n);
        f->pos += n;
    }
    return *count < wanted ? OSErr(eofErr) : OSErr(noErr);
}

OSErr FSWrite(int16_t ref, int32_t *count, const void *data)
{
    OpenFile *f = file_of(ref);
    int32_t wanted = *count;
    *count = 0;
    if (!f)
        return rfNumErr;
    if (!f->writing)
        return wrPermErr;
    if (wanted < 0)
        return paramErr;
    // An AppleDouble entry keeps its length in 32 bits.
    if (f->isFork && f->place.base + f->pos + wanted > kLargest)
        return dskFulErr;
    const uint8_t *from = static_cast<const uint8_t *>(data);
    OSErr err = noErr;
    while (*count < wanted && err == noErr) {
        ssize_t n = pwrite(f->fd, from + *count, size_t(wanted - *count),
                           f->place.base + f->pos);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            err = n < 0 ? os_error(errno) : OSErr(dskFulErr);
            break;
        }
        *count += int32_t(n);
        f->pos += n;
    }
    if (f->isFork && f->pos > f->place.length) {
        OSErr lengthErr = set_fork_length(*f, f->pos);
        err = err != noErr ? err : lengthErr;
    }
    return err;
}

// A long transfer would push everything else out of memory. So each piece of
// some size is sent on its way to the disk, and the piece before it, which has
// arrived by then, is dropped from the cache. Neither waits.
OSErr FSWriteUncached(int16_t ref, int32_t *count, const void *data)
{
    OSErr err = FSWrite(ref, count, data);
    OpenFile *f = file_of(ref);
    if (!f)
        return err;
    int64_t end = f->place.base + f->pos;
    if (end - f->uncached < 2 * kCacheStep)
        return err;
    // Both are advice; their results change nothing.
    (void)sync_file_range(f->fd, end - kCacheStep, kCacheStep,
                          SYNC_FILE_RANGE_WRITE);
    (void)posix_fadvise(f->fd, f->uncached, end - kCacheStep - f->uncached,
                        POSIX_FADV_DONTNEED);
    f->uncached = end - kCacheStep;
    return err;
}

// ---- positions and lengths -------------------------------------------------

static int32_t limit32(int64_t v)
{
    return int32_t(std::min(v, kLargest));
}

OSErr SetFPos(int16_t ref, int16_t mode, int32_t offset)
{
    OpenFile *f = file_of(ref);
    if (!f)
        return rfNumErr;
    int64_t end = length_of(*f);
    int64_t to = mode == fsAtMark      ? f->pos
                 : mode == fsFromStart ? offset
                 : mode == fsFromLEOF  ? end + offset
                                       : f->pos + offset;
    if (to < 0)
        return posErr;
    f->pos = std::min(to, end);
    return to > end ? OSErr(eofErr) : OSErr(noErr);
}

OSErr GetEOF(int16_t ref, int32_t *size)
{
    OpenFile *f = file_of(ref);
    if (!f)
        return rfNumErr;
    *size = limit32(length_of(*f));
    return noErr;
}

OSErr SetEOF(int16_t ref, int32_t size)
{
    OpenFile *f = file_of(ref);
    if (!f)
        return rfNumErr;
    if (!f->writing)
        return wrPermErr;
    if (size < 0)
        return paramErr;
    if (ftruncate(f->fd, f->place.base + size) != 0)
        return os_error(errno);
    f->pos = std::min(f->pos, int64_t(size));
    return f->isFork ? set_fork_length(*f, size) : OSErr(noErr);
}

OSErr FlushVol(int16_t vRef)
{
    // Every write has reached the system by now. Making it wait for the disk
    // would stall the line after each file; the kernel does it in its time.
    return volume_point(vRef).empty() ? OSErr(nsvErr) : OSErr(noErr);
}
