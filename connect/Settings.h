// The settings in memory: the connection in use, the global settings, and the
// string lists that go with them, together with the two routines that carry
// a record between memory and the phone book.
//
// A record in the book is big-endian on every machine; `cset` and `qset` are
// in the machine's own order. Only copy_cset_swaps and copy_qsetup_swaps cross
// that line. How the book is opened, migrated and saved is PhoneBook.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/types.h"

// ---- the connection record -------------------------------------------------
// 136 bytes, resource `Dial`. Reserved bytes are kept as they were read. All
// fields lie on their natural boundaries, but for the four bytes at 58, so the
// compiler adds no padding.

struct cset_t {
    uint16_t baudWord;      // 0: speed if at most 57600, else 0 (baudLong)
    char parityChar;        // 2: 'N', 'E' or 'O'
    char dataChar;          // 3: '7' or '8'
    char stopChar;          // 4: '1', '5' (one and a half) or '2'
    uint8_t echoFlag;       // 5: bit 0: local echo
    uint8_t termFlags;      // 6: kTerm... bits
    uint8_t reserved7;      // 7
    uint8_t bsKey;          // 8: what the delete key sends: 8 or 127
    uint8_t flowFlags;      // 9: XON/XOFF and hardware bits
    uint8_t hasPhone;       // 10: 0 marks a direct connection
    uint8_t bufFlags;       // 11: bit 0: scrolled-off lines are not kept
    uint8_t termType;       // 12: 0 VT100, 1 ANSI; index of the font in qset
    uint8_t maxTries;       // 13: retries of XMODEM, YMODEM sending; 0 is 5
    int16_t macroSetID;     // 14: the macro set's STR# id
    uint8_t dconvChar;      // 16: data conversion letter: S, M, B, T
    uint8_t xferFlags;      // 17: kXfer... bits
    char rcvProto;          // 18: one of "AkXYGZ"
    char sendProto;         // 19: one of "AkxXyYZ"
    uint8_t xmTimeout;      // 20: XMODEM sector timing, 80
    uint8_t xmStartTimeout; // 21: first-sector timing, 100
    uint8_t szTimeout;      // 22: ZMODEM sender: read time-out / 10, 60
    uint8_t rzTimeout;      // 23: ZMODEM receiver: read time-out / 10, 10
    uint8_t paceFlags;      // 24: bit 0: wait for each character's echo
    uint8_t reserved25;     // 25
    uint8_t charDelay;      // 26: ticks behind a character, 0 to 60
    uint8_t reserved27;     // 27
    int16_t lineDelay;      // 28: ticks behind a line, 0 to 1000
    uint8_t promptChar;     // 30: awaited behind a line, 0 for none
    uint8_t reserved31;     // 31
    char zBlockChar;        // 32: one of "A25k": automatic, 256, 512, 1024
    uint8_t zFlags;         // 33: bit 0: escape all control characters
    uint16_t reserved34;    // 34: swapped
    uint16_t zWindow;       // 36: ZMODEM send window, 0 for none
    uint16_t reserved38;    // 38: swapped
    uint8_t reserved40;     // 40
    uint8_t hostNames;      // 41: how names are made fit for the host, 0 to 3
    uint16_t kermLen;       // 42: Kermit packet length, as typed
    uint8_t kermCheck;      // 44: Kermit block check in the low two bits
    uint8_t reserved45[3];  // 45
    uint16_t reserved48;    // 48: swapped
    uint16_t reserved50;    // 50: swapped
    uint32_t lastConnect;   // 52: seconds since 1904; 0 means never
    uint16_t reserved56;    // 56: swapped
    uint8_t reserved58[4];  // 58: swapped as one 32-bit value
    uint8_t reserved62[2];  // 62
    uint32_t reserved64;    // 64: swapped
    uint8_t reserved68[2];  // 68
    int16_t localStrID;     // 70: the entry's STR# id; 0 in old records
    uint8_t oldPhone[32];   // 72: older layout: phone number
    uint8_t oldZStart[24];  // 104: older layout: ZMODEM start command
    uint32_t baudLong;      // 128: speed, whole value
    uint32_t reserved132;   // 132: swapped
};

constexpr int32_t kDialRecLen = 136;
static_assert(sizeof(cset_t) == size_t(kDialRecLen));

// cset_t::termFlags
constexpr uint8_t kTermStrip8 = 0x01;    // strip the eighth bit of input
constexpr uint8_t kTermNoAutoLF = 0x02;  // clear: a CR also moves down a line
constexpr uint8_t kTermKeysLocal = 0x04; // cursor and keypad keys act locally
constexpr uint8_t kTermOption = 0x08;    // kept by the dialog, no effect
constexpr uint8_t kTermBSErases = 0x10;  // backspace erases
constexpr uint8_t kTermSaveClear = 0x20; // cleared lines go to the scrollback

// cset_t::flowFlags: the single bits are in serial/IOKitSerial.h
constexpr uint8_t kFlowXon = 0x06;  // both directions of XON/XOFF
constexpr uint8_t kFlowHard = 0x18; // both hardware lines

// cset_t::xferFlags
constexpr uint8_t kXfer1K = 0x02;       // ask for 1K blocks
constexpr uint8_t kXferChecksum = 0x04; // checksum, no CRC
constexpr uint8_t kXferBPlus = 0x08;    // answer B Plus transfers of the host

// A four-letter code in a record: four bytes in the order they are read, in
// memory as on file, and an OSType to whoever uses it.
struct four_t {
    uint8_t letters[4];

    operator OSType() const
    {
        return OSType(letters[0]) << 24 | OSType(letters[1]) << 16 |
               OSType(letters[2]) << 8 | OSType(letters[3]);
    }
    four_t &operator=(OSType code)
    {
        for (int i = 0; i < 4; i++)
            letters[i] = uint8_t(code >> (24 - 8 * i));
        return *this;
    }
};

// ---- the global settings record --------------------------------------------
// 428 bytes, resource `qSet` 1.

struct qset_t {
    int16_t inBufSize;         // 0: serial input buffer in bytes
    uint16_t portNumber;       // 2: initial ourPort
    uint16_t portIn;           // 4: initial sIn
    uint16_t portOut;          // 6: initial sOut
    Point bufWinLoc;           // 8: a swapped copy of xferWinLoc, always
    int32_t rcvFolder;         // 12: older layout: packed receive folder
    Rect winRectSmall;         // 16: main window at font sizes up to 9
    Rect zoomRectSmall;        // 24: the same, zoomed
    Rect winRectLarge;         // 32: main window at font sizes over 9
    Rect zoomRectLarge;        // 40: the same, zoomed
    uint16_t zoomFlags;        // 48: bit 0: main window is zoomed
    uint16_t fileBufSize;      // 50: file buffer in bytes
    Point xferWinLoc;          // 52: status window, in the writer's order
    Point findWinLoc;          // 56: v of 0 or less: none yet
    Point dialWinLoc;          // 60: 0: none yet
    int8_t termFontSize;       // 64: 5 to 48
    uint8_t keyFlags;          // 65: bits 0, 1: command-key mode; bit 2
    int8_t printFontSize;      // 66
    uint8_t printHeaderOff;    // 67: nonzero: pages have no header
    uint8_t reserved68[4];     // 68
    uint8_t globFlags;         // 72: kGlob... bits
    uint8_t bgFlags;           // 73: bit 0: hide the window in the background
    uint8_t reserved74[2];     // 74
    uint8_t useColor;          // 76: nonzero: ANSI colour is honoured
    uint8_t reserved77;        // 77
    char fgColor;              // 78: default foreground, '0' to '7'
    char bgColor;              // 79: default background, '0' to '7'
    uint8_t fgMap[8];          // 80: colour digits for SGR 30 to 37
    uint8_t bgMap[8];          // 88: colour digits for SGR 40 to 47
    uint8_t redialDelay;       // 96: seconds between attempts
    uint8_t dialTimeout;       // 97: seconds to wait for a connection
    char dialType;             // 98: 'P' pulse, 'T' tone
    uint8_t modemFlags;        // 99: bit 0: hang up by dropping DTR
    uint8_t breakShort;        // 100: length of a break
    uint8_t breakLong;         // 101: the same with a modifier key
    uint8_t reserved102[10];   // 102
    four_t textCreator;        // 112: creator of text files we write
    four_t binCreator;         // 116: creator of received binary files
    four_t binType;            // 120: type of received binary files
    uint8_t reserved124[4];    // 124
    uint8_t fontName0[16];     // 128: font name for termType 0
    uint8_t fontName1[16];     // 144: for termType 1
    uint8_t fontName2[16];     // 160
    uint8_t fontName3[16];     // 176
    uint8_t oldDefService[32]; // 192: older layout: default entry's name
    uint8_t oldModemName[32];  // 224: older layout: modem list's name
    Rect bufWinRect;           // 256: type-ahead window
    Rect dirWinRect;           // 264: dial directory window; 0: none yet
    uint16_t reserved272[4];   // 272: swapped
    uint16_t reserved280[4];   // 280: swapped
    Rect pageMargins;          // 288: sixteenths of a point
    uint8_t reserved296[8];    // 296
    uint16_t reserved304[3];   // 304: swapped
    uint8_t reserved310[10];   // 310
    RGBColor rgbTable[18]; // 320: foreground, background, 8 colours, 8 bright
};

constexpr int32_t kQsetLen = 428;
static_assert(sizeof(qset_t) == size_t(kQsetLen));

// qset_t::globFlags
constexpr uint8_t kGlobCaptureLines = 0x01; // capture takes screen lines
constexpr uint8_t kGlobNoXferLog = 0x02;    // no line in the transfer log
constexpr uint8_t kGlobNoBell = 0x04;
constexpr uint8_t kGlobAskQuit = 0x08;
constexpr uint8_t kGlobAskClear = 0x10;
constexpr uint8_t kGlobAskHangUp = 0x20;
constexpr uint8_t kGlobBlockCursor = 0x40;
constexpr uint8_t kGlobSteadyCursor = 0x80; // clear: the cursor blinks

// ---- state -----------------------------------------------------------------

extern cset_t cset;         // the connection in use
extern qset_t qset;         // the global settings
extern uint8_t set_changed; // cset or its strings differ from the book
extern uint8_t qsetChanged; // qset differs from the book

// ---- crossing between memory and file --------------------------------------
// Both work in both directions; `from` and `to` hold 136 and 428 bytes and may
// not overlap. xferWinLoc keeps its writer's byte order, and bufWinLoc of the
// target becomes a swapped copy of it.

void copy_cset_swaps(const void *from, void *to);
void copy_qsetup_swaps(const void *from, void *to);

// The speed of a record: baudWord, or baudLong where that is 0.
uint32_t GetBaudFromSetup(const cset_t *record = &cset);
void SetBaud(uint32_t speed, cset_t *record = &cset);

// ---- string lists ----------------------------------------------------------
// A big-endian 16-bit count, then strings of a length byte and their bytes. A
// count or a length that claims more than the block holds is believed only as
// far as the block goes: what lies past its end reads as empty.

// The strings of the connection in use, 1-based.
enum {
    kStrPhone = 1,      // phone number, or several separated by CR
    kStrModemSetup = 4, // sent ahead of the dial command
    kStrAnswerback = 5, // sent on ENQ
    kStrUser = 6,
    kStrPassword = 7,
    kStrCapture = 8,   // path of the append target, gArchiveStr
    kStrZStart = 9,    // starts ZMODEM on the far side
    kStrCmdClick = 10, // prefix for a command-click on text
    kStrFont = 11,     // terminal font, empty for the default
};

// The global strings, 1-based.
enum {
    kGlobPort = 1, // port name
    kGlobPrintFont = 2,
    kGlobModem = 3, // name of the modem list
    kGlobModemInit = 4,
    kGlobDefault = 5, // name of the default entry
    kGlobModemDeInit = 7,
    kGlobRcvFolder = 8,
    kGlobDialSub1 = 11, // dial substitutions 1 to 5: 11 to 15
};
constexpr int16_t kGlobCount = 15;

extern Handle gLocalStrings; // private copy, of the connection in use
extern Handle gGlobStrings;  // private copy of STR# 256
extern Str255 ServiceName;   // name of the connection in use
extern Str255 gArchiveStr;   // path string of the append target, or empty

// Adds at the end; a null string adds an empty one. 0 or a memory error, and
// then the list is as it was.
OSErr AppendStrList(Handle list, ConstStr string);

// Empty where the list is null, or has no such string.
void GetFromStrList(Handle list, int16_t index, uint8_t *out);

// Puts a string in place, with empty strings before it where the list is
// shorter. An index of 0 or less, or of the count plus 8 or more, changes
// nothing. 0 or a memory error, and then the list is as it was.
OSErr SetStrInList(Handle list, int16_t index, ConstStr string);

int16_t StrListCount(Handle list); // strings that really are there
bool StrListOK(Handle list);       // count and lengths fit the block exactly
Handle NewStrList();               // an empty list, or null

void GetGlob(int16_t index, uint8_t *out);
OSErr SetGlob(int16_t index, ConstStr string);

// String 7 of the list, or of gLocalStrings where the list is null. The last
// argument is not used.
void GetPassword(uint8_t *out, Handle list, int16_t ignored = 0);
