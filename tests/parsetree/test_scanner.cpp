// The scanner where the tool's token dumps (tests/sql/tokens.sql) cannot reach: line
// breaks inside forms, wide text and its code page, NULs, long tokens.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "helpers.h"
#include "parsetree/dump.h"
#include "platform/platform.h"
#include "parsetree/parsetree.h"
#include "scanner/grammar.hpp"
#include "scanner/scanner.h"
#include "scanner/symbols.h"

namespace {

// The token dump of text, then "echo: " and the bytes no rule covers.
std::string Tokens(const std::string& text) {
    std::ostringstream echo;
    const std::string dump = DumpTokens(text.data(), text.size(), &echo);
    return dump + "echo: " + echo.str();
}

TEST(Scanner, FormsAcrossLineBreaks) {
    const char* const cases[][2] = {
        {"a\r\nb", "IDENTIFIER \"a\"\nIDENTIFIER \"b\"\necho: \r"},
        {"'a\nb'", "STRING_VALUE \"a\\nb\"\necho: "},
        {"{ TS\t\n'x'\n}", "TIMESTAMP_VALUE \"{ TS\\t\\n'x'\\n}\"\necho: "},
        {"CASESTATE\n(\texcluded )", "CASESTATE \"excluded\"\necho: "},
        {" \t\n", "echo: "},
    };
    for (const auto& c : cases) EXPECT_EQ(Tokens(c[0]), c[1]) << "input: " << c[0];
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
    const OLECHAR withNul[] = OLESTR("t\0 WHERE");
    EXPECT_EQ(tree.Parse(withNul), 0);
    EXPECT_EQ(tree.Tokens().GetSize(), 1u);
    EXPECT_EQ(tree.ParseNarrow("SELECT\0 a FROM t", 16), 1);
    EXPECT_EQ(tree.Parse(nullptr), 1);
    EXPECT_EQ(tree.ParseNarrow(nullptr, 5), 1);
}

// A tree that keeps no trace parses a rejected statement twice; the scanner echoes once, and
// the second parse reads the statement as it was given (the first one scanned in place).
TEST(Scanner, EchoOnceWhenARejectedStatementIsParsedAgain) {
    CParseTree tree;
    tree.SetTraceKept(false);
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    EXPECT_EQ(tree.Parse(OLESTR("SELECT a\u00e9 FROM t WHERE")), PARSE_SYNTAX_ERROR);
    EXPECT_EQ(echo.str(), "\xE9");
    EXPECT_NE(tree.GetErrorText().find("> WHERE"), std::string::npos) << tree.GetErrorText();
    EXPECT_EQ(tree.ParseNarrow("SELECT a\xE9 FROM", 14), PARSE_SYNTAX_ERROR);
    EXPECT_EQ(echo.str(), "\xE9\xE9");
    EXPECT_NE(tree.GetErrorText().find("> FROM"), std::string::npos) << tree.GetErrorText();
    tree.SetEchoStream(nullptr);
}

TEST(Scanner, TokensLongerThanTheBufferAndTextsLongerThanOneRead) {
    const std::string name(100000, 'x');
    CParseTree tree;
    EXPECT_EQ(ParseInto(tree, name), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), name);
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
        // A value is handed over before its token is returned, never after.
        for (int code; (code = scanner.yylex()) > 0;) {
            if (code == IDENTIFIER || code == STRING_VALUE || code == FLOAT_VALUE || code == CASESTATE) {
                EXPECT_EQ(sink.lastCode, code);
            }
        }
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
