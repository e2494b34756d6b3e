// The phone book: the one file that holds all settings. A resource file of
// creator qLON and type qPHO with one record a resource: Dial for an entry,
// STR# for its strings, for macro sets and modem lists, qSet 1 and STR# 256
// for the global settings.
//
// Changes wait in cset, qset, gLocalStrings and gGlobStrings until sav_setup
// or saveQset write them, each in one transaction that FlushPhone ends.
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/types.h"

constexpr OSType kBookCreator = FOUR("qLON");
constexpr OSType kBookType = FOUR("qPHO");

// Resource ids of the book.
constexpr int16_t kFirstDialID = 3000; // of Dial, 500 numbers
constexpr int16_t kFirstListID = 3500; // of an entry's STR#, 500 numbers
constexpr int16_t kGlobListID = 256;
constexpr int16_t kModemListID = 1000; // unless a STR# bears the modem's name

// ---- state -----------------------------------------------------------------

extern Handle qsHdl;        // resource qSet 1 of the book
extern Handle DialHdl;      // resource of the connection in use
extern int16_t pRef;        // the book, 0 while none is open
extern int16_t pgmFRef;     // the program's own resource file
extern int16_t curDialItem; // index of the connection in use in ddHdls
extern int16_t modem_res;   // id of the modem list
extern int16_t mstr_count;  // its count of strings
extern bool gBookIsNew;     // it was made from the templates just now

// What connections need of the folders above, set by MakeUPPs. Until then each
// does nothing.
struct connection_hooks {
    bool (*completeStart)(); // buffers, port, window; false if one is missing
    void (*modemString)(const uint8_t *text); // with pauses, breaks
    void (*stopScript)();
};
extern connection_hooks gConnectionHooks;

// Do the handles name records of the book, and the two lists copies of our own?
// Usage: assert(book_ok()). Asks for homes, and so changes ResError.
bool book_ok();

// ---- opening ---------------------------------------------------------------

// Opens the book of the standard name: beside the program if there is one,
// else in the preferences folder, where it is made if need be. 0 or an error
// that has been shown.
OSErr OpenDefPhoneBook();

// Opens a book, brings it up from older layouts, and completes the start of
// the program. With `create`, a file that isn't there is made from the
// program's templates. 0 or an error. A book that can't be read is left as it
// was.
OSErr OpenAPhoneBook(const FSSpec *file, bool create);

// Messages that name the file: it can't be opened as a book; it is none.
void TellBookError(OSErr code, ConstStr file);
void TellNoBook(ConstStr file);

// Gives every entry of an older layout its string list.
void CheckLocalStrings();

// ---- the connection in use -------------------------------------------------

// Makes entry `index` the connection in use. False if the user cancelled when
// asked to save the present one. FinishSetup is the caller's.
bool loadSettings(int16_t index);

void do_setup(Handle resource, ConstStr name);
void FinishSetup(); // what of a connection needs the window

// ---- saving ----------------------------------------------------------------

// Asks to save the connection if it differs from the book, and as long as a
// save fails. False on Cancel.
bool chkSetChg();

// Writes the connection in use, or with a resource given that one, as it
// stands.
void sav_setup(Handle resource);

// Writes qset and the global strings if they differ. A damaged list of global
// strings stays until one of them is changed after the start.
void saveQset();
OSErr FlushPhone(); // makes all changes permanent; reports a failure

// saveQset for the program's end: asks as long as it fails.
void SaveAtEnd();

// Notes the time of a connection in cset and in the book.
void UpdateConnect();

// The first id from `base` to `base` + 499 that no resource of the type has,
// else -1.
int16_t UniqRangeID(OSType type, int16_t base);

// Gives a resource of the book the bytes of another block. 0 or an error.
OSErr ReplaceResource(Handle resource, Handle content);
