// The clipboard: text out of it goes to the line, selected text into it.
#include "shell/Clipboard.h"

#include "automation/AsciiSend.h"
#include "platform/memory.h"
#include "platform/scrap.h"
#include "scrollback/Selection.h"
#include "scrollback/View.h"

OSErr doCopy(const void *address, int32_t size)
{
    OSErr err = ClearCurrentScrap();

    if (err == noErr)
        err = PutScrapFlavor(kTextFlavor, size, address);
    return err;
}

static void clear_selection()
{
    if (stSel >= 0)
        SetSel(-1, 0, -1, 0);
}

// Gives text to the send queue, which owns the block from then on.
static void paste_block(Handle block)
{
    clear_selection();
    scr_to_bot();
    asSendHdl(block, int16_t(localEcho & 1));
}

void doPaste()
{
    int32_t size = 0;

    if (!ScrapHasFlavor(kTextFlavor) ||
        GetScrapFlavorSize(kTextFlavor, &size) != noErr)
        return;
    Handle block = NewHandle(size);
    if (!block)
        return;
    HLock(block);
    OSErr err = GetScrapFlavorData(kTextFlavor, &size, *block);
    HUnlock(block);
    if (err != noErr || size <= 0) {
        DisposeHandle(block);
        return;
    }
    if (size < GetHandleSize(block))
        SetHandleSize(block, size);
    paste_block(block);
}

void doPastePrimary()
{
    Handle block = nullptr;

    if (GetPrimary(&block) != noErr || !block)
        return;
    if (GetHandleSize(block) > 0)
        paste_block(block);
    else
        DisposeHandle(block);
}
