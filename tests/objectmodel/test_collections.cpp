// Collections and GenericStack as a host sees them: exact HRESULTs, reference counts,
// enumerators at the ends, Push/Pop/Peek order and copies, the empty-stack error. And the
// element store under them: order and addressing across its growth steps, use as a
// queue, and release of the elements it owns.
#include <vector>

#include "common.h"
#include "objectmodel/variantvector.h"

namespace {

using Collections = ObjectTest;

VARIANT Make(VARTYPE type, IDispatch* object = nullptr, const OLECHAR* text = nullptr) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = type;
    if (type == VT_DISPATCH) V_DISPATCH(&v) = object;
    if (type == VT_BSTR) V_BSTR(&v) = SysAllocString(text);
    return v;
}

TEST_F(Collections, ItemBoundsAndReferences) {
    Held<cTableIdentList> list;
    VARIANT out = Make(VT_I4);
    V_I4(&out) = 77;
    EXPECT_EQ(list->get_Item(1, &out), E_FAIL); // empty
    EXPECT_EQ(list->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(list->get_Item(1, nullptr), E_POINTER);
    Held<cTableIdent> table;
    ASSERT_EQ(list->Append(table->Dispatch()), S_OK);
    EXPECT_EQ(RefCount(table->Dispatch()), 2u); // ours and the list's
    LONG count = 0;
    EXPECT_EQ(list->get_Count(&count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(list->get_Item(0, &out), E_INVALIDARG);
    EXPECT_EQ(list->get_Item(-3, &out), E_INVALIDARG);
    EXPECT_EQ(list->get_Item(2, &out), E_FAIL);
    EXPECT_EQ(V_VT(&out), VT_I4); // untouched by every failure
    EXPECT_EQ(V_I4(&out), 77);
    EXPECT_EQ(list->get_Item(1, &out), S_OK);
    EXPECT_EQ(V_VT(&out), VT_DISPATCH);
    EXPECT_EQ(V_DISPATCH(&out), table->Dispatch());
    EXPECT_EQ(RefCount(table->Dispatch()), 3u); // one more for the copy
    VariantClear(&out);
    EXPECT_EQ(RefCount(table->Dispatch()), 2u);
}

TEST_F(Collections, EnumeratorNextSkipResetCloneAndLifetime) {
    cColumnIdentList* list = nullptr;
    ASSERT_EQ(cColumnIdentList::CreateInstance(&list), S_OK);
    list->AddRef();
    Held<cColumnIdent> a, b;
    list->Append(a->Dispatch());
    list->Append(b->Dispatch());
    IUnknown* unknown = nullptr;
    EXPECT_EQ(list->get__NewEnum(nullptr), E_POINTER);
    ASSERT_EQ(list->get__NewEnum(&unknown), S_OK);
    list->Release(); // the enumerator keeps the collection alive
    IEnumVARIANT* e = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&e)), S_OK);
    unknown->Release();

    VARIANT v[3];
    for (auto& x : v) VariantInit(&x);
    ULONG fetched = 99;
    EXPECT_EQ(e->Next(3, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(e->Next(2, v, nullptr), E_POINTER);
    EXPECT_EQ(e->Next(3, v, &fetched), S_FALSE); // short
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&v[0]), a->Dispatch());
    EXPECT_EQ(V_DISPATCH(&v[1]), b->Dispatch());
    EXPECT_EQ(RefCount(a->Dispatch()), 3u); // ours, the list's, the fetched copy
    VariantClear(&v[0]);
    VariantClear(&v[1]);
    EXPECT_EQ(e->Next(1, v, nullptr), S_FALSE); // at the end
    EXPECT_EQ(V_VT(&v[0]), VT_EMPTY);
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(0), S_OK);
    EXPECT_EQ(e->Skip(1), S_OK);
    IEnumVARIANT* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    EXPECT_EQ(clone->Next(1, v, &fetched), S_OK); // the clone starts where e stands
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(V_DISPATCH(&v[0]), b->Dispatch());
    VariantClear(&v[0]);
    EXPECT_EQ(e->Skip(2), S_FALSE);
    EXPECT_EQ(e->Skip(1), S_FALSE);
    clone->Release();
    e->Release();
    EXPECT_EQ(RefCount(a->Dispatch()), 1u); // the list is gone with its last enumerator
}

TEST_F(Collections, StackOrderCopiesAndTheEmptyStackError) {
    Held<cGenericStack> stack;
    Held<cLiteralValue> a;
    VARIANT s = Make(VT_BSTR, nullptr, OLESTR("col")), empty = Make(VT_EMPTY);
    for (const VARIANT& v : {Make(VT_DISPATCH, a->Dispatch()), s, empty}) EXPECT_EQ(stack->Push(v), S_OK);
    EXPECT_EQ(RefCount(a->Dispatch()), 2u);
    // The earliest pushed comes first; Peek leaves it, Pop takes it and Count drops.
    VARIANT p1, p2;
    EXPECT_EQ(stack->Peek(&p1), S_OK);
    EXPECT_EQ(stack->Pop(&p2), S_OK);
    EXPECT_EQ(V_DISPATCH(&p1), a->Dispatch());
    EXPECT_EQ(V_DISPATCH(&p2), a->Dispatch());
    VariantClear(&p1);
    VariantClear(&p2);
    EXPECT_EQ(RefCount(a->Dispatch()), 1u);
    LONG count = 0;
    stack->get_Count(&count);
    EXPECT_EQ(count, 2);
    // Strings are copied on the way in and on the way out; empty elements stay empty.
    stack->Peek(&p1);
    stack->Pop(&p2);
    EXPECT_EQ(V_VT(&p1), VT_BSTR);
    EXPECT_NE(V_BSTR(&p1), V_BSTR(&s));
    EXPECT_NE(V_BSTR(&p1), V_BSTR(&p2));
    EXPECT_EQ(Narrow(V_BSTR(&p2)), "col");
    for (VARIANT* v : {&p1, &p2, &s}) VariantClear(v);
    EXPECT_EQ(stack->Pop(&p1), S_OK);
    EXPECT_EQ(V_VT(&p1), VT_EMPTY);
    // Pop and Peek on the empty stack fail with an error object and leave out untouched.
    for (auto call : {&cGenericStack::Pop, &cGenericStack::Peek}) {
        SetErrorInfo(0, nullptr);
        VARIANT out = Make(VT_I4);
        EXPECT_EQ((stack.p->*call)(&out), DISP_E_EXCEPTION);
        EXPECT_EQ(V_VT(&out), VT_I4);
        EXPECT_EQ(platformtest::TakeError(true), "Stack is empty|<null>|null");
    }
}

TEST_F(Collections, InterfacesAndErrorInfoSupport) {
    Held<cUpdateItemList> list;
    Held<cColumnIdent> c;
    // Only an object's own interface supports error information; others give S_FALSE.
    EXPECT_EQ(list->InterfaceSupportsErrorInfo(IID_IUpdateItemList), S_OK);
    EXPECT_EQ(c->InterfaceSupportsErrorInfo(IID_IColumnIdent), S_OK);
    for (const IID* other : {&IID_IGenericStack, &IID_IDispatch, &IID_IExpressionItem})
        EXPECT_EQ(list->InterfaceSupportsErrorInfo(*other) + c->InterfaceSupportsErrorInfo(*other), 2 * S_FALSE);
    void* p = reinterpret_cast<void*>(1);
    EXPECT_EQ(list->QueryInterface(IID_IGenericStack, &p), E_NOINTERFACE);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(list->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    // An item: its own interface, IExpressionItem, IDispatch and IUnknown are one pointer.
    for (const IID* iid : {&IID_IColumnIdent, &IID_IExpressionItem, &IID_IDispatch, &IID_IUnknown}) {
        ASSERT_EQ(c->QueryInterface(*iid, &p), S_OK);
        EXPECT_EQ(p, static_cast<void*>(static_cast<IColumnIdent*>(c.p)));
        EXPECT_EQ(RefCount(c->Dispatch()), 2u);
        static_cast<IUnknown*>(p)->Release();
    }
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(c->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IColumnIdent), S_OK);
    support->Release();
    EXPECT_EQ(c->QueryInterface(IID_ITableIdent, &p), E_NOINTERFACE);
}

// ISupportErrorInfo is made when asked for: it holds the object alive, answers as the object
// does, and leads back to the object's identity.
TEST_F(Collections, ErrorInfoSupportHoldsItsObject) {
    cColumnIdent* c = nullptr;
    ASSERT_EQ(cColumnIdent::CreateInstance(&c), S_OK);
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(c->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
    EXPECT_EQ(RefCount(c->Dispatch()), 1u);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ITableIdent), S_FALSE);
    IUnknown* identity = nullptr;
    ASSERT_EQ(support->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
    EXPECT_EQ(identity, static_cast<IUnknown*>(c->Dispatch()));
    identity->Release();
    EXPECT_EQ(CModule::LiveObjects(), 1);
    support->Release(); // the last reference to the object
    EXPECT_EQ(CModule::LiveObjects(), 0);
    EXPECT_EQ(c->get_TableName(nullptr), E_POINTER);
}

// A stack of object references is kept as bare pointers until something else is pushed;
// then every element, before and after, reads back as the VARIANT that went in, through
// Item, the enumerator, Peek and Pop, and each object keeps exactly the stack's reference.
TEST_F(Collections, StackWidensFromObjectsToAnyVariant) {
    Held<cGenericStack> stack;
    Held<cColumnIdent> a, b;
    std::vector<VARIANT> pushed = {Make(VT_DISPATCH, a->Dispatch()), Make(VT_DISPATCH, nullptr),
                                   Make(VT_I4), Make(VT_DISPATCH, b->Dispatch()), Make(VT_BSTR, nullptr, OLESTR("s"))};
    V_I4(&pushed[2]) = -5;
    for (size_t i = 0; i < pushed.size(); ++i) {
        ASSERT_EQ(stack->Push(pushed[i]), S_OK);
        EXPECT_EQ(stack->Elements().IsCompact(), i < 2) << i;
    }
    EXPECT_EQ(RefCount(a->Dispatch()), 2u);
    EXPECT_EQ(RefCount(b->Dispatch()), 2u);
    auto same = [](const VARIANT& x, const VARIANT& y) {
        if (V_VT(&x) != V_VT(&y)) return false;
        if (V_VT(&x) == VT_DISPATCH) return V_DISPATCH(&x) == V_DISPATCH(&y);
        if (V_VT(&x) == VT_I4) return V_I4(&x) == V_I4(&y);
        return Narrow(V_BSTR(&x)) == Narrow(V_BSTR(&y));
    };
    IUnknown* unknown = nullptr;
    ASSERT_EQ(stack->get__NewEnum(&unknown), S_OK);
    IEnumVARIANT* e = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&e)), S_OK);
    unknown->Release();
    for (size_t i = 0; i < pushed.size(); ++i) {
        VARIANT item, next;
        ASSERT_EQ(stack->get_Item(static_cast<LONG>(i + 1), &item), S_OK);
        ASSERT_EQ(e->Next(1, &next, nullptr), S_OK);
        EXPECT_TRUE(same(item, pushed[i]) && same(next, pushed[i])) << i;
        VariantClear(&item);
        VariantClear(&next);
    }
    e->Release();
    for (size_t i = 0; i < pushed.size(); ++i) {
        VARIANT peeked, popped;
        ASSERT_EQ(stack->Peek(&peeked), S_OK);
        ASSERT_EQ(stack->Pop(&popped), S_OK);
        EXPECT_TRUE(same(peeked, pushed[i]) && same(popped, pushed[i])) << i;
        VariantClear(&peeked);
        VariantClear(&popped);
    }
    EXPECT_EQ(RefCount(a->Dispatch()), 1u);
    EXPECT_EQ(RefCount(b->Dispatch()), 1u);
    VariantClear(&pushed[4]); // the others were never given a reference of their own
}

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
        Held<cNullExpression> item;
        ASSERT_EQ(store.AppendDispatch(item->Dispatch()), S_OK);
    } // the destructor releases the rest
    EXPECT_EQ(CModule::LiveObjects(), 0);
}

// Reserve counts the live elements and the room behind a dead prefix, moves them only when
// that is too small, and then to exactly the room asked for.
TEST_F(VariantVector, ReserveMakesExactRoomBehindTheLiveElements) {
    CVariantVector store;
    EXPECT_TRUE(store.Reserve(0));
    EXPECT_EQ(store.Capacity(), 0u);
    EXPECT_TRUE(store.Reserve(3));
    EXPECT_EQ(store.Capacity(), 3u);
    for (LONG i = 0; i < 3; ++i) ASSERT_EQ(AppendInt(store, i), S_OK);
    EXPECT_EQ(store.Capacity(), 3u); // no growth for the reserved elements
    store.RemoveFront();
    EXPECT_TRUE(store.Reserve(2)); // two live elements fit where they are
    EXPECT_EQ(store.Capacity(), 3u);
    EXPECT_TRUE(store.Reserve(3)); // but a third does not fit behind them
    EXPECT_EQ(store.Capacity(), 3u);
    EXPECT_TRUE(HoldsSequence(store, 1, 2));
    ASSERT_EQ(AppendInt(store, 3), S_OK);
    EXPECT_TRUE(HoldsSequence(store, 1, 3));
    EXPECT_TRUE(store.Reserve(1000));
    EXPECT_EQ(store.Capacity(), 1000u);
    EXPECT_TRUE(HoldsSequence(store, 1, 3));
    EXPECT_FALSE(store.Reserve(static_cast<size_t>(-1) / 2)); // more than memory can hold
    EXPECT_TRUE(HoldsSequence(store, 1, 3));
}

// Appending many references at once moves the store once, to exactly the room they need,
// in whichever form the store is; a store that cannot hold them leaves them to the caller.
TEST_F(VariantVector, AppendReferencesMovesOnceToExactRoom) {
    Held<cNullExpression> a, b, c;
    IDispatch* const objects[] = {a->Dispatch(), b->Dispatch(), c->Dispatch(), a->Dispatch()};
    for (bool full : {false, true}) {
        CVariantVector store;
        if (full) ASSERT_EQ(AppendInt(store, 7), S_OK);
        else ASSERT_EQ(store.AppendDispatch(b->Dispatch()), S_OK);
        for (int round = 0; round < 2; ++round) {
            for (IDispatch* object : objects) object->AddRef();
            ASSERT_EQ(store.AppendReferences(objects, 4), S_OK);
        }
        EXPECT_EQ(store.Capacity(), 9u); // the first four fitted in the first storage (8)
        EXPECT_EQ(store.IsCompact(), !full);
        for (size_t i = 0; i < 8; ++i) {
            const VARIANT& v = store.At(i + 1);
            EXPECT_EQ(V_VT(&v), VT_DISPATCH);
            EXPECT_EQ(V_DISPATCH(&v), objects[i % 4]) << i;
        }
        EXPECT_EQ(store.AppendReferences(objects, 0), S_OK);
        EXPECT_EQ(store.Capacity(), 9u);
        EXPECT_EQ(store.AppendReferences(objects, static_cast<size_t>(-1) / 2), E_OUTOFMEMORY);
        EXPECT_EQ(store.Size(), 9u);
    } // the stores release what they took: only the Held references are left
    EXPECT_EQ(RefCount(a->Dispatch()), 1u);
    EXPECT_EQ(RefCount(c->Dispatch()), 1u);
}

} // namespace
