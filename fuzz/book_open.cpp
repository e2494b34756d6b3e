// Any bytes as a phone book: opening either refuses the file and leaves it as
// it was, or gives resources that can be read, changed and saved.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/files.h"
#include "platform/memory.h"
#include "platform/resources.h"
#include "tests/support/sandbox.h"

static FSSpec book;
static std::string path;

static int16_t open_book(int8_t permission)
{
    return HOpenResFile(book.vRefNum, book.parID, book.name, permission);
}

static void change_book(int16_t ref)
{
    Str255 name;
    for (OSType type : {FOUR("Dial"), FOUR("STR#"), FOUR("qSet")})
        for (int16_t i = 1; i <= Count1Resources(type) && i < 50; i++) {
            Handle h = Get1IndResource(type, i);
            if (!h)
                continue;
            GetResInfo(h, nullptr, nullptr, name);
            SetHandleSize(h, GetHandleSize(h) + 4);
            if (MemError() == noErr)
                ChangedResource(h);
        }
    for (int16_t i = -2; i < 300; i += 100)
        GetIndString(name, 256, i);
    Handle h = nullptr;
    if (PtrToHand("new", &h, 3) == noErr) {
        AddResource(h, FOUR("Dial"), 3400, name);
        if (ResError() != noErr)
            DisposeHandle(h);
    }
    UpdateResFile(ref);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    if (path.empty()) {
        path = fresh_sandbox(true).root / "book";
        (void)FSSpecFromPath(path.c_str(), &book);
    }
    write_bytes(path, bytes);
    int16_t ref = open_book(fsRdWrPerm);
    if (ref < 0) {
        if (read_bytes(path) != bytes)
            abort();
        return 0;
    }
    int16_t before = Count1Resources(FOUR("Dial"));
    change_book(ref);
    OSErr err = ResError();
    CloseResFile(ref);
    if (err != noErr)
        return 0;
    // What was saved is there.
    ref = open_book(fsRdPerm);
    if (ref < 0 || Count1Resources(FOUR("Dial")) < before)
        abort();
    CloseResFile(ref);
    return 0;
}
