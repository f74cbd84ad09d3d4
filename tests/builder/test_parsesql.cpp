// The Parser object: results, state across parses, error information, deep input.
#include "describe.h"

#include <string>

namespace {

using ParseSQL = ObjectTest;

// The description of the thread's error object; its source goes to *source.
std::string ErrorDescription(std::string* source = nullptr) {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return "<none>";
    BSTR text = nullptr;
    info->GetDescription(&text);
    std::string s = Narrow(text);
    SysFreeString(text);
    if (source) {
        BSTR from = nullptr;
        info->GetSource(&from);
        *source = from ? Narrow(from) : "<none>";
        SysFreeString(from);
    }
    info->Release();
    return s;
}

// True when the Parser class is registered with its ProgID (by an earlier registration).
bool ParserProgIdRegistered() {
    OLECHAR guid[40];
    StringFromGUID2(CLSID_Parser, guid, 40);
    std::basic_string<OLECHAR> path = OLESTR("CLSID\\");
    path += guid;
    path += OLESTR("\\ProgID");
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

// Registers (or removes) the ProgID of the Parser class, as registration does.
void RegisterParserProgId(bool on) {
    OLECHAR guid[40];
    StringFromGUID2(CLSID_Parser, guid, 40);
    std::basic_string<OLECHAR> path = OLESTR("CLSID\\");
    path += guid;
    if (!on) {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, path.c_str());
        return;
    }
    path += OLESTR("\\ProgID");
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    const OLECHAR value[] = OLESTR("Tarvolin.Parser.1");
    RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value), sizeof value);
    RegCloseKey(key);
}

TEST_F(ParseSQL, GettersBeforeAnyParseAndAfterSuccess) {
    cParser* parser = nullptr;
    ASSERT_EQ(cParser::CreateInstance(&parser), S_OK);
    parser->AddRef();
    STATEMENT_TYPE type = STATEMENT_TYPE_SELECT;
    EXPECT_EQ(parser->get_StatementType(&type), S_OK);
    EXPECT_EQ(type, STATEMENT_TYPE_UNKNOWN);
    ISelectStmt* select = reinterpret_cast<ISelectStmt*>(1);
    EXPECT_EQ(parser->get_SelectStmt(&select), S_OK);
    EXPECT_EQ(select, nullptr);

    ASSERT_EQ(ParseText(parser, "SELECT a FROM t"), S_OK);
    parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_SELECT);
    ISelectStmt* s1 = nullptr;
    ISelectStmt* s2 = nullptr;
    parser->get_SelectStmt(&s1);
    parser->get_SelectStmt(&s2);
    EXPECT_NE(s1, nullptr);
    EXPECT_EQ(s1, s2);
    s2->Release();
    IUpdateStmt* u = reinterpret_cast<IUpdateStmt*>(1);
    IInsertStmt* i = reinterpret_cast<IInsertStmt*>(1);
    IDeleteStmt* d = reinterpret_cast<IDeleteStmt*>(1);
    ICreateTableStmt* c = reinterpret_cast<ICreateTableStmt*>(1);
    IDropStmt* dr = reinterpret_cast<IDropStmt*>(1);
    ISetOperationsStmt* so = reinterpret_cast<ISetOperationsStmt*>(1);
    EXPECT_EQ(parser->get_UpdateStmt(&u), S_OK);
    EXPECT_EQ(parser->get_InsertStmt(&i), S_OK);
    EXPECT_EQ(parser->get_DeleteStmt(&d), S_OK);
    EXPECT_EQ(parser->get_CreateTableStmt(&c), S_OK);
    EXPECT_EQ(parser->get_DropTableStmt(&dr), S_OK);
    EXPECT_EQ(parser->get_SetOperationsStmt(&so), S_OK);
    EXPECT_TRUE(!u && !i && !d && !c && !dr && !so);

    // A failed parse empties the parser; the host's reference still reads the first statement.
    EXPECT_EQ(ParseText(parser, "SELECT a b FROM t"), static_cast<HRESULT>(0x80020009));
    parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_UNKNOWN);
    parser->get_SelectStmt(&select);
    EXPECT_EQ(select, nullptr);
    IGenericStackList* list = nullptr;
    s1->get_SelectExpressionList(&list);
    IGenericStack* stack = nullptr;
    VARIANT v;
    VariantInit(&v);
    list->get_Item(1, &v);
    V_DISPATCH(&v)->QueryInterface(IID_IGenericStack, reinterpret_cast<void**>(&stack));
    EXPECT_EQ(DescribeStack(stack), "[a]");
    stack->Release();
    VariantClear(&v);
    list->Release();
    // ... and it outlives the parser.
    parser->Release();
    LONG distinct = 5;
    EXPECT_EQ(s1->get_Distinct(&distinct), S_OK);
    EXPECT_EQ(distinct, 0);
    s1->Release();
}

TEST_F(ParseSQL, RejectedTextsReportTheParseErrorText) {
    cParser* parser = nullptr;
    cParser::CreateInstance(&parser);
    parser->AddRef();
    const HRESULT kException = static_cast<HRESULT>(0x80020009);
    EXPECT_EQ(parser->ParseSQL(nullptr), kException);
    EXPECT_EQ(ErrorDescription(), "Parse error\nExpected tokens: <UNION>, <EXCEPT>, <INTERSECT>\n");
    EXPECT_EQ(ParseText(parser, ""), kException);
    EXPECT_EQ(ParseText(parser, "   "), kException);
    EXPECT_EQ(ParseText(parser, "UPDATE"), kException);
    EXPECT_EQ(ErrorDescription(), "Parse error\nExpected tokens: <IDENTIFIER>\n\n ------- Parse trace -------\n > UPDATE");
    EXPECT_EQ(ParseText(parser, "SELECT x FROM t WHERE CASESTATE_foo"), kException);
    std::string source;
    EXPECT_EQ(ErrorDescription(&source), "[CASESTATE_foo] Invalid case state type");
    // A registration made outside this test is left as it is.
    const bool registered = ParserProgIdRegistered();
    if (!registered) {
        EXPECT_EQ(source, "<none>"); // the class is not registered
        RegisterParserProgId(true);
    }
    EXPECT_EQ(ParseText(parser, "SELECT"), kException);
    ErrorDescription(&source);
    if (!registered) RegisterParserProgId(false);
    EXPECT_EQ(source, "Tarvolin.Parser.1");
    // No statement object survives a failure.
    STATEMENT_TYPE type;
    parser->get_StatementType(&type);
    EXPECT_EQ(type, STATEMENT_TYPE_UNKNOWN);
    parser->Release();
}

TEST_F(ParseSQL, DeepInputBuildsIteratively) {
    auto build = [](const std::string& sql) {
        Parsed p(sql);
        STATEMENT_TYPE type;
        p.parser->get_StatementType(&type);
        return type;
    };
    std::string ors = "SELECT a FROM t WHERE a = 0";
    for (int i = 1; i < 100000; ++i) ors += " OR a = " + std::to_string(i);
    EXPECT_EQ(build(ors), STATEMENT_TYPE_SELECT);
    std::string in = "SELECT a FROM t WHERE a IN (0";
    for (int i = 1; i < 100000; ++i) in += "," + std::to_string(i);
    EXPECT_EQ(build(in + ")"), STATEMENT_TYPE_SELECT);
    std::string terms = "SELECT a";
    for (int i = 0; i < 100000; ++i) terms += " + b";
    EXPECT_EQ(build(terms + " FROM t"), STATEMENT_TYPE_SELECT);
    std::string items = "SELECT c0";
    for (int i = 1; i < 20000; ++i) items += ", c" + std::to_string(i);
    EXPECT_EQ(build(items + " FROM t"), STATEMENT_TYPE_SELECT);
    std::string cases = "SELECT CASE";
    for (int i = 0; i < 30000; ++i) cases += " WHEN a = " + std::to_string(i) + " THEN 1";
    EXPECT_EQ(build(cases + " END FROM t"), STATEMENT_TYPE_SELECT);
    std::string joins = "SELECT * FROM t0";
    for (int i = 1; i < 20000; ++i) joins += " JOIN t" + std::to_string(i) + " ON a = b";
    EXPECT_EQ(build(joins), STATEMENT_TYPE_SELECT);
    std::string unions = "SELECT a FROM t";
    for (int i = 0; i < 5000; ++i) unions += " UNION SELECT a FROM t";
    EXPECT_EQ(build(unions), STATEMENT_TYPE_SETOPERATIONS);
}

} // namespace
