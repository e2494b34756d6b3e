// Scripts: text files that run a line at a time from the event pass.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

// 0 no script; -2 just started or to be stopped; -1 the next line is due;
// else the command that waits.
extern int16_t ScriptFlag;

// The wait in force; 0 none. What WaitTime means goes by it.
constexpr int16_t kWaitDate = 1;      // GetDateTime reaches WaitTime
constexpr int16_t kWaitSent = 3;      // the send queue has run dry
constexpr int16_t kWaitLineQuiet = 4; // line quiet for WaitTime ticks
constexpr int16_t kWaitText = 5;      // string_buf stands on the screen
constexpr int16_t kWaitTicks = 128;   // TickCount reaches WaitTime
extern int16_t WaitFlag;
extern int32_t WaitTime;

extern uint8_t string_buf[256]; // the text waited for, zero-ended

void init_tokens(); // once at start
void run_script();  // asks for a file; beeps while a script is active
OSErr FindScript_Open(ConstStr name); // 0: found and started
OSErr open_script(const FSSpec *file);
OSErr start_script(int16_t fileRef);
void do_script();  // runs one line
void check_wait(); // ends a wait that is over

OSErr ResolveDir(const FSSpec *file, FSSpec *out); // 0: a folder
OSErr OpenWResolve(const FSSpec *file, int16_t *fileRef);
