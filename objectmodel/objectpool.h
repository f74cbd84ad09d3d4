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
// - A thread keeps a few empty blocks for its next ones (kKeptBlocks), so that a parse after
//   a big one does not fault fresh pages in; they go back to the heap when the thread ends
//   (those of threads still running when the component is unloaded stay with the heap).
//
// Requests above kLargestPooled go to the heap directly. Every block comes from
// ::operator new (taking one can fail like any allocation and the caller sees null). A piece
// that outlives the rest of its statement keeps its block (kBlockBytes) alive. The pool knows
// nothing of object lifetimes: the module's live-object count is kept by the objects
// themselves.
#pragma once

#include <cstddef>

namespace ObjectPool {

constexpr size_t kGranule = 8;
constexpr size_t kLargestPooled = 512;
constexpr size_t kBlockBytes = 32 * 1024;
constexpr size_t kKeptBlocks = 8;

// A piece of at least size bytes, aligned to kGranule, or null when the heap has none.
void* Allocate(size_t size) noexcept;

// Takes back a piece from Allocate; size is the size it was allocated with. Any thread may
// free any piece.
void Free(void* piece, size_t size) noexcept;

// Leaves the calling thread's current block and gives its kept blocks back to the heap.
void ReleaseThreadBlocks() noexcept;

// While set (per thread), every piece takes a block of its own, so that every allocation
// reaches ::operator new: for tests that fail allocations one by one.
void SetBlockPerPiece(bool on) noexcept;

// Bytes of empty blocks the calling thread keeps.
size_t ThreadPooledBytes() noexcept;

} // namespace ObjectPool
