// Events that come from outside, for the parts of the core that make them.
#pragma once

// May no dialog go on standing? A request to quit is waiting behind it, or the
// session ends and lets nobody be asked. Whoever waits for the user asks this
// at each turn and puts its question away as if it had been cancelled.
bool dialogs_must_go();

// The session ends without a question: what would be asked about saving is
// answered by saving.
bool nobody_to_ask();
