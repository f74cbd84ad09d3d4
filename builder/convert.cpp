#include "builder/convert.h"

#include <cstdint>
#include <vector>

#include "builder/ref.h"

namespace {

// A LIFO stack of plain values whose first N elements live inside it; only deeper stacks
// allocate.
template <class T, size_t N> class CInlineStack {
public:
    bool Empty() const { return m_nSize == 0; }
    void Push(const T& value) {
        if (m_nSize < N)
            m_Inline[m_nSize] = value;
        else
            m_Spill.push_back(value);
        ++m_nSize;
    }
    T Pop() {
        --m_nSize;
        if (m_nSize < N) return m_Inline[m_nSize];
        const T value = m_Spill.back();
        m_Spill.pop_back();
        return value;
    }

private:
    T m_Inline[N];
    std::vector<T> m_Spill;
    size_t m_nSize = 0;
};

// Appends a new item of class T and lets setup fill it in. The item is created without a
// reference and appended first: the stack then holds its only reference, so an item whose
// setup fails (lack of memory) goes with the stack.
template <class T, class Setup> void Emit(cGenericStack* stack, Setup setup) {
    T* item = nullptr;
    Check(T::CreateInstance(&item));
    Check(stack->Append(item->Dispatch()));
    setup(item);
}

template <class T, class Kind> void EmitKind(cGenericStack* stack, Kind kind) {
    Emit<T>(stack, [kind](T* item) { item->SetKind(kind); });
}

void EmitLiteral(cGenericStack* stack, const CSQLNode* node, PARSER_DATATYPE type) {
    Emit<cLiteralValue>(stack, [&](cLiteralValue* item) {
        item->SetDataType(type);
        item->SetValue(NodeText(node));
    });
}

void EmitAggregate(cGenericStack* stack, const CSQLNode* node, AGGREGATE_FUNCTION function) {
    Emit<cAggregateFunction>(stack, [&](cAggregateFunction* item) {
        item->SetKind(function);
        item->SetDistinct(node->m_pAttach != nullptr);
    });
}

// Operands: one item, children not visited. Returns false for a node that is not one.
bool EmitOperand(const CSQLNode* node, cGenericStack* stack) {
    switch (node->m_nKind) {
    case NODE_KIND_NUMBER: EmitLiteral(stack, node, PARSER_DATATYPE_INTEGER); return true;
    case NODE_KIND_FLOAT: EmitLiteral(stack, node, PARSER_DATATYPE_FLOAT); return true;
    case NODE_KIND_STRING: EmitLiteral(stack, node, PARSER_DATATYPE_STRING); return true;
    case NODE_KIND_TIMESTAMP: EmitLiteral(stack, node, PARSER_DATATYPE_TIMESTAMP); return true;
    case NODE_KIND_DATE: EmitLiteral(stack, node, PARSER_DATATYPE_DATE); return true;
    case NODE_KIND_TIME: EmitLiteral(stack, node, PARSER_DATATYPE_TIME); return true;
    case NODE_KIND_COLUMN:
        Emit<cColumnIdent>(stack, [&](cColumnIdent* item) { FillColumnIdent(node, item); });
        return true;
    case NODE_KIND_NULL: Emit<cNullExpression>(stack, [](cNullExpression*) {}); return true;
    case NODE_KIND_STAR: Emit<cSelectStarExpression>(stack, [](cSelectStarExpression*) {}); return true;
    default: return false;
    }
}

// Operators and markers: true when the node kind has an item (emitted after its children).
bool IsOperator(int kind) {
    switch (kind) {
    case NODE_KIND_NOT: case NODE_KIND_EQUALS: case NODE_KIND_NOT_EQUALS: case NODE_KIND_MORE:
    case NODE_KIND_LESS: case NODE_KIND_MORE_EQUALS: case NODE_KIND_LESS_EQUALS: case NODE_KIND_IS:
    case NODE_KIND_IS_NOT: case NODE_KIND_LIKE: case NODE_KIND_AND: case NODE_KIND_OR: case NODE_KIND_PLUS:
    case NODE_KIND_MINUS: case NODE_KIND_DIVIDE: case NODE_KIND_MULTIPLY: case NODE_KIND_SUM:
    case NODE_KIND_COUNT: case NODE_KIND_MIN: case NODE_KIND_MAX: case NODE_KIND_AVG: case NODE_KIND_STDEV:
    case NODE_KIND_FIRST: case NODE_KIND_LAST: case NODE_KIND_VAR: case NODE_KIND_ABS: case NODE_KIND_ROUND:
    case NODE_KIND_GETDATE: case NODE_KIND_CASESTATE: case NODE_KIND_SIMPLE_CASE: case NODE_KIND_SEARCHED_CASE:
    case NODE_KIND_SIMPLE_WHEN: case NODE_KIND_SEARCHED_WHEN: case NODE_KIND_ELSE: case NODE_KIND_CASE_END:
    case NODE_KIND_NULLIF: case NODE_KIND_IF: case NODE_KIND_COALESCE_BEGIN: case NODE_KIND_COALESCE_ITEM:
    case NODE_KIND_COALESCE_END: case NODE_KIND_CASE_CONTAINER:
        return true;
    default: return false;
    }
}

void EmitOperator(const CSQLNode* node, cGenericStack* stack) {
    switch (node->m_nKind) {
    case NODE_KIND_NOT: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_NOT); break;
    case NODE_KIND_EQUALS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_EQUALS); break;
    case NODE_KIND_NOT_EQUALS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_NOT_EQUALS); break;
    case NODE_KIND_MORE: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_MORE); break;
    case NODE_KIND_LESS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_LESS); break;
    case NODE_KIND_MORE_EQUALS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_MOREEQUALS); break;
    case NODE_KIND_LESS_EQUALS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_LESSEQUALS); break;
    case NODE_KIND_IS: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_IS); break;
    case NODE_KIND_IS_NOT: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_ISNOT); break;
    case NODE_KIND_LIKE: EmitKind<cCompareOperator>(stack, COMPARE_OPERATOR_LIKE); break;
    case NODE_KIND_AND: EmitKind<cBoolOperator>(stack, BOOL_OPERATOR_AND); break;
    case NODE_KIND_OR: EmitKind<cBoolOperator>(stack, BOOL_OPERATOR_OR); break;
    case NODE_KIND_PLUS: EmitKind<cAritOperator>(stack, ARIT_OPERATOR_PLUS); break;
    case NODE_KIND_MINUS: EmitKind<cAritOperator>(stack, ARIT_OPERATOR_MINUS); break;
    case NODE_KIND_DIVIDE: EmitKind<cAritOperator>(stack, ARIT_OPERATOR_DIVIDE); break;
    case NODE_KIND_MULTIPLY: EmitKind<cAritOperator>(stack, ARIT_OPERATOR_MULTIPLY); break;
    case NODE_KIND_SUM: EmitAggregate(stack, node, AGGREGATE_FUNCTION_SUM); break;
    case NODE_KIND_COUNT: EmitAggregate(stack, node, AGGREGATE_FUNCTION_COUNT); break;
    case NODE_KIND_MIN: EmitAggregate(stack, node, AGGREGATE_FUNCTION_MIN); break;
    case NODE_KIND_MAX: EmitAggregate(stack, node, AGGREGATE_FUNCTION_MAX); break;
    case NODE_KIND_AVG: EmitAggregate(stack, node, AGGREGATE_FUNCTION_AVG); break;
    case NODE_KIND_STDEV: EmitAggregate(stack, node, AGGREGATE_FUNCTION_STDEV); break;
    case NODE_KIND_FIRST: EmitAggregate(stack, node, AGGREGATE_FUNCTION_FIRST); break;
    case NODE_KIND_LAST: EmitAggregate(stack, node, AGGREGATE_FUNCTION_LAST); break;
    case NODE_KIND_VAR: EmitAggregate(stack, node, AGGREGATE_FUNCTION_VAR); break;
    case NODE_KIND_ABS: EmitKind<cMathFunction>(stack, MATH_FUNCTION_ABS); break;
    case NODE_KIND_ROUND: EmitKind<cMathFunction>(stack, MATH_FUNCTION_ROUND); break;
    case NODE_KIND_GETDATE: EmitKind<cDateFunction>(stack, DATE_FUNCTION_GETDATE); break;
    case NODE_KIND_CASESTATE:
        Emit<cCaseState>(stack, [&](cCaseState* item) { item->SetCaseStateText(NodeText(node)); });
        break;
    case NODE_KIND_SIMPLE_CASE: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_CASE_SIMPLE); break;
    case NODE_KIND_SEARCHED_CASE: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_CASE_SEARCHED); break;
    case NODE_KIND_SIMPLE_WHEN: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_WHEN_SIMPLE); break;
    case NODE_KIND_SEARCHED_WHEN: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_WHEN_SEARCHED); break;
    case NODE_KIND_ELSE: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_ELSE); break;
    case NODE_KIND_CASE_END: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_END); break;
    case NODE_KIND_NULLIF: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_NULLIF); break;
    case NODE_KIND_IF: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_IF); break;
    case NODE_KIND_COALESCE_BEGIN: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_COALESCE_BEGIN); break;
    case NODE_KIND_COALESCE_ITEM: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_COALESCE_ITEM); break;
    case NODE_KIND_COALESCE_END: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_COALESCE_END); break;
    case NODE_KIND_CASE_CONTAINER: EmitKind<cConditionalStatement>(stack, CONDITIONALSTATEMENT_CONTAINER); break;
    default: break;
    }
}

} // namespace

std::string_view NodeText(const CSQLNode* node) {
    return node && node->m_pToken ? node->m_pToken->Text() : std::string_view();
}

void ConvertExpression(const CSQLNode* root, cGenericStack* stack) {
    // An explicit stack of frames: left subtree, right subtree, node. A frame is the node's
    // address with the low bit set once its children are done (nodes are word-aligned);
    // one word per frame is stored and loaded whole. Most expressions are shallow: their
    // frames stay in the stack object itself.
    static_assert(alignof(CSQLNode) > 1, "the low bit of a node address marks a finished frame");
    constexpr uintptr_t kChildrenDone = 1;
    CInlineStack<uintptr_t, 64> frames;
    if (root) frames.Push(reinterpret_cast<uintptr_t>(root));
    while (!frames.Empty()) {
        const uintptr_t frame = frames.Pop();
        const auto* node = reinterpret_cast<const CSQLNode*>(frame & ~kChildrenDone);
        if (frame & kChildrenDone) {
            EmitOperator(node, stack);
            continue;
        }
        if (EmitOperand(node, stack) || !IsOperator(node->m_nKind)) continue;
        frames.Push(frame | kChildrenDone);
        if (node->m_pRight) frames.Push(reinterpret_cast<uintptr_t>(node->m_pRight));
        if (node->m_pLeft) frames.Push(reinterpret_cast<uintptr_t>(node->m_pLeft));
    }
}

void BuildExpressionStack(const CSQLNode* node, cGenericStack* stack) {
    if (node && node->m_nKind == NODE_KIND_ALIAS) {
        stack->SetName(NodeText(node->m_pRight));
        ConvertExpression(node->m_pLeft, stack);
        return;
    }
    ConvertExpression(node, stack);
}

void BuildStackList(const CSQLNode* first, cGenericStackList* list) {
    for (const CSQLNode* n = first; n; n = n->m_pNext) {
        CRef<cGenericStack> stack = New<cGenericStack>();
        BuildExpressionStack(n, stack.Get());
        Check(list->Append(stack->Dispatch()));
    }
}

bool FillColumnIdent(const CSQLNode* node, cColumnIdent* column) {
    column->SetTableName(std::string_view());
    if (!node) return false;
    switch (node->m_nKind) {
    case NODE_KIND_COLUMN:
        column->SetColumnName(node->m_pRight && node->m_pRight->m_nKind == NODE_KIND_STAR ? std::string_view("*")
                                                                                          : NodeText(node->m_pRight));
        if (node->m_pLeft) column->SetTableName(NodeText(node->m_pLeft));
        return true;
    case NODE_KIND_NUMBER:
    case NODE_KIND_IDENTIFIER: column->SetColumnName(NodeText(node)); return true;
    case NODE_KIND_STAR: column->SetColumnName("*"); return true;
    default: return false;
    }
}

void BuildColumnIdentList(const CSQLNode* first, cColumnIdentList* list) {
    for (const CSQLNode* n = first; n; n = n->m_pNext) {
        CRef<cColumnIdent> column = New<cColumnIdent>();
        FillColumnIdent(n, column.Get());
        Check(list->Append(column->Dispatch()));
    }
}

void FillTableIdent(const CSQLNode* node, cTableIdent* table) {
    if (!node) return;
    if (node->m_nKind == NODE_KIND_ALIAS) {
        table->SetAlias(NodeText(node->m_pRight));
        node = node->m_pLeft;
    }
    table->SetName(NodeText(node));
}
