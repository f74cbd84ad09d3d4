// A registration that fails part-way leaves the registry as it found it, an earlier
// registration included. Natively the registry can be made to fail at any write, so every
// point of failure is tried. (tests/component/test_server_native.cpp does the same through
// the library's entry points, from an empty registry and with the type library.)
#include <gtest/gtest.h>

#include <string>

#include "component/registrar.h"
#include "tests/component/failing_writes.h"
#include "tests/component/registry_reader.h"

namespace {

using platformtest::SetString;
using registry_reader::Dump;
using registry_reader::Value;
using registry_reader::Wide;

const char* const kRoot = "TarvolinRollbackTest";

const std::string kScript = std::string("HKCR { NoRemove ") + kRoot + R"( {
    App.Thing = s 'Thing Class' { CLSID = s '{00000000-1111-2222-3333-444444444444}' CurVer = s 'App.Thing.1' }
    NoRemove CLSID {
      val Marker = s 'ours'
      ForceRemove {00000000-1111-2222-3333-444444444444} = s 'Thing Class' {
        InprocServer32 = s 'C:\x.dll' { val ThreadingModel = s 'Apartment' }
        ForceRemove Programmable
      }
    }
    NoRemove Fresh { val Flag = s 'on' }
} }
)";

class Rollback : public ::testing::Test {
protected:
    void SetUp() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str()); }
    void TearDown() override {
        TarvolinFailRegistryWrite(0, ERROR_SUCCESS);
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str());
    }
};

TEST_F(Rollback, AFailedWriteRestoresWhatAnEarlierRegistrationLeft) {
    // An older registration: another default value, a stale subkey of the class key (which
    // ForceRemove deletes first), a value of the NoRemove key that the script overwrites and
    // one it does not know, a neighbouring class. The NoRemove key Fresh is new.
    const std::string root = kRoot, cls = root + "\\CLSID\\{00000000-1111-2222-3333-444444444444}";
    SetString(root + "\\App.Thing", nullptr, "Old Class");
    SetString(cls + "\\Stale\\Deeper", "Left", "over");
    SetString(root + "\\CLSID", "Marker", "theirs");
    SetString(root + "\\CLSID", "Other", "kept");
    SetString(root + "\\CLSID\\{99999999-1111-2222-3333-444444444444}", nullptr, "Neighbour");
    // Six keys and eight values are written, one tree deleted: each of the 15 writes fails
    // with its code and leaves the tree as it was.
    const auto failures = FailEachWrite(
        [] { return RunRegistryScript(kScript.data(), kScript.size(), RegistryMode::Register, {}); },
        ERROR_ACCESS_DENIED, [] { return Dump(HKEY_CLASSES_ROOT, kRoot); });
    EXPECT_EQ(failures, std::vector<HRESULT>(15, E_ACCESSDENIED));
    EXPECT_EQ(Value(root + "\\CLSID", "Marker"), "ours");
    EXPECT_EQ(Value(root + "\\CLSID", "Other"), "kept");
    EXPECT_EQ(Value(cls + "\\Stale"), "(no key)");
}

} // namespace
