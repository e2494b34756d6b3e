// The dialogs behind the Settings menu. Each is a table of its fields, run by
// connect/DialogFields.
#pragma once

#include <cstdint>

#include "platform/types.h"

// Where the main window belongs at the present font size, set by MakeUPPs.
extern Rect *(*gMainPlace)();

// The terminal of a connection: of the one in use, or of another entry of the
// book, which is written at OK.
void term_set(Handle resource, bool isCurrent);

void term_prefs();
void pace_set();
void color_set();
void color2_set();
void DrawColorItem(DialogPtr dialog, int16_t item); // a patch of color2_set
void glob_set();
void xfer_set();
void modem_set();
void prt_options();
void zmod_parms();

// Lets the user choose another port, for the case that the present one can't
// be opened. The text above the choice is what ParamText was given. True on
// OK, and then the name is stored by SetModem.
bool portonly_set();
