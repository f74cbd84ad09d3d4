// The entry points and the class factory of Parser: which classes it hands out, when the
// module may be unloaded, and aggregation.
#include <gtest/gtest.h>

#include "component/classfactory.h"
#include "interfaces/interfaces.h"
#include "objectmodel/module.h"

namespace {

class Component : public ::testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(CModule::LiveObjects(), 0);
        EXPECT_EQ(DllCanUnloadNow(), S_OK);
    }
};

IClassFactory* Factory() {
    IClassFactory* factory = nullptr;
    EXPECT_EQ(DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
    return factory;
}

HRESULT Parse(IParser* parser, const OLECHAR* sql) {
    BSTR text = SysAllocString(sql);
    HRESULT hr = parser->ParseSQL(text);
    SysFreeString(text);
    return hr;
}

TEST_F(Component, OnlyParserIsAvailable) {
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(DllGetClassObject(CLSID_SelectStmt, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(DllGetClassObject(CLSID_GenericStack, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(DllGetClassObject(CLSID_Parser, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(DllGetClassObject(CLSID_Parser, IID_IParser, &object), E_NOINTERFACE);
    // The factory is cached: every request gets the same one.
    IClassFactory* a = Factory();
    IClassFactory* b = Factory();
    EXPECT_EQ(a, b);
    a->Release();
    b->Release();
}

TEST_F(Component, OutsideReferencesAndLocksKeepTheModuleLoaded) {
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    IClassFactory* factory = Factory();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE); // a host holds the factory
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE); // the lock
    factory = Factory();
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);

    IParser* parser = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser)), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE); // the parser
    ASSERT_EQ(Parse(parser, OLESTR("SELECT a FROM t WHERE b = 1")), S_OK);
    ISelectStmt* select = nullptr;
    parser->get_SelectStmt(&select);
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    select->Release();
    parser->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE); // a stack the host still holds
    LONG count = 0;
    where->get_Count(&count);
    EXPECT_EQ(count, 3);
    where->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST_F(Component, CreateInstanceArguments) {
    IClassFactory* factory = Factory();
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IParser, nullptr), E_POINTER);
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_ISelectStmt, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    IDispatch* dispatch = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
    dispatch->Release();
    factory->Release();
}

// An outer object that aggregates a Parser and counts the references it receives.
struct Outer : IUnknown {
    ULONG refs = 1;
    IUnknown* inner = nullptr;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (IsEqualGUID(iid, IID_IUnknown)) {
            *result = this;
            AddRef();
            return S_OK;
        }
        return inner->QueryInterface(iid, result);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
};

TEST_F(Component, Aggregation) {
    IClassFactory* factory = Factory();
    Outer outer;
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IParser, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)), S_OK);
    factory->Release();
    EXPECT_EQ(outer.refs, 1u); // the inner unknown holds no reference to the outer object

    IParser* parser = nullptr;
    ASSERT_EQ(outer.QueryInterface(IID_IParser, reinterpret_cast<void**>(&parser)), S_OK);
    EXPECT_EQ(outer.refs, 2u); // the parser's references are the outer object's
    IUnknown* identity = nullptr;
    parser->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    EXPECT_EQ(identity, static_cast<IUnknown*>(&outer));
    identity->Release();
    EXPECT_EQ(Parse(parser, OLESTR("DROP TABLE t")), S_OK);
    STATEMENT_TYPE type;
    parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_DROPTABLE);
    parser->Release();
    EXPECT_EQ(outer.refs, 1u);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    outer.inner->Release(); // the outer object lets go of its part
}

} // namespace
