// Transfer control: commands, default protocols, events and reading during a
// transfer, buffers, capture.

#include "transfer/xmodem.h"

#include "automation/AsciiSend.h"
#include "base/AskFile.h"
#include "base/Capture.h"
#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/Program.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/appleevents.h"
#include "platform/clock.h"
#include "platform/events.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/kermit.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <cstring>

// ---- constants -------------------------------------------------------------

constexpr int16_t kEventsPerCall = 5; // of XferEvent
constexpr int32_t kLookTicks = 5;     // between looks at the clock
constexpr int32_t kBusyInput = 100;   // bytes waiting: events can wait, too
constexpr int16_t kReadsPerLook = 20; // calls of TimedRead without XferEvent
constexpr int32_t kShortWait = 10;    // ticks left: no more waiting

constexpr int32_t kBlockUnit = 1024; // of fbWrite's block
constexpr int32_t kLeastBlock = 2048;
constexpr int32_t kUsualBlock = 8192;

// ---- state -----------------------------------------------------------------

int32_t UserCancel;
int32_t Verbose;
int32_t Wcsmask = 255;
int32_t Lleft;
int32_t start_ticks;
uint32_t start_time;

int16_t dRcvItem = 1 + kItemReceiveKermit;
int16_t dSendItem = 1 + kItemSendXmodem1K;
const char rcvtypes[] = "AkXYGZ";
const char sendtypes[] = "AkxXyYZ";
Str255 StrSendAscii;

uint8_t *gSecBuf;
int32_t gSecBufSize;
int32_t inbufCount;
static Handle fbHdl;   // fbWrite's block; inbufCount bytes of it are held
static int32_t fbSize; // its size, 0 before it is made

static uint32_t lastEventTick; // of the last pass of XferEvent

// Without the program around it a transfer has no events to serve, and only
// waits for the line.
static transfer_pass pass_alone(uint32_t sleep)
{
    constexpr uint16_t kMask = everyEvent & ~highLevelEventMask;
    EventRecord event;

    return WaitNextEvent(kMask, &event, sleep, nullptr) ? kPassEvent
                                                        : kPassEmpty;
}
transfer_pass (*gTransferPass)(uint32_t sleep) = pass_alone;

// ---- default protocols -----------------------------------------------------

// A protocol's letter, the number behind its item in the menu, and the text of
// the File menu's item while it is the default.
struct protocol_item {
    char letter;
    int16_t item;
    int16_t text;
};

// clang-format off
constexpr protocol_item rcv_items[] = {
    { 'G', 1 + kItemReceiveYmodemG, kStrReceiveYmodemG },
    { 'K', 1 + kItemReceiveKermit, kStrReceiveKermit },
    { 'X', 1 + kItemReceiveXmodem, kStrReceiveXmodem },
    { 'Y', 1 + kItemReceiveYmodem, kStrReceiveYmodem },
    { 'Z', 1 + kItemReceiveZmodem, kStrReceiveZmodem },
    { 'g', 1 + kItemReceiveYmodemG, kStrReceiveYmodemG },
    { 'k', 1 + kItemReceiveKermit, kStrReceiveKermit },
    { 'x', 1 + kItemReceiveXmodem, kStrReceiveXmodem },
    { 'y', 1 + kItemReceiveYmodem, kStrReceiveYmodem },
    { 'z', 1 + kItemReceiveZmodem, kStrReceiveZmodem },
};
constexpr protocol_item send_items[] = {
    { 'K', 1 + kItemSendKermit, kStrSendKermit },
    { 'X', 1 + kItemSendXmodem1K, kStrSendXmodem1K },
    { 'Y', 1 + kItemSendYmodem1K, kStrSendYmodem1K },
    { 'Z', 1 + kItemSendZmodem, kStrSendZmodem },
    { 'k', 1 + kItemSendKermit, kStrSendKermit },
    { 'x', 1 + kItemSendXmodem, kStrSendXmodem },
    { 'y', 1 + kItemSendYmodem, kStrSendYmodem },
    { 'z', 1 + kItemSendZmodem, kStrSendZmodem },
};
// clang-format on
constexpr protocol_item kOtherRcv = {'X', 1 + kItemReceiveXmodem,
                                     kStrReceiveXmodem};
constexpr protocol_item kOtherSend = {'Z', 1 + kItemSendZmodem, kStrSendZmodem};

template <size_t N>
static const protocol_item &find_item(const protocol_item (&rows)[N],
                                      uint8_t letter,
                                      const protocol_item &other)
{
    for (const protocol_item &row : rows)
        if (row.letter == char(letter))
            return row;
    return other;
}

static void set_file_item(int16_t item, int16_t text)
{
    Str255 s;

    GetIndString(s, kListFileItems, text);
    if (FileMenu)
        SetMenuItemText(FileMenu, item, s);
}

static void set_default(char &field, char letter)
{
    if (field != letter) {
        field = letter;
        set_changed = 1;
    }
}

void do_drcv(uint8_t letter)
{
    const protocol_item &row = find_item(rcv_items, letter, kOtherRcv);

    dRcvItem = row.item;
    set_default(cset.rcvProto, row.letter);
    set_file_item(kItemFileReceive, row.text);
}

void do_dsend(uint8_t letter)
{
    const protocol_item &row = find_item(send_items, letter, kOtherSend);

    dSendItem = row.item;
    set_default(cset.sendProto, row.letter);
    set_file_item(kItemFileSend, row.text);
}

// ---- commands --------------------------------------------------------------

static void toggle_capture()
{
    if (asciiReceive) {
        StopCapture();
        return;
    }
    if (!ReceiveFile())
        return;
    OSErr err = StartCapture(&logFSS);
    if (err != noErr)
        ErrorAlertSTR(err, kListErrors, kStrCantOpenFile);
}

void Xreceive(int16_t item)
{
    if (item == 1) {
        toggle_capture();
        return;
    }
    if (item == 2) {
        (void)KermRecv(); // it shows how it ended
        return;
    }
    HiliteMenu(0);
    purgeline();
    int16_t mode = item == 3   ? kModeX
                   : item == 4 ? kModeY
                   : item == 5 ? kModeG
                               : kModeZ;
    (void)rz(mode); // it shows how it ended
}

static void send_ascii()
{
    OSErr err = FSpOpenDF(sendFSS[0], fsRdPerm, &sendRef);
    if (err != noErr) {
        ErrorAlertSTR(err, kListErrors, kStrCantOpenFile);
        return;
    }
    asciiSend = 1;
    asSendFile(sendRef, cset.echoFlag & 1);
    set_file_item(kItemFileSendText, kStrStopText);
}

void Xsend(int16_t item)
{
    if (item == 1 && asciiSend) {
        stop_send();
        return;
    }
    uint8_t letter =
        item >= 1 && item <= 6 ? uint8_t(sendtypes[item - 1]) : uint8_t('Z');
    int32_t files = item < 5 ? Sendfile(item == 1) : MultiGetFile();
    if (files == 0) {
        // An X or Y receiver is waiting already, and would for a minute.
        if (item >= 3 && item <= 6)
            sendline(CAN);
        return;
    }
    if (item == 1) {
        send_ascii();
        return;
    }
    if (item < 5)
        name4host(sendFSS[0]->name, hostnames[0]);
    HiliteMenu(0);
    if (letter != 'Z')
        purgeline();
    if (item == 2) {
        curSendFSS = sendFSS[0];
        (void)KermSend(); // it shows how it ended
        return;
    }
    (void)sz(files, sendFSS, letter); // it shows how it ended
}

void RestoreSendAscii()
{
    if (FileMenu)
        SetMenuItemText(FileMenu, kItemFileSendText, StrSendAscii);
}

// ---- events ----------------------------------------------------------------

int16_t XferEvent(int16_t sleep)
{
    uint32_t now = TickCount();
    bool wouldWait = sleep >= 1;

    // A line that has gone ends a transfer as the user would. It brings no
    // bytes for which events could wait, so each call rests a little.
    const bool lost = sIn == 0;
    if (lost)
        UserCancel = 1;
    if (sleep < 1 || Suspended)
        sleep = 0;
    if (lost && sleep < 1)
        sleep = 1;
    if (wouldWait) {
        // A busy line isn't slowed down by asking for events.
        if (sleep == 0 && now == lastEventTick)
            return 0;
        if (gStillinBuf > kBusyInput &&
            now - lastEventTick < uint32_t(kLookTicks))
            return 0;
    }
    // Requests from outside wait for the main loop; one to quit ends the
    // transfer first.
    if (QuitIsWaiting()) {
        UserCancel = 1;
        return 1;
    }
    for (int i = 0; i < kEventsPerCall; i++) {
        const transfer_pass came = gTransferPass(uint32_t(sleep));
        lastEventTick = sleep > 0 ? TickCount() : now;
        if (came != kPassEvent)
            return came == kPassCancelled;
    }
    return 0;
}

// ---- time and input --------------------------------------------------------

int16_t TimedRead(int16_t, uint8_t *buffer, int32_t count, int32_t ticks)
{
    static int16_t chkEvt;
    uint32_t start = 0; // of the wait, once there is one
    bool waiting = false;
    int32_t got = 0;

    // Events are looked at once in so many calls, however fast bytes come.
    if (++chkEvt > kReadsPerLook) {
        chkEvt = 0;
        (void)XferEvent(0); // UserCancel is looked at below
    }
    for (;;) {
        int16_t n = 1;
        const uint8_t *p = GetBytes(&n);
        if (p) {
            buffer[got++] = *p;
            if (got >= count)
                return 1;
            continue;
        }
        if (UserCancel)
            return 0;
        // The clock is read only when a byte has to be waited for.
        uint32_t now = TickCount();
        if (!waiting)
            start = now;
        waiting = true;
        int32_t left = ticks - int32_t(now - start);
        if (left > kShortWait && XferEvent(1) == 1)
            return 0;
        if (left <= 0)
            return 0;
    }
}

int16_t readline(int16_t tenths)
{
    uint8_t c;

    if (!TimedRead(sIn, &c, 1, int32_t(tenths) * 6))
        return TIMEOUT;
    return int16_t(c & Wcsmask);
}

void purgeline()
{
    Lleft = 0;
    int16_t n = 100;
    const uint8_t *p = GetBytes(&n);
    if (p)
        DispChars(p, n);
}

void zsleep(int32_t seconds)
{
    const uint32_t start = TickCount();

    // The rest lasts its time even after a cancel, but not for a lost line.
    while (sIn != 0 && TickCount() - start < uint32_t(seconds) * 60)
        (void)XferEvent(5);
}

int32_t user_abort()
{
    (void)XferEvent(0);
    return UserCancel;
}

void sendline(uint8_t c)
{
    OutCh(sOut, c);
}

void ResetXferTimer()
{
    GetDateTime(&start_time);
    start_ticks = int32_t(TickCount());
}

// ---- buffers and files -----------------------------------------------------

int32_t AllocXferBuf(int32_t size)
{
    if (size <= gSecBufSize)
        return gSecBufSize;
    Ptr block = NewPtr(size);
    if (!block)
        return gSecBufSize;
    if (gSecBuf)
        DisposePtr(gSecBuf);
    gSecBuf = block;
    gSecBufSize = size;
    return size;
}

uint8_t *GetXferBuf()
{
    return gSecBuf;
}

static void make_block()
{
    int32_t size =
        (qset.fileBufSize + kBlockUnit - 1) / kBlockUnit * kBlockUnit;

    if (size < kLeastBlock)
        size = kUsualBlock;
    fbHdl = NewHandle(size);
    if (!fbHdl) {
        size = kLeastBlock;
        fbHdl = NewHandle(size);
    }
    fbSize = fbHdl ? size : 0;
}

OSErr FSWriteNoCache(int16_t ref, int32_t *count, const uint8_t *bytes)
{
    return FSWriteUncached(ref, count, bytes);
}

OSErr fbWrite(int16_t ref, int32_t count, const uint8_t *bytes)
{
    if (!fbHdl)
        make_block();
    if (count != 0 && count <= fbSize - inbufCount) {
        memcpy(*fbHdl + inbufCount, bytes, size_t(count));
        inbufCount += count;
        return noErr;
    }
    if (inbufCount > 0) {
        int32_t held = inbufCount;
        inbufCount = 0;
        HLock(fbHdl);
        OSErr err = FSWriteNoCache(ref, &held, *fbHdl);
        HUnlock(fbHdl);
        // Nothing goes behind a gap: what is on the disk stays the start of
        // the file, from which the transfer can resume.
        if (err != noErr)
            return err;
    }
    if (count > fbSize)
        return FSWriteNoCache(ref, &count, bytes);
    if (count > 0) {
        memcpy(*fbHdl, bytes, size_t(count));
        inbufCount = count;
    }
    return noErr;
}

// ---- capture ---------------------------------------------------------------

OSErr StartCapture(const FSSpec *spec)
{
    DoNavDisposeReply();
    return OpenCapture(spec, qset.globFlags & kGlobCaptureLines ? 'L' : 'C');
}
