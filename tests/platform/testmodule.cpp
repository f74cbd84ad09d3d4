// A small shared library for the platform tests: its DllMain records what it was told, and
// its exports tell the tests what the library sees from inside. Built twice: once as is, and
// once (TESTMODULE_REFUSE_ATTACH) with a DllMain that refuses to attach.
#include "testmodule.h"

namespace {

HMODULE g_Attached = nullptr;
LONG g_Attaches = 0;
LPVOID g_AttachReserved = nullptr;
bool g_StaticsAtAttach = false;
DetachWatch* g_Watch = nullptr;

// A static object with a destructor, to tell whether DllMain detaches before the library's
// static objects are destroyed.
struct Alive {
    bool alive = true;
    ~Alive() { alive = false; }
} g_Static;

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        g_Attached = module;
        ++g_Attaches;
        g_AttachReserved = reserved;
        g_StaticsAtAttach = TestStaticsConstructed();
#ifdef TESTMODULE_REFUSE_ATTACH
        return FALSE;
#endif
    } else if (reason == DLL_PROCESS_DETACH && g_Watch) {
        ++g_Watch->detaches;
        g_Watch->reserved = reserved;
        g_Watch->staticsAlive = g_Static.alive;
    }
    return TRUE;
}

extern "C" HMODULE TestModuleHandle() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&TestModuleHandle), &module);
    return module;
}

extern "C" HMODULE TestAttach(LONG* attaches, LPVOID* reserved, bool* staticsConstructed) {
    *attaches = g_Attaches;
    *reserved = g_AttachReserved;
    *staticsConstructed = g_StaticsAtAttach;
    return g_Attached;
}

extern "C" void TestWatchDetach(DetachWatch* watch) { g_Watch = watch; }
