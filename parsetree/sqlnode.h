// One node of the parse tree. Links never own: a node may hang below several parents,
// and the CParseTree that created it deletes it.
#pragma once

#include "parsetree/nodekinds.h"
#include "parsetree/object.h"
#include "parsetree/sqltoken.h"

class CSQLNode final : public CObject {
public:
    CSQLNode() = default;
    // A node of the given kind and static name over token (null for non-leaf kinds).
    CSQLNode(int32_t kind, const char* name, CSQLToken* token) : m_pToken(token), m_nKind(kind), m_strName(name) {}

    // Walk along m_pNext to the last element and link node behind it. (The actions build
    // their lists through CParseTree::AppendToList, which need not walk.)
    void AppendNext(CSQLNode* node);
    // The same along m_pAttach.
    void AppendAttach(CSQLNode* node);

    const char* GetName() const { return m_strName; }
    std::string GetText() const { return m_pToken ? m_pToken->GetText() : std::string(); }

    CSQLToken* m_pToken = nullptr;
    CSQLNode* m_pNext = nullptr;
    CSQLNode* m_pAttach = nullptr;
    CSQLNode* m_pLeft = nullptr;
    CSQLNode* m_pRight = nullptr;
    int32_t m_nKind = NODE_KIND_UNSET;
    // Names are the fixed strings of the node catalog, so the node keeps a pointer to the
    // static text rather than a copy.
    const char* m_strName = "";
};
