// Statement and part objects: every sub-object exists from creation, defaults, and the
// properties that read differently from what is stored.
#include "common.h"

namespace {

using StatementObjects = ObjectTest;

template <class Itf> void ExpectSame(Itf* a, Itf* b) {
    EXPECT_NE(a, nullptr);
    EXPECT_EQ(a, b);
    a->Release();
    b->Release();
}

TEST_F(StatementObjects, SelectDefaultsAndSubObjects) {
    Held<cSelectStmt> s;
    LONG n = 99;
    double d = 9.0;
    s->get_Distinct(&n);
    EXPECT_EQ(n, 0);
    s->get_Top(&n);
    EXPECT_EQ(n, 0);
    s->get_IsTopPercent(&n);
    EXPECT_EQ(n, 0);
    s->get_TopPercent(&d);
    EXPECT_EQ(d, 0.0);
    s->get_HasLimitClause(&n);
    EXPECT_EQ(n, 0);
    s->get_LimitOffset(&n);
    EXPECT_EQ(n, 0);
    s->get_LimitCount(&n);
    EXPECT_EQ(n, 0);
    IGenericStack *w1, *w2, *h;
    s->get_WhereExpressionStack(&w1);
    s->get_WhereExpressionStack(&w2);
    s->get_HavingExpressionStack(&h);
    EXPECT_NE(w1, h);
    h->Release();
    LONG count = -1;
    w1->get_Count(&count);
    EXPECT_EQ(count, 0);
    ExpectSame(w1, w2);
    ITableIdentList *t1, *t2;
    s->get_TableIdentList(&t1);
    s->get_TableIdentList(&t2);
    ExpectSame(t1, t2);
    IOrderByObjList *o1, *o2;
    s->get_OrderByObjList(&o1);
    s->get_OrderByObjList(&o2);
    ExpectSame(o1, o2);
    IColumnIdentList *g1, *g2;
    s->get_GroupByObjList(&g1);
    s->get_GroupByObjList(&g2);
    ExpectSame(g1, g2);
    IGenericStackList *l1, *l2;
    s->get_SelectExpressionList(&l1);
    s->get_SelectExpressionList(&l2);
    ExpectSame(l1, l2);

    // The percentage shows only while the percent flag is set.
    s->m_dTopPercent = 42.5;
    s->get_TopPercent(&d);
    EXPECT_EQ(d, 0.0);
    s->m_bTopPercent = true;
    s->get_TopPercent(&d);
    EXPECT_EQ(d, 42.5);
    s->get_IsTopPercent(&n);
    EXPECT_EQ(n, -1);
    s->m_bDistinct = true;
    s->get_Distinct(&n);
    EXPECT_EQ(n, -1);
}

TEST_F(StatementObjects, OtherStatementsHaveTheirPartsFromCreation) {
    Held<cUpdateStmt> u;
    ITableIdent* t = nullptr;
    u->get_TableIdent(&t);
    BSTR name = nullptr;
    t->get_Name(&name);
    EXPECT_EQ(SysStringLen(name), 0u);
    SysFreeString(name);
    t->Release();
    IUpdateItemList* items = nullptr;
    u->get_UpdateItemList(&items);
    EXPECT_NE(items, nullptr);
    items->Release();
    Held<cInsertStmt> i;
    IGenericStackList* values = nullptr;
    i->get_InsertExpressionList(&values);
    EXPECT_NE(values, nullptr);
    values->Release();
    Held<cDeleteStmt> d;
    IGenericStack* where = nullptr;
    d->get_WhereExpressionStack(&where);
    EXPECT_NE(where, nullptr);
    where->Release();
    Held<cCreateTableStmt> c;
    ICreateTableItemList* columns = nullptr;
    c->get_CreateTableItemList(&columns);
    EXPECT_NE(columns, nullptr);
    columns->Release();
    Held<cDropStmt> drop;
    drop->get_TableIdent(&t);
    EXPECT_NE(t, nullptr);
    t->Release();

    Held<cSetOperationsStmt> set;
    INT type = 0;
    LONG all = 5;
    set->get_SetOperationType(&type);
    set->get_IsUnionAll(&all);
    EXPECT_EQ(type, -1);
    EXPECT_EQ(all, 0);
    EXPECT_EQ(set->InterfaceSupportsErrorInfo(IID_ISetOperationsStmt), S_OK);
    EXPECT_EQ(set->InterfaceSupportsErrorInfo(IID_ISelectStmt), S_FALSE);
}

TEST_F(StatementObjects, PartObjects) {
    Held<cCreateTableItem> item;
    SHORT length = 0;
    struct {
        LONG stored;
        SHORT read;
    } rows[] = {{40, 40}, {32767, 32767}, {32768, -32768}, {70000, 4464}, {-1, -1}};
    for (const auto& r : rows) {
        item->SetDataLength(r.stored);
        EXPECT_EQ(item->get_DataLength(&length), S_OK);
        EXPECT_EQ(length, r.read) << r.stored;
    }
    item->SetColName("na\xEFve");
    BSTR name = nullptr;
    item->get_ColName(&name);
    ASSERT_EQ(SysStringLen(name), 5u);
    EXPECT_EQ(name[2], u'\u00ef');
    SysFreeString(name);

    Held<cOrderByObj> order;
    LONG asc = 0;
    order->SetAsc(false);
    order->get_Asc(&asc);
    EXPECT_EQ(asc, 0);
    order->SetAsc(true);
    order->get_Asc(&asc);
    EXPECT_EQ(asc, -1);
    IColumnIdent *c1, *c2;
    order->get_ColumnIdent(&c1);
    order->get_ColumnIdent(&c2);
    ExpectSame(c1, c2);

    Held<cUpdateItem> update;
    IGenericStack* stack = nullptr;
    update->get_ExpressionStack(&stack);
    EXPECT_NE(stack, nullptr);
    stack->Release();
    // Sub-objects outlive their owner while the host holds them.
    IColumnIdent* kept = nullptr;
    {
        Held<cUpdateItem> temporary;
        temporary->Column()->SetColumnName("kept");
        temporary->get_ColumnIdent(&kept);
    }
    BSTR column = nullptr;
    kept->get_ColumnName(&column);
    EXPECT_EQ(Narrow(column), "kept");
    SysFreeString(column);
    kept->Release();
}

} // namespace
