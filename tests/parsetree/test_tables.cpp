// The numbering and names generated from the grammar and the dense parse tables the
// driver runs over, checked entry by entry against bison's tables, and the driver's
// recorded trace checked against a plain LR run over the compressed tables for accepted,
// malformed and too deep statements.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "helpers.h"
#include "parsetree/densetables.h"
#include "parsetree/driver.h"
#include "scanner/grammar_tables.h"
#include "scanner/scanner.h"
#include "scanner/symbols.h"

namespace {

// The numbering and names generated from sql.y must be bison's (whose counts sql.y checks
// at compile time): every rule's left-hand symbol and length (bison keeps rule n at index
// n + 1 and numbers nonterminals one above ours, after its $accept), every symbol name and
// the translation of every token code.
TEST(Grammar, GeneratedFactsMatchBisonsTables) {
    const GrammarTables& g = GetGrammarTables();
    for (int rule = 1; rule <= kRuleCount; ++rule) {
        EXPECT_EQ(kRuleLeftSide[rule], g.r1[rule + 1] - 1) << "rule " << rule;
        EXPECT_EQ(kRuleLength[rule], g.r2[rule + 1]) << "rule " << rule;
    }
    // Our own names for the end of input, undefined codes and codes beyond the last token.
    EXPECT_STREQ(kSymbolNames[0], "$");
    EXPECT_STREQ(kSymbolNames[1], g.names[1]);
    EXPECT_STREQ(kSymbolNames[2], "$undefined.");
    EXPECT_STREQ(kSymbolNames[kSymbolCount - 1], "");
    for (int s = 3; s < kSymbolCount - 1; ++s)
        EXPECT_STREQ(kSymbolNames[s], g.names[s < kFirstNonterminal ? s : s + 1]) << s;
    for (int code = -1; code <= kLastTokenCode + 1; ++code)
        EXPECT_EQ(SymbolOfTokenCode(code), code > kLastTokenCode ? kSymbolCount - 1 : g.translate[code < 0 ? 0 : code])
            << code;
}

// bison's compressed rows unpacked by scattering the packed entries: every entry whose
// check names the column belongs to the row whose base places it there; all other
// entries of a row are its default.
struct Unpacked {
    std::vector<std::vector<int>> action; // [state][terminal], encoded as DenseTables::action
    std::vector<std::vector<int>> go;     // [nonterminal][state]

    explicit Unpacked(const GrammarTables& g) {
        action.assign(g.nstates, std::vector<int>(g.ntokens));
        for (int state = 0; state < g.nstates; ++state) {
            for (int x = 0; x < g.ntokens; ++x) action[state][x] = -g.defact[state];
            if (g.pact[state] == g.pactNinf) continue;
            for (int index = 0; index <= g.last; ++index) {
                const int x = index - g.pact[state];
                if (x < 0 || x >= g.ntokens || g.check[index] != x) continue;
                action[state][x] = g.table[index] == g.tableNinf ? 0 : g.table[index];
            }
        }
        go.assign(g.nnts, std::vector<int>(g.nstates));
        for (int n = 0; n < g.nnts; ++n) {
            for (int state = 0; state < g.nstates; ++state) go[n][state] = g.defgoto[n];
            for (int index = 0; index <= g.last; ++index) {
                const int state = index - g.pgoto[n];
                if (state >= 0 && state < g.nstates && g.check[index] == state) go[n][state] = g.table[index];
            }
        }
    }
};

const Unpacked& Tables() {
    static const Unpacked unpacked(GetGrammarTables());
    return unpacked;
}

TEST(Tables, EveryActionMatchesTheCompressedTables) {
    const GrammarTables& g = GetGrammarTables();
    const DenseTables& d = GetDenseTables();
    ASSERT_EQ(d.columns, g.ntokens + 1);
    ASSERT_EQ(d.action.size(), size_t(g.nstates) * size_t(d.columns));
    for (int state = 0; state < g.nstates; ++state) {
        for (int x = 0; x < g.ntokens; ++x) {
            const int expected = Tables().action[state][x];
            ASSERT_EQ(d.action[state * d.columns + x], expected) << "state " << state << " symbol " << x;
            EXPECT_EQ(CompressedAction(g, state, x), expected) << "state " << state << " symbol " << x;
        }
        // Symbols beyond the terminals take the default action.
        EXPECT_EQ(d.action[state * d.columns + g.ntokens], -g.defact[state]) << state;
        // States without a row never read a lookahead.
        if (g.pact[state] == g.pactNinf)
            EXPECT_EQ(d.defaultOnly[state], -g.defact[state]) << state;
        else
            EXPECT_EQ(d.defaultOnly[state], DenseTables::kReadsLookahead) << state;
    }
}

bool HasEmptyRule(int nonterminal) {
    const GrammarTables& g = GetGrammarTables();
    for (int ruleIndex = 2; ruleIndex <= g.nrules; ++ruleIndex)
        if (g.r1[ruleIndex] - g.ntokens == nonterminal && g.r2[ruleIndex] == 0) return true;
    return false;
}

// Follows the reductions after a goto one state at a time: the trace entries of the
// reductions a state takes without a lookahead by a one-symbol rule that hands its value
// up, and the state where that stops. Gotos on a nonterminal with an empty rule are not
// followed: a chain there could skip a push that meets the stack limit.
std::vector<int32_t> StepByStep(int nonterminal, int below, int& end) {
    const GrammarTables& g = GetGrammarTables();
    std::vector<int32_t> entries;
    int state = Tables().go[nonterminal][below];
    end = state;
    if (HasEmptyRule(nonterminal)) return entries;
    while (g.pact[state] == g.pactNinf && g.defact[state] != 0 && g.r2[g.defact[state]] == 1 &&
           kHandedUpValue[g.defact[state] - 1] == 1) {
        entries.push_back(-(g.defact[state] - 1));
        state = Tables().go[g.r1[g.defact[state]] - g.ntokens][below];
        if (entries.size() > size_t(g.nrules)) break; // a cycle: fails below
    }
    end = state;
    return entries;
}

TEST(Tables, EveryGotoAndItsChainMatchTheCompressedTables) {
    const GrammarTables& g = GetGrammarTables();
    const DenseTables& d = GetDenseTables();
    ASSERT_EQ(d.gotos.size(), size_t(g.nnts) * size_t(g.nstates));
    size_t chained = 0;
    for (int n = 0; n < g.nnts; ++n) {
        for (int below = 0; below < g.nstates; ++below) {
            EXPECT_EQ(CompressedGoto(g, n, below), Tables().go[n][below]) << n << " " << below;
            int end = -1;
            const std::vector<int32_t> expected = StepByStep(n, below, end);
            ASSERT_LE(expected.size(), size_t(g.nrules)) << "cycle of unit rules from " << n << " " << below;
            const int go = d.gotos[n * g.nstates + below];
            std::vector<int32_t> actual;
            if (go >= 0) {
                EXPECT_EQ(go, end) << n << " " << below;
            } else {
                ASSERT_LT(size_t(-go), d.chains.size());
                EXPECT_EQ(d.chains[-go], end) << n << " " << below;
                for (size_t i = -go + 1; d.chains.at(i) != 0; ++i) actual.push_back(d.chains.at(i));
                EXPECT_FALSE(actual.empty()) << n << " " << below;
            }
            EXPECT_EQ(actual, expected) << n << " " << below;
            chained += !expected.empty();
        }
    }
    EXPECT_GT(chained, 0u);
}

// The plain LR run over the unpacked compressed tables: every state pushed, every
// reduction taken one at a time, with the stack limit the driver keeps. Returns the trace
// the driver must record; outcome is the PARSE_ result it must give.
std::vector<int32_t> ReferenceTrace(const std::string& text, int& outcome) {
    const GrammarTables& g = GetGrammarTables();
    CParseTree scratch;
    std::ostringstream echo;
    CSQLScanner scanner(text.data(), text.size(), &scratch, &echo);
    std::vector<int> tokens;
    for (int code; (code = scanner.yylex()) > 0;) tokens.push_back(SymbolOfTokenCode(code));
    tokens.push_back(0);

    std::vector<int32_t> trace;
    std::vector<int> stack;
    size_t next = 0;
    int state = 0;
    for (;;) {
        stack.push_back(state);
        if (stack.size() >= size_t(kMaxStackDepth)) {
            outcome = PARSE_STACK_EXHAUSTED;
            return trace;
        }
        const int symbol = tokens[next];
        int action = g.pact[state] == g.pactNinf ? -g.defact[state]
                     : symbol < g.ntokens        ? Tables().action[state][symbol]
                                                 : -g.defact[state];
        if (action == g.finalState) {
            outcome = PARSE_ACCEPTED;
            return trace;
        }
        if (action > 0) {
            trace.push_back(symbol);
            if (symbol != 0) ++next;
            state = action;
            continue;
        }
        if (action == 0) {
            outcome = PARSE_SYNTAX_ERROR;
            return trace;
        }
        const int ruleIndex = -action;
        trace.push_back(-(ruleIndex - 1));
        stack.resize(stack.size() - size_t(g.r2[ruleIndex]));
        state = Tables().go[g.r1[ruleIndex] - g.ntokens][stack.back()];
    }
}

// Parses text and compares the result, the recorded trace and the report's trace section
// with the plain run.
void ExpectSameAsReference(const std::string& text) {
    int outcome = -1;
    const std::vector<int32_t> expected = ReferenceTrace(text, outcome);
    CParseTree tree;
    EXPECT_EQ(ParseInto(tree, text), outcome) << text;
    EXPECT_EQ(tree.Trace(), expected) << text;
    // A tree that keeps no trace parses a failing statement again for the report: the same
    // result and report, and the trace of the failure only.
    CParseTree quiet;
    quiet.SetTraceKept(false);
    EXPECT_EQ(ParseInto(quiet, text), outcome) << text;
    EXPECT_EQ(quiet.GetErrorText(), tree.GetErrorText()) << text;
    EXPECT_EQ(quiet.Trace(), outcome == PARSE_SYNTAX_ERROR ? expected : std::vector<int32_t>()) << text;
    EXPECT_FALSE(quiet.TraceKept());
    if (outcome == PARSE_SYNTAX_ERROR && !tree.GetErrorText().empty() && tree.GetErrorText()[0] != '[') {
        const std::string report = tree.GetErrorText();
        const std::string section = FormatTrace(expected);
        ASSERT_GE(report.size(), section.size()) << text;
        EXPECT_EQ(report.substr(report.size() - section.size()), section) << text;
    }
}

const char* const kStatements[] = {
    "SELECT a FROM t", "SELECT t.*, x AS y, 'z' FROM t AS a, u b WHERE x IS NOT NULL AND y NOT IN (1, 2 * 3)",
    "SELECT x FROM t WHERE x - 1 BETWEEN 1 AND 2 OR x NOT BETWEEN 3 AND 4 OR t.x NOT LIKE 'a%'",
    "INSERT INTO t (a, t.b) VALUES (1, -2, (3 + 4) * 5, 'x', 1.5, {d '2001-01-01'})",
    "UPDATE t SET t.a = 1, b = b + 1 WHERE c = 2", "DELETE FROM t WHERE a = 1",
    "CREATE TABLE t (a CHAR(10), b INTEGER, c FLOAT, d SMALLINT)", "DROP TABLE t",
    "SELECT TOP 5 PERCENT DISTINCT x FROM t HAVING a > 1 LIMIT 10, 20",
    "SELECT ROUND(x, 2), ROUND(x), ABS(-x), GETDATE() FROM t",
    "SELECT COUNT(*), COUNT(DISTINCT a), SUM(ALL b), AVG(a), MAX(a), VAR(a) FROM t",
    "SELECT x FROM t GROUP BY t.a, 1 ORDER BY 2 DESC, b ASC, c",
    "SELECT * FROM (a JOIN b ON c = d) RIGHT JOIN e USING (k, m) NATURAL LEFT OUTER JOIN f",
    "SELECT CASE WHEN a = 1 THEN 'x' ELSE 'z' END, CASE a WHEN 1 THEN 2 END FROM t",
    "SELECT IF(a = 1 OR b = 2, 1, 2), NULLIF(a, b), COALESCE(a, b, c) FROM t",
    "SELECT x FROM t WHERE CASESTATE (hidden) AND NOT (a = 1)", "SELECT {ts '2001-01-01 00:00:00'}, {t '10:00'} FROM t",
    "SELECT x FROM t UNION ALL SELECT y FROM u INTERSECT SELECT z FROM v EXCEPT SELECT w FROM q",
    "SELECT -a * -b / c FROM [t] WHERE \"q\" = 1", "SELECT a b FROM t", "SELECT x FROM t WHERE x IN (SELECT y FROM u)",
    "SELECT TOP 5 FROM t", "",
};

TEST(Tables, TraceOfMalformedStatementsMatchesThePlainRun) {
    // Every prefix of a statement, and the statement with one word left out: mostly
    // malformed statements, failing in many different states.
    for (const char* statement : kStatements) {
        const std::string text = statement;
        for (size_t length = 0; length <= text.size(); ++length) ExpectSameAsReference(text.substr(0, length));
        for (size_t space = text.find(' '); space != std::string::npos; space = text.find(' ', space + 1)) {
            const size_t end = text.find(' ', space + 1);
            ExpectSameAsReference(text.substr(0, space) + (end == std::string::npos ? "" : text.substr(end)));
        }
    }
}

// The debug variant runs over the compressed tables: it must agree with the dense driver
// on result, trace and report.
TEST(Tables, DebugVariantAgrees) {
    for (const char* text : {"SELECT a FROM t WHERE b = 1", "SELECT a b FROM t", "DELETE t"}) {
        CParseTree fast, debug;
        const int result = ParseInto(fast, text);
        yydebug = 1;
        EXPECT_EQ(ParseInto(debug, text), result) << text;
        yydebug = 0;
        EXPECT_EQ(debug.Trace(), fast.Trace()) << text;
        EXPECT_EQ(debug.GetErrorText(), fast.GetErrorText()) << text;
    }
}

// Around each size the stacks grow at and around the stack limit: the driver, which
// skips the pushes of chained states, grows and gives up at the same point of the trace.
TEST(Tables, DeepNestingMatchesThePlainRunAtEveryStackSize) {
    for (const int capacity : {kInitialStackDepth, 400, 800, 1600, 3200, 6400, kMaxStackDepth}) {
        for (int n = capacity - 16; n <= capacity + 2; ++n) {
            const std::string nested = std::string(n, '(') + "a + 1" + std::string(n, ')');
            ExpectSameAsReference("SELECT " + nested + " FROM t");
            ExpectSameAsReference("SELECT a FROM t WHERE " + nested + " = 1");
        }
    }
}

} // namespace
