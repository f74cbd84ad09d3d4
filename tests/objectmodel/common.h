// Helpers of the object-model tests: objects made by their creation routines and held by
// a smart reference, narrow views of BSTRs, and the leak check after every test.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "objectmodel/items.h"
#include "objectmodel/module.h"
#include "objectmodel/statements.h"
#include "tests/platform/helpers.h"

class ObjectTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(CModule::LiveObjects(), 0) << "objects leaked by this test"; }
};

// Holds the first reference of a new object of class T.
template <class T> struct Held {
    T* p = nullptr;
    Held() {
        EXPECT_EQ(T::CreateInstance(&p), S_OK);
        p->AddRef();
    }
    ~Held() { p->Release(); }
    T* operator->() const { return p; }
};

using platformtest::FromBstr;
using platformtest::Narrow;
// The reference count of an object, read by an AddRef/Release pair.
inline constexpr auto& RefCount = platformtest::Refs;

// AsString of an item as narrow text.
template <class T> std::string Text(T* item) {
    BSTR text = nullptr;
    EXPECT_EQ(item->get_AsString(&text), S_OK);
    std::string s = FromBstr(text);
    SysFreeString(text);
    return s;
}
