// Reading HKEY_CLASSES_ROOT (or the user's classes) back in tests, with the system's
// registry functions alone.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace registry_reader {

using OleText = std::basic_string<OLECHAR>;

inline OleText Wide(const std::string& s) { return OleText(s.begin(), s.end()); }

// The tests compare ASCII texts.
inline std::string Narrow(const OleText& s) { return std::string(s.begin(), s.end()); }

// A string value (the key's default value without a name): "(no key)" when the key is
// missing, "(no value)" when the value is missing or not a string.
inline std::string Value(const std::string& path, const char* name = nullptr, HKEY root = HKEY_CLASSES_ROOT) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, Wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "(no key)";
    OLECHAR buffer[1024] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR), type = 0;
    const LONG rc = RegQueryValueExW(key, name ? Wide(name).c_str() : nullptr, nullptr, &type,
                                     reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return rc != ERROR_SUCCESS || type != REG_SZ ? "(no value)" : Narrow(buffer);
}

inline bool KeyExists(const std::string& path, HKEY root = HKEY_CLASSES_ROOT) {
    return Value(path, nullptr, root) != "(no key)";
}

// The user's classes, HKEY_CURRENT_USER\Software\Classes, as paths below HKEY_CURRENT_USER.
inline std::string UserClasses(const std::string& path) { return "Software\\Classes\\" + path; }

// Everything below a key as text, one line per key (its path, names in the case the registry
// gives them) and one per value (name, type, bytes in hexadecimal), keys in the registry's
// order; "(no key)" when the key is missing. Two dumps are equal when the trees are.
inline std::string Dump(HKEY root, const std::string& path) {
    std::string out;
    std::vector<OleText> pending{Wide(path)};
    while (!pending.empty()) {
        const OleText current = pending.back();
        pending.pop_back();
        HKEY key = nullptr;
        if (RegOpenKeyExW(root, current.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            out += Narrow(current) + " (no key)\n";
            continue;
        }
        out += Narrow(current) + "\n";
        OLECHAR name[256];
        for (DWORD i = 0;; ++i) {
            DWORD length = 256, type = 0, size = 0;
            BYTE data[2048];
            size = sizeof data;
            if (RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) != ERROR_SUCCESS) break;
            out += "  " + Narrow(OleText(name, length)) + " " + std::to_string(type) + ":";
            for (DWORD b = 0; b < size; ++b) {
                char hex[3];
                std::snprintf(hex, sizeof hex, "%02x", data[b]);
                out += hex;
            }
            out += "\n";
        }
        std::vector<OleText> children;
        for (DWORD i = 0;; ++i) {
            DWORD length = 256;
            if (RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
            children.push_back(current + OLESTR("\\") + OleText(name, length));
        }
        RegCloseKey(key);
        pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    return out;
}

} // namespace registry_reader
