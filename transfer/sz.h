// Sending: the frame of the sending protocols, and the ZMODEM dialogue above
// its frame layer. Data come from the sent-file reader (Util.h).
#pragma once

#include "platform/files.h"
#include "transfer/rz.h"

#include <cstdint>

extern int32_t Modem2;     // XMODEM: no header block at all
extern int32_t blklen;     // data bytes per subpacket
extern int32_t blkopt;     // block size forced by the window, 0 none
extern int32_t Rxbuflen;   // the receiver's buffer; 0 no limit
extern int32_t Rxflags;    // ZF0 of its ZRINIT
extern int32_t Tframlen;   // local limit on frames; nothing sets it
extern int32_t Wantfcs32;  // use CRC-32 if the receiver can
extern int32_t Txwindow;   // most bytes not yet acknowledged; 0 no window
extern int32_t Txwspac;    // bytes between ZCRCQ within a window
extern int32_t Txwcnt;     // bytes since the last ZCRCQ
extern int32_t Txpos;      // next position to send
extern int32_t Lrxpos;     // last position that the receiver confirmed
extern int32_t bytcnt;     // position reached, to compare with Lastsync
extern int32_t Lastsync;   // position of the last ZRPOS
extern int32_t Beenhereb4; // times in this file that ZRPOS repeated itself
extern int16_t erfBlocks;  // good blocks since the last error
extern int32_t Lastn;      // length of the data in txbuf, -1 none
extern int32_t Lastread;   // and their file position
extern int32_t Dontread;   // txbuf already holds the block asked for
extern uint8_t Lzconv;     // ZF0 of ZFILE: 2 for text
extern uint8_t Lztrans, Lskipnocor; // stay 0
extern uint8_t txbuf[1028];
extern int32_t Filcnt, Noeofseen;
extern int32_t Exitcode, errcnt;
extern int32_t firstsec;
extern int32_t Totsecs;
extern int32_t gXmMaxTries;
extern uint8_t *hostName;       // the name for the host
extern const char zblk_types[]; // "A25k", letters of zBlockChar

// Sends `count` files by 'Z', 'X', 'x', 'Y' or 'y'. Lower case means blocks
// of 128. Names for the host are in hostnames. 0 on success.
int32_t sz(int32_t count, FSSpec *const files[], int16_t protocol);

int32_t wcsend(int32_t count, FSSpec *const files[]); // 0 or -1
int32_t wcs(FSSpec *file);                            // 0 or -1
int32_t getzrxinit();                                 // 0 or -1
int32_t sendzsinit();                                 // 0 or -1
int32_t zsendfile(const uint8_t *buf, int32_t blen);  // 0, ZSKIP, -1
int32_t zsendfdata();                                 // 0, ZSKIP, -1
int32_t getinsync(int16_t flag); // ZACK, ZRINIT, ZSKIP, ZRPOS or -1
void saybibi();
void sclose(); // closes zSendRef if open

// ---- XMODEM and YMODEM ------------------------------------------------------

// Waits for the receiver's start: 0, or not. A ZMODEM receiver counts, too.
int32_t getnak();

// Name and size block; `file` may be null, which ends a batch. Begins with
// getnak unless ZMODEM has met its receiver. 0, ZSKIP or -1.
int32_t wctxpn(FSSpec *file);

// The blocks of a file of `flen` bytes, and its end. 0 or -1.
int32_t wctx(int32_t flen);

// One block of 128 or 1024 bytes, sent until it is acknowledged. 0 or -1.
int32_t wcputsec(const uint8_t *buf, int16_t sector, int32_t length);

// A reply of 1 to `count` bytes: the byte, 'K', CAN, TIMEOUT or ERROR. The
// first may take `tenths`; those behind it belong to it only if they come at
// once, and none is waited for behind an ACK.
int32_t readock(int16_t tenths, int16_t count);
