// VARIANT layout, copies and clears of every kind the component stores: plain values are
// copied, strings duplicated, objects gain exactly one reference, references own nothing.
#include "helpers.h"

#include <cstring>

namespace {

using platformtest::CountedDispatch;

TEST(Variant, LayoutIsTheWindowsOne) {
    VARIANT v;
    EXPECT_EQ(sizeof(VARIANT), 8 + 2 * sizeof(void*));
    for (const void* member : {static_cast<const void*>(&v.lVal), static_cast<const void*>(&v.dblVal),
                               static_cast<const void*>(&v.bstrVal), static_cast<const void*>(&v.pdispVal)})
        EXPECT_EQ(static_cast<const char*>(member) - reinterpret_cast<const char*>(&v), 8);
    VariantInit(&v);
    EXPECT_EQ(V_VT(&v), VT_EMPTY);
}

TEST(Variant, PlainValuesAndReferencesAreCopiedAsTheyAre) {
    const struct {
        VARTYPE vt;
        size_t bytes; // of the value
    } kinds[] = {{VT_EMPTY, 0}, {VT_NULL, 0}, {VT_I2, 2}, {VT_I4, 4}, {VT_R8, 8}, {VT_BOOL, 2}, {VT_ERROR, 4},
                 {VT_BYREF | VT_DISPATCH, sizeof(void*)}};
    CountedDispatch object;
    IDispatch* pointer = &object;
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.vt);
        VARIANT source, copy;
        VariantInit(&copy);
        V_VT(&source) = kind.vt;
        V_R8(&source) = -2.5e-300;
        if (kind.vt & VT_BYREF) V_BYREF(&source) = &pointer;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(V_VT(&copy), kind.vt);
        EXPECT_EQ(std::memcmp(&V_R8(&copy), &V_R8(&source), kind.bytes), 0);
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(V_VT(&copy), VT_EMPTY);
    }
    EXPECT_EQ(object.refs, 1u); // a reference owns nothing
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
        EXPECT_EQ(VariantCopy(&source, &source), S_OK); // onto itself: nothing changes
        EXPECT_EQ(object.refs, 2u);
        EXPECT_EQ(VariantClear(&copy), S_OK);
        EXPECT_EQ(VariantClear(&copy), S_OK); // now empty: nothing more is released
        EXPECT_EQ(object.refs, 1u);
        // A plain value copied over an object releases it.
        V_VT(&copy) = VT_I4;
        object.AddRef();
        ASSERT_EQ(VariantCopy(&source, &copy), S_OK);
        EXPECT_EQ(object.refs, 1u);
        V_DISPATCH(&source) = nullptr; // a null object is allowed
        V_VT(&source) = vt;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(V_UNKNOWN(&copy), nullptr);
        EXPECT_EQ(VariantClear(&copy), S_OK);
    }
}

TEST(Variant, FailuresLeaveWhatTheyMust) {
    CountedDispatch held;
    VARIANT destination, source;
    V_VT(&destination) = VT_DISPATCH;
    V_DISPATCH(&destination) = &held;
    held.AddRef();
    // Invalid types: nothing is cleared.
    for (VARTYPE bad : {VARTYPE(15), VARTYPE(0x0FFF), VARTYPE(VT_BYREF | VT_EMPTY), VARTYPE(VT_BYREF | VT_NULL)}) {
        SCOPED_TRACE(bad);
        std::memset(&source, 0, sizeof source);
        V_VT(&source) = bad;
        EXPECT_EQ(VariantCopy(&destination, &source), DISP_E_BADVARTYPE);
        EXPECT_EQ(held.refs, 2u);
        EXPECT_EQ(VariantClear(&source), DISP_E_BADVARTYPE);
        EXPECT_EQ(V_VT(&source), bad);
    }
    // A string whose length prefix claims almost 4 GB: no allocator can duplicate it, the
    // characters are never read, and the destination was cleared before the copy failed.
    struct {
        uint32_t prefix;
        OLECHAR text[2];
    } forged = {0xFFFFFFFEu, {'x', 0}};
    V_VT(&source) = VT_BSTR;
    V_BSTR(&source) = forged.text;
    EXPECT_EQ(VariantCopy(&destination, &source), E_OUTOFMEMORY);
    EXPECT_EQ(held.refs, 1u);
    if (V_VT(&destination) == VT_BSTR) {
        EXPECT_EQ(V_BSTR(&destination), nullptr);
    }
    VariantClear(&destination);
}

} // namespace
