// The statement builders: each fills a freshly created statement object from the parse
// tree. They report nothing for absent clauses (the lists and stacks stay empty); lack of
// memory is thrown as CBuildError or std::bad_alloc and turned into a result by ParseSQL.
#pragma once

#include "objectmodel/statements.h"
#include "parsetree/parsetree.h"

void BuildSelectStmt(cSelectStmt* statement, const CSQLNode* select);
// Appends the postfix items of one table-reference tree; false for an unknown node kind.
bool BuildJoinStack(const CSQLNode* node, cGenericStack* stack);

void BuildUpdateStmt(cUpdateStmt* statement, const CParseTree& tree);
void BuildInsertStmt(cInsertStmt* statement, const CParseTree& tree);
void BuildDeleteStmt(cDeleteStmt* statement, const CParseTree& tree);
void BuildDropStmt(cDropStmt* statement, const CParseTree& tree);
void BuildCreateTableStmt(cCreateTableStmt* statement, const CParseTree& tree);
void FillCreateTableItem(const CSQLNode* definition, cCreateTableItem* item);

// Appends SelectStmt objects and SetOperator items in postfix order; false when an
// operand is a statement other than SELECT (that operation and those above it are left out).
bool BuildSetOperationsStack(const CSQLNode* node, cGenericStack* stack);

// Integer and float values of number tokens, as the C library reads them, clamped to the
// 32-bit range.
long ReadLong(const CSQLNode* number);
double ReadDouble(const CSQLNode* number);
