// The clipboard. The desktop's is UTF-8 with LF line ends; the program's
// "TEXT" is Mac Roman with CR.
#include "platform/scrap.h"

#include "platform/core/core.h"
#include "platform/core/macroman.h"
#include "platform/core/queue.h"

#include <algorithm>
#include <cstring>
#include <string>

// What we put there last, both ways: a text that comes back unchanged gives
// the very bytes that went out, also those that a conversion would lose.
struct Put {
    std::string utf8, bytes;
};
static Put put[2]; // clipboard, primary selection
static void (*primaryPaste)();

static OSErr text_put(bool primary, int32_t size, const void *data)
{
    std::string bytes(static_cast<const char *>(data), size_t(size));

    put[primary] = {text_to_utf8(bytes), bytes};
    be_clip_set(put[primary].utf8.c_str(), primary);
    return noErr;
}

static OSErr text_get(bool primary, std::string *bytes)
{
    const char *text = be_clip_get(primary);

    if (!text)
        return noTypeErr;
    if (text == put[primary].utf8) {
        *bytes = put[primary].bytes;
        return noErr;
    }
    *bytes = text_from_utf8(text);
    return noErr;
}

OSErr ClearCurrentScrap()
{
    put[0] = {};
    be_clip_set("", false);
    return noErr;
}

OSErr PutScrapFlavor(OSType flavor, int32_t size, const void *data)
{
    if (flavor != FOUR("TEXT") || size < 0)
        return paramErr;
    return text_put(false, size, data);
}

bool ScrapHasFlavor(OSType flavor)
{
    const char *text = flavor == FOUR("TEXT") ? be_clip_get(false) : nullptr;

    return text && *text;
}

OSErr GetScrapFlavorSize(OSType flavor, int32_t *size)
{
    std::string bytes;

    *size = 0;
    if (!ScrapHasFlavor(flavor))
        return noTypeErr;
    OSErr err = text_get(false, &bytes);
    *size = int32_t(std::min<size_t>(bytes.size(), INT32_MAX));
    return err;
}

OSErr GetScrapFlavorData(OSType flavor, int32_t *size, void *data)
{
    std::string bytes;

    if (!ScrapHasFlavor(flavor))
        return noTypeErr;
    OSErr err = text_get(false, &bytes);
    *size = int32_t(std::min(bytes.size(), size_t(std::max(*size, 0))));
    memcpy(data, bytes.data(), size_t(*size));
    return err;
}

OSErr PutPrimary(int32_t size, const void *data)
{
    return text_put(true, std::max(size, 0), data);
}

OSErr GetPrimary(Handle *text)
{
    std::string bytes;
    OSErr err = text_get(true, &bytes);

    if (err)
        return err;
    return PtrToHand(bytes.data(), text, int32_t(bytes.size()));
}

void SetPrimaryPasteProc(void (*proc)())
{
    primaryPaste = proc;
}

void up_middle_click(be_win w)
{
    WindowPtr window = window_of(w);

    if (!window || !primaryPaste)
        return;
    queue_act(1 << mouseDown, window, [] { primaryPaste(); });
}
