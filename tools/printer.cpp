#include "tools/printer.h"

#include <cstdio>
#include <vector>

#include "platform/utf.h"

namespace {

const char* const kStatementTypes[] = {"UNKNOWN", "UPDATE", "SELECT", "INSERT", "DELETE", "CREATETABLE", "DROPTABLE",
                                       "SETOPERATIONS"};
const char* const kItemTypes[] = {"AGGREGATEFUNCTION", "SELECTSTAR",  "COLUMNIDENT",  "ARITOPERATOR",
                                  "BOOLOPERATOR",      "COMPAREOPERATOR", "DATEFUNCTION", "LITERALVALUE",
                                  "MATHFUNCTION",      "NULLEXPRESSION",  "JOINOPERATOR", "TABLEIDENT",
                                  "CASESTATE",         "CONDITIONALSTATEMENT", "SETOPERATOR"};

template <size_t N> const char* Name(const char* const (&names)[N], long value) {
    return value >= 0 && static_cast<size_t>(value) < N ? names[value] : "?";
}

std::string Utf8(BSTR text) { return Utf16ToUtf8(text, SysStringLen(text)); }

std::string Take(BSTR text) {
    std::string s = Utf8(text);
    SysFreeString(text);
    return s;
}

std::string JsonString(const std::string& s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

template <class Itf> Itf* As(IUnknown* object, REFIID iid) {
    Itf* result = nullptr;
    if (object && SUCCEEDED(object->QueryInterface(iid, reinterpret_cast<void**>(&result)))) return result;
    return nullptr;
}

// A tree of named values, printed as indented text or as JSON.
struct Value {
    std::string scalar; // already a JSON literal when json is true
    bool isObject = false, isArray = false;
    std::vector<std::pair<std::string, Value>> members;
    std::vector<Value> elements;
};

Value Scalar(const std::string& text) {
    Value v;
    v.scalar = text;
    return v;
}

class Printer {
public:
    explicit Printer(bool json) : m_bJson(json) {}

    Value Str(const std::string& s) const { return Scalar(m_bJson ? JsonString(s) : "\"" + s + "\""); }
    Value Num(double n) const {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.15g", n);
        return Scalar(buf);
    }
    Value Enum(long n, const char* name) const {
        return Scalar(m_bJson ? std::to_string(n) : std::to_string(n) + " (" + name + ")");
    }

    Value Stack(IGenericStack* stack);
    Value ListOf(IDispatch* list, LONG count);
    Value Element(const VARIANT& v);
    Value Item(IExpressionItem* item);
    Value Select(ISelectStmt* select);
    Value Table(ITableIdent* table);
    Value Column(IColumnIdent* column);
    Value Statement(IParser* parser);

    void Render(const Value& v, int indent, std::string& out) const;

private:
    bool m_bJson;
};

template <class List> LONG CountOf(List* list) {
    LONG n = 0;
    list->get_Count(&n);
    return n;
}

// Walks a list and releases the caller's reference to it.
template <class List> Value ElementsOf(Printer& p, List* list) {
    Value array;
    array.isArray = true;
    const LONG n = CountOf(list);
    for (LONG i = 1; i <= n; ++i) {
        VARIANT v;
        VariantInit(&v);
        if (SUCCEEDED(list->get_Item(i, &v))) array.elements.push_back(p.Element(v));
        VariantClear(&v);
    }
    list->Release();
    return array;
}

Value Printer::Stack(IGenericStack* stack) {
    Value v;
    v.isObject = true;
    BSTR name = nullptr;
    stack->get_AsName(&name);
    std::string asName = Take(name);
    if (!asName.empty()) v.members.push_back({"AsName", Str(asName)});
    stack->AddRef(); // ElementsOf releases the list it walks; the caller keeps its own reference
    v.members.push_back({"Items", ElementsOf(*this, stack)});
    return v;
}

Value Printer::Column(IColumnIdent* column) {
    Value v = Item(column);
    column->Release();
    return v;
}

Value Printer::Table(ITableIdent* table) {
    Value v = Item(table);
    table->Release();
    return v;
}

Value Printer::Item(IExpressionItem* item) {
    Value v;
    v.isObject = true;
    EXPRESSIONITEM_TYPE type = EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION;
    item->get_ItemType(&type);
    BSTR text = nullptr;
    item->get_AsString(&text);
    v.members.push_back({"AsString", Str(Take(text))});
    v.members.push_back({"ItemType", Enum(type, Name(kItemTypes, type))});
    auto text2 = [&](const char* n, BSTR b) { v.members.push_back({n, Str(Take(b))}); };
    auto num = [&](const char* n, long x) { v.members.push_back({n, Num(x)}); };
    switch (type) {
    case EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION:
        if (auto* a = As<IAggregateFunction>(item, IID_IAggregateFunction)) {
            AGGREGATE_FUNCTION f;
            LONG d = 0;
            a->get_AggregateFunction(&f);
            a->get_Distinct(&d);
            num("AggregateFunction", f);
            num("Distinct", d);
            a->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_COLUMNIDENT:
        if (auto* c = As<IColumnIdent>(item, IID_IColumnIdent)) {
            BSTR t = nullptr, n = nullptr;
            c->get_TableName(&t);
            c->get_ColumnName(&n);
            text2("TableName", t);
            text2("ColumnName", n);
            c->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_ARITOPERATOR:
        if (auto* o = As<IAritOperator>(item, IID_IAritOperator)) {
            ARIT_OPERATOR k;
            o->get_AritOperator(&k);
            num("AritOperator", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_BOOLOPERATOR:
        if (auto* o = As<IBoolOperator>(item, IID_IBoolOperator)) {
            BOOL_OPERATOR k;
            o->get_BoolOperator(&k);
            num("BoolOperator", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_COMPAREOPERATOR:
        if (auto* o = As<ICompareOperator>(item, IID_ICompareOperator)) {
            COMPARE_OPERATOR k;
            o->get_CompareOperator(&k);
            num("CompareOperator", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_DATEFUNCTION:
        if (auto* o = As<IDateFunction>(item, IID_IDateFunction)) {
            DATE_FUNCTION k;
            o->get_DateFunction(&k);
            num("DateFunction", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_LITERALVALUE:
        if (auto* o = As<ILiteralValue>(item, IID_ILiteralValue)) {
            PARSER_DATATYPE k;
            o->get_DataType(&k);
            num("DataType", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_MATHFUNCTION:
        if (auto* o = As<IMathFunction>(item, IID_IMathFunction)) {
            MATH_FUNCTION k;
            o->get_MathFunction(&k);
            num("MathFunction", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_JOINOPERATOR:
        if (auto* o = As<IJoinOperator>(item, IID_IJoinOperator)) {
            JOIN_TYPE t;
            JOIN_CONDITION c;
            IGenericStack* s = nullptr;
            o->get_JoinType(&t);
            o->get_JoinCondition(&c);
            o->get_JoinConditionStack(&s);
            num("JoinType", t);
            num("JoinCondition", c);
            if (s) {
                v.members.push_back({"JoinConditionStack", Stack(s)});
                s->Release();
            }
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_TABLEIDENT:
        if (auto* o = As<ITableIdent>(item, IID_ITableIdent)) {
            BSTR n = nullptr, a = nullptr;
            LONG j = 0;
            IGenericStack* s = nullptr;
            o->get_Name(&n);
            o->get_Alias(&a);
            o->get_JoinedTable(&j);
            o->get_JoinExpressionStack(&s);
            text2("Name", n);
            text2("Alias", a);
            num("JoinedTable", j);
            if (s) {
                v.members.push_back({"JoinExpressionStack", Stack(s)});
                s->Release();
            }
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_CASESTATE:
        if (auto* o = As<ICaseState>(item, IID_ICaseState)) {
            CASESTATE_TYPE k;
            o->get_CaseState(&k);
            num("CaseState", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_CONDITIONALSTATEMENT:
        if (auto* o = As<IConditionalStatement>(item, IID_IConditionalStatement)) {
            CONDITIONALSTATEMENT_TYPE k;
            o->get_ConditionalStatement(&k);
            num("ConditionalStatement", k);
            o->Release();
        }
        break;
    case EXPRESSIONITEM_TYPE_SETOPERATOR:
        if (auto* o = As<ISetOperator>(item, IID_ISetOperator)) {
            SET_OPERATOR k;
            o->get_SetOperator(&k);
            num("SetOperator", k);
            o->Release();
        }
        break;
    default: break;
    }
    return v;
}

Value Printer::Element(const VARIANT& element) {
    if (V_VT(&element) == VT_BSTR) return Str(Utf8(V_BSTR(&element)));
    if (V_VT(&element) != VT_DISPATCH || !V_DISPATCH(&element)) return Str("<empty>");
    IDispatch* object = V_DISPATCH(&element);
    if (auto* item = As<IExpressionItem>(object, IID_IExpressionItem)) {
        Value v = Item(item);
        item->Release();
        return v;
    }
    if (auto* select = As<ISelectStmt>(object, IID_ISelectStmt)) {
        Value v = Select(select);
        select->Release();
        return v;
    }
    if (auto* stack = As<IGenericStack>(object, IID_IGenericStack)) {
        Value v = Stack(stack);
        stack->Release();
        return v;
    }
    if (auto* order = As<IOrderByObj>(object, IID_IOrderByObj)) {
        Value v;
        v.isObject = true;
        LONG asc = 0;
        IColumnIdent* c = nullptr;
        order->get_Asc(&asc);
        order->get_ColumnIdent(&c);
        v.members.push_back({"Asc", Num(asc)});
        v.members.push_back({"ColumnIdent", Column(c)});
        order->Release();
        return v;
    }
    if (auto* update = As<IUpdateItem>(object, IID_IUpdateItem)) {
        Value v;
        v.isObject = true;
        IColumnIdent* c = nullptr;
        IGenericStack* s = nullptr;
        update->get_ColumnIdent(&c);
        update->get_ExpressionStack(&s);
        v.members.push_back({"ColumnIdent", Column(c)});
        v.members.push_back({"ExpressionStack", Stack(s)});
        s->Release();
        update->Release();
        return v;
    }
    if (auto* column = As<ICreateTableItem>(object, IID_ICreateTableItem)) {
        Value v;
        v.isObject = true;
        SHORT length = 0;
        BSTR name = nullptr;
        PARSER_DATATYPE type;
        column->get_DataLength(&length);
        column->get_ColName(&name);
        column->get_DataType(&type);
        v.members.push_back({"ColName", Str(Take(name))});
        v.members.push_back({"DataType", Num(type)});
        v.members.push_back({"DataLength", Num(length)});
        column->Release();
        return v;
    }
    return Str("<object>");
}

Value Printer::Select(ISelectStmt* s) {
    Value v;
    v.isObject = true;
    LONG n = 0;
    double d = 0;
    s->get_Distinct(&n);
    v.members.push_back({"Distinct", Num(n)});
    s->get_Top(&n);
    v.members.push_back({"Top", Num(n)});
    s->get_IsTopPercent(&n);
    v.members.push_back({"IsTopPercent", Num(n)});
    s->get_TopPercent(&d);
    v.members.push_back({"TopPercent", Num(d)});
    s->get_HasLimitClause(&n);
    v.members.push_back({"HasLimitClause", Num(n)});
    s->get_LimitOffset(&n);
    v.members.push_back({"LimitOffset", Num(n)});
    s->get_LimitCount(&n);
    v.members.push_back({"LimitCount", Num(n)});
    IGenericStackList* list = nullptr;
    s->get_SelectExpressionList(&list);
    v.members.push_back({"SelectExpressionList", ElementsOf(*this, list)});
    ITableIdentList* tables = nullptr;
    s->get_TableIdentList(&tables);
    v.members.push_back({"TableIdentList", ElementsOf(*this, tables)});
    IGenericStack* where = nullptr;
    s->get_WhereExpressionStack(&where);
    v.members.push_back({"WhereExpressionStack", Stack(where)});
    where->Release();
    IColumnIdentList* group = nullptr;
    s->get_GroupByObjList(&group);
    v.members.push_back({"GroupByObjList", ElementsOf(*this, group)});
    IGenericStack* having = nullptr;
    s->get_HavingExpressionStack(&having);
    v.members.push_back({"HavingExpressionStack", Stack(having)});
    having->Release();
    IOrderByObjList* order = nullptr;
    s->get_OrderByObjList(&order);
    v.members.push_back({"OrderByObjList", ElementsOf(*this, order)});
    return v;
}

Value Printer::Statement(IParser* parser) {
    Value v;
    v.isObject = true;
    STATEMENT_TYPE type = STATEMENT_TYPE_UNKNOWN;
    parser->get_StatementType(&type);
    v.members.push_back({"StatementType", Enum(type, Name(kStatementTypes, type))});
    Value body;
    body.isObject = true;
    ISelectStmt* select = nullptr;
    IUpdateStmt* update = nullptr;
    IInsertStmt* insert = nullptr;
    IDeleteStmt* del = nullptr;
    ICreateTableStmt* create = nullptr;
    IDropStmt* drop = nullptr;
    ISetOperationsStmt* set = nullptr;
    ITableIdent* table = nullptr;
    IGenericStack* stack = nullptr;
    if (parser->get_SelectStmt(&select) == S_OK && select) {
        v.members.push_back({"SelectStmt", Select(select)});
        select->Release();
    } else if (parser->get_UpdateStmt(&update) == S_OK && update) {
        update->get_TableIdent(&table);
        body.members.push_back({"TableIdent", Table(table)});
        IUpdateItemList* items = nullptr;
        update->get_UpdateItemList(&items);
        body.members.push_back({"UpdateItemList", ElementsOf(*this, items)});
        update->get_WhereExpressionStack(&stack);
        body.members.push_back({"WhereExpressionStack", Stack(stack)});
        stack->Release();
        update->Release();
        v.members.push_back({"UpdateStmt", body});
    } else if (parser->get_InsertStmt(&insert) == S_OK && insert) {
        insert->get_TableIdent(&table);
        body.members.push_back({"TableIdent", Table(table)});
        IColumnIdentList* columns = nullptr;
        insert->get_ColumnIdentList(&columns);
        body.members.push_back({"ColumnIdentList", ElementsOf(*this, columns)});
        IGenericStackList* values = nullptr;
        insert->get_InsertExpressionList(&values);
        body.members.push_back({"InsertExpressionList", ElementsOf(*this, values)});
        insert->Release();
        v.members.push_back({"InsertStmt", body});
    } else if (parser->get_DeleteStmt(&del) == S_OK && del) {
        del->get_TableIdent(&table);
        body.members.push_back({"TableIdent", Table(table)});
        del->get_WhereExpressionStack(&stack);
        body.members.push_back({"WhereExpressionStack", Stack(stack)});
        stack->Release();
        del->Release();
        v.members.push_back({"DeleteStmt", body});
    } else if (parser->get_CreateTableStmt(&create) == S_OK && create) {
        create->get_TableIdent(&table);
        body.members.push_back({"TableIdent", Table(table)});
        ICreateTableItemList* items = nullptr;
        create->get_CreateTableItemList(&items);
        body.members.push_back({"CreateTableItemList", ElementsOf(*this, items)});
        create->Release();
        v.members.push_back({"CreateTableStmt", body});
    } else if (parser->get_DropTableStmt(&drop) == S_OK && drop) {
        drop->get_TableIdent(&table);
        body.members.push_back({"TableIdent", Table(table)});
        drop->Release();
        v.members.push_back({"DropTableStmt", body});
    } else if (parser->get_SetOperationsStmt(&set) == S_OK && set) {
        INT op = 0;
        LONG all = 0;
        set->get_SetOperationType(&op);
        set->get_IsUnionAll(&all);
        body.members.push_back({"SetOperationType", Num(op)});
        body.members.push_back({"IsUnionAll", Num(all)});
        set->get_SetOperationsExpressionStack(&stack);
        body.members.push_back({"SetOperationsExpressionStack", Stack(stack)});
        stack->Release();
        set->Release();
        v.members.push_back({"SetOperationsStmt", body});
    }
    return v;
}

void Printer::Render(const Value& v, int indent, std::string& out) const {
    const std::string pad(static_cast<size_t>(indent) * 2, ' ');
    if (m_bJson) {
        if (v.isObject) {
            out += "{";
            for (size_t i = 0; i < v.members.size(); ++i) {
                out += i ? "," : "";
                out += JsonString(v.members[i].first) + ":";
                Render(v.members[i].second, indent + 1, out);
            }
            out += "}";
        } else if (v.isArray) {
            out += "[";
            for (size_t i = 0; i < v.elements.size(); ++i) {
                out += i ? "," : "";
                Render(v.elements[i], indent + 1, out);
            }
            out += "]";
        } else {
            out += v.scalar;
        }
        return;
    }
    if (v.isObject) {
        for (const auto& m : v.members) {
            const Value& c = m.second;
            if (c.isObject || c.isArray) {
                out += pad + m.first + (c.isArray ? " (" + std::to_string(c.elements.size()) + ")" : "") + ":\n";
                Render(c, indent + 1, out);
            } else {
                out += pad + m.first + " = " + c.scalar + "\n";
            }
        }
    } else if (v.isArray) {
        for (size_t i = 0; i < v.elements.size(); ++i) {
            const Value& e = v.elements[i];
            out += pad + "[" + std::to_string(i + 1) + "]";
            if (e.isObject || e.isArray) {
                out += "\n";
                Render(e, indent + 1, out);
            } else {
                out += " " + e.scalar + "\n";
            }
        }
    } else {
        out += pad + v.scalar + "\n";
    }
}

} // namespace

std::string PrintStatement(IParser* parser, bool json) {
    Printer printer(json);
    std::string out;
    printer.Render(printer.Statement(parser), 0, out);
    if (json) out += "\n";
    return out;
}
