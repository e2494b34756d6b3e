// serial/ModemIO.h
// Bytes from and to the port. Nothing here waits but purgeBuffer, AWriteBlock
// and FlushAW, which serve events meanwhile. Times are ticks (1/60 s).
#pragma once

#include "platform/types.h"

// ---- input ----------------------------------------------------------------
// GetBytes is the only reader of the port. It reads at most kReadSize bytes at
// once into lineBuff and hands them out; it reads again only when all of them
// have been taken. ReadPort is its caller in terminal mode, the engines are
// during a transfer.

constexpr int kReadSize = 400;

extern uint8_t *lineBuff;      // kReadSize bytes
extern int32_t lineBufCnt;     // bytes in it that nobody has taken yet
extern int16_t gLastModemRead; // bytes of the last read; 0 after an error
extern int32_t gStillinBuf;    // bytes beyond what one read took: stays 0
extern int32_t cntRead, totRead, maxRead, avgRead; // statistics of reads
extern int16_t ModemActive;    // bytes came within the last 240 ticks
extern int32_t LastGetTicks;   // when the last bytes came
extern int32_t LastPrtTicks;   // when the last batch had been displayed
extern int32_t PrtCount;       // bytes displayed since the speed test began
extern int32_t TestTicks;      // start of the speed test; 0: none
extern uint8_t *serialBuffPtr; // inBufSize bytes, for the dump alone

int16_t ReadPort(); // one batch to the terminal: 1, or 0 if nothing came

// Wants *count bytes: returns where up to that many stand, and sets *count to
// their number. Null and 0 when nothing is at hand. They are good until the
// next call that reads the port.
uint8_t *GetBytes(int16_t *count);
int32_t BytesReady();            // bytes at hand without a read
void putBack(int16_t n);         // the last n bytes of GetBytes come again
void purgeBuffer(int32_t ticks); // drops input until it is quiet so long
void TimingResults();            // ends the speed test, writes its line
void ShowReadStats();            // alert 129, and a fresh start

// ---- output ---------------------------------------------------------------
// Three ways out: OutCh, one byte at once; the block writer of the engines,
// with a remainder that awRdy pushes on; aw1Send, one shot of the send queue.

constexpr int kBlockSize = 520;
constexpr int kHistSize = 256;

// The write in flight.
struct WriteRequest {
    int16_t completion; // 0
    int16_t bytesLeft;  // 0 or less: idle
    int16_t volume;     // 0
    int16_t fd;
    uint8_t *next; // next byte to write, in awbuf1
    int32_t requested;
    int16_t posMode;   // 0
    int32_t posOffset; // 0
};

extern WriteRequest pb1, pb2;    // pb2 is never used
extern uint8_t *awPBuf;          // staging buffer of awPut, kBlockSize
extern uint8_t *awPtr;           // next free byte in it
extern int16_t awCnt;            // bytes in it
extern int16_t awMax;            // at so many it is handed over
extern int16_t awMax2;           // awMax after each hand-over
extern uint8_t *awbuf1, *awbuf2; // block in flight; awbuf2 carries nothing
extern uint8_t *outHist;         // ring of the last kHistSize bytes sent
extern int16_t histOffset;       // next place in it
extern int16_t needProg;         // a sender asks for a redraw of the progress
extern int16_t nprogCnt;         // blocks until that redraw

void OutCh(int16_t fd, uint8_t ch);
void awPut(uint8_t ch); // stages a byte, hands over at awMax
void awStart();         // hands over what is staged

// Takes a block: 0. Waits for the one before, serving events; -1 when the
// user cancelled meanwhile.
int16_t AWriteBlock(int16_t fd, int16_t len, const uint8_t *src);
int16_t awRdy(); // writes on: 1 if the line hasn't taken everything yet
void FlushAW();  // waits until all has left or the user cancels

// Drops what is left of a block. What the line keeps counts as written, and
// still goes out.
void awKill();

// At each read of the port: a wait also ends when the line takes bytes again
// while a block is left, and no longer for text that was ready before.
void awServe();

// While on, blocks that are handed over leave the machine together at the
// end: one call of the system for a whole subpacket. To be switched off again
// before anything waits for a reply; FlushAW does so.
void awGather(bool on);

// Whether the block writer's state is sound. Usage: assert(aw_ok());
bool aw_ok();

int16_t aw1Send(int16_t fd, int16_t len, const uint8_t *src); // 0
int16_t aw1Busy();                           // 1: bytes still on their way
void putHist(const uint8_t *buf, int16_t n); // n sent bytes into the ring
void fillBuffer(); // a fresh ring, for a new connection
void dumpBufs();   // input buffer and ring to a file, for a bug report

// Flow control that could be asked about: our lines have none, so output is
// never held.
void ReleaseOutput();
int16_t OutputHeld();
int16_t ctsHeld();
