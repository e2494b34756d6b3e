// Whatever a sender may say to the receiver of XMODEM, YMODEM and YMODEM-G:
// blocks with a right check, or any bytes. The first byte chooses.
#include "transfer_rig.h"

// Blocks as no mutation of bytes would find them. A step is a byte and its
// arguments:
//
//  bits 0-2  0 bytes as they are: count, bytes
//            1 a short block, 2 a long one: count, bytes, one byte over again
//            3 the same number once more, 4 a name block: as 1
//            5 EOT, 6 a pause: tenths of a second, 7 CAN
//  bit 3     a checksum in place of a CRC
//  bit 7     the check is damaged
namespace {

struct sector_composer {
    const uint8_t *p, *end;
    std::string out;
    uint8_t number = 0;

    uint8_t next() { return p < end ? *p++ : 0; }

    std::string bytes(size_t length)
    {
        std::string text;
        for (int n = next() & 127; n > 0; n--)
            text += char(next());
        text.resize(length, char(next()));
        return text;
    }

    void block(uint8_t step, uint8_t of, size_t length)
    {
        const std::string text = bytes(length);
        const uint8_t *b = reinterpret_cast<const uint8_t *>(text.data());
        uint16_t check = crc16_run(b, int32_t(length), 0);

        out += char(length == 128 ? SOH : STX);
        out += char(of);
        out += char(~of);
        out += text;
        if (step & 8) {
            check = 0;
            for (char c : text)
                check = uint16_t(check + uint8_t(c));
        } else {
            out += char(check >> 8);
        }
        out += char(check ^ (step >> 7));
    }

    void take(uint8_t step)
    {
        switch (step & 7) {
        case 0:
            for (int n = next() & 31; n > 0; n--)
                out += char(next());
            break;
        case 1:
        case 2:
            number++;
            [[fallthrough]];
        case 3:
            block(step, number, (step & 7) == 2 ? 1024 : 128);
            break;
        case 4:
            number = 0;
            block(step, 0, step & 16 ? 1024 : 128);
            break;
        case 5:
            out += char(EOT);
            break;
        case 6:
            rig::hear(out);
            rig::hear("", (next() & 63) * 100000);
            out.clear();
            break;
        case 7:
            out += char(CAN);
            break;
        }
        // Each block is answered before the next one comes.
        if ((step & 0x60) == 0) {
            rig::hear(out, 300000);
            out.clear();
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *in, size_t size)
{
    static const int16_t modes[] = {kModeX, kModeY, kModeG, kModeY};

    if (size < 3 || size > 4096)
        return 0;
    const uint8_t choice = in[0];
    rig::begin(uint8_t(choice & 6)); // its two bits of conversion
    cset.xmTimeout = 10;
    cset.xferFlags = choice & (kXfer1K | kXferChecksum);
    FILE *old = fopen((rig::top + "/in/old").c_str(), "w");
    fputs("old", old);
    fclose(old);
    if (choice & 32) {
        rig::say_raw(in + 1, size - 1);
    } else {
        sector_composer c = {in + 1, in + size, ""};
        for (int blocks = 0; c.p < c.end && blocks < 60; blocks++)
            c.take(c.next());
        rig::hear(c.out);
    }
    rig::watch(rig::runs, choice & 64 ? 200 : 30);
    (void)rz(modes[choice >> 3 & 3]);
    rig::end();
    return 0;
}
