// Collections and GenericStack: Item, Count, enumerators, Push/Pop/Peek and AsName.
#include "common.h"

namespace {

using Collections = ObjectTest;

VARIANT Dispatch(IDispatch* object) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = object;
    return v;
}

VARIANT String(const OLECHAR* text) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = SysAllocString(text);
    return v;
}

TEST_F(Collections, ItemBoundsAndCopies) {
    Held<cTableIdentList> list;
    VARIANT out;
    VariantInit(&out);
    EXPECT_EQ(list->get_Item(1, &out), E_FAIL); // empty
    EXPECT_EQ(list->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(list->get_Item(1, nullptr), E_POINTER);
    Held<cTableIdent> table;
    table->SetName("orders");
    ASSERT_EQ(list->Append(table->Dispatch()), S_OK);
    EXPECT_EQ(RefCount(table->Dispatch()), 2u); // ours and the list's
    LONG count = 0;
    EXPECT_EQ(list->get_Count(&count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(list->get_Item(0, &out), E_INVALIDARG);
    EXPECT_EQ(list->get_Item(-3, &out), E_INVALIDARG);
    V_VT(&out) = VT_I4;
    V_I4(&out) = 77;
    EXPECT_EQ(list->get_Item(2, &out), E_FAIL);
    EXPECT_EQ(V_VT(&out), VT_I4); // untouched
    EXPECT_EQ(list->get_Item(1, &out), S_OK);
    EXPECT_EQ(V_VT(&out), VT_DISPATCH);
    EXPECT_EQ(V_DISPATCH(&out), table->Dispatch());
    EXPECT_EQ(RefCount(table->Dispatch()), 3u); // one more for the copy
    VariantClear(&out);
    EXPECT_EQ(RefCount(table->Dispatch()), 2u);
}

TEST_F(Collections, EnumeratorNextSkipResetClone) {
    Held<cColumnIdentList> list;
    Held<cColumnIdent> a, b;
    list->Append(a->Dispatch());
    list->Append(b->Dispatch());
    IUnknown* unknown = nullptr;
    EXPECT_EQ(list->get__NewEnum(nullptr), E_POINTER);
    ASSERT_EQ(list->get__NewEnum(&unknown), S_OK);
    IEnumVARIANT* e = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&e)), S_OK);
    unknown->Release();

    VARIANT v[3];
    for (auto& x : v) VariantInit(&x);
    ULONG fetched = 99;
    EXPECT_EQ(e->Next(3, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(e->Next(2, v, nullptr), E_POINTER);
    EXPECT_EQ(e->Next(3, v, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    EXPECT_EQ(V_DISPATCH(&v[0]), a->Dispatch());
    EXPECT_EQ(V_DISPATCH(&v[1]), b->Dispatch());
    VariantClear(&v[0]);
    VariantClear(&v[1]);
    EXPECT_EQ(e->Next(1, v, nullptr), S_FALSE); // at the end
    EXPECT_EQ(e->Reset(), S_OK);
    EXPECT_EQ(e->Skip(0), S_OK);
    EXPECT_EQ(e->Skip(1), S_OK);
    IEnumVARIANT* clone = nullptr;
    ASSERT_EQ(e->Clone(&clone), S_OK);
    EXPECT_EQ(clone->Next(1, v, &fetched), S_OK);
    EXPECT_EQ(fetched, 1u);
    EXPECT_EQ(V_DISPATCH(&v[0]), b->Dispatch());
    VariantClear(&v[0]);
    EXPECT_EQ(e->Skip(2), S_FALSE);
    // The enumerators keep the collection alive after the host lets go of it.
    clone->Release();
    e->Release();
}

TEST_F(Collections, EnumeratorOutlivesTheHostsReferenceToTheList) {
    cGenericStack* stack = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
    stack->AddRef();
    VARIANT s = String(OLESTR("k"));
    stack->Push(s);
    VariantClear(&s);
    IUnknown* unknown = nullptr;
    stack->get__NewEnum(&unknown);
    stack->Release(); // only the enumerator holds it now
    IEnumVARIANT* e = nullptr;
    unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&e));
    unknown->Release();
    VARIANT v;
    VariantInit(&v);
    EXPECT_EQ(e->Next(1, &v, nullptr), S_OK);
    EXPECT_EQ(Narrow(V_BSTR(&v)), "k");
    VariantClear(&v);
    e->Release();
}

TEST_F(Collections, StackOrderAndCopySemantics) {
    Held<cGenericStack> stack;
    Held<cLiteralValue> a, b;
    VARIANT va = Dispatch(a->Dispatch()), vb = Dispatch(b->Dispatch());
    EXPECT_EQ(stack->Push(va), S_OK);
    EXPECT_EQ(stack->Push(vb), S_OK);
    EXPECT_EQ(RefCount(a->Dispatch()), 2u);
    LONG count = 0;
    stack->get_Count(&count);
    EXPECT_EQ(count, 2);
    VARIANT out;
    VariantInit(&out);
    EXPECT_EQ(stack->Peek(&out), S_OK);
    EXPECT_EQ(V_DISPATCH(&out), a->Dispatch());
    VariantClear(&out);
    EXPECT_EQ(stack->Pop(&out), S_OK);
    EXPECT_EQ(V_DISPATCH(&out), a->Dispatch()); // the earliest pushed comes first
    VariantClear(&out);
    EXPECT_EQ(RefCount(a->Dispatch()), 1u);
    stack->get_Count(&count);
    EXPECT_EQ(count, 1);
    stack->get_Item(1, &out);
    EXPECT_EQ(V_DISPATCH(&out), b->Dispatch());
    VariantClear(&out);

    // Strings are copied on the way in and on the way out; empty elements stay empty.
    VARIANT s = String(OLESTR("col"));
    stack->Push(s);
    VARIANT empty;
    VariantInit(&empty);
    stack->Push(empty);
    VARIANT p1, p2;
    stack->Pop(&p1); // b
    VariantClear(&p1);
    stack->Peek(&p1);
    stack->Pop(&p2);
    EXPECT_EQ(V_VT(&p1), VT_BSTR);
    EXPECT_NE(V_BSTR(&p1), V_BSTR(&s));
    EXPECT_NE(V_BSTR(&p1), V_BSTR(&p2));
    EXPECT_EQ(Narrow(V_BSTR(&p2)), "col");
    VariantClear(&p1);
    VariantClear(&p2);
    VariantClear(&s);
    EXPECT_EQ(stack->Pop(&p1), S_OK);
    EXPECT_EQ(V_VT(&p1), VT_EMPTY);
}

TEST_F(Collections, PopOnAnEmptyStackReportsAnError) {
    Held<cGenericStack> stack;
    SetErrorInfo(0, nullptr);
    VARIANT out;
    VariantInit(&out);
    V_VT(&out) = VT_I4;
    V_I4(&out) = 5;
    EXPECT_EQ(stack->Pop(&out), static_cast<HRESULT>(0x80020009));
    EXPECT_EQ(V_VT(&out), VT_I4); // untouched
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    BSTR description = nullptr, source = nullptr;
    info->GetDescription(&description);
    info->GetSource(&source);
    EXPECT_EQ(Narrow(description), "Stack is empty");
    EXPECT_EQ(source, nullptr);
    GUID guid;
    info->GetGUID(&guid);
    EXPECT_TRUE(IsEqualGUID(guid, GUID_NULL));
    SysFreeString(description);
    SysFreeString(source);
    info->Release();
    EXPECT_EQ(stack->Peek(&out), static_cast<HRESULT>(0x80020009));
    EXPECT_EQ(GetErrorInfo(0, &info), S_OK);
    info->Release();
}

TEST_F(Collections, PoppingALongStackIsLinear) {
    Held<cGenericStack> stack;
    const LONG n = 200000;
    for (LONG i = 0; i < n; ++i) {
        VARIANT v;
        VariantInit(&v);
        V_VT(&v) = VT_I4;
        V_I4(&v) = i;
        stack->Push(v);
    }
    VARIANT out;
    for (LONG i = 0; i < n; ++i) {
        ASSERT_EQ(stack->Pop(&out), S_OK);
        ASSERT_EQ(V_I4(&out), i);
        if (i == n / 2) {
            VARIANT middle;
            stack->get_Item(1, &middle);
            EXPECT_EQ(V_I4(&middle), i + 1);
        }
    }
    LONG count = -1;
    stack->get_Count(&count);
    EXPECT_EQ(count, 0);
}

TEST_F(Collections, AsNameAndErrorInfoSupport) {
    Held<cGenericStack> stack;
    BSTR name = nullptr;
    EXPECT_EQ(stack->get_AsName(&name), S_OK);
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(SysStringLen(name), 0u);
    SysFreeString(name);
    stack->SetName("total");
    stack->get_AsName(&name);
    EXPECT_EQ(Narrow(name), "total");
    SysFreeString(name);
    EXPECT_EQ(stack->InterfaceSupportsErrorInfo(IID_IGenericStack), S_OK);
    EXPECT_EQ(stack->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    Held<cUpdateItemList> list;
    EXPECT_EQ(list->InterfaceSupportsErrorInfo(IID_IUpdateItemList), S_OK);
    EXPECT_EQ(list->InterfaceSupportsErrorInfo(IID_IGenericStack), S_FALSE);
    // QueryInterface: own interface, IDispatch and IUnknown are the one dual interface.
    void* p = nullptr;
    EXPECT_EQ(list->QueryInterface(IID_IUpdateItemList, &p), S_OK);
    static_cast<IUnknown*>(p)->Release();
    EXPECT_EQ(list->QueryInterface(IID_IGenericStack, &p), E_NOINTERFACE);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(list->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    UINT n = 0;
    EXPECT_EQ(list->GetTypeInfoCount(&n), S_OK);
    EXPECT_EQ(n, 1u);
}

} // namespace
