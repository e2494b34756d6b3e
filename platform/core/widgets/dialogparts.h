// The items of a dialog, for the parts of the core that make dialogs or ask
// what lies where.
#pragma once

#include "platform/core/widgets/winrec.h"
#include "platform/dialogs.h"

#include <string>
#include <vector>

struct DialogItem {
    be_item_kind kind;
    Rect box;
    std::string text; // Mac Roman, CR between lines
    std::string name; // for accessibility
    int16_t value, min, max;
    int16_t menu; // pop-up
    bool reports; // a hit becomes an event
    bool dimmed;
    bool hidden;
    bool multiline;
    UserItemProc proc;
};

struct Dialog {
    std::vector<DialogItem> items; // item 1 is items[0]
    int16_t defaultItem, cancelItem;
    int16_t focus; // edit text with the keys, 0 for none
    bool shownFocus;
    bool dismissed; // put away for a quit, unless the program keeps it
};

// A hidden dialog of these items.
DialogPtr dialog_make(const WindowMake *make, std::vector<DialogItem> items,
                      int16_t defaultItem, int16_t cancelItem);
void dialog_dispose_items(WindowPtr w); // nothing for a plain window
void dialog_shown(WindowPtr w);         // its window comes up

// The enabled user item under a local point, or 0.
int16_t dialog_user_item_at(WindowPtr w, Point at);

// ^0 to ^3 replaced by their texts.
std::string dialog_fill_text(const std::string &text);

// Serves dialog `d` alone until an enabled item is hit, and answers it.
int16_t dialog_serve(DialogPtr d, ModalFilterProc filter);

void controls_dispose_of(WindowPtr w);
