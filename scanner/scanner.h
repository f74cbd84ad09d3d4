// The SQL scanner: flex's C++ scanner class with the statement text as its input and the
// parse tree that receives its tokens and its error text.
#pragma once

#include <cstddef>
#include <iosfwd>

#if !defined(yyFlexLexerOnce)
#include <FlexLexer.h>
#endif

class CParseTree;

class CSQLScanner : public yyFlexLexer {
public:
    // text must stay valid while the scanner runs; it ends at text + length (the caller
    // has already cut it at its first NUL). Uncovered bytes are echoed to echo, or to
    // standard output when echo is null.
    CSQLScanner(const char* text, size_t length, CParseTree* tree, std::ostream* echo = nullptr);

    int yylex() override;

protected:
    // Feeds the scanner from the in-memory text instead of an input stream.
    int LexerInput(char* buffer, int maxSize) override;

private:
    void Record(int code, const char* text, size_t length);
    void RecordCaseStateParenthesised();
    void RecordCaseStateAssigned();
    void CaseStateError();

    const char* m_pCursor; // next unread byte
    const char* m_pEnd;    // end of the text
    CParseTree* m_pTree;
};
