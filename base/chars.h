// The control characters that text, keys and protocols share. Those of the
// protocols keep the capitals of their published descriptions.
#pragma once

#include <cstdint>

// ---- text ------------------------------------------------------------------

constexpr uint8_t kBEL = 0x07;
constexpr uint8_t kBS = 0x08;
constexpr uint8_t kHT = 0x09;
constexpr uint8_t kLF = 0x0A;
constexpr uint8_t kFF = 0x0C;
constexpr uint8_t kCR = 0x0D;
constexpr uint8_t kCtrlZ = 0x1A; // the end of a text, on some systems
constexpr uint8_t kESC = 0x1B;
constexpr uint8_t kDEL = 0x7F;

// ---- protocols -------------------------------------------------------------

constexpr uint8_t SOH = 0x01;
constexpr uint8_t STX = 0x02;
constexpr uint8_t ETX = 0x03;
constexpr uint8_t EOT = 0x04;
constexpr uint8_t ENQ = 0x05;
constexpr uint8_t ACK = 0x06;
constexpr uint8_t DLE = 0x10;
constexpr uint8_t XON = 0x11;
constexpr uint8_t XOFF = 0x13;
constexpr uint8_t NAK = 0x15;
constexpr uint8_t CAN = 0x18;

// ---- keys ------------------------------------------------------------------
// Characters that a key brings where no text would have them.

constexpr uint8_t kEnterChar = 0x03;    // Enter of the keypad
constexpr uint8_t kFunctionChar = 0x10; // any function key
constexpr uint8_t kLeftChar = 0x1C;     // the arrows, in this order
constexpr uint8_t kRightChar = 0x1D;
constexpr uint8_t kUpChar = 0x1E;
constexpr uint8_t kDownChar = 0x1F;
