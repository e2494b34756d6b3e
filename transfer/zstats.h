// What the user sees of a transfer: the status window with its bar, the lines
// "### Receive (Z) name: text" in the terminal, and a line per file in the
// transfer log.
#pragma once

#include "platform/controls.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

extern DialogPtr zDlog;        // the status window; null when none is shown
extern WindowPtr zDwin;        // the same
extern ControlHandle gProg;    // its progress control
extern Rect barbox;            // place of the bar
extern Str255 zmsg;            // scratch
extern int32_t zsTotal, zsCur; // the bar; zsTotal 0: no bar
extern int32_t estCPS;         // characters per second, for the time left
extern uint8_t prog1st;        // zprog also redraws check type and bar

void zshow();  // open the status window
void zrmv();   // close it
void ztitle(); // its title, and the first estCPS

void zprog(int32_t current, int32_t total); // the figures, at most 1.2 Hz
void zitem(int16_t item, ConstStr text);    // and serves events
void zitemNoEvt(int16_t item, ConstStr text);
void zstat(const char *text);    // status line; on the terminal if Verbose
void zstatp(ConstStr text);      // the same, length-prefixed
void zprtstat(const char *text); // status line and a line in the terminal
void zprtstatp(ConstStr text);   // the same, length-prefixed
void zprterr(OSErr code, const char *text);
void zmsgnum(int16_t item, const char *text, int32_t number);
void zecheck();
void ztype();
void zvolume(int16_t vol, int32_t dir);
void zNameVol(const FSSpec *file);
void inc_retry();  // retries grows and is shown
void show_retry(); // item 8 takes retries, empty for 0
void zdsphdr(int32_t type);

// The end of a file: transcript, and the log unless it is off.
void zperf(ConstStr name, int32_t start, int32_t end, int32_t bytes,
           uint8_t direction);

void MinSec(uint8_t *out, int16_t seconds); // "0:00", "1:01:01"
void drawBar();
