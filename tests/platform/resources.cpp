// Resources and books: what lasts, what is refused, and saves that are killed.
#include "platform/resources.h"
#include "resources/names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include <csignal>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/memory.h"
#include "tests/support/sandbox.h"

namespace fs = std::filesystem;

static constexpr OSType kDial = FOUR("Dial"), kList = FOUR("STR#");
static constexpr OSType kBook = FOUR("qPHO"), kMaker = FOUR("qLON");

static Handle handle(const std::string &bytes)
{
    Handle h = nullptr;
    (void)PtrToHand(bytes.data(), &h, int32_t(bytes.size()));
    return h;
}

static std::string bytes(Handle h)
{
    return h ? std::string(reinterpret_cast<char *>(*h),
                           size_t(GetHandleSize(h)))
             : "(none)";
}

static void append(Handle h, const std::string &more)
{
    int32_t size = GetHandleSize(h);
    SetHandleSize(h, size + int32_t(more.size()));
    ASSERT_EQ(MemError(), noErr);
    std::memcpy(*h + size, more.data(), more.size());
}

// An AddResource that must fail, so that the handle stays ours.
static OSErr refused(const std::string &content, OSType type, int16_t id)
{
    Handle h = handle(content);
    AddResource(h, type, id, P("refused"));
    OSErr err = ResError();
    EXPECT_EQ(HomeResFile(h), -1);
    DisposeHandle(h);
    return err;
}

static int16_t make_book(const Place &at, const std::string &name)
{
    OSErr err = HCreate(at.vRef, at.dir, P(name), kMaker, kBook);
    EXPECT_TRUE(err == noErr || err == dupFNErr) << "left by a crash";
    HCreateResFile(at.vRef, at.dir, P(name));
    EXPECT_EQ(ResError(), noErr);
    int16_t ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
    EXPECT_GT(ref, kProgramResFile);
    return ref;
}

static OSErr open_error(const Place &at, const std::string &name)
{
    int16_t ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
    OSErr err = ResError();
    EXPECT_EQ(ref < 0, err != noErr);
    if (ref > 0)
        CloseResFile(ref);
    return err;
}

static OSErr run_sql(const Place &at, const std::string &name, const char *sql)
{
    sqlite3 *db = nullptr;
    int code = sqlite3_open(at.path(name).c_str(), &db);
    if (code == SQLITE_OK)
        code = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return code == SQLITE_OK ? OSErr(noErr) : OSErr(ioErr);
}

TEST(Resources, ProgramsOwnAreThereAndReadOnly)
{
    Str255 s;
    GetIndString(s, 310, 1);
    EXPECT_EQ(S(s), "phonebook.qpho");
    GetIndString(s, 1, 16); // a place left out
    EXPECT_EQ(S(s), "");
    for (int16_t index : {0, -1, 29999}) {
        GetIndString(s, 310, index);
        EXPECT_EQ(s[0], 0);
        EXPECT_EQ(ResError(), resNotFound);
    }
    Handle entry = GetNamedResource(kDial, P(".default"));
    ASSERT_TRUE(entry);
    EXPECT_EQ(GetHandleSize(entry), 136);
    EXPECT_EQ(HomeResFile(entry), kProgramResFile);
    EXPECT_EQ(GetIndResource(kDial, 1), entry);
    EXPECT_EQ(GetHandleSize(GetResource(FOUR("qSet"), 0)), 428);
    EXPECT_EQ(GetResource(kDial, 12345), nullptr);
    EXPECT_EQ(ResError(), resNotFound);

    ChangedResource(entry);
    EXPECT_EQ(ResError(), wrPermErr);
    EXPECT_EQ(refused("x", kDial, 1), wrPermErr);
    RemoveResource(entry);
    EXPECT_EQ(ResError(), wrPermErr);
    EXPECT_EQ(GetIndResource(kDial, 1), entry);
}

TEST(Resources, ABookLastsAndHidesTheProgramsOwn)
{
    Place at;
    int16_t ref = make_book(at, "b.qpho");
    std::string data("\0\1\xFF\r", 4);
    AddResource(handle(data), kDial, 3000, P("Z\x9Frich"));
    EXPECT_EQ(ResError(), noErr);
    AddResource(handle("macros"), kList, 0, P("Default"));
    AddResource(handle(""), kList, 256, P(""));
    UpdateResFile(ref);
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(ref);
    EXPECT_NE(bytes(GetResource(kList, 0)), "macros");

    ref = HOpenResFile(at.vRef, at.dir, P("b.qpho"), fsRdWrPerm);
    ASSERT_GT(ref, 0);
    EXPECT_EQ(bytes(GetResource(kList, 0)), "macros");
    EXPECT_EQ(HomeResFile(GetResource(kList, 0)), ref);
    EXPECT_EQ(bytes(GetResource(kList, 256)), "");
    Handle h = GetNamedResource(kDial, P("z\x86RICH")); // capitals of Mac Roman
    ASSERT_TRUE(h);
    EXPECT_EQ(bytes(h), data);
    int16_t id = 0;
    OSType type = 0;
    Str255 name;
    GetResInfo(h, &id, &type, name);
    EXPECT_EQ(id, 3000);
    EXPECT_EQ(type, kDial);
    EXPECT_EQ(S(name), "Z\x9Frich");
    EXPECT_EQ(Count1Resources(kDial), 1);
    EXPECT_EQ(CountResources(kDial), 2);
    EXPECT_EQ(Get1IndResource(kDial, 2), nullptr);
    EXPECT_EQ(HomeResFile(GetIndResource(kDial, 2)), kProgramResFile);

    UseResFile(kProgramResFile);
    EXPECT_EQ(GetNamedResource(kDial, P("Z\x9Frich")), nullptr);
    UseResFile(999);
    EXPECT_EQ(ResError(), resFNotFound);
    CloseResFile(ref);
    CloseResFile(kProgramResFile);
    EXPECT_EQ(ResError(), resFNotFound);
}

TEST(Resources, ChangesRemovalsAndNewNames)
{
    Place at;
    int16_t ref = make_book(at, "b");
    Handle a = handle("a"), b = handle("b"), c = handle("c");
    AddResource(a, kDial, 1, P("A"));
    AddResource(b, kDial, 2, P("B"));
    AddResource(c, kDial, 3, P("C"));
    EXPECT_EQ(refused("again", kDial, 3), addResFailed);
    AddResource(a, kDial, 9, P("twice"));
    EXPECT_EQ(ResError(), addResFailed);
    UpdateResFile(ref);

    append(a, "aa");
    ChangedResource(a); // written by the update
    RemoveResource(b);
    EXPECT_EQ(HomeResFile(b), -1);
    EXPECT_EQ(bytes(b), "b"); // plain memory now
    SetResInfo(c, 4, P("D"));
    SetResInfo(c, 1, P("taken"));
    EXPECT_EQ(ResError(), addResFailed);
    AddResource(b, kDial, 3, P("B again")); // at the place that C has left
    EXPECT_EQ(ResError(), noErr);
    UpdateResFile(ref);
    EXPECT_EQ(ResError(), noErr);
    EXPECT_EQ(FlushResFile(ref), noErr);

    // What is not updated is dropped at the end.
    append(a, "lost");
    ChangedResource(a);
    WriteResource(a);
    AddResource(handle("lost"), kList, 256, P(""));
    CloseResFile(ref);

    ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdWrPerm);
    Str255 name;
    EXPECT_EQ(Count1Resources(kDial), 3);
    EXPECT_EQ(bytes(GetResource(kDial, 1)), "aaa");
    EXPECT_EQ(GetResource(kDial, 2), nullptr);
    EXPECT_EQ(bytes(GetResource(kDial, 3)), "b");
    EXPECT_EQ(bytes(GetResource(kDial, 4)), "c");
    GetResInfo(GetResource(kDial, 4), nullptr, nullptr, name);
    EXPECT_EQ(S(name), "D");
    EXPECT_EQ(Get1Resource(kList, 256), nullptr);
    CloseResFile(ref);
}

// A file that is no book, or no longer a whole one, is told and left alone.
TEST(Resources, WhatIsNoBookStaysAsItWas)
{
    Place at;
    int16_t ref = make_book(at, "good");
    for (int16_t i = 0; i < 60; i++)
        AddResource(handle(std::string(400, char('a' + i % 26))), kDial,
                    int16_t(3000 + i), P("entry"));
    UpdateResFile(ref);
    CloseResFile(ref);
    std::string good = at.read("good");
    ASSERT_GT(good.size(), 20000u);

    auto patched = [&](size_t where, const std::string &with) {
        std::string s = good;
        return s.replace(where, with.size(), with);
    };
    std::string page(4096, '\x5A');
    struct {
        const char *what;
        std::string content;
        OSErr error = mapReadErr;
    } cases[] = {
        {"text", "This is a text.\n"},
        {"empty", ""},
        {"one byte", "S"},
        {"another application", patched(68, "abcd")},
        {"a journal of another kind", patched(18, "\2\2")},
        {"cut in a page", good.substr(0, good.size() - 100)},
        {"cut by pages", good.substr(0, 8192)},
        {"only its head", good.substr(0, 100)},
        {"a page lost", patched(8192, page)},
        {"the first page lost", patched(100, std::string(3996, '\0'))},
        {"an index without a row", patched(good.find("Dial", 8192), "Dibl")},
        {"a later format", patched(60, std::string("\0\0\0\2", 4)), laterErr},
    };
    for (auto &c : cases) {
        at.write("x", c.content);
        struct stat before, after;
        stat(at.path("x").c_str(), &before);
        EXPECT_EQ(open_error(at, "x"), c.error) << c.what;
        EXPECT_TRUE(at.read("x") == c.content) << c.what;
        stat(at.path("x").c_str(), &after);
        EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec) << c.what;
        EXPECT_FALSE(fs::exists(at.path("x-journal"))) << c.what;
    }
    EXPECT_EQ(open_error(at, "none"), fnfErr);
    EXPECT_EQ(open_error(at, ".."), bdNamErr);
    fs::create_symlink(at.path("good"), at.path("link"));
    EXPECT_EQ(open_error(at, "link"), permErr);
    HCreateResFile(at.vRef, at.dir, P("good"));
    EXPECT_EQ(ResError(), dupFNErr);
    EXPECT_TRUE(at.read("good") == good);
}

// A book may come from anywhere: its tables may be no tables.
TEST(Resources, StrangeDatabasesAreRefused)
{
    Place at;
    struct {
        const char *what, *sql;
    } cases[] = {
        {"no table", "CREATE TABLE other (a)"},
        {"a view", "CREATE VIEW resource AS SELECT 'Dial' AS type, 1 AS id,"
                   " '' AS name, 0 AS attributes, x'00' AS data"},
        {"other columns", "CREATE TABLE resource (type, id, name)"},
        {"a long type", "CREATE TABLE resource (type, id, name, attributes,"
                        " data); INSERT INTO resource VALUES"
                        " ('Dials', 1, '', 0, '')"},
        {"a wide id", "CREATE TABLE resource (type, id, name, attributes,"
                      " data); INSERT INTO resource VALUES"
                      " ('Dial', 70000, '', 0, '')"},
        {"a huge record", "CREATE TABLE resource (type, id, name, attributes,"
                          " data); INSERT INTO resource VALUES"
                          " ('Dial', 1, '', 0, zeroblob(9000000))"},
    };
    int n = 0;
    for (auto &c : cases) {
        std::string name = "x" + std::to_string(n++);
        ASSERT_EQ(run_sql(at, name,
                          "PRAGMA application_id = 1901086799;"
                          "PRAGMA user_version = 1"),
                  noErr);
        ASSERT_EQ(run_sql(at, name, c.sql), noErr) << c.what;
        std::string before = at.read(name);
        EXPECT_EQ(open_error(at, name), mapReadErr) << c.what;
        EXPECT_TRUE(at.read(name) == before) << c.what;
    }

    // Triggers don't run, and nothing else in the file does.
    CloseResFile(make_book(at, "t"));
    int16_t ref = make_book(at, "t2");
    AddResource(handle("x"), kDial, 1, P(""));
    UpdateResFile(ref);
    CloseResFile(ref);
    ASSERT_EQ(run_sql(at, "t2",
                      "CREATE TRIGGER evil AFTER INSERT ON resource BEGIN "
                      "DELETE FROM resource; END"),
              noErr);
    ref = HOpenResFile(at.vRef, at.dir, P("t2"), fsRdWrPerm);
    ASSERT_GT(ref, 0);
    AddResource(handle("y"), kDial, 2, P(""));
    UpdateResFile(ref);
    CloseResFile(ref);
    ref = HOpenResFile(at.vRef, at.dir, P("t2"), fsRdPerm);
    EXPECT_EQ(Count1Resources(kDial), 2);
    CloseResFile(ref);
}

// Another program may have made the table: columns go by their names, and one
// that isn't ours keeps its content.
TEST(Resources, ColumnsMayStandInAnyOrderBesideOthers)
{
    Place at;
    const char *columns[] = {
        "data BLOB, attributes, name, id INTEGER, type TEXT",
        "id INTEGER, type TEXT, name, note DEFAULT 'new', attributes, data",
    };
    for (const char *c : columns) {
        std::string name = c, sql = "PRAGMA application_id = 1901086799;"
                                    "PRAGMA user_version = 1;"
                                    "CREATE TABLE resource (";
        sql += name + "); INSERT INTO resource (type, id, name, attributes, "
                      "data) VALUES ('Dial', 1, 'one', 0, x'41')";
        name = name.substr(0, 4);
        ASSERT_EQ(run_sql(at, name, sql.c_str()), noErr);
        for (int round = 1; round <= 2; round++) {
            int16_t ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
            ASSERT_GT(ref, 0) << c;
            std::string had = round == 1 ? "A" : "AB";
            EXPECT_EQ(bytes(Get1Resource(kDial, 1)), had) << c;
            append(Get1Resource(kDial, 1), "B");
            ChangedResource(Get1Resource(kDial, 1));
            AddResource(handle("x"), kDial, int16_t(1 + round), P("two"));
            UpdateResFile(ref);
            EXPECT_EQ(ResError(), noErr) << c;
            EXPECT_EQ(Count1Resources(kDial), 1 + round) << c;
            CloseResFile(ref);
        }
    }
    // One row for each record, with the new column's value in all of them.
    EXPECT_EQ(run_sql(at, "id I",
                      "CREATE TABLE t (n NOT NULL); INSERT INTO t SELECT "
                      "1 / (count(*) = 3) FROM resource WHERE note = 'new'"),
              noErr);
}

TEST(Resources, ABookThatLeftItsPlaceIsWrittenAnew)
{
    struct {
        const char *what, *name;
        void (*act)(const Place &at);
    } cases[] = {
        {"moved", "b.qpho",
         [](const Place &at) { fs::rename(at.path("b.qpho"), at.path("m")); }},
        {"removed", "b.qpho",
         [](const Place &at) { fs::remove(at.path("b.qpho")); }},
        {"replaced", "b 2.qpho",
         [](const Place &at) {
             at.write("new", "another");
             fs::rename(at.path("new"), at.path("b.qpho"));
         }},
    };
    for (auto &c : cases) {
        Place at;
        Str255 name;
        int16_t ref = make_book(at, "b.qpho");
        AddResource(handle("old"), kDial, 1, P("one"));
        AddResource(handle("list"), kList, 2, P("two"));
        UpdateResFile(ref);
        EXPECT_FALSE(ResFileRemade(ref, name)) << c.what;
        c.act(at);
        append(GetResource(kDial, 1), "er");
        ChangedResource(GetResource(kDial, 1));
        EXPECT_EQ(FlushResFile(ref), noErr) << c.what;
        EXPECT_TRUE(ResFileRemade(ref, name)) << c.what;
        EXPECT_EQ(S(name), c.name) << c.what;
        EXPECT_FALSE(ResFileRemade(ref, name)) << c.what;
        CloseResFile(ref);
        ref = HOpenResFile(at.vRef, at.dir, P(c.name), fsRdWrPerm);
        EXPECT_EQ(bytes(Get1Resource(kDial, 1)), "older") << c.what;
        EXPECT_EQ(bytes(Get1Resource(kList, 2)), "list") << c.what;
        CloseResFile(ref);
        struct stat st;
        ASSERT_EQ(stat(at.path(c.name).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u) << c.what;
    }
}

// What the program shows is its own, whatever a book holds.
TEST(Resources, ABookReplacesNothingThatTheProgramShows)
{
    Place at;
    Str255 own, text;
    GetIndString(own, kListTexts, kStrAskHangUp);
    int32_t window = GetHandleSize(GetResource(FOUR("WIND"), kWindowMain));
    int16_t ref = make_book(at, "b");
    AddResource(handle(""), FOUR("WIND"), kWindowMain, P(""));
    AddResource(handle("SICN"), FOUR("SICN"), 128, P(""));
    AddResource(handle(std::string("\0\3\1x\1y\1z", 8)), kList, kListTexts,
                P(""));
    AddResource(handle(""), FOUR("qSet"), 0, P(""));
    AddResource(handle("mine"), kList, 0, P("Default"));
    UpdateResFile(ref);
    EXPECT_EQ(GetHandleSize(GetResource(FOUR("WIND"), kWindowMain)), window);
    EXPECT_EQ(GetResource(FOUR("SICN"), 128), nullptr);
    GetIndString(text, kListTexts, kStrAskHangUp);
    EXPECT_EQ(S(text), S(own));
    EXPECT_EQ(HomeResFile(GetResource(FOUR("qSet"), 0)), kProgramResFile);
    EXPECT_EQ(bytes(GetResource(kList, 0)), "mine") << "a template gives way";
    CloseResFile(ref);
}

TEST(Resources, ABookInUseIsTold)
{
    Place at;
    int16_t ref = make_book(at, "b");
    AddResource(handle("x"), kDial, 1, P(""));
    UpdateResFile(ref);

    // Another program of ours, while this one only has it open.
    pid_t child = fork();
    if (child == 0) {
        int16_t other = HOpenResFile(at.vRef, at.dir, P("b"), fsRdWrPerm);
        _exit(other < 0 && ResError() == fBsyErr ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    // The lock survives a look at the file's kind.
    FInfo info;
    EXPECT_EQ(HGetFInfo(at.vRef, at.dir, P("b"), &info), noErr);
    EXPECT_EQ(open_error(at, "b"), fBsyErr);
    CloseResFile(ref);

    // A tool in the middle of a change.
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(at.path("b").c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(open_error(at, "b"), fBsyErr);
    sqlite3_close(db);
    EXPECT_EQ(open_error(at, "b"), noErr);
}

// What a failed update couldn't write is written by the next one.
TEST(Resources, AFailedUpdateIsMadeUpFor)
{
    Place at;
    int16_t ref = make_book(at, "b");
    Handle kept = handle("kept"), gone = handle("gone");
    AddResource(kept, kDial, 1, P(""));
    AddResource(gone, kDial, 2, P(""));
    UpdateResFile(ref);
    ASSERT_EQ(ResError(), noErr);
    std::string before = at.read("b");

    signal(SIGXFSZ, SIG_IGN);
    rlimit all, none;
    getrlimit(RLIMIT_FSIZE, &all);
    none = all;
    none.rlim_cur = 8000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    append(kept, std::string(100000, 'k'));
    ChangedResource(kept);
    WriteResource(kept);
    RemoveResource(gone);
    OSErr removed = ResError();
    UpdateResFile(ref);
    EXPECT_NE(ResError(), noErr);
    EXPECT_NE(FlushResFile(ref), noErr);
    EXPECT_TRUE(at.read("b") == before);
    EXPECT_EQ(GetHandleSize(GetResource(kDial, 1)), 100004);
    Handle added = handle(std::string(50000, 'a'));
    AddResource(added, kDial, 3, P(""));
    OSErr addErr = ResError();
    EXPECT_EQ(GetResource(kDial, 3) != nullptr, addErr == noErr);
    if (addErr != noErr)
        DisposeHandle(added);

    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &all), 0);
    UpdateResFile(ref);
    EXPECT_EQ(ResError(), noErr);
    CloseResFile(ref);
    ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdPerm);
    ASSERT_GT(ref, 0);
    EXPECT_EQ(GetHandleSize(GetResource(kDial, 1)), 100004);
    EXPECT_EQ(Get1Resource(kDial, 2) == nullptr, removed == noErr);
    if (removed == noErr)
        DisposeHandle(gone);
    EXPECT_EQ(Get1Resource(kDial, 3) != nullptr, addErr == noErr);
    CloseResFile(ref);
}

TEST(Resources, ReadOnlyBooks)
{
    Place at;
    int16_t ref = make_book(at, "b");
    AddResource(handle("x"), kDial, 1, P(""));
    UpdateResFile(ref);
    CloseResFile(ref);
    ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdPerm);
    ASSERT_GT(ref, 0);
    Handle h = GetResource(kDial, 1);
    append(h, "y");
    ChangedResource(h);
    UpdateResFile(ref);
    EXPECT_EQ(ResError(), wrPermErr);
    EXPECT_EQ(refused("z", kDial, 2), wrPermErr);
    CloseResFile(ref);
}

// Where nothing can be written beside the book, its update tells.
TEST(Resources, AReadOnlyFolder)
{
    Place at;
    int16_t ref = make_book(at, "b");
    AddResource(handle("x"), kDial, 1, P(""));
    UpdateResFile(ref);
    CloseResFile(ref);
    std::string before = at.read("b");
    fs::permissions(at.root, fs::perms(0755));
    fs::permissions(at.path("b"), fs::perms(0666));
    fs::permissions(at.path(""), fs::perms(0555));
    pid_t child = fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534; // root may write everywhere
        if (geteuid() == 0 && setuid(kNobody) != 0)
            _exit(2);
        ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdWrPerm);
        if (ref < 0 || bytes(GetResource(kDial, 1)) != "x")
            _exit(3);
        AddResource(handle("y"), kDial, 2, P(""));
        UpdateResFile(ref);
        _exit(ResError() == wrPermErr ? 0 : 4);
    }
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    fs::permissions(at.path(""), fs::perms(0755));
    EXPECT_TRUE(at.read("b") == before);
}

TEST(Resources, MemoryRunsShort)
{
    Place at;
    int16_t ref = make_book(at, "b");
    AddResource(handle("x"), kDial, 1, P(""));
    UpdateResFile(ref);
    CloseResFile(ref);
    ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdWrPerm);
    mem_fail_nth(1);
    EXPECT_EQ(GetResource(kDial, 1), nullptr);
    EXPECT_EQ(ResError(), memFullErr);
    EXPECT_EQ(bytes(GetResource(kDial, 1)), "x");
    CloseResFile(ref);
}

// ---- killed in the middle --------------------------------------------------

static constexpr int kGenerationRecords = 12;

// Each generation is one state of the book: all records say its number.
static void write_generation(int16_t ref, int generation)
{
    for (int16_t i = 0; i < kGenerationRecords; i++) {
        std::string text(size_t(50 + 700 * ((generation + i) % 9)), 'x');
        text = std::to_string(generation) + " " + text;
        Handle h = Get1Resource(kDial, i);
        if (!h) {
            AddResource(handle(text), kDial, i, P("e"));
            continue;
        }
        SetHandleSize(h, int32_t(text.size()));
        std::memcpy(*h, text.data(), text.size());
        ChangedResource(h);
        WriteResource(h);
    }
    UpdateResFile(ref);
}

// The generation that the book holds, -1 for none; fails if it is mixed.
static int read_generation(const Place &at, const std::string &name)
{
    int16_t ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
    if (ref < 0) {
        EXPECT_TRUE(ResError() == fnfErr || ResError() == eofErr);
        return -1;
    }
    EXPECT_EQ(Count1Resources(kDial), kGenerationRecords);
    int generation = std::atoi(bytes(Get1Resource(kDial, 0)).c_str());
    for (int16_t i = 0; i < kGenerationRecords; i++) {
        std::string text = bytes(Get1Resource(kDial, i));
        EXPECT_EQ(std::atoi(text.c_str()), generation);
        size_t length = text.size() - std::to_string(generation).size() - 1;
        EXPECT_EQ(length, size_t(50 + 700 * ((generation + i) % 9)));
    }
    CloseResFile(ref);
    return generation;
}

// SQLite's calls of the system that change something, counted; at the last one
// allowed the process is killed, in the middle of it if it is a write.
static int callsLeft;
static bool tearing;

static ssize_t killing_pwrite(int fd, const void *data, size_t size, off64_t at)
{
    if (--callsLeft == 0) {
        if (tearing)
            (void)!pwrite64(fd, data, size / 2, at);
        (void)raise(SIGKILL);
    }
    return pwrite64(fd, data, size, at);
}

static int killing_unlink(const char *path)
{
    if (--callsLeft == 0)
        (void)raise(SIGKILL);
    return unlink(path);
}

static int killing_truncate(int fd, off_t size)
{
    if (--callsLeft == 0)
        (void)raise(SIGKILL);
    return ftruncate(fd, size);
}

template <class Call> static void replace_call(const char *name, Call *call)
{
    sqlite3_vfs *vfs = sqlite3_vfs_find(nullptr);
    (void)vfs->xSetSystemCall(vfs, name,
                              reinterpret_cast<sqlite3_syscall_ptr>(call));
}

// Runs `job` in a process of its own that dies at its nth changing call. False
// if it came to its end before that.
static bool run_and_kill(int n, bool tear, const std::function<void()> &job)
{
    pid_t child = fork();
    if (child == 0) {
        callsLeft = n;
        tearing = tear;
        replace_call("pwrite", killing_pwrite);
        replace_call("pwrite64", killing_pwrite);
        replace_call("unlink", killing_unlink);
        replace_call("ftruncate", killing_truncate);
        job();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
    return WIFSIGNALED(status);
}

// At each single step of a save, whole or half done, the book holds the state
// before or after it.
TEST(Resources, KilledWhileSaving)
{
    for (bool tear : {false, true}) {
        Place at;
        int16_t first = make_book(at, "b");
        write_generation(first, 1);
        CloseResFile(first);
        int n = 1, reached = 1;
        auto save = [&] {
            int16_t ref = HOpenResFile(at.vRef, at.dir, P("b"), fsRdWrPerm);
            write_generation(ref, reached + 1);
        };
        while (run_and_kill(n++, tear, save) && !HasFailure()) {
            int now = read_generation(at, "b");
            EXPECT_TRUE(now == reached || now == reached + 1) << n;
            reached = now;
        }
        EXPECT_EQ(read_generation(at, "b"), reached + 1);
        EXPECT_GT(n, 20); // so many calls does a save take
    }
}

// Until its first update a new book isn't there, or is an empty file that is
// made again.
TEST(Resources, KilledWhileMakingABook)
{
    for (bool tear : {false, true}) {
        Place at;
        std::string name;
        int n = 1;
        auto make = [&] { write_generation(make_book(at, name), 7); };
        do {
            name = "b" + std::to_string(n) + ".qpho";
            if (!run_and_kill(n, tear, make))
                break;
            int generation = read_generation(at, name);
            EXPECT_TRUE(generation == 7 || generation == -1) << n;
            if (generation == -1) {
                int16_t ref = make_book(at, name);
                write_generation(ref, 8);
                EXPECT_EQ(ResError(), noErr);
                CloseResFile(ref);
            }
        } while (n++ < 1000 && !HasFailure());
        EXPECT_EQ(read_generation(at, name), 7);
        EXPECT_GT(n, 5);
    }
}
