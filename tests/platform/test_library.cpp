// Modules: handles of the program and of a shared library, loading and unloading with the
// library's DllMain, its exports, and resources that belong to the module that holds them.
#include "helpers.h"
#include "testmodule.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

using platformtest::Export;
using platformtest::FileBytes;
using platformtest::Narrow;
using platformtest::PlatformPath;

const std::basic_string<OLECHAR>& ModulePath() {
    static const std::basic_string<OLECHAR> path = PlatformPath(TEST_MODULE_PATH);
    return path;
}

std::string FileNameOf(HMODULE module) {
    OLECHAR path[MAX_PATH * 4] = {};
    const DWORD n = GetModuleFileNameW(module, path, MAX_PATH * 4);
    return Narrow(path, n);
}

bool Loaded(const std::basic_string<OLECHAR>& path) { return GetModuleHandleW(path.c_str()) != nullptr; }

// The bytes of a resource of a module; empty when it is missing.
std::vector<unsigned char> ResourceBytes(HMODULE module, LPCWSTR name, LPCWSTR type) {
    HRSRC resource = FindResourceW(module, name, type);
    if (!resource) return {};
    const auto* data = static_cast<const unsigned char*>(LockResource(LoadResource(module, resource)));
    if (!data) return {};
    return std::vector<unsigned char>(data, data + SizeofResource(module, resource));
}

std::string Text(HMODULE module, UINT id) {
    char buffer[64];
    const int n = LoadStringA(module, id, buffer, sizeof buffer);
    return std::string(buffer, n > 0 ? static_cast<size_t>(n) : 0);
}

int InTheProgram = 0;

TEST(Modules, EveryAddressBelongsToTheModuleThatHoldsIt) {
    HMODULE program = GetModuleHandleW(nullptr);
    ASSERT_NE(program, nullptr);
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&FileNameOf), &module));
    EXPECT_EQ(module, program); // code
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&InTheProgram), &module));
    EXPECT_EQ(module, program); // data
    // The platform's functions live in a module of their own, which has a file.
    HMODULE platform = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&SysAllocString), &platform));
    EXPECT_NE(platform, program);
    EXPECT_NE(FileNameOf(platform), "");
    EXPECT_NE(FileNameOf(platform), FileNameOf(program));

    // An address in no module, and a handle that is none.
    OLECHAR path[MAX_PATH];
    HMODULE none = reinterpret_cast<HMODULE>(0x12340000);
    module = reinterpret_cast<HMODULE>(1);
    SetLastError(0);
    EXPECT_FALSE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(none), &module));
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(GetModuleFileNameW(none, path, MAX_PATH), 0u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_FALSE(FreeLibrary(none));
}

TEST(Modules, LoadingRunsDllMainAndCountsReferences) {
    const std::basic_string<OLECHAR>& path = ModulePath();
    ASSERT_FALSE(Loaded(path));
    HMODULE module = LoadLibraryW(path.c_str());
    ASSERT_NE(module, nullptr) << GetLastError();
    EXPECT_NE(module, GetModuleHandleW(nullptr));
    EXPECT_EQ(GetModuleHandleW(path.c_str()), module);
    EXPECT_EQ(FileNameOf(module), Narrow(path.c_str()));

    // Inside, the library finds the same handle, which DllMain got once, for a dynamic load.
    auto self = Export<TestModuleHandleFunction>(module, "TestModuleHandle");
    auto attach = Export<TestAttachFunction>(module, "TestAttach");
    auto watch = Export<TestWatchDetachFunction>(module, "TestWatchDetach");
    ASSERT_TRUE(self && attach && watch);
    EXPECT_EQ(self(), module);
    LONG attaches = 0;
    LPVOID reserved = reinterpret_cast<LPVOID>(1);
    bool constructed = false;
    EXPECT_EQ(attach(&attaches, &reserved, &constructed), module);
    EXPECT_EQ(attaches, 1);
    EXPECT_EQ(reserved, nullptr);
    EXPECT_TRUE(constructed); // every static object of the library, before DllMain

    // Only the module's own exports: not what it imports, not what does not exist.
    SetLastError(0);
    EXPECT_EQ(GetProcAddress(module, "NoSuchExport"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
    EXPECT_EQ(GetProcAddress(module, "GetModuleHandleExW"), nullptr);

    // Loading again and taking a handle add references without attaching again; the module
    // stays until the last is dropped, and DllMain detaches while its static objects exist.
    EXPECT_EQ(LoadLibraryExW(path.c_str(), nullptr, 0), module);
    HMODULE held = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(0, path.c_str(), &held));
    EXPECT_EQ(held, module);
    attach(&attaches, &reserved, &constructed);
    EXPECT_EQ(attaches, 1);
    DetachWatch detach = {0, reinterpret_cast<LPVOID>(1), false};
    watch(&detach);
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(detach.detaches, 0);
    EXPECT_TRUE(Loaded(path));
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_EQ(detach.detaches, 1);
    EXPECT_EQ(detach.reserved, nullptr); // unloaded, not the process ending
    EXPECT_TRUE(detach.staticsAlive);
    EXPECT_FALSE(Loaded(path));
}

TEST(Modules, FailedLoadsSayWhy) {
    const std::basic_string<OLECHAR> missing = ModulePath() + OLESTR(".missing");
    SetLastError(0);
    EXPECT_EQ(LoadLibraryW(missing.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(LoadLibraryExW(missing.c_str(), nullptr, LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE),
              nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    // A file that is no library.
    EXPECT_EQ(LoadLibraryW(PlatformPath(TEST_MODULE_RGS_PATH).c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));

    // A library whose DllMain refuses to attach does not stay loaded.
    const std::basic_string<OLECHAR> refusing = PlatformPath(TEST_REFUSING_MODULE_PATH);
    EXPECT_EQ(LoadLibraryW(refusing.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DLL_INIT_FAILED));
    EXPECT_FALSE(Loaded(refusing));
}

TEST(Resources, EachModuleHasItsOwn) {
    HMODULE program = GetModuleHandleW(nullptr);
    HMODULE module = LoadLibraryW(ModulePath().c_str());
    ASSERT_NE(module, nullptr);

    // The same id, different texts; an id only the library has.
    EXPECT_EQ(Text(program, 100), "Tarvolin");
    EXPECT_EQ(Text(module, 100), "Tarvolin test module");
    EXPECT_EQ(Text(module, 120), "Only in the module");
    EXPECT_EQ(Text(program, 120), "");
    EXPECT_EQ(Text(nullptr, 100), "Tarvolin"); // no module is the program
    // Without a buffer size, the read-only text itself.
    const OLECHAR* text = nullptr;
    EXPECT_EQ(LoadStringW(module, 120, reinterpret_cast<LPWSTR>(&text), 0), 18);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(Narrow(text, 18), "Only in the module");

    // Files the resource scripts name, byte for byte, each in its own module. Type names
    // compare without regard to case, and "#101" is id 101.
    const std::vector<unsigned char> moduleScript = FileBytes(PlatformPath(TEST_MODULE_RGS_PATH));
    const std::vector<unsigned char> programScript = FileBytes(PlatformPath(TEST_PROGRAM_RGS_PATH));
    ASSERT_FALSE(moduleScript.empty());
    EXPECT_EQ(ResourceBytes(module, MAKEINTRESOURCEW(101), OLESTR("REGISTRY")), moduleScript);
    EXPECT_EQ(ResourceBytes(module, OLESTR("#101"), OLESTR("registry")), moduleScript);
    EXPECT_EQ(ResourceBytes(program, MAKEINTRESOURCEW(101), OLESTR("REGISTRY")), programScript);
    const std::vector<unsigned char> library = FileBytes(PlatformPath(TEST_TLB_PATH));
    ASSERT_FALSE(library.empty());
    EXPECT_EQ(ResourceBytes(module, MAKEINTRESOURCEW(1), OLESTR("TYPELIB")), library);

    SetLastError(0);
    EXPECT_EQ(FindResourceW(program, MAKEINTRESOURCEW(1), OLESTR("TYPELIB")), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(102), OLESTR("REGISTRY")), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_TRUE(FreeLibrary(module));
}

} // namespace
