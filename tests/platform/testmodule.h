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

struct TestModuleState {
    HMODULE self;          // the module that holds the library's code, asked from inside
    HMODULE attached;      // the module DllMain got with DLL_PROCESS_ATTACH,
    LONG attaches;         // how often,
    LPVOID attachReserved; // its reserved value,
    bool staticsAtAttach;  // and whether the library's static objects had all been constructed
    DetachWatch* watch;    // where DllMain reports DLL_PROCESS_DETACH
};

// The library's one export, TestState.
typedef TestModuleState* (*TestStateFunction)();
