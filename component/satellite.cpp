#include "component/satellite.h"

#include <new>

const std::vector<OleString>& PreferredUILanguages() {
    // A function-local static is initialised once, thread-safely.
    static const std::vector<OleString> languages = [] {
        std::vector<OleString> list;
        try {
            OLECHAR buffer[121];
            ULONG count = 0;
            ULONG size = sizeof buffer / sizeof buffer[0];
            if (!GetThreadPreferredUILanguages(MUI_LANGUAGE_NAME | MUI_MERGE_USER_FALLBACK | MUI_MERGE_SYSTEM_FALLBACK,
                                               &count, buffer, &size))
                return list;
            // Names each end in a NUL; the list ends with an empty name.
            for (ULONG i = 0; i < size && buffer[i];) {
                OleString name(buffer + i);
                i += static_cast<ULONG>(name.size()) + 1;
                list.push_back(std::move(name));
            }
        } catch (const std::bad_alloc&) {
            list.clear();
        }
        return list;
    }();
    return languages;
}

OleString SatellitePath(const OleString& modulePath, const OleString& language) {
    // Split as drive ("C:"), directory (up to the last separator), and file name up to
    // its last dot.
    size_t driveEnd = modulePath.size() >= 2 && modulePath[1] == ':' ? 2 : 0;
    size_t dirEnd = modulePath.find_last_of(OLESTR("\\/"));
    dirEnd = dirEnd == OleString::npos || dirEnd < driveEnd ? driveEnd : dirEnd + 1;
    OleString name = modulePath.substr(dirEnd);
    const size_t dot = name.find_last_of('.');
    if (dot != OleString::npos) name.resize(dot);
    if (name.empty() || language.empty()) return OleString();
    if (driveEnd > MAX_PATH || dirEnd - driveEnd > MAX_PATH || name.size() > MAX_PATH) return OleString();
    return modulePath.substr(0, dirEnd) + language + OLESTR("\\") + name + OLESTR(".res.dll");
}

HMODULE LoadSatelliteLibrary(const OleString& modulePath, const std::vector<OleString>& languages) {
    try {
        for (const OleString& language : languages) {
            const OleString path = SatellitePath(modulePath, language);
            if (path.empty() || !PathFileExistsW(path.c_str())) continue;
            return LoadLibraryExW(path.c_str(), nullptr,
                                  LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE);
        }
    } catch (const std::bad_alloc&) {
    }
    return nullptr;
}

OleString ModuleFilePath(HMODULE module) {
    try {
        for (DWORD size = MAX_PATH + 1; size <= 32768 * 2; size *= 2) {
            OleString path(size, 0);
            const DWORD n = GetModuleFileNameW(module, &path[0], size);
            if (n == 0) return OleString();
            if (n < size) {
                path.resize(n);
                return path;
            }
            // Truncated: try a larger buffer.
        }
    } catch (const std::bad_alloc&) {
    }
    return OleString();
}
