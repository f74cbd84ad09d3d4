#include "objectmodel/module.h"

#include <atomic>

namespace {

std::atomic<LONG> g_Objects{0};
std::atomic<LONG> g_ServerLocks{0};
std::atomic<HINSTANCE> g_Resources{nullptr};
std::atomic<HINSTANCE> g_Module{nullptr};

} // namespace

void CModule::ObjectCreated() { g_Objects.fetch_add(1); }
void CModule::ObjectDestroyed() { g_Objects.fetch_sub(1); }
LONG CModule::LiveObjects() { return g_Objects.load(); }

void CModule::LockServer(bool lock) {
    if (lock)
        g_ServerLocks.fetch_add(1);
    else
        g_ServerLocks.fetch_sub(1);
}

LONG CModule::LockCount() { return g_Objects.load() + g_ServerLocks.load(); }

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
