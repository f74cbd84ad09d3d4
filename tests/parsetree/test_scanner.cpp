// The scanner where the tool's token dumps (tests/sql/tokens.sql) cannot reach: line
// breaks inside forms, wide text and its code page, NULs, long tokens.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "helpers.h"
#include "parsetree/dump.h"
#include "platform/platform.h"

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

} // namespace
