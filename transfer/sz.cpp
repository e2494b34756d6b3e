// Sending: the frame of the sending protocols, and ZMODEM above frames.

#include "transfer/sz.h"

#include "base/Sounds.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kMostBlock = 1024;
constexpr int32_t kLeastBlock = 256; // after backing off
constexpr int16_t kGoodRun = 7;      // good blocks before the block grows
constexpr int32_t kJunk = 4;         // so many stray bytes ask for a reply
constexpr int32_t kSameplace = 4;    // ZRPOS to one place before we slow down
constexpr int32_t kInitRounds = 10;  // at hearing a ZRINIT
constexpr int32_t kSinitTries = 19;
constexpr int32_t kFailed = 128;       // Exitcode of a failed transfer
constexpr uint8_t kDontCorrect = 0x80; // ZF1: skip if there is no such file
constexpr int32_t kLeastFrame = 32;    // of Tframlen

// ---- state -----------------------------------------------------------------

int32_t Modem2;
int32_t blklen = 128;
int32_t blkopt;
int32_t Rxbuflen = 16384;
int32_t Rxflags;
int32_t Tframlen;
int32_t Wantfcs32 = 1;
int32_t Txwindow, Txwspac, Txwcnt;
int32_t Txpos, Lrxpos, bytcnt, Lastsync;
int32_t Beenhereb4;
int16_t erfBlocks;
int32_t Lastn, Lastread, Dontread;
uint8_t Lzconv, Lztrans, Lskipnocor;
uint8_t txbuf[1028];
int32_t Filcnt, Noeofseen;
int32_t Exitcode, errcnt;
int32_t gXmMaxTries;
uint8_t *hostName;
const char zblk_types[] = "A25k";

// ---- small ones ------------------------------------------------------------

void sclose()
{
    if (zSendRef != 0)
        (void)FSClose(zSendRef);
    zSendRef = 0;
}

static void send_binary(int16_t type, uint32_t pos)
{
    stohdr(pos);
    zsbhdr(type, Txhdr);
}

// Whether bytes have come. The port is read here, without a wait: nothing else
// reads it in the middle of a stream, and a receiver in trouble would be heard
// only at the end of the file.
static bool bytes_waiting()
{
    int16_t none = 0;
    (void)GetBytes(&none);
    return rdchk() > 0;
}

// ---- meeting the receiver --------------------------------------------------

int32_t sendzsinit()
{
    if (Myattn[0] == 0 && (!Zctlesc || (Rxflags & ESCCTL)))
        return 0;
    const int32_t length =
        int32_t(strnlen(reinterpret_cast<char *>(Myattn), sizeof Myattn - 1));
    for (gErrorCnt = 0;;) {
        stohdr(0);
        if (Zctlesc) {
            Txhdr[ZF0] |= ESCCTL;
            zshhdr(ZSINIT, Txhdr);
        } else {
            zsbhdr(ZSINIT, Txhdr);
        }
        zsdata(Myattn, length + 1, ZCRCW);
        int32_t c = zgethdr(Rxhdr, 1);
        if (c == ZACK)
            return 0;
        if (c == ZCAN)
            return ERROR;
        if (++gErrorCnt > kSinitTries || UserCancel)
            return ERROR;
    }
}

// The receiver's abilities are in Rxhdr.
static int32_t take_zrinit()
{
    Rxflags = Rxhdr[ZF0];
    Txfcs32 = Wantfcs32 && (Rxflags & CANFC32);
    if (Txfcs32) {
        zerchk = 4;
        zecheck();
    }
    Zctlesc |= Rxflags & ESCCTL;
    Rxbuflen = Rxhdr[0] + 256 * Rxhdr[1];
    if (Rxbuflen != 0)
        zmsgnum(kItemStatusStatus, "Rcvr's buflen is ", Rxbuflen);
    // From here on the receiver's XOFF holds our output.
    SetFlow((cset.flowFlags & kFlowHard) | kFlowXonOut);
    if (Rxbuflen != 0 ? Tframlen >= kLeastFrame && Tframlen < Rxbuflen
                      : Tframlen >= kLeastFrame && Tframlen <= kMostBlock)
        Rxbuflen = Tframlen;
    return sendzsinit();
}

int32_t getzrxinit()
{
    for (int32_t round = 0; round < kInitRounds; round++) {
        if (UserCancel)
            return ERROR;
        switch (zgethdr(Rxhdr, 1)) {
        case TIMEOUT:
        case ZCAN:
            return ERROR;
        case ZRINIT:
            return take_zrinit();
        case ZRQINIT:
            if (Rxhdr[ZF0] == ZCOMMAND)
                break; // our own request, echoed
            zshhdr(ZNAK, Txhdr);
            break;
        case ZCHALLENGE:
            stohdr(uint32_t(Rxpos));
            zshhdr(ZACK, Txhdr);
            break;
        case ZCOMMAND:
            stohdr(0);
            zshhdr(ZRQINIT, Txhdr);
            break;
        default:
            zshhdr(ZNAK, Txhdr);
            break;
        }
    }
    return ERROR;
}

// ---- hearing the receiver --------------------------------------------------

// The receiver wants the stream from Rxpos on.
static void go_back()
{
    awKill(); // what the line hasn't taken is worth nothing
    // A second ZRPOS may name another place than the one before.
    Dontread = Lastn >= 0 && Lastread == Rxpos;
    if (!Dontread && zSendRef != 0)
        (void)SetFPos(zSendRef, fsFromStart, Rxpos); // each read sets it, too
    inc_retry();
    erfBlocks = 0;
    zmsgnum(kItemStatusStatus, "Got ZRPOS = ", Rxpos);
    Txpos = Lrxpos = bytcnt = Rxpos;
    if (Rxpos == Lastsync && ++Beenhereb4 > kSameplace && blklen > kLeastBlock)
        blklen /= 2;
    Lastsync = Rxpos;
}

int32_t getinsync(int16_t flag)
{
    for (;;) {
        int32_t c = zgethdr(Rxhdr, 0);
        if (UserCancel)
            return ERROR;
        switch (c) {
        case TIMEOUT:
        case ZABORT:
        case ZFIN:
        case ZCAN:
            return ERROR;
        case ZRINIT:
        case ZSKIP:
            sclose();
            return c;
        case ZACK:
            Lrxpos = Rxpos;
            if (flag || Rxpos == Txpos)
                return ZACK;
            break;
        case ZRPOS:
            go_back();
            return ZRPOS;
        default:
            zsbhdr(ZNAK, Txhdr);
            break;
        }
    }
}

// ---- the data of a file ----------------------------------------------------

// What zsendfdata keeps from block to block.
struct data_run {
    int32_t left;   // of the receiver's buffer
    int16_t maxblk; // the block doesn't grow past this; 0: up to the most
    int32_t junk;   // stray bytes heard since the last reply
    int32_t n;      // bytes of the block just sent
};

// Behind a block or a reply.
enum class next { block, frame, reply, end, done };

static void choose_block(data_run &run)
{
    run.left = Rxbuflen;
    run.maxblk = int16_t(blkopt);
    run.junk = 0;
    run.n = 0;

    blklen = Baudrate <= 1200 ? 256 : Baudrate <= 2400 ? 512 : kMostBlock;
    if (blkopt == 0) {
        switch (cset.zBlockChar) {
        case '2':
            blklen = run.maxblk = 256;
            break;
        case '5':
            blklen = run.maxblk = 512;
            break;
        case 'k':
            blklen = run.maxblk = kMostBlock;
            break;
        }
    } else if (blkopt < blklen) {
        blklen = blkopt;
    }
    if (Rxbuflen != 0 && Rxbuflen < blklen)
        blklen = Rxbuflen;
    Lrxpos = 0;
    Beenhereb4 = 0;
}

// A run of clean blocks lets the block grow again.
static void grow_block(const data_run &run)
{
    const int32_t most =
        Rxbuflen != 0 ? std::min(Rxbuflen, kMostBlock) : kMostBlock;

    if (erfBlocks <= kGoodRun || blklen >= most ||
        (run.maxblk != 0 && blklen >= run.maxblk))
        return;
    blklen = std::min(blklen * 2, most);
    erfBlocks = 0;
}

static void read_block(data_run &run)
{
    if (Dontread) {
        run.n = Lastn;
    } else {
        run.n = zfilbuf(txbuf, blklen);
        Lastread = Txpos;
        Lastn = run.n;
    }
    Dontread = 0;
}

// Where the stream asks for a reply: at the end, behind each ZRPOS, when
// stray bytes tell of trouble, and when the receiver's buffer is full.
static uint8_t frame_end(data_run &run)
{
    if (run.n < blklen)
        return ZCRCE;
    if (run.junk >= kJunk || bytcnt == Lastsync)
        return ZCRCW;
    if (Rxbuflen != 0) {
        run.left -= run.n;
        if (run.left <= 0)
            return ZCRCW;
    }
    if (Txwindow != 0) {
        Txwcnt += run.n;
        if (Txwcnt >= Txwspac) {
            Txwcnt = 0;
            return ZCRCQ;
        }
    }
    return ZCRCG;
}

// Looks at what the receiver has said meanwhile, without waiting. `c` takes
// the reply when there is one to be acted on.
static next listen(data_run &run, int32_t &c)
{
    while (bytes_waiting()) {
        int32_t b = readline(1);
        if (b == CAN || b == ZPAD) {
            c = getinsync(1);
            if (c == ZACK)
                continue;
            zsdata(txbuf, 0, ZCRCE);
            return next::reply;
        }
        if (is_flow(b))
            hdl_flow();
        else if (b >= 0)
            run.junk++;
    }
    return next::block;
}

// Waits while too much is unacknowledged.
static next keep_window(uint8_t e, int32_t &c)
{
    while (Txwindow != 0 && int64_t(Txpos) - Lrxpos >= Txwindow) {
        if (e != ZCRCQ) {
            e = ZCRCQ;
            zsdata(txbuf, 0, e);
        }
        c = getinsync(1);
        if (c != ZACK) {
            zsdata(txbuf, 0, ZCRCE);
            return next::reply;
        }
    }
    return next::block;
}

static next send_block(data_run &run, int32_t &c)
{
    if (UserCancel) {
        c = ERROR;
        return next::done;
    }
    grow_block(run);
    read_block(run);
    // A block read before blklen changed has its own length.
    int32_t n = run.n;
    int32_t wanted = blklen;
    uint8_t e = frame_end(run);

    needProg = 1;
    zsdata(txbuf, n, e);
    Txpos += n;
    bytcnt = Txpos;
    erfBlocks++;
    if (e == ZCRCW) {
        c = getinsync(0);
        run.junk = 0;
        return next::reply;
    }
    next step = listen(run, c);
    if (step == next::block)
        step = keep_window(e, c);
    if (step == next::block && n < wanted)
        step = next::end;
    return step;
}

// Acts on a reply. next::frame or, with the result in `c`, next::done.
static next act_on_reply(data_run &run, int32_t &c)
{
    for (;;) {
        switch (c) {
        case ZRINIT:
            c = 0;
            return next::done;
        case ZSKIP:
            zprtstat("Skipped by receiver");
            sclose();
            return next::done;
        case ZACK:
        case ZRPOS:
            break;
        default:
            if (!UserCancel)
                zprtstat("Cancelled by receiver");
            sclose();
            c = ERROR;
            return next::done;
        }
        run.left = Rxbuflen;

        bool again = false;
        while (!again && rdchk() > 0) {
            if (UserCancel) {
                c = ERROR;
                return next::done;
            }
            int32_t b = readline(1);
            if (b == CAN || b == ZPAD) {
                c = getinsync(1);
                again = true;
            } else if (is_flow(b)) {
                hdl_flow();
            }
        }
        if (!again)
            return next::frame;
    }
}

// All data are out: ZEOF until the receiver has taken it.
static next end_data(data_run &run, int32_t &c)
{
    do {
        send_binary(ZEOF, uint32_t(Txpos));
        c = getinsync(0);
        zprog(Txpos, TotalBytes);
    } while (c == ZACK);

    switch (c) {
    case ZRINIT:
        // One that can't be read to its end has gone out as a shorter one,
        // and behind its end there is nothing.
        gotEOF = Txpos == TotalBytes;
        gWholeFiles += gotEOF;
        zprog(Txpos, TotalBytes);
        zperf(curSendFSS->name, start_ticks, int32_t(TickCount()), Txpos, 'S');
        c = 0;
        return next::done;
    case ZSKIP:
        sclose();
        return next::done;
    case ZRPOS:
        run.left = Rxbuflen;
        return next::frame;
    default:
        sclose();
        c = ERROR;
        return next::done;
    }
}

int32_t zsendfdata()
{
    data_run run;
    int32_t c = 0;
    next step = next::frame;

    choose_block(run);
    for (;;) {
        switch (step) {
        case next::frame:
            Txwcnt = 0;
            send_binary(ZDATA, uint32_t(Txpos));
            zprog(Txpos, TotalBytes);
            step = next::block;
            break;
        case next::block:
            step = send_block(run, c);
            break;
        case next::reply:
            step = act_on_reply(run, c);
            break;
        case next::end:
            step = end_data(run, c);
            break;
        case next::done:
            return c;
        }
    }
}

// ---- a file ----------------------------------------------------------------

// Behind a ZRINIT that came late: a "*" starts the next header. False when
// none comes, and the header has to be sent again.
static bool wait_for_pad()
{
    for (;;) {
        int32_t c = readline(50);
        if (c == ZPAD)
            return true;
        if (c <= 0 || UserCancel)
            return false;
    }
}

static int32_t start_data()
{
    Txpos = bytcnt = StartPos = Rxpos;
    Lastsync = int32_t(uint32_t(Rxpos) - 1);
    if (zSendRef != 0)
        (void)SetFPos(zSendRef, fsFromStart, Rxpos); // read sets it anyway
    Dontread = 0;
    return zsendfdata();
}

int32_t zsendfile(const uint8_t *buf, int32_t blen)
{
    for (;;) {
        Txhdr[ZF0] = Lzconv;
        Txhdr[ZF1] = uint8_t(Lzmanag | (Lskipnocor ? kDontCorrect : 0));
        Txhdr[ZF2] = Lztrans;
        Txhdr[ZF3] = 0;
        zsbhdr(ZFILE, Txhdr);
        zsdata(buf, blen, ZCRCW);
        ResetXferTimer();

        bool listening = true;
        while (listening && !UserCancel) {
            switch (zgethdr(Rxhdr, 1)) {
            case ZRINIT:
                listening = wait_for_pad();
                break;
            case ZSKIP:
                sclose();
                return ZSKIP;
            case ZRPOS:
                return start_data();
            case TIMEOUT:
            case ZABORT:
            case ZFIN:
            case ZCAN:
                return ERROR;
            default:
                listening = false;
                break;
            }
        }
        if (UserCancel)
            return ERROR;
    }
}

// ---- a whole transfer ------------------------------------------------------

int32_t wcs(FSSpec *file)
{
    Lzconv = 0;
    Ascii = 0;
    zNameVol(file);
    zftype = 'B';
    (void)filesize(file, 0); // TotalBytes has it
    if (cant_send(file)) {
        gSkippedFiles++;
        errcnt++;
        return Modem2 ? ERROR : 0; // the others go
    }
    ztype();
    zprog(0, TotalBytes);
    ResetXferTimer();
    Filcnt++;
    Noeofseen++;
    Lastread = 0;
    Lastn = -1;
    Dontread = 0;
    erfBlocks = 0;

    int32_t result = wctxpn(file);
    sclose();
    if (result == ERROR)
        return ERROR;
    if (result == ZSKIP) {
        gSkippedFiles++;
        return 0;
    }
    return Zmodem ? 0 : wctx(TotalBytes);
}

void saybibi()
{
    for (;;) {
        stohdr(0);
        zshhdr(ZFIN, Txhdr);
        int32_t c = zgethdr(Rxhdr, 0);
        if (c == ZFIN) {
            sendline('O');
            sendline('O');
            return;
        }
        if (c == ZCAN || c == TIMEOUT || UserCancel)
            return;
    }
}

int32_t wcsend(int32_t count, FSSpec *const files[])
{
    static uint8_t none[1] = {0};

    zSendRef = 0;
    Crcflg = 0;
    zerchk = 1;
    firstsec = 1;
    bytcnt = -1;
    for (int32_t i = 0; i < count && i < kMaxSendFiles; i++) {
        Totsecs = 0;
        retries = 0;
        StartPos = 0;
        gotEOF = 0;
        show_retry();
        hostName = hostnames[i] ? hostnames[i] : none;
        curSendFSS = files[i];
        if (wcs(files[i]) == ERROR)
            return ERROR;
    }
    if (Zmodem || zprot == 'Z') {
        saybibi();
        return 0;
    }
    if (Modem2)
        return 0;
    hostName = none;
    return wctxpn(nullptr);
}

// Tells the host to start its receiver, and shows its answer up to the "*" of
// the first header.
static void start_receiver()
{
    Str255 start;

    GetFromStrList(gLocalStrings, kStrZStart, start);
    writeps(start);
    zsleep(1);
    for (;;) {
        int32_t c = readline(40);
        if (c == ZPAD || c == TIMEOUT || UserCancel)
            return;
        Put_Char(uint8_t(c & 0x7F));
    }
}

static void start_state()
{
    blkopt = 0;
    Txwspac = 0;
    Modem2 = 0;
    Nozmodem = 0;
    Txwindow = 0;
    retries = 0;
    needProg = 0;
    UserCancel = 0;
    Optiong = 0;
    gotEOF = 0;
    Zmodem = 0;
    Txfcs32 = 0;
    Lzconv = 0;
    erfBlocks = 0;
    Exitcode = errcnt = 0;
    gWholeFiles = gSkippedFiles = 0;
    blklen = kMostBlock;
    Zctlesc = cset.zFlags & 1;
    Rxtimeout = int16_t(cset.szTimeout * 10);
    gXmMaxTries = cset.maxTries ? cset.maxTries : 5;
}

// Sets the marks of a protocol letter.
static void choose_protocol(int16_t protocol)
{
    zprot = protocol;
    zdir = 'S';
    zerchk = 2;
    Modem2 = protocol == 'X' || protocol == 'x';
    Nozmodem = protocol == 'Y' || protocol == 'y';
    if (protocol == 'x' || protocol == 'y')
        blklen = 128;
    if (protocol == 'Z' && cset.zWindow != 0) {
        Txwindow = cset.zWindow;
        Txwspac = Txwindow / 4;
        if (Txwspac < kMostBlock)
            blkopt = Txwspac;
    }
}

int32_t sz(int32_t count, FSSpec *const files[], int16_t protocol)
{
    start_state();
    SetFlow(cset.flowFlags & kFlowHard);
    xfer_port(0);
    choose_protocol(protocol);
    curSendFSS = count > 0 ? files[0] : nullptr;
    zshow();
    if (protocol == 'Z')
        start_receiver();
    if (!Modem2)
        countem(count, files);
    if (protocol == 'Z') {
        stohdr(0);
        zshhdr(ZRQINIT, Txhdr);
    }
    FlushAW();
    if (wcsend(count, files) != 0) {
        Exitcode = kFailed;
        canit();
    }
    if (UserCancel)
        zstat("User Cancelled");
    if (!PlaySound(kStrSoundDone))
        SysBeep(3);
    zsleep(2);
    zrmv();
    SetFlow(cset.flowFlags);
    xfer_port(1);
    UserCancel = 0;
    needProg = 0;
    return (errcnt != 0) | Exitcode;
}
