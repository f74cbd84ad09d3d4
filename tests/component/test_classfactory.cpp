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

TEST_F(Component, OnlyParserIsAvailable) {
    void* object = reinterpret_cast<void*>(1);
    for (REFCLSID other : {CLSID_SelectStmt, CLSID_GenericStack}) {
        EXPECT_EQ(DllGetClassObject(other, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(DllGetClassObject(CLSID_Parser, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(DllGetClassObject(CLSID_Parser, IID_IParser, &object), E_NOINTERFACE);
    // The factory is cached: every request gets the same one.
    IClassFactory* factory = Factory();
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IParser, nullptr), E_POINTER);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_ISelectStmt, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    IClassFactory* again = Factory();
    EXPECT_EQ(again, factory);
    again->Release();
    factory->Release();
}

TEST_F(Component, OutsideReferencesAndLocksKeepTheModuleLoaded) {
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
    parser->Release();
}

// An outer object that aggregates a Parser and counts the references it receives.
struct Outer : IUnknown {
    ULONG refs = 1;
    IUnknown* inner = nullptr;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!IsEqualGUID(iid, IID_IUnknown)) return inner->QueryInterface(iid, result);
        *result = this;
        AddRef();
        return S_OK;
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
    IUnknown* identity = nullptr;
    ASSERT_EQ(outer.QueryInterface(IID_IParser, reinterpret_cast<void**>(&parser)), S_OK);
    EXPECT_EQ(outer.refs, 2u); // the parser's references are the outer object's
    parser->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    EXPECT_EQ(identity, static_cast<IUnknown*>(&outer));
    identity->Release();
    parser->Release();
    EXPECT_EQ(outer.refs, 1u);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    outer.inner->Release(); // the outer object lets go of its part
}

} // namespace
