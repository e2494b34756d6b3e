// Any bytes as a phone book: opening either refuses the file and leaves it as
// it was, or gives resources that can be read, changed and saved.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/memory.h"
#include "platform/resources.h"

static FSSpec book;
static char path[64];

static void write_file(const uint8_t *data, size_t size)
{
    int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || write(fd, data, size) != ssize_t(size))
        abort();
    close(fd);
}

static bool file_is(const uint8_t *data, size_t size)
{
    std::string now(size + 1, '\0');
    int fd = open(path, O_RDONLY);
    ssize_t n = fd < 0 ? -1 : read(fd, now.data(), now.size());
    if (fd >= 0)
        close(fd);
    return n == ssize_t(size) && std::memcmp(now.data(), data, size) == 0;
}

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
    if (!path[0]) {
        char folder[] = "/dev/shm/quillon-fuzz-XXXXXX";
        if (!mkdtemp(folder))
            abort();
        setenv("HOME", folder, 1);
        std::strcpy(path, folder);
        std::strcat(path, "/book");
        (void)FSSpecFromPath(path, &book);
    }
    write_file(data, size);
    int16_t ref = open_book(fsRdWrPerm);
    if (ref < 0) {
        if (!file_is(data, size))
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
