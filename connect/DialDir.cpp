// The sorted list of connections and its copy at the end of the Dial menu.
#include "connect/DialDir.h"

#include <cassert>
#include <cstring>
#include <initializer_list>

#include "base/MenuBar.h"
#include "base/pstr.h"
#include "connect/Dialogs.h"
#include "connect/PhoneBook.h"
#include "connect/Settings.h"
#include "platform/memory.h"
#include "platform/resources.h"

constexpr OSType kDial = FOUR("Dial");
constexpr uint8_t kOutlineStyle = 8;
constexpr uint8_t kDialMark = 19; // of an entry marked for dialing

// ---- state -----------------------------------------------------------------
// The two blocks are locked for good: the list is small, and everybody indexes
// it.

Handle *ddHdls;
uint8_t *ddFlags;
int16_t ddCount;
int16_t ddCurrent = -1;
int16_t defDial;

DialogPtr ddir_dlg;
WindowPtr ddir_dwin;
ControlHandle ddsbar_ctl;

// ---- order -----------------------------------------------------------------

// Without case first, so that upper and lower stand together; then by bytes,
// so that the order is the same every time.
static int compare_names(ConstStr a, ConstStr b)
{
    int order = IdenticalString(a, b);
    if (order)
        return order;
    int count = a[0] < b[0] ? a[0] : b[0];
    order = memcmp(a + 1, b + 1, size_t(count));
    return order ? order : int(a[0]) - int(b[0]);
}

static void entry_name(int16_t index, Str255 name)
{
    name[0] = 0;
    if (index >= 0 && index < ddCount)
        GetResInfo(ddHdls[index], nullptr, nullptr, name);
}

bool entries_ok()
{
    Str255 before, name;

    for (int16_t i = 0; i < ddCount; i++) {
        if (HomeResFile(ddHdls[i]) < 0)
            return false;
        entry_name(i, name);
        if (i > 0 && (compare_names(before, name) >= 0 ||
                      EqualString(before, name, false, true)))
            return false;
        pstrcpy(before, name);
    }
    return true;
}

bool ddir_ok()
{
    return entries_ok() && ddCurrent >= -1 && ddCurrent < ddCount &&
           defDial >= 0 && (defDial < ddCount || ddCount == 0) &&
           curDialItem >= 0 && (curDialItem < ddCount || ddCount == 0);
}

int16_t SearchDial(ConstStr name, bool *found)
{
    int16_t lo = 0, hi = int16_t(ddCount - 1), mid = 0;
    Str255 text;

    *found = false;
    while (lo <= hi) {
        mid = int16_t((lo + hi) / 2);
        entry_name(mid, text);
        int order = compare_names(name, text);
        if (order == 0 || EqualString(name, text, false, true)) {
            *found = true;
            return mid;
        }
        if (lo == hi && order < 0)
            return mid;
        if (order < 0) {
            hi = mid;
        } else {
            if (mid == ddCount - 1)
                return ddCount;
            lo = mid == lo ? int16_t(mid + 1) : mid;
        }
    }
    return mid;
}

// ---- the list --------------------------------------------------------------

// Room for `count` entries. The blocks grow by twenty entries or so at once.
static OSErr make_room(int16_t count)
{
    constexpr int16_t kSpare = 20;

    if (ddHdls && GetPtrSize(Ptr(ddHdls)) >= count * int32_t(sizeof(Handle)) &&
        GetPtrSize(ddFlags) >= count)
        return noErr;
    Ptr hdls = NewPtr((count + kSpare) * int32_t(sizeof(Handle)));
    Ptr flags = NewPtrClear(count + kSpare);
    if (!hdls || !flags) {
        if (hdls)
            DisposePtr(hdls);
        if (flags)
            DisposePtr(flags);
        return memFullErr;
    }
    if (ddHdls) {
        memcpy(hdls, ddHdls, size_t(ddCount) * sizeof(Handle));
        memcpy(flags, ddFlags, size_t(ddCount));
        DisposePtr(Ptr(ddHdls));
        DisposePtr(ddFlags);
    }
    ddHdls = reinterpret_cast<Handle *>(hdls);
    ddFlags = flags;
    return noErr;
}

OSErr ddInsList(ConstStr name, Handle resource, int16_t position)
{
    if (position < 0) {
        bool found = false;
        position = ddCount ? SearchDial(name, &found) : int16_t(0);
        if (found)
            return -1;
    }
    if (position > ddCount)
        position = ddCount;
    OSErr err = make_room(int16_t(ddCount + 1));
    if (err != noErr)
        return err;
    size_t above = size_t(ddCount - position);
    memmove(ddHdls + position + 1, ddHdls + position, above * sizeof(Handle));
    memmove(ddFlags + position + 1, ddFlags + position, above);
    ddHdls[position] = resource;
    ddFlags[position] = 0;
    ddCount++;
    for (int16_t *kept : {&ddCurrent, &defDial, &curDialItem}) {
        if (*kept >= position)
            ++*kept;
    }
    assert(entries_ok());
    return noErr;
}

void ddDelFromList(int16_t index)
{
    if (ddCount < 2 || index < 0 || index >= ddCount)
        return;
    size_t above = size_t(ddCount - index - 1);
    memmove(ddHdls + index, ddHdls + index + 1, above * sizeof(Handle));
    memmove(ddFlags + index, ddFlags + index + 1, above);
    ddCount--;
    for (int16_t *kept : {&ddCurrent, &defDial, &curDialItem}) {
        if (*kept > index)
            --*kept;
    }
    assert(entries_ok());
}

void ddGetList()
{
    Str255 name;

    // Nothing is chosen while the list grows, so the three indices must not
    // move with it.
    int16_t current = curDialItem;
    ddCount = 0;
    ddCurrent = -1;
    for (int16_t i = 1; i <= CountResources(kDial); i++) {
        Handle entry = GetIndResource(kDial, i);
        if (!entry || ResError() != noErr || HomeResFile(entry) != pRef)
            continue;
        GetResInfo(entry, nullptr, nullptr, name);
        (void)ddInsList(name, entry, -1); // of two equal names one shows
    }
    curDialItem = current;

    bool found = false;
    GetGlob(kGlobDefault, name);
    defDial = ddCount ? SearchDial(name, &found) : int16_t(0);
    if (!found) {
        defDial = 0;
        SetDefServ(0);
    }
    assert(ddir_ok());
}

// ---- the menu --------------------------------------------------------------

static void mark_item(int16_t index)
{
    SetItemMark(DialMenu, int16_t(index + kDialFirstItem),
                ddFlags[index] & 1 ? kDialMark : uint8_t(0));
}

void ddMenuFromList()
{
    Str255 name;

    if (!DialMenu)
        return;
    while (CountMenuItems(DialMenu) >= kDialFirstItem)
        DeleteMenuItem(DialMenu, CountMenuItems(DialMenu));
    for (int16_t i = 0; i < ddCount; i++) {
        int16_t item = int16_t(i + kDialFirstItem);
        entry_name(i, name);
        AppendMenu(DialMenu, name);
        mark_item(i);
        SetItemStyle(DialMenu, item, i == defDial ? kOutlineStyle : 0);
    }
    maxDial = CountMenuItems(DialMenu);
}

void ddSetMark(int16_t index, int16_t value)
{
    if (index < 0 || index >= ddCount)
        return;
    if (value < 0)
        value = ddFlags[index] & 1 ? 0 : 1;
    ddFlags[index] = uint8_t(value);
    if (DialMenu)
        mark_item(index);
}

void SetDefServ(int16_t index)
{
    Str255 name;

    if (index < 0 || index >= ddCount)
        return;
    entry_name(index, name);
    (void)SetGlob(kGlobDefault, name); // without memory the old one stays
    defDial = index;
    if (DialMenu)
        outlineMenu(DialMenu, int16_t(index + kDialFirstItem), kDialFirstItem,
                    int16_t(ddCount + kDialFirstItem - 1));
}

// ---- the window ------------------------------------------------------------
// The Dial menu shows the list until there is a window on it; its item there
// and the items that edit an entry are dimmed (QuillonMenus.cpp), so nothing
// below is reached by the user.

void DialDir() {}

void CloseDialDir() {}

bool DDirEvt(EventRecord *)
{
    return false;
}

void ddResize() {}

void edit_aconn(bool) {}

void term_aset(bool fromList)
{
    const int16_t row = fromList ? ddCurrent : curDialItem;

    if (row >= 0 && row < ddCount)
        term_set(ddHdls[row], row == curDialItem);
}
