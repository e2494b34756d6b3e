// Macro sets: ten named strings to send with one key.
//
// A set is a STR# of 20 strings in pairs, the title and the text of each
// macro. doMacro of terminal/SendKey.h sends one.
#pragma once

#include <cstdint>

// Makes the Macros menu fit the connection's set. Items of a former, longer
// set stay.
void set_macro_menu();

bool edit_macros(bool isNew);
void select_macro();
