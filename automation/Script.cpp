// Scripts: the waits, and the files they come from.
#include "automation/Script.h"

#include "automation/AsciiSend.h"
#include "platform/clock.h"
#include "platform/sound.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"

constexpr int32_t kTextQuiet = 15; // ticks of quiet before the text is sought

int16_t ScriptFlag;
int16_t WaitFlag;
int32_t WaitTime;
uint8_t string_buf[256];

void init_tokens()
{
    ScriptFlag = 0;
    WaitFlag = 0;
}

// No script language is built in: there is no file to ask for.
void run_script()
{
    SysBeep(4);
}

OSErr FindScript_Open(ConstStr)
{
    return fnfErr;
}

OSErr open_script(const FSSpec *)
{
    return fnfErr;
}

OSErr start_script(int16_t)
{
    return fnfErr;
}

void do_script()
{
    ScriptFlag = 0;
    WaitFlag = 0;
}

// Is the wait for text over? It is sought once after each burst of bytes, when
// the line has fallen quiet.
static bool text_came()
{
    if (LastGetTicks <= WaitTime ||
        int32_t(TickCount()) - LastGetTicks <= kTextQuiet)
        return false;
    WaitTime = LastGetTicks + 1;
    return linecontains(reinterpret_cast<const char *>(string_buf));
}

static bool wait_over()
{
    int32_t now = int32_t(TickCount());
    uint32_t date;

    switch (WaitFlag) {
    case kWaitDate:
        GetDateTime(&date);
        return int32_t(date - uint32_t(WaitTime)) >= 0;
    case kWaitSent:
        return sendCount == 0 && !asciiSend && !awWait;
    case kWaitLineQuiet:
        return now - LastGetTicks >= WaitTime;
    case kWaitText:
        return text_came();
    case kWaitTicks:
        return now - WaitTime >= 0;
    default:
        return false;
    }
}

void check_wait()
{
    if (WaitFlag == 0 || !wait_over())
        return;
    WaitFlag = 0;
    if (ScriptFlag != 0)
        ScriptFlag = -1;
}

OSErr ResolveDir(const FSSpec *file, FSSpec *out)
{
    bool folder = false, alias = false;

    *out = *file;
    OSErr error = ResolveAliasFile(out, &folder, &alias);
    if (error != noErr)
        return error;
    return folder ? OSErr(noErr) : OSErr(dirNFErr);
}

OSErr OpenWResolve(const FSSpec *file, int16_t *fileRef)
{
    bool folder = false, alias = false;
    FSSpec target = *file;
    OSErr error = ResolveAliasFile(&target, &folder, &alias);

    if (error != noErr)
        return error;
    if (folder)
        return fnfErr;
    return FSpOpenDF(&target, fsRdPerm, fileRef);
}
