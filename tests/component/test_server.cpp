// The component as a host loads it: the library file, its five entry points, what
// registration (for the machine and for the current user) writes and removes, and the
// objects it hands out through its factory.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "tests/component/loaded_library.h"

#include "tarvolin_h.h"

namespace {

using namespace registry_reader;

const GUID kLibid = {0xE528582E, 0x8B1D, 0x4948, {0x9B, 0xA7, 0xCB, 0x86, 0xCC, 0x79, 0x76, 0x72}};
const std::string kProgIds[] = {"Tarvolin.Parser.1", "Tarvolin.Parser"};

using Server = LoadedLibrary;

// The keys and values of the class below `classes` (a path of `root`, "" for the machine's).
void ExpectClassKeys(HKEY root, const std::string& classes, const std::string& file) {
    for (const std::string& progId : kProgIds) {
        EXPECT_EQ(Value(classes + progId, nullptr, root), "Parser Class");
        EXPECT_EQ(Value(classes + progId + "\\CLSID", nullptr, root), kClsid);
    }
    const std::string cls = classes + kClassKey;
    EXPECT_EQ(Value(classes + "Tarvolin.Parser\\CurVer", nullptr, root), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(cls, nullptr, root), "Parser Class");
    EXPECT_EQ(Value(cls + "\\ProgID", nullptr, root), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(cls + "\\VersionIndependentProgID", nullptr, root), "Tarvolin.Parser");
    EXPECT_TRUE(KeyExists(cls + "\\Programmable", root));
    EXPECT_EQ(Value(cls + "\\TypeLib", nullptr, root), "{E528582E-8B1D-4948-9BA7-CB86CC797672}");
    EXPECT_EQ(Value(cls + "\\InprocServer32", "ThreadingModel", root), "Apartment");
    EXPECT_EQ(Value(cls + "\\InprocServer32", nullptr, root), file);
}

TEST_F(Server, RegistersServesAndUnloads) {
    auto canUnloadNow = Export<EntryPoint>("DllCanUnloadNow");
    auto getClassObject = Export<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, LPVOID*)>("DllGetClassObject");
    ASSERT_TRUE(canUnloadNow && getClassObject);
    // Other tests of the same machine may rely on the registration: it is put back after.
    const bool wasRegistered = KeyExists(kClassKey + "\\InprocServer32");

    ASSERT_EQ(m_Register(), S_OK);
    ExpectClassKeys(HKEY_CLASSES_ROOT, "", m_File);
    EXPECT_TRUE(KeyExists(kTypeLibKey));
    // Unregistration removes the class, but not the classes' key.
    ASSERT_EQ(m_Unregister(), S_OK);
    for (const std::string& key : {kProgIds[0], kProgIds[1], kClassKey, kTypeLibKey})
        EXPECT_FALSE(KeyExists(key)) << key;
    EXPECT_TRUE(KeyExists("CLSID"));

    // Parse errors carry the registered ProgID as their source, and the report's first word
    // comes from the library's string table.
    ASSERT_EQ(m_Register(), S_OK);
    IClassFactory* factory = nullptr;
    IParser* parser = nullptr;
    ASSERT_EQ(getClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser)), S_OK);
    factory->Release();
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    BSTR sql = SysAllocString(OLESTR("SELECT FROM"));
    EXPECT_EQ(parser->ParseSQL(sql), DISP_E_EXCEPTION);
    SysFreeString(sql);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    BSTR source = nullptr, description = nullptr;
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(info->GetDescription(&description), S_OK);
    EXPECT_EQ(Narrow(source ? source : OLESTR("")) + "/" + Narrow(description ? description : OLESTR("")).substr(0, 12),
              "Tarvolin.Parser.1/Parse error\n");
    SysFreeString(source);
    SysFreeString(description);
    info->Release();
    if (!wasRegistered) {
        EXPECT_EQ(m_Unregister(), S_OK);
    }

    parser->Release();
    EXPECT_EQ(canUnloadNow(), S_OK);
    // The last reference gone, the library is unloaded (it detaches and keeps nothing in
    // memory between hosts).
    FreeLibrary(m_Module);
    m_Module = nullptr;
    EXPECT_EQ(GetModuleHandleW(Wide(TARVOLIN_LIBRARY_PATH).c_str()), nullptr);
}

TEST_F(Server, InstallsForTheCurrentUserAndRefusesWhatItDoesNotKnow) {
    const bool machineRegistered = KeyExists(kClassKey + "\\InprocServer32");
    ASSERT_FALSE(KeyExists(UserClasses(kClassKey), HKEY_CURRENT_USER)) << "left over from an earlier run";

    // Command lines other than "user" (in any case) or none are refused before anything is
    // written; removing what was never registered for the user is no error.
    for (const OLECHAR* bad : {OLESTR("bogus"), OLESTR("user "), OLESTR("users"), OLESTR("use"), OLESTR("/user")}) {
        EXPECT_EQ(m_Install(TRUE, bad), E_INVALIDARG) << Narrow(bad);
        EXPECT_EQ(m_Install(FALSE, bad), E_INVALIDARG) << Narrow(bad);
    }
    EXPECT_FALSE(KeyExists(UserClasses("Tarvolin.Parser"), HKEY_CURRENT_USER));
    EXPECT_EQ(m_Install(FALSE, OLESTR("user")), S_OK);

    ASSERT_EQ(m_Install(TRUE, OLESTR("User")), S_OK);
    ExpectClassKeys(HKEY_CURRENT_USER, UserClasses(""), m_File);
    EXPECT_EQ(KeyExists(kClassKey), machineRegistered); // the machine's classes are not touched
    BSTR registered = nullptr;
    EXPECT_EQ(QueryPathOfRegTypeLib(kLibid, 1, 0, 0, &registered), S_OK);
    EXPECT_EQ(Narrow(registered ? registered : OLESTR("")), m_File);
    SysFreeString(registered);
    registered = nullptr;

    EXPECT_EQ(m_Install(FALSE, OLESTR("user")), S_OK);
    for (const std::string& key : {kProgIds[0], kProgIds[1], kClassKey})
        EXPECT_FALSE(KeyExists(UserClasses(key), HKEY_CURRENT_USER)) << key;
    EXPECT_TRUE(KeyExists("Software\\Classes", HKEY_CURRENT_USER));
    if (!machineRegistered) {
        EXPECT_EQ(QueryPathOfRegTypeLib(kLibid, 1, 0, 0, &registered), TYPE_E_LIBNOTREGISTERED);
        SysFreeString(registered);

        // No command line is the machine, as DllRegisterServer and DllUnregisterServer.
        ASSERT_EQ(m_Install(TRUE, nullptr), S_OK);
        EXPECT_EQ(Value(kClassKey + "\\InprocServer32"), m_File);
        EXPECT_FALSE(KeyExists(UserClasses(kClassKey), HKEY_CURRENT_USER));
        EXPECT_EQ(m_Install(FALSE, OLESTR("")), S_OK);
        EXPECT_FALSE(KeyExists(kClassKey));
    }
}

TEST_F(Server, ARegistrationThatFailsPartWayLeavesTheRegistryAsItWas) {
    // Below a volatile key only volatile keys can be created: with Tarvolin.Parser volatile,
    // registering for the user fails after Tarvolin.Parser.1 and the new default value of
    // Tarvolin.Parser are written, at the key Tarvolin.Parser\CLSID.
    const std::string progId = UserClasses("Tarvolin.Parser");
    HKEY key = platformtest::CreateKey(progId, HKEY_CURRENT_USER, nullptr, REG_OPTION_VOLATILE);
    ASSERT_EQ(platformtest::SetString(key, nullptr, OLESTR("Older Parser")), ERROR_SUCCESS);
    RegCloseKey(key);

    EXPECT_EQ(m_Install(TRUE, OLESTR("user")), HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE));
    EXPECT_EQ(Value(progId, nullptr, HKEY_CURRENT_USER), "Older Parser");
    for (const std::string& gone : {progId + "\\CLSID", progId + ".1", UserClasses(kClassKey)})
        EXPECT_FALSE(KeyExists(gone, HKEY_CURRENT_USER)) << gone;
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, Wide(progId).c_str()), ERROR_SUCCESS);
}

// A host that creates the class through the COM runtime, as hosts do: the registered server
// is found, loaded and asked for the class; a class registered nowhere is not created.
TEST_F(Server, TheComRuntimeCreatesTheRegisteredClass) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    const bool wasRegistered = KeyExists(kClassKey + "\\InprocServer32");
    ASSERT_EQ(m_Register(), S_OK);

    IParser* parser = nullptr;
    auto create = [&parser](REFCLSID clsid) {
        return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IParser, reinterpret_cast<void**>(&parser));
    };
    ASSERT_EQ(create(CLSID_Parser), S_OK);
    BSTR sql = SysAllocString(OLESTR("SELECT a FROM t"));
    EXPECT_EQ(parser->ParseSQL(sql), S_OK);
    SysFreeString(sql);
    parser->Release();

    parser = reinterpret_cast<IParser*>(1);
    EXPECT_EQ(create({0x0badc0de, 0x1111, 0x2222, {0x33, 0x33, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44}}),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(parser, nullptr);
    if (!wasRegistered) {
        ASSERT_EQ(m_Unregister(), S_OK);
        // Unregistered, the class is gone for the runtime too (the library loaded here is not
        // one the program was linked with).
        EXPECT_EQ(create(CLSID_Parser), REGDB_E_CLASSNOTREG);
    }
    CoUninitialize();
}

} // namespace
