// The one queue of text to the line: keys, paste, macros, scripts, files, the
// dialer's commands. Each source appends a chunk; sendSomeAscii takes it out a
// little at a time, by the pacing of the connection. Times are ticks.
#pragma once

#include "platform/types.h"

// ---- the queue ------------------------------------------------------------
// A chain of chunks whose head always exists, if only as an empty one.

// Bits of a chunk's echo mode
constexpr int16_t kEchoLocal = 1;   // show as sent
constexpr int16_t kSendUnpaced = 4; // control string: no wait for echoes
constexpr int16_t kSendAnswer = 8;  // the terminal's answer to the host

struct ASChunk {
    ASChunk *next;
    Handle hdl;       // the text
    int32_t count;    // bytes waiting
    int32_t pos;      // where the next one stands in hdl
    int16_t fileRef;  // file that refills hdl; 0: none
    int16_t echoMode; // the bits above
};

extern ASChunk *firstAS;

// ---- the sender -----------------------------------------------------------

constexpr int kSendBuf = 256;

extern uint8_t sendBuf[kSendBuf]; // the piece being sent, at most a line
extern uint8_t *sendPtr;          // next byte of it
extern uint16_t sendCount;        // bytes left in it
extern int16_t sendAmount;        // bytes sent since set_send
extern int16_t gEchoMode;         // echo mode of the piece; idle: localEcho
extern uint16_t localEcho;        // echo of the connection: bit 0
extern uint16_t awWait;           // a write is under way, or a chunk came
extern int32_t awWTime;           // when the last write left
extern int16_t gotCR;             // it ended a line

// What the sender waits for, until sendWaitLimit at the longest. Whoever sees
// it come sets sendWait to -1.
constexpr int16_t kWaitNone = 0;   // or anything below
constexpr int16_t kWaitQuiet = 9;  // a line that has fallen quiet
constexpr int16_t kWaitCR = 13;    // CR, and then sendWait2
constexpr int16_t kWaitTime = 255; // the limit alone
extern int16_t sendWait;           // or the very byte waited for
extern int16_t sendWait2;          // prompt after the CR; -1: none
extern int32_t sendWaitLimit;

extern uint8_t asciiSend; // a text file is being sent
extern int16_t sendRef;   // that file

void asInit(); // once at start
ASChunk *asNewChunk(Handle hdl, int16_t echoMode);

void asSendBuf(const uint8_t *text, int32_t length, int16_t echoMode); // copy
void asSendHdl(Handle hdl, int16_t echoMode);       // the queue owns it then
void asSendFile(int16_t fileRef, int16_t echoMode); // the queue closes it

// Takes the next piece, at most `max` bytes and one line; returns its length.
int16_t asGetBuf(uint8_t *buffer, int16_t max, int16_t *echoMode);
int asBusy(); // 1 while the chain holds anything
// Bytes of answers that wait, counted no further than it takes to reach `most`.
int32_t asAnswers(int32_t most);
void asKill(); // drops all of it

// One step; never waits. `mode` is the letter of the event pass, "D" while
// the dialer turns it.
void sendSomeAscii(int32_t when, char mode);

void set_send(ConstStr string); // text of the dialer and of scripts
void stop_send();               // the user's stop
void kill_script();             // ends a running script
