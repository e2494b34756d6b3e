// The dialogs of file transfers, of ZMODEM, and of printing.
#include <cstdint>
#include <iterator>

#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "connect/LineSetters.h"
#include "platform/printing.h"
#include "platform/resources.h"
#include "resources/names.h"

// ---- file transfer ---------------------------------------------------------
// What counts of a packet length is what Kermit makes of it. What is typed is
// kept as it is.

constexpr const char *kRcvLetters = "kXYGZ";   // menu 463
constexpr const char *kSendLetters = "kxXyYZ"; // menu 464
constexpr const char *kChecks = "\1\2\3";      // menu 462

static int32_t packet_length(int32_t length)
{
    constexpr int32_t kShort = 94, kLeast = 32, kMost = 9024;

    return length < kLeast ? kShort : length > kMost ? kMost : length;
}

// clang-format off
constexpr dialog_field transferFields[] = {
    field_popup (kItemTransfersSendLabel,    CONNECTION(sendProto),
                 kSendLetters),
    field_popup (kItemTransfersReceiveLabel, CONNECTION(rcvProto),
                 kRcvLetters),
    field_popup (kItemTransfersNamesLabel,   CONNECTION(hostNames)),
    field_popup (kItemTransfersXmodemLabel,  CONNECTION(xferFlags), kOneToOne,
                 kXfer1K | kXferChecksum),
    field_popup (kItemTransfersCheckLabel,   CONNECTION(kermCheck), kChecks,
                 3),
    field_number(kItemTransfersLength,       CONNECTION(kermLen), 0, UINT16_MAX,
                 packet_length),
    field_on    (kItemTransfersBPlus,        CONNECTION(xferFlags), kXferBPlus),
};
// clang-format on
static_assert(dialog_fields_ok(transferFields));

void xfer_set()
{
    constexpr settings_dialog transfers = {kDlgTransfers, transferFields,
                                           std::size(transferFields), nullptr,
                                           nullptr};
    const settings_target target = {&cset, gLocalStrings, nullptr, nullptr};
    const char receive = cset.rcvProto, send = cset.sendProto;

    if (RunSettings(&transfers, &target) != kSettingsChanged)
        return;
    set_changed = 1;
    if (cset.rcvProto != receive)
        gProtocolHooks.receive(uint8_t(cset.rcvProto));
    if (cset.sendProto != send)
        gProtocolHooks.send(uint8_t(cset.sendProto));
}

// ---- ZMODEM ----------------------------------------------------------------

constexpr const char *kBlockLetters = "A25k";

// Records of old have a capital there.
static int32_t block_letter(int32_t letter)
{
    return letter == 'K' ? 'k' : letter;
}

static int32_t send_window(int32_t bytes)
{
    constexpr int32_t kLeast = 256, kMost = 16384, kStep = 64;

    if (bytes <= 0)
        return 0;
    if (bytes < kLeast)
        return kLeast;
    return bytes > kMost ? kMost : bytes - bytes % kStep;
}

static void fill_start(DialogPtr dialog, int16_t item)
{
    if (item == kItemZmodemUseRz)
        SetCCText(dialog, kItemZmodemStart, PSTR("rz\r"));
    else if (item == kItemZmodemUseUz)
        SetCCText(dialog, kItemZmodemStart, PSTR("uz\r"));
}

// clang-format off
constexpr dialog_field zmodemFields[] = {
    field_of    (kItemZmodemStart,  kFieldControl,
                 connection_string(kStrZStart)),
    field_radio (kItemZmodemBlock,  CONNECTION(zBlockChar), 4, kBlockLetters, 0,
                 block_letter),
    field_on    (kItemZmodemEscape, CONNECTION(zFlags), 1),
    field_number(kItemZmodemWindow, CONNECTION(zWindow), INT32_MIN, INT32_MAX,
                 nullptr, send_window),
};
// clang-format on
static_assert(dialog_fields_ok(zmodemFields));
static_assert(kItemZmodemBlock1024 == kItemZmodemBlock + 3);

void zmod_parms()
{
    constexpr settings_dialog zmodem = {
        kDlgZmodem, zmodemFields, std::size(zmodemFields), nullptr, fill_start};
    const settings_target target = {&cset, gLocalStrings, nullptr, nullptr};

    if (RunSettings(&zmodem, &target) == kSettingsChanged)
        set_changed = 1;
}

// ---- printing --------------------------------------------------------------

// clang-format off
constexpr dialog_field printFields[] = {
    field_menu  (kItemPrintingFontLabel, global_string(kGlobPrintFont),
                 kMenuPrintFont, true),
    field_number(kItemPrintingSize,      GLOBAL(printFontSize), 4, 72),
    field_off   (kItemPrintingHeader,    GLOBAL(printHeaderOff), 0),
    field_of    (kItemPrintingTop,       kFieldPoints, GLOBAL(pageMargins.top)),
    field_of    (kItemPrintingLeft,      kFieldPoints,
                 GLOBAL(pageMargins.left)),
    field_of    (kItemPrintingBottom,    kFieldPoints,
                 GLOBAL(pageMargins.bottom)),
    field_of    (kItemPrintingRight,     kFieldPoints,
                 GLOBAL(pageMargins.right)),
};
// clang-format on
static_assert(dialog_fields_ok(printFields));

static void show_units(DialogPtr dialog)
{
    Str255 unit;

    GetIndString(unit, kListTexts, IsMetric() ? kStrMillimeters : kStrInches);
    for (int16_t i = kItemPrintingTopUnit; i <= kItemPrintingRightUnit; i++)
        SetDialogItemText(dialog, i, unit);
}

void prt_options()
{
    constexpr settings_dialog printing = {
        kDlgPrinting, printFields, std::size(printFields), show_units, nullptr};
    const settings_target target = {nullptr, nullptr, &qset, gGlobStrings};

    if (RunSettings(&printing, &target) == kSettingsChanged)
        qsetChanged = 1;
}
