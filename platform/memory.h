// Relocatable blocks. A handle is the address of a master pointer; the block
// itself may move whenever any handle grows, unless it is locked. A debug
// build moves a block at each resize, so that a kept pointer shows at once.
#pragma once

#include "platform/types.h"

// Null, with MemError() memFullErr, when there is no room. The block's bytes
// are not cleared.
Handle NewHandle(int32_t size);
Handle NewHandleClear(int32_t size);
void DisposeHandle(Handle h); // null is nothing
int32_t GetHandleSize(Handle h);

// Growing keeps the content. On failure the block stays as it was and
// MemError() is memFullErr. A locked block can't grow.
// Growth by small steps is amortised: it costs a move only now and then.
void SetHandleSize(Handle h, int32_t size);

// Makes *h another handle with the same bytes. Returns noErr or memFullErr.
OSErr HandToHand(Handle *h);
OSErr PtrToHand(const void *from, Handle *h, int32_t size);

void HLock(Handle h);
void HUnlock(Handle h);
int8_t HGetState(Handle h);
void HSetState(Handle h, int8_t state);

OSErr MemError(); // of the last call above

Ptr NewPtr(int32_t size); // fixed blocks; null when there is no room
Ptr NewPtrClear(int32_t size);
void DisposePtr(Ptr p);
int32_t GetPtrSize(Ptr p);

// Bytes that may still be taken, out of a budget (by default 256 MiB).
int32_t FreeMem();

// Copies `count` bytes; the two may overlap. 0 or less copies nothing.
void BlockMove(const void *from, void *to, int32_t count);

// ---- for tests -------------------------------------------------------------

// The nth allocation or growth from now fails, once; 0 switches it off.
void mem_fail_nth(int n);
void mem_set_budget(int64_t bytes);
