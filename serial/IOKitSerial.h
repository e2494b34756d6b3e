// serial/IOKitSerial.h
// The machine's ports and the line's settings. One port is open at a time.
// The port is a terminal device, opened non-blocking; serial/ModemIO reads
// and writes its descriptor.
#pragma once

#include "platform/ports.h"
#include "platform/types.h"

// ---- the list of ports ----------------------------------------------------
// Entries below gDevCount are those of the last enumeration. Blocks are taken
// once and used again. More than kMaxPorts (platform/ports.h) are left out.

extern uint8_t *gPortNames[kMaxPorts];       // name in menus, 256-byte blocks
extern uint8_t *gPortDevInNames[kMaxPorts];  // path of the device
extern uint8_t *gPortDevOutNames[kMaxPorts]; // never filled
extern int32_t gDevCount;
extern int16_t gPortIndex;        // port in use; 0 also if it isn't in the list
extern uint8_t gPortOverride[52]; // if not empty, goes before the saved name
extern MenuHandle devMenuHdl;     // menu 500, the ports

// ---- the open port --------------------------------------------------------
// Both hold the same descriptor; 0 is a closed port.

extern int16_t sIn, sOut;

// ---- the line -------------------------------------------------------------
// Words of the classic serial driver; set_port makes terminal flags of them.

constexpr int16_t kData7 = 1024, kData8 = 3072;
constexpr int16_t kParityNone = 0, kParityOdd = 4096, kParityEven = 12288;
constexpr uint16_t kStop1 = 16384, kStop15 = 32768, kStop2 = 49152;

extern int32_t Baudrate;  // bits per second
extern int16_t baud;      // its code from bd_codes
extern int16_t bd_item;   // its index in bd_tbl = item of the baud menu
extern int16_t data;      // kData7, kData8
extern int16_t parity;    // kParity...
extern uint16_t stopBits; // kStop...; shown, but the line always has one

constexpr int kSpeeds = 12;
constexpr int16_t kSpeedFallback = 3;     // 2400, for a speed not in the table
extern const int32_t bd_tbl[kSpeeds + 1]; // by item from 1; [0] is 0
extern const int16_t bd_codes[kSpeeds + 1];

// Bits of `flowFlags` in cset, and of SetFlow
constexpr uint8_t kFlowXonIn = 0x02;  // we send XOFF when full
constexpr uint8_t kFlowXonOut = 0x04; // we obey XOFF
constexpr uint8_t kFlowRTS = 0x08;    // RTS holds input
constexpr uint8_t kFlowCTS = 0x10;    // CTS holds output

extern uint8_t gXferRestore;  // ReadPort shall call xfer_port(1) when idle
extern int32_t gMaxPortSpeed; // highest speed of the port
extern uint8_t gDMASerial;    // always 0

// ---- functions ------------------------------------------------------------
// Errors of the system's terminal calls are not reported, except where a
// comment says so.

void BuildPortList();       // fills the list anew
int16_t IOKitBuildSerial(); // the same, returns 0
void buildDevMenu();        // once at start: the list, and menu 500 from it

// Any of the strings may be null; an index out of range is left out.
void StorePortEntry(int16_t index, ConstStr name, ConstStr inPath,
                    ConstStr outPath);

// The wanted port's name, and its device path in both path buffers; each may
// be null. A name that is a path itself ("/dev/...") and stands in no entry is
// its own device. Without a match the path buffers stay as they were.
// Returns 0.
int16_t GetPortNames(uint8_t *name, uint8_t *inPath, uint8_t *outPath);

void SetModem(ConstStr name); // the port to use from the next OpenModem on

int16_t SerAlloc();  // 0; 1 if memory is short
int16_t OpenModem(); // 0, or errno, reported with the reason
void CloseModem();

// The line has gone: closes the port and opens it once more. 0, or errno; then
// RetryModem goes on looking.
int16_t LoseModem();

// While the port is closed because its device went away: looks for it twice a
// second and opens it when it is back. Costs a comparison otherwise, so the
// main loop calls it in each turn without a port. 1 when it opened the port.
int16_t RetryModem();

void set_port();                 // the line from Baudrate, data, parity, flow
void set_baud(int32_t speed);    // and into the connection
void SetFlow(int16_t flags);     // the line alone, for a while
void xfer_port(uint8_t restore); // 0: eight bits; else back as saved
int16_t Baud2Item(int32_t speed);

// A break, real or simulated as the preference "breakSim" says: a speed of
// more than 40 simulates with a NUL at that speed. 300 unless set.
void DoBreak(int16_t duration);

// Hooks that no line of ours needs; their callers keep calling them.
void MyDTRAssert();
void MyDTRNegate();
void hdl_flow();
void do_CTB_init();
