// What the files of the native platform layer share among themselves. Not Windows names:
// nothing outside platform/ includes this.
#pragma once

#include <string>

#include "platform/platform.h"
#include "platform/utf.h"

namespace tarvolin_posix {

// A path made absolute against the current directory.
std::string AbsolutePath(const std::string& path);

// The loaded module whose file is the given one (compared as files, so another spelling of
// the path matches too); null when no loaded module has that file.
HMODULE ModuleOfFile(const std::string& path);

// Called by the entry code of tarvolin_dllmain while its library is being loaded. True when
// LoadLibraryExW is loading it on this thread: LoadLibraryExW then runs `attach` itself once
// the loading is complete (every constructor of the library has run) and fails the load
// when it returns FALSE. False otherwise: the caller runs it at once.
bool DeferAttach(BOOL (*attach)());

} // namespace tarvolin_posix
