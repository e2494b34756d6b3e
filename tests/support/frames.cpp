// ZMODEM frames, slowly and plainly.
#include "tests/support/frames.h"

constexpr char kZDLE = 0x18;

uint32_t plain_crc16(const std::string &bytes, uint32_t crc)
{
    for (unsigned char c : bytes) {
        crc ^= uint32_t(c) << 8;
        for (int i = 0; i < 8; i++)
            crc = (crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1) & 0xFFFF;
    }
    return crc;
}

uint32_t plain_crc32(const std::string &bytes)
{
    uint32_t crc = 0xFFFFFFFF;

    for (unsigned char c : bytes) {
        crc ^= c;
        for (int i = 0; i < 8; i++)
            crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    return ~crc;
}

static std::string big16(uint32_t crc)
{
    return {char(crc >> 8), char(crc)};
}

std::string four(uint32_t p)
{
    return {char(p), char(p >> 8), char(p >> 16), char(p >> 24)};
}

std::string flags(uint8_t zf0, uint8_t zf1)
{
    return {0, 0, char(zf1), char(zf0)};
}

std::string escaped(const std::string &bytes, bool all)
{
    std::string out;

    for (unsigned char c : bytes) {
        int low = c & 0x7F;
        bool flip = low == 0x10 || low == 0x11 || low == 0x13 || c == 0x18 ||
                    (all && low < 0x20) ||
                    (low == 0x0D && !out.empty() && (out.back() & 0x7F) == '@');
        if (flip)
            out += kZDLE;
        out += char(flip ? c ^ 0x40 : c);
    }
    return out;
}

static std::string hex(const std::string &bytes)
{
    std::string out;

    for (unsigned char c : bytes) {
        out += "0123456789abcdef"[c >> 4];
        out += "0123456789abcdef"[c & 15];
    }
    return out;
}

std::string hex_frame(int type, const std::string &data)
{
    std::string body = char(type) + data;
    std::string out =
        "**\030B" + hex(body + big16(plain_crc16(body))) + "\r\x8A";
    return type == 3 || type == 8 ? out : out + "\x11";
}

std::string bin16_frame(int type, const std::string &data)
{
    std::string body = char(type) + data;
    return "*\030A" + escaped(body + big16(plain_crc16(body)));
}

std::string bin32_frame(int type, const std::string &data, char form)
{
    std::string body = char(type) + data;
    return std::string("*\x18") + form +
           escaped(body + four(plain_crc32(body)));
}

std::string packet16(const std::string &data, char end, bool all)
{
    std::string out = escaped(data, all) + kZDLE + end +
                      escaped(big16(plain_crc16(data + end)), all);
    return end == 'k' ? out + "\x11" : out;
}

std::string packet32(const std::string &data, char end)
{
    std::string out =
        escaped(data) + kZDLE + end + escaped(four(plain_crc32(data + end)));
    return end == 'k' ? out + "\x11" : out;
}

std::string cancel_string()
{
    return std::string(10, 0x18) + std::string(10, 0x08);
}

std::string file_block(const std::string &name, const std::string &figures)
{
    return name + std::string(1, '\0') + figures + std::string(1, '\0');
}

uint32_t frame::position() const
{
    return uint32_t(uint8_t(data[0])) | uint32_t(uint8_t(data[1])) << 8 |
           uint32_t(uint8_t(data[2])) << 16 | uint32_t(uint8_t(data[3])) << 24;
}

// ---- reading ---------------------------------------------------------------

// Decodes `count` escaped bytes at `at`. False when not all are there.
static bool unescape(const std::string &s, size_t &at, size_t count,
                     std::string &out)
{
    for (; count > 0; count--) {
        if (at >= s.size())
            return false;
        char c = s[at++];
        if (c == kZDLE) {
            if (at >= s.size())
                return false;
            c = char(s[at++] ^ 0x40);
        }
        out += c;
    }
    return true;
}

static int digit(char c)
{
    return c >= 'a' ? c - 'a' + 10 : c - '0';
}

// A header at `at`, or false if it isn't complete.
static bool read_head(const std::string &s, size_t &at, frame &f, bool &bad)
{
    std::string body;
    size_t p = at + 2;

    f.form = s[p++];
    if (f.form == 'B') {
        if (s.size() < p + 16)
            return false;
        for (int i = 0; i < 7; i++)
            body += char(digit(s[p + 2 * i]) << 4 | digit(s[p + 2 * i + 1]));
        p += 16; // with CR and LF
        if (p < s.size() && s[p] == 0x11)
            p++;
    } else if (!unescape(s, p, f.form == 'C' ? 9 : 7, body)) {
        return false;
    }
    std::string head = body.substr(0, 5), crc = body.substr(5);
    bad = bad || crc != (f.form == 'C' ? four(plain_crc32(head))
                                       : big16(plain_crc16(head)));
    f.type = head[0];
    f.data = head.substr(1);
    at = p;
    return true;
}

// A subpacket at `at`, or false if it isn't complete.
static bool read_packet(const std::string &s, size_t &at, char form,
                        sub_packet &out, bool &bad)
{
    size_t p = at;
    std::string data, crc;

    for (;; p++) {
        if (p + 1 >= s.size())
            return false;
        if (s[p] != kZDLE) {
            data += s[p];
            continue;
        }
        p++;
        if (s[p] >= 'h' && s[p] <= 'k')
            break;
        data += s[p] == 'l' ? '\x7F' : s[p] == 'm' ? '\xFF' : char(s[p] ^ 0x40);
    }
    out = {data, s[p++]};
    if (!unescape(s, p, form == 'C' ? 4 : 2, crc))
        return false;
    bad = bad || crc != (form == 'C' ? four(plain_crc32(data + out.end))
                                     : big16(plain_crc16(data + out.end)));
    if (out.end == 'k') {
        if (p >= s.size())
            return false;
        bad = bad || s[p++] != 0x11;
    }
    at = p;
    return true;
}

// Whether subpackets follow the last header.
static bool wants_data(const std::vector<frame> &frames)
{
    if (frames.empty())
        return false;
    const frame &f = frames.back();
    bool bearer = f.type == 4 || f.type == 10 || f.type == 2;
    return bearer && (f.packets.empty() || f.packets.back().end == 'i' ||
                      f.packets.back().end == 'j');
}

void frame_reader::feed(const std::string &bytes)
{
    pending += bytes;
    size_t at = 0;
    for (;;) {
        if (wants_data(frames)) {
            sub_packet p;
            if (!read_packet(pending, at, frames.back().form, p, damaged))
                break;
            frames.back().packets.push_back(p);
            continue;
        }
        size_t start = pending.find("*\x18", at);
        if (start == std::string::npos || start + 2 >= pending.size()) {
            if (start == std::string::npos && !pending.empty() &&
                pending.back() != '*') {
                noise += pending.substr(at);
                at = pending.size();
            }
            break;
        }
        frame f = {};
        size_t p = start;
        if (!read_head(pending, p, f, damaged))
            break;
        noise += pending.substr(at, start - at);
        at = p;
        frames.push_back(f);
    }
    pending.erase(0, at);
}
