// The one header that knows which operating system it is on. Everything else in the
// project includes this and uses the Windows names (BSTR, SysAllocString, OLESTR(...)).
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>
#include <olectl.h>
#include <shlwapi.h>
#else
#include "platform/posix/oletypes.h"
#endif
