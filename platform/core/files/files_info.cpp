// Type, creator, flags and resource fork of a file.
//
// Type and the rest lie in an extended attribute of 36 bytes: the 32 of RFC
// 1740's entry 9 and the date of creation. Where the file system has no such
// attributes, entry 9 goes to the sidecar "._name", an AppleDouble file by the
// same paper, which is the home of the resource fork in any case.
#include "platform/core/files/filesparts.h"

#include <cerrno>
#include <cstring>
#include <map>

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

static constexpr char kAttribute[] = "user.quillon.finderinfo";
static constexpr size_t kInfoLen = 32;
static constexpr size_t kAttributeLen = kInfoLen + 4;

static constexpr uint32_t kDoubleMagic = 0x00051607;
static constexpr uint32_t kDoubleVersion = 0x00020000;
static constexpr uint32_t kEntryFork = 2, kEntryInfo = 9;
static constexpr size_t kDoubleHead = 26, kEntryLen = 12;
static constexpr int kMostEntries = 64;
static constexpr int64_t kLargestSidecar = int64_t(64) << 20; // to rebuild
static constexpr int kMostAside = 1000; // forks of one name without a file
static constexpr int kTries = 100;      // at a name for a file of a moment

// ---- big-endian ------------------------------------------------------------

static uint32_t get_u32(const uint8_t *p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 |
           p[3];
}

static uint16_t get_u16(const uint8_t *p)
{
    return uint16_t(p[0] << 8 | p[1]);
}

static void put_u32(uint8_t *p, uint32_t v)
{
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

static void put_u16(uint8_t *p, uint16_t v)
{
    p[0] = uint8_t(v >> 8);
    p[1] = uint8_t(v);
}

static void info_to_bytes(const FileExtra &extra, uint8_t *p)
{
    put_u32(p, extra.info.fdType);
    put_u32(p + 4, extra.info.fdCreator);
    put_u16(p + 8, extra.info.fdFlags);
    put_u16(p + 10, uint16_t(extra.info.fdLocation.v));
    put_u16(p + 12, uint16_t(extra.info.fdLocation.h));
    put_u16(p + 14, uint16_t(extra.info.fdFldr));
    std::memcpy(p + 16, extra.more, 16);
}

static void info_from_bytes(FileExtra &extra, const uint8_t *p)
{
    extra.info.fdType = get_u32(p);
    extra.info.fdCreator = get_u32(p + 4);
    extra.info.fdFlags = get_u16(p + 8);
    extra.info.fdLocation.v = int16_t(get_u16(p + 10));
    extra.info.fdLocation.h = int16_t(get_u16(p + 12));
    extra.info.fdFldr = int16_t(get_u16(p + 14));
    std::memcpy(extra.more, p + 16, 16);
}

// ---- the sidecar -----------------------------------------------------------

std::string sidecar_path(const std::string &path)
{
    return (path == "/" ? "" : parent_of(path)) + "/._" + last_of(path);
}

struct Entry {
    uint32_t id, offset, length;
    int64_t lengthAt; // where the length stands
};

// The entries of an AppleDouble file; empty for anything else, and for one
// whose entries reach past its end.
static std::map<uint32_t, Entry> read_entries(int fd)
{
    std::map<uint32_t, Entry> entries;
    uint8_t head[kDoubleHead + kMostEntries * kEntryLen];
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        return entries;
    ssize_t n = pread(fd, head, sizeof head, 0);
    if (n < ssize_t(kDoubleHead) || get_u32(head) != kDoubleMagic)
        return entries;
    int count = get_u16(head + 24);
    if (count > kMostEntries ||
        n < ssize_t(kDoubleHead + size_t(count) * kEntryLen))
        return entries;
    for (int i = 0; i < count; i++) {
        size_t at = kDoubleHead + size_t(i) * kEntryLen;
        Entry e = {get_u32(head + at), get_u32(head + at + 4),
                   get_u32(head + at + 8), int64_t(at) + 8};
        if (int64_t(e.offset) + e.length > st.st_size)
            return {};
        entries.emplace(e.id, e);
    }
    return entries;
}

static int open_sidecar(const std::string &path, int flags)
{
    return open(sidecar_path(path).c_str(),
                flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0666);
}

bool is_sidecar(const std::string &path)
{
    uint8_t mark[4] = {};
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return false;
    struct stat st;
    bool yes = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
               pread(fd, mark, 4, 0) == 4 && get_u32(mark) == kDoubleMagic;
    (void)close(fd);
    return yes;
}

void remove_sidecar(const std::string &path)
{
    std::string name = sidecar_path(path);
    if (is_sidecar(name))
        (void)unlink(name.c_str()); // it has lost its meaning anyway
}

OSErr set_sidecar_aside(const std::string &path)
{
    std::string from = sidecar_path(path);
    std::string to = (parent_of(path) == "/" ? "" : parent_of(path)) +
                     "/.fork of " + last_of(path);
    if (!is_sidecar(from))
        return noErr;
    for (int n = 1; n < kMostAside; n++) {
        std::string name = n == 1 ? to : to + " " + std::to_string(n);
        if (link(from.c_str(), name.c_str()) == 0)
            return unlink(from.c_str()) == 0 ? OSErr(noErr) : os_error(errno);
        struct stat st;
        if (lstat(name.c_str(), &st) == 0)
            continue;
        // A file system without links.
        return rename(from.c_str(), name.c_str()) == 0 ? OSErr(noErr)
                                                       : os_error(errno);
    }
    return dupFNErr;
}

OSErr find_fork(int fd, ForkPlace &place)
{
    auto entries = read_entries(fd);
    auto fork = entries.find(kEntryFork);
    if (entries.empty())
        return ioErr;
    if (fork == entries.end())
        return fnfErr;
    place = {fork->second.offset, fork->second.length, fork->second.lengthAt};
    return noErr;
}

// All entries but the fork as they were, then the fork, to be written as one
// file in the place of the old one. `info` stands in where there is none.
static std::string rebuilt(int fd, const uint8_t *info, ForkPlace &place)
{
    std::map<uint32_t, std::string> parts;
    std::string fork;
    for (auto &[id, e] : read_entries(fd)) {
        std::string bytes(e.length, '\0');
        ssize_t n = pread(fd, bytes.data(), bytes.size(), e.offset);
        bytes.resize(n > 0 ? size_t(n) : 0);
        (id == kEntryFork ? fork : parts[id]) = bytes;
    }
    if (!parts.count(kEntryInfo))
        parts[kEntryInfo].assign(reinterpret_cast<const char *>(info),
                                 kInfoLen);
    size_t offset = kDoubleHead + (parts.size() + 1) * kEntryLen;
    std::string head(offset, '\0'), body;
    uint8_t *p = reinterpret_cast<uint8_t *>(head.data());
    put_u32(p, kDoubleMagic);
    put_u32(p + 4, kDoubleVersion);
    put_u16(p + 24, uint16_t(parts.size() + 1));
    uint8_t *entry = p + kDoubleHead;
    auto describe = [&](uint32_t id, size_t length) {
        put_u32(entry, id);
        put_u32(entry + 4, uint32_t(offset));
        put_u32(entry + 8, uint32_t(length));
        entry += kEntryLen;
        offset += length;
    };
    for (auto &[id, bytes] : parts) {
        describe(id, bytes.size());
        body += bytes;
    }
    place = {int64_t(offset), int64_t(fork.size()), int64_t(entry + 8 - p)};
    describe(kEntryFork, fork.size());
    return head + body + fork;
}

// A new file beside `path`, under a name that no sidecar has. -1: errno.
static int temporary_beside(const std::string &path, std::string &name)
{
    std::string folder = parent_of(path) == "/" ? "" : parent_of(path);
    int fd = -1;
    for (int n = 0; n < kTries; n++) {
        name = folder + "/.quillon-" + std::to_string(getpid()) + "-" +
               std::to_string(n);
        fd = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST)
            break;
    }
    return fd;
}

OSErr make_fork(const std::string &path, int &fd, ForkPlace &place)
{
    struct stat st;
    if (find_fork(fd, place) == noErr && fstat(fd, &st) == 0 &&
        place.base + place.length == st.st_size)
        return noErr;
    if (fstat(fd, &st) != 0 || st.st_size > kLargestSidecar)
        return ioErr;
    FileExtra extra;
    uint8_t info[kInfoLen];
    if (!read_extra(path, extra))
        extra = {};
    info_to_bytes(extra, info);
    std::string bytes = rebuilt(fd, info, place);
    // Beside the old one until it is whole.
    std::string temporary;
    int fresh = temporary_beside(path, temporary);
    if (fresh < 0)
        return os_error(errno);
    ssize_t n = write(fresh, bytes.data(), bytes.size());
    if (n != ssize_t(bytes.size()) ||
        rename(temporary.c_str(), sidecar_path(path).c_str()) != 0) {
        OSErr err = n >= 0 && n < ssize_t(bytes.size()) ? OSErr(dskFulErr)
                                                        : os_error(errno);
        (void)unlink(temporary.c_str());
        (void)close(fresh);
        return err;
    }
    (void)close(fd); // the old one
    fd = fresh;
    return noErr;
}

// ---- kinds by name and content ---------------------------------------------

static bool ends_with(const std::string &name, const char *ending)
{
    size_t n = std::strlen(ending);
    return name.size() > n &&
           strcasecmp(name.c_str() + name.size() - n, ending) == 0;
}

static bool is_text_name(const std::string &name)
{
    static constexpr const char *endings[] = {
        ".txt", ".text", ".log", ".md",  ".csv",  ".tsv",  ".c",    ".h",
        ".cpp", ".hpp",  ".cc",  ".py",  ".sh",   ".pl",   ".rs",   ".go",
        ".js",  ".html", ".css", ".xml", ".json", ".toml", ".yaml", ".yml",
        ".ini", ".conf", ".cfg", ".tex", ".qls",  ".hex",  ".s",    ".asm"};
    for (const char *ending : endings)
        if (ends_with(name, ending))
            return true;
    return false;
}

// Bytes that a text has: nothing below 32 but the usual ones, and valid UTF-8
// but for a character cut off at the end.
static bool looks_like_text(const uint8_t *p, size_t n)
{
    int tail = 0;
    for (size_t i = 0; i < n; i++) {
        uint8_t c = p[i];
        if (tail > 0) {
            if ((c & 0xC0) != 0x80)
                return false;
            tail--;
        } else if (c >= 0x80) {
            if (c < 0xC2 || c > 0xF4)
                return false;
            tail = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : 1;
        } else if (c == 127 ||
                   (c < 32 && (c == 0 || !std::strchr("\b\t\n\f\r\033", c))))
            return false;
    }
    return n > 0;
}

// A phone book has its own mark behind SQLite's; an empty file can be one only
// by its name.
static void guess_info(const std::string &path, FInfo &info)
{
    static constexpr OSType kUnknown = FOUR("????");
    static constexpr size_t kBookMarkAt = 68;
    uint8_t first[512];
    struct stat st;
    info = {};
    info.fdType = info.fdCreator = kUnknown;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    ssize_t n = -1;
    if (fd >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        n = pread(fd, first, sizeof first, 0);
    if (fd >= 0)
        (void)close(fd);
    if (n < 0)
        return;
    std::string name = last_of(path);
    bool marked = n >= 72 && std::memcmp(first, "SQLite format 3", 16) == 0 &&
                  get_u32(first + kBookMarkAt) == FOUR("qPHO");
    if (marked || (n == 0 && ends_with(name, ".qpho"))) {
        info.fdType = FOUR("qPHO");
        info.fdCreator = FOUR("qLON");
    } else if (st.st_mode & 0111 || ends_with(name, ".desktop"))
        info.fdType = FOUR("APPL");
    else if (is_text_name(name) || looks_like_text(first, size_t(n)))
        info.fdType = FOUR("TEXT");
}

// ---- reading and writing ---------------------------------------------------

bool read_extra(const std::string &path, FileExtra &extra)
{
    uint8_t bytes[kAttributeLen] = {};
    extra = {};
    ssize_t n = getxattr(path.c_str(), kAttribute, bytes, sizeof bytes);
    if (n >= ssize_t(kInfoLen)) {
        info_from_bytes(extra, bytes);
        extra.created = get_u32(bytes + kInfoLen);
        return true;
    }
    int fd = open_sidecar(path, O_RDONLY);
    if (fd >= 0) {
        auto entries = read_entries(fd);
        auto info = entries.find(kEntryInfo);
        bool found = info != entries.end() && info->second.length >= kInfoLen &&
                     pread(fd, bytes, kInfoLen, info->second.offset) ==
                         ssize_t(kInfoLen);
        (void)close(fd);
        if (found && get_u32(bytes) != 0) {
            info_from_bytes(extra, bytes);
            return true;
        }
    }
    guess_info(path, extra.info);
    return false;
}

// Entry 9 of the sidecar. Without `create`, only of one that is there.
static OSErr write_sidecar_info(const std::string &path, const uint8_t *bytes,
                                bool create)
{
    int fd = open_sidecar(path, O_RDWR | (create ? O_CREAT : 0));
    if (fd < 0)
        return create ? os_error(errno) : OSErr(noErr);
    auto entries = read_entries(fd);
    auto info = entries.find(kEntryInfo);
    OSErr err = noErr;
    ForkPlace place;
    struct stat st;
    if (entries.empty() && fstat(fd, &st) == 0 && st.st_size != 0)
        err = create ? ioErr : noErr; // somebody else's file of that name
    else if (info == entries.end() || info->second.length < kInfoLen) {
        std::string made = rebuilt(fd, bytes, place);
        if (create &&
            pwrite(fd, made.data(), made.size(), 0) != ssize_t(made.size()))
            err = os_error(errno);
    } else if (pwrite(fd, bytes, kInfoLen, info->second.offset) !=
               ssize_t(kInfoLen))
        err = os_error(errno);
    if (close(fd) != 0 && err == noErr)
        err = os_error(errno);
    return err;
}

OSErr write_extra(const std::string &path, const FileExtra &extra)
{
    uint8_t bytes[kAttributeLen];
    info_to_bytes(extra, bytes);
    put_u32(bytes + kInfoLen, extra.created);
    // The attribute of the link itself: what it points at is not ours.
    if (lsetxattr(path.c_str(), kAttribute, bytes, sizeof bytes, 0) == 0)
        return write_sidecar_info(path, bytes, false);
    if (errno != ENOTSUP && errno != ENOSYS && errno != ENOSPC)
        return os_error(errno);
    return write_sidecar_info(path, bytes, true);
}
