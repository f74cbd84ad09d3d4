// The parse tree: its factories and containers, and the shape that each construct leaves.
#include <gtest/gtest.h>

#include <string>

#include "helpers.h"

namespace {

TEST(Tree, FactoriesAndReset) {
    CParseTree tree;
    tree.Reset(); // on an empty tree: nothing to do
    EXPECT_EQ(tree.Nodes().GetSize(), 0u);

    // A leaf made before any token has none; later leaves take the current token.
    CSQLNode* early = tree.CreateNode(NODE_KIND_NUMBER, "Number");
    EXPECT_EQ(early->m_pToken, nullptr);
    tree.CreateToken(264, "42");
    CSQLNode* leaf = tree.CreateNode(NODE_KIND_NUMBER, "Number");
    CSQLNode* inner = tree.CreateNode(NODE_KIND_PLUS, "+");
    ASSERT_NE(leaf->m_pToken, nullptr);
    EXPECT_EQ(leaf->m_pToken->GetText(), "42");
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
    EXPECT_EQ(n[0]->m_pNext, n[1]);
    n[0]->AppendNext(n[2]);
    EXPECT_EQ(n[1]->m_pNext, n[2]);
    // Appending to a middle element still links behind the last one.
    n[1]->AppendNext(n[3]);
    EXPECT_EQ(n[2]->m_pNext, n[3]);
    n[0]->AppendNext(n[4]);
    EXPECT_EQ(n[3]->m_pNext, n[4]);
    EXPECT_EQ(n[4]->m_pNext, nullptr);

    CSQLNode* a = tree.CreateNode(NODE_KIND_INNER_JOIN, "INNER JOIN");
    a->AppendAttach(n[0]);
    a->AppendAttach(n[1]);
    EXPECT_EQ(a->m_pAttach, n[0]);
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

TEST(Shapes, SelectSkeleton) {
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, "SELECT * FROM t"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_SELECT);
    EXPECT_EQ(SelectSlots(tree.GetRoot()), "-|-|*|t|-|-|-|-|-");
    EXPECT_STREQ(tree.GetRoot()->m_pRight->m_pLeft->m_pLeft->GetName(), "TableName");

    ASSERT_EQ(ParseInto(tree, "t WHERE a = 1 GROUP BY a HAVING b > 2 ORDER BY c DESC"), 0);
    EXPECT_EQ(SelectSlots(tree.GetRoot()), "-|-|*|t|=(a,1)|a|>(b,2)|OrderDESC(c,-)|-");

    ASSERT_EQ(ParseInto(tree, "SELECT TOP 10 PERCENT DISTINCT a, b AS c FROM t LIMIT 5"), 0);
    EXPECT_EQ(SelectSlots(tree.GetRoot()), "Top[A:10]|Distinct|a; AS column alias(b,c)|t|-|-|-|-|Limit(1,5)");
    const CSQLNode* limit = tree.GetRoot()->m_pRight->m_pRight->m_pRight->m_pRight;
    EXPECT_EQ(limit->m_pLeft->m_pToken->m_nCode, kMadeUpTokenCode);
    EXPECT_EQ(limit->m_pLeft->m_pToken->GetText(), "1");
    EXPECT_EQ(limit->m_pRight->m_pToken->m_nCode, 264);

    ASSERT_EQ(ParseInto(tree, "SELECT TOP a FROM t LIMIT 3, 4"), 0);
    EXPECT_EQ(SelectSlots(tree.GetRoot()), "Top|-|a|t|-|-|-|-|Limit(3,4)");
    ASSERT_EQ(ParseInto(tree, "SELECT ALL a FROM t"), 0);
    EXPECT_EQ(SelectSlots(tree.GetRoot()), "-|-|a|t|-|-|-|-|-");
}

TEST(Shapes, NamesAndAliases) {
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, "SELECT a FROM t x"), 0);
    const CSQLNode* table = tree.GetRoot()->m_pRight->m_pLeft->m_pLeft;
    EXPECT_STREQ(table->GetName(), "[AS] table alias");
    EXPECT_STREQ(table->m_pLeft->GetName(), "TableName");
    EXPECT_EQ(table->m_pLeft->GetText(), "t");
    EXPECT_STREQ(table->m_pRight->GetName(), "Identifier");
    EXPECT_EQ(table->m_pRight->GetText(), "x");

    struct {
        const char* item;
        const char* aliasName;
        const char* aliasText;
    } aliases[] = {{"a AS b", "Identifier", "b"},
                   {"a AS \"b c\"", "\"Identifier\"", "b c"},
                   {"a AS [b c]", "[Identifier]", "b c"},
                   {"a AS 'b c'", "'Identifier'", "b c"}};
    for (const auto& a : aliases) {
        ASSERT_EQ(ParseInto(tree, std::string("SELECT ") + a.item + " FROM t"), 0) << a.item;
        const CSQLNode* alias = tree.GetRoot()->m_pLeft->m_pRight;
        EXPECT_STREQ(alias->GetName(), "AS column alias");
        EXPECT_STREQ(alias->m_pRight->GetName(), a.aliasName);
        EXPECT_EQ(alias->m_pRight->GetText(), a.aliasText);
    }

    ASSERT_EQ(ParseInto(tree, "SELECT \"t\".[c], 's'.*, [u].x, x FROM \"t\", [u], 's', v AS w"), 0);
    const CSQLNode* item = tree.GetRoot()->m_pLeft->m_pRight;
    EXPECT_STREQ(item->GetName(), "ColumnName: TableName.{Identifier or *}");
    EXPECT_STREQ(item->m_pLeft->GetName(), "\"TableName\"");
    EXPECT_STREQ(item->m_pRight->GetName(), "[Identifier]");
    EXPECT_EQ(item->m_pNext->m_pRight->m_nKind, NODE_KIND_STAR);
    EXPECT_STREQ(item->m_pNext->m_pLeft->GetName(), "'TableName'");
    EXPECT_STREQ(item->m_pNext->m_pNext->m_pNext->GetName(), "ColumnName: [NULL].Identifier");
    EXPECT_EQ(Shape(tree.GetRoot()->m_pRight->m_pLeft->m_pLeft), "t; u; s; AS table alias(v,w)");
}

TEST(Shapes, Predicates) {
    EXPECT_EQ(WhereShape("a IN (1)"), "=(a,1)");
    EXPECT_EQ(WhereShape("a IN (1, 2, 3)"), "OR(OR(=(a,1),=(a,2)),=(a,3))");
    EXPECT_EQ(WhereShape("a NOT IN (1, 2)"), "NOT(OR(=(a,1),=(a,2)),-)");
    EXPECT_EQ(WhereShape("a BETWEEN 1 AND 5"), "AND(>=(a,1),<=(a,5))");
    EXPECT_EQ(WhereShape("a NOT BETWEEN 1 AND 5"), "NOT(AND(>=(a,1),<=(a,5)),-)");
    EXPECT_EQ(WhereShape("a LIKE 'x%'"), "LIKE(a,x%)");
    EXPECT_EQ(WhereShape("a NOT LIKE 'x%'"), "NOT(LIKE(a,x%),-)");
    EXPECT_EQ(WhereShape("a IS NULL"), "IS(a,NULL)");
    EXPECT_EQ(WhereShape("a IS NOT NULL"), "IS NOT(a,NULL)");
    EXPECT_EQ(WhereShape("a <> b AND c < d AND e > f AND g <= h AND i >= j"),
              "AND(AND(AND(AND(<>(a,b),<(c,d)),>(e,f)),<=(g,h)),>=(i,j))");
    EXPECT_EQ(WhereShape("CASESTATE_label"), "label");

    // The tested operand is one node shared by every comparison, and the list is unchained.
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, "SELECT * FROM t WHERE a NOT IN (1, 2)"), 0);
    const CSQLNode* orNode = tree.GetRoot()->m_pRight->m_pLeft->m_pRight->m_pLeft;
    EXPECT_EQ(orNode->m_pLeft->m_pLeft, orNode->m_pRight->m_pLeft);
    EXPECT_EQ(orNode->m_pLeft->m_pRight->m_pNext, nullptr);
    EXPECT_EQ(orNode->m_pRight->m_pRight->m_pNext, nullptr);
    ASSERT_EQ(ParseInto(tree, "SELECT * FROM t WHERE a BETWEEN 1 AND 2"), 0);
    const CSQLNode* andNode = tree.GetRoot()->m_pRight->m_pLeft->m_pRight;
    EXPECT_EQ(andNode->m_pLeft->m_pLeft, andNode->m_pRight->m_pLeft);
}

TEST(Shapes, ExpressionsFunctionsAndAggregates) {
    EXPECT_EQ(ItemShape("-a"), "-(0,a)");
    EXPECT_EQ(ItemShape("ABS(x)"), "ABS(x,-)");
    EXPECT_EQ(ItemShape("ROUND(x)"), "ROUND(0,x)");
    EXPECT_EQ(ItemShape("ROUND(x, 2)"), "ROUND(2,x)");
    EXPECT_EQ(ItemShape("GETDATE()"), "GETDATE");
    EXPECT_EQ(ItemShape("COUNT(*)"), "COUNT(*)(*,-)");
    EXPECT_EQ(ItemShape("COUNT(DISTINCT a)"), "COUNT(a,-)[A:Distinct]");
    EXPECT_EQ(ItemShape("COUNT(ALL a)"), "COUNT(a,-)");
    EXPECT_EQ(ItemShape("COUNT(a)"), "COUNT(a,-)");
    EXPECT_EQ(ItemShape("SUM(DISTINCT a + 1)"), "SUM(+(a,1),-)[A:Distinct]");
    const char* const aggregates[][2] = {{"AVG", "AVG"}, {"MAX", "MAX"}, {"MIN", "MIN"}, {"STDEV", "STDEV"},
                                         {"FIRST", "FIRST"}, {"LAST", "LAST"}, {"VAR", "VAR"}};
    for (const auto& a : aggregates) EXPECT_EQ(ItemShape(std::string(a[0]) + "(x)"), std::string(a[1]) + "(x,-)");
    EXPECT_EQ(ItemShape("1.5"), "1.5");
    EXPECT_EQ(ItemShape("{d '2001-01-01'}"), "{d '2001-01-01'}");
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, "SELECT 1, 1.5, 'x', {ts 'a'}, {d 'b'}, {t 'c'} FROM t"), 0);
    int kinds[] = {NODE_KIND_NUMBER, NODE_KIND_FLOAT, NODE_KIND_STRING, NODE_KIND_TIMESTAMP, NODE_KIND_DATE,
                   NODE_KIND_TIME};
    const CSQLNode* item = tree.GetRoot()->m_pLeft->m_pRight;
    for (int kind : kinds) {
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->m_nKind, kind);
        item = item->m_pNext;
    }
}

TEST(Shapes, CaseIfNullifCoalesce) {
    EXPECT_EQ(ItemShape("CASE WHEN c = 1 THEN p WHEN d = 2 THEN q END"),
              "CaseContainer(CaseContainer(SearchedCase,CaseContainer(SearchedWhen(=(c,1),p),SearchedWhen(=(d,2),q))),CaseEnd)");
    EXPECT_EQ(ItemShape("CASE WHEN c = 1 THEN p ELSE e END"),
              "CaseContainer(CaseContainer(Else(SearchedCase,e),SearchedWhen(=(c,1),p)),CaseEnd)");
    EXPECT_EQ(ItemShape("CASE x WHEN a THEN p END"),
              "CaseContainer(CaseContainer(SimpleCase(x,-),SimpleWhen(a,p)),CaseEnd)");
    EXPECT_EQ(ItemShape("CASE x WHEN a THEN p WHEN b THEN q WHEN c THEN r ELSE e END"),
              "CaseContainer(CaseContainer(Else(SimpleCase(x,-),e),CaseContainer(CaseContainer(SimpleWhen(a,p),"
              "SimpleWhen(b,q)),SimpleWhen(c,r))),CaseEnd)");
    EXPECT_EQ(ItemShape("IF(c = 1, t, e)"), "If(CaseContainer(e,t),=(c,1))");
    EXPECT_EQ(ItemShape("NULLIF(a, b)"), "NullIf(a,b)");
    EXPECT_EQ(ItemShape("COALESCE(a)"), "CaseContainer(CoalesceItem(CoalesceBegin,a),CoalesceEnd)");
    EXPECT_EQ(ItemShape("COALESCE(a, b, c)"),
              "CaseContainer(CoalesceItem(CoalesceItem(CoalesceItem(CoalesceBegin,a),b),c),CoalesceEnd)");
}

TEST(Shapes, JoinNodes) {
    EXPECT_EQ(FromShape("a NATURAL JOIN b"), "INNER JOIN(a,b)");
    EXPECT_EQ(FromShape("a JOIN b"), "INNER JOIN(a,b)");
    EXPECT_EQ(FromShape("a INNER JOIN b ON x = y"), "INNER JOIN(a,b)[A:JOIN ON boolean_expression[A:=(x,y)]]");
    EXPECT_EQ(FromShape("a LEFT OUTER JOIN b USING (k1, \"k2\")"),
              "LEFT OUTER JOIN(a,b)[A:JOIN USING column_name_list[A:k1; k2]]");
    EXPECT_EQ(FromShape("a RIGHT JOIN b"), "RIGHT OUTER JOIN(a,b)");
    EXPECT_EQ(FromShape("a NATURAL FULL OUTER JOIN b"), "FULL OUTER JOIN(a,b)");
    EXPECT_EQ(FromShape("a CROSS JOIN b"), "CROSS JOIN(a,b)");
}

TEST(Shapes, DataChangingStatementsUseTheNamedNodeMap) {
    CParseTree tree;
    ASSERT_EQ(ParseInto(tree, "UPDATE t SET a = 1, b = 2"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_UPDATE);
    EXPECT_EQ(tree.GetRoot()->m_pLeft, nullptr);
    EXPECT_EQ(Shape(tree.LookupNamedNode("NameIdent")), "t");
    EXPECT_EQ(Shape(tree.LookupNamedNode("UpdateList")), "UpdateValue(a,1); UpdateValue(b,2)");
    EXPECT_EQ(tree.NamedNodes().GetCount(), 3u);
    EXPECT_EQ(tree.LookupNamedNode("WhereClause"), nullptr);

    ASSERT_EQ(ParseInto(tree, "CREATE TABLE t (a CHAR(10), b INTEGER, c FLOAT, d SMALLINT)"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_CREATE_TABLE);
    EXPECT_EQ(Shape(tree.LookupNamedNode("ColDataTypeList")),
              "a:character_typ(10,-); b:interger_typ; c:float_typ; d:smallint_type");

    ASSERT_EQ(ParseInto(tree, "INSERT INTO t (a, u.b) VALUES (1, -2)"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_INSERT);
    EXPECT_EQ(Shape(tree.LookupNamedNode("InsertColSpec")), "a; u.b");
    EXPECT_EQ(Shape(tree.LookupNamedNode("InsertValueList")), "1; -(0,2)");
    ASSERT_EQ(ParseInto(tree, "INSERT INTO t VALUES ('x')"), 0);
    EXPECT_EQ(tree.LookupNamedNode("InsertColSpec"), nullptr);

    ASSERT_EQ(ParseInto(tree, "DELETE FROM t WHERE a = 1"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_DELETE);
    EXPECT_EQ(Shape(tree.LookupNamedNode("WhereClause")), "=(a,1)");
    ASSERT_EQ(ParseInto(tree, "DROP TABLE t"), 0);
    EXPECT_EQ(tree.GetRoot()->m_nKind, NODE_KIND_DROP_TABLE);
    EXPECT_EQ(tree.NamedNodes().GetCount(), 1u);

    // Two statements joined by a set operator: the leftmost one's entries stay.
    ASSERT_EQ(ParseInto(tree, "DELETE FROM t1 WHERE a = 1 UNION DELETE FROM t2"), 0);
    EXPECT_EQ(Shape(tree.LookupNamedNode("NameIdent")), "t1");
    EXPECT_EQ(Shape(tree.LookupNamedNode("WhereClause")), "=(a,1)");
}

} // namespace
