// Whatever a receiver may answer to the ZMODEM sender: frames with a right
// check, or any bytes. The first byte chooses.
#include "transfer_rig.h"

static void make_file()
{
    FILE *file = fopen((rig::top + "/in/f").c_str(), "w");
    for (int i = 0; i < 5000; i++)
        fputc(i * 7 % 256, file);
    fclose(file);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    if (size < 2 || size > 4096)
        return 0;
    const uint8_t choice = in[0];
    rig::begin(choice);
    make_file();
    for (int i = 0; i < 2; i++) {
        if (!SendSlot(i) ||
            FSSpecFromPath((rig::top + "/in/f").c_str(), sendFSS[i]) != noErr)
            abort();
        name4host(sendFSS[i]->name, hostnames[i]);
    }
    rig::say(choice & 32, in + 1, size - 1);
    rig::watch(rig::runs, choice & 64 ? 200 : 10);
    (void)sz(choice & 16 ? 2 : 1, sendFSS, 'Z');
    rig::end();
    return 0;
}
