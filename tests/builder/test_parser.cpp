// The Parser object: what its getters hand out before and after parses, the error object
// of a rejected statement, and deep input. What the statements contain is checked through
// the tarvolin tool (tests/sql).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "builder/parser.h"
#include "tests/objectmodel/common.h"
#include "tests/parsetree/helpers.h"

namespace {

using Parser = ObjectTest;
using platformtest::ParseText;

// The thread's error object as "description|source|guid is null".
std::string ErrorInfo() {
    return platformtest::TakeError(true);
}

cParser* NewParser() {
    cParser* parser = nullptr;
    EXPECT_EQ(cParser::CreateInstance(&parser), S_OK);
    parser->AddRef();
    return parser;
}

// Every statement getter: S_OK, and a statement object only for the given type.
void ExpectOnlyStatement(cParser* parser, STATEMENT_TYPE expected) {
    STATEMENT_TYPE type = static_cast<STATEMENT_TYPE>(-1);
    EXPECT_EQ(parser->get_StatementType(&type), S_OK);
    EXPECT_EQ(type, expected);
    IDispatch* objects[7]; // by statement type, UPDATE (1) to SETOPERATIONS (7)
    for (auto& p : objects) p = reinterpret_cast<IDispatch*>(1);
    EXPECT_EQ(parser->get_UpdateStmt(reinterpret_cast<IUpdateStmt**>(&objects[0])) |
                  parser->get_SelectStmt(reinterpret_cast<ISelectStmt**>(&objects[1])) |
                  parser->get_InsertStmt(reinterpret_cast<IInsertStmt**>(&objects[2])) |
                  parser->get_DeleteStmt(reinterpret_cast<IDeleteStmt**>(&objects[3])) |
                  parser->get_CreateTableStmt(reinterpret_cast<ICreateTableStmt**>(&objects[4])) |
                  parser->get_DropTableStmt(reinterpret_cast<IDropStmt**>(&objects[5])) |
                  parser->get_SetOperationsStmt(reinterpret_cast<ISetOperationsStmt**>(&objects[6])),
              S_OK);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(objects[i] != nullptr, i + 1 == expected) << "getter of type " << i + 1 << " after type " << expected;
        if (objects[i]) objects[i]->Release();
    }
}

TEST_F(Parser, EachStatementTypeFillsItsOwnGetterOnly) {
    cParser* parser = NewParser();
    ExpectOnlyStatement(parser, STATEMENT_TYPE_UNKNOWN);
    const struct {
        const char* sql;
        STATEMENT_TYPE type;
    } cases[] = {{"SELECT a FROM t", STATEMENT_TYPE_SELECT},           {"UPDATE t SET a = 1", STATEMENT_TYPE_UPDATE},
                 {"INSERT INTO t VALUES (1)", STATEMENT_TYPE_INSERT},  {"DELETE FROM t", STATEMENT_TYPE_DELETE},
                 {"CREATE TABLE t (a INTEGER)", STATEMENT_TYPE_CREATETABLE}, {"DROP TABLE t", STATEMENT_TYPE_DROPTABLE},
                 {"t UNION t", STATEMENT_TYPE_SETOPERATIONS},          {"SELECT a b FROM t", STATEMENT_TYPE_UNKNOWN}};
    for (const auto& c : cases) {
        EXPECT_EQ(ParseText(parser, c.sql), c.type == STATEMENT_TYPE_UNKNOWN ? DISP_E_EXCEPTION : S_OK) << c.sql;
        ExpectOnlyStatement(parser, c.type);
    }
    parser->Release();
}

TEST_F(Parser, HostReferencesOutliveFailedParsesAndTheParser) {
    cParser* parser = NewParser();
    ASSERT_EQ(ParseText(parser, "SELECT DISTINCT a FROM t"), S_OK);
    ISelectStmt* s1 = nullptr;
    ISelectStmt* s2 = nullptr;
    parser->get_SelectStmt(&s1);
    parser->get_SelectStmt(&s2);
    ASSERT_NE(s1, nullptr);
    EXPECT_EQ(s1, s2); // the same object, one more reference each time
    s2->Release();
    EXPECT_EQ(ParseText(parser, "SELECT"), DISP_E_EXCEPTION);
    parser->Release();
    LONG distinct = 0;
    EXPECT_EQ(s1->get_Distinct(&distinct), S_OK);
    EXPECT_EQ(distinct, -1);
    s1->Release();
}

TEST_F(Parser, OperandsSharedInTheTreeBecomeSeparateItems) {
    cParser* parser = NewParser();
    ASSERT_EQ(ParseText(parser, "SELECT * FROM t WHERE x IN (1, 2)"), S_OK);
    ISelectStmt* select = nullptr;
    parser->get_SelectStmt(&select);
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    VARIANT first, second; // both the column x
    ASSERT_EQ(where->get_Item(1, &first), S_OK);
    ASSERT_EQ(where->get_Item(4, &second), S_OK);
    EXPECT_NE(V_DISPATCH(&first), V_DISPATCH(&second));
    for (VARIANT* v : {&first, &second}) VariantClear(v);
    where->Release();
    select->Release();
    parser->Release();
}

// Items a host holds keep their memory while the parser goes through many statements whose
// objects come and go around them.
TEST_F(Parser, HeldItemsSurviveTheStatementsAfterThem) {
    cParser* parser = NewParser();
    std::vector<IDispatch*> held;
    for (int i = 0; i < 300; ++i) {
        const std::string name = "column_with_a_long_name_" + std::to_string(i);
        ASSERT_EQ(ParseText(parser, "SELECT a, b + c FROM t WHERE " + name + " = 'v" + std::to_string(i) + "'"), S_OK);
        if (i % 30) continue;
        ISelectStmt* select = nullptr;
        parser->get_SelectStmt(&select);
        IGenericStack* where = nullptr;
        select->get_WhereExpressionStack(&where);
        VARIANT column;
        ASSERT_EQ(where->get_Item(1, &column), S_OK);
        held.push_back(V_DISPATCH(&column)); // the reference of the VARIANT
        where->Release();
        select->Release();
    }
    parser->Release();
    for (size_t k = 0; k < held.size(); ++k) {
        IColumnIdent* column = nullptr;
        ASSERT_EQ(held[k]->QueryInterface(IID_IColumnIdent, reinterpret_cast<void**>(&column)), S_OK);
        BSTR name = nullptr;
        column->get_ColumnName(&name);
        EXPECT_EQ(Narrow(name), "column_with_a_long_name_" + std::to_string(30 * k));
        SysFreeString(name);
        column->Release();
        held[k]->Release();
    }
}

TEST_F(Parser, RejectedStatementsSetTheErrorObject) {
    // The source is the class's ProgID when it is registered (tests/component checks that
    // case), else none; a registration made outside this test is left as it is.
    LPOLESTR progId = nullptr;
    const bool registered = SUCCEEDED(ProgIDFromCLSID(CLSID_Parser, &progId));
    CoTaskMemFree(progId);
    const std::string source = registered ? "|Tarvolin.Parser.1|null" : "|<null>|null";
    cParser* parser = NewParser();
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(parser->ParseSQL(nullptr), DISP_E_EXCEPTION);
    EXPECT_EQ(ErrorInfo(), "Parse error\nExpected tokens: <UNION>, <EXCEPT>, <INTERSECT>\n" + source);
    EXPECT_EQ(ParseText(parser, "SELECT x FROM t WHERE CASESTATE_foo"), DISP_E_EXCEPTION);
    EXPECT_EQ(ErrorInfo(), "[CASESTATE_foo] Invalid case state type" + source);
    EXPECT_EQ(ParseText(parser, "UPDATE"), DISP_E_EXCEPTION);
    EXPECT_EQ(ErrorInfo(), "Parse error\nExpected tokens: <IDENTIFIER>\n\n ------- Parse trace -------\n > UPDATE" + source);
    EXPECT_EQ(ParseText(parser, "SELECT a FROM t"), S_OK);
    EXPECT_EQ(ErrorInfo(), "<none>") << "a parse that succeeds leaves no error object";
    parser->Release();
}

TEST_F(Parser, DeepInputBuildsIteratively) {
    const std::string cases[] = {
        Repeat("SELECT a FROM t WHERE a = 0", " OR a = #", 100000, ""),
        Repeat("SELECT a FROM t WHERE a IN (0", ",#", 100000, ")"),
        Repeat("SELECT a", " + b#", 100000, " FROM t"),
        Repeat("SELECT c", ", c#", 20000, " FROM t"),
        Repeat("SELECT CASE", " WHEN a = # THEN 1", 30000, " END FROM t"),
        Repeat("SELECT * FROM t", " JOIN t# ON a = b", 20000, ""),
        Repeat("SELECT a FROM t", " UNION SELECT a# FROM t", 5000, ""),
    };
    cParser* parser = NewParser();
    for (const std::string& sql : cases) EXPECT_EQ(ParseText(parser, sql), S_OK) << sql.substr(0, 40);
    // A long expression's stack holds its items in storage of exactly their number.
    ASSERT_EQ(ParseText(parser, cases[0]), S_OK);
    ISelectStmt* select = nullptr;
    parser->get_SelectStmt(&select);
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    LONG count = 0;
    where->get_Count(&count);
    EXPECT_EQ(count, 4 * 100000 + 3);
    EXPECT_EQ(static_cast<cGenericStack*>(where)->Elements().Capacity(), static_cast<size_t>(count));
    where->Release();
    select->Release();
    // The conversions' working room stays for a statement at least half as long, and goes
    // with a much shorter one.
    const size_t held = parser->Scratch().HeldBytes();
    EXPECT_GE(held, count * sizeof(IDispatch*));
    EXPECT_EQ(ParseText(parser, Repeat("SELECT a FROM t WHERE a = 0", " OR a = #", 60000, "")), S_OK);
    EXPECT_EQ(parser->Scratch().HeldBytes(), held);
    EXPECT_EQ(ParseText(parser, "SELECT a FROM t WHERE a = 1 OR b = 2"), S_OK);
    EXPECT_LT(parser->Scratch().HeldBytes(), 1024u);
    parser->Release();
}

} // namespace
