// The byte interpreter: a state machine over `charflg`, three tables of
// handlers, and the fast path of plain text.
//
//  state     byte                          goes to
//  0 text    ESC                           1
//            CR, LF after CR (auto LF)     3, and the same byte is dropped
//  1 ESC     # to +                        1, an intermediate
//            [                             2
//            any other from 32 up          0
//  2 CSI     32 to 63, but !               2
//            !, and all from 64 up         0
//  3 drop    any                           0
//
// A byte below 32 acts at once in any state, and states 1 and 2 go on behind
// it. That holds for ESC, CAN and SUB too: hosts of the time put flow control
// and line ends into the middle of sequences, and none relied on CAN.
#include "terminal/VT100.h"

#include <bit>
#include <cstring>

#include "automation/AsciiSend.h"
#include "platform/drawing.h"
#include "platform/sound.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100Parts.h"
#include "terminal/VT100Tables.h"

// ---- the parser ------------------------------------------------------------

enum : uint16_t { kText, kEscape, kSequence, kDrop };

uint16_t charflg;
uint8_t prvchr, prvchr2;
uint32_t num[kMaxParams + 1];
int32_t numargs = 1;
uint8_t gFirstChar;
uint8_t gDoubleByte;
uint8_t gInJapanShift;
uint8_t didWrap;

static uint8_t lastch; // the byte before, stripped if the settings say so

// ---- the run ---------------------------------------------------------------

uint8_t outbuf[kLineLen];
int16_t outcnt;
int16_t outcol;

// ---- putting text ----------------------------------------------------------

static void seen(uint8_t byte)
{
    if (byte == sendWait)
        sendWait = -1;
}

// One byte into the run and the line. A run that is full beeps, and the byte
// shows at the next repaint; the last column of all is never passed.
static void put_cell(uint8_t byte)
{
    if (outcnt == 0)
        outcol = curcol;
    if (outcnt >= kMaxCols) {
        SysBeep(3);
    } else {
        if (outcnt >= 0)
            outbuf[outcnt] = byte;
        outcnt++;
    }
    if (curcol < kMaxCols)
        scr[curlin_array][curcol] = byte;
    curcol++;
}

// The last column is full and nothing wraps: the next byte takes its place.
// The run keeps the pen it began with, as back_space moves the pen for a
// cursor that has nothing waiting. With no run the count goes below 0, and
// the byte goes into the line only.
static void overstrike()
{
    const Point pen = curPenLoc;
    const uint8_t stale = gNeedPen;
    const bool waiting = outcnt > 0;

    back_space();
    outcnt--;
    if (waiting) {
        curPenLoc = pen;
        gNeedPen = stale;
    }
}

static void print_byte(uint8_t byte)
{
    if (byte == kDEL || byte == 255)
        return;
    // The terminal font holds the line graphics from 0xE0 up.
    if (curGSet == kGraphicsSet && byte >= 0x60 && byte <= 0x7E)
        byte = uint8_t(byte + 128);
    if (curcol >= MaxCol) {
        if (autowrap) {
            new_line();
            didWrap = 1;
        } else {
            overstrike();
        }
    }
    if (insert && curcol < MaxCol) {
        uint8_t *at = scr[curlin_array] + curcol;
        memmove(at + 1, at, size_t(MaxCol - 1 - curcol));
    }
    put_cell(byte);
    if (byte == kLF && !interpret_control)
        new_line();
}

// Under ANSI the control bytes that no BBS sends as such are glyphs.
static bool is_control(uint8_t byte)
{
    constexpr uint32_t kAnsiControls = 1u << 0 | 1u << kBEL | 1u << kBS |
                                       1u << kHT | 1u << kLF | 1u << kFF |
                                       1u << kCR | 1u << kESC;

    if (byte > 31)
        return false;
    return cset.termType != 1 || (kAnsiControls >> byte & 1);
}

// A byte of text or a control byte, with the cursor stopped.
static void show_byte(uint8_t byte)
{
    if (byte == kCR && sendWait == kWaitCR) {
        sendWait = sendWait2;
        sendWait2 = -1;
    }
    seen(byte);
    if (!interpret_control || !is_control(byte)) {
        print_byte(byte);
        return;
    }
    flushCRT();
    if (byte == kESC)
        escape_seq();
    else
        controltable[byte]();
}

void drawAChar(uint8_t byte)
{
    const WindowPtr old = begin_port();
    const bool shown = cursorActive;

    if (shown)
        stop_cursor();
    show_byte(byte);
    if (shown)
        start_cursor();
    end_port(old);
}

// ---- double-byte text ------------------------------------------------------

static void put_pair(uint8_t hi, uint8_t lo)
{
    seen(hi);
    put_cell(hi);
    seen(lo);
    put_cell(lo);
    gFirstChar = 0;
    // The wrap is at the record's end, not at MaxCol.
    if (curcol >= kMaxCols)
        new_line();
}

static void jis_byte(uint8_t byte)
{
    if (!gFirstChar) {
        gFirstChar = byte;
        return;
    }
    const uint8_t b1 = gFirstChar, b2 = byte;
    const int hi = ((b1 + 1) >> 1) + (b1 > 0x5E ? 176 : 112);
    int lo;

    if (b1 % 2 == 0)
        lo = b2 + 126;
    else
        lo = b2 < 96 ? b2 + 31 : b2 + 32;
    put_pair(uint8_t(hi), uint8_t(lo));
}

// A single byte goes out with a NUL before it and takes two columns, as every
// character of such a font does; the store leaves the NULs out again.
static void shift_jis_byte(uint8_t byte)
{
    constexpr int16_t kSystemScript = -2;

    if (gFirstChar) {
        put_pair(gFirstChar, byte);
        return;
    }
    gFirstChar = byte;
    if (CharacterByteType(&gFirstChar, 0, kSystemScript) == 0)
        put_pair(0, byte);
}

// ---- the states ------------------------------------------------------------

static void text_byte(uint8_t byte)
{
    if (!gDoubleByte || byte < 32)
        show_byte(byte);
    else if (gInJapanShift)
        jis_byte(byte);
    else
        shift_jis_byte(byte);
}

static void escape_byte(uint8_t byte)
{
    if (byte >= '#' && byte <= '+') {
        prvchr2 = prvchr;
        prvchr = byte;
        return;
    }
    charflg = kText;
    if (outcnt)
        flushCRT();
    if (prvchr && byte >= '0' && byte <= 'Z') {
        set_char_set(prvchr, byte);
    } else if (byte == '[') {
        charflg = kSequence;
        numargs = 1;
        // The parameters behind these two keep what they had until a ";"
        // reaches them.
        num[1] = num[2] = 0;
        prvchr = prvchr2 = 0;
    } else if (byte <= 95) {
        singescapetable[byte - 32]();
    }
}

static void sequence_byte(uint8_t byte)
{
    if (byte > 127) {
        charflg = kText;
    } else if (byte > 63) {
        // Under ANSI a control byte inside the sequence may have printed.
        if (outcnt)
            flushCRT();
        escapetable[byte - 64]();
        charflg = kText;
    } else if (byte >= '0' && byte <= '9') {
        num[numargs] = num[numargs] * 10 + uint32_t(byte - '0');
    } else if (byte == ';') {
        if (numargs < kMaxParams)
            numargs++;
        num[numargs] = 0;
    } else if (byte >= '<') {
        prvchr = byte;
    } else if (byte == '!') {
        charflg = kText;
    }
}

static void one_byte(uint8_t byte)
{
    const uint16_t entry = charflg;

    if (cset.termFlags & kTermStrip8)
        byte &= 0x7F;
    if (!(cset.termFlags & kTermNoAutoLF)) {
        if (byte == kCR) {
            if (!interpret_control)
                show_byte(kCR);
            new_line();
            charflg = kDrop;
        } else if (byte == kLF && lastch == kCR) {
            charflg = kDrop;
        }
    }
    lastch = byte;
    didWrap = 0;
    if (byte < 32 && charflg != kDrop)
        charflg = kText;

    switch (charflg) {
    case kText:
        text_byte(byte);
        break;
    case kEscape:
        escape_byte(byte);
        break;
    case kSequence:
        sequence_byte(byte);
        break;
    default:
        charflg = kText;
        break;
    }
    if (byte < 32 && (entry == kEscape || entry == kSequence))
        charflg = entry;
}

// ---- plain text ------------------------------------------------------------

// The high bit of each byte of `word` that is 0; above the lowest such byte
// the answer may be wrong, and isn't used.
static uint64_t zero_bytes(uint64_t word)
{
    constexpr uint64_t kOnes = 0x0101010101010101, kHighs = kOnes << 7;
    return (word - kOnes) & ~word & kHighs;
}

// How many of the bytes print as they stand: 32 to 126 and 128 to 254. With
// the high bit stripped, bytes from 128 up end the run, as they may become
// anything.
static int plain_length(const uint8_t *at, int count, bool strip)
{
    constexpr uint64_t kOnes = 0x0101010101010101, kHighs = kOnes << 7;
    const uint64_t refuse = strip ? kHighs : 0;
    int n = 0;

    if constexpr (std::endian::native == std::endian::little) {
        for (; n + 8 <= count; n += 8) {
            uint64_t word;
            memcpy(&word, at + n, 8);
            const uint64_t stop = zero_bytes(word & (kOnes * 0xE0)) |
                                  zero_bytes(~(word | kHighs)) |
                                  (word & refuse);
            if (stop)
                return n + std::countr_zero(stop) / 8;
        }
    }
    for (; n < count; n++) {
        const uint8_t byte = at[n];
        if (byte < 32 || byte == kDEL || byte == 255 || (strip && byte > 127))
            break;
    }
    return n;
}

// Takes the bytes that only print, up to the last column, and returns the
// first it leaves. It does what text_byte does for each of them.
static const uint8_t *plain_run(const uint8_t *at, const uint8_t *end)
{
    int room = MaxCol - curcol;

    if (room > kMaxCols - outcnt)
        room = kMaxCols - outcnt;
    if (room > end - at)
        room = int(end - at);
    const int n = plain_length(at, room, cset.termFlags & kTermStrip8);
    if (n <= 0)
        return at;

    if (sendWait > 0 && sendWait < 256 && memchr(at, sendWait, size_t(n)))
        sendWait = -1;
    if (outcnt == 0)
        outcol = curcol;
    memcpy(outbuf + outcnt, at, size_t(n));
    memcpy(scr[curlin_array] + curcol, at, size_t(n));
    outcnt = int16_t(outcnt + n);
    curcol = int16_t(curcol + n);
    lastch = at[n - 1];
    didWrap = 0;
    return at + n;
}

static bool takes_runs()
{
    return charflg == kText && curcol < MaxCol && !gDoubleByte && !insert &&
           curGSet != kGraphicsSet && outcnt >= 0;
}

void DispChars(const uint8_t *bytes, int16_t count)
{
    const WindowPtr old = begin_port();
    const bool shown = cursorActive;

    if (shown)
        stop_cursor();
    if (count > 0 && scr[0]) {
        const uint8_t *at = bytes, *const end = bytes + count;
        while (at < end) {
            if (takes_runs()) {
                at = plain_run(at, end);
                if (at == end)
                    break;
            }
            one_byte(*at++);
        }
    }
    flushCRT();
    // A sequence may have switched the cursor on in mid-batch; it is placed
    // anew in any case, as it may have been moved since.
    if (shown || cursorActive)
        start_cursor();
    end_port(old);
}

// ---- wrappers --------------------------------------------------------------

void drawPString(ConstStr text)
{
    DispChars(text + 1, text[0]);
}

void drawCString(const char *text)
{
    size_t left = strlen(text);

    while (left > 0) {
        const size_t part = left < 32767 ? left : 32767;
        DispChars(reinterpret_cast<const uint8_t *>(text), int16_t(part));
        text += part;
        left -= part;
    }
}

void Put_Char(uint8_t byte)
{
    DispChars(&byte, 1);
}

void DispNum(int32_t number)
{
    Str255 text;

    NumToString(number, text);
    drawPString(text);
}

void writeps(ConstStr text)
{
    for (int i = 1; i <= text[0]; i++)
        OutCh(sOut, text[i]);
}
