// The open and save dialogs of single files.
#include "base/AskFile.h"

#include "platform/navigation.h"

int16_t MyGetFile(int32_t, const void *, FSSpec *spec)
{
    static const uint8_t none[1] = {0};
    return NavGetFile(none, spec);
}

int16_t MyPutFile(ConstStr prompt, ConstStr defaultName, FSSpec *spec)
{
    return NavPutFile(prompt, defaultName, spec);
}

// The save dialog's answer holds nothing that has to be given back here; the
// call stays as the mark of its end.
void DoNavDisposeReply() {}
