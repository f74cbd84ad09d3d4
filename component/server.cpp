// The component's entry points: loading and unloading the module, and registration for the
// machine (DllRegisterServer, DllUnregisterServer) or for the current user (DllInstall).
#include <new>

#include "component/classfactory.h"
#include "component/registrar.h"
#include "component/satellite.h"
#include "objectmodel/module.h"
#include "objectmodel/resources.h"
#include "parsetree/reporttext.h"

#include "tarvolin_h.h"

EXTERN_C BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);
STDAPI DllInstall(BOOL install, LPCWSTR commandLine);

namespace {

const WORD kParserScript = 101; // REGISTRY resource of Parser

// The words of the parse-error report come from the resource module, so a satellite
// library translates them.
void LoadReportWords(std::string& target, unsigned id) { LoadResourceText(target, id); }

HMODULE g_Satellite = nullptr;

// Runs the registry script of Parser from the module's own resources (never from a
// satellite) with %MODULE% standing for the module's file.
HRESULT RunParserScript(RegistryMode mode, const OleString& modulePath, HKEY root, RegistryBackup* backup = nullptr,
                        REGSAM view = 0) {
    const HMODULE module = CModule::ModuleInstance();
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(kParserScript), OLESTR("REGISTRY"));
    if (!resource) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    HGLOBAL loaded = LoadResource(module, resource);
    const void* text = loaded ? LockResource(loaded) : nullptr;
    if (!text) return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    const DWORD size = SizeofResource(module, resource);
    return RunRegistryScript(static_cast<const char*>(text), size, mode, {{OLESTR("MODULE"), modulePath}}, root,
                             backup, view);
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

// Where registration goes: the machine's classes (HKEY_CLASSES_ROOT), or the current
// user's (HKEY_CURRENT_USER\Software\Classes, which Windows merges into the user's view of
// HKEY_CLASSES_ROOT and which a user may write without administrator rights).
enum class Scope { Machine, User };

// DllInstall's command line: "user" (in any case) for the current user; none or an empty
// one for the machine, as DllRegisterServer. Anything else is not understood.
bool ScopeOf(LPCWSTR commandLine, Scope& scope) {
    scope = Scope::Machine;
    if (!commandLine || !*commandLine) return true;
    static const char kUser[] = "user";
    size_t i = 0;
    for (; kUser[i]; ++i) {
        OLECHAR c = commandLine[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<OLECHAR>(c - 'A' + 'a');
        if (c != static_cast<OLECHAR>(kUser[i])) return false;
    }
    if (commandLine[i]) return false;
    scope = Scope::User;
    return true;
}

// The root of the classes of a scope, opened (and for registering, created) as needed.
class ClassesRoot {
public:
    ClassesRoot() = default;
    ClassesRoot(const ClassesRoot&) = delete;
    ClassesRoot& operator=(const ClassesRoot&) = delete;
    ~ClassesRoot() {
        if (m_Key && m_Key != HKEY_CLASSES_ROOT) RegCloseKey(m_Key);
    }

    // ERROR_FILE_NOT_FOUND when the user's classes are missing and not to be created.
    LONG Open(Scope scope, bool create) {
        if (scope == Scope::Machine) {
            m_Key = HKEY_CLASSES_ROOT;
            return ERROR_SUCCESS;
        }
        // Deleting trees below it (ForceRemove, unregistering) needs more than KEY_WRITE; the
        // user owns these keys.
        const OLECHAR* path = OLESTR("Software\\Classes");
        return create ? RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                        nullptr, &m_Key, nullptr)
                      : RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_ALL_ACCESS, &m_Key);
    }
    HKEY Key() const { return m_Key; }

private:
    HKEY m_Key = nullptr;
};

HRESULT FromWin32(LONG rc) { return rc == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<unsigned long>(rc)); }

// TypeLib\{libid} and TypeLib\{libid}\{major}.{minor}, as type-library registration names them.
OleString TypeLibKey(const TLIBATTR& attributes, bool withVersion) {
    OLECHAR guid[39] = {};
    StringFromGUID2(attributes.guid, guid, 39);
    OleString key = OleString(OLESTR("TypeLib\\")) + guid;
    if (!withVersion) return key;
    static const char kHex[] = "0123456789abcdef";
    auto hex = [&](unsigned value) {
        OleString digits;
        do {
            digits.insert(digits.begin(), static_cast<OLECHAR>(kHex[value % 16]));
            value /= 16;
        } while (value);
        return digits;
    };
    return key + OLESTR("\\") + hex(attributes.wMajorVerNum) + OLESTR(".") + hex(attributes.wMinorVerNum);
}

// Registers the class and the type library embedded in the module. Nothing is left
// half-written: when a step fails, the keys it and the steps before it wrote are put back
// as they were.
HRESULT RegisterServer(Scope scope) {
    try {
        OleString path;
        HRESULT hr = ThisModulePath(path);
        if (FAILED(hr)) return hr;
        ClassesRoot root;
        hr = FromWin32(root.Open(scope, true));
        if (FAILED(hr)) return hr;
        RegistryBackup backup;
        hr = RunParserScript(RegistryMode::Register, path, root.Key(), &backup);
        if (FAILED(hr)) return hr;
        ITypeLib* library = nullptr;
        hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
        if (SUCCEEDED(hr)) {
            TLIBATTR* attributes = nullptr;
            hr = library->GetLibAttr(&attributes);
            if (SUCCEEDED(hr)) {
                hr = backup.SaveTree(root.Key(), TypeLibKey(*attributes, false));
                library->ReleaseTLibAttr(attributes);
            }
            if (SUCCEEDED(hr))
                hr = scope == Scope::Machine ? RegisterTypeLib(library, &path[0], nullptr)
                                             : RegisterTypeLibForUser(library, &path[0], nullptr);
            library->Release();
        }
        if (FAILED(hr)) backup.Restore(); // the step's failure is the answer
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

// Removes the class keys and the type library's registration of a scope. What is not
// registered (any more) leaves nothing to remove and is no error.
HRESULT UnregisterServer(Scope scope) {
    try {
        OleString path;
        HRESULT hr = ThisModulePath(path);
        if (FAILED(hr)) return hr;
        ClassesRoot root;
        const LONG opened = root.Open(scope, false);
        if (opened == ERROR_FILE_NOT_FOUND) return S_OK; // the user has no classes of his own
        hr = FromWin32(opened);
        if (SUCCEEDED(hr)) hr = RunParserScript(RegistryMode::Unregister, path, root.Key());
        // 64-bit Windows keeps one set of the machine's ProgIDs for both registry views but a
        // class key in each: while the build of the other bitness stays registered, the
        // ProgIDs just removed with ours are its too, and are written back.
        if (SUCCEEDED(hr) && scope == Scope::Machine && OtherBuildRegistered(path))
            hr = RunParserScript(RegistryMode::RegisterShared, path, root.Key(), nullptr, kOtherView);
        if (FAILED(hr)) return hr;
        ITypeLib* library = nullptr;
        hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
        if (FAILED(hr)) return hr;
        TLIBATTR* attributes = nullptr;
        hr = library->GetLibAttr(&attributes);
        if (SUCCEEDED(hr)) {
            // UnRegisterTypeLib fails for a library that is not registered.
            BSTR registered = nullptr;
            if (SUCCEEDED(QueryPathOfRegTypeLib(attributes->guid, attributes->wMajorVerNum,
                                                attributes->wMinorVerNum, attributes->lcid, &registered))) {
                if (scope == Scope::Machine) {
                    hr = UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                                           attributes->lcid, attributes->syskind);
                } else {
                    hr = UnRegisterTypeLibForUser(attributes->guid, attributes->wMajorVerNum,
                                                  attributes->wMinorVerNum, attributes->lcid, attributes->syskind);
                    // The registration found may be the machine's alone, which is not the
                    // user's to remove.
                    HKEY version = nullptr;
                    if (FAILED(hr) && RegOpenKeyExW(root.Key(), TypeLibKey(*attributes, true).c_str(), 0, KEY_READ,
                                                    &version) == ERROR_FILE_NOT_FOUND)
                        hr = S_OK;
                    if (version) RegCloseKey(version);
                }
            }
            SysFreeString(registered);
            library->ReleaseTLibAttr(attributes);
        }
        library->Release();
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
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

STDAPI DllRegisterServer(void) { return RegisterServer(Scope::Machine); }

STDAPI DllUnregisterServer(void) { return UnregisterServer(Scope::Machine); }

STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    Scope scope;
    if (!ScopeOf(commandLine, scope)) return E_INVALIDARG;
    return install ? RegisterServer(scope) : UnregisterServer(scope);
}
