// Sending a file by Kermit.
//
//  state        acknowledged     not, or a NAK     another type, tries used up
//  S init       F                S                 A
//  F header     D                F                 A
//  D data       D; Z at the end  D                 A
//  Z file end   B                Z                 A
//  B break      C                B                 A

#include "base/Sounds.h"
#include "transfer/kermit.h"
#include "transfer/kermitParts.h"

#include "platform/clock.h"
#include "platform/sound.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <algorithm>
#include <cstring>

static bool declined; // the receiver has asked for no more of this file

static uint8_t fail(const char *text)
{
    printerr(text, 0);
    return 'A';
}

enum class reply { taken, again, other };

// What comes back for packet n. A NAK for the next one acknowledges this one.
static reply read_reply()
{
    int16_t length = 0, seq = 0;

    switch (ReadPkt(&length, &seq, recpkt)) {
    case 'Y':
        break;
    case 'N':
        seq = previous_seq(seq);
        length = 0;
        break;
    case 0:
        return reply::again;
    default:
        return reply::other;
    }
    if (seq != n)
        return reply::again;
    // "X": not this file; "Z": none of this batch. The file goes on, as the
    // receiver drops it, but it isn't there at the end.
    if (state == 'D' && length == 1 && (recpkt[0] == 'X' || recpkt[0] == 'Z'))
        declined = true;
    return reply::taken;
}

// ---- the states ------------------------------------------------------------

uint8_t sinit()
{
    int16_t length = 0, seq = 0;

    if (!one_more(numtry)) {
        if (Verbose)
            zprtstat("send_failure called");
        return fail("In init--\ttoo\tmany tries");
    }
    const uint8_t *parms = FillOurParms();
    SendPkt('S', n, int16_t(strlen(reinterpret_cast<const char *>(parms))),
            parms);
    switch (ReadPkt(&length, &seq, recpkt)) {
    case 'N':
    case 0:
        return state;
    case 'Y':
        if (seq != n)
            return state;
        SetAgreedParms(recpkt);
        step_on();
        return 'F';
    }
    return fail("Bad packet type--sinit");
}

uint8_t sfile()
{
    if (!one_more(numtry))
        return fail("Too many tries-- in sfile");
    if (UserCancel)
        return 'A';
    const uint8_t *name = hostnames[0];
    size_t length = strnlen(reinterpret_cast<const char *>(name), 255);
    SendPkt('F', n, int16_t(length), name);
    switch (read_reply()) {
    case reply::again:
        return state;
    case reply::other:
        return fail("Bad packet type--in sfile");
    case reply::taken:
        break;
    }
    ResetXferTimer();
    step_on();
    size = bufill(packet); // of an empty file -1, which sdata sends as nothing
    zprog(Txpos, TotalBytes);
    return 'D';
}

uint8_t sdata()
{
    if (!one_more(numtry))
        return fail("Too many tries--in sdata");
    SendPkt('D', n, std::max<int16_t>(size, 0), packet);
    switch (read_reply()) {
    case reply::again:
        return state;
    case reply::other:
        return fail("Bad packet type--sdata");
    case reply::taken:
        break;
    }
    Txpos += Txbytes;
    if (Tracing()) {
        drawCString(" Txp=");
        printnum(Txpos);
    }
    zprog(Txpos, TotalBytes);
    step_on();
    size = bufill(packet);
    if (size != -1)
        return 'D';
    // What couldn't be read to its end must not pass for a shorter file.
    if (kbfilePos < TotalBytes)
        return fail("The file is shorter than it was");
    return 'Z';
}

uint8_t seof()
{
    if (!one_more(numtry))
        return fail("Too many tries--seof");
    SendPkt('Z', n, 0, packet);
    switch (read_reply()) {
    case reply::again:
        return state;
    case reply::other:
        return fail("Bad packet\ttype--seof");
    case reply::taken:
        break;
    }
    step_on();
    sclose();
    if (declined) {
        zprtstat("Receiver SKIPPED file");
        gSkippedFiles++;
    } else {
        gotEOF = 1;
        gWholeFiles++;
    }
    return 'B';
}

uint8_t sbreak()
{
    if (!one_more(numtry))
        return fail("Too many tries--sbreak");
    SendPkt('B', n, 0, packet);
    switch (read_reply()) {
    case reply::again:
        return state;
    case reply::other:
        return 'A'; // the file is there
    case reply::taken:
        break;
    }
    step_on();
    return 'C';
}

// ---- a whole transfer ------------------------------------------------------

static void prepare()
{
    KermInit();
    crm = kCR;
    Txpos = StartPos = 0;
    gotEOF = 0;
    declined = false;
    gWholeFiles = gSkippedFiles = 0;
    zSendRef = 0;
    zdir = 'S';
    zerchk = 1;
    zshow();
    zNameVol(curSendFSS);
    zftype = 'B';
    Ascii = 0;
    (void)filesize(curSendFSS, 0); // TotalBytes has it
    n = numtry = 0;
    state = 'S';
    if (cant_send(curSendFSS)) {
        gSkippedFiles++;
        state = 'A';
        return;
    }
    if (Ascii)
        crm = 'z';
    ztype();
    zprog(0, TotalBytes);
    ResetXferTimer();
}

static void run_states()
{
    for (;;) {
        switch (state) {
        case 'S':
            state = sinit();
            // The first packet goes with check 1, one that is sent again with
            // the check of the settings.
            UseAgreedCheck();
            break;
        case 'F':
            state = sfile();
            break;
        case 'D':
            state = sdata();
            break;
        case 'Z':
            state = seof();
            break;
        case 'B':
            state = sbreak();
            break;
        default:
            return;
        }
    }
}

int16_t KermSend()
{
    prepare();
    run_states();
    sclose();
    if (Txpos != 0) {
        zperf(curSendFSS->name, start_ticks, int32_t(TickCount()), Txpos, 'S');
        if (!PlaySound(2))
            SysBeep(3);
    }
    zsleep(1);
    zrmv();
    UserCancel = 0;
    return KermEnded() ? 0 : 1;
}
