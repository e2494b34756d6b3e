// What the fuzz targets of the transfers share: a terminal in memory, a folder
// to receive into, a line whose time is false, and a user who answers every
// question.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <string>

#include "connect/Dial.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/core/line/lineparts.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "terminal/VT100.h"
#include "tests/support/frames.h"
#include "tests/support/sandbox.h"
#include "transfer/Names.h"
#include "transfer/Util.h"
#include "transfer/rz.h"
#include "transfer/sz.h"
#include "transfer/xmodem.h"
#include "transfer/zm.h"
#include "transfer/zmaclo.h"
#include "transfer/zstats.h"

// ---- the line --------------------------------------------------------------
// In memory: these take the place of the device's own calls, and a run doesn't
// ask the system for a byte. What the program sends is dropped.

namespace rig {

struct piece {
    int64_t at; // when it has arrived
    std::string bytes;
};
inline std::deque<piece> line;

inline void hear(std::string bytes, int64_t delay = 0)
{
    int64_t from = std::max(hl_now(), line.empty() ? 0 : line.back().at);
    line.push_back({from + delay, std::move(bytes)});
}

} // namespace rig

int32_t device_read(int, void *to, int32_t count)
{
    while (!rig::line.empty() && rig::line.front().bytes.empty())
        rig::line.pop_front();
    if (rig::line.empty() || rig::line.front().at > hl_now())
        return -EAGAIN;
    std::string &front = rig::line.front().bytes;
    int32_t n = std::min(count, int32_t(front.size()));
    memcpy(to, front.data(), size_t(n));
    front.erase(0, size_t(n));
    return n;
}

int32_t device_write(int, const void *, int32_t count)
{
    return count;
}
int device_open(const char *)
{
    return -ENOENT;
}
void device_close(int) {}
void device_short_queue(int) {}
int device_shape(int, int32_t, int, char, uint8_t)
{
    return 0;
}
int device_flow(int, uint8_t)
{
    return 0;
}
int device_speed(int, int32_t, bool)
{
    return 0;
}
int device_break(int, int16_t)
{
    return 0;
}

// ---- the window -----------------------------------------------------------
// It is made again for each run. A small one is enough.

struct Canvas;
extern "C" Canvas *__real__Z10canvas_newiii(int width, int height, int scale);
extern "C" Canvas *__wrap__Z10canvas_newiii(int width, int height, int scale);
Canvas *__wrap__Z10canvas_newiii(int width, int height, int scale)
{
    return __real__Z10canvas_newiii(std::min(width, 16), std::min(height, 16),
                                    scale);
}

namespace rig {

inline int runs;        // a watch of an earlier run does nothing
inline std::string top; // holds "in", the receive folder, and a sentinel

inline void answer_all()
{
    hl_modal([](WindowPtr w) {
        static int answer;
        const HlItem *field = hl_item(w, 2); // asks for a name: the one it has
        bool name = field && field->kind == BE_EDIT;
        hl_hit(w, name ? 1 : 1 + answer++ % 3);
        answer_all();
    });
}

inline void use_folder()
{
    FSSpec spec;
    CatInfo info;
    if (FSSpecFromPath((top + "/in").c_str(), &spec) != noErr ||
        GetCatInfo(spec.vRefNum, spec.parID, spec.name, &info) != noErr)
        abort();
    zRcvVol = spec.vRefNum;
    zRcvDirID = info.dirID;
}

inline void start()
{
    if (!top.empty())
        return;
    top = fresh_sandbox(true).root / "here";
    std::filesystem::create_directories(top + "/in");
    write_bytes(top + "/sentinel", "");
    MaxLine = 24;
    MaxCol = 80;
    InitPage();
    scrolled = 1;
    if (SerAlloc() != 0 || AllocXferBuf(1500) < 1500)
        abort();
    qset.fileBufSize = 2048;
    qset.globFlags = kGlobNoXferLog | kGlobNoBell;
    Baudrate = 2400;
    gCarrierRate = 2400;
    use_folder();
    answer_all();
}

// A fresh line and settings of the input's choosing.
inline void begin(uint8_t choice)
{
    static const char letters[] = "SMTB";

    start();
    cset = {};
    cset.rzTimeout = 1;
    cset.szTimeout = 1;
    cset.xmStartTimeout = 10;
    cset.hostNames = 3;
    cset.zFlags = choice & 1;
    op_xconv = letters[choice >> 1 & 3];
    cset.zWindow = choice & 8 ? 1024 : 0;
    // A silent line for the waits to watch: bytes come by the clock.
    static const int silent = hl_line_open(HL_SOCKET);
    sIn = sOut = int16_t(silent);
    line_use(silent);
    lineBufCnt = 0;
    line.clear();
    awKill();
    UserCancel = 0;
    Zmodem = 0;
    runs++;
}

// Nothing of the run is left, and nothing beside the folder has changed.
inline void end()
{
    if (zDlog || zRcvRef != 0 || zSendRef != 0)
        abort();
    int beside = 0;
    for (const auto &e : std::filesystem::directory_iterator(top)) {
        (void)e;
        beside++;
    }
    if (beside != 2)
        abort();
    for (const auto &e : std::filesystem::directory_iterator(top + "/in"))
        std::filesystem::remove_all(e.path());
}

// The user presses Cancel when the other side has nothing more to say, or when
// it says too much. `ticks` is how long he bears the silence. A transfer that
// goes on in spite of that for three minutes hangs.
inline void watch(int run, int ticks, int turn = 0)
{
    hl_after(uint32_t(ticks), [=] {
        if (run != runs)
            return;
        if (line.empty() || turn > 100) {
            UserCancel = 1;
            // The wait for the sender to fall silent, in short.
            LastGetTicks -= 60;
        }
        if (turn > 100 + 3 * 3600 / ticks)
            abort();
        watch(run, ticks, turn + 1);
    });
}

// ---- what the other side says ----------------------------------------------

// A byte 0xFF is a pause.
inline void say_raw(const uint8_t *bytes, size_t size)
{
    size_t from = 0;
    int64_t delay = 0;
    for (size_t i = 0; i <= size; i++) {
        if (i < size && bytes[i] != 0xFF)
            continue;
        hear(std::string(bytes + from, bytes + i), delay);
        delay = 150000;
        from = i + 1;
    }
}

// Frames whose check is right, as no mutation of bytes would find them. The
// input is a row of steps, each a byte and its arguments:
//
//  bits 0-2  0 bytes as they are: count, bytes
//            1, 2, 3 header, hexadecimal, CRC-16, CRC-32: type, 4 bytes
//            4 subpacket, its end by bits 3-4: count, bytes
//            5 the same with 16 times as many bytes: count, the byte
//            6 pause: tenths of a second
//            7 ZDATA, or ZEOF with bit 3, at the place reached by the data
//  bit 7     the check is damaged
struct composer {
    const uint8_t *p, *end;
    std::string out;
    int64_t delay = 0;
    uint32_t reached = 0;
    bool wide = false; // CRC-32 for the next subpacket

    uint8_t next() { return p < end ? *p++ : 0; }

    // With bit 7 of `damage` the check isn't that of the bytes.
    void add(std::string bytes, uint8_t damage)
    {
        if (damage & 0x80)
            bytes[bytes.find_last_not_of("\r\x8A\x11")] ^= 1;
        out += bytes;
    }

    void header(int form, uint8_t type, uint32_t data, uint8_t damage)
    {
        const std::string bytes = four(data);

        if (type == ZFILE)
            reached = 0;
        wide = form == 3;
        add(form == 1   ? hex_frame(type, bytes)
            : form == 2 ? bin16_frame(type, bytes)
                        : bin32_frame(type, bytes),
            damage);
    }

    void subpacket(const std::string &data, uint8_t step)
    {
        const char last = char(ZCRCE + (step >> 3 & 3));

        reached += uint32_t(data.size());
        add(wide ? packet32(data, last) : packet16(data, last), step);
    }

    void take(uint8_t step)
    {
        std::string bytes;
        uint8_t type;

        switch (step & 7) {
        case 0:
        case 4:
            for (int n = next(); n > 0 && p < end; n--)
                bytes += char(next());
            if (step & 4)
                subpacket(bytes, step);
            else
                out += bytes;
            break;
        case 1:
        case 2:
        case 3:
            type = next();
            for (int i = 0; i < 4; i++)
                bytes += char(next());
            header(step & 7, type,
                   rclhdr(reinterpret_cast<const uint8_t *>(bytes.data())),
                   step);
            break;
        case 5:
            bytes.assign(size_t(next()) * 16, 0);
            std::fill(bytes.begin(), bytes.end(), char(next()));
            subpacket(bytes, step);
            break;
        case 6:
            hear(out, delay);
            out.clear();
            delay = (next() & 63) * 100000;
            break;
        case 7:
            header(3, step & 8 ? ZEOF : ZDATA, reached, step);
            break;
        }
    }
};

inline void say_frames(const uint8_t *bytes, size_t size)
{
    composer c = {bytes, bytes + size, ""};

    while (c.p < c.end && c.out.size() < 20000)
        c.take(c.next());
    hear(c.out, c.delay);
}

// The input as frames or, by `raw`, as the bytes of the line.
inline void say(bool raw, const uint8_t *bytes, size_t size)
{
    if (raw)
        say_raw(bytes, size);
    else
        say_frames(bytes, size);
}

} // namespace rig
