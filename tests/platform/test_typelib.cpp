// Type libraries: the attributes of the project's generated library, read from its file and
// from a module's resources, and registration under HKEY_CLASSES_ROOT\TypeLib with a library
// of the tests' own (platformtest.idl).
#include "helpers.h"

#include "tarvolin_h.h"

#include <string>

namespace {

using platformtest::GuidText;
using platformtest::Narrow;
using platformtest::PlatformPath;

// {5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}, version 3.12, lcid 0x407, hidden: platformtest.idl.
const GUID kTestLibrary = {0x5C2E8F41, 0x7A93, 0x4B6D, {0x8E, 0x15, 0x3F, 0x9A, 0x0C, 0x7D, 0x2B, 0x68}};
const char* const kTestLibraryKey = "TypeLib\\{5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}";

std::basic_string<OLECHAR> Wide(const std::string& text) {
    return std::basic_string<OLECHAR>(text.begin(), text.end());
}

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

bool Exists(const std::string& key) {
    HKEY k = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, Wide(key).c_str(), 0, KEY_READ, &k) != ERROR_SUCCESS) return false;
    RegCloseKey(k);
    return true;
}

TLIBATTR AttributesOf(ITypeLib* library) {
    TLIBATTR* attr = nullptr;
    TLIBATTR copy = {};
    EXPECT_EQ(library->GetLibAttr(&attr), S_OK);
    if (attr) copy = *attr;
    library->ReleaseTLibAttr(attr);
    return copy;
}

TEST(TypeLibraries, TheProjectsLibrarySaysWhatItsIdlSays) {
    ITypeLib* library = nullptr;
    ASSERT_EQ(LoadTypeLibEx(PlatformPath(TEST_TLB_PATH).c_str(), REGKIND_NONE, &library), S_OK);
    const TLIBATTR attr = AttributesOf(library);
    EXPECT_EQ(GuidText(attr.guid), GuidText(LIBID_TARVOLINLib));
    EXPECT_EQ(attr.wMajorVerNum, TEST_TLB_MAJOR);
    EXPECT_EQ(attr.wMinorVerNum, TEST_TLB_MINOR);
    EXPECT_EQ(attr.syskind, SYS_WIN64);
    EXPECT_EQ(attr.lcid, 0u); // no lcid attribute
    EXPECT_EQ(attr.wLibFlags, static_cast<WORD>(LIBFLAG_FHASDISKIMAGE));
    BSTR name = nullptr;
    BSTR doc = nullptr;
    ASSERT_EQ(library->GetDocumentation(-1, &name, &doc, nullptr, nullptr), S_OK);
    EXPECT_EQ(Narrow(name), TEST_TLB_NAME);
    EXPECT_EQ(Narrow(doc), TEST_TLB_HELPSTRING);
    SysFreeString(name);
    SysFreeString(doc);
    library->Release();
}

TEST(TypeLibraries, AModuleHoldsItsLibraryAsResourceOne) {
    HMODULE module = LoadLibraryW(PlatformPath(TEST_MODULE_PATH).c_str());
    ASSERT_NE(module, nullptr);
    OLECHAR path[MAX_PATH * 4] = {};
    ASSERT_NE(GetModuleFileNameW(module, path, MAX_PATH * 4), 0u);
    ITypeLib* library = nullptr;
    ASSERT_EQ(LoadTypeLibEx(path, REGKIND_NONE, &library), S_OK);
    const TLIBATTR attr = AttributesOf(library);
    EXPECT_EQ(GuidText(attr.guid), GuidText(LIBID_TARVOLINLib));
    EXPECT_EQ(attr.wMajorVerNum, TEST_TLB_MAJOR);
    library->Release();
    FreeLibrary(module);

    // The program has no type library.
    ASSERT_NE(GetModuleFileNameW(nullptr, path, MAX_PATH * 4), 0u);
    library = reinterpret_cast<ITypeLib*>(1);
    EXPECT_EQ(LoadTypeLibEx(path, REGKIND_NONE, &library), TYPE_E_CANTLOADLIBRARY);
    EXPECT_EQ(library, nullptr);
}

TEST(TypeLibraries, WhatIsNoLibraryDoesNotLoad) {
    const std::basic_string<OLECHAR> tlb = PlatformPath(TEST_TLB_PATH);
    const std::basic_string<OLECHAR> directory = tlb.substr(0, tlb.find_last_of(OLESTR("/\\")));
    for (const std::basic_string<OLECHAR>& path :
         {tlb + OLESTR(".missing"), PlatformPath(TEST_MODULE_RGS_PATH), directory}) {
        ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
        EXPECT_EQ(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library), TYPE_E_CANTLOADLIBRARY) << Narrow(path.c_str());
        EXPECT_EQ(library, nullptr);
    }
}

// Registration of the tests' own library, which nothing else registers; the fixture removes
// whatever is left of it.
class Registration : public ::testing::Test {
protected:
    void SetUp() override {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kTestLibraryKey).c_str());
        m_Path = PlatformPath(TEST_PLATFORM_TLB_PATH);
        ASSERT_EQ(LoadTypeLibEx(m_Path.c_str(), REGKIND_NONE, &m_pLibrary), S_OK);
    }
    void TearDown() override {
        if (m_pLibrary) m_pLibrary->Release();
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kTestLibraryKey).c_str());
        EXPECT_FALSE(Exists(kTestLibraryKey));
    }
    HRESULT Register(const OLECHAR* path, const OLECHAR* helpDir = nullptr) {
        return RegisterTypeLib(m_pLibrary, const_cast<LPOLESTR>(path), const_cast<LPOLESTR>(helpDir));
    }
    // What LoadRegTypeLib makes of a request: "loads" (Windows), "registered" (natively,
    // where a registered library has no type information to load), or "not registered".
    static std::string Lookup(WORD major, WORD minor, LCID lcid) {
        ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
        const HRESULT hr = LoadRegTypeLib(kTestLibrary, major, minor, lcid, &library);
        const bool none = library == nullptr;
        if (library) library->Release();
        if (hr == S_OK) return "loads";
        if (!none) return "failed and left a library";
        if (hr == TYPE_E_CANTLOADLIBRARY) return "registered";
        if (hr == TYPE_E_LIBNOTREGISTERED) return "not registered";
        return "error " + std::to_string(hr);
    }
    std::basic_string<OLECHAR> m_Path;
    ITypeLib* m_pLibrary = nullptr;
};

TEST_F(Registration, KeysOfAVersionLocaleAndPlatform) {
    const TLIBATTR attr = AttributesOf(m_pLibrary);
    EXPECT_EQ(GuidText(attr.guid), GuidText(kTestLibrary));
    EXPECT_EQ(attr.wMajorVerNum, 3);
    EXPECT_EQ(attr.wMinorVerNum, 12);
    EXPECT_EQ(attr.lcid, 0x407u);
    EXPECT_EQ(attr.syskind, SYS_WIN64);
    EXPECT_EQ(attr.wLibFlags, static_cast<WORD>(LIBFLAG_FHIDDEN | LIBFLAG_FHASDISKIMAGE));
    EXPECT_EQ(Lookup(3, 12, 0x407), "not registered");

    ASSERT_EQ(Register(m_Path.c_str()), S_OK);
    // The version in hexadecimal, the locale in hexadecimal, the platform.
    const std::string version = std::string(kTestLibraryKey) + "\\3.c";
    EXPECT_EQ(Value(version), "Platform test library");
    EXPECT_EQ(Value(version + "\\407\\win64"), Narrow(m_Path.c_str()));
    // The flags in decimal. (Windows leaves LIBFLAG_FHASDISKIMAGE out, Wine keeps it.)
    const std::string flags = Value(version + "\\FLAGS");
    EXPECT_TRUE(flags == "4" || flags == "12") << flags;
    const std::string path = Narrow(m_Path.c_str());
    EXPECT_EQ(Value(version + "\\HELPDIR"), path.substr(0, path.find_last_of("/\\")));

    // The same major version with an equal or higher minor, in the same locale or its
    // language; nothing else.
    EXPECT_NE(Lookup(3, 12, 0x407), "not registered");
    EXPECT_EQ(Lookup(3, 12, 0x407), Lookup(3, 0, 0x407));
    EXPECT_EQ(Lookup(3, 13, 0x407), "not registered");
    EXPECT_EQ(Lookup(4, 0, 0x407), "not registered");
    EXPECT_EQ(Lookup(3, 12, 0x409), "not registered");
    EXPECT_EQ(Lookup(3, 12, 0), "not registered");
    BSTR found = nullptr;
    ASSERT_EQ(QueryPathOfRegTypeLib(kTestLibrary, 3, 5, 0x407, &found), S_OK);
    EXPECT_EQ(Narrow(found), path);
    SysFreeString(found);

    // Registering again replaces the path; a help directory given replaces the old one,
    // none given leaves it.
    ASSERT_EQ(Register(m_Path.c_str(), OLESTR("help")), S_OK);
    EXPECT_EQ(Value(version + "\\HELPDIR"), "help");
    ASSERT_EQ(Register(m_Path.c_str()), S_OK);
    EXPECT_EQ(Value(version + "\\HELPDIR"), "help");
}

TEST_F(Registration, UnregisteringTakesTheVersionAndThenTheLibrary) {
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x407, SYS_WIN64), E_INVALIDARG); // nothing registered
    ASSERT_EQ(Register(m_Path.c_str()), S_OK);
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x407, SYS_WIN32), E_INVALIDARG); // another platform
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x409, SYS_WIN64), E_INVALIDARG); // another locale
    EXPECT_EQ(Value(std::string(kTestLibraryKey) + "\\3.c\\407\\win64"), Narrow(m_Path.c_str()));

    // Another version stays, and so does the library's key.
    HKEY other = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, Wide(std::string(kTestLibraryKey) + "\\9.0").c_str(), 0, nullptr,
                              REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &other, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(other);
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x407, SYS_WIN64), S_OK);
    EXPECT_FALSE(Exists(std::string(kTestLibraryKey) + "\\3.c"));
    EXPECT_TRUE(Exists(std::string(kTestLibraryKey) + "\\9.0"));
    EXPECT_EQ(Lookup(3, 12, 0x407), "not registered");

    // The last version takes the library's key with it.
    ASSERT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, Wide(std::string(kTestLibraryKey) + "\\9.0").c_str()), ERROR_SUCCESS);
    ASSERT_EQ(Register(m_Path.c_str()), S_OK);
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x407, SYS_WIN64), S_OK);
    EXPECT_FALSE(Exists(kTestLibraryKey));
}

TEST_F(Registration, ALibraryWhoseFileIsGoneCannotBeUnregistered) {
    const std::basic_string<OLECHAR> gone = m_Path + OLESTR(".gone");
    ASSERT_EQ(Register(gone.c_str()), S_OK);
    EXPECT_EQ(UnRegisterTypeLib(kTestLibrary, 3, 12, 0x407, SYS_WIN64), TYPE_E_INVALIDSTATE);
    EXPECT_EQ(Value(std::string(kTestLibraryKey) + "\\3.c\\407\\win64"), Narrow(gone.c_str()));
}

} // namespace
