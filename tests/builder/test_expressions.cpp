// Postfix stacks of every expression form, read through IGenericStack.
#include "describe.h"

namespace {

using Expressions = ObjectTest;

TEST_F(Expressions, ConditionsAndPredicates) {
    EXPECT_EQ(Where("a = 1 AND b > 2"), "[a], 1:int, =, [b], 2:int, >, AND");
    EXPECT_EQ(Where("NOT c = 1"), "[c], 1:int, =, not");
    EXPECT_EQ(Where("x IS NULL"), "[x], NULL,  is ");
    EXPECT_EQ(Where("x IS NOT NULL"), "[x], NULL,  is not ");
    EXPECT_EQ(Where("x LIKE 'a%'"), "[x], a%:str, like");
    EXPECT_EQ(Where("x NOT LIKE 'a%'"), "[x], a%:str, like, not");
    EXPECT_EQ(Where("x BETWEEN 1 AND 5"), "[x], 1:int, >=, [x], 5:int, <=, AND");
    EXPECT_EQ(Where("x NOT BETWEEN 1 AND 5"), "[x], 1:int, >=, [x], 5:int, <=, AND, not");
    EXPECT_EQ(Where("x IN (1, 2, 3)"), "[x], 1:int, =, [x], 2:int, =, OR, [x], 3:int, =, OR");
    EXPECT_EQ(Where("x NOT IN (1, 2)"), "[x], 1:int, =, [x], 2:int, =, OR, not");
    EXPECT_EQ(Where("x IN (1)"), "[x], 1:int, =");
    EXPECT_EQ(Where("a <> b OR c < d"), "[a], [b], <>, [c], [d], <, OR");
    EXPECT_EQ(Where("CASESTATE_selected"), "cs:selected");
    EXPECT_EQ(Where("CASESTATE = marked AND a = 1"), "cs:marked, [a], 1:int, =, AND");
}

TEST_F(Expressions, ArithmeticAndFunctions) {
    EXPECT_EQ(Item("(a + b) * c"), "[a], [b], +, [c], *");
    EXPECT_EQ(Item("-x"), "0:int, [x], -");
    EXPECT_EQ(Item("-5"), "0:int, 5:int, -");
    EXPECT_EQ(Item("ABS(x)"), "[x], ABS");
    EXPECT_EQ(Item("ROUND(x)"), "0:int, [x], ROUND");
    EXPECT_EQ(Item("ROUND(x, 2)"), "2:int, [x], ROUND");
    EXPECT_EQ(Item("GETDATE()"), "GETDATE");
    EXPECT_EQ(Item("COUNT(*)"), "*, COUNT");
    EXPECT_EQ(Item("COUNT(DISTINCT x)"), "[x], COUNT distinct");
    EXPECT_EQ(Item("SUM(ALL x)"), "[x], SUM");
    EXPECT_EQ(Item("t.c"), "[t.c]");
    EXPECT_EQ(Item("t.*"), "[t.*]");
    EXPECT_EQ(Item("1.5, 'x', {ts 'a'}, {d 'b'}, {t 'c'}"),
              "1.5:flt; x:str; {ts 'a'}:ts; {d 'b'}:date; {t 'c'}:time");
    EXPECT_EQ(Item("AVG(a), MIN(a), MAX(a), STDEV(a), FIRST(a), LAST(a), VAR(a)"),
              "[a], AVG; [a], MIN; [a], MAX; [a], STDEV; [a], FIRST; [a], LAST; [a], VAR");
}

TEST_F(Expressions, ConditionalMarkers) {
    EXPECT_EQ(Item("NULLIF(a, b)"), "[a], [b], NULLIF");
    EXPECT_EQ(Item("IF(c = 1, t, f)"), "[f], [t], CASE_CONTAINER, [c], 1:int, =, IF");
    EXPECT_EQ(Item("COALESCE(a, b, c)"),
              "COALESCE_BEGIN, [a], COALESCE_ITEM, [b], COALESCE_ITEM, [c], COALESCE_ITEM, COALESCE_END, "
              "CASE_CONTAINER");
    EXPECT_EQ(Item("CASE WHEN c1 = 1 THEN t1 END"),
              "CASE_SEARCHED, [c1], 1:int, =, [t1], WHEN_SEARCHED, CASE_CONTAINER, CASE_END, CASE_CONTAINER");
    EXPECT_EQ(Item("CASE WHEN c1 = 1 THEN t1 WHEN c2 = 2 THEN t2 ELSE e END"),
              "CASE_SEARCHED, [e], CASE_ELSE, [c1], 1:int, =, [t1], WHEN_SEARCHED, [c2], 2:int, =, [t2], "
              "WHEN_SEARCHED, CASE_CONTAINER, CASE_CONTAINER, CASE_END, CASE_CONTAINER");
    EXPECT_EQ(Item("CASE x WHEN 1 THEN 'a' END"),
              "[x], CASE_SIMPLE, 1:int, a:str, WHEN_SIMPLE, CASE_CONTAINER, CASE_END, CASE_CONTAINER");
    EXPECT_EQ(Item("CASE x WHEN 1 THEN 'a' ELSE 'b' END"),
              "[x], CASE_SIMPLE, b:str, CASE_ELSE, 1:int, a:str, WHEN_SIMPLE, CASE_CONTAINER, CASE_END, "
              "CASE_CONTAINER");
}

TEST_F(Expressions, SharedOperandsBecomeSeparateItems) {
    Parsed p("SELECT * FROM t WHERE x IN (1, 2, 3)");
    ISelectStmt* select = p.Select();
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    LONG count = 0;
    where->get_Count(&count);
    EXPECT_EQ(count, 11);
    VARIANT first, second;
    VariantInit(&first);
    VariantInit(&second);
    where->get_Item(1, &first);
    where->get_Item(4, &second);
    EXPECT_NE(V_DISPATCH(&first), V_DISPATCH(&second));
    VariantClear(&first);
    VariantClear(&second);
    where->Release();
    select->Release();
}

TEST_F(Expressions, AliasesNameTheirStacks) {
    Parsed p("SELECT a + 1 AS total, b, c AS \"x y\", d AS [z], e AS 'w' FROM t");
    ISelectStmt* select = p.Select();
    IGenericStackList* list = nullptr;
    select->get_SelectExpressionList(&list);
    const char* const names[] = {"total", "", "x y", "z", "w"};
    for (LONG i = 1; i <= 5; ++i) {
        VARIANT v;
        VariantInit(&v);
        ASSERT_EQ(list->get_Item(i, &v), S_OK);
        IGenericStack* stack = nullptr;
        V_DISPATCH(&v)->QueryInterface(IID_IGenericStack, reinterpret_cast<void**>(&stack));
        BSTR name = nullptr;
        EXPECT_EQ(stack->get_AsName(&name), S_OK);
        EXPECT_EQ(Narrow(name), names[i - 1]);
        SysFreeString(name);
        if (i == 1) {
            EXPECT_EQ(DescribeStack(stack), "[a], 1:int, +");
        }
        stack->Release();
        VariantClear(&v);
    }
    list->Release();
    select->Release();
}

} // namespace
