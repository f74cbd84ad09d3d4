// Helpers of the tests of every layer: texts and BSTRs, registry keys and values, a parse
// and the thread's error object. They use only Windows names, so that the same programs
// check the native stand-in here and the real system functions under Windows.
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

// 8-bit text as 16-bit text, each byte the character of that number (Latin-1).
inline Text Wide(const std::string& text) {
    Text out;
    for (unsigned char c : text)
        out += static_cast<OLECHAR>(c);
    return out;
}

// A BSTR as 8-bit text, every character its length counts (embedded NULs included).
inline std::string FromBstr(BSTR text) {
    return Narrow(text, SysStringLen(text));
}

// A new BSTR of 8-bit text, each byte one character.
inline BSTR NewBstr(const std::string& text) {
    return SysAllocStringLen(Wide(text).data(), static_cast<UINT>(text.size()));
}

// Hands 8-bit text to a parser's ParseSQL (any object with that method).
template <class Parser> HRESULT ParseText(Parser* parser, const std::string& sql) {
    BSTR text = NewBstr(sql);
    const HRESULT hr = parser->ParseSQL(text);
    SysFreeString(text);
    return hr;
}

// Takes the thread's error object: its description, and with details "|source|guid" (a
// null source as "<null>", the guid as "null" or "guid"); "<none>" when there is none.
inline std::string TakeError(bool details = false) {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return "<none>";
    BSTR text = reinterpret_cast<BSTR>(1), source = nullptr; // overwritten, not freed
    GUID guid = {};
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    info->GetSource(&source);
    info->GetGUID(&guid);
    std::string s = FromBstr(text);
    if (details)
        s += "|" + (source ? FromBstr(source) : "<null>") + "|" +
             (IsEqualGUID(guid, GUID_NULL) ? "null" : "guid");
    SysFreeString(text);
    SysFreeString(source);
    info->Release();
    return s;
}

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

// The tests' own type library (platformtest.idl): version 3.12, lcid 0x407, hidden.
const GUID kTestLibrary = {0x5C2E8F41, 0x7A93, 0x4B6D, {0x8E, 0x15, 0x3F, 0x9A, 0x0C, 0x7D, 0x2B, 0x68}};
const std::string kTestLibraryKey = "TypeLib\\{5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}";

// A string value of a key (the default value without a name): "(no key)" when the key is
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

// Opens or creates a key with its ancestors; null when that fails.
inline HKEY CreateKey(const std::string& path, HKEY parent = HKEY_CLASSES_ROOT, DWORD* disposition = nullptr,
                      DWORD options = 0) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, Wide(path).c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key,
                              disposition),
              ERROR_SUCCESS)
        << path;
    return key;
}

inline LONG SetString(HKEY key, const OLECHAR* name, const Text& value) {
    const DWORD bytes = static_cast<DWORD>(value.size() + 1) * sizeof(OLECHAR);
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
}

// Sets a string value of a key of HKEY_CLASSES_ROOT, creating the key.
inline void SetString(const std::string& path, const char* name, const std::string& value) {
    HKEY key = CreateKey(path);
    EXPECT_EQ(SetString(key, name ? Wide(name).c_str() : nullptr, Wide(value)), ERROR_SUCCESS) << path;
    RegCloseKey(key);
}

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
