// What the lower folders call in the higher ones: the tables that their own
// headers declare.
#include "serial/PortHooks.h"

#include "automation/AsciiSend.h"
#include "base/MenuBar.h"
#include "base/Program.h"
#include "base/chars.h"
#include "connect/Dial.h"
#include "connect/Settings.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/QuillonWindow.h"
#include "terminal/VT100.h"
#include "transfer/QuickB.h"
#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zstats.h"

// ---- the port ---------------------------------------------------------------

static int32_t view_scrolled()
{
    return scrolled;
}

static void speed_set(int16_t item, int32_t speed)
{
    SetBaud(uint32_t(speed));
    gCarrierRate = uint32_t(speed);
    chkMenu(BaudMenu, item, 1, kSpeeds);
}

static void line_quiet()
{
    if (sendWait == kWaitQuiet)
        sendWait = -1;
}

static void start_transfer(uint8_t trigger)
{
    if (trigger == CAN)
        (void)rz('z');
    else if (trigger == DLE)
        bp_DLE();
    else
        bp_ENQ();
}

static void serve_events(int16_t sleep)
{
    (void)XferEvent(sleep); // a cancel is asked for by itself
}

static bool cancelled()
{
    return UserCancel != 0;
}

static void show_progress()
{
    zprog(Txpos, TotalBytes);
}

static void dump_folder(int16_t *volume, int32_t *folder)
{
    *volume = pgmVRef;
    *folder = pgmDir;
}

const PortHooks gPortHooks = {
    .show = DispChars,
    .scrolled = view_scrolled,
    .lineSet = ShowComm,
    .speedSet = speed_set,
    .lineQuiet = line_quiet,
    .startTransfer = start_transfer,
    .serveEvents = serve_events,
    .cancelled = cancelled,
    .showProgress = show_progress,
    .dumpFolder = dump_folder,
};
