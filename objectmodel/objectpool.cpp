#include "objectmodel/objectpool.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "objectmodel/threadexit.h"

namespace {

using ObjectPool::kBlockBytes;
using ObjectPool::kGranule;

// A block's count while a thread allocates from it: far above any number of pieces a block
// can hold, so frees cannot bring it to zero.
constexpr uint32_t kBias = 1u << 30;

// The start of every block (blocks are aligned to kBlockBytes, so a piece finds its block
// by masking its address).
struct alignas(kGranule) Block {
    std::atomic<uint32_t> live; // pieces not yet freed, plus kBias while a thread's current
    void* raw;                  // what ::operator new gave, for giving it back
};

constexpr size_t kFirstPiece = (sizeof(Block) + kGranule - 1) & ~(kGranule - 1);

// The calling thread's blocks. Trivially constructed and destroyed, so reaching it costs no
// initialisation check; the thread-end work (threadexit.h) is armed when the first block is
// taken. A thread for which it cannot be armed leaves every block after one piece.
struct ThreadBlocks {
    char* cursor; // next free byte of the current block
    char* end;    // end of the current block (cursor == end: none)
    Block* current;
    uint32_t taken; // pieces allocated from the current block since it was (re)started
    uint32_t keptCount;
    Block* kept[ObjectPool::kKeptBlocks];
    bool armed;        // the thread-exit cleanup is registered
    bool closed;       // the thread is ending: nothing is kept any more
    bool blockPerPiece; // see SetBlockPerPiece
};

thread_local ThreadBlocks t_Blocks{};

Block* BlockOf(void* piece) {
    return reinterpret_cast<Block*>(reinterpret_cast<uintptr_t>(piece) & ~uintptr_t(kBlockBytes - 1));
}

void GiveBack(Block* block) noexcept { ::operator delete(block->raw); }

// An empty block: kept for the thread's next one, or given back.
void Recycle(Block* block) noexcept {
    ThreadBlocks& t = t_Blocks;
    if (t.armed && !t.closed && !t.blockPerPiece && t.keptCount < ObjectPool::kKeptBlocks)
        t.kept[t.keptCount++] = block;
    else
        GiveBack(block);
}

// The thread stops allocating from its current block; the block goes at once when none of
// its pieces is left.
void Leave(ThreadBlocks& t) noexcept {
    Block* block = t.current;
    if (!block) return;
    t.current = nullptr;
    t.cursor = t.end = nullptr;
    const uint32_t unused = kBias - t.taken;
    if (block->live.fetch_sub(unused, std::memory_order_acq_rel) == unused) Recycle(block);
}

Block* NewBlock(ThreadBlocks& t) noexcept {
    if (t.keptCount) return t.kept[--t.keptCount];
    // Twice the size, so that an aligned block fits wherever the heap puts it; the part
    // outside the block is never written and costs address space only.
    void* raw = ::operator new(2 * kBlockBytes, std::nothrow);
    if (!raw) return nullptr;
    auto* block = reinterpret_cast<Block*>((reinterpret_cast<uintptr_t>(raw) + kBlockBytes - 1) &
                                           ~uintptr_t(kBlockBytes - 1));
    block->raw = raw;
    return block;
}

void Start(ThreadBlocks& t, Block* block) noexcept {
    block->live.store(kBias, std::memory_order_relaxed);
    t.current = block;
    t.taken = 0;
    t.cursor = reinterpret_cast<char*>(block) + kFirstPiece;
    t.end = reinterpret_cast<char*>(block) + kBlockBytes;
}

void ReleaseKept(ThreadBlocks& t) noexcept {
    while (t.keptCount) GiveBack(t.kept[--t.keptCount]);
}

// The current block has no room for size bytes.
// Kept out of line, so that the common path stays a few instructions without a frame.
[[gnu::noinline]] void* AllocateSlow(size_t size) noexcept {
    ThreadBlocks& t = t_Blocks;
    if (t.current && !t.blockPerPiece && t.current->live.load(std::memory_order_acquire) == kBias - t.taken) {
        // Every piece of the block has been freed: nobody else can touch it, start it over.
        Start(t, t.current);
    } else {
        Leave(t);
        // A block the thread goes on allocating from must be left when the thread ends.
        if (!t.armed && !t.closed) t.armed = ThreadExit::Arm();
        Block* block = NewBlock(t);
        if (!block) return nullptr;
        Start(t, block);
    }
    char* piece = t.cursor;
    t.cursor += size;
    ++t.taken;
    if (t.blockPerPiece || !t.armed || t.closed) Leave(t); // the block serves this piece only
    return piece;
}

} // namespace

namespace ObjectPool {

void* Allocate(size_t size) noexcept {
    if (size > kLargestPooled) return ::operator new(size, std::nothrow);
    size = size ? (size + kGranule - 1) & ~(kGranule - 1) : kGranule;
    ThreadBlocks& t = t_Blocks;
    if (static_cast<size_t>(t.end - t.cursor) < size) return AllocateSlow(size);
    char* piece = t.cursor;
    t.cursor += size;
    ++t.taken;
    return piece;
}

void Free(void* piece, size_t size) noexcept {
    if (!piece) return;
    if (size > kLargestPooled) {
        ::operator delete(piece);
        return;
    }
    Block* block = BlockOf(piece);
    if (block->live.fetch_sub(1, std::memory_order_acq_rel) == 1) Recycle(block);
}

void ReleaseThreadBlocks() noexcept {
    ThreadBlocks& t = t_Blocks;
    Leave(t);
    ReleaseKept(t);
}

void SetBlockPerPiece(bool on) noexcept {
    ThreadBlocks& t = t_Blocks;
    Leave(t);
    t.blockPerPiece = on;
}

void ThreadEnded() noexcept {
    ThreadBlocks& t = t_Blocks;
    // Pieces allocated later in the thread's (or process's) shutdown take a block each.
    t.closed = true;
    Leave(t);
    ReleaseKept(t);
}

size_t ThreadPooledBytes() noexcept { return t_Blocks.keptCount * kBlockBytes; }

} // namespace ObjectPool
