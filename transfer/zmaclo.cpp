// The received-file writer.

#include "transfer/zmaclo.h"

#include "base/Program.h"
#include "base/chars.h"
#include "base/facts.h"
#include "base/pstr.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "resources/names.h"
#include "transfer/MacBinary.h"
#include "transfer/Names.h"
#include "transfer/Partial.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zmacloParts.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cassert>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kFlagsKept = 0xBEFE; // Finder flags that may come from afar
constexpr int kNameMax = 31;
constexpr int32_t kFileBuf = 1200;    // bytes of text converted at a time
constexpr int kOddBytes = 10;         // so many are no text for anybody
constexpr int16_t kOpensFiles = 1791; // sysVers up to this opens nothing

// ---- state -----------------------------------------------------------------

Str255 zRcvName;
Str255 zRcvMBName;
int16_t zRcvRef;
int32_t zftype;
OSType tFType;
OSType curFCreator, curFType;
int32_t curFflags;
uint8_t curFork = 'D';
int16_t fileLock;
uint8_t mbHeader[kMacBinHeader];
int32_t sPartialMacBin;
uint8_t lastc;
int32_t Eofseen;
uint8_t dupeAction;
int32_t op_xconv = 'S';

file_work work;

static uint8_t *filebuf;  // kFileBuf bytes, made at the first use
static int32_t streamPos; // of the next byte to be written

// ---- forks of the MacBinary file that comes --------------------------------
// The resource fork comes when nothing of the data fork is left.
static int32_t dforklen, rforklen;   // by the header
static int32_t dforkleft, rforkleft; // still to come
static int32_t dSkip; // padding behind the data fork, still to be dropped

bool writer_ok()
{
    if (sPartialMacBin < 0 || sPartialMacBin >= kMacBinHeader || dSkip < 0 ||
        dSkip >= kMacBinHeader)
        return false; // what is held, and what is dropped, is less than a block
    if (zRcvRef == 0 && inbufCount != 0)
        return false; // bytes for no file
    if (curFork != 'D' && curFork != 'R')
        return false;
    if (work.begun && zftype == 'M' &&
        (dforkleft < 0 || dforkleft > dforklen || rforkleft > rforklen ||
         (curFork == 'R' && dforkleft > 0)))
        return false;
    if (!work.begun)
        return !work.hasData && !work.shortOfStream && work.written.pos == 0;
    return work.wasBefore.pos <= work.written.pos || work.written.pos == 0;
}

// ---- judging the first block -----------------------------------------------

static bool odd_in_text(uint8_t c)
{
    return c < ' ' && c != EOT && (c < kBS || c > kLF) && c != kFF &&
           c != kCR && c != kCtrlZ && c != kESC;
}

int16_t IsText(const uint8_t *buf, int32_t len)
{
    auto odd = std::count_if(buf, buf + std::max<int32_t>(len, 0), odd_in_text);
    return odd == 0 || zconv == ZCNL || (odd < kOddBytes && op_xconv == 'T');
}

// The stream goes on inside the image, at StartPos: what is left of the forks.
static void set_forks_left(int32_t dblk)
{
    dforkleft = dforklen;
    rforkleft = rforklen;
    if (StartPos == 0)
        return;
    int64_t left = int64_t(dforklen) - StartPos + kMacBinHeader;
    dforkleft = int32_t(std::clamp<int64_t>(left, 0, dforklen));
    if (left > 0)
        return;
    // Behind the data: within its padding the rest of that comes first.
    int64_t rest = int64_t(dblk) + kMacBinHeader - StartPos;
    if (rest > 0)
        dSkip = int32_t(rest);
    else
        rforkleft = int32_t(rforklen + rest);
}

// A MacBinary header has come.
static void start_macbinary(const uint8_t *bytes)
{
    mac_header h;

    memmove(mbHeader, bytes, kMacBinHeader); // it may stand there already
    read_mac_header(mbHeader, &h);
    zftype = 'M';
    tFType = qPMB;
    curFType = h.info.fdType;
    curFCreator = h.info.fdCreator;
    if (h.created > kUnixIn1904)
        DateCreate = h.created;
    if (h.modified > kUnixIn1904)
        DateMod = h.modified;

    dforklen = h.dataLen;
    rforklen = h.rsrcLen;
    int32_t dblk = padded(dforklen, kPadMaskIn);
    int32_t rblk = padded(rforklen, kPadMaskIn);
    set_forks_left(dblk);
    TotalBytes = dblk + rblk + kMacBinHeader;
    Bytesleft = std::max(TotalBytes - StartPos, 0);

    int n = std::min<int>(h.name[0], kNameMax);
    zRcvMBName[0] = uint8_t(n);
    memcpy(zRcvMBName + 1, h.name + 1, size_t(n));
    FitName(zRcvMBName + 1, n); // the sender has chosen this one, too
    zitem(kItemStatusName, zRcvMBName);
    needName = 0;

    fileLock = h.locked;
    curFflags = h.info.fdFlags & kFlagsKept;
    curFork = dforkleft <= 0 ? 'R' : 'D';
}

// ---- making the file -------------------------------------------------------

// A file of the name exists. 0 to go on, -1 to skip the new one.
static int32_t settle_duplicate()
{
    if (dupeAction == 0)
        dupeAction = uint8_t(whatDO(zRcvMBName, 1));
    switch (dupeAction) {
    case 3:
        zprtstat("Exists, overwriting");
        // If it can't go, creating the new one fails and shows why.
        (void)HDelete(zRcvVol, zRcvDirID, zRcvMBName);
        return 0;
    case 2:
        zprtstat("File exists, Skipped");
        return -1;
    default:
        UniqueName(zRcvMBName, zRcvVol);
        zitem(kItemStatusName, zRcvMBName);
        zprtstat("File exists, using new name");
        return 0;
    }
}

static int32_t make_file()
{
    CatInfo info;

    if (InRcvFolder(zRcvMBName, &info)) {
        int32_t err = settle_duplicate();
        if (err)
            return err;
    }
    OSErr err = HCreate(zRcvVol, zRcvDirID, zRcvMBName, curFCreator, curFType);
    if (err != noErr)
        return err;
    work = {};
    work.begun = true;
    return partial_is_open() ? start_behind_part() : OSErr(noErr);
}

// What stands at the start of the data decides what the file is. `buf` and
// `len` lose a MacBinary header. 0, an error, or -1 to skip the file.
static int32_t first_block(const uint8_t *&buf, int32_t &len)
{
    if (len >= kMacBinHeader && op_xconv != 'B' && IsMacBin(buf)) {
        start_macbinary(buf);
        buf += kMacBinHeader;
        len -= kMacBinHeader;
        streamPos += kMacBinHeader;
    } else if (IsText(buf, len)) {
        tFType = qPTX;
        curFCreator = textcreator;
        curFType = FOUR("TEXT");
        zftype = op_xconv == 'B' ? 'B' : 'T';
    } else if (BinTypeCheck(buf, len, zRcvMBName, &curFCreator, &curFType)) {
        ztype();
    }
    lastc = 0;
    Eofseen = 0;
    return zconv == ZCRESUM ? 0 : make_file();
}

// ---- writing ---------------------------------------------------------------

OSErr open_fork()
{
    OSErr err =
        curFork == 'R'
            ? HOpenRF(zRcvVol, zRcvDirID, zRcvMBName, fsRdWrPerm, &zRcvRef)
            : HOpen(zRcvVol, zRcvDirID, zRcvMBName, fsWrPerm, &zRcvRef);
    if (err != noErr) {
        zRcvRef = 0;
        zprterr(err, " in open");
        return err;
    }
    (void)SetFPos(zRcvRef, fsFromLEOF, 0); // the end of an open file exists
    ztype();
    return noErr;
}

void close_fork()
{
    if (zRcvRef != 0)
        (void)FSClose(zRcvRef);
    zRcvRef = 0;
}

static OSErr flush()
{
    return zRcvRef != 0 ? fbWrite(zRcvRef, 0, nullptr) : OSErr(noErr);
}

// The disk holds the stream up to `pos`.
static void note_written(int32_t pos, bool afterCR)
{
    int32_t length;

    if (pos <= work.written.pos || GetEOF(zRcvRef, &length) != noErr)
        return;
    work.wasBefore = work.written;
    if (curFork == 'R')
        work.written = {pos, dforklen, length, false};
    else
        work.written = {pos, length, 0, afterCR};
}

// Writes the `count` bytes that `used` bytes of the stream become. `afterCR`:
// the byte before them was CR.
static OSErr write_piece(int32_t used, int32_t count, const uint8_t *data,
                         bool afterCR)
{
    const int32_t held = inbufCount;

    if (count > 0) {
        work.hasData = true;
        OSErr err = fbWrite(zRcvRef, count, data);
        if (err != noErr)
            return err;
        if (inbufCount == count && held > 0)
            note_written(streamPos, afterCR); // it made room for this piece
        else if (inbufCount == 0)
            note_written(streamPos + used, lastc == kCR);
    }
    streamPos += used;
    return noErr;
}

// Text: line ends become CR, NUL goes, Ctrl-Z ends the block. A piece of it is
// converted and written; `len` falls by what was used.
static OSErr write_text(const uint8_t *&buf, int32_t &len)
{
    const bool afterCR = lastc == kCR;
    const int32_t used = std::min(len, kFileBuf);
    bool ended = false;
    int32_t n = 0;

    for (int32_t i = 0; i < used && !ended; i++) {
        uint8_t c = buf[i];
        ended = c == kCtrlZ;
        // CR, LF, LF is one line end, as lastc stays CR.
        if (ended || c == 0 || (c == kLF && lastc == kCR))
            continue;
        filebuf[n++] = c == kLF ? kCR : c;
        lastc = c;
    }
    Eofseen |= ended;
    buf += used;
    len = ended ? 0 : len - used;
    return write_piece(used, n, filebuf, afterCR);
}

// The data fork is complete: the next pass opens the resource fork.
static OSErr leave_data_fork()
{
    OSErr err = flush();
    if (err == noErr)
        note_written(streamPos, false);
    curFork = 'R';
    OSErr closed = FSClose(zRcvRef);
    zRcvRef = 0;
    return err != noErr ? err : closed;
}

// MacBinary: bytes for the fork in work. `len` falls by what was used.
static OSErr write_fork(const uint8_t *&buf, int32_t &len)
{
    int32_t &left = curFork == 'D' ? dforkleft : rforkleft;
    const int32_t n = std::clamp<int32_t>(left, 0, len);

    if (curFork == 'D' && len >= dforkleft)
        dSkip = padding(dforklen);
    OSErr err = write_piece(n, n, buf, false);
    left -= n;
    buf += n;
    len -= n;
    if (left > 0 || err != noErr)
        return err;
    if (curFork == 'R' || rforkleft <= 0) {
        len = 0; // nothing but padding is left
        dSkip = 0;
        return noErr;
    }
    return leave_data_fork();
}

static OSErr write_some(const uint8_t *&buf, int32_t &len)
{
    if (zftype == 'M')
        return write_fork(buf, len);
    if (zftype == 'T')
        return write_text(buf, len);
    const int32_t n = len;
    len = 0;
    return write_piece(n, n, buf, false);
}

static OSErr write_block(const uint8_t *buf, int32_t len)
{
    OSErr err = noErr;

    while (len > 0 && err == noErr) {
        if (dSkip > 0) {
            int32_t n = std::min(dSkip, len);
            dSkip -= n;
            streamPos += n;
            buf += n;
            len -= n;
            continue;
        }
        if (zRcvRef == 0)
            err = open_fork();
        if (err == noErr)
            err = write_some(buf, len);
    }
    return err;
}

// A first block that is too short to judge, or what comes behind one.
enum class hold { pass, held, joined, failed };

static hold hold_short(int32_t pos, const uint8_t *&buf, int32_t &len,
                       Ptr &joined)
{
    if (pos == 0 && len > 0 && len < kMacBinHeader && buf[0] == 0) {
        memcpy(mbHeader, buf, size_t(len));
        sPartialMacBin = len;
        return hold::held;
    }
    if (sPartialMacBin <= 0)
        return hold::pass;
    if (len > 0 && sPartialMacBin + len < kMacBinHeader) {
        memcpy(mbHeader + sPartialMacBin, buf, size_t(len));
        sPartialMacBin += len;
        return hold::held;
    }
    // A header is copied to mbHeader while the block is used, so the block
    // needs a place of its own.
    joined = NewPtr(sPartialMacBin + len);
    if (!joined) {
        sPartialMacBin = 0;
        return hold::failed;
    }
    memcpy(joined, mbHeader, size_t(sPartialMacBin));
    if (len > 0)
        memcpy(joined + sPartialMacBin, buf, size_t(len));
    buf = joined;
    len += sPartialMacBin;
    sPartialMacBin = 0;
    return hold::joined;
}

int32_t zWriteData(int32_t pos, const uint8_t *block, int16_t length)
{
    const uint8_t *buf = block;
    int32_t len = std::max<int32_t>(length, 0);
    int32_t err = noErr;
    Ptr joined = nullptr;

    if (!filebuf)
        filebuf = NewPtr(kFileBuf);
    if (!filebuf)
        return memFullErr;
    if (pos == 0) {
        dSkip = 0;
        sPartialMacBin = 0;
    }
    switch (hold_short(pos, buf, len, joined)) {
    case hold::held:
        return noErr;
    case hold::failed:
        err = MemError();
        break;
    case hold::joined:
        pos = 0;
        break;
    case hold::pass:
        break;
    }
    streamPos = pos;
    if (err == noErr && pos == 0)
        err = first_block(buf, len);
    if (err == noErr)
        err = write_block(buf, len);
    if (err != noErr && err != -1)
        zprterr(OSErr(err), " in zWriteData");
    work.shortOfStream |= err != noErr && work.begun;
    if (joined)
        DisposePtr(joined);
    assert(writer_ok());
    return err;
}

// ---- the end of a file -----------------------------------------------------

void set_catalog(OSType type, Point note)
{
    CatInfo info;

    OSErr err = GetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
    if (err != noErr) {
        zprterr(err, " in GetFInfo ");
        return;
    }
    if (type != 0)
        info.info.fdType = type;
    info.info.fdFlags = uint16_t(curFflags);
    info.info.fdLocation = note;
    if (DateMod != 0) {
        info.modified = DateMod;
        info.created = DateCreate;
    }
    info.locked = gotEOF && zftype == 'M' && fileLock;
    err = SetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
    if (err != noErr)
        zprterr(err, " in SetFInfo");
    err = FlushVol(zRcvVol);
    if (err != noErr)
        zprterr(err, " in FlushVol");
}

// Whether the file stands under its name with what was written: meanwhile
// somebody may have removed it, or the whole folder.
static OSErr look_at_place()
{
    CatInfo info;
    int32_t length;

    OSErr err = GetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
    if (err != noErr || zRcvRef == 0)
        return err;
    if (!info.dataForkOpen)
        return fnfErr; // another file of that name
    err = GetEOF(zRcvRef, &length);
    if (err == noErr &&
        length != (curFork == 'R' ? info.rsrcLen : info.dataLen))
        return fnfErr;
    return err;
}

enum class verdict {
    whole,
    part, // it stays as a partial file
    gone, // it is no longer where it was made
};

// What has become of the file. What isn't on the disk hasn't been received,
// and an error is shown and left in `err`.
static verdict judge(OSErr *err)
{
    *err = flush();
    if (*err != noErr) {
        work.shortOfStream = true;
        zprterr(*err, " in zWriteData");
        return verdict::part;
    }
    if (!gotEOF || partial_is_open())
        return verdict::part; // or the data are in another file than this one
    *err = look_at_place();
    if (*err != noErr) {
        zprterr(*err, " during close");
        return verdict::gone;
    }
    if (zftype == 'M' && (dforkleft > 0 || rforkleft > 0))
        return verdict::part;
    *err = zRcvRef != 0 ? FSClose(zRcvRef) : OSErr(noErr);
    zRcvRef = 0;
    if (*err == noErr)
        return verdict::whole;
    work.shortOfStream = true;
    zprterr(*err, " during close");
    return verdict::part;
}

// Nothing of a file is left in work.
static void file_over()
{
    close_fork();
    work = {};
    sPartialMacBin = 0;
    dSkip = 0;
    forget_part();
    assert(writer_ok());
}

static void report()
{
    FSSpec spec;

    if (rxbytes > StartPos)
        zperf(zRcvMBName, start_ticks, int32_t(TickCount()), rxbytes - StartPos,
              'R');
    if (gotEOF && sysVers > kOpensFiles &&
        FSMakeFSSpec(zRcvVol, zRcvDirID, zRcvMBName, &spec) == noErr)
        (void)DoAutoOpen(&spec); // it shows its own errors
}

int32_t closeit()
{
    OSErr err = noErr;

    if (sPartialMacBin != 0 && zWriteData(rxbytes, mbHeader, 0) != 0)
        gotEOF = 0;
    if (!work.begun) {
        file_over(); // a partial that nothing was added to may be open
        return 0;
    }
    const verdict v = judge(&err);
    gotEOF = v == verdict::whole;
    if (v == verdict::whole)
        set_catalog(0, {0, 0});
    else if (v == verdict::part)
        keep_partial();
    TouchDir(zRcvVol, zRcvDirID);
    (void)FlushVol(zRcvVol); // set_catalog shows its error
    file_over();
    report();
    return err == noErr ? 0 : -1;
}
