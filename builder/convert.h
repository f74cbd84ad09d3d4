// Expression conversion: a parse-tree expression becomes a flat sequence of expression
// items in postfix order (operands first, left before right, then the operator), and the
// small conversions the statement builders share. All walks are iterative.
#pragma once

#include <string>
#include <string_view>

#include "objectmodel/collections.h"
#include "objectmodel/items.h"
#include "parsetree/sqlnode.h"

// Appends the items of the subtree at node (nothing for a null node).
void ConvertExpression(const CSQLNode* node, cGenericStack* stack);

// A column-alias node names the stack after its alias and converts the aliased expression;
// any other node is converted as it is.
void BuildExpressionStack(const CSQLNode* node, cGenericStack* stack);

// One stack per element of the m_pNext chain starting at first.
void BuildStackList(const CSQLNode* first, cGenericStackList* list);

// Table and column names of a column reference, a number or an identifier; false for a
// node of another kind.
bool FillColumnIdent(const CSQLNode* node, cColumnIdent* column);

// One column per element of the m_pNext chain starting at first.
void BuildColumnIdentList(const CSQLNode* first, cColumnIdentList* list);

// Name (and alias, for a table-alias node) of a table reference.
void FillTableIdent(const CSQLNode* node, cTableIdent* table);

// The text of a node's token, or an empty text.
std::string_view NodeText(const CSQLNode* node);
