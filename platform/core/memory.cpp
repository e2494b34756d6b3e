// Relocatable blocks over malloc.
//
// A handle is the address of the first member of its master, so that *h is
// the block. Sizes, not capacities, count against the budget: the program
// measures its own use by it, and what growth keeps in reserve is ours.
#include "platform/memory.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// ---- state -----------------------------------------------------------------

namespace {

struct Master {
    uint8_t *block; // what a handle points at; must come first
    int32_t size;
    int32_t capacity; // bytes really there, at least one
    int8_t state;     // kLocked and the bits that callers keep in it
    uint32_t mark;    // kAlive, to catch what is no handle or is gone
};
static_assert(offsetof(Master, block) == 0);

// In front of a fixed block; its size keeps the block aligned.
struct alignas(std::max_align_t) PtrHead {
    int32_t size;
    uint32_t mark;
};

constexpr int8_t kLocked = int8_t(0x80);
constexpr uint32_t kAlive = 0x48616E64, kGone = 0x476F6E65;

#ifdef NDEBUG
constexpr bool kMoveAlways = false;
#else
constexpr bool kMoveAlways = true;
#endif

} // namespace

static int64_t budget = int64_t(256) << 20;
static int64_t used;   // bytes of all blocks
static OSErr memError; // of the last call
static int failIn;     // allocations until the one that fails; 0 for never

void mem_fail_nth(int n)
{
    failIn = n;
}

void mem_set_budget(int64_t bytes)
{
    budget = bytes;
}

// ---- helpers ---------------------------------------------------------------

[[maybe_unused]] static bool master_ok(const Master *m)
{
    return m->mark == kAlive && m->block && m->size >= 0 &&
           m->size <= m->capacity && m->size <= used;
}

static Master *master_of(Handle h)
{
    Master *m = reinterpret_cast<Master *>(h);
    assert(master_ok(m));
    return m;
}

// May `more` bytes be taken? Reports memFullErr if not.
static bool may_take(int64_t more)
{
    if ((failIn > 0 && --failIn == 0) || used + more > budget) {
        memError = memFullErr;
        return false;
    }
    return true;
}

static void *take(size_t size)
{
    void *p = std::malloc(size > 0 ? size : 1);
    if (!p)
        memError = memFullErr;
    // Nobody may rely on cleared memory, so a debug build never gives any.
    else if (kMoveAlways)
        std::memset(p, 0xE5, size);
    return p;
}

// Gives the block another home of `capacity` bytes. False if there is none.
static bool move_block(Master *m, int32_t capacity)
{
    uint8_t *fresh = static_cast<uint8_t *>(take(size_t(capacity)));
    if (!fresh)
        return false;
    int32_t keep = m->size < capacity ? m->size : capacity;
    std::memcpy(fresh, m->block, size_t(keep));
    if (kMoveAlways)
        std::memset(m->block, 0xDD, size_t(m->size));
    std::free(m->block);
    m->block = fresh;
    m->capacity = capacity;
    return true;
}

// ---- handles ---------------------------------------------------------------

Handle NewHandle(int32_t size)
{
    memError = noErr;
    if (size < 0 || !may_take(size)) {
        memError = memFullErr;
        return nullptr;
    }
    Master *m = static_cast<Master *>(std::malloc(sizeof(Master)));
    uint8_t *block = static_cast<uint8_t *>(take(size_t(size)));
    if (!m || !block) {
        std::free(m);
        std::free(block);
        memError = memFullErr;
        return nullptr;
    }
    *m = {block, size, size > 0 ? size : 1, 0, kAlive};
    used += size;
    return &m->block;
}

Handle NewHandleClear(int32_t size)
{
    Handle h = NewHandle(size);
    if (h)
        std::memset(*h, 0, size_t(size));
    return h;
}

void DisposeHandle(Handle h)
{
    memError = noErr;
    if (!h)
        return;
    Master *m = master_of(h);
    used -= m->size;
    m->mark = kGone;
    std::free(m->block);
    std::free(m);
}

int32_t GetHandleSize(Handle h)
{
    memError = noErr;
    return h ? master_of(h)->size : 0;
}

void SetHandleSize(Handle h, int32_t size)
{
    memError = noErr;
    if (!h || size < 0) {
        memError = paramErr;
        return;
    }
    Master *m = master_of(h);
    int32_t grow = size - m->size;
    bool locked = m->state & kLocked;
    if (grow > 0) {
        if (locked) {
            memError = memFullErr;
            return;
        }
        if (!may_take(grow))
            return;
    }
    // A quarter in reserve makes the sum of all moves linear in the size.
    if (size > m->capacity) {
        int64_t roomy = int64_t(size) + m->capacity / 4;
        int32_t room = roomy > INT32_MAX ? size : int32_t(roomy);
        if (!move_block(m, room))
            return;
    } else if (!locked && (kMoveAlways || size < m->capacity / 2)) {
        // Shrinking never fails: without a new home the old one is kept.
        if (!move_block(m, size > 0 ? size : 1))
            memError = noErr;
    }
    used += grow;
    m->size = size;
    assert(master_ok(m));
}

OSErr PtrToHand(const void *from, Handle *h, int32_t size)
{
    *h = NewHandle(size);
    if (*h)
        BlockMove(from, **h, size);
    return memError;
}

OSErr HandToHand(Handle *h)
{
    Handle copy;
    if (PtrToHand(**h, &copy, GetHandleSize(*h)) == noErr)
        *h = copy;
    return memError;
}

void HLock(Handle h)
{
    memError = noErr;
    if (h)
        master_of(h)->state |= kLocked;
}

void HUnlock(Handle h)
{
    memError = noErr;
    if (h)
        master_of(h)->state &= int8_t(~kLocked);
}

int8_t HGetState(Handle h)
{
    memError = noErr;
    return h ? master_of(h)->state : int8_t(0);
}

void HSetState(Handle h, int8_t state)
{
    memError = noErr;
    if (h)
        master_of(h)->state = state;
}

OSErr MemError()
{
    return memError;
}

// ---- fixed blocks ----------------------------------------------------------

static PtrHead *head_of(Ptr p)
{
    PtrHead *head = reinterpret_cast<PtrHead *>(p) - 1;
    assert(head->mark == kAlive && head->size >= 0 && head->size <= used);
    return head;
}

Ptr NewPtr(int32_t size)
{
    memError = noErr;
    if (size < 0 || !may_take(size)) {
        memError = memFullErr;
        return nullptr;
    }
    PtrHead *head =
        static_cast<PtrHead *>(take(sizeof(PtrHead) + size_t(size)));
    if (!head)
        return nullptr;
    *head = {size, kAlive};
    used += size;
    return reinterpret_cast<Ptr>(head + 1);
}

Ptr NewPtrClear(int32_t size)
{
    Ptr p = NewPtr(size);
    if (p)
        std::memset(p, 0, size_t(size));
    return p;
}

void DisposePtr(Ptr p)
{
    memError = noErr;
    if (!p)
        return;
    PtrHead *head = head_of(p);
    used -= head->size;
    head->mark = kGone;
    std::free(head);
}

int32_t GetPtrSize(Ptr p)
{
    memError = noErr;
    return p ? head_of(p)->size : 0;
}

// ---- the rest --------------------------------------------------------------

int32_t FreeMem()
{
    int64_t left = budget - used;
    return left < 0 ? 0 : left > INT32_MAX ? INT32_MAX : int32_t(left);
}

void BlockMove(const void *from, void *to, int32_t count)
{
    if (count > 0)
        std::memmove(to, from, size_t(count));
}
