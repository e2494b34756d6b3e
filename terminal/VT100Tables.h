// The three tables of handlers, for the interpreter alone. Every entry that
// isn't named does nothing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "terminal/VT100.h"

using handler = void (*)();

// Handlers that only the tables name.
void dummy();
void escape_seq();
void shift_in();
void shift_out();
void set_graphics();
void set_US();
void set_keypad();
void reset_keypad();
void toss_char();
void multi_char();
void set_mode();
void reset_mode();

struct table_row {
    uint8_t byte;
    handler act;
};

// Not known at compile time on purpose: to come to it stops the build.
void row_out_of_place();

// The rows as an array indexed by the byte less `first`. The build stops on a
// row that is out of order or out of range.
template <size_t N, size_t R>
consteval std::array<handler, N> spread(const table_row (&rows)[R],
                                        uint8_t first)
{
    std::array<handler, N> table{};
    int last = -1;

    table.fill(dummy);
    for (const table_row &row : rows) {
        if (row.byte <= last || row.byte < first || row.byte - first >= int(N))
            row_out_of_place();
        table[size_t(row.byte - first)] = row.act;
        last = row.byte;
    }
    return table;
}

// clang-format off
constexpr table_row control_rows[] = {
    {  5, do_ENQ          },
    {  7, bell            },
    {  8, back_space      },
    {  9, tab             },
    { 10, line_feed       },
    { 11, line_feed       },  // VT: terminals of the time made no difference
    { 12, form_feed       },
    { 13, carriage_return },
    { 14, shift_out       },
    { 15, shift_in        },
    { 27, escape_seq      },
};

constexpr table_row escape_rows[] = {  // behind ESC
    { '#', toss_char         },  // these three are intermediates, and are
    { '(', toss_char         },  // taken before the table is asked
    { ')', toss_char         },
    { '0', set_graphics      },
    { '7', cursor_save       },
    { '8', esc8              },
    { '=', set_keypad        },
    { '>', reset_keypad      },
    { 'A', set_US            },
    { 'B', set_US            },
    { 'D', line_feed         },  // index
    { 'E', next_line         },
    { 'H', set_tab           },
    { 'I', cis_interrogate   },
    { 'M', reverse_line_feed },
    { 'Z', query_terminal    },
    { '[', multi_char        },  // opens a sequence before the table is asked
};

constexpr table_row sequence_rows[] = {  // behind ESC [
    { '@', insert_char       },
    { 'A', cursor_up         },
    { 'B', cursor_down       },
    { 'C', cursor_right      },
    { 'D', cursor_left       },
    { 'H', cursor_position   },
    { 'J', erase_display     },
    { 'K', clear_line        },
    { 'L', insert_line       },
    { 'M', delete_line       },
    { 'P', delete_char       },
    { '`', horiz_position    },
    { 'c', query_terminal    },
    { 'f', cursor_position   },
    { 'g', clear_tab         },
    { 'h', set_mode          },
    { 'i', set_printing      },
    { 'l', reset_mode        },
    { 'm', text_mode         },
    { 'n', dev_stat_report   },
    { 'r', set_scroll_region },
    { 's', cursor_save       },
    { 'u', cursor_restore    },
    { 'v', cursor_attributes },
};
// clang-format on

constexpr auto controltable = spread<32>(control_rows, 0);
constexpr auto singescapetable = spread<64>(escape_rows, 32);
constexpr auto escapetable = spread<64>(sequence_rows, 64);
