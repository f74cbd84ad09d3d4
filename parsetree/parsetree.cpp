#include "parsetree/parsetree.h"

#include <cstdint>
#include <cstring>
#include <ostream>
#include <streambuf>

#include "parsetree/driver.h"
#include "platform/platform.h"
#include "scanner/scanner.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

CParseTree::CParseTree() { Reset(); }

CParseTree::~CParseTree() { Reset(); }

void CParseTree::Reset() {
    m_pRoot = nullptr;
    m_pCurrentToken = nullptr;
    m_nListTails = 0;
    m_NamedNodes.RemoveAll();
    for (size_t i = 0; i < m_Tokens.GetSize(); ++i)
        if (CSQLToken* token = m_Tokens.GetAt(i)) token->~CSQLToken();
    m_Tokens.RemoveAll();
    for (size_t i = 0; i < m_Nodes.GetSize(); ++i)
        if (CSQLNode* node = m_Nodes.GetAt(i)) node->~CSQLNode();
    m_Nodes.RemoveAll();
    // The storage stays until the next statement's length says how much of it that one
    // needs (PrepareTree).
    m_Arena.Rewind();
    m_strError.clear();
    m_nErrorOffset = 0;
}

void CParseTree::CreateToken(int32_t code, const char* text) {
    CreateToken(code, text, text ? std::strlen(text) : 0);
}

void CParseTree::AppendToList(CSQLNode* head, CSQLNode* element) {
    size_t i = 0;
    while (i < m_nListTails && m_ListTails[i].head != head) ++i;
    // From the remembered end (still in the list: lists only grow) to the real one.
    CSQLNode* last = i < m_nListTails ? m_ListTails[i].tail : head;
    while (last->m_pNext) last = last->m_pNext;
    last->m_pNext = element;
    if (i == m_nListTails) {
        if (m_nListTails < kListTails) ++m_nListTails; // when full, the oldest is forgotten
        i = m_nListTails - 1;
    }
    for (; i > 0; --i) m_ListTails[i] = m_ListTails[i - 1];
    m_ListTails[0] = ListTail{head, element ? element : last};
}

void CParseTree::SetError(const std::string& text) {
    if (m_strError.empty()) m_strError = text;
}

// The scan buffer of a huge statement is given back once a statement of ordinary size
// follows it.
constexpr size_t kKeptInputCapacity = size_t(4) << 20;

char* CParseTree::PrepareInput(size_t length) {
    if (length > CSQLScanner::kMaxLength) throw std::bad_alloc();
    if (length + 2 <= kKeptInputCapacity && m_Input.capacity() > kKeptInputCapacity) std::string().swap(m_Input);
    m_Input.resize(length + 2);
    m_Input[length] = '\0';
    m_Input[length + 1] = '\0';
    return &m_Input[0];
}

namespace {

#if defined(__SSE2__)
// The number of characters before the first NUL. Reads whole aligned 16-byte blocks, which
// never cross a page boundary, so it may look at bytes past the NUL in the block that holds
// it: those are not the text's, which is why the address and thread checkers are told to
// let it be.
__attribute__((no_sanitize_address, no_sanitize_thread)) size_t WideLength(const OLECHAR* text) {
    const OLECHAR* p = text;
    while (reinterpret_cast<uintptr_t>(p) % 16 != 0) {
        if (!*p) return static_cast<size_t>(p - text);
        ++p;
    }
    const __m128i zero = _mm_setzero_si128();
    for (;; p += 8) {
        const int nul = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(p)), zero));
        if (nul) return static_cast<size_t>(p - text) + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(nul))) / 2;
    }
}

// Narrows text[0, length) to narrow[0, length), byte by byte, sixteen characters at a time;
// returns whether a character beyond the ASCII range was met (its byte is then wrong).
bool NarrowAscii(const OLECHAR* text, size_t length, char* narrow) {
    size_t i = 0;
    __m128i seen = _mm_setzero_si128();
    for (; i + 16 <= length; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i + 8));
        seen = _mm_or_si128(seen, _mm_or_si128(a, b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(narrow + i), _mm_packus_epi16(a, b));
    }
    const __m128i high = _mm_and_si128(seen, _mm_set1_epi16(static_cast<short>(0xFF80)));
    unsigned wide = _mm_movemask_epi8(_mm_cmpeq_epi16(high, _mm_setzero_si128())) != 0xFFFF ? 0x80 : 0;
    for (; i < length; ++i) {
        const unsigned c = static_cast<unsigned>(text[i]);
        wide |= c;
        narrow[i] = static_cast<char>(c);
    }
    return wide >= 0x80;
}
#else
size_t WideLength(const OLECHAR* text) {
    size_t length = 0;
    while (text[length]) ++length;
    return length;
}

bool NarrowAscii(const OLECHAR* text, size_t length, char* narrow) {
    unsigned wide = 0;
    for (size_t i = 0; i < length; ++i) {
        const unsigned c = static_cast<unsigned>(text[i]);
        wide |= c;
        narrow[i] = static_cast<char>(c);
    }
    return wide >= 0x80;
}
#endif

} // namespace

size_t CParseTree::FillWide(const OLECHAR* text) {
    size_t length = text ? WideLength(text) : 0;
    char* narrow = PrepareInput(length);
    // Text in the ASCII range reads the same in every ANSI code page: those characters are
    // narrowed directly, and only text with others goes through the code-page conversion.
    if (NarrowAscii(text, length, narrow)) {
        int n = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(text), static_cast<int>(length), narrow,
                                    static_cast<int>(length), nullptr, nullptr);
        if (n <= 0) throw std::bad_alloc();
        length = static_cast<size_t>(n);
        narrow[length] = '\0';
        narrow[length + 1] = '\0';
    }
    return length;
}

size_t CParseTree::FillNarrow(const char* text, size_t length) {
    if (!text) length = 0;
    if (length) {
        const void* nul = std::memchr(text, '\0', length);
        if (nul) length = static_cast<size_t>(static_cast<const char*>(nul) - text);
    }
    char* input = PrepareInput(length);
    if (length) std::memcpy(input, text, length);
    return length;
}

namespace {

// Where the second parse of a failed statement echoes: it was echoed the first time.
class CDiscardBuffer final : public std::streambuf {
protected:
    int overflow(int c) override { return traits_type::not_eof(c); }
};

} // namespace

template <class Fill> int32_t CParseTree::ParseAgainForReport(int32_t result, Fill fill) {
    if (result != PARSE_SYNTAX_ERROR || m_bTraceKept) return result;
    CDiscardBuffer discard;
    std::ostream quiet(&discard);
    m_bTraceKept = true;
    try {
        result = ParseInput(fill(), &quiet);
    } catch (...) {
        m_bTraceKept = false;
        throw;
    }
    m_bTraceKept = false;
    return result;
}

int32_t CParseTree::Parse(const OLECHAR* text) {
    return ParseAgainForReport(ParseInput(FillWide(text), m_pEcho), [&] { return FillWide(text); });
}

int32_t CParseTree::ParseNarrow(const char* text, size_t length) {
    return ParseAgainForReport(ParseInput(FillNarrow(text, length), m_pEcho),
                               [&] { return FillNarrow(text, length); });
}

// Storage for a statement of length bytes: what the previous statement used is kept when
// this one is at least half as long (huge statements in a row reuse memory that is mapped
// already), and given back otherwise. The arrays are reserved from the length, so that a
// huge statement's arrays are not moved while they grow: statements have about a third of
// a node and a tenth of a value token per byte, and seldom more than a node per byte and a
// token per two bytes beyond those of their first few bytes. It is only a reserve: the
// arrays grow when a statement needs more (set operations over bare table names do).
void CParseTree::PrepareTree(size_t length) {
    if (length < m_nLastLength / 2) {
        m_Arena.Trim(0);
        m_Nodes.Trim();
        m_Tokens.Trim();
    }
    m_nLastLength = length;
    m_Nodes.Reserve(length + 64);
    m_Tokens.Reserve(length / 2 + 16);
}

int32_t CParseTree::ParseInput(size_t length, std::ostream* echo) {
    Reset();
    PrepareTree(length);
    if (!m_pScanner) m_pScanner.reset(new CSQLScanner(this));
    m_pScanner->Start(&m_Input[0], length, echo);
    return yyparse(this, m_pScanner.get());
}
