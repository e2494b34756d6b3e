// Folder numbers, volumes, and the places that the program uses.
//
// The table is a text file of lines "folder NUMBER PATH;" and "volume NUMBER
// PATH;", to which lines are only ever added, under a lock, so that two running
// programs agree on the numbers. A line cut short by a crash lacks its ";" and
// doesn't count.
#include "platform/core/files/filesparts.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

static constexpr int32_t kFirstFolder = 16; // lower numbers have meanings
static constexpr int32_t kEndOfFolders = 0x1000000; // old books have 24 bits
static constexpr int32_t kEndOfVolumes = 700; // below the number of no volume

// ---- state -----------------------------------------------------------------
// A path stands in `folders` under the number that `paths` has for it; volume
// n (from 0) has the reference -1 - n.

static std::map<std::string, int32_t> folders;
static std::map<int32_t, std::string> paths;
static std::map<int, std::string> volumes;
static off_t tableRead; // bytes of the table known

// ---- paths -----------------------------------------------------------------

std::string parent_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/"
                                                    : path.substr(0, slash);
}

std::string last_of(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

void name_from_bytes(const std::string &bytes, uint8_t *name)
{
    size_t length = bytes.size() > 255 ? 255 : bytes.size();
    name[0] = uint8_t(length);
    std::memcpy(name + 1, bytes.data(), length);
}

static bool is_folder(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// False with the reason in errno.
static bool make_folders(const std::string &path)
{
    if (is_folder(path))
        return true;
    if (path.size() <= 1 || !make_folders(parent_of(path)))
        return false;
    return mkdir(path.c_str(), 0700) == 0 ||
           (errno == EEXIST && is_folder(path));
}

// ---- places ----------------------------------------------------------------

static std::string home_folder()
{
    const char *home = std::getenv("HOME");
    if (home && home[0] == '/')
        return home;
    const passwd *user = getpwuid(getuid());
    return user && user->pw_dir ? user->pw_dir : "";
}

// A base folder by the XDG Base Directory rules: relative values don't count.
static std::string base_folder(const char *variable, const char *fallback)
{
    const char *value = std::getenv(variable);
    if (value && value[0] == '/')
        return value;
    std::string home = home_folder();
    return home.empty() ? home : home + fallback;
}

static std::string config_base()
{
    return base_folder("XDG_CONFIG_HOME", "/.config");
}

static std::string state_base()
{
    return base_folder("XDG_STATE_HOME", "/.local/state");
}

// The user's download folder as user-dirs.dirs names it: a line
// XDG_DOWNLOAD_DIR="$HOME/..." or with an absolute path.
static std::string downloads_folder()
{
    std::string home = home_folder();
    std::string name = config_base() + "/user-dirs.dirs";
    if (FILE *f = std::fopen(name.c_str(), "re")) {
        char line[PATH_MAX + 64];
        std::string found;
        while (std::fgets(line, sizeof line, f)) {
            const char *key = "XDG_DOWNLOAD_DIR=\"";
            const char *value = line + std::strspn(line, " \t");
            if (std::strncmp(value, key, std::strlen(key)) != 0)
                continue;
            value += std::strlen(key);
            found.assign(value, std::strcspn(value, "\"\n"));
            if (found.compare(0, 5, "$HOME") == 0)
                found = home + found.substr(5);
        }
        (void)std::fclose(f);
        if (found.size() > 1 && found[0] == '/' && found != home + "/")
            return found;
    }
    return home + "/Downloads";
}

static std::string place_path(OSType kind)
{
    std::string base;
    switch (kind) {
    case kPrefFolder:
        base = config_base();
        break;
    case kLogsFolder:
        base = state_base();
        break;
    case kAuxFolder:
        base = base_folder("XDG_DATA_HOME", "/.local/share");
        break;
    case kDownloadsFolder:
        return home_folder().empty() ? "" : downloads_folder();
    default:
        return "";
    }
    return base.empty() ? base : base + "/quillon";
}

std::string settings_folder()
{
    std::string path = place_path(kPrefFolder);
    return !path.empty() && make_folders(path) ? path : "";
}

OSErr FindFolder(int16_t, OSType kind, bool create, int16_t *vRef,
                 int32_t *dirID)
{
    std::string path = place_path(kind);
    if (path.empty())
        return dirNFErr;
    if (create && !make_folders(path))
        return os_error(errno) == fnfErr ? OSErr(dirNFErr) : os_error(errno);
    return folder_number(path, vRef, dirID);
}

void GetProgramFolder(int16_t *vRef, int32_t *dirID)
{
    // The folder of the executable belongs to the system here. What users put
    // beside a program, and where a lost receive folder falls back to, is
    // their own data folder.
    *vRef = 0;
    *dirID = 0;
    (void)FindFolder(0, kAuxFolder, true, vRef, dirID); // 0, 0 if there's none
}

// ---- the table -------------------------------------------------------------

// Control characters, "%" and ";" as "%" and two hexadecimal digits.
static std::string escaped(const std::string &path)
{
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (char c : path) {
        uint8_t b = uint8_t(c);
        if (b < 32 || b == 127 || b == '%' || b == ';')
            out += {'%', hex[b >> 4], hex[b & 15]};
        else
            out += c;
    }
    return out;
}

static std::string unescaped(const std::string &text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '%' && i + 2 < text.size()) {
            std::string digits = text.substr(i + 1, 2);
            out += char(std::strtol(digits.c_str(), nullptr, 16));
            i += 2;
        } else
            out += text[i];
    }
    return out;
}

// The first to have a number or a path keeps it. A line that isn't one of ours
// doesn't count: whoever edits the table loses a number, not the program.
static bool take_line(const std::string &line)
{
    char kind[8], digits[12];
    int used = 0;
    if (std::sscanf(line.c_str(), "%7s %11[0-9] %n", kind, digits, &used) < 2 ||
        used == 0 || line[size_t(used)] != '/' || line.back() != ';')
        return false;
    int64_t number = std::strtoll(digits, nullptr, 10);
    std::string path =
        unescaped(line.substr(size_t(used), line.size() - size_t(used) - 1));
    if (std::strcmp(kind, "volume") == 0 && number < kEndOfVolumes)
        return volumes.emplace(int(number), path).second;
    if (std::strcmp(kind, "folder") != 0 || number < kFirstFolder ||
        number >= kEndOfFolders || folders.count(path) ||
        !paths.emplace(int32_t(number), path).second)
        return false;
    folders[path] = int32_t(number);
    return true;
}

// Takes the lines that have come to the table since the last look.
static void read_table(int fd)
{
    std::string text;
    char block[4096];
    ssize_t n;
    off_t at = tableRead;
    while ((n = pread(fd, block, sizeof block, at)) > 0) {
        text.append(block, size_t(n));
        at += n;
    }
    size_t start = 0, end;
    while ((end = text.find('\n', start)) != std::string::npos) {
        (void)take_line(text.substr(start, end - start));
        start = end + 1;
    }
    tableRead += off_t(start);
}

// Opens the table, locked against other programs; -1 if there can't be one:
// numbers then hold for this run.
static int open_table()
{
    std::string folder = place_path(kLogsFolder);
    if (folder.empty() || !make_folders(folder))
        return -1;
    int fd = open((folder + "/folders").c_str(),
                  O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd >= 0) {
        (void)flock(fd, LOCK_EX); // where locks don't work there is one user
        read_table(fd);
    }
    return fd;
}

static void add_numbered(int fd, const char *kind, int32_t number,
                         const std::string &path)
{
    std::string line =
        std::string(kind) + " " + std::to_string(number) + " " + escaped(path);
    if (!take_line(line + ";") || fd < 0)
        return;
    // What a crash left of a line must not become the start of this one.
    std::string text = line + ";\n";
    struct stat st;
    if (fstat(fd, &st) == 0 && st.st_size != tableRead)
        text.insert(0, "\n");
    // A number that can't be written down holds for this run.
    if (write(fd, text.data(), text.size()) == ssize_t(text.size()))
        read_table(fd);
}

// The number behind the last one, or, as that may stand anywhere, the lowest
// that is free; `end` if all are taken.
template <class Map>
static int32_t free_number(const Map &taken, int32_t first, int32_t end)
{
    if (taken.empty() || taken.rbegin()->first + 1 < end)
        return taken.empty() ? first : taken.rbegin()->first + 1;
    for (auto &[number, path] : taken)
        if (number == first)
            first++;
    return first;
}

static int volume_of_point(const std::string &point)
{
    for (auto &[number, path] : volumes)
        if (path == point)
            return number;
    return -1;
}

// The folder of the same file system that is nearest to the root.
static std::string mount_point(std::string path)
{
    struct stat here, above;
    if (stat(path.c_str(), &here) != 0)
        return "/";
    while (path != "/") {
        std::string parent = parent_of(path);
        if (stat(parent.c_str(), &above) != 0 || above.st_dev != here.st_dev)
            break;
        path = parent;
    }
    return path;
}

OSErr folder_number(const std::string &given, int16_t *vRef, int32_t *dirID)
{
    char real[PATH_MAX];
    if (!realpath(given.c_str(), real))
        return errno == ENOENT || errno == ENOTDIR ? OSErr(dirNFErr)
                                                   : os_error(errno);
    std::string path = real;
    if (!is_folder(path))
        return dirNFErr;
    std::string point = mount_point(path);
    int volume = volume_of_point(point);
    auto known = folders.find(path);
    if (volume < 0 || known == folders.end()) {
        int fd = open_table();
        volume = volume_of_point(point);
        if (volume < 0) {
            add_numbered(fd, "volume", free_number(volumes, 0, kEndOfVolumes),
                         point);
            volume = volume_of_point(point);
        }
        if (!folders.count(path))
            add_numbered(fd, "folder",
                         free_number(paths, kFirstFolder, kEndOfFolders), path);
        if (fd >= 0)
            (void)close(fd); // written through already, as far as it goes
        known = folders.find(path);
    }
    if (volume < 0 || known == folders.end())
        return nsvErr;
    *vRef = int16_t(-1 - volume);
    *dirID = known->second;
    return noErr;
}

// ---- numbers to paths ------------------------------------------------------

// The table may be needed before anything was looked up in this run.
static void know_table()
{
    static bool known;
    if (known)
        return;
    known = true;
    int fd = open_table();
    if (fd >= 0)
        (void)close(fd);
}

int volume_count()
{
    know_table();
    return volumes.empty() ? 0 : volumes.rbegin()->first + 1;
}

std::string volume_point(int16_t vRef)
{
    know_table();
    auto v = volumes.find(-1 - vRef);
    return v != volumes.end() && is_folder(v->second) ? v->second : "";
}

OSErr folder_path(int16_t vRef, int32_t dirID, std::string &path)
{
    std::string point = volume_point(vRef);
    if (point.empty())
        return nsvErr;
    if (dirID == kRootDirID) {
        path = point;
        return noErr;
    }
    auto p = paths.find(dirID);
    if (p == paths.end() || !is_folder(p->second))
        return dirNFErr;
    path = p->second;
    return noErr;
}

OSErr file_path(int16_t vRef, int32_t dirID, ConstStr name, std::string &path)
{
    std::string flat(reinterpret_cast<const char *>(name + 1), name[0]);
    if (flat.empty() || flat == "." || flat == ".." ||
        flat.find('\0') != std::string::npos)
        return bdNamErr;
    for (char &c : flat)
        if (c == '/')
            c = ':';
    OSErr err = folder_path(vRef, dirID, path);
    if (err == noErr)
        path += path == "/" ? flat : "/" + flat;
    return err;
}

OSErr entry_path(int16_t vRef, int32_t dirID, ConstStr name, std::string &path)
{
    return name[0] == 0 ? folder_path(vRef, dirID, path)
                        : file_path(vRef, dirID, name, path);
}

OSErr missing_error(const std::string &path)
{
    return is_folder(parent_of(path)) ? fnfErr : dirNFErr;
}

OSErr os_error(int error)
{
    switch (error) {
    case 0:
        return noErr;
    case ENOENT:
        return fnfErr;
    case ENOTDIR:
        return dirNFErr;
    case EACCES:
    case EPERM:
    case ELOOP:
        return permErr;
    case EROFS:
        return wPrErr;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return dskFulErr;
    case EEXIST:
    case ENOTEMPTY:
        return dupFNErr;
    case EMFILE:
    case ENFILE:
        return tmfoErr;
    case EBUSY:
    case ETXTBSY:
    case EISDIR:
        return fBsyErr;
    case ENAMETOOLONG:
    case EILSEQ:
        return bdNamErr;
    case EINVAL:
        return paramErr;
    case ENXIO:
    case ENODEV:
        return nsDrvErr;
    case ENOMEM:
        return memFullErr;
    default:
        return ioErr;
    }
}

// ---- specifications --------------------------------------------------------

OSErr FSMakeFSSpec(int16_t vRef, int32_t dirID, ConstStr name, FSSpec *out)
{
    std::string path;
    OSErr err = entry_path(vRef, dirID, name, path);
    if (err != noErr)
        return err;
    out->vRefNum = vRef;
    out->parID = dirID;
    std::memcpy(out->name, name, name[0] + 1u);
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? OSErr(noErr) : os_error(errno);
}

OSErr FSSpecFromPath(const char *path, FSSpec *out)
{
    std::string given = path;
    while (given.size() > 1 && given.back() == '/')
        given.pop_back();
    std::string name = last_of(given);
    if (given.empty())
        return bdNamErr;
    if (name.empty() || name == "." || name == "..") {
        char real[PATH_MAX];
        if (!realpath(given.c_str(), real))
            return os_error(errno);
        given = real;
        name = last_of(given);
    }
    std::string folder =
        given.find('/') == std::string::npos ? "." : parent_of(given);
    OSErr err = folder_number(folder, &out->vRefNum, &out->parID);
    if (err != noErr)
        return err;
    if (name.size() > 255)
        return bdNamErr;
    name_from_bytes(name, out->name);
    struct stat st;
    return lstat(given.c_str(), &st) == 0 ? OSErr(noErr) : os_error(errno);
}

OSErr FSSpecToPath(const FSSpec *spec, char *out, size_t size)
{
    std::string path;
    OSErr err = entry_path(spec->vRefNum, spec->parID, spec->name, path);
    if (err != noErr)
        return err;
    if (path.size() >= size)
        return bdNamErr;
    std::memcpy(out, path.c_str(), path.size() + 1);
    return noErr;
}
