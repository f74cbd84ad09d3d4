#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

#include "builder/builders.h"
#include "builder/convert.h"
#include "builder/ref.h"
#include "objectmodel/text.h"
#include "parsetree/treelayout.h"

long ReadLong(const CSQLNode* number) {
    const std::string text(NodeText(number));
    long long value = std::strtoll(text.c_str(), nullptr, 10);
    if (value > INT32_MAX) value = INT32_MAX;
    if (value < INT32_MIN) value = INT32_MIN;
    return static_cast<long>(value);
}

double ReadDouble(const CSQLNode* number) { return std::atof(std::string(NodeText(number)).c_str()); }

namespace {

JOIN_TYPE JoinTypeOf(int kind) {
    switch (kind) {
    case NODE_KIND_CROSS_JOIN: return JOIN_TYPE_CROSS;
    case NODE_KIND_LEFT_JOIN: return JOIN_TYPE_OUTER_LEFT;
    case NODE_KIND_RIGHT_JOIN: return JOIN_TYPE_OUTER_RIGHT;
    case NODE_KIND_FULL_JOIN: return JOIN_TYPE_OUTER_FULL;
    default: return JOIN_TYPE_INNER;
    }
}

bool IsJoin(int kind) { return kind >= NODE_KIND_CROSS_JOIN && kind <= NODE_KIND_FULL_JOIN; }

// The join operator of a join node, with its condition stack for ON and USING.
CRef<cJoinOperator> MakeJoinOperator(const CSQLNode* join) {
    CRef<cJoinOperator> op = New<cJoinOperator>();
    op->SetJoinType(JoinTypeOf(join->m_nKind));
    const CSQLNode* condition = join->m_pAttach;
    if (!condition) return op;
    CRef<cGenericStack> stack = New<cGenericStack>();
    if (condition->m_nKind == NODE_KIND_JOIN_ON) {
        BuildExpressionStack(condition->m_pAttach, stack.Get());
        op->SetJoinCondition(JOIN_CONDITION_ON);
    } else {
        // USING: the column names themselves, as strings.
        for (const CSQLNode* column = condition->m_pAttach; column; column = column->m_pNext) {
            VARIANT name;
            VariantInit(&name);
            Check(NarrowToBSTR(NodeText(column), &V_BSTR(&name)));
            V_VT(&name) = VT_BSTR;
            Check(stack->Elements().AppendOwned(name));
        }
        op->SetJoinCondition(JOIN_CONDITION_USING);
    }
    op->SetConditionStack(stack.Get());
    return op;
}

void AppendTable(const CSQLNode* node, cGenericStack* stack) {
    CRef<cTableIdent> table = New<cTableIdent>();
    FillTableIdent(node, table.Get());
    Check(stack->Append(table->Dispatch()));
}

} // namespace

bool BuildJoinStack(const CSQLNode* root, cGenericStack* stack) {
    if (!root) return true;
    if (root->m_nKind != NODE_KIND_IDENTIFIER && root->m_nKind != NODE_KIND_ALIAS && !IsJoin(root->m_nKind))
        return false;
    // Left operand, right operand, then the join operator, at every level; iterative, as
    // a chain of joins is as deep as it is long.
    struct Frame {
        const CSQLNode* node;
        cJoinOperator* op; // set once the operands are done
    };
    std::vector<Frame> frames{{root, nullptr}};
    std::vector<CRef<cJoinOperator>> pending;
    while (!frames.empty()) {
        Frame f = frames.back();
        frames.pop_back();
        if (f.op) {
            Check(stack->Append(f.op->Dispatch()));
            pending.pop_back();
            continue;
        }
        const int kind = f.node->m_nKind;
        if (kind == NODE_KIND_IDENTIFIER || kind == NODE_KIND_ALIAS) {
            AppendTable(f.node, stack);
            continue;
        }
        if (!IsJoin(kind)) continue; // an operand of unknown kind contributes nothing
        pending.push_back(MakeJoinOperator(f.node));
        frames.push_back({f.node, pending.back().Get()});
        if (f.node->m_pRight) frames.push_back({f.node->m_pRight, nullptr});
        if (f.node->m_pLeft) frames.push_back({f.node->m_pLeft, nullptr});
    }
    return true;
}

void BuildSelectStmt(cSelectStmt* statement, const CSQLNode* select) {
    BuildStackList(SelectSkeleton::List(select), statement->SelectList());

    // TOP n, TOP n PERCENT, or TOP alone (which counts as TOP 1).
    if (const CSQLNode* top = SelectSkeleton::Top(select)) {
        statement->m_nTop = 1;
        statement->m_bTopPercent = top->m_nKind == NODE_KIND_TOP_PERCENT;
        const CSQLNode* number = top->m_pAttach;
        if (statement->m_bTopPercent) {
            double percent = ReadDouble(number);
            statement->m_dTopPercent = percent < 0.0 ? 0.0 : percent > 100.0 ? 100.0 : percent;
        } else {
            long n = number && number->m_pToken ? ReadLong(number) : 1;
            statement->m_nTop = n < 1 ? 1 : n;
        }
    }

    if (const CSQLNode* limit = SelectSkeleton::Limit(select)) {
        statement->m_bHasLimit = true;
        long offset = ReadLong(limit->m_pLeft), count = ReadLong(limit->m_pRight);
        statement->m_nLimitOffset = offset < 1 ? 1 : offset;
        statement->m_nLimitCount = count < 1 ? 1 : count;
    }

    statement->m_bDistinct = SelectSkeleton::Distinct(select) != nullptr;

    for (const CSQLNode* r = SelectSkeleton::Tables(select); r; r = r->m_pNext) {
        CRef<cTableIdent> table = New<cTableIdent>();
        if (r->m_nKind == NODE_KIND_IDENTIFIER || r->m_nKind == NODE_KIND_ALIAS) {
            FillTableIdent(r, table.Get());
        } else if (IsJoin(r->m_nKind)) {
            CRef<cGenericStack> joins = New<cGenericStack>();
            if (BuildJoinStack(r, joins.Get())) table->SetJoinStack(joins.Get());
        } else {
            break;
        }
        Check(statement->Tables()->Append(table->Dispatch()));
    }

    BuildExpressionStack(SelectSkeleton::Where(select), statement->Where());
    BuildColumnIdentList(SelectSkeleton::GroupBy(select), statement->GroupBy());
    BuildExpressionStack(SelectSkeleton::Having(select), statement->Having());

    for (const CSQLNode* o = SelectSkeleton::OrderBy(select); o; o = o->m_pNext) {
        CRef<cOrderByObj> entry = New<cOrderByObj>();
        entry->SetAsc(o->m_nKind != NODE_KIND_ORDER_DESC);
        FillColumnIdent(o->m_pLeft, entry->Column());
        Check(statement->OrderBy()->Append(entry->Dispatch()));
    }
}
