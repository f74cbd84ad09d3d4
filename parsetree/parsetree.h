// The parse tree of one statement: every token and node of the parse, the named-node map
// of the data-changing and data-definition statements, the root node and the error text.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "parsetree/arena.h"
#include "parsetree/containers.h"
#include "parsetree/sqlnode.h"
#include "parsetree/sqltoken.h"
#include "platform/olechar.h"
#include "scanner/scansink.h"

// Results of CParseTree::Parse.
class CSQLScanner;

enum PARSE_RESULT : int32_t {
    PARSE_ACCEPTED = 0,
    PARSE_SYNTAX_ERROR = 1,
    PARSE_STACK_EXHAUSTED = 2,
};

class CParseTree : public CScanSink, public CObject {
public:
    // The longest token text a tree keeps: no longer than the longest statement, and a
    // token counts its text in 32 bits.
    static constexpr size_t kMaxTokenLength = 0x7FFFFFF0;

    CParseTree();
    ~CParseTree() override;

    // Parses one statement given as an automation string (UTF-16, may be null; the text
    // ends at its first NUL). The text is converted once to the ANSI code page.
    int32_t Parse(const OLECHAR* text);
    // The same for text that is already narrow; the text ends at its first NUL or after
    // length bytes, whichever comes first.
    int32_t ParseNarrow(const char* text, size_t length);

    void CreateToken(int32_t code, const char* text);
    // Records a token with a copy of text[0, length) as the current token.
    void CreateToken(int32_t code, const char* text, size_t length) {
        // The token and its text share one arena allocation, the text (NUL-terminated)
        // right behind the token.
        if (length > kMaxTokenLength) throw std::bad_alloc();
        char* memory = static_cast<char*>(m_Arena.Allocate(sizeof(CSQLToken) + length + 1));
        char* copy = memory + sizeof(CSQLToken);
        CopyText(copy, text, length);
        copy[length] = '\0';
        CSQLToken* token = new (memory) CSQLToken(code, static_cast<uint32_t>(length));
        m_Tokens.Add(token);
        m_pCurrentToken = token;
    }
    // Creates a node whose name is the static text name; leaf kinds take the current token.
    CSQLNode* CreateNode(int32_t kind, const char* name) {
        CSQLNode* node = new (m_Arena.Allocate(sizeof(CSQLNode)))
            CSQLNode(kind, name ? name : "", IsLeafKind(kind) ? m_pCurrentToken : nullptr);
        m_Nodes.Add(node);
        return node;
    }
    CSQLToken* GetCurrentToken() const { return m_pCurrentToken; }

    // Links element behind the last element of the list that starts at head, as
    // head->AppendNext(element) does, but without walking the list in the parse's own
    // order of appends: the tree remembers where the lists it extended last end.
    void AppendToList(CSQLNode* head, CSQLNode* element);
    // What the scanner hands on: a value becomes the current token (public, so that the
    // parse's own scan calls it directly).
    void ScannedValue(int32_t code, const char* text, size_t length) final { CreateToken(code, text, length); }

    void SetNamedNode(const char* key, CSQLNode* node) { m_NamedNodes.SetAt(key, node); }
    CSQLNode* LookupNamedNode(const char* key) const { return m_NamedNodes.Lookup(key); }

    // Keeps the text only when no error text is set yet: the first error of a parse wins.
    void SetError(const std::string& text);
    bool HasError() const { return !m_strError.empty(); }

    CSQLNode* GetRoot() const { return m_pRoot; }
    void SetRoot(CSQLNode* root) { m_pRoot = root; }
    const std::string& GetErrorText() const { return m_strError; }
    // Where the parse stopped on a syntax error or stack overflow: the byte offset in the
    // narrow statement text of the token read last (the text's length at its end). The
    // driver sets it once, on the failure path; 0 after an accepted parse.
    size_t GetErrorOffset() const { return m_nErrorOffset; }
    void SetErrorOffset(size_t offset) { m_nErrorOffset = offset; }

    void Reset();

    const CObArrayTempl<CSQLNode*>& Nodes() const { return m_Nodes; }
    const CObArrayTempl<CSQLToken*>& Tokens() const { return m_Tokens; }
    const CMapStringToObjectPtrTempl<CSQLNode*>& NamedNodes() const { return m_NamedNodes; }

    // Where the scanner echoes bytes that no rule covers; standard output when null.
    void SetEchoStream(std::ostream* echo) { m_pEcho = echo; }

    // The parse trace of the last Parse, kept compactly (see driver.cpp) and only
    // turned into text when an error report is composed.
    std::vector<int32_t>& Trace() { return m_Trace; }
    // Whether every parse keeps its trace (the default). A tree that does not keep it
    // records none while it parses; a statement with a syntax error is then parsed once
    // more, keeping the trace for the report, so results and reports are the same.
    void SetTraceKept(bool kept) { m_bTraceKept = kept; }
    bool TraceKept() const { return m_bTraceKept; }
    // The driver's state and value stacks, kept between parses to reuse their storage.
    std::vector<int16_t>& StateStack() { return m_States; }
    std::vector<CSQLNode*>& ValueStack() { return m_Values; }

private:
    // What the scanner hands on: an error found by the scanner is kept like any other (the
    // first one wins).
    bool WantsError() const final { return !HasError(); }
    void ScanError(const std::string& text) final { SetError(text); }

    CObArrayTempl<CSQLNode*> m_Nodes;
    CObArrayTempl<CSQLToken*> m_Tokens;
    CSQLToken* m_pCurrentToken = nullptr;
    CMapStringToObjectPtrTempl<CSQLNode*> m_NamedNodes;
    CSQLNode* m_pRoot = nullptr;
    std::string m_strError;
    size_t m_nErrorOffset = 0;

    // Copies length bytes of statement text (no NUL among them) into the scan buffer.
    char* PrepareInput(size_t length);
    // Fills the scan buffer from a statement and returns its length.
    size_t FillWide(const OLECHAR* text);
    size_t FillNarrow(const char* text, size_t length);
    int32_t ParseInput(size_t length, std::ostream* echo);
    void PrepareTree(size_t length);
    // Parses a statement again that failed without a trace, keeping one (see SetTraceKept);
    // fill makes the scan buffer again, since the scanner works in it.
    template <class Fill> int32_t ParseAgainForReport(int32_t result, Fill fill);

    // Copies the n bytes of a token's text; short texts, most of them, without a call.
    static void CopyText(char* to, const char* from, size_t n) {
        if (n > 16)
            std::memcpy(to, from, n);
        else if (n >= 8)
            CopyEnds<uint64_t>(to, from, n);
        else if (n >= 4)
            CopyEnds<uint32_t>(to, from, n);
        else
            for (size_t i = 0; i < n; ++i) to[i] = from[i];
    }
    // n bytes, sizeof(Word) <= n <= 2 * sizeof(Word), as a first and a last word that may overlap.
    template <class Word> static void CopyEnds(char* to, const char* from, size_t n) {
        Word head, tail;
        std::memcpy(&head, from, sizeof head);
        std::memcpy(&tail, from + n - sizeof tail, sizeof tail);
        std::memcpy(to, &head, sizeof head);
        std::memcpy(to + n - sizeof tail, &tail, sizeof tail);
    }

    // Where the lists extended last end, the latest first. Lists nest, so the list that a
    // parse extends is nearly always the latest one or one of the few before it; any other
    // is walked once from its head and then remembered.
    struct ListTail {
        CSQLNode* head;
        CSQLNode* tail;
    };
    static constexpr size_t kListTails = 16;
    ListTail m_ListTails[kListTails];
    size_t m_nListTails = 0;

    CArena m_Arena;
    size_t m_nLastLength = 0; // of the statement parsed last
    // The statement being parsed, with the two closing NULs the scanner needs; the
    // scanner reads it in place.
    std::string m_Input;
    std::unique_ptr<CSQLScanner> m_pScanner; // made on the first parse, then restarted
    std::vector<int32_t> m_Trace;
    std::vector<int16_t> m_States;
    std::vector<CSQLNode*> m_Values;
    std::ostream* m_pEcho = nullptr;
    bool m_bTraceKept = true;
};
