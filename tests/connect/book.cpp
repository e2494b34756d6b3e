#include "tests/connect/book.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "connect/PhoneBook.h"
#include "platform/appleevents.h"
#include "platform/backend.h"
#include "platform/clock.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "serial/IOKitSerial.h"
#include "serial/ModemIO.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"
#include "terminal/VT100.h"

static std::string place;

static void remove_place()
{
    std::error_code ignored;
    std::filesystem::remove_all(place, ignored);
}

std::string make_place(bool inMemory)
{
    char shared[] = "/dev/shm/quillon-test-XXXXXX";
    char name[] = "/tmp/quillon-test-XXXXXX";
    const char *made = inMemory ? mkdtemp(shared) : nullptr;
    if (!made)
        made = mkdtemp(name);
    if (!made)
        abort();
    place = made;
    setenv("HOME", made, 1);
    setenv("XDG_CONFIG_HOME", (place + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (place + "/data").c_str(), 1);
    setenv("XDG_STATE_HOME", (place + "/state").c_str(), 1);
    atexit(remove_place);
    const char *why;
    int argc = 0;
    if (!be_start(&argc, nullptr, &why))
        abort();
    return place;
}

std::string book_path()
{
    return place + "/config/quillon/phonebook.qpho";
}

FSSpec book_spec()
{
    FSSpec spec = {};
    if (FindFolder(0, kPrefFolder, true, &spec.vRefNum, &spec.parID) != noErr)
        abort();
    CopyCStringToPascal("phonebook.qpho", spec.name);
    return spec;
}

std::string read_bytes(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream all;
    all << in.rdbuf();
    return all.str();
}

void write_bytes(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

// ---- books -----------------------------------------------------------------

static constexpr OSType kTypes[] = {FOUR("Dial"), FOUR("STR#"), FOUR("qSet")};

void write_book(const Book &book)
{
    FSSpec spec = book_spec();
    Str255 name;

    (void)HCreate(spec.vRefNum, spec.parID, spec.name, kBookCreator, kBookType);
    HCreateResFile(spec.vRefNum, spec.parID, spec.name);
    int16_t ref = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    if (ref < 0)
        abort();
    for (const Record &r : book) {
        Handle h;
        if (PtrToHand(r.data.data(), &h, int32_t(r.data.size())) != noErr)
            abort();
        CopyCStringToPascal(r.name.c_str(), name);
        AddResource(h, r.type, r.id, name);
        if (ResError() != noErr)
            abort();
    }
    UpdateResFile(ref);
    CloseResFile(ref);
}

Book read_book()
{
    FSSpec spec = book_spec();
    Book book;

    int16_t ref = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    if (ref < 0)
        return book;
    for (OSType type : kTypes) {
        for (int16_t i = 1; i <= Count1Resources(type); i++) {
            Handle h = Get1IndResource(type, i);
            Record r = {type, 0, "", ""};
            Str255 name;
            GetResInfo(h, &r.id, nullptr, name);
            r.name = pstring_text(name);
            r.data.assign(reinterpret_cast<char *>(*h),
                          size_t(GetHandleSize(h)));
            book.push_back(r);
        }
    }
    CloseResFile(ref);
    return book;
}

const Record *find(const Book &book, OSType type, int16_t id)
{
    for (const Record &r : book) {
        if (r.type == type && r.id == id)
            return &r;
    }
    return nullptr;
}

std::string list_data(const std::vector<std::string> &strings)
{
    std::string bytes = {char(strings.size() >> 8), char(strings.size())};
    for (const std::string &s : strings) {
        bytes += char(s.size());
        bytes += s;
    }
    return bytes;
}

std::vector<std::string> list_strings(const std::string &bytes)
{
    std::vector<std::string> strings;
    for (size_t at = 2; at < bytes.size(); at += size_t(uint8_t(bytes[at])) + 1)
        strings.push_back(bytes.substr(at + 1, uint8_t(bytes[at])));
    return strings;
}

template <class T>
static std::string record_data(const char *type, int16_t id, size_t size,
                               void (*copy)(const void *, void *),
                               const std::function<void(T &)> &change)
{
    std::string file(size, '\0');
    T record = {};
    OSType code = OSType(uint8_t(type[0])) << 24 |
                  OSType(uint8_t(type[1])) << 16 |
                  OSType(uint8_t(type[2])) << 8 | uint8_t(type[3]);

    copy(*GetResource(code, id), &record);
    if (change)
        change(record);
    copy(&record, file.data());
    return file;
}

std::string dial_data(const std::function<void(cset_t &)> &change)
{
    return record_data<cset_t>("Dial", 128, size_t(kDialRecLen),
                               copy_cset_swaps, change);
}

std::string qset_data(const std::function<void(qset_t &)> &change)
{
    return record_data<qset_t>("qSet", 0, size_t(kQsetLen), copy_qsetup_swaps,
                               change);
}

Book plain_book()
{
    if (!hl_line_path() || !*hl_line_path())
        hl_line_open(HL_PTY);
    std::vector<std::string> globals(15);
    globals[kGlobPort - 1] = hl_line_path();
    globals[kGlobModem - 1] = "No Modem";
    globals[kGlobDefault - 1] = "Local";
    return {
        {FOUR("Dial"), 3000, "Local",
         dial_data([](cset_t &c) { c.localStrID = 3000; })},
        {FOUR("STR#"), 3000, "",
         list_data({"", "", "", "", "", "", "", "", "rz\r", "d z "})},
        {FOUR("STR#"), 0, "Default", list_data({"Return", "\r"})},
        {FOUR("STR#"), 256, "", list_data(globals)},
        {FOUR("qSet"), 1, "", qset_data()},
    };
}

std::string pstring_text(ConstStr s)
{
    return {reinterpret_cast<const char *>(s + 1), s[0]};
}

std::string glob(int16_t index)
{
    Str255 s;
    GetGlob(index, s);
    return pstring_text(s);
}

std::string local(int16_t index)
{
    Str255 s;
    GetFromStrList(gLocalStrings, index, s);
    return pstring_text(s);
}

// ---- runs ------------------------------------------------------------------

void start_program()
{
    ae_queue_start(nullptr, 0);
    if (!InitProgram())
        abort();
    run_ticks(30);
}

void run_ticks(uint32_t ticks)
{
    uint32_t end = TickCount() + ticks;
    while (moreToDo && int32_t(end - TickCount()) > 0) {
        if (!Suspended && myWindow)
            docursor();
        if (sIn)
            ReadPort();
        MainEventLoop(kAllEvents, myWindow ? kModeMain : kModeSmall);
    }
}

int run_program(uint32_t ticks, std::function<void()> act)
{
    ae_queue_start(nullptr, 0);
    if (act)
        hl_after(ticks, std::move(act));
    hl_after(ticks + 60, [] { hl_quit(); });
    return QuillonMain();
}
