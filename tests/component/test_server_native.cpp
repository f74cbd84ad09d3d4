// Registration through the library's entry points when the registry fails part-way: the
// native registry can fail any write on demand, so every point of failure is tried, the
// class keys' and the type library's. And the user's classes found by ProgIDFromCLSID (which
// names the source of a parse error) natively, as in Windows' merged view.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/component/failing_writes.h"
#include "tests/component/loaded_library.h"

#include "tarvolin_h.h"

namespace {

using namespace registry_reader;

class FailingRegistry : public LoadedLibrary {
protected:
    void TearDown() override {
        TarvolinFailRegistryWrite(0, ERROR_SUCCESS);
        LoadedLibrary::TearDown();
    }

    // Both hives whole: the native registry holds only what the tests put there.
    static std::string Hives() { return Dump(HKEY_CLASSES_ROOT, "") + Dump(HKEY_CURRENT_USER, ""); }

    // The class keys' writes fail with the registry's code, the type library's writes with
    // the code of its registration, which comes after.
    static void ExpectFailures(const std::vector<HRESULT>& failures, HRESULT keys, size_t keyWrites) {
        ASSERT_GT(failures.size(), keyWrites);
        for (size_t i = 0; i < failures.size(); ++i)
            EXPECT_EQ(failures[i], i < keyWrites ? keys : TYPE_E_REGISTRYACCESS) << "write " << i;
    }
};

TEST_F(FailingRegistry, AFailedRegistrationForTheUserOrTheMachineChangesNothing) {
    // The 22 keys and values of the class, then the type library; a failure in either step
    // is undone. The user's classes' key exists, as on every Windows system.
    RegCloseKey(platformtest::CreateKey("Software\\Classes", HKEY_CURRENT_USER));
    ExpectFailures(FailEachWrite([&] { return m_Install(TRUE, OLESTR("user")); }, ERROR_ACCESS_DENIED, Hives), E_ACCESSDENIED,
                   22);
    EXPECT_TRUE(KeyExists(UserClasses(kTypeLibKey), HKEY_CURRENT_USER));
    ASSERT_EQ(m_Install(FALSE, OLESTR("user")), S_OK);
    EXPECT_FALSE(KeyExists(UserClasses(kTypeLibKey), HKEY_CURRENT_USER));

    ExpectFailures(FailEachWrite(m_Register, ERROR_OUTOFMEMORY, Hives), E_OUTOFMEMORY, 22);
    EXPECT_TRUE(KeyExists(kTypeLibKey));
    ASSERT_EQ(m_Unregister(), S_OK);
    EXPECT_FALSE(KeyExists(kTypeLibKey));
}

// The user's classes are what a host finds when the machine has no registration.
using UserClassesTest = LoadedLibrary;

TEST_F(UserClassesTest, AreWhatProgIDFromCLSIDFindsWithoutTheMachines) {
    ASSERT_EQ(m_Install(TRUE, OLESTR("user")), S_OK);
    LPOLESTR progId = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(CLSID_Parser, &progId), S_OK);
    EXPECT_EQ(Narrow(progId), "Tarvolin.Parser.1");
    CoTaskMemFree(progId);

    ASSERT_EQ(m_Install(FALSE, OLESTR("user")), S_OK);
    EXPECT_EQ(ProgIDFromCLSID(CLSID_Parser, &progId), REGDB_E_CLASSNOTREG);
}

} // namespace
