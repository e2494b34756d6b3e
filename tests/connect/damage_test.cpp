// Books that can't be opened, read or saved: each is reported by name, the file
// stays as it was, and what the user changed isn't lost.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sys/resource.h>

#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"

namespace fs = std::filesystem;

TEST(Damage, AFileThatIsNoBookIsNamedAndLeft)
{
    make_place();
    write_book(plain_book());
    const std::string sound = read_bytes(book_path());
    std::string later = sound, over = sound, foreign = sound;
    later[63] = 2;
    for (size_t i = 4096; i < over.size(); i++)
        over[i] = char(i * 31);
    memcpy(&foreign[68], "\0\0\0\1", 4);
    const std::pair<const char *, std::string> rows[] = {
        {"text", "Dear diary,\n"},
        {"one byte", "x"},
        {"later version", later},
        {"cut after the head", sound.substr(0, 100)},
        {"cut in the middle", sound.substr(0, sound.size() / 2)},
        {"overwritten", over},
        {"another program's database", foreign},
    };
    for (auto &[what, bytes] : rows) {
        SCOPED_TRACE(what);
        write_bytes(book_path(), bytes);
        size_t before = hl_messages().size();
        moreToDo = 1;
        hl_answer(1);
        EXPECT_EQ(run_program(), 0);
        ASSERT_EQ(hl_messages().size(), before + 2) << "splash and alert";
        EXPECT_NE(hl_messages().back().find("phonebook.qpho"),
                  std::string::npos);
        EXPECT_EQ(read_bytes(book_path()), bytes);
        EXPECT_FALSE(myWindow);
    }
}

TEST(Damage, AStartThatCantBeSaysWhyAndEnds)
{
    const struct {
        const char *what;
        void (*harm)();
        const char *words;
    } rows[] = {
        {"a folder that can't be made",
         [] { setenv("XDG_CONFIG_HOME", "/proc/self/no-such-place", 1); },
         "phonebook.qpho"},
        {"no folder at all",
         [] {
             std::string file = std::string(getenv("HOME")) + "/file";
             write_bytes(file, "");
             for (const char *name : {"HOME", "XDG_CONFIG_HOME",
                                      "XDG_DATA_HOME", "XDG_STATE_HOME"})
                 setenv(name, (file + "/home").c_str(), 1);
         },
         "There is a file of that name"},
        {"a book in use",
         [] {
             write_book(plain_book());
             FSSpec spec = book_spec();
             EXPECT_GT(
                 HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm),
                 0);
             UseResFile(kProgramResFile);
         },
         "phonebook.qpho"},
        {"no memory for the buffers",
         [] {
             write_book(plain_book());
             ASSERT_TRUE(InitProgram());
             mem_set_budget(8000); // a book fits, an input buffer doesn't
             hl_answer(1);
             EXPECT_NE(OpenDefPhoneBook(), noErr);
             EXPECT_FALSE(moreToDo) << "nobody could tell it to quit";
             mem_set_budget(256 << 20);
         },
         "emory"},
    };
    for (auto &r : rows) {
        EXPECT_TRUE(apart([&] {
            r.harm();
            hl_answer(1);
            if (moreToDo) {
                EXPECT_EQ(run_program(), 0);
            }
            EXPECT_EQ(hl_messages().size(), 2u) << all_messages();
            EXPECT_TRUE(told(r.words)) << all_messages();
            EXPECT_FALSE(myWindow);
        })) << r.what;
    }
}

TEST(Damage, AnArgumentThatIsNoBookIsNamedAndTheStandardOneOpens)
{
    std::string place = make_place();
    write_book(plain_book());
    std::string letter = place + "/letter.txt", empty = place + "/empty.qpho";
    write_bytes(letter, "Dear diary,\n");
    write_bytes(empty, "");
    ASSERT_TRUE(InitProgram());
    hl_open_files({letter, empty});
    hl_answer(1);
    hl_answer(1);
    run_ticks(60);
    EXPECT_TRUE(told("this file is no phone book: “letter.txt”"))
        << all_messages();
    EXPECT_TRUE(told("empty.qpho")) << all_messages();
    EXPECT_TRUE(fs::exists(empty));
    EXPECT_TRUE(myWindow);
    EXPECT_EQ(read_bytes(letter), "Dear diary,\n");

    // With a window up, documents are let go without a word.
    size_t before = hl_messages().size();
    hl_open_files({letter, book_path()});
    run_ticks(60);
    EXPECT_EQ(hl_messages().size(), before);
}

TEST(Damage, ABookGivenAsArgumentIsTheOneThatOpens)
{
    std::string other = make_place() + "/mine.qpho";
    Book book = plain_book();
    book[kEntry].name = "Elsewhere";
    write_book(book);
    fs::rename(book_path(), other);
    ASSERT_TRUE(InitProgram());
    hl_open_files({other});
    run_ticks(60);
    ASSERT_TRUE(myWindow);
    EXPECT_EQ(S(ServiceName), "Elsewhere");
    EXPECT_FALSE(fs::exists(book_path()));
}

TEST(Damage, DamagedRecordsAreNamedUsedAndLeft)
{
    const struct {
        const char *what;
        void (*harm)(Book &book);
        const char *name;
    } rows[] = {
        {"short connection", [](Book &b) { b[kEntry].data.resize(40); },
         "Local"},
        {"long connection", [](Book &b) { b[kEntry].data += "more"; }, "Local"},
        {"long settings", [](Book &b) { b[kSettings].data += "more"; },
         "qSet 1"},
        {"list whose last string is cut",
         [](Book &b) { b[kEntryList].data.pop_back(); }, "Local"},
        {"macros that say too much",
         [](Book &b) { b[kMacros].data[2] = char(255); }, "Default"},
        {"global strings, of which a start sets some",
         [](Book &b) { b[kGlobals].data[1] = 2; }, "STR# 256"},
        {"a modem list, which looks like an old one",
         [](Book &b) {
             b.push_back({FOUR("STR#"), 1000, "Mine", list_text("1|2|3|4|5")});
             b.back().data[1] = 20;
         },
         "Mine"},
        {"one without a name",
         [](Book &b) {
             b.push_back({FOUR("STR#"), 1000, "", list_text("1|2")});
             b.back().data += "cMINE";
         },
         "STR# 1000"},
    };
    for (auto &r : rows) {
        EXPECT_TRUE(apart([&] {
            Book book = plain_book();
            r.harm(book);
            write_book(book);
            std::string before = read_bytes(book_path());
            hl_answer(1);
            start_program();
            moreToDo = 0;
            EXPECT_TRUE(myWindow);
            finish_up();
            EXPECT_TRUE(told("damaged") && told(r.name)) << all_messages();
            EXPECT_EQ(hl_messages().size(), 2u) << all_messages();
            EXPECT_EQ(read_bytes(book_path()), before) << "written!";
        })) << r.what;
    }
}

// ---- disks that are full ---------------------------------------------------

// The limit of a file's size stands in for a full disk: what is beyond it
// can't be written.
static void fill_disk(rlim_t most = 1000)
{
    rlimit limit = {most, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST(Damage, AnOldLayoutOnAFullDiskIsReportedAndLeft)
{
    const struct {
        const char *what;
        void (*age)(Book &book);
        const char *words;
    } rows[] = {
        {"no settings", [](Book &b) { b.erase(b.begin() + kSettings); },
         "can’t take a new record"},
        {"no global strings", [](Book &b) { b.erase(b.begin() + kGlobals); },
         "can’t take a new record"},
        {"short settings", [](Book &b) { b[kSettings].data.resize(300); },
         "can’t be brought to disk"},
        {"short connection", [](Book &b) { b[kEntry].data.resize(128); },
         "can’t be brought to disk"},
        {"a connection without strings",
         [](Book &b) {
             b[kEntry].data = dial_data();
             b.erase(b.begin() + kEntryList);
         },
         "can’t be brought to the present form"},
    };
    for (auto &r : rows) {
        EXPECT_TRUE(apart([&] {
            Book book = plain_book();
            r.age(book);
            write_book(book);
            std::string before = read_bytes(book_path());
            fill_disk();
            for (int i = 0; i < 5; i++)
                hl_answer(1);
            start_program();
            EXPECT_TRUE(told(r.words)) << all_messages();
            EXPECT_EQ(read_bytes(book_path()), before);
        })) << r.what;
    }
}

TEST_F(Running, AFailedSaveIsAskedAboutUntilItSucceeds)
{
    std::string before = read_bytes(book_path());
    fill_disk();
    for (int i = 0; i < 4; i++)
        hl_answer(1);
    do_parity('E');
    sav_setup(nullptr);
    EXPECT_TRUE(told("the connection can’t be saved")) << all_messages();
    qset.termFontSize = 22;
    saveQset();
    EXPECT_TRUE(told("the settings can’t be saved")) << all_messages();
    EXPECT_EQ(hl_messages().size(), 3u) << all_messages();

    // Save, which fails again; then no quit at all.
    hl_ask_answer(true, {}, 1);
    hl_ask_answer(false);
    EXPECT_FALSE(chkSetChg());
    EXPECT_EQ(hl_asked().size(), 2u);
    fill_disk(RLIM_INFINITY);
    EXPECT_EQ(read_bytes(book_path()), before);
    hl_ask_answer(true, {}, 1);
    EXPECT_TRUE(chkSetChg());
    EXPECT_TRUE(chkSetChg()) << "nothing left to ask about";
    EXPECT_EQ(hl_asked().size(), 3u);
    moreToDo = 0;
    finish_up();
    EXPECT_EQ(hl_asked().size(), 3u);
    Book book = read_book();
    EXPECT_EQ(find(book, FOUR("Dial"), 3000)->data[2], 'E');
    EXPECT_EQ(find(book, FOUR("qSet"), 1)->data[64], 22);
}

TEST_F(Running, SettingsThatFailAtTheEndAreAskedAbout)
{
    qset.termFontSize = 22;
    fill_disk();
    for (int i = 0; i < 3; i++)
        hl_answer(1);
    hl_ask_answer(true, {}, 1);
    hl_ask_answer(true, {}, 2);
    moreToDo = 0;
    finish_up();
    EXPECT_EQ(hl_asked().size(), 2u) << "once again, and then no more";
    EXPECT_EQ(hl_messages().size(), 3u) << all_messages();
}

TEST_F(Running, ABookThatWasMovedIsWrittenAnewWithAMessage)
{
    std::string old = read_bytes(book_path());
    fs::rename(book_path(), book_path() + ".old");
    do_parity('E');
    hl_answer(1);
    hl_ask_answer(true, {}, 1);
    EXPECT_TRUE(chkSetChg());
    EXPECT_TRUE(told("written anew")) << all_messages();
    EXPECT_TRUE(told("phonebook.qpho")) << all_messages();
    moreToDo = 0;
    finish_up();
    EXPECT_EQ(hl_messages().size(), 2u) << "once";
    EXPECT_EQ(find(read_book(), FOUR("Dial"), 3000)->data[2], 'E');
    EXPECT_EQ(read_bytes(book_path() + ".old"), old);
}
