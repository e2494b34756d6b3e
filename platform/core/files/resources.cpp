// Resources in memory: the program's own image and the files opened.
//
// The resources of an open file are all in memory, and memory is what counts:
// the file follows at WriteResource and UpdateResFile. If it can't (a full
// disk), what it lacks stays marked, and the next update writes all of that.
#include "platform/resources.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "platform/core/files/bookfile.h"
#include "platform/core/files/filesparts.h"
#include "platform/core/files/resforms.h"
#include "platform/core/files/resimage.h"
#include "platform/memory.h"

static constexpr int16_t kFirstFileRef = 2;
static constexpr int kMostFiles = 16;
static constexpr OSType kListType = FOUR("STR#"), kStringType = FOUR("STR ");

namespace {

using Key = std::pair<OSType, int16_t>;

struct ResFile;

struct Res {
    ResFile *home;
    BookRecord record; // data as last loaded or written
    Handle handle;     // null until asked for
    bool changed;      // the handle may differ from the record
    bool owed;         // the record may differ from what the disk holds
};

struct ResFile {
    int16_t ref;
    BookFile *book; // null for the program's own
    std::map<Key, std::unique_ptr<Res>> map;
    std::set<Key> gone; // removed, and the disk may not know
    bool remade;        // written anew, and not yet asked about
};

} // namespace

// ---- state -----------------------------------------------------------------
// `openFiles` has the program's own first, then files in the order of opening.
// `current` is an index into it. A handle stands in `byHandle` as long as it
// belongs to a resource. Both live to the end, like the handles in them.

static auto &openFiles = *new std::vector<std::unique_ptr<ResFile>>;
static size_t current;
static auto &byHandle = *new std::unordered_map<Handle, Res *>;
static std::set<std::pair<dev_t, ino_t>> justMade; // by HCreateResFile
static OSErr resError;

// ---- helpers ---------------------------------------------------------------

static void load_image(ResFile &program)
{
    ResReader r{kResourceImage, kResourceImage + kResourceImageSize};
    uint32_t magic = uint32_t(r.u16()) << 16;
    magic |= r.u16();
    uint32_t count = uint32_t(r.u16()) << 16;
    count |= r.u16();
    assert(magic == FOUR("qRIM"));
    for (uint32_t i = 0; i < count && r.ok; i++) {
        auto res = std::make_unique<Res>();
        BookRecord &record = res->record;
        record.type = OSType(r.u16()) << 16;
        record.type |= r.u16();
        record.id = r.i16();
        record.attributes = r.u8();
        ConstStr name = r.pstring();
        record.name.assign(reinterpret_cast<const char *>(name + 1), name[0]);
        uint32_t length = uint32_t(r.u16()) << 16;
        length |= r.u16();
        if (!r.has(length))
            break;
        record.data.assign(reinterpret_cast<const char *>(r.p), length);
        r.p += length;
        res->home = &program;
        Key key = {record.type, record.id};
        program.map[key] = std::move(res);
    }
    assert(r.ok && r.p == r.end);
}

static void make_program_file()
{
    if (!openFiles.empty())
        return;
    auto program = std::make_unique<ResFile>();
    program->ref = kProgramResFile;
    load_image(*program);
    openFiles.push_back(std::move(program));
}

// Does each record lie under its own key and belong to its handle, and is
// nothing both there and removed?
[[maybe_unused]] static bool file_ok(const ResFile &f)
{
    for (auto &[key, r] : f.map) {
        if (r->home != &f || key != Key{r->record.type, r->record.id} ||
            f.gone.count(key))
            return false;
        auto found = byHandle.find(r->handle);
        if (r->handle && (found == byHandle.end() || found->second != r.get()))
            return false;
    }
    return true;
}

static ResFile *file_of_ref(int16_t ref)
{
    make_program_file();
    for (auto &f : openFiles)
        if (f->ref == ref)
            return f.get();
    return nullptr;
}

static Res *res_of(Handle h)
{
    auto found = byHandle.find(h);
    resError = found == byHandle.end() ? resNotFound : noErr;
    return resError == noErr ? found->second : nullptr;
}

// The resource's handle, loaded at its first use.
static Handle load(Res *r)
{
    resError = r ? noErr : resNotFound;
    if (!r || r->handle)
        return r ? r->handle : nullptr;
    const std::string &data = r->record.data;
    resError = PtrToHand(data.data(), &r->handle, int32_t(data.size()));
    if (resError == noErr)
        byHandle[r->handle] = r;
    return r->handle;
}

// What a book may hold. A window, say, that lies in one isn't seen, so that no
// file can take the program's own away.
static constexpr OSType kBookTypes[] = {FOUR("Dial"), FOUR("STR#"),
                                        FOUR("qSet")};

static bool shows(const ResFile &f, OSType type)
{
    return !f.book || std::find(std::begin(kBookTypes), std::end(kBookTypes),
                                type) != std::end(kBookTypes);
}

// Calls `visit` for the files that a search of that type sees, the current one
// first, until it answers true. Files opened after the current one are not
// seen.
template <class Visit>
static void search(bool currentOnly, OSType type, Visit visit)
{
    make_program_file();
    for (size_t i = current + 1; i-- > 0;)
        if ((shows(*openFiles[i], type) && visit(*openFiles[i])) || currentOnly)
            return;
}

static Res *find_id(bool currentOnly, OSType type, int16_t id)
{
    Res *found = nullptr;
    auto look = [&](ResFile &f) {
        auto r = f.map.find({type, id});
        found = r == f.map.end() ? nullptr : r->second.get();
        return found != nullptr;
    };
    make_program_file();
    if (!currentOnly && look(*openFiles[0]) &&
        (found->record.attributes & kOwnFirst))
        return found;
    search(currentOnly, type, look);
    return found;
}

// All of one type in a file, in the order of their ids.
template <class Visit> static void each(ResFile &f, OSType type, Visit visit)
{
    for (auto r = f.map.lower_bound({type, int16_t(-32768)});
         r != f.map.end() && r->first.first == type; ++r)
        visit(*r->second);
}

static Res *find_name(bool currentOnly, OSType type, ConstStr name)
{
    Res *found = nullptr;
    search(currentOnly, type, [&](ResFile &f) {
        each(f, type, [&](Res &r) {
            Str255 its;
            name_from_bytes(r.record.name, its);
            if (!found && EqualString(its, name, false, true))
                found = &r;
        });
        return found != nullptr;
    });
    return found;
}

static Res *find_index(bool currentOnly, OSType type, int16_t index)
{
    Res *found = nullptr;
    int left = index;
    search(currentOnly, type, [&](ResFile &f) {
        each(f, type, [&](Res &r) {
            if (--left == 0)
                found = &r;
        });
        return found != nullptr;
    });
    return found;
}

static int16_t count_all(bool currentOnly, OSType type)
{
    int count = 0;
    search(currentOnly, type, [&](ResFile &f) {
        each(f, type, [&](Res &) { count++; });
        return false;
    });
    return int16_t(std::min(count, 32767));
}

// ---- finding ---------------------------------------------------------------

Handle GetResource(OSType type, int16_t id)
{
    return load(find_id(false, type, id));
}

Handle Get1Resource(OSType type, int16_t id)
{
    return load(find_id(true, type, id));
}

Handle GetNamedResource(OSType type, ConstStr name)
{
    return load(find_name(false, type, name));
}

Handle GetIndResource(OSType type, int16_t index)
{
    return load(find_index(false, type, index));
}

Handle Get1IndResource(OSType type, int16_t index)
{
    return load(find_index(true, type, index));
}

int16_t CountResources(OSType type)
{
    resError = noErr;
    return count_all(false, type);
}

int16_t Count1Resources(OSType type)
{
    resError = noErr;
    return count_all(true, type);
}

void GetResInfo(Handle h, int16_t *id, OSType *type, Str255 name)
{
    const Res *r = res_of(h);
    if (!r)
        return;
    if (id)
        *id = r->record.id;
    if (type)
        *type = r->record.type;
    if (name)
        name_from_bytes(r->record.name, name);
}

int16_t HomeResFile(Handle h)
{
    const Res *r = res_of(h);
    return r ? r->home->ref : int16_t(-1);
}

OSErr ResError()
{
    return resError;
}

// ---- to the disk -----------------------------------------------------------

// The record takes the handle's bytes, and is owed if they are new.
static void take_bytes(Res &r)
{
    r.changed = false;
    if (!r.handle)
        return;
    size_t size = size_t(GetHandleSize(r.handle));
    std::string &data = r.record.data;
    if (data.size() == size && std::memcmp(data.data(), *r.handle, size) == 0)
        return;
    data.assign(reinterpret_cast<const char *>(*r.handle), size);
    r.owed = true;
}

// A file that was moved, replaced or removed while it was open is written
// anew: everything is in memory.
static OSErr remake(ResFile &f)
{
    OSErr err;
    BookFile *made = book_anew(f.book, &err);
    if (!made)
        return err;
    book_close(f.book);
    f.book = made;
    f.gone.clear();
    f.remade = true;
    for (auto &[key, r] : f.map)
        r->owed = true;
    return noErr;
}

// Everything that the disk may lack. Only needed after a failure dropped the
// transaction; within a transaction each thing is put as it comes.
static OSErr put_owed(ResFile &f)
{
    if (!book_in_transaction(f.book) && !book_in_place(f.book))
        if (OSErr err = remake(f))
            return err;
    for (const Key &key : f.gone)
        if (OSErr err = book_remove(f.book, key.first, key.second))
            return err;
    for (auto &[key, r] : f.map)
        if (r->owed)
            if (OSErr err = book_put(f.book, r->record))
                return err;
    return noErr;
}

// Puts one resource, or all that is owed if a transaction must be begun.
static OSErr put(Res &r)
{
    r.owed = true;
    if (!book_in_transaction(r.home->book))
        return put_owed(*r.home);
    return book_put(r.home->book, r.record);
}

// May the file be changed? Leaves the answer in resError.
static bool may_write(const ResFile &f)
{
    if (!f.book)
        resError = wrPermErr;
    return f.book != nullptr;
}

// ---- changing --------------------------------------------------------------

void SetResInfo(Handle h, int16_t id, ConstStr name)
{
    Res *r = res_of(h);
    if (!r || !may_write(*r->home))
        return;
    ResFile &f = *r->home;
    Key from = {r->record.type, r->record.id}, to = {r->record.type, id};
    if (from != to && f.map.count(to)) {
        resError = addResFailed;
        return;
    }
    if (name)
        r->record.name.assign(reinterpret_cast<const char *>(name + 1),
                              name[0]);
    r->record.id = id;
    r->owed = true;
    if (from != to) {
        f.map[to] = std::move(f.map[from]);
        f.map.erase(from);
        f.gone.erase(to);
        f.gone.insert(from);
        assert(file_ok(f));
        if (book_in_transaction(f.book))
            resError = book_remove(f.book, from.first, from.second);
    }
    if (resError == noErr)
        resError = put(*r);
}

void AddResource(Handle h, OSType type, int16_t id, ConstStr name)
{
    make_program_file();
    ResFile &f = *openFiles[current];
    resError = noErr;
    if (!h || byHandle.count(h) || f.map.count({type, id}))
        resError = addResFailed;
    if (resError != noErr || !may_write(f))
        return;
    auto res = std::make_unique<Res>();
    res->home = &f;
    res->handle = h;
    res->record = {
        type,
        id,
        0,
        std::string(reinterpret_cast<const char *>(name + 1), name[0]),
        {}};
    take_bytes(*res);
    f.gone.erase({type, id});
    resError = put(*res);
    if (resError != noErr)
        return; // it was never there
    byHandle[h] = res.get();
    f.map[{type, id}] = std::move(res);
    assert(file_ok(f));
}

void RemoveResource(Handle h)
{
    Res *r = res_of(h);
    if (!r || !may_write(*r->home))
        return;
    ResFile &f = *r->home;
    Key key = {r->record.type, r->record.id};
    std::unique_ptr<Res> kept = std::move(f.map[key]);
    f.map.erase(key);
    f.gone.insert(key);
    resError = book_in_transaction(f.book)
                   ? book_remove(f.book, key.first, key.second)
                   : put_owed(f);
    if (resError != noErr) {
        // The caller says that it failed, so it is still there.
        f.gone.erase(key);
        kept->owed = true;
        f.map[key] = std::move(kept);
        return;
    }
    byHandle.erase(h);
    assert(file_ok(f));
}

void ChangedResource(Handle h)
{
    Res *r = res_of(h);
    if (r && may_write(*r->home))
        r->changed = true;
}

void WriteResource(Handle h)
{
    Res *r = res_of(h);
    if (!r || !may_write(*r->home))
        return;
    take_bytes(*r);
    if (r->owed)
        resError = put(*r);
}

// ---- files -----------------------------------------------------------------

void HCreateResFile(int16_t vRef, int32_t dirID, ConstStr name)
{
    std::string path;
    struct stat st;
    resError = file_path(vRef, dirID, name, path);
    if (resError != noErr)
        return;
    if (lstat(path.c_str(), &st) != 0) {
        resError = HCreate(vRef, dirID, name, 0, 0);
        if (resError == noErr && lstat(path.c_str(), &st) != 0)
            resError = os_error(errno);
    } else if (!S_ISREG(st.st_mode) || st.st_size != 0)
        resError = dupFNErr;
    if (resError != noErr)
        return;
    (void)chmod(path.c_str(), kBookMode); // some file systems have no modes
    justMade.insert({st.st_dev, st.st_ino});
}

// True, once, for the file that HCreateResFile has just made.
static bool is_new_file(const std::string &path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && st.st_size == 0 &&
           justMade.erase({st.st_dev, st.st_ino}) > 0;
}

// An empty file of a book's type is what a crash left between a book's making
// and its first update: the caller may make it anew. Any other is no book.
static OSErr judge_empty(int16_t vRef, int32_t dirID, ConstStr name)
{
    FInfo info;

    if (HGetFInfo(vRef, dirID, name, &info) != noErr ||
        info.fdType != FOUR("qPHO"))
        return mapReadErr;
    return eofErr;
}

static int16_t free_ref()
{
    for (int16_t ref = kFirstFileRef; ref < kFirstFileRef + kMostFiles; ref++)
        if (!file_of_ref(ref))
            return ref;
    return -1;
}

int16_t HOpenResFile(int16_t vRef, int32_t dirID, ConstStr name,
                     int8_t permission)
{
    std::string path;
    bool writing = permission & fsWrPerm;
    int16_t ref = free_ref();
    resError = ref < 0 ? OSErr(tmfoErr) : file_path(vRef, dirID, name, path);
    if (resError != noErr)
        return -1;

    auto f = std::make_unique<ResFile>();
    f->ref = ref;
    auto take = [&](BookRecord &&record) {
        auto res = std::make_unique<Res>();
        res->home = f.get();
        Key key = {record.type, record.id};
        res->record = std::move(record);
        f->map[key] = std::move(res);
    };
    f->book = book_open(path, writing, is_new_file(path), &resError, take);
    if (resError == eofErr)
        resError = judge_empty(vRef, dirID, name);
    if (!f->book)
        return -1;
    openFiles.push_back(std::move(f));
    current = openFiles.size() - 1;
    return ref;
}

void CloseResFile(int16_t ref)
{
    ResFile *f = file_of_ref(ref);
    resError = !f || !f->book ? resFNotFound : noErr;
    if (resError != noErr)
        return;
    for (auto &[key, r] : f->map)
        if (r->handle) {
            byHandle.erase(r->handle);
            DisposeHandle(r->handle);
        }
    book_close(f->book);
    size_t at = 0;
    while (openFiles[at].get() != f)
        at++;
    openFiles.erase(openFiles.begin() + ptrdiff_t(at));
    if (current == at)
        current = openFiles.size() - 1;
    else if (current > at)
        current--;
}

void UseResFile(int16_t ref)
{
    const ResFile *f = file_of_ref(ref);
    resError = f ? noErr : resFNotFound;
    for (size_t i = 0; i < openFiles.size(); i++)
        if (openFiles[i].get() == f)
            current = i;
}

void UpdateResFile(int16_t ref)
{
    ResFile *f = file_of_ref(ref);
    resError = f ? noErr : resFNotFound;
    if (!f || !f->book)
        return;
    bool owes = !f->gone.empty();
    for (auto &[key, r] : f->map) {
        if (r->changed)
            take_bytes(*r);
        owes = owes || r->owed;
    }
    if (!owes)
        return;
    resError = put_owed(*f);
    if (resError == noErr)
        resError = book_commit(f->book);
    if (resError != noErr)
        return;
    f->gone.clear();
    for (auto &[key, r] : f->map)
        r->owed = false;
    assert(file_ok(*f));
}

bool ResFileRemade(int16_t ref, Str255 name)
{
    ResFile *f = file_of_ref(ref);
    resError = f ? noErr : resFNotFound;
    if (!f || !f->remade)
        return false;
    f->remade = false;
    name_from_bytes(last_of(book_path_of(f->book)), name);
    return true;
}

OSErr FlushResFile(int16_t ref)
{
    UpdateResFile(ref);
    ResFile *f = file_of_ref(ref);
    if (resError == noErr && f && f->book)
        resError = book_sync(f->book);
    return resError;
}

// ---- texts -----------------------------------------------------------------

void GetIndString(Str255 out, int16_t id, int16_t index)
{
    out[0] = 0;
    const Res *r = find_id(false, kListType, id);
    resError = r ? noErr : resNotFound;
    if (!r)
        return;
    // A handle may have been changed and not been written yet.
    const uint8_t *bytes =
        r->handle ? *r->handle
                  : reinterpret_cast<const uint8_t *>(r->record.data.data());
    size_t size =
        r->handle ? size_t(GetHandleSize(r->handle)) : r->record.data.size();
    ResReader list{bytes, bytes + size};
    if (index < 1 || index > int(list.u16())) {
        resError = resNotFound;
        return;
    }
    ConstStr s = list.pstring();
    for (int i = 1; i < index; i++)
        s = list.pstring();
    std::memcpy(out, s, s[0] + 1u);
}

Handle GetString(int16_t id)
{
    return GetResource(kStringType, id);
}
