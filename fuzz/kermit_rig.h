// Kermit packets for the fuzz targets, with checks that are right: no mutation
// of bytes would find them.
#pragma once

#include "transfer_rig.h"

#include "transfer/kermit.h"

namespace rig {

inline std::string kermit_check(const std::string &text, int type)
{
    uint32_t s = 0, c = 0;
    for (char b : text) {
        s += uint8_t(b);
        c ^= uint8_t(b);
        for (int bit = 0; bit < 8; bit++)
            c = c & 1 ? c >> 1 ^ 0x8408 : c >> 1;
    }
    if (type == 1)
        return {char(((s + (s >> 6 & 3)) & 63) + 32)};
    if (type == 3)
        return {char((c >> 12) + 32), char((c >> 6 & 63) + 32),
                char((c & 63) + 32)};
    const int from = type == 2 ? 32 : 33;
    return {char((s >> 6 & 63) + from), char((s & 63) + from)};
}

inline std::string kermit_packet(char type, int seq, const std::string &field,
                                 int check)
{
    const int length = int(field.size()) + (check == 4 ? 2 : check);
    std::string text = {char(length + 34), char(seq % 64 + 32), type};
    if (length > 92) {
        text[0] = ' ';
        text += {char(length / 95 + 32), char(length % 95 + 32)};
        text += kermit_check(text, 1);
    }
    text += field;
    return "\x01" + text + kermit_check(text, check) + "\r";
}

// The input is a row of steps, each a byte and its arguments:
//
//  bits 0-2  a packet of that type of "SFDZBYN", or a pause
//  bits 3-4  its check
//  bit 5     the number is the next byte, not the one behind the last
//  bit 6     damaged
//  bit 7     the field's bytes 16 times over
//
// and behind them the field's length and bytes. The first exchange has check 1.
inline void say_kermit(const uint8_t *p, size_t size)
{
    const uint8_t *const end = p + size;
    auto next = [&] { return p < end ? *p++ : uint8_t(0); };
    std::string out;
    int seq = 0;

    while (p < end && out.size() < 40000) {
        const uint8_t step = next();
        if ((step & 7) == 7) {
            hear(out, (next() & 63) * 100000);
            out.clear();
            continue;
        }
        if (step & 32)
            seq = next();
        std::string field;
        for (int n = next(); n > 0 && p < end; n--)
            field += char(next());
        for (int twice = step & 128 ? 4 : 0; twice > 0; twice--)
            field += field;
        const int check = seq == 0 ? 1 : (step >> 3 & 3) + 1;
        out += kermit_packet("SFDZBYN"[step & 7], seq++, field, check);
        if (step & 64)
            out[out.size() - 3] ^= 1;
    }
    hear(out);
}

// Settings of the input's choosing, its packets or bytes, and a user who loses
// patience.
inline void begin_kermit(const uint8_t *in, size_t size)
{
    static const uint16_t lengths[] = {94, 31, 1000, 65535};

    begin(in[0]);
    cset.kermLen = lengths[in[1] & 3];
    cset.kermCheck = in[1] >> 2 & 3;
    data = in[1] & 16 ? kData7 : kData8;
    if (in[0] & 32)
        say_raw(in + 2, size - 2);
    else
        say_kermit(in + 2, size - 2);
    watch(runs, in[0] & 64 ? 3000 : 10);
}

} // namespace rig
