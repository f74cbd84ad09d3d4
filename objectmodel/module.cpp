#include "objectmodel/module.h"

#include <atomic>
#include <cstddef>

#include "objectmodel/threadexit.h"

namespace {

// The live-object count is kept per thread: a statement creates and releases its objects
// by the thousand, and a locked increment for each of them costs more than the object
// itself. A thread takes one of a fixed set of slots on its first object and adds to it
// with plain loads and stores (only the owner writes its slot); when it ends, its count
// moves to g_Retired and the slot is free again. Threads that find no free slot count in
// g_Retired directly. The live count is g_Retired plus every slot.
constexpr size_t kSlots = 64;

struct alignas(64) Slot {
    std::atomic<LONG> count{0};
    std::atomic<bool> taken{false};
};

Slot g_Slots[kSlots];
std::atomic<LONG> g_Retired{0};
std::atomic<LONG> g_ServerLocks{0};
std::atomic<HINSTANCE> g_Resources{nullptr};
std::atomic<HINSTANCE> g_Module{nullptr};

// The calling thread's slot; trivially initialised, so reaching it costs no check.
struct ThreadSlot {
    Slot* slot;
    bool tried; // a slot was looked for; a thread that ends gets none again
};

thread_local ThreadSlot t_Slot{};

Slot* TakeSlot() {
    t_Slot.tried = true;
    for (Slot& s : g_Slots) {
        bool expected = false;
        if (s.taken.load(std::memory_order_relaxed) || !s.taken.compare_exchange_strong(expected, true)) continue;
        if (!ThreadExit::Arm()) {
            s.taken.store(false); // the slot could not be handed back: count in g_Retired
            return nullptr;
        }
        t_Slot.slot = &s;
        return &s;
    }
    return nullptr;
}

void Add(LONG delta) {
    Slot* slot = t_Slot.slot;
    if (!slot && !t_Slot.tried) slot = TakeSlot();
    if (slot)
        slot->count.store(slot->count.load(std::memory_order_relaxed) + delta, std::memory_order_relaxed);
    else
        g_Retired.fetch_add(delta);
}

LONG Objects() {
    // Slots first, then g_Retired (see SlotRelease).
    LONG n = 0;
    for (const Slot& s : g_Slots) n += s.count.load();
    return n + g_Retired.load();
}

} // namespace

// The thread's count moves to g_Retired and its slot is free again. First into g_Retired,
// then out of the slot: a concurrent reader may count the objects twice for a moment, but
// never misses them.
void ModuleThreadEnded() noexcept {
    Slot* slot = t_Slot.slot;
    if (!slot) return;
    g_Retired.fetch_add(slot->count.load());
    slot->count.store(0);
    t_Slot.slot = nullptr;
    slot->taken.store(false);
}

void CModule::ObjectCreated() { Add(1); }
void CModule::ObjectDestroyed() { Add(-1); }
LONG CModule::LiveObjects() { return Objects(); }

void CModule::LockServer(bool lock) {
    if (lock)
        g_ServerLocks.fetch_add(1);
    else
        g_ServerLocks.fetch_sub(1);
}

LONG CModule::LockCount() { return Objects() + g_ServerLocks.load(); }

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
