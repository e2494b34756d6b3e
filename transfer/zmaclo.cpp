// The received-file writer, and the search for a partial copy to go on with.

#include "transfer/zmaclo.h"

#include "base/facts.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "resources/names.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kHeaderLen = 128;    // of MacBinary; also its padding
constexpr int32_t kTrailerLen = 4;     // of partial text: the stream position
constexpr int kPosOffset = 112;        // of that position in the header
constexpr int32_t kPadMask = 0xFFFF80; // 24 bits, as the first peers had it
constexpr int32_t kFlagsKept = 0xBEFE; // Finder flags that may come from afar
constexpr uint8_t kMacBinaryII = 128;  // versions above this are MacBinary II
constexpr int kNameMax = 31;
constexpr int32_t kFileBuf = 1200; // holds any block, converted or joined

// ---- state -----------------------------------------------------------------

Str255 zRcvName;
Str255 zRcvMBName;
int16_t zRcvRef;
int32_t zftype;
OSType tFType;
OSType curFCreator, curFType;
int32_t curFflags;
uint8_t curFork;
int16_t fileLock;
uint8_t mbHeader[kHeaderLen];
uint8_t MacBin2;
int32_t sPartialMacBin;
uint8_t lastc;
int32_t Eofseen;
uint8_t dupeAction;
int32_t op_xconv = 'S';
OSType textcreator = FOUR("ttxt");

static uint8_t *filebuf; // kFileBuf bytes, made at the first use

// ---- forks of the MacBinary file that comes --------------------------------
static int32_t dforklen, rforklen;   // by the header
static int32_t dforkleft, rforkleft; // still to come
static int32_t dSkip; // padding behind the data fork, still to be dropped

// ---- the file in work ------------------------------------------------------
// A file is begun when it has been made, or found as a partial copy to go on
// with; it then bears its final name until closeit, though no fork need be
// open.
static bool begun;
static bool hasData;       // it holds bytes of this or an earlier transfer
static bool shortOfStream; // a write failed: the disk lacks some of it
static bool strayRef;      // zRcvRef is a partial that isn't resumed
static int32_t blockPos;   // stream position of the block in work
static int32_t brokeAt;    // lastc is that of a text broken here; 0: of none

// A state of the file from which a transfer can go on: what had come, up to a
// position of the stream, is on the disk. Of text and MacBinary the length of
// the file doesn't tell that position. 0: there is none.
struct safe_state {
    int32_t pos;
    int32_t data, rsrc; // lengths of the forks
};
static safe_state found;   // the partial copy, as it was
static safe_state written; // after the last write that went well

// ---- judging the first block -----------------------------------------------

template <typename T> static T native(const uint8_t *at)
{
    T value;
    memcpy(&value, at, sizeof value);
    return value;
}

int16_t IsMacBin(const uint8_t *h)
{
    MacBin2 = 0;
    if (h[0] != 0 || h[74] > 1 || h[82] != 0 || h[1] < 1 || h[1] > 63 ||
        h[83] != 0 || h[87] != 0)
        return 0;
    if (int64_t(native<int32_t>(h + 83)) + native<int32_t>(h + 87) <= 0)
        return 0;
    if (std::any_of(h + 2, h + 2 + h[1], [](uint8_t c) { return c < 32; }))
        return 0;
    if (h[122] > kMacBinaryII && h[123] > kMacBinaryII) {
        if (crc16_run(h, 126, 0) == 0)
            MacBin2 = 1;
        else
            zstat("Bad MacBin2 Hdr CRC"); // and plain MacBinary all the same
    }
    return 1;
}

static bool odd_in_text(uint8_t c)
{
    return c < 32 && c != 4 && (c < 8 || c > 10) && c != 12 && c != 13 &&
           c != 26 && c != 27;
}

int16_t IsText(const uint8_t *buf, int32_t len)
{
    auto odd = std::count_if(buf, buf + std::max<int32_t>(len, 0), odd_in_text);
    return odd == 0 || zconv == ZCNL || (odd < 10 && op_xconv == 'T');
}

// ---- MacBinary -------------------------------------------------------------

static int32_t padded(int32_t length)
{
    return int32_t((uint32_t(length) + 127) & kPadMask);
}

// The stream goes on inside the image, at StartPos: what is left of the forks.
static void set_forks_left(int32_t dblk)
{
    dforkleft = dforklen;
    rforkleft = rforklen;
    if (StartPos == 0)
        return;
    dforkleft = int32_t(int64_t(dforklen) - StartPos + kHeaderLen);
    if (dforkleft > 0)
        return;
    // Behind the data: within its padding the rest of that comes first.
    dforkleft = 0;
    int64_t rest = int64_t(dblk) + kHeaderLen - StartPos;
    if (rest > 0)
        dSkip = int32_t(rest);
    else
        rforkleft = int32_t(rforklen + rest);
}

static void take_dates(const uint8_t *h)
{
    uint32_t created = native<uint32_t>(h + 91);
    uint32_t modified = native<uint32_t>(h + 95);
    if (created > kUnixIn1904)
        DateCreate = created;
    if (modified > kUnixIn1904)
        DateMod = modified;
}

// A MacBinary header has come. The fields are in the machine's own order.
static void start_macbinary(const uint8_t *h)
{
    memmove(mbHeader, h, kHeaderLen); // it may stand there already
    zftype = 'M';
    tFType = qPMB;
    curFType = native<OSType>(h + 65);
    curFCreator = native<OSType>(h + 69);
    take_dates(h);

    dforklen = native<int32_t>(h + 83);
    rforklen = native<int32_t>(h + 87);
    int32_t dblk = padded(dforklen);
    int32_t rblk = padded(rforklen);
    set_forks_left(dblk);
    TotalBytes = int32_t(
        std::min<int64_t>(int64_t(dblk) + rblk + kHeaderLen, kUnknownSize));
    Bytesleft = std::max(TotalBytes - StartPos, 0);

    int n = std::min<int>(h[1], kNameMax);
    zRcvMBName[0] = uint8_t(n);
    memcpy(zRcvMBName + 1, h + 2, size_t(n));
    FitName(zRcvMBName + 1, n); // it is one of the far side's making, too
    zitem(kItemStatusName, zRcvMBName);
    needName = 0;

    fileLock = h[81] & 1;
    curFflags = h[73] << 8;
    if (MacBin2)
        curFflags |= h[101];
    curFflags &= kFlagsKept;
    curFork = dforkleft <= 0 ? 'R' : 'D';
}

// ---- making the file -------------------------------------------------------

// Whether a file of that name is there. A receive folder on a volume that has
// gone gives way to the program's own.
static bool file_exists(ConstStr name, CatInfo *info)
{
    OSErr err = GetCatInfo(zRcvVol, zRcvDirID, name, info);
    if (err == nsvErr) {
        zRcvVol = pgmVRef;
        zRcvDirID = 0;
        err = GetCatInfo(zRcvVol, zRcvDirID, name, info);
    }
    return err == noErr;
}

// A file of the name exists. 0 to go on, -1 to skip the new one.
static int32_t settle_duplicate()
{
    if (dupeAction == 0)
        dupeAction = uint8_t(whatDO(zRcvMBName, 1));
    switch (dupeAction) {
    case 3:
        zprtstat("Exists, overwriting");
        // If it can't go, creating the new one fails, and says so.
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

// What stands at the start of the data decides what the file is. `buf` and
// `len` lose a MacBinary header. 0, an error, or -1 to skip the file.
static int32_t first_block(const uint8_t *&buf, int32_t &len)
{
    if (len >= kHeaderLen && op_xconv != 'B' && IsMacBin(buf)) {
        start_macbinary(buf);
        buf += kHeaderLen;
        len -= kHeaderLen;
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
    brokeAt = 0;

    CatInfo info;
    if (file_exists(zRcvMBName, &info)) {
        if (zconv == ZCRESUM)
            return 0;
        int32_t err = settle_duplicate();
        if (err)
            return err;
    }
    if (zconv == ZCRESUM)
        return 0;
    OSErr err = HCreate(zRcvVol, zRcvDirID, zRcvMBName, curFCreator, curFType);
    if (err == noErr) {
        begun = true;
        hasData = false;
        shortOfStream = false;
        found = written = {};
    }
    return err;
}

// ---- writing ---------------------------------------------------------------

static OSErr open_fork()
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

static OSErr write_file(int32_t count, const uint8_t *data)
{
    hasData = true;
    OSErr err = fbWrite(zRcvRef, count, data);
    if (err != noErr)
        shortOfStream = true;
    return err;
}

// The same with the first bytes of a block. If it wrote what was held, that
// were all the blocks before.
static OSErr write_start(int32_t count, const uint8_t *data)
{
    const int32_t held = inbufCount;
    int32_t length;

    OSErr err = write_file(count, data);
    if (err != noErr || held == 0 || inbufCount != count ||
        GetEOF(zRcvRef, &length) != noErr)
        return err;
    if (curFork == 'R')
        written = {blockPos, dforklen, length};
    else
        written = {blockPos, length, 0};
    return noErr;
}

// Text: line ends become CR, NUL goes, Ctrl-Z ends the block.
static OSErr write_text(const uint8_t *buf, int32_t len)
{
    int32_t n = 0;

    for (int32_t i = 0; i < len && n < kFileBuf; i++) {
        uint8_t c = buf[i];
        if (c == 0)
            continue;
        if (c == kCtrlZ) {
            Eofseen = 1;
            break;
        }
        if (c == kLF && lastc == kCR)
            continue; // lastc stays: CR, LF, LF is one line end
        filebuf[n++] = c == kLF ? kCR : c;
        lastc = c;
    }
    return n > 0 ? write_start(n, filebuf) : OSErr(noErr);
}

// The data fork is complete: the next pass opens the resource fork.
static OSErr leave_data_fork()
{
    curFork = 'R';
    OSErr err = write_file(0, nullptr);
    OSErr closed = FSClose(zRcvRef);
    zRcvRef = 0;
    return err != noErr ? err : closed;
}

// MacBinary: bytes for the fork in work. `len` falls by what was used.
static OSErr write_fork(const uint8_t *&buf, int32_t &len)
{
    int32_t &left = curFork == 'D' ? dforkleft : rforkleft;
    int32_t n = std::clamp<int32_t>(left, 0, len);
    OSErr err = noErr;

    if (curFork == 'D' && len >= dforkleft)
        dSkip = (kHeaderLen - (dforklen & 127)) & 127;
    if (n > 0)
        err = write_file(n, buf);
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

static OSErr write_block(const uint8_t *buf, int32_t len)
{
    while (len > 0) {
        if (dSkip > 0) {
            int32_t n = std::min(dSkip, len);
            dSkip -= n;
            buf += n;
            len -= n;
            continue;
        }
        if (zRcvRef == 0) {
            OSErr err = open_fork();
            if (err != noErr)
                return err;
        }
        OSErr err;
        if (zftype == 'M') {
            err = write_fork(buf, len);
        } else {
            err = zftype == 'T' ? write_text(buf, len) : write_file(len, buf);
            len = 0;
        }
        if (err != noErr)
            return err;
    }
    return noErr;
}

// A first block that is too short to judge, or what comes behind one.
enum class hold { pass, held, joined, failed };

static hold hold_short(int32_t pos, const uint8_t *&buf, int32_t &len,
                       Ptr &joined)
{
    if (pos == 0 && len > 0 && len < kHeaderLen && buf[0] == 0) {
        memcpy(mbHeader, buf, size_t(len));
        sPartialMacBin = len;
        return hold::held;
    }
    if (sPartialMacBin <= 0)
        return hold::pass;
    if (len > 0 && sPartialMacBin + len < kHeaderLen) {
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
    blockPos = pos;
    if (err == noErr && pos == 0)
        err = first_block(buf, len);
    if (err == noErr)
        err = write_block(buf, len);
    if (err != noErr && err != -1)
        zprterr(OSErr(err), " in zWriteData");
    if (joined)
        DisposePtr(joined);
    return err;
}

// ---- the end of a file -----------------------------------------------------

// Makes sure that the data fork is open, for the trailer of a partial file.
static OSErr open_for_trailer()
{
    OSErr err = noErr;

    if (zRcvRef != 0 && curFork == 'D')
        return noErr;
    if (zRcvRef != 0)
        err = FSClose(zRcvRef);
    zRcvRef = 0;
    OSErr opened = HOpen(zRcvVol, zRcvDirID, zRcvMBName, fsRdWrPerm, &zRcvRef);
    if (opened != noErr) {
        zRcvRef = 0;
        return opened;
    }
    (void)SetFPos(zRcvRef, fsFromLEOF, 0); // the end of an open file exists
    return err;
}

static OSErr write_position(int32_t pos)
{
    uint8_t position[kTrailerLen];
    int32_t count;

    OSErr err = open_for_trailer();
    if (err != noErr)
        return err;
    memcpy(position, &pos, sizeof position);
    if (zftype == 'T') {
        count = kTrailerLen;
        return FSWrite(zRcvRef, &count, position);
    }
    memcpy(mbHeader + kPosOffset, position, sizeof position);
    count = kHeaderLen;
    return FSWrite(zRcvRef, &count, mbHeader);
}

// Back to a state from before a write failed, which makes room, too.
static OSErr go_back(const safe_state &state)
{
    if (state.pos <= 0)
        return ioErr;
    if (zRcvRef != 0)
        (void)FSClose(zRcvRef); // what it holds behind that state is cut off
    zRcvRef = 0;
    OSErr err = noErr;
    if (zftype == 'M' && curFork == 'R') {
        err = open_fork();
        if (err == noErr)
            err = SetEOF(zRcvRef, state.rsrc);
        if (zRcvRef != 0)
            (void)FSClose(zRcvRef); // nothing was written
        zRcvRef = 0;
    }
    curFork = 'D';
    if (err == noErr)
        err = open_fork();
    if (err == noErr)
        err = SetEOF(zRcvRef, state.data);
    return err == noErr ? write_position(state.pos) : err;
}

// What a later transfer needs stands behind the data of a partial file. An
// error means that the file is of no use.
static OSErr write_trailer()
{
    if (zftype != 'T' && zftype != 'M')
        return noErr;
    if (!shortOfStream) {
        OSErr err = write_position(rxbytes);
        if (err == noErr) {
            brokeAt = rxbytes;
            return noErr;
        }
    }
    OSErr err = go_back(written);
    return err == noErr ? err : go_back(found);
}

// Flags and dates.
static void set_catalog()
{
    CatInfo info;

    OSErr err = GetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
    if (err != noErr) {
        zprterr(err, " in GetFInfo ");
        return;
    }
    info.info.fdFlags = uint16_t(curFflags);
    if (DateMod != 0) {
        info.modified = DateMod;
        info.created = DateCreate;
    }
    err = SetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
    if (err != noErr)
        zprterr(err, " in SetFInfo");
    err = FlushVol(zRcvVol);
    if (err != noErr)
        zprterr(err, " in FlushVol");
}

static void lock_file()
{
    CatInfo info;

    if (GetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info) != noErr)
        return;
    info.locked = true;
    (void)SetCatInfo(zRcvVol, zRcvDirID, zRcvMBName, &info); // it's whole
}

static void partial_name(uint8_t *out)
{
    pstrcpy(out, zRcvName);
    pstrcatchr(out, kPartialMark);
}

// Changes the type on the disk, if it is `from` (0: whatever it is).
static void set_type(OSType from, OSType to)
{
    FInfo info;

    if (HGetFInfo(zRcvVol, zRcvDirID, zRcvMBName, &info) != noErr ||
        (from != 0 && info.fdType != from))
        return;
    info.fdType = to;
    (void)HSetFInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
}

// The file takes its partial name, in place of an older partial of that name.
// The type "TEXT" is for those with text's trailer, so a text that came as
// binary or in MacBinary wears the type of its kind until it is complete.
static void rename_partial()
{
    Str255 name;

    if (zftype != 'T')
        set_type(FOUR("TEXT"), zftype == 'M' ? qPMB : qPBN);
    partial_name(name);
    OSErr err = HRename(zRcvVol, zRcvDirID, zRcvMBName, name);
    if (err == dupFNErr) {
        (void)HDelete(zRcvVol, zRcvDirID, name); // the next call tells
        err = HRename(zRcvVol, zRcvDirID, zRcvMBName, name);
    }
    if (err != noErr)
        zprterr(err, " in rename");
}

// Ends a file that isn't complete. It is kept if a later transfer can go on
// with it; one that holds nothing, or less than its trailer would say, goes.
static void keep_partial()
{
    OSErr err = hasData && !strayRef ? write_trailer() : OSErr(noErr);
    if (zRcvRef != 0)
        (void)FSClose(zRcvRef); // what it holds is no more than a part
    zRcvRef = 0;
    if (err != noErr)
        zprterr(err, ", partial file not kept");
    if (err != noErr || !hasData || strayRef) {
        (void)HDelete(zRcvVol, zRcvDirID, zRcvMBName); // nothing to be lost
        return;
    }
    set_catalog();
    rename_partial();
}

// Nothing of a file is left in work.
static void file_over()
{
    begun = false;
    hasData = false;
    strayRef = false;
    sPartialMacBin = 0;
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

static OSErr close_complete()
{
    OSErr err = noErr;

    if (zRcvRef != 0)
        err = FSClose(zRcvRef);
    zRcvRef = 0;
    if (err != noErr) {
        zprterr(err, " during close");
        return err;
    }
    set_catalog();
    if (zftype == 'M' && fileLock)
        lock_file();
    return noErr;
}

int32_t closeit()
{
    OSErr err = noErr;
    FSSpec spec;

    if (sPartialMacBin != 0 && zWriteData(rxbytes, mbHeader, 0) != 0)
        gotEOF = 0;
    sPartialMacBin = 0;
    if (!begun) {
        if (zRcvRef != 0)
            (void)FSClose(zRcvRef); // a partial that nothing was added to
        zRcvRef = 0;
        file_over();
        return 0;
    }
    if (zRcvRef != 0) {
        err = write_file(0, nullptr);
        // What isn't on the disk hasn't been received.
        if (err != noErr) {
            zprterr(err, " in zWriteData");
            gotEOF = 0;
        }
    }
    if (strayRef)
        gotEOF = 0; // the data are in the partial, which isn't the file
    OSErr lost = gotEOF ? look_at_place() : OSErr(noErr);
    if (lost != noErr) {
        zprterr(lost, " during close");
        gotEOF = 0;
        if (zRcvRef != 0)
            (void)FSClose(zRcvRef); // nobody can find it
        zRcvRef = 0;
    } else if (gotEOF) {
        err = close_complete();
        if (err != noErr) {
            file_over();
            return -1;
        }
    } else {
        keep_partial();
    }
    TouchDir(zRcvVol, zRcvDirID);
    (void)FlushVol(zRcvVol); // told once by set_catalog
    file_over();
    if (rxbytes > StartPos)
        zperf(zRcvMBName, start_ticks, int32_t(TickCount()), rxbytes - StartPos,
              'R');
    if (gotEOF && sysVers > 1791 &&
        FSMakeFSSpec(zRcvVol, zRcvDirID, zRcvMBName, &spec) == noErr)
        (void)DoAutoOpen(&spec); // it tells the user itself
    return err == noErr && lost == noErr ? 0 : -1;
}

// ---- going on with a partial file ------------------------------------------

// Reads the last `count` bytes of the open file, of length `length`.
static bool read_tail(int32_t length, int32_t count, uint8_t *to)
{
    int32_t n = count;
    return length >= count &&
           SetFPos(zRcvRef, fsFromStart, length - count) == noErr &&
           FSRead(zRcvRef, &n, to) == noErr && n == count;
}

// The last `count` bytes were no data.
static bool cut_tail(int32_t length, int32_t count)
{
    OSErr err = SetFPos(zRcvRef, fsFromStart, length - count);
    if (err == noErr)
        err = SetEOF(zRcvRef, length - count);
    OSErr closed = FSClose(zRcvRef);
    zRcvRef = 0;
    return err == noErr && closed == noErr;
}

static int32_t not_resumed()
{
    if (zRcvRef != 0)
        (void)FSClose(zRcvRef); // nothing was written
    zRcvRef = 0;
    StartPos = 0;
    return 0;
}

// The partial stays open, and what comes goes into it behind what it holds.
// Known and kept: a partial at least as long as what is offered is one that
// the user has to look at, and this way nothing of either is lost. So no such
// transfer makes a complete file.
static int32_t left_open()
{
    strayRef = true;
    StartPos = 0;
    return 0;
}

static int32_t resume_text(const CatInfo &part)
{
    uint8_t trailer[kTrailerLen];
    uint8_t last = 0; // byte of the text

    if (!read_tail(part.dataLen, kTrailerLen, trailer))
        return not_resumed();
    if (part.dataLen > kTrailerLen &&
        !read_tail(part.dataLen - kTrailerLen, 1, &last))
        return not_resumed();
    StartPos = native<int32_t>(trailer);
    if (StartPos <= 0)
        return not_resumed(); // no position of a transfer
    if (StartPos >= TotalBytes)
        return left_open();
    if (!cut_tail(part.dataLen, kTrailerLen))
        return not_resumed();
    zprtstat("Resume TEXT transfer.");
    zconv = ZCRESUM;
    curFCreator = part.info.fdCreator;
    curFType = part.info.fdType;
    tFType = qPTX;
    zftype = 'T';
    found = {StartPos, part.dataLen - kTrailerLen, 0};
    // Broken within a line end? If bytes were dropped, a CR at the end is one
    // of CR and LF. The text that broke last is known better.
    if (StartPos != brokeAt)
        lastc = last == kCR && found.data < StartPos ? kCR : 0;
    return 1;
}

static int32_t resume_macbinary(const CatInfo &part)
{
    // Taken as plain binary from here on, the stream would not fit the forks.
    if (op_xconv == 'B' || StartPos < kHeaderLen)
        return not_resumed();
    if (!cut_tail(part.dataLen, kHeaderLen))
        return not_resumed();
    zconv = ZCRESUM;
    if (zWriteData(0, mbHeader, kHeaderLen) != 0)
        return not_resumed();
    found = {StartPos, part.dataLen - kHeaderLen, part.rsrcLen};
    zprtstat("Resume MacBinary transfer.");
    return 1;
}

static int32_t resume_binary(const CatInfo &part)
{
    uint8_t tail[kHeaderLen];

    if (!read_tail(part.dataLen, kHeaderLen, tail))
        return not_resumed();
    memcpy(mbHeader, tail, kHeaderLen);
    StartPos = native<int32_t>(mbHeader + kPosOffset);
    memset(mbHeader + kPosOffset, 0, kTrailerLen);
    if (IsMacBin(mbHeader))
        return resume_macbinary(part);

    if (part.dataLen >= TotalBytes)
        return left_open();
    StartPos = part.dataLen;
    zprtstat("Resume binary transfer.");
    curFCreator = part.info.fdCreator;
    curFType = part.info.fdType == qPBN ? FOUR("TEXT") : part.info.fdType;
    zftype = 'B';
    zconv = ZCRESUM;
    return 1; // open at its end
}

// The resumed file takes its final name. One that has it keeps it: then the
// resumed one gets a name of its own.
static void rename_resumed(ConstStr partial)
{
    OSErr err = HRename(zRcvVol, zRcvDirID, partial, zRcvMBName);
    if (err == dupFNErr) {
        UniqueName(zRcvMBName, zRcvVol);
        err = HRename(zRcvVol, zRcvDirID, partial, zRcvMBName);
    }
    if (err != noErr) {
        zprterr(err, " in rename");
        pstrcpy(zRcvMBName, partial); // it goes on under the name it has
    }
}

int32_t CheckForResume()
{
    Str255 name;
    CatInfo part;

    partial_name(name);
    if (!file_exists(name, &part) || part.isFolder)
        return 0;
    curFork = 'D';
    if (HOpen(zRcvVol, zRcvDirID, name, fsRdWrPerm, &zRcvRef) != noErr) {
        zRcvRef = 0;
        return not_resumed();
    }
    int32_t yes = part.info.fdType == FOUR("TEXT") ? resume_text(part)
                                                   : resume_binary(part);
    if (StartPos != 0)
        zprog(0, TotalBytes);
    if (!yes)
        return 0;
    begun = true;
    hasData = true;
    shortOfStream = false;
    written = {};
    rename_resumed(name);
    if (part.info.fdType == qPBN || part.info.fdType == qPMB)
        set_type(0, curFType);
    return 1;
}
