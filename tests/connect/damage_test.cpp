// Books that can't be opened, read or saved: each is told by name, and the
// file stays as it was.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

#include "connect/DialDir.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"

namespace {

bool told(const std::string &text)
{
    for (const std::string &m : hl_messages()) {
        if (m.find(text) != std::string::npos)
            return true;
    }
    return false;
}

std::string all_messages()
{
    std::string all;
    for (const std::string &m : hl_messages())
        all += m + "\n";
    return all;
}

} // namespace

TEST(Damage, AFileThatIsNoBookIsNamedAndLeft)
{
    struct row {
        const char *what;
        std::function<std::string(const std::string &sound)> make;
    };
    const row rows[] = {
        {"text", [](const std::string &) { return "Dear diary,\n"; }},
        {"one byte", [](const std::string &) { return "x"; }},
        {"later version",
         [](const std::string &s) {
             std::string t = s;
             t[63] = 2;
             return t;
         }},
        {"cut after the head",
         [](const std::string &s) { return s.substr(0, 100); }},
        {"cut in the middle",
         [](const std::string &s) { return s.substr(0, s.size() / 2); }},
        {"overwritten",
         [](const std::string &s) {
             std::string t = s;
             for (size_t i = 4096; i < t.size(); i++)
                 t[i] = char(i * 31);
             return t;
         }},
        {"another program's database",
         [](const std::string &s) {
             std::string t = s;
             memcpy(&t[68], "\0\0\0\1", 4);
             return t;
         }},
    };
    make_place();
    write_book(plain_book());
    std::string sound = read_bytes(book_path());
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        std::string bytes = r.make(sound);
        write_bytes(book_path(), bytes);
        size_t before = hl_messages().size();
        moreToDo = 1;
        hl_answer(1);
        EXPECT_EQ(run_program(), 0);
        ASSERT_EQ(hl_messages().size(), before + 2) << "splash and alert";
        EXPECT_NE(hl_messages().back().find("phonebook.qpho"),
                  std::string::npos)
            << hl_messages().back();
        EXPECT_EQ(read_bytes(book_path()), bytes);
        EXPECT_FALSE(myWindow);
    }
}

TEST(Damage, AFolderThatCantBeWrittenIsTold)
{
    make_place();
    setenv("XDG_CONFIG_HOME", "/proc/self/no-such-place", 1);
    hl_answer(1);
    EXPECT_EQ(run_program(), 0);
    EXPECT_TRUE(told("phonebook.qpho")) << all_messages();
    EXPECT_FALSE(myWindow);
}

TEST(Damage, WithoutAnyFolderThereIsOneMessageWithTheReason)
{
    make_place();
    std::string file = std::string(getenv("HOME")) + "/file";
    write_bytes(file, "");
    for (const char *name :
         {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
        setenv(name, (file + "/home").c_str(), 1);
    hl_answer(1);
    EXPECT_EQ(run_program(), 0);
    ASSERT_EQ(hl_messages().size(), 2u) << all_messages();
    EXPECT_TRUE(told("There is a file of that name")) << all_messages();
}

TEST(Damage, ABookInUseIsTold)
{
    make_place();
    write_book(plain_book());
    FSSpec spec = book_spec();
    std::string before = read_bytes(book_path());
    int16_t ref = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    ASSERT_GT(ref, 0);
    UseResFile(kProgramResFile);
    hl_answer(1);
    EXPECT_EQ(run_program(), 0);
    EXPECT_TRUE(told("phonebook.qpho")) << all_messages();
    EXPECT_EQ(read_bytes(book_path()), before);
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
    EXPECT_TRUE(told("letter.txt")) << all_messages();
    EXPECT_TRUE(told("empty.qpho")) << all_messages();
    EXPECT_TRUE(std::filesystem::exists(empty));
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
    std::string place = make_place();
    Book book = plain_book();
    book[0].name = "Elsewhere";
    write_book(book);
    std::string other = place + "/mine.qpho";
    std::filesystem::rename(book_path(), other);
    ASSERT_TRUE(InitProgram());
    hl_open_files({other});
    run_ticks(60);
    ASSERT_TRUE(myWindow);
    EXPECT_EQ(S(ServiceName), "Elsewhere");
    EXPECT_FALSE(std::filesystem::exists(book_path()));
}

TEST(Damage, DamagedRecordsAreNamedUsedAndLeft)
{
    struct row {
        const char *what;
        void (*harm)(Book &book);
        const char *name;
    };
    const row rows[] = {
        {"short connection", [](Book &b) { b[0].data.resize(40); }, "Local"},
        {"empty connection", [](Book &b) { b[0].data.clear(); }, "Local"},
        {"long connection", [](Book &b) { b[0].data += "more"; }, "Local"},
        {"long settings", [](Book &b) { b[4].data += "more"; }, "qSet 1"},
        {"list whose count is too high",
         [](Book &b) { b[1].data[1] = char(200); }, "Local"},
        {"list whose last string is cut", [](Book &b) { b[1].data.pop_back(); },
         "Local"},
        {"macros that say too much", [](Book &b) { b[2].data[2] = char(255); },
         "Default"},
        {"global strings, of which a start sets some",
         [](Book &b) { b[3].data[1] = 2; }, "STR# 256"},
        {"global strings with a tail", [](Book &b) { b[3].data += "tail"; },
         "STR# 256"},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EXIT(
            {
                make_place();
                Book book = plain_book();
                r.harm(book);
                write_book(book);
                std::string before = read_bytes(book_path());
                hl_answer(1);
                start_program();
                moreToDo = 0;
                bool stood = myWindow;
                finish_up();
                bool good = stood && told("damaged") && told(r.name) &&
                            read_bytes(book_path()) == before &&
                            hl_messages().size() == 2;
                if (!good)
                    fprintf(stderr, "%s%s\n", all_messages().c_str(),
                            read_bytes(book_path()) == before ? ""
                                                              : "written!");
                std::filesystem::remove_all(getenv("HOME"));
                _exit(good ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
    }
}

// The limit of a file's size stands in for a full disk: what is beyond it
// can't be written.
static void fill_disk()
{
    rlimit limit = {1000, RLIM_INFINITY};

    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST(Damage, AnOldLayoutOnAFullDiskIsToldAndLeft)
{
    struct row {
        const char *what;
        void (*age)(Book &book);
        const char *text;
    };
    const row rows[] = {
        {"no settings", [](Book &b) { b.erase(b.begin() + 4); },
         "can’t take a new record"},
        {"no global strings", [](Book &b) { b.erase(b.begin() + 3); },
         "can’t take a new record"},
        {"short settings", [](Book &b) { b[4].data.resize(300); },
         "can’t be brought to disk"},
        {"a connection without strings",
         [](Book &b) {
             b[0].data = dial_data();
             b.erase(b.begin() + 1);
         },
         "can’t be brought to the present form"},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EXIT(
            {
                make_place();
                Book book = plain_book();
                r.age(book);
                write_book(book);
                std::string before = read_bytes(book_path());
                fill_disk();
                for (int i = 0; i < 5; i++)
                    hl_answer(1);
                start_program();
                bool good = told(r.text) && read_bytes(book_path()) == before;
                if (!good)
                    fprintf(stderr, "%s\n", all_messages().c_str());
                std::filesystem::remove_all(getenv("HOME"));
                _exit(good ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
    }
}

TEST(Damage, ADiskThatIsFullLeavesTheOldBook)
{
    make_place();
    write_book(plain_book());
    start_program();
    ASSERT_TRUE(myWindow);
    std::string before = read_bytes(book_path());
    fill_disk();
    size_t messages = hl_messages().size();
    do_parity('E');
    hl_answer(1);
    sav_setup(nullptr);
    EXPECT_EQ(hl_messages().size(), messages + 1) << all_messages();
    EXPECT_TRUE(told("the connection can’t be saved")) << all_messages();
    qset.termFontSize = 22;
    hl_answer(1);
    saveQset();
    EXPECT_EQ(hl_messages().size(), messages + 2) << all_messages();
    EXPECT_TRUE(told("the settings can’t be saved")) << all_messages();

    rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
    EXPECT_EQ(read_bytes(book_path()), before);
    // With room again, the next save writes all that was owed.
    EXPECT_EQ(FlushPhone(), noErr);
    moreToDo = 0;
    finish_up();
    Book book = read_book();
    EXPECT_EQ(find(book, FOUR("Dial"), 3000)->data[2], 'E');
    EXPECT_EQ(find(book, FOUR("qSet"), 1)->data[64], 22);
}

TEST(Damage, WithoutMemoryForTheBuffersTheStartEndsInWords)
{
    make_place();
    Book book = plain_book();
    write_book(book);
    ASSERT_TRUE(InitProgram());
    mem_set_budget(8000); // a book fits, an input buffer of 16384 doesn't
    hl_answer(1);
    EXPECT_NE(OpenDefPhoneBook(), noErr);
    EXPECT_FALSE(myWindow);
    EXPECT_FALSE(moreToDo) << "nobody could tell it to quit";
    ASSERT_EQ(hl_messages().size(), 2u);
    EXPECT_NE(hl_messages()[1].find("emory"), std::string::npos);
    mem_set_budget(256 << 20);
    finish_up();
}
