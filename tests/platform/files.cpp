// Files: names, forks, kinds, locks, folders, and what a full disk does.
#include "platform/files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include <cerrno>
#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/core/files/filesparts.h"
#include "tests/support/sandbox.h"

namespace fs = std::filesystem;

static constexpr OSType kText = FOUR("TEXT"), kEdit = FOUR("ttxt");

// A file system that keeps no attributes, when a case asks for one.
static bool noAttributes;

extern "C" int lsetxattr(const char *path, const char *name, const void *value,
                         size_t size, int flags) noexcept
{
    if (noAttributes) {
        errno = ENOTSUP;
        return -1;
    }
    return int(syscall(SYS_lsetxattr, path, name, value, size, flags));
}

static OSErr put(int16_t ref, const std::string &bytes)
{
    int32_t n = int32_t(bytes.size());
    return FSWrite(ref, &n, bytes.data());
}

static std::string get(int16_t ref, int32_t most)
{
    std::string bytes(size_t(most), '\0');
    int32_t n = most;
    (void)FSRead(ref, &n, bytes.data());
    bytes.resize(size_t(n));
    return bytes;
}

// Writes both forks of a file.
static void make_two_forks(const Place &at, const std::string &name,
                           const std::string &data, const std::string &rsrc)
{
    int16_t ref;
    ASSERT_EQ(HCreate(at.vRef, at.dir, P(name), kEdit, kText), noErr);
    ASSERT_EQ(HOpen(at.vRef, at.dir, P(name), fsWrPerm, &ref), noErr);
    ASSERT_EQ(put(ref, data), noErr);
    ASSERT_EQ(FSClose(ref), noErr);
    ASSERT_EQ(HOpenRF(at.vRef, at.dir, P(name), fsRdWrPerm, &ref), noErr);
    ASSERT_EQ(put(ref, rsrc), noErr);
    ASSERT_EQ(FSClose(ref), noErr);
}

static std::string fork_of(const Place &at, const std::string &name)
{
    int16_t ref;
    EXPECT_EQ(HOpenRF(at.vRef, at.dir, P(name), fsRdPerm, &ref), noErr);
    std::string bytes = get(ref, 100000);
    EXPECT_EQ(FSClose(ref), noErr);
    return bytes;
}

class Files : public testing::Test {
protected:
    Place at;
    int16_t ref = 0;
    int32_t n = 0;
    CatInfo cat = {};
    FInfo info = {};
    FSSpec spec = {};
    std::string path;

    // What a folder's numbers stand for.
    std::string folder(int16_t vRef, int32_t dir)
    {
        return folder_path(vRef, dir, path) == noErr ? path : "";
    }
};

// Nothing that a host sends as a name may reach another folder.
TEST_F(Files, NamesStayInTheirFolder)
{
    struct {
        std::string name, onDisk;
        OSErr err;
    } cases[] = {
        {"", "", bdNamErr},
        {".", "", bdNamErr},
        {"..", "", bdNamErr},
        {std::string("a\0b", 3), "", bdNamErr},
        {"../x", "..:x", noErr},
        {"/etc/x", ":etc:x", noErr},
        {"a:b", "a:b", noErr},
        {"\xFF\xFE\xA5", "\xFF\xFE\xA5", noErr},
        {" ", " ", noErr},
        {std::string(255, 'n'), std::string(255, 'n'), noErr},
    };
    for (auto &c : cases) {
        EXPECT_EQ(HCreate(at.vRef, at.dir, P(c.name), kEdit, kText), c.err)
            << c.name;
        bool made = fs::exists(at.path(c.onDisk)) && c.err == noErr;
        EXPECT_EQ(made, c.err == noErr) << c.name;
    }
    EXPECT_FALSE(fs::exists(at.root / "x"));
    EXPECT_EQ(HCreate(at.vRef, at.dir, P(" "), kEdit, kText), dupFNErr);
    EXPECT_EQ(HCreate(728, at.dir, P("x"), kEdit, kText), nsvErr);
    EXPECT_EQ(HCreate(at.vRef, 999999, P("x"), kEdit, kText), dirNFErr);
}

TEST_F(Files, LinksAreNotFollowedForWriting)
{
    fs::path outside = at.root / "outside";
    std::ofstream(outside) << "precious";
    fs::create_symlink(outside, at.path("link"));
    fs::create_symlink(at.root / "nowhere", at.path("loose"));

    EXPECT_EQ(HOpen(at.vRef, at.dir, P("link"), fsRdPerm, &ref), noErr);
    EXPECT_EQ(get(ref, 100), "precious");
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("link"), fsWrPerm, &ref), permErr);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("link"), fsRdWrPerm, &ref), permErr);
    info.fdType = kText;
    EXPECT_NE(HSetFInfo(at.vRef, at.dir, P("link"), &info), noErr);

    // A link to nothing is in the way of a new file, and is no way out.
    EXPECT_EQ(HGetFInfo(at.vRef, at.dir, P("loose"), &info), noErr);
    EXPECT_EQ(HCreate(at.vRef, at.dir, P("loose"), kEdit, kText), dupFNErr);
    EXPECT_FALSE(fs::exists(at.root / "nowhere"));

    EXPECT_EQ(HDelete(at.vRef, at.dir, P("link")), noErr);
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(Files, OnlyPlainFilesAreOpened)
{
    fs::create_directory(at.path("folder"));
    ASSERT_EQ(mkfifo(at.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("folder"), fsRdPerm, &ref), fnfErr);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("pipe"), fsRdPerm, &ref), permErr);
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("folder")), fBsyErr);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("none"), fsRdPerm, &ref), fnfErr);
    fs::remove_all(at.path(""));
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("none"), fsRdPerm, &ref), dirNFErr);
}

TEST_F(Files, PositionsAndEnds)
{
    char block[16];
    at.write("f", "0123456789");
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdWrPerm, &ref), noErr);
    n = 16;
    EXPECT_EQ(FSRead(ref, &n, block), eofErr);
    EXPECT_EQ(n, 10);
    EXPECT_EQ(SetFPos(ref, fsFromStart, -1), posErr);
    EXPECT_EQ(SetFPos(ref, fsFromLEOF, -4), noErr);
    EXPECT_EQ(get(ref, 4), "6789");
    EXPECT_EQ(SetFPos(ref, fsFromMark, -9), noErr);
    EXPECT_EQ(get(ref, 1), "1");
    EXPECT_EQ(SetFPos(ref, fsFromStart, 11), eofErr);
    EXPECT_EQ(get(ref, 1), "") << "it stands at the end";
    EXPECT_EQ(SetEOF(ref, 3), noErr);
    EXPECT_EQ(put(ref, "x"), noErr);
    EXPECT_EQ(GetEOF(ref, &n), noErr);
    EXPECT_EQ(n, 4);
    n = -1;
    EXPECT_EQ(FSRead(ref, &n, block), paramErr);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(at.read("f"), "012x");

    n = 1;
    EXPECT_EQ(FSRead(ref, &n, block), rfNumErr);
    EXPECT_EQ(FSClose(ref), rfNumErr);
    EXPECT_EQ(FSClose(0), rfNumErr);
}

TEST_F(Files, PermissionsOfOpenFiles)
{
    int16_t a, b;
    n = 1;
    at.write("f", "abc");
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdPerm, &a), noErr);
    EXPECT_EQ(FSWrite(a, &n, "x"), wrPermErr);
    EXPECT_EQ(SetEOF(a, 0), wrPermErr);
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdWrPerm, &b), noErr);
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f")), fBsyErr);
    EXPECT_EQ(FSClose(a), noErr);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("f"), fsWrPerm, &a), opWrErr);
    EXPECT_EQ(FSClose(b), noErr);

    std::vector<int16_t> many;
    while (HOpen(at.vRef, at.dir, P("f"), fsRdPerm, &a) == noErr)
        many.push_back(a);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdPerm, &a), tmfoErr);
    EXPECT_GE(many.size(), 32u);
    for (int16_t one : many)
        EXPECT_EQ(FSClose(one), noErr);
}

// A file whose size passes 32 bits is read through, and reported as the
// largest.
TEST_F(Files, HugeFilesAreCut)
{
    at.write("f", "");
    ASSERT_EQ(truncate(at.path("f").c_str(), off_t(5) << 30), 0);
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdWrPerm, &ref), noErr);
    EXPECT_EQ(GetEOF(ref, &n), noErr);
    EXPECT_EQ(n, INT32_MAX);
    EXPECT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    EXPECT_EQ(cat.dataLen, INT32_MAX);
    EXPECT_EQ(cat.dataForkOpen, 1);
    EXPECT_EQ(SetFPos(ref, fsFromLEOF, 0), noErr);
    EXPECT_EQ(put(ref, "end"), noErr);
    EXPECT_EQ(SetFPos(ref, fsFromLEOF, -3), noErr);
    EXPECT_EQ(get(ref, 3), "end");
    EXPECT_EQ(FSClose(ref), noErr);
}

TEST_F(Files, ForkAndInfoFollowTheFile)
{
    make_two_forks(at, "f", "data", "resource");
    EXPECT_EQ(at.read("f"), "data");
    EXPECT_EQ(fork_of(at, "f"), "resource");
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    EXPECT_EQ(cat.dataLen, 4);
    EXPECT_EQ(cat.rsrcLen, 8);
    EXPECT_EQ(cat.info.fdType, kText);
    EXPECT_EQ(cat.info.fdCreator, kEdit);
    EXPECT_EQ(cat.parID, at.dir);
    EXPECT_EQ(S(cat.name), "f");

    EXPECT_EQ(HRename(at.vRef, at.dir, P("f"), P("f\xA5")), noErr);
    EXPECT_FALSE(fs::exists(at.path("._f")));
    EXPECT_EQ(fork_of(at, "f\xA5"), "resource");
    EXPECT_EQ(HGetFInfo(at.vRef, at.dir, P("f\xA5"), &info), noErr);
    EXPECT_EQ(info.fdType, kText);

    // A name that is taken isn't taken over.
    at.write("other", "mine");
    EXPECT_EQ(HRename(at.vRef, at.dir, P("f\xA5"), P("other")), dupFNErr);
    EXPECT_EQ(at.read("other"), "mine");
    EXPECT_EQ(HRename(at.vRef, at.dir, P("none"), P("x")), fnfErr);
    EXPECT_EQ(HRename(at.vRef, at.dir, P("other"), P("..")), bdNamErr);

    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f\xA5")), noErr);
    EXPECT_FALSE(fs::exists(at.path("._f\xA5")));
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f\xA5")), fnfErr);
}

// A file without a fork has an empty one; a new one may not inherit a fork
// that a file of that name has left behind.
TEST_F(Files, ForksAreNeitherInventedNorInherited)
{
    at.write("plain", "x");
    EXPECT_EQ(fork_of(at, "plain"), "");
    EXPECT_FALSE(fs::exists(at.path("._plain")));

    make_two_forks(at, "f", "data", "resource");
    fs::remove(at.path("f"));
    std::string left = at.read("._f");
    ASSERT_EQ(HCreate(at.vRef, at.dir, P("f"), kEdit, kText), noErr);
    EXPECT_EQ(fork_of(at, "f"), "");
    EXPECT_EQ(at.read(".fork of f"), left) << "nothing is lost";
    // Nor is one made by a file of such a name, or lost to one.
    make_two_forks(at, "g", "data", "resource");
    make_two_forks(at, "g.new", "data", "its own");
    EXPECT_EQ(HCreate(at.vRef, at.dir, P("._g"), kEdit, kText), bdNamErr);
    EXPECT_EQ(HRename(at.vRef, at.dir, P("f"), P("._g")), bdNamErr);
    fs::remove(at.path("._g"));
    ASSERT_EQ(HOpenRF(at.vRef, at.dir, P("g"), fsRdWrPerm, &ref), noErr);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(fork_of(at, "g.new"), "its own");

    // Somebody's own file that merely looks like a sidecar stays.
    at.write("._note", "to do");
    ASSERT_EQ(HCreate(at.vRef, at.dir, P("note"), kEdit, kText), noErr);
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("note")), noErr);
    EXPECT_EQ(at.read("._note"), "to do");
}

// A fork grows, shrinks, is opened again, and may lie before other entries.
TEST_F(Files, ForkInAForeignSidecar)
{
    at.write("f", "data");
    // Entry 2 (fork, 3 bytes at 82), then entry 4 (comment) behind it.
    std::string side("\0\5\x16\7\0\2\0\0", 8);
    side += std::string(16, '\0') + std::string("\0\3", 2);
    side += std::string("\0\0\0\2\0\0\0\x3E\0\0\0\3", 12);
    side += std::string("\0\0\0\4\0\0\0\x41\0\0\0\5", 12);
    side += std::string("\0\0\0\7\0\0\0\x46\0\0\0\0", 12);
    side += "abchello";
    at.write("._f", side);
    EXPECT_EQ(fork_of(at, "f"), "abc");
    ASSERT_EQ(HOpenRF(at.vRef, at.dir, P("f"), fsRdWrPerm, &ref), noErr);
    EXPECT_EQ(SetFPos(ref, fsFromLEOF, 0), noErr);
    EXPECT_EQ(put(ref, "def"), noErr);
    EXPECT_EQ(SetFPos(ref, fsFromStart, 1), noErr);
    EXPECT_EQ(put(ref, "B"), noErr);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(fork_of(at, "f"), "aBcdef");
    EXPECT_NE(at.read("._f").find("hello"), std::string::npos);
    ASSERT_EQ(HOpenRF(at.vRef, at.dir, P("f"), fsRdWrPerm, &ref), noErr);
    EXPECT_EQ(SetEOF(ref, 2), noErr);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(fork_of(at, "f"), "aB");
}

// Sidecars come from anywhere; one that lies about itself is an error or no
// fork, never a read beyond it.
TEST_F(Files, DamagedSidecars)
{
    make_two_forks(at, "f", "data", "resource");
    std::string good = at.read("._f");
    std::vector<std::string> damaged;
    for (size_t i = 0; i < good.size(); i++)
        damaged.push_back(good.substr(0, i));
    for (size_t i = 0; i < 82; i++)
        for (int v : {0, 1, 0x7F, 0xFF}) {
            damaged.push_back(good);
            damaged.back()[i] = char(v);
        }
    for (const std::string &bad : damaged) {
        at.write("._f", bad);
        if (HOpenRF(at.vRef, at.dir, P("f"), fsRdPerm, &ref) == noErr) {
            EXPECT_LE(get(ref, 1000).size(), bad.size());
            EXPECT_EQ(FSClose(ref), noErr);
        }
        EXPECT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    }
    EXPECT_EQ(at.read("f"), "data");
}

TEST_F(Files, LockDatesAndFlags)
{
    make_two_forks(at, "f", "data", "resource");
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    cat.created = 3000000000u;
    cat.modified = 3100000000u;
    cat.info.fdFlags = 0x2100;
    cat.locked = true;
    ASSERT_EQ(SetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    CatInfo again;
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &again), noErr);
    EXPECT_EQ(again.modified, 3100000000u);
    EXPECT_EQ(again.info.fdFlags, 0x2100);
    EXPECT_TRUE(again.locked);
    bool attributes = getxattr(at.path("f").c_str(), "user.quillon.finderinfo",
                               nullptr, 0) > 0;
    if (attributes) {
        EXPECT_EQ(again.created, 3000000000u);
    }

    EXPECT_EQ(HOpen(at.vRef, at.dir, P("f"), fsWrPerm, &ref), fLckdErr);
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f")), fLckdErr);
    EXPECT_EQ(HRename(at.vRef, at.dir, P("f"), P("g")), fLckdErr);
    again.locked = false;
    EXPECT_EQ(SetCatInfo(at.vRef, at.dir, P("f"), &again), noErr);
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f")), noErr);
}

// Where attributes don't work the sidecar keeps the type; a file that nobody
// gave a type gets one by its name and its bytes.
TEST_F(Files, TypesWithoutAttributes)
{
    struct {
        const char *name;
        std::string bytes;
        const char *type;
    } cases[] = {
        {"a.txt", std::string("\0\1", 2), "TEXT"},
        {"words", "plain words\n", "TEXT"},
        {"utf8", "gr\xC3\xBC\xC3\x9F", "TEXT"},
        {"latin", "gr\xFC\xDF", "????"},
        {"zeros", std::string(10, '\0'), "????"},
        {"empty", "", "????"},
        {"new.qpho", "", "qPHO"},
    };
    for (auto &c : cases) {
        at.write(c.name, c.bytes);
        ASSERT_EQ(HGetFInfo(at.vRef, at.dir, P(c.name), &info), noErr);
        char type[5] = {char(info.fdType >> 24), char(info.fdType >> 16),
                        char(info.fdType >> 8), char(info.fdType), 0};
        EXPECT_STREQ(type, c.type) << c.name;
    }

    make_two_forks(at, "f", "data", "resource");
    info = {FOUR("APPL"), FOUR("abcd"), 7, {1, 2}, 3};
    ASSERT_EQ(HSetFInfo(at.vRef, at.dir, P("f"), &info), noErr);
    (void)removexattr(at.path("f").c_str(), "user.quillon.finderinfo");
    FInfo again;
    ASSERT_EQ(HGetFInfo(at.vRef, at.dir, P("f"), &again), noErr);
    EXPECT_EQ(std::memcmp(&info, &again, sizeof info), 0);
    EXPECT_EQ(fork_of(at, "f"), "resource");
}

TEST_F(Files, SidecarsStandInForAttributes)
{
    noAttributes = true;
    ASSERT_EQ(HCreate(at.vRef, at.dir, P("f"), kEdit, kText), noErr);
    EXPECT_TRUE(fs::exists(at.path("._f")));
    ASSERT_EQ(HGetFInfo(at.vRef, at.dir, P("f"), &info), noErr);
    EXPECT_EQ(info.fdType, kText);
    EXPECT_EQ(info.fdCreator, kEdit);
    EXPECT_EQ(fork_of(at, "f"), "");
    EXPECT_EQ(HDelete(at.vRef, at.dir, P("f")), noErr);
    EXPECT_FALSE(fs::exists(at.path("._f")));

    // Both in one sidecar, whichever comes first.
    make_two_forks(at, "f", "data", "resource");
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    cat.info.fdType = FOUR("abcd");
    EXPECT_EQ(SetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    EXPECT_EQ(HRename(at.vRef, at.dir, P("f"), P("g")), noErr);
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("g"), &cat), noErr);
    EXPECT_EQ(cat.info.fdType, FOUR("abcd"));
    EXPECT_EQ(cat.rsrcLen, 8);
    EXPECT_EQ(fork_of(at, "g"), "resource");

    // Somebody's file of the sidecar's name is in the way, and stays.
    at.write("._h", "mine");
    EXPECT_EQ(HCreate(at.vRef, at.dir, P("h"), kEdit, kText), noErr);
    EXPECT_EQ(HSetFInfo(at.vRef, at.dir, P("h"), &info), ioErr);
    EXPECT_EQ(at.read("._h"), "mine");
}

TEST_F(Files, FoldersKeepTheirNumbers)
{
    fs::create_directory(at.path("sub"));
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("sub"), &cat), noErr);
    EXPECT_TRUE(cat.isFolder);
    int32_t sub = cat.dirID;
    ASSERT_EQ(GetFolderByID(at.vRef, sub, &cat), noErr);
    EXPECT_EQ(S(cat.name), "sub");
    EXPECT_EQ(cat.parID, at.dir);

    // Lines that aren't ours, or take the last number, are in nobody's way. A
    // crash cut the last one; the next must not join it.
    fs::path table = at.root / ".local/state/quillon/folders";
    std::ofstream(table, std::ios::app)
        << "folder 2147483647 /x;\nfolder 16777215 /x;\nvolume 699 /x;\n"
           "folder 99999999999 /y;\nvolume -1 /y;\nfolder x /z;\n;\n"
           "folder 5000 /home/cut";
    EXPECT_EQ(FSSpecFromPath("/proc/none", &spec), fnfErr) << "a new volume";
    fs::create_directory(at.path("odd;%\nname"));
    ASSERT_EQ(FSSpecFromPath((at.path("odd;%\nname") / "x").c_str(), &spec),
              fnfErr);
    std::string text = read_bytes(table);
    EXPECT_NE(text.find("odd%3B%25%0Aname;\n"), std::string::npos) << text;
    EXPECT_EQ(text.back(), '\n');

    // Another run: a process of its own, which sees the table alone.
    std::string odd = std::to_string(spec.parID);
    pid_t child = fork();
    if (child == 0) {
        bool ok = folder_path(at.vRef, sub, path) == noErr &&
                  path == at.path("sub") &&
                  folder_path(spec.vRefNum, spec.parID, path) == noErr &&
                  path == at.path("odd;%\nname") &&
                  folder_path(at.vRef, 5000, path) == dirNFErr;
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    fs::remove(at.path("sub"));
    EXPECT_EQ(GetFolderByID(at.vRef, sub, &cat), dirNFErr);
}

TEST_F(Files, VolumesAndAliases)
{
    VolInfo volume, same;
    at.write("a", "a");
    ASSERT_EQ(GetVolInfo(at.vRef, &volume), noErr);
    EXPECT_GT(volume.freeBytes, 0);
    EXPECT_EQ(GetVolInfo(728, &volume), nsvErr);
    bool found = false;
    for (int16_t i = 1; GetIndVolInfo(i, &same) == noErr; i++)
        found = found || same.vRefNum == at.vRef;
    EXPECT_TRUE(found);

    fs::create_directory(at.path("folder"));
    fs::create_symlink(at.path("folder"), at.path("to-folder"));
    fs::create_symlink(at.path("a"), at.path("to-a"));
    fs::create_symlink("nothing", at.path("to-nothing"));
    struct {
        const char *name, *target;
        bool folder, alias;
        OSErr err;
    } cases[] = {{"a", "a", false, false, noErr},
                 {"to-a", "a", false, true, noErr},
                 {"folder", "folder", true, false, noErr},
                 {"to-folder", "folder", true, true, noErr},
                 {"to-nothing", "", false, true, fnfErr},
                 {"none", "", false, false, fnfErr}};
    for (auto &c : cases) {
        bool isFolder = false, wasAlias = false;
        spec.vRefNum = at.vRef;
        spec.parID = at.dir;
        std::memcpy(spec.name, P(c.name), 256);
        EXPECT_EQ(ResolveAliasFile(&spec, &isFolder, &wasAlias), c.err)
            << c.name;
        if (c.err != noErr)
            continue;
        EXPECT_EQ(S(spec.name), c.target);
        EXPECT_EQ(isFolder, c.folder) << c.name;
        EXPECT_EQ(wasAlias, c.alias) << c.name;
    }
}

TEST_F(Files, PlacesAreMadeUnderTheUsersOwn)
{
    auto found = [&](OSType kind) {
        int16_t vRef;
        int32_t dir;
        OSErr err = FindFolder(0, kind, true, &vRef, &dir);
        return err == noErr ? folder(vRef, dir) : "";
    };
    const std::pair<OSType, const char *> cases[] = {
        {kPrefFolder, ".config/quillon"},
        {kLogsFolder, ".local/state/quillon"},
        {kAuxFolder, ".local/share/quillon"},
        {kDownloadsFolder, "Downloads"}};
    for (auto &[kind, where] : cases)
        EXPECT_EQ(found(kind), at.root / where);
    std::ofstream(at.root / ".config/user-dirs.dirs")
        << "# comment\nXDG_DOWNLOAD_DIR=\"$HOME/Incoming\"\n";
    EXPECT_EQ(found(kDownloadsFolder), at.root / "Incoming");
    setenv("XDG_CONFIG_HOME", "not/absolute", 1);
    EXPECT_EQ(found(kPrefFolder), at.root / ".config/quillon");
    EXPECT_EQ(found(FOUR("none")), "");
}

TEST_F(Files, PathsOfTheCommandLine)
{
    struct {
        const char *given, *path;
        OSErr err;
    } cases[] = {
        {"f", "work/f", noErr},
        {"./f", "work/f", noErr},
        {"../work/f", "work/f", noErr},
        {".//f", "work/f", noErr},
        {"..", "", noErr},
        {"new", "work/new", fnfErr},
        {"none/new", nullptr, dirNFErr},
        {"", nullptr, bdNamErr},
    };
    at.write("f", "x");
    fs::current_path(at.path(""));
    for (auto &c : cases) {
        char back[4096] = "";
        EXPECT_EQ(FSSpecFromPath(c.given, &spec), c.err) << c.given;
        if (!c.path)
            continue;
        ASSERT_EQ(FSSpecToPath(&spec, back, sizeof back), noErr);
        EXPECT_EQ(fs::path(back), *c.path ? at.root / c.path : at.root);
        EXPECT_EQ(FSSpecToPath(&spec, back, 3), bdNamErr);
    }
    EXPECT_EQ(FSMakeFSSpec(at.vRef, at.dir, P("f"), &spec), noErr);
    EXPECT_EQ(FSMakeFSSpec(at.vRef, at.dir, P("g"), &spec), fnfErr);
}

// A full disk is reported, and what was written before it stays.
TEST_F(Files, WritePastALimit)
{
    ASSERT_EQ(HCreate(at.vRef, at.dir, P("f"), kEdit, kText), noErr);
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsWrPerm, &ref), noErr);
    signal(SIGXFSZ, SIG_IGN);
    rlimit before, limit;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    limit = before;
    limit.rlim_cur = 1000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::string bytes(1500, 'x');
    n = 1500;
    EXPECT_EQ(FSWrite(ref, &n, bytes.data()), dskFulErr);
    EXPECT_EQ(n, 1000);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(at.read("f").size(), 1000u);
}

TEST_F(Files, UncachedWritesArriveWhole)
{
    ASSERT_EQ(HCreate(at.vRef, at.dir, P("f"), kEdit, kText), noErr);
    ASSERT_EQ(HOpen(at.vRef, at.dir, P("f"), fsWrPerm, &ref), noErr);
    std::string block(1 << 20, '\0'), all;
    for (int i = 0; i < 20; i++) {
        block[size_t(i)] = char(i + 1);
        n = int32_t(block.size());
        ASSERT_EQ(FSWriteUncached(ref, &n, block.data()), noErr);
        ASSERT_EQ(n, int32_t(block.size()));
        all += block;
    }
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_TRUE(at.read("f") == all);
}
