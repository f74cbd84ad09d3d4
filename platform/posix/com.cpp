// Creating objects of in-process servers, as the COM runtime does it for a host: the class
// is looked up in HKEY_CLASSES_ROOT\CLSID\{clsid}\InprocServer32, the library named there
// is loaded and asked for the class factory. A class that is not registered in this
// process is looked for in the servers the program was linked with, so that a program
// linked with libtarvolin.so can create its objects without registering it first (the
// registry stand-in starts empty in every process).
#include "platform/platform.h"

#include <dlfcn.h>

#include <string>

namespace {

using GetClassObjectFn = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

// The default value of InprocServer32 below root, or an empty path.
std::u16string ServerBelow(HKEY root, const std::u16string& sub) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, sub.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
    std::u16string path;
    DWORD type = 0, size = 0;
    if (RegQueryValueExW(key, nullptr, nullptr, &type, nullptr, &size) == ERROR_SUCCESS && type == REG_SZ &&
        size >= sizeof(OLECHAR)) {
        path.resize(size / sizeof(OLECHAR));
        if (RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(&path[0]), &size) != ERROR_SUCCESS)
            path.clear();
        while (!path.empty() && path.back() == u'\0') path.pop_back();
    }
    RegCloseKey(key);
    return path;
}

// The library registered for the class: the user's registration first, as Windows merges
// the user's classes over the machine's; an empty path when there is none.
std::u16string RegisteredServer(REFCLSID clsid) {
    OLECHAR guid[39];
    StringFromGUID2(clsid, guid, 39);
    const std::u16string sub = u"CLSID\\" + std::u16string(guid) + u"\\InprocServer32";
    std::u16string path = ServerBelow(HKEY_CURRENT_USER, u"Software\\Classes\\" + sub);
    return path.empty() ? ServerBelow(HKEY_CLASSES_ROOT, sub) : path;
}

} // namespace

HRESULT CoInitialize(LPVOID) {
    return S_OK;
}
HRESULT CoInitializeEx(LPVOID, DWORD) {
    return S_OK;
}
void CoUninitialize() {}

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID, REFIID iid, LPVOID* object) {
    if (!object) return E_INVALIDARG;
    *object = nullptr;
    if (!(context & CLSCTX_INPROC_SERVER)) return REGDB_E_CLASSNOTREG;
    const std::u16string path = RegisteredServer(clsid);
    GetClassObjectFn entry = nullptr;
    if (!path.empty()) {
        // The library stays loaded, as COM keeps a server loaded until CoFreeUnusedLibraries.
        HMODULE module = LoadLibraryW(path.c_str());
        if (!module) return HRESULT_FROM_WIN32(GetLastError());
        entry = reinterpret_cast<GetClassObjectFn>(
            reinterpret_cast<void (*)()>(GetProcAddress(module, "DllGetClassObject")));
        if (!entry) return CO_E_ERRORINDLL;
    } else {
        entry = reinterpret_cast<GetClassObjectFn>(dlsym(RTLD_DEFAULT, "DllGetClassObject"));
        if (!entry) return REGDB_E_CLASSNOTREG;
        // A linked server that does not serve the class: to the caller, it is not registered.
        const HRESULT hr = entry(clsid, iid, object);
        return hr == CLASS_E_CLASSNOTAVAILABLE ? REGDB_E_CLASSNOTREG : hr;
    }
    return entry(clsid, iid, object);
}

HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    IClassFactory* factory = nullptr;
    HRESULT hr =
        CoGetClassObject(clsid, context, nullptr, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (FAILED(hr)) return hr;
    hr = factory->CreateInstance(outer, iid, object);
    factory->Release();
    return hr;
}
