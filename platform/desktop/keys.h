// From the toolkit's key events to classic ones: a character byte, a virtual
// key code and modifier bits.
#pragma once

#include <QKeyEvent>
#include <QString>

#include <cstdint>

// What one key press means. With neither text nor character it says nothing
// by itself: a modifier, a dead key, a key for the desktop.
struct KeyStroke {
    uint8_t character = 0;  // of a named key; 0: the text decides
    uint8_t code = 0;       // virtual key code; 0 where only the text counts
    uint16_t modifiers = 0; // classic bits
    bool pastesPrimary = false; // Shift+Insert, as in every X terminal
    QString text;
};

// Modifier bits of an event or of the moment: Alt is Command, Super and AltGr
// are Option, Ctrl is Control.
uint16_t keys_modifiers(Qt::KeyboardModifiers modifiers);

// Follows AltGr, which is in no set of modifiers. Call for every press and
// release, before keys_translate.
void keys_follow(const QKeyEvent &event);

// Forgets AltGr: call when the keyboard goes to another program.
void keys_forget();

KeyStroke keys_translate(const QKeyEvent &event);
