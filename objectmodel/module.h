// Module-wide state shared by every object of the component: the count of live objects
// and server locks (which decides unloading and is the tests' leak oracle), and the
// module whose string table texts are loaded from.
#pragma once

#include "platform/platform.h"

class CModule {
public:
    // Every object counts from its allocation to its free (ObjectPool::AllocateObject).
    static LONG LiveObjects();

    // IClassFactory::LockServer.
    static void LockServer(bool lock);
    // Live objects plus server locks: zero means the module may be unloaded.
    static LONG LockCount();

    // Where LoadResourceText reads string tables from: the satellite resource library
    // when one was found at load, otherwise the component itself.
    static HINSTANCE ResourceInstance();
    static void SetResourceInstance(HINSTANCE instance);
    static HINSTANCE ModuleInstance();
    static void SetModuleInstance(HINSTANCE instance);
};
