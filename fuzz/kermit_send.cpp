// Whatever a receiver may answer to the Kermit sender. Two bytes choose.
#include "kermit_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    if (size < 3 || size > 4096)
        return 0;
    rig::begin_kermit(in, size);
    FILE *file = fopen((rig::top + "/in/f").c_str(), "w");
    for (int i = 0; i < 3000; i++)
        fputc(in[1] & 32 ? "ab\r~#"[i % 5] : i * 7 % 256, file);
    fclose(file);
    if (!SendSlot(0) ||
        FSSpecFromPath((rig::top + "/in/f").c_str(), sendFSS[0]) != noErr)
        abort();
    name4host(sendFSS[0]->name, hostnames[0]);
    curSendFSS = sendFSS[0];
    (void)KermSend();
    rig::end();
    return 0;
}
