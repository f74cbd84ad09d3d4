// A small shared library for the platform tests: its DllMain records what it was told, and
// its export tells the tests what the library sees from inside. Built twice: once as is, and
// once (TESTMODULE_REFUSE_ATTACH) with a DllMain that refuses to attach.
#include "testmodule.h"

namespace {

TestModuleState g_State = {};

// A static object with a destructor, to tell whether DllMain detaches before the library's
// static objects are destroyed.
struct Alive {
    bool alive = true;
    ~Alive() { alive = false; }
} g_Static;

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        g_State.attached = module;
        ++g_State.attaches;
        g_State.attachReserved = reserved;
        g_State.staticsAtAttach = TestStaticsConstructed();
#ifdef TESTMODULE_REFUSE_ATTACH
        return FALSE;
#endif
    } else if (reason == DLL_PROCESS_DETACH && g_State.watch) {
        ++g_State.watch->detaches;
        g_State.watch->reserved = reserved;
        g_State.watch->staticsAlive = g_Static.alive;
    }
    return TRUE;
}

extern "C" TestModuleState* TestState() {
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&TestState), &g_State.self);
    return &g_State;
}
