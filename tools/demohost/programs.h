// tools/demohost/programs.h
// What the host does by other programs: the caller's own shell on a
// pseudo-terminal of its own, and files by the protocols of the programs that
// are installed. All return false when the call is over.
#pragma once

bool page_shell();
bool page_fetch(); // the host sends
bool page_give();  // the host receives

void programs_end(); // removes the files made and received
