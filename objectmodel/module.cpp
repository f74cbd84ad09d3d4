#include "objectmodel/module.h"

#include <atomic>

#include "objectmodel/objectpool.h"

namespace {

std::atomic<LONG> g_ServerLocks{0};
std::atomic<HINSTANCE> g_Resources{nullptr};
std::atomic<HINSTANCE> g_Module{nullptr};

} // namespace

// The live objects are counted where their memory comes from, per thread (see objectpool.h).
LONG CModule::LiveObjects() { return ObjectPool::LiveObjects(); }

void CModule::LockServer(bool lock) {
    if (lock)
        g_ServerLocks.fetch_add(1);
    else
        g_ServerLocks.fetch_sub(1);
}

LONG CModule::LockCount() { return LiveObjects() + g_ServerLocks.load(); }

HINSTANCE CModule::ResourceInstance() {
    HINSTANCE r = g_Resources.load();
    return r ? r : ModuleInstance();
}
void CModule::SetResourceInstance(HINSTANCE instance) { g_Resources.store(instance); }
// Until the component's entry point records its own module, the texts are the program's.
HINSTANCE CModule::ModuleInstance() {
    HINSTANCE m = g_Module.load();
    return m ? m : static_cast<HINSTANCE>(GetModuleHandleW(nullptr));
}
void CModule::SetModuleInstance(HINSTANCE instance) { g_Module.store(instance); }
