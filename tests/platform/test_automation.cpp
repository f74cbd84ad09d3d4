// The automation runtime: VARIANT layout, copies and clears of every kind the component
// stores (plain values copied, strings duplicated, objects gaining exactly one reference,
// references owning nothing), and the error object with the per-thread slot that holds it.
#include "helpers.h"

#include <cstring>
#include <thread>

namespace {

using platformtest::Narrow;
using platformtest::NewObject;
using platformtest::Refs;
using platformtest::TakeError;

TEST(Variant, LayoutPlainValuesAndReferences) {
    VARIANT source, copy;
    EXPECT_EQ(sizeof(VARIANT), 8 + 2 * sizeof(void*));
    EXPECT_EQ(reinterpret_cast<const char*>(&copy.punkVal) - reinterpret_cast<const char*>(&copy), 8);
    EXPECT_TRUE(static_cast<void*>(&copy.lVal) == &copy.dblVal && static_cast<void*>(&copy.bstrVal) == &copy.punkVal);
    const struct {
        VARTYPE vt;
        size_t bytes; // of the value
    } kinds[] = {{VT_EMPTY, 0}, {VT_NULL, 0}, {VT_I2, 2}, {VT_I4, 4}, {VT_R8, 8}, {VT_BOOL, 2}, {VT_ERROR, 4},
                 {VT_BYREF | VT_UNKNOWN, sizeof(void*)}};
    IUnknown* object = NewObject();
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.vt);
        VariantInit(&copy);
        EXPECT_EQ(V_VT(&copy), VT_EMPTY);
        V_VT(&source) = kind.vt;
        V_R8(&source) = -2.5e-300;
        if (kind.vt & VT_BYREF) V_BYREF(&source) = &object;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(V_VT(&copy), kind.vt);
        EXPECT_EQ(std::memcmp(&V_R8(&copy), &V_R8(&source), kind.bytes), 0);
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(V_VT(&copy), VT_EMPTY);
    }
    EXPECT_EQ(object->Release(), 0u); // a reference owns nothing
}

TEST(Variant, StringsAreDuplicatedWithEveryByte) {
    const OLECHAR text[] = {'c', 0, 'l'};
    for (BSTR original : {SysAllocStringLen(text, 3), SysAllocStringByteLen("abc", 3), BSTR(nullptr)}) {
        VARIANT source, copy;
        VariantInit(&copy);
        V_VT(&source) = VT_BSTR;
        V_BSTR(&source) = original;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(V_VT(&copy), VT_BSTR);
        ASSERT_NE(V_BSTR(&copy), nullptr); // a null string is copied as an empty one
        EXPECT_NE(V_BSTR(&copy), original);
        const UINT bytes = SysStringByteLen(original);
        EXPECT_EQ(SysStringByteLen(V_BSTR(&copy)), bytes);
        EXPECT_EQ(std::memcmp(V_BSTR(&copy), original ? original : text, bytes), 0);
        EXPECT_EQ(VariantClear(&source), S_OK);
        EXPECT_EQ(VariantClear(&copy), S_OK);
    }
}

TEST(Variant, ObjectsGainExactlyOneReference) {
    IUnknown* object = NewObject();
    VARIANT source, copy;
    VariantInit(&copy);
    V_VT(&source) = VT_UNKNOWN;
    V_UNKNOWN(&source) = object;
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(Refs(object), 2u);
    EXPECT_EQ(V_UNKNOWN(&copy), object);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);   // the previous copy is released first
    EXPECT_EQ(VariantCopy(&source, &source), S_OK); // onto itself: nothing changes
    EXPECT_EQ(Refs(object), 2u);
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(VariantClear(&copy), S_OK); // now empty: nothing more is released
    EXPECT_EQ(Refs(object), 1u);
    // A plain value copied over an object releases it.
    V_VT(&copy) = VT_I4;
    object->AddRef();
    ASSERT_EQ(VariantCopy(&source, &copy), S_OK);
    EXPECT_EQ(Refs(object), 1u);
    V_VT(&source) = VT_DISPATCH; // a null object is allowed
    V_DISPATCH(&source) = nullptr;
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_DISPATCH(&copy), nullptr);
    EXPECT_EQ(VariantClear(&copy), S_OK);

    // Invalid types: nothing is cleared.
    V_VT(&copy) = VT_UNKNOWN;
    V_UNKNOWN(&copy) = object;
    object->AddRef(); // the copy's reference
    for (VARTYPE bad : {VARTYPE(15), VARTYPE(0x0FFF), VARTYPE(VT_BYREF | VT_EMPTY), VARTYPE(VT_BYREF | VT_NULL)}) {
        SCOPED_TRACE(bad);
        std::memset(&source, 0, sizeof source);
        V_VT(&source) = bad;
        EXPECT_EQ(VariantCopy(&copy, &source), DISP_E_BADVARTYPE);
        EXPECT_EQ(VariantClear(&source), DISP_E_BADVARTYPE);
        EXPECT_EQ(V_VT(&source), bad);
    }
    EXPECT_EQ(Refs(object), 2u);
    // A string whose length prefix claims almost 4 GB: no allocator can duplicate it, the
    // characters are never read, and the destination was cleared before the copy failed.
    struct {
        uint32_t prefix;
        OLECHAR text[2];
    } forged = {0xFFFFFFFEu, {'x', 0}};
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = forged.text;
    EXPECT_EQ(VariantCopy(&copy, &source), E_OUTOFMEMORY);
    EXPECT_EQ(object->Release(), 0u);
    if (V_VT(&copy) == VT_BSTR) {
        EXPECT_EQ(V_BSTR(&copy), nullptr);
    }
}

IErrorInfo* NewErrorInfo(const OLECHAR* description, ICreateErrorInfo** create = nullptr) {
    ICreateErrorInfo* c = nullptr;
    IErrorInfo* info = nullptr;
    EXPECT_EQ(CreateErrorInfo(&c), S_OK);
    c->SetDescription(const_cast<LPOLESTR>(description));
    EXPECT_EQ(c->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    if (create) *create = c;
    else c->Release();
    return info;
}

TEST(ErrorInfo, OneObjectAnswersBothInterfaces) {
    ICreateErrorInfo* create = nullptr;
    IErrorInfo* info = NewErrorInfo(nullptr, &create);
    BSTR source = reinterpret_cast<BSTR>(1); // never set: overwritten with null
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(source, nullptr);
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    EXPECT_EQ(info->GetGUID(nullptr), E_INVALIDARG);
    IUnknown* a = nullptr;
    IUnknown* b = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&a)), S_OK);
    ASSERT_EQ(info->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&b)), S_OK);
    EXPECT_EQ(a, b);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(info->QueryInterface(IID_IClassFactory, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    for (IUnknown* p : {static_cast<IUnknown*>(info), a, b}) p->Release();
    EXPECT_EQ(create->Release(), 0u);
    EXPECT_EQ(CreateErrorInfo(nullptr), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
}

TEST(ErrorInfo, SlotHoldsOneReferenceAndGetTransfersIt) {
    IErrorInfo* first = NewErrorInfo(OLESTR("first"));
    IErrorInfo* second = NewErrorInfo(OLESTR("second"));
    EXPECT_EQ(SetErrorInfo(0, first), S_OK);
    EXPECT_EQ(Refs(first), 2u);
    SetErrorInfo(0, second); // replaces
    SetErrorInfo(0, second); // the same object again: still one reference
    EXPECT_EQ(Refs(first), 1u);
    EXPECT_EQ(Refs(second), 2u);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    EXPECT_EQ(info, second);
    EXPECT_EQ(Refs(second), 2u); // the slot's reference now belongs to the caller
    info->Release();
    info = reinterpret_cast<IErrorInfo*>(1);
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE); // taken: the slot is empty
    EXPECT_EQ(info, nullptr);
    SetErrorInfo(0, first);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK); // null clears
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(second->Release(), 0u);

    // Threads do not see each other's errors.
    auto publish = [](const OLECHAR* text) {
        IErrorInfo* published = NewErrorInfo(text);
        SetErrorInfo(0, published);
        published->Release();
    };
    publish(OLESTR("main"));
    std::string seenByOther = "not run", otherOwn;
    std::thread other([&] {
        seenByOther = TakeError();
        publish(OLESTR("other"));
        otherOwn = TakeError();
    });
    other.join();
    EXPECT_EQ(seenByOther + "/" + otherOwn, "<none>/other");
    EXPECT_EQ(TakeError(), "main");
    EXPECT_EQ(TakeError(), "<none>"); // taken once
}

} // namespace
