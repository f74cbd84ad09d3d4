// The parse tables that bison generates from sql.y, widened to 16-bit arrays so that the
// parser driver does not depend on the integer types bison picks. Numbering is bison's:
// rule index = rule number + 1 (index 1 is bison's own start rule), and nonterminal
// symbols are one above ours (bison's $accept takes the first nonterminal number).
#pragma once

#include <cstdint>

struct GrammarTables {
    const int16_t* pact;      // per state: base into table, or pact_ninf for "default only"
    const int16_t* defact;    // per state: default rule index, 0 for error
    const int16_t* pgoto;     // per nonterminal: goto base
    const int16_t* defgoto;   // per nonterminal: default goto state
    const int16_t* table;     // packed actions and gotos
    const int16_t* check;     // validity of each packed entry
    const int16_t* stos;      // per state: the symbol that leads into it
    const int16_t* r1;        // per rule index: left-hand symbol
    const int16_t* r2;        // per rule index: right-hand length
    const int16_t* rline;     // per rule index: line in sql.y
    const int16_t* translate; // external token code to symbol
    int finalState;
    int last; // largest index of table and check
    int ntokens;
    int nnts;
    int nrules;
    int nstates;
    int pactNinf;
    int tableNinf;
    const char* const* names; // bison's own symbol names
};

const GrammarTables& GetGrammarTables();
