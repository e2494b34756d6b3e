// Any bytes as a partial file of an earlier transfer, with which the next one
// may or may not go on.
#include "transfer_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    static const OSType types[] = {FOUR("TEXT"), FOUR("qPBN"), FOUR("qPMB"),
                                   FOUR("????")};
    if (size < 4 || size > 16384)
        return 0;
    rig::begin(in[0]);
    FILE *file = fopen((rig::top + "/in/f\xA5").c_str(), "w");
    fwrite(in + 3, 1, size - 3, file);
    fclose(file);
    static const uint8_t name[] = {2, 'f', 0xA5};
    FInfo info = {};
    info.fdType = types[in[1] & 3];
    (void)HSetFInfo(zRcvVol, zRcvDirID, name, &info);

    uint8_t header[64] = "f";
    snprintf(reinterpret_cast<char *>(header) + 2, 60, "%d", int(in[2]) * 64);
    zprot = 'Z';
    zdir = 'R';
    zconv = 0;
    gotEOF = 0;
    StartPos = 0;
    if (procheader(header) == 0) {
        rxbytes = StartPos;
        uint8_t more[1024];
        memset(more, in[1], sizeof more);
        for (int i = 0; i < 3; i++) {
            // The receiver refuses a file beyond 31 bits before it writes.
            if (int64_t(rxbytes) + int64_t(sizeof more) > 0x7FFFFFFF ||
                zWriteData(rxbytes, more, sizeof more) != 0)
                break;
            rxbytes += int32_t(sizeof more);
        }
        gotEOF = in[1] >> 2 & 1;
    } else {
        rxbytes = StartPos;
    }
    (void)closeit();
    rig::end();
    return 0;
}
