// HKEY_CLASSES_ROOT as registration uses it: keys created with their ancestors, string
// values read back byte for byte, whole trees deleted (ProgIDFromCLSID on top is checked
// through the registered component, tests/component); type
// libraries, the project's and one of the tests' own (platformtest.idl) registered and removed.
#include "helpers.h"

#include "tarvolin_h.h"

#include <string>

namespace {

using platformtest::CreateKey;
using platformtest::KeyExists;
using platformtest::Narrow;
using platformtest::PlatformPath;
using platformtest::SetString;
using platformtest::Text;
using platformtest::Value;
using platformtest::Wide;

const std::string kRoot = "TarvolinPlatformTest"; // everything these tests write; the fixture removes it

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
    RegCloseKey(CreateKey(kRoot + "\\a\\b\\c", HKEY_CLASSES_ROOT, &disposition));
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_TRUE(KeyExists(kRoot + "\\a\\b"));
    // Relative to an open key, and names compare without regard to case.
    HKEY a = CreateKey(kRoot + "\\A", HKEY_CLASSES_ROOT, &disposition);
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_OPENED_EXISTING_KEY));
    RegCloseKey(CreateKey("B\\d", a, &disposition));
    EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
    EXPECT_TRUE(KeyExists(kRoot + "\\a\\b\\D"));
    EXPECT_FALSE(KeyExists(kRoot + "\\a\\x"));

    ASSERT_EQ(SetString(a, nullptr, OLESTR("C:\\dir\\tarvolin.dll")), ERROR_SUCCESS);
    ASSERT_EQ(SetString(a, OLESTR("ThreadingModel"), OLESTR("Apartment")), ERROR_SUCCESS);
    ASSERT_EQ(SetString(a, OLESTR("ThreadingModel"), OLESTR("Both")), ERROR_SUCCESS); // replaces
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
    HKEY inproc = CreateKey(kRoot + "\\CLSID\\{X}\\InprocServer32");
    ASSERT_EQ(SetString(inproc, nullptr, OLESTR("module")), ERROR_SUCCESS);
    RegCloseKey(CreateKey(kRoot + "\\CLSID\\{Y}"));
    // RegDeleteKeyW takes only a key without subkeys.
    const Text x = Wide(kRoot + "\\CLSID\\{X}"), y = Wide(kRoot + "\\CLSID\\{Y}");
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, x.c_str()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, y.c_str()), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, y.c_str()), ERROR_FILE_NOT_FOUND);
    RegCloseKey(CreateKey(kRoot + "\\CLSID\\{Y}"));
    // RegDeleteTreeW takes everything below, whatever the case of the name; the handle of
    // a deleted key fails and writes nothing back.
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot + "\\CLSID\\{x}").c_str()), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID\\{X}"));
    EXPECT_TRUE(KeyExists(kRoot + "\\CLSID\\{Y}")); // a sibling stays
    EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, x.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(SetString(inproc, nullptr, OLESTR("after")), ERROR_KEY_DELETED);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(inproc, nullptr, nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(inproc), ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID\\{X}\\InprocServer32"));
    // Without a subkey, the key stays but loses its subkeys and values.
    HKEY root = CreateKey(kRoot);
    SetString(root, nullptr, OLESTR("value"));
    EXPECT_EQ(RegDeleteTreeW(root, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(Get(root, nullptr), "(missing)");
    RegCloseKey(root);
    EXPECT_TRUE(KeyExists(kRoot));
    EXPECT_FALSE(KeyExists(kRoot + "\\CLSID"));
}

TEST_F(Registry, ValuesAreListedAndDeleted) {
    HKEY key = CreateKey(kRoot + "\\Values");
    ASSERT_EQ(SetString(key, nullptr, OLESTR("default")), ERROR_SUCCESS);
    ASSERT_EQ(SetString(key, OLESTR("ThreadingModel"), OLESTR("Both")), ERROR_SUCCESS);
    // Every value once, named in the case it was written with, with its type and bytes.
    std::string listed;
    for (DWORD i = 0;; ++i) {
        OLECHAR name[64];
        BYTE data[64];
        DWORD length = 64, size = sizeof data, type = REG_NONE;
        const LONG rc = RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size);
        if (rc == ERROR_NO_MORE_ITEMS) break;
        ASSERT_EQ(rc, ERROR_SUCCESS);
        listed += "[" + Narrow(name) + "=" + Narrow(reinterpret_cast<OLECHAR*>(data)) + "/" + std::to_string(size) +
                  "/" + std::to_string(type) + "]";
    }
    EXPECT_TRUE(listed == "[=default/16/1][ThreadingModel=Both/10/1]" ||
                listed == "[ThreadingModel=Both/10/1][=default/16/1]")
        << listed;
    EXPECT_EQ(RegDeleteValueW(key, OLESTR("threadingmodel")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, OLESTR("ThreadingModel")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Get(key, OLESTR("ThreadingModel")), "(missing)");
    EXPECT_EQ(Get(key, nullptr), "default");
    RegCloseKey(key);
}

using platformtest::kTestLibrary;
const std::string& kKey = platformtest::kTestLibraryKey;
// The platform that the build's type libraries describe, its registry key, and the other one.
const bool k64 = sizeof(void*) == 8;
const SYSKIND kPlatform = k64 ? SYS_WIN64 : SYS_WIN32, kOtherPlatform = k64 ? SYS_WIN32 : SYS_WIN64;
const std::string kPlatformKey = k64 ? "win64" : "win32";

// Loads a library file; on success its attributes, else the HRESULT, which leaves no library.
HRESULT Load(const Text& path, TLIBATTR* attributes, ITypeLib** keep = nullptr) {
    ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
    const HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
    if (FAILED(hr)) {
        EXPECT_EQ(library, nullptr);
        return hr;
    }
    TLIBATTR* attr = nullptr;
    EXPECT_EQ(library->GetLibAttr(&attr), S_OK);
    if (attr) *attributes = *attr;
    library->ReleaseTLibAttr(attr);
    if (keep) *keep = library;
    else library->Release();
    return hr;
}

// Whether LoadRegTypeLib finds a registration of the tests' library: on Windows it loads
// the library, natively it fails for want of type information; a failure leaves no library.
bool Registered(WORD major, WORD minor, LCID lcid) {
    ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
    const HRESULT hr = LoadRegTypeLib(kTestLibrary, major, minor, lcid, &library);
    if (library) library->Release();
    EXPECT_TRUE(hr == S_OK || (!library && (hr == TYPE_E_CANTLOADLIBRARY || hr == TYPE_E_LIBNOTREGISTERED)));
    return hr != TYPE_E_LIBNOTREGISTERED;
}

TEST(TypeLibraries, RegistrationKeysAndTheirRemoval) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kKey).c_str());
    const Text file = PlatformPath(TEST_PLATFORM_TLB_PATH);
    ITypeLib* library = nullptr;
    TLIBATTR attr = {};
    ASSERT_EQ(Load(file, &attr, &library), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr.guid, kTestLibrary));
    EXPECT_EQ(attr.wMajorVerNum * 100 + attr.wMinorVerNum, 312);
    EXPECT_EQ(attr.lcid, 0x407u);
    EXPECT_EQ(attr.wLibFlags, static_cast<WORD>(LIBFLAG_FHIDDEN | LIBFLAG_FHASDISKIMAGE));
    // A missing file, a registry script, a directory.
    for (const Text& none : {file + OLESTR(".missing"), PlatformPath(TEST_MODULE_RGS_PATH),
                             file.substr(0, file.find_last_of(OLESTR("/\\")))})
        EXPECT_EQ(Load(none, &attr), TYPE_E_CANTLOADLIBRARY) << Narrow(none.c_str());
    auto Register = [library](const Text& path) {
        return RegisterTypeLib(library, const_cast<LPOLESTR>(path.c_str()), nullptr);
    };
    auto Unregister = [](LCID lcid = 0x407, SYSKIND syskind = kPlatform) {
        return UnRegisterTypeLib(kTestLibrary, 3, 12, lcid, syskind);
    };
    EXPECT_FALSE(Registered(3, 12, 0x407));
    EXPECT_EQ(Unregister(), E_INVALIDARG); // nothing registered

    ASSERT_EQ(Register(file), S_OK);
    // The version in hexadecimal, the locale in hexadecimal, the platform.
    const std::string version = kKey + "\\3.c", path = Narrow(file.c_str());
    EXPECT_EQ(Value(version), "Platform test library");
    EXPECT_EQ(Value(version + "\\407\\" + kPlatformKey), path);
    // The flags in decimal. (Windows leaves LIBFLAG_FHASDISKIMAGE out, Wine keeps it.)
    const std::string flags = Value(version + "\\FLAGS");
    EXPECT_TRUE(flags == "4" || flags == "12") << flags;
    EXPECT_EQ(Value(version + "\\HELPDIR"), path.substr(0, path.find_last_of("/\\")));
    // The same major version with an equal or higher minor, in the same locale; nothing else.
    EXPECT_TRUE(Registered(3, 12, 0x407) && Registered(3, 0, 0x407));
    EXPECT_FALSE(Registered(3, 13, 0x407) || Registered(4, 0, 0x407) || Registered(3, 12, 0x409) ||
                 Registered(3, 12, 0));
    BSTR found = nullptr;
    ASSERT_EQ(QueryPathOfRegTypeLib(kTestLibrary, 3, 5, 0x407, &found), S_OK);
    EXPECT_EQ(Narrow(found), path);
    SysFreeString(found);

    // Unregistering takes only the platform and locale registered, and the library's key
    // goes with its last version.
    EXPECT_EQ(Unregister(0x407, kOtherPlatform), E_INVALIDARG);
    EXPECT_EQ(Unregister(0x409), E_INVALIDARG);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_FALSE(KeyExists(kKey));
    EXPECT_FALSE(Registered(3, 12, 0x407));
    // A library whose file is gone cannot be unregistered.
    ASSERT_EQ(Register(file + OLESTR(".gone")), S_OK);
    EXPECT_EQ(Unregister(), TYPE_E_INVALIDSTATE);
    EXPECT_EQ(Value(version + "\\407\\" + kPlatformKey), path + ".gone");
    library->Release();
    RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kKey).c_str());
}

} // namespace
