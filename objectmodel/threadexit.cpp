#include "objectmodel/threadexit.h"

#include <atomic>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace {

void RunThreadEnd() noexcept { ObjectPool::ThreadEnded(); }

thread_local bool t_Armed = false;

// A thread-end slot of the system: a pthread key natively, a fiber-local storage index on
// Windows (whose callback runs at thread end whether or not the component receives thread
// notifications). Either is made on first use and deleted when the component is unloaded
// (or the process ends); from then on no thread is armed any more.
#ifdef _WIN32

// Deleting the index runs the callback on the deleting thread for every thread's value:
// the value names its thread, and only that thread's own state is touched.
void WINAPI OnThreadEnd(void* value) {
    if (static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(value)) == GetCurrentThreadId()) RunThreadEnd();
}

class Key {
public:
    Key() : m_nIndex(FlsAlloc(&OnThreadEnd)) {}
    ~Key() {
        if (m_nIndex == FLS_OUT_OF_INDEXES) return;
        g_Deleted.store(true);
        FlsFree(m_nIndex);
        m_nIndex = FLS_OUT_OF_INDEXES;
        if (t_Armed) RunThreadEnd();
    }
    bool Arm() {
        return m_nIndex != FLS_OUT_OF_INDEXES &&
               FlsSetValue(m_nIndex, reinterpret_cast<void*>(static_cast<ULONG_PTR>(GetCurrentThreadId())));
    }

    static std::atomic<bool> g_Deleted;

private:
    DWORD m_nIndex;
};

#else

void OnThreadEnd(void*) { RunThreadEnd(); }

class Key {
public:
    Key() { m_bValid = pthread_key_create(&m_Key, &OnThreadEnd) == 0; }
    ~Key() {
        if (!m_bValid) return;
        m_bValid = false;
        g_Deleted.store(true);
        pthread_key_delete(m_Key);
        // The unloading thread's own state goes now; other threads keep theirs.
        if (t_Armed) RunThreadEnd();
    }
    bool Arm() { return m_bValid && pthread_setspecific(m_Key, this) == 0; }

    static std::atomic<bool> g_Deleted;

private:
    pthread_key_t m_Key;
    bool m_bValid = false;
};

#endif

std::atomic<bool> Key::g_Deleted{false};

bool ArmThread() {
    if (Key::g_Deleted.load()) return false;
    static Key key;
    return key.Arm();
}

} // namespace

bool ThreadExit::Arm() noexcept {
    if (t_Armed) return true;
    try {
        t_Armed = ArmThread();
    } catch (...) {
        t_Armed = false;
    }
    return t_Armed;
}
