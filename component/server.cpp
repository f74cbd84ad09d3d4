// The component's entry points: loading and unloading the module, and registration.
#include <new>

#include "component/classfactory.h"
#include "component/registrar.h"
#include "component/satellite.h"
#include "objectmodel/module.h"
#include "objectmodel/resources.h"
#include "parsetree/reporttext.h"

#include "tarvolin_h.h"

EXTERN_C BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

namespace {

const WORD kParserScript = 101; // REGISTRY resource of Parser

// The words of the parse-error report come from the resource module, so a satellite
// library translates them.
void LoadReportWords(std::string& target, unsigned id) { LoadResourceText(target, id); }

HMODULE g_Satellite = nullptr;

// Runs the registry script of Parser from the module's own resources (never from a
// satellite) with %MODULE% standing for the module's file.
HRESULT RunParserScript(RegistryMode mode, const OleString& modulePath, REGSAM view = 0) {
    const HMODULE module = CModule::ModuleInstance();
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(kParserScript), OLESTR("REGISTRY"));
    if (!resource) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    HGLOBAL loaded = LoadResource(module, resource);
    const void* text = loaded ? LockResource(loaded) : nullptr;
    if (!text) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    const DWORD size = SizeofResource(module, resource);
    return RunRegistryScript(static_cast<const char*>(text), size, mode, {{OLESTR("MODULE"), modulePath}}, view);
}

// The registry view of the build of the other bitness on 64-bit Windows (elsewhere the
// flag changes nothing and names the own view).
const REGSAM kOtherView = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;

// Whether the other view registers Parser in a module other than this one. On 32-bit
// Windows and natively that view is our own, and after our unregistration it holds no class.
bool OtherBuildRegistered(const OleString& modulePath) {
    OLECHAR clsid[40];
    if (!StringFromGUID2(CLSID_Parser, clsid, 40)) return false;
    const OleString key = OleString(OLESTR("CLSID\\")) + clsid + OLESTR("\\InprocServer32");
    HKEY server = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ | kOtherView, &server) != ERROR_SUCCESS) return false;
    OLECHAR path[1024] = {};
    DWORD size = sizeof path - sizeof path[0], type = REG_NONE;
    const LONG rc = RegQueryValueExW(server, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(path), &size);
    RegCloseKey(server);
    return rc == ERROR_SUCCESS && type == REG_SZ && path[0] && modulePath != path;
}

HRESULT ThisModulePath(OleString& path) {
    path = ModuleFilePath(CModule::ModuleInstance());
    return path.empty() ? E_FAIL : S_OK;
}

} // namespace

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        CModule::SetModuleInstance(instance);
        DisableThreadLibraryCalls(instance);
        SetReportTextLoader(&LoadReportWords);
        if (CModule::ResourceInstance() == CModule::ModuleInstance()) {
            g_Satellite = LoadSatelliteLibrary(ModuleFilePath(instance), PreferredUILanguages());
            if (g_Satellite) CModule::SetResourceInstance(g_Satellite);
        }
    } else if (reason == DLL_PROCESS_DETACH) {
        ReleaseClassFactories();
        SetReportTextLoader(nullptr);
        // At process exit (reserved set) other libraries may be gone already: leave the
        // satellite to the system.
        if (g_Satellite && !reserved) {
            CModule::SetResourceInstance(nullptr);
            FreeLibrary(g_Satellite);
            g_Satellite = nullptr;
        }
    }
    return TRUE;
}

STDAPI DllRegisterServer(void) {
    try {
        OleString path;
        HRESULT hr = ThisModulePath(path);
        if (SUCCEEDED(hr)) hr = RunParserScript(RegistryMode::Register, path);
        if (FAILED(hr)) return hr;
        // The type library embedded in the module, registered for every user.
        ITypeLib* library = nullptr;
        hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
        if (FAILED(hr)) return hr;
        hr = RegisterTypeLib(library, &path[0], nullptr);
        library->Release();
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

STDAPI DllUnregisterServer(void) {
    try {
        OleString path;
        HRESULT hr = ThisModulePath(path);
        if (SUCCEEDED(hr)) hr = RunParserScript(RegistryMode::Unregister, path);
        // 64-bit Windows keeps one set of ProgIDs for both registry views but a class key in
        // each: while the build of the other bitness stays registered, the ProgIDs just
        // removed with ours are its too, and are written back.
        if (SUCCEEDED(hr) && OtherBuildRegistered(path))
            hr = RunParserScript(RegistryMode::RegisterShared, path, kOtherView);
        if (FAILED(hr)) return hr;
        ITypeLib* library = nullptr;
        hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
        if (FAILED(hr)) return hr;
        TLIBATTR* attributes = nullptr;
        hr = library->GetLibAttr(&attributes);
        if (SUCCEEDED(hr)) {
            // A type library that is not registered (any more) leaves nothing to remove;
            // UnRegisterTypeLib would fail for it.
            BSTR registered = nullptr;
            if (SUCCEEDED(QueryPathOfRegTypeLib(attributes->guid, attributes->wMajorVerNum,
                                                attributes->wMinorVerNum, attributes->lcid, &registered)))
                hr = UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                                       attributes->lcid, attributes->syskind);
            SysFreeString(registered);
            library->ReleaseTLibAttr(attributes);
        }
        library->Release();
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
