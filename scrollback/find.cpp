// A text is looked for in the store, into which the screen is pushed for that
// time, without regard to case, from below the last line found or clicked.
#include "scrollback/find.h"

#include <algorithm>
#include <cstring>

#include "base/WindowPlace.h"
#include "connect/Settings.h"
#include "platform/dialogs.h"
#include "platform/memory.h"
#include "platform/sound.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"
#include "scrollback/savbuf.h"

char find_str[256];
int32_t findline = -1;
DialogPtr srch_dlog;
WindowPtr srch_dwin;

constexpr size_t kLongest = 40;

// Only the letters A to Z have a case here.
static uint8_t folded(uint8_t byte)
{
    return byte >= 'A' && byte <= 'Z' ? uint8_t(byte + 32) : byte;
}

// Where `what` (folded) first stands in the store, or -1.
static int32_t search(int32_t offset, const uint8_t *what, int32_t length)
{
    const uint8_t *text = *savhdl;

    for (int32_t at = offset; at + length <= savcount; at++) {
        int32_t i = 0;
        while (i < length && folded(text[at + i]) == what[i])
            i++;
        if (i == length)
            return at;
    }
    return -1;
}

int32_t str_find(int32_t offset)
{
    const size_t length = strlen(find_str);
    uint8_t what[kLongest];

    if (length < 1 || length > kLongest || !savhdl || offset < 0)
        return -1;
    SetWaitCursor();
    for (size_t i = 0; i < length; i++)
        what[i] = folded(uint8_t(find_str[i]));
    const int8_t state = HGetState(savhdl);
    HLock(savhdl);
    const int32_t found = search(offset, what, int32_t(length));
    HSetState(savhdl, state);
    InitCursor();
    return found;
}

int32_t pos2line(int32_t offset)
{
    for (int32_t i = 1; i <= savlines; i++) {
        if (sav_offset(i) > offset)
            return i - 1;
    }
    return 0;
}

// The line found stands third from the top, unless it is in view anyway. The
// 17 was the screen's height less some when that was fixed, and stays.
static void show_line(int32_t line)
{
    constexpr int32_t kInView = 17;
    const int32_t v = view_top();

    if (line >= v && line <= v + kInView)
        return;
    scrollPage(int16_t(v), int16_t(std::clamp<int32_t>(line - 2, 0, savlines)));
}

// Where the text stands next, or -1. The screen is in the store meanwhile, and
// out of it again on every way from here.
static int32_t search_on()
{
    int32_t at = -1;

    (void)prepSel(nullptr); // only to push the screen
    if (savcount > 0 && findline < savlines)
        at = str_find(sav_offset(findline + 1));
    if (at >= 0)
        findline = pos2line(at);
    unprepSel();
    return at;
}

int16_t find_it()
{
    if (!find_str[0] || search_on() < 0)
        return 0;
    show_line(findline);
    SetSel(int16_t(findline), 0, int16_t(findline + 1), 0);
    return 1;
}

// ---- the dialog ------------------------------------------------------------

void open_find()
{
    Str255 text;

    if (!srch_dlog) {
        srch_dlog = srch_dwin = GetNewDialog(kDlgFind);
        if (!srch_dlog)
            return;
        if (qset.findWinLoc.v > 0)
            RestoreWinLoc(srch_dwin, qset.findWinLoc);
        CopyCStringToPascal(find_str, text);
        SetDialogItemText(srch_dlog, kItemFindText, text);
        EnableDialogItem(srch_dlog, kItemFindFind, find_str[0] != 0);
        ShowWindow(srch_dwin);
        findline = -1;
    }
    SelectDialogItemText(srch_dlog, kItemFindText, 0, 32767);
    SelectWindow(srch_dwin);
}

bool do_search(EventRecord *event, DialogPtr *dialog, int16_t *item)
{
    constexpr uint8_t kReturn = 13, kEnter = 3;
    const bool key = event->what == keyDown || event->what == autoKey;
    const uint8_t character = uint8_t(event->message);
    bool hit;

    *item = 0;
    if (key && (event->modifiers & cmdKey))
        return false;
    if (key && (character == kReturn || character == kEnter)) {
        *dialog = srch_dlog;
        *item = kItemFindFind;
        hit = true;
    } else {
        hit = DialogSelect(event, dialog, item);
    }

    Str255 text;
    GetDialogItemText(srch_dlog, kItemFindText, text);
    CopyPascalStringToC(text, find_str);
    EnableDialogItem(srch_dlog, kItemFindFind, text[0] != 0);
    if (event->what == keyDown && !hit)
        findline = -1; // the text was edited: from the top
    if (hit && *item == kItemFindFind && find_str[0] && !find_it())
        SysBeep(6);
    return key || hit;
}
