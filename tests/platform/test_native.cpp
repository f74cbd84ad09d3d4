// What only the native layer promises (this file is not part of the Windows build): a type
// library damaged anywhere loads or fails without a read outside the file, a module's
// resources go when it is unloaded, and there is no loader for Windows images.
#include "helpers.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using platformtest::FileBytes;
using platformtest::PlatformPath;

const char* const kDamaged = "damaged.tlb";

// Loads a library from the given bytes; on success the attributes and the documentation
// are read as well, since those are what the header is parsed for.
HRESULT Load(const std::vector<unsigned char>& bytes, TLIBATTR* attributes = nullptr) {
    std::ofstream(kDamaged, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ITypeLib* library = reinterpret_cast<ITypeLib*>(1);
    const HRESULT hr = LoadTypeLibEx(OLESTR("damaged.tlb"), REGKIND_NONE, &library);
    if (FAILED(hr)) {
        EXPECT_EQ(library, nullptr);
        EXPECT_EQ(hr, TYPE_E_CANTLOADLIBRARY);
        return hr;
    }
    TLIBATTR* attr = nullptr;
    BSTR text[3] = {};
    EXPECT_EQ(library->GetLibAttr(&attr), S_OK);
    if (attr && attributes) *attributes = *attr;
    library->ReleaseTLibAttr(attr);
    EXPECT_EQ(library->GetDocumentation(-1, &text[0], &text[1], nullptr, &text[2]), S_OK);
    for (BSTR s : text) SysFreeString(s);
    library->Release();
    return hr;
}

TEST(DamagedLibraries, CutFilesAndWildOffsetsFailOrLoad) {
    const std::vector<unsigned char> whole = FileBytes(PlatformPath(TEST_TLB_PATH));
    TLIBATTR expected = {};
    ASSERT_GT(whole.size(), 0x300u);
    ASSERT_EQ(Load(whole, &expected), S_OK);
    // Every length through the header and the segment directory, then in steps: a cut
    // file that loads reads the same attributes.
    for (size_t length = 0; length < whole.size(); length += length < 1024 ? 1 : 61) {
        TLIBATTR attr = {};
        if (Load(std::vector<unsigned char>(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)),
                 &attr) == S_OK) {
            EXPECT_TRUE(IsEqualGUID(attr.guid, expected.guid)) << length;
            EXPECT_EQ(attr.wMajorVerNum, expected.wMajorVerNum) << length;
        }
    }
    // Wild values in the 21 header fields and the 15 segment entries of 4 fields after
    // the type info offsets.
    const uint32_t size = static_cast<uint32_t>(whole.size());
    const uint32_t typeInfos = whole[0x20] | (whole[0x21] << 8) | (whole[0x22] << 16);
    for (size_t i = 0; i < 81; ++i) {
        for (uint32_t value : {0u, 1u, 0xFFFFFFFFu, 0xFFFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFu, size, size - 1,
                               size + 1}) {
            std::vector<unsigned char> bytes = whole;
            const size_t at = i < 21 ? 4 * i : 0x54 + 4 * typeInfos + 4 * (i - 21);
            for (int b = 0; b < 4; ++b) bytes[at + b] = static_cast<unsigned char>(value >> (8 * b));
            Load(bytes);
        }
    }
    std::remove(kDamaged);
}

TEST(NativeModules, ResourcesGoWithTheirModuleAndWindowsImagesDoNotLoad) {
    const std::basic_string<OLECHAR> path = PlatformPath(TEST_MODULE_PATH);
    HMODULE module = LoadLibraryW(path.c_str());
    ASSERT_NE(module, nullptr);
    EXPECT_NE(FindResourceW(module, MAKEINTRESOURCEW(101), OLESTR("REGISTRY")), nullptr);
    ASSERT_TRUE(FreeLibrary(module));
    ASSERT_EQ(GetModuleHandleW(path.c_str()), nullptr);
    // The handle names nothing now: none of the library's resources is found under it.
    SetLastError(0);
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(101), OLESTR("REGISTRY")), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_DATA_NOT_FOUND));
    char buffer[32];
    EXPECT_EQ(LoadStringA(module, 100, buffer, sizeof buffer), 0);

    // A resource-only library cannot be read natively; the caller keeps its own resources.
    EXPECT_EQ(LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE),
              nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_SUPPORTED));
    EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(UserTypeLibraries, GoBelowTheUsersClassesAndAreFoundBeforeTheMachines) {
    const GUID& libid = platformtest::kTestLibrary;
    const std::u16string key = platformtest::Wide(platformtest::kTestLibraryKey);
    const std::u16string file = PlatformPath(TEST_PLATFORM_TLB_PATH), elsewhere = file + u".machine";
    ITypeLib* library = nullptr;
    ASSERT_EQ(LoadTypeLibEx(file.c_str(), REGKIND_NONE, &library), S_OK);
    ASSERT_EQ(RegisterTypeLib(library, const_cast<LPOLESTR>(elsewhere.c_str()), nullptr), S_OK);
    EXPECT_EQ(UnRegisterTypeLibForUser(libid, 3, 12, 0x407, SYS_WIN64), E_INVALIDARG); // the machine's only
    ASSERT_EQ(RegisterTypeLibForUser(library, const_cast<LPOLESTR>(file.c_str()), nullptr), S_OK);
    HKEY user = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, (u"Software\\Classes\\" + key + u"\\3.c\\407\\win64").c_str(), 0,
                            KEY_READ, &user),
              ERROR_SUCCESS);
    RegCloseKey(user);
    BSTR found = nullptr;
    ASSERT_EQ(QueryPathOfRegTypeLib(libid, 3, 12, 0x407, &found), S_OK);
    EXPECT_EQ(std::u16string(found), file);
    SysFreeString(found);

    // Gone for the user, the machine's registration is what is found again.
    EXPECT_EQ(UnRegisterTypeLibForUser(libid, 3, 12, 0x407, SYS_WIN64), S_OK);
    ASSERT_EQ(QueryPathOfRegTypeLib(libid, 3, 12, 0x407, &found), S_OK);
    EXPECT_EQ(std::u16string(found), elsewhere);
    SysFreeString(found);
    library->Release();
    RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
}

} // namespace
