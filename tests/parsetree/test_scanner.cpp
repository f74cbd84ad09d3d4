// Token streams: what the scanner returns and records for each lexical form.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "helpers.h"
#include "platform/platform.h"
#include "parsetree/parsetree.h"
#include "scanner/grammar.hpp"
#include "scanner/scanner.h"
#include "scanner/symbols.h"

namespace {

struct Case {
    const char* text;
    const char* tokens;
};

void ExpectTokens(const Case* cases, size_t n) {
    for (size_t i = 0; i < n; ++i) EXPECT_EQ(Tokens(cases[i].text), cases[i].tokens) << "input: " << cases[i].text;
}

TEST(Scanner, PunctuationAndUncoveredBytes) {
    const Case cases[] = {
        {"select * from t;", "SELECT | STAR | FROM | IDENTIFIER 't' || echo: ;"},
        {"a != b", "IDENTIFIER 'a' | EQUALS | IDENTIFIER 'b' || echo: !"},
        {"a <> b", "IDENTIFIER 'a' | NOT_EQUALS | IDENTIFIER 'b'"},
        {"( ) * + - / , = > < >= <=",
         "LEFTPAREN | RIGHTPAREN | STAR | PLUS | MINUS | DIVIDE | COMMA | EQUALS | MORE | LESS | MORE_EQUALS | "
         "LESS_EQUALS"},
        {"a\r\nb", "IDENTIFIER 'a' | IDENTIFIER 'b' || echo: \r"},
        {"#$?!;}", " || echo: #$?!;}"},
        {"`a`", "IDENTIFIER 'a' || echo: ``"},
        {"", ""},
        {" \t\n", ""},
    };
    ExpectTokens(cases, std::size(cases));
}

TEST(Scanner, Numbers) {
    const Case cases[] = {
        {"1e5", "NUMBER_VALUE '1e5'"},
        {"12e-05", "NUMBER_VALUE '12e-05'"},
        {"1.5E10", "FLOAT_VALUE '1.5E10'"},
        {".5", "FLOAT_VALUE '.5'"},
        {"5.", "NUMBER_VALUE '5' | DOT"},
        {"1.2.3", "FLOAT_VALUE '1.2' | FLOAT_VALUE '.3'"},
        {"1abc", "NUMBER_VALUE '1' | IDENTIFIER 'abc'"},
        {"-5", "MINUS | NUMBER_VALUE '5'"},
        {"1e", "NUMBER_VALUE '1' | IDENTIFIER 'e'"},
        {"007", "NUMBER_VALUE '007'"},
    };
    ExpectTokens(cases, std::size(cases));
}

TEST(Scanner, QuotedForms) {
    const Case cases[] = {
        {"'it''s'", "STRING_VALUE 'it''s'"},
        {"''", "STRING_VALUE ''"},
        {"'''", "STRING_VALUE '' || echo: '"},
        {"'a\\', 'b'", "STRING_VALUE 'a\\\\', ' | IDENTIFIER 'b' || echo: '"},
        {"'a\\'b'", "STRING_VALUE 'a\\\\'b'"},
        {"'a\nb'", "STRING_VALUE 'a\\nb'"},
        {"'abc", "IDENTIFIER 'abc' || echo: '"},
        {"\"my col\"", "DQ_STRING_VALUE 'my col'"},
        {"\"a\"\"b\"", "DQ_STRING_VALUE 'a\"\"b'"},
        {"[a b]", "BRACKETED_VALUE 'a b'"},
        {"[a]]b]", "BRACKETED_VALUE 'a' | IDENTIFIER 'b' || echo: ]]"},
        {"[a\\]b]", "BRACKETED_VALUE 'a\\\\]b'"},
        {"[abc", "IDENTIFIER 'abc' || echo: ["},
        {"]", " || echo: ]"},
    };
    ExpectTokens(cases, std::size(cases));
}

TEST(Scanner, DateAndTimeLiteralsKeepTheirWholeText) {
    const Case cases[] = {
        {"{ts '2001-01-01 10:00:00'}", "TIMESTAMP_VALUE '{ts '2001-01-01 10:00:00'}'"},
        {"{ TS 'x' }", "TIMESTAMP_VALUE '{ TS 'x' }'"},
        {"{d '2001-01-01'}", "DATE_VALUE '{d '2001-01-01'}'"},
        {"{D\"'x'\"}", "DATE_VALUE '{D\"'x'\"}'"},
        {"{t '10:00'}", "TIME_VALUE '{t '10:00'}'"},
        {"{ts'x'}", "IDENTIFIER 'ts' | STRING_VALUE 'x' || echo: {}"},
        {"{x 'y'}", "IDENTIFIER 'x' | STRING_VALUE 'y' || echo: {}"},
    };
    ExpectTokens(cases, std::size(cases));
}

TEST(Scanner, KeywordsMatchAnyCaseButOnlyAsWholeWords) {
    // Every keyword, in upper and lower case, and the token it gives.
    const char* const keywords[][2] = {
        {"LIKE", "LIKE"}, {"DROP", "DROP"}, {"GETDATE", "GETDATE"}, {"ROUND", "ROUND"}, {"ABS", "ABS"},
        {"HAVING", "HAVING"}, {"NULL", "SQL_NULL"}, {"ALL", "ALL"}, {"DISTINCT", "DISTINCT"}, {"TOP", "TOP"},
        {"PERCENT", "PERCENT"}, {"LIMIT", "LIMIT"}, {"AS", "AS"}, {"NOT", "NOT"}, {"IS", "IS"}, {"AND", "AND"},
        {"VALUES", "VALUES"}, {"DELETE", "SQL_DELETE"}, {"UPDATE", "UPDATE"}, {"INSERT", "INSERT"},
        {"INTO", "INTO"}, {"SET", "SET"}, {"WHERE", "WHERE"}, {"ORDER", "ORDER"}, {"GROUP", "SQL_GROUP"},
        {"BY", "BY"}, {"ASC", "ASC"}, {"DESC", "DESC"}, {"OR", "OR"}, {"SELECT", "SELECT"},
        {"CREATE", "CREATE"}, {"FROM", "FROM"}, {"MAX", "MAX"}, {"MIN", "MIN"}, {"AVG", "AVG"},
        {"COUNT", "COUNT"}, {"SUM", "SUM"}, {"STDEV", "STDEV"}, {"FIRST", "FIRST"}, {"LAST", "LAST"},
        {"VAR", "VAR"}, {"TABLE", "TABLE"}, {"SMALLINT", "SMALLINT_DATATYPE"}, {"INTEGER", "INTEGER_DATATYPE"},
        {"CHAR", "CHAR_DATATYPE"}, {"FLOAT", "FLOAT_DATATYPE"}, {"JOIN", "JOIN"}, {"CROSS", "CROSS"},
        {"NATURAL", "NATURAL"}, {"INNER", "INNER"}, {"OUTER", "OUTER"}, {"LEFT", "LEFT"}, {"RIGHT", "RIGHT"},
        {"FULL", "FULL"}, {"USING", "USING"}, {"ON", "ON"}, {"UNION", "UNION"}, {"EXCEPT", "EXCEPT"},
        {"INTERSECT", "INTERSECT"}, {"CASE", "CASE"}, {"WHEN", "WHEN"}, {"THEN", "THEN"}, {"ELSE", "ELSE"},
        {"END", "END"}, {"NULLIF", "NULLIF"}, {"COALESCE", "COALESCE"}, {"IF", "IF"}, {"IN", "SQL_IN"},
        {"BETWEEN", "BETWEEN"}, {".", "DOT"},
    };
    EXPECT_EQ(std::size(keywords), 70u);
    for (const auto& k : keywords) {
        std::string word = k[0];
        EXPECT_EQ(Tokens(word), k[1]) << word;
        std::string lower = word;
        for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_EQ(Tokens(lower), k[1]) << lower;
        if (word != ".") {
            EXPECT_EQ(Tokens(word + "x"), "IDENTIFIER '" + word + "x'");
        }
    }
    EXPECT_EQ(Tokens("sElEcT"), "SELECT");
    const Case identifiers[] = {
        {"SELECTx", "IDENTIFIER 'SELECTx'"}, {"selected", "IDENTIFIER 'selected'"},
        {"VARCHAR", "IDENTIFIER 'VARCHAR'"}, {"INT", "IDENTIFIER 'INT'"},
        {"EXISTS", "IDENTIFIER 'EXISTS'"},   {"_x1", "IDENTIFIER '_x1'"},
        {"t.x", "IDENTIFIER 't' | DOT | IDENTIFIER 'x'"},
    };
    ExpectTokens(identifiers, std::size(identifiers));
}

TEST(Scanner, CaseStateWords) {
    const Case cases[] = {
        {"CASESTATE_selected", "CASESTATE 'selected'"},
        {"casestate_label", "CASESTATE 'label'"},
        {"CaseState_marked", "CASESTATE 'marked'"},
        {"CASESTATE_", "IDENTIFIER 'CASESTATE_'"},
        {"CASESTATE_1", "IDENTIFIER 'CASESTATE_1'"},
        {"CASESTATEx", "IDENTIFIER 'CASESTATEx'"},
        {"CASESTATE (hidden)", "CASESTATE 'hidden'"},
        {"CASESTATE = marked", "CASESTATE 'marked'"},
        {"CASESTATE-marked", "CASESTATE 'marked'"},
        {"CASESTATE\n(\texcluded )", "CASESTATE 'excluded'"},
        {"CASESTATE (\"hidden\")", "CASESTATE '\"hidden\"'"},
        {"CASESTATE = \"marked\"", "CASESTATE '\"marked' || echo: \""},
        // After a case-state word the scanner is back in its initial state ...
        {"CASESTATE (hidden) (label)", "CASESTATE 'hidden' | LEFTPAREN | IDENTIFIER 'label' | RIGHTPAREN"},
        {"CASESTATE = marked = label", "CASESTATE 'marked' | EQUALS | IDENTIFIER 'label'"},
        // ... while anything else leaves it waiting for one.
        {"CASESTATE - marked", "MINUS | IDENTIFIER 'marked'"},
        {"CASESTATE - marked (hidden)", "MINUS | IDENTIFIER 'marked' | CASESTATE 'hidden'"},
        {"CASESTATE x = label", "IDENTIFIER 'x' | CASESTATE 'label'"},
        {"CASESTATE (Foo) (hidden)", "CASESTATE 'hidden'"},
        {"CASESTATE (hidden)x", "CASESTATE 'hidden' | IDENTIFIER 'x'"},
    };
    ExpectTokens(cases, std::size(cases));
}

TEST(Scanner, CaseStateErrorsRecordTheFirstMessageOnly) {
    struct ErrorCase {
        const char* text;
        const char* error;
    } cases[] = {
        {"CASESTATE_Selected", "[CASESTATE_Selected] Invalid case state type"},
        {"CASESTATE_foo", "[CASESTATE_foo] Invalid case state type"},
        {"CASESTATE_selectedx", "[CASESTATE_selectedx] Invalid case state type"},
        {"CASESTATE (Foo)", "[ (Foo)] Invalid case state type"},
        {"CASESTATE = foo", "[ = foo] Invalid case state type"},
        {"CASESTATE-foo", "[-foo] Invalid case state type"},
        {"CASESTATE_foo CASESTATE_bar", "[CASESTATE_foo] Invalid case state type"},
    };
    for (const auto& c : cases) {
        CParseTree tree;
        ParseInto(tree, c.text);
        EXPECT_EQ(tree.GetErrorText(), c.error) << c.text;
    }
    EXPECT_EQ(Tokens("CASESTATE_foo"), "");
}

TEST(Scanner, TextIsCodePage1252AndEndsAtTheFirstNul) {
    CParseTree tree;
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    // "café" is accepted as a table name statement; the é is one skipped byte.
    EXPECT_EQ(tree.Parse(OLESTR("caf\u00e9")), 0);
    ASSERT_EQ(tree.Tokens().GetSize(), 1u);
    EXPECT_EQ(tree.Tokens().GetAt(0)->Text(), "caf");
    EXPECT_EQ(echo.str(), "\xE9");

    // A euro sign inside a string is byte 0x80; a character outside the code page is "?".
    EXPECT_EQ(tree.Parse(OLESTR("'\u20ac\u4e2d'")), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "\x80?");

    // The text ends at its first NUL, in both entries.
    const OLECHAR withNul[] = OLESTR("t\0 WHERE");
    EXPECT_EQ(tree.Parse(withNul), 0);
    EXPECT_EQ(tree.Tokens().GetSize(), 1u);
    EXPECT_EQ(tree.ParseNarrow("SELECT\0 a FROM t", 16), 1);
    EXPECT_EQ(tree.Parse(nullptr), 1);
    EXPECT_EQ(tree.ParseNarrow(nullptr, 5), 1);
}

TEST(Scanner, EveryByteIsSafe) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += static_cast<char>(b);
    CParseTree tree;
    for (int shift = 0; shift < 16; ++shift) {
        std::string text = all.substr(shift) + all.substr(0, shift);
        int result = ParseInto(tree, text);
        EXPECT_TRUE(result == 0 || result == 1) << shift;
    }
    // Lone openers at the very end, and unmatched braces.
    for (const char* text : {"'", "\"", "[", "{", "{ts '", "CASESTATE", "CASESTATE (", "x = '\\"}) {
        int result = ParseInto(tree, text);
        EXPECT_TRUE(result == 0 || result == 1) << text;
    }
}

TEST(Scanner, TokensLongerThanTheBufferAndTextsLongerThanOneRead) {
    // One identifier larger than the scanner's initial 16 KB buffer.
    std::string name(100000, 'x');
    CParseTree tree;
    EXPECT_EQ(ParseInto(tree, name), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), name);

    // A string literal with line feeds spanning many input reads of 8 KB.
    std::string body;
    for (int i = 0; i < 5000; ++i) body += "line ''" + std::to_string(i) + "''\n";
    EXPECT_EQ(ParseInto(tree, "SELECT '" + body + "' FROM t"), 0);
    EXPECT_EQ(tree.Tokens().GetAt(0)->Text(), body);
}

// The scanner on its own, over a sink that only records what it is handed: every value
// with its code, in order and while the token is current, and each error only while the
// sink still wants one.
class RecordingSink final : public CScanSink {
public:
    void ScannedValue(int32_t code, const char* text, size_t length) override {
        values += (values.empty() ? "" : " | ") + std::string(kSymbolNames[SymbolOfTokenCode(code)]) + " '" +
                  std::string(text, length) + "'";
        lastCode = code;
    }
    bool WantsError() const override { return wantsError; }
    void ScanError(const std::string& text) override { errors += "<" + text + ">"; }

    std::string values;
    std::string errors;
    int32_t lastCode = 0;
    bool wantsError = true;
};

void ScanAll(CScanSink& sink, const std::string& text) {
    CSQLScanner scanner(text.data(), text.size(), &sink);
    while (scanner.yylex() > 0) {
    }
}

TEST(Scanner, HandsValuesAndErrorsToItsSink) {
    {
        RecordingSink sink;
        std::ostringstream echo;
        const std::string text = "select a, 'it''s' from [t] where n = 1.5 and c = CASESTATE(hidden)";
        CSQLScanner scanner(text.data(), text.size(), &sink, &echo);
        std::string codes;
        for (int code; (code = scanner.yylex()) > 0;) {
            codes += (codes.empty() ? "" : " ") + std::string(kSymbolNames[SymbolOfTokenCode(code)]);
            // A value is handed over before its token is returned, never after.
            if (code == IDENTIFIER || code == STRING_VALUE || code == FLOAT_VALUE || code == CASESTATE) {
                EXPECT_EQ(sink.lastCode, code);
            }
        }
        EXPECT_EQ(codes, "SELECT IDENTIFIER COMMA STRING_VALUE FROM BRACKETED_VALUE WHERE IDENTIFIER EQUALS "
                         "FLOAT_VALUE AND IDENTIFIER EQUALS CASESTATE");
        EXPECT_EQ(sink.values, "IDENTIFIER 'a' | STRING_VALUE 'it''s' | BRACKETED_VALUE 't' | IDENTIFIER 'n' | "
                               "FLOAT_VALUE '1.5' | IDENTIFIER 'c' | CASESTATE 'hidden'");
        EXPECT_EQ(sink.errors, "");
        EXPECT_EQ(echo.str(), "");
    }
    {
        // Each error is offered, and scanning goes on after it.
        RecordingSink sink;
        ScanAll(sink, "CASESTATE_foo x CASESTATE-bar");
        EXPECT_EQ(sink.errors, "<[CASESTATE_foo] Invalid case state type><[-bar] Invalid case state type>");
        EXPECT_EQ(sink.values, "IDENTIFIER 'x'");
    }
    {
        // A sink that holds an error already is not handed another.
        RecordingSink sink;
        sink.wantsError = false;
        ScanAll(sink, "CASESTATE_foo y");
        EXPECT_EQ(sink.errors, "");
        EXPECT_EQ(sink.values, "IDENTIFIER 'y'");
    }
}

} // namespace
