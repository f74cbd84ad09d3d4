// The statement objects handed to the host, and the part objects inside them. Every
// sub-object exists from creation to destruction, so no getter ever returns null.
#pragma once

#include <string>

#include "objectmodel/collections.h"
#include "objectmodel/items.h"
#include "objectmodel/reporterror.h"

// Holds one reference to a sub-object of concrete class T, created with the owner.
template <class T> class CSubObject {
public:
    CSubObject() = default;
    CSubObject(const CSubObject&) = delete;
    CSubObject& operator=(const CSubObject&) = delete;
    ~CSubObject() {
        if (m_p) m_p->Release();
    }
    HRESULT Create() {
        T* p = nullptr;
        HRESULT hr = T::CreateInstance(&p);
        if (FAILED(hr)) return hr;
        p->AddRef();
        m_p = p;
        return S_OK;
    }
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    // Releases the sub-object now, showing an automation error raised by the release.
    void ReleaseShowingErrors() {
        ::ReleaseShowingErrors(static_cast<IUnknown*>(static_cast<typename T::InterfaceType*>(m_p)));
        m_p = nullptr;
    }
    // Writes the sub-object's interface with one added reference.
    template <class Itf> HRESULT Read(Itf** value) const {
        if (!value) return E_POINTER;
        *value = m_p;
        m_p->AddRef();
        return S_OK;
    }

private:
    T* m_p = nullptr;
};

// Creates every sub-object in the list; the first failure is returned.
template <class... Subs> HRESULT CreateAll(Subs&... subs) {
    HRESULT hr = S_OK;
    ((SUCCEEDED(hr) ? (hr = subs.Create(), 0) : 0), ...);
    return hr;
}

HRESULT ReadBool(bool flag, LONG* value);

class cOrderByObj final : public CComDual<cOrderByObj, IOrderByObj, &IID_IOrderByObj> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Column); }
    HRESULT STDMETHODCALLTYPE get_Asc(LONG* value) override { return ReadBool(m_bAsc, value); }
    HRESULT STDMETHODCALLTYPE get_ColumnIdent(IColumnIdent** value) override { return m_Column.Read(value); }
    void SetAsc(bool asc) { m_bAsc = asc; }
    cColumnIdent* Column() const { return m_Column.Get(); }

private:
    CSubObject<cColumnIdent> m_Column;
    bool m_bAsc = true;
};

class cUpdateItem final : public CComDual<cUpdateItem, IUpdateItem, &IID_IUpdateItem> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Column, m_Stack); }
    HRESULT STDMETHODCALLTYPE get_ColumnIdent(IColumnIdent** value) override { return m_Column.Read(value); }
    HRESULT STDMETHODCALLTYPE get_ExpressionStack(IGenericStack** value) override { return m_Stack.Read(value); }
    cColumnIdent* Column() const { return m_Column.Get(); }
    cGenericStack* Stack() const { return m_Stack.Get(); }

private:
    CSubObject<cColumnIdent> m_Column;
    CSubObject<cGenericStack> m_Stack;
};

class cCreateTableItem final : public CComDual<cCreateTableItem, ICreateTableItem, &IID_ICreateTableItem> {
public:
    HRESULT STDMETHODCALLTYPE get_DataLength(SHORT* value) override;
    HRESULT STDMETHODCALLTYPE get_ColName(BSTR* value) override { return NarrowToBSTR(m_strName.View(), value); }
    HRESULT STDMETHODCALLTYPE get_DataType(PARSER_DATATYPE* value) override;
    void SetDataLength(LONG length) { m_nLength = length; }
    void SetColName(std::string_view name) { m_strName.Assign(name); }
    void SetDataType(LONG type) { m_nType = type; }

private:
    LONG m_nLength = 0;
    CCompactText m_strName;
    LONG m_nType = 0;
};

class cSelectStmt final : public CComDual<cSelectStmt, ISelectStmt, &IID_ISelectStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Tables, m_OrderBy, m_Where, m_GroupBy, m_Select, m_Having); }
    ~cSelectStmt() override;

    HRESULT STDMETHODCALLTYPE get_Distinct(LONG* value) override { return ReadBool(m_bDistinct, value); }
    HRESULT STDMETHODCALLTYPE get_TableIdentList(ITableIdentList** value) override { return m_Tables.Read(value); }
    HRESULT STDMETHODCALLTYPE get_OrderByObjList(IOrderByObjList** value) override { return m_OrderBy.Read(value); }
    HRESULT STDMETHODCALLTYPE get_WhereExpressionStack(IGenericStack** value) override { return m_Where.Read(value); }
    HRESULT STDMETHODCALLTYPE get_SelectExpressionList(IGenericStackList** value) override {
        return m_Select.Read(value);
    }
    HRESULT STDMETHODCALLTYPE get_HavingExpressionStack(IGenericStack** value) override {
        return m_Having.Read(value);
    }
    HRESULT STDMETHODCALLTYPE get_GroupByObjList(IColumnIdentList** value) override { return m_GroupBy.Read(value); }
    HRESULT STDMETHODCALLTYPE get_Top(LONG* value) override;
    HRESULT STDMETHODCALLTYPE get_IsTopPercent(LONG* value) override { return ReadBool(m_bTopPercent, value); }
    HRESULT STDMETHODCALLTYPE get_TopPercent(DOUBLE* value) override;
    HRESULT STDMETHODCALLTYPE get_HasLimitClause(LONG* value) override { return ReadBool(m_bHasLimit, value); }
    HRESULT STDMETHODCALLTYPE get_LimitOffset(LONG* value) override;
    HRESULT STDMETHODCALLTYPE get_LimitCount(LONG* value) override;

    cTableIdentList* Tables() const { return m_Tables.Get(); }
    cOrderByObjList* OrderBy() const { return m_OrderBy.Get(); }
    cGenericStack* Where() const { return m_Where.Get(); }
    cColumnIdentList* GroupBy() const { return m_GroupBy.Get(); }
    cGenericStackList* SelectList() const { return m_Select.Get(); }
    cGenericStack* Having() const { return m_Having.Get(); }

    bool m_bDistinct = false;
    LONG m_nTop = 0;
    double m_dTopPercent = 0.0;
    bool m_bTopPercent = false;
    LONG m_nLimitOffset = 0;
    LONG m_nLimitCount = 0;
    bool m_bHasLimit = false;

private:
    CSubObject<cTableIdentList> m_Tables;
    CSubObject<cOrderByObjList> m_OrderBy;
    CSubObject<cGenericStack> m_Where;
    CSubObject<cColumnIdentList> m_GroupBy;
    CSubObject<cGenericStackList> m_Select;
    CSubObject<cGenericStack> m_Having;
};

class cUpdateStmt final : public CComDual<cUpdateStmt, IUpdateStmt, &IID_IUpdateStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Where, m_Table, m_Items); }
    HRESULT STDMETHODCALLTYPE get_TableIdent(ITableIdent** value) override { return m_Table.Read(value); }
    HRESULT STDMETHODCALLTYPE get_UpdateItemList(IUpdateItemList** value) override { return m_Items.Read(value); }
    HRESULT STDMETHODCALLTYPE get_WhereExpressionStack(IGenericStack** value) override { return m_Where.Read(value); }
    cGenericStack* Where() const { return m_Where.Get(); }
    cTableIdent* Table() const { return m_Table.Get(); }
    cUpdateItemList* Items() const { return m_Items.Get(); }

private:
    CSubObject<cGenericStack> m_Where;
    CSubObject<cTableIdent> m_Table;
    CSubObject<cUpdateItemList> m_Items;
};

class cInsertStmt final : public CComDual<cInsertStmt, IInsertStmt, &IID_IInsertStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Table, m_Columns, m_Values); }
    HRESULT STDMETHODCALLTYPE get_TableIdent(ITableIdent** value) override { return m_Table.Read(value); }
    HRESULT STDMETHODCALLTYPE get_ColumnIdentList(IColumnIdentList** value) override { return m_Columns.Read(value); }
    HRESULT STDMETHODCALLTYPE get_InsertExpressionList(IGenericStackList** value) override {
        return m_Values.Read(value);
    }
    cTableIdent* Table() const { return m_Table.Get(); }
    cColumnIdentList* Columns() const { return m_Columns.Get(); }
    cGenericStackList* Values() const { return m_Values.Get(); }

private:
    CSubObject<cTableIdent> m_Table;
    CSubObject<cColumnIdentList> m_Columns;
    CSubObject<cGenericStackList> m_Values;
};

class cDeleteStmt final : public CComDual<cDeleteStmt, IDeleteStmt, &IID_IDeleteStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Table, m_Where); }
    HRESULT STDMETHODCALLTYPE get_TableIdent(ITableIdent** value) override { return m_Table.Read(value); }
    HRESULT STDMETHODCALLTYPE get_WhereExpressionStack(IGenericStack** value) override { return m_Where.Read(value); }
    cTableIdent* Table() const { return m_Table.Get(); }
    cGenericStack* Where() const { return m_Where.Get(); }

private:
    CSubObject<cTableIdent> m_Table;
    CSubObject<cGenericStack> m_Where;
};

class cCreateTableStmt final : public CComDual<cCreateTableStmt, ICreateTableStmt, &IID_ICreateTableStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Table, m_Items); }
    HRESULT STDMETHODCALLTYPE get_TableIdent(ITableIdent** value) override { return m_Table.Read(value); }
    HRESULT STDMETHODCALLTYPE get_CreateTableItemList(ICreateTableItemList** value) override {
        return m_Items.Read(value);
    }
    cTableIdent* Table() const { return m_Table.Get(); }
    cCreateTableItemList* Items() const { return m_Items.Get(); }

private:
    CSubObject<cTableIdent> m_Table;
    CSubObject<cCreateTableItemList> m_Items;
};

class cDropStmt final : public CComDual<cDropStmt, IDropStmt, &IID_IDropStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Table); }
    HRESULT STDMETHODCALLTYPE get_TableIdent(ITableIdent** value) override { return m_Table.Read(value); }
    cTableIdent* Table() const { return m_Table.Get(); }

private:
    CSubObject<cTableIdent> m_Table;
};

class cSetOperationsStmt final : public CComDual<cSetOperationsStmt, ISetOperationsStmt, &IID_ISetOperationsStmt> {
public:
    HRESULT FinalConstruct() { return CreateAll(m_Stack); }
    ~cSetOperationsStmt() override { m_Stack.ReleaseShowingErrors(); }
    HRESULT STDMETHODCALLTYPE get_SetOperationType(INT* value) override;
    // The set operations are items of the stack: the statement itself names none.
    HRESULT STDMETHODCALLTYPE get_IsUnionAll(LONG* value) override { return ReadBool(kUnionAll, value); }
    HRESULT STDMETHODCALLTYPE get_SetOperationsExpressionStack(IGenericStack** value) override {
        return m_Stack.Read(value);
    }
    cGenericStack* Stack() const { return m_Stack.Get(); }

private:
    static constexpr bool kUnionAll = false;
    static constexpr INT kNoSetOperationType = -1;
    CSubObject<cGenericStack> m_Stack;
};
