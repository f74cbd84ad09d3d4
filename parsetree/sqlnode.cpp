#include "parsetree/sqlnode.h"

void CSQLNode::AppendNext(CSQLNode* node) {
    CSQLNode* last = this;
    while (last->m_pNext) last = last->m_pNext;
    last->m_pNext = node;
}

void CSQLNode::AppendAttach(CSQLNode* node) {
    CSQLNode* last = this;
    while (last->m_pAttach) last = last->m_pAttach;
    last->m_pAttach = node;
}
