// Type libraries: the attributes of the project's generated library, and registration under
// HKEY_CLASSES_ROOT\TypeLib with a library of the tests' own (platformtest.idl).
#include "helpers.h"

#include "tarvolin_h.h"

#include <string>

namespace {

using platformtest::KeyExists;
using platformtest::Narrow;
using platformtest::PlatformPath;
using platformtest::Text;
using platformtest::Value;
using platformtest::Wide;

// {5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}, version 3.12, lcid 0x407, hidden: platformtest.idl.
const GUID kTestLibrary = {0x5C2E8F41, 0x7A93, 0x4B6D, {0x8E, 0x15, 0x3F, 0x9A, 0x0C, 0x7D, 0x2B, 0x68}};
const std::string kKey = "TypeLib\\{5C2E8F41-7A93-4B6D-8E15-3F9A0C7D2B68}";

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

TEST(TypeLibraries, AttributesAndWhatIsNoLibrary) {
    TLIBATTR attr = {};
    const Text tlb = PlatformPath(TEST_TLB_PATH);
    ASSERT_EQ(Load(tlb, &attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr.guid, LIBID_TARVOLINLib));
    EXPECT_EQ(attr.syskind, SYS_WIN64);
    EXPECT_EQ(attr.lcid, 0u); // no lcid attribute
    EXPECT_EQ(attr.wLibFlags, static_cast<WORD>(LIBFLAG_FHASDISKIMAGE));
    // A missing file, a registry script, a directory.
    for (const Text& none : {tlb + OLESTR(".missing"), PlatformPath(TEST_MODULE_RGS_PATH),
                             tlb.substr(0, tlb.find_last_of(OLESTR("/\\")))})
        EXPECT_EQ(Load(none, &attr), TYPE_E_CANTLOADLIBRARY) << Narrow(none.c_str());
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
    auto Register = [library](const Text& path) {
        return RegisterTypeLib(library, const_cast<LPOLESTR>(path.c_str()), nullptr);
    };
    auto Unregister = [](LCID lcid = 0x407, SYSKIND syskind = SYS_WIN64) {
        return UnRegisterTypeLib(kTestLibrary, 3, 12, lcid, syskind);
    };
    EXPECT_FALSE(Registered(3, 12, 0x407));
    EXPECT_EQ(Unregister(), E_INVALIDARG); // nothing registered

    ASSERT_EQ(Register(file), S_OK);
    // The version in hexadecimal, the locale in hexadecimal, the platform.
    const std::string version = kKey + "\\3.c", path = Narrow(file.c_str());
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

    // Unregistering takes only the platform and locale registered, and the library's key
    // goes with its last version.
    EXPECT_EQ(Unregister(0x407, SYS_WIN32), E_INVALIDARG);
    EXPECT_EQ(Unregister(0x409), E_INVALIDARG);
    EXPECT_EQ(Unregister(), S_OK);
    EXPECT_FALSE(KeyExists(kKey));
    EXPECT_FALSE(Registered(3, 12, 0x407));
    // A library whose file is gone cannot be unregistered.
    ASSERT_EQ(Register(file + OLESTR(".gone")), S_OK);
    EXPECT_EQ(Unregister(), TYPE_E_INVALIDSTATE);
    EXPECT_EQ(Value(version + "\\407\\win64"), path + ".gone");
    library->Release();
    RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kKey).c_str());
}

} // namespace
