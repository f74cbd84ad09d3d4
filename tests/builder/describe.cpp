#include "describe.h"

#include <vector>

namespace {

const char* const kTypeNames[] = {"int", "str", "flt", "ts", "date", "time"};

template <class Itf> Itf* As(IDispatch* object, REFIID iid) {
    Itf* result = nullptr;
    if (object && SUCCEEDED(object->QueryInterface(iid, reinterpret_cast<void**>(&result)))) return result;
    return nullptr;
}

std::string ItemText(IExpressionItem* item) {
    BSTR text = nullptr;
    EXPECT_EQ(item->get_AsString(&text), S_OK);
    std::string s = Narrow(text);
    SysFreeString(text);
    return s;
}

std::string DescribeSelect(ISelectStmt* select) {
    IGenericStackList* list = nullptr;
    EXPECT_EQ(select->get_SelectExpressionList(&list), S_OK);
    LONG count = 0;
    list->get_Count(&count);
    std::string out = "SELECT(";
    for (LONG i = 1; i <= count; ++i) {
        VARIANT v;
        VariantInit(&v);
        list->get_Item(i, &v);
        IGenericStack* stack = As<IGenericStack>(V_DISPATCH(&v), IID_IGenericStack);
        if (i > 1) out += "; ";
        out += DescribeStack(stack);
        stack->Release();
        VariantClear(&v);
    }
    list->Release();
    return out + ")";
}

} // namespace

std::string Narrow(BSTR text) {
    std::string s;
    for (UINT i = 0; i < SysStringLen(text); ++i) s += static_cast<char>(text[i] < 256 ? text[i] : '?');
    return s;
}

std::string DescribeElement(const VARIANT& element) {
    if (V_VT(&element) == VT_BSTR) return "'" + Narrow(V_BSTR(&element)) + "'";
    if (V_VT(&element) != VT_DISPATCH) return "<vt " + std::to_string(V_VT(&element)) + ">";
    IDispatch* object = V_DISPATCH(&element);
    if (ISelectStmt* select = As<ISelectStmt>(object, IID_ISelectStmt)) {
        std::string s = DescribeSelect(select);
        select->Release();
        return s;
    }
    IExpressionItem* item = As<IExpressionItem>(object, IID_IExpressionItem);
    if (!item) return "<object>";
    EXPRESSIONITEM_TYPE type;
    EXPECT_EQ(item->get_ItemType(&type), S_OK);
    std::string text = ItemText(item), out;
    switch (type) {
    case EXPRESSIONITEM_TYPE_COLUMNIDENT: out = "[" + text + "]"; break;
    case EXPRESSIONITEM_TYPE_LITERALVALUE: {
        ILiteralValue* literal = As<ILiteralValue>(object, IID_ILiteralValue);
        PARSER_DATATYPE dataType;
        literal->get_DataType(&dataType);
        literal->Release();
        out = text + ":" + (dataType >= 0 && dataType < 6 ? kTypeNames[dataType] : "?");
        break;
    }
    case EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION: {
        IAggregateFunction* aggregate = As<IAggregateFunction>(object, IID_IAggregateFunction);
        LONG distinct = 0;
        aggregate->get_Distinct(&distinct);
        aggregate->Release();
        out = text + (distinct ? " distinct" : "");
        break;
    }
    case EXPRESSIONITEM_TYPE_TABLEIDENT: {
        ITableIdent* table = As<ITableIdent>(object, IID_ITableIdent);
        IGenericStack* joins = nullptr;
        table->get_JoinExpressionStack(&joins);
        out = joins ? "{" + DescribeStack(joins) + "}" : "<" + text + ">";
        if (joins) joins->Release();
        table->Release();
        break;
    }
    case EXPRESSIONITEM_TYPE_JOINOPERATOR: {
        IJoinOperator* join = As<IJoinOperator>(object, IID_IJoinOperator);
        IGenericStack* condition = nullptr;
        join->get_JoinConditionStack(&condition);
        out = text + (condition ? "{" + DescribeStack(condition) + "}" : "");
        if (condition) condition->Release();
        join->Release();
        break;
    }
    case EXPRESSIONITEM_TYPE_CASESTATE: out = "cs:" + text; break;
    default: out = text; break;
    }
    item->Release();
    return out;
}

std::string DescribeStack(IGenericStack* stack) {
    LONG count = -1;
    EXPECT_EQ(stack->get_Count(&count), S_OK);
    std::string out;
    for (LONG i = 1; i <= count; ++i) {
        VARIANT v;
        VariantInit(&v);
        EXPECT_EQ(stack->get_Item(i, &v), S_OK);
        if (i > 1) out += ", ";
        out += DescribeElement(v);
        VariantClear(&v);
    }
    return out;
}

HRESULT ParseText(cParser* parser, const std::string& sql) {
    std::vector<OLECHAR> wide(sql.begin(), sql.end());
    wide.push_back(0);
    BSTR text = SysAllocStringLen(wide.data(), static_cast<UINT>(sql.size()));
    HRESULT hr = parser->ParseSQL(text);
    SysFreeString(text);
    return hr;
}

Parsed::Parsed(const std::string& sql) {
    EXPECT_EQ(cParser::CreateInstance(&parser), S_OK);
    parser->AddRef();
    HRESULT hr = ParseText(parser, sql);
    EXPECT_EQ(hr, S_OK) << sql << "\n" << parser->Tree().GetErrorText();
}

Parsed::~Parsed() { parser->Release(); }

ISelectStmt* Parsed::Select() const {
    ISelectStmt* select = nullptr;
    EXPECT_EQ(parser->get_SelectStmt(&select), S_OK);
    return select;
}

std::string Where(const std::string& condition) {
    Parsed p("SELECT * FROM t WHERE " + condition);
    ISelectStmt* select = p.Select();
    if (!select) return "<no select>";
    IGenericStack* where = nullptr;
    select->get_WhereExpressionStack(&where);
    std::string s = DescribeStack(where);
    where->Release();
    select->Release();
    return s;
}

std::string Item(const std::string& item) {
    Parsed p("SELECT " + item + " FROM t");
    ISelectStmt* select = p.Select();
    if (!select) return "<no select>";
    std::string s = DescribeSelect(select);
    select->Release();
    return s.substr(7, s.size() - 8); // strip "SELECT(" and ")"
}
