// The satellite resource library: a resource-only library with the component's string
// table in another language, found next to the component in a directory named after one
// of the user's preferred UI languages ("<dir>\de-DE\tarvolin.res.dll").
#pragma once

#include <vector>

#include "component/registrar.h"
#include "platform/platform.h"

// The thread's preferred UI language names with the user's and the system's fallbacks,
// in order of preference; asked once per process. Empty when the query fails.
const std::vector<OleString>& PreferredUILanguages();

// The satellite path for one language: drive, directory, language, "\", the module's
// file name without extension, ".res.dll". Empty when a part of the module path is
// longer than MAX_PATH characters or the path has no file name.
OleString SatellitePath(const OleString& modulePath, const OleString& language);

// Loads the first satellite that exists, over the languages in order, as an image
// resource for exclusive use (no code of it runs). Null when there is none.
HMODULE LoadSatelliteLibrary(const OleString& modulePath, const std::vector<OleString>& languages);

// The full path of a module's file, or empty.
OleString ModuleFilePath(HMODULE module);
