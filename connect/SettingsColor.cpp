// The dialogs of colors: eight, or all eighteen that the settings hold.
#include <cstring>

#include "base/DPopup.h"
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"
#include "platform/drawing.h"
#include "platform/resources.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "terminal/VT100.h"

static void redraw_main()
{
    Rect all;

    if (!myWindow)
        return;
    GetWindowPortBounds(myWindow, &all);
    InvalWindowRect(myWindow, &all);
}

// ---- eight colors ----------------------------------------------------------

constexpr const char *kDigits = "01234567";

// clang-format off
constexpr dialog_field eightFields[] = {
    field_popup(kItemColors8TextLabel, GLOBAL(fgColor), kDigits),
    field_popup(kItemColors8BackLabel, GLOBAL(bgColor), kDigits),
    field_on   (kItemColors8Use,       GLOBAL(useColor), 0),
};
// clang-format on
static_assert(dialog_fields_ok(eightFields));

static bool swapBox; // as the dialog shows it

// Whether black and white have changed places in both maps. A map that is
// neither this nor the usual one counts as not swapped.
static bool is_swapped(const qset_t *set)
{
    return set->bgMap[0] == '7' && set->bgMap[7] == '0' &&
           set->fgMap[0] == '7' && set->fgMap[7] == '0';
}

static void swap_maps(qset_t *set, bool swapped)
{
    set->bgMap[0] = set->fgMap[0] = swapped ? '7' : '0';
    set->bgMap[7] = set->fgMap[7] = swapped ? '0' : '7';
}

static void begin_eight(DialogPtr dialog)
{
    SetCtlItem(dialog, kItemColors8Swap, swapBox);
}

static void hit_eight(DialogPtr dialog, int16_t item)
{
    if (item != kItemColors8Swap)
        return;
    swapBox = !swapBox;
    SetCtlItem(dialog, item, swapBox);
}

void color_set()
{
    constexpr settings_dialog eight = {
        kDlgColors8, eightFields, std::size(eightFields),
        begin_eight, hit_eight,   nullptr};
    const qset_t before = qset;
    const settings_target target = {nullptr, nullptr, &qset, nullptr};

    swapBox = is_swapped(&qset);
    if (RunSettings(&eight, &target) == kSettingsCancelled)
        return;
    if (swapBox != is_swapped(&before))
        swap_maps(&qset, swapBox);
    if (memcmp(&qset, &before, sizeof qset) == 0)
        return;
    qsetChanged = 1;
    if (qset.useColor != before.useColor)
        SetColor(1);
    redraw_main();
}

// ---- all colors ------------------------------------------------------------

constexpr int kColors = 18;
static_assert(kItemColorsBrightWhite - kItemColorsFirst == kColors - 1);

static RGBColor patches[kColors]; // as the dialog shows them

constexpr dialog_field colorFields[] = {
    field_on(kItemColorsUse, GLOBAL(useColor), 0),
};
static_assert(dialog_fields_ok(colorFields));

void DrawColorItem(DialogPtr dialog, int16_t item)
{
    constexpr RGBColor black = {0, 0, 0}, grey = {0x8080, 0x8080, 0x8080};
    int16_t kind;
    Rect box;

    if (item < kItemColorsFirst || item > kItemColorsBrightWhite)
        return;
    GetDialogItem(dialog, item, &kind, &box);
    RGBForeColor(&patches[item - kItemColorsFirst]);
    PaintRect(&box);
    RGBForeColor(&grey); // an edge that shows on light and on dark
    FrameRect(&box);
    RGBForeColor(&black);
}

static void begin_colors(DialogPtr dialog)
{
    for (int16_t i = 0; i < kColors; i++)
        SetDialogItemProc(dialog, int16_t(kItemColorsFirst + i), DrawColorItem);
    up_set(dialog, kItemColorsWhichLabel, nullptr, kMenuAllColors, 1);
}

static void hit_colors(DialogPtr dialog, int16_t item)
{
    int16_t kind;
    Rect box;
    Str255 prompt;
    RGBColor chosen;

    if (item == kItemColorsWhich)
        (void)HdlPop(dialog, item); // the table of pop-ups has the choice
    if (item == kItemColorsChange)
        item =
            int16_t(kItemColorsFirst - 1 + GetPopVal(kItemColorsWhichLabel, 0));
    if (item < kItemColorsFirst || item > kItemColorsBrightWhite)
        return;
    RGBColor *patch = &patches[item - kItemColorsFirst];
    GetIndString(prompt, kListTexts, kStrChooseColor);
    if (!GetColor(prompt, patch, &chosen))
        return;
    *patch = chosen;
    GetDialogItem(dialog, item, &kind, &box);
    InvalWindowRect(dialog, &box);
}

static void end_colors()
{
    (void)GetPopVal(kItemColorsWhichLabel, 1);
}

void color2_set()
{
    constexpr settings_dialog colors = {
        kDlgColors,   colorFields, std::size(colorFields),
        begin_colors, hit_colors,  end_colors};
    const qset_t before = qset;
    const settings_target target = {nullptr, nullptr, &qset, nullptr};

    memcpy(patches, qset.rgbTable, sizeof patches);
    if (RunSettings(&colors, &target) == kSettingsCancelled)
        return;
    memcpy(qset.rgbTable, patches, sizeof patches);
    // The other sixteen are looked up when they are used, and reach the book
    // at the next save, which compares the bytes.
    if (qset.useColor == before.useColor &&
        memcmp(qset.rgbTable, before.rgbTable, 2 * sizeof(RGBColor)) == 0)
        return;
    SetColor(1);
    qsetChanged = 1;
    redraw_main();
}
