// The setters of the connection's line.
#include "connect/LineSetters.h"

#include "automation/AsciiSend.h"
#include "base/ErrMsg.h"
#include "base/MenuBar.h"
#include "base/facts.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "transfer/zmaclo.h"

protocol_hooks gProtocolHooks = {[](uint8_t) {}, [](uint8_t) {}};

void do_parity(char letter)
{
    int16_t word = kParityNone;
    char stored = 'N';

    if (letter == 'E') {
        word = kParityEven;
        stored = 'E';
    } else if (letter == 'O') {
        word = kParityOdd;
        stored = 'O';
    }
    if (word != parity)
        set_changed = 1;
    parity = word;
    cset.parityChar = stored;
    set_port();
}

void do_sbit(char letter)
{
    uint16_t word = kStop1;
    char stored = '1';

    if (letter == '2') {
        word = kStop2;
        stored = '2';
    } else if (letter == '5') {
        word = kStop15;
        stored = '5';
    }
    if (word != stopBits)
        set_changed = 1;
    stopBits = word;
    cset.stopChar = stored;
    set_port();
}

void do_dbit(char letter)
{
    int16_t word = letter == '7' ? kData7 : kData8;

    if (word != data)
        set_changed = 1;
    data = word;
    cset.dataChar = letter == '7' ? '7' : '8';
    set_port();
}

void set_echo(uint8_t on)
{
    if (cset.echoFlag != on)
        set_changed = 1;
    cset.echoFlag = on;
    localEcho = on;
}

void set_xon(uint8_t value)
{
    constexpr uint32_t kWait = 60; // ticks for CTS to come

    if (value == 1)
        value = kFlowXon;
    cset.flowFlags = value;
    SetFlow(value);
    if (value & kFlowCTS) {
        uint32_t until = TickCount() + kWait;
        while (ctsHeld() && TickCount() < until)
            Delay(1, nullptr);
        if (ctsHeld()) {
            ShowWarnSTR(kListErrors, kStrNoCTS);
            cset.flowFlags = uint8_t(value & ~kFlowHard);
            SetFlow(cset.flowFlags);
            return;
        }
    }
    if ((value & kFlowRTS) && sysVers < 1536)
        (void)CautionAlert(kAlertFlowMayLose);
}

void set_buf_save()
{
    CheckMenuItem(EditMenu, kItemEditKeepLines, (cset.bufFlags & 1) == 0);
}

void set_dconv(char letter)
{
    int16_t item = 1;
    char stored = letter;

    switch (letter) {
    case 'M':
        item = 2;
        break;
    case 'B':
        item = 3;
        break;
    case 'T':
        item = 4;
        break;
    default:
        stored = 'S';
        break;
    }
    if (cset.dconvChar != uint8_t(stored))
        set_changed = 1;
    op_xconv = stored;
    cset.dconvChar = uint8_t(stored);
    chkMenu(xconvMenu, int16_t(item + xconvOffset), int16_t(1 + xconvOffset),
            int16_t(4 + xconvOffset));
}
