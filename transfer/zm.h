// The ZMODEM frame layer: puts headers and data subpackets on the line and
// takes them off it. The wire format is the published one (Chuck Forsberg,
// "The ZMODEM Inter Application File Transfer Protocol").
//
// Output goes through the block writer (awPut, awStart, FlushAW). A read ends
// with a frame type or frame end, or ERROR, TIMEOUT or ZCAN.
#pragma once

#include "transfer/xmodem.h"

#include <array>
#include <cstdint>

// ---- wire bytes ------------------------------------------------------------

constexpr uint8_t ZPAD = 0x2A;  // '*', starts a header
constexpr uint8_t ZDLE = 0x18;  // escape; the same byte as CAN
constexpr uint8_t BIN16 = 0x41; // 'A', binary header, CRC-16
constexpr uint8_t HEX16 = 0x42; // 'B', hex header, CRC-16
constexpr uint8_t BIN32 = 0x43; // 'C', binary header, CRC-32
constexpr uint8_t ZCRCE = 0x68; // frame ends, header follows
constexpr uint8_t ZCRCG = 0x69; // more follows, no reply wanted
constexpr uint8_t ZCRCQ = 0x6A; // more follows, ZACK wanted
constexpr uint8_t ZCRCW = 0x6B; // ZACK wanted, the sender waits
constexpr uint8_t ZRUB0 = 0x6C; // behind ZDLE: byte 0x7F
constexpr uint8_t ZRUB1 = 0x6D; // behind ZDLE: byte 0xFF

constexpr uint8_t kCtlMask = 0x60; // none of these bits: a control byte
constexpr uint8_t kFlip = 0x40;    // what escaping changes in a byte

// XON or XOFF, with or without the high bit.
constexpr bool is_flow(int32_t c)
{
    return (c & 0x7D) == XON;
}

// ---- results ---------------------------------------------------------------

constexpr int32_t GOTOR = 0x100; // added to a frame end
constexpr int32_t GOTCRCE = GOTOR | ZCRCE;
constexpr int32_t GOTCRCG = GOTOR | ZCRCG;
constexpr int32_t GOTCRCQ = GOTOR | ZCRCQ;
constexpr int32_t GOTCRCW = GOTOR | ZCRCW;
constexpr int32_t GOTCAN = GOTOR | CAN;
constexpr int32_t CARRIER_LOST = -3; // no read returns it here

// ---- frame types -----------------------------------------------------------

enum : int16_t {
    ZRQINIT = 0,
    ZRINIT = 1,
    ZSINIT = 2,
    ZACK = 3,
    ZFILE = 4,
    ZSKIP = 5,
    ZNAK = 6,
    ZABORT = 7,
    ZFIN = 8,
    ZRPOS = 9,
    ZDATA = 10,
    ZEOF = 11,
    ZFERR = 12,
    ZCRC = 13,
    ZCHALLENGE = 14,
    ZCOMPL = 15,
    ZCAN = 16,
    ZFREECNT = 17,
    ZCOMMAND = 18,
    ZSTDERR = 19,
};

// Names for display, by type + 3, from CARRIER_LOST on.
constexpr int kFrameNames = 24;
extern const char *const frametypes[kFrameNames];

// ---- flags -----------------------------------------------------------------
// The four data bytes of a header are a position, least significant byte
// first, or flags in the other direction: index 3 is ZF0.

constexpr int ZF0 = 3;
constexpr int ZF1 = 2;
constexpr int ZF2 = 1;
constexpr int ZF3 = 0;

constexpr uint8_t CANFDX = 0x01;  // ZRINIT: full duplex
constexpr uint8_t CANOVIO = 0x02; // receives while it writes to disk
constexpr uint8_t CANBRK = 0x04;  // can send a break
constexpr uint8_t CANFC32 = 0x20; // CRC-32
constexpr uint8_t ESCCTL = 0x40;  // ZRINIT, ZSINIT: escape control bytes

constexpr uint8_t ZCBIN = 1;   // ZFILE, ZF0: binary
constexpr uint8_t ZCNL = 2;    // text, line ends to be converted
constexpr uint8_t ZCRESUM = 3; // resume

// ---- state -----------------------------------------------------------------

extern uint8_t Rxhdr[4], Txhdr[4]; // last header received; next to send
extern int16_t Rxtype;             // type of the last header received
extern int16_t Rxframeind;         // BIN16, HEX16, BIN32; 0 before one came
extern int32_t Rxpos;              // position of the last header received
extern int32_t Rxcount;            // data bytes in the last good subpacket
extern int16_t Rxtimeout;          // tenths of a second
extern int32_t Zrwindow;           // addend of the garbage limit
extern int32_t Zctlesc;            // escape all control characters
extern int16_t Txfcs32;            // our binary headers use CRC-32
extern int16_t Crc32t;             // our subpackets do: follows the header
extern int16_t Crc32;              // 0x43 behind a BIN32 header, else 0
extern int16_t Znulls;             // NULs ahead of a ZDATA header
extern int32_t Zmodem;             // a header with a good CRC has come
extern int32_t lastsent;           // last byte sent, after escaping
extern int32_t evenp;              // high bit of the last ZPAD; not read

// ---- CRC -------------------------------------------------------------------
// CRC-16/XMODEM: polynomial 0x1021, start 0, not reflected.
// CRC-32: IEEE 802.3, reflected, start and final complement by the caller.

extern const std::array<uint16_t, 256> crctab;
extern const std::array<uint32_t, 256> cr3tab;
constexpr uint32_t CRC32_GOOD = 0xDEBB20E3; // data and CRC run through

inline uint16_t updcrc(uint8_t c, uint16_t crc)
{
    return uint16_t(crctab[(crc >> 8) ^ c] ^ (crc << 8));
}

inline uint32_t UPDC32(uint8_t c, uint32_t crc)
{
    return cr3tab[(crc ^ c) & 0xFF] ^ (crc >> 8);
}

// The same over a run, several bytes a step.
uint16_t crc16_run(const uint8_t *p, int32_t n, uint16_t crc);
uint32_t crc32_run(const uint8_t *p, int32_t n, uint32_t crc);

// ---- sending ---------------------------------------------------------------

void zsbhdr(int16_t type, const uint8_t *hdr); // binary header
void zshhdr(int16_t type, const uint8_t *hdr); // hex header

// One data subpacket. Returns with bytes still draining, but for ZCRCW.
void zsdata(const uint8_t *buf, int32_t length, uint8_t frameend);

void zsendline(uint8_t c); // one byte, escaped as needed

void stohdr(uint32_t pos);           // position into Txhdr
uint32_t rclhdr(const uint8_t *hdr); // position out of a header
void sendbrk();                      // a second's rest, then a break

// ---- receiving -------------------------------------------------------------

// The next header, into hdr. Returns its type, ERROR, TIMEOUT or ZCAN. Bytes
// outside headers go to the terminal by eflag: 0 none, 1 the printable ones,
// 2 all; after a time-out all do, unchanged.
int32_t zgethdr(uint8_t *hdr, int16_t eflag);

// One data subpacket of at most `length` bytes; `buf` has room for one more.
// Returns GOTCRCE to GOTCRCW with Rxcount set, or ERROR, TIMEOUT, ZCAN.
int32_t zrdata(uint8_t *buf, int32_t length);

int32_t zrbhdr(uint8_t *hdr);   // rest of a header, binary
int32_t zrbhdr32(uint8_t *hdr); // binary, CRC-32
int32_t zrhhdr(uint8_t *hdr);   // hex

int32_t zdlread(); // one byte, ZDLE decoded
int32_t noxrd7();  // one byte, 7 bits, XON and XOFF dropped
int32_t zgeth1();  // two hex digits, lower case only

int32_t rdchk(); // bytes that have been read and not used
