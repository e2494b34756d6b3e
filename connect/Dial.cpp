// The Dial menu's choices, and what goes to the modem.
#include "connect/Dial.h"

#include "base/pstr.h"
#include "connect/DialDir.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/events.h"
#include "platform/resources.h"
#include "resources/names.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"

// ---- constants -------------------------------------------------------------

constexpr uint8_t kHangUpByDTR = 1; // modemFlags

// ---- state -----------------------------------------------------------------

DialogPtr ddlog;
WindowPtr ddwin;
uint32_t gCarrierRate = 38400;

// ---- functions -------------------------------------------------------------

// An entry chosen in the menu.
static void choose_entry(int16_t index, uint16_t modifiers)
{
    if (modifiers & shiftKey) {
        ddSetMark(index, -1);
        return;
    }
    gConnectionHooks.stopScript();
    int16_t before = curDialItem;
    if (!loadSettings(index))
        return;
    if (curDialItem != before)
        FinishSetup();
    if (modifiers & cmdKey)
        SetDefServ(index);
}

void do_dial(int16_t item, uint16_t modifiers)
{
    if (item == kItemDialDirectory)
        DialDir();
    else if (item == kItemDialSave)
        sav_setup(nullptr);
    else if (item >= kDialFirstItem && item < kDialFirstItem + ddCount)
        choose_entry(int16_t(item - kDialFirstItem), modifiers);
}

// String `index` of the modem list, byte by byte; pauses and breaks are
// written into it.
static void send_modem_string(int16_t index)
{
    Str255 text;
    char bytes[256];

    GetFromStrList(GetResource(FOUR("STR#"), modem_res), index, text);
    CopyPascalStringToC(text, bytes);
    gConnectionHooks.modemString(reinterpret_cast<uint8_t *>(bytes));
}

void HangUp()
{
    Str255 text;

    if (qset.globFlags & kGlobAskHangUp) {
        GetIndString(text, kListTexts, kStrAskHangUp);
        ParamText(text, nullptr, nullptr, nullptr);
        if (Alert(kAlertAsk) != 1)
            return;
    }
    if (qset.modemFlags & kHangUpByDTR) {
        MyDTRNegate();
        Delay(60, nullptr);
        MyDTRAssert();
        return;
    }
    send_modem_string(7);
    ReadPort();
    send_modem_string(8);
}

void SendModInit()
{
    Str255 text;

    GetGlob(kGlobModemInit, text);
    writeps(text);
}

void SendModDeInit()
{
    Str255 text;

    GetGlob(kGlobModemDeInit, text);
    if (text[0])
        writeps(text);
}
