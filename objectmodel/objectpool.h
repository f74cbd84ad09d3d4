// Memory for the small pieces of the object model: the COM objects of a statement
// (expression items, stacks, lists, statements), the element storage of their collections
// and their longer texts. A statement is built and released piece by piece, thousands of
// times over, so the pieces come from blocks instead of the heap:
//
// - A thread allocates from its current block by advancing a cursor. When the block is full,
//   it starts over in the same block if everything allocated from it has been freed already
//   (the usual case when one parse releases the statement of the parse before), otherwise it
//   leaves the block and takes a new one.
// - Every block counts the pieces still allocated from it; the block goes when the last of
//   them is freed, on whatever thread that happens. A block some thread still allocates from
//   carries a large bias in its count, so it cannot reach zero before the thread leaves it.
// - A thread frees pieces in runs: consecutive frees into the same block are counted by the
//   thread and taken off the block's count at once when a piece of another block comes (or
//   the thread needs the block, or ends). A statement is released in about the order it was
//   built, so that is one atomic operation per run instead of one per piece; a block whose
//   count still waits for a run is only given back a little later.
// - Blocks come straight from the system (VirtualAlloc), at its 64 KB granularity, which is
//   the block size: no block is over-allocated to be aligned, and the heap is not broken up
//   by them. Taking one can fail like any allocation, and the caller sees null then.
// - A thread keeps empty blocks for its next ones, so that a parse does not fault in again
//   the pages that the statement before it used: as many as it took during the statement
//   before the last NextStatement (at least kKeptBlocks). When a statement that takes less
//   than half of that follows, the blocks beyond what it took go back to the system at the
//   next NextStatement; a statement of similar size leaves them (as the parse tree's storage
//   is kept for a statement at least half as long). All
//   of them go when the thread ends (those of threads still running when the component is
//   unloaded stay with the process).
//
// Requests above kLargestPooled go to the heap directly. A piece that outlives the rest of
// its statement keeps its block (kBlockBytes) alive.
//
// The pool also keeps the module's count of live objects (CModule::LiveObjects), in the same
// per-thread state: AllocateObject and FreeObject are Allocate and Free for a COM object,
// counting it. A thread counts in one of a fixed set of slots, with plain loads and stores
// (only the owner writes its slot); when it ends, its count moves to a shared total and the
// slot is free again. Threads that find no free slot count in the shared total directly.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace ObjectPool {

constexpr size_t kGranule = 8;
constexpr size_t kLargestPooled = 512;
constexpr size_t kBlockBytes = 64 * 1024;
constexpr size_t kKeptBlocks = 8;

// A piece of at least size bytes, aligned to kGranule, or null when the heap has none.
void* Allocate(size_t size) noexcept;

// Takes back a piece from Allocate; size is the size it was allocated with. Any thread may
// free any piece.
void Free(void* piece, size_t size) noexcept;

// The same for the memory of one COM object, which counts as live from its allocation to
// its free.
void* AllocateObject(size_t size) noexcept;
void FreeObject(void* piece, size_t size) noexcept;

// Objects allocated and not yet freed, on every thread.
LONG LiveObjects() noexcept;

// Leaves the calling thread's current block and gives its kept blocks back to the heap.
void ReleaseThreadBlocks() noexcept;

// While set (per thread), every piece takes a block of its own from ::operator new, so that
// every allocation reaches it: for tests that fail allocations one by one.
void SetBlockPerPiece(bool on) noexcept;

// Bytes of empty blocks the calling thread keeps.
size_t ThreadPooledBytes() noexcept;

// A statement begins on the calling thread: the blocks taken since the last call are what
// the thread keeps from now on, and kept blocks beyond that go back to the system.
void NextStatement() noexcept;

} // namespace ObjectPool
