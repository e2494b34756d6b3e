// Sending by XMODEM, XMODEM-1K, YMODEM and YMODEM-G: meeting the receiver, the
// name block, which ZMODEM has, too, and the blocks of a file. The protocols
// are published (Chuck Forsberg, "XMODEM/YMODEM Protocol Reference").

#include "transfer/sz.h"

#include "base/dates.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "transfer/Util.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kShortBlock = 128;
constexpr int32_t kLongBlock = 1024;
constexpr int32_t kFirstPart = 512; // of a long block, written by itself
constexpr int32_t kTailOf1K = 896;  // a rest up to this goes as short blocks
constexpr int32_t kEndTries = 5;    // at having EOT acknowledged

// ---- state -----------------------------------------------------------------

int32_t firstsec;
int32_t Totsecs;

// ---- meeting the receiver --------------------------------------------------

int32_t readock(int16_t tenths, int16_t count)
{
    uint8_t got[3];
    int16_t n = 0;
    int32_t limit = int32_t(tenths) * 6;

    if (!Optiong)
        FlushAW(); // no reply comes before the block has left
    count = std::clamp<int16_t>(count, 1, sizeof got);
    while (n < count && TimedRead(sIn, &got[n], 1, limit)) {
        if ((got[n] == XON || got[n] == XOFF) && !UserCancel)
            continue;
        // Waiting a tick behind each ACK would cost a third of a fast line.
        limit = got[n++] == ACK ? 0 : Baudrate < 1200 ? 3 : 1;
    }
    if (n == 0)
        return TIMEOUT;
    if (n == 1)
        return got[0];
    if (got[0] == 'C' && got[1] == 'K' && (n == 2 || got[2] == 'L'))
        return 'K';
    return std::all_of(got, got + n, [](uint8_t c) { return c == CAN; })
               ? CAN
               : ERROR;
}

static void grow_to_1k()
{
    blklen = kLongBlock;
    zprot &= ~0x20; // upper case
    ztitle();
}

static bool checksum_only()
{
    return (cset.xferFlags & kXferChecksum) != 0;
}

int32_t getnak()
{
    Lastrx = 0;
    firstsec = 1;
    for (;;) {
        if (UserCancel)
            return 1;
        int32_t c = readock(Rxtimeout, 1);
        bool asks_crc = c == 'G' || c == 'K' || c == 'C';
        if (c == TIMEOUT)
            return 1;
        if (zprot == 'Z' ? c != '*' : asks_crc && checksum_only())
            continue;
        switch (c) {
        case '*':
            // A ZMODEM receiver, whoever we took it for.
            if (getzrxinit() != 0)
                return ERROR;
            Ascii = 0;
            return 0;
        case 'G':
            SetFlow((cset.flowFlags & kFlowHard) | kFlowXonOut);
            Optiong = 1;
            [[fallthrough]];
        case 'K':
            grow_to_1k();
            [[fallthrough]];
        case 'C':
            Crcflg = 1;
            zecheck();
            return 0;
        case NAK:
            return 0;
        case CAN:
            c = readock(20, 1);
            if (c == CAN && Lastrx == CAN)
                return 1;
            break;
        }
        Lastrx = uint8_t(c);
    }
}

// ---- the name block --------------------------------------------------------

// What a name block holds, with its end: a YMODEM receiver has room for a
// short block, and a ZMODEM one for all of txbuf.
struct name_block {
    int32_t room; // for text and the NUL behind it
    int32_t end;  // place of that NUL
};

// Adds the text whole, or not at all: half a number is another number.
static bool append(name_block &b, ConstStr text)
{
    if (b.end + text[0] >= b.room)
        return false;
    memcpy(txbuf + b.end, text + 1, text[0]);
    b.end += text[0];
    return true;
}

static bool append_number(name_block &b, ConstStr before, int32_t number)
{
    Str255 text, digits;

    pstrcpy(text, before);
    NumToString(number, digits);
    pstrcat(text, digits);
    return append(b, text);
}

// Length, date, mode, serial number, files and bytes left, as far as they fit.
static void append_figures(name_block &b)
{
    Str255 text, octal;

    if (++b.end >= b.room || !append_number(b, PSTR(""), TotalBytes))
        return;
    pstrcpy(text, PSTR(" "));
    octstr(octal, date_to_unix(DateMod));
    pstrcat(text, octal);
    (void)(append(b, text) && append_number(b, PSTR(" 0 0 "), Filesleft) &&
           append_number(b, PSTR(" "), Totalleft));
}

// Fills txbuf. Returns the length of its text, with the NUL.
static int32_t make_name_block(const FSSpec *file)
{
    name_block b = {Zmodem ? kLongBlock : kShortBlock, 0};

    memset(txbuf, 0, sizeof txbuf);
    if (hostName) {
        size_t most = size_t(std::min(b.room - 1, 255));
        b.end = int32_t(strnlen(reinterpret_cast<char *>(hostName), most));
        memcpy(txbuf, hostName, size_t(b.end));
    }
    if (file)
        append_figures(b);
    return b.end + 1;
}

int32_t wctxpn(FSSpec *file)
{
    if (Modem2)
        return 0;
    if (!Zmodem && getnak() != 0)
        return ERROR;
    if (file)
        (void)filesize(file, 0); // TotalBytes has it

    const int32_t length = make_name_block(file);
    if (file) {
        Totalleft -= TotalBytes;
        if (--Filesleft <= 0 || Totalleft < 0)
            Totalleft = 0;
    }
    if (txbuf[125]) {
        blklen = kLongBlock;
    } else if (Zmodem) {
        blklen = kShortBlock;
    } else if (file) {
        int32_t blocks = TotalBytes / 128 + (TotalBytes % 128 != 0);
        txbuf[127] = uint8_t(blocks);
        txbuf[126] = uint8_t(blocks >> 8);
    }
    if (Zmodem) {
        uint8_t block[sizeof txbuf]; // txbuf takes the file's data meanwhile
        memcpy(block, txbuf, sizeof block);
        return zsendfile(block, length);
    }
    int32_t result = wcputsec(txbuf, 0, kShortBlock);
    if (result == 0)
        ResetXferTimer();
    return result;
}

// ---- a block ---------------------------------------------------------------

// Hands a block to the line. False when the user cancelled.
static bool compose_block(const uint8_t *buf, int16_t sector, int32_t length)
{
    uint8_t part[3 + kFirstPart];
    int32_t first = length == kLongBlock ? kFirstPart : length;
    int32_t rest = length - first;

    part[0] = length == kLongBlock ? STX : SOH;
    part[1] = uint8_t(sector);
    part[2] = uint8_t(~sector);
    memcpy(part + 3, buf, size_t(first));
    if (AWriteBlock(sOut, int16_t(3 + first), part) != 0)
        return false;
    uint8_t end[kFirstPart + 2];
    memcpy(end, buf + first, size_t(rest));
    if (Crcflg) {
        uint16_t crc = crc16_run(buf, length, 0);
        end[rest++] = uint8_t(crc >> 8);
        end[rest++] = uint8_t(crc);
    } else {
        uint8_t sum = 0;
        for (int32_t i = 0; i < length; i++)
            sum = uint8_t(sum + buf[i]);
        end[rest++] = sum;
    }
    return AWriteBlock(sOut, int16_t(rest), end) == 0;
}

// Both parts leave by one call of the system. What the receiver has said
// before was about something else; its reply to this block may be there as
// soon as the block is out, so nothing is dropped behind it.
static bool put_block(const uint8_t *buf, int16_t sector, int32_t length)
{
    if (!Optiong)
        purgeline();
    awGather(true);
    bool good = compose_block(buf, sector, length);
    awGather(false);
    return good;
}

// What becomes of a block: it is there, goes again, or the file is given up.
enum class fate { taken, again, failed };

static fate cancelled()
{
    zprtstat("Cancelled");
    return fate::failed;
}

// The receiver wants the block again; with "C" at first it wants CRC.
static fate refused(int32_t reply)
{
    if (reply == 'C' && firstsec)
        Crcflg = 1;
    inc_retry();
    zprtstat("NAK on sector");
    return fate::again;
}

// A reply that is none has come: goes on reading until it is quiet.
static fate read_on(int32_t reply)
{
    for (;;) {
        zmsgnum(kItemStatusStatus, "No ACK, got a ", reply);
        Lastrx = uint8_t(reply);
        reply = readock(Rxtimeout, 2);
        if (reply == TIMEOUT)
            return fate::again;
        if (reply == NAK || reply == 'C')
            return refused(reply);
        if (reply == CAN && Lastrx == CAN)
            return cancelled();
    }
}

static fate read_reply(int16_t sector, int32_t length)
{
    int32_t reply = readock(Rxtimeout, Noeofseen && sector != 0 ? 2 : 1);

    switch (reply) {
    case ACK:
        firstsec = 0;
        Totsecs += length / kShortBlock;
        return fate::taken;
    case NAK:
    case 'C':
        return refused(reply);
    case TIMEOUT:
        if (!UserCancel)
            zprtstat("Timeout on sector ACK");
        return fate::again;
    case ERROR:
        zprtstat("Got burst for sector ACK");
        return fate::again;
    }
    return read_on(reply);
}

int32_t wcputsec(const uint8_t *buf, int16_t sector, int32_t length)
{
    for (int32_t tries = 0; tries < gXmMaxTries; tries++) {
        if (UserCancel)
            return ERROR;
        Lastrx = 0;
        if (!put_block(buf, sector, length))
            return ERROR;
        if (Optiong) {
            firstsec = 0;
            // Behind the name the receiver's start may have come already.
            if (sector == 0 || readock(0, 2) != CAN)
                return 0;
            (void)cancelled();
            return ERROR;
        }
        fate f = read_reply(sector, length);
        if (f != fate::again)
            return f == fate::taken ? 0 : ERROR;
    }
    zprtstat("Retry Count Exceeded");
    return ERROR;
}

// ---- a file ----------------------------------------------------------------

// Waits until the receiver asks for the first block, and in which form. -1
// when it cancels.
static int32_t await_start()
{
    int32_t c;

    do {
        c = readock(Rxtimeout, 3);
    } while (c != NAK && c != CAN && c != TIMEOUT &&
             (checksum_only() || (c != 'C' && c != 'G' && c != 'K')));
    if (c == CAN)
        return ERROR;
    if (c == 'K')
        grow_to_1k();
    if (c == 'C' || c == 'G' || c == 'K')
        Crcflg = 1;
    if (Crcflg)
        zerchk = 2;
    zecheck();
    return 0;
}

static int32_t send_blocks(int32_t flen)
{
    int32_t length = blklen;
    int16_t sector = 0;

    for (;;) {
        if (UserCancel)
            return ERROR;
        if (sector == 0 || !Optiong)
            zprog(Txpos, TotalBytes);
        else
            needProg = 1;
        // A tail costs no whole block of 1K.
        if (int64_t(Txpos) + kTailOf1K >= flen)
            length = kShortBlock;
        if (filbuf(txbuf, length) == 0)
            return 0;
        sector = int16_t((sector + 1) & 0xFF);
        if (wcputsec(txbuf, sector, length) != 0)
            return ERROR;
        Txpos += length;
    }
}

static int32_t send_eot()
{
    for (int32_t tries = 0; tries < kEndTries && !UserCancel; tries++) {
        purgeline();
        FlushAW();
        sendline(EOT);
        gotEOF = 1;
        if (readock(Rxtimeout, 1) == ACK)
            return 0;
    }
    return ERROR;
}

int32_t wctx(int32_t flen)
{
    firstsec = 1;
    Txpos = 0;
    if (await_start() != 0)
        return ERROR;
    int32_t result = send_blocks(flen);
    sclose();
    if (result != 0)
        return ERROR;
    // The receiver would take an end here for the end of the file.
    if (Txpos < flen) {
        zprtstat("File has become shorter.");
        return ERROR;
    }
    result = send_eot();
    zperf(curSendFSS->name, start_ticks, int32_t(TickCount()), flen, 'S');
    gWholeFiles += result == 0;
    return result;
}
