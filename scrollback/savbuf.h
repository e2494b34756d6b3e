// The scrollback store: every line that left the screen, as plain text in one
// growing block, with a table of offsets. It grows until memory runs short
// and then drops its oldest lines, silently.
//
// One line number space joins store and screen: below `savlines` a stored
// line, from there on a screen row. Line numbers are signed 16-bit wherever
// they are used, so the store also counts as full before savlines + MaxLine
// passes 32767.
//
// PutLine, the writer of the capture by lines, trims by nearly the same rules.
#pragma once

#include <cstdint>

#include "platform/types.h"

constexpr int32_t kLastLineNo = 32767;

// ---- the store -----------------------------------------------------------
// Line i is the bytes from entry[i] up to entry[i + 1], the last of which is
// a CR; entry[0] is 0 and entry[savlines] is savcount. sav_ok() checks it.

extern Handle savhdl;      // text; null until the first line is kept
extern Handle linhdl;      // table of int32_t offsets
extern int32_t savcount;   // bytes in use
extern int32_t savlines;   // lines
extern int16_t blanklines; // length of the present run of blank lines
extern int32_t leave_free; // bytes of memory to leave to others
extern uint16_t inPrep;    // the screen is pushed in (prepSel)
extern int32_t prepSavCount, prepSavLines; // what unprepSel returns to
extern int16_t prepBlankLines;
extern int32_t savAllow; // savcount when a clear was declined
extern int16_t PrtBufK;  // kilobytes as last shown

// ---- the scroll bar's shadow ---------------------------------------------
// sVal and sMax are the truth; the control follows when its thumb would
// visibly move, or when the line is quiet.

extern int16_t sVal;         // line at the top of the view
extern int16_t sMax;         // its maximum
extern int32_t sUpdateCount; // updates not shown yet
extern int32_t sUpdTicks;    // tick of the last one shown
extern int16_t sSBPos;       // thumb position then, in pixels

// Adds a screen line of 160 bytes, trimmed; a third blank line in a row is
// dropped. False: the line isn't in the store.
bool savline(const uint8_t *line);

// Removes lines first to last. The view and the selection follow.
void DelLines(int16_t first, int16_t last);

// The text of a line and its length without CR; a screen row's is 160. The
// store must be locked meanwhile.
const uint8_t *GetLinePtr(int32_t line, int16_t *length);

void LockBuffer(int8_t *savState, int8_t *linState);
void UnlockBuffer(int8_t savState, int8_t linState);

// Offset of a line in the text, for 0 to savlines; out of that the nearest.
int32_t sav_offset(int32_t line);

// The screen has grown: lets the oldest lines go until numbers fit again.
void sav_fit();

// A negative value keeps sVal; mode 2 shows the update now.
void sb_update(int16_t value, int16_t maximum, int16_t mode);
void sb_flush();

void clr_savbuf(); // the user's clear; may ask

// Writes one line to the capture file, which closes if that fails.
void PutLine(uint8_t *line, int16_t length);

bool sav_ok(); // assert(sav_ok())
