// The host's cursor on its way to a place that the user has clicked. Arrow
// keys take it there one by one (do_vtpos in shell/QuillonWindow), while reqRow
// is not negative.
#pragma once

#include <cstdint>

extern int16_t reqRow, reqCol; // the place; -1: nowhere
extern int16_t difRow, difCol; // last distance on each axis
extern int16_t aheadPos;       // keys sent that the cursor hasn't followed
