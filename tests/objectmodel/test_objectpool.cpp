// The per-thread object pool: blocks are recycled within their size class, the pool keeps
// a bounded amount per class, and objects of the component live in it.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "common.h"
#include "objectmodel/collections.h"
#include "objectmodel/objectpool.h"

namespace {

class ObjectPoolTest : public ObjectTest {
protected:
    void SetUp() override { ObjectPool::ReleaseThreadBlocks(); }
    void TearDown() override {
        ObjectPool::ReleaseThreadBlocks();
        ObjectTest::TearDown();
    }
};

TEST_F(ObjectPoolTest, AFreedBlockServesTheNextRequestOfItsSizeClassOnly) {
    void* a = ObjectPool::Allocate(17);
    ASSERT_NE(a, nullptr);
    ObjectPool::Free(a, 17);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 32u);

    // 17 to 32 bytes share a class; 33 bytes is the next one and gets a block of its own.
    void* other = ObjectPool::Allocate(33);
    EXPECT_NE(other, a);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 32u);
    void* same = ObjectPool::Allocate(32);
    EXPECT_EQ(same, a);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 0u);

    // A block is usable up to its class size.
    std::memset(same, 0xAB, 32);
    ObjectPool::Free(same, 32);
    ObjectPool::Free(other, 33);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 32u + 48u);
}

TEST_F(ObjectPoolTest, EdgeSizesAndNull) {
    // 0 takes the smallest class, the largest pooled size is kept, one byte more and null
    // never reach the lists.
    const size_t sizes[] = {0, ObjectPool::kLargestPooled, ObjectPool::kLargestPooled + 1};
    for (size_t size : sizes) {
        void* p = ObjectPool::Allocate(size);
        ASSERT_NE(p, nullptr) << size;
        std::memset(p, 0, size);
        ObjectPool::Free(p, size);
    }
    ObjectPool::Free(nullptr, 64);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), ObjectPool::kGranule + ObjectPool::kLargestPooled);
}

TEST_F(ObjectPoolTest, EachClassKeepsABoundedAmount) {
    const size_t size = 64;
    const size_t n = ObjectPool::kKeptBytesPerClass / size + 100;
    std::vector<void*> blocks;
    std::set<void*> distinct;
    for (size_t i = 0; i < n; ++i) {
        blocks.push_back(ObjectPool::Allocate(size));
        ASSERT_NE(blocks.back(), nullptr);
        distinct.insert(blocks.back());
    }
    EXPECT_EQ(distinct.size(), n); // live blocks are never handed out twice
    for (void* b : blocks) ObjectPool::Free(b, size);
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), ObjectPool::kKeptBytesPerClass);

    ObjectPool::ReleaseThreadBlocks();
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 0u);
}

TEST_F(ObjectPoolTest, ReleasedObjectsAndCollectionStorageReturnToThePool) {
    {
        Held<cGenericStack> stack;
        for (int i = 0; i < 20; ++i) {
            Held<cLiteralValue> item;
            ASSERT_EQ(stack->Append(item->Dispatch()), S_OK);
        }
    }
    const size_t pooled = ObjectPool::ThreadPooledBytes();
    // The stack, its twenty items and its element storage (grown twice) came back.
    EXPECT_GE(pooled, sizeof(cGenericStack) + 20 * sizeof(cLiteralValue) + 8 * sizeof(VARIANT));

    // Building the same again takes every block from the pool.
    {
        Held<cGenericStack> stack;
        for (int i = 0; i < 20; ++i) {
            Held<cLiteralValue> item;
            ASSERT_EQ(stack->Append(item->Dispatch()), S_OK);
        }
        EXPECT_LT(ObjectPool::ThreadPooledBytes(), pooled);
    }
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), pooled);
}

TEST_F(ObjectPoolTest, ObjectsMayBeReleasedOnAnotherThread) {
    // Made here, released there: the block joins the other thread's lists, which are
    // given back when that thread ends (the sanitizer build checks that nothing leaks).
    cGenericStack* stack = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
    stack->AddRef();
    Held<cColumnIdent> column;
    ASSERT_EQ(stack->Append(column->Dispatch()), S_OK);
    size_t pooledThere = 0;
    std::thread other([&] {
        stack->Release();
        pooledThere = ObjectPool::ThreadPooledBytes();
    });
    other.join();
    EXPECT_GE(pooledThere, sizeof(cGenericStack));
    EXPECT_EQ(ObjectPool::ThreadPooledBytes(), 0u);
    EXPECT_EQ(CModule::LiveObjects(), 1); // the column, still held here
}

} // namespace
