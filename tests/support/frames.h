// ZMODEM frames made and read by the tests' own hand, so that a fault in the
// program's tables or forms can't hide in both places.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

uint32_t plain_crc16(const std::string &bytes, uint32_t crc = 0);
uint32_t plain_crc32(const std::string &bytes); // with start and complement

std::string four(uint32_t position); // as header data, low byte first
std::string flags(uint8_t zf0, uint8_t zf1 = 0); // as header data

std::string escaped(const std::string &bytes, bool all = false);
std::string hex_frame(int type, const std::string &data);
std::string bin16_frame(int type, const std::string &data);
std::string bin32_frame(int type, const std::string &data, char form = 'C');
std::string packet16(const std::string &data, char end, bool all = false);
std::string packet32(const std::string &data, char end);
std::string cancel_string(); // ten CAN, ten BS

// A header block: name, NUL, figures.
std::string file_block(const std::string &name, const std::string &figures);

struct sub_packet {
    std::string data;
    char end;
};
struct frame {
    char form; // 'A', 'B', 'C'
    int type;
    std::string data; // four bytes
    std::vector<sub_packet> packets;

    uint32_t position() const;
};

// Takes a stream apart as it comes. What is no frame goes to `noise`.
struct frame_reader {
    std::string pending, noise;
    std::vector<frame> frames;
    bool damaged = false; // a CRC was wrong

    // Returns the frames whose header, and subpackets up to now, are new.
    void feed(const std::string &bytes);
};
