// Whatever a sender may say to the ZMODEM receiver, by its own start or by the
// menu's: frames with a right check, or any bytes. The first byte chooses.
#include "transfer_rig.h"

// An old file of a name that may come, so that there is a question.
static void make_old_file()
{
    FILE *file = fopen((rig::top + "/in/old").c_str(), "w");
    fputs("old", file);
    fclose(file);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    if (size < 2 || size > 4096)
        return 0;
    const uint8_t choice = in[0];
    rig::begin(choice);
    make_old_file();
    rig::say(choice & 32, in + 1, size - 1);
    rig::watch(rig::runs, choice & 64 ? 200 : 10);
    (void)rz(choice & 16 ? kModeAuto : kModeZ);
    rig::end();
    return 0;
}
