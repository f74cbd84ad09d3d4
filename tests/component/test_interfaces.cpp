// The declarations generated from tarvolin.idl, as a client compiled elsewhere sees them:
// every GUID its own, and the methods of a dual interface in the vtable slots that follow
// IUnknown's and IDispatch's (enumeration values show in the tool's dumps, tests/sql).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"

#include "tarvolin_h.h"

namespace {

TEST(Guids, EveryInterfaceClassAndTheLibraryHaveTheirOwn) {
    const std::vector<const GUID*> guids = {
        &LIBID_TARVOLINLib,
        &IID_IExpressionItem, &IID_IAggregateFunction, &IID_ISelectStarExpression, &IID_IColumnIdent,
        &IID_IAritOperator, &IID_IBoolOperator, &IID_ICompareOperator, &IID_IDateFunction, &IID_ILiteralValue,
        &IID_IMathFunction, &IID_INullExpression, &IID_IJoinOperator, &IID_ITableIdent, &IID_ICaseState,
        &IID_IConditionalStatement, &IID_ISetOperator, &IID_ITableIdentList, &IID_IColumnIdentList,
        &IID_IOrderByObjList, &IID_IGenericStackList, &IID_IUpdateItemList, &IID_ICreateTableItemList,
        &IID_IGenericColl, &IID_IGenericStack, &IID_ISelectStmt, &IID_IUpdateStmt, &IID_IInsertStmt,
        &IID_IDeleteStmt, &IID_ICreateTableStmt, &IID_IDropStmt, &IID_ISetOperationsStmt, &IID_IOrderByObj,
        &IID_IUpdateItem, &IID_ICreateTableItem, &IID_IParser,
        &CLSID_AggregateFunction, &CLSID_SelectStarExpression, &CLSID_ColumnIdent, &CLSID_AritOperator,
        &CLSID_BoolOperator, &CLSID_CompareOperator, &CLSID_DateFunction, &CLSID_LiteralValue, &CLSID_MathFunction,
        &CLSID_NullExpression, &CLSID_JoinOperator, &CLSID_TableIdent, &CLSID_CaseState,
        &CLSID_ConditionalStatement, &CLSID_SetOperator, &CLSID_TableIdentList, &CLSID_ColumnIdentList,
        &CLSID_GenericStackList, &CLSID_UpdateItemList, &CLSID_CreateTableItemList, &CLSID_GenericColl,
        &CLSID_GenericStack, &CLSID_OrderByObjList, &CLSID_SelectStmt, &CLSID_UpdateStmt, &CLSID_InsertStmt,
        &CLSID_DeleteStmt, &CLSID_CreateTableStmt, &CLSID_DropStmt, &CLSID_SetOperationsStmt, &CLSID_OrderByObj,
        &CLSID_UpdateItem, &CLSID_CreateTableItem, &CLSID_Parser,
    };
    EXPECT_EQ(guids.size(), 70u); // the library, 35 interfaces, 34 classes
    for (size_t i = 0; i < guids.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FALSE(IsEqualGUID(*guids[i], GUID_NULL));
        EXPECT_FALSE(IsEqualGUID(*guids[i], IID_IUnknown));
        EXPECT_FALSE(IsEqualGUID(*guids[i], IID_IDispatch));
        for (size_t j = 0; j < i; ++j) EXPECT_FALSE(IsEqualGUID(*guids[i], *guids[j])) << "same as " << j;
    }
}

// Calls the function in a vtable slot of an interface pointer, the way a C client or a
// client of another compiler does.
template <typename R, typename... Args>
R CallSlot(void* object, size_t slot, Args... args) {
    using Function = R(STDMETHODCALLTYPE*)(void*, Args...);
    void** vtable = *static_cast<void***>(object);
    return reinterpret_cast<Function>(vtable[slot])(object, args...);
}

// The methods every dual interface starts with; each notes its name when called.
template <typename Interface>
struct Recorder : Interface {
    std::string called;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return Note("QueryInterface"); }
    ULONG STDMETHODCALLTYPE AddRef() override { return Note("AddRef"); }
    ULONG STDMETHODCALLTYPE Release() override { return Note("Release"); }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return Note("GetTypeInfoCount"); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return Note("GetTypeInfo"); }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return Note("GetIDsOfNames");
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return Note("Invoke");
    }
    HRESULT Note(const char* name) {
        called = name;
        return S_OK;
    }
};

struct StackRecorder : Recorder<IGenericStack> {
    LONG pushed = 0;
    HRESULT STDMETHODCALLTYPE get_Count(LONG*) override { return Note("Count"); }
    HRESULT STDMETHODCALLTYPE Push(VARIANT value) override {
        pushed = V_I4(&value);
        return Note("Push");
    }
    HRESULT STDMETHODCALLTYPE Pop(VARIANT*) override { return Note("Pop"); }
    HRESULT STDMETHODCALLTYPE Peek(VARIANT*) override { return Note("Peek"); }
    HRESULT STDMETHODCALLTYPE get_AsName(BSTR*) override { return Note("AsName"); }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return Note("_NewEnum"); }
    HRESULT STDMETHODCALLTYPE get_Item(LONG, VARIANT*) override { return Note("Item"); }
};

// The seven slots of IUnknown and IDispatch, in their order.
template <typename Fake>
void ExpectDispatchSlots(Fake& fake, void* object) {
    CallSlot<HRESULT>(object, 0, &IID_IUnknown, static_cast<void**>(nullptr));
    EXPECT_EQ(fake.called, "QueryInterface");
    CallSlot<ULONG>(object, 1);
    EXPECT_EQ(fake.called, "AddRef");
    CallSlot<ULONG>(object, 2);
    EXPECT_EQ(fake.called, "Release");
    CallSlot<HRESULT>(object, 3, static_cast<UINT*>(nullptr));
    EXPECT_EQ(fake.called, "GetTypeInfoCount");
    CallSlot<HRESULT>(object, 4, 0u, LCID(0), static_cast<ITypeInfo**>(nullptr));
    EXPECT_EQ(fake.called, "GetTypeInfo");
    CallSlot<HRESULT>(object, 5, &IID_NULL, static_cast<LPOLESTR*>(nullptr), 0u, LCID(0),
                      static_cast<DISPID*>(nullptr));
    EXPECT_EQ(fake.called, "GetIDsOfNames");
    CallSlot<HRESULT>(object, 6, DISPID(0), &IID_NULL, LCID(0), WORD(0), static_cast<DISPPARAMS*>(nullptr),
                      static_cast<VARIANT*>(nullptr), static_cast<EXCEPINFO*>(nullptr), static_cast<UINT*>(nullptr));
    EXPECT_EQ(fake.called, "Invoke");
}

TEST(Vtables, GenericStackMembersFollowIDispatchInDispidOrder) {
    StackRecorder fake;
    void* object = static_cast<IGenericStack*>(&fake);
    ExpectDispatchSlots(fake, object);
    const char* const members[] = {"Count", "Push", "Pop", "Peek", "AsName", "_NewEnum", "Item"};
    for (size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(members[i]);
        const size_t slot = 7 + i;
        if (std::strcmp(members[i], "Push") == 0) {
            VARIANT v;
            VariantInit(&v);
            V_VT(&v) = VT_I4;
            V_I4(&v) = 4711;
            CallSlot<HRESULT>(object, slot, v); // a VARIANT passed by value
            EXPECT_EQ(fake.pushed, 4711);
        } else if (std::strcmp(members[i], "Item") == 0) {
            CallSlot<HRESULT>(object, slot, LONG(1), static_cast<VARIANT*>(nullptr));
        } else {
            CallSlot<HRESULT>(object, slot, static_cast<void*>(nullptr));
        }
        EXPECT_EQ(fake.called, members[i]);
    }
}

} // namespace
