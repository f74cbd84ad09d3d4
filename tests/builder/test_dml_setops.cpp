// UPDATE, INSERT, DELETE, CREATE TABLE, DROP TABLE and set operations.
#include "describe.h"

namespace {

using Statements = ObjectTest;

std::string TableName(ITableIdent* table) {
    BSTR name = nullptr;
    table->get_Name(&name);
    std::string s = Narrow(name);
    SysFreeString(name);
    table->Release();
    return s;
}


// Element index of a list as the requested interface (released by the caller).
template <class List, class Itf> Itf* Element(List* list, LONG index, REFIID iid) {
    VARIANT v;
    VariantInit(&v);
    EXPECT_EQ(list->get_Item(index, &v), S_OK);
    Itf* result = nullptr;
    if (V_VT(&v) == VT_DISPATCH) V_DISPATCH(&v)->QueryInterface(iid, reinterpret_cast<void**>(&result));
    VariantClear(&v);
    return result;
}

std::string Column(IColumnIdent* column) {
    BSTR t = nullptr, c = nullptr;
    column->get_TableName(&t);
    column->get_ColumnName(&c);
    std::string s = (SysStringLen(t) ? Narrow(t) + "." : std::string()) + Narrow(c);
    SysFreeString(t);
    SysFreeString(c);
    column->Release();
    return s;
}

TEST_F(Statements, Update) {
    Parsed p("UPDATE t SET a = 1, t.b = b + 1 WHERE c = 2");
    STATEMENT_TYPE type;
    p.parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_UPDATE);
    IUpdateStmt* update = nullptr;
    ASSERT_EQ(p.parser->get_UpdateStmt(&update), S_OK);
    ITableIdent* table = nullptr;
    update->get_TableIdent(&table);
    EXPECT_EQ(TableName(table), "t");
    IUpdateItemList* items = nullptr;
    update->get_UpdateItemList(&items);
    LONG count = 0;
    items->get_Count(&count);
    ASSERT_EQ(count, 2);
    const char* const columns[] = {"a", "t.b"};
    const char* const values[] = {"1:int", "[b], 1:int, +"};
    for (LONG i = 1; i <= 2; ++i) {
        IUpdateItem* item = Element<IUpdateItemList, IUpdateItem>(items, i, IID_IUpdateItem);
        IColumnIdent* column = nullptr;
        item->get_ColumnIdent(&column);
        EXPECT_EQ(Column(column), columns[i - 1]);
        IGenericStack* stack = nullptr;
        item->get_ExpressionStack(&stack);
        EXPECT_EQ(DescribeStack(stack), values[i - 1]);
        stack->Release();
        item->Release();
    }
    items->Release();
    IGenericStack* where = nullptr;
    update->get_WhereExpressionStack(&where);
    EXPECT_EQ(DescribeStack(where), "[c], 2:int, =");
    where->Release();
    update->Release();
}

TEST_F(Statements, Insert) {
    Parsed p("INSERT INTO t (a, b) VALUES (1, -2)");
    IInsertStmt* insert = nullptr;
    ASSERT_EQ(p.parser->get_InsertStmt(&insert), S_OK);
    ITableIdent* table = nullptr;
    insert->get_TableIdent(&table);
    EXPECT_EQ(TableName(table), "t");
    IColumnIdentList* columns = nullptr;
    insert->get_ColumnIdentList(&columns);
    LONG count = 0;
    columns->get_Count(&count);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(Column(Element<IColumnIdentList, IColumnIdent>(columns, 2, IID_IColumnIdent)), "b");
    columns->Release();
    IGenericStackList* values = nullptr;
    insert->get_InsertExpressionList(&values);
    values->get_Count(&count);
    ASSERT_EQ(count, 2);
    IGenericStack* second = Element<IGenericStackList, IGenericStack>(values, 2, IID_IGenericStack);
    EXPECT_EQ(DescribeStack(second), "0:int, 2:int, -");
    second->Release();
    values->Release();
    insert->Release();

    Parsed q("INSERT INTO q VALUES ('x', 2, 3)");
    q.parser->get_InsertStmt(&insert);
    insert->get_TableIdent(&table);
    EXPECT_EQ(TableName(table), "q");
    insert->get_ColumnIdentList(&columns);
    columns->get_Count(&count);
    EXPECT_EQ(count, 0);
    columns->Release();
    insert->get_InsertExpressionList(&values);
    values->get_Count(&count);
    EXPECT_EQ(count, 3);
    values->Release();
    insert->Release();
}

TEST_F(Statements, DeleteAndDrop) {
    Parsed p("DELETE FROM t WHERE a IN (1, 2)");
    IDeleteStmt* del = nullptr;
    ASSERT_EQ(p.parser->get_DeleteStmt(&del), S_OK);
    IGenericStack* where = nullptr;
    del->get_WhereExpressionStack(&where);
    EXPECT_EQ(DescribeStack(where), "[a], 1:int, =, [a], 2:int, =, OR");
    where->Release();
    del->Release();

    Parsed q("DELETE FROM t");
    q.parser->get_DeleteStmt(&del);
    del->get_WhereExpressionStack(&where);
    EXPECT_EQ(DescribeStack(where), "");
    where->Release();
    del->Release();

    Parsed d("DROP TABLE t");
    IDropStmt* drop = nullptr;
    ASSERT_EQ(d.parser->get_DropTableStmt(&drop), S_OK);
    ITableIdent* table = nullptr;
    drop->get_TableIdent(&table);
    EXPECT_EQ(TableName(table), "t");
    drop->Release();
}

TEST_F(Statements, CreateTable) {
    Parsed p("CREATE TABLE t (a CHAR(10), b INTEGER, c FLOAT, d SMALLINT, e CHAR(70000))");
    ICreateTableStmt* create = nullptr;
    ASSERT_EQ(p.parser->get_CreateTableStmt(&create), S_OK);
    ICreateTableItemList* items = nullptr;
    create->get_CreateTableItemList(&items);
    struct {
        const char* name;
        PARSER_DATATYPE type;
        SHORT length;
    } expected[] = {{"a", PARSER_DATATYPE_STRING, 10},
                    {"b", PARSER_DATATYPE_INTEGER, 4},
                    {"c", PARSER_DATATYPE_FLOAT, 8},
                    {"d", PARSER_DATATYPE_INTEGER, 2},
                    {"e", PARSER_DATATYPE_STRING, static_cast<SHORT>(70000 & 0xFFFF)}};
    LONG count = 0;
    items->get_Count(&count);
    ASSERT_EQ(count, 5);
    for (LONG i = 1; i <= 5; ++i) {
        ICreateTableItem* item = Element<ICreateTableItemList, ICreateTableItem>(items, i, IID_ICreateTableItem);
        BSTR name = nullptr;
        item->get_ColName(&name);
        EXPECT_EQ(Narrow(name), expected[i - 1].name);
        SysFreeString(name);
        PARSER_DATATYPE type;
        item->get_DataType(&type);
        EXPECT_EQ(type, expected[i - 1].type) << i;
        SHORT length = 0;
        item->get_DataLength(&length);
        EXPECT_EQ(length, expected[i - 1].length) << i;
        item->Release();
    }
    items->Release();
    create->Release();
}

std::string SetStack(const std::string& sql) {
    Parsed p(sql);
    STATEMENT_TYPE type;
    p.parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_SETOPERATIONS);
    ISelectStmt* select = reinterpret_cast<ISelectStmt*>(1);
    p.parser->get_SelectStmt(&select);
    EXPECT_EQ(select, nullptr);
    ISetOperationsStmt* set = nullptr;
    if (p.parser->get_SetOperationsStmt(&set) != S_OK || !set) return "<none>";
    INT op = 0;
    LONG all = 5;
    set->get_SetOperationType(&op);
    set->get_IsUnionAll(&all);
    EXPECT_EQ(op, -1);
    EXPECT_EQ(all, 0);
    IGenericStack* stack = nullptr;
    set->get_SetOperationsExpressionStack(&stack);
    std::string s = DescribeStack(stack);
    stack->Release();
    set->Release();
    return s;
}

TEST_F(Statements, SetOperations) {
    const std::string s1 = "SELECT a FROM t", s2 = "SELECT b FROM u", s3 = "SELECT c FROM v";
    EXPECT_EQ(SetStack(s1 + " UNION " + s2), "SELECT([a]), SELECT([b]), UNION");
    EXPECT_EQ(SetStack(s1 + " UNION ALL " + s2), "SELECT([a]), SELECT([b]), UNIONALL");
    EXPECT_EQ(SetStack("(" + s1 + " UNION " + s2 + ") EXCEPT " + s3), "SELECT([a]), SELECT([b]), UNION, SELECT([c]), EXCEPT");
    EXPECT_EQ(SetStack(s1 + " UNION " + s2 + " EXCEPT " + s3), "SELECT([a]), SELECT([b]), UNION, SELECT([c]), EXCEPT");
    EXPECT_EQ(SetStack(s1 + " INTERSECT (" + s2 + " UNION " + s3 + ")"),
              "SELECT([a]), SELECT([b]), SELECT([c]), UNION, INTERSECT");
    EXPECT_EQ(SetStack(s1 + " UNION"), "SELECT([a]), UNION");
    EXPECT_EQ(SetStack("DELETE FROM t UNION " + s2), "SELECT([b])");
    EXPECT_EQ(SetStack(s1 + " UNION (DELETE FROM t UNION " + s2 + ") UNION " + s3), "SELECT([a]), SELECT([b]), SELECT([c])");
    EXPECT_EQ(SetStack("UNION"), "UNION");
}

TEST_F(Statements, SetOperandsKeepTheirOwnClauses) {
    Parsed p("SELECT TOP 3 DISTINCT a FROM t ORDER BY a DESC LIMIT 2 UNION ALL SELECT b FROM u");
    ISetOperationsStmt* set = nullptr;
    p.parser->get_SetOperationsStmt(&set);
    IGenericStack* stack = nullptr;
    set->get_SetOperationsExpressionStack(&stack);
    ISelectStmt* first = Element<IGenericStack, ISelectStmt>(stack, 1, IID_ISelectStmt);
    ASSERT_NE(first, nullptr);
    LONG top = 0, distinct = 0, count = 0;
    first->get_Top(&top);
    first->get_Distinct(&distinct);
    first->get_LimitCount(&count);
    EXPECT_EQ(top, 3);
    EXPECT_EQ(distinct, -1);
    EXPECT_EQ(count, 2);
    first->Release();
    ISetOperator* op = Element<IGenericStack, ISetOperator>(stack, 3, IID_ISetOperator);
    SET_OPERATOR kind;
    op->get_SetOperator(&kind);
    EXPECT_EQ(kind, SET_OPERATOR_UNIONALL);
    op->Release();
    stack->Release();
    set->Release();
}

} // namespace
