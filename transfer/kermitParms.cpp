// Kermit's parameters: what this side wants, and what both agree on in the
// first exchange.

#include "transfer/kermitParts.h"

#include "connect/Settings.h"
#include "serial/IOKitSerial.h"
#include "transfer/rz.h"
#include "transfer/xmodem.h"
#include "transfer/zstats.h"

#include <algorithm>

// ---- constants -------------------------------------------------------------

constexpr int32_t kLeastLength = 32; // a setting below means the usual length
constexpr int16_t kUsualLength = 94;
constexpr int16_t kMostLength = 9024; // two digits to the base of 95
constexpr int16_t kPoorLength = 80;   // of a side that says nothing usable
constexpr int16_t kTooShort = 9;
constexpr uint8_t kOurQuote = '#';
constexpr uint8_t kOurHiBit = '&';
constexpr uint8_t kOurRepeat = '~';
constexpr uint8_t kLongPackets = 2; // bit of a capability byte
constexpr uint8_t kMoreBytes = 1;   // another one follows

// Places in the field of parameters.
enum : int16_t {
    kMaxl,
    kTime,
    kNpad,
    kPadc,
    kEol,
    kQctl,
    kQbin,
    kChkt,
    kRept,
    kCapas,
    kWindo,
    kMaxlx1,
    kMaxlx2,
    kParms,
};

// ---- state -----------------------------------------------------------------

uint8_t ctlQuote, hiBitQuote, rptQuote;
uint8_t hiBitQFlag, rptFlag;
int16_t sq, rq, rqf;
uint8_t parityFlag;
int16_t lpcapu;

static bool eight_bits()
{
    return data == kData8;
}

void KermInit()
{
    kbfilePos = 0;
    kbufCount = 0;
    npad = 0;
    padchar = 0;
    UserCancel = 0;
    seol = kCR;
    ctlQuote = kOurQuote;
    rptQuote = kOurRepeat;
    hiBitQuote = kOurHiBit;
    zprot = 'K';

    // The dialog stores what is typed.
    urpsiz = cset.kermLen < kLeastLength
                 ? kUsualLength
                 : int16_t(std::min<int32_t>(cset.kermLen, kMostLength));
    int32_t room = AllocXferBuf(urpsiz + kPacketSlack);
    if (room < urpsiz + kPacketSlack)
        urpsiz = int16_t(room - kPacketSlack);
    spmax = spsiz = spsizr = urpsiz;
    packet = GetXferBuf();

    rqf = -1;
    rq = 0;
    sq = 'Y';
    bctl = bctu = 1;
    parityFlag = !eight_bits();
    bctr = cset.kermCheck & 3;
    if (bctr == 0) {
        bctr = 1;
        cset.kermCheck |= 1;
    }
    hiBitQFlag = 0;
    rptFlag = 0;
}

// A number as a character of a packet.
static uint8_t tochar(int32_t value)
{
    return uint8_t(value + 32);
}

static int16_t unchar(uint8_t c)
{
    return (c - 32) & 255;
}

const uint8_t *FillOurParms()
{
    static uint8_t parms[kParms + 1];

    rpsiz = urpsiz - 1;
    if ((rqf == -1 || rqf == 1) && !eight_bits())
        sq = hiBitQuote = kOurHiBit;

    parms[kMaxl] = rpsiz < 95 ? tochar(rpsiz) : uint8_t('~');
    parms[kTime] = tochar(10); // seconds
    parms[kNpad] = tochar(0);
    parms[kPadc] = 64; // NUL
    parms[kEol] = tochar(kCR);
    parms[kQctl] = kOurQuote;
    parms[kQbin] = uint8_t(sq);
    parms[kChkt] = bctr == kCheckB ? uint8_t('B') : uint8_t(bctr + '0');
    parms[kRept] = rptFlag ? rptQuote : kOurRepeat;
    parms[kCapas] = tochar(kLongPackets);
    parms[kWindo] = tochar(1);
    parms[kMaxlx1] = tochar(rpsiz / 95);
    parms[kMaxlx2] = tochar(rpsiz % 95);
    parms[kParms] = 0;
    return parms;
}

// ---- agreeing --------------------------------------------------------------

static bool is_quote(int16_t c)
{
    return (c >= 33 && c <= 62) || (c >= 96 && c <= 126);
}

static void agree_format(const uint8_t *d)
{
    spsiz = rln > kMaxl ? unchar(d[kMaxl]) : 0;
    if (spsiz <= kTooShort)
        spsiz = kPoorLength;
    timint = rln > kTime ? unchar(d[kTime]) : 10;
    npad = rln > kNpad ? unchar(d[kNpad]) : 0;
    padchar = rln > kPadc ? d[kPadc] ^ 64 : 0;
    int16_t end = rln > kEol ? d[kEol] - 32 : kCR;
    seol = end >= 2 && end <= 31 ? uint8_t(end) : kCR;
}

static void agree_quotes(const uint8_t *d)
{
    ctlQuote = rln > kQctl && is_quote(d[kQctl]) ? d[kQctl] : kOurQuote;

    rq = rln > kQbin ? d[kQbin] : 0;
    rqf = rq == 'Y' ? 1 : is_quote(rq) ? 2 : 0;
    if (rqf == 1 && !eight_bits()) {
        hiBitQFlag = 1;
        hiBitQuote = kOurHiBit;
    } else if (rqf == 2) {
        hiBitQFlag = hiBitQuote == sq || sq == 'Y';
        hiBitQuote = uint8_t(rq);
    } else if (rqf == 0) {
        hiBitQFlag = 0;
    }

    rptFlag = 0;
    if (rln > kRept) {
        rptQuote = d[kRept];
        rptFlag = is_quote(rptQuote);
    }
}

static void agree_check(const uint8_t *d)
{
    const int16_t most = cset.kermCheck & 3;

    bctr = 1;
    if (rln > kChkt)
        bctr = d[kChkt] == 'B' ? kCheckB : int16_t(d[kChkt] - '0');
    if (bctr < 1 || bctr > kCheckB)
        bctr = 1;
    if (bctr == kCheckB)
        bctr = most < 2 ? 1 : kCheckB;
    else
        bctr = std::min(bctr, most);
    zerchk = bctr == 3 ? 2 : bctr == 1 ? 1 : 3;
    zecheck();
}

// The capability bytes are as many as say that another one follows; the window
// and the length of long packets stand behind them.
static void agree_long(const uint8_t *d)
{
    lpcapu = 0;
    if (rln <= kCapas)
        return;
    int16_t c = unchar(d[kCapas]);
    lpcapu = c & kLongPackets;
    int16_t i = kCapas + 1;
    while ((c & kMoreBytes) && i != rln)
        c = unchar(d[i++]);
    if (!lpcapu || rln <= i + 1)
        return;
    int32_t low = rln > i + 2 ? unchar(d[i + 2]) : 0;
    int32_t most = unchar(d[i + 1]) * 95 + low;
    spsiz = int16_t(std::min<int32_t>(most, spmax));
    if (spsiz <= kTooShort)
        spsiz = kPoorLength;
}

void SetAgreedParms(const uint8_t *field)
{
    agree_format(field);
    agree_quotes(field);
    agree_check(field);
    agree_long(field);
    SettlePlain();
}
