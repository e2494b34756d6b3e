// Receiving files by Kermit.
//
//  state        what comes                               next
//  R init       "S"                                      F
//  F header     "F"                                      D
//               "B"                                      C
//               "S" or "Z" once more                     F, acknowledged again
//  D data       "D"                                      D
//               "D" or "F" once more                     D, acknowledged again
//               "Z"                                      F
//  any          time-out or damage                       the same, after a NAK
//               another type or number, tries used up    A

#include "base/Sounds.h"
#include "transfer/kermit.h"
#include "transfer/kermitParts.h"

#include "base/pstr.h"
#include "platform/clock.h"
#include "platform/sound.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

#include <cstring>

// ---- the file in work ------------------------------------------------------

static bool dropping; // refused: acknowledged, and nothing of it written
static bool gotData;  // something of it has come

static uint8_t fail(const char *text, int32_t status = 0)
{
    printerr(text, status);
    return 'A';
}

static void acknowledge(int16_t seq)
{
    SendPkt('Y', seq, 0, nullptr);
}

static uint8_t ask_again()
{
    SendPkt('N', n, 0, nullptr);
    return state;
}

static void send_parms(int16_t seq)
{
    const uint8_t *parms = FillOurParms();
    SendPkt('Y', seq, int16_t(strlen(reinterpret_cast<const char *>(parms))),
            parms);
}

// The packet is taken; the tries that it took count for its repetitions.
static void took_packet()
{
    oldtry = numtry;
    step_on();
}

static void drop_file()
{
    dropping = true;
    gSkippedFiles++;
}

// ---- the states ------------------------------------------------------------

uint8_t rinit()
{
    int16_t length = 0, seq = 0;

    if (!one_more(numtry))
        return fail("Too many tries--rinit");
    switch (ReadPkt(&length, &seq, packet)) {
    case 0:
        return ask_again();
    case 'S':
        SetAgreedParms(packet);
        send_parms(n);
        took_packet();
        return 'F';
    }
    return fail("Bad packet\ttype--rinit");
}

// The header of a file, which a refusal of the user's acknowledges, too.
static void begin_file()
{
    dropping = gotData = false;
    gotEOF = 0;
    Eofseen = 0;
    if (procheader(packet) == -1)
        drop_file();
    acknowledge(n);
    took_packet();
    zprog(rxbytes, TotalBytes);
}

uint8_t rfile()
{
    int16_t length = 0, seq = 0;

    if (!one_more(numtry))
        return fail("Too many tries--rfile");
    if (UserCancel)
        return 'A';
    switch (ReadPkt(&length, &seq, packet)) {
    case 0:
        return ask_again();
    case 'F':
        if (seq != n)
            return 'A';
        begin_file();
        return 'D';
    case 'S': // it didn't get our reply
        if (!one_more(oldtry) || seq != previous_seq(n))
            return 'A';
        send_parms(seq);
        numtry = 0;
        return state;
    case 'Z': // the end of the last file once more
        if (!one_more(oldtry) || seq != previous_seq(n))
            return 'A';
        acknowledge(seq);
        numtry = 0;
        return state;
    case 'B':
        if (seq != n)
            return 'A';
        acknowledge(seq);
        return 'C';
    }
    return 'A';
}

// File data at their turn.
static uint8_t take_data(int16_t length)
{
    if (!dropping) {
        gotData = gotData || length > 0;
        int32_t err = bufemp(packet, length);
        if (err == -1)
            drop_file(); // the user doesn't want it
        else if (err != 0)
            return fail("Can't write--rdata", err);
    }
    acknowledge(n);
    took_packet();
    return 'D';
}

// A packet that we have acknowledged already.
static uint8_t repeated(int16_t seq, int16_t length, const char *wrong)
{
    if (!one_more(oldtry))
        return fail("Too many tries--rdata");
    if (seq != previous_seq(n))
        return fail(wrong);
    SendPkt('Y', seq, length, packet);
    numtry = 0;
    return state;
}

// The sender has no more of the file, or by "D" doesn't want it to be kept.
static uint8_t end_file(bool discarded)
{
    acknowledge(n);
    step_on();
    if (dropping)
        return 'F';
    gotEOF = !discarded;
    if (discarded) {
        zprtstat("Sender SKIPPED file");
        gSkippedFiles++;
    } else if (!gotData) {
        int32_t err = zWriteData(0, packet, 0); // makes an empty file
        if (err == -1) {
            drop_file();
            return 'F';
        }
        gotEOF = err == 0;
    }
    if (closeit() != 0 || (!gotEOF && !discarded))
        return fail("Can't keep the file--rdata");
    gWholeFiles += gotEOF;
    return 'F';
}

uint8_t rdata()
{
    int16_t length = 0, seq = 0;

    if (!one_more(numtry))
        return fail("Too many tries--rdata");
    switch (ReadPkt(&length, &seq, packet)) {
    case 0:
        return ask_again();
    case 'D':
        if (seq == n)
            return take_data(length);
        // The answer carries six bytes of what the buffer holds.
        return repeated(seq, 6, "Bad Packet no--rdata");
    case 'F':
        return repeated(seq, 0, "Not previous packet-rdata");
    case 'Z':
        if (seq != n)
            return 'A';
        return end_file(length > 0 && packet[0] == 'D');
    }
    return 'A';
}

// ---- a whole transfer ------------------------------------------------------

static void prepare()
{
    uint8_t none[2] = {0, 0};

    (void)VerifyRcvVol(); // a missing folder shows when the file is made
    KermInit();
    zdir = 'R';
    zprot = 'K';
    zconv = 0;
    gWholeFiles = gSkippedFiles = 0;
    dropping = gotData = false;
    MakeUnique(zRcvName, PSTR(""), zRcvVol);
    needName = 1;
    ResetXferTimer();
    TotalBytes = Bytesleft = kUnknownSize;
    DateMod = 0;
    (void)procheader(none); // without a name there is nothing to skip for
    UserCancel = 0;
    gotEOF = 0;
    rxbytes = StartPos = 0;
    zerchk = 1;
    zshow();
    n = numtry = 0;
    state = 'R';
}

// False when the transfer is over.
static bool run_state()
{
    if (Tracing()) {
        drawCString(" recsw.st=");
        Put_Char(state);
    }
    switch (state) {
    case 'D':
        state = rdata();
        return true;
    case 'F':
        state = rfile();
        return true;
    case 'R':
        state = rinit();
        UseAgreedCheck();
        return true;
    case 'A':
        (void)closeit(); // what came stays as a partial file
        return false;
    case 'C':
        return false;
    }
    return true;
}

int16_t KermRecv()
{
    prepare();
    for (;;) {
        bool cancelled = user_abort() != 0;
        if (!run_state() || cancelled)
            break;
    }
    if (closeit() != 0)
        state = 'A';
    if (rxbytes != 0 && !PlaySound(2))
        SysBeep(3);
    zsleep(1);
    zrmv();
    UserCancel = 0;
    return 0;
}

bool KermEnded()
{
    return state == 'C';
}
