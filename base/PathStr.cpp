// Path strings.
#include "base/PathStr.h"

#include "base/atol.h"
#include "base/pstr.h"
#include "platform/files.h"

#include <cstring>

constexpr int32_t kRootFolder = 2;
constexpr int16_t kDatedVolumes = 31; // looked up by their date of creation

void VolDirToStr(int16_t volume, int32_t folder, uint8_t *out)
{
    VolInfo info;
    Str255 number;

    if ((volume == 1 || volume == 2) && folder == kRootFolder) {
        out[0] = 1;
        out[1] = uint8_t('0' + volume);
        return;
    }
    out[0] = 0;
    if (GetVolInfo(volume, &info) != noErr)
        return;
    pstrcpy(out, info.name);
    pstrcatchr(out, 1);
    for (int shift = 24; shift >= 0; shift -= 8)
        pstrcatchr(out, uint8_t(info.created >> shift));
    pstrcatchr(out, ':');
    NumToString(folder, number);
    pstrcat(out, number);
}

// Index of the first ":" that divides, or 0. The bytes of a volume's date may
// be colons, and one at the very end divides nothing.
static int find_colon(ConstStr path, int from)
{
    for (int i = from; i < path[0]; i++) {
        if (path[i] == 1)
            i += 4;
        else if (path[i] == ':' && i < path[0])
            return i;
    }
    return 0;
}

// The number of the volume of that name, else of that creation date.
static int16_t find_volume(ConstStr name, bool hasDate, uint32_t date)
{
    VolInfo info;

    for (int16_t i = 1; GetIndVolInfo(i, &info) == noErr; i++) {
        if (EqualString(info.name, name, false, true))
            return info.vRefNum;
    }
    for (int16_t i = 1; hasDate && i <= kDatedVolumes; i++) {
        if (GetIndVolInfo(i, &info) == noErr && info.created == date)
            return info.vRefNum;
    }
    return kNoVolume;
}

// The volume part: a name, and perhaps the byte 1 and a date.
static int16_t read_volume(ConstStr path, int length)
{
    Str255 name;
    uint32_t date = 0;
    bool hasDate = false;

    name[0] = 0;
    for (int i = 1; i <= length; i++) {
        if (path[i] == 1 && i + 4 <= length) {
            hasDate = true;
            for (int k = 1; k <= 4; k++)
                date = date << 8 | path[i + k];
            break;
        }
        pstrcatchr(name, path[i]);
    }
    return find_volume(name, hasDate, date);
}

void GetFolderFromStr(ConstStr path, int16_t *volume, int32_t *folder,
                      uint8_t *name)
{
    *volume = kNoVolume;
    *folder = kNoFolder;
    if (name)
        name[0] = 0;
    if (path[0] == 1 && (path[1] == '1' || path[1] == '2')) {
        *volume = int16_t(path[1] - '0');
        *folder = kRootFolder;
        return;
    }

    int colon = find_colon(path, 1);
    if (!colon)
        return;
    int16_t vol = read_volume(path, colon - 1);
    if (vol == kNoVolume)
        return;

    char number[256];
    int second = 0, length = 0;
    for (int i = colon + 1; i <= path[0]; i++) {
        if (path[i] == ':' && i < path[0]) {
            second = i;
            break;
        }
        number[length++] = char(path[i]);
    }
    number[length] = 0;
    int32_t dir;
    if (atolp(number, &dir) == number)
        return;
    *volume = vol;
    *folder = dir;
    if (second && name) {
        name[0] = uint8_t(path[0] - second);
        memcpy(name + 1, path + second + 1, name[0]);
    }
}
