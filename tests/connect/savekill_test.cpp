// A program killed at any moment of a save leaves a book that opens, with the
// old state whole or the new one.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "tests/support/running.h"

namespace {

// The round stands in four places, two of which go together in each save.
// The strings grow and shrink, so that the file's pages move.
[[noreturn]] void save_for_ever(int round, int ready)
{
    FSSpec spec = book_spec();
    pRef = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    if (pRef < 0)
        _exit(2);
    qsHdl = Get1Resource(FOUR("qSet"), 1);
    DialHdl = Get1Resource(FOUR("Dial"), 3000);
    copy_cset_swaps(*DialHdl, &cset);
    copy_qsetup_swaps(*qsHdl, &qset);
    gLocalStrings = Get1Resource(FOUR("STR#"), 3000);
    gGlobStrings = Get1Resource(FOUR("STR#"), 256);
    if (HandToHand(&gLocalStrings) != noErr ||
        HandToHand(&gGlobStrings) != noErr)
        _exit(3);
    if (write(ready, "!", 1) != 1)
        _exit(4);
    for (;; round++) {
        Str255 text;
        std::string s = std::to_string(round);
        s += std::string(size_t(round * 37 % 200), '.');
        CopyCStringToPascal(s.c_str(), text);
        (void)SetStrInList(gLocalStrings, kStrUser, text);
        cset.lastConnect = uint32_t(round);
        sav_setup(nullptr);
        (void)SetGlob(kGlobRcvFolder, text);
        qset.rcvFolder = round;
        saveQset();
    }
}

int number_in(const Book &book, int16_t list, int index)
{
    const Record *r = find(book, FOUR("STR#"), list);
    return r ? atoi(list_strings(r->data)[size_t(index - 1)].c_str()) : -1;
}

} // namespace

TEST(SaveKill, TheBookOpensAfterEachOf500)
{
    constexpr int kKills = 500;
    make_place(true);
    write_book(plain_book());
    std::mt19937 random(20240229);
    int moved = 0, torn = 0, last = 0;

    for (int i = 0; i < kKills; i++) {
        int ready[2];
        char byte;
        ASSERT_EQ(pipe(ready), 0);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            save_for_ever(last + 1, ready[1]);
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
        close(ready[1]);
        usleep(random() % 1500);
        kill(child, SIGKILL);
        int status;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;

        torn += std::filesystem::exists(book_path() + "-journal");
        Book book = read_book();
        ASSERT_EQ(book.size(), 5u) << "after kill " << i;
        cset_t c;
        qset_t q;
        copy_cset_swaps(find(book, FOUR("Dial"), 3000)->data.data(), &c);
        copy_qsetup_swaps(find(book, FOUR("qSet"), 1)->data.data(), &q);
        ASSERT_EQ(number_in(book, 3000, kStrUser), int(c.lastConnect));
        ASSERT_EQ(number_in(book, 256, kGlobRcvFolder), q.rcvFolder);
        int ahead = int(c.lastConnect) - q.rcvFolder;
        ASSERT_TRUE(ahead == 0 || ahead == 1) << "of two saves in order";
        moved += q.rcvFolder != last;
        last = q.rcvFolder;
    }
    EXPECT_GT(moved, kKills / 20) << "the kills came before any save";
    EXPECT_GT(torn, kKills / 20) << "no kill came amidst a save";
    RecordProperty("AmidstASave", torn);
}
