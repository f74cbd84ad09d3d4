// Registry scripts carried out below HKEY_CLASSES_ROOT (in a key of the tests' own), and
// the path of the satellite resource library.
#include <gtest/gtest.h>

#include <string>

#include "component/registrar.h"
#include "component/satellite.h"
#include "tests/component/registry_reader.h"

namespace {

const char* const kRoot = "TarvolinRegistrarTest";

using registry_reader::KeyExists;
using registry_reader::Narrow;
using registry_reader::Value;
using registry_reader::Wide;

HRESULT RunScript(const std::string& script, RegistryMode mode, const std::vector<RegistryReplacement>& replacements = {}) {
    return RunRegistryScript(script.data(), script.size(), mode, replacements);
}

class Registrar : public ::testing::Test {
protected:
    void SetUp() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str()); }
    void TearDown() override { RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kRoot).c_str()); }
    static void MakeKey(const std::string& path) { RegCloseKey(platformtest::CreateKey(path)); }
};

const std::string kScript = std::string("HKCR\n{\n  NoRemove ") + kRoot + R"(
  {
    App.Thing.1 = s 'Thing Class' { CLSID = s '{00000000-1111-2222-3333-444444444444}' }
    NoRemove Shared
    {
      ForceRemove {00000000-1111-2222-3333-444444444444} = s 'Thing Class'
      {
        ForceRemove Programmable
        InprocServer32 = s '%MODULE%' { val ThreadingModel = s 'Apartment' }
        'Quoted Name' = s 'it''s 100%% done'
      }
    }
  }
}
)";

const std::vector<RegistryReplacement> kModule = {{OLESTR("MODULE"), OLESTR("C:\\dir\\x.dll")}};

TEST_F(Registrar, RegisterWritesKeysValuesAndReplacementsAndUnregisterRemovesThem) {
    const std::string root = kRoot, cls = root + "\\Shared\\{00000000-1111-2222-3333-444444444444}";
    MakeKey(cls + "\\Stale\\Deeper"); // ForceRemove clears stale content before writing
    ASSERT_EQ(RunScript(kScript, RegistryMode::Register, kModule), S_OK);
    EXPECT_FALSE(KeyExists(cls + "\\Stale"));
    EXPECT_EQ(Value(root + "\\App.Thing.1"), "Thing Class");
    EXPECT_EQ(Value(root + "\\App.Thing.1\\CLSID"), "{00000000-1111-2222-3333-444444444444}");
    EXPECT_EQ(Value(cls), "Thing Class");
    EXPECT_EQ(Value(cls + "\\Programmable"), "(no value)"); // a key without values
    EXPECT_EQ(Value(cls + "\\InprocServer32"), "C:\\dir\\x.dll");
    EXPECT_EQ(Value(cls + "\\Quoted Name"), "it's 100% done");
    // Registering again over an existing registration succeeds and changes nothing.
    EXPECT_EQ(RunScript(kScript, RegistryMode::Register, kModule), S_OK);
    EXPECT_EQ(Value(cls + "\\InprocServer32", "ThreadingModel"), "Apartment");

    // Unregistering keeps NoRemove keys and someone else's key below a key of ours that is
    // not marked ForceRemove; unregistering what is already gone is no error.
    MakeKey(root + "\\App.Thing.1\\Foreign");
    for (int round = 0; round < 2; ++round) ASSERT_EQ(RunScript(kScript, RegistryMode::Unregister, kModule), S_OK);
    EXPECT_TRUE(KeyExists(root + "\\Shared"));
    EXPECT_FALSE(KeyExists(cls));
    EXPECT_FALSE(KeyExists(root + "\\App.Thing.1\\CLSID"));
    EXPECT_TRUE(KeyExists(root + "\\App.Thing.1\\Foreign"));
}

// What the build of the other bitness writes back after our unregistration: the keys
// outside CLSID, over what is there, and nothing under CLSID.
TEST_F(Registrar, RegisterSharedWritesOnlyTheKeysOutsideClsid) {
    const std::string root = kRoot, cls = "CLSID\\{00000000-1111-2222-3333-444444444444}";
    const std::string script = "HKCR\n{\n  NoRemove " + root + R"( { ForceRemove App.Thing = s 'Thing Class' { CLSID = s 'x' } }
  NoRemove CLSID
  {
    ForceRemove {00000000-1111-2222-3333-444444444444} = s 'Thing Class' { InprocServer32 = s '%MODULE%' }
  }
})";
    MakeKey(root + "\\App.Thing\\Kept");
    const REGSAM ownView = sizeof(void*) == 8 ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
    ASSERT_EQ(RunRegistryScript(script.data(), script.size(), RegistryMode::RegisterShared, kModule,
                                HKEY_CLASSES_ROOT, nullptr, ownView),
              S_OK);
    EXPECT_EQ(Value(root + "\\App.Thing"), "Thing Class");
    EXPECT_EQ(Value(root + "\\App.Thing\\CLSID"), "x");
    EXPECT_TRUE(KeyExists(root + "\\App.Thing\\Kept"));
    EXPECT_FALSE(KeyExists(cls));
    RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(cls).c_str());
}

TEST_F(Registrar, MalformedScriptsChangeNothing) {
    const std::string key = std::string("HKCR { NoRemove ") + kRoot + " { ";
    const std::string bad[] = {
        key + "A = s 'x' { B = s 'y' } ",               // the root block is never closed
        key + "A = s 'unterminated } }",                // quote without its end
        key + "A = s '%UNKNOWN%' } }",                  // no value for the name
        key + "A = s '%MODULE' } }",                    // a percent sign without its partner
        key + "A = d '1' } }",                          // only strings are written
        "HKCR { val V = s 'x' }",                       // a value needs a key of ours
        key + "A\\B = s 'x' } }",                       // one key per name
        key + "A = s 'x' } } }",                        // one brace too many
        "HKLM { A = s 'x' }",                           // only HKEY_CLASSES_ROOT
        key + "A = } }",
    };
    for (const std::string& script : bad) {
        SCOPED_TRACE(script);
        EXPECT_EQ(RunScript(script, RegistryMode::Register, kModule), E_INVALIDARG);
        EXPECT_FALSE(KeyExists(kRoot));
    }
    EXPECT_EQ(RunRegistryScript(nullptr, 3, RegistryMode::Register, {}), E_INVALIDARG);
    EXPECT_EQ(RunRegistryScript("", 0, RegistryMode::Register, {}), S_OK); // nothing to do
}

TEST_F(Registrar, DeepScriptsAreNoProblem) {
    // Nesting is bounded by the registry's own key length, not by the native stack.
    std::string script = std::string("HKCR { ") + kRoot + " { ", path = kRoot;
    for (int i = 0; i < 60; ++i) script += "k { ", path += "\\k";
    for (int i = 0; i < 62; ++i) script += "} ";
    ASSERT_EQ(RunScript(script, RegistryMode::Register), S_OK);
    EXPECT_TRUE(KeyExists(path));
    ASSERT_EQ(RunScript(script, RegistryMode::Unregister), S_OK);
    EXPECT_FALSE(KeyExists(kRoot));
}

TEST(Satellite, PathIsFormedFromTheModulePathAndTheLanguage) {
    // Only the last extension goes; a name without one keeps its whole name. A drive without
    // a directory, forward slashes, a bare file name; nothing for unusable paths.
    const struct {
        OleString module, language;
        const char* path;
    } kCases[] = {
        {OLESTR("C:\\Program Files\\App\\tarvolin.dll"), OLESTR("de-DE"), "C:\\Program Files\\App\\de-DE\\tarvolin.res.dll"},
        {OLESTR("C:\\a.b\\my.parser.dll"), OLESTR("fr"), "C:\\a.b\\fr\\my.parser.res.dll"},
        {OLESTR("C:\\a.b\\parser"), OLESTR("fr"), "C:\\a.b\\fr\\parser.res.dll"},
        {OLESTR("D:x.dll"), OLESTR("en-US"), "D:en-US\\x.res.dll"},
        {OLESTR("/opt/lib/x.dll"), OLESTR("en-US"), "/opt/lib/en-US\\x.res.dll"},
        {OLESTR("x.dll"), OLESTR("en-US"), "en-US\\x.res.dll"},
        {OLESTR("C:\\dir\\"), OLESTR("de-DE"), ""},   // no file name
        {OLESTR("C:\\dir\\x.dll"), OLESTR(""), ""}, // no language
        {OLESTR("C:\\") + OleString(MAX_PATH + 1, 'd') + OLESTR("\\x.dll"), OLESTR("de-DE"), ""}, // too long
        {OLESTR("C:\\d\\") + OleString(MAX_PATH + 1, 'n') + OLESTR(".dll"), OLESTR("de-DE"), ""},
    };
    for (const auto& c : kCases)
        EXPECT_EQ(Narrow(SatellitePath(c.module, c.language).c_str()), c.path);
    // No satellite exists for a module in a directory that does not exist.
    EXPECT_EQ(LoadSatelliteLibrary(OLESTR("C:\\no such dir\\x.dll"), {OLESTR("de-DE"), OLESTR("en-US")}), nullptr);
    // The preferred languages are asked once, and are names.
    const std::vector<OleString>& languages = PreferredUILanguages();
    EXPECT_EQ(&languages, &PreferredUILanguages());
    for (const OleString& name : languages) EXPECT_TRUE(!name.empty() && name.find('\0') == OleString::npos);
}

} // namespace
