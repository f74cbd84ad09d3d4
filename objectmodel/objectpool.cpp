#include "objectmodel/objectpool.h"

#include <cstdint>
#include <new>

#include "objectmodel/threadexit.h"

namespace {

constexpr size_t kClasses = ObjectPool::kLargestPooled / ObjectPool::kGranule;

struct FreeBlock {
    FreeBlock* next;
};

// The calling thread's lists. Trivially constructed and destroyed, so reaching it costs
// no initialisation check; the thread-end work (threadexit.h) is armed when the first block
// is kept.
struct ThreadLists {
    FreeBlock* head[kClasses];
    uint32_t count[kClasses];
    bool armed;  // the thread-exit cleanup is registered
    bool closed; // the thread is ending: blocks go straight back to the heap
};

thread_local ThreadLists t_Lists{};

void ReleaseAll(ThreadLists& lists) noexcept {
    for (size_t c = 0; c < kClasses; ++c) {
        FreeBlock* b = lists.head[c];
        while (b) {
            FreeBlock* next = b->next;
            ::operator delete(b);
            b = next;
        }
        lists.head[c] = nullptr;
        lists.count[c] = 0;
    }
}

constexpr size_t ClassOf(size_t size) { return size == 0 ? 0 : (size - 1) / ObjectPool::kGranule; }
constexpr size_t ClassSize(size_t c) { return (c + 1) * ObjectPool::kGranule; }

} // namespace

namespace ObjectPool {

void* Allocate(size_t size) noexcept {
    if (size > kLargestPooled) return ::operator new(size, std::nothrow);
    const size_t c = ClassOf(size);
    ThreadLists& lists = t_Lists;
    if (FreeBlock* b = lists.head[c]) {
        FreeBlock* next = b->next;
        lists.head[c] = next;
        --lists.count[c];
        // The next block of the class is read by the next allocation (its link): blocks
        // freed a statement ago are often out of the first-level cache by then.
        __builtin_prefetch(next);
        return b;
    }
    // Every block of a class has the class's full size, so any of them serves any request.
    return ::operator new(ClassSize(c), std::nothrow);
}

void Free(void* block, size_t size) noexcept {
    if (!block) return;
    ThreadLists& lists = t_Lists;
    const size_t c = ClassOf(size);
    if (size > kLargestPooled || lists.closed || (lists.count[c] + 1) * ClassSize(c) > kKeptBytesPerClass) {
        ::operator delete(block);
        return;
    }
    if (!lists.armed) {
        if (!ThreadExit::Arm()) {
            ::operator delete(block); // the blocks could not be given back at thread end: keep none
            return;
        }
        lists.armed = true;
    }
    FreeBlock* b = static_cast<FreeBlock*>(block);
    b->next = lists.head[c];
    lists.head[c] = b;
    ++lists.count[c];
}

void ReleaseThreadBlocks() noexcept { ReleaseAll(t_Lists); }

void ThreadEnded() noexcept {
    ReleaseAll(t_Lists);
    // Objects released later in the thread's (or process's) shutdown bypass the lists.
    t_Lists.closed = true;
}

size_t ThreadPooledBytes() noexcept {
    size_t bytes = 0;
    for (size_t c = 0; c < kClasses; ++c) bytes += t_Lists.count[c] * ClassSize(c);
    return bytes;
}

} // namespace ObjectPool
