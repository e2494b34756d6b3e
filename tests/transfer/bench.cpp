// The test bench of the transfers.
#include "bench.h"

#include "connect/Dial.h"
#include "connect/Settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "platform/ports.h"
#include "scrollback/View.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "terminal/VT100.h"
#include "transfer/Names.h"
#include "transfer/xmodem.h"
#include "transfer/zmaclo.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <unistd.h>

namespace fs = std::filesystem;

// ---- folders and files -----------------------------------------------------

// The folder, removed when the program ends.
struct scratch_folder {
    fs::path path;

    scratch_folder()
    {
        std::string form = (fs::temp_directory_path() / "ql-XXXXXX").string();
        path = mkdtemp(form.data());
        fs::create_directory(path / "files");
        for (const char *name :
             {"XDG_STATE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
            fs::create_directory(path / name);
            setenv(name, (path / name).c_str(), 1);
        }
    }
    ~scratch_folder()
    {
        std::error_code ignored;
        fs::permissions(path / "files", fs::perms::owner_all, ignored);
        fs::remove_all(path, ignored);
    }
};

static const fs::path &root()
{
    static scratch_folder folder;
    return folder.path;
}

std::string scratch()
{
    return (root() / "files").string();
}

void write_file(const std::string &name, const std::string &bytes)
{
    std::ofstream(fs::path(scratch()) / name, std::ios::binary) << bytes;
}

static std::string slurp(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string read_file(const std::string &name)
{
    return slurp(fs::path(scratch()) / name);
}

bool file_there(const std::string &name)
{
    return fs::exists(fs::symlink_status(fs::path(scratch()) / name));
}

std::vector<std::string> folder_list()
{
    std::vector<std::string> names;
    for (const auto &e : fs::directory_iterator(scratch())) {
        std::string name = e.path().filename().string();
        if (name.compare(0, 2, "._") != 0)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string partial(const std::string &name)
{
    return name + "\xA5";
}

// ---- the program -----------------------------------------------------------

static void settings(char convert, bool escape)
{
    cset = {};
    cset.rzTimeout = 10;
    cset.szTimeout = 60;
    cset.xmTimeout = 80;
    cset.xmStartTimeout = 100;
    cset.zBlockChar = 'A';
    cset.zFlags = escape;
    cset.hostNames = 3;
    cset.termFlags = kTermNoAutoLF;
    qset.fileBufSize = 8192;
    qset.binCreator = FOUR("????");
    qset.binType = FOUR("????");
    qset.globFlags = kGlobNoXferLog;
    op_xconv = convert;
    textcreator = FOUR("ttxt");
    Baudrate = 115200;
    gCarrierRate = 115200;
}

static void use_folder(const std::string &path)
{
    FSSpec spec;
    CatInfo info;

    if (FSSpecFromPath(path.c_str(), &spec) != noErr ||
        GetCatInfo(spec.vRefNum, spec.parID, spec.name, &info) != noErr)
        abort();
    zRcvVol = spec.vRefNum;
    zRcvDirID = info.dirID;
}

void start_bench(char convert, bool escape)
{
    root();
    settings(convert, escape);
    MaxLine = 24;
    MaxCol = 80;
    static bool made;
    if (made) {
        init_term();
        absmove(0, 0);
    } else {
        InitPage();
        if (SerAlloc() != 0 || AllocXferBuf(1500) < 1500)
            abort();
    }
    made = true;
    scrolled = 1;
    sysVers = 0x1000;
    if (sIn != 0)
        port_close(sIn);
    sIn = sOut = int16_t(hl_line_open(HL_SOCKET));
    lineBufCnt = 0;
    awKill();
    clock_watch_port(sIn);
    use_folder(scratch());
    // The program's own folders, as at a start.
    (void)FindFolder(0, kPrefFolder, true, &gAuxFilesVRef, &gAuxFilesDirID);
    GetProgramFolder(&pgmVRef, &pgmDir);
}

std::string screen()
{
    std::string out;

    for (int row = 0; row < MaxLine; row++) {
        std::string line(reinterpret_cast<char *>(scrLine(row)), MaxCol);
        line.erase(line.find_last_not_of(std::string(" \0", 2)) + 1);
        if (!line.empty())
            out += line + "\n";
    }
    return out;
}

std::string log_text()
{
    std::string all;
    for (const auto &e : fs::recursive_directory_iterator(root()))
        if (e.is_regular_file() &&
            e.path().parent_path().string().find("STATE") != std::string::npos)
            if (slurp(e.path()).find('\t') != std::string::npos)
                all += slurp(e.path());
    return all;
}

void pump_port()
{
    for (int i = 0; i < 20; i++)
        ReadPort();
}

int choose_files(const std::vector<std::string> &names)
{
    for (size_t i = 0; i < names.size(); i++) {
        fs::path path = fs::path(scratch()) / names[i];
        if (!SendSlot(int32_t(i)) ||
            FSSpecFromPath(path.c_str(), sendFSS[i]) != noErr)
            abort();
        name4host(sendFSS[i]->name, hostnames[i]);
    }
    mgCount = int32_t(names.size());
    return int(names.size());
}

std::string random_bytes(size_t count, unsigned seed)
{
    std::mt19937 chance(seed);
    std::string out(count, 0);
    for (char &c : out)
        c = char(chance());
    return out;
}

std::string all_bytes(size_t count)
{
    std::string out(count, 0);
    for (size_t i = 0; i < count; i++)
        out[i] = char(i);
    return out;
}

// ---- the scripted peer -----------------------------------------------------

void scripted_peer::start()
{
    hl_line_peer([this](const uint8_t *bytes, size_t count) {
        std::string text(reinterpret_cast<const char *>(bytes), count);
        raw += text;
        heard.feed(text);
        while (types.size() < heard.frames.size()) {
            const frame f = heard.frames[types.size()];
            types.push_back(f.type);
            if (next < rows.size() && rows[next].type == f.type) {
                const peer_row &row = rows[next++];
                if (row.act)
                    row.act(f);
                if (!row.say.empty())
                    hl_line_say(row.say);
            }
        }
    });
}

static std::string numbers(const std::vector<int> &list)
{
    std::string out;
    for (int n : list)
        out += (out.empty() ? "" : " ") + std::to_string(n);
    return out;
}

std::string scripted_peer::type_list() const
{
    return numbers(types);
}

// ---- the receiver at work --------------------------------------------------

enum { kRINIT = 1, kSINIT, kACK, kFILE, kFIN = 8, kRPOS, kDATA, kEOF };

live_receiver::live_receiver() : init(hex_frame(kRINIT, flags(0x23))) {}

void live_receiver::answer(const frame &f, const std::string &usual)
{
    auto other = instead.find({f.type, count[f.type] - 1});
    const std::string &say = other == instead.end() ? usual : other->second;
    if (!say.empty())
        hl_line_say(say);
}

void live_receiver::take_head(const frame &f)
{
    types.push_back(f.type);
    count[f.type]++;
    packetsSeen = 0;
    switch (f.type) {
    case 0:
    case kEOF:
        answer(f, init);
        break;
    case kFIN:
        answer(f, hex_frame(kFIN, four(0)));
        break;
    case kSINIT:
    case kFILE:
    case kDATA:
        break; // with the data
    default:
        answer(f, "");
    }
    if (f.type == kFILE)
        parts.clear();
}

void live_receiver::take_packet(const frame &f, size_t i)
{
    const sub_packet &p = f.packets[i];
    uint32_t at = f.position();

    if (f.type == kDATA) {
        for (size_t k = 0; k < i; k++)
            at += uint32_t(f.packets[k].data.size());
        parts[at] = p.data;
        at += uint32_t(p.data.size());
    }
    if (packet)
        packet(f, i);
    std::string usual;
    if (f.type == kFILE)
        usual = hex_frame(kRPOS, four(start));
    else if (f.type == kSINIT)
        usual = hex_frame(kACK, four(1));
    else if (p.end == 'j' || p.end == 'k')
        usual = hex_frame(kACK, four(at));
    if (p.end == 'j' || p.end == 'k')
        asked.push_back(at);
    if (i == 0)
        answer(f, usual);
    else if (!usual.empty())
        hl_line_say(usual);
}

void live_receiver::begin()
{
    hl_line_peer([this](const uint8_t *bytes, size_t n) {
        std::string text(reinterpret_cast<const char *>(bytes), n);
        raw += text;
        heard.feed(text);
        size_t first = types.empty() ? 0 : types.size() - 1;
        for (size_t k = first; k < heard.frames.size(); k++) {
            const frame &f = heard.frames[k];
            if (k >= types.size())
                take_head(f);
            while (packetsSeen < f.packets.size())
                take_packet(f, packetsSeen++);
        }
    });
}

std::string live_receiver::type_list() const
{
    return numbers(types);
}

std::string live_receiver::file() const
{
    std::string out;
    for (const auto &[at, bytes] : parts) {
        out.resize(std::max<size_t>(out.size(), at));
        out.replace(at, bytes.size(), bytes);
    }
    return out;
}
