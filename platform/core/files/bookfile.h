// A resource file on disk: a SQLite database (application_id 'qPHO') with one
// table, read whole when it is opened and changed in one transaction between
// two updates. resources.cpp keeps the resources in memory; this keeps the
// file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/types.h"

struct BookFile;

// A book may hold a password.
constexpr unsigned kBookMode = 0600;

struct BookRecord {
    OSType type;
    int16_t id;
    uint8_t attributes;
    std::string name; // Mac Roman
    std::string data;
};

// Opens the file and hands each record to `take`. With `isNew`, an empty file
// is a book without records, and stays empty until the first commit. Null with
// *err:
//   fnfErr      no such file
//   eofErr      an empty file that isn't new
//   permErr     no permission, or a symbolic link
//   mapReadErr  no book, or a damaged one
//   fBsyErr     another program has it open
// In each of these cases the file is left as it was, except that what a crash
// left half written is rolled back.
BookFile *book_open(const std::string &path, bool writing, bool isNew,
                    OSErr *err, const std::function<void(BookRecord &&)> &take);

// Without a commit before, what was changed since the last one is dropped.
void book_close(BookFile *b);

// Is the file still what lies at its path? SQLite writes no more to one that
// was moved or replaced.
bool book_in_place(const BookFile *b);

// For a book that isn't in its place any more: an empty one at the same path,
// or beside it where something else lies there. The caller puts everything and
// closes the old one. Null with *err if none can be made.
BookFile *book_anew(const BookFile *lost, OSErr *err);
std::string book_path_of(const BookFile *b);

// Both begin the transaction if none is open. A failure drops the transaction
// with all that was in it; the caller then puts everything anew.
OSErr book_put(BookFile *b, const BookRecord &r);
OSErr book_remove(BookFile *b, OSType type, int16_t id);

bool book_in_transaction(const BookFile *b);
OSErr book_commit(BookFile *b); // lasting; nothing to do without a transaction
OSErr book_sync(BookFile *b);   // file and folder to the disk
