// The component as a host loads it: the library file, its four entry points, what
// registration writes and removes, and the objects it hands out through its factory.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"
#include "tests/component/registry_reader.h"

#include "tarvolin_h.h"

namespace {

using namespace registry_reader;

const std::string kClassKey = "CLSID\\{621D0E5D-88BE-4A68-9187-98FDFBE88824}";
const std::string kTypeLibKey = "TypeLib\\{E528582E-8B1D-4948-9BA7-CB86CC797672}\\1.0";

using EntryPoint = HRESULT(STDAPICALLTYPE*)();
using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, LPVOID*);

// The library loaded as a host loads it, with its entry points.
class Server : public ::testing::Test {
protected:
    void SetUp() override {
        const OleText path = Wide(TARVOLIN_LIBRARY_PATH);
        m_Module = LoadLibraryW(path.c_str());
        ASSERT_NE(m_Module, nullptr) << TARVOLIN_LIBRARY_PATH;
        ASSERT_EQ(GetModuleHandleW(path.c_str()), m_Module);
        m_CanUnloadNow = reinterpret_cast<EntryPoint>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, "DllCanUnloadNow")));
        m_GetClassObject = reinterpret_cast<GetClassObject>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, "DllGetClassObject")));
        m_Register = reinterpret_cast<EntryPoint>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, "DllRegisterServer")));
        m_Unregister = reinterpret_cast<EntryPoint>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, "DllUnregisterServer")));
        ASSERT_TRUE(m_CanUnloadNow && m_GetClassObject && m_Register && m_Unregister);
        // Other tests of the same machine may rely on the registration: put it back after.
        m_WasRegistered = KeyExists(kClassKey + "\\InprocServer32");
    }
    void TearDown() override {
        if (!m_Module) return;
        if (m_WasRegistered) {
            EXPECT_EQ(m_Register(), S_OK);
        }
        EXPECT_EQ(m_CanUnloadNow(), S_OK);
        FreeLibrary(m_Module);
        // The last reference gone, the library is unloaded (it detaches and keeps nothing
        // in memory between hosts).
        EXPECT_EQ(GetModuleHandleW(Wide(TARVOLIN_LIBRARY_PATH).c_str()), nullptr);
    }

    IParser* NewParser() {
        IClassFactory* factory = nullptr;
        EXPECT_EQ(m_GetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
        if (!factory) return nullptr;
        IParser* parser = nullptr;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser)), S_OK);
        factory->Release();
        return parser;
    }

    HMODULE m_Module = nullptr;
    EntryPoint m_CanUnloadNow = nullptr;
    GetClassObject m_GetClassObject = nullptr;
    EntryPoint m_Register = nullptr;
    EntryPoint m_Unregister = nullptr;
    bool m_WasRegistered = false;
};

TEST_F(Server, RegistrationWritesTheClassAndItsProgIds) {
    ASSERT_EQ(m_Register(), S_OK);
    EXPECT_EQ(Value("Tarvolin.Parser.1"), "Parser Class");
    EXPECT_EQ(Value("Tarvolin.Parser.1\\CLSID"), "{621D0E5D-88BE-4A68-9187-98FDFBE88824}");
    EXPECT_EQ(Value("Tarvolin.Parser"), "Parser Class");
    EXPECT_EQ(Value("Tarvolin.Parser\\CLSID"), "{621D0E5D-88BE-4A68-9187-98FDFBE88824}");
    EXPECT_EQ(Value("Tarvolin.Parser\\CurVer"), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(kClassKey), "Parser Class");
    EXPECT_EQ(Value(kClassKey + "\\ProgID"), "Tarvolin.Parser.1");
    EXPECT_EQ(Value(kClassKey + "\\VersionIndependentProgID"), "Tarvolin.Parser");
    EXPECT_TRUE(KeyExists(kClassKey + "\\Programmable"));
    EXPECT_EQ(Value(kClassKey + "\\TypeLib"), "{E528582E-8B1D-4948-9BA7-CB86CC797672}");
    EXPECT_EQ(Value(kClassKey + "\\InprocServer32", "ThreadingModel"), "Apartment");
    // %MODULE% is the file the host loaded.
    OLECHAR file[1024] = {};
    ASSERT_GT(GetModuleFileNameW(m_Module, file, 1024), 0u);
    EXPECT_EQ(Value(kClassKey + "\\InprocServer32"), Narrow(file));
    EXPECT_TRUE(KeyExists(kTypeLibKey));
    // Registering again replaces stale content of the class key.
    HKEY stale = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, Wide(kClassKey + "\\Stale").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                              &stale, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(stale);
    ASSERT_EQ(m_Register(), S_OK);
    EXPECT_FALSE(KeyExists(kClassKey + "\\Stale"));
    EXPECT_EQ(Value(kClassKey + "\\ProgID"), "Tarvolin.Parser.1");
}

TEST_F(Server, UnregistrationRemovesTheClassButNotTheClassesKey) {
    ASSERT_EQ(m_Register(), S_OK);
    ASSERT_EQ(m_Unregister(), S_OK);
    EXPECT_FALSE(KeyExists("Tarvolin.Parser.1"));
    EXPECT_FALSE(KeyExists("Tarvolin.Parser"));
    EXPECT_FALSE(KeyExists(kClassKey));
    EXPECT_FALSE(KeyExists(kTypeLibKey));
    EXPECT_TRUE(KeyExists("CLSID"));
}

TEST_F(Server, ParseErrorsCarryTheRegisteredProgIdAsSource) {
    ASSERT_EQ(m_Register(), S_OK);
    IParser* parser = NewParser();
    ASSERT_NE(parser, nullptr);
    EXPECT_EQ(m_CanUnloadNow(), S_FALSE);
    BSTR sql = SysAllocString(OLESTR("SELECT FROM"));
    EXPECT_EQ(parser->ParseSQL(sql), DISP_E_EXCEPTION);
    SysFreeString(sql);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    BSTR source = nullptr, description = nullptr;
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(info->GetDescription(&description), S_OK);
    EXPECT_EQ(Narrow(source ? source : OLESTR("")), "Tarvolin.Parser.1");
    // The report's first word comes from the library's string table.
    EXPECT_EQ(Narrow(description ? description : OLESTR("")).substr(0, 12), "Parse error\n");
    SysFreeString(source);
    SysFreeString(description);
    info->Release();

    // A statement outlives the parser and keeps the library in use.
    sql = SysAllocString(OLESTR("SELECT a FROM t"));
    ASSERT_EQ(parser->ParseSQL(sql), S_OK);
    SysFreeString(sql);
    ISelectStmt* select = nullptr;
    ASSERT_EQ(parser->get_SelectStmt(&select), S_OK);
    parser->Release();
    EXPECT_EQ(m_CanUnloadNow(), S_FALSE);
    ITableIdentList* tables = nullptr;
    ASSERT_EQ(select->get_TableIdentList(&tables), S_OK);
    select->Release();
    LONG count = 0;
    EXPECT_EQ(tables->get_Count(&count), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(m_CanUnloadNow(), S_FALSE);
    tables->Release();
    EXPECT_EQ(m_CanUnloadNow(), S_OK);
}

TEST_F(Server, OnlyParserIsServedAndAHeldFactoryKeepsTheLibrary) {
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(m_GetClassObject(CLSID_SelectStmt, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    IClassFactory* factory = nullptr;
    ASSERT_EQ(m_GetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    EXPECT_EQ(m_CanUnloadNow(), S_FALSE);
    factory->Release();
    EXPECT_EQ(m_CanUnloadNow(), S_OK);
}

} // namespace
