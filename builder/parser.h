// The Parser object: parses one statement at a time and keeps the statement object of the
// last successful parse.
#pragma once

#include "builder/convert.h"
#include "objectmodel/statements.h"
#include "parsetree/parsetree.h"

class cParser : public CAggregatable<CComDual<cParser, IParser, &IID_IParser>> {
public:
    // The trace is needed only for the report of a rejected statement: the tree records it
    // only then (see CParseTree::SetTraceKept).
    cParser() { m_ParseTree.SetTraceKept(false); }
    ~cParser() override;

    HRESULT STDMETHODCALLTYPE ParseSQL(BSTR text) override;
    HRESULT STDMETHODCALLTYPE get_SelectStmt(ISelectStmt** value) override { return Read(m_pSelectStmt, value); }
    HRESULT STDMETHODCALLTYPE get_UpdateStmt(IUpdateStmt** value) override { return Read(m_pUpdateStmt, value); }
    HRESULT STDMETHODCALLTYPE get_StatementType(STATEMENT_TYPE* value) override;
    HRESULT STDMETHODCALLTYPE get_InsertStmt(IInsertStmt** value) override { return Read(m_pInsertStmt, value); }
    HRESULT STDMETHODCALLTYPE get_DeleteStmt(IDeleteStmt** value) override { return Read(m_pDeleteStmt, value); }
    HRESULT STDMETHODCALLTYPE get_CreateTableStmt(ICreateTableStmt** value) override {
        return Read(m_pCreateTableStmt, value);
    }
    HRESULT STDMETHODCALLTYPE get_DropTableStmt(IDropStmt** value) override { return Read(m_pDropStmt, value); }
    HRESULT STDMETHODCALLTYPE get_SetOperationsStmt(ISetOperationsStmt** value) override {
        return Read(m_pSetOperationsStmt, value);
    }

    // Forgets the last parse: resets the tree and releases the statement object.
    void ClearStatements();
    // Creates and fills the statement object that matches the root node's kind.
    void BuildStatement();

    const CParseTree& Tree() const { return m_ParseTree; }
    const CConvertScratch& Scratch() const { return m_Scratch; }

private:
    template <class T, class Itf> static HRESULT Read(T* statement, Itf** value) {
        if (!value) return E_POINTER;
        *value = statement;
        if (statement) statement->AddRef();
        return S_OK;
    }
    template <class T, class Fill> void Build(T*& field, STATEMENT_TYPE type, Fill fill);

    CParseTree m_ParseTree;
    CConvertScratch m_Scratch; // the conversions' working room, kept between statements
    cSelectStmt* m_pSelectStmt = nullptr;
    cUpdateStmt* m_pUpdateStmt = nullptr;
    cInsertStmt* m_pInsertStmt = nullptr;
    cDeleteStmt* m_pDeleteStmt = nullptr;
    cCreateTableStmt* m_pCreateTableStmt = nullptr;
    cDropStmt* m_pDropStmt = nullptr;
    cSetOperationsStmt* m_pSetOperationsStmt = nullptr;
    STATEMENT_TYPE m_nStatementType = STATEMENT_TYPE_UNKNOWN;
};
