// Printing the selection.
#pragma once

#include <cstdint>

#include "platform/types.h"

void init_print();         // at start: a page format with the defaults
void savePrtInfo();        // nothing: the format isn't kept between runs
void BuildPrintFontMenu(); // fills menu 450
void PgSetup();
void PrtSel();
