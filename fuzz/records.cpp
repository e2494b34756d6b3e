// Records and lists of any bytes, as a book of sound structure may hold them:
// taken up, shown and saved again.
#include "connect/DialDir.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/appleevents.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"
#include "tests/support/sandbox.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

// The program is started once on a book of its own; each input then replaces
// the entry, its list, the settings and the global strings.
static void start()
{
    const char *why;
    int argc = 0;

    fresh_sandbox(true);
    be_start(&argc, nullptr, &why);
    hl_line_open(HL_SOCKET);
    ae_queue_start(nullptr, 0);
    InitProgram();
    for (int i = 0; i < 20 && !myWindow; i++) {
        hl_answer(2); // no port
        MainEventLoop(kAllEvents, kModeSmall);
    }
    if (!myWindow || !DialHdl)
        abort();
}

static void fill(Handle h, const uint8_t **bytes, size_t *left, size_t most)
{
    size_t count = *left < most ? *left : most;

    SetHandleSize(h, int32_t(count));
    memcpy(*h, *bytes, count);
    *bytes += count;
    *left -= count;
}

// The list that an entry of an older layout has got, so that the numbers for
// such lists don't run out.
static void drop_new_list()
{
    for (int16_t i = 1; i <= Count1Resources(FOUR("STR#")); i++) {
        Handle list = Get1IndResource(FOUR("STR#"), i);
        int16_t id = 0;
        GetResInfo(list, &id, nullptr, nullptr);
        if (id < 3500)
            continue;
        RemoveResource(list);
        DisposeHandle(list);
        break;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    static bool started;

    if (!started)
        start();
    started = true;
    if (size < 2)
        return 0;

    // How long the two fixed records are; the rest is the lists'.
    size_t dialLen = bytes[0], qsetLen = size_t(bytes[1]) * 2;
    bytes += 2;
    size -= 2;
    Handle entry = ddHdls[curDialItem];
    fill(entry, &bytes, &size, dialLen);
    fill(qsHdl, &bytes, &size, qsetLen);
    fill(gLocalStrings, &bytes, &size, size / 2);
    fill(gGlobStrings, &bytes, &size, size);

    uint8_t image[kQsetLen] = {};
    memcpy(image, *qsHdl,
           size_t(GetHandleSize(qsHdl) < kQsetLen ? GetHandleSize(qsHdl)
                                                  : kQsetLen));
    copy_qsetup_swaps(image, &qset);
    do_setup(entry, PSTR("fuzz"));
    if (!gLocalStrings)
        gLocalStrings = NewStrList();
    FinishSetup();
    CheckLocalStrings();
    ddGetList();
    ddMenuFromList();
    hl_ask_answer(true, {}, 2);
    (void)chkSetChg();
    DispChars(reinterpret_cast<const uint8_t *>("\x1b[0mx\x05\r\n"), 8);
    DoUpdate(myWindow);
    if (!rows_ok() || ddCount < 1)
        abort();
    drop_new_list();
    return 0;
}
