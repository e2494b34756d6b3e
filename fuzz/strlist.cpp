// String lists of any bytes: reading, replacing and adding never leave the
// block, and what has been written is well formed.
#include "base/PathStr.h"
#include "connect/Settings.h"
#include "platform/memory.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

static void must(bool fact)
{
    if (!fact)
        abort();
}

// Input: an index, the length of a string and its bytes, the list's bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    Str255 text, out, before;
    Handle list;

    if (size < 2 || size > 70000)
        return 0;
    int16_t index = int8_t(bytes[0]);
    size_t length = bytes[1];
    bytes += 2;
    size -= 2;
    if (length > size)
        length = size;
    text[0] = uint8_t(length);
    memcpy(text + 1, bytes, length);
    bytes += length;
    size -= length;
    if (PtrToHand(bytes, &list, int32_t(size)) != noErr)
        return 0;

    int16_t count = StrListCount(list);
    for (int i = -1; i <= count + 2; i++)
        GetFromStrList(list, int16_t(i), out);
    GetFromStrList(list, 1, before);

    must(SetStrInList(list, index, text) == noErr);
    bool written = index >= 1 && index < count + 8;
    if (written) {
        must(StrListOK(list));
        must(StrListCount(list) == (index > count ? index : count));
        GetFromStrList(list, index, out);
        must(memcmp(out, text, length + 1) == 0);
        if (index != 1) {
            GetFromStrList(list, 1, out);
            must(memcmp(out, before, size_t(before[0]) + 1) == 0);
        }
        if (AppendStrList(list, text) == noErr)
            must(StrListOK(list));
    }

    // Any string may be taken for a path.
    int16_t volume;
    int32_t folder;
    GetFolderFromStr(text, &volume, &folder, out);
    must((volume == kNoVolume) == (folder == kNoFolder) || folder < 0);
    DisposeHandle(list);
    return 0;
}
