// SELECT statements: scalars with their clamps, the FROM list with join stacks, GROUP BY,
// ORDER BY, through ISelectStmt.
#include "describe.h"

namespace {

using Select = ObjectTest;

struct Scalars {
    LONG distinct, top, isTopPercent, hasLimit, offset, count;
    double percent;
};

Scalars ReadScalars(const std::string& sql) {
    Parsed p(sql);
    Scalars s{};
    ISelectStmt* select = p.Select();
    if (!select) return s;
    select->get_Distinct(&s.distinct);
    select->get_Top(&s.top);
    select->get_IsTopPercent(&s.isTopPercent);
    select->get_TopPercent(&s.percent);
    select->get_HasLimitClause(&s.hasLimit);
    select->get_LimitOffset(&s.offset);
    select->get_LimitCount(&s.count);
    select->Release();
    return s;
}

TEST_F(Select, TopLimitAndDistinct) {
    Scalars s = ReadScalars("SELECT * FROM t");
    EXPECT_EQ(s.top, 0);
    EXPECT_EQ(s.isTopPercent, 0);
    EXPECT_EQ(s.percent, 0.0);
    EXPECT_EQ(s.hasLimit, 0);
    EXPECT_EQ(s.offset, 0);
    EXPECT_EQ(s.count, 0);
    EXPECT_EQ(s.distinct, 0);

    EXPECT_EQ(ReadScalars("SELECT TOP 5 a FROM t").top, 5);
    EXPECT_EQ(ReadScalars("SELECT TOP 0 a FROM t").top, 1);
    EXPECT_EQ(ReadScalars("SELECT TOP a FROM t").top, 1);
    EXPECT_EQ(ReadScalars("SELECT TOP 99999999999999 a FROM t").top, 2147483647);
    s = ReadScalars("SELECT TOP 50 PERCENT a FROM t");
    EXPECT_EQ(s.top, 1);
    EXPECT_EQ(s.isTopPercent, -1);
    EXPECT_EQ(s.percent, 50.0);
    EXPECT_EQ(ReadScalars("SELECT TOP 150 PERCENT a FROM t").percent, 100.0);
    EXPECT_EQ(ReadScalars("SELECT TOP 12.5 PERCENT a FROM t").percent, 12.5);
    EXPECT_EQ(ReadScalars("SELECT TOP 0.0 PERCENT a FROM t").percent, 0.0);

    s = ReadScalars("SELECT a FROM t LIMIT 10");
    EXPECT_EQ(s.hasLimit, -1);
    EXPECT_EQ(s.offset, 1);
    EXPECT_EQ(s.count, 10);
    s = ReadScalars("SELECT a FROM t LIMIT 0, 10");
    EXPECT_EQ(s.offset, 1);
    EXPECT_EQ(s.count, 10);
    EXPECT_EQ(ReadScalars("SELECT a FROM t LIMIT 5, 0").count, 1);
    EXPECT_EQ(ReadScalars("SELECT a FROM t LIMIT 7, 3").offset, 7);

    EXPECT_EQ(ReadScalars("SELECT DISTINCT a FROM t").distinct, -1);
    EXPECT_EQ(ReadScalars("SELECT ALL a FROM t").distinct, 0);
}

std::string Tables(const std::string& from) {
    Parsed p("SELECT * FROM " + from);
    ISelectStmt* select = p.Select();
    if (!select) return "<none>";
    ITableIdentList* list = nullptr;
    select->get_TableIdentList(&list);
    LONG count = 0;
    list->get_Count(&count);
    std::string out;
    for (LONG i = 1; i <= count; ++i) {
        VARIANT v;
        VariantInit(&v);
        list->get_Item(i, &v);
        if (i > 1) out += " | ";
        out += DescribeElement(v);
        VariantClear(&v);
    }
    list->Release();
    select->Release();
    return out;
}

TEST_F(Select, FromListsAndJoinStacks) {
    EXPECT_EQ(Tables("a, b"), "<a> | <b>");
    EXPECT_EQ(Tables("a x, b AS y"), "<a AS x> | <b AS y>");
    EXPECT_EQ(Tables("a JOIN b ON a.k = b.k"), "{<a>, <b>, INNER JOIN ON{[a.k], [b.k], =}}");
    EXPECT_EQ(Tables("a LEFT JOIN b USING (k1, k2)"), "{<a>, <b>, LEFT JOIN USING{'k1', 'k2'}}");
    EXPECT_EQ(Tables("a NATURAL JOIN b"), "{<a>, <b>, INNER JOIN NATURAL}");
    EXPECT_EQ(Tables("a CROSS JOIN b"), "{<a>, <b>, CROSS JOIN}");
    EXPECT_EQ(Tables("(a JOIN b ON c1 = 1) RIGHT JOIN c ON c2 = 2"),
              "{<a>, <b>, INNER JOIN ON{[c1], 1:int, =}, <c>, RIGHT JOIN ON{[c2], 2:int, =}}");
    EXPECT_EQ(Tables("a JOIN b ON c1 = 1, d"), "{<a>, <b>, INNER JOIN ON{[c1], 1:int, =}} | <d>");
    EXPECT_EQ(Tables("a FULL OUTER JOIN b"), "{<a>, <b>, FULL JOIN NATURAL}");
    EXPECT_EQ(Tables("\"my t\" x JOIN [u.v] AS y ON 1 = 1"), "{<'my t' AS x>, <'u.v' AS y>, INNER JOIN ON{1:int, 1:int, =}}");
}

TEST_F(Select, JoinedTableProperties) {
    Parsed p("SELECT * FROM a JOIN b USING (k), c");
    ISelectStmt* select = p.Select();
    ITableIdentList* list = nullptr;
    select->get_TableIdentList(&list);
    VARIANT v;
    VariantInit(&v);
    ASSERT_EQ(list->get_Item(1, &v), S_OK);
    ITableIdent* joined = nullptr;
    V_DISPATCH(&v)->QueryInterface(IID_ITableIdent, reinterpret_cast<void**>(&joined));
    VariantClear(&v);
    LONG flag = -5;
    EXPECT_EQ(joined->get_JoinedTable(&flag), S_OK);
    EXPECT_EQ(flag, 1);
    BSTR name = nullptr;
    joined->get_Name(&name);
    EXPECT_EQ(SysStringLen(name), 0u);
    SysFreeString(name);
    IGenericStack* s1 = nullptr;
    IGenericStack* s2 = nullptr;
    joined->get_JoinExpressionStack(&s1);
    joined->get_JoinExpressionStack(&s2);
    EXPECT_EQ(s1, s2);
    // The USING names are strings: Pop and Peek hand out separate copies.
    VARIANT op;
    VariantInit(&op);
    s1->get_Item(3, &op);
    IJoinOperator* join = nullptr;
    V_DISPATCH(&op)->QueryInterface(IID_IJoinOperator, reinterpret_cast<void**>(&join));
    IGenericStack* using_ = nullptr;
    join->get_JoinConditionStack(&using_);
    VARIANT a, b;
    VariantInit(&a);
    VariantInit(&b);
    EXPECT_EQ(using_->Peek(&a), S_OK);
    EXPECT_EQ(using_->Pop(&b), S_OK);
    EXPECT_EQ(V_VT(&a), VT_BSTR);
    EXPECT_EQ(V_VT(&b), VT_BSTR);
    EXPECT_NE(V_BSTR(&a), V_BSTR(&b));
    EXPECT_EQ(Narrow(V_BSTR(&b)), "k");
    VariantClear(&a);
    VariantClear(&b);
    using_->Release();
    join->Release();
    VariantClear(&op);
    s1->Release();
    s2->Release();
    joined->Release();

    VariantInit(&v);
    ASSERT_EQ(list->get_Item(2, &v), S_OK);
    ITableIdent* plain = nullptr;
    V_DISPATCH(&v)->QueryInterface(IID_ITableIdent, reinterpret_cast<void**>(&plain));
    EXPECT_EQ(plain->get_JoinedTable(&flag), S_OK);
    EXPECT_EQ(flag, 0);
    IGenericStack* none = reinterpret_cast<IGenericStack*>(1);
    EXPECT_EQ(plain->get_JoinExpressionStack(&none), S_OK);
    EXPECT_EQ(none, nullptr);
    plain->Release();
    VariantClear(&v);
    list->Release();
    select->Release();
}

TEST_F(Select, GroupByOrderByAndStar) {
    Parsed p("SELECT t.*, COUNT(*) FROM t GROUP BY t.a, 1 HAVING COUNT(*) > 1 ORDER BY a, b DESC, c ASC, 2");
    ISelectStmt* select = p.Select();
    IColumnIdentList* group = nullptr;
    select->get_GroupByObjList(&group);
    LONG count = 0;
    group->get_Count(&count);
    ASSERT_EQ(count, 2);
    const char* const expected[][2] = {{"t", "a"}, {"", "1"}};
    for (LONG i = 1; i <= 2; ++i) {
        VARIANT v;
        VariantInit(&v);
        group->get_Item(i, &v);
        IColumnIdent* column = nullptr;
        V_DISPATCH(&v)->QueryInterface(IID_IColumnIdent, reinterpret_cast<void**>(&column));
        BSTR table = nullptr, name = nullptr;
        column->get_TableName(&table);
        column->get_ColumnName(&name);
        EXPECT_EQ(Narrow(table), expected[i - 1][0]);
        EXPECT_EQ(Narrow(name), expected[i - 1][1]);
        SysFreeString(table);
        SysFreeString(name);
        column->Release();
        VariantClear(&v);
    }
    group->Release();

    IOrderByObjList* order = nullptr;
    select->get_OrderByObjList(&order);
    order->get_Count(&count);
    ASSERT_EQ(count, 4);
    const LONG asc[] = {-1, 0, -1, -1};
    const char* const names[] = {"a", "b", "c", "2"};
    for (LONG i = 1; i <= 4; ++i) {
        VARIANT v;
        VariantInit(&v);
        order->get_Item(i, &v);
        IOrderByObj* entry = nullptr;
        V_DISPATCH(&v)->QueryInterface(IID_IOrderByObj, reinterpret_cast<void**>(&entry));
        LONG a = 7;
        entry->get_Asc(&a);
        EXPECT_EQ(a, asc[i - 1]);
        IColumnIdent* column = nullptr;
        entry->get_ColumnIdent(&column);
        BSTR name = nullptr;
        column->get_ColumnName(&name);
        EXPECT_EQ(Narrow(name), names[i - 1]);
        SysFreeString(name);
        column->Release();
        entry->Release();
        VariantClear(&v);
    }
    order->Release();

    IGenericStack* having = nullptr;
    select->get_HavingExpressionStack(&having);
    EXPECT_EQ(DescribeStack(having), "*, COUNT, 1:int, >");
    having->Release();
    select->Release();
    EXPECT_EQ(Item("t.*"), "[t.*]");
}

TEST_F(Select, StarAndBareTableStatements) {
    for (const char* sql : {"SELECT * FROM t WHERE a = 1", "t WHERE a = 1"}) {
        Parsed p(sql);
        ISelectStmt* select = p.Select();
        ASSERT_NE(select, nullptr) << sql;
        IGenericStackList* list = nullptr;
        select->get_SelectExpressionList(&list);
        LONG count = 0;
        list->get_Count(&count);
        EXPECT_EQ(count, 1);
        VARIANT v;
        VariantInit(&v);
        list->get_Item(1, &v);
        IGenericStack* stack = nullptr;
        V_DISPATCH(&v)->QueryInterface(IID_IGenericStack, reinterpret_cast<void**>(&stack));
        EXPECT_EQ(DescribeStack(stack), "*");
        VARIANT star;
        VariantInit(&star);
        stack->get_Item(1, &star);
        IExpressionItem* item = nullptr;
        V_DISPATCH(&star)->QueryInterface(IID_IExpressionItem, reinterpret_cast<void**>(&item));
        EXPECT_EQ(Tables("t"), "<t>");
        EXPRESSIONITEM_TYPE type;
        item->get_ItemType(&type);
        EXPECT_EQ(type, EXPRESSIONITEM_TYPE_SELECTSTAR);
        item->Release();
        VariantClear(&star);
        stack->Release();
        VariantClear(&v);
        list->Release();
        IGenericStack* where = nullptr;
        select->get_WhereExpressionStack(&where);
        EXPECT_EQ(DescribeStack(where), "[a], 1:int, =");
        where->Release();
        select->Release();
    }
}

} // namespace
