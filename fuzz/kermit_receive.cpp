// Whatever a sender may say to the Kermit receiver. Two bytes choose.
#include "kermit_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    if (size < 3 || size > 4096)
        return 0;
    rig::begin_kermit(in, size);
    FILE *file = fopen((rig::top + "/in/old").c_str(), "w");
    fputs("old", file);
    fclose(file);
    (void)KermRecv();
    rig::end();
    return 0;
}
