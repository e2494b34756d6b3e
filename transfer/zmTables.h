// What a byte means to ZMODEM's escaping: on its way out, and behind a ZDLE on
// its way in.
#pragma once

#include "transfer/zm.h"

#include <array>
#include <cstdint>

// ---- out -------------------------------------------------------------------

// In the order of need: a byte is escaped by its own rule and all above.
enum out_rule : uint8_t {
    kOutPlain,   // never
    kOutIfAll,   // when all control characters are
    kOutAfterAt, // also behind "@"
    kOutEscape,  // always
};

consteval std::array<out_rule, 256> make_out_rules()
{
    std::array<out_rule, 256> t{};

    for (int c = 0; c < 256; c++) {
        const int low = c & 0x7F;
        if (c & kCtlMask)
            t[c] = kOutPlain;
        else if (low == DLE || low == XON || low == XOFF || c == ZDLE)
            t[c] = kOutEscape;
        else if (low == kCR)
            t[c] = kOutAfterAt;
        else
            t[c] = kOutIfAll;
    }
    return t;
}

// ---- in --------------------------------------------------------------------
// Behind a ZDLE: the byte that the pair stands for, a frame end with GOTOR,
// GOTCAN for one more CAN, or one of these.

constexpr int16_t kInFlow = -10; // put in by the line: as if it weren't there
constexpr int16_t kInControl = -11; // the same if all are escaped, else ERROR

consteval std::array<int16_t, 256> make_in_values()
{
    std::array<int16_t, 256> t{};

    for (int c = 0; c < 256; c++) {
        if (is_flow(c))
            t[c] = kInFlow;
        else if (c == CAN)
            t[c] = GOTCAN;
        else if (c >= ZCRCE && c <= ZCRCW)
            t[c] = int16_t(c | GOTOR);
        else if (c == ZRUB0)
            t[c] = 0x7F;
        else if (c == ZRUB1)
            t[c] = 0xFF;
        else if (!(c & kCtlMask))
            t[c] = kInControl;
        else
            t[c] = int16_t((c & kCtlMask) == kFlip ? c ^ kFlip : ERROR);
    }
    return t;
}

inline constinit const std::array<out_rule, 256> gOutRule = make_out_rules();
inline constexpr std::array<int16_t, 256> gInValue = make_in_values();

// Bytes without a ZDLE that are more than themselves: at these a run ends.
// `all`: also control characters, when all are escaped.
consteval std::array<bool, 256> make_stops(bool all)
{
    std::array<bool, 256> t{};

    for (int c = 0; c < 256; c++)
        t[c] = gInValue[c] == kInFlow || gInValue[c] == GOTCAN ||
               (all && gInValue[c] == kInControl);
    return t;
}

inline constinit const std::array<bool, 256> gStops = make_stops(false);
inline constinit const std::array<bool, 256> gStopsAll = make_stops(true);
