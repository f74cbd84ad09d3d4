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
    Check(stack->AppendObject(item));
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

// The item class a node kind converts to. Operands are one item whose node's children are
// not visited; operators and markers are emitted after their children.
enum ITEM_CLASS : uint8_t {
    ITEM_CLASS_NONE, // no item of its own: a container whose children are not visited
    // operands
    ITEM_CLASS_LITERAL,
    ITEM_CLASS_COLUMN,
    ITEM_CLASS_NULL,
    ITEM_CLASS_STAR,
    // operators and markers
    ITEM_CLASS_COMPARE,
    ITEM_CLASS_BOOL,
    ITEM_CLASS_ARIT,
    ITEM_CLASS_AGGREGATE,
    ITEM_CLASS_MATH,
    ITEM_CLASS_DATE,
    ITEM_CLASS_CASESTATE,
    ITEM_CLASS_CONDITIONAL,
};

struct ItemOfKind {
    ITEM_CLASS itemClass;
    int32_t value; // the item's enumeration value (a literal's data type); unused for the others
};

struct KindEntry {
    NODE_KIND kind;
    ItemOfKind item;
};

// Every node kind that converts to an item; any other kind converts to nothing.
constexpr KindEntry kItemsOfKinds[] = {
    {NODE_KIND_NUMBER, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_INTEGER}},
    {NODE_KIND_FLOAT, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_FLOAT}},
    {NODE_KIND_STRING, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_STRING}},
    {NODE_KIND_TIMESTAMP, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_TIMESTAMP}},
    {NODE_KIND_DATE, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_DATE}},
    {NODE_KIND_TIME, {ITEM_CLASS_LITERAL, PARSER_DATATYPE_TIME}},
    {NODE_KIND_COLUMN, {ITEM_CLASS_COLUMN, 0}},
    {NODE_KIND_NULL, {ITEM_CLASS_NULL, 0}},
    {NODE_KIND_STAR, {ITEM_CLASS_STAR, 0}},
    {NODE_KIND_NOT, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_NOT}},
    {NODE_KIND_EQUALS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_EQUALS}},
    {NODE_KIND_NOT_EQUALS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_NOT_EQUALS}},
    {NODE_KIND_MORE, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_MORE}},
    {NODE_KIND_LESS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_LESS}},
    {NODE_KIND_MORE_EQUALS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_MOREEQUALS}},
    {NODE_KIND_LESS_EQUALS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_LESSEQUALS}},
    {NODE_KIND_IS, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_IS}},
    {NODE_KIND_IS_NOT, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_ISNOT}},
    {NODE_KIND_LIKE, {ITEM_CLASS_COMPARE, COMPARE_OPERATOR_LIKE}},
    {NODE_KIND_AND, {ITEM_CLASS_BOOL, BOOL_OPERATOR_AND}},
    {NODE_KIND_OR, {ITEM_CLASS_BOOL, BOOL_OPERATOR_OR}},
    {NODE_KIND_PLUS, {ITEM_CLASS_ARIT, ARIT_OPERATOR_PLUS}},
    {NODE_KIND_MINUS, {ITEM_CLASS_ARIT, ARIT_OPERATOR_MINUS}},
    {NODE_KIND_DIVIDE, {ITEM_CLASS_ARIT, ARIT_OPERATOR_DIVIDE}},
    {NODE_KIND_MULTIPLY, {ITEM_CLASS_ARIT, ARIT_OPERATOR_MULTIPLY}},
    {NODE_KIND_SUM, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_SUM}},
    {NODE_KIND_COUNT, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_COUNT}},
    {NODE_KIND_MIN, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_MIN}},
    {NODE_KIND_MAX, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_MAX}},
    {NODE_KIND_AVG, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_AVG}},
    {NODE_KIND_STDEV, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_STDEV}},
    {NODE_KIND_FIRST, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_FIRST}},
    {NODE_KIND_LAST, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_LAST}},
    {NODE_KIND_VAR, {ITEM_CLASS_AGGREGATE, AGGREGATE_FUNCTION_VAR}},
    {NODE_KIND_ABS, {ITEM_CLASS_MATH, MATH_FUNCTION_ABS}},
    {NODE_KIND_ROUND, {ITEM_CLASS_MATH, MATH_FUNCTION_ROUND}},
    {NODE_KIND_GETDATE, {ITEM_CLASS_DATE, DATE_FUNCTION_GETDATE}},
    {NODE_KIND_CASESTATE, {ITEM_CLASS_CASESTATE, 0}},
    {NODE_KIND_SIMPLE_CASE, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_CASE_SIMPLE}},
    {NODE_KIND_SEARCHED_CASE, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_CASE_SEARCHED}},
    {NODE_KIND_SIMPLE_WHEN, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_WHEN_SIMPLE}},
    {NODE_KIND_SEARCHED_WHEN, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_WHEN_SEARCHED}},
    {NODE_KIND_ELSE, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_ELSE}},
    {NODE_KIND_CASE_END, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_END}},
    {NODE_KIND_NULLIF, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_NULLIF}},
    {NODE_KIND_IF, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_IF}},
    {NODE_KIND_COALESCE_BEGIN, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_COALESCE_BEGIN}},
    {NODE_KIND_COALESCE_ITEM, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_COALESCE_ITEM}},
    {NODE_KIND_COALESCE_END, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_COALESCE_END}},
    {NODE_KIND_CASE_CONTAINER, {ITEM_CLASS_CONDITIONAL, CONDITIONALSTATEMENT_CONTAINER}},
};

// The entries spread over an array indexed by node kind, so a conversion reads one element.
constexpr size_t kKindCount = NODE_KIND_UNSET + 1;
struct KindTable {
    ItemOfKind items[kKindCount];
};

constexpr KindTable MakeKindTable() {
    KindTable table{};
    for (const KindEntry& entry : kItemsOfKinds) table.items[entry.kind] = entry.item;
    return table;
}

constexpr KindTable kKindTable = MakeKindTable();

ItemOfKind ItemOf(int32_t kind) {
    return kind >= 0 && static_cast<size_t>(kind) < kKindCount ? kKindTable.items[kind] : ItemOfKind{};
}

constexpr bool IsOperand(ITEM_CLASS itemClass) {
    return itemClass >= ITEM_CLASS_LITERAL && itemClass <= ITEM_CLASS_STAR;
}

// Appends the item of a node whose kind has one.
void EmitItem(const CSQLNode* node, ItemOfKind item, cGenericStack* stack) {
    switch (item.itemClass) {
    case ITEM_CLASS_NONE: return;
    case ITEM_CLASS_LITERAL: EmitLiteral(stack, node, static_cast<PARSER_DATATYPE>(item.value)); return;
    case ITEM_CLASS_COLUMN:
        Emit<cColumnIdent>(stack, [&](cColumnIdent* column) { FillColumnIdent(node, column); });
        return;
    case ITEM_CLASS_NULL: Emit<cNullExpression>(stack, [](cNullExpression*) {}); return;
    case ITEM_CLASS_STAR: Emit<cSelectStarExpression>(stack, [](cSelectStarExpression*) {}); return;
    case ITEM_CLASS_COMPARE: EmitKind<cCompareOperator>(stack, item.value); return;
    case ITEM_CLASS_BOOL: EmitKind<cBoolOperator>(stack, item.value); return;
    case ITEM_CLASS_ARIT: EmitKind<cAritOperator>(stack, item.value); return;
    case ITEM_CLASS_AGGREGATE: EmitAggregate(stack, node, static_cast<AGGREGATE_FUNCTION>(item.value)); return;
    case ITEM_CLASS_MATH: EmitKind<cMathFunction>(stack, item.value); return;
    case ITEM_CLASS_DATE: EmitKind<cDateFunction>(stack, item.value); return;
    case ITEM_CLASS_CASESTATE:
        Emit<cCaseState>(stack, [&](cCaseState* state) { state->SetCaseStateText(NodeText(node)); });
        return;
    case ITEM_CLASS_CONDITIONAL: EmitKind<cConditionalStatement>(stack, item.value); return;
    }
}

} // namespace

std::string_view NodeText(const CSQLNode* node) {
    return node && node->m_pToken ? node->m_pToken->Text() : std::string_view();
}

// Stacks of more elements than this are trimmed to their size once converted; smaller ones
// keep the few spare elements of their last growth step.
constexpr size_t kExactFrom = 64;

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
        const ItemOfKind item = ItemOf(node->m_nKind);
        if (frame & kChildrenDone || IsOperand(item.itemClass)) {
            EmitItem(node, item, stack);
            continue;
        }
        if (item.itemClass == ITEM_CLASS_NONE) continue;
        frames.Push(frame | kChildrenDone);
        if (node->m_pRight) frames.Push(reinterpret_cast<uintptr_t>(node->m_pRight));
        if (node->m_pLeft) frames.Push(reinterpret_cast<uintptr_t>(node->m_pLeft));
    }
    // The storage grew by doubling as the items came (counting them first would read the
    // whole tree twice, and a long expression's tree no longer fits the caches); a long
    // expression keeps exactly the room its items take, not up to twice that.
    CVariantVector& elements = stack->Elements();
    if (elements.Capacity() > kExactFrom) elements.ShrinkToFit();
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
