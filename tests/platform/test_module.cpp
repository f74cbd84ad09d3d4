// Module services: GUIDs in registry form and the system interfaces' IIDs, the program's
// string table, its file name, and the preferred UI languages.
#include "helpers.h"

namespace {

using platformtest::GuidText;
using platformtest::Narrow;

TEST(Guids, RegistryFormIsUpperCaseInBraces) {
    const GUID guid = {0x0A1B2C3D, 0x4E5F, 0x6A7B, {0x8C, 0x9D, 0xAE, 0xBF, 0xC0, 0xD1, 0xE2, 0xF3}};
    OLECHAR text[39];
    EXPECT_EQ(StringFromGUID2(guid, text, 39), 39);
    EXPECT_EQ(Narrow(text), "{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}");
    EXPECT_EQ(StringFromGUID2(guid, text, 38), 0); // no room for the terminator

    LPOLESTR allocated = nullptr;
    ASSERT_EQ(StringFromCLSID(guid, &allocated), S_OK);
    EXPECT_EQ(Narrow(allocated), "{0A1B2C3D-4E5F-6A7B-8C9D-AEBFC0D1E2F3}");
    CoTaskMemFree(allocated);
}

TEST(Guids, SystemInterfacesHaveTheirWindowsIds) {
    EXPECT_EQ(GuidText(GUID_NULL), "{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(GuidText(IID_NULL), "{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(GuidText(IID_IUnknown), "{00000000-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_IClassFactory), "{00000001-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_IDispatch), "{00020400-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_ITypeInfo), "{00020401-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_ITypeLib), "{00020402-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_IEnumVARIANT), "{00020404-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_ISupportErrorInfo), "{DF0B3D60-548F-101B-8E65-08002B2BD119}");
    EXPECT_EQ(GuidText(IID_IErrorInfo), "{1CF2B120-547D-101B-8E65-08002B2BD119}");
    EXPECT_EQ(GuidText(IID_ICreateErrorInfo), "{22F03340-547D-101B-8E65-08002B2BD119}");
    EXPECT_TRUE(IsEqualIID(IID_IDispatch, IID_IDispatch));
    EXPECT_FALSE(IsEqualIID(IID_IUnknown, IID_IDispatch));
    EXPECT_TRUE(InlineIsEqualGUID(IID_NULL, GUID_NULL));
}

TEST(StringTable, LoadsTruncatesAndReportsMissingEntries) {
    HINSTANCE self = GetModuleHandleW(nullptr);
    char buffer[64];
    EXPECT_EQ(LoadStringA(self, 100, buffer, sizeof buffer), 8);
    EXPECT_EQ(std::string(buffer), "Tarvolin");
    EXPECT_EQ(LoadStringA(self, 105, buffer, sizeof buffer), 28);
    EXPECT_EQ(std::string(buffer), " ------- Parse trace -------");
    // Cut to the buffer, always terminated.
    EXPECT_EQ(LoadStringA(self, 101, buffer, 6), 5);
    EXPECT_EQ(std::string(buffer), "Parse");
    EXPECT_EQ(LoadStringA(self, 101, buffer, 1), 0);
    EXPECT_EQ(buffer[0], 0);
    // A missing entry loads as nothing, in a block with entries and in one without.
    buffer[0] = 'x';
    EXPECT_EQ(LoadStringA(self, 102, buffer, sizeof buffer), 0);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(LoadStringA(self, 9999, buffer, sizeof buffer), 0);
}

std::basic_string<OLECHAR> ModuleFileName() {
    OLECHAR path[MAX_PATH * 4] = {};
    const DWORD n = GetModuleFileNameW(nullptr, reinterpret_cast<LPWSTR>(path), MAX_PATH * 4);
    return std::basic_string<OLECHAR>(path, n);
}

TEST(Module, FileNameOfTheProgram) {
    const std::basic_string<OLECHAR> path = ModuleFileName();
    ASSERT_FALSE(path.empty());
    EXPECT_NE(Narrow(path.c_str()).find("test_platform"), std::string::npos) << Narrow(path.c_str());
    EXPECT_EQ(path.find(OLECHAR(0)), std::basic_string<OLECHAR>::npos);
    EXPECT_TRUE(PathFileExistsW(reinterpret_cast<LPCWSTR>(path.c_str())));
    const std::basic_string<OLECHAR> missing = path + OLESTR(".missing");
    EXPECT_FALSE(PathFileExistsW(reinterpret_cast<LPCWSTR>(missing.c_str())));

    // A short buffer gets a cut path and the result is its size. (Whether the last place
    // holds a terminator differs: Windows writes one, Wine and old Windows a character.)
    OLECHAR small[6] = {'x', 'x', 'x', 'x', 'x', 0};
    EXPECT_EQ(GetModuleFileNameW(nullptr, reinterpret_cast<LPWSTR>(small), 5), 5u);
    EXPECT_EQ(Narrow(small, 4), Narrow(path.c_str(), 4));
    EXPECT_EQ(small[5], 0); // nothing beyond the buffer
}

TEST(Module, PreferredLanguagesAreNamesInAList) {
    const DWORD flags = MUI_LANGUAGE_NAME | MUI_MERGE_USER_FALLBACK | MUI_MERGE_SYSTEM_FALLBACK;
    ULONG count = 0;
    ULONG size = 0;
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, nullptr, &size));
    ASSERT_GE(count, 1u);
    OLECHAR list[121] = {};
    ULONG room = 121;
    ASSERT_LE(size, room);
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, reinterpret_cast<LPWSTR>(list), &room));
    EXPECT_EQ(room, size);
    // count names, each terminated, then one more terminator.
    ULONG names = 0;
    ULONG at = 0;
    while (list[at]) {
        const std::string name = Narrow(list + at);
        EXPECT_NE(name.find('-'), std::string::npos) << name; // language and region, "en-US"
        at += static_cast<ULONG>(name.size()) + 1;
        ++names;
    }
    EXPECT_EQ(names, count);
    EXPECT_EQ(at + 1, size);
}

} // namespace
