// The module's class table and the class factory of Parser, its one creatable class.
#pragma once

#include "platform/platform.h"

// The class factory of Parser, created on first use and kept for the life of the module.
// The module's own reference does not keep the module loaded; every outside reference
// does, like a server lock.
IClassFactory* ParserClassFactory();
// Drops the module's references to its class factories when the module is unloaded.
void ReleaseClassFactories();

STDAPI DllCanUnloadNow(void);
STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* result);
STDAPI DllRegisterServer(void);
STDAPI DllUnregisterServer(void);
