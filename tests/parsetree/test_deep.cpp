// Deep and wide input: long lists and deep trees parse without recursion on input depth,
// and every node of a shared, deep graph is destroyed exactly once.
#include <gtest/gtest.h>

#include <string>

#include "helpers.h"

namespace {

// Walks a left-deep chain of binary nodes of one kind without recursion.
size_t LeftDepth(const CSQLNode* node, int kind) {
    size_t depth = 0;
    while (node && node->m_nKind == kind) {
        ++depth;
        node = node->m_pLeft;
    }
    return depth;
}

TEST(Deep, HundredThousandOredComparisons) {
    std::string text = "SELECT a FROM t WHERE a = 0";
    for (int i = 1; i < 100000; ++i) text += " OR a = " + std::to_string(i);
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    const CSQLNode* where = tree.GetRoot()->m_pRight->m_pLeft->m_pRight;
    EXPECT_EQ(LeftDepth(where, NODE_KIND_OR), 99999u);
}

TEST(Deep, HundredThousandValueInList) {
    std::string text = "SELECT a FROM t WHERE a IN (0";
    for (int i = 1; i < 100000; ++i) text += "," + std::to_string(i);
    text += ")";
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    const CSQLNode* where = tree.GetRoot()->m_pRight->m_pLeft->m_pRight;
    EXPECT_EQ(LeftDepth(where, NODE_KIND_OR), 99999u);
    // Every comparison shares the one tested column node.
    const CSQLNode* column = where->m_pRight->m_pLeft;
    const CSQLNode* n = where;
    while (n->m_nKind == NODE_KIND_OR) {
        ASSERT_EQ(n->m_pRight->m_pLeft, column);
        n = n->m_pLeft;
    }
    EXPECT_EQ(n->m_pLeft, column);
    tree.Reset(); // shared nodes are deleted once (the sanitizer build checks it)
    EXPECT_EQ(tree.Nodes().GetSize(), 0u);
}

TEST(Deep, HundredThousandTermExpression) {
    std::string text = "SELECT a FROM t WHERE x = 1";
    for (int i = 0; i < 100000; ++i) text += i % 2 ? " - b" : " + c * 2";
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    const CSQLNode* rhs = tree.GetRoot()->m_pRight->m_pLeft->m_pRight->m_pRight;
    size_t depth = 0;
    for (const CSQLNode* n = rhs; n && (n->m_nKind == NODE_KIND_PLUS || n->m_nKind == NODE_KIND_MINUS);
         n = n->m_pLeft)
        ++depth;
    EXPECT_EQ(depth, 100000u);
}

TEST(Deep, TwentyThousandSelectItems) {
    std::string text = "SELECT c0";
    for (int i = 1; i < 20000; ++i) text += ", c" + std::to_string(i) + " AS a" + std::to_string(i);
    text += " FROM t";
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    size_t count = 0;
    const CSQLNode* last = nullptr;
    for (const CSQLNode* n = tree.GetRoot()->m_pLeft->m_pRight; n; n = n->m_pNext) {
        ++count;
        last = n;
    }
    EXPECT_EQ(count, 20000u);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->m_pRight->GetText(), "a19999");
}

TEST(Deep, ThirtyThousandWhens) {
    std::string text = "SELECT CASE";
    for (int i = 0; i < 30000; ++i) text += " WHEN a = " + std::to_string(i) + " THEN " + std::to_string(i);
    text += " ELSE 0 END FROM t";
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, text), 0);
    const CSQLNode* inner = tree.GetRoot()->m_pLeft->m_pRight->m_pLeft;
    EXPECT_EQ(LeftDepth(inner->m_pRight, NODE_KIND_CASE_CONTAINER), 29999u);
}

TEST(Deep, MegabyteStatementAndRepeatedParses) {
    std::string text = "SELECT a FROM t WHERE s = '" + std::string(1 << 20, 'x') + "' AND b IN (1, 2)";
    CParseTree tree;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(ParseInto(tree, text), 0);
        EXPECT_EQ(tree.Tokens().GetAt(3)->Text().size(), size_t(1) << 20);
    }
}

TEST(Deep, JoinChainsAndSetOperationChains) {
    std::string joins = "SELECT * FROM t0";
    for (int i = 1; i < 20000; ++i) joins += " JOIN t" + std::to_string(i) + " ON a = b";
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, joins), 0);
    EXPECT_EQ(LeftDepth(tree.GetRoot()->m_pRight->m_pLeft->m_pLeft, NODE_KIND_INNER_JOIN), 19999u);

    std::string unions = "SELECT a FROM t";
    for (int i = 0; i < 20000; ++i) unions += " UNION SELECT a FROM t";
    ASSERT_EQ(ParseInto(tree, unions), 0);
    EXPECT_EQ(LeftDepth(tree.GetRoot(), NODE_KIND_UNION), 20000u);
}

} // namespace
