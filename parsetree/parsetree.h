// The parse tree of one statement: every token and node of the parse, the named-node map
// of the data-changing and data-definition statements, the root node and the error text.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "parsetree/arena.h"
#include "parsetree/containers.h"
#include "parsetree/sqlnode.h"
#include "parsetree/sqltoken.h"
#include "platform/olechar.h"

// Results of CParseTree::Parse.
enum PARSE_RESULT : int32_t {
    PARSE_ACCEPTED = 0,
    PARSE_SYNTAX_ERROR = 1,
    PARSE_STACK_EXHAUSTED = 2,
};

class CParseTree : public CObject {
public:
    CParseTree();
    ~CParseTree() override;

    // Parses one statement given as an automation string (UTF-16, may be null; the text
    // ends at its first NUL). The text is converted once to the ANSI code page.
    int32_t Parse(const OLECHAR* text);
    // The same for text that is already narrow; the text ends at its first NUL or after
    // length bytes, whichever comes first.
    int32_t ParseNarrow(const char* text, size_t length);

    void CreateToken(int32_t code, const char* text);
    void CreateToken(int32_t code, const char* text, size_t length);
    CSQLNode* CreateNode(int32_t kind, const char* name);
    CSQLToken* GetCurrentToken() const { return m_pCurrentToken; }

    void SetNamedNode(const char* key, CSQLNode* node) { m_NamedNodes.SetAt(key, node); }
    CSQLNode* LookupNamedNode(const char* key) const { return m_NamedNodes.Lookup(key); }

    // Keeps the text only when no error text is set yet: the first error of a parse wins.
    void SetError(const std::string& text);
    bool HasError() const { return !m_strError.empty(); }

    CSQLNode* GetRoot() const { return m_pRoot; }
    void SetRoot(CSQLNode* root) { m_pRoot = root; }
    const std::string& GetErrorText() const { return m_strError; }

    void Reset();

    const CObArrayTempl<CSQLNode*>& Nodes() const { return m_Nodes; }
    const CObArrayTempl<CSQLToken*>& Tokens() const { return m_Tokens; }
    const CMapStringToObjectPtrTempl<CSQLNode*>& NamedNodes() const { return m_NamedNodes; }

    // Where the scanner echoes bytes that no rule covers; standard output when null.
    void SetEchoStream(std::ostream* echo) { m_pEcho = echo; }
    std::ostream* GetEchoStream() const { return m_pEcho; }

    // The parse trace of the last Parse, kept compactly (see driver.cpp) and only
    // turned into text when an error report is composed.
    std::vector<int32_t>& Trace() { return m_Trace; }
    // The driver's state and value stacks, kept between parses to reuse their storage.
    std::vector<int16_t>& StateStack() { return m_States; }
    std::vector<CSQLNode*>& ValueStack() { return m_Values; }

private:
    CObArrayTempl<CSQLNode*> m_Nodes;
    CObArrayTempl<CSQLToken*> m_Tokens;
    CSQLToken* m_pCurrentToken = nullptr;
    CMapStringToObjectPtrTempl<CSQLNode*> m_NamedNodes;
    CSQLNode* m_pRoot = nullptr;
    std::string m_strError;

    CArena m_Arena;
    std::string m_Narrow;
    std::vector<int32_t> m_Trace;
    std::vector<int16_t> m_States;
    std::vector<CSQLNode*> m_Values;
    std::ostream* m_pEcho = nullptr;
};
