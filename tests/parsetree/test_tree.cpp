// The parse tree's factories and containers, one tree parsing wide text after narrow, the
// arena's blocks, and deep and wide input: long lists and deep trees parse without
// recursion on input depth, and every node of a shared, deep graph is destroyed exactly
// once. The shapes that constructs leave are checked through the tool's tree dumps
// (tests/sql/tree.sql), reuse over narrow text through tests/sql/reuse.sql.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "helpers.h"
#include "parsetree/arena.h"

namespace {

TEST(Tree, FactoriesAndReset) {
    CParseTree tree;
    tree.Reset(); // on an empty tree: nothing to do
    // A leaf made before any token has none; later leaves take the current token.
    EXPECT_EQ(tree.CreateNode(NODE_KIND_NUMBER, "Number")->m_pToken, nullptr);
    tree.CreateToken(264, "42");
    CSQLNode* leaf = tree.CreateNode(NODE_KIND_NUMBER, "Number");
    ASSERT_NE(leaf->m_pToken, nullptr);
    EXPECT_EQ(leaf->m_pToken->GetText(), "42");
    EXPECT_EQ(leaf->m_pToken->m_nCode, 264);
    EXPECT_EQ(tree.CreateNode(NODE_KIND_PLUS, "+")->m_pToken, nullptr);
    EXPECT_STREQ(tree.CreateNode(1, nullptr)->GetName(), "");
    tree.CreateToken(258, nullptr);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "");
    // The named node map keeps the first value of a name.
    tree.SetNamedNode("NameIdent", leaf);
    tree.SetNamedNode("NameIdent", nullptr);
    EXPECT_EQ(tree.LookupNamedNode("NameIdent"), leaf);
    EXPECT_EQ(tree.LookupNamedNode("Absent"), nullptr);
    tree.SetError("first");
    tree.SetError("second");
    EXPECT_EQ(tree.GetErrorText(), "first");
    tree.SetRoot(leaf);
    tree.Reset();
    EXPECT_EQ(tree.Nodes().GetSize() + tree.Tokens().GetSize() + tree.NamedNodes().Entries().size(), 0u);
    EXPECT_EQ(tree.GetRoot(), nullptr);
    EXPECT_EQ(tree.GetCurrentToken(), nullptr);
    EXPECT_TRUE(tree.GetErrorText().empty());
}

TEST(ParserReuse, WideTextAfterNarrowAndNonAsciiAfterAscii) {
    CParseTree tree;
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    // A long ASCII statement, then one whose only non-ASCII character comes last.
    std::u16string ascii = u"SELECT a FROM t WHERE b = '" + std::u16string(5000, u'z') + u"'";
    ASSERT_EQ(tree.Parse(reinterpret_cast<const OLECHAR*>(ascii.c_str())), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text().size(), 5000u);
    std::u16string mixed = u"SELECT a FROM t WHERE b = 'abc\u20ac'";
    ASSERT_EQ(tree.Parse(reinterpret_cast<const OLECHAR*>(mixed.c_str())), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "abc\x80");
    // Then narrow text, shorter than either.
    ASSERT_EQ(tree.ParseNarrow("t x", 3), 0);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "x");
    EXPECT_EQ(echo.str(), "");
}

TEST(Arena, BlocksBeyondTheKeptTotalAreGivenBack) {
    CArena arena;
    // A single request larger than any block gets a block of its own.
    char* big = static_cast<char*>(arena.Allocate(8u << 20));
    big[(8u << 20) - 1] = 1;
    EXPECT_EQ(arena.BlockCount(), 1u);
    arena.Reset();
    EXPECT_EQ(arena.BlockCount(), 0u); // over the kept total: freed, even as the first block

    // Many small allocations fill several growing blocks; after a reset the same
    // addresses are handed out again.
    std::vector<void*> first;
    for (int i = 0; i < 20000; ++i) first.push_back(arena.Allocate(24));
    const size_t blocks = arena.BlockCount();
    EXPECT_GT(blocks, 1u);
    arena.Reset();
    EXPECT_EQ(arena.BlockCount(), blocks);
    for (int i = 0; i < 20000; ++i) ASSERT_EQ(arena.Allocate(24), first[static_cast<size_t>(i)]) << i;

    // Allocations are pointer-aligned whatever the requested sizes.
    arena.Reset();
    for (size_t size : {1u, 3u, 7u, 9u, 17u}) {
        void* p = arena.Allocate(size);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignof(void*), 0u);
    }

    // Rewind keeps every block, over the kept total too; Trim then gives back what is
    // beyond the larger of its bound and that total.
    arena.Reset();
    for (int i = 0; i < 6; ++i) arena.Allocate(1u << 20);
    const size_t many = arena.BlockCount();
    arena.Rewind();
    EXPECT_EQ(arena.BlockCount(), many);
    arena.Trim(size_t(4) << 20);
    EXPECT_LT(arena.BlockCount(), many);
    EXPECT_LE(arena.BytesInUse(), size_t(4) << 20);
    arena.Trim(0);
    EXPECT_LE(arena.BytesInUse(), size_t(2) << 20);
}

// A huge statement's storage serves the next statement of about its length (the nodes
// land where they were) and is given back when a short one follows.
TEST(Arena, TreeKeepsStorageForStatementsOfSimilarLength) {
    const auto inList = [](int n) {
        std::string text = "SELECT a FROM t WHERE a IN (0";
        for (int i = 1; i < n; ++i) text += "," + std::to_string(i);
        return text + ")";
    };
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, inList(100000)), 0);
    const CSQLNode* first = tree.Nodes().GetAt(0);
    const size_t capacity = tree.Nodes().Capacity();
    EXPECT_GE(capacity, tree.Nodes().GetSize());
    ASSERT_EQ(ParseInto(tree, inList(70000)), 0);
    EXPECT_EQ(tree.Nodes().GetAt(0), first);
    EXPECT_EQ(tree.Nodes().Capacity(), capacity);
    ASSERT_EQ(ParseInto(tree, "SELECT a FROM t"), 0);
    EXPECT_LT(tree.Nodes().Capacity(), capacity / 4);
}

// Each token's text lies right behind it, NUL-terminated, whatever its length (the copy
// takes different paths below 4, 8 and 16 bytes).
TEST(Tree, TokenTextsOfEveryLength) {
    std::string text = "SELECT ''";
    for (size_t n = 1; n <= 40; ++n) text += ", " + std::string(n, static_cast<char>('a' + n % 26));
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text + " FROM t"), 0);
    ASSERT_EQ(tree.Tokens().GetSize(), 42u);
    for (size_t n = 0; n <= 40; ++n) {
        const std::string_view t = tree.Tokens().GetAt(n)->Text();
        EXPECT_EQ(t, std::string(n, static_cast<char>('a' + n % 26))) << n;
        EXPECT_EQ(t.data()[t.size()], '\0') << n;
    }
}

// The length of the chain from node through link while nodes are of the given kinds.
size_t Chain(const CSQLNode* node, CSQLNode* CSQLNode::*link, std::initializer_list<int> kinds) {
    size_t n = 0;
    for (; node && std::find(kinds.begin(), kinds.end(), node->m_nKind) != kinds.end(); node = node->*link) ++n;
    return n;
}

const CSQLNode* Where(const CSQLNode* root) { return root->m_pRight->m_pLeft->m_pRight; }
const CSQLNode* Items(const CSQLNode* root) { return root->m_pLeft->m_pRight; }
const CSQLNode* Tables(const CSQLNode* root) { return root->m_pRight->m_pLeft->m_pLeft; }

TEST(Deep, LongChainsAreBuiltWhole) {
    const struct {
        std::string text;
        std::function<size_t(const CSQLNode*)> length;
        size_t expected;
    } cases[] = {
        {Repeat("SELECT a FROM t WHERE a = 0", " OR a = #", 99999, ""),
         [](const CSQLNode* r) { return Chain(Where(r), &CSQLNode::m_pLeft, {NODE_KIND_OR}); }, 99999},
        {Repeat("SELECT a FROM t WHERE x = 1", " + c * #", 100000, ""),
         [](const CSQLNode* r) { return Chain(Where(r)->m_pRight, &CSQLNode::m_pLeft, {NODE_KIND_PLUS}); }, 100000},
        {Repeat("SELECT c", ", c# AS a", 19999, " FROM t"),
         [](const CSQLNode* r) { return Chain(Items(r), &CSQLNode::m_pNext, {NODE_KIND_COLUMN, NODE_KIND_ALIAS}); },
         20000},
        {Repeat("SELECT CASE", " WHEN a = # THEN 1", 30000, " ELSE 0 END FROM t"),
         [](const CSQLNode* r) {
             return Chain(Items(r)->m_pLeft->m_pRight, &CSQLNode::m_pLeft, {NODE_KIND_CASE_CONTAINER});
         },
         29999},
        {Repeat("SELECT * FROM t", " JOIN t# ON a = b", 19999, ""),
         [](const CSQLNode* r) { return Chain(Tables(r), &CSQLNode::m_pLeft, {NODE_KIND_INNER_JOIN}); }, 19999},
        {Repeat("SELECT a FROM t", " UNION SELECT a# FROM t", 20000, ""),
         [](const CSQLNode* r) { return Chain(r, &CSQLNode::m_pLeft, {NODE_KIND_UNION}); }, 20000},
    };
    CParseTree tree;
    for (const auto& c : cases) {
        ASSERT_EQ(ParseInto(tree, c.text), 0) << c.text.substr(0, 40);
        EXPECT_EQ(c.length(tree.GetRoot()), c.expected) << c.text.substr(0, 40);
    }
}

// Lists are extended without walking them while the tree remembers where they end. Here
// every element of the outer table list holds more inner lists (a USING list and IN
// lists) than the tree remembers, so the outer list's end is forgotten between appends.
TEST(Deep, ListsInterleavedWithManyInnerLists) {
    std::string text = "SELECT * FROM ";
    for (int i = 0; i < 30; ++i) {
        text += i ? ", t JOIN u USING (c" : "t JOIN u USING (c";
        for (int k = 1; k <= i; ++k) text += ", c";
        text += ") JOIN v ON a IN (0, 1)";
        for (int k = 0; k < 20; ++k) text += " AND a IN (0, 1)";
    }
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    size_t i = 0;
    for (const CSQLNode* t = Tables(tree.GetRoot()); t; t = t->m_pNext, ++i) {
        ASSERT_EQ(t->m_nKind, NODE_KIND_INNER_JOIN);
        const CSQLNode* on = t->m_pAttach->m_pAttach;
        EXPECT_EQ(Chain(on, &CSQLNode::m_pLeft, {NODE_KIND_AND}), 20u) << i;
        for (const CSQLNode* c = on; c->m_nKind == NODE_KIND_AND; c = c->m_pLeft)
            ASSERT_EQ(Chain(c->m_pRight, &CSQLNode::m_pLeft, {NODE_KIND_OR}), 1u) << i;
        EXPECT_EQ(Chain(t->m_pLeft->m_pAttach->m_pAttach, &CSQLNode::m_pNext, {NODE_KIND_IDENTIFIER}), i + 1);
    }
    EXPECT_EQ(i, 30u);
}

// Appending to a list costs the same however long the list is: a list of 50,000 elements
// takes about as long as ten of 5,000 (a walk per append would take a thousand times as
// long). A round that meets the bound ends the test; at most three are tried.
TEST(Deep, ListBuildingStaysLinear) {
    const auto cpuSecondsToParse = [](const std::string& text, int times) {
        CParseTree tree;
        const std::clock_t start = std::clock();
        for (int i = 0; i < times; ++i) EXPECT_EQ(ParseInto(tree, text), 0);
        return double(std::clock() - start) / CLOCKS_PER_SEC;
    };
    const std::string longList = Repeat("SELECT c", ", c#", 49999, " FROM t");
    const std::string shortList = Repeat("SELECT c", ", c#", 4999, " FROM t");
    double longTime = 0, shortTime = 0;
    for (int round = 0; round < 3; ++round) {
        shortTime = cpuSecondsToParse(shortList, 10);
        longTime = cpuSecondsToParse(longList, 1);
        if (longTime < 4 * shortTime + 0.05) break;
    }
    EXPECT_LT(longTime, 4 * shortTime + 0.05);
}

TEST(Deep, HundredThousandValueInListShareTheTestedColumn) {
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, Repeat("SELECT a FROM t WHERE a IN (0", ",#", 99999, ")")), 0);
    const CSQLNode* n = Where(tree.GetRoot());
    const CSQLNode* column = n->m_pRight->m_pLeft;
    size_t ors = 0;
    for (; n->m_nKind == NODE_KIND_OR; n = n->m_pLeft, ++ors) ASSERT_EQ(n->m_pRight->m_pLeft, column);
    EXPECT_EQ(n->m_pLeft, column);
    EXPECT_EQ(ors, 99999u);
    tree.Reset(); // shared nodes are deleted once (the sanitizer build checks it)
    EXPECT_EQ(tree.Nodes().GetSize(), 0u);
}

} // namespace
