// Modules: the program and a shared library, loading and unloading with the library's
// DllMain, its exports, and resources that belong to the module that holds them.
#include "helpers.h"
#include "testmodule.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using platformtest::FileBytes;
using platformtest::Narrow;
using platformtest::PlatformPath;
using platformtest::Text;

const Text& ModulePath() {
    static const Text path = PlatformPath(TEST_MODULE_PATH);
    return path;
}

std::string FileNameOf(HMODULE module) {
    OLECHAR path[MAX_PATH * 4] = {};
    return Narrow(path, GetModuleFileNameW(module, path, MAX_PATH * 4));
}

bool Loaded(const Text& path) { return GetModuleHandleW(path.c_str()) != nullptr; }

std::string String(HMODULE module, UINT id, int size = 64) {
    char buffer[64] = {'x'};
    const int n = LoadStringA(module, id, buffer, size);
    EXPECT_EQ(buffer[n], 0);
    return std::string(buffer, n > 0 ? static_cast<size_t>(n) : 0);
}

// The bytes of a resource of a module; empty when it is missing.
std::vector<unsigned char> ResourceBytes(HMODULE module, LPCWSTR name, LPCWSTR type) {
    HRSRC resource = FindResourceW(module, name, type);
    if (!resource) return {};
    const auto* data = static_cast<const unsigned char*>(LockResource(LoadResource(module, resource)));
    return std::vector<unsigned char>(data, data + SizeofResource(module, resource));
}

int InTheProgram = 0;

TEST(Modules, EveryAddressBelongsToTheModuleThatHoldsIt) {
    HMODULE program = GetModuleHandleW(nullptr);
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = nullptr;
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&FileNameOf), &module));
    EXPECT_EQ(module, program); // code
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&InTheProgram), &module));
    EXPECT_EQ(module, program); // data
    // The platform's functions live in a module of their own, which has a file.
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&SysAllocString), &module));
    EXPECT_NE(module, program);
    const std::string self = FileNameOf(program);
    EXPECT_NE(FileNameOf(module), self);
    EXPECT_NE(self.find("test_platform"), std::string::npos) << self;
    // A short buffer gets a cut path and the result is its size. (Whether the last place
    // holds a terminator differs: Windows writes one, Wine and old Windows a character.)
    OLECHAR small[6] = {'x', 'x', 'x', 'x', 'x', 0};
    EXPECT_EQ(GetModuleFileNameW(nullptr, small, 5), 5u);
    EXPECT_EQ(Narrow(small, 4), self.substr(0, 4));
    EXPECT_EQ(small[5], 0); // nothing beyond the buffer

    // An address in no module, and a handle that is none.
    HMODULE none = reinterpret_cast<HMODULE>(0x12340000);
    EXPECT_FALSE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(none), &module));
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(GetModuleFileNameW(none, small, 5), 0u);
    EXPECT_FALSE(FreeLibrary(none));
}

TEST(Modules, LoadingRunsDllMainAndCountsReferences) {
    const Text& path = ModulePath();
    ASSERT_FALSE(Loaded(path));
    HMODULE module = LoadLibraryW(path.c_str());
    ASSERT_NE(module, nullptr) << GetLastError();
    EXPECT_EQ(GetModuleHandleW(path.c_str()), module);
    EXPECT_EQ(FileNameOf(module), Narrow(path.c_str()));

    // Inside, the library finds the same handle, which DllMain got once, for a dynamic load,
    // after every static object of the library was constructed.
    auto state = reinterpret_cast<TestStateFunction>(reinterpret_cast<void (*)()>(GetProcAddress(module, "TestState")));
    ASSERT_NE(state, nullptr);
    TestModuleState* s = state();
    EXPECT_EQ(s->self, module);
    EXPECT_EQ(s->attached, module);
    EXPECT_EQ(s->attaches, 1);
    EXPECT_EQ(s->attachReserved, nullptr);
    EXPECT_TRUE(s->staticsAtAttach);

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
    EXPECT_EQ(s->attaches, 1);
    DetachWatch detach = {0, reinterpret_cast<LPVOID>(1), false};
    s->watch = &detach;
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
    const std::pair<Text, DWORD> failures[] = {
        {ModulePath() + OLESTR(".missing"), ERROR_MOD_NOT_FOUND},
        {PlatformPath(TEST_MODULE_RGS_PATH), ERROR_BAD_EXE_FORMAT},       // a file that is no library
        {PlatformPath(TEST_REFUSING_MODULE_PATH), ERROR_DLL_INIT_FAILED}, // DllMain refuses to attach
    };
    for (const auto& f : failures) {
        SetLastError(0);
        EXPECT_EQ(LoadLibraryW(f.first.c_str()), nullptr);
        EXPECT_EQ(GetLastError(), f.second) << Narrow(f.first.c_str());
        EXPECT_FALSE(Loaded(f.first));
    }
    const DWORD asData = LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE;
    EXPECT_EQ(LoadLibraryExW(failures[0].first.c_str(), nullptr, asData), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(Resources, EachModuleHasItsOwn) {
    HMODULE program = GetModuleHandleW(nullptr);
    HMODULE module = LoadLibraryW(ModulePath().c_str());
    ASSERT_NE(module, nullptr);

    // The same id, different texts; an id only the library has; no module is the program.
    // Missing entries load as nothing, in a block with entries and in one without; a text is
    // cut to the buffer and always terminated.
    EXPECT_EQ(String(nullptr, 100) + "/" + String(module, 100) + "/" + String(module, 120),
              "Tarvolin/Tarvolin test module/Only in the module");
    EXPECT_EQ(String(program, 120) + String(program, 102) + String(program, 9999) + String(program, 101, 1), "");
    EXPECT_EQ(String(program, 101, 6), "Parse");

    // Files the resource scripts name, byte for byte, each in its own module. Type names
    // compare without regard to case, and "#101" is id 101.
    const std::vector<unsigned char> script = FileBytes(PlatformPath(TEST_MODULE_RGS_PATH));
    ASSERT_FALSE(script.empty());
    EXPECT_EQ(ResourceBytes(module, MAKEINTRESOURCEW(101), OLESTR("REGISTRY")), script);
    EXPECT_EQ(ResourceBytes(module, OLESTR("#101"), OLESTR("registry")), script);
    EXPECT_EQ(ResourceBytes(module, MAKEINTRESOURCEW(1), OLESTR("TYPELIB")), FileBytes(PlatformPath(TEST_TLB_PATH)));

    SetLastError(0);
    EXPECT_EQ(FindResourceW(program, MAKEINTRESOURCEW(1), OLESTR("TYPELIB")), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_TYPE_NOT_FOUND));
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(102), OLESTR("REGISTRY")), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_TRUE(FreeLibrary(module));
}

} // namespace
