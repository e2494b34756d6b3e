// The open serial line: its bytes both ways, without loss, and its shape.
//
// There is one line. line_open and line_use make it, and the descriptor that
// they give is its name: a call with any other descriptor, or after
// line_close, answers -EBADF, and reaches no file by mistake.
//
// Results are counts, or minus the errno in place of -1. Nothing here waits,
// but for line_read on a line that stays silent (below) and line_break.
#pragma once

#include "platform/types.h"

// The line has gone: a hang-up, or a device that was pulled out. (28 is
// ENOSPC, which never comes from a terminal.)
constexpr int kLineGone = -28;

// ---- opening ---------------------------------------------------------------

// Opens a device non-blocking, never as controlling terminal, for us alone and
// in raw mode, and remembers how it was found. A descriptor above 0, or minus
// the errno; -EBUSY while another program has the port.
int line_open(const char *path);

// Makes a descriptor that was opened elsewhere the line: a socket, or a
// terminal as it is. It must not block.
void line_use(int fd);

// Writes what is kept as far as there is room, gives a terminal back as it was
// found, and closes the descriptor. Bytes read ahead are dropped.
void line_close();

// ---- the line's shape ------------------------------------------------------

// 0 or the errno; a pseudo-terminal takes what it can. Any speed; `databits` 7
// or 8, `par` 'N' 'E' 'O'. Flow bits: 0x04 XON/XOFF on output, 0x02 on input,
// 0x18 hardware.
int line_shape(int fd, int32_t speed, int databits, char par, uint8_t flow);
int line_flow(int fd, uint8_t flow); // flow alone
int line_speed(int fd, int32_t speed, bool drain);
int line_break(int fd, int16_t duration); // ticks; a real break

// ---- input -----------------------------------------------------------------
// The layer may take more from the line than it hands out. It also reads ahead
// while a dialog, a menu or a drag waits and the program doesn't read, up to
// kLineAhead bytes; from there on the line's own flow control holds.
constexpr int32_t kLineAhead = 4 << 20;

// The bytes that are there, at most `count`; -EAGAIN when there are none. A
// program that asks a silent line again and again rests here for up to 3 ms at
// a time, which bytes and user input end. What came before a hang-up is handed
// out first.
int32_t line_read(int fd, void *to, int32_t count);

// On while the middle of a block is read, whose rest is sure to come: a read
// that finds nothing on a line that trickles then waits a few milliseconds for
// more. A call for each handful is what a slow line costs.
void line_expect(bool more);

// ---- output ----------------------------------------------------------------
// Bytes leave in the order in which they were taken. What the layer has taken
// and the line has not stays in its rest, at most kLineRest bytes, and is
// written by later calls and in waits.
constexpr int32_t kLineRest = 4096;

// Takes what there is room for: the rest of the block stays with the caller.
// -EAGAIN: none, also while bytes in the rest have to go first.
int32_t line_write(int fd, const void *from, int32_t count);

// For what is offered once and never again (a key, a reply, a shot of queued
// text): takes all of it. Past kLineRest bytes kept, bytes are lost, and the
// count is less.
int32_t line_send(int fd, const void *from, int32_t count);

// While on, what line_write takes is kept together and leaves with one call of
// the system, which is what a call costs on a fast line: at the switching off,
// ahead of a line_send, before a wait, and before a read that asks the system.
void line_gather(bool on);

// Tries to write what the line has refused; true while some of it is left.
bool line_busy();

// A wait for events also ends when the line takes bytes, once for each call.
// Called by a program that has bytes for it in hand; what lies in the rest is
// watched for anyway. False takes the wish back.
void line_want_room(bool more);

// Whether the line's state is sound. Usage: assert(line_ok());
bool line_ok();
