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
// Per-user type-library registration is in oleaut32 (and its MinGW import library) since
// Windows Vista, but MinGW's oleauto.h does not declare it.
EXTERN_C HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* fullPath, OLECHAR* helpDir);
EXTERN_C HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind);
#else
#include "platform/posix/oletypes.h"
#endif
