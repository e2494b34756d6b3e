// What the two files of the phone book share: records in the book.
#pragma once

#include "connect/Settings.h"
#include "platform/types.h"

constexpr OSType kDial = FOUR("Dial");
constexpr OSType kQset = FOUR("qSet");
constexpr OSType kStringList = FOUR("STR#");

// Places in a Dial record as it stands in the book.
constexpr int32_t kAtLastConnect = offsetof(cset_t, lastConnect);
constexpr int32_t kAtListID = offsetof(cset_t, localStrID);

// A message of the errors' list with the names of what it is about behind it.
void name_error(OSErr code, int16_t message, ConstStr names);
void add_quoted(uint8_t *names, ConstStr name);

bool same_bytes(Handle a, Handle b);

// A copy of a resource as plain memory, or null.
Handle copy_of(Handle resource);

// Marks a resource as changed and puts it into the book's transaction.
OSErr write_record(Handle resource);

// Make a block, or a copy of one, a resource of the book.
OSErr add_record(Handle h, OSType type, int16_t id, ConstStr name);
OSErr add_copy(Handle resource, OSType type, int16_t id, ConstStr name);

// What the program made of a damaged list of global strings at its start, or
// null. As long as gGlobStrings is the same, the list in the book stays.
extern Handle globsAtStart;

// A Dial record at full length, whatever length it has in the book.
void dial_image(Handle resource, uint8_t image[kDialRecLen]);
