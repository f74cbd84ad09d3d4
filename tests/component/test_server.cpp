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
        m_CanUnloadNow = Export<EntryPoint>("DllCanUnloadNow");
        m_GetClassObject = Export<GetClassObject>("DllGetClassObject");
        m_Register = Export<EntryPoint>("DllRegisterServer");
        m_Unregister = Export<EntryPoint>("DllUnregisterServer");
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

    template <typename Function> Function Export(const char* name) {
        return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(m_Module, name)));
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

TEST_F(Server, RegistrationWritesTheClassAndItsProgIdsAndUnregistrationRemovesThem) {
    ASSERT_EQ(m_Register(), S_OK);
    const std::string kClsid = "{621D0E5D-88BE-4A68-9187-98FDFBE88824}";
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
    // %MODULE% is the file the host loaded.
    OLECHAR file[1024] = {};
    ASSERT_GT(GetModuleFileNameW(m_Module, file, 1024), 0u);
    EXPECT_EQ(Value(kClassKey + "\\InprocServer32"), Narrow(file));
    EXPECT_TRUE(KeyExists(kTypeLibKey));

    // Unregistration removes the class, but not the classes' key.
    ASSERT_EQ(m_Unregister(), S_OK);
    for (const std::string& key : {std::string("Tarvolin.Parser.1"), std::string("Tarvolin.Parser"), kClassKey, kTypeLibKey})
        EXPECT_FALSE(KeyExists(key)) << key;
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
    // The report's first word comes from the library's string table.
    EXPECT_EQ(Narrow(source ? source : OLESTR("")) + "/" + Narrow(description ? description : OLESTR("")).substr(0, 12),
              "Tarvolin.Parser.1/Parse error\n");
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
    select->Release();
    EXPECT_EQ(m_CanUnloadNow(), S_OK);
}

} // namespace
