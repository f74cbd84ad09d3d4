// VARIANT functions, GUIDs of the system interfaces, task memory, GUID strings and messages
// of the native build.
#include "platform/platform.h"

#include <cstdio>
#include <cstdlib>

EXTERN_C const GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
EXTERN_C const IID IID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
EXTERN_C const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_ITypeInfo = {0x00020401, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_ITypeLib = {0x00020402, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_IEnumVARIANT = {0x00020404, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
EXTERN_C const IID IID_ISupportErrorInfo = {0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
EXTERN_C const IID IID_IErrorInfo = {0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
EXTERN_C const IID IID_ICreateErrorInfo = {0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

namespace {

// The types a VARIANT may hold, by value or by reference. Arrays and records are valid on
// Windows, but this layer has no SAFEARRAY and no record information, so it rejects them
// like the types Windows rejects.
HRESULT ValidateType(VARTYPE vt) {
    if (vt & (VT_VECTOR | VT_RESERVED | VT_ARRAY)) return DISP_E_BADVARTYPE;
    const VARTYPE base = vt & VT_TYPEMASK;
    if ((vt & VT_BYREF) && base <= VT_NULL) return DISP_E_BADVARTYPE;
    if (base == 15 || base >= VT_VOID) return DISP_E_BADVARTYPE;
    return S_OK;
}

} // namespace

void VariantInit(VARIANT* v) {
    std::memset(v, 0, sizeof *v);
    v->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANT* v) {
    if (!v) return E_INVALIDARG;
    // The common cases first: nothing held, or an object reference.
    if (v->vt == VT_EMPTY) return S_OK;
    if (v->vt == VT_DISPATCH || v->vt == VT_UNKNOWN) {
        if (v->punkVal) v->punkVal->Release();
        v->vt = VT_EMPTY;
        return S_OK;
    }
    HRESULT hr = ValidateType(v->vt);
    if (FAILED(hr)) return hr;
    switch (v->vt) {
    case VT_BSTR: SysFreeString(v->bstrVal); break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        if (v->punkVal) v->punkVal->Release();
        break;
    default: break; // plain values, and references, which own nothing
    }
    v->vt = VT_EMPTY;
    return S_OK;
}

// As on Windows: the destination is cleared first, then receives a shallow copy, then the
// owned parts are duplicated (a new string, one more reference to an object). When the
// string cannot be duplicated the destination is left as a VT_BSTR holding null.
HRESULT VariantCopy(VARIANT* destination, const VARIANT* source) {
    if (!destination || !source) return E_INVALIDARG;
    // The common case first: an object reference into an empty VARIANT (which cannot be the
    // source itself).
    if (destination->vt == VT_EMPTY && (source->vt == VT_DISPATCH || source->vt == VT_UNKNOWN)) {
        *destination = *source;
        if (source->punkVal) source->punkVal->AddRef();
        return S_OK;
    }
    HRESULT hr = ValidateType(source->vt);
    if (FAILED(hr)) return hr;
    if (destination == source) return S_OK;
    hr = VariantClear(destination);
    if (FAILED(hr)) return hr;
    *destination = *source;
    switch (source->vt) {
    case VT_BSTR:
        // A null string is copied as an empty one.
        destination->bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(source->bstrVal),
                                                     SysStringByteLen(source->bstrVal));
        return destination->bstrVal ? S_OK : E_OUTOFMEMORY;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        if (source->punkVal) source->punkVal->AddRef();
        return S_OK;
    default: return S_OK;
    }
}

LPVOID CoTaskMemAlloc(size_t size) { return std::malloc(size ? size : 1); }
void CoTaskMemFree(LPVOID block) { std::free(block); }

int StringFromGUID2(REFGUID g, LPOLESTR buffer, int size) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1, g.Data2, g.Data3,
                  g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    if (!buffer || size < 39) return 0;
    for (int i = 0; i < 39; ++i) buffer[i] = static_cast<OLECHAR>(text[i]);
    return 39;
}

HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* text) {
    if (!text) return E_INVALIDARG;
    *text = static_cast<LPOLESTR>(CoTaskMemAlloc(39 * sizeof(OLECHAR)));
    if (!*text) return E_OUTOFMEMORY;
    StringFromGUID2(clsid, *text, 39);
    return S_OK;
}

DWORD FormatMessageA(DWORD, const void*, DWORD, DWORD, LPSTR, DWORD, void*) { return 0; }
HLOCAL LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

int MessageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT) {
    std::fprintf(stderr, "%s: %s\n", caption ? caption : "", text ? text : "");
    return 1; // IDOK
}
