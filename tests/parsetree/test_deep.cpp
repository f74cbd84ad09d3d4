// Deep and wide input: long lists and deep trees parse without recursion on input depth,
// and every node of a shared, deep graph is destroyed exactly once.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "helpers.h"

namespace {

// head, then piece n times with "#" replaced by the count, then tail.
std::string Repeat(std::string s, const std::string& piece, int n, const char* tail) {
    const size_t at = piece.find('#');
    for (int i = 0; i < n; ++i) s += piece.substr(0, at) + std::to_string(i) + piece.substr(at + 1);
    return s + tail;
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
        {Repeat("SELECT a FROM t WHERE x = 1", " - #", 100000, ""),
         [](const CSQLNode* r) { return Chain(Where(r)->m_pRight, &CSQLNode::m_pLeft, {NODE_KIND_MINUS}); }, 100000},
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

TEST(Deep, MegabyteStatementAndRepeatedParses) {
    const std::string text = "SELECT a FROM t WHERE s = '" + std::string(1 << 20, 'x') + "' AND b IN (1, 2)";
    CParseTree tree;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(ParseInto(tree, text), 0);
        EXPECT_EQ(tree.Tokens().GetAt(3)->Text().size(), size_t(1) << 20);
    }
}

} // namespace
