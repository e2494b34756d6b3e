// What the files of the Kermit engine share: the state of one transfer, its
// packets, and the data fields in them. Nobody else includes this.
//
// The lower half: KermInit, then SendPkt and ReadPkt, with FillOurParms and
// SetAgreedParms around the first exchange, bufill and bufemp for file data.
// The upper half (kermitSend.cpp, kermitReceive.cpp) is a switch on `state`.
#pragma once

#include "base/chars.h"

#include <cstdint>

// ---- sizes and waits -------------------------------------------------------

constexpr int32_t kPacketSlack = 200; // of the buffer, over urpsiz

extern int16_t urpsiz;   // largest packet that we accept, 32 to 9024
extern int16_t rpsiz;    // as announced: one less
extern int16_t spmax;    // bound on what we send
extern int16_t spsiz;    // size of what we send, as agreed
extern int16_t spsizr;   // set like spsiz; nothing reads it
extern int16_t timint;   // the other side's wish for a time-out; not used
extern int16_t Ktimeout; // of every read, tenths of a second: 400

// ---- how packets look ------------------------------------------------------

extern int16_t npad;    // pad bytes ahead of each packet
extern uint8_t padchar; // the pad byte
extern uint8_t seol;    // the byte behind a packet

extern uint8_t ctlQuote, hiBitQuote, rptQuote; // "#", "&", "~"
extern uint8_t hiBitQFlag;                     // the 8th bit is quoted
extern uint8_t rptFlag;                        // repeat counts are understood
extern int16_t sq;         // what we offer for the 8th bit: "Y", or the quote
extern int16_t rq;         // what the other side said
extern int16_t rqf;        // -1 not known, 0 none, 1 "Y", 2 a quote of its own
extern uint8_t parityFlag; // not 8 data bits: what comes is masked to 7
extern int16_t lpcapu;     // not 0: the other side takes long packets

// Check types: 1 and 2 are sums of that many bytes, 3 is a CRC, 4 is type 2
// without blanks in it, "B" on the line.
constexpr int16_t kCheckB = 4;

extern int16_t bctr; // check type wished for or agreed
extern int16_t bctu; // check type in use
extern int16_t bctl; // its length in bytes

extern const uint32_t crcta[16], crctb[16]; // CRC-16, a nibble at a time

// ---- the exchange ----------------------------------------------------------

extern uint8_t *packet;    // the transfer buffer: data fields out, and in
extern uint8_t recpkt[94]; // replies, read while sending
extern int16_t rln;        // data length of the last packet read
extern int16_t n;          // packet number, 0 to 63
extern int16_t numtry, oldtry;
extern uint8_t state; // 'S' 'R' 'F' 'D' 'Z' 'B' 'C' complete 'A' aborted
extern int16_t size;  // of the data field to be sent, -1 at the file's end

// ---- file data -------------------------------------------------------------

extern uint8_t kbuffer[256];
extern uint8_t *kbufPtr;  // next byte of it
extern int16_t kbufCount; // bytes left
extern int32_t kbfilePos; // file position of the next read
extern int32_t Txbytes;   // bytes of the file in the field being sent
extern uint8_t crm, lfm;  // a text's CR and LF go as this; 'z': as both
extern int32_t rptn;      // sum of the repeat counts seen; nothing reads it

// ---- the lower half --------------------------------------------------------

void KermInit();

// Our parameters, NUL-ended.
const uint8_t *FillOurParms();

// Takes the other side's parameters, rln bytes.
void SetAgreedParms(const uint8_t *field);

void UseAgreedCheck(); // bctu and bctl from bctr

void SendPkt(uint8_t type, int16_t seq, int16_t length, const uint8_t *field);

// The type of the next packet, or 0 on time-out, damage or cancel. `buffer`
// is `packet` or `recpkt`, of whose length no more is written; two NUL bytes
// follow the field.
uint8_t ReadPkt(int16_t *length, int16_t *seq, uint8_t *buffer);

// The quoting is agreed on: which bytes need none.
void SettlePlain();

// The next field of file data. Returns its length, -1 at the end.
int16_t bufill(uint8_t *buffer);

// Writes what a field means to the file. 0, or the error of zWriteData.
int32_t bufemp(const uint8_t *field, int16_t length);

// A failure of the protocol: tells the other side by a packet "A", closes the
// file, shows the text.
void printerr(const char *text, int32_t status);

void printnum(int32_t value); // the number and a blank, for traces
bool Tracing();               // Verbose asks for packets to be traced

// ---- numbers and tries -----------------------------------------------------

constexpr int16_t next_seq(int16_t seq)
{
    return (seq + 1) & 63;
}

constexpr int16_t previous_seq(int16_t seq)
{
    return seq == 0 ? 63 : int16_t(seq - 1);
}

// One more try. False when there have been 11.
bool one_more(int16_t &tries);

// The step is done: the next packet, with its tries ahead of it.
void step_on();

// ---- the upper half: each state's function returns the next state ----------

uint8_t sinit();
uint8_t sfile();
uint8_t sdata();
uint8_t seof();
uint8_t sbreak();
uint8_t rinit();
uint8_t rfile();
uint8_t rdata();
