// What the platform tests' shared library tells about itself.
#pragma once

#include "platform/platform.h"

// Whether the static object of teststatics.cpp has been constructed.
bool TestStaticsConstructed();

// Filled in when DllMain gets DLL_PROCESS_DETACH.
struct DetachWatch {
    LONG detaches;
    LPVOID reserved;
    bool staticsAlive; // whether the library's static objects still existed
};

// The exports, by name, and their types.
// TestModuleHandle: the module that holds the library's code, asked from inside.
typedef HMODULE (*TestModuleHandleFunction)();
// TestAttach: the module DllMain got with DLL_PROCESS_ATTACH, how often, its reserved value,
// and whether the library's static objects had all been constructed by then.
typedef HMODULE (*TestAttachFunction)(LONG* attaches, LPVOID* reserved, bool* staticsConstructed);
// TestWatchDetach: where DllMain reports DLL_PROCESS_DETACH.
typedef void (*TestWatchDetachFunction)(DetachWatch* watch);
