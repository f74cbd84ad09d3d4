// A static object of the platform tests' shared library that the linker places after the
// library's entry code (a static library linked after tarvolin_dllmain).
#include "testmodule.h"

namespace {

bool Construct() { return true; }

const bool g_Constructed = Construct(); // constructed when the library is loaded

} // namespace

bool TestStaticsConstructed() { return g_Constructed; }
