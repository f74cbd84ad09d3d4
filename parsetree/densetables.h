// The parse tables expanded from bison's compressed form into directly indexed arrays,
// built once at first use. The parser driver's loop reads one entry per step instead of
// the base + symbol lookup with its range and check comparisons.
#pragma once

#include <cstdint>
#include <vector>

struct GrammarTables;

struct DenseTables {
    // Action entries: > 0 shift to that state (the final state means accept), < 0 reduce
    // by rule index -entry, 0 syntax error.
    static constexpr int16_t kReadsLookahead = INT16_MAX;

    // Columns of the action table: one per terminal and a last one for every symbol
    // beyond the terminals, which takes the state's default action.
    int columns = 0;
    // action[state * columns + column].
    std::vector<int16_t> action;
    // Per state: the action taken without reading a lookahead (bison's default-only
    // states), or kReadsLookahead when the state's row decides.
    std::vector<int16_t> defaultOnly;

    // Where a reduction to a nonterminal leads, with the chain of reductions that follows
    // it without a lookahead: while the state reached only reduces by a rule of one
    // symbol that hands its value up unchanged, that reduction pops back to the same state
    // below and goes on from there. Nonterminals with an empty rule get no chains: the
    // state a reduction of no symbols goes to is pushed one deeper than any state before
    // it, and the driver must meet the stack limit there before recording the chain.
    //
    // gotos[nonterminal * states + state below], nonterminal counted from bison's first:
    // >= 0 the state reached without a chain; < 0 -offset into chains, where
    // chains[offset] is the state the chain ends in, followed by the trace entries of the
    // chained reductions (-rule each) and a 0.
    std::vector<int16_t> gotos;
    std::vector<int32_t> chains;
    int states = 0;

    // Per rule index: its right-hand length, the value it hands up (kHandedUpValue) and
    // the row of gotos for its left-hand symbol.
    struct Rule {
        int32_t gotoRow;
        int8_t length;
        int8_t handedUp;
    };
    std::vector<Rule> rules;
};

const DenseTables& GetDenseTables();

// The entries of bison's compressed tables, looked up the plain way: the action of state
// on a terminal symbol (column ntokens and beyond: the default action) in the encoding of
// DenseTables::action, and the state a reduction to nonterminal (from bison's first)
// leads to from state. Used to build the dense tables and by the tests that check them.
int CompressedAction(const GrammarTables& tables, int state, int symbol);
int CompressedGoto(const GrammarTables& tables, int nonterminal, int state);
