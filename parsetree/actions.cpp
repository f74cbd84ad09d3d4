// The tree-building actions that scanner/sql.y calls beside its rules. Each takes the
// values of the right-hand symbols it names and returns the rule's value; leaf nodes take
// the token just scanned. The dispatch by rule number and the table of the values rules
// hand up without an action are generated from sql.y (grammar_actions.inc, at the end).
#include "parsetree/driver.h"
#include "parsetree/parsetree.h"
#include "parsetree/treelayout.h"
#include "scanner/symbols.h"

namespace {

class TreeActions {
public:
    explicit TreeActions(CParseTree& tree) : m_Tree(tree) {}

    // Runs the action of rule over the values of its right-hand symbols.
    CSQLNode* Run(int rule, CSQLNode* const* v);

private:
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
    CSQLNode* Negation(CSQLNode* condition) { return New(NODE_KIND_NOT, "NOT", condition, nullptr); }
    // Wraps the condition that the build function makes after the NOT node.
    template <class Build> CSQLNode* Negated(Build build) {
        CSQLNode* negation = Negation(nullptr);
        negation->m_pLeft = build();
        return negation;
    }

    // Statements and set operations
    CSQLNode* Root(CSQLNode* statement) {
        m_Tree.SetRoot(statement);
        return statement;
    }
    CSQLNode* Union(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_UNION, "Union", a, b); }
    CSQLNode* UnionAll(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_UNION_ALL, "UnionAll", a, b); }
    CSQLNode* Intersect(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_INTERSECT, "Intersect", a, b); }
    CSQLNode* Except(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_EXCEPT, "Except", a, b); }
    CSQLNode* Select(CSQLNode* top, CSQLNode* distinct, CSQLNode* list, CSQLNode* tables, CSQLNode* where,
                     CSQLNode* group, CSQLNode* having, CSQLNode* order, CSQLNode* limit);
    CSQLNode* SelectStar(CSQLNode* top, CSQLNode* distinct, CSQLNode* tables, CSQLNode* where,
                         CSQLNode* group, CSQLNode* having, CSQLNode* order, CSQLNode* limit) {
        return Select(top, distinct, Star(), tables, where, group, having, order, limit);
    }
    // A table list alone reads as SELECT * FROM it.
    CSQLNode* TableQuery(CSQLNode* tables, CSQLNode* where, CSQLNode* group, CSQLNode* having,
                         CSQLNode* order) {
        return Select(nullptr, nullptr, Star(), tables, where, group, having, order, nullptr);
    }
    CSQLNode* Delete(CSQLNode* table, CSQLNode* where) {
        m_Tree.SetNamedNode(NamedNode::kNameIdent, table);
        m_Tree.SetNamedNode(NamedNode::kWhereClause, where);
        return New(NODE_KIND_DELETE, "Delete");
    }
    CSQLNode* Update(CSQLNode* table, CSQLNode* values, CSQLNode* where);
    CSQLNode* Insert(CSQLNode* table, CSQLNode* columns, CSQLNode* values);
    CSQLNode* CreateTable(CSQLNode* table, CSQLNode* columns) {
        m_Tree.SetNamedNode(NamedNode::kNameIdent, table);
        m_Tree.SetNamedNode(NamedNode::kColDataTypeList, columns);
        return New(NODE_KIND_CREATE_TABLE, "create table");
    }
    CSQLNode* DropTable(CSQLNode* table) {
        m_Tree.SetNamedNode(NamedNode::kNameIdent, table);
        return New(NODE_KIND_DROP_TABLE, "drop table");
    }

    // SELECT clauses
    CSQLNode* Distinct() { return New(NODE_KIND_DISTINCT, "Distinct"); }
    CSQLNode* Top(CSQLNode* count) { return Attach(New(NODE_KIND_TOP, "Top"), count); }
    CSQLNode* TopPercent(CSQLNode* percent) { return Attach(New(NODE_KIND_TOP_PERCENT, "Top"), percent); }
    // LIMIT n starts at row 1.
    CSQLNode* LimitCount(CSQLNode* count) {
        CSQLNode* limit = New(NODE_KIND_LIMIT, "Limit");
        limit->m_pLeft = MadeUpNumber("1");
        limit->m_pRight = count;
        return limit;
    }
    CSQLNode* Limit(CSQLNode* offset, CSQLNode* count) {
        return New(NODE_KIND_LIMIT, "Limit", offset, count);
    }
    CSQLNode* ColumnAlias(CSQLNode* e, CSQLNode* alias) {
        return New(NODE_KIND_ALIAS, "AS column alias", e, alias);
    }
    CSQLNode* StringColumnAlias(CSQLNode* expression) {
        CSQLNode* alias = New(NODE_KIND_ALIAS, "AS column alias");
        alias->m_pLeft = expression;
        alias->m_pRight = New(NODE_KIND_IDENTIFIER, "'Identifier'");
        return alias;
    }
    CSQLNode* UpdateValue(CSQLNode* column, CSQLNode* value) {
        return New(NODE_KIND_UPDATE_VALUE, "UpdateValue", column, value);
    }
    CSQLNode* OrderAsc(CSQLNode* item) { return New(NODE_KIND_ORDER_ASC, "OrderASC", item, nullptr); }
    CSQLNode* OrderDesc(CSQLNode* item) { return New(NODE_KIND_ORDER_DESC, "OrderDESC", item, nullptr); }

    // Lists: the first element stands for the list.
    CSQLNode* Append(CSQLNode* list, CSQLNode* element) {
        m_Tree.AppendToList(list, element);
        return list;
    }
    static CSQLNode* ColumnDefinition(CSQLNode* name, CSQLNode* type) {
        name->m_pLeft = type;
        return name;
    }
    CSQLNode* AppendColumnDefinition(CSQLNode* list, CSQLNode* name, CSQLNode* type) {
        return Append(list, ColumnDefinition(name, type));
    }

    // Names, column and table references
    CSQLNode* QualifiedColumn(CSQLNode* table, CSQLNode* name) {
        return New(NODE_KIND_COLUMN, "ColumnName: TableName.{Identifier or *}", table, name);
    }
    CSQLNode* Column(CSQLNode* name) {
        return New(NODE_KIND_COLUMN, "ColumnName: [NULL].Identifier", nullptr, name);
    }
    CSQLNode* PlainTableName() { return New(NODE_KIND_IDENTIFIER, "TableName"); }
    CSQLNode* QuotedTableName() { return New(NODE_KIND_IDENTIFIER, "\"TableName\""); }
    CSQLNode* BracketedTableName() { return New(NODE_KIND_IDENTIFIER, "[TableName]"); }
    CSQLNode* StringTableName() { return New(NODE_KIND_IDENTIFIER, "'TableName'"); }
    CSQLNode* PlainIdentifier() { return New(NODE_KIND_IDENTIFIER, "Identifier"); }
    CSQLNode* QuotedIdentifier() { return New(NODE_KIND_IDENTIFIER, "\"Identifier\""); }
    CSQLNode* BracketedIdentifier() { return New(NODE_KIND_IDENTIFIER, "[Identifier]"); }
    CSQLNode* Star() { return New(NODE_KIND_STAR, "*"); }
    CSQLNode* TableAlias(CSQLNode* table, CSQLNode* alias) {
        return New(NODE_KIND_ALIAS, "AS table alias", table, alias);
    }
    CSQLNode* ImplicitTableAlias(CSQLNode* table, CSQLNode* alias) {
        return New(NODE_KIND_ALIAS, "[AS] table alias", table, alias);
    }

    // Joins: the join-type node links its two tables and carries the condition attached.
    CSQLNode* CrossJoin(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_CROSS_JOIN, "CROSS JOIN", a, b); }
    static CSQLNode* NaturalJoin(CSQLNode* a, CSQLNode* join, CSQLNode* b) {
        join->m_pLeft = a;
        join->m_pRight = b;
        return join;
    }
    static CSQLNode* Join(CSQLNode* a, CSQLNode* join, CSQLNode* b, CSQLNode* condition) {
        return Attach(NaturalJoin(a, join, b), condition);
    }
    CSQLNode* InnerJoin() { return New(NODE_KIND_INNER_JOIN, "INNER JOIN"); }
    CSQLNode* LeftJoin() { return New(NODE_KIND_LEFT_JOIN, "LEFT OUTER JOIN"); }
    CSQLNode* RightJoin() { return New(NODE_KIND_RIGHT_JOIN, "RIGHT OUTER JOIN"); }
    CSQLNode* FullJoin() { return New(NODE_KIND_FULL_JOIN, "FULL OUTER JOIN"); }
    CSQLNode* JoinOn(CSQLNode* condition) {
        return Attach(New(NODE_KIND_JOIN_ON, "JOIN ON boolean_expression"), condition);
    }
    CSQLNode* JoinUsing(CSQLNode* columns) {
        return Attach(New(NODE_KIND_JOIN_USING, "JOIN USING column_name_list"), columns);
    }

    // Conditions
    CSQLNode* Or(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_OR, "OR", a, b); }
    CSQLNode* And(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_AND, "AND", a, b); }
    CSQLNode* Not(CSQLNode* condition) { return Negation(condition); }
    CSQLNode* Equals(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_EQUALS, " = ", a, b); }
    CSQLNode* NotEquals(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_NOT_EQUALS, " <> ", a, b); }
    CSQLNode* Less(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_LESS, " < ", a, b); }
    CSQLNode* More(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_MORE, " > ", a, b); }
    CSQLNode* LessEquals(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_LESS_EQUALS, " <= ", a, b); }
    CSQLNode* MoreEquals(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_MORE_EQUALS, " >= ", a, b); }
    CSQLNode* IsNull(CSQLNode* tested) { return IsNullTest(NODE_KIND_IS, "IS", tested); }
    CSQLNode* IsNotNull(CSQLNode* tested) { return IsNullTest(NODE_KIND_IS_NOT, "IS NOT", tested); }
    CSQLNode* IsNullTest(NODE_KIND kind, const char* name, CSQLNode* tested) {
        CSQLNode* is = New(kind, name);
        is->m_pLeft = tested;
        is->m_pRight = New(NODE_KIND_NULL, "NULL");
        return is;
    }
    CSQLNode* InList(CSQLNode* tested, CSQLNode* first);
    CSQLNode* NotInList(CSQLNode* tested, CSQLNode* first) {
        return Negated([&] { return InList(tested, first); });
    }
    CSQLNode* Between(CSQLNode* tested, CSQLNode* low, CSQLNode* high);
    CSQLNode* NotBetween(CSQLNode* tested, CSQLNode* low, CSQLNode* high) {
        return Negated([&] { return Between(tested, low, high); });
    }
    CSQLNode* Like(CSQLNode* column, CSQLNode* pattern) {
        return New(NODE_KIND_LIKE, "LIKE", column, pattern);
    }
    CSQLNode* NotLike(CSQLNode* column, CSQLNode* pattern) {
        return Negated([&] { return Like(column, pattern); });
    }
    CSQLNode* CaseState() { return New(NODE_KIND_CASESTATE, "CaseState"); }

    // Arithmetic, in all three expression families; unary minus is 0 - x.
    CSQLNode* Plus(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_PLUS, "+", a, b); }
    CSQLNode* Minus(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_MINUS, "-", a, b); }
    CSQLNode* Divide(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_DIVIDE, "/", a, b); }
    CSQLNode* Multiply(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_MULTIPLY, "*", a, b); }
    CSQLNode* Negative(CSQLNode* operand) {
        CSQLNode* minus = New(NODE_KIND_MINUS, "-");
        minus->m_pLeft = MadeUpNumber("0");
        minus->m_pRight = operand;
        return minus;
    }

    // CASE, IF, NULLIF and COALESCE
    CSQLNode* If(CSQLNode* condition, CSQLNode* then, CSQLNode* otherwise) {
        CSQLNode* node = New(NODE_KIND_IF, "If");
        node->m_pLeft = New(NODE_KIND_CASE_CONTAINER, "CaseContainer", otherwise, then);
        node->m_pRight = condition;
        return node;
    }
    CSQLNode* NullIf(CSQLNode* a, CSQLNode* b) { return New(NODE_KIND_NULLIF, "NullIf", a, b); }
    CSQLNode* Coalesce(CSQLNode* items) {
        CSQLNode* container = New(NODE_KIND_CASE_CONTAINER, "CaseContainer");
        container->m_pLeft = items;
        container->m_pRight = New(NODE_KIND_COALESCE_END, "CoalesceEnd");
        return container;
    }
    CSQLNode* FirstCoalesceItem(CSQLNode* value) {
        CSQLNode* item = New(NODE_KIND_COALESCE_ITEM, "CoalesceItem");
        item->m_pRight = value;
        item->m_pLeft = New(NODE_KIND_COALESCE_BEGIN, "CoalesceBegin");
        return item;
    }
    CSQLNode* CoalesceItem(CSQLNode* items, CSQLNode* value) {
        return New(NODE_KIND_COALESCE_ITEM, "CoalesceItem", items, value);
    }
    CSQLNode* SearchedCase(CSQLNode* whenList, CSQLNode* elseNode) {
        return Case(New(NODE_KIND_SEARCHED_CASE, "SearchedCase"), whenList, elseNode);
    }
    CSQLNode* SimpleCase(CSQLNode* operand, CSQLNode* whenList, CSQLNode* elseNode) {
        return Case(New(NODE_KIND_SIMPLE_CASE, "SimpleCase", operand, nullptr), whenList, elseNode);
    }
    CSQLNode* Case(CSQLNode* head, CSQLNode* whenList, CSQLNode* elseNode);
    CSQLNode* WhenList(CSQLNode* list, CSQLNode* when) {
        return New(NODE_KIND_CASE_CONTAINER, "CaseContainer", list, when);
    }
    CSQLNode* SearchedWhen(CSQLNode* condition, CSQLNode* value) {
        return New(NODE_KIND_SEARCHED_WHEN, "SearchedWhen", condition, value);
    }
    CSQLNode* SimpleWhen(CSQLNode* match, CSQLNode* value) {
        return New(NODE_KIND_SIMPLE_WHEN, "SimpleWhen", match, value);
    }
    CSQLNode* Else(CSQLNode* value) { return New(NODE_KIND_ELSE, "Else", nullptr, value); }

    // Functions and aggregates
    CSQLNode* Abs(CSQLNode* value) { return New(NODE_KIND_ABS, "ABS", value, nullptr); }
    // ROUND(x) rounds to 0 digits.
    CSQLNode* Round(CSQLNode* value) {
        CSQLNode* round = New(NODE_KIND_ROUND, "ROUND");
        round->m_pLeft = MadeUpNumber("0");
        round->m_pRight = value;
        return round;
    }
    CSQLNode* Round(CSQLNode* value, CSQLNode* digits) {
        return New(NODE_KIND_ROUND, "ROUND", digits, value);
    }
    CSQLNode* GetDate() { return New(NODE_KIND_GETDATE, "GETDATE"); }
    static CSQLNode* Aggregate(CSQLNode* function, CSQLNode* distinct, CSQLNode* value) {
        function->m_pLeft = value;
        return Attach(function, distinct);
    }
    CSQLNode* Count(CSQLNode* distinct, CSQLNode* value) {
        return Attach(New(NODE_KIND_COUNT, "COUNT", value, nullptr), distinct);
    }
    CSQLNode* CountStar() {
        CSQLNode* count = New(NODE_KIND_COUNT, "COUNT(*)");
        count->m_pLeft = Star();
        return count;
    }
    CSQLNode* Sum() { return New(NODE_KIND_SUM, "SUM"); }
    CSQLNode* Avg() { return New(NODE_KIND_AVG, "AVG"); }
    CSQLNode* Max() { return New(NODE_KIND_MAX, "MAX"); }
    CSQLNode* Min() { return New(NODE_KIND_MIN, "MIN"); }
    CSQLNode* StDev() { return New(NODE_KIND_STDEV, "STDEV"); }
    CSQLNode* First() { return New(NODE_KIND_FIRST, "FIRST"); }
    CSQLNode* Last() { return New(NODE_KIND_LAST, "LAST"); }
    CSQLNode* Var() { return New(NODE_KIND_VAR, "VAR"); }

    // Column data types
    CSQLNode* CharType(CSQLNode* length) {
        return New(NODE_KIND_CHAR_TYPE, "character_typ", length, nullptr);
    }
    CSQLNode* IntegerType() { return New(NODE_KIND_INTEGER_TYPE, "interger_typ"); }
    CSQLNode* FloatType() { return New(NODE_KIND_FLOAT_TYPE, "float_typ"); }
    CSQLNode* SmallIntType() { return New(NODE_KIND_SMALLINT_TYPE, "smallint_type"); }

    // Literals
    CSQLNode* NumberValue() { return New(NODE_KIND_NUMBER, "Number"); }
    CSQLNode* FloatValue() { return New(NODE_KIND_FLOAT, "Float"); }
    CSQLNode* StringValue() { return New(NODE_KIND_STRING, "String"); }
    CSQLNode* TimeStampValue() { return New(NODE_KIND_TIMESTAMP, "TimeStamp"); }
    CSQLNode* DateValue() { return New(NODE_KIND_DATE, "Date"); }
    CSQLNode* TimeValue() { return New(NODE_KIND_TIME, "Time"); }

    CParseTree& m_Tree;
};

CSQLNode* TreeActions::Select(CSQLNode* top, CSQLNode* distinct, CSQLNode* list, CSQLNode* tables,
                              CSQLNode* where, CSQLNode* group, CSQLNode* having, CSQLNode* order,
                              CSQLNode* limit) {
    CSQLNode* select = SelectSkeleton::Create(m_Tree);
    SelectSkeleton::Top(select) = top;
    SelectSkeleton::Distinct(select) = distinct;
    SelectSkeleton::List(select) = list;
    SelectSkeleton::Tables(select) = tables;
    SelectSkeleton::Where(select) = where;
    SelectSkeleton::GroupBy(select) = group;
    SelectSkeleton::Having(select) = having;
    SelectSkeleton::OrderBy(select) = order;
    SelectSkeleton::Limit(select) = limit;
    return select;
}

CSQLNode* TreeActions::Update(CSQLNode* table, CSQLNode* values, CSQLNode* where) {
    m_Tree.SetNamedNode(NamedNode::kNameIdent, table);
    m_Tree.SetNamedNode(NamedNode::kUpdateList, values);
    m_Tree.SetNamedNode(NamedNode::kWhereClause, where);
    return New(NODE_KIND_UPDATE, "Update");
}

CSQLNode* TreeActions::Insert(CSQLNode* table, CSQLNode* columns, CSQLNode* values) {
    m_Tree.SetNamedNode(NamedNode::kNameIdent, table);
    m_Tree.SetNamedNode(NamedNode::kInsertColSpec, columns);
    m_Tree.SetNamedNode(NamedNode::kInsertValueList, values);
    return New(NODE_KIND_INSERT, "Insert");
}

// x IN (a, b, c) becomes OR(OR(=(x, a), =(x, b)), =(x, c)); every comparison shares the
// node x, and the list elements are unchained on the way.
CSQLNode* TreeActions::InList(CSQLNode* tested, CSQLNode* first) {
    CSQLNode* result = Equals(tested, first);
    CSQLNode* previous = first;
    for (CSQLNode* e = first ? first->m_pNext : nullptr; e; e = e->m_pNext) {
        previous->m_pNext = nullptr;
        result = Or(result, Equals(tested, e));
        previous = e;
    }
    return result;
}

// x BETWEEN lo AND hi becomes AND(>=(x, lo), <=(x, hi)), the two sharing the node x.
CSQLNode* TreeActions::Between(CSQLNode* tested, CSQLNode* low, CSQLNode* high) {
    CSQLNode* both = New(NODE_KIND_AND, "AND");
    both->m_pLeft = MoreEquals(tested, low);
    both->m_pRight = LessEquals(tested, high);
    return both;
}

// CC(L = CC(L = head or Else(L = head), R = when-list), R = CaseEnd).
CSQLNode* TreeActions::Case(CSQLNode* head, CSQLNode* whenList, CSQLNode* elseNode) {
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

} // namespace

#include "parsetree/grammar_actions.inc"

CSQLNode* RunAction(int rule, CSQLNode* const* rhs, CParseTree& tree) {
    return TreeActions(tree).Run(rule, rhs);
}
