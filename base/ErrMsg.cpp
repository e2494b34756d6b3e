// How failures are reported to the user.
#include "base/ErrMsg.h"

#include "base/pstr.h"
#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/dialogs.h"
#include "platform/drawing.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"

constexpr int32_t kWarnTicks = 120;
constexpr int16_t kFlashDrop = 10; // a short notice sits this much lower

message_hooks gMessageHooks;

static Str255 erStr;
static bool inError; // PrtError runs; its own failures are not reported

uint8_t *errorString(int16_t code, ConstStr text)
{
    Handle words = GetResource(FOUR("eSTR"), code);

    if (words && GetHandleSize(words) > 0 &&
        GetHandleSize(words) > int32_t((*words)[0])) {
        pstrcpy(erStr, *words);
    } else {
        pstrcpy(erStr, PSTR("Error: "));
        if (code != 0) {
            Str255 number;
            NumToString(code, number);
            pstrcat(erStr, number);
        }
    }
    if (text && code != kUserCancelled)
        pstrcat(erStr, text);
    return erStr;
}

void ErrorAlert(ConstStr text, int16_t code)
{
    // Blanks, as null would keep the texts of an earlier alert.
    ParamText(errorString(code, text), sp_str, sp_str, nullptr);
    InitCursor();
    StopAlert(kAlertError);
}

void ErrorAlertSTR(int16_t code, int16_t list, int16_t index)
{
    Str255 text;

    GetIndString(text, list, index);
    ErrorAlert(text, code);
}

int16_t PrtError(int16_t code, ConstStr text)
{
    if (inError)
        return code;
    inError = true;
    // A copy: drawing may report something of its own meanwhile.
    Str255 words;
    pstrcpy(words, errorString(code, text));
    if (!gMessageHooks.in_terminal || !gMessageHooks.in_terminal(words))
        ShowWarn(words);
    inError = false;
    return code;
}

int16_t PrtErrorSTR(int16_t code, int16_t list, int16_t index)
{
    Str255 text;

    GetIndString(text, list, index);
    return PrtError(code, text);
}

// Turns passes that leave keys and mouse alone, for `ticks`.
static void pass_time(int32_t ticks)
{
    uint32_t start = TickCount();

    while (int32_t(TickCount() - start) < ticks) {
        if (gMessageHooks.pass)
            gMessageHooks.pass();
        else
            Delay(1, nullptr);
    }
}

void ShowWarn(ConstStr text)
{
    Str255 words; // erStr may change while the dialog stands

    pstrcpy(words, text);
    SysBeep(4);
    DialogPtr d = GetNewDialog(kDlgWarning);
    if (!d)
        return;
    SetDText(d, kItemWarningText, words);
    DrawDialog(d);
    pass_time(kWarnTicks);
    DisposeDialog(d);
}

void ShowWarnSTR(int16_t list, int16_t index)
{
    Str255 text;

    GetIndString(text, list, index);
    ShowWarn(text);
}

void MessageFlash(ConstStr text, int32_t ticks)
{
    Str255 words;
    int16_t kind;
    Rect box;

    pstrcpy(words, text);
    DialogPtr d = GetNewDialog(kDlgFlash);
    if (!d)
        return;
    GetDialogItem(d, kItemFlashText, &kind, &box);
    int spare = box.right - box.left - StringWidth(words);
    if (spare > 0) {
        box.left = int16_t(box.left + spare / 2);
        box.top = int16_t(box.top + kFlashDrop);
        box.bottom = int16_t(box.bottom + kFlashDrop);
        SetDialogItemRect(d, kItemFlashText, &box);
    }
    SetDText(d, kItemFlashText, words);
    DrawDialog(d);
    pass_time(ticks);
    DisposeDialog(d);
}

void SetDText(DialogPtr dialog, int16_t item, ConstStr text)
{
    int16_t kind;
    Rect box;

    GetDialogItem(dialog, item, &kind, &box);
    kind &= int16_t(~kItemDisabled);
    if (kind == kItemStaticText || kind == kItemEditText)
        SetDialogItemText(dialog, item, text);
}
