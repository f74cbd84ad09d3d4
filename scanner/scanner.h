// The SQL scanner: flex's C++ scanner class with the statement text as its input and a sink
// that receives the values of its tokens and its error text.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#if !defined(yyFlexLexerOnce)
#include <FlexLexer.h>
#endif

#include "scanner/scansink.h"

class CSQLScanner final : public yyFlexLexer {
public:
    // The longest text a scanner takes (flex counts its buffer in int).
    static constexpr size_t kMaxLength = 0x7FFFFFF0;

    // A scanner with no text yet: Start gives it one. A parse tree keeps one of these and
    // restarts it for every statement, so flex's streams are set up once.
    explicit CSQLScanner(CScanSink* sink);
    // A scanner over a copy of text[0, length) (already cut at its first NUL). Uncovered
    // bytes are echoed to echo, or to standard output when echo is null.
    CSQLScanner(const char* text, size_t length, CScanSink* sink, std::ostream* echo = nullptr);

    // Starts over, in the initial start condition, on text[0, length), scanned in place:
    // text[length] and text[length + 1] must be NUL, and the text must stay writable and
    // unchanged while the scanner runs (flex marks the end of each token in the buffer).
    // Throws std::bad_alloc when length exceeds kMaxLength or memory runs out.
    void Start(char* text, size_t length, std::ostream* echo);

    int yylex() override;

    // The next token, as yylex returns it: the common tokens are scanned directly (see
    // commontokens.h, which defines this), their values handed to sink (a CScanSink or a
    // class with the same ScannedValue), and the others through the rules.
    template <class Sink> int NextToken(Sink& sink);

    // Where the token read last starts, as a byte offset into the text of the last Start;
    // the text's length once the end of the text has been read.
    size_t TokenOffset() const {
        const size_t offset = yytext && yytext >= m_pText ? static_cast<size_t>(yytext - m_pText) : m_nLength;
        return offset < m_nLength ? offset : m_nLength;
    }

protected:
    // flex's fatal errors (only lack of memory can raise one here) become exceptions
    // instead of ending the process.
    void LexerError(const char* message) override;

private:
    // flex keeps start condition s as 1 + 2 s; the initial condition is 0.
    static constexpr int kInitialStart = 1;

    int BeforeToken();
    template <class Sink> int ScanCommonToken(Sink& sink);
    // Hands the value of the token being scanned to the sink.
    void Record(int code, const char* text, size_t length) { m_pSink->ScannedValue(code, text, length); }
    void RecordCaseStateParenthesised();
    void RecordCaseStateAssigned();
    void CaseStateError();

    CScanSink* m_pSink;
    const char* m_pText = nullptr; // the text of the last Start and its length
    size_t m_nLength = 0;
    const char* m_pLimit = nullptr; // the end of the text and its two NULs
    std::string m_Copy; // the text of a scanner made over a copy
};
