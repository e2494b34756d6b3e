// Pop-up menus in dialogs.
#include "base/DPopup.h"

#include "base/facts.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/events.h"
#include "platform/memory.h"
#include "platform/menus.h"
#include "platform/resources.h"
#include "resources/names.h"

constexpr int16_t kArrowIcon = 128; // small icon of the arrow
constexpr int16_t kIconSize = 16;
constexpr int16_t kSystem65 = 0x0605; // from here on text starts further in
constexpr int32_t kSICNBytes = 32;    // 16 rows of 16 bits

// ---- the table --------------------------------------------------------------
// up_dialog names the dialog of a row whose pop-up is a control, which is that
// dialog's item behind the label.

MenuHandle up_mhdl[kPopUps];
int16_t up_menuid[kPopUps];
int16_t up_cur[kPopUps];
int16_t up_orig[kPopUps];
ControlHandle up_ctl[kPopUps];
static DialogPtr up_dialog[kPopUps];

static bool row_of(int16_t item, int *row)
{
    *row = item / 2;
    return item > 0 && *row < kPopUps;
}

// Label and pop-up of a pair share all bits but the lowest.
static int16_t pop_item(int16_t item)
{
    return int16_t(item | 1);
}

void up_set(DialogPtr dialog, int16_t item, MenuHandle menu, int16_t menuID,
            int16_t selected)
{
    int row;

    if (!row_of(item, &row))
        return;
    up_mhdl[row] = menu;
    up_menuid[row] = menuID;
    up_cur[row] = up_orig[row] = selected;
    up_ctl[row] = nullptr;
    up_dialog[row] = nullptr;
    if (gHaveAppearance) {
        up_dialog[row] = dialog;
        if (menu) {
            InsertMenu(menu, -1);
            SetDialogItemMenu(dialog, pop_item(item), menu);
        }
        SetDialogItemValue(dialog, pop_item(item), selected);
        return;
    }
    if (!menu)
        up_mhdl[row] = menu = GetMenu(menuID);
    if (!menu)
        return;
    CheckMenuItem(menu, selected, true);
    SetDialogItemProc(dialog, pop_item(item), DrawPopItem);
    DrawPop(dialog, pop_item(item), menu, selected);
}

int16_t GetPopVal(int16_t item, int release)
{
    int row;

    if (!row_of(item, &row))
        return 0;
    if (up_dialog[row])
        up_cur[row] = GetDialogItemValue(up_dialog[row], pop_item(item));
    if (release) {
        if (up_mhdl[row])
            DeleteMenu(up_menuid[row]);
        up_dialog[row] = nullptr;
    }
    return up_cur[row];
}

int16_t HdlPop(DialogPtr dialog, int16_t item)
{
    int row;
    int16_t kind;
    Rect label, pop;

    if (!row_of(item, &row) || gHaveAppearance || !up_mhdl[row])
        return 0;
    GetDialogItem(dialog, int16_t(item - 1), &kind, &label);
    GetDialogItem(dialog, item, &kind, &pop);
    int16_t chosen = DoPop(up_mhdl[row], up_menuid[row], up_cur[row], 1, &label,
                           &pop, dialog, item);
    if (chosen > 0)
        up_cur[row] = chosen;
    return chosen;
}

// The mouse was let go inside `box`.
static bool released_inside(const Rect *box)
{
    Point p;

    do
        GetMouse(&p);
    while (StillDown());
    return p.h >= box->left && p.h < box->right && p.v >= box->top &&
           p.v < box->bottom;
}

// Without pop-up menus a click steps through the items.
static int16_t step(MenuHandle menu, int16_t current, const Rect *box)
{
    bool back = (KeyModifiers() & (shiftKey | optionKey)) != 0;
    int16_t count = CountMenuItems(menu);

    if (!released_inside(box))
        return 0;
    if (back)
        return current > 1 ? int16_t(current - 1) : count;
    return current < count ? int16_t(current + 1) : int16_t(1);
}

int16_t DoPop(MenuHandle menu, int16_t menuID, int16_t current, int insert,
              const Rect *labelRect, const Rect *popRect, DialogPtr dialog,
              int16_t item)
{
    int16_t chosen;

    if (havePop) {
        Point corner = {popRect->top, popRect->left};
        LocalToGlobal(&corner);
        InvertRect(labelRect);
        if (insert)
            InsertMenu(menu, -1);
        chosen = int16_t(PopUpMenuSelect(menu, corner.v, corner.h, current) &
                         0xFFFF);
        if (insert)
            DeleteMenu(menuID);
        InvertRect(labelRect);
    } else {
        chosen = step(menu, current, popRect);
    }
    if (chosen > 0 && chosen != current) {
        CheckMenuItem(menu, current, false);
        CheckMenuItem(menu, chosen, true);
        if (dialog)
            DrawPop(dialog, item, menu, chosen);
    }
    return chosen;
}

void DrawPop(DialogPtr dialog, int16_t item, MenuHandle menu, int16_t current)
{
    int16_t kind;
    Rect box;
    Str255 text;

    GetDialogItem(dialog, item, &kind, &box);
    Rect wide = {int16_t(box.top - 2), int16_t(box.left - 2),
                 int16_t(box.bottom + 2), int16_t(box.right + 2)};
    EraseRect(&wide);
    GetMenuItemText(menu, current, text);
    int16_t right = int16_t(box.left + (sysVers >= kSystem65 ? 14 : 12));
    MoveTo(right, int16_t(box.bottom - 5));
    TextFont(0);
    int row;
    if (row_of(item, &row) && up_menuid[row] == kMenuPrintFont) {
        int16_t font;
        GetFNum(text, &font);
        if (FontToScript(font) != smRoman)
            TextFont(font);
    }
    DrawString(text);
    right = int16_t(right + StringWidth(text));
    TextFont(0);
    if (havePop) {
        Rect arrow = {box.top, right, int16_t(box.top + kIconSize),
                      int16_t(right + kIconSize)};
        PlotSICN(&arrow, kArrowIcon);
        right = arrow.right;
    }
    box.right = int16_t(right + 1);
    SetDialogItemRect(dialog, item, &box);
    FrameRect(&box);
    // The shadow: a line below and one to the right.
    MoveTo(int16_t(box.left + 1), box.bottom);
    LineTo(box.right, box.bottom);
    LineTo(box.right, int16_t(box.top + 1));
}

void DrawPopItem(DialogPtr dialog, int16_t item)
{
    int row;

    if (row_of(item, &row) && up_mhdl[row])
        DrawPop(dialog, item, up_mhdl[row], up_cur[row]);
}

void PlotSICN(const Rect *place, int16_t id)
{
    Handle icon = GetResource(FOUR("SICN"), id);

    if (!icon || GetHandleSize(icon) < kSICNBytes)
        return;
    for (int16_t y = 0; y < kIconSize; y++) {
        uint16_t bits = uint16_t((*icon)[2 * y] << 8 | (*icon)[2 * y + 1]);
        for (int16_t x = 0; x < kIconSize; x++) {
            if (!(bits & (0x8000 >> x)))
                continue;
            Rect dot = {int16_t(place->top + y), int16_t(place->left + x),
                        int16_t(place->top + y + 1),
                        int16_t(place->left + x + 1)};
            PaintRect(&dot);
        }
    }
}
