// The settings in memory, their crossing to the book's byte order, and the
// string lists that go with them.
#include "connect/Settings.h"

#include <bit>
#include <cstring>

#include "base/pstr.h"
#include "connect/Fields.h"
#include "platform/memory.h"

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

template <size_t N>
static void swap_fields(const record_field (&fields)[N], uint8_t *record)
{
    for (const record_field &f : fields) {
        if (f.form != kU16 && f.form != kU32)
            continue;
        for (int i = 0; i < f.count; i++)
            swap_bytes(record + f.offset + i * width_of(f.form),
                       width_of(f.form));
    }
}

void copy_cset_swaps(const void *from, void *to)
{
    memcpy(to, from, size_t(kDialRecLen));
    swap_fields(csetFields, static_cast<uint8_t *>(to));
}

void copy_qsetup_swaps(const void *from, void *to)
{
    uint8_t *record = static_cast<uint8_t *>(to);

    memcpy(to, from, size_t(kQsetLen));
    swap_fields(qsetFields, record);

    // The status window's place stays in the writer's order, and its swapped
    // copy lands in bufWinLoc. The first version wrote it so, and every book
    // since holds it so.
    uint8_t *copy = record + offsetof(qset_t, bufWinLoc);
    memcpy(copy, record + offsetof(qset_t, xferWinLoc), sizeof(Point));
    swap_bytes(copy, 2);
    swap_bytes(copy + 2, 2);
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
