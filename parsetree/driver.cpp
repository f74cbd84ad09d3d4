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
#include "scanner/commontokens.h"
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

// The state and value stacks as the parse loop keeps them: the storage of the tree's
// vectors, filled up to depth.
struct Stacks {
    int16_t* states;
    CSQLNode** values;
    size_t depth;
};

// The recorded trace: appended to through a raw cursor, so the loop keeps it in registers;
// the vector is cut to the recorded length when the parse ends.
class TraceRecorder {
public:
    // A recorder that is not used (record false) leaves the vector as it is.
    TraceRecorder(std::vector<int32_t>& trace, bool record = true) : m_Trace(trace) {
        if (record && m_Trace.size() < 256) m_Trace.resize(256);
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

class Driver {
public:
    Driver(CParseTree& tree, CSQLScanner& scanner)
        : m_Tree(tree), m_Scanner(scanner), m_Tables(GetGrammarTables()), m_Trace(tree.Trace()),
          m_States(tree.StateStack()), m_Values(tree.ValueStack()) {}

    // The parse over the dense tables: each step reads one action entry, and chains of
    // reductions that hand a value up unchanged without reading a lookahead are taken in
    // one goto (their reductions are still recorded). Without Record, no trace is kept and
    // a syntax error is not reported (the tree parses again with the trace for that).
    template <bool Record> int RunDense();
    // The same parse over bison's compressed tables, step by step, writing the classic
    // debug trace to standard error.
    int RunDebug();

private:
    Stacks PrepareStacks();
    bool Push(Stacks& stacks, int state, CSQLNode* value);
    bool Grow();
    int ReadToken(int& symbol);
    int ReadTokenTraced(int& symbol);
    CSQLNode* Reduce(int rule, int length, int handedUp, Stacks& stacks);
    int SyntaxError(TraceRecorder& trace, int state);
    void ReportSyntaxError(int state);
    void DebugReduction(int ruleIndex, const Stacks& stacks) const;
    void DebugStack(const char* title, size_t depth) const;

    CParseTree& m_Tree;
    CSQLScanner& m_Scanner;
    const GrammarTables& m_Tables;
    std::vector<int32_t>& m_Trace;

    // The storage of the stacks: m_nCapacity entries each.
    std::vector<int16_t>& m_States;
    std::vector<CSQLNode*>& m_Values;
    size_t m_nCapacity = kInitialStackDepth;
    CSQLNode* m_pLastValue = nullptr;
};

// Sizes both stacks to the capacity a parse starts with (kept from earlier parses).
Stacks Driver::PrepareStacks() {
    if (m_States.size() < m_nCapacity) m_States.resize(m_nCapacity);
    if (m_Values.size() < m_nCapacity) m_Values.resize(m_nCapacity);
    m_nCapacity = m_States.size() < m_Values.size() ? m_States.size() : m_Values.size();
    return Stacks{m_States.data(), m_Values.data(), 0};
}

// Pushes a state and its value. The stacks hold at most kMaxStackDepth - 1 entries:
// false, with the error text set, when the push reaches that limit. (The stacks are
// handed to no other function, so the loop keeps them in registers.)
inline bool Driver::Push(Stacks& stacks, int state, CSQLNode* value) {
    stacks.states[stacks.depth] = static_cast<int16_t>(state);
    stacks.values[stacks.depth] = value;
    if (++stacks.depth < m_nCapacity) return true;
    if (!Grow()) return false;
    stacks.states = m_States.data();
    stacks.values = m_Values.data();
    return true;
}

bool Driver::Grow() {
    if (m_nCapacity >= static_cast<size_t>(kMaxStackDepth)) {
        m_Tree.SetErrorOffset(m_Scanner.TokenOffset());
        if (!m_Tree.HasError()) m_Tree.SetError("parser stack overflow");
        return false;
    }
    m_nCapacity = std::min(m_nCapacity * 2, static_cast<size_t>(kMaxStackDepth));
    m_States.resize(m_nCapacity);
    m_Values.resize(m_nCapacity);
    return true;
}

// Reads the next token: returns its code (kEndOfInput at the end) and sets its symbol.
inline int Driver::ReadToken(int& symbol) {
    const int code = m_Scanner.NextToken(m_Tree);
    const int lookahead = code <= 0 ? kEndOfInput : code;
    symbol = SymbolOfTokenCode(lookahead);
    return lookahead;
}

int Driver::ReadTokenTraced(int& symbol) {
    std::fprintf(stderr, "Reading a token: ");
    const int lookahead = ReadToken(symbol);
    if (lookahead == kEndOfInput)
        std::fprintf(stderr, "Now at end of input.\n");
    else
        std::fprintf(stderr, "Next token is %d (%s)\n", lookahead, SymbolName(symbol));
    return lookahead;
}

// Pops the right-hand side of a rule and returns the rule's value: the value the rule
// hands up, or what its action builds.
inline CSQLNode* Driver::Reduce(int rule, int length, int handedUp, Stacks& stacks) {
    const size_t first = stacks.depth - static_cast<size_t>(length);
    CSQLNode* value = handedUp < 0 ? RunAction(rule, stacks.values + first, m_Tree)
                      : handedUp   ? stacks.values[first + static_cast<size_t>(handedUp) - 1]
                                   : nullptr;
    stacks.depth = first;
    m_pLastValue = value;
    return value;
}

int Driver::SyntaxError(TraceRecorder& trace, int state) {
    trace.Sync(); // the report reads the trace
    ReportSyntaxError(state);
    return PARSE_SYNTAX_ERROR;
}

template <bool Record> int Driver::RunDense() {
    const DenseTables& d = GetDenseTables();
    const int16_t* const actions = d.action.data();
    const int16_t* const defaultOnly = d.defaultOnly.data();
    const int16_t* const gotos = d.gotos.data();
    const int32_t* const chains = d.chains.data();
    const DenseTables::Rule* const rules = d.rules.data();
    const int columns = d.columns;
    const int finalState = m_Tables.finalState;

    Stacks stacks = PrepareStacks();
    if (!Record) m_Trace.clear();
    TraceRecorder trace(m_Trace, Record);
    int lookahead = kNoLookahead;
    int symbol = 0;
    const int16_t* row = nullptr; // the lookahead's column of the action table
    int state = 0;
    CSQLNode* pending = nullptr; // value pushed with the next state
    for (;;) {
        if (!Push(stacks, state, pending)) return PARSE_STACK_EXHAUSTED;
        int action = defaultOnly[state];
        if (action == DenseTables::kReadsLookahead) {
            if (lookahead == kNoLookahead) {
                lookahead = ReadToken(symbol);
                row = actions + std::min(symbol, columns - 1);
            }
            action = row[state * columns];
            if (action > 0) {
                if (action == finalState) return PARSE_ACCEPTED;
                if (Record) trace.Add(symbol);
                if (lookahead != kEndOfInput) lookahead = kNoLookahead;
                state = action;
                pending = nullptr;
                continue;
            }
        }
        if (action == 0) return Record ? SyntaxError(trace, state) : PARSE_SYNTAX_ERROR;

        // Reduce by rule index -action (rule -action - 1) and go to the state for its
        // left-hand symbol.
        const DenseTables::Rule info = rules[-action];
        if (Record) trace.Add(action + 1);
        pending = Reduce(-action - 1, info.length, info.handedUp, stacks);
        state = gotos[info.gotoRow + stacks.states[stacks.depth - 1]];
        if (state < 0) {
            // A chain follows only a reduction of at least one symbol (see DenseTables),
            // so each of its states would have been pushed no deeper than the state just
            // popped: none of those pushes could have met the stack limit.
            const int32_t* entry = chains - state;
            state = *entry;
            if (Record)
                while (*++entry) trace.Add(*entry);
        }
    }
}

int Driver::RunDebug() {
    const GrammarTables& t = m_Tables;
    Stacks stacks = PrepareStacks();
    TraceRecorder trace(m_Trace);
    std::fprintf(stderr, "Starting parse\n");
    int lookahead = kNoLookahead;
    int symbol = 0;
    int state = 0;
    CSQLNode* pending = nullptr; // value pushed with the next state
    for (;;) {
        std::fprintf(stderr, "Entering state %d\n", state);
        const size_t capacity = m_nCapacity;
        if (!Push(stacks, state, pending)) return PARSE_STACK_EXHAUSTED;
        if (m_nCapacity != capacity) std::fprintf(stderr, "Stack size increased to %d\n", int(m_nCapacity));

        int action = -t.defact[state];
        if (t.pact[state] != t.pactNinf) {
            if (lookahead == kNoLookahead) lookahead = ReadTokenTraced(symbol);
            action = CompressedAction(t, state, symbol);
            if (action == t.finalState) return PARSE_ACCEPTED;
            if (action > 0) {
                std::fprintf(stderr, "Shifting token %d (%s), ", lookahead, SymbolName(symbol));
                trace.Add(symbol);
                if (lookahead != kEndOfInput) lookahead = kNoLookahead;
                state = action;
                pending = nullptr;
                continue;
            }
        }
        if (action == 0) {
            SyntaxError(trace, state);
            DebugStack("Error: state stack now", stacks.depth);
            return PARSE_SYNTAX_ERROR;
        }

        const int ruleIndex = -action;
        trace.Add(-(ruleIndex - 1));
        DebugReduction(ruleIndex, stacks);
        pending = Reduce(ruleIndex - 1, t.r2[ruleIndex], kHandedUpValue[ruleIndex - 1], stacks);
        state = CompressedGoto(t, t.r1[ruleIndex] - t.ntokens, stacks.states[stacks.depth - 1]);
        DebugStack("state stack now", stacks.depth);
    }
}

// Composes the report of the first syntax error of the parse from the failing state's
// row, the scanner's and the tree's last tokens, the last reduced node and the trace.
void Driver::ReportSyntaxError(int state) {
    m_Tree.SetErrorOffset(m_Scanner.TokenOffset()); // where the parse stopped, for tools
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

void Driver::DebugReduction(int ruleIndex, const Stacks& stacks) const {
    const GrammarTables& t = m_Tables;
    std::fprintf(stderr, "Reducing via rule %d (line %d), ", ruleIndex - 1, t.rline[ruleIndex]);
    for (size_t i = stacks.depth - static_cast<size_t>(t.r2[ruleIndex]); i < stacks.depth; ++i)
        std::fprintf(stderr, "%s ", SymbolName(OurSymbol(t.stos[stacks.states[i]])));
    std::fprintf(stderr, " -> %s\n", SymbolName(OurSymbol(t.r1[ruleIndex])));
}

void Driver::DebugStack(const char* title, size_t depth) const {
    std::fprintf(stderr, "%s", title);
    for (size_t i = 0; i < depth; ++i) std::fprintf(stderr, " %d", m_States[i]);
    std::fprintf(stderr, "\n");
}

} // namespace

std::string FormatTrace(const std::vector<int32_t>& trace) {
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
        const size_t length = static_cast<size_t>(kRuleLength[-entry]);
        const int lhs = kRuleLeftSide[-entry];
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
    if (yydebug) return driver.RunDebug();
    return tree->TraceKept() ? driver.RunDense<true>() : driver.RunDense<false>();
}
