// Keys into bytes.
#include "terminal/SendKey.h"

#include "automation/AsciiSend.h"
#include "automation/Script.h"
#include "base/chars.h"
#include "base/keys.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/resources.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "terminal/VT100.h"

constexpr int16_t kFirstArrowEntry = 27; // up, down, right, left
constexpr uint8_t kBreakString = 0xDD;   // alone in an entry: a break
constexpr uint8_t kScriptMark = 0xA8;    // before a script's name in a macro

uint8_t gMetaEsc;

// ---- the tables -----------------------------------------------------------

struct function_key {
    uint8_t keycode;
    uint8_t entry; // in list kListKeys
};

// clang-format off
constexpr function_key function_keys[] = {
    {0x60,  5}, {0x61,  6}, {0x62,  7}, {kKeyF3, 3},
    {0x64,  8}, {0x65,  9}, {0x67, 11}, {0x69, 13},
    {0x6B, 14}, {0x6D, 10}, {0x6F, 12}, {0x71, 15},
    {kKeyHelp, 21},
    {kKeyHome, 22},
    {kKeyPageUp, 23},
    {kKeyForwardDelete, 24},
    {kKeyF4, 4},
    {kKeyEnd, 25},
    {kKeyF2, 2},
    {kKeyPageDown, 26},
    {kKeyF1, 1},
};
// clang-format on

static int16_t entry_of(uint8_t keycode)
{
    for (const function_key &k : function_keys) {
        if (k.keycode == keycode)
            return k.entry;
    }
    return 0;
}

// ---- sending --------------------------------------------------------------

static int16_t plain()
{
    return int16_t(localEcho & kEchoLocal);
}
static int16_t control()
{
    return int16_t(plain() | kSendUnpaced);
}

static void send_byte(uint8_t c)
{
    asSendBuf(&c, 1, plain());
}

// A string of the user's: one that begins with a control character is an
// escape sequence, which no host echoes.
static void send_string(ConstStr s)
{
    if (s[0] > 0)
        asSendBuf(s + 1, s[0], s[1] < ' ' ? control() : plain());
}

void esco(uint8_t c)
{
    const uint8_t text[3] = {kESC, 'O', c};

    asSendBuf(text, 3, control());
}

void escBrak(int16_t first, int16_t second, uint8_t final)
{
    Str255 text, number;

    pstrcpy(text, PSTR("\x1b["));
    if (first >= 0) {
        NumToString(first, number);
        pstrcat(text, number);
        if (second >= 0) {
            pstrcatchr(text, ';');
            NumToString(second, number);
            pstrcat(text, number);
        }
    }
    pstrcatchr(text, final);
    asSendBuf(text + 1, text[0], control());
}

// ---- the Command key ------------------------------------------------------

// Control with a digit or a space, as terminals had it: NUL and ESC to US.
static bool control_digit(uint8_t c, uint8_t *out)
{
    if ((c < '2' || c > '7') && c != ' ')
        return false;
    *out = c == '2' || c == ' ' ? 0 : uint8_t(c - 24);
    return true;
}

void CmdEvent(EventRecord *event)
{
    const int mode = qset.keyFlags & 3;
    uint8_t c = uint8_t(event->message), x = c;

    if (mode == 0)
        return;
    if ((event->modifiers & controlKey) || mode == 1)
        (void)control_digit(c, &x);
    if (mode == 1) {
        x &= 31;
        event->modifiers = uint16_t((event->modifiers & ~cmdKey) | controlKey);
    } else {
        if (x >= 'A' && x <= 'Z')
            x = uint8_t(x + 32);
        if (event->modifiers & shiftKey)
            x = uint8_t(x - 32); // of any character: Shift-digit is a control
        event->modifiers = uint16_t(event->modifiers & ~cmdKey);
        // The high bit is set on a 7-bit line, too: what strips it there is
        // the line, and hosts that use it expect it.
        if (mode == 2)
            x |= 0x80;
        else
            gMetaEsc = 1;
    }
    event->message = (event->message & ~uint32_t(0xFF)) | x;
}

// ---- keys that act here ---------------------------------------------------

int CheckScrollKeys(uint8_t character, uint8_t keycode, uint16_t modifiers)
{
    bool page = keycode == kKeyHome || keycode == kKeyPageUp ||
                keycode == kKeyEnd || keycode == kKeyPageDown;
    bool arrow = (modifiers & cmdKey) &&
                 (keycode == kKeyOldRight || keycode > kKeyOldArrows) &&
                 character >= kLeftChar && character <= kDownChar;

    if (!page && !arrow)
        return 0;
    scroll_key(keycode, int16_t(modifiers));
    return 1;
}

// F1 to F4 without a string are Undo, Cut, Copy and Paste: their key codes
// happen to be the letters of those commands.
static bool edit_key(uint8_t character, uint8_t keycode, uint16_t modifiers)
{
    Str255 text;

    if (character != kFunctionChar || (keycode != kKeyF1 && keycode != kKeyF2 &&
                                       keycode != kKeyF3 && keycode != kKeyF4))
        return false;
    GetIndString(text, kListKeys, entry_of(keycode));
    if (text[0] > 0)
        return false;
    gWindowHooks.menuKey(keycode, modifiers);
    return true;
}

static void to_live_screen()
{
    if (stSel > -1)
        SetSel(-1, 0, -1, 0);
    ObscureCursor();
}

// ---- keys that send -------------------------------------------------------

// Cursor and keypad keys are for the view, not for the host.
static bool keypad_off()
{
    return (cset.termFlags & kTermKeysLocal) != 0;
}

static void send_delete(uint16_t modifiers)
{
    uint8_t key = cset.bsKey ? cset.bsKey : kBS;

    if (modifiers & optionKey)
        key = key == kBS ? kDEL : kBS;
    send_byte(key);
}

static void send_arrow(uint8_t character)
{
    static const char letters[] = "DCAB"; // by character from kLeftChar on
    const uint8_t letter = uint8_t(letters[character - kLeftChar]);
    Str255 text;

    if (cset.termType == 1) {
        GetIndString(text, kListKeys, int16_t(letter - 'A' + kFirstArrowEntry));
        if (text[0] > 0) {
            send_string(text);
            return;
        }
    }
    if (cursor_mode)
        esco(letter);
    else
        escBrak(-1, -1, letter);
}

// The keypad in application mode; false for a character it has no code for.
static bool send_keypad(uint8_t c)
{
    if (c >= '0' && c <= '9')
        esco(uint8_t(c - '0' + 'p'));
    else if (c == kEnterChar)
        esco('M');
    else if (c == '+')
        esco('l');
    else if (c == '-')
        esco('m');
    else if (c == '.')
        esco('n');
    else
        return false;
    return true;
}

// The keys above the keypad, in either mode.
static bool send_pf(uint8_t c)
{
    if (c == kESC)
        esco('P');
    else if (c == '=')
        esco('Q');
    else if (c == '/')
        esco('R');
    else if (c == '*')
        esco('S');
    else
        return false;
    return true;
}

static void send_function(uint8_t keycode)
{
    int16_t entry = entry_of(keycode);
    Str255 text;

    if (entry == 0)
        return;
    GetIndString(text, kListKeys, entry);
    if (text[0] == 1 && text[1] == kBreakString)
        gWindowHooks.sendBreak();
    else
        send_string(text);
}

// What stands for a special key; false for a plain one.
static bool send_special(uint8_t character, uint8_t keycode, uint16_t modifiers)
{
    uint8_t x;

    if (keycode == 0) {
        send_byte(character);
        return true;
    }
    if (keycode == kKeyDelete && character == kBS) {
        send_delete(modifiers);
        return true;
    }
    if ((modifiers & controlKey) && control_digit(character, &x)) {
        send_byte(x);
        return true;
    }
    if (character >= kLeftChar && character <= kDownChar &&
        (keycode == kKeyOldRight || keycode > kKeyOldArrows) &&
        !(modifiers & controlKey)) {
        send_arrow(character);
        return true;
    }
    if (!keypad_off()) {
        if (keypad_app && (keycode > kKeyPad || keycode == kKeyOldEnter) &&
            send_keypad(character))
            return true;
        if (keycode > kKeyPad && send_pf(character))
            return true;
    }
    if (keycode >= kKeyFunctions) {
        send_function(keycode);
        return true;
    }
    return false;
}

void SendKey(uint8_t character, uint8_t keycode, int16_t, uint16_t modifiers)
{
    if (edit_key(character, keycode, modifiers))
        return;
    if (keycode >= kKeyHome &&
        (keypad_off() || (modifiers & (shiftKey | optionKey))) &&
        CheckScrollKeys(character, keycode, modifiers))
        return;

    to_live_screen();
    bool only_back = scrolled != 0 && character == ' ';
    scr_to_bot();
    if (only_back)
        return;

    if (gMetaEsc) {
        send_byte(kESC);
        gMetaEsc = 0;
    }
    if (send_special(character, keycode, modifiers))
        return;
    if (character == kEnterChar &&
        (keycode == kKeyEnter || keycode == kKeyOldEnter))
        character = kCR;
    send_byte(character);
    if (character == kCR && newline)
        send_byte(kLF);
}

// ---- macros ---------------------------------------------------------------

void doMacro(int16_t n)
{
    Str255 text, name;

    GetIndString(text, cset.macroSetID, int16_t(n == 0 ? 20 : 2 * n));
    if (text[0] > 1 && text[1] == kScriptMark) {
        pstrcpy(name, PSTR(""));
        for (int i = 2; i <= text[0]; i++)
            pstrcatchr(name, text[i]);
        if (FindScript_Open(name) == noErr)
            return;
        // The mark is taken for an entry's number. No list has so many, so
        // the text is empty now, and a script's name is never sent as text.
        GetIndString(text, cset.macroSetID, kScriptMark);
    }
    if (stSel > -1)
        SetSel(-1, 0, -1, 0);
    scr_to_bot();
    send_string(text);
}

void setKMAP() {}
