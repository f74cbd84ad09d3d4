// The module's live-object count, kept per thread: exact whichever threads create and
// release the objects, when threads end holding none or some, and when more threads run
// at once than the count has slots for.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "common.h"

namespace {

using LiveCount = ObjectTest;

// Lets n threads proceed only once all of them have arrived.
class Gate {
public:
    explicit Gate(int n) : m_nWaiting(n) {}
    void ArriveAndWait() {
        std::unique_lock<std::mutex> lock(m_Lock);
        if (--m_nWaiting == 0) m_Open.notify_all();
        m_Open.wait(lock, [this] { return m_nWaiting == 0; });
    }

private:
    std::mutex m_Lock;
    std::condition_variable m_Open;
    int m_nWaiting;
};

cColumnIdent* NewColumn() {
    cColumnIdent* column = nullptr;
    EXPECT_EQ(cColumnIdent::CreateInstance(&column), S_OK);
    column->AddRef();
    return column;
}

TEST_F(LiveCount, ObjectsMadeOnEndedThreadsStayCounted) {
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
}

TEST_F(LiveCount, MoreThreadsAtOnceThanSlots) {
    // Well beyond the slots: the threads without one count in the shared total. All hold
    // their object until every thread has counted.
    const int n = 100;
    Gate made(n), counted(n);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t) {
        threads.emplace_back([&] {
            cColumnIdent* column = NewColumn();
            made.ArriveAndWait();
            if (CModule::LiveObjects() != n) ++wrong;
            counted.ArriveAndWait();
            column->Release();
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(CModule::LiveObjects(), 0);
}

TEST_F(LiveCount, SlotsOfEndedThreadsAreTakenAgain) {
    for (int round = 0; round < 300; ++round) {
        std::thread([] { NewColumn()->Release(); }).join();
        ASSERT_EQ(CModule::LiveObjects(), 0) << "round " << round;
    }
}

} // namespace
