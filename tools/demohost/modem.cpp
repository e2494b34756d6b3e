// tools/demohost/modem.cpp
// The modem: commands and result codes of the usual kind.
#include "tools/demohost/modem.h"

#include "tools/demohost/hostline.h"

#include <cctype>
#include <cstdio>
#include <cstring>

enum { kS_Escape = 2, kS_DialWait = 6, kS_Guard = 12, kRegisters = 32 };
constexpr size_t kLongestCommand = 80;

// What a number ends in decides how the call goes, so that a dialer can be
// tried with every answer.
struct ending {
    const char *digits;
    const char *result;
};
constexpr ending endings[] = {
    {"0000", "BUSY"},
    {"1111", "NO CARRIER"},
    {"2222", "NO ANSWER"},
    {"3333", "NO DIALTONE"},
};

struct code {
    const char *words;
    int number;
};
constexpr code codes[] = {
    {"OK", 0},    {"CONNECT", 1},     {"RING", 2}, {"NO CARRIER", 3},
    {"ERROR", 4}, {"NO DIALTONE", 6}, {"BUSY", 7}, {"NO ANSWER", 8},
};

static bool echo = true, quiet = false, words = true, speedTold = true;
static int reg[kRegisters];
static bool regsSet;
static std::string lastCommand; // for A/

// ---- the escape sequence ---------------------------------------------------
// "+++" counts if the line was silent for the guard time before and after.

static int pluses;       // of them seen in a row
static int64_t lastByte; // when anything last came from the caller

static call_end lastEnd = kHostEnded; // until it is asked for

static void factory()
{
    echo = true;
    quiet = false;
    words = true;
    speedTold = true;
    memset(reg, 0, sizeof reg);
    reg[kS_Escape] = '+';
    reg[kS_DialWait] = 1;
    reg[kS_Guard] = 50;
    regsSet = true;
}

static int guard_ms()
{
    return reg[kS_Guard] * 20;
}

void modem_say(const char *result)
{
    if (quiet)
        return;
    if (words) {
        line_text(std::string("\n") + result + "\n");
        return;
    }
    for (const code &c : codes) {
        if (strncmp(result, c.words, strlen(c.words)) == 0) {
            line_text(std::to_string(c.number) + "\r");
            return;
        }
    }
}

static void say_connect()
{
    char text[40] = "CONNECT";
    if (speedTold)
        snprintf(text, sizeof text, "CONNECT %d", line_speed());
    modem_say(text);
}

// ---- commands --------------------------------------------------------------

enum outcome { kDone, kFailed, kConnected, kBackOnline, kDropped, kSilent };

static int number(const std::string &s, size_t &i)
{
    int n = 0;
    while (i < s.size() && isdigit((unsigned char)s[i])) {
        if (n < 100000)
            n = n * 10 + (s[i] - '0');
        i++;
    }
    return n;
}

static outcome dial(std::string text)
{
    std::string digits;
    for (char c : text) {
        if (isdigit((unsigned char)c))
            digits += c;
    }
    // A key during the call takes it back, as with a real modem. An LF is
    // none: programs end the command with CR LF.
    int64_t end = now_ms() + reg[kS_DialWait] * 1000;
    while (now_ms() < end) {
        int c = line_key(int(end - now_ms()));
        if (c != kTimeout && c != '\n') {
            modem_say("NO CARRIER");
            return kSilent;
        }
    }
    for (const ending &e : endings) {
        if (digits.size() >= 4 &&
            digits.compare(digits.size() - 4, 4, e.digits) == 0) {
            modem_say(e.result);
            return kSilent;
        }
    }
    say_connect();
    return kConnected;
}

static outcome one_register(const std::string &s, size_t &i)
{
    int r = number(s, i);
    if (r >= kRegisters || i >= s.size())
        return kFailed;
    if (s[i] == '?') {
        i++;
        char text[8];
        snprintf(text, sizeof text, "%03d", reg[r]);
        line_text(std::string("\n") + text + "\n");
        return kDone;
    }
    if (s[i] != '=')
        return kFailed;
    i++;
    int v = number(s, i);
    if (v > 255)
        return kFailed;
    reg[r] = v;
    return kDone;
}

// Runs the commands behind "AT".
static outcome run(const std::string &s, bool call)
{
    size_t i = 0;
    while (i < s.size()) {
        char c = char(toupper((unsigned char)s[i++]));
        int n = 0;
        if (c == ' ')
            continue;
        if (c == 'D')
            return dial(s.substr(i));
        if (c == 'S') {
            if (one_register(s, i) == kFailed)
                return kFailed;
            continue;
        }
        if (c == '&' || c == '\\' || c == '%') {
            if (i >= s.size())
                return kFailed;
            c = char(toupper((unsigned char)s[i++]));
            (void)number(s, i); // options of the hardware: taken, no effect
            if (c == 'F')
                factory();
            continue;
        }
        n = number(s, i);
        switch (c) {
        case 'E':
            echo = n != 0;
            break;
        case 'Q':
            quiet = n != 0;
            break;
        case 'V':
            words = n != 0;
            break;
        case 'X':
            speedTold = n != 0;
            break;
        case 'Z':
            factory();
            break;
        case 'I':
            line_text("\nQuillon demo host, modem and host in one\n");
            break;
        case 'H':
            if (call)
                return kDropped;
            break;
        case 'O':
            return call ? kBackOnline : kFailed;
        case 'A':
            say_connect();
            return kConnected;
        case 'L':
        case 'M':
        case 'N':
        case 'B':
        case 'W':
            break; // loudspeaker and modulation: taken, no effect
        default:
            return kFailed;
        }
    }
    return kDone;
}

static bool is_command(const std::string &s)
{
    return s.size() >= 2 && toupper((unsigned char)s[0]) == 'A' &&
           toupper((unsigned char)s[1]) == 'T';
}

static outcome obey(const std::string &command, bool call)
{
    outcome o = run(command.substr(2), call);
    if (o == kDone || o == kDropped)
        modem_say("OK");
    else if (o == kFailed)
        modem_say("ERROR");
    return o;
}

// A command line of the caller. Anything but AT... is passed over in silence.
static std::string command_line()
{
    std::string s;
    for (;;) {
        int c = line_key(-1);
        if (c == '\n' && s.empty())
            continue;
        if (echo) {
            char ch = char(c);
            line_put(&ch, 1);
        }
        if (c == '\r')
            return s;
        if (c == 8 || c == 127) {
            if (!s.empty())
                s.pop_back();
        } else if (s.size() < kLongestCommand) {
            s += char(c);
        }
        if (s == "A/" || s == "a/")
            return s;
    }
}

// Command mode. Returns kConnected, kBackOnline or, with a call, kDropped.
static outcome command_mode(bool call)
{
    for (;;) {
        std::string s = command_line();
        if (s == "A/" || s == "a/")
            s = lastCommand;
        if (!is_command(s))
            continue;
        lastCommand = s;
        outcome o = obey(s, call);
        if (o == kConnected || o == kBackOnline || o == kDropped) {
            if (o == kBackOnline)
                say_connect();
            pluses = 0;
            lastByte = now_ms();
            return o;
        }
    }
}

void modem_idle()
{
    if (!regsSet)
        factory();
    while (command_mode(false) != kConnected)
        ;
}

// ---- the call --------------------------------------------------------------

bool modem_saw(const unsigned char *bytes, int count)
{
    if (!regsSet)
        factory();
    for (int i = 0; i < count; i++) {
        int64_t t = now_ms();
        bool silent = t - lastByte >= guard_ms();
        if (bytes[i] == reg[kS_Escape] && (pluses > 0 ? pluses < 3 : silent))
            pluses++;
        else
            pluses = 0;
        lastByte = t;
    }
    return true;
}

int modem_patience()
{
    if (pluses != 3)
        return -1;
    int64_t left = lastByte + guard_ms() - now_ms();
    return left < 0 ? 0 : int(left);
}

// Whether the call goes on after a command within it.
static bool goes_on(outcome o)
{
    if (o == kConnected)
        lastEnd = kDialledAnew;
    else if (o == kDropped || o == kSilent)
        lastEnd = kCallerEnded;
    else
        return true;
    return false;
}

call_end modem_call_end()
{
    call_end e = lastEnd;
    lastEnd = kHostEnded;
    return e;
}

bool modem_due()
{
    if (pluses != 3 || modem_patience() > 0)
        return true;
    pluses = 0;
    modem_say("OK");
    return goes_on(command_mode(true));
}

int host_key(int ms)
{
    int64_t end = now_ms() + ms;
    for (;;) {
        int wait = ms < 0 ? -1 : int(end - now_ms());
        int due = modem_patience();
        if (ms >= 0 && wait < 0)
            wait = 0;
        if (due >= 0 && (wait < 0 || due < wait))
            wait = due;
        int c = line_key(wait);
        if (c != kTimeout) {
            unsigned char b = (unsigned char)c;
            (void)modem_saw(&b, 1);
            return c;
        }
        if (!modem_due())
            return kHungUp;
        if (ms >= 0 && now_ms() >= end)
            return kTimeout;
    }
}

bool host_line(const char *prompt, std::string &out, bool hidden)
{
    out.clear();
    line_text(prompt);
    for (;;) {
        int c = host_key(-1);
        if (c == kHungUp)
            return false;
        if (c == '\r' || c == '\n') {
            if (c == '\n' && out.empty())
                continue;
            line_text("\n");
            if (hidden || !is_command(out))
                return true;
            if (!goes_on(obey(out, true)))
                return false;
            out.clear();
            line_text(prompt);
        } else if (c == 8 || c == 127) {
            if (!out.empty()) {
                out.pop_back();
                line_text("\b \b");
            }
        } else if (c >= 32 && out.size() < kLongestCommand) {
            char ch = char(c);
            out += ch;
            line_put(hidden ? "*" : &ch, 1);
        }
    }
}
