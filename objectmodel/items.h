// The fifteen expression items. Each is a small dual automation object behind its own
// interface, which derives from IExpressionItem (AsString, ItemType).
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "interfaces/interfaces.h"
#include "objectmodel/collections.h"
#include "objectmodel/combase.h"
#include "objectmodel/text.h"

// AsString and ItemType of every item. Derived::Text() gives the narrow text.
template <class Derived, class Itf, const IID* ItfIID, EXPRESSIONITEM_TYPE Type>
class CExpressionItem : public CComDual<Derived, Itf, ItfIID, &IID_IExpressionItem> {
public:
    HRESULT STDMETHODCALLTYPE get_ItemType(EXPRESSIONITEM_TYPE* type) override {
        if (!type) return E_POINTER;
        *type = Type;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_AsString(BSTR* text) override {
        return NarrowToBSTR(static_cast<Derived*>(this)->Text(), text);
    }
};

// Writes a stored enumeration value through an out-pointer of the enumeration's type.
// Values are kept as 32-bit integers because they are stored and returned unchanged,
// even outside their enumeration, where an enum-typed object could not hold them.
template <class Kind> HRESULT ReadEnum(LONG value, Kind* out) {
    static_assert(sizeof(Kind) == sizeof(LONG), "automation enumerations are 32-bit");
    if (!out) return E_POINTER;
    std::memcpy(out, &value, sizeof value);
    return S_OK;
}

// Items that carry one enumeration value, stored unchanged (no range check).
template <class Derived, class Itf, const IID* ItfIID, EXPRESSIONITEM_TYPE Type, class Kind>
class CKindItem : public CExpressionItem<Derived, Itf, ItfIID, Type> {
public:
    void SetKind(LONG kind) { m_nKind = kind; }

protected:
    HRESULT ReadKind(Kind* kind) const { return ReadEnum(m_nKind, kind); }
    LONG m_nKind = 0;
};

// The text of an enumeration value, or "!!!ERROR!!!" for a value without one.
const char* KindText(const char* const* texts, size_t count, long value);

#define TARVOLIN_KIND_ITEM(cls, itf, type, kind, getter)                                                     \
    class cls final : public CKindItem<cls, itf, &IID_##itf, type, kind> {                                         \
    public:                                                                                                   \
        HRESULT STDMETHODCALLTYPE getter(kind* value) override { return ReadKind(value); }                    \
        std::string_view Text() const;                                                                        \
    }

TARVOLIN_KIND_ITEM(cAritOperator, IAritOperator, EXPRESSIONITEM_TYPE_ARITOPERATOR, ARIT_OPERATOR, get_AritOperator);
TARVOLIN_KIND_ITEM(cBoolOperator, IBoolOperator, EXPRESSIONITEM_TYPE_BOOLOPERATOR, BOOL_OPERATOR, get_BoolOperator);
TARVOLIN_KIND_ITEM(cCompareOperator, ICompareOperator, EXPRESSIONITEM_TYPE_COMPAREOPERATOR, COMPARE_OPERATOR,
                   get_CompareOperator);
TARVOLIN_KIND_ITEM(cDateFunction, IDateFunction, EXPRESSIONITEM_TYPE_DATEFUNCTION, DATE_FUNCTION, get_DateFunction);
TARVOLIN_KIND_ITEM(cMathFunction, IMathFunction, EXPRESSIONITEM_TYPE_MATHFUNCTION, MATH_FUNCTION, get_MathFunction);
TARVOLIN_KIND_ITEM(cConditionalStatement, IConditionalStatement, EXPRESSIONITEM_TYPE_CONDITIONALSTATEMENT,
                   CONDITIONALSTATEMENT_TYPE, get_ConditionalStatement);
TARVOLIN_KIND_ITEM(cSetOperator, ISetOperator, EXPRESSIONITEM_TYPE_SETOPERATOR, SET_OPERATOR, get_SetOperator);

#undef TARVOLIN_KIND_ITEM

class cAggregateFunction final : public CKindItem<cAggregateFunction, IAggregateFunction, &IID_IAggregateFunction,
                                            EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION, AGGREGATE_FUNCTION> {
public:
    HRESULT STDMETHODCALLTYPE get_AggregateFunction(AGGREGATE_FUNCTION* value) override { return ReadKind(value); }
    HRESULT STDMETHODCALLTYPE get_Distinct(LONG* value) override;
    void SetDistinct(bool distinct) { m_bDistinct = distinct; }
    std::string_view Text() const;

private:
    bool m_bDistinct = false;
};

class cSelectStarExpression final : public CExpressionItem<cSelectStarExpression, ISelectStarExpression,
                                                     &IID_ISelectStarExpression, EXPRESSIONITEM_TYPE_SELECTSTAR> {
public:
    std::string_view Text() const { return "*"; }
};

class cNullExpression final : public CExpressionItem<cNullExpression, INullExpression, &IID_INullExpression,
                                               EXPRESSIONITEM_TYPE_NULLEXPRESSION> {
public:
    std::string_view Text() const { return "NULL"; }
};

class cColumnIdent final
    : public CExpressionItem<cColumnIdent, IColumnIdent, &IID_IColumnIdent, EXPRESSIONITEM_TYPE_COLUMNIDENT> {
public:
    HRESULT STDMETHODCALLTYPE get_TableName(BSTR* value) override { return NarrowToBSTR(m_strTable.View(), value); }
    HRESULT STDMETHODCALLTYPE get_ColumnName(BSTR* value) override {
        return NarrowToBSTR(m_strColumn.View(), value);
    }
    void SetTableName(std::string_view name) { m_strTable.Assign(name); }
    void SetColumnName(std::string_view name) { m_strColumn.Assign(name); }
    std::string_view TableName() const { return m_strTable.View(); }
    std::string_view ColumnName() const { return m_strColumn.View(); }
    std::string Text() const;

private:
    CCompactText m_strTable;
    CCompactText m_strColumn;
};

class cLiteralValue final
    : public CExpressionItem<cLiteralValue, ILiteralValue, &IID_ILiteralValue, EXPRESSIONITEM_TYPE_LITERALVALUE> {
public:
    HRESULT STDMETHODCALLTYPE get_DataType(PARSER_DATATYPE* value) override;
    void SetDataType(LONG type) { m_nType = type; }
    void SetValue(std::string_view value) { m_strValue.Assign(value); }
    std::string_view Text() const { return m_strValue.View(); }

private:
    LONG m_nType = 0;
    CCompactText m_strValue;
};

class cJoinOperator final
    : public CExpressionItem<cJoinOperator, IJoinOperator, &IID_IJoinOperator, EXPRESSIONITEM_TYPE_JOINOPERATOR> {
public:
    ~cJoinOperator() override;
    HRESULT STDMETHODCALLTYPE get_JoinType(JOIN_TYPE* value) override;
    HRESULT STDMETHODCALLTYPE get_JoinCondition(JOIN_CONDITION* value) override;
    HRESULT STDMETHODCALLTYPE get_JoinConditionStack(IGenericStack** value) override;
    HRESULT STDMETHODCALLTYPE get_AsString(BSTR* text) override; // built as wide text
    void SetJoinType(LONG type) { m_nType = type; }
    void SetJoinCondition(LONG condition) { m_nCondition = condition; }
    // Takes one reference of stack, releasing any stack held before.
    void SetConditionStack(cGenericStack* stack);
    std::string Text() const;

private:
    LONG m_nType = JOIN_TYPE_INNER;
    LONG m_nCondition = JOIN_CONDITION_NATURAL;
    cGenericStack* m_pStack = nullptr;
};

class cTableIdent final
    : public CExpressionItem<cTableIdent, ITableIdent, &IID_ITableIdent, EXPRESSIONITEM_TYPE_TABLEIDENT> {
public:
    ~cTableIdent() override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* value) override { return NarrowToBSTR(m_strName.View(), value); }
    HRESULT STDMETHODCALLTYPE get_Alias(BSTR* value) override { return NarrowToBSTR(m_strAlias.View(), value); }
    HRESULT STDMETHODCALLTYPE get_JoinedTable(LONG* value) override;
    HRESULT STDMETHODCALLTYPE get_JoinExpressionStack(IGenericStack** value) override;
    void SetName(std::string_view name) { m_strName.Assign(name); }
    void SetAlias(std::string_view alias) { m_strAlias.Assign(alias); }
    // Takes one reference of stack, releasing any stack held before.
    void SetJoinStack(cGenericStack* stack);
    std::string Text() const;

private:
    CCompactText m_strName;
    CCompactText m_strAlias;
    cGenericStack* m_pStack = nullptr;
};

class cCaseState final : public CExpressionItem<cCaseState, ICaseState, &IID_ICaseState, EXPRESSIONITEM_TYPE_CASESTATE> {
public:
    HRESULT STDMETHODCALLTYPE get_CaseState(CASESTATE_TYPE* value) override;
    // Stores the word lower-cased and sets the state when the word is one of the five.
    void SetCaseStateText(std::string_view word);
    std::string_view Text() const { return m_strWord.View(); }

private:
    LONG m_nState = CASESTATE_SELECTED;
    CCompactText m_strWord;
};

// True when a table or column name must be written between single quotes.
bool NameNeedsQuotes(std::string_view name);
