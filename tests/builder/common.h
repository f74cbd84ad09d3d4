// Helpers of the builder tests: a parse through ParseSQL and the leak check after every test.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "builder/parser.h"
#include "objectmodel/module.h"

class ObjectTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(CModule::LiveObjects(), 0) << "objects leaked by this test"; }
};

inline std::string Narrow(BSTR text) {
    std::string s;
    for (UINT i = 0; i < SysStringLen(text); ++i) s += static_cast<char>(text[i] < 256 ? text[i] : '?');
    return s;
}

inline HRESULT ParseText(IParser* parser, const std::string& sql) {
    std::basic_string<OLECHAR> wide(sql.begin(), sql.end());
    BSTR text = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    const HRESULT hr = parser->ParseSQL(text);
    SysFreeString(text);
    return hr;
}
