// The parse tree's factories and containers. The shapes that constructs leave are checked
// through the tool's tree dumps (tests/sql/tree.sql).
#include <gtest/gtest.h>

#include <string>

#include "helpers.h"

namespace {

TEST(Tree, FactoriesAndReset) {
    CParseTree tree;
    tree.Reset(); // on an empty tree: nothing to do
    // A leaf made before any token has none; later leaves take the current token.
    CSQLNode* early = tree.CreateNode(NODE_KIND_NUMBER, "Number");
    EXPECT_EQ(early->m_pToken, nullptr);
    tree.CreateToken(264, "42");
    CSQLNode* leaf = tree.CreateNode(NODE_KIND_NUMBER, "Number");
    CSQLNode* inner = tree.CreateNode(NODE_KIND_PLUS, "+");
    ASSERT_NE(leaf->m_pToken, nullptr);
    EXPECT_EQ(leaf->m_pToken->GetText(), "42");
    EXPECT_EQ(leaf->m_pToken->m_nCode, 264);
    EXPECT_EQ(inner->m_pToken, nullptr);
    for (int kind : {2, 3, 4, 61, 74, 75, 76}) EXPECT_NE(tree.CreateNode(kind, "x")->m_pToken, nullptr) << kind;
    for (int kind : {5, 7, 24, 60, 62, 73, 77, 81}) EXPECT_EQ(tree.CreateNode(kind, "x")->m_pToken, nullptr) << kind;
    EXPECT_STREQ(tree.CreateNode(1, nullptr)->GetName(), "");
    tree.CreateToken(258, nullptr);
    EXPECT_EQ(tree.GetCurrentToken()->Text(), "");
    EXPECT_EQ(tree.Tokens().GetSize(), 2u);

    tree.SetError("first");
    tree.SetError("second");
    EXPECT_EQ(tree.GetErrorText(), "first");
    tree.SetRoot(inner);
    tree.Reset();
    EXPECT_EQ(tree.Nodes().GetSize(), 0u);
    EXPECT_EQ(tree.Tokens().GetSize(), 0u);
    EXPECT_EQ(tree.GetRoot(), nullptr);
    EXPECT_EQ(tree.GetCurrentToken(), nullptr);
    EXPECT_TRUE(tree.GetErrorText().empty());
}

TEST(Tree, AppendNextAndAttachWalkToTheEnd) {
    CParseTree tree;
    CSQLNode* n[5];
    for (auto& p : n) p = tree.CreateNode(NODE_KIND_IDENTIFIER, "Identifier");
    n[0]->AppendNext(n[1]);
    n[1]->AppendNext(n[2]); // appending to a later element ...
    n[2]->AppendNext(n[3]);
    n[0]->AppendNext(n[4]); // ... and again to the head still links behind the last one
    for (int i = 0; i < 4; ++i) EXPECT_EQ(n[i]->m_pNext, n[i + 1]) << i;
    EXPECT_EQ(n[4]->m_pNext, nullptr);
    CSQLNode* join = tree.CreateNode(NODE_KIND_INNER_JOIN, "INNER JOIN");
    join->AppendAttach(n[0]);
    join->AppendAttach(n[1]);
    EXPECT_EQ(join->m_pAttach, n[0]);
    EXPECT_EQ(n[0]->m_pAttach, n[1]);
}

TEST(Tree, NamedNodeMapKeepsTheFirstValueInByteOrder) {
    CParseTree tree;
    CSQLNode* a = tree.CreateNode(4, "Identifier");
    CSQLNode* b = tree.CreateNode(4, "Identifier");
    tree.SetNamedNode("NameIdent", a);
    tree.SetNamedNode("NameIdent", b);
    EXPECT_EQ(tree.LookupNamedNode("NameIdent"), a);
    tree.SetNamedNode("WhereClause", nullptr);
    EXPECT_EQ(tree.LookupNamedNode("WhereClause"), nullptr);
    EXPECT_EQ(tree.LookupNamedNode("Absent"), nullptr);
    tree.SetNamedNode("\xE9", a);
    tree.SetNamedNode("Name", b);
    std::string order;
    for (const auto& e : tree.NamedNodes().Entries()) order += e.first + ",";
    EXPECT_EQ(order, "Name,NameIdent,WhereClause,\xE9,");
}

TEST(Tree, DataChangingStatementsFillTheNamedNodeMap) {
    const char* const cases[][2] = {
        {"UPDATE t SET a = 1, b = 2", "NameIdent=t UpdateList=UpdateValue(a,1); UpdateValue(b,2) WhereClause=- "},
        {"INSERT INTO t (a, u.b) VALUES (1, -2)", "InsertColSpec=a; u.b InsertValueList=1; -(0,2) NameIdent=t "},
        {"INSERT INTO t VALUES ('x')", "InsertColSpec=- InsertValueList=x NameIdent=t "},
        {"DELETE FROM t WHERE a = 1", "NameIdent=t WhereClause==(a,1) "},
        {"DROP TABLE t", "NameIdent=t "},
        {"CREATE TABLE t (a CHAR(10), b INTEGER, c FLOAT, d SMALLINT)",
         "ColDataTypeList=a:character_typ(10,-); b:interger_typ; c:float_typ; d:smallint_type NameIdent=t "},
        // Two statements joined by a set operator: the leftmost one's entries stay.
        {"DELETE FROM t1 WHERE a = 1 UNION DELETE FROM t2", "NameIdent=t1 WhereClause==(a,1) "},
    };
    for (const auto& c : cases) {
        CParseTree tree;
        ASSERT_EQ(ParseInto(tree, c[0]), 0) << c[0];
        std::string map;
        for (const auto& e : tree.NamedNodes().Entries())
            map += e.first + "=" + (e.second ? Shape(e.second) : "-") + " ";
        EXPECT_EQ(map, c[1]) << c[0];
    }
}

} // namespace
