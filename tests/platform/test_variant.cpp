// VARIANT layout, copies and clears of every kind the component stores: plain values are
// copied, strings duplicated, objects gain exactly one reference, references own nothing.
#include "helpers.h"

#include <cstring>

namespace {

using platformtest::CountedDispatch;
using platformtest::Narrow;

ptrdiff_t Offset(const VARIANT& v, const void* member) {
    return static_cast<const char*>(member) - reinterpret_cast<const char*>(&v);
}

TEST(Variant, LayoutIsTheWindowsOne) {
    VARIANT v;
    EXPECT_EQ(sizeof(VARIANT), 8 + 2 * sizeof(void*));
    EXPECT_EQ(Offset(v, &v.vt), 0);
    EXPECT_EQ(Offset(v, &v.lVal), 8);
    EXPECT_EQ(Offset(v, &v.dblVal), 8);
    EXPECT_EQ(Offset(v, &v.bstrVal), 8);
    EXPECT_EQ(Offset(v, &v.pdispVal), 8);
    VariantInit(&v);
    EXPECT_EQ(V_VT(&v), VT_EMPTY);
}

struct Plain {
    VARTYPE vt;
    void (*set)(VARIANT*);
    bool (*same)(const VARIANT*);
};

const Plain kPlain[] = {
    {VT_EMPTY, [](VARIANT*) {}, [](const VARIANT*) { return true; }},
    {VT_NULL, [](VARIANT*) {}, [](const VARIANT*) { return true; }},
    {VT_I2, [](VARIANT* v) { V_I2(v) = -12345; }, [](const VARIANT* v) { return V_I2(v) == -12345; }},
    {VT_I4, [](VARIANT* v) { V_I4(v) = -2000000000; }, [](const VARIANT* v) { return V_I4(v) == -2000000000; }},
    {VT_R8, [](VARIANT* v) { V_R8(v) = 2.5e-300; }, [](const VARIANT* v) { return V_R8(v) == 2.5e-300; }},
    {VT_BOOL, [](VARIANT* v) { V_BOOL(v) = VARIANT_TRUE; }, [](const VARIANT* v) { return V_BOOL(v) == -1; }},
    {VT_ERROR, [](VARIANT* v) { V_ERROR(v) = DISP_E_EXCEPTION; },
     [](const VARIANT* v) { return V_ERROR(v) == DISP_E_EXCEPTION; }},
};

TEST(Variant, PlainValuesAreCopied) {
    for (const Plain& kind : kPlain) {
        SCOPED_TRACE(kind.vt);
        VARIANT source, copy;
        VariantInit(&source);
        VariantInit(&copy);
        V_VT(&source) = kind.vt;
        kind.set(&source);
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(V_VT(&copy), kind.vt);
        EXPECT_TRUE(kind.same(&copy));
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(V_VT(&copy), VT_EMPTY);
    }
}

TEST(Variant, StringsAreDuplicatedWithEveryByte) {
    VARIANT source, copy;
    VariantInit(&source);
    VariantInit(&copy);
    const OLECHAR text[] = {'c', 0, 'l'};
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = SysAllocStringLen(text, 3);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_VT(&copy), VT_BSTR);
    ASSERT_NE(V_BSTR(&copy), V_BSTR(&source));
    EXPECT_EQ(SysStringLen(V_BSTR(&copy)), 3u);
    EXPECT_EQ(V_BSTR(&copy)[2], 'l');
    VariantClear(&source);
    EXPECT_EQ(Narrow(V_BSTR(&copy), 3), std::string("c\0l", 3)); // the copy outlives the source

    // An odd byte length survives the copy.
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = SysAllocStringByteLen("abc", 3);
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(SysStringByteLen(V_BSTR(&copy)), 3u);
    VariantClear(&source);
    VariantClear(&copy);
}

TEST(Variant, NullStringsAndObjectsAreAllowed) {
    VARIANT source, copy;
    VariantInit(&copy);
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = nullptr;
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    ASSERT_NE(V_BSTR(&copy), nullptr); // a null string is copied as an empty one
    EXPECT_EQ(SysStringLen(V_BSTR(&copy)), 0u);
    EXPECT_EQ(VariantClear(&source), S_OK);
    V_VT(&source) = VT_DISPATCH;
    V_DISPATCH(&source) = nullptr;
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_VT(&copy), VT_DISPATCH);
    EXPECT_EQ(V_DISPATCH(&copy), nullptr);
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(VariantClear(&source), S_OK);
}

TEST(Variant, ObjectsGainExactlyOneReference) {
    for (VARTYPE vt : {VARTYPE(VT_DISPATCH), VARTYPE(VT_UNKNOWN)}) {
        SCOPED_TRACE(vt);
        CountedDispatch object;
        VARIANT source, copy;
        VariantInit(&copy);
        V_VT(&source) = vt;
        V_DISPATCH(&source) = &object;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(object.refs, 2u);
        EXPECT_EQ(V_UNKNOWN(&copy), static_cast<IUnknown*>(&object));
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK); // the previous copy is released first
        EXPECT_EQ(object.refs, 2u);
        EXPECT_EQ(VariantCopy(&source, &source), S_OK); // onto itself: nothing changes
        EXPECT_EQ(object.refs, 2u);
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(object.refs, 1u);
        EXPECT_EQ(VariantClear(&copy), S_OK); // now empty: nothing more is released
        EXPECT_EQ(object.refs, 1u);
        // A plain value copied over an object releases it.
        V_VT(&copy) = VT_I4;
        V_I4(&copy) = 7;
        object.AddRef();
        ASSERT_EQ(VariantCopy(&source, &copy), S_OK);
        EXPECT_EQ(object.refs, 1u);
        EXPECT_EQ(V_I4(&source), 7);
    }
}

TEST(Variant, FailedStringCopyReportsOutOfMemory) {
    // A string whose length prefix claims almost 4 GB: no allocator can duplicate it, and
    // the characters are never read.
    struct {
        uint32_t prefix;
        OLECHAR text[2];
    } forged = {0xFFFFFFFEu, {'x', 0}};
    CountedDispatch held;
    VARIANT destination, source;
    V_VT(&destination) = VT_DISPATCH;
    V_DISPATCH(&destination) = &held;
    held.AddRef();
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = forged.text;
    EXPECT_EQ(VariantCopy(&destination, &source), E_OUTOFMEMORY);
    EXPECT_EQ(held.refs, 1u); // the destination was cleared before the copy failed
    if (V_VT(&destination) == VT_BSTR) {
        EXPECT_EQ(V_BSTR(&destination), nullptr);
    }
    VariantClear(&destination);
}

TEST(Variant, ReferencesOwnNothing) {
    CountedDispatch object;
    IDispatch* pointer = &object;
    VARIANT source, copy;
    VariantInit(&copy);
    V_VT(&source) = VT_BYREF | VT_DISPATCH;
    V_BYREF(&source) = &pointer;
    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(V_VT(&copy), VT_BYREF | VT_DISPATCH);
    EXPECT_EQ(V_BYREF(&copy), &pointer);
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(object.refs, 1u);
    EXPECT_EQ(V_VT(&copy), VT_EMPTY);
}

TEST(Variant, InvalidTypesAreRejectedWithoutTouchingAnything) {
    CountedDispatch held;
    VARIANT destination;
    V_VT(&destination) = VT_DISPATCH;
    V_DISPATCH(&destination) = &held;
    held.AddRef();
    for (VARTYPE bad : {VARTYPE(15), VARTYPE(0x0FFF), VARTYPE(VT_BYREF | VT_EMPTY), VARTYPE(VT_BYREF | VT_NULL)}) {
        SCOPED_TRACE(bad);
        VARIANT source;
        std::memset(&source, 0, sizeof source);
        V_VT(&source) = bad;
        EXPECT_EQ(VariantCopy(&destination, &source), DISP_E_BADVARTYPE);
        EXPECT_EQ(held.refs, 2u); // the destination was not cleared
        EXPECT_EQ(VariantClear(&source), DISP_E_BADVARTYPE);
        EXPECT_EQ(V_VT(&source), bad);
    }
    VariantClear(&destination);
    EXPECT_EQ(held.refs, 1u);
}

} // namespace
