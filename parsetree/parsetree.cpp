#include "parsetree/parsetree.h"

#include <atomic>
#include <cstring>

#include "parsetree/driver.h"
#include "platform/platform.h"
#include "scanner/scanner.h"

namespace {

void AdoptOnce(CObject& object) { object.m_nRefCount.fetch_add(1, std::memory_order_relaxed); }

} // namespace

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
}

void CParseTree::CreateToken(int32_t code, const char* text) {
    CreateToken(code, text, text ? std::strlen(text) : 0);
}

void CParseTree::CreateToken(int32_t code, const char* text, size_t length) {
    // The slot is reserved first, so that a failed allocation leaves nothing unowned.
    m_Tokens.Add(nullptr);
    CSQLToken* token = new (m_Arena.Allocate(sizeof(CSQLToken))) CSQLToken(code, text ? text : "", length);
    m_Tokens.SetAt(m_Tokens.GetSize() - 1, token);
    m_pCurrentToken = token;
    AdoptOnce(*token);
}

CSQLNode* CParseTree::CreateNode(int32_t kind, const char* name) {
    m_Nodes.Add(nullptr);
    CSQLNode* node = new (m_Arena.Allocate(sizeof(CSQLNode))) CSQLNode();
    m_Nodes.SetAt(m_Nodes.GetSize() - 1, node);
    node->m_strName = name ? name : "";
    node->m_nKind = kind;
    AdoptOnce(*node);
    if (IsLeafKind(kind)) node->m_pToken = m_pCurrentToken;
    return node;
}

void CParseTree::SetError(const std::string& text) {
    if (m_strError.empty()) m_strError = text;
}

int32_t CParseTree::Parse(const OLECHAR* text) {
    // Convert once, up to the first NUL, to the ANSI code page.
    m_Narrow.clear();
    if (text) {
        size_t length = 0;
        while (text[length]) ++length;
        if (length) {
            m_Narrow.resize(length);
            int n = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(text), static_cast<int>(length),
                                        &m_Narrow[0], static_cast<int>(length), nullptr, nullptr);
            if (n <= 0) throw std::bad_alloc();
            m_Narrow.resize(static_cast<size_t>(n));
        }
    }
    std::string narrow;
    narrow.swap(m_Narrow);
    int32_t result = ParseNarrow(narrow.data(), narrow.size());
    narrow.swap(m_Narrow);
    return result;
}

int32_t CParseTree::ParseNarrow(const char* text, size_t length) {
    if (!text) length = 0;
    if (length) {
        const void* nul = std::memchr(text, '\0', length);
        if (nul) length = static_cast<size_t>(static_cast<const char*>(nul) - text);
    }
    Reset();
    CSQLScanner scanner(length ? text : "", length, this, m_pEcho);
    return yyparse(this, &scanner);
}
