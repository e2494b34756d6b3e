// Macro sets: ten named strings to send with one key.
//
// A set is a STR# of 20 strings in pairs, the title and the text of each
// macro, and its name is the set's. Sets lie in the phone book under id 0 and
// from 2000 to 2500; 0 is "Default", which the program has a copy of, so that
// it can't be lost. doMacro of terminal/SendKey.h sends a macro.
#pragma once

#include <cstdint>

#include "platform/menus.h"
#include "platform/types.h"

constexpr int16_t kDefaultSetID = 0;
constexpr int16_t kFirstSetID = 2000;
constexpr int16_t kLastSetID = 2500;

// Makes the Macros menu fit the connection's set. Items of a former, longer
// set stay.
void set_macro_menu();

// Lets the user edit the set of the connection, or makes a new one that the
// connection uses from then on; so, too, where its set is gone. True if a set
// was stored, or accepted as it is.
bool edit_macros(bool isNew);

// Lets the user choose, make, rename and delete sets.
void select_macro();

// The menu of sets, filled anew in sorted order.
MenuHandle make_mset_menu();

// Inserts an item in order. 0, or -1 if there is one of that text already.
int16_t InsMenuSort(MenuHandle menu, ConstStr text);

bool DelMSet(ConstStr name);    // asks; true if the user agreed
bool RenameMSet(ConstStr name); // true if it has another name now

bool cmpbytes(const void *a, const void *b, int32_t count); // equal?
