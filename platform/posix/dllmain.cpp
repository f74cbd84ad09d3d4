// The entry code of a shared library, natively: what the Windows loader does for a DLL.
// Linked into a shared library (target tarvolin_dllmain), it calls that library's DllMain
// with DLL_PROCESS_ATTACH when the library is loaded and with DLL_PROCESS_DETACH when it is
// unloaded or the process ends.
#include "platform/posix/internal.h"

// The C++ runtime's list of functions to run at exit, or when the library that registered
// them is unloaded (the Itanium C++ ABI).
extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* library);
extern "C" void* __dso_handle;

// Nothing refers to this file from the library's own code: the target makes the linker take
// it by asking for this symbol.
extern "C" __attribute__((visibility("hidden"))) const int TarvolinDllEntry = 0;

namespace {

HMODULE g_Module = nullptr;
bool g_Attached = false;

void Detach(bool processEnding) {
    if (!g_Attached) return;
    g_Attached = false;
    DllMain(g_Module, DLL_PROCESS_DETACH, processEnding ? reinterpret_cast<LPVOID>(1) : nullptr);
}

// Two ways out, whichever comes first. When the library is unloaded, the destructor below
// runs first (a library's .fini_array runs before its exit functions), so DllMain sees
// DLL_PROCESS_DETACH with a null reserved value. When the process ends, exit functions run
// before any .fini_array, so the function registered here comes first. Either way DllMain
// runs before the static objects constructed before it attached are destroyed (their
// destructors were registered earlier), as the Windows C runtime does it.
void OnExitOrUnload(void*) { Detach(true); }

BOOL Attach() {
    if (!DllMain(g_Module, DLL_PROCESS_ATTACH, nullptr)) {
        // As on Windows: detached at once.
        DllMain(g_Module, DLL_PROCESS_DETACH, nullptr);
        return FALSE;
    }
    g_Attached = true;
    __cxa_atexit(OnExitOrUnload, nullptr, &__dso_handle);
    return TRUE;
}

// Loaded by LoadLibraryW, the library attaches when loading is complete. Loaded otherwise
// (with the program, or by dlopen itself), it attaches here, after the constructors of the
// library's own object files and of the static libraries linked before tarvolin_dllmain.
__attribute__((constructor)) void OnLoad() {
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&TarvolinDllEntry), &g_Module))
        return;
    if (!tarvolin_posix::DeferAttach(&Attach)) Attach();
}

__attribute__((destructor)) void OnUnload() { Detach(false); }

} // namespace
