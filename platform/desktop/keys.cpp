// The one table of keys, and the chords that stand for Command.
#include "platform/desktop/keys.h"

#include "platform/events.h"

// ---- the table --------------------------------------------------------------

// A toolkit key number, whether it is the one on the keypad, the classic
// virtual key code, the classic character (0: the text that the layout gives)
// and the hardware code that X and Wayland report (0: not needed).
struct key_row {
    int key;
    bool pad;
    uint8_t code;
    uint8_t character;
    uint8_t hardware;
};

// The codes of letters, digits and signs are places on the keyboard, but the
// program only looks at a few of them, and there means the letter. So they are
// found by letter, and by hardware code only where the layout has other
// letters: Alt with the key that bears "C" copies on a Greek keyboard too.
// clang-format off
static constexpr key_row key_rows[] = {
    { Qt::Key_Return,     false, 0x24, 13,   0 },
    { Qt::Key_Enter,      true,  0x4C,  3,   0 },
    { Qt::Key_Enter,      false, 0x4C,  3,   0 },
    { Qt::Key_Tab,        false, 0x30,  9,   0 },
    { Qt::Key_Backtab,    false, 0x30,  9,   0 },
    { Qt::Key_Escape,     false, 0x35, 0x1B, 0 },
    { Qt::Key_Backspace,  false, 0x33,  8,   0 },
    { Qt::Key_Delete,     false, 0x75, 0x7F, 0 },
    { Qt::Key_Delete,     true,  0x75, 0x7F, 0 },
    { Qt::Key_Left,       false, 0x7B, 0x1C, 0 },
    { Qt::Key_Right,      false, 0x7C, 0x1D, 0 },
    { Qt::Key_Up,         false, 0x7E, 0x1E, 0 },
    { Qt::Key_Down,       false, 0x7D, 0x1F, 0 },
    { Qt::Key_Left,       true,  0x7B, 0x1C, 0 },
    { Qt::Key_Right,      true,  0x7C, 0x1D, 0 },
    { Qt::Key_Up,         true,  0x7E, 0x1E, 0 },
    { Qt::Key_Down,       true,  0x7D, 0x1F, 0 },
    { Qt::Key_Home,       false, 0x73,  1,   0 },
    { Qt::Key_End,        false, 0x77,  4,   0 },
    { Qt::Key_PageUp,     false, 0x74, 11,   0 },
    { Qt::Key_PageDown,   false, 0x79, 12,   0 },
    { Qt::Key_Insert,     false, 0x72,  5,   0 },
    { Qt::Key_Home,       true,  0x73,  1,   0 },
    { Qt::Key_End,        true,  0x77,  4,   0 },
    { Qt::Key_PageUp,     true,  0x74, 11,   0 },
    { Qt::Key_PageDown,   true,  0x79, 12,   0 },
    { Qt::Key_Insert,     true,  0x72,  5,   0 },
    { Qt::Key_Help,       false, 0x72,  5,   0 },

    { Qt::Key_F1,         false, 0x7A, 0x10, 0 },
    { Qt::Key_F2,         false, 0x78, 0x10, 0 },
    { Qt::Key_F3,         false, 0x63, 0x10, 0 },
    { Qt::Key_F4,         false, 0x76, 0x10, 0 },
    { Qt::Key_F5,         false, 0x60, 0x10, 0 },
    { Qt::Key_F6,         false, 0x61, 0x10, 0 },
    { Qt::Key_F7,         false, 0x62, 0x10, 0 },
    { Qt::Key_F8,         false, 0x64, 0x10, 0 },
    { Qt::Key_F9,         false, 0x65, 0x10, 0 },
    { Qt::Key_F10,        false, 0x6D, 0x10, 0 },
    { Qt::Key_F11,        false, 0x67, 0x10, 0 },
    { Qt::Key_F12,        false, 0x6F, 0x10, 0 },
    { Qt::Key_F13,        false, 0x69, 0x10, 0 },
    { Qt::Key_F14,        false, 0x6B, 0x10, 0 },
    { Qt::Key_F15,        false, 0x71, 0x10, 0 },
    { Qt::Key_ScrollLock, false, 0x6B, 0x10, 0 },
    { Qt::Key_Pause,      false, 0x71, 0x10, 0 },

    // Num Lock is a lock here, so Clear is the keypad's 5 without it.
    { Qt::Key_Clear,      true,  0x47, 0x1B, 0 },
    { Qt::Key_Clear,      false, 0x47, 0x1B, 0 },
    { Qt::Key_Period,     true,  0x41, '.',  0 },
    { Qt::Key_Comma,      true,  0x41, ',',  0 },
    { Qt::Key_Asterisk,   true,  0x43, '*',  0 },
    { Qt::Key_Plus,       true,  0x45, '+',  0 },
    { Qt::Key_Slash,      true,  0x4B, '/',  0 },
    { Qt::Key_Minus,      true,  0x4E, '-',  0 },
    { Qt::Key_Equal,      true,  0x51, '=',  0 },
    { Qt::Key_0,          true,  0x52, '0',  0 },
    { Qt::Key_1,          true,  0x53, '1',  0 },
    { Qt::Key_2,          true,  0x54, '2',  0 },
    { Qt::Key_3,          true,  0x55, '3',  0 },
    { Qt::Key_4,          true,  0x56, '4',  0 },
    { Qt::Key_5,          true,  0x57, '5',  0 },
    { Qt::Key_6,          true,  0x58, '6',  0 },
    { Qt::Key_7,          true,  0x59, '7',  0 },
    { Qt::Key_8,          true,  0x5B, '8',  0 },
    { Qt::Key_9,          true,  0x5C, '9',  0 },

    { Qt::Key_A,          false, 0x00,  0,  38 },
    { Qt::Key_S,          false, 0x01,  0,  39 },
    { Qt::Key_D,          false, 0x02,  0,  40 },
    { Qt::Key_F,          false, 0x03,  0,  41 },
    { Qt::Key_H,          false, 0x04,  0,  43 },
    { Qt::Key_G,          false, 0x05,  0,  42 },
    { Qt::Key_Z,          false, 0x06,  0,  52 },
    { Qt::Key_X,          false, 0x07,  0,  53 },
    { Qt::Key_C,          false, 0x08,  0,  54 },
    { Qt::Key_V,          false, 0x09,  0,  55 },
    { Qt::Key_B,          false, 0x0B,  0,  56 },
    { Qt::Key_Q,          false, 0x0C,  0,  24 },
    { Qt::Key_W,          false, 0x0D,  0,  25 },
    { Qt::Key_E,          false, 0x0E,  0,  26 },
    { Qt::Key_R,          false, 0x0F,  0,  27 },
    { Qt::Key_Y,          false, 0x10,  0,  29 },
    { Qt::Key_T,          false, 0x11,  0,  28 },
    { Qt::Key_1,          false, 0x12,  0,  10 },
    { Qt::Key_2,          false, 0x13,  0,  11 },
    { Qt::Key_3,          false, 0x14,  0,  12 },
    { Qt::Key_4,          false, 0x15,  0,  13 },
    { Qt::Key_6,          false, 0x16,  0,  15 },
    { Qt::Key_5,          false, 0x17,  0,  14 },
    { Qt::Key_Equal,      false, 0x18,  0,  21 },
    { Qt::Key_9,          false, 0x19,  0,  18 },
    { Qt::Key_7,          false, 0x1A,  0,  16 },
    { Qt::Key_Minus,      false, 0x1B,  0,  20 },
    { Qt::Key_8,          false, 0x1C,  0,  17 },
    { Qt::Key_0,          false, 0x1D,  0,  19 },
    { Qt::Key_O,          false, 0x1F,  0,  32 },
    { Qt::Key_U,          false, 0x20,  0,  30 },
    { Qt::Key_I,          false, 0x22,  0,  31 },
    { Qt::Key_P,          false, 0x23,  0,  33 },
    { Qt::Key_L,          false, 0x25,  0,  46 },
    { Qt::Key_J,          false, 0x26,  0,  44 },
    { Qt::Key_K,          false, 0x28,  0,  45 },
    { Qt::Key_Comma,      false, 0x2B,  0,  59 },
    { Qt::Key_Slash,      false, 0x2C,  0,  61 },
    { Qt::Key_N,          false, 0x2D,  0,  57 },
    { Qt::Key_M,          false, 0x2E,  0,  58 },
    { Qt::Key_Period,     false, 0x2F,  0,  60 },
    { Qt::Key_Space,      false, 0x31,  0,  65 },
};
// clang-format on

static const key_row *find_key(int key, bool pad)
{
    for (const key_row &row : key_rows)
        if (row.key == key && row.pad == pad)
            return &row;
    return nullptr;
}

static const key_row *find_hardware(uint32_t hardware)
{
    for (const key_row &row : key_rows)
        if (row.hardware != 0 && row.hardware == hardware)
            return &row;
    return nullptr;
}

// ---- modifiers --------------------------------------------------------------

static bool altGrDown; // between the press of AltGr and its release

uint16_t keys_modifiers(Qt::KeyboardModifiers modifiers)
{
    uint16_t bits = 0;

    if (modifiers & Qt::AltModifier)
        bits |= cmdKey;
    if (modifiers & Qt::ShiftModifier)
        bits |= shiftKey;
    if (modifiers & Qt::ControlModifier)
        bits |= controlKey;
    if ((modifiers & (Qt::MetaModifier | Qt::GroupSwitchModifier)) || altGrDown)
        bits |= optionKey;
    return bits;
}

void keys_follow(const QKeyEvent &event)
{
    if (event.key() != Qt::Key_AltGr || event.isAutoRepeat())
        return;
    altGrDown = event.type() == QEvent::KeyPress;
}

void keys_forget()
{
    altGrDown = false;
}

// ---- characters -------------------------------------------------------------

// The control character that Ctrl makes of a key, as xterm has it, or 0. The
// digits 2 to 7 and the space bar stay themselves: the program turns them.
static uint8_t control_character(int key)
{
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return uint8_t(key & 31);
    switch (key) {
    case Qt::Key_BracketLeft:
    case Qt::Key_BraceLeft:
        return 0x1B;
    case Qt::Key_Backslash:
    case Qt::Key_Bar:
        return 0x1C;
    case Qt::Key_BracketRight:
    case Qt::Key_BraceRight:
        return 0x1D;
    case Qt::Key_AsciiCircum:
    case Qt::Key_AsciiTilde:
    case Qt::Key_QuoteLeft:
        return 0x1E;
    case Qt::Key_Underscore:
    case Qt::Key_Slash:
    case Qt::Key_Minus:
        return 0x1F;
    case Qt::Key_Question:
    case Qt::Key_8:
        return 0x7F;
    default:
        return 0;
    }
}

// The key that bears a letter or sign, whatever the layout has there.
static int latin_key(const QKeyEvent &event)
{
    int key = event.key();

    if (key >= 0x20 && key <= 0x7E)
        return key;
    const key_row *place = find_hardware(event.nativeScanCode());
    return place ? place->key : 0;
}

// Ctrl+Shift with a letter stands for Command with it.
static bool is_chord(const QKeyEvent &event)
{
    constexpr Qt::KeyboardModifiers both =
        Qt::ControlModifier | Qt::ShiftModifier;
    int key = latin_key(event);

    return (event.modifiers() & (both | Qt::AltModifier)) == both &&
           key >= Qt::Key_A && key <= Qt::Key_Z;
}

// What Command or Control makes of a key that isn't a named one.
static void held_stroke(const QKeyEvent &event, KeyStroke *stroke)
{
    int key = latin_key(event);

    if (key == 0)
        return;
    if (const key_row *row = find_key(key, false))
        stroke->code = row->code;
    if (stroke->modifiers & cmdKey) {
        bool upper = event.modifiers() & Qt::ShiftModifier;
        if (is_chord(event)) {
            stroke->modifiers &= uint16_t(~(shiftKey | controlKey));
            upper = false;
        }
        QChar c = QChar(key);
        stroke->text = upper ? c : c.toLower();
        return;
    }
    if (key == Qt::Key_At) {
        stroke->text = QStringLiteral("2"); // NUL comes of Control-2
        return;
    }
    stroke->character = control_character(key);
    if (stroke->character == 0)
        stroke->text = QChar(key);
}

KeyStroke keys_translate(const QKeyEvent &event)
{
    KeyStroke stroke;
    bool pad = event.modifiers() & Qt::KeypadModifier;
    const key_row *row = find_key(event.key(), pad);

    stroke.modifiers = keys_modifiers(event.modifiers());
    if (is_chord(event))
        stroke.modifiers |= cmdKey;
    if (event.key() == Qt::Key_Insert &&
        event.modifiers() == Qt::ShiftModifier) {
        stroke.pastesPrimary = true;
        return stroke;
    }
    if (row && row->character != 0) {
        stroke.character = row->character;
        stroke.code = row->code;
        return stroke;
    }
    if (stroke.modifiers & (cmdKey | controlKey)) {
        held_stroke(event, &stroke);
        return stroke;
    }
    if (row)
        stroke.code = row->code;
    // Control bytes only come from the rules above: what else the layout makes
    // of a key is text.
    if (!event.text().isEmpty() && event.text().front().unicode() >= 0x20)
        stroke.text = event.text();
    return stroke;
}
