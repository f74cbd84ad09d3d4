// Reading the object model through its public interfaces only, as a host does, and
// describing what is read compactly for assertions.
#pragma once

#include <string>

#include "builder/parser.h"
#include "objectmodel/module.h"

#include <gtest/gtest.h>

// Every test ends with no live object of the component.
class ObjectTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(CModule::LiveObjects(), 0) << "objects leaked by this test"; }
};

std::string Narrow(BSTR text);

// One element: "[t.c]" column, "1:int" literal, "=" operator text, "NULL", "*",
// "COUNT distinct", "{...}" joined table or join operator with its stack, "'k'" string,
// "SELECT(...)" a statement object (its select items).
std::string DescribeElement(const VARIANT& element);
// Elements from Item(1) to Item(Count), joined by ", ".
std::string DescribeStack(IGenericStack* stack);

// A parser holding a parsed statement; fails the test when ParseSQL does not return S_OK.
struct Parsed {
    cParser* parser = nullptr;
    explicit Parsed(const std::string& sql);
    ~Parsed();
    ISelectStmt* Select() const; // caller releases
};

// Parses "SELECT * FROM t WHERE <condition>" and describes the WHERE stack.
std::string Where(const std::string& condition);
// Parses "SELECT <item> FROM t" and describes the one select stack.
std::string Item(const std::string& item);

HRESULT ParseText(cParser* parser, const std::string& sql);
