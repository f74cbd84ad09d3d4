// The platform layer's behaviour as the component relies on it: BSTR layout, VARIANT
// copies, per-thread error information, and code page 1252 conversions.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/platform.h"

namespace {

// A minimal object that counts its references.
struct Counted : IDispatch {
    ULONG refs = 1;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** p) override {
        *p = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

TEST(Bstr, LengthPrefixAndEmbeddedNuls) {
    const OLECHAR text[] = {u'a', 0, u'b'};
    BSTR s = SysAllocStringLen(text, 3);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 3u);
    EXPECT_EQ(SysStringByteLen(s), 6u);
    EXPECT_EQ(s[1], 0);
    EXPECT_EQ(s[3], 0); // terminated after the length
    EXPECT_EQ(reinterpret_cast<const uint32_t*>(s)[-1], 6u);
    SysFreeString(s);

    BSTR odd = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(odd), 3u);
    EXPECT_EQ(SysStringLen(odd), 1u);
    SysFreeString(odd);

    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
    BSTR empty = SysAllocStringLen(nullptr, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    SysFreeString(empty);
    BSTR zeroed = SysAllocStringLen(nullptr, 4);
    EXPECT_EQ(SysStringLen(zeroed), 4u);
    SysFreeString(zeroed);
}

TEST(Variant, CopiesOfEveryKindTheComponentUses) {
    VARIANT a, b;
    VariantInit(&a);
    VariantInit(&b);
    EXPECT_EQ(V_VT(&a), VT_EMPTY);

    V_VT(&a) = VT_BSTR;
    V_BSTR(&a) = SysAllocString(OLESTR("col"));
    ASSERT_EQ(VariantCopy(&b, &a), S_OK);
    EXPECT_EQ(V_VT(&b), VT_BSTR);
    EXPECT_NE(V_BSTR(&b), V_BSTR(&a)); // a new string
    EXPECT_EQ(SysStringLen(V_BSTR(&b)), 3u);
    VariantClear(&a);
    EXPECT_EQ(V_VT(&a), VT_EMPTY);

    Counted object;
    V_VT(&a) = VT_DISPATCH;
    V_DISPATCH(&a) = &object;
    ASSERT_EQ(VariantCopy(&b, &a), S_OK); // the old string in b is freed first
    EXPECT_EQ(object.refs, 2u);
    VariantClear(&b);
    EXPECT_EQ(object.refs, 1u);

    V_VT(&a) = VT_I4;
    V_I4(&a) = -5;
    VariantCopy(&b, &a);
    EXPECT_EQ(V_I4(&b), -5);
    V_VT(&a) = VT_R8;
    V_R8(&a) = 2.5;
    VariantCopy(&b, &a);
    EXPECT_EQ(V_R8(&b), 2.5);
    V_VT(&a) = VT_DISPATCH;
    V_DISPATCH(&a) = nullptr;
    EXPECT_EQ(VariantCopy(&b, &a), S_OK);
    EXPECT_EQ(V_DISPATCH(&b), nullptr);
    V_VT(&a) = VT_BSTR;
    V_BSTR(&a) = nullptr;
    EXPECT_EQ(VariantCopy(&b, &a), S_OK); // a null string is copied as an empty one
    ASSERT_NE(V_BSTR(&b), nullptr);
    EXPECT_EQ(SysStringLen(V_BSTR(&b)), 0u);
    VariantClear(&b);
}

std::string Description(IErrorInfo* info) {
    BSTR text = nullptr;
    info->GetDescription(&text);
    std::string s;
    for (UINT i = 0; i < SysStringLen(text); ++i) s += static_cast<char>(text[i]);
    SysFreeString(text);
    return s;
}

void Publish(const OLECHAR* description) {
    ICreateErrorInfo* create = nullptr;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(description));
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    SetErrorInfo(0, info);
    info->Release();
    create->Release();
}

TEST(ErrorInfo, RoundTripIsPerThreadAndTakenOnce) {
    Publish(OLESTR("main"));
    std::string seen;
    std::thread other([&] {
        IErrorInfo* info = nullptr;
        if (GetErrorInfo(0, &info) == S_OK) {
            seen = "leaked: " + Description(info);
            info->Release();
        }
        Publish(OLESTR("other"));
    });
    other.join();
    EXPECT_EQ(seen, "");
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    EXPECT_EQ(Description(info), "main");
    BSTR source = reinterpret_cast<BSTR>(1);
    info->GetSource(&source);
    EXPECT_EQ(source, nullptr);
    info->Release();
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE); // taken
    EXPECT_EQ(info, nullptr);
    Publish(OLESTR("cleared"));
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(GetErrorInfo(0, &info), S_FALSE);
}

TEST(CodePage, AnsiIsWindows1252) {
    // U+4E2D has no counterpart, not even a best fit, in code page 1252.
    const OLECHAR wide[] = {u'c', u'a', u'f', 0x00E9, 0x20AC, 0x4E2D, 0x2122, 0};
    char narrow[16] = {};
    int n = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(wide), 7, narrow, sizeof narrow, nullptr, nullptr);
    ASSERT_EQ(n, 7);
    EXPECT_EQ(std::string(narrow, 7), "caf\xE9\x80?\x99");

    const char bytes[] = "\x80\x8A\x9F\xA0\xFF\x81";
    OLECHAR back[8] = {};
    n = MultiByteToWideChar(CP_ACP, 0, bytes, 6, reinterpret_cast<LPWSTR>(back), 8);
    ASSERT_EQ(n, 6);
    EXPECT_EQ(back[0], 0x20AC);
    EXPECT_EQ(back[1], 0x0160);
    EXPECT_EQ(back[2], 0x0178);
    EXPECT_EQ(back[3], 0x00A0);
    EXPECT_EQ(back[4], 0x00FF);
    EXPECT_EQ(back[5], 0x0081); // unassigned bytes keep their value

    // Asking for the size first, as callers do.
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, bytes, 6, nullptr, 0), 6);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(wide), -1, nullptr, 0, nullptr, nullptr), 8);
}

} // namespace

namespace {

// Writes HKEY_CLASSES_ROOT\<path> with a default string value.
LONG WriteDefault(const OLECHAR* path, const OLECHAR* value) {
    HKEY key = nullptr;
    LONG rc = RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key,
                              nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    DWORD bytes = 0;
    while (value[bytes / sizeof(OLECHAR)]) bytes += sizeof(OLECHAR);
    rc = RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value), bytes + sizeof(OLECHAR));
    RegCloseKey(key);
    return rc;
}

TEST(Registry, ProgIdOfARegisteredClass) {
    // {6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}, a class only this test registers.
    const CLSID clsid = {0x6B4C1F52, 0x93A7, 0x4E0B, {0x9C, 0x1D, 0x2F, 0x7E, 0x8A, 0x5B, 0x3C, 0x41}};
    LPOLESTR progId = reinterpret_cast<LPOLESTR>(1);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);
    ASSERT_EQ(WriteDefault(OLESTR("CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}\\ProgID"), OLESTR("Tarvolin.Test.1")),
              ERROR_SUCCESS);
    ASSERT_EQ(ProgIDFromCLSID(clsid, &progId), S_OK);
    std::string text;
    for (const OLECHAR* c = progId; *c; ++c) text += static_cast<char>(*c);
    EXPECT_EQ(text, "Tarvolin.Test.1");
    CoTaskMemFree(progId);

    // Keys are case-insensitive; deleting the class's tree leaves CLSID itself.
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, OLESTR("clsid\\{6b4c1f52-93a7-4e0b-9c1d-2f7e8a5b3c41}"), 0, KEY_READ, &key),
              ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, OLESTR("CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}")), ERROR_SUCCESS);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, OLESTR("CLSID"), 0, KEY_READ, &key), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, OLESTR("CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}"), 0, KEY_READ,
                            &key),
              ERROR_FILE_NOT_FOUND);
}

} // namespace
