// Transfer control: what surrounds the protocol engines. The menu commands
// that start them, the default protocol, the slice of event handling that
// keeps the program alive while an engine runs, timed reading, the shared
// transfer buffer, buffered file writing, and the capture file.
//
// An engine runs to its end on its caller's stack and owns the port for that
// time: ReadPort isn't called, so the terminal stands still, and bytes come
// only through the reads below. There is no thread; an engine calls
// XferEvent, mostly by way of a timed read, to let the user act.
//
// Times: ticks are 1/60 s. readline takes tenths of a second, as the
// protocols' descriptions count them; zsleep takes seconds.
#pragma once

#include "base/Capture.h"
#include "base/chars.h"
#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

// ---- results of the engines ------------------------------------------------
// Frame types are small positive numbers; these two join them.

constexpr int32_t ERROR = -1;   // bad data
constexpr int32_t TIMEOUT = -2; // time ran out

// ---- the running transfer --------------------------------------------------

extern int32_t UserCancel;  // not 0: the user asked to stop
extern int32_t Verbose;     // 0 to 9, set by a digit key; traces from 1 on
extern int32_t Wcsmask;     // mask on every byte of readline, 255
extern int32_t Lleft;       // bytes that a reader holds back; cleared only
extern int32_t start_ticks; // tick at which the file in transfer started
extern uint32_t start_time; // the same as a date, seconds since 1904

// ---- default protocols -----------------------------------------------------

extern int16_t dRcvItem;       // item of the Receive list, 2 to 6
extern int16_t dSendItem;      // item of the Send list, 2 to 7
extern const char rcvtypes[];  // protocol letters by item, "AkXYGZ"
extern const char sendtypes[]; // the same for sending, "AkxXyYZ"
extern Str255 StrSendAscii;    // text of File menu item 2 when idle

// ---- buffers ---------------------------------------------------------------

extern uint8_t *gSecBuf;    // the transfer buffer, shared by all engines
extern int32_t gSecBufSize; // its size; it only ever grows
extern int32_t inbufCount;  // bytes that fbWrite holds

// ---- commands --------------------------------------------------------------

// Items of the Receive list: 1 toggles capture, 2 Kermit, 3 XMODEM, 4 YMODEM,
// 5 YMODEM-G, any other ZMODEM. Returns when the transfer is over.
void Xreceive(int16_t item);

// Items of the Send list: 1 ASCII (or stop it), 2 Kermit, 3 and 4 XMODEM, 5
// and 6 YMODEM, 7 ZMODEM. Asks for the files first. Cancelling that dialog
// sends one CAN for X and Y, whose receiver is already waiting.
void Xsend(int16_t item);

// Make a protocol the default: the item, the letter in cset, and the text of
// File menu item 6 or 8. An unknown letter counts as 'X' when receiving and
// 'Z' when sending. For sending, the case of X and Y matters.
void do_drcv(uint8_t letter);
void do_dsend(uint8_t letter);

void RestoreSendAscii(); // File menu item 2 takes StrSendAscii

// ---- time and input --------------------------------------------------------

// What came of one event of a transfer's pass.
enum transfer_pass : uint8_t { kPassEmpty, kPassEvent, kPassCancelled };

// The main loop's pass in its transfer mode: waits for at most `sleep` ticks.
// MakeUPPs sets it; until then it only waits.
extern transfer_pass (*gTransferPass)(uint32_t sleep);

// One slice of event handling, at most 5 events. `sleep` is in ticks; below 1
// (-1 is "just let the display breathe") it never waits. Returns 1 if the
// user cancelled in this call; UserCancel is then set.
int16_t XferEvent(int16_t sleep);

// Read `count` bytes into `buffer` within `ticks` from now. 1 when they came,
// 0 on time-out or cancel; what came until then is in the buffer.
int16_t TimedRead(int16_t port, uint8_t *buffer, int32_t count, int32_t ticks);

// One byte, masked with Wcsmask, or TIMEOUT (also on cancel).
int16_t readline(int16_t tenths);

// Takes what has come, at most 100 bytes, and shows it on the terminal, so
// that no text is lost. Never waits.
void purgeline();

void zsleep(int32_t seconds); // serves events; a cancel doesn't shorten it
int32_t user_abort();         // serves events; not 0: UserCancel is set

// One byte to the line at once.
void sendline(uint8_t c);

void ResetXferTimer(); // start_time and start_ticks take now

// ---- buffers and files -----------------------------------------------------

// Makes the buffer at least `size` bytes and returns the size it has, which
// is the old one if memory is short. Contents are lost when it grows.
int32_t AllocXferBuf(int32_t size);
uint8_t *GetXferBuf();

// Gathers writes into blocks of qset's fileBufSize. `count` 0 flushes.
// Returns the error of the write that this call made, or 0. Only one file at
// a time may have bytes held.
OSErr fbWrite(int16_t ref, int32_t count, const uint8_t *bytes);

// One write that keeps its data out of the system's file cache. `count`
// returns what was written.
OSErr FSWriteNoCache(int16_t ref, int32_t *count, const uint8_t *bytes);

// Capture to `spec`, behind what the file holds. The mode is qset's. Returns
// the error of opening the file.
OSErr StartCapture(const FSSpec *spec);
