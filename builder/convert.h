// Expression conversion: a parse-tree expression becomes a flat sequence of expression
// items in postfix order (operands first, left before right, then the operator), and the
// small conversions the statement builders share. All walks are iterative.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "objectmodel/collections.h"
#include "objectmodel/items.h"
#include "parsetree/sqlnode.h"

// The working room of the conversions: the items of a long expression (beyond the first
// few, which go straight to its stack), which go to its stack in one move when the
// expression is done, so that its storage is allocated once, at its size, instead of
// doubling as the items come; and the frames of a deep walk. A parser keeps one for all its
// statements, so that its conversions allocate nothing in steady state and a long statement
// after a long one reuses memory that is mapped already; a conversion outside a parser's
// build uses one of its own.
class CConvertScratch {
public:
    // A statement of length characters is about to be built: the room stays when the
    // statement is at least half as long as the one before (as the parse tree keeps its
    // storage), and is given back otherwise.
    void Prepare(size_t length);
    // Bytes held for the next conversions.
    size_t HeldBytes() const {
        return m_Items.capacity() * sizeof(IDispatch*) + m_Frames.capacity() * sizeof(uintptr_t);
    }

    // The conversion's own (convert.cpp): items waiting for their stack, frames of the walk,
    // and whether a conversion works in it.
    std::vector<IDispatch*> m_Items;
    std::vector<uintptr_t> m_Frames;
    bool m_bBusy = false;

private:
    size_t m_nLastLength = 0;
};

// While it exists, the conversions on the calling thread work in scratch.
class CConvertScope {
public:
    explicit CConvertScope(CConvertScratch& scratch);
    ~CConvertScope();
    CConvertScope(const CConvertScope&) = delete;
    CConvertScope& operator=(const CConvertScope&) = delete;

private:
    CConvertScratch* m_pOuter;
};

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
