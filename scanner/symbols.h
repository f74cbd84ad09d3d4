// Symbol numbers and names of the grammar as the parse trace and the error report print
// them: 0 to 97 terminals (token code - 255), 98 to 171 nonterminals, 172 the empty name.
#pragma once

constexpr int kSymbolCount = 173;
constexpr int kTerminalCount = 98;
constexpr int kFirstNonterminal = 98;
constexpr int kLastTokenCode = 352;
constexpr int kRuleCount = 210;

extern const char* const kSymbolNames[kSymbolCount];

// External token code (as yylex returns it) to symbol number.
inline int SymbolOfTokenCode(int code) {
    if (code >= 258 && code <= kLastTokenCode) return code - 255;
    if (code <= 0) return 0;
    if (code == 256) return 1;
    if (code > kLastTokenCode) return kSymbolCount - 1;
    return 2;
}
