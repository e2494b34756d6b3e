// Font numbers and the families behind them, for the parts of the core that
// draw.
#pragma once

#include "platform/core/drawing/glyphs.h"
#include "platform/fonts.h"

// The family that font `number` is drawn with (UTF-8) and what its bytes stand
// for. A number that isn't in use is font 4.
const char *font_family(int16_t number, FontCoding *coding);
