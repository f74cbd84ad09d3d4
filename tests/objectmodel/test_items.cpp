// Expression items: ItemType, stored kinds, defaults, and the text of every AsString row.
#include "common.h"

namespace {

using Items = ObjectTest;

template <class T> EXPRESSIONITEM_TYPE TypeOf() {
    Held<T> item;
    EXPRESSIONITEM_TYPE type = static_cast<EXPRESSIONITEM_TYPE>(-1);
    EXPECT_EQ(item->get_ItemType(&type), S_OK);
    return type;
}

TEST_F(Items, ItemTypeIsTheClassConstant) {
    EXPECT_EQ(TypeOf<cAggregateFunction>(), EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION);
    EXPECT_EQ(TypeOf<cSelectStarExpression>(), EXPRESSIONITEM_TYPE_SELECTSTAR);
    EXPECT_EQ(TypeOf<cColumnIdent>(), EXPRESSIONITEM_TYPE_COLUMNIDENT);
    EXPECT_EQ(TypeOf<cAritOperator>(), EXPRESSIONITEM_TYPE_ARITOPERATOR);
    EXPECT_EQ(TypeOf<cBoolOperator>(), EXPRESSIONITEM_TYPE_BOOLOPERATOR);
    EXPECT_EQ(TypeOf<cCompareOperator>(), EXPRESSIONITEM_TYPE_COMPAREOPERATOR);
    EXPECT_EQ(TypeOf<cDateFunction>(), EXPRESSIONITEM_TYPE_DATEFUNCTION);
    EXPECT_EQ(TypeOf<cLiteralValue>(), EXPRESSIONITEM_TYPE_LITERALVALUE);
    EXPECT_EQ(TypeOf<cMathFunction>(), EXPRESSIONITEM_TYPE_MATHFUNCTION);
    EXPECT_EQ(TypeOf<cNullExpression>(), EXPRESSIONITEM_TYPE_NULLEXPRESSION);
    EXPECT_EQ(TypeOf<cJoinOperator>(), EXPRESSIONITEM_TYPE_JOINOPERATOR);
    EXPECT_EQ(TypeOf<cTableIdent>(), EXPRESSIONITEM_TYPE_TABLEIDENT);
    EXPECT_EQ(TypeOf<cCaseState>(), EXPRESSIONITEM_TYPE_CASESTATE);
    EXPECT_EQ(TypeOf<cConditionalStatement>(), EXPRESSIONITEM_TYPE_CONDITIONALSTATEMENT);
    EXPECT_EQ(TypeOf<cSetOperator>(), EXPRESSIONITEM_TYPE_SETOPERATOR);
}

// The text of every value of an enumeration-valued item, and of values without one.
template <class T, class Kind> std::string Texts(int from, int to) {
    std::string out;
    for (int v = from; v <= to; ++v) {
        Held<T> item;
        item->SetKind(v);
        out += (v > from ? "|" : "") + Text(item.p);
    }
    return out;
}

TEST_F(Items, EnumerationTexts) {
    EXPECT_EQ((Texts<cAggregateFunction, AGGREGATE_FUNCTION>(-1, 9)),
              "!!!ERROR!!!|SUM|COUNT|MIN|MAX|AVG|STDEV|FIRST|LAST|VAR|!!!ERROR!!!");
    EXPECT_EQ((Texts<cAritOperator, ARIT_OPERATOR>(0, 4)), "+|-|/|*|!!!ERROR!!!");
    EXPECT_EQ((Texts<cBoolOperator, BOOL_OPERATOR>(-2, 2)), "!!!ERROR!!!|!!!ERROR!!!|AND|OR|!!!ERROR!!!");
    EXPECT_EQ((Texts<cCompareOperator, COMPARE_OPERATOR>(0, 10)),
              "=|<>|>|<|>=|<=| is | is not |not|like|!!!ERROR!!!");
    EXPECT_EQ((Texts<cDateFunction, DATE_FUNCTION>(0, 1)), "GETDATE|!!!ERROR!!!");
    EXPECT_EQ((Texts<cMathFunction, MATH_FUNCTION>(0, 2)), "ABS|ROUND|!!!ERROR!!!");
    EXPECT_EQ((Texts<cConditionalStatement, CONDITIONALSTATEMENT_TYPE>(0, 12)),
              "CASE_SIMPLE|CASE_SEARCHED|WHEN_SIMPLE|WHEN_SEARCHED|CASE_ELSE|CASE_END|NULLIF|IF|COALESCE_BEGIN|"
              "COALESCE_ITEM|COALESCE_END|CASE_CONTAINER|!!!ERROR!!!");
    EXPECT_EQ((Texts<cSetOperator, SET_OPERATOR>(0, 4)), "UNION|UNIONALL|INTERSECT|EXCEPT|!!!ERROR!!!");
    // Kinds are stored and returned unchanged, even outside their enumeration.
    Held<cCompareOperator> op;
    op->SetKind(4711);
    LONG kind = 0; // read as its 32 bits: the value is outside the enumeration
    EXPECT_EQ(op->get_CompareOperator(reinterpret_cast<COMPARE_OPERATOR*>(&kind)), S_OK);
    EXPECT_EQ(kind, 4711);
}

TEST_F(Items, ConstantAndStoredTexts) {
    Held<cSelectStarExpression> star;
    EXPECT_EQ(Text(star.p), "*");
    Held<cNullExpression> null;
    EXPECT_EQ(Text(null.p), "NULL");
    Held<cLiteralValue> literal;
    EXPECT_EQ(Text(literal.p), "");
    literal->SetValue("it''s");
    EXPECT_EQ(Text(literal.p), "it''s");
    literal->SetValue("\xE9t\xE9"); // code page 1252 bytes come out as their characters
    BSTR wide = nullptr;
    literal->get_AsString(&wide);
    ASSERT_EQ(SysStringLen(wide), 3u);
    EXPECT_EQ(wide[0], u'\u00e9');
    SysFreeString(wide);
}

TEST_F(Items, NameQuoting) {
    Held<cTableIdent> t;
    t->SetName("orders");
    t->SetAlias("o");
    EXPECT_EQ(Text(t.p), "orders AS o");
    t->SetName("my table");
    t->SetAlias("x y");
    EXPECT_EQ(Text(t.p), "'my table' AS 'x y'");
    t->SetName("a.b");
    t->SetAlias("");
    EXPECT_EQ(Text(t.p), "'a.b'");
    t->SetName("it's");
    EXPECT_EQ(Text(t.p), "it's");
    t->SetName("a\\b");
    EXPECT_EQ(Text(t.p), "'a\\b'");
    t->SetName("");
    t->SetAlias("z");
    EXPECT_EQ(Text(t.p), " AS z");

    Held<cColumnIdent> c;
    EXPECT_EQ(Text(c.p), "");
    c->SetColumnName("*");
    EXPECT_EQ(Text(c.p), "*");
    c->SetTableName("dbo.t");
    c->SetColumnName("qty");
    EXPECT_EQ(Text(c.p), "'dbo.t'.qty");
    c->SetTableName("t");
    c->SetColumnName("a/b");
    EXPECT_EQ(Text(c.p), "t.'a/b'");
}

TEST_F(Items, JoinedTablesAndJoinOperators) {
    Held<cTableIdent> t;
    LONG joined = -7;
    EXPECT_EQ(t->get_JoinedTable(&joined), S_OK);
    EXPECT_EQ(joined, 0);
    Held<cGenericStack> stack;
    t->SetJoinStack(stack.p);
    t->SetName("ignored");
    t->SetAlias("also ignored");
    EXPECT_EQ(t->get_JoinedTable(&joined), S_OK);
    EXPECT_EQ(joined, 1);
    EXPECT_EQ(Text(t.p), "{JoinedTable}");
    IGenericStack* read = nullptr;
    const ULONG before = RefCount(stack->Dispatch());
    EXPECT_EQ(t->get_JoinExpressionStack(&read), S_OK);
    EXPECT_EQ(read, static_cast<IGenericStack*>(stack.p));
    EXPECT_EQ(RefCount(stack->Dispatch()), before + 1);
    read->Release();

    Held<cJoinOperator> j;
    JOIN_TYPE type;
    JOIN_CONDITION condition;
    j->get_JoinType(&type);
    j->get_JoinCondition(&condition);
    EXPECT_EQ(type, JOIN_TYPE_INNER);
    EXPECT_EQ(condition, JOIN_CONDITION_NATURAL);
    IGenericStack* none = reinterpret_cast<IGenericStack*>(1);
    EXPECT_EQ(j->get_JoinConditionStack(&none), S_OK);
    EXPECT_EQ(none, nullptr);
    struct {
        int type, condition;
        const char* text;
    } rows[] = {{0, 0, "CROSS JOIN"},         {1, 1, "INNER JOIN ON"},      {2, 0, "LEFT JOIN NATURAL"},
                {3, 2, "RIGHT JOIN USING"},   {4, 1, "FULL JOIN ON"},       {7, 1, "INNER JOIN ON"},
                {0, 2, "CROSS JOIN USING"},   {-1, 9, "INNER JOIN NATURAL"}, {0, 5, "CROSS JOIN"}};
    for (const auto& r : rows) {
        j->SetJoinType(r.type);
        j->SetJoinCondition(r.condition);
        EXPECT_EQ(Text(j.p), r.text) << r.type << "/" << r.condition;
    }
}

TEST_F(Items, AggregateDistinctAndCaseState) {
    Held<cAggregateFunction> a;
    LONG distinct = 5;
    a->get_Distinct(&distinct);
    EXPECT_EQ(distinct, 0);
    a->SetDistinct(true);
    a->get_Distinct(&distinct);
    EXPECT_EQ(distinct, -1);

    Held<cCaseState> fresh;
    EXPECT_EQ(Text(fresh.p), "");
    CASESTATE_TYPE state;
    fresh->get_CaseState(&state);
    EXPECT_EQ(state, CASESTATE_SELECTED);
    struct {
        const char* word;
        CASESTATE_TYPE state;
        const char* text;
    } rows[] = {{"HiDdEn", CASESTATE_HIDDEN, "hidden"},       {"hidden ", CASESTATE_SELECTED, "hidden "},
                {"marked", CASESTATE_MARKED, "marked"},       {"EXCLUDED", CASESTATE_EXCLUDED, "excluded"},
                {"Label", CASESTATE_LABEL, "label"},           {"other", CASESTATE_SELECTED, "other"},
                {"\"hidden\"", CASESTATE_SELECTED, "\"hidden\""}};
    for (const auto& r : rows) {
        Held<cCaseState> item;
        item->SetCaseStateText(r.word);
        item->get_CaseState(&state);
        EXPECT_EQ(state, r.state) << r.word;
        EXPECT_EQ(Text(item.p), r.text);
    }
    // An unknown word keeps the state the item had.
    Held<cCaseState> item;
    item->SetCaseStateText("label");
    item->SetCaseStateText("nonsense");
    item->get_CaseState(&state);
    EXPECT_EQ(state, CASESTATE_LABEL);
}

TEST_F(Items, ErrorInfoSupportAndInterfaces) {
    Held<cColumnIdent> c;
    EXPECT_EQ(c->InterfaceSupportsErrorInfo(IID_IColumnIdent), S_OK);
    EXPECT_EQ(c->InterfaceSupportsErrorInfo(IID_IExpressionItem), S_FALSE);
    EXPECT_EQ(c->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
    IExpressionItem* item = nullptr;
    IColumnIdent* own = nullptr;
    IDispatch* dispatch = nullptr;
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(c->QueryInterface(IID_IExpressionItem, reinterpret_cast<void**>(&item)), S_OK);
    ASSERT_EQ(c->QueryInterface(IID_IColumnIdent, reinterpret_cast<void**>(&own)), S_OK);
    ASSERT_EQ(c->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)), S_OK);
    ASSERT_EQ(c->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
    EXPECT_EQ(static_cast<void*>(item), static_cast<void*>(own));
    EXPECT_EQ(static_cast<void*>(dispatch), static_cast<void*>(own));
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IColumnIdent), S_OK);
    void* other = nullptr;
    EXPECT_EQ(c->QueryInterface(IID_ITableIdent, &other), E_NOINTERFACE);
    item->Release();
    own->Release();
    dispatch->Release();
    support->Release();
    EXPECT_EQ(c->get_TableName(nullptr), E_POINTER);
    EXPRESSIONITEM_TYPE* nullType = nullptr;
    EXPECT_EQ(c->get_ItemType(nullType), E_POINTER);
}

} // namespace
