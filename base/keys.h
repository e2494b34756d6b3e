// Virtual key codes: the place of a key, whatever character it brings. The
// characters of keys without text stand in chars.h.
#pragma once

#include <cstdint>

constexpr uint8_t kKeyB = 0x0B;
constexpr uint8_t kKeyOldRight = 0x18;  // arrows of an early keyboard ...
constexpr uint8_t kKeyOldArrows = 0x1D; // ... and all others lie above this
constexpr uint8_t kKeyDelete = 0x33;
constexpr uint8_t kKeyOldEnter = 0x34;
constexpr uint8_t kKeyPad = 0x40; // the keypad lies above this
constexpr uint8_t kKeyEnter = 0x4C;
constexpr uint8_t kKeyFunctions = 0x60; // function keys from here on
constexpr uint8_t kKeyF3 = 0x63;
constexpr uint8_t kKeyHelp = 0x72;
constexpr uint8_t kKeyHome = 0x73;
constexpr uint8_t kKeyPageUp = 0x74;
constexpr uint8_t kKeyForwardDelete = 0x75;
constexpr uint8_t kKeyF4 = 0x76;
constexpr uint8_t kKeyEnd = 0x77;
constexpr uint8_t kKeyF2 = 0x78;
constexpr uint8_t kKeyPageDown = 0x79;
constexpr uint8_t kKeyF1 = 0x7A;
