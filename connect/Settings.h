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
// Resource `Dial`. Reserved bytes are kept as they were read. Where each field
// stands in the book is in connect/Fields.h.

struct cset_t {
    uint16_t baudWord; // speed if at most 57600, else 0 (baudLong)
    char parityChar;   // 'N', 'E' or 'O'
    char dataChar;     // '7' or '8'
    char stopChar;     // '1', '5' (one and a half) or '2'
    uint8_t echoFlag;  // bit 0: local echo
    uint8_t termFlags; // kTerm... bits
    uint8_t reserved7;
    uint8_t bsKey;          // what the delete key sends: 8 or 127
    uint8_t flowFlags;      // XON/XOFF and hardware bits
    uint8_t hasPhone;       // 0 marks a direct connection
    uint8_t bufFlags;       // bit 0: scrolled-off lines are not kept
    uint8_t termType;       // 0 VT100, 1 ANSI; index of the font in qset
    uint8_t maxTries;       // retries of XMODEM, YMODEM sending; 0 is 5
    int16_t macroSetID;     // the macro set's STR# id
    uint8_t dconvChar;      // data conversion letter: S, M, B, T
    uint8_t xferFlags;      // kXfer... bits
    char rcvProto;          // one of "AkXYGZ"
    char sendProto;         // one of "AkxXyYZ"
    uint8_t xmTimeout;      // XMODEM sector timing, 80
    uint8_t xmStartTimeout; // first-sector timing, 100
    uint8_t szTimeout;      // ZMODEM sender: read time-out / 10, 60
    uint8_t rzTimeout;      // ZMODEM receiver: read time-out / 10, 10
    uint8_t paceFlags;      // bit 0: wait for each character's echo
    uint8_t reserved25;
    uint8_t charDelay; // ticks behind a character, 0 to 60
    uint8_t reserved27;
    int16_t lineDelay;  // ticks behind a line, 0 to 1000
    uint8_t promptChar; // awaited behind a line, 0 for none
    uint8_t reserved31;
    char zBlockChar; // one of "A25k": automatic, 256, 512, 1024
    uint8_t zFlags;  // bit 0: escape all control characters
    uint16_t reserved34;
    uint16_t zWindow; // ZMODEM send window, 0 for none
    uint16_t reserved38;
    uint8_t reserved40;
    uint8_t hostNames; // how names are made fit for the host, 0 to 3
    uint16_t kermLen;  // Kermit packet length, as typed
    uint8_t kermCheck; // Kermit block check in the low two bits
    uint8_t reserved45[3];
    uint16_t reserved48;
    uint16_t reserved50;
    uint32_t lastConnect; // seconds since 1904; 0 means never
    uint16_t reserved56;
    uint8_t reserved58[4];
    uint8_t reserved62[2];
    uint32_t reserved64;
    uint8_t reserved68[2];
    int16_t localStrID;    // the entry's STR# id; 0 in old records
    uint8_t oldPhone[32];  // older layout: phone number
    uint8_t oldZStart[24]; // older layout: ZMODEM start command
    uint32_t baudLong;     // speed, whole value
    uint32_t reserved132;
};

constexpr int32_t kDialRecLen = 136;

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
// Resource `qSet` 1; the places are in connect/Fields.h, too.

struct qset_t {
    int16_t inBufSize;    // serial input buffer in bytes
    uint16_t portNumber;  // initial ourPort
    uint16_t portIn;      // initial sIn
    uint16_t portOut;     // initial sOut
    Point bufWinLoc;      // a swapped copy of xferWinLoc, always
    int32_t rcvFolder;    // older layout: packed receive folder
    Rect winRectSmall;    // main window at font sizes up to 9
    Rect zoomRectSmall;   // the same, zoomed
    Rect winRectLarge;    // main window at font sizes over 9
    Rect zoomRectLarge;   // the same, zoomed
    uint16_t zoomFlags;   // bit 0: main window is zoomed
    uint16_t fileBufSize; // file buffer in bytes
    Point xferWinLoc;     // status window, in the writer's order
    Point findWinLoc;     // v of 0 or less: none yet
    Point dialWinLoc;     // 0: none yet
    int8_t termFontSize;  // 5 to 48
    uint8_t keyFlags;     // bits 0, 1: command-key mode; bit 2
    int8_t printFontSize;
    uint8_t printHeaderOff; // nonzero: pages have no header
    uint8_t reserved68[4];
    uint8_t globFlags; // kGlob... bits
    uint8_t bgFlags;   // bit 0: hide the window in the background
    uint8_t reserved74[2];
    uint8_t useColor; // nonzero: ANSI colour is honoured
    uint8_t reserved77;
    char fgColor;        // default foreground, '0' to '7'
    char bgColor;        // default background, '0' to '7'
    uint8_t fgMap[8];    // colour digits for SGR 30 to 37
    uint8_t bgMap[8];    // colour digits for SGR 40 to 47
    uint8_t redialDelay; // seconds between attempts
    uint8_t dialTimeout; // seconds to wait for a connection
    char dialType;       // 'P' pulse, 'T' tone
    uint8_t modemFlags;  // bit 0: hang up by dropping DTR
    uint8_t breakShort;  // length of a break
    uint8_t breakLong;   // the same with a modifier key
    uint8_t reserved102[10];
    four_t textCreator; // creator of text files we write
    four_t binCreator;  // creator of received binary files
    four_t binType;     // type of received binary files
    uint8_t reserved124[4];
    uint8_t fontName0[16]; // font name for termType 0
    uint8_t fontName1[16]; // for termType 1
    uint8_t fontName2[16];
    uint8_t fontName3[16];
    uint8_t oldDefService[32]; // older layout: default entry's name
    uint8_t oldModemName[32];  // older layout: modem list's name
    Rect bufWinRect;           // type-ahead window
    Rect dirWinRect;           // dial directory window; 0: none yet
    uint16_t reserved272[4];
    uint16_t reserved280[4];
    Rect pageMargins; // sixteenths of a point
    uint8_t reserved296[8];
    uint16_t reserved304[3];
    uint8_t reserved310[10];
    RGBColor rgbTable[18]; // foreground, background, 8 colours, 8 bright
};

constexpr int32_t kQsetLen = 428;

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
