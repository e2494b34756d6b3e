// Keys into bytes: every kind of key under the settings that change it, keys
// that act here, the Command key, macros.
#include <gtest/gtest.h>

#include "automation/AsciiSend.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "shell/QuillonMenus.h"
#include "terminal/SendKey.h"
#include "terminal/VT100.h"
#include "tests/support/book.h"

constexpr uint16_t kCmd = cmdKey, kShift = shiftKey, kOpt = optionKey,
                   kCtrl = controlKey;

static void set_up()
{
    myWindow = GetNewWindow(128);
    ASSERT_NE(myWindow, nullptr);
    ShowWindow(myWindow);
    SetupMenus();
    asInit();
    MakeUPPs();
    InitPage();
    cset.bsKey = 8;
    cset.termFlags = kTermNoAutoLF;
    localEcho = 0;
}

// What has been queued: each chunk's bytes, a control string in braces.
static std::string queued()
{
    std::string all;

    for (const ASChunk *c = firstAS; c; c = c->next) {
        if (c->count == 0)
            continue;
        std::string s(reinterpret_cast<char *>(*c->hdl) + c->pos,
                      size_t(c->count));
        all += c->echoMode & kSendUnpaced ? "{" + s + "}" : s;
    }
    asKill();
    return all;
}

static std::string key(uint8_t c, uint8_t code, uint16_t modifiers = 0)
{
    SendKey(c, code, 0, modifiers);
    return queued();
}

enum {          // what is set before a row
    APP = 1,    // keypad in application mode
    CURSOR = 2, // cursor keys in application mode
    LOCAL = 4,  // keypad keys are for the view
    DEL127 = 8,
    NEWLINE = 16,
    META = 32,
    ANSI = 64,
};

TEST(SendKey, Bytes)
{
    static const struct {
        const char *name;
        uint8_t c, code;
        uint16_t modifiers;
        int set;
        std::string want;
    } rows[] = {
        {"letter", 'q', 0x0C, 0, 0, "q"},
        {"key code 0", 'a', 0, 0, 0, "a"},
        {"control letter", 3, 0x08, kCtrl, 0, "\x03"},
        {"high byte", 0x8E, 0x0E, kOpt, 0, "\x8E"},
        {"return", 13, 0x24, 0, 0, "\r"},
        {"return, new line", 13, 0x24, 0, NEWLINE, "\r\n"},
        {"tab", 9, 0x30, 0, 0, "\t"},
        {"escape", 0x1B, 0x35, 0, 0, "\x1b"},
        {"meta", 'x', 0x07, 0, META, "\x1bx"},
        {"delete", 8, 0x33, 0, 0, "\b"},
        {"delete 127", 8, 0x33, 0, DEL127, "\x7f"},
        {"option delete", 8, 0x33, kOpt, 0, "\x7f"},
        {"option delete 127", 8, 0x33, kOpt, DEL127, "\b"},
        {"control-h is no delete key", 8, 0x04, kCtrl, DEL127, "\b"},
        {"control-2", '2', 0x13, kCtrl, 0, std::string(1, '\0')},
        {"control-space", ' ', 0x31, kCtrl, 0, std::string(1, '\0')},
        {"control-3", '3', 0x14, kCtrl, 0, "\x1b"},
        {"control-7", '7', 0x1A, kCtrl, 0, "\x1f"},
        {"control-8", '8', 0x1C, kCtrl, 0, "8"},
        {"up", 0x1E, 0x7E, 0, 0, "{\x1b[A}"},
        {"down", 0x1F, 0x7D, 0, 0, "{\x1b[B}"},
        {"right", 0x1D, 0x7C, 0, CURSOR, "{\x1bOC}"},
        {"left", 0x1C, 0x7B, 0, CURSOR, "{\x1bOD}"},
        {"ansi without an entry", 0x1C, 0x7B, 0, ANSI, "{\x1b[D}"},
        {"old right", 0x1D, 0x18, 0, 0, "{\x1b[C}"},
        {"no arrow", 0x1D, 0x1D, 0, 0, "\x1d"},
        {"control-up is dropped", 0x1E, 0x7E, kCtrl, 0, ""},
        {"keypad 5", '5', 0x57, 0, 0, "5"},
        {"keypad 5, application", '5', 0x57, 0, APP, "{\x1bOu}"},
        {"keypad 0, application", '0', 0x52, 0, APP, "{\x1bOp}"},
        {"keypad 9, application", '9', 0x5C, 0, APP, "{\x1bOy}"},
        {"keypad 5, local", '5', 0x57, 0, APP | LOCAL, "5"},
        {"keypad .", '.', 0x41, 0, APP, "{\x1bOn}"},
        {"keypad -", '-', 0x4E, 0, APP, "{\x1bOm}"},
        {"keypad +", '+', 0x45, 0, APP, "{\x1bOl}"},
        {"main 5, application", '5', 0x17, 0, APP, "5"},
        {"enter", 3, 0x4C, 0, 0, "\r"},
        {"enter, new line", 3, 0x4C, 0, NEWLINE, "\r\n"},
        {"enter, application", 3, 0x4C, 0, APP, "{\x1bOM}"},
        {"old enter", 3, 0x34, 0, 0, "\r"},
        {"old enter, application", 3, 0x34, 0, APP, "{\x1bOM}"},
        {"keypad *", '*', 0x43, 0, 0, "{\x1bOS}"},
        {"keypad /", '/', 0x4B, 0, APP, "{\x1bOR}"},
        {"keypad =", '=', 0x51, 0, 0, "{\x1bOQ}"},
        {"clear", 0x1B, 0x47, 0, 0, "{\x1bOP}"},
        {"clear, local", 0x1B, 0x47, 0, LOCAL, "\x1b"},
        {"F5", 0x10, 0x60, 0, 0, "{\x1b[15~}"},
        {"F15", 0x10, 0x71, 0, 0, "{\x1b[28~}"},
        {"Help", 5, 0x72, 0, 0, "{\x1b[2~}"},
        {"Forward Delete", 0x7F, 0x75, 0, 0, "{\x1b[3~}"},
        {"Page Down", 0x0C, 0x79, 0, 0, "{\x1b[6~}"},
        {"F1 with a string", 0x10, 0x7A, 0, 0, "{\x1bOP}"},
        {"no such function key", 0x10, 0x6A, 0, 0, ""},
    };

    set_up();
    for (const auto &r : rows) {
        keypad_app = (r.set & APP) != 0;
        cursor_mode = (r.set & CURSOR) != 0;
        cset.bsKey = r.set & DEL127 ? 127 : 8;
        cset.termFlags = r.set & LOCAL ? kTermKeysLocal : 0;
        newline = (r.set & NEWLINE) != 0;
        gMetaEsc = (r.set & META) != 0;
        cset.termType = r.set & ANSI ? 1 : 0;
        EXPECT_EQ(key(r.c, r.code, r.modifiers), r.want) << r.name;
        EXPECT_EQ(gMetaEsc, 0) << r.name;
    }
}

TEST(SendKey, EchoFlagOfWhatIsQueued)
{
    set_up();
    localEcho = 1;
    SendKey('x', 7, 0, 0);
    EXPECT_EQ(firstAS->echoMode, kEchoLocal);
    asKill();
    SendKey(0x1E, 0x7E, 0, 0);
    EXPECT_EQ(firstAS->echoMode, kEchoLocal | kSendUnpaced);
    asKill();
    escBrak(12, 34, 'R');
    EXPECT_EQ(queued(), "{\x1b[12;34R}");
    escBrak(0, -1, 'n');
    EXPECT_EQ(queued(), "{\x1b[0n}");
    escBrak(-1, 7, 'H');
    EXPECT_EQ(queued(), "{\x1b[H}");
}

// ---- the Command key -------------------------------------------------------

TEST(CmdEvent, Modes)
{
    static const struct {
        int mode;
        uint8_t c;
        uint16_t modifiers;
        uint8_t want;
        uint16_t after;
        bool meta;
    } rows[] = {
        {0, 'a', kCmd, 'a', kCmd, false},
        {1, 'a', kCmd, 1, kCtrl, false},
        {1, 'A', kCmd | kShift, 1, kCtrl | kShift, false},
        {1, '2', kCmd, 0, kCtrl, false},
        {1, '7', kCmd, 31, kCtrl, false},
        {1, ' ', kCmd, 0, kCtrl, false},
        {2, 'a', kCmd, 'a' | 0x80, 0, false},
        {2, 'A', kCmd | kShift, 0xC1, kShift, false},
        {2, 'A', kCmd, 'a' | 0x80, 0, false}, // caps lock
        {2, '1', kCmd | kShift, ('1' - 32) | 0x80, kShift, false},
        {2, '3', kCmd | kCtrl, 0x9B, kCtrl, false},
        {3, 'x', kCmd, 'x', 0, true},
        {3, 'X', kCmd | kShift, 'X', kShift, true},
    };

    for (const auto &r : rows) {
        EventRecord e = {};
        e.message = 0x0C00u | r.c;
        e.modifiers = r.modifiers;
        gMetaEsc = 0;
        qset.keyFlags = uint8_t(r.mode);
        CmdEvent(&e);
        EXPECT_EQ(e.message & 0xFF, r.want) << r.mode << ' ' << r.c;
        EXPECT_EQ(e.message & 0xFF00, 0x0C00u);
        EXPECT_EQ(e.modifiers, r.after) << r.mode << ' ' << r.c;
        EXPECT_EQ(gMetaEsc != 0, r.meta) << r.mode << ' ' << r.c;
    }
}

// ---- the view --------------------------------------------------------------

// Some lines in the store, and the view back in them.
static void scroll_back()
{
    for (int i = 0; i < 60; i++)
        drawCString("line\r\n");
    sb_flush();
    ASSERT_GT(savlines, 0);
    scroll_key(0x73, 0);
    ASSERT_NE(scrolled, 0);
}

TEST(View, AnyKeyReturnsAndASpaceDoesOnlyThat)
{
    set_up();
    scroll_back();
    EXPECT_EQ(key(' ', 0x31), "");
    EXPECT_EQ(scrolled, 0);
    EXPECT_EQ(key(' ', 0x31), " ");
    scroll_back();
    SetSel(0, 0, 2, 3);
    EXPECT_EQ(key('x', 7), "x");
    EXPECT_EQ(scrolled, 0);
    EXPECT_EQ(stSel, -1);
}

TEST(View, PageKeysScrollWhenTheyAreLocal)
{
    set_up();
    scroll_back();
    scr_to_bot();
    EXPECT_EQ(key(0x0B, 0x74, kShift), ""); // Shift-Page Up
    EXPECT_NE(scrolled, 0);
    EXPECT_EQ(key(0x0C, 0x79, kShift), "");
    EXPECT_EQ(scrolled, 0);
    EXPECT_EQ(key(0x0B, 0x74), "{\x1b[5~}") << "without Shift to the host";
    cset.termFlags = kTermKeysLocal;
    EXPECT_EQ(key(0x01, 0x73), "");
    EXPECT_NE(scrolled, 0);
    scr_to_bot();

    EXPECT_EQ(CheckScrollKeys(0x1E, 0x7E, 0), 0);
    EXPECT_EQ(CheckScrollKeys(0x1E, 0x7E, kCmd), 1);
    EXPECT_NE(scrolled, 0);
    EXPECT_EQ(CheckScrollKeys('a', 0x7E, kCmd), 0);
    EXPECT_EQ(CheckScrollKeys(0x1D, 0x1D, kCmd), 0);
}

// ---- strings of the user's -------------------------------------------------

// Lists of our own: the keys' in the program's place, macros in a book.
static void use_list(int16_t id, const std::vector<std::string> &strings)
{
    const std::string bytes = list_data(strings);
    const int32_t size = int32_t(bytes.size());
    static int16_t book;
    if (!book) {
        static const Place place;
        HCreateResFile(place.vRef, place.dir, PSTR("keys"));
        book = HOpenResFile(place.vRef, place.dir, PSTR("keys"), fsRdWrPerm);
        ASSERT_GT(book, 0);
    }
    if (Handle own = GetResource(FOUR("STR#"), id)) {
        // The program's own list, which no book replaces.
        SetHandleSize(own, size);
        memcpy(*own, bytes.data(), bytes.size());
        return;
    }
    Handle h = nullptr;
    ASSERT_EQ(PtrToHand(bytes.data(), &h, size), noErr);
    AddResource(h, FOUR("STR#"), id, PSTR("test"));
    ASSERT_EQ(ResError(), noErr);
}

TEST(Strings, OfTheKeys)
{
    set_up();
    std::vector<std::string> list(30);
    list[1] = "two";     // F2
    list[4] = "\xDD";    // F5: a break
    list[20] = "";       // Help
    list[26] = "\x1bUP"; // up
    list[27] = "down";
    use_list(1, list);
    EXPECT_EQ(key(0x10, 0x78), "two");
    EXPECT_EQ(key(5, 0x72), "") << "Help without a string";
    cset.termType = 1;
    EXPECT_EQ(key(0x1E, 0x7E), "{\x1bUP}");
    EXPECT_EQ(key(0x1F, 0x7D), "down");
    EXPECT_EQ(key(0x1C, 0x7B), "{\x1b[D}");
    // F1 without a string is Undo, F4 Paste.
    EXPECT_EQ(key(0x10, 0x7A), "");
    hl_clip("clip");
    EXPECT_EQ(key(0x10, 0x76), "clip");
    // A break takes a second's rest on an open line, and nothing else.
    sIn = sOut = int16_t(hl_line_open(HL_SOCKET));
    line_use(sIn);
    int64_t begin = hl_now();
    EXPECT_EQ(key(0x10, 0x60), "");
    EXPECT_GE(hl_now() - begin, 900000);
}

TEST(Strings, Macros)
{
    set_up();
    cset.macroSetID = 2000;
    std::vector<std::string> list(20);
    list[1] = "first";
    list[3] = "\x1b[2J";
    list[5] = "\xA8script";
    list[7] = "\xA8";
    list[19] = "last";
    use_list(2000, list);
    scroll_back();
    doMacro(1);
    EXPECT_EQ(queued(), "first");
    EXPECT_EQ(scrolled, 0);
    doMacro(2);
    EXPECT_EQ(queued(), "{\x1b[2J}");
    doMacro(3);
    EXPECT_EQ(queued(), "") << "a missing script's name is not typed";
    doMacro(4);
    EXPECT_EQ(queued(), "\xA8") << "the mark alone is text";
    doMacro(5);
    EXPECT_EQ(queued(), "");
    doMacro(0);
    EXPECT_EQ(queued(), "last");
}
