#include <cstdlib>

#include "builder/builders.h"
#include "builder/convert.h"
#include "builder/ref.h"
#include "parsetree/treelayout.h"

void BuildUpdateStmt(cUpdateStmt* statement, const CParseTree& tree) {
    FillTableIdent(tree.LookupNamedNode(NamedNode::kNameIdent), statement->Table());
    for (const CSQLNode* u = tree.LookupNamedNode(NamedNode::kUpdateList); u; u = u->m_pNext) {
        CRef<cUpdateItem> item = New<cUpdateItem>();
        FillColumnIdent(u->m_pLeft, item->Column());
        BuildExpressionStack(u->m_pRight, item->Stack());
        Check(statement->Items()->Append(item->Dispatch()));
    }
    BuildExpressionStack(tree.LookupNamedNode(NamedNode::kWhereClause), statement->Where());
}

void BuildInsertStmt(cInsertStmt* statement, const CParseTree& tree) {
    BuildColumnIdentList(tree.LookupNamedNode(NamedNode::kInsertColSpec), statement->Columns());
    FillTableIdent(tree.LookupNamedNode(NamedNode::kNameIdent), statement->Table());
    BuildStackList(tree.LookupNamedNode(NamedNode::kInsertValueList), statement->Values());
}

void BuildDeleteStmt(cDeleteStmt* statement, const CParseTree& tree) {
    FillTableIdent(tree.LookupNamedNode(NamedNode::kNameIdent), statement->Table());
    BuildExpressionStack(tree.LookupNamedNode(NamedNode::kWhereClause), statement->Where());
}

void BuildDropStmt(cDropStmt* statement, const CParseTree& tree) {
    FillTableIdent(tree.LookupNamedNode(NamedNode::kNameIdent), statement->Table());
}

void BuildCreateTableStmt(cCreateTableStmt* statement, const CParseTree& tree) {
    FillTableIdent(tree.LookupNamedNode(NamedNode::kNameIdent), statement->Table());
    for (const CSQLNode* c = tree.LookupNamedNode(NamedNode::kColDataTypeList); c; c = c->m_pNext) {
        CRef<cCreateTableItem> item = New<cCreateTableItem>();
        FillCreateTableItem(c, item.Get());
        Check(statement->Items()->Append(item->Dispatch()));
    }
}

// Data type and byte length per column type. SMALLINT has no data type of its own: it is
// reported as an integer of two bytes.
void FillCreateTableItem(const CSQLNode* definition, cCreateTableItem* item) {
    const CSQLNode* type = definition->m_pLeft;
    PARSER_DATATYPE dataType = PARSER_DATATYPE_INTEGER;
    LONG length = 0;
    switch (type ? type->m_nKind : 0) {
    case NODE_KIND_CHAR_TYPE:
        dataType = PARSER_DATATYPE_STRING;
        length = static_cast<LONG>(ReadLong(type->m_pLeft));
        break;
    case NODE_KIND_INTEGER_TYPE: dataType = PARSER_DATATYPE_INTEGER; length = 4; break;
    case NODE_KIND_FLOAT_TYPE: dataType = PARSER_DATATYPE_FLOAT; length = 8; break;
    case NODE_KIND_SMALLINT_TYPE: dataType = PARSER_DATATYPE_INTEGER; length = 2; break;
    default: break;
    }
    item->SetColName(NodeText(definition));
    item->SetDataType(dataType);
    item->SetDataLength(length);
}
