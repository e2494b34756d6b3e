// Receiving: the frame of the receiving protocols, and ZMODEM above frames.

#include "transfer/rz.h"

#include "base/Sounds.h"
#include "base/atol.h"
#include "base/dates.h"
#include "base/facts.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/sound.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/Partial.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kXferBuf = 1500;  // what the engines ask of gSecBuf
constexpr int32_t kMostData = 1054; // 30 bytes of slack over the block size
constexpr int32_t kRetries = 20;    // errors in a row on one place
constexpr int32_t kAttempts = 5;    // at finding a sender
constexpr int32_t kAttemptsHeard = 15;
constexpr int32_t kMostName = 200;
constexpr int32_t kNameMax = 31; // a longer name is cut to one less
constexpr int32_t kNameCut = 30;
constexpr int64_t kTooLong = 0x80000000; // a length that no place can name
constexpr int32_t kSpare = 3000;         // bytes of the disk to be left free
constexpr int32_t kOldestTime = 20;      // a date up to here is none
constexpr uint8_t kBreakMark = 0xDD;     // in an attention string: a break
constexpr uint8_t kPauseMark = 0xDE;     // a second's rest
constexpr int32_t kKeep = 250; // bytes shown of what came after a cancel
constexpr uint32_t kSwallowMost = 120; // seconds, however long they send

// ---- state -----------------------------------------------------------------

int32_t zprot, zdir, zerchk;
uint8_t Crcflg, Optiong;
int32_t Nozmodem;
int32_t retries;

int32_t TotalBytes, Bytesleft, StartPos, rxbytes;
uint32_t DateMod, DateCreate;
uint8_t gotEOF;
int32_t gWholeFiles, gSkippedFiles;

int32_t tryzhdrtype = ZRINIT;
int32_t Batch;
uint8_t Attn[34];
uint8_t zconv, zmanag, ztrans;
uint8_t Lzmanag;
int32_t Thisbinary;
int32_t Rxascii, Rxbinary;
int32_t gErrorCnt;
uint8_t Pathname[260];
int32_t Modtime, Filemode;
uint8_t Myattn[5];
int32_t Readnum;

const uint8_t canistr[21] = {CAN, CAN, CAN, CAN, CAN, CAN, CAN,
                             CAN, CAN, CAN, 8,   8,   8,   8,
                             8,   8,   8,   8,   8,   8,   0};

static bool gotBlock;   // data of this file have come
static int64_t offered; // its length by the sender, -1 if that isn't known

// ---- small senders ---------------------------------------------------------

void canit()
{
    for (const uint8_t *p = canistr; *p; p++)
        OutCh(sOut, *p);
    Lleft = 0;
}

void zmputs(const uint8_t *s)
{
    // The string is of the sender's making and may rest for half a minute,
    // which a user who has cancelled doesn't want to wait.
    for (; *s; s++) {
        bool rest = !UserCancel;
        if (*s == kBreakMark) {
            if (rest)
                sendbrk();
        } else if (*s == kPauseMark) {
            if (rest)
                zsleep(1);
        } else {
            OutCh(sOut, *s);
            if (rest)
                Delay(2, nullptr);
            (void)XferEvent(0); // the next byte looks for a cancel
        }
    }
}

static void send_header(int16_t type, uint32_t pos)
{
    stohdr(pos);
    zshhdr(type, Txhdr);
}

void ackbibi()
{
    uint8_t c;

    Readnum = 1;
    stohdr(0);
    for (int i = 0; i < 3; i++) {
        purgeline();
        zshhdr(ZFIN, Txhdr);
        if (!TimedRead(sIn, &c, 1, int32_t(cset.xmStartTimeout) * 6))
            continue;
        if ((c & Wcsmask) == 'O') {
            (void)TimedRead(sIn, &c, 1, 6); // the other O, if it comes
            return;
        }
    }
}

// After an abort: waits for the sender to stop, and keeps the tail of what
// came, as the prompt behind it is what the user wants to see.
void swallow_canz()
{
    uint8_t kept[kKeep];
    int32_t k = 0;
    uint32_t start, sent, now;

    GetDateTime(&start);
    sent = start;
    do {
        int16_t n = 100;
        const uint8_t *p = GetBytes(&n);
        if (p) {
            if (k + n > kKeep) {
                int32_t keep = n > 19 ? 0 : std::min(k, int32_t(100));
                memmove(kept, kept + k - keep, size_t(keep));
                k = keep;
            }
            memcpy(kept + k, p, size_t(n));
            k += n;
        } else {
            (void)XferEvent(0); // cancelled already
        }
        GetDateTime(&now);
        if (now - sent > 10) {
            canit();
            sent = now;
        }
        if (now - start > kSwallowMost)
            break;
    } while (int32_t(TickCount()) < LastGetTicks + 60);
    DispChars(kept, int16_t(k));
}

// ---- what to do about a file that exists -----------------------------------

// Protocols whose sender doesn't wait: while the question stands, the clock
// of the transfer goes on, as the data do.
static bool keeps_streaming()
{
    return zprot == 'Z' || zprot == 'B' || Optiong;
}

int16_t whatDO(ConstStr name, int16_t writing)
{
    int16_t item = 0;

    SysBeep(5);
    ParamText(name, nullptr, nullptr, nullptr);
    DialogPtr d = GetNewDialog(kDlgFileExists);
    if (!d)
        return 1;
    while (item < 1 || item > 3)
        ModalDialog(nullptr, &item);
    DisposeDialog(d);
    if (!writing || !keeps_streaming())
        ResetXferTimer();
    return item;
}

// ---- the header block of a file --------------------------------------------

static void file_defaults()
{
    ResetXferTimer();
    zftype = 'B';
    curFCreator = qset.binCreator;
    curFType = qset.binType;
    tFType = qPBN;
    DateMod = DateCreate = 0;
    curFflags = 0;
    fileLock = 0;
    curFork = 'D';
    StartPos = rxbytes = retries = 0;
    dupeAction = 0;
    gotBlock = false;
    offered = -1;
}

// The sender's word on line ends, unless overridden here.
static void judge_conversion()
{
    if (zprot != 'Z')
        zmanag = 0;
    Thisbinary = !(Rxascii && !Rxbinary);
    if (Lzmanag)
        zmanag = Lzmanag;
    if (!Rxbinary && zconv == ZCNL)
        Thisbinary = 0;
    if (!Rxbinary && zconv == ZCBIN)
        Thisbinary = 1;
    zftype = Thisbinary == 1 ? 'B' : 'T';
}

// A name that is no name for a file: nothing, or a folder's own.
static bool no_name(const uint8_t *name, size_t length)
{
    return length == 0 || (length == 1 && name[0] == '.') ||
           (length == 2 && name[0] == '.' && name[1] == '.');
}

static void take_name(uint8_t *name, size_t length)
{
    FitName(name, int32_t(length));
    length = std::min(length, size_t(kMostName));
    // One less than could stay: a cut name leaves room for a mark behind it.
    if (length > kNameMax)
        length = kNameCut;
    zRcvName[0] = uint8_t(length);
    memcpy(zRcvName + 1, name, length);
    needName = 0;
}

// A length of more digits than any file has counts as the longest.
static const char *take_length(const char *text)
{
    int32_t unused; // it wraps at 32 bits
    const char *end = atolp(text, &unused);

    while (*text == ' ')
        text++;
    if (*text < '0' || *text > '9')
        return end;
    for (offered = 0; text < end; text++)
        offered = std::min<int64_t>(offered * 10 + (*text - '0'), kTooLong);
    if (offered > 0 && offered < kTooLong)
        TotalBytes = Bytesleft = int32_t(offered);
    return end;
}

// Length, date and mode behind the name's NUL.
static void take_figures(const char *text)
{
    text = take_length(text);
    if (!*text)
        return;
    text = atoop(text, &Modtime);
    if (uint32_t(Modtime) > uint32_t(kOldestTime)) {
        DateMod = date_from_unix(uint32_t(Modtime));
        DateCreate = DateMod;
    }
    if (!*text)
        return;
    (void)atoop(text, &Filemode);
    if (Filemode & 0x8000)
        Thisbinary++;
}

// The sender's rule for a file that exists: 3 overwrite, 2 skip, 0 no rule.
static uint8_t management(const CatInfo &local)
{
    bool older = local.modified < DateMod;
    bool shorter = local.dataLen < TotalBytes;

    switch (zmanag & 31) {
    case 1:
        return older || shorter ? 3 : 2;
    case 2:
        return shorter ? 3 : 2;
    case 4:
        return 3;
    case 5:
        return older ? 3 : 2;
    case 6:
        return local.modified == DateMod && local.dataLen == TotalBytes ? 2 : 3;
    case 7:
        return 2;
    }
    return 0;
}

// Whether a file of the name exists, and if so what to do. -1: skip.
static int32_t check_duplicate()
{
    CatInfo local;

    if (!InRcvFolder(zRcvName, &local))
        return 0;
    if (zprot == 'Z')
        dupeAction = management(local);
    if (dupeAction == 0)
        dupeAction = uint8_t(whatDO(zRcvName, 0));
    if (dupeAction != 2)
        return 0;
    zprtstat("File exists, Skipped");
    return -1;
}

static int32_t check_room()
{
    if (offered <= 0)
        return 0;
    int64_t room = RcvRoom();
    if (room >= 0 && int64_t(Bytesleft) - StartPos + kSpare > room) {
        zprtstat("Not enough disk space, Skipped.");
        return -1;
    }
    Bytesleft = std::max(Bytesleft - StartPos, 0);
    return 0;
}

int32_t procheader(uint8_t *name)
{
    size_t length = strnlen(reinterpret_cast<char *>(name), kHeaderBlock);
    bool named = !no_name(name, length);

    file_defaults();
    judge_conversion();
    if (zprot == 'Z') {
        zerchk = Crc32 == BIN32 ? 4 : 2;
        zecheck();
    }
    if (named)
        take_name(name, length);
    else if (zprot == 'Z')
        MakeUnique(zRcvName, PSTR("ZRcv "), zRcvVol);
    pstrcpy(zRcvMBName, zRcvName);

    Filemode = Modtime = 0;
    TotalBytes = Bytesleft = kUnknownSize;
    if (length > 0 && name[length + 1])
        take_figures(reinterpret_cast<char *>(name) + length + 1);
    if (offered == kTooLong) {
        zprtstat("File is too long, Skipped.");
        return -1;
    }

    // Every ZMODEM file is looked up among the partial ones, whether the
    // sender asks for it or not. One without a name has none, and an empty one
    // is no longer than any.
    if (zprot == 'Z') {
        if (named && offered != 0 && CheckForResume())
            zconv = ZCRESUM;
        else if (zconv == ZCRESUM)
            zconv = 0;
    }
    if (zconv != ZCRESUM && check_duplicate() != 0)
        return -1;

    zitem(kItemStatusName, zRcvName);
    zvolume(zRcvVol, zRcvDirID);
    zprog(0, TotalBytes);
    if (check_room() != 0)
        return -1;
    memcpy(Pathname, zRcvName + 1, zRcvName[0]);
    Pathname[zRcvName[0]] = 0;
    return 0;
}

bool came_short()
{
    return rxbytes < offered;
}

// ---- waiting for the sender ------------------------------------------------

// A subpacket of text into gSecBuf, with zeros behind it. The result is that
// of zrdata.
static int32_t read_text_block()
{
    int32_t result = zrdata(gSecBuf, kHeaderBlock);

    gSecBuf[Rxcount] = 0;
    gSecBuf[Rxcount + 1] = 0;
    return result;
}

// Software flow control during file data, where no hardware does it.
static void flow_for_data()
{
    int16_t flags = cset.flowFlags & kFlowHard;

    if (!(cset.flowFlags & kFlowRTS))
        flags |= kFlowXonIn;
    SetFlow(flags);
}

static void take_attention()
{
    Zctlesc = Rxhdr[ZF0] & ESCCTL;
    int32_t result = zrdata(Attn, 32);
    Attn[Rxcount] = 0;
    if (result == GOTCRCW)
        send_header(ZACK, 1);
    else
        zshhdr(ZNAK, Txhdr);
}

// A command for this side's shell is acknowledged as done, and not run.
static void answer_command()
{
    gErrorCnt = 0;
    stohdr(0);
    purgeline();
    do {
        zshhdr(ZCOMPL, Txhdr);
        if (++gErrorCnt > 19 || UserCancel)
            break;
    } while (zgethdr(Rxhdr, 1) != ZFIN);
    ackbibi();
}

static void answer_free_count()
{
    int64_t room = std::clamp<int64_t>(RcvRoom(), 0, 0xFFFFFFFF);
    send_header(ZACK, uint32_t(room));
}

constexpr int32_t kReadOn = -10;  // another header of the same attempt
constexpr int32_t kAttempt = -11; // the next attempt

// One header of tryz: its result, kReadOn or kAttempt.
static int32_t start_header(int32_t type)
{
    switch (type) {
    case ZSINIT:
        take_attention();
        return kReadOn;
    case ZFILE:
        zconv = Rxhdr[ZF0];
        zmanag = Rxhdr[ZF1];
        ztrans = Rxhdr[ZF2];
        tryzhdrtype = ZRINIT;
        ResetXferTimer();
        flow_for_data();
        if (read_text_block() == GOTCRCW)
            return ZFILE;
        zshhdr(ZNAK, Txhdr);
        return kReadOn;
    case ZFIN:
        ackbibi();
        return ZCOMPL;
    case ZCOMPL:
        return kReadOn;
    case ZCAN:
        return ERROR;
    case ZFREECNT:
        answer_free_count();
        return kReadOn;
    case ZCOMMAND:
        if (read_text_block() == GOTCRCW) {
            answer_command();
            return ZCOMPL;
        }
        zshhdr(ZNAK, Txhdr);
        return kReadOn;
    }
    return kAttempt;
}

int32_t tryz()
{
    if (Nozmodem)
        return 0;
    int attempts = Zmodem ? kAttemptsHeard : kAttempts;

    for (int i = 0; i < attempts; i++) {
        stohdr(0);
        Txhdr[ZF0] = CANFC32 | CANFDX | CANOVIO | CANBRK;
        if (Zctlesc)
            Txhdr[ZF0] |= ESCCTL;
        zshhdr(int16_t(tryzhdrtype), Txhdr);
        if (tryzhdrtype == ZSKIP)
            tryzhdrtype = ZRINIT;

        int32_t result = kReadOn;
        while (result == kReadOn && !UserCancel)
            result = start_header(zgethdr(Rxhdr, 2));
        if (UserCancel && result != ZCOMPL)
            break;
        if (result != kAttempt)
            return result;
    }
    return 0;
}

// ---- one file --------------------------------------------------------------

// The user cancelled.
static int32_t abort_file()
{
    zmputs(Attn);
    (void)closeit();
    send_header(ZABORT, 0);
    (void)zgethdr(Rxhdr, 0);
    canit();
    swallow_canz();
    return ERROR;
}

// This side can't go on with the file, and the sender doesn't know.
static int32_t refuse_file()
{
    canit();
    swallow_canz();
    return ERROR;
}

// The sender has no more of this file. ZEOF, ZSKIP or -1.
static int32_t end_file()
{
    if (came_short()) {
        zprtstat("File is shorter than its length.");
        (void)closeit(); // it shows its own errors
        gSkippedFiles++;
        tryzhdrtype = ZSKIP;
        return ZSKIP;
    }
    gotEOF = 1;
    // An empty file may come without any data at all.
    if (!gotBlock && rxbytes == 0 && zWriteData(0, gSecBuf, 0) != 0)
        gotEOF = 0;
    if (closeit() != 0 || !gotEOF) {
        tryzhdrtype = ZFERR;
        return refuse_file();
    }
    zprog(rxbytes, TotalBytes);
    gWholeFiles++;
    return ZEOF;
}

// Puts the subpacket in gSecBuf into the file. 0 or -1.
static int32_t write_subpacket()
{
    if (int64_t(rxbytes) + Rxcount > 0x7FFFFFFF) {
        zprtstat("File is too long.");
        return ERROR;
    }
    // Without data there is nothing to judge the file by; it would be made, and
    // the next subpacket would find it in its way.
    if (Rxcount == 0)
        return 0;
    gotBlock = true;
    if (zWriteData(rxbytes, gSecBuf, int16_t(Rxcount)) != 0)
        return ERROR;
    rxbytes += Rxcount;
    return 0;
}

//  step    what comes                        next
//  ASK     (sends ZRPOS)                     HEADER
//  HEADER  ZDATA at our place                DATA
//          ZEOF at our place                 done
//          anything it may recover from      ASK or HEADER
//  DATA    ZCRCG, ZCRCQ                      DATA
//          ZCRCE, ZCRCW                      HEADER
//          error, time-out                   ASK
enum class step { ask, header, block, done };

struct file_run {
    step next;
    int32_t budget; // errors still allowed at this place
    int32_t result; // when next is done
};

static void finish(file_run &run, int32_t result)
{
    run.next = step::done;
    run.result = result;
}

// One more error. False when there were too many.
static bool spend(file_run &run)
{
    if (--run.budget >= 0)
        return true;
    finish(run, ERROR);
    return false;
}

static void header_step(file_run &run)
{
    if (Verbose > 2)
        zmsgnum(kItemStatusStatus, "calling zgethdr, rxb = ", rxbytes);
    int32_t type = zgethdr(Rxhdr, 0);
    if (UserCancel) {
        run.next = step::block; // which sees the cancel first
        return;
    }
    switch (type) {
    case ZNAK:
    case TIMEOUT:
        if (!spend(run))
            return;
        (void)zrdata(gSecBuf, kHeaderBlock); // it leads nowhere
        run.next = step::ask;
        return;
    case ERROR:
        if (!spend(run))
            return;
        zmputs(Attn);
        inc_retry();
        zmsgnum(kItemStatusStatus, "Hdr CRC error, @ ", rxbytes);
        run.next = step::ask;
        return;
    case ZFILE:
        (void)zrdata(gSecBuf, kHeaderBlock); // the same block once more
        run.next = step::ask;
        return;
    case ZSKIP:
        (void)closeit();
        zprtstat("Sender SKIPPED file");
        gSkippedFiles++;
        finish(run, ZSKIP);
        return;
    case ZDATA:
        if (Rxpos == rxbytes) {
            run.next = step::block;
        } else if (spend(run)) {
            zmputs(Attn);
            run.next = step::ask;
        }
        return;
    case ZEOF:
        if (Rxpos == rxbytes)
            finish(run, end_file());
        else
            gErrorCnt = 0; // it may have left before our ZRPOS: wait on
        return;
    }
    finish(run, ERROR);
}

// The subpacket is good: into the file with it, and on.
static void take_data(file_run &run, int32_t frameend)
{
    if (write_subpacket() != 0) {
        finish(run, refuse_file());
        return;
    }
    run.budget = kRetries;
    switch (frameend) {
    case GOTCRCE:
        run.next = step::header;
        break;
    case GOTCRCQ:
        send_header(ZACK, uint32_t(rxbytes));
        break;
    case GOTCRCW:
        send_header(ZACK, uint32_t(rxbytes));
        OutCh(sOut, XON);
        run.next = step::header;
        break;
    }
}

static void data_step(file_run &run)
{
    zprog(rxbytes, TotalBytes);
    if (UserCancel) {
        finish(run, abort_file());
        return;
    }
    if (Verbose > 2)
        zmsgnum(kItemStatusStatus, "calling zrdata, rxb = ", rxbytes);
    int32_t result = zrdata(gSecBuf, kMostData);
    if (UserCancel)
        return;
    switch (result) {
    case GOTCRCE:
    case GOTCRCG:
    case GOTCRCQ:
    case GOTCRCW:
        take_data(run, result);
        return;
    case ZCAN:
        zprtstat("Cancelled by sender.");
        finish(run, ERROR);
        return;
    case TIMEOUT:
        if (!spend(run)) {
            zprtstat("Too many timeouts.");
            return;
        }
        break;
    case ERROR:
        if (!spend(run)) {
            zmsgnum(kItemStatusStatus, "rzfile: zgethdr ret ", ERROR);
            zprtstat("Too many errors.");
            return;
        }
        zmputs(Attn);
        inc_retry();
        zmsgnum(kItemStatusStatus, "Data CRC error, @ ", rxbytes);
        break;
    }
    run.next = step::ask;
}

int32_t rzfile()
{
    Eofseen = 0;
    StartPos = 0;
    gotEOF = 0;
    if (procheader(gSecBuf) == -1) {
        rxbytes = StartPos; // a partial copy goes back to being one
        (void)closeit();
        gSkippedFiles++;
        tryzhdrtype = ZSKIP;
        return ZSKIP;
    }
    rxbytes = StartPos;
    retries = 0;
    show_retry();

    file_run run = {step::ask, kRetries, ERROR};
    while (run.next != step::done) {
        switch (run.next) {
        case step::ask:
            send_header(ZRPOS, uint32_t(rxbytes));
            run.next = step::header;
            break;
        case step::header:
            header_step(run);
            break;
        case step::block:
            data_step(run);
            break;
        case step::done:
            break;
        }
    }
    return run.result;
}

int32_t rzfiles()
{
    for (;;) {
        int32_t result = rzfile();
        if (result != ZSKIP && result != ZEOF)
            return ERROR;
        result = tryz();
        if (result == ZCOMPL)
            return 0;
        if (result != ZFILE)
            return ERROR;
    }
}

// ---- a whole transfer ------------------------------------------------------

static int32_t receive_x()
{
    (void)VerifyRcvVol(); // a missing folder shows when the file is made
    MakeUnique(zRcvName, PSTR("ZRcv "), zRcvVol);
    zshow();
    needName = 1;
    TotalBytes = Bytesleft = kUnknownSize;
    DateMod = 0;
    uint8_t none[2] = {0, 0};
    (void)procheader(none); // without a name there is nothing to skip for
    return wcrx();
}

static int32_t receive_y()
{
    (void)VerifyRcvVol();
    // What is reported before the first name is about no file.
    zRcvName[0] = zRcvMBName[0] = 0;
    zshow();
    for (;;) {
        retries = 0;
        if (wcrxpn(gSecBuf) == ERROR)
            return ERROR;
        if (gSecBuf[0] == 0)
            return 0;
        if (procheader(gSecBuf) == -1) {
            gSkippedFiles++;
            return ERROR;
        }
        if (wcrx() == ERROR)
            return ERROR;
    }
}

static int32_t receive_z()
{
    (void)VerifyRcvVol();
    zshow();
    int32_t result = tryz();
    if (result == ZCOMPL)
        return 0;
    return result == ERROR ? ERROR : rzfiles();
}

// "*" and CAN came. The rest of a hex ZRQINIT, or anything else?
static bool start_follows()
{
    uint8_t c;

    return TimedRead(sIn, &c, 1, 30) && c == HEX16 && zrhhdr(Rxhdr) == ZRQINIT;
}

static void start_state()
{
    Batch = 1;
    Rxtimeout = int16_t(cset.rzTimeout * 10);
    UserCancel = 0;
    needName = 0;
    Optiong = 0;
    tryzhdrtype = ZRINIT;
    Crcflg = cset.xferFlags & kXferChecksum ? 0 : 1;
    zerchk = Crcflg ? 2 : 1;
    Zctlesc = cset.zFlags & 1;
    Crc32 = 0;
    Attn[0] = 0;
    retries = 0;
    zconv = 0;
    zdir = 'R';
    gWholeFiles = gSkippedFiles = 0;
    gSecBuf[0] = gSecBuf[1] = 0;
}

int16_t rz(int16_t mode)
{
    bool started = mode != kModeAuto;

    if (AllocXferBuf(kXferBuf) < kXferBuf)
        return 7;
    start_state();
    SetFlow(cset.flowFlags & kFlowHard);
    if (started)
        xfer_port(0);
    if (mode == kModeG) {
        Optiong = 1;
        flow_for_data();
        mode = kModeY;
    } else if (mode == kModeAuto && start_follows()) {
        mode = kModeZ;
        started = true;
        xfer_port(0); // twice would save the eight bits as the line's own
    }
    zprot = mode;

    int32_t result = ERROR;
    if (mode == kModeX)
        result = receive_x();
    else if (mode == kModeY)
        result = receive_y();
    else if (mode == kModeZ)
        result = receive_z();

    if (result != 0 && started && mode != kModeZ)
        canit();
    if (closeit() != 0)
        result = ERROR;
    if (started) {
        if (!UserCancel && !PlaySound(kStrSoundDone))
            SysBeep(3);
        zsleep(1);
        zrmv();
    }
    SetFlow(cset.flowFlags);
    if (started)
        xfer_port(1);
    UserCancel = 0; // what comes next runs whole
    return result == 0 ? 0 : 7;
}
