// The parse-error report where the tool's runs of tests/sql/bad.sql cannot reach: empty
// text, the stack limit, the loader of its words and their defaults, threads; and the
// parser's results.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "helpers.h"
#include "parsetree/driver.h"
#include "parsetree/reporttext.h"
#include "platform/platform.h"

namespace {

std::string ReportOf(const std::string& text, int expected = PARSE_SYNTAX_ERROR) {
    CParseTree tree;
    EXPECT_EQ(ParseInto(tree, text), expected) << text;
    EXPECT_EQ(tree.GetRoot(), nullptr);
    return tree.GetErrorText();
}

TEST(Report, EmptyStatementHasExactlyTwoLines) {
    const std::string expected = "Parse error\nExpected tokens: <UNION>, <EXCEPT>, <INTERSECT>\n";
    EXPECT_EQ(ReportOf(""), expected);
    EXPECT_EQ(ReportOf("   \n\t "), expected);
    CParseTree tree;
    EXPECT_EQ(tree.Parse(nullptr), PARSE_SYNTAX_ERROR);
    EXPECT_EQ(tree.GetErrorText(), expected);
    EXPECT_EQ(tree.Parse(OLESTR("")), PARSE_SYNTAX_ERROR);
    EXPECT_EQ(tree.GetErrorText(), expected);
}

// "t WHERE (((a = 1)))" stacks three states before the parentheses and at most three
// after them, so n parentheses need n + 6 stacked states.
std::string Nested(int n) { return "t WHERE " + std::string(n, '(') + "a = 1" + std::string(n, ')'); }

TEST(Report, StackHoldsAtMost9999States) {
    CParseTree tree;
    EXPECT_EQ(ParseInto(tree, Nested(9993)), PARSE_ACCEPTED);
    EXPECT_EQ(ParseInto(tree, Nested(9994)), PARSE_STACK_EXHAUSTED);
    EXPECT_EQ(tree.GetErrorText(), "parser stack overflow");
    EXPECT_EQ(tree.GetRoot(), nullptr);
    EXPECT_EQ(ParseInto(tree, Nested(50000)), PARSE_STACK_EXHAUSTED);
    // An earlier error text is kept.
    EXPECT_EQ(ParseInto(tree, "CASESTATE_foo " + Nested(9994)), PARSE_STACK_EXHAUSTED);
    EXPECT_EQ(tree.GetErrorText(), "[CASESTATE_foo] Invalid case state type");
}

TEST(Report, WordsComeFromTheInstalledLoader) {
    SetReportTextLoader([](std::string& target, unsigned id) {
        if (id == IDS_PARSE_ERROR) target = "Syntaxfehler";
        if (id == IDS_EXPECTED_TOKENS) target = "Erwartet";
    });
    std::string report = ReportOf("");
    SetReportTextLoader(nullptr);
    EXPECT_EQ(report, "Syntaxfehler\nErwartet: <UNION>, <EXCEPT>, <INTERSECT>\n");
    EXPECT_EQ(ReportOf("UPDATE").substr(0, 12), "Parse error\n");
}

TEST(Report, ParsesOnDifferentTreesInDifferentThreadsDoNotMix) {
    int mismatches[2] = {0, 0};
    auto run = [](const char* text, int* bad) {
        const std::string expected = ReportOf(text);
        CParseTree tree;
        for (int i = 0; i < 300; ++i)
            *bad += ParseInto(tree, text) != PARSE_SYNTAX_ERROR || tree.GetErrorText() != expected;
    };
    std::thread t1(run, "SELECT a b FROM t", &mismatches[0]), t2(run, "UPDATE", &mismatches[1]);
    t1.join();
    t2.join();
    EXPECT_EQ(mismatches[0] + mismatches[1], 0);
}

// The words themselves are in every report of tests/sql/bad.out.
TEST(ReportText, NoOtherIdHasWordsAndTheDefaultLoaderEmptiesTheTargetForOne) {
    // Just outside the range, and ids that wrap around when the first id is subtracted.
    for (unsigned id : {0u, 1u, 100u, 106u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(DefaultReportText(id), nullptr) << id;
    SetReportTextLoader(nullptr);
    std::string text = "stale";
    LoadReportText(text, IDS_LAST_NODE);
    EXPECT_EQ(text, "Last node");
    LoadReportText(text, 106);
    EXPECT_EQ(text, "");
}

} // namespace
