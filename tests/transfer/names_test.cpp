// Names and folders: what a name becomes here and at the host, and that no
// name leads out of the receive folder.
#include "tests/support/bench.h"

#include "base/PathStr.h"
#include "platform/resources.h"
#include "shell/Inits.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

using std::string;
namespace fs = std::filesystem;

static void to_pascal(const string &text, uint8_t *p)
{
    p[0] = uint8_t(text.size());
    memcpy(p + 1, text.data(), text.size());
}

// ---- names for the host and for us -----------------------------------------

TEST(Names, ForTheHost)
{
    const struct {
        uint8_t mode;
        string in, out;
    } rows[] = {
        {0, "my file*<1>?.txt", "myfile1.txt"},
        {0, "a/b\\c\x7F\xE9", "abc"},
        {1, "my file*.txt", "my_file_.txt"},
        {1, "\xE9t\xE9", "_t_"},
        {2, "longfilename.text", "longfile.tex"},
        {2, "archive.tar.gz", "archivet.gz"},
        {2, "nodotinthisname", "nodotint"},
        {2, "two words.c", "twowords.c"},
        {2, ".profile", ".pro"},
        {2, "end.", "end."},
        {3, "as it stands \xE9/*", "as it stands \xE9/*"},
        {0, "", ""},
        {3, string(255, 'x'), string(255, 'x')},
    };
    start_bench();
    for (const auto &r : rows) {
        uint8_t in[256], out[256];
        to_pascal(r.in, in);
        cset.hostNames = r.mode;
        name4host(in, out);
        EXPECT_EQ(string(reinterpret_cast<char *>(out)), r.out)
            << r.in << " in mode " << int(r.mode);
    }
}

TEST(Names, UniqueOnes)
{
    start_bench();
    uint8_t name[256];
    to_pascal("a", name);
    write_file("a #1", "");
    UniqueName(name, zRcvVol);
    EXPECT_EQ(S(name), "a #2");
    // From 28 bytes on there is no room for more than the digits.
    to_pascal(string(28, 'b'), name);
    UniqueName(name, zRcvVol);
    EXPECT_EQ(S(name), string(28, 'b') + "1");
    for (int i = 1; i < 100; i++)
        write_file("c #" + std::to_string(i), "");
    to_pascal("c", name);
    UniqueName(name, zRcvVol);
    EXPECT_EQ(S(name), "c #99") << "the last one stands as it is";

    MakeUnique(name, PSTR("ZRcv "), zRcvVol);
    string first = S(name);
    EXPECT_EQ(first.substr(0, 5), "ZRcv ");
    EXPECT_GT(first.size(), 5u);
    write_file(first, "");
    MakeUnique(name, PSTR("ZRcv "), zRcvVol);
    EXPECT_EQ(S(name), first + " A");
    write_file(first + " A", "");
    MakeUnique(name, PSTR("ZRcv "), zRcvVol);
    EXPECT_EQ(S(name), first + " B");
}

TEST(Names, KindsOfFiles)
{
    start_bench();
    Str255 entry;
    GetIndString(entry, 335, 1);
    ASSERT_GT(entry[0], 9) << "the table of kinds is empty";
    int seen = 0;
    for (int16_t i = 1;; i++) {
        GetIndString(entry, 335, i);
        if (entry[0] == 0)
            break;
        string pattern = S(entry).substr(9);
        OSType creator = 0, type = 0;
        uint8_t name[256];
        bool byName = entry[1] == '1';
        string bytes = byName ? string() : pattern + "and more";
        to_pascal(byName ? "some" + pattern : "some", name);
        for (int k = 1; byName && k <= name[0]; k++)
            name[k] = uint8_t(toupper(name[k]));
        EXPECT_EQ(BinTypeCheck(reinterpret_cast<const uint8_t *>(bytes.data()),
                               int32_t(bytes.size()), name, &creator, &type),
                  1)
            << pattern;
        EXPECT_NE(type, 0u);
        seen++;
    }
    EXPECT_GT(seen, 3);
    OSType creator = 1, type = 2;
    uint8_t nothing[2] = {0, 0};
    EXPECT_EQ(BinTypeCheck(nothing, 0, PSTR("none"), &creator, &type), 0);
    EXPECT_EQ(type, 2u);
}

// ---- the receive folder ----------------------------------------------------

TEST(Folder, IsRememberedAndRepaired)
{
    start_bench();
    gGlobStrings = NewStrList();
    for (int i = 0; i < 8; i++)
        AppendStrList(gGlobStrings, PSTR(""));
    int16_t volume = zRcvVol;
    int32_t folder = zRcvDirID;
    Str255 path;
    VolDirToStr(volume, folder, path);
    SetGlob(kGlobRcvFolder, path);
    zRcvDirID = -1;
    EXPECT_EQ(VerifyRcvVol(), 1);
    EXPECT_EQ(zRcvVol, volume);
    EXPECT_EQ(zRcvDirID, folder);

    VolDirToStr(1, 2, path);
    EXPECT_EQ(S(path), "1");

    // Gone: the downloads folder silently; without one the user is asked.
    const fs::path other = fs::path(scratch()).parent_path() / "other";
    fs::create_directory(other);
    fs::remove_all(scratch());
    FindFolder(0, kPrefFolder, true, &gUserDownloadsVRef, &gUserDownloadsDirID);
    gHaveUserDLFolder = 1;
    EXPECT_EQ(VerifyRcvVol(), 1);
    EXPECT_EQ(zRcvDirID, gUserDownloadsDirID);
    gHaveUserDLFolder = 0;
    zRcvVol = volume;
    zRcvDirID = folder;
    hl_ask_answer(false);
    EXPECT_EQ(VerifyRcvVol(), 0);
    hl_ask_answer(true, {other.string()});
    EXPECT_EQ(VerifyRcvVol(), 1);
    EXPECT_NE(zRcvDirID, folder);
    fs::create_directory(scratch());
}

// ---- names of the other side's making --------------------------------------

// All that lies beside the receive folder, with contents.
static std::map<string, string> outside()
{
    std::map<string, string> all;
    fs::path top = fs::path(scratch()).parent_path();
    for (const auto &e : fs::recursive_directory_iterator(top)) {
        string path = e.path().string();
        if (path.compare(0, scratch().size(), scratch()) == 0 ||
            path.find("/.") != string::npos)
            continue;
        std::error_code ignored;
        all[path] = e.is_regular_file()
                        ? std::to_string(fs::file_size(e.path(), ignored))
                        : "folder";
    }
    return all;
}

// Gives three bytes under a name. Returns the result of rz; `raw` gets all that
// the program said.
static int16_t receive_named(const string &name, const string &figures,
                             string *raw = nullptr)
{
    scripted_peer peer{
        {{ZRINIT, bin32_frame(ZFILE, flags(0)) +
                      packet32(file_block(name, figures), 'k')},
         {ZRPOS, bin32_frame(ZDATA, four(0)) + packet32("hey", 'h') +
                     hex_frame(ZEOF, four(3))},
         {ZRINIT, hex_frame(ZFIN, four(0))},
         {ZFIN, "OO"}}};
    peer.start();
    int16_t result = rz(kModeZ);
    hl_line_peer({});
    if (raw)
        *raw = peer.raw;
    return result;
}

TEST(Names, HostileOnesStayInTheFolder)
{
    const struct {
        const char *what;
        string name;
        string becomes; // the file on the disk; empty: a made-up name
    } rows[] = {
        {"up", "../x", "..:x"},
        {"rooted", "/etc/x", ":etc:x"},
        {"a slash", "/", ":"},
        {"into a folder", "folder/x", "folder:x"},
        {"like a partial file", "known\xA5", "known\xA5"},
        {"1000 bytes", string(1000, 'n'), string(30, 'n')},
        {"our own separator", "a:b::c", "a;b;;c"},
        {"a profile", ".bashrc", ".bashrc"},
        {"empty", "", ""},
        {"dot", ".", ""},
        {"dots", "..", ""},
        {"a NUL within", string("ab\0cd", 5), "ab"},
        {"300 bytes", string(300, 'n'), string(30, 'n')},
        {"31 bytes", string(31, 'm'), string(31, 'm')},
        {"32 bytes", string(32, 'o'), string(30, 'o')},
        {"no UTF-8", "\xFF\xFE\xC3(", "\xFF\xFE\xC3("},
        {"control bytes", "a\x1B[2Jb\r\nc", "a\x1B[2Jb\r\nc"},
        {"blanks", "  x  ", "  x  "},
        {"another's fork", "._x", "__x"},
    };
    start_bench();
    fs::create_directory(scratch() + "/../beside");
    std::ofstream(scratch() + "/../x") << "precious";
    const auto before = outside();
    for (const auto &r : rows) {
        start_bench();
        string figures = r.name.find('\0') == string::npos ? "3" : "";
        EXPECT_EQ(receive_named(r.name, figures), 0) << r.what;
        auto list = folder_list();
        ASSERT_EQ(list.size(), 1u) << r.what;
        if (!r.becomes.empty()) {
            EXPECT_EQ(list[0], r.becomes) << r.what;
        }
        EXPECT_EQ(read_file(list[0]), "hey") << r.what;
        EXPECT_EQ(outside(), before) << r.what;
    }
    EXPECT_EQ(screen().find("\x1B"), string::npos);
}

TEST(Names, LinksInTheWayAreNotFollowed)
{
    start_bench();
    std::ofstream(scratch() + "/../target") << "precious";
    const auto before = outside();
    // 3 overwrites the link; a folder can't be overwritten.
    for (int answer : {3, 1})
        for (string name : {"link", "dangling", "folder", "pipe"}) {
            start_bench();
            fs::create_symlink(scratch() + "/../target", scratch() + "/link");
            fs::create_symlink(scratch() + "/../nowhere",
                               scratch() + "/dangling");
            fs::create_directory(scratch() + "/folder");
            ASSERT_EQ(mkfifo((scratch() + "/pipe").c_str(), 0600), 0);
            hl_answer(answer);
            (void)receive_named(name, "3");
            hl_modal_clear();
            EXPECT_EQ(outside(), before) << name << answer;
            EXPECT_TRUE(fs::is_directory(scratch() + "/folder"));
            if (answer == 1) {
                EXPECT_EQ(read_file(name + " #1"), "hey");
            }
        }
    EXPECT_EQ(read_file("../target"), "precious");
}

TEST(Names, AFolderThatIsGoneEndsWithAMessage)
{
    start_bench();
    gHaveUserDLFolder = 0;
    string said;
    hl_ask_answer(false);
    fs::remove_all(scratch());
    EXPECT_EQ(receive_named("f", "3", &said), 7);
    expect_shown("in zWriteData");
    EXPECT_NE(said.find(cancel_string()), string::npos);
    fs::create_directory(scratch());
}

// Frames, subpackets and noise without sense: the program ends, and writes
// nothing beside its folder.
TEST(Names, NoiseWritesNothingElsewhere)
{
    std::mt19937 chance(1);
    start_bench();
    const auto before = outside();
    for (int round = 0; round < 8; round++) {
        start_bench();
        string said;
        for (int i = 0; i < 200; i++) {
            const int kind = int(chance() % 12);
            const string some = random_bytes(chance() % 1100, chance());
            const string forms[] = {
                hex_frame(kind, four(chance())),
                bin16_frame(kind, four(chance())),
                packet16(some, "hijk"[chance() % 4]),
                some.substr(0, 300),
            };
            said += forms[chance() % 4];
        }
        hl_line_say(said + cancel_string());
        (void)rz(kModeZ);
        EXPECT_EQ(zDlog, nullptr) << round;
        EXPECT_EQ(outside(), before) << round;
    }
}
