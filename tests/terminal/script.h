// Terminal tests as scripts: bytes in, facts out. A *.test file holds cases;
// each runs in a process of its own, once with its bytes as they are written
// and once one byte a call, with the invariants checked in between.
//
//  case NAME              begins a case: 24x80, VT100, CR is no new line
//  size ROWS COLS         before the first feed
//  set NAME VALUE         a variable of the table in script.cpp
//  feed "BYTES"           \e \n \r \t \b \a \0 \xHH \" \\ and "..."*COUNT
//  do NAME                calls reset_term, clrAttrib, prepSel...
//  is NAME VALUE          the variable has the value
//  cursor ROW COL         both from 0
//  row N "TEXT"           without trailing spaces
//  rows N "A" "B"...      from row N down
//  stored N               so many lines are in the store
//  line N "TEXT"          line N of the store
//  last "A" "B"...        the store's last lines
//  answerback "TEXT"      the connection's answer to ENQ
//  sent "BYTES"           what went to the line since the last look
//  beeps N                since the last look
//  contains "TEXT" 0|1    linecontains
#pragma once

#include <string>

// Empty when every case of the file holds; otherwise what failed, and where.
std::string run_script(const std::string &path, bool bytewise);
