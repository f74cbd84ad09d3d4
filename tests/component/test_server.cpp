// The component as a host loads it: the library file, its five entry points, what
// registration (for the machine and for the current user) writes and removes, and the
// objects it hands out through its factory.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "tests/component/registry_reader.h"

#include "tarvolin_h.h"

namespace {

using namespace registry_reader;

using EntryPoint = HRESULT(STDAPICALLTYPE*)();
using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, LPVOID*);
using Install = HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR);

template <typename Function> Function Export(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

TEST(Server, RegistersServesAndUnloads) {
    const std::string kClsid = "{621D0E5D-88BE-4A68-9187-98FDFBE88824}", kClassKey = "CLSID\\" + kClsid;
    const std::string kTypeLibKey = "TypeLib\\{E528582E-8B1D-4948-9BA7-CB86CC797672}\\1.0";
    const OleText path = Wide(TARVOLIN_LIBRARY_PATH);
    HMODULE module = LoadLibraryW(path.c_str());
    ASSERT_NE(module, nullptr) << TARVOLIN_LIBRARY_PATH;
    auto canUnloadNow = Export<EntryPoint>(module, "DllCanUnloadNow");
    auto getClassObject = Export<GetClassObject>(module, "DllGetClassObject");
    auto registerServer = Export<EntryPoint>(module, "DllRegisterServer");
    auto unregisterServer = Export<EntryPoint>(module, "DllUnregisterServer");
    ASSERT_TRUE(canUnloadNow && getClassObject && registerServer && unregisterServer);
    // Other tests of the same machine may rely on the registration: it is put back after.
    const bool wasRegistered = KeyExists(kClassKey + "\\InprocServer32");

    ASSERT_EQ(registerServer(), S_OK);
    for (const std::string& progId : {std::string("Tarvolin.Parser.1"), std::string("Tarvolin.Parser")}) {
        EXPECT_EQ(Value(progId), "Parser Class");
        EXPECT_EQ(Value(progId + "\\CLSID"), kClsid);
    }
    EXPECT_EQ(Value("Tarvolin.Parser\\CurVer"), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(kClassKey), "Parser Class");
    EXPECT_EQ(Value(kClassKey + "\\ProgID"), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(kClassKey + "\\VersionIndependentProgID"), "Tarvolin.Parser");
    EXPECT_TRUE(KeyExists(kClassKey + "\\Programmable"));
    EXPECT_EQ(Value(kClassKey + "\\TypeLib"), "{E528582E-8B1D-4948-9BA7-CB86CC797672}");
    EXPECT_EQ(Value(kClassKey + "\\InprocServer32", "ThreadingModel"), "Apartment");
    EXPECT_TRUE(KeyExists(kTypeLibKey));
    OLECHAR file[1024] = {}; // %MODULE% is the file the host loaded
    ASSERT_GT(GetModuleFileNameW(module, file, 1024), 0u);
    EXPECT_EQ(Value(kClassKey + "\\InprocServer32"), Narrow(file));
    // Unregistration removes the class, but not the classes' key.
    ASSERT_EQ(unregisterServer(), S_OK);
    for (const std::string& key : {std::string("Tarvolin.Parser.1"), std::string("Tarvolin.Parser"), kClassKey,
                                   kTypeLibKey})
        EXPECT_FALSE(KeyExists(key)) << key;
    EXPECT_TRUE(KeyExists("CLSID"));

    // Parse errors carry the registered ProgID as their source, and the report's first word
    // comes from the library's string table.
    ASSERT_EQ(registerServer(), S_OK);
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
        EXPECT_EQ(unregisterServer(), S_OK);
    }

    parser->Release();
    EXPECT_EQ(canUnloadNow(), S_OK);
    // The last reference gone, the library is unloaded (it detaches and keeps nothing in
    // memory between hosts).
    FreeLibrary(module);
    EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(Server, InstallsForTheCurrentUserAndRefusesWhatItDoesNotKnow) {
    const std::string kClsid = "{621D0E5D-88BE-4A68-9187-98FDFBE88824}", kClassKey = "CLSID\\" + kClsid;
    const GUID kLibid = {0xE528582E, 0x8B1D, 0x4948, {0x9B, 0xA7, 0xCB, 0x86, 0xCC, 0x79, 0x76, 0x72}};
    HMODULE module = LoadLibraryW(Wide(TARVOLIN_LIBRARY_PATH).c_str());
    ASSERT_NE(module, nullptr) << TARVOLIN_LIBRARY_PATH;
    auto install = Export<Install>(module, "DllInstall");
    ASSERT_NE(install, nullptr);
    OLECHAR file[1024] = {};
    ASSERT_GT(GetModuleFileNameW(module, file, 1024), 0u);
    const bool machineRegistered = KeyExists(kClassKey + "\\InprocServer32");
    ASSERT_FALSE(KeyExists(UserClasses(kClassKey), HKEY_CURRENT_USER)) << "left over from an earlier run";

    // Command lines other than "user" (in any case) or none are refused before anything is
    // written; removing what was never registered for the user is no error.
    for (const OLECHAR* bad : {OLESTR("bogus"), OLESTR("user "), OLESTR("users"), OLESTR("use"), OLESTR("/user")}) {
        EXPECT_EQ(install(TRUE, bad), E_INVALIDARG) << Narrow(bad);
        EXPECT_EQ(install(FALSE, bad), E_INVALIDARG) << Narrow(bad);
    }
    EXPECT_FALSE(KeyExists(UserClasses("Tarvolin.Parser"), HKEY_CURRENT_USER));
    EXPECT_EQ(install(FALSE, OLESTR("user")), S_OK);

    ASSERT_EQ(install(TRUE, OLESTR("User")), S_OK);
    EXPECT_EQ(Value(UserClasses("Tarvolin.Parser\\CurVer"), nullptr, HKEY_CURRENT_USER), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(UserClasses("Tarvolin.Parser.1\\CLSID"), nullptr, HKEY_CURRENT_USER), kClsid);
    EXPECT_EQ(Value(UserClasses(kClassKey + "\\InprocServer32"), nullptr, HKEY_CURRENT_USER), Narrow(file));
    EXPECT_EQ(Value(UserClasses(kClassKey + "\\InprocServer32"), "ThreadingModel", HKEY_CURRENT_USER), "Apartment");
    EXPECT_EQ(KeyExists(kClassKey), machineRegistered); // the machine's classes are not touched
    BSTR registered = nullptr;
    EXPECT_EQ(QueryPathOfRegTypeLib(kLibid, 1, 0, 0, &registered), S_OK);
    EXPECT_EQ(Narrow(registered ? registered : OLESTR("")), Narrow(file));
    SysFreeString(registered);
    registered = nullptr;

    EXPECT_EQ(install(FALSE, OLESTR("user")), S_OK);
    for (const std::string& key : {std::string("Tarvolin.Parser.1"), std::string("Tarvolin.Parser"), kClassKey})
        EXPECT_FALSE(KeyExists(UserClasses(key), HKEY_CURRENT_USER)) << key;
    EXPECT_TRUE(KeyExists("Software\\Classes", HKEY_CURRENT_USER));
    if (!machineRegistered) {
        EXPECT_EQ(QueryPathOfRegTypeLib(kLibid, 1, 0, 0, &registered), TYPE_E_LIBNOTREGISTERED);
        SysFreeString(registered);

        // No command line is the machine, as DllRegisterServer and DllUnregisterServer.
        ASSERT_EQ(install(TRUE, nullptr), S_OK);
        EXPECT_EQ(Value(kClassKey + "\\InprocServer32"), Narrow(file));
        EXPECT_FALSE(KeyExists(UserClasses(kClassKey), HKEY_CURRENT_USER));
        EXPECT_EQ(install(FALSE, OLESTR("")), S_OK);
        EXPECT_FALSE(KeyExists(kClassKey));
    }
    FreeLibrary(module);
}

TEST(Server, ARegistrationThatFailsPartWayLeavesTheRegistryAsItWas) {
    // Below a volatile key only volatile keys can be created: with Tarvolin.Parser volatile,
    // registering for the user fails after Tarvolin.Parser.1 and the new default value of
    // Tarvolin.Parser are written, at the key Tarvolin.Parser\CLSID.
    const std::string progId = UserClasses("Tarvolin.Parser");
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, Wide(progId).c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    const OleText older = OLESTR("Older Parser");
    ASSERT_EQ(RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(older.c_str()),
                             static_cast<DWORD>((older.size() + 1) * sizeof(OLECHAR))),
              ERROR_SUCCESS);
    RegCloseKey(key);
    HMODULE module = LoadLibraryW(Wide(TARVOLIN_LIBRARY_PATH).c_str());
    ASSERT_NE(module, nullptr);
    auto install = Export<Install>(module, "DllInstall");
    ASSERT_NE(install, nullptr);

    EXPECT_EQ(install(TRUE, OLESTR("user")), HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE));
    EXPECT_EQ(Value(progId, nullptr, HKEY_CURRENT_USER), "Older Parser");
    const std::string classKey = UserClasses("CLSID\\{621D0E5D-88BE-4A68-9187-98FDFBE88824}");
    for (const std::string& gone : {progId + "\\CLSID", progId + ".1", classKey})
        EXPECT_FALSE(KeyExists(gone, HKEY_CURRENT_USER)) << gone;
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, Wide(progId).c_str()), ERROR_SUCCESS);
    FreeLibrary(module);
}


// A host that creates the class through the COM runtime, as hosts do: the registered server
// is found, loaded and asked for the class; a class registered nowhere is not created.
TEST(Server, TheComRuntimeCreatesTheRegisteredClass) {
    ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    HMODULE module = LoadLibraryW(Wide(TARVOLIN_LIBRARY_PATH).c_str());
    ASSERT_NE(module, nullptr);
    auto registerServer = Export<EntryPoint>(module, "DllRegisterServer");
    auto unregisterServer = Export<EntryPoint>(module, "DllUnregisterServer");
    const bool wasRegistered = KeyExists("CLSID\\{621D0E5D-88BE-4A68-9187-98FDFBE88824}\\InprocServer32");
    ASSERT_EQ(registerServer(), S_OK);

    IParser* parser = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IParser,
                               reinterpret_cast<void**>(&parser)),
              S_OK);
    BSTR sql = SysAllocString(OLESTR("SELECT a FROM t"));
    EXPECT_EQ(parser->ParseSQL(sql), S_OK);
    SysFreeString(sql);
    parser->Release();

    const CLSID nobody = {0x0badc0de, 0x1111, 0x2222, {0x33, 0x33, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44}};
    IUnknown* object = reinterpret_cast<IUnknown*>(1);
    EXPECT_EQ(CoCreateInstance(nobody, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, reinterpret_cast<void**>(&object)),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    if (!wasRegistered) {
        ASSERT_EQ(unregisterServer(), S_OK);
        // Unregistered, the class is gone for the runtime too (the library loaded here is not
        // one the program was linked with).
        EXPECT_EQ(CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IParser,
                                   reinterpret_cast<void**>(&parser)),
                  REGDB_E_CLASSNOTREG);
    }
    FreeLibrary(module);
    CoUninitialize();
}

} // namespace
