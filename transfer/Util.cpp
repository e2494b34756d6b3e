// The sent-file reader: kind and length of a file, and its blocks by stream
// position.

#include "transfer/Util.h"

#include "base/ErrMsg.h"
#include "base/pstr.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "terminal/VT100.h"
#include "transfer/MacBinary.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/zm.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr uint8_t kFirstOddByte = 219;   // from here on no text, at sending
constexpr uint8_t kPadXY = 0x1A;         // fills the last block of X and Y
constexpr int32_t kLongest = 0x7FFFFFFF; // a fork that long may be longer

// ---- state -----------------------------------------------------------------

CatInfo fb;
static OSErr fbErr; // of reading it
int32_t datBytes, rezBytes;
int32_t datBlkBytes, rezBlkBytes;
int32_t Ascii;
int16_t zSendRef;
FSSpec *curSendFSS;
int32_t Filesleft, Totalleft;

// What zfilbuf has read of the open data fork and not yet been asked for:
// aheadLen bytes from aheadPos on. Nothing when a fork has just been opened.
constexpr int32_t kAhead = 32768;
static uint8_t ahead[kAhead];
static int32_t aheadPos, aheadLen;

// ---- kind and length -------------------------------------------------------

// Whether the first 128 bytes of a "TEXT" file are those of no text.
static bool looks_binary(const FSSpec *file)
{
    uint8_t head[128];
    int32_t count = sizeof head;
    int16_t ref;

    if (FSpOpenDF(file, fsRdPerm, &ref) != noErr)
        return false;
    if (FSRead(ref, &count, head) != noErr)
        count = std::clamp<int32_t>(count, 0, sizeof head); // a short file
    (void)FSClose(ref);
    return std::any_of(head, head + count,
                       [](uint8_t c) { return c == 0 || c >= kFirstOddByte; });
}

static bool binary_type(OSType type)
{
    Str255 entry;

    for (int16_t i = 1;; i++) {
        GetIndString(entry, kListBinaryTypes, i);
        if (entry[0] == 0)
            return false;
        OSType listed = 0;
        for (int k = 1; k <= 4 && k <= entry[0]; k++)
            listed = listed << 8 | entry[k];
        if (entry[0] == 4 && listed == type)
            return true;
    }
}

static int32_t kind_of(const FSSpec *file, int16_t quick)
{
    switch (op_xconv) {
    case 'B':
    case 'M':
    case 'T':
        return op_xconv;
    }
    if (curFType == FOUR("TEXT"))
        return !quick && looks_binary(file) ? 'B' : 'T';
    return binary_type(curFType) ? 'B' : 'M';
}

int32_t filesize(FSSpec *file, int16_t quick)
{
    Lzconv = 0;
    Ascii = 0;
    MacBin2 = 0;
    memset(&fb, 0, sizeof fb);
    fbErr = GetCatInfo(file->vRefNum, file->parID, file->name, &fb);
    if (fbErr != noErr) {
        memset(&fb, 0, sizeof fb); // goes on as an empty file
        if (!quick)
            PrtErrorSTR(fbErr, kListErrors, kStrCantReadInfo);
    }
    curFCreator = fb.info.fdCreator;
    curFType = fb.info.fdType;
    zftype = kind_of(file, quick);

    int32_t length = fb.dataLen;
    if (zftype == 'T') {
        Lzconv = ZCNL;
        Ascii = 1;
    } else if (zftype == 'M') {
        MacBin2 = 1;
        datBytes = fb.dataLen;
        rezBytes = fb.rsrcLen;
        datBlkBytes = padded(datBytes, kPadMaskOut);
        rezBlkBytes = padded(rezBytes, kPadMaskOut);
        length = datBlkBytes + rezBlkBytes + kMacBinHeader;
    }
    DateMod = fb.modified;
    TotalBytes = length;
    return length;
}

static bool fits_macbinary()
{
    return datBlkBytes == int64_t(datBytes) + padding(datBytes) &&
           rezBlkBytes == int64_t(rezBytes) + padding(rezBytes);
}

// Why the file that filesize has looked at can't go whole, or null. `err` says
// more unless it is noErr.
static const char *refusal(const FSSpec *file, OSErr *err)
{
    int16_t ref;

    *err = fbErr;
    if (fb.isFolder)
        return "Not sent, it is a folder.";
    if (*err == noErr)
        *err = FSpOpenDF(file, fsRdPerm, &ref);
    if (*err != noErr)
        return ", not sent";
    (void)FSClose(ref);
    if (zftype == 'M')
        return fits_macbinary() ? nullptr
                                : "Not sent, it is too long for MacBinary.";
    return fb.dataLen < kLongest ? nullptr : "Not sent, it is too long.";
}

bool cant_send(const FSSpec *file)
{
    OSErr err;

    const char *why = refusal(file, &err);
    if (why && err != noErr)
        zprterr(err, why);
    else if (why)
        zprtstat(why);
    return why != nullptr;
}

void countem(int32_t count, FSSpec *const files[])
{
    OSErr unused; // a file that can't go is named when its turn comes

    Filesleft = 0;
    Totalleft = 0;
    for (int32_t i = 0; i < count; i++) {
        int64_t sum = int64_t(Totalleft) + filesize(files[i], 1);
        if (refusal(files[i], &unused))
            continue;
        Totalleft = int32_t(std::min<int64_t>(sum, 0x7FFFFFFF));
        Filesleft++;
    }
}

// ---- blocks of a fork ------------------------------------------------------

// A Unix line end in the first block: the file goes unchanged.
static void judge_lines(const uint8_t *buf, int32_t n)
{
    if (Ascii && memchr(buf, kLF, size_t(n)))
        Ascii = 0;
}

static OSErr read_at(int32_t pos, int32_t *count, uint8_t *to)
{
    OSErr err = SetFPos(zSendRef, fsFromStart, pos);
    if (err != noErr)
        zprterr(err, " in zfb:sfp");
    else if (*count > 0 && (err = FSRead(zSendRef, count, to)) != noErr)
        zprterr(err, " in zfb:rd");
    return err;
}

// `len` bytes at Txpos, out of a bigger read of which they are the start. If
// the whole of that can't be had, only the block itself is asked for.
static OSErr read_block(uint8_t *buf, int32_t len)
{
    if (Txpos < 0)
        return read_at(Txpos, &len, buf); // fails, and shows why
    bool there = Txpos >= aheadPos &&
                 int64_t(Txpos) + len <= int64_t(aheadPos) + aheadLen;
    if (!there) {
        aheadPos = Txpos;
        aheadLen = std::min(kAhead, TotalBytes - Txpos);
        if (SetFPos(zSendRef, fsFromStart, aheadPos) != noErr ||
            FSRead(zSendRef, &aheadLen, ahead) != noErr) {
            aheadLen = 0;
            return read_at(Txpos, &len, buf);
        }
    }
    memcpy(buf, ahead + (Txpos - aheadPos), size_t(len));
    return noErr;
}

// The next bytes of the data fork at Txpos, at most `len`. `opened`: this call
// opened it. 0 at the end, or on an error, which is shown.
static int32_t read_fork_data(uint8_t *buf, int32_t len, bool *opened)
{
    *opened = zSendRef == 0;
    if (*opened) {
        if (FSpOpenDF(curSendFSS, fsRdPerm, &zSendRef) != noErr) {
            zSendRef = 0;
            return 0;
        }
        aheadLen = 0;
    }
    // The last block is short: asking for no more than the file holds keeps
    // the end of the file an error, met only when the file has shrunk.
    len = int32_t(std::clamp<int64_t>(int64_t(TotalBytes) - Txpos, 0, len));
    return len == 0 || read_block(buf, len) != noErr ? 0 : len;
}

int32_t zfilbuf(uint8_t *buf, int32_t len)
{
    bool opened;

    if (zftype == 'M')
        return zReadData(Txpos, buf, len);
    int32_t n = read_fork_data(buf, len, &opened);
    if (opened)
        judge_lines(buf, n);
    if (Ascii)
        std::replace(buf, buf + n, kCR, kLF);
    return n;
}

int32_t filbuf(uint8_t *buf, int32_t len)
{
    bool opened;

    if (zftype == 'M')
        return zReadData(Txpos, buf, len);
    int32_t n = read_fork_data(buf, len, &opened);
    if (n == 0)
        return 0;
    memset(buf + n, kPadXY, size_t(len - n));
    return len;
}

// ---- the MacBinary stream --------------------------------------------------

static void make_header(uint8_t *bytes)
{
    mac_header h = {};

    h.name[0] = std::min<uint8_t>(curSendFSS->name[0], sizeof h.name - 1);
    memcpy(h.name + 1, curSendFSS->name + 1, h.name[0]);
    h.info = fb.info;
    h.locked = fb.locked;
    h.dataLen = datBytes;
    h.rsrcLen = rezBytes;
    h.created = fb.created;
    h.modified = fb.modified;
    make_mac_header(h, bytes);
}

// Opens a fork unless it is the one that is open.
static OSErr open_fork(uint8_t fork)
{
    if (zSendRef != 0 && curFork == fork)
        return noErr;
    sclose();
    curFork = fork;
    OSErr err = fork == 'D' ? FSpOpenDF(curSendFSS, fsRdPerm, &zSendRef)
                            : FSpOpenRF(curSendFSS, fsRdPerm, &zSendRef);
    if (err != noErr)
        zSendRef = 0;
    return err;
}

// Up to `len` bytes of a fork from `off` of its padded length. Returns the
// bytes of the stream that this makes, or a negative error.
static int32_t read_fork(uint8_t fork, int32_t off, int32_t total, uint8_t *buf,
                         int32_t len)
{
    const int32_t length = fork == 'D' ? datBytes : rezBytes;
    int32_t want = std::min(total - off, len);

    OSErr err = open_fork(fork);
    if (err == noErr) {
        // A place in the padding lies behind the fork's end.
        err = SetFPos(zSendRef, fsFromStart, std::min(off, length));
        if (err != noErr) {
            zmsgnum(kItemStatusStatus, "ofs ", off);
            zprterr(err, fork == 'D' ? "\r in zrd:sfp-d" : "\r in zrd:sfp-r");
            return err;
        }
        int32_t count = want;
        err = FSRead(zSendRef, &count, buf);
        // The end of the fork is where the padding starts. buf is zero there.
        if (err == eofErr && want - std::max<int32_t>(count, 0) < kMacBinHeader)
            err = noErr;
    }
    if (err != noErr) {
        zprterr(err, " in zReadData");
        return err;
    }
    return want;
}

int32_t zReadData(int32_t pos, uint8_t *buf, int32_t len)
{
    int32_t done = 0;

    memset(buf, 0, size_t(len));
    if (pos < 0)
        return 0;
    while (done < len) {
        int32_t n;
        if (pos < kMacBinHeader) {
            uint8_t header[kMacBinHeader];
            make_header(header);
            n = std::min(kMacBinHeader - pos, len - done);
            memcpy(buf + done, header + pos, size_t(n));
        } else {
            int32_t off = pos - kMacBinHeader;
            if (off < datBlkBytes)
                n = read_fork('D', off, datBlkBytes, buf + done, len - done);
            else if (off - datBlkBytes < rezBlkBytes)
                n = read_fork('R', off - datBlkBytes, rezBlkBytes, buf + done,
                              len - done);
            else
                break;
            if (n < 0)
                break;
            if (off < datBlkBytes && off + n == datBlkBytes)
                sclose();
        }
        done += n;
        pos += n;
    }
    return done;
}

void octstr(uint8_t *out, uint32_t value)
{
    uint8_t digits[12];
    int n = 0;

    do {
        digits[n++] = uint8_t('0' + (value & 7));
        value >>= 3;
    } while (value != 0);
    out[0] = uint8_t(n + 1);
    out[1] = '0';
    for (int i = 0; i < n; i++)
        out[2 + i] = digits[n - 1 - i];
    out[out[0] + 1] = 0;
}
