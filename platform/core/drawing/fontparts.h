// Font numbers and the families behind them, for the parts of the core that
// draw.
#pragma once

#include "platform/core/drawing/glyphs.h"
#include "platform/fonts.h"

#include <string>
#include <vector>

// The family that font `number` is drawn with (UTF-8) and what its bytes stand
// for. A number that isn't in use is font 4.
const char *font_family(int16_t number, FontCoding *coding);

// What a menu of fonts lists: the program's own and the families, in one
// order. UTF-8.
std::vector<std::string> font_names();
