// Statements read from a SQL script as a stream, a chunk at a time, so that a script of
// any size takes memory for its longest statement only.
//
// Script mode: statements end at semicolons outside single quotes, double quotes, square
// brackets and braces, and may span lines; a statement that is only white space is
// skipped, and a final statement needs no semicolon. Inside quotes and brackets a
// backslash takes the next byte with it (as the scanner reads them), so an escaped quote
// does not end the quote. Line mode: every line that is not only blanks is one statement.
// In both modes CR LF is read as LF, and a CR at the very end is dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

struct ScriptStatement {
    std::string text;    // without its semicolon, CR LF as LF
    long line = 1;       // where the text starts: line and column (characters), from 1
    long column = 1;
    // The text of the statement's first line before it (what precedes it on that line);
    // of a long line only the last part, and then prefixCut is true.
    std::string prefix;
    bool prefixCut = false;
};

class CScriptReader {
public:
    // Reads from in (not owned). chunk is the size of one read.
    CScriptReader(std::FILE* in, bool lineMode, size_t chunk = size_t(1) << 16);

    // The next statement; false at the end of the input or when a read fails (Failed).
    bool Next(ScriptStatement& statement);

    bool Failed() const { return m_nError != 0; }
    int Error() const { return m_nError; } // errno of the failed read
    uint64_t BytesRead() const { return m_nBytesRead; }

private:
    enum QUOTE_STATE { OUTSIDE, IN_SINGLE, IN_DOUBLE, IN_BRACKET };

    bool Fill();
    // Takes one byte of the input (CR LF already folded): true when it ends a statement.
    bool Take(char c);
    void StartStatement();
    void NoteLineByte(char c);

    std::FILE* m_pIn;
    bool m_bLineMode;
    std::vector<char> m_Buffer;
    size_t m_nPos = 0, m_nEnd = 0;
    bool m_bEof = false;
    bool m_bPendingCR = false;
    int m_nError = 0;
    uint64_t m_nBytesRead = 0;

    // Where the next byte goes.
    long m_nLine = 1;
    std::string m_Line; // the current line so far, or its last part (m_bLineCut)
    bool m_bLineCut = false;
    size_t m_nCutCharacters = 0; // characters of the line cut off before m_Line
    // The statement being read.
    ScriptStatement m_Current;
    bool m_bInStatement = false;
    QUOTE_STATE m_State = OUTSIDE;
    bool m_bEscape = false;
    bool m_bInBrace = false;
};

// Characters (not bytes) of UTF-8 text, counted as platform/utf.h decodes it: a byte that
// does not begin a well-formed sequence counts as one character.
size_t CountCharacters(const char* text, size_t length);
// The length in bytes of the character that starts at text[0] (1 to 4).
size_t CharacterLength(const char* text, size_t length);
