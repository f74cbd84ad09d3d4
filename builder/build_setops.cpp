#include <vector>

#include "builder/builders.h"
#include "builder/ref.h"

namespace {

bool IsSetOperation(int kind) { return kind >= NODE_KIND_UNION && kind <= NODE_KIND_EXCEPT; }

SET_OPERATOR SetOperatorOf(int kind) {
    switch (kind) {
    case NODE_KIND_UNION_ALL: return SET_OPERATOR_UNIONALL;
    case NODE_KIND_INTERSECT: return SET_OPERATOR_INTERSECT;
    case NODE_KIND_EXCEPT: return SET_OPERATOR_EXCEPT;
    default: return SET_OPERATOR_UNION;
    }
}

} // namespace

bool BuildSetOperationsStack(const CSQLNode* root, cGenericStack* stack) {
    // Postfix walk with an explicit stack; each finished subtree leaves whether it could
    // be converted on results. An operation is appended only when both its (non-empty)
    // operands could; the right operand is converted even when the left one could not.
    struct Frame {
        const CSQLNode* node;
        bool operandsDone;
    };
    std::vector<Frame> frames{{root, false}};
    std::vector<bool> results;
    while (!frames.empty()) {
        Frame f = frames.back();
        frames.pop_back();
        const CSQLNode* n = f.node;
        if (f.operandsDone) {
            bool ok = true;
            if (n->m_pRight) {
                ok = results.back();
                results.pop_back();
            }
            if (n->m_pLeft) {
                ok = results.back() && ok;
                results.pop_back();
            }
            if (ok) {
                CRef<cSetOperator> op = New<cSetOperator>();
                op->SetKind(SetOperatorOf(n->m_nKind));
                Check(stack->Append(op->Dispatch()));
            }
            results.push_back(ok);
        } else if (n->m_nKind == NODE_KIND_SELECT) {
            CRef<cSelectStmt> select = New<cSelectStmt>();
            BuildSelectStmt(select.Get(), n);
            Check(stack->Append(select->Dispatch()));
            results.push_back(true);
        } else if (IsSetOperation(n->m_nKind)) {
            frames.push_back({n, true});
            if (n->m_pRight) frames.push_back({n->m_pRight, false});
            if (n->m_pLeft) frames.push_back({n->m_pLeft, false});
        } else {
            results.push_back(false);
        }
    }
    return !results.empty() && results.back();
}
