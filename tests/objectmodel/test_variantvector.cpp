// The element store of the collections: order and addressing across its growth steps, use
// as a queue, reuse after Clear, and release of the elements it owns.
#include "common.h"

#include "objectmodel/variantvector.h"

namespace {

using VariantVector = ObjectTest;

HRESULT AppendInt(CVariantVector& store, LONG value) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_I4;
    V_I4(&v) = value;
    return store.AppendOwned(v);
}

// Every element of the store, from the first, holds first, first + 1, ...
::testing::AssertionResult HoldsSequence(const CVariantVector& store, LONG first, size_t size) {
    if (store.Size() != size) return ::testing::AssertionFailure() << "size " << store.Size() << ", not " << size;
    for (size_t i = 0; i < size; ++i) {
        const VARIANT& v = store.At(i);
        if (V_VT(&v) != VT_I4 || V_I4(&v) != first + static_cast<LONG>(i))
            return ::testing::AssertionFailure() << "element " << i << " is " << V_I4(&v);
    }
    return ::testing::AssertionSuccess();
}

TEST_F(VariantVector, ElementsStayInPlaceAcrossGrowthAndAsAQueue) {
    CVariantVector grown, store;
    EXPECT_TRUE(grown.Empty());
    // The storage grows at 8, 16, 32, ... elements: check on both sides of some steps.
    for (LONG i = 0; i < 5000; ++i) {
        ASSERT_EQ(AppendInt(grown, i), S_OK);
        if (i < 70 || i == 4096) {
            ASSERT_TRUE(HoldsSequence(grown, 0, static_cast<size_t>(i) + 1));
        }
    }
    EXPECT_TRUE(HoldsSequence(grown, 0, 5000));
    // Used as a queue of about 100 elements for many rounds: the dead prefix is given
    // back by moving the live elements forward, so the storage does not keep growing.
    LONG next = 0, first = 0;
    for (int round = 0; round < 2000; ++round) {
        for (int k = 0; k < 7; ++k) ASSERT_EQ(AppendInt(store, next++), S_OK);
        while (store.Size() > 100) {
            store.RemoveFront();
            ++first;
        }
        if (round % 97 == 0) {
            ASSERT_TRUE(HoldsSequence(store, first, store.Size()));
        }
    }
    EXPECT_TRUE(HoldsSequence(store, first, 100));
    EXPECT_LE(store.Capacity(), 512u); // not the 14000 appended
    while (!store.Empty()) store.RemoveFront();
    store.RemoveFront(); // nothing to remove
    EXPECT_EQ(store.Size(), 0u);
    for (LONG i = 0; i < 30; ++i) ASSERT_EQ(AppendInt(store, i), S_OK);
    EXPECT_TRUE(HoldsSequence(store, 0, 30));
}

TEST_F(VariantVector, OwnedElementsAreReleasedWhicheverWayTheyLeave) {
    {
        CVariantVector store;
        for (int i = 0; i < 40; ++i) {
            Held<cLiteralValue> item;
            ASSERT_EQ(store.AppendDispatch(item->Dispatch()), S_OK);
            VARIANT text;
            VariantInit(&text);
            V_VT(&text) = VT_BSTR;
            V_BSTR(&text) = SysAllocString(OLESTR("owned"));
            ASSERT_EQ(store.AppendOwned(text), S_OK);
            EXPECT_EQ(V_VT(&text), VT_EMPTY); // the store took it
        }
        EXPECT_EQ(CModule::LiveObjects(), 40);
        for (int i = 0; i < 10; ++i) store.RemoveFront(); // five items and five strings
        EXPECT_EQ(CModule::LiveObjects(), 35);
        EXPECT_EQ(V_VT(&store.At(0)), VT_DISPATCH);
        store.Clear();
        EXPECT_EQ(CModule::LiveObjects(), 0);
        for (int i = 0; i < 20; ++i) {
            Held<cNullExpression> item;
            ASSERT_EQ(store.AppendDispatch(item->Dispatch()), S_OK);
        }
        EXPECT_EQ(CModule::LiveObjects(), 20);
    } // the destructor releases the rest
    EXPECT_EQ(CModule::LiveObjects(), 0);
}

} // namespace
