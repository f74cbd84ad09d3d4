// A value token (identifier, quoted name, literal, case-state word) kept by the parse.
#pragma once

#include <string>
#include <string_view>

#include "parsetree/object.h"

// Code of the tokens that tree-building actions make up themselves ("0" and "1").
constexpr int32_t kMadeUpTokenCode = 1;

class CSQLToken final : public CObject {
public:
    // The token refers to text, which must outlive it: the parse tree copies every token
    // text into its arena next to the token.
    CSQLToken(int32_t code, const char* text, size_t length) : m_nCode(code), m_pText(text), m_nLength(length) {}

    std::string GetText() const { return std::string(m_pText, m_nLength); }
    std::string_view Text() const { return std::string_view(m_pText, m_nLength); }

    int32_t m_nCode;

private:
    const char* m_pText;
    size_t m_nLength;
};
