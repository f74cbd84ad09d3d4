// A value token (identifier, quoted name, literal, case-state word) kept by the parse.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "parsetree/object.h"

// Code of the tokens that tree-building actions make up themselves ("0" and "1").
constexpr int32_t kMadeUpTokenCode = 1;

// The token's text lies right behind it, in the same allocation, followed by a NUL (the
// parse tree's CreateToken places both), so a token is its code and length and nothing
// more: 16 bytes ahead of its text.
class CSQLToken final : public CObject {
public:
    // Constructed in place at the start of sizeof(CSQLToken) + length + 1 bytes whose tail
    // holds the text and its NUL.
    CSQLToken(int32_t code, uint32_t length) : m_nCode(code), m_nLength(length) {}

    std::string GetText() const { return std::string(Data(), m_nLength); }
    std::string_view Text() const { return std::string_view(Data(), m_nLength); }

    int32_t m_nCode;

private:
    const char* Data() const { return reinterpret_cast<const char*>(this + 1); }

    uint32_t m_nLength;
};
