// A book is made, brought up from older layouts, and saved when it differs.
#include "connect/PhoneBook.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// The Dial record of a number, and a string list as one text.
static std::string entry_of(const Book &book, int16_t id)
{
    const Record *r = find(book, FOUR("Dial"), id);
    return r ? r->data : std::string(size_t(kDialRecLen), '\0');
}

static std::string strings_of(const Book &book, int16_t id)
{
    const Record *r = find(book, FOUR("STR#"), id);
    return r ? text_of_list(r->data) : "no such list";
}

// The settings in use, as the book would hold them.
static std::string settings_in_use()
{
    std::string record(size_t(kQsetLen), '\0');
    copy_qsetup_swaps(&qset, record.data());
    return record;
}

static std::string connection_in_use()
{
    std::string record(size_t(kDialRecLen), '\0');
    copy_cset_swaps(&cset, record.data());
    return record;
}

TEST(NewBook, HoldsTheTemplatesAndOpensAgain)
{
    make_place();
    EXPECT_EQ(dRcvItem, 2);
    EXPECT_EQ(dSendItem, 4);
    // The first port may be any: the user names the line instead.
    hl_line_open(HL_PTY);
    std::string line = hl_line_path();
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
    std::string entry = entry_of(book, 3000);
    EXPECT_EQ(with(entry, "localStrID=3000 baudWord=0 baudLong=115200 "
                          "dconvChar='B' flowFlags=0"),
              entry);
    EXPECT_EQ(find(book, FOUR("Dial"), 3000)->name, "Local");
    EXPECT_EQ(strings_of(book, 3000), "||||||||rz\r|d z ");
    std::string globals = strings_of(book, 256);
    EXPECT_TRUE(globals.ends_with("|No Modem||Local||||||*70,|9,|||"))
        << globals;
    EXPECT_FALSE(globals.starts_with("|")) << "a port";
    ASSERT_TRUE(find(book, FOUR("STR#"), 0));
    EXPECT_EQ(find(book, FOUR("STR#"), 0)->name, "Default");
    ASSERT_TRUE(find(book, FOUR("qSet"), 1));
    EXPECT_EQ(find(book, FOUR("qSet"), 1)->data.size(), 428u);
}

// ---- older layouts ---------------------------------------------------------

namespace {

// What an old book holds otherwise, in its settings, its connection, or as a
// whole; then what is in use.
struct migration {
    const char *what;
    const char *oldSettings, *oldEntry;
    void (*old)(Book &book);
    const char *settings;
    bool changed; // the settings ask to be saved
    const char *entry;
    void (*expect)(const Book &onDisk);
};

const char kFresh[] = "inBufSize=16384";

const migration migrations[] = {
    {"nothing to do", "", "", nullptr, kFresh, false, "", nullptr},
    {"input buffer of 4096", "inBufSize=4096", "", nullptr, kFresh, true, "",
     nullptr},
    {"input buffer of 4097", "inBufSize=4097", "", nullptr, "inBufSize=4097",
     false, "", nullptr},
    {"old defaults",
     "fileBufSize=8192 printFontSize=60 binType=qBIN binCreator=abcd", "",
     nullptr, "fileBufSize=16384 printFontSize=12 binType=???? binCreator=????",
     false, "", nullptr},
    {"no colours", "rgbTable=0,0,0,0,0,0,7", "", nullptr, "", false, "",
     [](const Book &) { EXPECT_EQ(settings_in_use(), qset_data()); }},
    {"one colour is enough", "rgbTable=0,0,0,0,0,1,0", "", nullptr,
     "rgbTable=0,0,0,0,0,1,0", false, "", nullptr},
    {"short settings", "", "", [](Book &b) { b[kSettings].data.resize(256); },
     kFresh, false, "",
     [](const Book &disk) {
         EXPECT_NE(qset.rgbTable[0].red, 0) << "colours by default";
         EXPECT_EQ(find(disk, FOUR("qSet"), 1)->data.size(), 428u);
     }},
    {"no settings", "", "", [](Book &b) { b.erase(b.begin() + kSettings); },
     kFresh, false, "",
     [](const Book &disk) {
         ASSERT_TRUE(find(disk, FOUR("qSet"), 1));
         EXPECT_EQ(find(disk, FOUR("qSet"), 1)->data, qset_data());
     }},
    {"no global strings",
     "oldModemName=Hayes oldDefService=Local rcvFolder=4294967293", "",
     [](Book &b) {
         b[kMacros].name = "";
         b[kGlobals] = {FOUR("STR#"), 1500, "Hayes",
                        list_text("ATDT|\r|ATDP|\r|ATZ\r|\r||||cCONNECT")};
     },
     "", false, "",
     [](const Book &disk) {
         std::string g = strings_of(disk, 256);
         EXPECT_NE(g.find("|Hayes|ATZ\r|Local||"), g.npos) << g;
         EXPECT_EQ(std::ranges::count(g, '|'), 14);
         EXPECT_EQ(find(disk, FOUR("STR#"), 0)->name, "Default");
         EXPECT_EQ(modem_res, 1500);
     }},
    {"an overlong old name", "", "",
     [](Book &b) {
         b[kSettings].data.replace(224, 32, 32, '\xFF');
         b[kGlobals] = {FOUR("STR#"), 1500, "spare", list_text("")};
     },
     "", false, "",
     [](const Book &) { EXPECT_EQ(glob(kGlobModem).size(), 31u); }},
    {"a modem list without patterns", "", "",
     [](Book &b) {
         b.push_back(
             {FOUR("STR#"), 1000, "Old", list_text("a|b|c|d|e|1234567|g|h|i")});
     },
     "", false, "",
     [](const Book &disk) {
         std::string m = strings_of(disk, 1000);
         // The abort string of seven bytes; the program's own patterns.
         EXPECT_TRUE(m.starts_with("a|b|c|d|e|\r|g|h|i|cCONNECT|")) << m;
         EXPECT_EQ(mstr_count, std::ranges::count(m, '|') + 1);
     }},
    {"an abort string of seven bytes alone", "", "",
     [](Book &b) {
         b.push_back({FOUR("STR#"), 1000, "Old",
                      list_text("a|||||1234567||||cYES|fNO||lost")});
     },
     "", false, "",
     [](const Book &disk) {
         EXPECT_EQ(strings_of(disk, 1000), "a|||||\r||||cYES|fNO");
     }},
    // Its number is taken by another list; and one entry whose list is
    // missing, with a number of its own out of the range.
    {"entries of the older layout", "",
     "localStrID=0 oldPhone=5551212 oldZStart=uz",
     [](Book &b) {
         b.push_back(
             {FOUR("Dial"), 200, "Stray", with(dial_data(), "localStrID=777")});
     },
     "", false, "localStrID=3500",
     [](const Book &disk) {
         EXPECT_EQ(strings_of(disk, 3500), "5551212||||||||uz|d z ");
         std::string stray = entry_of(disk, 200);
         EXPECT_EQ(with(stray, "localStrID=3501"), stray);
         EXPECT_EQ(list_strings(find(disk, FOUR("STR#"), 3501)->data).size(),
                   10u);
         EXPECT_EQ(local(1), "5551212");
     }},
    {"a connection of the oldest layout's length", "",
     "localStrID=0 baudWord=9600 oldPhone=555",
     [](Book &b) {
         b[kEntry].data.resize(128);
         b.erase(b.begin() + kEntryList);
     },
     "", false, "localStrID=3000",
     [](const Book &disk) {
         EXPECT_EQ(entry_of(disk, 3000).size(), 136u);
         EXPECT_EQ(list_strings(find(disk, FOUR("STR#"), 3000)->data).at(0),
                   "555");
         EXPECT_EQ(Baudrate, 9600);
     }},
    {"a number below 57601 in the word alone", "", "baudWord=19200 baudLong=0",
     nullptr, "", false, "", [](const Book &) { EXPECT_EQ(Baudrate, 19200); }},
    {"no timing", "", "xmTimeout=0 szTimeout=33 bsKey=0", nullptr, "", false,
     "xmTimeout=80 xmStartTimeout=100 szTimeout=60 rzTimeout=10 bsKey=8",
     [](const Book &) {
         EXPECT_FALSE(set_changed) << "until somebody compares";
         hl_ask_answer(true, {}, 2);
         EXPECT_TRUE(chkSetChg());
         EXPECT_EQ(hl_asked().size(), 1u);
     }},
};

} // namespace

static void migrate(const migration &m)
{
    Book book = plain_book();
    book[kSettings].data = with(qset_data(), m.oldSettings);
    book[kEntry].data = with(book[kEntry].data, m.oldEntry);
    if (m.old)
        m.old(book);
    write_book(book);
    // A book that names no port takes the case's, not the machine's first.
    CopyCStringToPascal(hl_line_path(), gPortOverride);
    start_program();
    ASSERT_TRUE(myWindow);
    EXPECT_EQ(hl_messages().size(), 1u) << "the splash alone";
    EXPECT_EQ(with(settings_in_use(), m.settings), settings_in_use());
    EXPECT_EQ(qsetChanged, m.changed);
    EXPECT_EQ(with(connection_in_use(), m.entry), connection_in_use());
    if (!m.expect)
        return;
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

TEST(Migration, OldLayoutInNewStateOut)
{
    for (const migration &m : migrations)
        EXPECT_TRUE(apart([&] { migrate(m); })) << m.what;
}

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
    ASSERT_EQ(hl_asked().size(), 3u);
    EXPECT_EQ(hl_asked()[0].name, "Local");
    // Nothing is left to ask about, nor when it has come back to what the book
    // holds.
    EXPECT_TRUE(chkSetChg());
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

    EXPECT_EQ(SetStrInList(gLocalStrings, kStrUser, P("me")), noErr);
    hl_ask_answer(true, {}, 1);
    EXPECT_TRUE(chkSetChg());
    EXPECT_EQ(hl_asked().size(), 1u);
    moreToDo = 0;
    finish_up();
    EXPECT_EQ(strings_of(read_book(), 3000),
              "|||||me||vol:1:cap.txt|rz\r|d z ");
}

TEST_F(Running, SettingsAndANotedConnectionSurviveARestart)
{
    uint32_t now;
    qset.xferWinLoc = {0x1234, 0x0056};
    qset.termFontSize = 20;
    EXPECT_EQ(SetGlob(kGlobDialSub1 + 2, P("9,,")), noErr);
    qsetChanged = 1;
    saveQset();
    EXPECT_FALSE(qsetChanged);
    GetDateTime(&now);
    UpdateConnect();
    moreToDo = 0;
    finish_up();

    Book book = read_book();
    EXPECT_TRUE(strings_of(book, 256).ends_with("||9,,||"));
    std::string q = find(book, FOUR("qSet"), 1)->data;
    // The status window's place is in the machine's order, its copy swapped.
    EXPECT_EQ(with(q, "termFontSize=20 xferWinLoc=4660,86 bufWinLoc=4660,86"),
              q);
    cset_t c;
    copy_cset_swaps(entry_of(book, 3000).data(), &c);
    EXPECT_GE(c.lastConnect, now);
    EXPECT_LE(c.lastConnect, now + 60);
}

TEST(Saving, AnotherConnectionIsTakenOnlyIfTheUserAgrees)
{
    make_place();
    Book book = plain_book();
    book.push_back({FOUR("Dial"), 3001, "Other",
                    with(dial_data(), "localStrID=3001 echoFlag=1")});
    book.push_back({FOUR("STR#"), 3001, "", list_text("123")});
    write_book(book);
    start_program();
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

TEST(Ids, AFreeOneIsFoundOrNone)
{
    make_place();
    Book book = plain_book();
    for (int16_t id = 3500; id < 3999; id++)
        book.push_back({FOUR("STR#"), id, "", list_text("")});
    write_book(book);
    start_program();
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3500), 3999);
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3000), 3001);
    AddResource(NewHandleClear(2), FOUR("STR#"), 3999, PSTR(""));
    EXPECT_EQ(UniqRangeID(FOUR("STR#"), 3500), -1);
}
