// Receiving: the frame of all receiving protocols, and the ZMODEM dialogue
// above its frame layer. Data go to the received-file writer (zmaclo.h).
#pragma once

#include "transfer/zm.h"

#include <cstdint>

// TotalBytes when the sender named no length.
constexpr int32_t kUnknownSize = 2000000000;
constexpr int32_t kHeaderBlock = 1024; // most of a block with a name

// ---- the transfer, either direction ----------------------------------------

extern int32_t zprot;    // running protocol, a letter
extern int32_t zdir;     // 'R' receive, 'S' send
extern int32_t zerchk;   // check: 1 sum, 2 CRC-16, 3 sum of 2 bytes, 4 CRC-32
extern uint8_t Crcflg;   // X and Y use CRC-16
extern uint8_t Optiong;  // YMODEM-G
extern int32_t Nozmodem; // tryz returns at once; cleared by sz alone
extern int32_t retries;  // errors on the current file, for display

extern int32_t TotalBytes; // size of the file, kUnknownSize if not known
extern int32_t Bytesleft;  // what is still to come
extern int32_t StartPos;   // where this transfer resumed, 0 for a fresh file
extern int32_t rxbytes;    // stream position reached by a receive
extern uint32_t DateMod;   // seconds since 1904; 0 none given
extern uint32_t DateCreate;
extern uint8_t gotEOF; // the protocol saw the end of the file
extern uint8_t Lastrx; // last control byte of X and Y: CAN twice cancels

// Files of the last transfer: whole at the other end, and refused there.
extern int32_t gWholeFiles, gSkippedFiles;

// ---- the receiver ----------------------------------------------------------

extern int32_t tryzhdrtype; // what tryz sends next: ZRINIT, ZSKIP, ZFERR
extern int32_t Batch;
extern uint8_t Attn[34]; // the sender's attention string, NUL-terminated
extern uint8_t zconv, zmanag, ztrans; // ZF0, ZF1, ZF2 of the last ZFILE
extern uint8_t Lzmanag;               // overrides zmanag unless 0
extern int32_t Thisbinary;        // the current file is binary, by the sender
extern int32_t Rxascii, Rxbinary; // local overrides; nothing sets them
extern int32_t gErrorCnt;         // bound of several reply loops
extern uint8_t Pathname[260];     // copy of the received name
extern int32_t Modtime, Filemode; // from the header block
extern uint8_t Myattn[5];         // our attention string, empty
extern int32_t Readnum;
extern const uint8_t canistr[21]; // ten CAN, ten BS, NUL

// Modes of rz: the letters of the protocols, and the automatic start.
constexpr int16_t kModeZ = 90;     // 'Z'
constexpr int16_t kModeAuto = 122; // 'z': "*" and CAN came, go on reading
constexpr int16_t kModeY = 121;    // 'y'
constexpr int16_t kModeG = 71;     // 'G'
constexpr int16_t kModeX = 120;    // 'x'

// A whole transfer. 0 on success, 7 on failure. An automatic start that turns
// out to be none leaves nothing behind but the bytes it read.
int16_t rz(int16_t mode);

int32_t tryz();                    // ZFILE, ZCOMPL, 0 no sender, -1 cancelled
int32_t rzfiles();                 // 0 on a clean end, else -1
int32_t rzfile();                  // ZEOF, ZSKIP or -1
int32_t procheader(uint8_t *name); // header block, changed; -1: skip file
bool came_short(); // rxbytes are less than the header block has offered
void ackbibi();
void canit();
void swallow_canz();
void zmputs(const uint8_t *s); // attention string, zero-terminated

// What to do about a file that exists: 1 new name, 2 skip, 3 overwrite.
int16_t whatDO(ConstStr name, int16_t writing);

// ---- XMODEM and YMODEM ------------------------------------------------------

constexpr int32_t kSectorEOT = -10; // wcgetsec: EOT came

extern int32_t Blklen;   // of the block just read: 128 or 1024
extern int32_t Firstsec; // no good block of this file has come yet

// The name block of YMODEM into `buf`, kHeaderBlock bytes and two zeros; a
// shorter one has zeros behind it. 0 or -1.
int32_t wcrxpn(uint8_t *buf);

// The blocks of one file, to its end. 0 or -1.
int32_t wcrx();

// One block into `buf` (1024 bytes); asks again while it doesn't come whole.
// Its number, kSectorEOT, or -1 when sender, user or patience gave up. The
// wait for its start is `tenths`, that for each byte is cset's xmTimeout.
int32_t wcgetsec(uint8_t *buf, int32_t tenths);
