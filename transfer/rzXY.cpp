// Receiving by XMODEM, XMODEM-1K, YMODEM and YMODEM-G: blocks off the line,
// and a file of them. The protocols are published (Chuck Forsberg,
// "XMODEM/YMODEM Protocol Reference").

#include "transfer/rz.h"

#include "base/Program.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "resources/names.h"
#include "serial/ModemIO.h"
#include "transfer/Names.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------
// Times are tenths of a second unless noted.

constexpr int32_t kShortBlock = 128;
constexpr int32_t kLongBlock = 1024;
constexpr int32_t kBlockErrors = 5;   // on one block; more end the transfer
constexpr int32_t kNameWait = 100;    // for the name block
constexpr int32_t kFirstWait = 100;   // for the first block of a file
constexpr int32_t kFirstCrcWait = 35; // the same, while asking for CRC
constexpr int32_t kAgainWait = 40;    // for a block that was asked for again
constexpr int32_t kAgainSumWait = 100;
constexpr int16_t kQuiet = 1; // without a byte for so long the line is quiet
constexpr uint8_t kFileType = 0x81; // starts a block that names a file's kind

// ---- state -----------------------------------------------------------------

int32_t Blklen;
int32_t Firstsec;
uint8_t Lastrx;

// ---- asking for blocks -----------------------------------------------------

// What asks for a block before the first has come: CRC, and with it, if
// wanted, blocks of 1K.
static void ask_first()
{
    sendline(Optiong ? 'G' : Crcflg ? 'C' : NAK);
    if (!Optiong && Crcflg && (cset.xferFlags & kXfer1K))
        sendline('K');
}

// ---- a block ---------------------------------------------------------------

// A sender that names the kind of its file: a code and its complement. Within
// a file it is a block whose first byte came damaged.
static void take_file_type()
{
    int32_t kind = readline(cset.xmTimeout);
    int32_t check = readline(cset.xmTimeout);

    if (!Firstsec || kind < 0 || check < 0 || kind + check != Wcsmask)
        return;
    switch (kind) {
    case 4:
    case 176:
        curFType = FOUR("TEXT");
        curFCreator = textcreator;
        tFType = qPTX;
        zftype = 'T';
        break;
    case 179:
    case 255:
        curFType = kind == 179 ? FOUR("PS16") : FOUR("PSYS");
        curFCreator = FOUR("pdos");
        tFType = qPBN;
        zftype = 'B';
        break;
    }
}

// What runs over the data of a block as they come.
struct block_sums {
    uint16_t crc = 0;
    uint8_t sum = 0;
};

// The data of a block. False when they stop coming, or the user cancels.
static bool read_data(uint8_t *buf, block_sums &sums)
{
    const int32_t limit = int32_t(cset.xmTimeout) * 6; // ticks
    int32_t got = 0;

    while (!UserCancel) {
        int16_t n = int16_t(Blklen - got);
        const uint8_t *p = GetBytes(&n);
        if (p) {
            memcpy(buf + got, p, size_t(n));
            got += n;
            if (Crcflg)
                sums.crc = crc16_run(p, n, sums.crc);
            else
                for (int16_t i = 0; i < n; i++)
                    sums.sum = uint8_t(sums.sum + p[i]);
            if (got == Blklen)
                return true;
            continue; // a wait starts with a read that finds nothing
        }
        (void)XferEvent(1); // sets UserCancel
        if (int32_t(TickCount()) - LastGetTicks > limit)
            break;
    }
    return false;
}

// Behind SOH or STX. The block's number, or ERROR with the reason shown.
static int32_t read_block(uint8_t *buf)
{
    block_sums sums;
    int32_t number = readline(cset.xmTimeout);
    int32_t complement = number < 0 ? TIMEOUT : readline(cset.xmTimeout);

    if (number < 0 || complement < 0 || number + complement != Wcsmask) {
        zstat("Sector number garbled");
        return ERROR;
    }
    bool whole = read_data(buf, sums);
    int32_t high = whole && Crcflg ? readline(cset.xmTimeout) : 0;
    int32_t low = whole && high >= 0 ? readline(cset.xmTimeout) : TIMEOUT;
    if (low < 0) {
        zstat("TIMEOUT");
        return ERROR;
    }
    if (Crcflg ? sums.crc != (high << 8 | low) : sums.sum != (low & 0xFF)) {
        zstat(Crcflg ? "CRC err" : "Checksum err");
        return ERROR;
    }
    return number;
}

static void good_block()
{
    if (Firstsec && Blklen == kLongBlock) {
        zprot &= ~0x20; // upper case: its blocks are of 1K
        ztitle();
    }
    Firstsec = 0;
}

// What a round of wcgetsec has come to, besides the number of a block or
// another result of its own.
constexpr int32_t kNextRound = -20; // no block; it was counted
constexpr int32_t kBadBlock = -21;  // the sender has to be asked again

static int32_t one_round(uint8_t *buf, int32_t tenths)
{
    int32_t c = readline(int16_t(tenths));

    switch (c) {
    case STX:
    case SOH:
        Blklen = c == STX ? kLongBlock : kShortBlock;
        c = read_block(buf);
        if (c < 0)
            return kBadBlock;
        good_block();
        return c;
    case EOT:
        // A block that lost its start may begin like this; then more follows.
        if (Lleft == 0 && readline(kQuiet) == TIMEOUT)
            return kSectorEOT;
        break;
    case CAN:
        if (Lastrx == CAN) {
            zprtstat("Sender CANcelled");
            return ERROR;
        }
        Lastrx = CAN;
        gErrorCnt++;
        return kNextRound;
    case kFileType:
        take_file_type();
        return kBadBlock;
    case TIMEOUT:
        if (!Firstsec && !UserCancel)
            zstat("TIMEOUT");
        return kBadBlock;
    }
    zmsgnum(kItemStatusStatus, "Got sector header ", c);
    return kBadBlock;
}

// Waits until the line is quiet and asks for the block again. False when the
// sender couldn't send it again.
static bool ask_again(int32_t &tenths)
{
    Lastrx = 0;
    while (readline(kQuiet) != TIMEOUT)
        ;
    if (!Firstsec) {
        if (Optiong)
            return false;
        sendline(NAK);
        Lleft = 0;
        tenths = kAgainWait;
    } else {
        ask_first();
        if (!Crcflg)
            tenths = kAgainSumWait;
    }
    gErrorCnt++;
    return true;
}

int32_t wcgetsec(uint8_t *buf, int32_t tenths)
{
    gErrorCnt = 0;
    Lastrx = 0;
    while (gErrorCnt <= kBlockErrors) {
        // A sender that doesn't answer "C" may know checksums alone.
        if (gErrorCnt > 1 && Crcflg && Firstsec) {
            Crcflg = 0;
            gErrorCnt = 1;
            zerchk = 1;
            zecheck();
        }
        if (gErrorCnt != 0)
            inc_retry();
        int32_t result = one_round(buf, tenths);
        if (UserCancel)
            return ERROR;
        if (result == kNextRound)
            continue;
        if (result != kBadBlock)
            return result;
        if (!ask_again(tenths))
            break;
        if (UserCancel)
            return ERROR;
    }
    canit();
    zprtstat("Too many errors.");
    return ERROR;
}

// ---- the name block --------------------------------------------------------

int32_t wcrxpn(uint8_t *buf)
{
    purgeline();
    for (;;) {
        Firstsec = 1;
        Eofseen = 0;
        gotEOF = 0;
        memset(buf, 0, kHeaderBlock + 2);
        ask_first();
        int32_t number = wcgetsec(buf, kNameWait);
        if (number == 0)
            break;
        if (number != kSectorEOT) {
            zprtstat("Error getting filename (Block 0).");
            return ERROR;
        }
        // The sender missed our answer to the end of the file before.
        sendline(ACK);
        (void)readline(kQuiet); // what else it says doesn't matter
    }
    // A longer block that came damaged may have left its end there.
    memset(buf + Blklen, 0, size_t(kHeaderBlock + 2 - Blklen));
    if (!Optiong)
        sendline(ACK);
    return 0;
}

// ---- a file ----------------------------------------------------------------

// A block in its order, into the file. 0 or -1.
static int32_t write_sector()
{
    // A MacBinary stream's padding is dropped by the writer, which knows the
    // forks; its length here is of 24 bits only.
    int32_t n = zftype == 'M' ? Blklen : std::min(Bytesleft, Blklen);

    if (int64_t(rxbytes) + n > 0x7FFFFFFF) {
        zprtstat("File is too long.");
        return ERROR;
    }
    if (zWriteData(rxbytes, gSecBuf, int16_t(n)) != 0)
        return ERROR;
    Bytesleft = std::max(Bytesleft - n, 0);
    rxbytes += n;
    return 0;
}

// EOT came. 0 or -1.
static int32_t end_of_file()
{
    // An empty file comes without any block.
    if (rxbytes == 0 && zWriteData(0, gSecBuf, 0) != 0)
        return ERROR;
    if (came_short()) {
        zprtstat("File is shorter than its length.");
        return ERROR;
    }
    gotEOF = 1;
    TotalBytes = rxbytes;
    zprog(rxbytes, TotalBytes);
    if (closeit() != 0 || !gotEOF)
        return ERROR;
    gWholeFiles++;
    sendline(ACK);
    if (needName) {
        NameAs(zRcvName, zRcvVol);
        memcpy(zRcvMBName, zRcvName, size_t(zRcvName[0]) + 1);
    }
    Lleft = 0;
    return 0;
}

static int32_t start_wait(bool first)
{
    if (!first)
        return cset.xmStartTimeout;
    return Crcflg && !(cset.xferFlags & (kXfer1K | kXferChecksum))
               ? kFirstCrcWait
               : kFirstWait;
}

int32_t wcrx()
{
    int32_t expected = 0;
    uint8_t reply = Crcflg ? 'C' : NAK;

    Firstsec = 1;
    Eofseen = 0;
    gotEOF = 0;
    rxbytes = 0;
    if (Optiong)
        sendline('G');
    for (bool first = true;; first = false) {
        if (UserCancel)
            return ERROR;
        if (!Optiong) {
            sendline(reply);
            if (reply >= 'C' && (cset.xferFlags & kXfer1K))
                sendline('K');
        }
        Lleft = 0;
        zprog(rxbytes, TotalBytes);
        int32_t number = wcgetsec(gSecBuf, start_wait(first));
        if (number == kSectorEOT)
            return end_of_file();
        reply = ACK;
        if (number == ((expected + 1) & Wcsmask)) {
            if (write_sector() != 0)
                return ERROR;
            expected = number;
        } else if (number != expected) {
            return ERROR; // none, or one out of its order
        }
    }
}
