// Type libraries: the attributes of the project's generated library, read from its file and
// from a module's resources, and registration under HKEY_CLASSES_ROOT\TypeLib with a library
// of the tests' own (platformtest.idl).
#include "helpers.h"

#include "tarvolin_h.h"

#include <string>

namespace {

using platformtest::KeyExists;
using platformtest::Narrow;
using platformtest::PlatformPath;
using platformtest::Text;
using platformtest::Wide;

// {5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}, version 3.12, lcid 0x407, hidden: platformtest.idl.
const GUID kTestLibrary = {0x5C2E8F41, 0x7A93, 0x4B6D, {0x8E, 0x15, 0x3F, 0x9A, 0x0C, 0x7D, 0x2B, 0x68}};
const std::string kKey = "TypeLib\\{5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}";

// The default value of a key of HKEY_CLASSES_ROOT; "(missing)" without key or value.
std::string Value(const std::string& key) {
    HKEY k = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, Wide(key).c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return "(missing)";
    OLECHAR buffer[MAX_PATH * 2] = {};
    DWORD size = sizeof buffer - sizeof(OLECHAR);
    const LONG rc = RegQueryValueExW(k, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(k);
    return rc == ERROR_SUCCESS ? Narrow(buffer) : "(missing)";
}

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

TEST(TypeLibraries, FromAFileAndFromAModule) {
    TLIBATTR file = {}, module = {};
    ASSERT_EQ(Load(PlatformPath(TEST_TLB_PATH), &file), S_OK);
    EXPECT_TRUE(IsEqualGUID(file.guid, LIBID_TARVOLINLib));
    EXPECT_EQ(file.syskind, SYS_WIN64);
    EXPECT_EQ(file.lcid, 0u); // no lcid attribute
    EXPECT_EQ(file.wLibFlags, static_cast<WORD>(LIBFLAG_FHASDISKIMAGE));
    // A module holds its library as resource 1; the program has none.
    HMODULE library = LoadLibraryW(PlatformPath(TEST_MODULE_PATH).c_str());
    ASSERT_NE(library, nullptr);
    OLECHAR path[MAX_PATH * 4] = {};
    ASSERT_NE(GetModuleFileNameW(library, path, MAX_PATH * 4), 0u);
    ASSERT_EQ(Load(path, &module), S_OK);
    FreeLibrary(library);
    EXPECT_TRUE(IsEqualGUID(module.guid, file.guid));
    EXPECT_EQ(module.wMajorVerNum, file.wMajorVerNum);
    EXPECT_EQ(module.wMinorVerNum, file.wMinorVerNum);
    ASSERT_NE(GetModuleFileNameW(nullptr, path, MAX_PATH * 4), 0u);
    // Nor is a missing file, a registry script, or a directory a library.
    const Text tlb = PlatformPath(TEST_TLB_PATH);
    for (const Text& none :
         {Text(path), tlb + OLESTR(".missing"), PlatformPath(TEST_MODULE_RGS_PATH), tlb.substr(0, tlb.find_last_of(OLESTR("/\\")))})
        EXPECT_EQ(Load(none, &module), TYPE_E_CANTLOADLIBRARY) << Narrow(none.c_str());
}

// Registration of the tests' own library, which nothing else registers; the fixture removes
// whatever is left of it.
class Registration : public ::testing::Test {
protected:
    void SetUp() override {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kKey).c_str());
        ASSERT_EQ(Load(m_Path, &m_Attr, &m_pLibrary), S_OK);
    }
    void TearDown() override {
        if (m_pLibrary) m_pLibrary->Release();
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kKey).c_str());
        EXPECT_FALSE(KeyExists(kKey));
    }
    HRESULT Register(const Text& path, const OLECHAR* helpDir = nullptr) {
        return RegisterTypeLib(m_pLibrary, const_cast<LPOLESTR>(path.c_str()), const_cast<LPOLESTR>(helpDir));
    }
    HRESULT Unregister(LCID lcid = 0x407, SYSKIND syskind = SYS_WIN64) {
        return UnRegisterTypeLib(kTestLibrary, 3, 12, lcid, syskind);
    }
    // Whether LoadRegTypeLib finds a registration: on Windows it loads the library, natively
    // it fails for want of type information; a failure leaves no library.
    static bool Registered(WORD major, WORD minor, LCID lcid) {
        ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
        const HRESULT hr = LoadRegTypeLib(kTestLibrary, major, minor, lcid, &library);
        if (library) library->Release();
        EXPECT_TRUE(hr == S_OK || (!library && (hr == TYPE_E_CANTLOADLIBRARY || hr == TYPE_E_LIBNOTREGISTERED)));
        return hr != TYPE_E_LIBNOTREGISTERED;
    }
    const Text m_Path = PlatformPath(TEST_PLATFORM_TLB_PATH);
    ITypeLib* m_pLibrary = nullptr;
    TLIBATTR m_Attr = {};
};

TEST_F(Registration, KeysOfAVersionLocaleAndPlatform) {
    EXPECT_TRUE(IsEqualGUID(m_Attr.guid, kTestLibrary));
    EXPECT_EQ(m_Attr.wMajorVerNum, 3);
    EXPECT_EQ(m_Attr.wMinorVerNum, 12);
    EXPECT_EQ(m_Attr.lcid, 0x407u);
    EXPECT_EQ(m_Attr.wLibFlags, static_cast<WORD>(LIBFLAG_FHIDDEN | LIBFLAG_FHASDISKIMAGE));
    BSTR name = nullptr;
    ASSERT_EQ(m_pLibrary->GetDocumentation(-1, &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(Narrow(name), "PlatformTestLib");
    SysFreeString(name);
    EXPECT_FALSE(Registered(3, 12, 0x407));

    ASSERT_EQ(Register(m_Path), S_OK);
    // The version in hexadecimal, the locale in hexadecimal, the platform.
    const std::string version = kKey + "\\3.c", path = Narrow(m_Path.c_str());
    EXPECT_EQ(Value(version), "Platform test library");
    EXPECT_EQ(Value(version + "\\407\\win64"), path);
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

    // Registering again replaces the path; a help directory given replaces the old one,
    // none given leaves it.
    ASSERT_EQ(Register(m_Path, OLESTR("help")), S_OK);
    ASSERT_EQ(Register(m_Path), S_OK);
    EXPECT_EQ(Value(version + "\\HELPDIR"), "help");
}

TEST_F(Registration, UnregisteringTakesTheVersionAndThenTheLibrary) {
    EXPECT_EQ(Unregister(), E_INVALIDARG); // nothing registered
    ASSERT_EQ(Register(m_Path), S_OK);
    EXPECT_EQ(Unregister(0x407, SYS_WIN32), E_INVALIDARG); // another platform
    EXPECT_EQ(Unregister(0x409), E_INVALIDARG);            // another locale
    EXPECT_EQ(Value(kKey + "\\3.c\\407\\win64"), Narrow(m_Path.c_str()));

    // Another version stays, and so does the library's key; the last version takes it along.
    HKEY other = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, Wide(kKey + "\\9.0").c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &other, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(other);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_FALSE(KeyExists(kKey + "\\3.c"));
    EXPECT_TRUE(KeyExists(kKey + "\\9.0"));
    EXPECT_FALSE(Registered(3, 12, 0x407));
    ASSERT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, Wide(kKey + "\\9.0").c_str()), ERROR_SUCCESS);
    ASSERT_EQ(Register(m_Path), S_OK);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_FALSE(KeyExists(kKey));

    // A library whose file is gone cannot be unregistered.
    const Text gone = m_Path + OLESTR(".gone");
    ASSERT_EQ(Register(gone), S_OK);
    EXPECT_EQ(Unregister(), TYPE_E_INVALIDSTATE);
    EXPECT_EQ(Value(kKey + "\\3.c\\407\\win64"), Narrow(gone.c_str()));
}

} // namespace
