// What the files of the native platform layer share among themselves. Not Windows names:
// nothing outside platform/ includes this.
#pragma once

#include <string>

#include "platform/platform.h"

namespace tarvolin_posix {

// UTF-8 (file names) to UTF-16 and back; bytes that are not valid UTF-8 become U+FFFD.
std::u16string FromUtf8(const std::string& text);
std::string ToUtf8(const WCHAR* text);

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
