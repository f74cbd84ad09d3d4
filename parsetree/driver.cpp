// The parser driver: shift, reduce, default reduction, goto, accept and error over the
// tables bison generates from scanner/sql.y, with our own symbol numbering and names.
//
// The parse trace is recorded as numbers and only formatted when a report needs it: a
// shift is recorded as its symbol (>= 0), a reduction as -rule. Replaying the record on a
// stack of symbols gives back the right-hand side of every reduction.
#include "parsetree/driver.h"

#include <algorithm>
#include <cstdio>

#include "parsetree/parsetree.h"
#include "parsetree/reporttext.h"
#include "scanner/grammar_tables.h"
#include "scanner/scanner.h"
#include "scanner/symbols.h"

int yydebug = 0;

namespace {

constexpr int kNoLookahead = -2;
constexpr int kEndOfInput = 0;

// bison's nonterminal numbers are one above ours (its $accept comes first).
int OurSymbol(int bisonSymbol) {
    return bisonSymbol >= kFirstNonterminal ? bisonSymbol - 1 : bisonSymbol;
}

const char* SymbolName(int symbol) {
    return symbol >= 0 && symbol < kSymbolCount ? kSymbolNames[symbol] : "";
}

class Driver {
public:
    Driver(CParseTree& tree, CSQLScanner& scanner)
        : m_Tree(tree), m_Scanner(scanner), m_Tables(GetGrammarTables()), m_Trace(tree.Trace()),
          m_States(tree.StateStack()), m_Values(tree.ValueStack()) {}

    int Run();

private:
    bool Push(int state, CSQLNode* value);
    void Reduce(int ruleIndex);
    void ReportSyntaxError(int state);
    void DebugStack(const char* title) const;

    CParseTree& m_Tree;
    CSQLScanner& m_Scanner;
    const GrammarTables& m_Tables;
    std::vector<int32_t>& m_Trace;

    std::vector<int16_t>& m_States;
    std::vector<CSQLNode*>& m_Values;
    int m_nCapacity = kInitialStackDepth;
    int m_nState = 0;
    CSQLNode* m_pLastValue = nullptr;
};

// Pushes a state and its value. False when the stacks are full at the largest depth.
bool Driver::Push(int state, CSQLNode* value) {
    m_States.push_back(static_cast<int16_t>(state));
    m_Values.push_back(value);
    if (yydebug) std::fprintf(stderr, "Entering state %d\n", state);
    if (static_cast<int>(m_States.size()) < m_nCapacity) return true;
    if (m_nCapacity >= kMaxStackDepth) return false;
    m_nCapacity = std::min(m_nCapacity * 2, kMaxStackDepth);
    m_States.reserve(m_nCapacity);
    m_Values.reserve(m_nCapacity);
    if (yydebug) std::fprintf(stderr, "Stack size increased to %d\n", m_nCapacity);
    return true;
}

void Driver::Reduce(int ruleIndex) {
    const int rule = ruleIndex - 1;
    const int length = m_Tables.r2[ruleIndex];
    const size_t first = m_States.size() - length;

    m_Trace.push_back(-rule);

    if (yydebug) {
        std::fprintf(stderr, "Reducing via rule %d (line %d), ", rule, m_Tables.rline[ruleIndex]);
        for (size_t i = first; i < m_States.size(); ++i)
            std::fprintf(stderr, "%s ", SymbolName(OurSymbol(m_Tables.stos[m_States[i]])));
        std::fprintf(stderr, " -> %s\n", SymbolName(OurSymbol(m_Tables.r1[ruleIndex])));
    }

    CSQLNode* value = RunAction(rule, m_Values.data() + first, length, m_Tree);

    m_States.resize(first);
    m_Values.resize(first);
    m_pLastValue = value;

    const int lhs = m_Tables.r1[ruleIndex] - m_Tables.ntokens;
    const int top = m_States.back();
    const int index = m_Tables.pgoto[lhs] + top;
    if (index >= 0 && index <= m_Tables.last && m_Tables.check[index] == top)
        m_nState = m_Tables.table[index];
    else
        m_nState = m_Tables.defgoto[lhs];
    if (yydebug) DebugStack("state stack now");
}

int Driver::Run() {
    m_Trace.clear();
    m_States.clear();
    m_Values.clear();
    m_States.reserve(m_nCapacity);
    m_Values.reserve(m_nCapacity);
    if (yydebug) std::fprintf(stderr, "Starting parse\n");

    int lookahead = kNoLookahead;
    int symbol = 0;
    CSQLNode* pending = nullptr; // value pushed with the next state
    for (;;) {
        if (!Push(m_nState, pending)) {
            if (!m_Tree.HasError()) m_Tree.SetError("parser stack overflow");
            return PARSE_STACK_EXHAUSTED;
        }
        pending = nullptr;

        int ruleIndex;
        const int base = m_Tables.pact[m_nState];
        if (base == m_Tables.pactNinf) {
            ruleIndex = m_Tables.defact[m_nState];
        } else {
            if (lookahead == kNoLookahead) {
                if (yydebug) std::fprintf(stderr, "Reading a token: ");
                int code = m_Scanner.yylex();
                lookahead = code <= 0 ? kEndOfInput : code;
                symbol = SymbolOfTokenCode(lookahead);
                if (yydebug) {
                    if (lookahead == kEndOfInput)
                        std::fprintf(stderr, "Now at end of input.\n");
                    else
                        std::fprintf(stderr, "Next token is %d (%s)\n", lookahead, SymbolName(symbol));
                }
            }
            const int index = base + symbol;
            if (symbol >= m_Tables.ntokens || index < 0 || index > m_Tables.last ||
                m_Tables.check[index] != symbol) {
                ruleIndex = m_Tables.defact[m_nState];
            } else {
                const int action = m_Tables.table[index];
                if (action == m_Tables.finalState) return PARSE_ACCEPTED;
                if (action > 0) {
                    if (yydebug) std::fprintf(stderr, "Shifting token %d (%s), ", lookahead, SymbolName(symbol));
                    m_Trace.push_back(symbol);
                    if (lookahead != kEndOfInput) lookahead = kNoLookahead;
                    m_nState = action;
                    continue;
                }
                ruleIndex = action == m_Tables.tableNinf ? 0 : -action;
            }
        }
        if (ruleIndex == 0) {
            ReportSyntaxError(m_nState);
            if (yydebug) DebugStack("Error: state stack now");
            return PARSE_SYNTAX_ERROR;
        }
        Reduce(ruleIndex);
        pending = m_pLastValue;
    }
}

// Composes the report of the first syntax error of the parse from the failing state's
// row, the scanner's and the tree's last tokens, the last reduced node and the trace.
void Driver::ReportSyntaxError(int state) {
    if (m_Tree.HasError()) return; // a case-state error came first and wins
    std::string report, word;
    LoadReportText(report, IDS_PARSE_ERROR);
    report += "\n";

    const int base = m_Tables.pact[state];
    bool first = true;
    for (int x = std::max(0, -base); x < m_Tables.ntokens; ++x) {
        const int index = base + x;
        if (index < 0 || index > m_Tables.last || m_Tables.check[index] != x) continue;
        if (first) {
            LoadReportText(word, IDS_EXPECTED_TOKENS);
            report += word + ": <";
            first = false;
        } else {
            report += ", <";
        }
        report += SymbolName(x);
        report += ">";
    }
    report += "\n";

    if (const CSQLToken* token = m_Tree.GetCurrentToken()) {
        LoadReportText(word, IDS_LAST_TOKEN);
        report += word + ": '" + m_Scanner.YYText() + "'(L), '";
        report += token->Text();
        report += "'(P)\n";
    }
    if (m_pLastValue && *m_pLastValue->GetName()) {
        LoadReportText(word, IDS_LAST_NODE);
        report += word + ": '" + m_pLastValue->GetName() + "'\n";
    }
    std::string trace = FormatTrace(m_Trace);
    if (!trace.empty()) {
        LoadReportText(word, IDS_PARSE_TRACE);
        report += "\n" + word + "\n" + trace;
    }
    m_Tree.SetError(report);
}

void Driver::DebugStack(const char* title) const {
    std::fprintf(stderr, "%s", title);
    for (int16_t s : m_States) std::fprintf(stderr, " %d", s);
    std::fprintf(stderr, "\n");
}

} // namespace

std::string FormatTrace(const std::vector<int32_t>& trace) {
    const GrammarTables& tables = GetGrammarTables();
    std::string text;
    std::vector<int> symbols; // the parse's symbol stack, replayed
    bool afterShift = false;
    for (const int32_t entry : trace) {
        if (entry >= 0) {
            symbols.push_back(entry);
            text += " > ";
            text += SymbolName(entry);
            afterShift = true;
            continue;
        }
        const int ruleIndex = -entry + 1;
        const size_t length = static_cast<size_t>(tables.r2[ruleIndex]);
        const int lhs = OurSymbol(tables.r1[ruleIndex]);
        if (afterShift) text += "\n";
        afterShift = false;
        if (length > 0 && length <= symbols.size()) {
            for (size_t k = symbols.size() - length; k < symbols.size(); ++k) {
                text += SymbolName(symbols[k]);
                text += k + 1 < symbols.size() ? " " : " -> ";
            }
            text += SymbolName(lhs);
            text += "\n";
            symbols.resize(symbols.size() - length);
        }
        symbols.push_back(lhs);
    }
    return text;
}

int yyparse(CParseTree* tree, CSQLScanner* scanner) {
    Driver driver(*tree, *scanner);
    return driver.Run();
}
