// Helpers of the platform tests. The tests use only Windows names, so that the same
// programs check the native stand-in here and the real system functions under Windows.
#pragma once

#include <gtest/gtest.h>

#include <string>

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

// The registry form of a GUID as 8-bit text.
inline std::string GuidText(REFGUID guid) {
    OLECHAR text[39] = {};
    return StringFromGUID2(guid, text, 39) == 39 ? Narrow(text) : std::string("(none)");
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
