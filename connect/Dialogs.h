// The dialogs behind the Settings menu, and the helpers that move values
// between dialog fields and memory.
#pragma once

#include <cstdint>

#include "platform/dialogs.h"
#include "platform/menus.h"
#include "platform/types.h"

void term_prefs();
void pace_set();
void color_set();
void color2_set();
void glob_set();
void xfer_set();
void modem_set();
void prt_options();
void zmod_parms();

// Lets the user choose another port, for the case that the present one can't
// be opened. The text above the choice is what ParamText was given. True on
// OK, and then the name is stored by SetModem.
bool portonly_set();

// ---- field helpers ---------------------------------------------------------

void SetCtlItem(DialogPtr dialog, int16_t item, int16_t value);
void SetNum(DialogPtr dialog, int16_t item, int32_t value);
int32_t GetNum(DialogPtr dialog, int16_t item); // 0 for an empty field

// The item with that text, 0 if none.
int16_t SearchMenu(MenuHandle menu, ConstStr text);
