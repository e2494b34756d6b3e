// The selection: a stretch of text across store and screen, in line numbers
// (savbuf.h) and columns, and its highlight.
//
// Who uses selected text brackets it with prepSel and unprepSel: the first
// pushes the screen into the store, so that the text is one run of bytes, and
// the second takes it out again by restoring the counts. No byte may reach
// the terminal between them.
#pragma once

#include <cstdint>

#include "platform/events.h"
#include "platform/types.h"

extern int16_t stSel, stCol;   // start; stSel is -1 without a selection
extern int16_t endSel, endCol; // end; the column is one past it
extern RgnHandle selRgn;       // the highlight, window-local
extern RgnHandle rgn1, rgn2;   // scratch

extern int16_t LClickRow, LClickCol; // where tracking last ended
extern int32_t clickTime;            // tick of the last release
extern int16_t clickLine, clickCol;  // the last press

// The ends stand in order. Usage: assert(sel_ok());
bool sel_ok();

// Sets the selection; a startLine of -1, or two equal ends, clears it.
void SetSel(int16_t startLine, int16_t startCol, int16_t endLine,
            int16_t endColumn);
void lineLost();               // the screen's top line has left unkept
void CalcSel(int16_t topLine); // the highlight for a view
void makeRgn(RgnHandle region, int16_t firstRow, int16_t firstCol,
             int16_t lastRow, int16_t lastCol);
int16_t FindWordb(int16_t line, int16_t col, int16_t *start, int16_t *end);

// Tracks the mouse from a press in the text until its release.
void DoClick(Point point, const EventRecord *event);

// The selection's bytes and their number; with a null `size` it only pushes
// the screen, and returns null. The store is locked until unprepSel.
const uint8_t *prepSel(int32_t *size);
void unprepSel();
void offerSel(); // what is selected is what a middle click pastes, anywhere
void cmdClick(); // queues it as typed text, behind the prefix of its
                 // connection, and clears it
void remSel();   // takes selected text out of the store
