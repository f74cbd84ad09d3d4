// The scan of the commonest tokens without the flex tables: blanks, words (keywords and
// identifiers), whole numbers and operators. The rules run it before each match (sql.l),
// and a parse runs it before it calls the rules at all, with the parse tree as the sink, so
// that most tokens cost neither the call into the rules nor a virtual call per value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "scanner/grammar.hpp"
#include "scanner/scanner.h"

namespace CommonTokens {

// The keywords of the rules above (generated from them), lower case.
struct KeywordRule {
    const char* text;
    size_t length;
    int code;
};

inline constexpr KeywordRule kKeywordRules[] = {
#define KEYWORD(text, code) {text, sizeof(text) - 1, code},
#include "scanner/keywords.inc"
#undef KEYWORD
};
inline constexpr size_t kKeywordCount = sizeof kKeywordRules / sizeof kKeywordRules[0];

// Words are compared as their first 16 bytes folded to lower case, packed into two
// integers (byte i at bits 8 * (i % 8) of word i / 8), zero beyond the word's end. Setting
// bit 5 of every byte folds letters and keeps digits; '_' becomes DEL, which no keyword
// holds, so a folded word equals a folded keyword exactly when the word is the keyword.
struct Folded {
    uint64_t w[2];
    size_t length;
};

constexpr bool operator==(const Folded& a, const Folded& b) {
    return a.w[0] == b.w[0] && a.w[1] == b.w[1] && a.length == b.length;
}

inline constexpr size_t kFoldedBytes = 16;

constexpr Folded Fold(const char* text, size_t n) {
    Folded f{{0, 0}, n};
    for (size_t i = 0; i < n && i < kFoldedBytes; ++i)
        f.w[i / 8] |= static_cast<uint64_t>(static_cast<unsigned char>(text[i]) | 0x20) << (8 * (i % 8));
    return f;
}

// Fold of the word text[0, n) read as two unaligned words when the 16 bytes at text lie
// before limit (the bytes past the word are masked off).
inline Folded FoldInPlace(const char* text, size_t n, const char* limit) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "a loaded word holds its first byte lowest");
    if (limit - text < static_cast<ptrdiff_t>(kFoldedBytes)) return Fold(text, n);
    uint64_t w[2];
    std::memcpy(w, text, sizeof w);
    constexpr uint64_t kCaseBits = 0x2020202020202020ull;
    if (n < 8) {
        const uint64_t mask = (uint64_t{1} << (8 * n)) - 1;
        return Folded{{(w[0] | kCaseBits) & mask, 0}, n};
    }
    const uint64_t mask = n < 16 ? (uint64_t{1} << (8 * (n - 8))) - 1 : ~uint64_t{0};
    return Folded{{w[0] | kCaseBits, (w[1] | kCaseBits) & mask}, n};
}

constexpr size_t LongestKeyword() {
    size_t n = 0;
    for (const KeywordRule& k : kKeywordRules) n = k.length > n ? k.length : n;
    return n;
}
inline constexpr size_t kLongestKeyword = LongestKeyword();
static_assert(kLongestKeyword <= kFoldedBytes, "keywords are compared by their folded bytes");

// Words starting with this are left to the rules.
inline constexpr Folded kCaseState = Fold("casestate", 9);

// Byte classes of the word and number rules.
enum : unsigned char { kDigit = 1, kWordStart = 2, kWordPart = 4 };

struct ByteClasses {
    unsigned char of[256];
};

constexpr ByteClasses MakeByteClasses() {
    ByteClasses t{};
    for (int c = '0'; c <= '9'; ++c) t.of[c] = kDigit | kWordPart;
    for (int c = 'a'; c <= 'z'; ++c) t.of[c] = t.of[c - 'a' + 'A'] = kWordStart | kWordPart;
    t.of[static_cast<unsigned char>('_')] = kWordStart | kWordPart;
    return t;
}
inline constexpr ByteClasses kClasses = MakeByteClasses();

inline unsigned char ClassOf(char c) { return kClasses.of[static_cast<unsigned char>(c)]; }

// An open-addressing table of the folded keywords: a slot holds the keyword's folded
// spelling and its code (0: empty).
inline constexpr size_t kKeywordSlots = 256;
static_assert(kKeywordCount * 2 <= kKeywordSlots, "the keyword table is kept at most half full");

constexpr size_t KeywordHash(const Folded& f) {
    return static_cast<size_t>(((f.w[0] ^ (f.w[1] << 7) ^ f.length) * 0x9E3779B97F4A7C15ull) >> 56) % kKeywordSlots;
}

struct KeywordSlot {
    Folded folded;
    int code;
};

struct KeywordTable {
    KeywordSlot slot[kKeywordSlots];
};

constexpr KeywordTable MakeKeywordTable() {
    KeywordTable t{};
    for (const KeywordRule& k : kKeywordRules) {
        const Folded f = Fold(k.text, k.length);
        size_t h = KeywordHash(f);
        while (t.slot[h].code) h = (h + 1) % kKeywordSlots;
        t.slot[h] = {f, k.code};
    }
    return t;
}
inline constexpr KeywordTable kKeywords = MakeKeywordTable();

// The code of the keyword folded to f, or 0.
inline int FindKeyword(const Folded& f) {
    for (size_t h = KeywordHash(f);; h = (h + 1) % kKeywordSlots) {
        const KeywordSlot& s = kKeywords.slot[h];
        if (!s.code || s.folded == f) return s.code;
    }
}

} // namespace CommonTokens

// Runs before the tables match a token, in the initial start condition only (the rules run
// it first thing, and a parse runs it before it calls the rules). Skips the blanks before
// the token: no rule other than the blank rule can match from a blank there,
// so the tokens come out as if the blank rule had matched the run (where rules start with
// blanks, after CASESTATE, the blanks are left to them). Then scans the token itself when
// the rules' outcome is plain from its first bytes: a word (a keyword or an identifier; a
// word starting with "casestate" is left to the rules), a number without a fraction or
// exponent, an operator. Returns its code, or 0 to let the tables match it; declining
// leaves flex's position at the token, so running it again declines again.
//
// Flex's position: the byte under yy_c_buf_p holds the NUL that ends the previous token
// (the real byte is in yy_hold_char); a token scanned here leaves the same state, with
// yytext and yyleng set, as a match through the tables would.
template <class Sink> int CSQLScanner::ScanCommonToken(Sink& sink) {
    using namespace CommonTokens;
    if (yy_start != kInitialStart) return 0;
    char* p = yy_c_buf_p;
    char c = yy_hold_char;
    *p = c;
    while (c == ' ' || c == '\t' || c == '\n') c = *++p;
    yy_c_buf_p = p;
    yy_hold_char = c;

    const unsigned char cls = ClassOf(c);
    char* end = p + 1;
    int code = 0;
    if (cls & kWordStart) {
        while (ClassOf(*end) & kWordPart) ++end;
        const size_t n = static_cast<size_t>(end - p);
        const Folded f = FoldInPlace(p, n, m_pLimit);
        if (n >= 9 && f.w[0] == kCaseState.w[0] && (f.w[1] & 0xFF) == kCaseState.w[1]) return 0;
        code = n <= kLongestKeyword ? FindKeyword(f) : 0;
        if (!code) {
            code = IDENTIFIER;
            sink.ScannedValue(IDENTIFIER, p, n);
        }
    } else if (cls & kDigit) {
        while (ClassOf(*end) & kDigit) ++end;
        if (*end == '.' || *end == 'e' || *end == 'E') return 0;
        code = NUMBER_VALUE;
        sink.ScannedValue(NUMBER_VALUE, p, static_cast<size_t>(end - p));
    } else {
        switch (c) {
        case '(': code = LEFTPAREN; break;
        case ')': code = RIGHTPAREN; break;
        case '*': code = STAR; break;
        case '+': code = PLUS; break;
        case '-': code = MINUS; break;
        case '/': code = DIVIDE; break;
        case ',': code = COMMA; break;
        case '=': code = EQUALS; break;
        case '<':
            code = *end == '>' ? NOT_EQUALS : *end == '=' ? LESS_EQUALS : LESS;
            if (code != LESS) ++end;
            break;
        case '>':
            code = *end == '=' ? MORE_EQUALS : MORE;
            if (code != MORE) ++end;
            break;
        case '.':
            if (ClassOf(*end) & kDigit) return 0;
            code = DOT;
            break;
        default: return 0;
        }
    }
    yytext = p;
    yyleng = static_cast<int>(end - p);
    yy_hold_char = *end;
    *end = '\0';
    yy_c_buf_p = end;
    return code;
}

template <class Sink> int CSQLScanner::NextToken(Sink& sink) {
    if (const int code = ScanCommonToken(sink)) return code;
    return yylex();
}
