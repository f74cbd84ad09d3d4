// A value token (identifier, quoted name, literal, case-state word) kept by the parse.
#pragma once

#include <string>

#include "parsetree/object.h"

// Code of the tokens that tree-building actions make up themselves ("0" and "1").
constexpr int32_t kMadeUpTokenCode = 1;

class CSQLToken : public CObject {
public:
    CSQLToken(int32_t code, const char* text, size_t length) : m_nCode(code), m_strText(text, length) {}

    std::string GetText() const { return m_strText; }
    const std::string& Text() const { return m_strText; }

    int32_t m_nCode;
    std::string m_strText;
};
