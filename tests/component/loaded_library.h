// The component's library loaded as a host loads it, with its entry points found by name.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/component/registry_reader.h"

namespace registry_reader {

const std::string kClsid = "{621D0E5D-88BE-4A68-9187-98FDFBE88824}", kClassKey = "CLSID\\" + kClsid;
const std::string kTypeLibKey = "TypeLib\\{E528582E-8B1D-4948-9BA7-CB86CC797672}\\1.0";

class LoadedLibrary : public ::testing::Test {
protected:
    using EntryPoint = HRESULT(STDAPICALLTYPE*)();
    using Install = HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR);

    void SetUp() override {
        m_Module = LoadLibraryW(Wide(TARVOLIN_LIBRARY_PATH).c_str());
        ASSERT_NE(m_Module, nullptr) << TARVOLIN_LIBRARY_PATH;
        OLECHAR file[1024] = {}; // %MODULE% is the file the host loaded
        ASSERT_GT(GetModuleFileNameW(m_Module, file, 1024), 0u);
        m_File = Narrow(file);
        m_Install = Export<Install>("DllInstall");
        m_Register = Export<EntryPoint>("DllRegisterServer");
        m_Unregister = Export<EntryPoint>("DllUnregisterServer");
        ASSERT_TRUE(m_Install && m_Register && m_Unregister);
    }
    void TearDown() override {
        if (m_Module) FreeLibrary(m_Module);
    }

    template <typename Function> Function Export(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, name)));
    }

    HMODULE m_Module = nullptr;
    std::string m_File;
    Install m_Install = nullptr;
    EntryPoint m_Register = nullptr, m_Unregister = nullptr;
};

} // namespace registry_reader
