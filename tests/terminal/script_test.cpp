// Terminal tests as scripts: bytes in, facts out. A *.test file holds cases;
// each runs in a process of its own, once with its bytes as they are written
// and once one byte a call, with the invariants checked in between.
//
//  case NAME              begins a case: 24x80, VT100, CR is no new line
//  size ROWS COLS         before the first feed
//  set NAME VALUE...      variables of the table below
//  ACT -> FACT            both on one line
//  feed "BYTES"           \e \n \r \t \b \a \0 \xHH \" \\ and "..."*COUNT
//  do NAME                calls reset_term, clrAttrib, prepSel...
//  is NAME VALUE...       the variables have the values
//  cursor ROW COL         both from 0
//  row N "TEXT"           without trailing spaces
//  rows N "A" "B"...      from row N down
//  stored N               so many lines are in the store
//  line N "TEXT"          line N of the store
//  last "A" "B"...        the store's last lines
//  answerback "TEXT"      the connection's answer to ENQ
//  sent "BYTES"           what went to the line since the last look
//  beeps N                since the last look
//  contains "TEXT" 0|1    linecontains

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <vector>

#include "automation/AsciiSend.h"
#include "connect/Settings.h"
#include "platform/headless/headless.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"
#include "serial/IOKitSerial.h"
#include "shell/QuillonWindow.h"
#include "terminal/VT100.h"

using words = std::vector<std::string>;

static bool gBytewise;
static bool gStarted; // the first feed has come: the screen stands
static int gBeepsSeen;
static std::string gError;

static void fail(const std::string &text)
{
    if (gError.empty())
        gError = text;
}

// ---- reading a line --------------------------------------------------------

static char escape_char(const char *&at)
{
    static const char names[] = "enrtba0", bytes[] = "\33\n\r\t\b\a";

    if (*at == 'x') {
        const char digits[3] = {at[1], at[2], 0};
        at += 2;
        return char(strtol(digits, nullptr, 16));
    }
    const char *name = *at ? strchr(names, *at) : nullptr;
    return name ? bytes[name - names] : *at;
}

static std::string quoted(const char *&at)
{
    std::string text, all;

    for (at++; *at && *at != '"'; at++) {
        if (*at == '\\') {
            at++;
            text += escape_char(at);
        } else {
            text += *at;
        }
    }
    if (*at)
        at++;
    int count = 1;
    if (*at == '*')
        count = int(strtol(at + 1, const_cast<char **>(&at), 10));
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

static words split(const std::string &line)
{
    words out;
    const char *at = line.c_str();

    while (*at) {
        if (*at == ' ' || *at == '\t') {
            at++;
        } else if (*at == '#') {
            break;
        } else if (*at == '"') {
            out.emplace_back();
            while (*at == '"') // pieces without a blank between are one
                out.back() += quoted(at);
        } else {
            const char *start = at;
            while (*at && *at != ' ' && *at != '\t')
                at++;
            out.emplace_back(start, at);
        }
    }
    return out;
}

// ---- variables and calls ---------------------------------------------------

struct variable {
    std::function<long()> get;
    std::function<void(long)> set;
};

template <class T> static variable var(T &v)
{
    return {[&v] { return long(v); }, [&v](long n) { v = T(n); }};
}

// clang-format off
static std::map<std::string, variable> &variables()
{
#define NAMED(v) {#v, var(v)}
    static std::map<std::string, variable> table = {
        NAMED(margin_top), NAMED(margin_bottom), NAMED(outcnt), NAMED(charflg),
        NAMED(numargs), NAMED(cursor_mode), NAMED(keypad_app), NAMED(autowrap),
        NAMED(origin_rel), NAMED(newline), NAMED(insert), NAMED(Invert),
        NAMED(textstyle), NAMED(invisible), NAMED(blink), NAMED(useBlockCursor),
        NAMED(interpret_control), NAMED(intense), NAMED(curFG), NAMED(curBG),
        NAMED(curFGindex), NAMED(GShift), NAMED(curGSet), NAMED(gFirstChar),
        NAMED(gDoubleByte), NAMED(gInJapanShift), NAMED(aheadPos),
        NAMED(sendWait), NAMED(sendWait2), {"num1", var(num[1])},
        {"num2", var(num[2])}, {"num3", var(num[3])}, {"num9", var(num[9])},
        {"num10", var(num[10])}, {"curFGred", var(curFGrgb.red)},
        {"curBGred", var(curBGrgb.red)}, {"GSet2", var(GSet[2])},
        {"termType", var(cset.termType)}, {"termFlags", var(cset.termFlags)},
        {"bufFlags", var(cset.bufFlags)}, {"globFlags", var(qset.globFlags)},
        {"useColor", var(qset.useColor)},
    };
#undef NAMED
    return table;
}
// clang-format on

static const std::map<std::string, void (*)()> &calls()
{
    static const std::map<std::string, void (*)()> table = {
        {"reset_term", reset_term},
        {"clrAttrib", clrAttrib},
        {"home_cursor", home_cursor},
    };
    return table;
}

// ---- acts ------------------------------------------------------------------

// Colours that differ in every component of every entry.
static void default_settings()
{
    cset.termFlags = kTermNoAutoLF;
    qset.useColor = 1;
    qset.fgColor = '0';
    qset.bgColor = '7';
    for (int i = 0; i < 8; i++)
        qset.fgMap[i] = qset.bgMap[i] = uint8_t('0' + i);
    for (int i = 0; i < 18; i++)
        qset.rgbTable[i] = {uint16_t(i), uint16_t(100 + i), uint16_t(200 + i)};
}

static void start()
{
    if (gStarted)
        return;
    gStarted = true;
    // A page is made with the type of the moment; the mode bits start as told.
    InitPage();
    if (SerAlloc() != 0)
        fail("no memory for the port");
    sOut = sIn = int16_t(hl_line_open(HL_SOCKET));
    line_use(sIn);
    asInit();
    gBeepsSeen = hl_beeps();
}

static void check_invariants()
{
    if (!rows_ok())
        fail("the rows are broken");
    if (!sav_ok())
        fail("the store is broken");
}

static void feed(const std::string &text)
{
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(text.data());

    start();
    if (!gBytewise) {
        DispChars(bytes, int16_t(text.size()));
        check_invariants();
        return;
    }
    for (size_t i = 0; i < text.size(); i++) {
        DispChars(bytes + i, 1);
        check_invariants();
    }
}

static std::string bare(const uint8_t *line, int length)
{
    while (length > 0 && line[length - 1] == ' ')
        length--;
    return {reinterpret_cast<const char *>(line), size_t(length)};
}

static void expect_text(const std::string &what, const std::string &is,
                        const std::string &want)
{
    if (is != want)
        fail(what + " is " + testing::PrintToString(is) + ", expected " +
             testing::PrintToString(want));
}

static void expect_number(const std::string &what, long is, long want)
{
    if (is != want)
        fail(what + " is " + std::to_string(is) + ", expected " +
             std::to_string(want));
}

static std::string stored_line(int n)
{
    int16_t length;
    if (n < 0 || n >= savlines)
        return "(no such line)";
    const uint8_t *text = GetLinePtr(n, &length);
    return {reinterpret_cast<const char *>(text), size_t(length)};
}

static std::string sent_now()
{
    for (int i = 0; i < 20; i++)
        sendSomeAscii(0, 'M');
    return hl_line_heard();
}

static long number(const std::string &text)
{
    if (text.size() == 1 && (text[0] < '0' || text[0] > '9'))
        return text[0]; // a letter stands for itself
    return strtol(text.c_str(), nullptr, 0);
}

static variable named(const std::string &name)
{
    if (variables().count(name))
        return variables()[name];
    fail("no variable " + name);
    return {[] { return 0L; }, [](long) {}};
}

static void set_variable(const std::string &name, long value)
{
    // A page is made with the type of the moment.
    if (name != "termType" && name != "globFlags")
        start();
    named(name).set(value);
}

static void expect_rows(const words &w)
{
    for (size_t i = 2; i < w.size(); i++) {
        const int row = int(number(w[1]) + long(i) - 2);
        expect_text("row " + std::to_string(row), bare(scrLine(row), kMaxCols),
                    w[i]);
    }
}

// ---- commands --------------------------------------------------------------

using command = void (*)(const words &w);

static const std::map<std::string, command> &commands()
{
    static const std::map<std::string, command> table = {
        {"size",
         [](const words &w) {
             MaxLine = uint16_t(number(w[1]));
             MaxCol = uint16_t(number(w[2]));
         }},
        {"set",
         [](const words &w) {
             for (size_t i = 1; i + 1 < w.size(); i += 2)
                 set_variable(w[i], number(w[i + 1]));
         }},
        {"is",
         [](const words &w) {
             start();
             for (size_t i = 1; i + 1 < w.size(); i += 2)
                 expect_number(w[i], named(w[i]).get(), number(w[i + 1]));
         }},
        {"do",
         [](const words &w) {
             start();
             if (!calls().count(w[1]))
                 return fail("no call " + w[1]);
             calls().at(w[1])();
             check_invariants();
         }},
        {"feed", [](const words &w) { feed(w[1]); }},
        {"cursor",
         [](const words &w) {
             expect_number("cursor's row", abslin, number(w[1]));
             expect_number("cursor's column", curcol, number(w[2]));
         }},
        {"row", expect_rows},
        {"rows", expect_rows},
        {"stored",
         [](const words &w) {
             expect_number("lines stored", savlines, number(w[1]));
         }},
        {"line",
         [](const words &w) {
             expect_text("line " + w[1], stored_line(int(number(w[1]))), w[2]);
         }},
        {"last",
         [](const words &w) {
             const int first = int(savlines) - int(w.size()) + 1;
             for (size_t i = 1; i < w.size(); i++) {
                 const int n = first + int(i) - 1;
                 expect_text("line " + std::to_string(n), stored_line(n), w[i]);
             }
         }},
        {"answerback",
         [](const words &w) {
             Str255 text;
             start();
             CopyCStringToPascal(w[1].c_str(), text);
             gLocalStrings = NewStrList();
             for (int n = 1; n < kStrAnswerback; n++)
                 (void)AppendStrList(gLocalStrings, nullptr);
             if (AppendStrList(gLocalStrings, text) != noErr)
                 fail("no memory");
         }},
        {"sent", [](const words &w) { expect_text("sent", sent_now(), w[1]); }},
        {"beeps",
         [](const words &w) {
             expect_number("beeps", hl_beeps() - gBeepsSeen, number(w[1]));
             gBeepsSeen = hl_beeps();
         }},
        {"contains",
         [](const words &w) {
             expect_number("linecontains", linecontains(w[1].c_str()),
                           number(w[2]));
         }},
    };
    return table;
}

// ---- cases -----------------------------------------------------------------

struct numbered {
    int at;
    std::string text;
};
using one_case = std::vector<numbered>;

// One line: acts and facts, "->" between.
static void run_line(const words &w)
{
    for (auto end = w.begin(); end != w.end();) {
        const auto from = end;
        end = std::find(from, w.end(), "->");
        if (!commands().count(*from))
            return fail("no command " + *from);
        commands().at (*from)({from, end});
        if (end != w.end())
            end++;
    }
}

static void run_lines(const one_case &lines)
{
    default_settings();
    for (const numbered &line : lines) {
        const words w = split(line.text);
        if (w.empty() || w[0] == "case")
            continue;
        run_line(w);
        if (!gError.empty()) {
            gError = ":" + std::to_string(line.at) + ": " + gError + "\n";
            return;
        }
    }
    if (!gStarted)
        gError = ": the case feeds nothing\n";
}

// In a child, so that every case finds the state that a program starts with.
static std::string run_case(const one_case &lines)
{
    int ends[2];
    std::string error;
    char part[512];

    if (pipe(ends) != 0)
        return "no pipe";
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        run_lines(lines);
        const ssize_t done = write(ends[1], gError.data(), gError.size());
        _exit(done == ssize_t(gError.size()) ? 0 : 1);
    }
    close(ends[1]);
    for (ssize_t n; (n = read(ends[0], part, sizeof part)) > 0;)
        error.append(part, size_t(n));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0 && error.empty())
        error = ":" + std::to_string(lines[0].at) + ": the case crashed\n";
    return error;
}

// Empty when every case of the file holds; otherwise what failed, and where.
static std::string run_script(const std::string &path, bool bytewise)
{
    std::ifstream file(path);
    std::vector<one_case> cases;
    std::string text, errors;

    gBytewise = bytewise;
    for (int at = 1; std::getline(file, text); at++) {
        if (text.rfind("case ", 0) == 0)
            cases.emplace_back();
        if (!cases.empty())
            cases.back().push_back({at, text});
    }
    if (cases.empty())
        return path + ": no cases";
    for (const one_case &lines : cases) {
        const std::string error = run_case(lines);
        if (!error.empty())
            errors += path + error;
    }
    return errors;
}

static words script_names()
{
    words names;

    for (const auto &entry : std::filesystem::directory_iterator(TEST_DIR)) {
        if (entry.path().extension() == ".test")
            names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class Script : public testing::TestWithParam<std::string> {};

TEST_P(Script, WholeAndByteByByte)
{
    const std::string path = std::string(TEST_DIR) + "/" + GetParam() + ".test";

    EXPECT_EQ(run_script(path, false), "");
    EXPECT_EQ(run_script(path, true), "") << "byte by byte";
}

INSTANTIATE_TEST_SUITE_P(Terminal, Script, testing::ValuesIn(script_names()),
                         [](const auto &row) { return row.param; });
