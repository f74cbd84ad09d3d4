// The walk and the printer on what no statement of the golden dumps holds: elements that
// are no model objects, objects that hold themselves, nesting far deeper than a recursive
// walk could go, references given back, and texts that JSON must escape.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "component/classfactory.h"
#include "objectmodel/collections.h"
#include "objectmodel/module.h"
#include "tests/platform/helpers.h"
#include "tools/printer.h"
#include "tools/walker.h"

namespace {

VARIANT Object(IDispatch* object) {
    VARIANT v;
    VariantInit(&v);
    V_VT(&v) = VT_DISPATCH;
    V_DISPATCH(&v) = object;
    return v;
}

size_t Occurrences(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

// A parser from the class factory, as a host gets it, with "SELECT a FROM t WHERE b = 1".
class ToolsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        IClassFactory* factory = nullptr;
        ASSERT_EQ(DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
                  S_OK);
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&m_pParser)), S_OK);
        factory->Release();
        Parse("SELECT a FROM t WHERE b = 1");
        ASSERT_EQ(m_pParser->get_SelectStmt(&m_select), S_OK);
        ASSERT_EQ(m_select->get_WhereExpressionStack(&m_where), S_OK);
    }
    void TearDown() override {
        for (IUnknown* object : std::initializer_list<IUnknown*>{m_where, m_select, m_pParser})
            if (object) object->Release();
        EXPECT_EQ(CModule::LiveObjects(), 0) << "objects leaked by this test";
    }
    void Parse(const std::string& sql) { ASSERT_EQ(platformtest::ParseText(m_pParser, sql), S_OK) << sql; }
    IParser* m_pParser = nullptr;
    ISelectStmt* m_select = nullptr;
    IGenericStack* m_where = nullptr;
};

TEST_F(ToolsTest, ElementsThatAreNoModelObjectsAndObjectsThatHoldThemselves) {
    VARIANT v;
    VariantInit(&v);
    ASSERT_EQ(m_where->Push(v), S_OK); // [4] empty
    V_VT(&v) = VT_I4;
    ASSERT_EQ(m_where->Push(v), S_OK);               // [5] a number is no object
    const OLECHAR pair[] = {'x', 0xD83D, 0xDE00, 0}; // [6] a surrogate pair in UTF-16
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = SysAllocString(pair);
    ASSERT_EQ(m_where->Push(v), S_OK);
    VariantClear(&v);
    IGenericStackList* list = nullptr; // [7] a collection is not known as an element
    m_select->get_SelectExpressionList(&list);
    ASSERT_EQ(m_where->Push(Object(list)), S_OK);
    list->Release();
    ASSERT_EQ(m_where->Push(Object(m_select)), S_OK); // [8] the statement in its own WHERE stack
    ASSERT_EQ(m_where->Push(Object(m_where)), S_OK);  // [9] and the stack in itself
    // [10] and [11]: the same stack twice side by side is walked twice.
    cGenericStack* empty = nullptr;
    ASSERT_EQ(cGenericStack::CreateInstance(&empty), S_OK);
    empty->AddRef();
    ASSERT_EQ(m_where->Push(Object(empty->Dispatch())), S_OK);
    ASSERT_EQ(m_where->Push(Object(empty->Dispatch())), S_OK);
    empty->Release();
    m_where->AddRef();
    const ULONG before = m_where->Release();

    const std::string text = PrintStatement(m_pParser, false);
    for (const char* line :
         {"\n      [4] \"<empty>\"\n", "\n      [5] \"<empty>\"\n", "\n      [6] \"x\xF0\x9F\x98\x80\"\n",
          "\n      [7] \"<object>\"\n", "\n      [8] \"<cycle>\"\n", "\n      [9] \"<cycle>\"\n",
          "\n      [10]\n        Items (0):\n      [11]\n        Items (0):\n"})
        EXPECT_EQ(Occurrences(text, line), 1u) << line << "\n" << text;
    EXPECT_EQ(Occurrences(PrintStatement(m_pParser, true),
                          ",\"x\xF0\x9F\x98\x80\",\"<object>\",\"<cycle>\",\"<cycle>\","),
              1u);
    m_where->AddRef();
    EXPECT_EQ(m_where->Release(), before) << "the walk gives back every reference it takes";
    // Emptied, so that the cycles go before the objects do.
    for (VARIANT popped; VariantInit(&popped), m_where->Pop(&popped) == S_OK;)
        VariantClear(&popped);
}

// Counts objects and the deepest nesting, keeping nothing per level but the depth.
class CDepth : public CModelVisitor {
  public:
    size_t objects = 0, depth = 0, deepest = 0, cycles = 0;
    void BeginObject(const char*, IDispatch*) override {
        ++objects;
        deepest = std::max(deepest, ++depth);
    }
    void EndObject() override { --depth; }
    void BeginList(const char*, long) override { deepest = std::max(deepest, ++depth); }
    void EndList() override { --depth; }
    void Text(const char*, const std::string& text) override { cycles += text == "<cycle>"; }
    void Number(const char*, double) override {}
    void Enumeration(const char*, long, const char*) override {}
};

TEST_F(ToolsTest, NestingDeeperThanAnyCallStackIsWalked) {
    // Stacks in stacks, 200,000 deep: a walk that recursed per level would run out of call
    // stack long before the end. Stack 40 holds the rest of the chain twice (walked twice, no
    // cycle), and the deepest stack holds the first one and stack 40: open whenever it is
    // walked, so they are cycles.
    constexpr size_t kDepth = 200000;
    std::vector<cGenericStack*> stacks(kDepth);
    for (auto& stack : stacks) {
        ASSERT_EQ(cGenericStack::CreateInstance(&stack), S_OK);
        stack->AddRef();
    }
    for (size_t i = 0; i + 1 < kDepth; ++i)
        ASSERT_EQ(stacks[i]->Push(Object(stacks[i + 1]->Dispatch())), S_OK);
    ASSERT_EQ(stacks[40]->Push(Object(stacks[41]->Dispatch())), S_OK);
    for (size_t back : {size_t(0), size_t(40)})
        ASSERT_EQ(stacks.back()->Push(Object(stacks[back]->Dispatch())), S_OK);
    CDepth d;
    WalkObject(stacks[0]->Dispatch(), d);
    EXPECT_EQ(d.depth, 0u);
    EXPECT_EQ(d.objects, 2 * kDepth - 41);
    EXPECT_EQ(d.cycles, 4u);
    EXPECT_EQ(d.deepest, 2 * kDepth); // an object and its Items list per level
    // Emptied one by one, so that no release chain runs as deep as the nesting.
    for (auto* stack : stacks) {
        LONG count = 0;
        stack->get_Count(&count);
        for (VARIANT popped; count-- > 0; VariantClear(&popped)) {
            VariantInit(&popped);
            stack->Pop(&popped);
        }
    }
    for (auto* stack : stacks)
        stack->Release();
    CDepth none; // null objects are walked as nothing
    WalkStatement(nullptr, none);
    WalkObject(nullptr, none);
    EXPECT_EQ(none.deepest, 0u);
}

TEST_F(ToolsTest, JsonEscapesQuotesBackslashesAndControlCharacters) {
    Parse("SELECT 'q\"b\\s\tt\x01' FROM t");
    const std::string json = PrintStatement(m_pParser, true);
    EXPECT_NE(json.find("\"AsString\":\"q\\\"b\\\\s\\u0009t\\u0001\""), std::string::npos) << json;
    // The text form shows the text as it is.
    EXPECT_NE(PrintStatement(m_pParser, false).find("AsString = \"q\"b\\s\tt\x01\"\n"), std::string::npos);
}

} // namespace
