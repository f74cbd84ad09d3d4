// The C++ interface as a host uses it: the component is created through the COM runtime (on
// Windows the registered class, natively the library the test is linked with), and the
// component's own count of live objects, read through DllCanUnloadNow, is the leak oracle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tarvolin/tarvolin.hpp>

namespace {

using tarvolin::Error;
using tarvolin::get;
using tarvolin::items;
using tarvolin::Ptr;

// S_OK once every object of the component has been released.
HRESULT ComponentCanUnload() {
    HMODULE module = GetModuleHandleW(Utf8ToUtf16(TARVOLIN_MODULE_NAME).c_str());
    if (!module) return E_UNEXPECTED;
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    auto canUnload =
        reinterpret_cast<CanUnload>(reinterpret_cast<void (*)()>(GetProcAddress(module, "DllCanUnloadNow")));
    return canUnload ? canUnload() : E_UNEXPECTED;
}

class ApiTest : public testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(ComponentCanUnload(), S_OK) << "objects still alive after the test";
    }
    tarvolin::Apartment apartment;
};

// The postfix items of a stack as their texts.
std::vector<std::string> Texts(const Ptr<IGenericStack>& stack) {
    std::vector<std::string> out;
    for (auto item : items(stack))
        out.push_back(tarvolin::as_string(item));
    return out;
}

TEST_F(ApiTest, WalksListsAndStacksInOrder) {
    tarvolin::Parser parser;
    parser.parse("SELECT a + b * 2, c FROM t1, t2 WHERE a > 1 AND c = 'x' ORDER BY c DESC");
    ASSERT_EQ(parser.statement_type(), STATEMENT_TYPE_SELECT);
    auto select = parser.select();
    ASSERT_TRUE(select);
    EXPECT_FALSE(parser.update());

    std::vector<std::string> tables;
    for (auto table : items(get(select, &ISelectStmt::get_TableIdentList)))
        tables.push_back(get(table, &ITableIdent::get_Name));
    EXPECT_EQ(tables, (std::vector<std::string>{"t1", "t2"}));

    std::vector<std::vector<std::string>> columns;
    for (auto stack : items(get(select, &ISelectStmt::get_SelectExpressionList)))
        columns.push_back(Texts(stack));
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(columns[0], (std::vector<std::string>{"a", "b", "2", "*", "+"}));
    EXPECT_EQ(columns[1], (std::vector<std::string>{"c"}));
    EXPECT_EQ(Texts(get(select, &ISelectStmt::get_WhereExpressionStack)),
              (std::vector<std::string>{"a", "1", ">", "c", "x", "=", "AND"}));

    auto orderBy = items(get(select, &ISelectStmt::get_OrderByObjList));
    ASSERT_EQ(orderBy.size(), 1);
    EXPECT_EQ(get(orderBy[0], &IOrderByObj::get_Asc), 0);
    EXPECT_EQ(get(get(orderBy[0], &IOrderByObj::get_ColumnIdent), &IColumnIdent::get_ColumnName), "c");
    EXPECT_EQ(tarvolin::item_type(items(get(select, &ISelectStmt::get_WhereExpressionStack))[6]),
              EXPRESSIONITEM_TYPE_BOOLOPERATOR);
}

TEST_F(ApiTest, RejectedStatementThrowsTheReport) {
    tarvolin::Parser parser;
    try {
        parser.parse("SELECT FROM t");
        FAIL() << "no exception";
    } catch (const Error& e) {
        EXPECT_EQ(e.hresult(), DISP_E_EXCEPTION);
        EXPECT_EQ(std::string(e.what()).rfind("Parse error\n", 0), 0u) << e.what();
    }
    // The parser is still usable, and the previous statement is gone.
    EXPECT_FALSE(parser.select());
    parser.parse("DELETE FROM t WHERE x IS NULL");
    EXPECT_EQ(get(get(parser.delete_statement(), &IDeleteStmt::get_TableIdent), &ITableIdent::get_Name), "t");
}

TEST_F(ApiTest, FailedCallsThrowTheirCode) {
    tarvolin::Parser parser;
    parser.parse("SELECT a FROM t");
    auto list = items(get(parser.select(), &ISelectStmt::get_TableIdentList));
    try {
        list[1]; // one table: position 1 is past the end
        FAIL() << "no exception";
    } catch (const Error& e) {
        EXPECT_EQ(e.hresult(), E_FAIL);
    }
    Ptr<ISelectStmt> none;
    EXPECT_THROW(get(none, &ISelectStmt::get_Top), Error);
    // An empty list pointer is an empty range rather than an error.
    EXPECT_TRUE(items(Ptr<IGenericStack>()).empty());
    // An element that lacks the interface asked for is an empty pointer.
    EXPECT_FALSE(list[0].as<IColumnIdent>());
}

TEST_F(ApiTest, OwnershipOutlivesTheParser) {
    Ptr<IGenericStack> where;
    {
        tarvolin::Parser parser;
        parser.parse("SELECT a FROM t WHERE a BETWEEN 1 AND 2");
        where = get(parser.select(), &ISelectStmt::get_WhereExpressionStack);
        parser.parse("SELECT b FROM u"); // the next parse releases the parser's statement
    }
    EXPECT_EQ(ComponentCanUnload(), S_FALSE) << "the stack held by the host is alive";
    Ptr<IGenericStack> copy = where; // a second reference
    Ptr<IGenericStack> moved = std::move(where);
    EXPECT_FALSE(where);
    const Ptr<IGenericStack>& same = copy;
    copy = same; // self-assignment keeps the reference
    EXPECT_EQ(Texts(copy), Texts(moved));
    EXPECT_EQ(Texts(moved).size(), 7u);
    copy.reset();
    EXPECT_EQ(ComponentCanUnload(), S_FALSE);
    moved = nullptr;
    EXPECT_EQ(ComponentCanUnload(), S_OK);
}

TEST_F(ApiTest, TextsAreUtf8AndTheViewIsTheStatement) {
    tarvolin::Parser parser;
    // Two- and three-byte sequences come back as written (names keep what the ANSI code
    // page holds); a byte that is not UTF-8 is read as Latin-1 (0xE9 is e-acute).
    const std::string name = "\xC3\xA4rger_\xE2\x82\xAC";
    parser.parse("SELECT [" + name + "], 'caf\xE9' FROM t");
    auto columns = items(get(parser.select(), &ISelectStmt::get_SelectExpressionList));
    auto column = items(columns[0])[0].as<IColumnIdent>();
    ASSERT_TRUE(column);
    EXPECT_EQ(get(column, &IColumnIdent::get_ColumnName), name);
    EXPECT_EQ(tarvolin::as_string(items(columns[1])[0]), "caf\xC3\xA9");
    // Only the view is parsed: a view that ends before a dangling WHERE is accepted, the
    // whole text is not.
    const std::string_view text = "SELECT a FROM t WHERE";
    EXPECT_NO_THROW(parser.parse(text.substr(0, 15)));
    EXPECT_THROW(parser.parse(text), Error);
}

} // namespace
