// The clipboard, by flavour. "TEXT" is Mac Roman with CR line ends inside and
// the desktop's plain text outside.
#pragma once

#include "platform/memory.h"
#include "platform/types.h"

OSErr ClearCurrentScrap();
OSErr PutScrapFlavor(OSType flavor, int32_t size, const void *data);
bool ScrapHasFlavor(OSType flavor);
// noTypeErr when there is none.
OSErr GetScrapFlavorSize(OSType flavor, int32_t *size);
OSErr GetScrapFlavorData(OSType flavor, int32_t *size, void *data);

// The selection that a middle click pastes.
OSErr PutPrimary(int32_t size, const void *data);
OSErr GetPrimary(Handle *text); // noTypeErr when there is none
// Called at a middle click in the terminal's window.
void SetPrimaryPasteProc(void (*proc)());
