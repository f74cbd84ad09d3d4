#include "builder/parser.h"

#include <new>

#include "builder/builders.h"
#include "builder/convert.h"
#include "builder/ref.h"
#include "objectmodel/reporterror.h"

namespace {

template <class T> void ReleaseField(T*& field) {
    if (field) field->Release();
    field = nullptr;
}

} // namespace

cParser::~cParser() { ClearStatements(); }

void cParser::ClearStatements() {
    m_ParseTree.Reset();
    ReleaseField(m_pSelectStmt);
    ReleaseField(m_pUpdateStmt);
    ReleaseField(m_pInsertStmt);
    ReleaseField(m_pDeleteStmt);
    ReleaseField(m_pCreateTableStmt);
    ReleaseField(m_pDropStmt);
    ReleaseField(m_pSetOperationsStmt);
    m_nStatementType = STATEMENT_TYPE_UNKNOWN;
}

HRESULT cParser::get_StatementType(STATEMENT_TYPE* value) {
    if (!value) return E_POINTER;
    *value = m_nStatementType;
    return S_OK;
}

// The object is created with all its parts, filled, and only then kept: a build that
// fails halfway leaves the parser empty.
template <class T, class Fill> void cParser::Build(T*& field, STATEMENT_TYPE type, Fill fill) {
    CRef<T> statement = New<T>();
    fill(statement.Get());
    field = statement.Detach();
    m_nStatementType = type;
}

void cParser::BuildStatement() {
    const CSQLNode* root = m_ParseTree.GetRoot();
    if (!root) return;
    CConvertScope scope(m_Scratch);
    const CParseTree& tree = m_ParseTree;
    switch (root->m_nKind) {
    case NODE_KIND_SELECT:
        Build(m_pSelectStmt, STATEMENT_TYPE_SELECT, [&](cSelectStmt* s) { BuildSelectStmt(s, root); });
        break;
    case NODE_KIND_UPDATE:
        Build(m_pUpdateStmt, STATEMENT_TYPE_UPDATE, [&](cUpdateStmt* s) { BuildUpdateStmt(s, tree); });
        break;
    case NODE_KIND_INSERT:
        Build(m_pInsertStmt, STATEMENT_TYPE_INSERT, [&](cInsertStmt* s) { BuildInsertStmt(s, tree); });
        break;
    case NODE_KIND_DELETE:
        Build(m_pDeleteStmt, STATEMENT_TYPE_DELETE, [&](cDeleteStmt* s) { BuildDeleteStmt(s, tree); });
        break;
    case NODE_KIND_CREATE_TABLE:
        Build(m_pCreateTableStmt, STATEMENT_TYPE_CREATETABLE,
              [&](cCreateTableStmt* s) { BuildCreateTableStmt(s, tree); });
        break;
    case NODE_KIND_DROP_TABLE:
        Build(m_pDropStmt, STATEMENT_TYPE_DROPTABLE, [&](cDropStmt* s) { BuildDropStmt(s, tree); });
        break;
    case NODE_KIND_UNION:
    case NODE_KIND_UNION_ALL:
    case NODE_KIND_INTERSECT:
    case NODE_KIND_EXCEPT:
        Build(m_pSetOperationsStmt, STATEMENT_TYPE_SETOPERATIONS,
              [&](cSetOperationsStmt* s) { BuildSetOperationsStack(root, s->Stack()); });
        break;
    default: break;
    }
}

HRESULT cParser::ParseSQL(BSTR text) {
    // The pool keeps what the last statement took for this one (before its objects go).
    ObjectPool::NextStatement();
    ClearStatements();
    try {
        if (m_ParseTree.Parse(text) != PARSE_ACCEPTED) {
            const std::string report = m_ParseTree.GetErrorText();
            return ReportError(CLSID_Parser, report.c_str());
        }
        m_Scratch.Prepare(SysStringLen(text));
        BuildStatement();
        return S_OK;
    } catch (const CBuildError& e) {
        ClearStatements();
        return e.hr;
    } catch (const std::bad_alloc&) {
        ClearStatements();
        return E_OUTOFMEMORY;
    }
}
