// Events that come from outside, for the parts of the core that make them.
#pragma once

// True when an open dialog has to close: a request to quit waits behind it, or
// the session ends and allows no question. Every loop that waits for the user
// checks this at each turn, and then cancels its question.
bool dialogs_must_go();

// Waits until a call up sets `done`; cancels what is open if it has to close.
void wait_for_user(const bool &done);

// The session ends and allows no question: changes are saved without asking.
bool nobody_to_ask();
