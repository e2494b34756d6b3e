// Everything that tells the user of a failure. Loudest first: a stop alert,
// which waits for an answer; a warning that beeps and goes after two seconds;
// a line "###  ..." in the terminal, which a running connection bears. The
// ...STR forms take their text from a string list of the resources.
//
// A text is a length-prefixed string or null. A code is a system error; its
// words come from resource `eSTR` of that number, and without one they are
// "Error: " and the number (no number for 0).
#pragma once

#include "platform/types.h"

constexpr int16_t kUserCancelled = 128; // its own words, nothing behind them

// The words for `code`, with `text` behind them. The result lies in one
// buffer and is good until the next call.
uint8_t *errorString(int16_t code, ConstStr text);

// What a message needs of the parts above, set by MakeUPPs. Before that, time
// passes without a pass, and a line for the terminal becomes a warning.
struct message_hooks {
    void (*pass)(); // one pass that leaves keys and mouse alone
    bool (*in_terminal)(ConstStr text); // a line; false: there is no window
};
extern message_hooks gMessageHooks;

// Stop alert 302. Waits for the user.
void ErrorAlert(ConstStr text, int16_t code);
void ErrorAlertSTR(int16_t code, int16_t list, int16_t index);

// A line of its own in the terminal; with no window yet, ShowWarn. Within
// itself it says nothing. Returns `code`.
int16_t PrtError(int16_t code, ConstStr text);
int16_t PrtErrorSTR(int16_t code, int16_t list, int16_t index);

// Beep and a dialog for two seconds. The port is served meanwhile.
void ShowWarn(ConstStr text);
void ShowWarnSTR(int16_t list, int16_t index);

// A notice for `ticks`. The port is served meanwhile.
void MessageFlash(ConstStr text, int32_t ticks);

// Sets the text of a static or edit text item; any other is left alone.
void SetDText(DialogPtr dialog, int16_t item, ConstStr text);
