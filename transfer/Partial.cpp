// Partial files: keeping them, and going on with them.

#include "transfer/Partial.h"

#include "base/chars.h"
#include "base/pstr.h"
#include "platform/files.h"
#include "transfer/MacBinary.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/zmaclo.h"
#include "transfer/zmacloParts.h"
#include "transfer/zstats.h"

#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int32_t kTrailerLen = 4; // of text: the stream position

// Notes in the Finder info: the mark and one of these.
constexpr int16_t kNoteMark = 0x514E;
constexpr int16_t kNoteCR = 1;    // the text broke behind a CR
constexpr int16_t kNoteMixed = 2; // it holds data of two transfers

// ---- the partial that stays open -------------------------------------------
// Its 4 bytes make room for the data that come, and go behind them in the end.
// All is 0 unless `open`.

static struct {
    bool open;
    bool text;
    int32_t pos;    // that its 4 bytes named
    int32_t length; // without them
    bool added;     // data of another transfer stand behind it
} part;

bool partial_is_open()
{
    return part.open;
}

void forget_part()
{
    part = {};
}

static void partial_name(uint8_t *out)
{
    pstrcpy(out, zRcvName);
    pstrcatchr(out, kPartialMark);
}

// Opens a file's data fork at its end, into zRcvRef.
static OSErr open_data(ConstStr name)
{
    OSErr err = HOpen(zRcvVol, zRcvDirID, name, fsRdWrPerm, &zRcvRef);
    if (err != noErr)
        zRcvRef = 0;
    else
        (void)SetFPos(zRcvRef, fsFromLEOF, 0); // the end of an open file exists
    return err;
}

OSErr start_behind_part()
{
    part.added = true;
    if (!part.text)
        return noErr;
    OSErr err = SetEOF(zRcvRef, part.length);
    return err == noErr ? SetFPos(zRcvRef, fsFromLEOF, 0) : err;
}

static OSErr write_number(int32_t number)
{
    uint8_t bytes[kTrailerLen];
    int32_t count = kTrailerLen;

    memcpy(bytes, &number, sizeof bytes);
    return FSWrite(zRcvRef, &count, bytes);
}

// The position returns to the end of the partial. Where the new data have
// filled the disk, they make room for it.
static void end_part()
{
    Str255 name;
    FInfo info;

    close_fork(); // it may be another one by now
    partial_name(name);
    if (part.text && open_data(name) == noErr) {
        if (write_number(part.pos) != noErr &&
            SetEOF(zRcvRef, part.length) == noErr &&
            SetFPos(zRcvRef, fsFromLEOF, 0) == noErr)
            (void)write_number(part.pos); // these bytes were there before
        close_fork();
    }
    if (HGetFInfo(zRcvVol, zRcvDirID, name, &info) != noErr)
        return;
    info.fdLocation = {kNoteMark, kNoteMixed};
    (void)HSetFInfo(zRcvVol, zRcvDirID, name, &info);
}

// ---- keeping ---------------------------------------------------------------

// Makes sure that the data fork is open, for the trailer.
static OSErr open_for_trailer()
{
    if (zRcvRef != 0 && curFork == 'D')
        return noErr;
    OSErr err = zRcvRef != 0 ? FSClose(zRcvRef) : OSErr(noErr);
    OSErr opened = open_data(zRcvMBName);
    return opened != noErr ? opened : err;
}

// `state` is that of the file, but for what has to stand behind its data.
static OSErr write_trailer(const safe_state &state)
{
    int32_t count = kMacBinHeader;

    OSErr err = open_for_trailer();
    if (err != noErr)
        return err;
    lastc = state.afterCR ? kCR : 0;
    if (zftype == 'T')
        return write_number(state.pos);
    put_break(mbHeader, state.pos);
    return FSWrite(zRcvRef, &count, mbHeader);
}

// Back to a state from before a write failed, which makes room, too.
static OSErr go_back(const safe_state &state)
{
    OSErr err = noErr;

    if (state.pos <= 0)
        return ioErr;
    close_fork();
    if (zftype == 'M' && curFork == 'R') {
        err = open_fork();
        if (err == noErr)
            err = SetEOF(zRcvRef, state.rsrc);
        close_fork();
    }
    curFork = 'D';
    if (err == noErr)
        err = open_fork();
    if (err == noErr)
        err = SetEOF(zRcvRef, state.data);
    if (err == noErr)
        err = SetFPos(zRcvRef, fsFromLEOF, 0);
    return err == noErr ? write_trailer(state) : err;
}

// What a later transfer needs goes behind the data. An error means that the
// file is of no use.
static OSErr finish_partial()
{
    const safe_state *const states[] = {&work.written, &work.wasBefore,
                                        &work.found};

    if (zftype != 'T' && zftype != 'M')
        return noErr;
    OSErr err = ioErr;
    if (!work.shortOfStream)
        err = write_trailer({rxbytes, 0, 0, lastc == kCR});
    for (const safe_state *state : states)
        if (err != noErr)
            err = go_back(*state);
    return err;
}

// Whether a new partial file may take the place of what has its name.
static bool may_replace(ConstStr name)
{
    CatInfo info;

    return InRcvFolder(name, &info) && !info.isFolder &&
           !(info.info.fdLocation.v == kNoteMark &&
             info.info.fdLocation.h == kNoteMixed);
}

// The file takes its partial name, in place of an older partial of that name.
// Under its own it would pass for whole, so it gets another if that is taken.
static void rename_partial()
{
    Str255 name;

    partial_name(name);
    OSErr err = HRename(zRcvVol, zRcvDirID, zRcvMBName, name);
    if (err == dupFNErr && may_replace(name)) {
        (void)HDelete(zRcvVol, zRcvDirID, name); // the next call shows why not
        err = HRename(zRcvVol, zRcvDirID, zRcvMBName, name);
    }
    if (err != noErr) {
        UniqueName(name, zRcvVol);
        err = HRename(zRcvVol, zRcvDirID, zRcvMBName, name);
    }
    if (err != noErr)
        zprterr(err, " in rename");
}

// A partial file of type "TEXT" ends in the trailer of text. A text that came
// as binary or in MacBinary has none, so it gets the type of its kind until it
// is whole.
static OSType kept_type()
{
    FInfo info;

    if (zftype == 'T' ||
        HGetFInfo(zRcvVol, zRcvDirID, zRcvMBName, &info) != noErr ||
        info.fdType != FOUR("TEXT"))
        return 0;
    return zftype == 'M' ? qPMB : qPBN;
}

void keep_partial()
{
    OSErr err = noErr;

    if (part.open)
        end_part();
    else if (work.hasData)
        err = finish_partial();
    close_fork();
    if (err != noErr)
        zprterr(err, ", partial file not kept");
    if (err != noErr || !work.hasData || part.open) {
        // Nothing is lost with it: it is empty, or can't be gone on with.
        (void)HDelete(zRcvVol, zRcvDirID, zRcvMBName);
        return;
    }
    Point note = {0, 0};
    if (zftype == 'T' && lastc == kCR)
        note = {kNoteMark, kNoteCR};
    set_catalog(kept_type(), note);
    rename_partial();
}

// ---- going on --------------------------------------------------------------

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
    close_fork();
    StartPos = 0;
    return 0;
}

static int32_t left_open(bool text, const CatInfo &info)
{
    part = {true, text, StartPos,
            text ? info.dataLen - kTrailerLen : info.dataLen, false};
    StartPos = 0;
    return 0;
}

static int32_t resume_text(const CatInfo &info)
{
    uint8_t trailer[kTrailerLen];

    if (!read_tail(info.dataLen, kTrailerLen, trailer))
        return not_resumed();
    memcpy(&StartPos, trailer, sizeof StartPos);
    if (StartPos <= 0)
        return not_resumed(); // no position of a transfer
    if (StartPos >= TotalBytes)
        return left_open(true, info);
    if (!cut_tail(info.dataLen, kTrailerLen))
        return not_resumed();
    zprtstat("Resume TEXT transfer.");
    zconv = ZCRESUM;
    curFCreator = info.info.fdCreator;
    curFType = info.info.fdType;
    tFType = qPTX;
    zftype = 'T';
    // Without a note the byte isn't known. A blank line too many is better
    // than one that is lost.
    const bool afterCR = info.info.fdLocation.v == kNoteMark &&
                         info.info.fdLocation.h == kNoteCR;
    lastc = afterCR ? kCR : 0;
    work.found = {StartPos, info.dataLen - kTrailerLen, 0, afterCR};
    return 1;
}

static int32_t resume_macbinary(const CatInfo &info)
{
    mac_header h;

    read_mac_header(mbHeader, &h);
    // Taken as plain binary from here on, the stream would not fit the forks.
    if (op_xconv == 'B' || StartPos < kMacBinHeader)
        return not_resumed();
    // Nor can a place in the resource fork be found when the data fork's
    // length doesn't fit the mask.
    if (StartPos - kMacBinHeader > h.dataLen &&
        padded(h.dataLen, kPadMaskIn) != h.dataLen + padding(h.dataLen))
        return not_resumed();
    if (!cut_tail(info.dataLen, kMacBinHeader))
        return not_resumed();
    zconv = ZCRESUM;
    if (zWriteData(0, mbHeader, kMacBinHeader) != 0)
        return not_resumed();
    work.found = {StartPos, info.dataLen - kMacBinHeader, info.rsrcLen, false};
    zprtstat("Resume MacBinary transfer.");
    return 1;
}

static int32_t resume_binary(const CatInfo &info)
{
    uint8_t tail[kMacBinHeader];

    if (!read_tail(info.dataLen, kMacBinHeader, tail))
        return not_resumed();
    memcpy(mbHeader, tail, sizeof tail);
    StartPos = take_break(mbHeader);
    if (IsMacBin(mbHeader))
        return resume_macbinary(info);

    StartPos = 0;
    if (info.dataLen >= TotalBytes)
        return left_open(false, info);
    StartPos = info.dataLen;
    zprtstat("Resume binary transfer.");
    curFCreator = info.info.fdCreator;
    curFType = info.info.fdType == qPBN ? FOUR("TEXT") : info.info.fdType;
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

// A text that came as binary or in MacBinary gets its own type back.
static void restore_type()
{
    FInfo info;

    if (HGetFInfo(zRcvVol, zRcvDirID, zRcvMBName, &info) != noErr ||
        (info.fdType != qPBN && info.fdType != qPMB))
        return;
    info.fdType = curFType;
    (void)HSetFInfo(zRcvVol, zRcvDirID, zRcvMBName, &info);
}

int32_t CheckForResume()
{
    Str255 name;
    CatInfo info;

    partial_name(name);
    if (!InRcvFolder(name, &info) || info.isFolder)
        return 0;
    if (info.info.fdLocation.v == kNoteMark &&
        info.info.fdLocation.h == kNoteMixed)
        return 0;
    curFork = 'D';
    work = {};
    if (open_data(name) != noErr)
        return not_resumed();
    int32_t yes = info.info.fdType == FOUR("TEXT") ? resume_text(info)
                                                   : resume_binary(info);
    if (StartPos != 0)
        zprog(0, TotalBytes);
    if (!yes)
        return 0;
    work.begun = true;
    work.hasData = true;
    rename_resumed(name);
    restore_type();
    return 1;
}
