#include "builder/convert.h"

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include "builder/ref.h"

namespace {

// The scratch of the parser whose statement the calling thread builds, if any.
thread_local CConvertScratch* t_pScratch = nullptr;

// The room of one conversion, taken only when its expression is long: the parser's scratch,
// or (outside a parser's build, or for a conversion inside another) one of its own.
class CConvertRoom {
public:
    CConvertRoom() = default;
    CConvertRoom(const CConvertRoom&) = delete;
    CConvertRoom& operator=(const CConvertRoom&) = delete;
    ~CConvertRoom() {
        if (m_pTaken) m_pTaken->m_bBusy = false;
    }
    CConvertScratch& Get() {
        if (!m_pTaken) {
            if (t_pScratch && !t_pScratch->m_bBusy) {
                m_pTaken = t_pScratch;
            } else {
                m_pOwn.reset(new CConvertScratch);
                m_pTaken = m_pOwn.get();
            }
            m_pTaken->m_bBusy = true;
        }
        return *m_pTaken;
    }

private:
    CConvertScratch* m_pTaken = nullptr;
    std::unique_ptr<CConvertScratch> m_pOwn;
};

// A LIFO stack of plain values whose first N elements live inside it; deeper ones go to the
// room's frames.
template <size_t N> class CFrameStack {
public:
    explicit CFrameStack(CConvertRoom& room) : m_Room(room) {}
    ~CFrameStack() {
        if (m_pSpill) m_pSpill->clear();
    }
    CFrameStack(const CFrameStack&) = delete;
    CFrameStack& operator=(const CFrameStack&) = delete;

    bool Empty() const { return m_nSize == 0; }
    void Push(uintptr_t value) {
        if (m_nSize < N)
            m_Inline[m_nSize] = value;
        else
            Spill().push_back(value);
        ++m_nSize;
    }
    uintptr_t Pop() {
        --m_nSize;
        if (m_nSize < N) return m_Inline[m_nSize];
        const uintptr_t value = m_pSpill->back();
        m_pSpill->pop_back();
        return value;
    }

private:
    std::vector<uintptr_t>& Spill() {
        if (!m_pSpill) m_pSpill = &m_Room.Get().m_Frames;
        return *m_pSpill;
    }
    uintptr_t m_Inline[N];
    size_t m_nSize = 0;
    CConvertRoom& m_Room;
    std::vector<uintptr_t>* m_pSpill = nullptr;
};

// The items of one conversion. The first kDirect go straight to the stack; the items of a
// longer expression gather in the room and move to the stack at the end, in one move to
// storage of exactly their number, instead of the storage doubling as they come. Each item
// in the room holds one reference; those still there when the conversion stops halfway are
// released.
class CPendingItems {
public:
    static constexpr size_t kDirect = 64;

    CPendingItems(cGenericStack* stack, CConvertRoom& room) : m_pStack(stack), m_Room(room) {
        const size_t held = stack->Elements().Size();
        m_nDirectLeft = held < kDirect ? kDirect - held : 0;
    }
    ~CPendingItems() {
        if (!m_pItems) return;
        for (IDispatch* item : *m_pItems)
            if (item) item->Release();
        m_pItems->clear();
    }
    CPendingItems(const CPendingItems&) = delete;
    CPendingItems& operator=(const CPendingItems&) = delete;

    // Appends a new item of class T and lets setup fill it in. The item's place (in the stack
    // or the room) is its only reference as soon as it exists, so an item whose setup fails
    // (lack of memory) goes with the others.
    template <class T, class Setup> void Emit(Setup setup) {
        T* item = nullptr;
        if (m_nDirectLeft) {
            Check(T::CreateInstance(&item));
            Check(m_pStack->AppendObject(item));
            --m_nDirectLeft;
        } else {
            std::vector<IDispatch*>& items = Items();
            items.push_back(nullptr);
            Check(T::CreateInstance(&item));
            item->InternalAddRef();
            items.back() = item->Dispatch();
        }
        setup(item);
    }
    // The items in the room go to the end of the stack.
    void Finish() {
        if (!m_pItems || m_pItems->empty()) return;
        Check(m_pStack->Elements().AppendReferences(m_pItems->data(), m_pItems->size()));
        m_pItems->clear();
    }

private:
    std::vector<IDispatch*>& Items() {
        if (!m_pItems) m_pItems = &m_Room.Get().m_Items;
        return *m_pItems;
    }
    cGenericStack* m_pStack;
    CConvertRoom& m_Room;
    size_t m_nDirectLeft; // items that still go straight to the stack
    std::vector<IDispatch*>* m_pItems = nullptr;
};

template <class T, class Kind> void EmitKind(CPendingItems& items, Kind kind) {
    items.Emit<T>([kind](T* item) { item->SetKind(kind); });
}

void EmitLiteral(CPendingItems& items, const CSQLNode* node, PARSER_DATATYPE type) {
    items.Emit<cLiteralValue>([&](cLiteralValue* item) {
        item->SetDataType(type);
        item->SetValue(NodeText(node));
    });
}

void EmitAggregate(CPendingItems& items, const CSQLNode* node, AGGREGATE_FUNCTION function) {
    items.Emit<cAggregateFunction>([&](cAggregateFunction* item) {
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
void EmitItem(const CSQLNode* node, ItemOfKind item, CPendingItems& items) {
    switch (item.itemClass) {
    case ITEM_CLASS_NONE: return;
    case ITEM_CLASS_LITERAL: EmitLiteral(items, node, static_cast<PARSER_DATATYPE>(item.value)); return;
    case ITEM_CLASS_COLUMN:
        items.Emit<cColumnIdent>([&](cColumnIdent* column) { FillColumnIdent(node, column); });
        return;
    case ITEM_CLASS_NULL: items.Emit<cNullExpression>([](cNullExpression*) {}); return;
    case ITEM_CLASS_STAR: items.Emit<cSelectStarExpression>([](cSelectStarExpression*) {}); return;
    case ITEM_CLASS_COMPARE: EmitKind<cCompareOperator>(items, item.value); return;
    case ITEM_CLASS_BOOL: EmitKind<cBoolOperator>(items, item.value); return;
    case ITEM_CLASS_ARIT: EmitKind<cAritOperator>(items, item.value); return;
    case ITEM_CLASS_AGGREGATE: EmitAggregate(items, node, static_cast<AGGREGATE_FUNCTION>(item.value)); return;
    case ITEM_CLASS_MATH: EmitKind<cMathFunction>(items, item.value); return;
    case ITEM_CLASS_DATE: EmitKind<cDateFunction>(items, item.value); return;
    case ITEM_CLASS_CASESTATE:
        items.Emit<cCaseState>([&](cCaseState* state) { state->SetCaseStateText(NodeText(node)); });
        return;
    case ITEM_CLASS_CONDITIONAL: EmitKind<cConditionalStatement>(items, item.value); return;
    }
}

} // namespace

std::string_view NodeText(const CSQLNode* node) {
    return node && node->m_pToken ? node->m_pToken->Text() : std::string_view();
}

void CConvertScratch::Prepare(size_t length) {
    if (length < m_nLastLength / 2) {
        std::vector<IDispatch*>().swap(m_Items);
        std::vector<uintptr_t>().swap(m_Frames);
    }
    m_nLastLength = length;
    // Reserved from the length, as the parse tree reserves its arrays: a long expression's
    // items and frames then fill pages in place instead of being copied as the room doubles
    // (a copy that leaves the old pages in the heap). Expressions take up to about an item
    // per two bytes and a frame per four; the room grows when one takes more. Short
    // statements seldom need the room at all. The reserve only saves copies: when the address
    // space cannot hold it (a huge statement in a 32-bit process), the room grows as needed.
    constexpr size_t kReservedFrom = 4096;
    if (length < kReservedFrom) return;
    try {
        m_Items.reserve(length / 2);
        m_Frames.reserve(length / 4);
    } catch (const std::bad_alloc&) {
    }
}

CConvertScope::CConvertScope(CConvertScratch& scratch) : m_pOuter(t_pScratch) { t_pScratch = &scratch; }

CConvertScope::~CConvertScope() { t_pScratch = m_pOuter; }

void ConvertExpression(const CSQLNode* root, cGenericStack* stack) {
    if (!root) return;
    CConvertRoom room;
    CPendingItems items(stack, room);
    // An explicit stack of frames: left subtree, right subtree, node. A frame is the node's
    // address with the low bit set once its children are done (nodes are word-aligned);
    // one word per frame is stored and loaded whole. Most expressions are shallow: their
    // frames stay inside the frame stack.
    static_assert(alignof(CSQLNode) > 1, "the low bit of a node address marks a finished frame");
    constexpr uintptr_t kChildrenDone = 1;
    CFrameStack<64> frames(room);
    frames.Push(reinterpret_cast<uintptr_t>(root));
    while (!frames.Empty()) {
        const uintptr_t frame = frames.Pop();
        const auto* node = reinterpret_cast<const CSQLNode*>(frame & ~kChildrenDone);
        const ItemOfKind item = ItemOf(node->m_nKind);
        if (frame & kChildrenDone || IsOperand(item.itemClass)) {
            EmitItem(node, item, items);
            continue;
        }
        if (item.itemClass == ITEM_CLASS_NONE) continue;
        frames.Push(frame | kChildrenDone);
        if (node->m_pRight) frames.Push(reinterpret_cast<uintptr_t>(node->m_pRight));
        if (node->m_pLeft) frames.Push(reinterpret_cast<uintptr_t>(node->m_pLeft));
    }
    items.Finish();
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
