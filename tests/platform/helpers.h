// Helpers of the platform tests. The tests use only Windows names, so that the same
// programs check the native stand-in here and the real system functions under Windows.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace platformtest {

// The characters of a 16-bit string as 8-bit text, each below 0x100 as the byte of the
// same value and any other as '#', which keeps comparisons with ASCII literals readable.
inline std::string Narrow(const OLECHAR* text, size_t length) {
    std::string s;
    for (size_t i = 0; i < length; ++i)
        s += text[i] < 0x100 ? static_cast<char>(text[i]) : '#';
    return s;
}

inline std::string Narrow(const OLECHAR* text) {
    size_t n = 0;
    while (text && text[n]) ++n;
    return Narrow(text, n);
}

// A file of the build tree (a Unix path) as this program names it: as it is natively, and on
// drive Z: in Windows form under Wine, whose programs have Windows paths.
inline std::basic_string<OLECHAR> PlatformPath(const char* path) {
    OLECHAR self[MAX_PATH] = {};
    const bool windows = GetModuleFileNameW(nullptr, self, MAX_PATH) && self[0] != '/';
    std::basic_string<OLECHAR> out;
    if (windows && path[0] == '/') out = OLESTR("Z:");
    for (const char* c = path; *c; ++c) out += static_cast<OLECHAR>(windows && *c == '/' ? '\\' : *c);
    return out;
}

// The registry form of a GUID as 8-bit text.
inline std::string GuidText(REFGUID guid) {
    OLECHAR text[39] = {};
    return StringFromGUID2(guid, text, 39) == 39 ? Narrow(text) : std::string("(none)");
}

// The bytes of a file; empty when it cannot be read.
inline std::vector<unsigned char> FileBytes(const std::basic_string<OLECHAR>& path) {
    std::ifstream in(Narrow(path.c_str()), std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A function a module exports, as the type it has.
template <typename Function>
Function Export(HMODULE module, const char* name) {
    // Through the generic function pointer type, which converts to any other one.
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// An object that counts its references and never destroys itself, so a test can read the
// count after every step. It answers IUnknown and IDispatch.
struct CountedDispatch : IDispatch {
    ULONG refs = 1;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, IID_IDispatch)) return E_NOINTERFACE;
        *object = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
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

} // namespace platformtest
