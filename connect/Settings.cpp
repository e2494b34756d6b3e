// The settings in memory, their crossing to the book's byte order, and the
// string lists that go with them.
#include "connect/Settings.h"

#include <bit>
#include <cstring>

#include "base/atol.h"
#include "base/pstr.h"
#include "platform/files.h"
#include "platform/memory.h"

// ---- the records' layout ---------------------------------------------------
// A field that slips is a book that no other version can read.

#define AT(record, field, offset)                                              \
    static_assert(offsetof(record, field) == offset, #field)
// clang-format off
AT(cset_t, baudWord, 0);     AT(cset_t, parityChar, 2);
AT(cset_t, dataChar, 3);     AT(cset_t, stopChar, 4);
AT(cset_t, echoFlag, 5);     AT(cset_t, termFlags, 6);
AT(cset_t, bsKey, 8);        AT(cset_t, flowFlags, 9);
AT(cset_t, hasPhone, 10);    AT(cset_t, bufFlags, 11);
AT(cset_t, termType, 12);    AT(cset_t, maxTries, 13);
AT(cset_t, macroSetID, 14);  AT(cset_t, dconvChar, 16);
AT(cset_t, xferFlags, 17);   AT(cset_t, rcvProto, 18);
AT(cset_t, sendProto, 19);   AT(cset_t, xmTimeout, 20);
AT(cset_t, xmStartTimeout, 21); AT(cset_t, szTimeout, 22);
AT(cset_t, rzTimeout, 23);   AT(cset_t, paceFlags, 24);
AT(cset_t, charDelay, 26);   AT(cset_t, lineDelay, 28);
AT(cset_t, promptChar, 30);  AT(cset_t, zBlockChar, 32);
AT(cset_t, zFlags, 33);      AT(cset_t, reserved34, 34);
AT(cset_t, zWindow, 36);     AT(cset_t, reserved38, 38);
AT(cset_t, hostNames, 41);   AT(cset_t, kermLen, 42);
AT(cset_t, kermCheck, 44);   AT(cset_t, reserved48, 48);
AT(cset_t, lastConnect, 52); AT(cset_t, reserved56, 56);
AT(cset_t, reserved58, 58);  AT(cset_t, reserved64, 64);
AT(cset_t, localStrID, 70);  AT(cset_t, oldPhone, 72);
AT(cset_t, oldZStart, 104);  AT(cset_t, baudLong, 128);
AT(cset_t, reserved132, 132);

AT(qset_t, inBufSize, 0);       AT(qset_t, portNumber, 2);
AT(qset_t, portIn, 4);          AT(qset_t, portOut, 6);
AT(qset_t, bufWinLoc, 8);       AT(qset_t, rcvFolder, 12);
AT(qset_t, winRectSmall, 16);   AT(qset_t, zoomRectSmall, 24);
AT(qset_t, winRectLarge, 32);   AT(qset_t, zoomRectLarge, 40);
AT(qset_t, zoomFlags, 48);      AT(qset_t, fileBufSize, 50);
AT(qset_t, xferWinLoc, 52);     AT(qset_t, findWinLoc, 56);
AT(qset_t, dialWinLoc, 60);     AT(qset_t, termFontSize, 64);
AT(qset_t, keyFlags, 65);       AT(qset_t, printFontSize, 66);
AT(qset_t, printHeaderOff, 67); AT(qset_t, globFlags, 72);
AT(qset_t, bgFlags, 73);        AT(qset_t, useColor, 76);
AT(qset_t, fgColor, 78);        AT(qset_t, bgColor, 79);
AT(qset_t, fgMap, 80);          AT(qset_t, bgMap, 88);
AT(qset_t, redialDelay, 96);    AT(qset_t, dialTimeout, 97);
AT(qset_t, dialType, 98);       AT(qset_t, modemFlags, 99);
AT(qset_t, breakShort, 100);    AT(qset_t, breakLong, 101);
AT(qset_t, textCreator, 112);   AT(qset_t, binCreator, 116);
AT(qset_t, binType, 120);       AT(qset_t, fontName0, 128);
AT(qset_t, fontName1, 144);     AT(qset_t, fontName2, 160);
AT(qset_t, fontName3, 176);     AT(qset_t, oldDefService, 192);
AT(qset_t, oldModemName, 224);  AT(qset_t, bufWinRect, 256);
AT(qset_t, dirWinRect, 264);    AT(qset_t, reserved272, 272);
AT(qset_t, reserved280, 280);   AT(qset_t, pageMargins, 288);
AT(qset_t, reserved304, 304);   AT(qset_t, rgbTable, 320);
// clang-format on
#undef AT

// ---- state -----------------------------------------------------------------

cset_t cset;
qset_t qset;
uint8_t set_changed;
uint8_t qsetChanged;

Handle gLocalStrings;
Handle gGlobStrings;
Str255 ServiceName;
Str255 gArchiveStr;

// ---- crossing between memory and file --------------------------------------

// Between the machine's order and the file's. Its own inverse.
static void swap_bytes(uint8_t *at, int count)
{
    if constexpr (std::endian::native == std::endian::little) {
        for (int i = 0; i < count / 2; i++) {
            uint8_t b = at[i];
            at[i] = at[count - 1 - i];
            at[count - 1 - i] = b;
        }
    }
}

// All 16-bit words from `first` up to, not including, `end`.
static void swap_words(uint8_t *record, int first, int end)
{
    for (int i = first; i < end; i += 2)
        swap_bytes(record + i, 2);
}

void copy_cset_swaps(const void *from, void *to)
{
    constexpr uint8_t words[] = {0, 14, 28, 34, 36, 38, 42, 48, 50, 56, 70};
    constexpr uint8_t longs[] = {52, 58, 64, 128, 132};
    uint8_t *record = static_cast<uint8_t *>(to);

    memcpy(to, from, size_t(kDialRecLen));
    for (uint8_t at : words)
        swap_bytes(record + at, 2);
    for (uint8_t at : longs)
        swap_bytes(record + at, 4);
}

void copy_qsetup_swaps(const void *from, void *to)
{
    constexpr int bufLoc = offsetof(qset_t, bufWinLoc);
    constexpr int xferLoc = offsetof(qset_t, xferWinLoc);
    uint8_t *record = static_cast<uint8_t *>(to);

    memcpy(to, from, size_t(kQsetLen));
    swap_words(record, 0, 12);
    swap_bytes(record + 12, 4);
    swap_words(record, 16, 64);
    swap_words(record, 256, 296);
    swap_words(record, 304, 310);

    // The status window's place stays in the writer's order, and its swapped
    // copy lands in bufWinLoc. The first version wrote it so, and every book
    // since holds it so.
    memcpy(record + bufLoc, record + xferLoc, 4);
    memcpy(record + xferLoc, static_cast<const uint8_t *>(from) + xferLoc, 4);
}

uint32_t GetBaudFromSetup(const cset_t *record)
{
    return record->baudWord ? record->baudWord : record->baudLong;
}

void SetBaud(uint32_t speed, cset_t *record)
{
    record->baudLong = speed;
    record->baudWord = speed < 57601 ? uint16_t(speed) : uint16_t(0);
}

// ---- string lists ----------------------------------------------------------

// A walk along the strings that are really there.
struct list_walk {
    int32_t size;   // of the block
    int32_t left;   // strings that the count still promises
    int32_t offset; // of the next length byte
};

static list_walk start_walk(Handle list)
{
    list_walk walk = {0, 0, 2};

    if (list) {
        walk.size = GetHandleSize(list);
        if (walk.size >= 2)
            walk.left = (*list)[0] << 8 | (*list)[1];
    }
    return walk;
}

// The offset of the next string, or -1 behind the last one. A string whose
// length passes the end of the block isn't there, nor is any behind it.
static int32_t next_string(Handle list, list_walk *walk)
{
    if (walk->left <= 0 || walk->offset >= walk->size)
        return -1;
    int32_t at = walk->offset;
    int32_t end = at + 1 + (*list)[at];
    if (end > walk->size) {
        walk->left = 0;
        return -1;
    }
    walk->left--;
    walk->offset = end;
    return at;
}

int16_t StrListCount(Handle list)
{
    list_walk walk = start_walk(list);
    int32_t count = 0;

    while (next_string(list, &walk) >= 0)
        count++;
    return int16_t(count > 32767 ? 32767 : count);
}

bool StrListOK(Handle list)
{
    list_walk walk = start_walk(list);

    if (walk.size < 2)
        return false;
    int32_t promised = walk.left, found = 0;
    while (next_string(list, &walk) >= 0)
        found++;
    return found == promised && walk.offset == walk.size;
}

Handle NewStrList()
{
    return NewHandleClear(2);
}

void GetFromStrList(Handle list, int16_t index, uint8_t *out)
{
    list_walk walk = start_walk(list);
    int32_t at = -1;

    out[0] = 0;
    if (index < 1)
        return;
    for (int i = 0; i < index; i++) {
        at = next_string(list, &walk);
        if (at < 0)
            return;
    }
    pstrcpy(out, *list + at);
}

OSErr AppendStrList(Handle list, ConstStr string)
{
    int16_t count = StrListCount(list);

    if (count == 32767)
        return paramErr;
    return SetStrInList(list, int16_t(count + 1), string);
}

OSErr SetStrInList(Handle list, int16_t index, ConstStr string)
{
    if (!list)
        return noErr;
    if (!string)
        string = PSTR("");

    // Where the string stands, or where the empty ones before it begin, and
    // where the last string ends. What lies behind that is no string and goes.
    list_walk walk = start_walk(list);
    int32_t count = 0, place = -1, oldLen = 0, at;
    while ((at = next_string(list, &walk)) >= 0) {
        if (++count == index) {
            place = at;
            oldLen = 1 + (*list)[at];
        }
    }
    int32_t end = walk.offset;

    // A far index is a caller's mistake, and padding up to it no help.
    if (index < 1 || index >= count + 8)
        return noErr;
    int32_t padding = index > count ? index - count - 1 : 0;
    int32_t newLen = 1 + string[0];
    if (place < 0)
        place = end;

    int32_t newEnd = end + padding + newLen - oldLen;
    if (newEnd > walk.size) {
        SetHandleSize(list, newEnd);
        if (MemError() != noErr)
            return MemError();
    }
    uint8_t *bytes = *list;
    int32_t tail = place + oldLen;
    BlockMove(bytes + tail, bytes + place + padding + newLen, end - tail);
    memset(bytes + place, 0, size_t(padding));
    memcpy(bytes + place + padding, string, size_t(newLen));
    if (index > count)
        count = index;
    bytes[0] = uint8_t(count >> 8);
    bytes[1] = uint8_t(count);
    if (newEnd < walk.size)
        SetHandleSize(list, newEnd);
    return noErr;
}

void GetGlob(int16_t index, uint8_t *out)
{
    GetFromStrList(gGlobStrings, index, out);
}

OSErr SetGlob(int16_t index, ConstStr string)
{
    return SetStrInList(gGlobStrings, index, string);
}

void GetPassword(uint8_t *out, Handle list, int16_t ignored)
{
    (void)ignored; // once a way of hiding the password; callers still give it
    GetFromStrList(list ? list : gLocalStrings, kStrPassword, out);
}
