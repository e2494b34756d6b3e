// serial/IOKitSerial.cpp
// The list of ports, the open port, and the line's settings.
#include "serial/IOKitSerial.h"

#include <cerrno>

#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/pstr.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/line.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/prefs.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "serial/ModemIO.h"
#include "serial/PortHooks.h"

constexpr int32_t kNameBlock = 256;
constexpr uint32_t kRetryTicks = 30; // between two looks for a lost device
constexpr uint32_t kLongestRetry = 600;
constexpr uint32_t kStood = 120;     // a port open for so long was a good one
constexpr int32_t kSlowestReal = 40; // "breakSim" up to this: a real break
constexpr int32_t kBreakSpeed = 300; // "breakSim" when nothing is stored
constexpr int32_t kPortTop = 230400;
constexpr int32_t kLeastBuffer = 1024, kMostBuffer = 30720, kBuffer = 4096;

// clang-format off
const int32_t bd_tbl[kSpeeds + 1] = {
    0, 300, 1200, 2400, 4800, 9600, 14400, 19200, 28800, 38400, 57600,
    115200, 230400,
};
const int16_t bd_codes[kSpeeds + 1] = {
    0, 380, 94, 46, 22, 10, 6, 4, 2, 1, 0, 14, 6,
};
// clang-format on

// ---- the list of ports ------------------------------------------------------

uint8_t *gPortNames[kMaxPorts];
uint8_t *gPortDevInNames[kMaxPorts];
uint8_t *gPortDevOutNames[kMaxPorts];
int32_t gDevCount;
int16_t gPortIndex;
uint8_t gPortOverride[52];
MenuHandle devMenuHdl;

// ---- the open port and its line ---------------------------------------------

int16_t sIn, sOut;
int32_t Baudrate = 38400;
int16_t baud;
int16_t bd_item;
int16_t data = kData8;
int16_t parity = kParityNone;
uint16_t stopBits = kStop1;
uint8_t gXferRestore;
int32_t gMaxPortSpeed;
uint8_t gDMASerial;

static int16_t sv_data, sv_parity; // line shape before a transfer; 0: none

// ---- a device that went away ------------------------------------------------
// Set by the port's loss, over when the port opens or the user closes it. A
// device that opens and is gone again without a byte is looked for at ever
// longer intervals, as each time costs a message and maybe a process.

static bool retrying;
static uint32_t lastLook; // tick
static uint32_t retryTicks = kRetryTicks;
static uint32_t openedAt;      // tick
static int32_t readsAtOpening; // cntRead then

// ---- the list of ports ------------------------------------------------------

static void store(uint8_t **slot, ConstStr text)
{
    if (!*slot)
        *slot = NewPtr(kNameBlock);
    if (*slot)
        pstrcpy(*slot, text ? text : PSTR(""));
}

void StorePortEntry(int16_t index, ConstStr name, ConstStr inPath,
                    ConstStr outPath)
{
    if (index < 0 || index >= kMaxPorts)
        return;
    // A name slot is taken in any case: an empty one ends the walk through
    // the list.
    if (name || !gPortNames[index])
        store(&gPortNames[index], name);
    if (inPath)
        store(&gPortDevInNames[index], inPath);
    if (outPath)
        store(&gPortDevOutNames[index], outPath);
    gDevCount = index + 1;
}

int16_t IOKitBuildSerial()
{
    static PortEntry found[kMaxPorts]; // 20 KB: too much for the stack
    int count = port_list(found, kMaxPorts);
    Str255 path;

    for (int i = 0; i < count; i++) {
        CopyCStringToPascal(found[i].path, path);
        StorePortEntry(int16_t(i), found[i].name, path, nullptr);
    }
    return 0;
}

void BuildPortList()
{
    IOKitBuildSerial();
}

void buildDevMenu()
{
    IOKitBuildSerial();
    devMenuHdl = GetMenu(kMenuPort);
    if (!devMenuHdl)
        return;
    for (int32_t i = 0; i < gDevCount && i < kMaxPorts; i++) {
        if (!gPortNames[i])
            continue;
        if (CountMenuItems(devMenuHdl) < i + 1)
            AppendMenu(devMenuHdl, sp_str);
        SetMenuItemText(devMenuHdl, int16_t(i + 1), gPortNames[i]);
    }
    InsertMenu(devMenuHdl, -1);
}

int16_t GetPortNames(uint8_t *name, uint8_t *inPath, uint8_t *outPath)
{
    Str255 wanted;

    if (gPortOverride[0] > 0)
        pstrcpy(wanted, gPortOverride);
    else
        GetGlob(kGlobPort, wanted);
    if (name)
        pstrcpy(name, wanted);
    gPortIndex = 0;
    if (!inPath && !outPath)
        return 0;
    for (int16_t i = 0; i < gDevCount && i < kMaxPorts && gPortNames[i]; i++) {
        if (IdenticalString(gPortNames[i], wanted) != 0 || !gPortDevInNames[i])
            continue;
        gPortIndex = i;
        if (inPath)
            pstrcpy(inPath, gPortDevInNames[i]);
        if (outPath)
            pstrcpy(outPath, gPortDevInNames[i]);
        return 0;
    }
    // What no list can hold, such as a pseudo-terminal made a moment ago, is
    // called by its path.
    if (wanted[0] > 0 && wanted[1] == '/') {
        if (inPath)
            pstrcpy(inPath, wanted);
        if (outPath)
            pstrcpy(outPath, wanted);
    }
    return 0;
}

void SetModem(ConstStr name)
{
    (void)SetGlob(kGlobPort, name);
}

// ---- opening and closing ----------------------------------------------------

int16_t SerAlloc()
{
    int32_t size = qset.inBufSize;

    gPortOverride[0] = 0;
    if (size < kLeastBuffer || size > kMostBuffer)
        size = kBuffer;
    serialBuffPtr = NewPtrClear(size);
    awbuf1 = NewPtr(kBlockSize);
    awbuf2 = NewPtr(kBlockSize);
    awPBuf = NewPtr(kBlockSize);
    outHist = NewPtrClear(kHistSize);
    lineBuff = NewPtr(kReadSize);
    awPtr = awPBuf;
    return serialBuffPtr && awbuf1 && awbuf2 && awPBuf && outHist && lineBuff
               ? 0
               : 1;
}

// The error in words, with the reason where one can be found.
static void report_open(int16_t error, const char *path)
{
    Str255 text, why;

    port_why(path, error, why);
    GetIndString(text, kListErrors, kStrCantOpenPort);
    if (why[0] > 0) {
        pstrcatchr(text, ' ');
        pstrcat(text, why);
    }
    PrtError(error, text);
}

// Opens the chosen port; 0 or the errno. A path that starts empty stays so
// when the name is in no list, and then opening fails.
static int16_t try_open(char *path)
{
    Str255 in = {0}, out = {0};

    GetPortNames(nullptr, in, out);
    sIn = sOut = 0;
    pb1.bytesLeft = pb2.bytesLeft = 0;
    awCnt = 0;
    awPtr = awPBuf;
    CopyPascalStringToC(in, path);
    int fd = line_open(path);
    if (fd < 0)
        return int16_t(-fd);
    sIn = sOut = int16_t(fd);
    gDMASerial = 0;
    gMaxPortSpeed = kPortTop;
    retrying = false;
    openedAt = TickCount();
    readsAtOpening = cntRead;
    set_port();
    return 0;
}

int16_t OpenModem()
{
    char path[kNameBlock];
    int16_t error = try_open(path);

    if (error != 0)
        report_open(error, path);
    return error;
}

void CloseModem()
{
    retrying = false;
    if (sIn == 0)
        return;
    awKill(); // what was still owed was for this line
    line_close();
    sIn = sOut = 0;
}

int16_t LoseModem()
{
    bool useless = cntRead == readsAtOpening && TickCount() - openedAt < kStood;
    int16_t error = EIO;

    CloseModem();
    if (!useless)
        retryTicks = kRetryTicks;
    else if (retryTicks < kLongestRetry)
        retryTicks *= 2;
    if (!useless || retryTicks == 2 * kRetryTicks)
        error = OpenModem();
    if (error != 0) {
        retrying = true;
        lastLook = TickCount();
    }
    return error;
}

int16_t RetryModem()
{
    Str255 in = {0};
    char path[kNameBlock];

    if (!retrying || sIn != 0 || TickCount() - lastLook < retryTicks)
        return 0;
    lastLook = TickCount();
    GetPortNames(nullptr, in, nullptr);
    CopyPascalStringToC(in, path);
    // A device that has just come may refuse for a moment, until its rights
    // are set: no word of that, there is another look in half a second.
    return port_present(path) && try_open(path) == 0;
}

// ---- the line ---------------------------------------------------------------

static char parity_letter()
{
    if (parity == kParityEven)
        return 'E';
    return parity == kParityOdd ? 'O' : 'N';
}

void set_port()
{
    // stopBits is left out on purpose: the line has one stop bit whatever the
    // menu shows.
    (void)line_shape(sIn, Baudrate, data == kData7 ? 7 : 8, parity_letter(),
                     cset.flowFlags);
    gPortHooks.lineSet();
}

void SetFlow(int16_t flags)
{
    (void)line_flow(sIn, uint8_t(flags));
}

int16_t Baud2Item(int32_t speed)
{
    for (int16_t i = 1; i <= kSpeeds; i++) {
        if (bd_tbl[i] == speed)
            return i;
    }
    return kSpeedFallback;
}

void set_baud(int32_t speed)
{
    int16_t item = Baud2Item(speed);

    baud = bd_codes[item];
    Baudrate = bd_tbl[item];
    gPortHooks.speedSet(item, Baudrate);
    bd_item = item;
    set_port();
}

void xfer_port(uint8_t restore)
{
    if (!restore) {
        // Called twice on a 7-bit line, this saves the shape of the transfer,
        // and the line stays at eight bits afterwards.
        sv_data = data;
        sv_parity = parity;
        if (data != kData8) {
            data = kData8;
            parity = kParityNone;
            set_port();
        }
    } else if (sv_data != data && sv_data != 0) {
        data = sv_data;
        parity = sv_parity;
        set_port();
    }
    gXferRestore = 0;
}

void DoBreak(int16_t duration)
{
    bool stored;
    int32_t speed = PrefInteger("breakSim", &stored);

    if (!stored)
        speed = kBreakSpeed;
    if (speed > kSlowestReal) {
        // At this speed the zero bits of a NUL last as long as a break.
        const uint8_t nul = 0;
        (void)line_speed(sIn, speed, false);
        Delay(1, nullptr);
        (void)line_send(sOut, &nul, 1);
        Delay(1, nullptr);
        (void)line_speed(sIn, Baudrate, true);
        return;
    }
    int error = line_break(sOut, duration);
    if (error != 0)
        PrtError(int16_t(error), PSTR("in tcsendbreak"));
}

// ---- hooks ------------------------------------------------------------------

void MyDTRAssert() {}
void MyDTRNegate() {}
void hdl_flow() {}
void do_CTB_init() {}
