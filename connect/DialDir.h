// The dial directory: the sorted list of the book's connections, which the
// Dial menu shows behind its fixed items, and the window on it.
#pragma once

#include <cstdint>

#include "platform/controls.h"
#include "platform/dialogs.h"
#include "platform/events.h"
#include "platform/types.h"
#include "resources/names.h"

// Entry i is item i + kDialFirstItem of the Dial menu.
constexpr int16_t kDialFirstItem = kLastItemDial + 1;

// ---- the list --------------------------------------------------------------
// ddHdls[0 .. ddCount-1] ascend by CompareString, and no two names are equal
// but for case. ddCurrent, defDial and curDialItem name the same entry across
// an insertion or a deletion. ddCount is at least 1 once a book is open.

extern Handle *ddHdls;    // the Dial resources of the book, sorted by name
extern uint8_t *ddFlags;  // bit 0: marked for dialing
extern int16_t ddCount;   // entries
extern int16_t ddCurrent; // the selected row, -1 for none
extern int16_t defDial;   // index of the default connection

extern DialogPtr ddir_dlg;       // the directory's dialog, null when closed
extern WindowPtr ddir_dwin;      // its window
extern ControlHandle ddsbar_ctl; // its scroll bar

// Usage: assert(entries_ok()) after every change of the list,
// assert(ddir_ok()) once the indices name entries again.
bool entries_ok(); // the order, and that each entry is a record of a file
bool ddir_ok();    // and the three indices

void ddGetList();      // builds the list from the book
void ddMenuFromList(); // rebuilds the Dial menu's entries

// The index of the entry of that name, or where it would be inserted.
int16_t SearchDial(ConstStr name, bool *found);

// A negative position means: where the name belongs. -1 for a duplicate.
OSErr ddInsList(ConstStr name, Handle resource, int16_t position);
void ddDelFromList(int16_t index);

void ddSetMark(int16_t index, int16_t value); // 0, 1, or -1 to toggle
void SetDefServ(int16_t index);               // makes it the default

// ---- the window ------------------------------------------------------------

void DialDir();
void CloseDialDir();
bool DDirEvt(EventRecord *event); // true if the event was the directory's
void ddResize();

// Edit dialogs; `fromList` takes the selected row, else the connection in use.
void edit_aconn(bool fromList);
void term_aset(bool fromList);
