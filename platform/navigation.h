// Asking the user for files. Each call waits for the answer and serves the
// display meanwhile; false or a cancel answer leaves the results as they are.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

// One file to open.
bool NavGetFile(ConstStr prompt, FSSpec *out);
// Several. At most `max` are written; returns how many were chosen.
int NavGetFiles(ConstStr prompt, FSSpec *out, int max);
// Where to put a file. The user has agreed when one of that name exists.
bool NavPutFile(ConstStr prompt, ConstStr name, FSSpec *out);
// A folder, starting at (vRef, dirID), which take the choice.
bool NavChooseFolder(ConstStr prompt, int16_t *vRef, int32_t *dirID);

enum : int { kNavSave = 1, kNavDontSave = 2, kNavCancel = 3 };
// "Save the changes to ... ?" with the document's name.
bool NavCanAsk(); // false once the session ends without questions
int NavAskSaveChanges(ConstStr document);
