#include "tools/script.h"

#include <cerrno>
#include <utility>

namespace {

// The part of a line kept for showing it under an error; a longer line is shown from
// where the statement starts.
constexpr size_t kKeptLine = 4096;

bool IsContinuation(unsigned char c) { return c >= 0x80 && c <= 0xBF; }

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

} // namespace

size_t CharacterLength(const char* text, size_t length) {
    const auto* s = reinterpret_cast<const unsigned char*>(text);
    if (length == 0) return 0;
    const unsigned char c = s[0];
    size_t n = 0;
    unsigned min = 0;
    if (c >= 0xC2 && c <= 0xDF) n = 2, min = 0x80;
    else if (c >= 0xE0 && c <= 0xEF) n = 3, min = 0x800;
    else if (c >= 0xF0 && c <= 0xF4) n = 4, min = 0x10000;
    else return 1;
    if (n > length) return 1;
    unsigned code = c & (0xFF >> (n + 1));
    for (size_t i = 1; i < n; ++i) {
        if (!IsContinuation(s[i])) return 1;
        code = (code << 6) | (s[i] & 0x3F);
    }
    // Overlong forms, surrogates and values above U+10FFFF are no characters.
    if (code < min || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return 1;
    return n;
}

size_t CountCharacters(const char* text, size_t length) {
    size_t count = 0;
    for (size_t i = 0; i < length; ++count) i += CharacterLength(text + i, length - i);
    return count;
}

CScriptReader::CScriptReader(std::FILE* in, bool lineMode, size_t chunk)
    : m_pIn(in), m_bLineMode(lineMode), m_Buffer(chunk ? chunk : 1) {}

bool CScriptReader::Fill() {
    if (m_bEof || m_nError) return false;
    m_nPos = 0;
    m_nEnd = std::fread(m_Buffer.data(), 1, m_Buffer.size(), m_pIn);
    m_nBytesRead += m_nEnd;
    if (m_nEnd > 0) return true;
    if (std::ferror(m_pIn))
        m_nError = errno ? errno : EIO;
    else
        m_bEof = true;
    return false;
}

void CScriptReader::NoteLineByte(char c) {
    if (c == '\n') {
        ++m_nLine;
        m_Line.clear();
        m_bLineCut = false;
        m_nCutCharacters = 0;
        return;
    }
    m_Line += c;
    if (m_Line.size() <= kKeptLine) return;
    // Keep the last half, cut where a character starts, and count the characters dropped.
    size_t cut = m_Line.size() - kKeptLine / 2;
    while (cut > 0 && IsContinuation(static_cast<unsigned char>(m_Line[cut]))) --cut;
    m_nCutCharacters += CountCharacters(m_Line.data(), cut);
    m_Line.erase(0, cut);
    m_bLineCut = true;
}

void CScriptReader::StartStatement() {
    m_bInStatement = true;
    m_Current.line = m_nLine;
    m_Current.prefixCut = m_bLineCut;
    m_Current.prefix = m_Line;
    m_Current.column = static_cast<long>(m_nCutCharacters + CountCharacters(m_Line.data(), m_Line.size())) + 1;
    m_State = OUTSIDE;
    m_bEscape = false;
    m_bInBrace = false;
}

bool CScriptReader::Take(char c) {
    if (m_bLineMode) {
        if (c != '\n') {
            if (!m_bInStatement) {
                StartStatement();
                m_Current.column = 1;
            }
            m_Current.text += c;
            return false;
        }
        ++m_nLine;
        if (!m_bInStatement) return false;
        m_bInStatement = false;
        if (m_Current.text.find_first_not_of(" \t") != std::string::npos) return true;
        m_Current.text.clear(); // a blank line
        return false;
    }
    if (!m_bInStatement) {
        if (IsSpace(c) || c == ';') {
            NoteLineByte(c);
            return false;
        }
        StartStatement();
    }
    if (c == ';' && m_State == OUTSIDE && !m_bInBrace) {
        NoteLineByte(c);
        m_bInStatement = false;
        return true;
    }
    NoteLineByte(c);
    m_Current.text += c;
    if (m_bEscape) {
        m_bEscape = false;
        return false;
    }
    switch (m_State) {
    case OUTSIDE:
        if (c == '\'') m_State = IN_SINGLE;
        else if (c == '"') m_State = IN_DOUBLE;
        else if (c == '[') m_State = IN_BRACKET;
        else if (c == '{') m_bInBrace = true;
        else if (c == '}') m_bInBrace = false;
        return false;
    case IN_SINGLE:
    case IN_DOUBLE:
    case IN_BRACKET: {
        const char close = m_State == IN_SINGLE ? '\'' : m_State == IN_DOUBLE ? '"' : ']';
        if (c == close) m_State = OUTSIDE; // a doubled quote reopens at once
        else if (c == '\\') m_bEscape = true;
        return false;
    }
    }
    return false;
}

bool CScriptReader::Next(ScriptStatement& statement) {
    for (;;) {
        if (m_nPos == m_nEnd && !Fill()) break;
        const char c = m_Buffer[m_nPos++];
        if (m_bEscape && c == '\n') m_bEscape = false; // a backslash takes no line end with it
        if (c == '\r') {
            if (m_bPendingCR) Take('\r');
            m_bPendingCR = true;
            continue;
        }
        if (m_bPendingCR) {
            m_bPendingCR = false;
            if (c != '\n') Take('\r');
        }
        if (Take(c)) {
            statement = std::move(m_Current);
            m_Current = ScriptStatement();
            return true;
        }
    }
    if (m_nError) return false;
    // The end: a CR there is dropped, and a statement without its semicolon or line end
    // is complete.
    m_bPendingCR = false;
    if (!m_bInStatement) return false;
    m_bInStatement = false;
    if (m_bLineMode && m_Current.text.find_first_not_of(" \t") == std::string::npos) return false;
    statement = std::move(m_Current);
    m_Current = ScriptStatement();
    return true;
}
