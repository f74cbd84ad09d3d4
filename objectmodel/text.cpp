#include "objectmodel/text.h"


HRESULT NarrowToBSTR(std::string_view text, BSTR* result) {
    if (!result) return E_POINTER;
    BSTR out = nullptr;
    if (text.empty()) {
        out = SysAllocStringLen(nullptr, 0);
    } else {
        const int length = static_cast<int>(text.size());
        const int wide = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
        if (wide <= 0) return E_OUTOFMEMORY;
        out = SysAllocStringLen(nullptr, static_cast<UINT>(wide));
        if (out) MultiByteToWideChar(CP_ACP, 0, text.data(), length, reinterpret_cast<LPWSTR>(out), wide);
    }
    if (!out) return E_OUTOFMEMORY;
    *result = out;
    return S_OK;
}

HRESULT WideToBSTR(const OLECHAR* text, size_t length, BSTR* result) {
    if (!result) return E_POINTER;
    BSTR out = SysAllocStringLen(text, static_cast<UINT>(length));
    if (!out) return E_OUTOFMEMORY;
    *result = out;
    return S_OK;
}
