// The test bench of the transfers.
#include "tests/support/bench.h"

#include "connect/Dial.h"
#include "platform/appleevents.h"
#include "platform/events.h"
#include "platform/files.h"
#include "platform/line.h"
#include "scrollback/View.h"
#include "shell/Inits.h"
#include "terminal/VT100.h"
#include "tests/support/farend.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sys/stat.h>

namespace fs = std::filesystem;

// ---- folders and files -----------------------------------------------------

std::string scratch()
{
    fs::path path = sandbox().root / "files";
    std::error_code ignored;
    fs::create_directory(path, ignored);
    return path.string();
}

void write_file(const std::string &name, const std::string &bytes)
{
    write_bytes(fs::path(scratch()) / name, bytes);
}

std::string read_file(const std::string &name)
{
    return read_bytes(fs::path(scratch()) / name);
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

void put_file(const std::string &name, const std::string &bytes)
{
    const timespec date[2] = {{1700000000, 0}, {1700000000, 0}};

    write_file(name, bytes);
    utimensat(AT_FDCWD, (scratch() + "/" + name).c_str(), date, 0);
}

std::string folder()
{
    std::string out;
    for (const std::string &name : folder_list())
        out += (out.empty() ? "" : " ") +
               (name.compare(0, 4, "ZRcv") == 0 ? "ZRcv"
                : name.back() == '\xA5' ? name.substr(0, name.size() - 1)
                                        : name) +
               (name.back() == '\xA5' ? "..." : "") + ":" +
               std::to_string(read_file(name).size());
    return out;
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

// What a case before this one may have left under way.
static void end_all()
{
    EventRecord event;

    hl_line_peer({});
    hl_line_fault({});
    hl_modal_clear();
    zrmv();
    gotEOF = 0;
    (void)closeit();
    hl_advance_ticks(3600); // acts that were to come later
    while (WaitNextEvent(everyEvent, &event, 0, nullptr))
        (void)AEProcessAppleEvent(&event); // one to quit would end all to come
    DispChars(reinterpret_cast<const uint8_t *>("m"), 1); // ends a sequence
    ModemActive = 0;                                      // passes rest again
    UserCancel = Verbose = 0;
    Nozmodem = Zctlesc = 0;
    Txfcs32 = Znulls = Crc32t = 0;
    data = kData8;
    parity = kParityNone;
    for (const auto &e : fs::directory_iterator(scratch()))
        fs::remove_all(e.path());
}

void start_bench(char convert, bool escape)
{
    scratch();
    settings(convert, escape);
    MaxLine = 24;
    MaxCol = 80;
    static bool made;
    if (made) {
        end_all();
        init_term();
        absmove(0, 0);
    } else {
        MakeUPPs();
        InitPage();
        if (SerAlloc() != 0 || AllocXferBuf(1500) < 1500)
            abort();
    }
    made = true;
    scrolled = 1;
    sysVers = 0x1000;
    if (sIn != 0)
        line_close();
    sIn = sOut = int16_t(hl_line_open(HL_SOCKET));
    lineBufCnt = 0;
    gStillinBuf = 0;
    LastGetTicks = int32_t(TickCount());
    awKill();
    line_use(sIn);
    use_folder(scratch());
    // A header ends what a time-out has begun: all is shown up to the next one.
    hl_line_say(hex_frame(ZFIN, four(0)));
    (void)zgethdr(Rxhdr, 0);
    Zmodem = 0;
    // The program's own folders, as at a start.
    (void)FindFolder(0, kPrefFolder, true, &gAuxFilesVRef, &gAuxFilesDirID);
    GetProgramFolder(&pgmVRef, &pgmDir);
}

std::string screen()
{
    std::string out;

    for (int row = 0; row < MaxLine; row++) {
        const std::string line = screen_row(row);
        if (!line.empty())
            out += line + "\n";
    }
    return out;
}

void expect_shown(const std::string &words)
{
    EXPECT_NE(screen().find(words), std::string::npos)
        << words << " isn't on the screen:\n"
        << screen();
}

std::string log_text()
{
    std::string all;
    fs::path logs = sandbox().root / ".local/state";

    for (const auto &e : fs::recursive_directory_iterator(logs)) {
        std::string text = e.is_regular_file() ? read_bytes(e.path()) : "";
        if (text.find('\t') != std::string::npos)
            all += text;
    }
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

uint32_t cancel_after(uint32_t ticks)
{
    hl_after(ticks, [] { hl_type(".", cmdKey); });
    return TickCount() + ticks;
}

void expect_cancelled(uint32_t pressed, uint32_t most)
{
    EXPECT_LE(int32_t(TickCount() - pressed), int32_t(most));
    EXPECT_EQ(UserCancel, 0) << "what comes next runs whole";
    EXPECT_EQ(zDlog, nullptr);
    EXPECT_TRUE(data == kData7 && parity == kParityEven) << "the line changed";
}

std::string many(const std::string &one)
{
    std::string all;
    while (all.size() < 100000)
        all += one;
    return all;
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
