// Resources and books: what lasts, what is refused, and saves that are killed.
#include "platform/resources.h"
#include "resources/names.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <tuple>
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
#include "tests/support/steps.h"

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

// A book of a case's own. The steps' resources are "TYPE ID", as in
// "add Dial 1 NAME BYTES", "more Dial 1 BYTES", "name Dial 1 2 NAME" for a new
// number and name, "get" in the book alone and "find" wherever it is.
struct Books : testing::Test {
    Place at;
    int16_t ref = 0;

    std::string step(const Words &w)
    {
        if (w[0] == "make" || w[0] == "open") {
            if (w[0] == "make") {
                OSErr err = HCreate(at.vRef, at.dir, P(w[1]), kMaker, kBook);
                EXPECT_TRUE(err == noErr || err == dupFNErr) << "by a crash";
                HCreateResFile(at.vRef, at.dir, P(w[1]));
            }
            int8_t perm = w[2] == "r" ? fsRdPerm : fsRdWrPerm;
            ref = HOpenResFile(at.vRef, at.dir, P(w[1]), perm);
            EXPECT_EQ(ref < 0, ResError() != noErr);
            return error_words(ResError());
        }
        OSType type = w[1].empty() ? 0 : type_of(w[1]);
        auto id = int16_t(std::atoi(w[2].c_str()));
        Handle h = nullptr;
        if (w[0] == "close")
            CloseResFile(ref);
        else if (w[0] == "update")
            UpdateResFile(ref);
        else if (w[0] == "count")
            return " = " + std::to_string(Count1Resources(type));
        else if (w[0] == "add") {
            AddResource(h = handle(w[4]), type, id, P(w[3]));
            OSErr err = ResError();
            EXPECT_EQ(HomeResFile(h) == -1, err != noErr);
            if (err != noErr)
                DisposeHandle(h); // it stayed ours
            return error_words(err);
        } else if (w[0] == "get")
            return " = " + bytes(Get1Resource(type, id));
        else if (!(h = GetResource(type, id)))
            return " = (none)";
        else if (w[0] == "find")
            return " = " + bytes(h);
        else if (w[0] == "more") {
            append(h, w[3]);
            ChangedResource(h);
        } else if (w[0] == "remove")
            RemoveResource(h);
        else if (w[0] == "name")
            SetResInfo(h, int16_t(std::atoi(w[3].c_str())), P(w[4]));
        return error_words(ResError());
    }
    void runs(const std::string &steps)
    {
        EXPECT_EQ(play(steps, [this](const Words &w) { return step(w); }),
                  steps);
    }
    OSErr open_error(const std::string &name)
    {
        ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
        OSErr err = ResError();
        if (ref > 0)
            CloseResFile(ref);
        return err;
    }
    OSErr run_sql(const std::string &name, const std::string &sql)
    {
        sqlite3 *db = nullptr;
        int code = sqlite3_open(at.path(name).c_str(), &db);
        if (code == SQLITE_OK)
            code = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
        sqlite3_close(db);
        return code == SQLITE_OK ? OSErr(noErr) : OSErr(ioErr);
    }
};

static int exit_of(const std::function<int()> &run)
{
    pid_t child = fork();
    if (child == 0)
        _exit(run());
    int status = 1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Books, TheProgramsOwnIsThereAndReadOnly)
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
    EXPECT_EQ(HomeResFile(entry), kProgramResFile);
    EXPECT_EQ(GetIndResource(kDial, 1), entry);
    EXPECT_EQ(GetResource(kDial, 12345), nullptr);
    EXPECT_EQ(ResError(), resNotFound);

    ChangedResource(entry);
    EXPECT_EQ(ResError(), wrPermErr);
    runs("add Dial 1 N x ! wrPermErr");
    RemoveResource(entry);
    EXPECT_EQ(ResError(), wrPermErr);
    EXPECT_EQ(GetIndResource(kDial, 1), entry);
}

TEST_F(Books, LastAndHideTheProgramsOwn)
{
    runs("make b");
    std::string data("\0\1\xFF\r", 4);
    AddResource(handle(data), kDial, 3000, P("Z\x9Frich"));
    EXPECT_EQ(ResError(), noErr);
    runs("add STR# 0 Default macros; add STR# 256; update; close");
    EXPECT_NE(bytes(GetResource(kList, 0)), "macros");

    runs("open b; find STR# 0 = macros; find STR# 256 = ");
    EXPECT_EQ(HomeResFile(GetResource(kList, 0)), ref);
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
    CloseResFile(kProgramResFile);
    EXPECT_EQ(ResError(), resFNotFound);
}

TEST_F(Books, ChangesRemovalsAndNewNames)
{
    runs("make b; add Dial 1 A a; add Dial 2 B b; add Dial 3 C c; "
         "add Dial 3 C again ! addResFailed");
    Handle a = GetResource(kDial, 1), b = GetResource(kDial, 2);
    AddResource(a, kDial, 9, P("twice"));
    EXPECT_EQ(ResError(), addResFailed);
    runs("update; more Dial 1 aa; remove Dial 2; name Dial 3 4 D; "
         "name Dial 4 1 taken ! addResFailed");
    EXPECT_EQ(HomeResFile(b), -1);
    EXPECT_EQ(bytes(b), "b");               // plain memory now
    AddResource(b, kDial, 3, P("B again")); // at the place that C has left
    EXPECT_EQ(ResError(), noErr);
    runs("update");
    EXPECT_EQ(FlushResFile(ref), noErr);

    // What is not updated is dropped at the end.
    runs("more Dial 1 lost");
    WriteResource(a);
    runs("add STR# 256 - lost; close; open b; count Dial = 3; "
         "get Dial 1 = aaa; get Dial 2 = (none); get Dial 3 = b; "
         "get Dial 4 = c; get STR# 256 = (none)");
    Str255 name;
    GetResInfo(GetResource(kDial, 4), nullptr, nullptr, name);
    EXPECT_EQ(S(name), "D");
}

// A file that is no book, or no longer a whole one, is told and left alone.
TEST_F(Books, WhatIsNoneStaysAsItWas)
{
    runs("make good");
    for (int16_t i = 0; i < 60; i++)
        AddResource(handle(std::string(400, char('a' + i % 26))), kDial,
                    int16_t(3000 + i), P("entry"));
    runs("update; close");
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
        EXPECT_EQ(open_error("x"), c.error) << c.what;
        EXPECT_TRUE(at.read("x") == c.content) << c.what;
        stat(at.path("x").c_str(), &after);
        EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec) << c.what;
        EXPECT_FALSE(fs::exists(at.path("x-journal"))) << c.what;
    }
    EXPECT_EQ(open_error("none"), fnfErr);
    EXPECT_EQ(open_error(".."), bdNamErr);
    fs::create_symlink(at.path("good"), at.path("link"));
    EXPECT_EQ(open_error("link"), permErr);
    HCreateResFile(at.vRef, at.dir, P("good"));
    EXPECT_EQ(ResError(), dupFNErr);
    EXPECT_TRUE(at.read("good") == good);
}

// A book may come from anywhere: its tables may be no tables.
TEST_F(Books, StrangeDatabasesAreRefused)
{
    const std::string book = "PRAGMA application_id = 1901086799; "
                             "PRAGMA user_version = 1; ",
                      five = "CREATE TABLE resource (type, id, name, "
                             "attributes, data); "
                             "INSERT INTO resource VALUES ";
    const std::pair<const char *, std::string> cases[] = {
        {"no table", "CREATE TABLE other (a)"},
        {"a view", "CREATE VIEW resource AS SELECT 'Dial' AS type, 1 AS id,"
                   " '' AS name, 0 AS attributes, x'00' AS data"},
        {"other columns", "CREATE TABLE resource (type, id, name)"},
        {"a long type", five + "('Dials', 1, '', 0, '')"},
        {"a wide id", five + "('Dial', 70000, '', 0, '')"},
        {"a huge record", five + "('Dial', 1, '', 0, zeroblob(9000000))"},
    };
    for (auto &[name, sql] : cases) {
        ASSERT_EQ(run_sql(name, book + sql), noErr) << name;
        std::string before = at.read(name);
        EXPECT_EQ(open_error(name), mapReadErr) << name;
        EXPECT_TRUE(at.read(name) == before) << name;
    }

    // Triggers don't run, and nothing else in the file does.
    runs("make t; add Dial 1 - x; update; close");
    ASSERT_EQ(run_sql("t", "CREATE TRIGGER evil AFTER INSERT ON resource BEGIN "
                           "DELETE FROM resource; END"),
              noErr);
    runs("open t; add Dial 2 - y; update; close; open t; count Dial = 2");
}

// Another program may have made the table: columns go by their names, and one
// that isn't ours keeps its content.
TEST_F(Books, ColumnsMayStandInAnyOrderBesideOthers)
{
    const std::pair<std::string, std::string> columns[] = {
        {"data", "data BLOB, attributes, name, id INTEGER, type TEXT"},
        {"id", "id INTEGER, type TEXT, name, note DEFAULT 'new', attributes, "
               "data"}};
    for (const auto &[name, c] : columns) {
        ASSERT_EQ(run_sql(name, "PRAGMA application_id = 1901086799;"
                                "PRAGMA user_version = 1;"
                                "CREATE TABLE resource (" +
                                    c +
                                    "); INSERT INTO resource (type, id, name, "
                                    "attributes, data) "
                                    "VALUES ('Dial', 1, 'one', 0, x'41')"),
                  noErr);
        runs("open " + name + "; get Dial 1 = A; more Dial 1 B; " +
             "add Dial 2 two x; update; count Dial = 2; close; open " + name +
             "; get Dial 1 = AB; more Dial 1 B; add Dial 3 two x; update; "
             "count Dial = 3; close");
    }
    // One row for each record, with the new column's value in all of them.
    EXPECT_EQ(run_sql("id", "CREATE TABLE t (n NOT NULL); INSERT INTO t SELECT "
                            "1 / (count(*) = 3) FROM resource "
                            "WHERE note = 'new'"),
              noErr);
}

TEST_F(Books, OneThatLeftItsPlaceIsWrittenAnew)
{
    const fs::path book = at.path("b"), other = at.path("m");
    const std::tuple<const char *, std::string, std::function<void()>> cases[] =
        {{"moved", "b", [&] { fs::rename(book, other); }},
         {"removed", "b", [&] { fs::remove(book); }},
         {"replaced", "b 2", [&] {
              at.write("m", "another");
              fs::rename(other, book);
          }}};
    for (auto &[what, wanted, act] : cases) {
        SCOPED_TRACE(what);
        Str255 name;
        runs("make b; add Dial 1 one old; add STR# 2 two list; update");
        EXPECT_FALSE(ResFileRemade(ref, name));
        act();
        runs("more Dial 1 er");
        EXPECT_EQ(FlushResFile(ref), noErr);
        EXPECT_TRUE(ResFileRemade(ref, name));
        EXPECT_EQ(S(name), wanted);
        EXPECT_FALSE(ResFileRemade(ref, name));
        runs("close");
        fs::rename(at.path(wanted), at.path("new"));
        runs("open new; get Dial 1 = older; get STR# 2 = list; close");
        EXPECT_EQ(int(fs::status(at.path("new")).permissions()), 0600);
        fs::remove(book);
    }
}

// What the program shows is its own, whatever a book holds.
TEST_F(Books, OneReplacesNothingThatTheProgramShows)
{
    Str255 own, text;
    GetIndString(own, kListTexts, kStrAskHangUp);
    int32_t window = GetHandleSize(GetResource(FOUR("WIND"), kWindowMain));
    runs("make b; add WIND 128; add SICN 128 - SICN; add qSet 0; "
         "add STR# 0 Default mine");
    ASSERT_EQ(kWindowMain, 128);
    AddResource(handle(std::string("\0\3\1x\1y\1z", 8)), kList, kListTexts,
                P(""));
    UpdateResFile(ref);
    EXPECT_EQ(GetHandleSize(GetResource(FOUR("WIND"), kWindowMain)), window);
    EXPECT_EQ(GetResource(FOUR("SICN"), 128), nullptr);
    GetIndString(text, kListTexts, kStrAskHangUp);
    EXPECT_EQ(S(text), S(own));
    EXPECT_EQ(HomeResFile(GetResource(FOUR("qSet"), 0)), kProgramResFile);
    runs("find STR# 0 = mine"); // a template gives way
}

TEST_F(Books, OneInUseIsTold)
{
    runs("make b; add Dial 1 - x; update");
    // Another program of ours, while this one only has it open.
    EXPECT_EQ(exit_of([&] { return open_error("b") == fBsyErr ? 7 : 1; }), 7);
    // The lock survives a look at the file's kind.
    FInfo info;
    EXPECT_EQ(HGetFInfo(at.vRef, at.dir, P("b"), &info), noErr);
    EXPECT_EQ(open_error("b"), fBsyErr);
    for (int16_t open = kProgramResFile + 1; open < 20; open++)
        CloseResFile(open);

    // A tool in the middle of a change.
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(at.path("b").c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(open_error("b"), fBsyErr);
    sqlite3_close(db);
    EXPECT_EQ(open_error("b"), noErr);
}

// What a failed update couldn't write is written by the next one.
TEST_F(Books, AFailedUpdateIsMadeUpFor)
{
    runs("make b; add Dial 1 - kept; add Dial 2 - gone; update");
    std::string before = at.read("b");

    signal(SIGXFSZ, SIG_IGN);
    rlimit all;
    getrlimit(RLIMIT_FSIZE, &all);
    rlimit none = {8000, all.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    runs("more Dial 1 " + std::string(100000, 'k'));
    WriteResource(GetResource(kDial, 1));
    RemoveResource(GetResource(kDial, 2));
    OSErr removed = ResError();
    UpdateResFile(ref);
    EXPECT_NE(ResError(), noErr);
    EXPECT_NE(FlushResFile(ref), noErr);
    EXPECT_TRUE(at.read("b") == before);
    EXPECT_EQ(GetHandleSize(GetResource(kDial, 1)), 100004);
    AddResource(handle(std::string(50000, 'a')), kDial, 3, P(""));
    OSErr added = ResError();
    EXPECT_EQ(GetResource(kDial, 3) != nullptr, added == noErr);

    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &all), 0);
    runs("update; close; open b r");
    EXPECT_EQ(GetHandleSize(GetResource(kDial, 1)), 100004);
    EXPECT_EQ(Get1Resource(kDial, 2) == nullptr, removed == noErr);
    EXPECT_EQ(Get1Resource(kDial, 3) != nullptr, added == noErr);
}

// Books and folders that can't be written, and memory that runs short.
TEST_F(Books, WhatCantBeIsTold)
{
    runs("make b; add Dial 1 - x; update; close; open b r; more Dial 1 y; "
         "update ! wrPermErr; add Dial 2 - z ! wrPermErr; close; open b");
    mem_fail_nth(1);
    EXPECT_EQ(GetResource(kDial, 1), nullptr);
    EXPECT_EQ(ResError(), memFullErr);
    runs("find Dial 1 = x; close");

    std::string before = at.read("b");
    fs::permissions(at.root, fs::perms(0755));
    fs::permissions(at.path("b"), fs::perms(0666));
    fs::permissions(at.path(""), fs::perms(0555));
    int code = exit_of([&] {
        constexpr uid_t kNobody = 65534; // root may write everywhere
        if (geteuid() == 0 && setuid(kNobody) != 0)
            return 2;
        runs("open b; get Dial 1 = x; add Dial 2 - y; update ! wrPermErr");
        return HasFailure() ? 4 : 0;
    });
    EXPECT_EQ(code, 0);
    fs::permissions(at.path(""), fs::perms(0755));
    EXPECT_TRUE(at.read("b") == before);
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

// The generation that an open book holds; fails if it is mixed.
static int read_generation()
{
    EXPECT_EQ(Count1Resources(kDial), kGenerationRecords);
    int generation = std::atoi(bytes(Get1Resource(kDial, 0)).c_str());
    for (int16_t i = 0; i < kGenerationRecords; i++) {
        std::string text = bytes(Get1Resource(kDial, i));
        EXPECT_EQ(std::atoi(text.c_str()), generation);
        size_t length = text.size() - std::to_string(generation).size() - 1;
        EXPECT_EQ(length, size_t(50 + 700 * ((generation + i) % 9)));
    }
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
TEST_F(Books, KilledWhileSaving)
{
    for (bool tear : {false, true}) {
        std::string name = tear ? "torn" : "whole";
        runs("make " + name);
        write_generation(ref, 1);
        runs("close");
        int n = 1, reached = 1;
        auto now = [&] {
            runs("open " + name);
            int generation = read_generation();
            runs("close");
            return generation;
        };
        auto save = [&] {
            runs("open " + name);
            write_generation(ref, reached + 1);
        };
        while (run_and_kill(n++, tear, save) && !HasFailure()) {
            int generation = now();
            EXPECT_TRUE(generation == reached || generation == reached + 1);
            reached = generation;
        }
        EXPECT_EQ(now(), reached + 1);
        EXPECT_GT(n, 20); // so many calls does a save take
    }
}

// Until its first update a new book isn't there, or is an empty file that is
// made again.
TEST_F(Books, KilledWhileMakingOne)
{
    for (bool tear : {false, true}) {
        int n = 0;
        std::string name;
        auto make = [&] {
            runs("make " + name);
            write_generation(ref, 7);
        };
        do
            name = (tear ? "torn" : "whole") + std::to_string(++n);
        while (run_and_kill(n, tear, make) && [&] {
            ref = HOpenResFile(at.vRef, at.dir, P(name), fsRdWrPerm);
            if (ref > 0) {
                EXPECT_EQ(read_generation(), 7) << n;
            } else {
                EXPECT_TRUE(ResError() == fnfErr || ResError() == eofErr);
                make();
                EXPECT_EQ(ResError(), noErr);
            }
            runs("close");
            return n < 1000 && !HasFailure();
        }());
        runs("open " + name);
        EXPECT_EQ(read_generation(), 7);
        EXPECT_GT(n, 5);
        runs("close");
    }
}
