#include "parsetree/densetables.h"

#include <map>

#include "parsetree/driver.h"
#include "scanner/grammar_tables.h"

int CompressedAction(const GrammarTables& t, int state, int symbol) {
    const int base = t.pact[state];
    if (base != t.pactNinf && symbol < t.ntokens) {
        const int index = base + symbol;
        if (index >= 0 && index <= t.last && t.check[index] == symbol) {
            const int action = t.table[index];
            return action == t.tableNinf ? 0 : action;
        }
    }
    return -t.defact[state];
}

int CompressedGoto(const GrammarTables& t, int nonterminal, int state) {
    const int index = t.pgoto[nonterminal] + state;
    return index >= 0 && index <= t.last && t.check[index] == state ? t.table[index] : t.defgoto[nonterminal];
}

namespace {

// The rule index a state reduces by without reading a lookahead when that reduction is
// of one symbol and hands its value up unchanged; 0 otherwise.
int ChainedRule(const GrammarTables& t, int state) {
    if (t.pact[state] != t.pactNinf) return 0;
    const int ruleIndex = t.defact[state];
    if (ruleIndex < 2 || t.r2[ruleIndex] != 1 || kHandedUpValue[ruleIndex - 1] != 1) return 0;
    return ruleIndex;
}

struct OwnedDenseTables {
    DenseTables dense;

    OwnedDenseTables() {
        const GrammarTables& t = GetGrammarTables();
        DenseTables& d = dense;
        d.columns = t.ntokens + 1;
        d.states = t.nstates;
        d.action.resize(static_cast<size_t>(t.nstates) * static_cast<size_t>(d.columns));
        d.defaultOnly.resize(static_cast<size_t>(t.nstates));
        for (int state = 0; state < t.nstates; ++state) {
            for (int column = 0; column < d.columns; ++column)
                d.action[static_cast<size_t>(state * d.columns + column)] =
                    static_cast<int16_t>(CompressedAction(t, state, column));
            d.defaultOnly[static_cast<size_t>(state)] = t.pact[state] == t.pactNinf
                                                            ? static_cast<int16_t>(-t.defact[state])
                                                            : DenseTables::kReadsLookahead;
        }

        // Each chain is stored once however many gotos end in it.
        std::map<std::vector<int32_t>, int> stored;
        d.chains.push_back(0); // offset 0 stays unused: -0 is a state
        d.gotos.resize(static_cast<size_t>(t.nnts) * static_cast<size_t>(t.nstates));
        std::vector<bool> hasEmptyRule(static_cast<size_t>(t.nnts));
        for (int ruleIndex = 2; ruleIndex <= t.nrules; ++ruleIndex)
            if (t.r2[ruleIndex] == 0) hasEmptyRule[static_cast<size_t>(t.r1[ruleIndex] - t.ntokens)] = true;
        std::vector<int32_t> chain;
        for (int nonterminal = 0; nonterminal < t.nnts; ++nonterminal) {
            for (int below = 0; below < t.nstates; ++below) {
                int16_t& entry = d.gotos[static_cast<size_t>(nonterminal * t.nstates + below)];
                const int target = CompressedGoto(t, nonterminal, below);
                entry = static_cast<int16_t>(target);
                if (hasEmptyRule[static_cast<size_t>(nonterminal)]) continue;
                // The chain's end state first, then its trace entries. A chain cannot be
                // longer than the number of nonterminals without a cycle of unit rules,
                // which bison would have reported as a conflict.
                chain.assign(1, target);
                for (int ruleIndex; (ruleIndex = ChainedRule(t, chain[0])) != 0 && chain.size() <= size_t(t.nnts);) {
                    chain.push_back(-(ruleIndex - 1));
                    chain[0] = CompressedGoto(t, t.r1[ruleIndex] - t.ntokens, below);
                }
                if (chain.size() == 1) continue;
                auto found = stored.find(chain);
                if (found == stored.end()) {
                    // An offset beyond the entry's range leaves the goto unchained.
                    if (d.chains.size() > static_cast<size_t>(INT16_MAX)) continue;
                    found = stored.emplace(chain, static_cast<int>(d.chains.size())).first;
                    d.chains.insert(d.chains.end(), chain.begin(), chain.end());
                    d.chains.push_back(0);
                }
                entry = static_cast<int16_t>(-found->second);
            }
        }

        d.rules.resize(static_cast<size_t>(t.nrules) + 1);
        for (int ruleIndex = 2; ruleIndex <= t.nrules; ++ruleIndex)
            d.rules[static_cast<size_t>(ruleIndex)] =
                DenseTables::Rule{(t.r1[ruleIndex] - t.ntokens) * t.nstates, static_cast<int8_t>(t.r2[ruleIndex]),
                                  kHandedUpValue[ruleIndex - 1]};
    }
};

} // namespace

const DenseTables& GetDenseTables() {
    static const OwnedDenseTables tables;
    return tables.dense;
}
