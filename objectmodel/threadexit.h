// The end of a thread, for the per-thread state of the object model: the object pool gives
// the thread's free blocks back to the heap and frees the thread's slot of the live-object
// count. The work runs from the system's thread-end callback of a pthread key (natively) or
// a fiber-local storage index (on Windows), deleted when the component is unloaded: a
// thread_local object with a destructor would keep a loaded component in memory until
// every thread that used it had ended. Threads still running at the unload keep their
// blocks and slots.
#pragma once

namespace ThreadExit {

// Makes sure that the thread-end work runs when the calling thread ends. False when it
// cannot be arranged (no memory, or the component is being unloaded); the caller then keeps
// no per-thread state.
bool Arm() noexcept;

} // namespace ThreadExit

// The work itself, defined by the object pool.
namespace ObjectPool {
void ThreadEnded() noexcept;
}
