// Helpers of the platform tests. The tests use only Windows names, so that the same
// programs check the native stand-in here and the real system functions under Windows.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace platformtest {

using Text = std::basic_string<OLECHAR>;

// 16-bit text as 8-bit text: each character below 0x100 as that byte, any other as '#'.
inline std::string Narrow(const OLECHAR* text, size_t length) {
    std::string s;
    for (size_t i = 0; i < length; ++i) s += text[i] < 0x100 ? static_cast<char>(text[i]) : '#';
    return s;
}

inline std::string Narrow(const OLECHAR* text) {
    size_t n = 0;
    while (text && text[n]) ++n;
    return Narrow(text, n);
}

inline Text Wide(const std::string& text) { return Text(text.begin(), text.end()); }

// A file of the build tree (a Unix path) as this program names it: as it is natively, and on
// drive Z: in Windows form under Wine, whose programs have Windows paths.
inline Text PlatformPath(const char* path) {
    OLECHAR self[MAX_PATH] = {};
    const bool windows = GetModuleFileNameW(nullptr, self, MAX_PATH) && self[0] != '/';
    Text out = windows && path[0] == '/' ? OLESTR("Z:") : OLESTR("");
    for (const char* c = path; *c; ++c) out += static_cast<OLECHAR>(windows && *c == '/' ? '\\' : *c);
    return out;
}

inline std::vector<unsigned char> FileBytes(const Text& path) {
    std::ifstream in(Narrow(path.c_str()), std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The default value of a key of HKEY_CLASSES_ROOT: "(no key)" when the key is missing,
// "(no value)" when the value is.
inline std::string Value(const std::string& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, Wide(path).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return "(no key)";
    OLECHAR buffer[MAX_PATH * 2] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR);
    const LONG rc = RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return rc == ERROR_SUCCESS ? Narrow(buffer) : "(no value)";
}

inline bool KeyExists(const std::string& path) { return Value(path) != "(no key)"; }

// The references an object holds, read through the counts AddRef and Release return.
inline ULONG Refs(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

// An object whose references the tests count: a new error object, held once.
inline IUnknown* NewObject() {
    ICreateErrorInfo* object = nullptr;
    EXPECT_EQ(CreateErrorInfo(&object), S_OK);
    return object;
}

} // namespace platformtest
