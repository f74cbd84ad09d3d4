#include "objectmodel/objectpool.h"

#include <atomic>
#include <cstdint>
#include <new>

#include "objectmodel/threadexit.h"

namespace {

using ObjectPool::kBlockBytes;
using ObjectPool::kGranule;
using ObjectPool::kLargestPooled;

// A block's count while a thread allocates from it: far above any number of pieces a block
// can hold, so frees cannot bring it to zero.
constexpr uint32_t kBias = 1u << 30;

// The start of every block (blocks are aligned to kBlockBytes, so a piece finds its block
// by masking its address).
struct alignas(kGranule) Block {
    std::atomic<uint32_t> live; // pieces not yet freed, plus kBias while a thread's current
    void* raw;                  // what ::operator new gave, for giving it back; null for a
                                // block from VirtualAlloc
    Block* next;                // the next kept block, while the block is kept
};

constexpr size_t kFirstPiece = (sizeof(Block) + kGranule - 1) & ~(kGranule - 1);

// The live-object count: one slot per counting thread, on a cache line of its own.
constexpr size_t kSlots = 64;

struct alignas(64) Slot {
    std::atomic<LONG> count{0};
    std::atomic<bool> taken{false};
};

Slot g_Slots[kSlots];
std::atomic<LONG> g_Retired{0}; // objects counted by ended threads and by threads without a slot

// The calling thread's blocks and count. Trivially constructed and destroyed, so reaching it
// costs no initialisation check; the thread-end work (threadexit.h) is armed when the first
// block or slot is taken. A thread for which it cannot be armed leaves every block after one
// piece, frees every piece at once and counts in g_Retired.
struct ThreadBlocks {
    char* cursor; // next free byte of the current block
    char* end;    // end of the current block (cursor == end: none)
    Block* current;
    uint32_t taken;        // pieces allocated from the current block since it was (re)started
    uint32_t pendingFrees; // pieces of the block `pending` freed and not yet taken off its count
    Block* pending;
    Slot* slot;
    Block* kept;         // empty blocks kept for the thread's next ones, linked by `next`
    size_t keptCount;
    size_t keepLimit;    // blocks the thread may keep beyond kKeptBlocks
    size_t blocksTaken;  // blocks started since the last NextStatement
    bool slotTried;     // a slot was looked for; a thread that ends gets none again
    bool armed;         // the thread-exit cleanup is registered
    bool closed;        // the thread is ending: nothing is kept any more
    bool blockPerPiece; // see SetBlockPerPiece
};

thread_local ThreadBlocks t_Blocks{};

size_t RoundUp(size_t size) { return size ? (size + kGranule - 1) & ~(kGranule - 1) : kGranule; }

Block* BlockOf(void* piece) {
    return reinterpret_cast<Block*>(reinterpret_cast<uintptr_t>(piece) & ~uintptr_t(kBlockBytes - 1));
}

void GiveBack(Block* block) noexcept {
    if (block->raw)
        ::operator delete(block->raw);
    else
        VirtualFree(block, 0, MEM_RELEASE);
}

size_t KeepLimit(const ThreadBlocks& t) {
    return t.keepLimit > ObjectPool::kKeptBlocks ? t.keepLimit : ObjectPool::kKeptBlocks;
}

// An empty block: kept for the thread's next one, or given back.
void Recycle(ThreadBlocks& t, Block* block) noexcept {
    if (t.armed && !t.closed && !t.blockPerPiece && t.keptCount < KeepLimit(t)) {
        block->next = t.kept;
        t.kept = block;
        ++t.keptCount;
    } else {
        GiveBack(block);
    }
}

Block* TakeKept(ThreadBlocks& t) noexcept {
    Block* block = t.kept;
    t.kept = block->next;
    --t.keptCount;
    return block;
}

// Kept blocks beyond limit go back to the system.
void TrimKept(ThreadBlocks& t, size_t limit) noexcept {
    while (t.keptCount > limit) GiveBack(TakeKept(t));
}

void TakeOff(ThreadBlocks& t, Block* block, uint32_t pieces) noexcept {
    if (block->live.fetch_sub(pieces, std::memory_order_acq_rel) == pieces) Recycle(t, block);
}

// The run of frees the thread has counted goes off its block's count.
void Settle(ThreadBlocks& t) noexcept {
    Block* block = t.pending;
    if (!block) return;
    const uint32_t pieces = t.pendingFrees;
    t.pending = nullptr;
    t.pendingFrees = 0;
    TakeOff(t, block, pieces);
}

bool Arm(ThreadBlocks& t) noexcept {
    if (!t.armed && !t.closed) t.armed = ThreadExit::Arm();
    return t.armed && !t.closed;
}

// The thread stops allocating from its current block; the block goes at once when none of
// its pieces is left.
void Leave(ThreadBlocks& t) noexcept {
    Block* block = t.current;
    if (!block) return;
    t.current = nullptr;
    t.cursor = t.end = nullptr;
    TakeOff(t, block, kBias - t.taken);
}

Block* NewBlock(ThreadBlocks& t) noexcept {
    ++t.blocksTaken;
    if (t.keptCount) return TakeKept(t);
    if (t.blockPerPiece) {
        // From the heap, so that a test can fail it: twice the size, so that an aligned block
        // fits wherever the heap puts it.
        void* raw = ::operator new(2 * kBlockBytes, std::nothrow);
        if (!raw) return nullptr;
        auto* block = reinterpret_cast<Block*>((reinterpret_cast<uintptr_t>(raw) + kBlockBytes - 1) &
                                               ~uintptr_t(kBlockBytes - 1));
        block->raw = raw;
        return block;
    }
    // Straight from the system, aligned to its allocation granularity (64 KB), which is the
    // block size: nothing is allocated beyond the block.
    auto* block = static_cast<Block*>(VirtualAlloc(nullptr, kBlockBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    if (!block) return nullptr;
    block->raw = nullptr;
    return block;
}

void Start(ThreadBlocks& t, Block* block) noexcept {
    block->live.store(kBias, std::memory_order_relaxed);
    t.current = block;
    t.taken = 0;
    t.cursor = reinterpret_cast<char*>(block) + kFirstPiece;
    t.end = reinterpret_cast<char*>(block) + kBlockBytes;
}

void ReleaseKept(ThreadBlocks& t) noexcept { TrimKept(t, 0); }

// The current block has no room for size bytes.
// Kept out of line, so that the common path stays a few instructions without a frame.
[[gnu::noinline]] void* AllocateSlow(size_t size) noexcept {
    ThreadBlocks& t = t_Blocks;
    Settle(t);
    if (t.current && !t.blockPerPiece && t.current->live.load(std::memory_order_acquire) == kBias - t.taken) {
        // Every piece of the block has been freed: nobody else can touch it, start it over.
        Start(t, t.current);
    } else {
        Leave(t);
        // A block the thread goes on allocating from must be left when the thread ends.
        Arm(t);
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

// A piece of another block than the run's: that run is settled and a new one starts, when
// the thread can settle it later.
[[gnu::noinline]] void FreeSlow(Block* block) noexcept {
    ThreadBlocks& t = t_Blocks;
    Settle(t);
    if (!t.blockPerPiece && Arm(t)) {
        t.pending = block;
        t.pendingFrees = 1;
    } else {
        TakeOff(t, block, 1);
    }
}

void* AllocatePiece(ThreadBlocks& t, size_t size) noexcept {
    if (size > kLargestPooled) return ::operator new(size, std::nothrow);
    size = RoundUp(size);
    if (static_cast<size_t>(t.end - t.cursor) < size) return AllocateSlow(size);
    char* piece = t.cursor;
    t.cursor += size;
    ++t.taken;
    return piece;
}

void FreePiece(ThreadBlocks& t, void* piece, size_t size) noexcept {
    if (size > kLargestPooled) {
        ::operator delete(piece);
        return;
    }
    Block* block = BlockOf(piece);
    if (block == t.pending)
        ++t.pendingFrees;
    else
        FreeSlow(block);
}

Slot* TakeSlot(ThreadBlocks& t) noexcept {
    t.slotTried = true;
    for (Slot& s : g_Slots) {
        bool expected = false;
        if (s.taken.load(std::memory_order_relaxed) || !s.taken.compare_exchange_strong(expected, true)) continue;
        if (!ThreadExit::Arm()) {
            s.taken.store(false); // the slot could not be handed back: count in g_Retired
            return nullptr;
        }
        t.slot = &s;
        return &s;
    }
    return nullptr;
}

void AddToSlot(Slot* slot, LONG delta) {
    slot->count.store(slot->count.load(std::memory_order_relaxed) + delta, std::memory_order_relaxed);
}

[[gnu::noinline]] void CountSlow(LONG delta) noexcept {
    ThreadBlocks& t = t_Blocks;
    Slot* slot = t.slot;
    if (!slot && !t.slotTried) slot = TakeSlot(t);
    if (slot)
        AddToSlot(slot, delta);
    else
        g_Retired.fetch_add(delta);
}

void Count(ThreadBlocks& t, LONG delta) noexcept {
    if (Slot* slot = t.slot)
        AddToSlot(slot, delta);
    else
        CountSlow(delta);
}

[[gnu::noinline]] void* AllocateObjectSlow(size_t size) noexcept {
    ThreadBlocks& t = t_Blocks;
    void* piece = AllocatePiece(t, size);
    if (piece) Count(t, 1);
    return piece;
}

[[gnu::noinline]] void FreeObjectSlow(void* piece, size_t size) noexcept {
    ThreadBlocks& t = t_Blocks;
    Count(t, -1);
    FreePiece(t, piece, size);
}

} // namespace

namespace ObjectPool {

void* Allocate(size_t size) noexcept { return AllocatePiece(t_Blocks, size); }

void Free(void* piece, size_t size) noexcept {
    if (piece) FreePiece(t_Blocks, piece, size);
}

// The common cases (a thread with a slot, room in the current block, a free into the run)
// reach the thread's state once; the others go the long way.
void* AllocateObject(size_t size) noexcept {
    ThreadBlocks& t = t_Blocks;
    Slot* slot = t.slot;
    const size_t rounded = RoundUp(size);
    if (slot && size <= kLargestPooled && static_cast<size_t>(t.end - t.cursor) >= rounded) {
        char* piece = t.cursor;
        t.cursor += rounded;
        ++t.taken;
        AddToSlot(slot, 1);
        return piece;
    }
    return AllocateObjectSlow(size);
}

void FreeObject(void* piece, size_t size) noexcept {
    if (!piece) return;
    ThreadBlocks& t = t_Blocks;
    Slot* slot = t.slot;
    if (slot && size <= kLargestPooled && BlockOf(piece) == t.pending) {
        ++t.pendingFrees;
        AddToSlot(slot, -1);
        return;
    }
    FreeObjectSlow(piece, size);
}

LONG LiveObjects() noexcept {
    // Slots first, then g_Retired (see ThreadEnded).
    LONG n = 0;
    for (const Slot& s : g_Slots) n += s.count.load();
    return n + g_Retired.load();
}

void ReleaseThreadBlocks() noexcept {
    ThreadBlocks& t = t_Blocks;
    Settle(t);
    Leave(t);
    ReleaseKept(t);
}

void SetBlockPerPiece(bool on) noexcept {
    ThreadBlocks& t = t_Blocks;
    Settle(t);
    Leave(t);
    t.blockPerPiece = on;
}

// The thread's blocks go, and its count moves to g_Retired and its slot is free again. First
// into g_Retired, then out of the slot: a concurrent reader may count the objects twice for
// a moment, but never misses them.
void ThreadEnded() noexcept {
    ThreadBlocks& t = t_Blocks;
    // Pieces allocated later in the thread's (or process's) shutdown take a block each.
    t.closed = true;
    Settle(t);
    Leave(t);
    ReleaseKept(t);
    if (Slot* slot = t.slot) {
        g_Retired.fetch_add(slot->count.load());
        slot->count.store(0);
        t.slot = nullptr;
        slot->taken.store(false);
    }
}

size_t ThreadPooledBytes() noexcept { return t_Blocks.keptCount * kBlockBytes; }

void NextStatement() noexcept {
    ThreadBlocks& t = t_Blocks;
    // As the parse tree keeps its storage: a statement that took at least half of what is
    // kept leaves the limit as it is, so that statements of similar size in turn do not give
    // back and fault in again the difference between them; a larger one raises the limit, a
    // much smaller one lowers it to what it took.
    if (t.blocksTaken > t.keepLimit || 2 * t.blocksTaken < t.keepLimit) t.keepLimit = t.blocksTaken;
    t.blocksTaken = 0;
    TrimKept(t, KeepLimit(t));
}

} // namespace ObjectPool
