// The lookup of thread-local variables in the Windows build. MinGW's GCC has no native TLS:
// every access to a thread_local variable calls __emutls_get_address, whose runtime version
// finds the thread's variables through pthread_getspecific, and the POSIX-thread library
// serves that with a spin lock and two calls that save and restore the last error. The
// object pool and the live-object count read their per-thread state for every object, so
// that lookup took over a quarter of ParseSQL's time under Wine. This file replaces the
// runtime's version (the linker takes it instead of the one in libgcc) and keeps everything
// else of it:
//
// - Each variable gets a number on its first access, under a lock, once for all threads.
// - A thread's variables are listed in one array, created on the thread's first access and
//   grown as variables are numbered; each variable is allocated on first use, as a copy of
//   its initial value, and freed with the array when the thread ends.
// - The array is registered with a pthread key whose destructor frees it, exactly when the
//   runtime's version would free it. Beside the key, the array's address is kept in a
//   slot of the system's TLS (TlsAlloc), read straight from the thread's environment
//   block: an access that finds its variable there costs a few loads.
#include <windows.h>
#include <winternl.h>

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// What the compiler emits for each thread_local variable.
struct EmutlsObject {
    uintptr_t size;
    uintptr_t align;
    uintptr_t number;    // 0 until the first access
    const void* initial; // null for a variable that starts as zeros
};

namespace {

struct ThreadVariables {
    uintptr_t size;     // entries of variables
    void* variables[1]; // [size], each variable's address or null
};

pthread_once_t g_Once = PTHREAD_ONCE_INIT;
pthread_mutex_t g_Lock = PTHREAD_MUTEX_INITIALIZER;
pthread_key_t g_Key;
uintptr_t g_Numbered = 0;
// The system TLS slot of the arrays; TLS_OUT_OF_INDEXES when there is none (all taken, or
// given back when the module is unloaded): the key is read then.
DWORD g_Slot = TLS_OUT_OF_INDEXES;

// The value of one of the first 64 system TLS slots of the calling thread, which live in
// its environment block (reached through the gs or fs segment).
void* EnvironmentBlockSlot(DWORD slot) {
    const uintptr_t at = offsetof(TEB, TlsSlots) + slot * sizeof(void*);
    void* value;
#if defined(__x86_64__)
    __asm__ volatile("movq %%gs:(%1), %0" : "=r"(value) : "r"(at));
#else
    __asm__ volatile("movl %%fs:(%1), %0" : "=r"(value) : "r"(at));
#endif
    return value;
}

ThreadVariables* ReadSlot() {
    const DWORD slot = __atomic_load_n(&g_Slot, __ATOMIC_ACQUIRE);
    if (slot < TLS_MINIMUM_AVAILABLE) return static_cast<ThreadVariables*>(EnvironmentBlockSlot(slot));
    return static_cast<ThreadVariables*>(pthread_getspecific(g_Key));
}

void WriteSlots(ThreadVariables* variables) {
    pthread_setspecific(g_Key, variables);
    const DWORD slot = __atomic_load_n(&g_Slot, __ATOMIC_ACQUIRE);
    if (slot != TLS_OUT_OF_INDEXES) {
        const DWORD error = GetLastError();
        TlsSetValue(slot, variables);
        SetLastError(error);
    }
}

// Each variable block keeps what malloc gave just before it, so that an aligned block can
// be freed.
void FreeVariable(void* variable) {
    std::free(static_cast<void**>(variable)[-1]);
}

// The key's destructor: the thread ends.
void FreeThreadVariables(void* value) {
    auto* variables = static_cast<ThreadVariables*>(value);
    for (uintptr_t i = 0; i < variables->size; ++i)
        if (variables->variables[i]) FreeVariable(variables->variables[i]);
    std::free(variables);
    const DWORD slot = __atomic_load_n(&g_Slot, __ATOMIC_ACQUIRE);
    if (slot != TLS_OUT_OF_INDEXES) TlsSetValue(slot, nullptr);
}

void Initialise() {
    if (pthread_key_create(&g_Key, &FreeThreadVariables) != 0) std::abort();
    __atomic_store_n(&g_Slot, TlsAlloc(), __ATOMIC_RELEASE);
}

// The slot goes back to the system when the module is unloaded, so that loading and
// unloading the component does not use up the process's slots; accesses made later in the
// unload (destructors of other statics) read the key.
struct SlotRelease {
    ~SlotRelease() {
        const DWORD slot = __atomic_exchange_n(&g_Slot, TLS_OUT_OF_INDEXES, __ATOMIC_ACQ_REL);
        if (slot != TLS_OUT_OF_INDEXES) TlsFree(slot);
    }
} g_SlotRelease;

[[gnu::noinline]] uintptr_t Number(EmutlsObject* object) {
    pthread_once(&g_Once, &Initialise);
    pthread_mutex_lock(&g_Lock);
    uintptr_t number = object->number;
    if (number == 0) {
        number = ++g_Numbered;
        __atomic_store_n(&object->number, number, __ATOMIC_RELEASE);
    }
    pthread_mutex_unlock(&g_Lock);
    return number;
}

void* NewVariable(const EmutlsObject* object) {
    const uintptr_t align = object->align > sizeof(void*) ? object->align : sizeof(void*);
    void* raw = std::malloc(object->size + sizeof(void*) + align - 1);
    if (!raw) std::abort(); // as the runtime's version: a variable cannot be missing
    auto* variable = reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(raw) + sizeof(void*) + align - 1) &
                                             ~(align - 1));
    static_cast<void**>(variable)[-1] = raw;
    if (object->initial)
        std::memcpy(variable, object->initial, object->size);
    else
        std::memset(variable, 0, object->size);
    return variable;
}

// The thread has no array yet, or one too short, or not this variable yet.
[[gnu::noinline]] void* SlowAddress(EmutlsObject* object, uintptr_t number) {
    auto* variables = static_cast<ThreadVariables*>(pthread_getspecific(g_Key));
    if (!variables || number > variables->size) {
        const uintptr_t old = variables ? variables->size : 0;
        uintptr_t size = old * 2;
        if (size < number) size = number + 32;
        const size_t bytes = sizeof(ThreadVariables) + (size - 1) * sizeof(void*);
        auto* grown = static_cast<ThreadVariables*>(std::realloc(variables, bytes));
        if (!grown) std::abort();
        std::memset(grown->variables + old, 0, (size - old) * sizeof(void*));
        grown->size = size;
        variables = grown;
        WriteSlots(variables);
    } else if (ReadSlot() != variables) {
        WriteSlots(variables); // the slot was cleared while the key kept the array
    }
    void*& variable = variables->variables[number - 1];
    if (!variable) variable = NewVariable(object);
    return variable;
}

} // namespace

extern "C" void* __emutls_get_address(EmutlsObject* object) {
    uintptr_t number = __atomic_load_n(&object->number, __ATOMIC_ACQUIRE);
    if (__builtin_expect(number == 0, 0)) number = Number(object);
    if (ThreadVariables* variables = ReadSlot(); __builtin_expect(variables && number <= variables->size, 1))
        if (void* variable = variables->variables[number - 1]; __builtin_expect(variable != nullptr, 1))
            return variable;
    return SlowAddress(object, number);
}

// For variables defined in several translation units as common symbols: the largest size
// and alignment win, and an initial value only of the largest size.
extern "C" void __emutls_register_common(EmutlsObject* object, uintptr_t size, uintptr_t align,
                                         const void* initial) {
    if (object->size < size) {
        object->size = size;
        object->initial = nullptr;
    }
    if (object->align < align) object->align = align;
    if (initial && size == object->size) object->initial = initial;
}
