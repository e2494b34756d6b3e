// Keys as the program knows them: what each press of a PC keyboard means.
#include "tests/desktop/recorder.h"

#include "platform/desktop/keys.h"

struct KeyCase {
    const char *name;
    int key;
    Qt::KeyboardModifiers held;
    const char *text; // what the layout gives
    uint32_t hardware;
    // expected
    uint8_t character, code;
    uint16_t modifiers;
    const char *out;
};

constexpr auto none = Qt::NoModifier;
constexpr auto pad = Qt::KeypadModifier;
constexpr auto ctrl = Qt::ControlModifier;
constexpr auto shift = Qt::ShiftModifier;
constexpr auto alt = Qt::AltModifier;
constexpr auto super = Qt::MetaModifier;

// clang-format off
static const KeyCase cases[] = {
    {"letter",           Qt::Key_A, none, "a", 38,      0, 0x00, 0, "a"},
    {"capital",          Qt::Key_A, shift, "A", 38,     0, 0x00, shiftKey, "A"},
    {"accent",           Qt::Key_Eacute, none, "é", 0,  0, 0, 0, "é"},
    {"dead key",         Qt::Key_Dead_Acute, none, "", 0, 0, 0, 0, ""},
    {"modifier",         Qt::Key_Shift, none, "", 50,   0, 0, shiftKey, ""},
    {"Return",           Qt::Key_Return, none, "\r", 36, 13, 0x24, 0, ""},
    {"keypad Enter",     Qt::Key_Enter, pad, "\r", 104,  3, 0x4C, 0, ""},
    {"Backspace",        Qt::Key_Backspace, none, "\b", 22, 8, 0x33, 0, ""},
    {"Delete",           Qt::Key_Delete, none, "\x7f", 119, 0x7F, 0x75, 0, ""},
    {"Escape",           Qt::Key_Escape, none, "\x1b", 9, 0x1B, 0x35, 0, ""},
    {"Tab",              Qt::Key_Tab, none, "\t", 23,   9, 0x30, 0, ""},
    {"Shift-Tab",        Qt::Key_Backtab, shift, "", 23, 9, 0x30, shiftKey, ""},
    {"Left",             Qt::Key_Left, none, "", 113,   0x1C, 0x7B, 0, ""},
    {"Up on the keypad", Qt::Key_Up, pad, "", 80,       0x1E, 0x7E, 0, ""},
    {"Shift-PgUp",       Qt::Key_PageUp, shift, "", 112, 11, 0x74, shiftKey, ""},
    {"F1",               Qt::Key_F1, none, "", 67,      0x10, 0x7A, 0, ""},
    {"F10",              Qt::Key_F10, none, "", 76,     0x10, 0x6D, 0, ""},
    {"F15",              Qt::Key_F15, none, "", 0,      0x10, 0x71, 0, ""},
    {"5",                Qt::Key_5, none, "5", 14,      0, 0x17, 0, "5"},
    {"keypad 5",         Qt::Key_5, pad, "5", 84,       '5', 0x57, 0, ""},
    {"keypad 8",         Qt::Key_8, pad, "8", 80,       '8', 0x5B, 0, ""},
    {"keypad *",         Qt::Key_Asterisk, pad, "*", 63, '*', 0x43, 0, ""},
    {"keypad Clear",     Qt::Key_Clear, pad, "", 84,    0x1B, 0x47, 0, ""},
    {"Ctrl-C",           Qt::Key_C, ctrl, "\x03", 54,   3, 0x08, controlKey, ""},
    {"Ctrl-Q",           Qt::Key_Q, ctrl, "\x11", 24,   17, 0x0C, controlKey, ""},
    {"Ctrl-[",           Qt::Key_BracketLeft, ctrl, "\x1b", 34, 0x1B, 0, controlKey, ""},
    {"Ctrl-\\",          Qt::Key_Backslash, ctrl, "\x1c", 51, 0x1C, 0, controlKey, ""},
    {"Ctrl-Space",       Qt::Key_Space, ctrl, " ", 65,  0, 0x31, controlKey, " "},
    {"Ctrl-3",           Qt::Key_3, ctrl, "3", 12,      0, 0x14, controlKey, "3"},
    {"Ctrl-@",           Qt::Key_At, ctrl | shift, "", 11, 0, 0, controlKey | shiftKey, "2"},
    {"Ctrl-Shift-C",     Qt::Key_C, ctrl | shift, "\x03", 54, 0, 0x08, cmdKey, "c"},
    {"Ctrl-Shift-V",     Qt::Key_V, ctrl | shift, "\x16", 55, 0, 0x09, cmdKey, "v"},
    {"Ctrl-_",           Qt::Key_Underscore, ctrl | shift, "\x1f", 20, 0x1F, 0, controlKey | shiftKey, ""},
    {"Alt-C",            Qt::Key_C, alt, "c", 54,       0, 0x08, cmdKey, "c"},
    {"Alt-Shift-C",      Qt::Key_C, alt | shift, "C", 54, 0, 0x08, cmdKey | shiftKey, "C"},
    {"Alt-period",       Qt::Key_Period, alt, ".", 60,  0, 0x2F, cmdKey, "."},
    {"Alt-5",            Qt::Key_5, alt, "5", 14,       0, 0x17, cmdKey, "5"},
    {"Alt-Return",       Qt::Key_Return, alt, "\r", 36, 13, 0x24, cmdKey, ""},
    {"Alt-Up",           Qt::Key_Up, alt, "", 111,      0x1E, 0x7E, cmdKey, ""},
    {"Super-Backspace",  Qt::Key_Backspace, super, "\b", 22, 8, 0x33, optionKey, ""},
    // The Greek letter on the key of C: Command means the place.
    {"Alt on Greek",     0x3A8, alt, "ψ", 54,           0, 0x08, cmdKey, "c"},
    {"Ctrl on Greek",    0x3A8, ctrl, "", 54,           3, 0x08, controlKey, ""},
    {"chord on Greek",   0x3A8, ctrl | shift, "", 54,   0, 0x08, cmdKey, "c"},
    {"Greek",            0x3A8, none, "ψ", 54,          0, 0, 0, "ψ"},
};
// clang-format on

TEST(Keys, Meaning)
{
    for (const KeyCase &c : cases) {
        SCOPED_TRACE(c.name);
        QKeyEvent event(QEvent::KeyPress, c.key, c.held, c.hardware, 0, 0,
                        QString::fromUtf8(c.text));
        KeyStroke stroke = keys_translate(event);
        EXPECT_EQ(stroke.character, c.character);
        EXPECT_EQ(stroke.code, c.code);
        EXPECT_EQ(stroke.modifiers, c.modifiers);
        EXPECT_EQ(stroke.text.toStdString(), c.out);
        EXPECT_FALSE(stroke.pastesPrimary);
    }
}

// No modifier set tells of AltGr, so its own press and release do.
TEST(Keys, AltGrIsOptionWhileHeld)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_AltGr, none);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_AltGr, none);
    QKeyEvent page(QEvent::KeyPress, Qt::Key_PageUp, none);

    keys_follow(press);
    EXPECT_EQ(keys_translate(page).modifiers, optionKey);
    keys_follow(release);
    EXPECT_EQ(keys_translate(page).modifiers, 0);
    keys_follow(press);
    keys_forget(); // released over another window
    EXPECT_EQ(keys_translate(page).modifiers, 0);
}

using KeysOnDesktop = Desktop;

// Keys that desktops like to keep: each reaches the terminal.
TEST_F(KeysOnDesktop, NothingIsKeptByTheDesktop)
{
    open(1, BE_DOCUMENT, 300, 200);
    be_menu_item entries[] = {{"Copy", 'C', true, false, false, 0}};
    int32_t bar[] = {300};
    be_menu_set(300, "&Edit", true, entries, 1);
    be_menu_bar(bar, 1);

    QTest::keyClick(content(1), Qt::Key_Tab);
    QTest::keyClick(content(1), Qt::Key_Backtab, shift);
    QTest::keyClick(content(1), Qt::Key_F10);
    QTest::keyClick(content(1), Qt::Key_Escape);
    QTest::keyClick(content(1), Qt::Key_Alt, alt);
    QTest::keyClick(content(1), Qt::Key_C, alt);
    QTest::keyClick(content(1), Qt::Key_E, alt);
    EXPECT_EQ(take_heard(), "key 1 '' 30:09 0000; key 1 '' 30:09 0200; "
                            "key 1 '' 6D:10 0000; key 1 '' 35:1B 0000; "
                            "key 1 'c' 08:00 0100; key 1 'e' 0E:00 0100");
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);

    QTest::keyClick(content(1), Qt::Key_Insert, shift);
    EXPECT_EQ(take_heard(), "middle 1");
}

TEST_F(KeysOnDesktop, InputMethodGivesText)
{
    open(1, BE_DOCUMENT, 300, 200);
    be_rect caret = {30, 40, 31, 52};
    be_caret_at(1, &caret);
    QInputMethodEvent event;
    event.setCommitString(QStringLiteral("àé"));
    QApplication::sendEvent(content(1), &event);
    EXPECT_EQ(take_heard(), "key 1 'àé' 00:00 0000");
    EXPECT_EQ(content(1)->inputMethodQuery(Qt::ImCursorRectangle).toRect(),
              QRect(30, 40, 1, 12));
}
