// Reading HKEY_CLASSES_ROOT (or the user's classes) back in tests, with the system's
// registry functions alone (tests/platform/helpers.h reads single values).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "tests/platform/helpers.h"

namespace registry_reader {

using OleText = std::basic_string<OLECHAR>;
using platformtest::KeyExists;
using platformtest::Narrow;
using platformtest::Value;
using platformtest::Wide;

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
            out += Narrow(current.c_str()) + " (no key)\n";
            continue;
        }
        out += Narrow(current.c_str()) + "\n";
        OLECHAR name[256];
        for (DWORD i = 0;; ++i) {
            DWORD length = 256, type = 0, size = 0;
            BYTE data[2048];
            size = sizeof data;
            if (RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) != ERROR_SUCCESS) break;
            out += "  " + Narrow(name, length) + " " + std::to_string(type) + ":";
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
