// VARIANT functions, GUIDs of the system interfaces, task memory and the absent loaders of
// the native build.
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

void VariantInit(VARIANT* v) {
    std::memset(v, 0, sizeof *v);
    v->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANT* v) {
    if (!v) return E_INVALIDARG;
    switch (v->vt) {
    case VT_BSTR: SysFreeString(v->bstrVal); break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
        if (v->punkVal) v->punkVal->Release();
        break;
    default: break;
    }
    v->vt = VT_EMPTY;
    return S_OK;
}

HRESULT VariantCopy(VARIANT* destination, const VARIANT* source) {
    if (!destination || !source) return E_INVALIDARG;
    if (destination == source) return S_OK;
    if (source->vt & (VT_ARRAY | VT_BYREF)) return DISP_E_BADVARTYPE;
    VARIANT copy = *source;
    if (source->vt == VT_BSTR) {
        // As on Windows, a null string is copied as an empty one.
        copy.bstrVal = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(source->bstrVal), SysStringByteLen(source->bstrVal));
        if (!copy.bstrVal) return E_OUTOFMEMORY;
    } else if ((source->vt == VT_DISPATCH || source->vt == VT_UNKNOWN) && source->punkVal) {
        source->punkVal->AddRef();
    }
    VariantClear(destination);
    *destination = copy;
    return S_OK;
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

HRESULT LoadRegTypeLib(REFGUID, WORD, WORD, LCID, ITypeLib** library) {
    if (library) *library = nullptr;
    return TYPE_E_LIBNOTREGISTERED;
}

HRESULT LoadTypeLib(LPCOLESTR, ITypeLib** library) {
    if (library) *library = nullptr;
    return TYPE_E_LIBNOTREGISTERED;
}

HRESULT RegisterTypeLib(ITypeLib* library, LPOLESTR, LPOLESTR) { return library ? E_NOTIMPL : E_INVALIDARG; }

HRESULT UnRegisterTypeLib(REFGUID, WORD, WORD, LCID, SYSKIND) { return TYPE_E_LIBNOTREGISTERED; }

DWORD FormatMessageA(DWORD, const void*, DWORD, DWORD, LPSTR, DWORD, void*) { return 0; }
HLOCAL LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

int MessageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT) {
    std::fprintf(stderr, "%s: %s\n", caption ? caption : "", text ? text : "");
    return 1; // IDOK
}
