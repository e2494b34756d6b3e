// Any bytes as the stream of a received file: header, forks, text, in blocks
// of any size, from any place on, complete or broken off.
#include "transfer_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    if (size < 5 || size > 16384)
        return 0;
    rig::begin(in[0]);
    int32_t block = 1 + (in[1] * 5) % 1024;
    bool complete = in[2] & 1;
    zconv = in[2] >> 1 & 3;
    uint8_t header[64] = "f";
    snprintf(reinterpret_cast<char *>(header) + 2, 60, "%d", int(in[3]) * 100);
    in += 4;
    size -= 4;

    zprot = 'Z';
    zdir = 'R';
    gotEOF = 0;
    StartPos = 0;
    if (procheader(header) == 0) {
        rxbytes = StartPos;
        for (size_t at = 0; at < size; at += size_t(block)) {
            int32_t n = int32_t(std::min<size_t>(size_t(block), size - at));
            if (zWriteData(rxbytes, in + at, int16_t(n)) != 0)
                break;
            rxbytes += n;
        }
        gotEOF = complete;
    }
    (void)closeit();
    rig::end();
    return 0;
}
