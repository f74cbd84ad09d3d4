// The scanner against the oracle (the scanner's rules, or an older version of them,
// compiled to scan through a stream instead of in place; see oracle/oracle_prologue.l):
// both must produce the same token stream (every value yylex returns and every token
// recorded, with its text), the same echoed bytes and the same case-state error for any
// input. The hand-written inputs stop inside or just after every form that can stop short
// (the states where flex backs up), where a rewrite of the rules is most likely to go wrong.
#include <gtest/gtest.h>

#include <cstdio>
#include <cctype>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "oracle_scanner.h"
#include "parsetree/parsetree.h"
#include "scanner/scanner.h"

namespace {

OracleScan ScanText(const std::string& text) {
    CParseTree tree;
    std::ostringstream echo;
    CSQLScanner scanner(text.data(), text.size(), &tree, &echo);
    OracleScan result;
    size_t seen = 0;
    for (;;) {
        int code = scanner.yylex();
        for (; seen < tree.Tokens().GetSize(); ++seen) {
            const CSQLToken* token = tree.Tokens().GetAt(seen);
            result.trace += " t" + std::to_string(token->m_nCode) + ":" + token->GetText();
        }
        result.trace += " r" + std::to_string(code);
        if (code == 0) break;
    }
    result.echo = echo.str();
    result.error = tree.GetErrorText();
    return result;
}

std::string Escaped(const std::string& text) {
    std::string out;
    char buffer[8];
    for (unsigned char c : text) {
        std::snprintf(buffer, sizeof buffer, c >= 0x20 && c < 0x7F && c != '\\' ? "%c" : "\\x%02X", c);
        out += buffer;
    }
    return out;
}

// Compares both scanners on text; returns false (after one test failure naming the
// input) when they differ, so that callers looping over many inputs can stop early.
bool SameAsOracle(const std::string& text) {
    const OracleScan expected = OracleScanText(text);
    const OracleScan actual = ScanText(text);
    if (expected.trace == actual.trace && expected.echo == actual.echo && expected.error == actual.error) return true;
    ADD_FAILURE() << "input: \"" << Escaped(text) << "\"\noracle: " << Escaped(expected.trace + " || " + expected.echo)
                  << " || " << expected.error << "\nscanner: " << Escaped(actual.trace + " || " + actual.echo) << " || "
                  << actual.error;
    return false;
}

void ExpectSameAsOracle(const std::vector<std::string>& texts) {
    size_t failures = 0;
    for (const std::string& text : texts)
        if (!SameAsOracle(text) && ++failures == 20) return;
}

std::string S(const char* text, size_t length) { return std::string(text, length); }

// Quoted forms, numbers, date and time escapes, case states, NULs and high bytes, each
// stopping inside or just after a form that can stop short.
TEST(ScannerOracle, FormsThatCanStopShort) {
    ExpectSameAsOracle({
        "'", "\"", "[", "'abc", "\"abc", "[abc", "x '", "x \"", "x [", "'a''", "'a'''", "'a'' b", "\"a\"\"",
        "\"a\"\" b", "'a\\", "'a\\'", "'a\\' b", "\"a\\\"", "[a\\", "[a\\]", "[a\\] b", "'a\\\\'", "'a\\\\' b'",
        "'\\\n'", "'\\\n", "'a\\\n' b", "'''", "''''", "'''''", "'' x '", "'a'b'", "'a' 'b", "[]", "[]]", "[[]",
        "'a\nb", "\"a\nb", "[a\nb", "'\\", "\"\\", "[\\", "'\\\\", "'\\''", "'\\'''", "\"\\\"\"\"", "[\\]]",
        "'it''s' and 'unterminated", "\"q\" \"", "select 'a', 'b", "'a' || 'b' || '",
        "1e", "1e+", "1e-", "1E", "1E+5", "1e+x", "1e-.5", "1ee", "1.e5", "1.", "1.e", "1.5e", "1.5e+", "1.5e-x",
        ".e5", ".5e", ".5e+", ".5e+1", "..5", "1..5", "12e", "12e+ 3", "0x1F", "1e5e5", "1.5.e", "9.", ".", "e1",
        "1e+-5", "1 e+5", "1e\n5", "123.456e+789abc", "1.2.3e",
        "{", "{ts", "{ts ", "{ts '", "{ts 'x", "{ts 'x'", "{ts 'x' ", "{ts 'x' }", "{ts 'x'}", "{d", "{d '",
        "{d '2001-01-01'", "{d '2001-01-01'}", "{t", "{t 'x' x}", "{ TS\t\n'x'\n}", "{ts'x'}", "{ \"d 'x'}",
        "{\"t\" 'x'}", "{x 'y'}", "{ts 'a''b'}", "{ts 'a''b' ", "{ts 'a\\'}", "{ts 'a\\' }", "{d 'a'' }",
        "{tsx 'a'}", "{T 'a'}", "{D\"'a'\"}", "{{d 'a'}", "{d 'a'}}", "{ts 'x'", "{t '", "{d \"", "{",
        // An escaped quote may also be a backslash and the closing quote: a literal that
        // looks unfinished can hold a shorter whole one.
        "{ts 'a\\'} x", "{d 'a\\'}'", "{t 'a\\' } 'b'} c", "{ts 'a'' '} '",
        "CASESTATE", "CASESTATE (", "CASESTATE (selected", "CASESTATE (selected)", "CASESTATE ( selected )",
        "CASESTATE(\"selected\")", "CASESTATE (x)", "CASESTATE (x", "CASESTATE =", "CASESTATE =x", "CASESTATE = x",
        "CASESTATE = selected", "CASESTATE =selectedx", "CASESTATE -", "CASESTATE -x", "CASESTATE -selected",
        "CASESTATE-hidden", "casestate_marked", "CaseState_label", "CASESTATE_", "CASESTATE_x", "CASESTATE_1",
        "CASESTATE_SELECTED", "CASESTATE (SELECTED)", "CASESTATE a = selected", "CASESTATE \"(\"label\")\"",
        "CASESTATE \n(\n marked\n)", "CASESTATE (marked", "CASESTATE ( marked x)", "CASESTATE ( 1 )",
        "CASESTATE == selected", "CASESTATE =\t\"hidden", "CASESTATE \"", "CASESTATE \" ", "CASESTATE \"x\"",
        "CASESTATE '(selected)'", "CASESTATE [x]", "CASESTATE <", "CASESTATE (selected) CASESTATE = x",
        "CASESTATE = x CASESTATE = y", "CASESTATE CASESTATE (hidden)", "CASESTATE ( selected ) )",
        "CASESTATE (selected ", "CASESTATE (\"", "CASESTATE ( \"selected\" \" )", "CASESTATE - selected",
        "CASESTATE 1e", "CASESTATE '", "select * from t where CASESTATE = excluded and CASESTATE(hidden)",
        S("\0", 1), S("a\0b", 3), S("'a\0b'", 5), S("'a\0", 3), S("\"\0\"", 3), S("[\0]", 3), S("{ts '\0'}", 9),
        S("1e\0", 3), S("CASESTATE (\0selected)", 21), S("CASESTATE =\0", 12), S("<\0", 2), S("\0\0", 2),
        "\x80", "\xFF", "'\xE9t\xE9'", "'\xE9t\xE9", "[\xFF\xFE]", "\"\x80", "select \xC3\xA9 from t",
        "1e\xFF", "{ts \xFF", "CASESTATE (\xFF)", "<\xFF", "\xFF<",
    });
}

// The words of the keyword rules, read from the rule file itself (every "(?i:WORD)"), in
// every letter case and next to the bytes that can or cannot extend a word: a keyword
// found or missed by a word lookup shows here as a different token.
TEST(ScannerOracle, KeywordsAndTheirNeighbours) {
    std::ifstream in(TARVOLIN_SCANNER_RULES, std::ios::binary);
    ASSERT_TRUE(in) << TARVOLIN_SCANNER_RULES;
    const std::string rules((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::string> words;
    for (size_t at = rules.find("(?i:"); at != std::string::npos; at = rules.find("(?i:", at + 1)) {
        const size_t end = rules.find(')', at);
        std::string word = rules.substr(at + 4, end - at - 4);
        if (word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") == std::string::npos)
            words.push_back(word);
    }
    ASSERT_GT(words.size(), 60u);
    std::vector<std::string> texts;
    std::mt19937 random(7);
    for (const std::string& word : words) {
        std::string lower, upper, mixed;
        for (char c : word) {
            lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            mixed += random() % 2 ? lower.back() : upper.back();
        }
        for (const std::string& w : {lower, upper, mixed}) {
            for (const char* after : {"", " ", "x", "_", "1", "(", ".", ",", "'", "\xC4", "\t1"})
                texts.push_back(w + after);
            texts.push_back(w.substr(0, w.size() - 1));
            texts.push_back("_" + w);
            texts.push_back("1" + w);
            texts.push_back("select " + w + " from " + w + "s where " + w + "=" + w + "_1");
        }
    }
    ExpectSameAsOracle(texts);
}

// Random texts: fragments that start, end and nest the scanner's forms, words, numbers,
// operators, blanks and random bytes, under a fixed seed so that a failure reproduces;
// then all of them as one long text.
TEST(ScannerOracle, RandomFragments) {
    static const char* const kFragments[] = {
        "'", "''", "\"", "\"\"", "[", "]", "\\", "{", "}", "(", ")", "=", "-", "+", "<", ">", ".", ",", "*", "/",
        " ", "  ", "\t", "\n", "\r", "ts", "TS", "d", "D", "t", "T", "e", "E", "1", "42", "0.5", "1e", "1e+",
        "x", "_", "abc", "CASESTATE", "casestate", "CASESTATE_", "selected", "excluded", "hidden", "label",
        "marked", "SELECT", "from", "where", "AND", "not", "null", "like", "{ts '", "{d '", "{t '", "'}",
        "CASESTATE (", "CASESTATE =", "CASESTATE -", "<=", "<>", ">=", "Z9", "007", "12.", "12E-3", ".5", "\x80",
    };
    const size_t kCount = sizeof kFragments / sizeof kFragments[0];
    std::mt19937 random(20261123);
    std::vector<std::string> texts;
    for (int i = 0; i < 30000; ++i) {
        std::string text;
        const int parts = 1 + static_cast<int>(random() % 12);
        for (int p = 0; p < parts; ++p) {
            const unsigned pick = random() % 10;
            if (pick == 0)
                text += static_cast<char>(random() % 256);
            else
                text += kFragments[random() % kCount];
        }
        texts.push_back(std::move(text));
    }
    ExpectSameAsOracle(texts);
    // All of them as one text of some 200 KB: forms that run across the scanner's reads.
    std::string whole;
    for (const std::string& text : texts) whole += text + "\n";
    EXPECT_TRUE(SameAsOracle(whole));
}

// The oracle itself scans as the scanner's own tests expect.
TEST(ScannerOracle, OracleScansKnownTexts) {
    EXPECT_EQ(OracleScanText("'abc").echo, "'");
    EXPECT_EQ(OracleScanText("CASESTATE (x)").error, "[ (x)] Invalid case state type");
    EXPECT_NE(OracleScanText("1e").trace.find(":1 r"), std::string::npos);
}

} // namespace
