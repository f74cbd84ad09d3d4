// Per-thread state. The module's live-object count: exact whichever threads create and
// release the objects, when threads end holding none or some, and when more threads run
// at once than the count has slots for. The object pool: blocks at the ends of its sizes
// hold what was asked for, live blocks are never handed out twice, and objects may be
// released on another thread (the sanitizer build checks that nothing leaks, overruns or
// is freed twice).
#include <atomic>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <thread>
#include <vector>

#include "common.h"
#include "objectmodel/objectpool.h"

namespace {

using LiveCount = ObjectTest;

// Lets n threads proceed only once all of them have arrived.
void ArriveAndWait(std::atomic<int>& arrived, int n) {
    for (++arrived; arrived.load() < n;) std::this_thread::yield();
}

cColumnIdent* NewColumn() {
    cColumnIdent* column = nullptr;
    EXPECT_EQ(cColumnIdent::CreateInstance(&column), S_OK);
    column->AddRef();
    return column;
}

TEST_F(LiveCount, ObjectsMadeOnEndedThreadsStayCountedAndTheirSlotsAreTakenAgain) {
    // Each thread makes three objects and releases one; the other two outlive it.
    std::vector<cColumnIdent*> kept(8 * 2);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 8; ++t) {
        threads.emplace_back([&kept, t] {
            kept[2 * t] = NewColumn();
            kept[2 * t + 1] = NewColumn();
            NewColumn()->Release();
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(CModule::LiveObjects(), 16);

    // Released on this thread, whose own count goes below zero meanwhile.
    for (cColumnIdent* c : kept) c->Release();
    EXPECT_EQ(CModule::LiveObjects(), 0);
    EXPECT_EQ(CModule::LockCount(), 0);
    // The slots of ended threads are taken again.
    for (int round = 0; round < 300; ++round) {
        std::thread([] { NewColumn()->Release(); }).join();
        ASSERT_EQ(CModule::LiveObjects(), 0) << "round " << round;
    }
}

TEST_F(LiveCount, MoreThreadsAtOnceThanSlots) {
    // Well beyond the slots: the threads without one count in the shared total. All hold
    // their object until every thread has counted.
    const int n = 100;
    std::atomic<int> made{0}, counted{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t) {
        threads.emplace_back([&] {
            cColumnIdent* column = NewColumn();
            ArriveAndWait(made, n);
            if (CModule::LiveObjects() != n) ++wrong;
            ArriveAndWait(counted, n);
            column->Release();
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(CModule::LiveObjects(), 0);
}

class ObjectPoolTest : public ObjectTest {
protected:
    void SetUp() override { ObjectPool::ReleaseThreadBlocks(); }
    void TearDown() override {
        ObjectPool::ReleaseThreadBlocks();
        ObjectTest::TearDown();
    }
};

TEST_F(ObjectPoolTest, SizesAtTheEndsOfThePool) {
    for (size_t size : {size_t(0), ObjectPool::kLargestPooled, ObjectPool::kLargestPooled + 1}) {
        void* p = ObjectPool::Allocate(size);
        ASSERT_NE(p, nullptr) << size;
        std::memset(p, 0, size);
        ObjectPool::Free(p, size);
    }
    ObjectPool::Free(nullptr, 64);
}

TEST_F(ObjectPoolTest, LiveBlocksAreNeverHandedOutTwice) {
    const size_t size = 64, n = 3 * ObjectPool::kBlockBytes / size + 100;
    std::vector<void*> blocks;
    std::set<void*> distinct;
    for (int round = 0; round < 2; ++round) { // the second round takes blocks from the pool
        for (size_t i = 0; i < n; ++i) {
            blocks.push_back(ObjectPool::Allocate(size));
            distinct.insert(blocks.back());
        }
        EXPECT_EQ(distinct.size(), n) << round;
        for (void* b : blocks) ObjectPool::Free(b, size);
        blocks.clear();
        distinct.clear();
    }
}

TEST_F(ObjectPoolTest, ObjectsMayBeReleasedOnAnotherThread) {
    cGenericStack* stack = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
    stack->AddRef();
    Held<cColumnIdent> column;
    ASSERT_EQ(stack->Append(column->Dispatch()), S_OK);
    std::thread([&] { stack->Release(); }).join();
    EXPECT_EQ(CModule::LiveObjects(), 1); // the column, still held here
    EXPECT_EQ(RefCount(column->Dispatch()), 1u);
}

// A statement released before the next one is built (frees that the thread has counted and
// not yet taken off the block) leaves its block to be started over for the next one.
TEST_F(ObjectPoolTest, AReleasedStatementsBlockServesTheNext) {
    const size_t size = 64, n = ObjectPool::kBlockBytes / size - 1;
    const auto blockOf = [](void* p) { return reinterpret_cast<uintptr_t>(p) / ObjectPool::kBlockBytes; };
    std::vector<void*> statement;
    for (size_t i = 0; i < n; ++i) statement.push_back(ObjectPool::Allocate(size));
    const uintptr_t block = blockOf(statement.front());
    EXPECT_EQ(blockOf(statement.back()), block);
    for (void* p : statement) ObjectPool::Free(p, size);
    for (void*& p : statement) {
        p = ObjectPool::Allocate(size);
        EXPECT_EQ(blockOf(p), block);
    }
    for (void* p : statement) ObjectPool::Free(p, size);
}

// A block is started over or given back only once every piece of it is free: a piece held
// while many statements come and go keeps its bytes, and the thread keeps at most
// kKeptBlocks empty blocks.
TEST_F(ObjectPoolTest, HeldPiecesSurviveTheBlocksAroundThem) {
    const size_t size = 48, perBlock = ObjectPool::kBlockBytes / size;
    std::vector<unsigned char*> held;
    for (int round = 0; round < 40; ++round) {
        std::vector<void*> statement;
        for (size_t i = 0; i < perBlock * (round % 4) + 7; ++i) statement.push_back(ObjectPool::Allocate(size));
        auto* piece = static_cast<unsigned char*>(ObjectPool::Allocate(size));
        std::memset(piece, round, size);
        if (round % 5 == 0) held.push_back(piece); // a piece a host keeps
        for (void* p : statement) std::memset(p, 0xEE, size);
        for (void* p : statement) ObjectPool::Free(p, size);
        if (round % 5) ObjectPool::Free(piece, size);
        EXPECT_LE(ObjectPool::ThreadPooledBytes(), ObjectPool::kKeptBlocks * ObjectPool::kBlockBytes);
    }
    for (size_t k = 0; k < held.size(); ++k) {
        for (size_t b = 0; b < size; ++b) ASSERT_EQ(held[k][b], 5 * k) << k;
        ObjectPool::Free(held[k], size);
    }
}

// Statements parsed in turn: the thread keeps the blocks of the largest recent statement
// while the following ones take at least half as many, and gives the surplus back once a
// much smaller one has come (the parser calls NextStatement before releasing the previous
// statement and building the next).
TEST_F(ObjectPoolTest, KeptBlocksFollowTheStatementSizes) {
    const size_t size = 48, perBlock = ObjectPool::kBlockBytes / size, blocks[] = {20, 20, 12, 2, 2};
    const size_t expected[] = {0, 18, 18, 18, 0}; // at least this many blocks kept, or (0) at most kKeptBlocks
    std::vector<void*> previous;
    for (size_t k = 0; k < std::size(blocks); ++k) {
        ObjectPool::NextStatement();
        for (void* p : previous) ObjectPool::Free(p, size);
        previous.clear();
        const size_t kept = ObjectPool::ThreadPooledBytes() / ObjectPool::kBlockBytes;
        if (expected[k])
            EXPECT_GE(kept, expected[k]) << k;
        else
            EXPECT_LE(kept, ObjectPool::kKeptBlocks) << k;
        for (size_t i = 0; i < blocks[k] * perBlock - perBlock / 2; ++i) previous.push_back(ObjectPool::Allocate(size));
    }
    for (void* p : previous) ObjectPool::Free(p, size);
}

// Pieces of a thread's current block freed on another thread while the owner goes on, then
// the owner ends: the block is given back (the sanitizer build reports it otherwise).
TEST_F(ObjectPoolTest, PiecesFreedOnOtherThreadsLetTheirBlockGo) {
    std::vector<void*> pieces;
    std::thread owner([&] {
        for (int i = 0; i < 100; ++i) pieces.push_back(ObjectPool::Allocate(32));
    });
    owner.join();
    std::thread([&] {
        for (void* p : pieces) ObjectPool::Free(p, 32);
    }).join();
    std::vector<void*> mine;
    for (int i = 0; i < 100; ++i) mine.push_back(ObjectPool::Allocate(32));
    std::thread([&] {
        for (void* p : mine) ObjectPool::Free(p, 32); // this thread's current block, freed elsewhere
    }).join();
    void* next = ObjectPool::Allocate(32);
    EXPECT_NE(next, nullptr);
    ObjectPool::Free(next, 32);
}

} // namespace
