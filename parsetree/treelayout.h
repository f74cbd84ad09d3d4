// Where the tree-building actions leave the parts of a statement for the builders: the
// keys of the named-node map (data-changing and data-definition statements) and the
// slots of the SELECT skeleton.
#pragma once

#include "parsetree/parsetree.h"

// Keys of CParseTree's named-node map.
namespace NamedNode {
constexpr char kNameIdent[] = "NameIdent";             // the statement's table
constexpr char kWhereClause[] = "WhereClause";         // UPDATE and DELETE condition
constexpr char kUpdateList[] = "UpdateList";           // UPDATE's column = value chain
constexpr char kInsertColSpec[] = "InsertColSpec";     // INSERT's column chain
constexpr char kInsertValueList[] = "InsertValueList"; // INSERT's value chain
constexpr char kColDataTypeList[] = "ColDataTypeList"; // CREATE TABLE's column definitions
} // namespace NamedNode

// A SELECT is a Select node over seven Select_NoOp nodes whose links hold the clauses:
//
//   Select -L- NoOp1 -L- NoOp2 (L top, R distinct)
//          |         -R- select list
//          -R- NoOp3 -L- NoOp4 (L tables, R where)
//                    -R- NoOp5 -L- NoOp6 (L group by, R having)
//                              -R- NoOp7 (L order by, R limit)
//
// Each slot accessor gives the link that holds its clause, to read or to set.
class SelectSkeleton {
public:
    // The eight nodes, created in the order Select, NoOp1 to NoOp7, with empty slots.
    static CSQLNode* Create(CParseTree& tree) {
        CSQLNode* select = tree.CreateNode(NODE_KIND_SELECT, "Select");
        CSQLNode* op1 = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp1");
        op1->m_pLeft = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp2");
        CSQLNode* op3 = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp3");
        op3->m_pLeft = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp4");
        CSQLNode* op5 = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp5");
        op5->m_pLeft = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp6");
        op5->m_pRight = tree.CreateNode(NODE_KIND_SELECT_NOOP, "Select_NoOp7");
        select->m_pLeft = op1;
        select->m_pRight = op3;
        op3->m_pRight = op5;
        return select;
    }

    template <class Node> static CSQLNode*& Top(Node* select) { return Op2(select)->m_pLeft; }
    template <class Node> static CSQLNode*& Distinct(Node* select) { return Op2(select)->m_pRight; }
    template <class Node> static CSQLNode*& List(Node* select) { return select->m_pLeft->m_pRight; }
    template <class Node> static CSQLNode*& Tables(Node* select) { return Op4(select)->m_pLeft; }
    template <class Node> static CSQLNode*& Where(Node* select) { return Op4(select)->m_pRight; }
    template <class Node> static CSQLNode*& GroupBy(Node* select) { return Op6(select)->m_pLeft; }
    template <class Node> static CSQLNode*& Having(Node* select) { return Op6(select)->m_pRight; }
    template <class Node> static CSQLNode*& OrderBy(Node* select) { return Op7(select)->m_pLeft; }
    template <class Node> static CSQLNode*& Limit(Node* select) { return Op7(select)->m_pRight; }

private:
    template <class Node> static CSQLNode* Op2(Node* select) { return select->m_pLeft->m_pLeft; }
    template <class Node> static CSQLNode* Op4(Node* select) { return select->m_pRight->m_pLeft; }
    template <class Node> static CSQLNode* Op6(Node* select) { return select->m_pRight->m_pRight->m_pLeft; }
    template <class Node> static CSQLNode* Op7(Node* select) { return select->m_pRight->m_pRight->m_pRight; }
};
