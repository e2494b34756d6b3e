// The queue of text to the line, and its pacing.
#include "automation/AsciiSend.h"

#include <cstring>

#include "automation/Script.h"
#include "base/ErrMsg.h"
#include "base/Program.h"
#include "base/chars.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/HostCursor.h"
#include "terminal/VT100.h"
#include "transfer/xmodem.h"

constexpr int32_t kLeastBlock = 100;
constexpr int32_t kFileBlock = 4096, kSmallFileBlock = 512;
constexpr int kLongestWrite = 80;
constexpr int32_t kHeldTooLong = 1800; // ticks of a flow-control stop
constexpr int32_t kShortPause = 60;    // a line delay below it ...
constexpr int32_t kPromptPause = 400;  // ... is so long while a prompt is due
constexpr int32_t kEchoLimit = 300;    // for an echo to come
constexpr int32_t kDialPause = 5;      // behind the first bytes for a modem
constexpr int kDialSingles = 2;        // those bytes: "AT"

// ---- the chain --------------------------------------------------------------
// Made by asInit and never empty; the head serves from its pos on, and only the
// last chunk takes more.

ASChunk *firstAS;

// ---- the sender -------------------------------------------------------------
// sendCount bytes from sendPtr on lie within sendBuf.

uint8_t sendBuf[kSendBuf];
uint8_t *sendPtr = sendBuf;
uint16_t sendCount;
int16_t sendAmount;
int16_t gEchoMode;
uint16_t localEcho;
uint16_t awWait;
int32_t awWTime;
int16_t gotCR;
int16_t sendWait;
int16_t sendWait2;
int32_t sendWaitLimit;
uint8_t asciiSend;
int16_t sendRef;

// ---- chunks -----------------------------------------------------------------

ASChunk *asNewChunk(Handle hdl, int16_t echoMode)
{
    ASChunk *c = reinterpret_cast<ASChunk *>(NewPtr(sizeof(ASChunk)));

    if (!c)
        return nullptr;
    *c = {};
    c->hdl = hdl;
    c->count = hdl ? GetHandleSize(hdl) : 0;
    c->echoMode = echoMode;
    return c;
}

static void free_chunk(ASChunk *c)
{
    if (c->fileRef > 0)
        (void)FSClose(c->fileRef);
    if (c->hdl)
        DisposeHandle(c->hdl);
    DisposePtr(reinterpret_cast<Ptr>(c));
}

void asInit()
{
    firstAS = asNewChunk(NewHandle(kLeastBlock), 0);
    if (firstAS)
        firstAS->count = 0;
}

static ASChunk *tail()
{
    ASChunk *c = firstAS;

    while (c->next)
        c = c->next;
    return c;
}

static bool idle(const ASChunk *c)
{
    return c->count == 0 && c->fileRef == 0;
}

// Behind the tail; null, with `hdl` released, when memory is short.
static ASChunk *append(Handle hdl, int16_t echoMode)
{
    ASChunk *c = hdl ? asNewChunk(hdl, echoMode) : nullptr;

    if (c)
        tail()->next = c;
    else if (hdl)
        DisposeHandle(hdl);
    return c;
}

// ---- queueing ---------------------------------------------------------------
// awWait gets the sender past its test for an empty queue at the next pass.

static int32_t room(const ASChunk *c)
{
    return c->hdl ? GetHandleSize(c->hdl) - c->pos - c->count : 0;
}

void asSendBuf(const uint8_t *text, int32_t length, int16_t echoMode)
{
    int32_t block = length > kLeastBlock ? length : kLeastBlock;
    ASChunk *c = tail();

    if (length < 0)
        return;
    if (!c->hdl)
        c->hdl = NewHandle(kLeastBlock);
    if (idle(c)) {
        c->pos = 0;
        c->echoMode = echoMode;
        if (c->hdl && GetHandleSize(c->hdl) < block)
            SetHandleSize(c->hdl, block);
    }
    if (c->fileRef != 0 || c->echoMode != echoMode || room(c) < length) {
        c = append(NewHandle(block), echoMode);
        if (!c)
            return; // no memory: the text is lost, and nothing else
        c->count = 0;
    }
    if (length > 0)
        BlockMove(text, *c->hdl + c->pos + c->count, length);
    c->count += length;
    awWait = 1;
}

int32_t asAnswers(int32_t most)
{
    int32_t sum = 0;

    for (const ASChunk *c = firstAS; c && sum < most; c = c->next)
        sum += c->echoMode & kSendAnswer ? c->count : 0;
    return sum;
}

void asSendHdl(Handle hdl, int16_t echoMode)
{
    ASChunk *c = tail();

    if (!hdl)
        return;
    if (idle(c)) {
        if (c->hdl)
            DisposeHandle(c->hdl);
        c->hdl = hdl;
        c->count = GetHandleSize(hdl);
        c->pos = 0;
        c->echoMode = echoMode;
    } else if (!append(hdl, echoMode)) {
        return;
    }
    awWait = 1;
}

static Handle file_block()
{
    Handle h = NewHandle(kFileBlock);

    return h ? h : NewHandle(kSmallFileBlock);
}

void asSendFile(int16_t fileRef, int16_t echoMode)
{
    ASChunk *c = tail();

    if (idle(c)) {
        if (!c->hdl) {
            c->hdl = file_block();
        } else {
            SetHandleSize(c->hdl, kFileBlock);
            if (MemError() == memFullErr)
                SetHandleSize(c->hdl, kSmallFileBlock);
        }
        c->pos = 0;
        c->echoMode = echoMode;
    } else {
        c = append(file_block(), echoMode);
        if (c)
            c->count = 0;
    }
    if (!c || !c->hdl || GetHandleSize(c->hdl) < 1) {
        (void)FSClose(fileRef); // ours to close, and nowhere to read it to
        return;
    }
    c->fileRef = fileRef;
    awWait = 1;
}

// ---- taking out -------------------------------------------------------------

static void refill(ASChunk *c)
{
    int32_t n = GetHandleSize(c->hdl);

    HLock(c->hdl);
    OSErr error = FSRead(c->fileRef, &n, *c->hdl);
    HUnlock(c->hdl);
    c->pos = 0;
    c->count = n > 0 ? n : 0;
    if (error != noErr && error != eofErr)
        PrtErrorSTR(error, kListErrors, kStrCantReadText);
    if (error != noErr || c->count == 0) {
        (void)FSClose(c->fileRef);
        c->fileRef = 0;
    }
}

int16_t asGetBuf(uint8_t *buffer, int16_t max, int16_t *echoMode)
{
    ASChunk *c = firstAS;
    int16_t n = 0;

    if (c->count == 0 && c->fileRef >= 1)
        refill(c);
    while (n < max && c->count > 0) {
        uint8_t byte = (*c->hdl)[c->pos];
        buffer[n++] = byte;
        c->pos++;
        c->count--;
        if (byte == kCR)
            break;
    }
    *echoMode = c->echoMode;
    if (idle(c)) {
        c->pos = 0;
        if (c->next) {
            firstAS = c->next;
            free_chunk(c);
        }
    }
    return n;
}

static bool chain_holds()
{
    for (const ASChunk *c = firstAS; c; c = c->next) {
        if (c->count > 0 || c->fileRef >= 1)
            return true;
    }
    return false;
}

int asBusy()
{
    if (chain_holds())
        return 1;
    if (asciiSend) {
        // The file has run out: that is how the end of its sending is noticed.
        asciiSend = 0;
        RestoreSendAscii();
    }
    return 0;
}

void asKill()
{
    ASChunk *c = firstAS->next;

    firstAS->next = nullptr;
    while (c) {
        ASChunk *next = c->next;
        free_chunk(c);
        c = next;
    }
    if (firstAS->fileRef > 0)
        (void)FSClose(firstAS->fileRef);
    firstAS->fileRef = 0;
    firstAS->count = firstAS->pos = 0;
}

// ---- pacing -----------------------------------------------------------------

// Each character waits for its echo. Not for control strings, which have none,
// and not with local echo on, where the host shows nothing.
static bool echo_paced()
{
    return (cset.paceFlags & 1) && !(gEchoMode & kSendUnpaced);
}

static void line_pause(int32_t now)
{
    sendWait = kWaitTime;
    sendWaitLimit = cset.lineDelay;
    if (cset.promptChar != 0) {
        sendWait = kWaitCR;
        sendWait2 = cset.promptChar;
        if (sendWaitLimit < kShortPause)
            sendWaitLimit = kPromptPause;
    }
    sendWaitLimit += now;
}

static bool must_wait(int32_t now)
{
    return sendWait > 0 && now - sendWaitLimit < 0;
}

static bool one_by_one(char mode)
{
    if (mode == kModeDial)
        return sendAmount < kDialSingles;
    return cset.charDelay != 0 || echo_paced();
}

static void pause_after_byte(int32_t now, char mode, uint8_t c)
{
    sendWait = kWaitTime;
    if (mode == kModeDial) {
        sendWaitLimit = now + kDialPause;
    } else if (echo_paced() && !(cset.echoFlag & 1)) {
        // A control character comes back as no character: after it the line
        // has to fall quiet.
        sendWait = c < ' ' ? kWaitQuiet : int16_t(c);
        sendWaitLimit = now + kEchoLimit;
    } else {
        sendWaitLimit = now + cset.charDelay;
    }
}

static int16_t line_length()
{
    int16_t most =
        int16_t(sendCount < kLongestWrite ? sendCount : kLongestWrite);
    const void *cr = memchr(sendPtr, kCR, size_t(most));

    return cr ? int16_t(static_cast<const uint8_t *>(cr) - sendPtr + 1) : most;
}

static void send_piece(int32_t now, char mode)
{
    int16_t n = 1;

    if (one_by_one(mode)) {
        pause_after_byte(now, mode, *sendPtr);
    } else {
        // The limit of the wait before stands: it has passed.
        n = line_length();
        sendWait = kWaitTime;
    }
    gotCR = sendPtr[n - 1] == kCR;
    (void)aw1Send(sOut, n, sendPtr);
    if ((gEchoMode & kEchoLocal) && mode != kModeDial)
        DispChars(sendPtr, n);
    putHist(sendPtr, n);
    sendPtr += n;
    sendCount = uint16_t(sendCount - n);
    sendAmount = int16_t(sendAmount + n);
    awWait = 1;
    awWTime = now;
}

static void end_of_text()
{
    if (sendCount != 0 || awWait || asBusy())
        return;
    HiliteMenu(0); // a hilited title says that a send is running
    sendWait = kWaitNone;
    gEchoMode = int16_t(localEcho);
    gotCR = 0;
}

static void step(int32_t now, char mode)
{
    if (awWait && !aw1Busy()) {
        awWait = 0;
        if (gotCR)
            line_pause(now);
    }
    if (awWait && now - awWTime > kHeldTooLong && OutputHeld())
        ReleaseOutput();
    if (sendCount == 0) {
        sendCount = uint16_t(asGetBuf(sendBuf, kSendBuf, &gEchoMode));
        sendPtr = sendBuf;
    }
    if (awWait && sendCount != 0)
        return;
    if (sendCount != 0) {
        if (must_wait(now))
            return;
        if (!OutputHeld())
            send_piece(now, mode);
    }
    end_of_text();
}

void sendSomeAscii(int32_t, char mode)
{
    int32_t now = int32_t(TickCount());

    step(now, mode);
    // Without this the event wait behind each piece would be the pacing.
    if ((sendCount != 0 || chain_holds()) && !must_wait(now))
        line_want_room(true);
}

// ---- sources and stops ------------------------------------------------------

void set_send(ConstStr string)
{
    sendAmount = 0;
    asSendBuf(string + 1, string[0], int16_t(localEcho & kEchoLocal));
}

void stop_send()
{
    RestoreSendAscii();
    asciiSend = 0;
    sendCount = 0;
    gEchoMode = int16_t(localEcho);
    HiliteMenu(0);
    asKill();
    awKill();
    awWait = 0;
    // What the stopped text waited for must not hold up the next key.
    sendWait = kWaitNone;
    gotCR = 0;
    reqRow = -1; // a cursor on its way stops, too
}

void kill_script()
{
    if (ScriptFlag == 0)
        return;
    ScriptFlag = -2;
    do_script();
}
