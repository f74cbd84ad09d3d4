// The tree-building actions, keyed by rule number. Each case reads like its rule: $k is
// the value of the k-th right-hand symbol (null for terminals), and the case returns the
// rule's value. Rules without a case hand up $1 (or null when they are empty).
#include <string>

#include "parsetree/driver.h"
#include "parsetree/parsetree.h"
#include "scanner/symbols.h"

namespace {

class Actions {
public:
    Actions(CParseTree& tree, CSQLNode* const* rhs, int length) : m_Tree(tree), m_Rhs(rhs), m_nLength(length) {}

    CSQLNode* Run(int rule);

private:
    CSQLNode* S(int k) const { return k <= m_nLength ? m_Rhs[k - 1] : nullptr; }

    CSQLNode* New(NODE_KIND kind, const char* name) { return m_Tree.CreateNode(kind, name); }
    CSQLNode* New(NODE_KIND kind, const char* name, CSQLNode* left, CSQLNode* right) {
        CSQLNode* n = m_Tree.CreateNode(kind, name);
        n->m_pLeft = left;
        n->m_pRight = right;
        return n;
    }
    // A number node over a token the action makes up itself ("0" or "1").
    CSQLNode* MadeUpNumber(const char* text) {
        m_Tree.CreateToken(kMadeUpTokenCode, text);
        return New(NODE_KIND_NUMBER, "Number");
    }
    static CSQLNode* Attach(CSQLNode* node, CSQLNode* attachment) {
        if (attachment) node->AppendAttach(attachment);
        return node;
    }
    static CSQLNode* Append(CSQLNode* list, CSQLNode* element) {
        list->AppendNext(element);
        return list;
    }

    CSQLNode* Select(CSQLNode* top, CSQLNode* distinct, CSQLNode* list, CSQLNode* tables, CSQLNode* where,
                     CSQLNode* group, CSQLNode* having, CSQLNode* order, CSQLNode* limit);
    CSQLNode* InList(CSQLNode* tested, CSQLNode* first);
    CSQLNode* Between(CSQLNode* tested, CSQLNode* low, CSQLNode* high);
    CSQLNode* Negate(CSQLNode* condition) { return New(NODE_KIND_NOT, "NOT", condition, nullptr); }
    CSQLNode* Case(CSQLNode* head, CSQLNode* whenList, CSQLNode* elseNode);

    CParseTree& m_Tree;
    CSQLNode* const* m_Rhs;
    int m_nLength;
};

// A SELECT is a fixed skeleton of eight nodes whose slots hold the clauses.
CSQLNode* Actions::Select(CSQLNode* top, CSQLNode* distinct, CSQLNode* list, CSQLNode* tables, CSQLNode* where,
                          CSQLNode* group, CSQLNode* having, CSQLNode* order, CSQLNode* limit) {
    CSQLNode* select = New(NODE_KIND_SELECT, "Select");
    CSQLNode* op1 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp1");
    CSQLNode* op2 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp2", top, distinct);
    CSQLNode* op3 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp3");
    CSQLNode* op4 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp4", tables, where);
    CSQLNode* op5 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp5");
    CSQLNode* op6 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp6", group, having);
    CSQLNode* op7 = New(NODE_KIND_SELECT_NOOP, "Select_NoOp7", order, limit);
    select->m_pLeft = op1;
    select->m_pRight = op3;
    op1->m_pLeft = op2;
    op1->m_pRight = list;
    op3->m_pLeft = op4;
    op3->m_pRight = op5;
    op5->m_pLeft = op6;
    op5->m_pRight = op7;
    return select;
}

// x IN (a, b, c) becomes OR(OR(=(x, a), =(x, b)), =(x, c)); every comparison shares the
// node x, and the list elements are unchained on the way.
CSQLNode* Actions::InList(CSQLNode* tested, CSQLNode* first) {
    CSQLNode* result = New(NODE_KIND_EQUALS, " = ", tested, first);
    CSQLNode* previous = first;
    for (CSQLNode* e = first ? first->m_pNext : nullptr; e; e = e->m_pNext) {
        previous->m_pNext = nullptr;
        CSQLNode* comparison = New(NODE_KIND_EQUALS, " = ", tested, e);
        result = New(NODE_KIND_OR, "OR", result, comparison);
        previous = e;
    }
    return result;
}

// x BETWEEN lo AND hi becomes AND(>=(x, lo), <=(x, hi)), the two sharing the node x.
CSQLNode* Actions::Between(CSQLNode* tested, CSQLNode* low, CSQLNode* high) {
    CSQLNode* both = New(NODE_KIND_AND, "AND");
    both->m_pLeft = New(NODE_KIND_MORE_EQUALS, " >= ", tested, low);
    both->m_pRight = New(NODE_KIND_LESS_EQUALS, " <= ", tested, high);
    return both;
}

// CC(L = CC(L = head or Else(L = head), R = when-list), R = CaseEnd).
CSQLNode* Actions::Case(CSQLNode* head, CSQLNode* whenList, CSQLNode* elseNode) {
    CSQLNode* outer = New(NODE_KIND_CASE_CONTAINER, "CaseContainer");
    outer->m_pRight = New(NODE_KIND_CASE_END, "CaseEnd");
    CSQLNode* inner = New(NODE_KIND_CASE_CONTAINER, "CaseContainer");
    if (elseNode) {
        elseNode->m_pLeft = head;
        inner->m_pLeft = elseNode;
    } else {
        inner->m_pLeft = head;
    }
    inner->m_pRight = whenList;
    outer->m_pLeft = inner;
    return outer;
}

CSQLNode* Actions::Run(int rule) {
    switch (rule) {
    // Start rules and set operations
    case 1: case 2: case 3: m_Tree.SetRoot(S(1)); return S(1);
    case 4: return New(NODE_KIND_UNION, "Union", S(1), S(3));
    case 5: return New(NODE_KIND_UNION_ALL, "UnionAll", S(1), S(4));
    case 6: return New(NODE_KIND_INTERSECT, "Intersect", S(1), S(3));
    case 7: return New(NODE_KIND_EXCEPT, "Except", S(1), S(3));

    // Statements
    case 12: return Select(S(2), S(3), S(4), S(6), S(7), S(8), S(9), S(10), S(11));
    case 13: return Select(S(2), S(3), New(NODE_KIND_STAR, "*"), S(6), S(7), S(8), S(9), S(10), S(11));
    case 14: return Select(nullptr, nullptr, New(NODE_KIND_STAR, "*"), S(1), S(2), S(3), S(4), S(5), nullptr);
    case 15:
        m_Tree.SetNamedNode("NameIdent", S(3));
        m_Tree.SetNamedNode("WhereClause", S(4));
        return New(NODE_KIND_DELETE, "Delete");
    case 16:
        m_Tree.SetNamedNode("NameIdent", S(2));
        m_Tree.SetNamedNode("UpdateList", S(4));
        m_Tree.SetNamedNode("WhereClause", S(5));
        return New(NODE_KIND_UPDATE, "Update");
    case 17:
        m_Tree.SetNamedNode("NameIdent", S(3));
        m_Tree.SetNamedNode("InsertColSpec", S(4));
        m_Tree.SetNamedNode("InsertValueList", S(7));
        return New(NODE_KIND_INSERT, "Insert");
    case 18:
        m_Tree.SetNamedNode("NameIdent", S(3));
        m_Tree.SetNamedNode("ColDataTypeList", S(5));
        return New(NODE_KIND_CREATE_TABLE, "create table");
    case 19:
        m_Tree.SetNamedNode("NameIdent", S(3));
        return New(NODE_KIND_DROP_TABLE, "drop table");

    // SELECT clauses
    case 22: return New(NODE_KIND_DISTINCT, "Distinct");
    case 24: return New(NODE_KIND_TOP, "Top");
    case 25: return Attach(New(NODE_KIND_TOP, "Top"), S(2));
    case 26: case 27: return Attach(New(NODE_KIND_TOP_PERCENT, "Top"), S(2));
    case 29: {
        CSQLNode* limit = New(NODE_KIND_LIMIT, "Limit");
        limit->m_pLeft = MadeUpNumber("1");
        limit->m_pRight = S(2);
        return limit;
    }
    case 30: return New(NODE_KIND_LIMIT, "Limit", S(2), S(4));
    case 34: return New(NODE_KIND_ALIAS, "AS column alias", S(1), S(3));
    case 35: {
        CSQLNode* alias = New(NODE_KIND_ALIAS, "AS column alias");
        alias->m_pLeft = S(1);
        alias->m_pRight = New(NODE_KIND_IDENTIFIER, "'Identifier'");
        return alias;
    }
    case 53: return New(NODE_KIND_UPDATE_VALUE, "UpdateValue", S(1), S(3));
    case 170: case 171: return New(NODE_KIND_ORDER_ASC, "OrderASC", S(1), nullptr);
    case 172: return New(NODE_KIND_ORDER_DESC, "OrderDESC", S(1), nullptr);

    // Lists: the first element stands for the list
    case 32: case 39: case 41: case 52: case 84: case 105: case 137: case 161: case 169:
        return Append(S(1), S(3));
    case 193: S(1)->m_pLeft = S(2); return S(1);
    case 194: S(3)->m_pLeft = S(4); return Append(S(1), S(3));

    // Parenthesised parts and clause keywords hand up their operand
    case 11: case 36: case 50: case 61: case 92: case 119: case 135: return S(2);
    case 43: case 165: return S(2);
    case 159: case 167: return S(3);

    // Names, column and table references
    case 77: return New(NODE_KIND_COLUMN, "ColumnName: TableName.{Identifier or *}", S(1), S(3));
    case 78: return New(NODE_KIND_COLUMN, "ColumnName: [NULL].Identifier", nullptr, S(1));
    case 79: return New(NODE_KIND_IDENTIFIER, "TableName");
    case 80: return New(NODE_KIND_IDENTIFIER, "\"TableName\"");
    case 81: return New(NODE_KIND_IDENTIFIER, "[TableName]");
    case 82: return New(NODE_KIND_IDENTIFIER, "'TableName'");
    case 107: return New(NODE_KIND_IDENTIFIER, "Identifier");
    case 109: return New(NODE_KIND_IDENTIFIER, "\"Identifier\"");
    case 110: return New(NODE_KIND_IDENTIFIER, "[Identifier]");
    case 112: return New(NODE_KIND_STAR, "*");
    case 86: return New(NODE_KIND_ALIAS, "AS table alias", S(1), S(3));
    case 87: return New(NODE_KIND_ALIAS, "[AS] table alias", S(1), S(2));

    // Joins
    case 89: return New(NODE_KIND_CROSS_JOIN, "CROSS JOIN", S(1), S(4));
    case 90: S(3)->m_pLeft = S(1); S(3)->m_pRight = S(4); return S(3);
    case 91: S(2)->m_pLeft = S(1); S(2)->m_pRight = S(3); return Attach(S(2), S(4));
    case 95: case 96: return New(NODE_KIND_INNER_JOIN, "INNER JOIN");
    case 97: return New(NODE_KIND_FULL_JOIN, "FULL OUTER JOIN");
    case 98: return New(NODE_KIND_LEFT_JOIN, "LEFT OUTER JOIN");
    case 99: return New(NODE_KIND_RIGHT_JOIN, "RIGHT OUTER JOIN");
    case 100: return New(NODE_KIND_FULL_JOIN, "FULL OUTER JOIN");
    case 102: return Attach(New(NODE_KIND_JOIN_ON, "JOIN ON boolean_expression"), S(2));
    case 103: return Attach(New(NODE_KIND_JOIN_USING, "JOIN USING column_name_list"), S(3));

    // Conditions
    case 58: return New(NODE_KIND_OR, "OR", S(1), S(3));
    case 59: return New(NODE_KIND_AND, "AND", S(1), S(3));
    case 60: return Negate(S(2));
    case 62: return New(NODE_KIND_EQUALS, " = ", S(1), S(3));
    case 63: return New(NODE_KIND_NOT_EQUALS, " <> ", S(1), S(3));
    case 64: return New(NODE_KIND_LESS, " < ", S(1), S(3));
    case 65: return New(NODE_KIND_MORE, " > ", S(1), S(3));
    case 66: return New(NODE_KIND_LESS_EQUALS, " <= ", S(1), S(3));
    case 67: return New(NODE_KIND_MORE_EQUALS, " >= ", S(1), S(3));
    case 68: {
        CSQLNode* is = New(NODE_KIND_IS_NOT, "IS NOT");
        is->m_pLeft = S(1);
        is->m_pRight = New(NODE_KIND_NULL, "NULL");
        return is;
    }
    case 69: {
        CSQLNode* is = New(NODE_KIND_IS, "IS");
        is->m_pLeft = S(1);
        is->m_pRight = New(NODE_KIND_NULL, "NULL");
        return is;
    }
    case 70: {
        CSQLNode* negation = Negate(nullptr);
        negation->m_pLeft = InList(S(1), S(4));
        return negation;
    }
    case 71: return InList(S(1), S(4));
    case 72: {
        CSQLNode* negation = Negate(nullptr);
        negation->m_pLeft = Between(S(1), S(3), S(5));
        return negation;
    }
    case 73: return Between(S(1), S(3), S(5));
    case 74: {
        CSQLNode* negation = Negate(nullptr);
        negation->m_pLeft = New(NODE_KIND_LIKE, "LIKE", S(1), S(3));
        return negation;
    }
    case 75: return New(NODE_KIND_LIKE, "LIKE", S(1), S(3));
    case 76: return New(NODE_KIND_CASESTATE, "CaseState");

    // Arithmetic, in all three expression families; unary minus is 0 - x
    case 46: case 115: case 131: return New(NODE_KIND_PLUS, "+", S(1), S(3));
    case 47: case 116: case 132: return New(NODE_KIND_MINUS, "-", S(1), S(3));
    case 48: case 117: case 133: return New(NODE_KIND_DIVIDE, "/", S(1), S(3));
    case 49: case 118: case 134: return New(NODE_KIND_MULTIPLY, "*", S(1), S(3));
    case 45: case 114: case 130: {
        CSQLNode* minus = New(NODE_KIND_MINUS, "-");
        minus->m_pLeft = MadeUpNumber("0");
        minus->m_pRight = S(2);
        return minus;
    }

    // CASE, IF, NULLIF and COALESCE
    case 140: {
        CSQLNode* node = New(NODE_KIND_IF, "If");
        node->m_pLeft = New(NODE_KIND_CASE_CONTAINER, "CaseContainer", S(7), S(5));
        node->m_pRight = S(3);
        return node;
    }
    case 141: return New(NODE_KIND_NULLIF, "NullIf", S(3), S(5));
    case 142: {
        CSQLNode* container = New(NODE_KIND_CASE_CONTAINER, "CaseContainer");
        container->m_pLeft = S(3);
        container->m_pRight = New(NODE_KIND_COALESCE_END, "CoalesceEnd");
        return container;
    }
    case 143: {
        CSQLNode* item = New(NODE_KIND_COALESCE_ITEM, "CoalesceItem");
        item->m_pRight = S(1);
        item->m_pLeft = New(NODE_KIND_COALESCE_BEGIN, "CoalesceBegin");
        return item;
    }
    case 144: return New(NODE_KIND_COALESCE_ITEM, "CoalesceItem", S(1), S(3));
    case 147: return Case(New(NODE_KIND_SEARCHED_CASE, "SearchedCase"), S(2), nullptr);
    case 148: return Case(New(NODE_KIND_SEARCHED_CASE, "SearchedCase"), S(2), S(3));
    case 152: return Case(New(NODE_KIND_SIMPLE_CASE, "SimpleCase", S(2), nullptr), S(3), nullptr);
    case 153: return Case(New(NODE_KIND_SIMPLE_CASE, "SimpleCase", S(2), nullptr), S(3), S(4));
    case 150: case 155: return New(NODE_KIND_CASE_CONTAINER, "CaseContainer", S(1), S(2));
    case 151: return New(NODE_KIND_SEARCHED_WHEN, "SearchedWhen", S(2), S(4));
    case 156: return New(NODE_KIND_SIMPLE_WHEN, "SimpleWhen", S(2), S(4));
    case 157: return New(NODE_KIND_ELSE, "Else", nullptr, S(2));

    // Functions and aggregates
    case 178: return New(NODE_KIND_ABS, "ABS", S(3), nullptr);
    case 179: {
        CSQLNode* round = New(NODE_KIND_ROUND, "ROUND");
        round->m_pLeft = MadeUpNumber("0");
        round->m_pRight = S(3);
        return round;
    }
    case 180: return New(NODE_KIND_ROUND, "ROUND", S(5), S(3));
    case 181: return New(NODE_KIND_GETDATE, "GETDATE");
    case 182: S(1)->m_pLeft = S(4); return Attach(S(1), S(3));
    case 183: return Attach(New(NODE_KIND_COUNT, "COUNT", S(4), nullptr), S(3));
    case 184: {
        CSQLNode* count = New(NODE_KIND_COUNT, "COUNT(*)");
        count->m_pLeft = New(NODE_KIND_STAR, "*");
        return count;
    }
    case 185: return New(NODE_KIND_SUM, "SUM");
    case 186: return New(NODE_KIND_AVG, "AVG");
    case 187: return New(NODE_KIND_MAX, "MAX");
    case 188: return New(NODE_KIND_MIN, "MIN");
    case 189: return New(NODE_KIND_STDEV, "STDEV");
    case 190: return New(NODE_KIND_FIRST, "FIRST");
    case 191: return New(NODE_KIND_LAST, "LAST");
    case 192: return New(NODE_KIND_VAR, "VAR");

    // Column data types
    case 195: return New(NODE_KIND_CHAR_TYPE, "character_typ", S(3), nullptr);
    case 196: return New(NODE_KIND_INTEGER_TYPE, "interger_typ");
    case 197: return New(NODE_KIND_FLOAT_TYPE, "float_typ");
    case 198: return New(NODE_KIND_SMALLINT_TYPE, "smallint_type");

    // Literals take the token just scanned
    case 205: return New(NODE_KIND_NUMBER, "Number");
    case 206: return New(NODE_KIND_FLOAT, "Float");
    case 207: return New(NODE_KIND_STRING, "String");
    case 208: return New(NODE_KIND_TIMESTAMP, "TimeStamp");
    case 209: return New(NODE_KIND_DATE, "Date");
    case 210: return New(NODE_KIND_TIME, "Time");

    // Empty rules, ALL, OUTER and the NOT IN / NOT BETWEEN / NOT LIKE markers give null
    case 10: case 20: case 21: case 23: case 28: case 37: case 42: case 54: case 55: case 56: case 93: case 94:
    case 101: case 158: case 164: case 166:
        return nullptr;

    default: return S(1); // rules that pass their single operand on
    }
}

} // namespace

// Per rule (by number): the position (from 1) of the right-hand value that the rule's
// action hands up unchanged, 0 when it hands up null, and -1 when the action builds or
// links something. These are the chain rules (Value: LiteralValue), the parenthesised
// parts and the empty rules, about half of all reductions; the driver hands their values
// up itself. The parser tests check every entry against RunAction.
const int8_t kHandedUpValue[kRuleCount + 1] = {
    -1, // there is no rule 0
    -1, -1, -1, -1, -1, -1, -1, 1, 1, 0, 2, -1, -1, -1, -1, -1, -1, -1, -1, 0,
    0, -1, 0, -1, -1, -1, -1, 0, -1, -1, 1, -1, 1, -1, -1, 2, 0, 1, -1, 1,
    -1, 0, 2, 1, -1, -1, -1, -1, -1, 2, 1, -1, -1, 0, 0, 0, 1, -1, -1, -1,
    2, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
    -1, -1, 1, -1, 1, -1, -1, 1, -1, -1, -1, 2, 0, 0, -1, -1, -1, -1, -1, -1,
    0, -1, -1, 1, -1, 1, -1, 1, -1, -1, 1, -1, 1, -1, -1, -1, -1, -1, 2, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, -1, -1, -1, -1, -1, 2, 1, -1, 1, 1, -1,
    -1, -1, -1, -1, 1, 1, -1, -1, 1, -1, -1, -1, -1, 1, -1, -1, -1, 0, 3, 1,
    -1, 1, 1, 0, 2, 0, 3, 1, -1, -1, -1, -1, 1, 1, 1, 1, 1, -1, -1, -1,
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, 1,
    1, 1, 1, 1, -1, -1, -1, -1, -1, -1,
};

CSQLNode* RunAction(int rule, CSQLNode* const* rhs, int length, CParseTree& tree) {
    return Actions(tree, rhs, length).Run(rule);
}
