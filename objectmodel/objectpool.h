// Per-thread free lists for the small blocks of the object model: the COM objects of a
// statement (expression items, stacks, lists, statements) and the element storage of
// their collections. A statement is built and released object by object, thousands of
// times over; recycling those blocks on the thread that frees them replaces a heap
// allocation and release per object with a list push and pop.
//
// Blocks are grouped in size classes of 16 bytes up to kLargestPooled; larger requests
// go straight to the heap. A class keeps at most kKeptBytesPerClass of free blocks per
// thread, the rest goes back to the heap. Every block comes from ::operator new (a pool
// refill can fail like any allocation and the caller sees null), and a thread's free
// blocks are given back when the thread ends (those of threads still running when the
// component is unloaded stay with the heap). The pool knows nothing of object
// lifetimes: the module's live-object count is kept by the objects themselves.
#pragma once

#include <cstddef>

namespace ObjectPool {

constexpr size_t kGranule = 16;
constexpr size_t kLargestPooled = 512;
constexpr size_t kKeptBytesPerClass = 256 * 1024;

// A block of at least size bytes, or null when the heap has none. Blocks of one size class
// are interchangeable.
void* Allocate(size_t size) noexcept;

// Takes back a block from Allocate; size is the size it was allocated with.
void Free(void* block, size_t size) noexcept;

// Gives the calling thread's free blocks back to the heap.
void ReleaseThreadBlocks() noexcept;

// Bytes held in the calling thread's free lists.
size_t ThreadPooledBytes() noexcept;

} // namespace ObjectPool
