// Whatever a receiver may answer to the sender of XMODEM and YMODEM. The first
// byte chooses; of the others the low bits are an answer and the high ones the
// pause before it.
#include "transfer_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    static const char letters[] = "xXyY";
    static const uint8_t answers[] = {ACK, NAK, CAN,  'C', 'K', 'G', 'L', '*',
                                      ACK, EOT, XOFF, 'x', ACK, ACK, 0,   0x18};

    if (size < 2 || size > 4096)
        return 0;
    const uint8_t choice = in[0];
    rig::begin(uint8_t(choice & 6)); // its two bits of conversion
    cset.xferFlags = choice & 8 ? kXferChecksum : 0;
    cset.maxTries = 3;
    FILE *file = fopen((rig::top + "/in/f").c_str(), "w");
    for (int i = 0; i < (choice & 16 ? 5000 : 200); i++)
        fputc(i * 7 % 256, file);
    fclose(file);
    for (int i = 0; i < 2; i++) {
        if (!SendSlot(i) ||
            FSSpecFromPath((rig::top + "/in/f").c_str(), sendFSS[i]) != noErr)
            abort();
        name4host(sendFSS[i]->name, hostnames[i]);
    }
    if (choice & 32) {
        rig::say_raw(in + 1, size - 1);
    } else {
        for (size_t i = 1; i < size; i++)
            rig::hear(std::string(1, char(answers[in[i] & 15])),
                      (in[i] >> 4) * 20000);
    }
    rig::watch(rig::runs, choice & 64 ? 200 : 10);
    (void)sz(choice & 128 ? 2 : 1, sendFSS, letters[choice & 3]);
    rig::end();
    return 0;
}
