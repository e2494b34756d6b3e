// A book is made, brought up from older layouts, and saved when it differs.
#include "connect/PhoneBook.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/stat.h>

#include "connect/DialDir.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "tests/support/running.h"
#include "transfer/xmodem.h"

using Strings = std::vector<std::string>;

namespace {

Strings strings_of(const Book &book, int16_t id)
{
    const Record *r = find(book, FOUR("STR#"), id);
    return r ? list_strings(r->data) : Strings{"no such list"};
}

cset_t connection_of(const Book &book, int16_t id)
{
    cset_t c = {};
    if (const Record *r = find(book, FOUR("Dial"), id))
        copy_cset_swaps(r->data.data(), &c);
    return c;
}

} // namespace

TEST(NewBook, HoldsTheTemplatesAndOpensAgain)
{
    make_place();
    EXPECT_EQ(dRcvItem, 2);
    EXPECT_EQ(dSendItem, 4);
    // The first port may be any: the user names the line instead.
    std::string line;
    hl_line_open(HL_PTY);
    line = hl_line_path();
    hl_modifiers(shiftKey);
    hl_modal([&](WindowPtr w) {
        CopyCStringToPascal(line.c_str(), gPortOverride);
        hl_modifiers(0);
        hl_hit(w, 2);
    });
    EXPECT_EQ(run_program(), 0);
    EXPECT_EQ(hl_messages().size(), 2u) << "splash and port dialog";
    EXPECT_EQ(hl_line_heard(), "") << "nothing is typed at a board";
    struct stat st;
    ASSERT_EQ(stat(book_path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    Book book = read_book();
    ASSERT_TRUE(find(book, FOUR("Dial"), 3000));
    EXPECT_EQ(find(book, FOUR("Dial"), 3000)->name, "Local");
    EXPECT_EQ(find(book, FOUR("Dial"), 3000)->data.size(), 136u);
    cset_t c = connection_of(book, 3000);
    EXPECT_EQ(c.localStrID, 3000);
    EXPECT_EQ(c.baudLong, 115200u);
    EXPECT_EQ(c.dconvChar, 'B');
    EXPECT_EQ(c.flowFlags, 0);
    EXPECT_EQ(strings_of(book, 3000),
              (Strings{"", "", "", "", "", "", "", "", "rz\r", "d z "}));
    Strings globals = strings_of(book, 256);
    ASSERT_EQ(globals.size(), 15u);
    EXPECT_EQ(globals[kGlobDefault - 1], "Local");
    EXPECT_EQ(globals[kGlobDialSub1 - 1], "*70,");
    EXPECT_EQ(globals[kGlobDialSub1], "9,");
    EXPECT_NE(globals[kGlobPort - 1], "");
    ASSERT_TRUE(find(book, FOUR("STR#"), 0));
    EXPECT_EQ(find(book, FOUR("STR#"), 0)->name, "Default");
    ASSERT_TRUE(find(book, FOUR("qSet"), 1));
    EXPECT_EQ(find(book, FOUR("qSet"), 1)->data.size(), 428u);
}

// ---- older layouts ---------------------------------------------------------

namespace {

struct migration {
    const char *what;
    void (*old)(Book &book);
    void (*expect)(const Book &onDisk);
};

void put_setting(Book &book, const std::function<void(qset_t &)> &change)
{
    book[kSettings].data = qset_data(change);
}

const migration migrations[] = {
    {"nothing to do", [](Book &) {},
     [](const Book &disk) {
         EXPECT_EQ(qset.inBufSize, 16384);
         EXPECT_FALSE(qsetChanged);
         EXPECT_EQ(disk[0].data.size(), 136u);
     }},
    {"input buffer of 4096",
     [](Book &b) { put_setting(b, [](qset_t &q) { q.inBufSize = 4096; }); },
     [](const Book &) {
         EXPECT_EQ(qset.inBufSize, 16384);
         EXPECT_TRUE(qsetChanged);
     }},
    {"input buffer of 4097",
     [](Book &b) { put_setting(b, [](qset_t &q) { q.inBufSize = 4097; }); },
     [](const Book &) {
         EXPECT_EQ(qset.inBufSize, 4097);
         EXPECT_FALSE(qsetChanged);
     }},
    {"old defaults",
     [](Book &b) {
         put_setting(b, [](qset_t &q) {
             q.fileBufSize = 8192;
             q.printFontSize = 60;
             q.binType = FOUR("qBIN");
             q.binCreator = FOUR("abcd");
         });
     },
     [](const Book &) {
         EXPECT_EQ(qset.fileBufSize, 16384);
         EXPECT_EQ(qset.printFontSize, 12);
         EXPECT_EQ(qset.binType, FOUR("????"));
         EXPECT_EQ(qset.binCreator, FOUR("????"));
         EXPECT_FALSE(qsetChanged);
     }},
    {"no colours",
     [](Book &b) {
         put_setting(b, [](qset_t &q) {
             memset(&q.rgbTable[0], 0, 12);
             q.rgbTable[5] = {1, 2, 3};
         });
     },
     [](const Book &) {
         qset_t fresh;
         copy_qsetup_swaps(*GetResource(FOUR("qSet"), 0), &fresh);
         EXPECT_EQ(memcmp(qset.rgbTable, fresh.rgbTable, 108), 0);
     }},
    {"one colour is enough",
     [](Book &b) {
         put_setting(b, [](qset_t &q) {
             memset(q.rgbTable, 0, sizeof q.rgbTable);
             q.rgbTable[1].blue = 1;
         });
     },
     [](const Book &) { EXPECT_EQ(qset.rgbTable[1].blue, 1); }},
    {"short settings", [](Book &b) { b[kSettings].data.resize(256); },
     [](const Book &disk) {
         EXPECT_EQ(qset.inBufSize, 16384);
         EXPECT_NE(qset.rgbTable[0].red, 0) << "colours by default";
         EXPECT_EQ(find(disk, FOUR("qSet"), 1)->data.size(), 428u);
     }},
    {"no settings", [](Book &b) { b.erase(b.begin() + kSettings); },
     [](const Book &disk) {
         ASSERT_TRUE(find(disk, FOUR("qSet"), 1));
         EXPECT_EQ(find(disk, FOUR("qSet"), 1)->data, qset_data());
     }},
    {"no global strings",
     [](Book &b) {
         put_setting(b, [](qset_t &q) {
             memcpy(q.oldModemName, "\x05Hayes", 6);
             memcpy(q.oldDefService, "\x05Local", 6);
             q.rcvFolder = -3;
         });
         b[kMacros].name = "";
         b[kGlobals] = {FOUR("STR#"), 1500, "Hayes",
                        list_data({"ATDT", "\r", "ATDP", "\r", "ATZ\r", "\r",
                                   "", "", "", "cCONNECT"})};
     },
     [](const Book &disk) {
         Strings g = strings_of(disk, 256);
         ASSERT_EQ(g.size(), 15u);
         EXPECT_EQ(g[kGlobModem - 1], "Hayes");
         EXPECT_EQ(g[kGlobModemInit - 1], "ATZ\r");
         EXPECT_EQ(g[kGlobDefault - 1], "Local");
         EXPECT_EQ(find(disk, FOUR("STR#"), 0)->name, "Default");
         EXPECT_EQ(modem_res, 1500);
     }},
    {"an overlong old name",
     [](Book &b) {
         put_setting(b, [](qset_t &q) { memset(q.oldModemName, 0xFF, 32); });
         b[kGlobals] = {FOUR("STR#"), 1500, "spare", list_data({})};
     },
     [](const Book &disk) {
         EXPECT_EQ(strings_of(disk, 256)[kGlobModem - 1].size(), 31u);
     }},
    {"a modem list without patterns",
     [](Book &b) {
         b.push_back(
             {FOUR("STR#"), 1000, "Old",
              list_data({"a", "b", "c", "d", "e", "1234567", "g", "h", "i"})});
     },
     [](const Book &disk) {
         Strings m = strings_of(disk, 1000);
         ASSERT_GT(m.size(), 9u);
         EXPECT_EQ(m[4], "e");
         EXPECT_EQ(m[5], "\r") << "the abort string of seven bytes";
         EXPECT_EQ(m[9], "cCONNECT") << "from the program's own list";
         EXPECT_EQ(mstr_count, int16_t(m.size()));
     }},
    {"an abort string of seven bytes alone",
     [](Book &b) {
         b.push_back({FOUR("STR#"), 1000, "Old",
                      list_data({"a", "", "", "", "", "1234567", "", "", "",
                                 "cYES", "fNO", "", "lost"})});
     },
     [](const Book &disk) {
         EXPECT_EQ(
             strings_of(disk, 1000),
             (Strings{"a", "", "", "", "", "\r", "", "", "", "cYES", "fNO"}));
     }},
    {"entries of the older layout",
     [](Book &b) {
         b[kEntry].data = dial_data([](cset_t &c) {
             c.localStrID = 0;
             memcpy(c.oldPhone,
                    "\x07"
                    "5551212",
                    8);
             memcpy(c.oldZStart, "\x03uz\r", 4);
         });
         // Its number is taken by another list; and one entry whose list is
         // missing, with a number of its own out of the range.
         b.push_back({FOUR("Dial"), 200, "Stray",
                      dial_data([](cset_t &c) { c.localStrID = 777; })});
     },
     [](const Book &disk) {
         cset_t c = connection_of(disk, 3000);
         EXPECT_EQ(c.localStrID, 3500);
         EXPECT_EQ(
             strings_of(disk, 3500),
             (Strings{"5551212", "", "", "", "", "", "", "", "uz\r", "d z "}));
         EXPECT_EQ(connection_of(disk, 200).localStrID, 3501);
         EXPECT_EQ(strings_of(disk, 3501).size(), 10u);
         EXPECT_EQ(local(1), "5551212");
     }},
    {"a connection of the oldest layout's length",
     [](Book &b) {
         b[kEntry].data = dial_data([](cset_t &c) {
             c.localStrID = 0;
             c.baudWord = 9600;
             memcpy(c.oldPhone,
                    "\003"
                    "555",
                    4);
         });
         b[kEntry].data.resize(128);
         b.erase(b.begin() + kEntryList);
     },
     [](const Book &disk) {
         EXPECT_EQ(find(disk, FOUR("Dial"), 3000)->data.size(), 136u);
         EXPECT_EQ(connection_of(disk, 3000).localStrID, 3000);
         EXPECT_EQ(strings_of(disk, 3000).at(0), "555");
         EXPECT_EQ(Baudrate, 9600);
     }},
    {"a number below 57601 in the word alone",
     [](Book &b) {
         b[kEntry].data = dial_data([](cset_t &c) {
             c.localStrID = 3000;
             c.baudWord = 19200;
             c.baudLong = 0;
         });
     },
     [](const Book &) { EXPECT_EQ(Baudrate, 19200); }},
    {"no timing",
     [](Book &b) {
         b[kEntry].data = dial_data([](cset_t &c) {
             c.localStrID = 3000;
             c.xmTimeout = 0;
             c.szTimeout = 33;
             c.bsKey = 0;
         });
     },
     [](const Book &) {
         EXPECT_EQ(cset.xmTimeout, 80);
         EXPECT_EQ(cset.xmStartTimeout, 100);
         EXPECT_EQ(cset.szTimeout, 60);
         EXPECT_EQ(cset.rzTimeout, 10);
         EXPECT_EQ(cset.bsKey, 8);
         EXPECT_FALSE(set_changed) << "until somebody compares";
         hl_ask_answer(true, {}, 2);
         EXPECT_TRUE(chkSetChg());
         EXPECT_EQ(hl_asked().size(), 1u);
     }},
};

class Migration : public testing::TestWithParam<size_t> {};

} // namespace

TEST_P(Migration, OldLayoutInNewStateOut)
{
    const migration &m = migrations[GetParam()];
    SCOPED_TRACE(m.what);
    make_place();
    Book book = plain_book();
    m.old(book);
    write_book(book);
    start_program();
    ASSERT_TRUE(myWindow);
    EXPECT_EQ(hl_messages().size(), 1u) << "the splash alone";
    // The book is open for writing; a copy of it is what the disk holds.
    CloseResFile(pRef);
    Book disk = read_book();
    FSSpec spec = book_spec();
    pRef = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    qsHdl = Get1Resource(FOUR("qSet"), 1);
    ddGetList();
    DialHdl = ddHdls[curDialItem];
    m.expect(disk);
}

INSTANTIATE_TEST_SUITE_P(Book, Migration,
                         testing::Range(size_t(0), std::size(migrations)));

// ---- switching and saving --------------------------------------------------

TEST(Saving, NothingIsWrittenOrAskedWithoutAChange)
{
    make_place();
    write_book(plain_book());
    std::string before = read_bytes(book_path());
    EXPECT_EQ(run_program(), 0);
    EXPECT_TRUE(hl_asked().empty());
    EXPECT_EQ(read_bytes(book_path()), before);
}

TEST_F(Running, AChangedConnectionIsAskedAbout)
{
    do_parity('E');
    EXPECT_TRUE(set_changed);
    hl_ask_answer(false);
    EXPECT_FALSE(chkSetChg()) << "cancelled";
    EXPECT_TRUE(set_changed);
    hl_ask_answer(true, {}, 2);
    EXPECT_TRUE(chkSetChg()) << "not saved";
    EXPECT_FALSE(set_changed);
    EXPECT_EQ((*DialHdl)[2], 'N');
    hl_ask_answer(true, {}, 1);
    EXPECT_TRUE(chkSetChg()) << "saved";
    EXPECT_EQ((*DialHdl)[2], 'E');
    EXPECT_EQ(hl_asked().size(), 3u);
    EXPECT_EQ(hl_asked()[0].name, "Local");
    EXPECT_TRUE(chkSetChg());
    EXPECT_EQ(hl_asked().size(), 3u) << "nothing left to ask about";

    // Forgotten, when it has come back to what the book holds.
    do_parity('O');
    do_parity('E');
    EXPECT_TRUE(set_changed);
    EXPECT_TRUE(chkSetChg());
    EXPECT_FALSE(set_changed);
    EXPECT_EQ(hl_asked().size(), 3u);
}

TEST_F(Running, StringsAreAskedAboutButACapturePathIsJustKept)
{
    CopyCStringToPascal("vol:1:cap.txt", gArchiveStr);
    EXPECT_TRUE(chkSetChg());
    EXPECT_TRUE(hl_asked().empty());
    EXPECT_EQ(local(kStrCapture), "vol:1:cap.txt");
    EXPECT_FALSE(set_changed);

    Str255 user;
    CopyCStringToPascal("me", user);
    EXPECT_EQ(SetStrInList(gLocalStrings, kStrUser, user), noErr);
    hl_ask_answer(true, {}, 1);
    EXPECT_TRUE(chkSetChg());
    EXPECT_EQ(hl_asked().size(), 1u);
    hl_quit();
    run_ticks(60);
    finish_up();
    Strings s = strings_of(read_book(), 3000);
    EXPECT_EQ(s[kStrUser - 1], "me");
    EXPECT_EQ(s[kStrCapture - 1], "vol:1:cap.txt");
}

TEST_F(Running, SettingsAndTheStatusWindowsPlaceSurviveARestart)
{
    qset.xferWinLoc = {0x1234, 0x0056};
    qset.termFontSize = 20;
    Str255 text;
    CopyCStringToPascal("9,,", text);
    EXPECT_EQ(SetGlob(kGlobDialSub1 + 2, text), noErr);
    qsetChanged = 1;
    saveQset();
    EXPECT_FALSE(qsetChanged);
    moreToDo = 0;
    finish_up();

    Book book = read_book();
    EXPECT_EQ(strings_of(book, 256)[kGlobDialSub1 + 1], "9,,");
    qset_t q;
    copy_qsetup_swaps(find(book, FOUR("qSet"), 1)->data.data(), &q);
    EXPECT_EQ(q.termFontSize, 20);
    EXPECT_EQ(q.xferWinLoc.v, 0x1234);
    EXPECT_EQ(q.xferWinLoc.h, 0x0056);
    EXPECT_EQ(q.bufWinLoc.v, 0x3412) << "the swapped copy";
    EXPECT_EQ(q.bufWinLoc.h, 0x5600);
}

TEST(Saving, AnotherConnectionIsTakenOnlyIfTheUserAgrees)
{
    make_place();
    Book book = plain_book();
    book.push_back({FOUR("Dial"), 3001, "Other", dial_data([](cset_t &c) {
                        c.localStrID = 3001;
                        c.echoFlag = 1;
                    })});
    book.push_back({FOUR("STR#"), 3001, "", list_data({"123"})});
    write_book(book);
    start_program();
    ASSERT_EQ(ddCount, 2);
    ASSERT_EQ(curDialItem, 0);
    do_dbit('7');
    hl_ask_answer(false);
    EXPECT_FALSE(loadSettings(1));
    EXPECT_EQ(curDialItem, 0);
    hl_ask_answer(true, {}, 2);
    EXPECT_TRUE(loadSettings(1));
    FinishSetup();
    EXPECT_EQ(curDialItem, 1);
    EXPECT_EQ(S(ServiceName), "Other");
    EXPECT_EQ(local(1), "123");
    EXPECT_EQ(cset.echoFlag, 1);
    EXPECT_FALSE(set_changed);
    EXPECT_TRUE(loadSettings(1)) << "it is in use already";
    EXPECT_TRUE(loadSettings(99)) << "nothing there";
    EXPECT_EQ(curDialItem, 1);
}

TEST_F(Running, AConnectionIsNotedInTheBook)
{
    uint32_t now;
    GetDateTime(&now);
    UpdateConnect();
    moreToDo = 0;
    finish_up();
    uint32_t noted = connection_of(read_book(), 3000).lastConnect;
    EXPECT_GE(noted, now);
    EXPECT_LE(noted, now + 60);
}

TEST(Ids, AFreeOneIsFoundOrNone)
{
    make_place();
    Book book = plain_book();
    for (int16_t id = 3500; id < 3999; id++)
        book.push_back({FOUR("STR#"), id, "", list_data({})});
    write_book(book);
    start_program();
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3500), 3999);
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3000), 3001);
    Handle h = NewHandleClear(2);
    AddResource(h, FOUR("STR#"), 3999, PSTR(""));
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3500), -1);
}
