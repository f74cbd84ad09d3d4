// The parser driver: shift, reduce, default reduction, goto, accept and error over the
// tables bison generates from scanner/sql.y, with our own symbol numbering and names.
//
// The parse trace is recorded as numbers and only formatted when a report needs it: a
// shift is recorded as its symbol (>= 0), a reduction as -rule. Replaying the record on a
// stack of symbols gives back the right-hand side of every reduction.
#include "parsetree/driver.h"

#include <algorithm>
#include <cstdio>

#include "parsetree/densetables.h"
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

    // The parse loop over bison's compressed tables, with the debug trace compiled in
    // when kDebug is set.
    template <bool kDebug> int Run();
    // The same parse over the dense tables, without the debug trace: each step reads one
    // action entry, and chains of reductions that hand a value up unchanged without
    // reading a lookahead are taken in one goto (their reductions are still recorded).
    int RunDense();

private:
    void PrepareStacks();
    void Grow();
    void ReportSyntaxError(int state);
    void DebugStack(const char* title, size_t depth) const;

    CParseTree& m_Tree;
    CSQLScanner& m_Scanner;
    const GrammarTables& m_Tables;
    std::vector<int32_t>& m_Trace;

    // The state and value stacks: the vectors serve as storage of m_nCapacity entries,
    // filled up to the depth the loop keeps.
    std::vector<int16_t>& m_States;
    std::vector<CSQLNode*>& m_Values;
    size_t m_nCapacity = kInitialStackDepth;
    CSQLNode* m_pLastValue = nullptr;
};

// The recorded trace: appended to through a raw cursor, so the loop keeps it in registers;
// the vector is cut to the recorded length when the parse ends.
class TraceRecorder {
public:
    explicit TraceRecorder(std::vector<int32_t>& trace) : m_Trace(trace) {
        if (m_Trace.size() < 256) m_Trace.resize(256);
        m_pNext = m_Trace.data();
        m_pEnd = m_pNext + m_Trace.size();
    }
    ~TraceRecorder() { Sync(); }

    // Cuts the vector to the entries recorded so far; recording may go on.
    void Sync() {
        m_Trace.resize(static_cast<size_t>(m_pNext - m_Trace.data()));
        m_pEnd = m_Trace.data() + m_Trace.size();
    }

    void Add(int32_t entry) {
        if (m_pNext == m_pEnd) Grow();
        *m_pNext++ = entry;
    }

private:
    void Grow() {
        const size_t used = static_cast<size_t>(m_pNext - m_Trace.data());
        m_Trace.resize(used * 2);
        m_pNext = m_Trace.data() + used;
        m_pEnd = m_Trace.data() + m_Trace.size();
    }

    std::vector<int32_t>& m_Trace;
    int32_t* m_pNext;
    int32_t* m_pEnd;
};

// Sizes both stacks to the capacity a parse starts with (kept from earlier parses).
void Driver::PrepareStacks() {
    if (m_States.size() < m_nCapacity) m_States.resize(m_nCapacity);
    if (m_Values.size() < m_nCapacity) m_Values.resize(m_nCapacity);
    m_nCapacity = m_States.size() < m_Values.size() ? m_States.size() : m_Values.size();
}

void Driver::Grow() {
    m_nCapacity = std::min(m_nCapacity * 2, static_cast<size_t>(kMaxStackDepth));
    m_States.resize(m_nCapacity);
    m_Values.resize(m_nCapacity);
}

template <bool kDebug> int Driver::Run() {
    const GrammarTables& t = m_Tables;
    const int16_t* const pact = t.pact;
    const int16_t* const defact = t.defact;
    const int16_t* const pgoto = t.pgoto;
    const int16_t* const defgoto = t.defgoto;
    const int16_t* const table = t.table;
    const int16_t* const check = t.check;
    const int16_t* const r1 = t.r1;
    const int16_t* const r2 = t.r2;
    const int pactNinf = t.pactNinf;
    const int tableNinf = t.tableNinf;
    const int last = t.last;
    const int ntokens = t.ntokens;
    const int finalState = t.finalState;

    PrepareStacks();
    int16_t* states = m_States.data();
    CSQLNode** values = m_Values.data();
    size_t depth = 0;
    TraceRecorder trace(m_Trace);
    if (kDebug) std::fprintf(stderr, "Starting parse\n");

    int lookahead = kNoLookahead;
    int symbol = 0;
    int state = 0;
    CSQLNode* pending = nullptr; // value pushed with the next state
    for (;;) {
        // Push the state and its value; the stacks hold at most kMaxStackDepth - 1.
        states[depth] = static_cast<int16_t>(state);
        values[depth] = pending;
        ++depth;
        if (kDebug) std::fprintf(stderr, "Entering state %d\n", state);
        if (depth >= m_nCapacity) {
            if (m_nCapacity >= static_cast<size_t>(kMaxStackDepth)) {
                if (!m_Tree.HasError()) m_Tree.SetError("parser stack overflow");
                return PARSE_STACK_EXHAUSTED;
            }
            Grow();
            states = m_States.data();
            values = m_Values.data();
            if (kDebug) std::fprintf(stderr, "Stack size increased to %d\n", static_cast<int>(m_nCapacity));
        }

        int ruleIndex;
        const int base = pact[state];
        if (base == pactNinf) {
            ruleIndex = defact[state];
        } else {
            if (lookahead == kNoLookahead) {
                if (kDebug) std::fprintf(stderr, "Reading a token: ");
                const int code = m_Scanner.yylex();
                lookahead = code <= 0 ? kEndOfInput : code;
                symbol = SymbolOfTokenCode(lookahead);
                if (kDebug) {
                    if (lookahead == kEndOfInput)
                        std::fprintf(stderr, "Now at end of input.\n");
                    else
                        std::fprintf(stderr, "Next token is %d (%s)\n", lookahead, SymbolName(symbol));
                }
            }
            const int index = base + symbol;
            if (symbol >= ntokens || index < 0 || index > last || check[index] != symbol) {
                ruleIndex = defact[state];
            } else {
                const int action = table[index];
                if (action == finalState) return PARSE_ACCEPTED;
                if (action > 0) {
                    if (kDebug) std::fprintf(stderr, "Shifting token %d (%s), ", lookahead, SymbolName(symbol));
                    trace.Add(symbol);
                    if (lookahead != kEndOfInput) lookahead = kNoLookahead;
                    state = action;
                    pending = nullptr;
                    continue;
                }
                ruleIndex = action == tableNinf ? 0 : -action;
            }
        }
        if (ruleIndex == 0) {
            trace.Sync(); // the report reads the trace
            ReportSyntaxError(state);
            if (kDebug) DebugStack("Error: state stack now", depth);
            return PARSE_SYNTAX_ERROR;
        }

        // Reduce: run the rule's action over the values of its right-hand side, pop them
        // and go to the state for the left-hand symbol.
        const int rule = ruleIndex - 1;
        const int length = r2[ruleIndex];
        const size_t first = depth - static_cast<size_t>(length);
        trace.Add(-rule);
        if (kDebug) {
            std::fprintf(stderr, "Reducing via rule %d (line %d), ", rule, t.rline[ruleIndex]);
            for (size_t i = first; i < depth; ++i)
                std::fprintf(stderr, "%s ", SymbolName(OurSymbol(t.stos[states[i]])));
            std::fprintf(stderr, " -> %s\n", SymbolName(OurSymbol(r1[ruleIndex])));
        }
        const int handedUp = kHandedUpValue[rule];
        CSQLNode* value = handedUp < 0 ? RunAction(rule, values + first, length, m_Tree)
                          : handedUp ? values[first + static_cast<size_t>(handedUp) - 1]
                                     : nullptr;
        depth = first;
        m_pLastValue = value;
        pending = value;
        const int lhs = r1[ruleIndex] - ntokens;
        const int top = states[depth - 1];
        const int index = pgoto[lhs] + top;
        state = index >= 0 && index <= last && check[index] == top ? table[index] : defgoto[lhs];
        if (kDebug) DebugStack("state stack now", depth);
    }
}

int Driver::RunDense() {
    const DenseTables& d = GetDenseTables();
    const int16_t* const actions = d.action.data();
    const int16_t* const defaultOnly = d.defaultOnly.data();
    const int16_t* const gotos = d.gotos.data();
    const int32_t* const chains = d.chains.data();
    const DenseTables::Rule* const rules = d.rules.data();
    const int columns = d.columns;
    const int lastColumn = columns - 1;
    const int finalState = m_Tables.finalState;

    PrepareStacks();
    int16_t* states = m_States.data();
    CSQLNode** values = m_Values.data();
    size_t depth = 0;
    TraceRecorder trace(m_Trace);

    int lookahead = kNoLookahead;
    int symbol = 0;
    const int16_t* row = nullptr; // the lookahead's column of the action table
    int state = 0;
    CSQLNode* pending = nullptr; // value pushed with the next state
    for (;;) {
        // Push the state and its value; the stacks hold at most kMaxStackDepth - 1.
        states[depth] = static_cast<int16_t>(state);
        values[depth] = pending;
        ++depth;
        if (depth >= m_nCapacity) {
            if (m_nCapacity >= static_cast<size_t>(kMaxStackDepth)) {
                if (!m_Tree.HasError()) m_Tree.SetError("parser stack overflow");
                return PARSE_STACK_EXHAUSTED;
            }
            Grow();
            states = m_States.data();
            values = m_Values.data();
        }

        int action = defaultOnly[state];
        if (action == DenseTables::kReadsLookahead) {
            if (lookahead == kNoLookahead) {
                const int code = m_Scanner.yylex();
                lookahead = code <= 0 ? kEndOfInput : code;
                symbol = SymbolOfTokenCode(lookahead);
                row = actions + (symbol < lastColumn ? symbol : lastColumn);
            }
            action = row[state * columns];
            if (action > 0) {
                if (action == finalState) return PARSE_ACCEPTED;
                trace.Add(symbol);
                if (lookahead != kEndOfInput) lookahead = kNoLookahead;
                state = action;
                pending = nullptr;
                continue;
            }
        }
        if (action == 0) {
            trace.Sync(); // the report reads the trace
            ReportSyntaxError(state);
            return PARSE_SYNTAX_ERROR;
        }

        // Reduce: run the rule's action over the values of its right-hand side, pop them
        // and go to the state for the left-hand symbol.
        const int ruleIndex = -action;
        const int rule = ruleIndex - 1;
        const DenseTables::Rule info = rules[ruleIndex];
        const size_t first = depth - static_cast<size_t>(info.length);
        trace.Add(-rule);
        const int handedUp = info.handedUp;
        CSQLNode* value = handedUp < 0 ? RunAction(rule, values + first, info.length, m_Tree)
                          : handedUp ? values[first + static_cast<size_t>(handedUp) - 1]
                                     : nullptr;
        depth = first;
        m_pLastValue = value;
        pending = value;
        const int top = states[depth - 1];
        // A chain follows only a reduction of at least one symbol (see DenseTables), so
        // each of its states would have been pushed no deeper than the state just popped:
        // none of those pushes could have met the stack limit.
        state = gotos[info.gotoRow + top];
        if (state < 0) {
            const int32_t* entry = chains - state;
            state = *entry;
            while (*++entry) trace.Add(*entry);
        }
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

void Driver::DebugStack(const char* title, size_t depth) const {
    std::fprintf(stderr, "%s", title);
    for (size_t i = 0; i < depth; ++i) std::fprintf(stderr, " %d", m_States[i]);
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
    return yydebug ? driver.Run<true>() : driver.RunDense();
}
