// Reading HKEY_CLASSES_ROOT back in tests, with the system's registry functions alone.
#pragma once

#include <string>

#include "platform/platform.h"

namespace registry_reader {

using OleText = std::basic_string<OLECHAR>;

inline OleText Wide(const std::string& s) { return OleText(s.begin(), s.end()); }

// The tests compare ASCII texts.
inline std::string Narrow(const OleText& s) { return std::string(s.begin(), s.end()); }

// A string value (the key's default value without a name): "(no key)" when the key is
// missing, "(no value)" when the value is missing or not a string.
inline std::string Value(const std::string& path, const char* name = nullptr) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, Wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "(no key)";
    OLECHAR buffer[1024] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR), type = 0;
    const LONG rc = RegQueryValueExW(key, name ? Wide(name).c_str() : nullptr, nullptr, &type,
                                     reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return rc != ERROR_SUCCESS || type != REG_SZ ? "(no value)" : Narrow(buffer);
}

inline bool KeyExists(const std::string& path) { return Value(path) != "(no key)"; }

} // namespace registry_reader
