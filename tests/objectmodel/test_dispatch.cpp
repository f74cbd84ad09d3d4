// IDispatch served from the registered type library. Where a type-library loader exists
// (Windows, Wine) the test registers the generated library and checks the member ids and
// names (the script clients under Wine walk whole statements by name, enumerators and the
// default member included); natively the library registers but has no type information,
// so every dispatch call fails with TYPE_E_CANTLOADLIBRARY while the vtable calls work.
#include "common.h"
#include "tests/platform/helpers.h"

#include <string>

namespace {

class Dispatch : public ObjectTest {
protected:
    void SetUp() override {
        // A registration made outside this program (by registering the component) is used
        // as it is and left in place.
        BSTR registeredPath = nullptr;
        m_WasRegistered = SUCCEEDED(QueryPathOfRegTypeLib(LIBID_TARVOLINLib, 1, 0, 0, &registeredPath));
        SysFreeString(registeredPath);
        ITypeLib* library = nullptr;
        m_hrLoad = m_WasRegistered
                       ? E_FAIL
                       : LoadTypeLib(platformtest::PlatformPath(TARVOLIN_TLB_PATH).c_str(), &library);
        if (SUCCEEDED(m_hrLoad)) {
            std::basic_string<OLECHAR> path = platformtest::PlatformPath(TARVOLIN_TLB_PATH);
            m_hrLoad = RegisterTypeLib(library, const_cast<LPOLESTR>(path.c_str()), nullptr);
            library->Release();
        }
        ITypeLib* registered = nullptr;
        m_hrDispatch = LoadRegTypeLib(LIBID_TARVOLINLib, 1, 0, 0, &registered);
        if (registered) registered->Release();
    }
    // The library is registered for this program only; the prefix stays as it was.
    void TearDown() override {
        if (m_hrLoad == S_OK) UnRegisterTypeLib(LIBID_TARVOLINLib, 1, 0, 0, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
        ObjectTest::TearDown();
    }
    HRESULT m_hrLoad = E_FAIL;
    bool m_WasRegistered = false;
    // Natively the library registers, but there is no type information to serve IDispatch
    // with: LoadRegTypeLib says the registered library cannot be loaded.
    HRESULT m_hrDispatch = E_FAIL;
};

DISPID IdOf(IDispatch* object, const OLECHAR* name, HRESULT* hr) {
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    DISPID id = DISPID_UNKNOWN;
    *hr = object->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
    return id;
}

HRESULT Get(IDispatch* object, DISPID id, WORD flags, VARIANT* result) {
    DISPPARAMS none = {nullptr, nullptr, 0, 0};
    VariantInit(result);
    return object->Invoke(id, IID_NULL, 0, flags, &none, result, nullptr, nullptr);
}

TEST_F(Dispatch, MemberIdsAndNames) {
    ASSERT_TRUE(m_WasRegistered || m_hrLoad == S_OK) << std::hex << m_hrLoad;
    Held<cColumnIdent> column;
    column->SetTableName("t");
    column->SetColumnName("qty");
    IDispatch* dispatch = column->Dispatch();
    HRESULT hr = S_OK;
    const DISPID id = IdOf(dispatch, OLESTR("ColumnName"), &hr);
    VARIANT v;
    if (m_hrDispatch == TYPE_E_CANTLOADLIBRARY) {
        // No type information: the dispatch side reports it, the interface side works.
        EXPECT_EQ(hr, TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(Get(dispatch, 4, DISPATCH_PROPERTYGET, &v), TYPE_E_CANTLOADLIBRARY);
        EXPECT_EQ(Text(column.p), "t.qty");
        return;
    }
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(id, 4);
    EXPECT_EQ(IdOf(dispatch, OLESTR("AsString"), &hr), 1); // inherited from IExpressionItem
    IdOf(dispatch, OLESTR("NoSuchMember"), &hr);
    EXPECT_EQ(hr, DISP_E_UNKNOWNNAME);
    ASSERT_EQ(Get(dispatch, id, DISPATCH_PROPERTYGET, &v), S_OK);
    EXPECT_EQ(Narrow(V_BSTR(&v)), "qty");
    VariantClear(&v);
    // A property read whose value is used as a method call (as JScript makes it).
    ASSERT_EQ(Get(dispatch, 1, DISPATCH_METHOD, &v), S_OK);
    EXPECT_EQ(Narrow(V_BSTR(&v)), "t.qty");
    VariantClear(&v);
    ASSERT_EQ(Get(dispatch, 2, DISPATCH_PROPERTYGET, &v), S_OK);
    EXPECT_EQ(V_I4(&v), EXPRESSIONITEM_TYPE_COLUMNIDENT);
}

} // namespace
