// Dialogs: windows with numbered items, shown by native widgets.
#pragma once

#include "platform/controls.h"
#include "platform/events.h"
#include "platform/types.h"
#include "platform/windows.h"

enum : int16_t {   // item kinds, as GetDialogItem gives them
    kItemUser = 0, // drawn by a procedure of the program's
    kItemButton = 4,
    kItemCheckBox = 5,
    kItemRadio = 6,
    kItemControl = 7, // pop-up or progress bar
    kItemStaticText = 8,
    kItemEditText = 16,
    kItemIcon = 32,
    kItemDisabled = 128, // added: clicks are not reported
};

using UserItemProc = void (*)(DialogPtr d, int16_t item);

// From dialog resource `id`; texts take the ParamText of the moment. Null
// when there is no such resource.
DialogPtr GetNewDialog(int16_t id);
void DisposeDialog(DialogPtr d);
void DrawDialog(DialogPtr d); // now, without waiting for an update

// `item` counts from 1; one that isn't there has kind 0 and an empty box.
void GetDialogItem(DialogPtr d, int16_t item, int16_t *kind, Rect *box);
void SetDialogItemRect(DialogPtr d, int16_t item, const Rect *box);
void SetDialogItemProc(DialogPtr d, int16_t item, UserItemProc proc);
void GetDialogItemText(DialogPtr d, int16_t item, Str255 text);
void SetDialogItemText(DialogPtr d, int16_t item, ConstStr text);
int16_t GetDialogItemValue(DialogPtr d, int16_t item); // boxes, pop-ups, bars
void SetDialogItemValue(DialogPtr d, int16_t item, int16_t value);
void SetDialogItemRange(DialogPtr d, int16_t item, int16_t min, int16_t max);
void SetDialogItemMenu(DialogPtr d, int16_t item, MenuHandle m); // a pop-up
void EnableDialogItem(DialogPtr d, int16_t item, bool enabled);
void HideDialogItem(DialogPtr d, int16_t item);
// Selects from byte `start` to `end` of an edit text and puts the keys there.
void SelectDialogItemText(DialogPtr d, int16_t item, int16_t start,
                          int16_t end);
void SetDialogDefaultItem(DialogPtr d, int16_t item);
void SetDialogCancelItem(DialogPtr d, int16_t item);

void DialogCut(DialogPtr d);
void DialogCopy(DialogPtr d);
void DialogPaste(DialogPtr d);
void DialogDelete(DialogPtr d);

// Does the event belong to a modeless dialog (the front one, for keys)?
bool IsDialogEvent(const EventRecord *event);
// Lets the dialog have it. True when an enabled item was hit: `d` and
// `item` then say which. A key goes on to the widget it was typed at.
bool DialogSelect(const EventRecord *event, DialogPtr *d, int16_t *item);

// Serves the front dialog until an enabled item is hit. `filter` (may be
// null) sees each event first and may answer true with an item of its own.
using ModalFilterProc = bool (*)(DialogPtr d, EventRecord *event,
                                 int16_t *item);
void ModalDialog(ModalFilterProc filter, int16_t *item);

// The desktop's colour dialog, starting with `start`. False: let go.
bool GetColor(ConstStr prompt, const RGBColor *start, RGBColor *out);

// What ^0 to ^3 stand for in texts. Null keeps the one there was.
void ParamText(ConstStr p0, ConstStr p1, ConstStr p2, ConstStr p3);
