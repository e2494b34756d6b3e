// tools/demohost/pages.cpp
// The host's login, menu and pages.
#include "tools/demohost/pages.h"

#include "tools/demohost/hostline.h"
#include "tools/demohost/modem.h"
#include "tools/demohost/programs.h"

#include <cctype>
#include <cstdio>
#include <string>

constexpr int kCtrlC = 3, kENQ = 5;
constexpr int kPageLines = 23; // then "--MORE--"
constexpr int kBurstLines = 10000;
constexpr int kSlowByteMs = 60;    // the slow host takes so long for a byte
constexpr int kSlowThinkMs = 1000; // and for a line
constexpr int kAnswerMs = 1500;    // for an answerback
constexpr int kLoginTries = 3;

static const char kClear[] = "\033[0m\033[2J\033[H";

static std::string at(int row, int col)
{
    return "\033[" + std::to_string(row) + ";" + std::to_string(col) + "H";
}

static bool any_key()
{
    line_forget();
    line_text("\033[0m" + at(24, 1) + "Press a key ");
    return host_key(-1) != kHungUp;
}

// ---- pages of what a terminal can do ---------------------------------------

static bool page_colours()
{
    std::string s = kClear;
    s += "Colours: letters 30 to 37 on grounds 40 to 47, plain and bold\n\n";
    for (int bold = 0; bold <= 1; bold++) {
        for (int bg = 0; bg < 8; bg++) {
            s += "  4" + std::to_string(bg) + " ";
            for (int fg = 0; fg < 8; fg++) {
                s += std::string("\033[0;") + (bold ? "1;" : "") + "3" +
                     std::to_string(fg) + ";4" + std::to_string(bg) +
                     "m Abc \033[0m ";
            }
            s += "\n";
        }
        s += "\n";
    }
    s += "\033[1mbold\033[0m  \033[4munderlined\033[0m  \033[7mreversed"
         "\033[0m  \033[1;4;7mall three\033[0m\n";
    line_text(s);
    return any_key();
}

static bool page_graphics()
{
    std::string s = kClear;
    s += "Line graphics of a VT100: ESC ( 0, then a to z\n\n  ";
    for (char c = '`'; c <= '~'; c++)
        s += std::string("\033(B") + c + "\033(0" + c + " ";
    s += "\033(B\n\n";
    s += "  \033(0lqqqqqqqqwqqqqqqqqk\n  x\033(B  One   \033(0x\033(B  Two   "
         "\033(0x\n  tqqqqqqqqnqqqqqqqqu\n  x\033(B  Three \033(0x\033(B  "
         "Four  \033(0x\n  mqqqqqqqqvqqqqqqqqj\033(B\n\n";
    s += "The same through SO and SI (ESC ) 0 before):\033)0\n\n  \016"
         "lqqqqk\n  xaaaax\n  mqqqqj\017\n\n";
    s += "Bytes above 127, frames where the font is that of a PC:\n\n  ";
    s += "\xC9\xCD\xCD\xCD\xCD\xCD\xBB\n  \xBA\xB0\xB1\xB2\xDB  \xBA\n  ";
    s += "\xC8\xCD\xCD\xCD\xCD\xCD\xBC\n";
    line_text(s);
    return any_key();
}

static bool page_cursor()
{
    std::string s = kClear;
    s += "Cursor addressing";
    for (int i = 0; i < 10; i++)
        s += at(4 + i, 4 + 4 * i) + "\\";
    for (int i = 0; i < 10; i++)
        s += at(13 - i, 4 + 4 * i) + "/";
    for (int col = 1; col <= 72; col += 71)
        for (int row = 2; row <= 16; row++)
            s += at(row, col) + "|";
    for (int row = 2; row <= 16; row += 14)
        s += at(row, 1) + "+" + std::string(70, '-') + "+";
    // A staircase by relative moves, down and back up.
    s += at(18, 10);
    for (int i = 0; i < 4; i++)
        s += "*\033[B\033[2C";
    for (int i = 0; i < 4; i++)
        s += "*\033[A\033[2C";
    // Save, go away, restore; absolute columns.
    s += at(18, 50) + "saved \0337" + at(22, 60) + "elsewhere\0338restored";
    s += at(23, 1) + "\033[70`70\033[40`40\033[10`10";
    line_text(s);
    return any_key();
}

static bool page_regions()
{
    std::string s = kClear;
    s += "Scroll region: rows 5 to 15 move, the others stay";
    s += at(4, 1) + std::string(60, '=') + at(16, 1) + std::string(60, '=');
    s += at(18, 1) + "This row stays, too.";
    s += "\033[5;15r";
    line_text(s);
    for (int i = 1; i <= 30; i++) {
        line_text(at(15, 1) + "\nline " + std::to_string(i) + ", upwards");
        if (host_key(20) == kHungUp)
            return false;
    }
    for (int i = 1; i <= 15; i++) {
        line_text(at(5, 1) + "\033M" + "line " + std::to_string(i) +
                  ", downwards");
        if (host_key(20) == kHungUp)
            return false;
    }
    line_text("\033[r" + at(8, 1) + "\033[2L" + "two lines inserted here" +
              at(13, 1) + "\033[3M" + at(20, 1) +
              "abcdefghij\033[8D\033[3@\033[5C\033[2P  (inserted, deleted)");
    return any_key();
}

// ---- pages of how hosts behave ---------------------------------------------

static std::string sample_line(int n)
{
    static const char *const words[] = {"line",   "modem",  "carrier", "answer",
                                        "signal", "parity", "packet",  "host"};
    char head[32];
    snprintf(head, sizeof head, "%05d ", n);
    std::string s = head;
    for (int i = 0; i < 7; i++)
        s += std::string(words[(n * 5 + i * 3) % 8]) + " ";
    return s;
}

static bool page_pager()
{
    line_text(kClear);
    for (int n = 1; n <= 120; n++) {
        line_text(sample_line(n) + "\n");
        if (n % kPageLines != 0)
            continue;
        line_text("--MORE--");
        int c = host_key(-1);
        line_text("\r        \r");
        if (c == kHungUp)
            return false;
        if (c == 'q' || c == 'Q' || c == kCtrlC)
            return true;
    }
    return any_key();
}

static bool page_burst()
{
    for (int n = 1; n <= kBurstLines; n++) {
        line_text(sample_line(n) + "\n");
        if (line_interrupted()) {
            line_text("\n^C\n");
            break;
        }
    }
    return true;
}

// A host of the old kind: it takes a line only behind its prompt, a byte in a
// while, and what comes before is lost.
static bool page_slow()
{
    line_text("\nA slow host. It echoes each byte after a while and forgets\n"
              "what comes while it thinks. Set a prompt character of > to\n"
              "send it text. An empty line ends.\n\n");
    for (;;) {
        std::string s;
        line_forget();
        line_text("> ");
        for (;;) {
            int c = host_key(-1);
            if (c == kHungUp)
                return false;
            if (c == '\r')
                break;
            if (c < ' ')
                continue;
            if (host_key(kSlowByteMs) == kHungUp)
                return false;
            line_forget();
            char ch = char(c);
            s += ch;
            line_put(&ch, 1);
        }
        line_text("\n");
        if (s.empty())
            return true;
        if (host_key(kSlowThinkMs) == kHungUp)
            return false;
        line_text("took " + std::to_string(s.size()) + " bytes\n");
    }
}

static bool page_echo()
{
    long count = 0;
    line_text("\nEverything comes back as it came. Ctrl-C ends.\n\n");
    line_flow(false); // XON and XOFF, too
    for (;;) {
        int c = host_key(-1);
        if (c == kHungUp)
            return false;
        if (c == kCtrlC)
            break;
        count++;
        unsigned char b = (unsigned char)c;
        line_put(&b, 1);
    }
    line_text("\n" + std::to_string(count) + " bytes\n");
    return true;
}

static bool page_answerback()
{
    line_text("\nWho are you? ");
    line_forget();
    const char enq = kENQ;
    line_put(&enq, 1);
    std::string s;
    for (;;) {
        int c = host_key(kAnswerMs);
        if (c == kHungUp)
            return false;
        if (c == kTimeout)
            break;
        if (c < ' ')
            s += std::string("^") + char(c + '@');
        else
            s += char(c);
    }
    line_text(s.empty() ? "(no answerback)\n" : "\"" + s + "\"\n");
    return true;
}

// ---- login and menu --------------------------------------------------------

bool host_login()
{
    line_text("\nQuillon demo host\n");
    for (int i = 0; i < kLoginTries; i++) {
        std::string name, password;
        if (!host_line("\nlogin: ", name))
            return false;
        if (name.empty())
            continue;
        if (!host_line("Password: ", password, true))
            return false;
        line_text("\nGood day, " + name + ".\n");
        return true;
    }
    return false;
}

struct choice {
    char key;
    const char *text;
    bool (*page)();
};

static const choice choices[] = {
    {'1', "Colours", page_colours},
    {'2', "Line graphics", page_graphics},
    {'3', "Cursor addressing", page_cursor},
    {'4', "Scroll regions", page_regions},
    {'5', "A long text, page by page", page_pager},
    {'6', "Ten thousand lines (Ctrl-C stops)", page_burst},
    {'7', "A slow prompt", page_slow},
    {'8', "Echo", page_echo},
    {'9', "Answerback (ENQ)", page_answerback},
    {'S', "Your shell", page_shell},
    {'F', "Fetch a file: the host sends", page_fetch},
    {'G', "Give a file: the host receives", page_give},
};

static void show_menu()
{
    std::string s = "\n\033[1mQuillon demo host\033[0m\n\n";
    for (const choice &c : choices)
        s += std::string("  ") + c.key + "  " + c.text + "\n";
    s += "  X  Log off\n";
    line_text(s);
}

bool host_menu()
{
    bool show = true;

    for (;;) {
        std::string s;
        if (show)
            show_menu();
        if (!host_line("\nYour choice: ", s))
            return false;
        char key = s.empty() ? 0 : char(toupper((unsigned char)s[0]));
        if (key == 'X')
            return true;
        show = s.empty();
        bool known = s.empty();
        for (const choice &c : choices) {
            if (c.key != key || s.size() != 1)
                continue;
            if (!c.page())
                return false;
            line_flow(true);
            show = known = true;
        }
        if (!known)
            line_text("There is no \"" + s + "\". Return shows the menu.\n");
    }
}
