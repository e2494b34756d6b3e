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
#include "tests/support/steps.h"

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

class Files : public testing::Test {
protected:
    Place at;
    int16_t ref = 0;
    int32_t n = 0;
    CatInfo cat = {};
    FInfo info = {};
    FSSpec spec = {};
    std::string path;

    // "open f rw" is the data fork of a file, "rsrc f rw" its resources; put,
    // get, go, cut, size and close are calls on what is open. "info" gives
    // type, creator and the forks' lengths.
    std::string step(const Words &w)
    {
        ConstStr name = P(w[1]);
        int32_t count = std::atoi(w[1].c_str());
        auto perm = int8_t((w[2].find('r') != w[2].npos ? fsRdPerm : 0) +
                           (w[2].find('w') != w[2].npos ? fsWrPerm : 0));
        std::string got;
        OSErr err = userCanceledErr; // no such step
        if (w[0] == "create")
            err = HCreate(at.vRef, at.dir, name, kEdit, kText);
        else if (w[0] == "delete")
            err = HDelete(at.vRef, at.dir, name);
        else if (w[0] == "rename")
            err = HRename(at.vRef, at.dir, name, P(w[2]));
        else if (w[0] == "open")
            err = HOpen(at.vRef, at.dir, name, perm, &ref);
        else if (w[0] == "rsrc")
            err = HOpenRF(at.vRef, at.dir, name, perm, &ref);
        else if (w[0] == "close")
            err = FSClose(ref);
        else if (w[0] == "cut")
            err = SetEOF(ref, count);
        else if (w[0] == "put")
            err = FSWrite(ref, &(n = int32_t(w[1].size())), w[1].data());
        else if (w[0] == "go")
            err = SetFPos(ref,
                          w[1] == "start" ? fsFromStart
                          : w[1] == "end" ? fsFromLEOF
                                          : fsFromMark,
                          std::atoi(w[2].c_str()));
        else if (w[0] == "size" && (err = GetEOF(ref, &n)) == noErr)
            got = " = " + std::to_string(n);
        else if (w[0] == "get") {
            got.resize(size_t(std::max(n = count, 0)));
            err = FSRead(ref, &n, got.data());
            got = " = " + got.substr(0, size_t(std::max(n, 0)));
        } else if (w[0] == "info" &&
                   (err = GetCatInfo(at.vRef, at.dir, name, &cat)) == noErr) {
            got = " = " + type_words(cat.info.fdType) + " " +
                  type_words(cat.info.fdCreator) + " " +
                  std::to_string(cat.dataLen) + "+" +
                  std::to_string(cat.rsrcLen) + (cat.locked ? " locked" : "");
        } else if (w[0] == "alias") {
            bool folder = false, alias = false;
            (void)FSMakeFSSpec(at.vRef, at.dir, name, &spec);
            err = ResolveAliasFile(&spec, &folder, &alias);
            got = " = " + (err ? "" : S(spec.name)) +
                  (folder ? " folder" : "") + (alias ? " alias" : "");
        } else if (w[0] == "path") {
            char back[4096] = "";
            if ((err = FSSpecFromPath(w[1].c_str(), &spec)) == noErr ||
                err == fnfErr) {
                EXPECT_EQ(FSSpecToPath(&spec, back, sizeof back), noErr);
                got = " = " + fs::relative(back, at.root).string();
                EXPECT_EQ(FSSpecToPath(&spec, back, 3), bdNamErr);
            }
        }
        return got + error_words(err);
    }
    void runs(const std::string &steps)
    {
        EXPECT_EQ(play(steps, [this](const Words &w) { return step(w); }),
                  steps);
    }
    // Writes both forks of a file.
    void two_forks(const std::string &f, const std::string &fork = "resource")
    {
        runs("create " + f + "; open " + f + " w; put data; close; rsrc " + f +
             " rw; put " + fork + "; close");
    }
    void expect_fork(const std::string &f, const std::string &fork)
    {
        runs("rsrc " + f + " r; get 9999 = " + fork + " ! eofErr; close");
    }
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
        EXPECT_TRUE(c.err != noErr || fs::exists(at.path(c.onDisk))) << c.name;
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

    runs("open link r; get 8 = precious; close; open link w ! permErr; "
         "open link rw ! permErr");
    info.fdType = kText;
    EXPECT_NE(HSetFInfo(at.vRef, at.dir, P("link"), &info), noErr);

    // A link to nothing is in the way of a new file, and is no way out.
    EXPECT_EQ(HGetFInfo(at.vRef, at.dir, P("loose"), &info), noErr);
    runs("create loose ! dupFNErr; delete link");
    EXPECT_FALSE(fs::exists(at.root / "nowhere"));
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(Files, OnlyPlainFilesAreOpened)
{
    fs::create_directory(at.path("folder"));
    ASSERT_EQ(mkfifo(at.path("pipe").c_str(), 0600), 0);
    runs("open folder r ! fnfErr; open pipe r ! permErr; "
         "delete folder ! fBsyErr; open none r ! fnfErr");
    fs::remove_all(at.path(""));
    runs("open none r ! dirNFErr");
}

TEST_F(Files, PositionsAndEnds)
{
    at.write("f", "0123456789");
    runs("open f rw; get 16 = 0123456789 ! eofErr; go start -1 ! posErr; "
         "go end -4; get 4 = 6789; go mark -9; get 1 = 1; "
         "go start 11 ! eofErr; go mark -1; get 1 = 9; get 1 =  ! eofErr; "
         "cut 3; put x; size = 4; "
         "get -1 =  ! paramErr; close; get 1 =  ! rfNumErr; close ! rfNumErr");
    EXPECT_EQ(at.read("f"), "012x");
    EXPECT_EQ(FSClose(0), rfNumErr);
}

TEST_F(Files, PermissionsOfOpenFiles)
{
    at.write("f", "abc");
    runs("open f r; put x ! wrPermErr; cut 0 ! wrPermErr");
    int16_t reader = ref;
    runs("open f rw; delete f ! fBsyErr");
    EXPECT_EQ(FSClose(reader), noErr);
    int16_t writer = ref;
    runs("open f w ! opWrErr");
    EXPECT_EQ(FSClose(writer), noErr);

    std::vector<int16_t> many;
    while (HOpen(at.vRef, at.dir, P("f"), fsRdPerm, &ref) == noErr)
        many.push_back(ref);
    EXPECT_EQ(HOpen(at.vRef, at.dir, P("f"), fsRdPerm, &ref), tmfoErr);
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
    runs("open f rw; size = 2147483647");
    EXPECT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    EXPECT_EQ(cat.dataLen, INT32_MAX);
    EXPECT_EQ(cat.dataForkOpen, 1);
    runs("go end 0; put end; go end -3; get 3 = end; close");
}

TEST_F(Files, ForkAndInfoFollowTheFile)
{
    two_forks("f");
    EXPECT_EQ(at.read("f"), "data");
    runs("info f = TEXT ttxt 4+8");
    EXPECT_EQ(cat.parID, at.dir);
    EXPECT_EQ(S(cat.name), "f");

    runs("rename f f\xA5");
    EXPECT_FALSE(fs::exists(at.path("._f")));
    expect_fork("f\xA5", "resource");
    runs("info f\xA5 = TEXT ttxt 4+8");

    // A name that is taken isn't taken over.
    at.write("other", "mine");
    runs("rename f\xA5 other ! dupFNErr; rename none x ! fnfErr; "
         "rename other .. ! bdNamErr; delete f\xA5; delete f\xA5 ! fnfErr");
    EXPECT_EQ(at.read("other"), "mine");
    EXPECT_FALSE(fs::exists(at.path("._f\xA5")));
}

// A file without a fork has an empty one; a new one may not inherit a fork
// that a file of that name has left behind.
TEST_F(Files, ForksAreNeitherInventedNorInherited)
{
    at.write("plain", "x");
    expect_fork("plain", "");
    EXPECT_FALSE(fs::exists(at.path("._plain")));

    two_forks("f");
    fs::remove(at.path("f"));
    std::string left = at.read("._f");
    runs("create f");
    expect_fork("f", "");
    EXPECT_EQ(at.read(".fork of f"), left) << "nothing is lost";
    // Nor is one made by a file of such a name, or lost to one.
    two_forks("g");
    two_forks("g.new", "own");
    runs("create ._g ! bdNamErr; rename f ._g ! bdNamErr");
    fs::remove(at.path("._g"));
    runs("rsrc g rw; close");
    expect_fork("g.new", "own");

    // Somebody's own file that merely looks like a sidecar stays.
    at.write("._note", "to do");
    runs("create note; delete note");
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
    runs("rsrc f rw; get 9 = abc ! eofErr; put def; go start 1; put B; close");
    expect_fork("f", "aBcdef");
    EXPECT_NE(at.read("._f").find("hello"), std::string::npos);
    runs("rsrc f rw; cut 2; close");
    expect_fork("f", "aB");
}

// Sidecars come from anywhere; one that lies about itself is an error or no
// fork, never a read beyond it.
TEST_F(Files, DamagedSidecars)
{
    two_forks("f");
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
            char fork[1000];
            n = sizeof fork;
            (void)FSRead(ref, &n, fork);
            EXPECT_LE(size_t(n), bad.size());
            EXPECT_EQ(FSClose(ref), noErr);
        }
        EXPECT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    }
    EXPECT_EQ(at.read("f"), "data");
}

TEST_F(Files, LockDatesAndFlags)
{
    two_forks("f");
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

    runs("open f w ! fLckdErr; delete f ! fLckdErr; rename f g ! fLckdErr");
    again.locked = false;
    EXPECT_EQ(SetCatInfo(at.vRef, at.dir, P("f"), &again), noErr);
    runs("delete f");
}

// Where attributes don't work the sidecar keeps the type; a file that nobody
// gave a type gets one by its name and its bytes.
TEST_F(Files, TypesWithoutAttributes)
{
    struct {
        const char *name;
        std::string bytes;
        OSType type;
    } cases[] = {
        {"a.txt", std::string("\0\1", 2), kText},
        {"words", "plain words\n", kText},
        {"utf8", "gr\xC3\xBC\xC3\x9F", kText},
        {"latin", "gr\xFC\xDF", FOUR("????")},
        {"zeros", std::string(10, '\0'), FOUR("????")},
        {"empty", "", FOUR("????")},
        {"new.qpho", "", FOUR("qPHO")},
    };
    for (auto &c : cases) {
        at.write(c.name, c.bytes);
        ASSERT_EQ(HGetFInfo(at.vRef, at.dir, P(c.name), &info), noErr);
        EXPECT_EQ(info.fdType, c.type) << c.name;
    }

    two_forks("f");
    info = {FOUR("APPL"), FOUR("abcd"), 7, {1, 2}, 3};
    ASSERT_EQ(HSetFInfo(at.vRef, at.dir, P("f"), &info), noErr);
    (void)removexattr(at.path("f").c_str(), "user.quillon.finderinfo");
    FInfo again;
    ASSERT_EQ(HGetFInfo(at.vRef, at.dir, P("f"), &again), noErr);
    EXPECT_EQ(std::memcmp(&info, &again, sizeof info), 0);
    expect_fork("f", "resource");
}

TEST_F(Files, SidecarsStandInForAttributes)
{
    noAttributes = true;
    runs("create f");
    EXPECT_TRUE(fs::exists(at.path("._f")));
    runs("info f = TEXT ttxt 0+0; delete f");
    EXPECT_FALSE(fs::exists(at.path("._f")));

    // Both in one sidecar, whichever comes first.
    two_forks("f");
    ASSERT_EQ(GetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    cat.info.fdType = FOUR("abcd");
    EXPECT_EQ(SetCatInfo(at.vRef, at.dir, P("f"), &cat), noErr);
    runs("rename f g; info g = abcd ttxt 4+8");
    expect_fork("g", "resource");

    // Somebody's file of the sidecar's name is in the way, and stays.
    at.write("._h", "mine");
    runs("create h");
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
    runs("alias a = a; alias to-a = a alias; alias folder = folder folder; "
         "alias to-folder = folder folder alias; "
         "alias to-nothing =  alias ! fnfErr; alias none =  ! fnfErr");
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
    at.write("f", "x");
    fs::current_path(at.path(""));
    runs("path f = work/f; path ./f = work/f; path ../work/f = work/f; "
         "path .//f = work/f; path .. = .; path new = work/new ! fnfErr; "
         "path none/new ! dirNFErr; path  ! bdNamErr");
}

// A full disk is reported, and what was written before it stays.
TEST_F(Files, WritePastALimit)
{
    runs("create f; open f w");
    signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limit = {1000, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    std::string bytes(1500, 'x');
    n = 1500;
    EXPECT_EQ(FSWrite(ref, &n, bytes.data()), dskFulErr);
    EXPECT_EQ(n, 1000);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    runs("close");
    EXPECT_EQ(at.read("f").size(), 1000u);
}
