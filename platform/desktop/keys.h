// platform/desktop/keys.h
// From the toolkit's key events to classic ones: a character byte, a virtual
// key code and modifier bits.
#pragma once

#include <QKeyEvent>
#include <QString>

#include <cstdint>

// What one key press means.
struct KeyStroke {
    uint8_t code = 0;        // virtual key code; 0 where only the text counts
    uint16_t modifiers = 0;  // classic bits
    QString text;            // what to send, one key event a character;
                             // empty for a key that says nothing by itself
};

// Modifier bits of an event or of the moment: Alt is Command, Super and AltGr
// are Option, Ctrl is Control.
uint16_t keys_modifiers(Qt::KeyboardModifiers modifiers);

// Follows AltGr, which no modifier set tells of. Call for every press and
// release, before keys_translate.
void keys_follow(const QKeyEvent& event);

// Forgets AltGr: call when the keyboard goes to another program.
void keys_forget();

KeyStroke keys_translate(const QKeyEvent& event);
