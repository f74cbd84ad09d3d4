// Symbol numbers and names of the grammar as the parse trace and the error report print
// them, generated from sql.y (see grammar_symbols.h), and the mapping of token codes.
#pragma once

#include "scanner/grammar_symbols.h"

// External token code (as yylex returns it) to symbol number.
inline int SymbolOfTokenCode(int code) {
    if (code >= kFirstTokenCode && code <= kLastTokenCode) return code - kFirstTokenCode + kFirstTokenSymbol;
    if (code <= 0) return 0;
    if (code == 256) return 1;
    if (code > kLastTokenCode) return kSymbolCount - 1;
    return 2;
}
