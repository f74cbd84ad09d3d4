// HKEY_CLASSES_ROOT as registration uses it: keys created with their ancestors, string
// values read back byte for byte, whole trees deleted, and ProgIDFromCLSID on top.
#include "helpers.h"

#include <string>

namespace {

using platformtest::Narrow;

// A path below the key that holds everything these tests write; the fixture removes it.
std::basic_string<OLECHAR> Key(const char* below) {
    std::basic_string<OLECHAR> path;
    for (const char* c = "TarvolinPlatformTest"; *c; ++c) path += static_cast<OLECHAR>(*c);
    for (const char* c = below; *c; ++c) path += static_cast<OLECHAR>(*c);
    return path;
}

LONG Create(const OLECHAR* path, HKEY* key, DWORD* disposition = nullptr) {
    return RegCreateKeyExW(HKEY_CLASSES_ROOT, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, key,
                           disposition);
}

bool Exists(const OLECHAR* path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

LONG SetString(HKEY key, const OLECHAR* name, const OLECHAR* value) {
    DWORD bytes = sizeof(OLECHAR);
    while (value[bytes / sizeof(OLECHAR) - 1]) bytes += sizeof(OLECHAR);
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value), bytes);
}

// Writes the first characters of a text as a REG_SZ value, without a terminator.
LONG SetChars(HKEY key, const OLECHAR* name, const OLECHAR* value, DWORD count) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value), count * sizeof(OLECHAR));
}

// Reads a string value; "(missing)" when the value cannot be read.
std::string GetString(HKEY key, const OLECHAR* name) {
    OLECHAR buffer[256] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR);
    DWORD type = REG_NONE;
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS)
        return "(missing)";
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    return Narrow(buffer);
}

class Registry : public ::testing::Test {
protected:
    void SetUp() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, Key("").c_str()); }
    void TearDown() override {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Key("").c_str());
        EXPECT_FALSE(Exists(Key("").c_str()));
    }
};

TEST_F(Registry, CreatingAKeyCreatesItsAncestors) {
    HKEY key = nullptr;
    DWORD disposition = 0;
    ASSERT_EQ(Create(Key("\\a\\b\\c").c_str(), &key, &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    RegCloseKey(key);
    EXPECT_TRUE(Exists(Key("\\a").c_str()));
    EXPECT_TRUE(Exists(Key("\\a\\b").c_str()));
    ASSERT_EQ(Create(Key("\\a\\b\\c").c_str(), &key, &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_OPENED_EXISTING_KEY));
    RegCloseKey(key);

    // Relative to an open key, and names compare without regard to case.
    HKEY a = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, Key("\\A").c_str(), 0, KEY_ALL_ACCESS, &a), ERROR_SUCCESS);
    ASSERT_EQ(RegCreateKeyExW(a, OLESTR("B\\d"), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, &disposition),
              ERROR_SUCCESS);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    RegCloseKey(key);
    RegCloseKey(a);
    EXPECT_TRUE(Exists(Key("\\a\\b\\D").c_str()));
    EXPECT_FALSE(Exists(Key("\\a\\x").c_str()));
    EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, Key("\\x\\y").c_str(), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, StringValuesReadBackAsWritten) {
    HKEY key = nullptr;
    ASSERT_EQ(Create(Key("\\InprocServer32").c_str(), &key), ERROR_SUCCESS);
    ASSERT_EQ(SetString(key, nullptr, OLESTR("C:\\dir\\tarvolin.dll")), ERROR_SUCCESS);
    ASSERT_EQ(SetString(key, OLESTR("ThreadingModel"), OLESTR("Apartment")), ERROR_SUCCESS);
    EXPECT_EQ(GetString(key, nullptr), "C:\\dir\\tarvolin.dll");
    EXPECT_EQ(GetString(key, OLESTR("")), "C:\\dir\\tarvolin.dll"); // "" also names the default value
    EXPECT_EQ(GetString(key, OLESTR("threadingmodel")), "Apartment");
    EXPECT_EQ(GetString(key, OLESTR("Missing")), "(missing)");
    ASSERT_EQ(SetString(key, OLESTR("ThreadingModel"), OLESTR("Both")), ERROR_SUCCESS); // replaces
    EXPECT_EQ(GetString(key, OLESTR("ThreadingModel")), "Both");

    // The size: asked for alone, reported with ERROR_MORE_DATA when the buffer is short.
    DWORD size = 0;
    DWORD type = REG_NONE;
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("ThreadingModel"), nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 5 * sizeof(OLECHAR));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    OLECHAR small[2] = {};
    size = sizeof small;
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("ThreadingModel"), nullptr, nullptr, reinterpret_cast<BYTE*>(small), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 5 * sizeof(OLECHAR));
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("Missing"), nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);

    // A string given without its terminator is stored with it when a NUL follows it in
    // memory, and without it otherwise.
    ASSERT_EQ(SetChars(key, OLESTR("Terminated"), OLESTR("abc"), 3), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("Terminated"), nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 4 * sizeof(OLECHAR));
    ASSERT_EQ(SetChars(key, OLESTR("Bare"), OLESTR("abcd"), 3), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(key, OLESTR("Bare"), nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 3 * sizeof(OLECHAR));
    RegCloseKey(key);
}

TEST_F(Registry, DeletingKeysAndTrees) {
    HKEY inproc = nullptr, key = nullptr;
    ASSERT_EQ(Create(Key("\\CLSID\\{X}\\InprocServer32").c_str(), &inproc), ERROR_SUCCESS);
    ASSERT_EQ(SetString(inproc, nullptr, OLESTR("module")), ERROR_SUCCESS);
    ASSERT_EQ(Create(Key("\\CLSID\\{Y}").c_str(), &key), ERROR_SUCCESS);
    RegCloseKey(key);
    // RegDeleteKeyW takes only a key without subkeys.
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, Key("\\CLSID\\{X}").c_str()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, Key("\\CLSID\\{Y}").c_str()), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, Key("\\CLSID\\{Y}").c_str()), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(Create(Key("\\CLSID\\{Y}").c_str(), &key), ERROR_SUCCESS);
    RegCloseKey(key);
    // RegDeleteTreeW takes everything below, whatever the case of the name; the handle of
    // a deleted key fails and writes nothing back.
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, Key("\\CLSID\\{x}").c_str()), ERROR_SUCCESS);
    EXPECT_FALSE(Exists(Key("\\CLSID\\{X}\\InprocServer32").c_str()));
    EXPECT_FALSE(Exists(Key("\\CLSID\\{X}").c_str()));
    EXPECT_TRUE(Exists(Key("\\CLSID\\{Y}").c_str())); // a sibling stays
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, Key("\\CLSID\\{X}").c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(SetString(inproc, nullptr, OLESTR("after")), ERROR_KEY_DELETED);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(inproc, nullptr, nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(inproc), ERROR_SUCCESS);
    EXPECT_FALSE(Exists(Key("\\CLSID\\{X}\\InprocServer32").c_str()));
    // Without a subkey, the key stays but loses its subkeys and values.
    HKEY root = nullptr;
    ASSERT_EQ(Create(Key("").c_str(), &root), ERROR_SUCCESS);
    SetString(root, nullptr, OLESTR("value"));
    EXPECT_EQ(RegDeleteTreeW(root, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(GetString(root, nullptr), "(missing)");
    RegCloseKey(root);
    EXPECT_TRUE(Exists(Key("").c_str()));
    EXPECT_FALSE(Exists(Key("\\CLSID").c_str()));
}

TEST_F(Registry, ProgIdOfARegisteredClass) {
    // {6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}, a class only this test registers and removes.
    const CLSID clsid = {0x6B4C1F52, 0x93A7, 0x4E0B, {0x9C, 0x1D, 0x2F, 0x7E, 0x8A, 0x5B, 0x3C, 0x41}};
    const OLECHAR* progIdKey = OLESTR("CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}\\ProgID");
    LPOLESTR progId = reinterpret_cast<LPOLESTR>(1);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);

    HKEY key = nullptr;
    ASSERT_EQ(Create(progIdKey, &key), ERROR_SUCCESS);
    ASSERT_EQ(SetString(key, nullptr, OLESTR("Tarvolin.Test.1")), ERROR_SUCCESS);
    RegCloseKey(key);
    ASSERT_EQ(ProgIDFromCLSID(clsid, &progId), S_OK);
    EXPECT_EQ(Narrow(progId), "Tarvolin.Test.1");
    CoTaskMemFree(progId);

    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, OLESTR("CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}")),
              ERROR_SUCCESS);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);
    EXPECT_TRUE(Exists(OLESTR("CLSID")));
}

} // namespace
