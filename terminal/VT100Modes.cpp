// Character sets, modes, colours and faces by sequence, and the replies to
// the host's questions.
#include "terminal/VT100.h"

#include "automation/AsciiSend.h"
#include "base/Sounds.h"
#include "base/facts.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/SendKey.h"
#include "terminal/VT100Parts.h"
#include "terminal/VT100Tables.h"

// ---- state -----------------------------------------------------------------

uint8_t cursor_mode;
uint8_t keypad_app;
uint8_t autowrap = 1;
uint8_t origin_rel;
uint8_t newline;
uint8_t insert;
uint8_t Invert;
uint8_t textstyle;
uint8_t invisible;
uint8_t blink = 1;
uint8_t useBlockCursor;
uint8_t interpret_control = 1;
uint8_t intense;

uint8_t GSet[4] = {kNormalSet, kNormalSet, kNormalSet, kNormalSet};
int8_t GShift;
uint8_t curGSet = kNormalSet;

// A VT100 without options.
const uint8_t querystring[] = "\7\33[?1;0c";

constexpr int32_t kMostAnswers = 4096; // bytes of them in the send queue

// ---- table fillers ---------------------------------------------------------

void dummy() {}
void set_graphics() {}
void set_US() {}
void toss_char() {}
void multi_char() {}

void escape_seq()
{
    charflg = 1;
    prvchr = prvchr2 = 0;
}

// ---- character sets --------------------------------------------------------

static void use_set(int8_t shift)
{
    GShift = shift;
    curGSet = GSet[shift];
}

void shift_out()
{
    use_set(1);
}
void shift_in()
{
    use_set(0);
}

// "(" to "+" designate the sets 0 to 3, by their low two bits. The last two
// are kept and never reached, as nothing shifts to them.
void set_char_set(uint8_t intermediate, uint8_t final)
{
    if (intermediate == '(')
        gInJapanShift = 0;

    switch (final) {
    case '0':
        if (intermediate >= '(' && intermediate <= '+') {
            GSet[intermediate & 3] = kGraphicsSet;
            curGSet = GSet[GShift];
        }
        break;
    case '8':
        esc8();
        break;
    case '@':
        if (intermediate == '$')
            gInJapanShift = 1;
        break;
    case 'B':
        if (intermediate == '$') {
            gInJapanShift = 1;
            break;
        }
        [[fallthrough]];
    case 'A':
        if (intermediate == '(' || intermediate == ')') {
            GSet[intermediate & 3] = kNormalSet;
            curGSet = GSet[GShift];
        }
        break;
    case 'D':
        if (intermediate == '(' && prvchr2 == '$')
            gInJapanShift = 3;
        break;
    default:
        break;
    }
}

// ---- modes -----------------------------------------------------------------

void set_keypad()
{
    keypad_app = 1;
}
void reset_keypad()
{
    keypad_app = 0;
}

// Only the first parameter counts.
void mode_set_reset(uint8_t value)
{
    if (prvchr == '?') {
        switch (num[1]) {
        case 1:
            cursor_mode = value;
            break;
        case 6:
            origin_rel = value;
            home_cursor();
            break;
        case 7:
            autowrap = value;
            break;
        default:
            break;
        }
    } else if (prvchr == 0) {
        if (num[1] == 4)
            insert = value;
        else if (num[1] == 20)
            newline = value;
    }
}

void set_mode()
{
    mode_set_reset(1);
}
void reset_mode()
{
    mode_set_reset(0);
}

// ---- colours and faces -----------------------------------------------------
// While nothing is drawn only the state changes: whoever draws next sets
// face, mode and colours from it.

static bool ansi()
{
    return cset.termType == 1 && qset.useColor;
}

static int16_t basic_color(uint8_t digit)
{
    return colorTab[digit & 7];
}

// Colours 0 to 15 lie behind the two defaults.
static const RGBColor &rgb_color(int n)
{
    return qset.rgbTable[2 + n];
}

static void show_colors()
{
    if (!scrolled)
        SetFgBg(1);
}

static void show_face()
{
    if (!scrolled)
        TextFace(textstyle);
}

static void show_mode(int16_t mode)
{
    if (!scrolled)
        TextMode(mode);
}

static void plain_text()
{
    Invert = intense = textstyle = curFGindex = 0;
    show_face();
    show_mode(srcOr);
    if (!ansi()) {
        SetColor(1);
        return;
    }
    curFG = basic_color(qset.fgMap[7]);
    curBG = basic_color(qset.bgMap[0]);
    curFGrgb = rgb_color(7);
    curBGrgb = rgb_color(0);
    forget_reverse();
    show_colors();
}

static void bold_text()
{
    if (!ansi()) {
        textstyle |= bold;
        show_face();
        return;
    }
    intense = 8;
    curFGrgb = rgb_color(curFGindex + intense);
    if (gColorQD) {
        gBasicFG = 0;
        show_colors();
    }
}

// In colour the reverse is black on white by the basic colours, whatever was
// chosen before, and only a 0 takes it back.
static void reverse_text()
{
    if (!ansi()) {
        Invert = 1;
        show_mode(srcBic);
        return;
    }
    curFG = basic_color(qset.fgMap[0]);
    curBG = basic_color(qset.bgMap[7]);
    gBasicFG = gBasicBG = 1;
    show_colors();
}

static void choose_fg(int n)
{
    if (!qset.useColor)
        return;
    curFGindex = uint8_t(n);
    curFG = basic_color(qset.fgMap[n]);
    curFGrgb = rgb_color(n + intense);
    gBasicFG = 0;
    show_colors();
}

static void choose_bg(int n)
{
    if (!qset.useColor)
        return;
    curBG = basic_color(qset.bgMap[n]);
    curBGrgb = rgb_color(n);
    gBasicBG = 0;
    show_colors();
}

static void set_face(uint8_t style)
{
    textstyle = style;
    show_face();
}

void text_mode()
{
    for (int i = 1; i <= numargs; i++) {
        const int16_t n = int16_t(num[i]);

        switch (n) {
        case 0:
            plain_text();
            break;
        case 1:
            bold_text();
            break;
        case 4:
            set_face(textstyle | underline);
            break;
        case 7:
            reverse_text();
            break;
        case 22:
            set_face(uint8_t(textstyle & ~bold));
            break;
        case 24:
            set_face(uint8_t(textstyle & ~underline));
            break;
        case 27:
            Invert = 0;
            show_mode(srcOr);
            break;
        default:
            if (n >= 30 && n <= 37)
                choose_fg(n - 30);
            else if (n >= 40 && n <= 47)
                choose_bg(n - 40);
            break;
        }
    }
}

void cursor_attributes()
{
    stop_cursor();
    switch (num[1]) {
    case 0:
        invisible = 0;
        break;
    case 1:
        invisible = 1;
        break;
    case 2:
        useBlockCursor = 0;
        break;
    case 3:
        useBlockCursor = 1;
        break;
    case 4:
        blink = 0;
        break;
    case 5:
        blink = 1;
        break;
    default:
        break;
    }
    start_cursor();
}

// ---- replies ---------------------------------------------------------------

void do_ENQ()
{
    Str255 answer;

    GetFromStrList(gLocalStrings, kStrAnswerback, answer);
    writeps(answer);
}

// ESC Z comes here without parameters of its own, so it goes unanswered when
// the last sequence had a first parameter. Hosts ask by ESC [ c.
void query_terminal()
{
    if (prvchr == 0 && num[1] == 0)
        writeps(querystring);
}

static void reply_number(int32_t number)
{
    Str255 text;

    NumToString(number, text);
    writeps(text);
}

// The row is counted from the screen's top also in origin mode. A host that
// asks and asks and doesn't listen to the answers gets no more of them.
void dev_stat_report()
{
    if (num[1] == 5) {
        const uint8_t well[] = {kESC, '[', '0', 'n'};
        if (asAnswers(kMostAnswers) < kMostAnswers)
            asSendBuf(
                well, sizeof well,
                int16_t((localEcho & kEchoLocal) | kSendUnpaced | kSendAnswer));
    } else if (num[1] == 6) {
        OutCh(sOut, kESC);
        OutCh(sOut, '[');
        reply_number(abslin + 1);
        OutCh(sOut, ';');
        reply_number(curcol + 1);
        OutCh(sOut, 'R');
    }
}

// The program's name and version, and a sum by which the host knows that it
// came through whole.
void cis_interrogate()
{
    if (!(cset.xferFlags & kXferBPlus))
        return;
    const Handle text = GetString(kStringInquiry);
    if (!text || GetHandleSize(text) < 1)
        return;

    Str255 ident;
    int length = (*text)[0];
    if (length > GetHandleSize(text) - 1)
        length = GetHandleSize(text) - 1;
    BlockMove(*text, ident, length + 1);
    ident[0] = uint8_t(length);

    int32_t sum = 0;
    for (int i = 1; i <= length; i++)
        sum += ident[i];
    writeps(ident);
    reply_number(sum);
    OutCh(sOut, kCR);
}

void bell()
{
    if (qset.globFlags & kGlobNoBell)
        return;
    if (!PlaySound(kStrSoundBell))
        SysBeep(3);
}

// A host that switches a printer expects a fresh page; nothing is printed.
void set_printing()
{
    if (prvchr == 0 && (num[1] == 4 || num[1] == 5)) {
        clear_screen();
        home_cursor();
    }
}
