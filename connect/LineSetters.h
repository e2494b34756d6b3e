// The setters of the connection's line: what the menus, the status bar, a
// connection's loading and a script change by.
//
// Each raises set_changed when the value differs, stores the letter, and
// programs the port.
#pragma once

#include <cstdint>

void do_parity(char letter); // E, O, else N
void do_sbit(char letter);   // 2, 5, else 1
void do_dbit(char letter);   // 7, else 8
void set_echo(uint8_t on);
void set_xon(uint8_t value); // flow bits; 1 stands for both XON/XOFF bits
void set_buf_save();         // Edit item 15's check mark
void set_dconv(char letter); // M, T, B, else S

// What a connection's protocols change in the File menu, set by MakeUPPs. The
// letters are those of cset_t's rcvProto and sendProto.
struct protocol_hooks {
    void (*receive)(uint8_t letter);
    void (*send)(uint8_t letter);
};
extern protocol_hooks gProtocolHooks;
