// Expression items: the AsString text of every enumeration value (and of values outside
// their enumeration, which no parse produces), name quoting, join texts, case states.
#include "common.h"

namespace {

using Items = ObjectTest;

// AsString of items of class T with kinds from to to, joined by "|".
template <class T> std::string Texts(int from, int to) {
    std::string out;
    for (int v = from; v <= to; ++v) {
        Held<T> item;
        item->SetKind(v);
        out += (v > from ? "|" : "") + Text(item.p);
    }
    return out;
}

TEST_F(Items, EnumerationTexts) {
    EXPECT_EQ(Texts<cAggregateFunction>(-1, 9), "!!!ERROR!!!|SUM|COUNT|MIN|MAX|AVG|STDEV|FIRST|LAST|VAR|!!!ERROR!!!");
    EXPECT_EQ(Texts<cAritOperator>(0, 4), "+|-|/|*|!!!ERROR!!!");
    EXPECT_EQ(Texts<cBoolOperator>(-2, 2), "!!!ERROR!!!|!!!ERROR!!!|AND|OR|!!!ERROR!!!");
    EXPECT_EQ(Texts<cCompareOperator>(0, 10), "=|<>|>|<|>=|<=| is | is not |not|like|!!!ERROR!!!");
    EXPECT_EQ(Texts<cDateFunction>(0, 1), "GETDATE|!!!ERROR!!!");
    EXPECT_EQ(Texts<cMathFunction>(0, 2), "ABS|ROUND|!!!ERROR!!!");
    EXPECT_EQ(Texts<cConditionalStatement>(0, 12),
              "CASE_SIMPLE|CASE_SEARCHED|WHEN_SIMPLE|WHEN_SEARCHED|CASE_ELSE|CASE_END|NULLIF|IF|COALESCE_BEGIN|"
              "COALESCE_ITEM|COALESCE_END|CASE_CONTAINER|!!!ERROR!!!");
    EXPECT_EQ(Texts<cSetOperator>(0, 4), "UNION|UNIONALL|INTERSECT|EXCEPT|!!!ERROR!!!");
    // Kinds are stored and returned unchanged, even outside their enumeration.
    Held<cCompareOperator> op;
    op->SetKind(4711);
    LONG kind = 0; // read as its 32 bits
    EXPECT_EQ(op->get_CompareOperator(reinterpret_cast<COMPARE_OPERATOR*>(&kind)), S_OK);
    EXPECT_EQ(kind, 4711);
}

TEST_F(Items, NamesAreQuotedWhenTheyHoldOtherThanWordCharacters) {
    // Plain and quoted names from parses show in the dumps of tests/sql.
    const char* const tables[][3] = {
        {"a.b", "", "'a.b'"}, {"it's", "", "it's"}, {"a\\b", "", "'a\\b'"}, {"", "z", " AS z"}};
    for (const auto& t : tables) {
        Held<cTableIdent> table;
        table->SetName(t[0]);
        table->SetAlias(t[1]);
        EXPECT_EQ(Text(table.p), t[2]) << t[0] << " / " << t[1];
    }
    const char* const columns[][3] = {{"", "", ""}, {"", "*", "*"}, {"t", "a/b", "t.'a/b'"}, {"t", "*", "t.*"}};
    for (const auto& c : columns) {
        Held<cColumnIdent> column;
        column->SetTableName(c[0]);
        column->SetColumnName(c[1]);
        EXPECT_EQ(Text(column.p), c[2]) << c[0] << " / " << c[1];
    }
}

TEST_F(Items, JoinTexts) {
    // A joined table reads as such whatever name it was given.
    Held<cTableIdent> t;
    Held<cGenericStack> stack;
    t->SetJoinStack(stack.p);
    t->SetName("ignored");
    EXPECT_EQ(Text(t.p), "{JoinedTable}");
    const ULONG before = RefCount(stack->Dispatch());
    IGenericStack* read = nullptr;
    EXPECT_EQ(t->get_JoinExpressionStack(&read), S_OK);
    EXPECT_EQ(read, static_cast<IGenericStack*>(stack.p));
    EXPECT_EQ(RefCount(stack->Dispatch()), before + 1);
    read->Release();

    const struct {
        int type, condition;
        const char* text;
    } rows[] = {{0, 0, "CROSS JOIN"},       {1, 1, "INNER JOIN ON"},    {2, 0, "LEFT JOIN NATURAL"},
                {3, 2, "RIGHT JOIN USING"}, {4, 1, "FULL JOIN ON"},     {7, 1, "INNER JOIN ON"},
                {0, 2, "CROSS JOIN USING"}, {-1, 9, "INNER JOIN NATURAL"}, {0, 5, "CROSS JOIN"}};
    for (const auto& r : rows) {
        Held<cJoinOperator> j;
        j->SetJoinType(r.type);
        j->SetJoinCondition(r.condition);
        EXPECT_EQ(Text(j.p), r.text) << r.type << "/" << r.condition;
    }
}

TEST_F(Items, CaseStateWords) {
    // Words are read in any case; an unknown one keeps the state the item had.
    const struct {
        const char* word;
        CASESTATE_TYPE state;
        const char* text;
    } rows[] = {{"HiDdEn", CASESTATE_HIDDEN, "hidden"}, {"hidden ", CASESTATE_HIDDEN, "hidden "},
                {"marked", CASESTATE_MARKED, "marked"}, {"EXCLUDED", CASESTATE_EXCLUDED, "excluded"},
                {"Label", CASESTATE_LABEL, "label"},    {"\"hidden\"", CASESTATE_LABEL, "\"hidden\""}};
    Held<cCaseState> item;
    for (const auto& r : rows) {
        item->SetCaseStateText(r.word);
        CASESTATE_TYPE state;
        item->get_CaseState(&state);
        EXPECT_EQ(state, r.state) << r.word;
        EXPECT_EQ(Text(item.p), r.text) << r.word;
    }
}

// Names and values are kept inside the object up to 12 bytes and in a pool block beyond:
// every length around the boundary, each change of place, and a text set from itself.
TEST_F(Items, TextsOfEveryLengthAroundTheInlineLimit) {
    Held<cColumnIdent> column;
    const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789";
    for (size_t before : {0, 5, 12, 13, 30})
        for (size_t after = 0; after <= 30; ++after) {
            column->SetColumnName(letters.substr(0, before));
            column->SetColumnName(letters.substr(1, after));
            EXPECT_EQ(column->ColumnName(), letters.substr(1, after)) << before << "->" << after;
            column->SetTableName(letters.substr(2, after));
            EXPECT_EQ(Text(column.p), (after ? letters.substr(2, after) + "." : "") + letters.substr(1, after));
        }
    for (size_t length : {12, 13, 20}) {
        column->SetColumnName(letters.substr(0, length));
        column->SetColumnName(column->ColumnName().substr(1)); // a view of the text being replaced
        EXPECT_EQ(column->ColumnName(), letters.substr(1, length - 1)) << length;
    }
}

// AsString widens ASCII directly and converts other bytes with the ANSI code page.
TEST_F(Items, LiteralTextsWidenAsciiAndConvertOthers) {
    Held<cLiteralValue> literal;
    literal->SetValue("'caf\xE9 \x80'");
    BSTR text = nullptr;
    ASSERT_EQ(literal->get_AsString(&text), S_OK);
    EXPECT_TRUE(std::basic_string<OLECHAR>(text, SysStringLen(text)) == OLESTR("'caf\u00E9 \u20AC'"));
    SysFreeString(text);
    literal->SetValue(std::string("a\0b", 3));
    EXPECT_EQ(Text(literal.p), std::string("a\0b", 3));
}

} // namespace
