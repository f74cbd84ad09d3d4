// Modules of the native build: handles that are image bases, a loader over dlopen, module
// file names, the thread's last error, and the language and file functions the component
// asks at load time.
#include "platform/posix/internal.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

using tarvolin_posix::AbsolutePath;

namespace {

thread_local DWORD t_LastError = 0;

struct Module {
    HMODULE base;
    std::string path;
};

// The start of an object's first mapping: its lowest loadable segment, rounded down to a
// page, as the dynamic loader maps it (and as dladdr reports it in dli_fbase).
uintptr_t ImageBase(const dl_phdr_info& info) {
    uintptr_t low = UINTPTR_MAX;
    for (ElfW(Half) i = 0; i < info.dlpi_phnum; ++i)
        if (info.dlpi_phdr[i].p_type == PT_LOAD) low = std::min<uintptr_t>(low, info.dlpi_addr + info.dlpi_phdr[i].p_vaddr);
    if (low == UINTPTR_MAX) return 0;
    static const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    return low & ~(page - 1);
}

int CollectModule(dl_phdr_info* info, size_t, void* data) {
    auto* modules = static_cast<std::vector<Module>*>(data);
    const uintptr_t base = ImageBase(*info);
    if (!base) return 0;
    try {
        modules->push_back({reinterpret_cast<HMODULE>(base), info->dlpi_name ? info->dlpi_name : ""});
    } catch (const std::bad_alloc&) {
        return 1; // a partial list
    }
    return 0;
}

int FirstModule(dl_phdr_info* info, size_t, void* data) {
    *static_cast<uintptr_t*>(data) = ImageBase(*info);
    return 1; // the first object reported is the program
}

HMODULE MainModule() {
    static const HMODULE main = [] {
        uintptr_t base = 0;
        dl_iterate_phdr(FirstModule, &base);
        return reinterpret_cast<HMODULE>(base);
    }();
    return main;
}

std::string CurrentDirectory() {
    std::string dir(4096, '\0');
    if (!getcwd(&dir[0], dir.size())) return std::string();
    dir.resize(std::strlen(dir.c_str()));
    return dir;
}

std::string ProgramPath() {
    std::string path(4096, '\0');
    const ssize_t n = readlink("/proc/self/exe", &path[0], path.size());
    if (n <= 0) return std::string();
    path.resize(static_cast<size_t>(n));
    return path;
}

// Every loaded object with its file, the program first (with its real path).
std::vector<Module> LoadedModules() {
    std::vector<Module> modules;
    dl_iterate_phdr(CollectModule, &modules);
    if (!modules.empty()) modules[0].path = ProgramPath();
    return modules;
}

bool FileExists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

bool SameFile(const std::string& a, const std::string& b) {
    struct stat x, y;
    return stat(a.c_str(), &x) == 0 && stat(b.c_str(), &y) == 0 && x.st_dev == y.st_dev && x.st_ino == y.st_ino;
}

// The file of a loaded module; empty when the handle is not a loaded module's.
std::string PathOf(HMODULE module) {
    if (module == MainModule()) return ProgramPath();
    for (const Module& m : LoadedModules())
        if (m.base == module) return AbsolutePath(m.path);
    return std::string();
}

HMODULE FindByName(const std::string& name) {
    const bool isPath = name.find('/') != std::string::npos;
    for (const Module& m : LoadedModules()) {
        if (m.path.empty()) continue;
        if (isPath) {
            if (m.path == name || SameFile(m.path, name)) return m.base;
        } else if (m.path.substr(m.path.rfind('/') + 1) == name) {
            return m.base;
        }
    }
    return nullptr;
}

// A dlopen handle of a loaded module, one more reference to it, which the caller closes;
// null when the module is not loaded.
void* OpenHandle(HMODULE module, int flags) {
    if (module == MainModule()) return dlopen(nullptr, RTLD_LAZY);
    Dl_info info;
    if (!module || !dladdr(module, &info) || info.dli_fbase != module || !info.dli_fname) return nullptr;
    const std::string path = info.dli_fname; // owned by the loader
    return dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD | flags);
}

// The DllMain calls of the libraries that LoadLibraryExW is loading on this thread, in the
// order their constructors ran (dependencies first); null when it is loading none.
thread_local std::vector<BOOL (*)()>* t_PendingAttach = nullptr;

} // namespace

namespace tarvolin_posix {

std::string AbsolutePath(const std::string& path) {
    if (path.empty() || path[0] == '/') return path;
    std::string dir = CurrentDirectory();
    return dir.empty() ? path : dir + "/" + path;
}

HMODULE ModuleOfFile(const std::string& path) {
    if (path.empty()) return nullptr;
    for (const Module& m : LoadedModules())
        if (!m.path.empty() && (m.path == path || SameFile(m.path, path))) return m.base;
    return nullptr;
}

bool DeferAttach(BOOL (*attach)()) {
    if (!t_PendingAttach) return false;
    try {
        t_PendingAttach->push_back(attach);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

} // namespace tarvolin_posix

DWORD GetLastError() { return t_LastError; }
void SetLastError(DWORD error) { t_LastError = error; }

HMODULE GetModuleHandleW(LPCWSTR name) {
    if (!name) return MainModule();
    HMODULE module = FindByName(Utf16ToUtf8(name));
    if (!module) SetLastError(ERROR_MOD_NOT_FOUND);
    return module;
}

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR name, HMODULE* module) {
    const DWORD known = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT |
                        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    if (module) *module = nullptr;
    if (!module || (flags & ~known) ||
        ((flags & GET_MODULE_HANDLE_EX_FLAG_PIN) && (flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    HMODULE found = nullptr;
    if (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) {
        Dl_info info;
        if (name && dladdr(name, &info) && info.dli_fbase) found = static_cast<HMODULE>(info.dli_fbase);
    } else {
        found = name ? FindByName(Utf16ToUtf8(name)) : MainModule();
    }
    if (!found) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    if (!(flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) && found != MainModule()) {
        // The reference the caller now holds, or with the pin one that is never dropped.
        const int pin = (flags & GET_MODULE_HANDLE_EX_FLAG_PIN) ? RTLD_NODELETE : 0;
        if (!OpenHandle(found, pin)) {
            SetLastError(ERROR_MOD_NOT_FOUND);
            return FALSE;
        }
    }
    *module = found;
    return TRUE;
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
    const std::string path = PathOf(module ? module : MainModule());
    if (path.empty()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return 0;
    }
    if (!buffer || size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const std::u16string wide = Utf8ToUtf16(path);
    if (wide.size() >= size) {
        // Truncated and terminated; the result is the buffer size.
        wide.copy(buffer, size - 1);
        buffer[size - 1] = 0;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    wide.copy(buffer, wide.size());
    buffer[wide.size()] = 0;
    return static_cast<DWORD>(wide.size());
}

HMODULE LoadLibraryW(LPCWSTR file) { return LoadLibraryExW(file, nullptr, 0); }

HMODULE LoadLibraryExW(LPCWSTR file, HANDLE, DWORD flags) {
    if (!file || !*file) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::string path = Utf16ToUtf8(file);
    if (flags & (LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)) {
        SetLastError(FileExists(path) ? ERROR_NOT_SUPPORTED : ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    if (flags & ~static_cast<DWORD>(LOAD_WITH_ALTERED_SEARCH_PATH)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    // A relative path is taken from the current directory once, so that the module's file
    // name stays right when the directory changes.
    const bool isPath = path.find('/') != std::string::npos;
    if (isPath) path = AbsolutePath(path);
    // The libraries' DllMain runs once they are completely loaded, as on Windows after the
    // C runtime has constructed their static objects.
    std::vector<BOOL (*)()> pending;
    std::vector<BOOL (*)()>* outer = t_PendingAttach;
    t_PendingAttach = &pending;
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    t_PendingAttach = outer;
    if (!handle) {
        const char* why = dlerror();
        const bool missing = !isPath || !FileExists(path) || (why && std::strstr(why, "No such file"));
        SetLastError(missing ? ERROR_MOD_NOT_FOUND : ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    link_map* map = nullptr;
    Dl_info info;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map || !dladdr(map->l_ld, &info) || !info.dli_fbase) {
        dlclose(handle);
        SetLastError(ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    for (BOOL (*attach)() : pending) {
        if (!attach()) {
            // Unloading detaches the libraries that did attach.
            dlclose(handle);
            SetLastError(ERROR_DLL_INIT_FAILED);
            return nullptr;
        }
    }
    return static_cast<HMODULE>(info.dli_fbase);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    if (!module) module = MainModule();
    if (!name || IS_INTRESOURCE(name)) { // no ordinals natively
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    void* handle = OpenHandle(module, 0);
    if (!handle) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    void* symbol = dlsym(handle, name);
    // dlsym also searches the libraries the module uses; Windows only its own exports.
    Dl_info info;
    if (symbol && (!dladdr(symbol, &info) || info.dli_fbase != module)) symbol = nullptr;
    dlclose(handle);
    if (!symbol) {
        SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(symbol);
}

BOOL FreeLibrary(HMODULE module) {
    if (module && module == MainModule()) return TRUE;
    void* handle = OpenHandle(module, 0);
    if (!handle) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    dlclose(handle); // the reference just taken
    if (dlclose(handle) != 0) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return FALSE;
    }
    return TRUE;
}

BOOL DisableThreadLibraryCalls(HMODULE module) {
    if (!module || PathOf(module).empty()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

namespace {

// The language name of a POSIX locale name: "de_DE.UTF-8@euro" gives "de-DE"; "C",
// "POSIX" and the empty name give nothing.
std::u16string LanguageOf(const char* locale) {
    if (!locale) return {};
    std::string name(locale);
    name = name.substr(0, name.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") return {};
    for (auto& c : name)
        if (c == '_') c = '-';
    return Utf8ToUtf16(name);
}

} // namespace

BOOL GetThreadPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size) {
    if (!count || !size || (flags & MUI_LANGUAGE_ID)) return FALSE; // only names are offered
    std::u16string language;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) {
            language = LanguageOf(value);
            break;
        }
    }
    if (language.empty()) language = u"en-US";
    // One name, its terminator and the terminator of the list.
    const ULONG needed = static_cast<ULONG>(language.size() + 2);
    if (buffer) {
        if (*size < needed) {
            *size = needed;
            return FALSE;
        }
        language.copy(buffer, language.size());
        buffer[language.size()] = 0;
        buffer[language.size() + 1] = 0;
    }
    *count = 1;
    *size = needed;
    return TRUE;
}

BOOL PathFileExistsW(LPCWSTR path) {
    if (!path) return FALSE;
    return FileExists(Utf16ToUtf8(path)) ? TRUE : FALSE;
}
