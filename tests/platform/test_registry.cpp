// HKEY_CLASSES_ROOT as registration uses it: keys created with their ancestors, string
// values read back byte for byte, whole trees deleted, and ProgIDFromCLSID on top.
#include "helpers.h"

#include <string>

namespace {

using platformtest::KeyExists;
using platformtest::Narrow;
using platformtest::Text;
using platformtest::Wide;

const std::string kRoot = "TarvolinPlatformTest"; // everything these tests write; the fixture removes it

HKEY Create(const std::string& path, DWORD* disposition = nullptr, HKEY parent = HKEY_CLASSES_ROOT) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, Wide(path).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, disposition),
              ERROR_SUCCESS);
    return key;
}

// Writes the first characters of a text as a REG_SZ value, by default with its terminator.
LONG Set(HKEY key, const OLECHAR* name, const Text& value, DWORD count = ~0u) {
    const DWORD bytes = static_cast<DWORD>(count == ~0u ? value.size() + 1 : count) * sizeof(OLECHAR);
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
}

// A string value and its size in bytes; "(missing)" when it cannot be read.
std::string Get(HKEY key, const OLECHAR* name, DWORD* bytes = nullptr) {
    OLECHAR buffer[256] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR), type = REG_NONE;
    if (RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != ERROR_SUCCESS)
        return "(missing)";
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    if (bytes) *bytes = size;
    return Narrow(buffer);
}

class Registry : public ::testing::Test {
protected:
    void SetUp() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str()); }
    void TearDown() override {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str());
        EXPECT_FALSE(KeyExists(kRoot));
    }
};

TEST_F(Registry, KeysAreCreatedWithTheirAncestorsAndValuesReadBackAsWritten) {
    DWORD disposition = 0, size = 0;
    RegCloseKey(Create(kRoot + "\\a\\b\\c", &disposition));
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_TRUE(KeyExists(kRoot + "\\a\\b"));
    // Relative to an open key, and names compare without regard to case.
    HKEY a = Create(kRoot + "\\A", &disposition);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_OPENED_EXISTING_KEY));
    RegCloseKey(Create("B\\d", &disposition, a));
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_TRUE(KeyExists(kRoot + "\\a\\b\\D"));
    EXPECT_FALSE(KeyExists(kRoot + "\\a\\x"));

    ASSERT_EQ(Set(a, nullptr, OLESTR("C:\\dir\\tarvolin.dll")), ERROR_SUCCESS);
    ASSERT_EQ(Set(a, OLESTR("ThreadingModel"), OLESTR("Apartment")), ERROR_SUCCESS);
    ASSERT_EQ(Set(a, OLESTR("ThreadingModel"), OLESTR("Both")), ERROR_SUCCESS); // replaces
    EXPECT_EQ(Get(a, OLESTR("")), "C:\\dir\\tarvolin.dll"); // "" also names the default value
    EXPECT_EQ(Get(a, OLESTR("threadingmodel"), &size), "Both");
    EXPECT_EQ(size, 5 * sizeof(OLECHAR));
    EXPECT_EQ(Get(a, OLESTR("Missing")), "(missing)");
    // The size alone, and with ERROR_MORE_DATA when the buffer is short.
    OLECHAR small[2] = {};
    size = sizeof small;
    EXPECT_EQ(RegQueryValueExW(a, OLESTR("ThreadingModel"), nullptr, nullptr, reinterpret_cast<BYTE*>(small), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 5 * sizeof(OLECHAR));
    EXPECT_EQ(RegQueryValueExW(a, OLESTR("Missing"), nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
    RegCloseKey(a);
}

TEST_F(Registry, DeletingKeysAndTrees) {
    HKEY inproc = Create(kRoot + "\\CLSID\\{X}\\InprocServer32");
    ASSERT_EQ(Set(inproc, nullptr, OLESTR("module")), ERROR_SUCCESS);
    RegCloseKey(Create(kRoot + "\\CLSID\\{Y}"));
    // RegDeleteKeyW takes only a key without subkeys.
    const Text x = Wide(kRoot + "\\CLSID\\{X}"), y = Wide(kRoot + "\\CLSID\\{Y}");
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, x.c_str()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, y.c_str()), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, y.c_str()), ERROR_FILE_NOT_FOUND);
    RegCloseKey(Create(kRoot + "\\CLSID\\{Y}"));
    // RegDeleteTreeW takes everything below, whatever the case of the name; the handle of
    // a deleted key fails and writes nothing back.
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot + "\\CLSID\\{x}").c_str()), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID\\{X}"));
    EXPECT_TRUE(KeyExists(kRoot + "\\CLSID\\{Y}")); // a sibling stays
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, x.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Set(inproc, nullptr, OLESTR("after")), ERROR_KEY_DELETED);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(inproc, nullptr, nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(inproc), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID\\{X}\\InprocServer32"));
    // Without a subkey, the key stays but loses its subkeys and values.
    HKEY root = Create(kRoot);
    Set(root, nullptr, OLESTR("value"));
    EXPECT_EQ(RegDeleteTreeW(root, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(Get(root, nullptr), "(missing)");
    RegCloseKey(root);
    EXPECT_TRUE(KeyExists(kRoot));
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID"));

    // ProgIDFromCLSID reads the ProgID key of a registered class.
    const CLSID clsid = {0x6B4C1F52, 0x93A7, 0x4E0B, {0x9C, 0x1D, 0x2F, 0x7E, 0x8A, 0x5B, 0x3C, 0x41}};
    const std::string classKey = "CLSID\\{6B4C1F52-93A7-4E0B-9C1D-2F7E8A5B3C41}";
    LPOLESTR progId = reinterpret_cast<LPOLESTR>(1);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);
    HKEY key = Create(classKey + "\\ProgID");
    ASSERT_EQ(Set(key, nullptr, OLESTR("Tarvolin.Test.1")), ERROR_SUCCESS);
    RegCloseKey(key);
    ASSERT_EQ(ProgIDFromCLSID(clsid, &progId), S_OK);
    EXPECT_EQ(Narrow(progId), "Tarvolin.Test.1");
    CoTaskMemFree(progId);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(classKey).c_str()), ERROR_SUCCESS);
    EXPECT_EQ(ProgIDFromCLSID(clsid, &progId), REGDB_E_CLASSNOTREG);
    EXPECT_TRUE(KeyExists("CLSID"));
}

} // namespace
