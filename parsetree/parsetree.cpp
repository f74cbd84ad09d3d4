#include "parsetree/parsetree.h"

#include <cstring>
#include <ostream>
#include <streambuf>

#include "parsetree/driver.h"
#include "platform/platform.h"
#include "scanner/scanner.h"

CParseTree::CParseTree() { Reset(); }

CParseTree::~CParseTree() { Reset(); }

void CParseTree::Reset() {
    m_pRoot = nullptr;
    m_pCurrentToken = nullptr;
    m_NamedNodes.RemoveAll();
    for (size_t i = 0; i < m_Tokens.GetSize(); ++i)
        if (CSQLToken* token = m_Tokens.GetAt(i)) token->~CSQLToken();
    m_Tokens.RemoveAll();
    for (size_t i = 0; i < m_Nodes.GetSize(); ++i)
        if (CSQLNode* node = m_Nodes.GetAt(i)) node->~CSQLNode();
    m_Nodes.RemoveAll();
    m_Arena.Reset();
    m_strError.clear();
    m_nErrorOffset = 0;
}

void CParseTree::CreateToken(int32_t code, const char* text) {
    CreateToken(code, text, text ? std::strlen(text) : 0);
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

size_t CParseTree::FillWide(const OLECHAR* text) {
    size_t length = 0;
    if (text)
        while (text[length]) ++length;
    char* narrow = PrepareInput(length);
    // Text in the ASCII range reads the same in every ANSI code page: those characters are
    // narrowed directly, and only text with others goes through the code-page conversion.
    unsigned wide = 0;
    for (size_t i = 0; i < length; ++i) {
        const unsigned c = static_cast<unsigned>(text[i]);
        wide |= c;
        narrow[i] = static_cast<char>(c);
    }
    if (wide >= 0x80) {
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

int32_t CParseTree::ParseInput(size_t length, std::ostream* echo) {
    Reset();
    if (!m_pScanner) m_pScanner.reset(new CSQLScanner(this));
    m_pScanner->Start(&m_Input[0], length, echo);
    return yyparse(this, m_pScanner.get());
}
