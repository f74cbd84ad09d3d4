#include "objectmodel/items.h"

#include <cctype>

namespace {

const char* const kError = "!!!ERROR!!!";

template <size_t N> const char* Lookup(const char* const (&texts)[N], long value) {
    return KindText(texts, N, value);
}

const char* const kAggregateTexts[] = {"SUM", "COUNT", "MIN", "MAX", "AVG", "STDEV", "FIRST", "LAST", "VAR"};
const char* const kAritTexts[] = {"+", "-", "/", "*"};
const char* const kBoolTexts[] = {"AND", "OR"};
const char* const kCompareTexts[] = {"=", "<>", ">", "<", ">=", "<=", " is ", " is not ", "not", "like"};
const char* const kDateTexts[] = {"GETDATE"};
const char* const kMathTexts[] = {"ABS", "ROUND"};
const char* const kConditionalTexts[] = {"CASE_SIMPLE",    "CASE_SEARCHED", "WHEN_SIMPLE", "WHEN_SEARCHED",
                                         "CASE_ELSE",      "CASE_END",      "NULLIF",      "IF",
                                         "COALESCE_BEGIN", "COALESCE_ITEM", "COALESCE_END", "CASE_CONTAINER"};
const char* const kSetTexts[] = {"UNION", "UNIONALL", "INTERSECT", "EXCEPT"};
const char* const kCaseStateWords[] = {"selected", "excluded", "hidden", "label", "marked"};

// Appends name to text, between single quotes when it needs them.
void AppendQuoted(std::string& text, std::string_view name) {
    if (NameNeedsQuotes(name)) {
        text += '\'';
        text += name;
        text += '\'';
    } else {
        text += name;
    }
}

HRESULT ReadStack(cGenericStack* stack, IGenericStack** value) {
    if (!value) return E_POINTER;
    *value = stack;
    if (stack) stack->AddRef();
    return S_OK;
}

void ReplaceStack(cGenericStack*& slot, cGenericStack* stack) {
    if (stack) stack->AddRef();
    if (slot) slot->Release();
    slot = stack;
}

} // namespace

const char* KindText(const char* const* texts, size_t count, long value) {
    return value >= 0 && static_cast<unsigned long>(value) < count ? texts[value] : kError;
}

bool NameNeedsQuotes(std::string_view name) { return name.find_first_of(" .\\/") != std::string_view::npos; }

std::string_view cAritOperator::Text() const { return Lookup(kAritTexts, m_nKind); }
std::string_view cBoolOperator::Text() const { return Lookup(kBoolTexts, m_nKind); }
std::string_view cCompareOperator::Text() const { return Lookup(kCompareTexts, m_nKind); }
std::string_view cDateFunction::Text() const { return Lookup(kDateTexts, m_nKind); }
std::string_view cMathFunction::Text() const { return Lookup(kMathTexts, m_nKind); }
std::string_view cConditionalStatement::Text() const { return Lookup(kConditionalTexts, m_nKind); }
std::string_view cSetOperator::Text() const { return Lookup(kSetTexts, m_nKind); }
std::string_view cAggregateFunction::Text() const { return Lookup(kAggregateTexts, m_nKind); }

HRESULT cAggregateFunction::get_Distinct(LONG* value) {
    if (!value) return E_POINTER;
    *value = m_bDistinct ? -1 : 0;
    return S_OK;
}

std::string cColumnIdent::Text() const {
    std::string text;
    if (!m_strTable.Empty()) {
        AppendQuoted(text, m_strTable.View());
        text += '.';
    }
    AppendQuoted(text, m_strColumn.View());
    return text;
}

HRESULT cLiteralValue::get_DataType(PARSER_DATATYPE* value) { return ReadEnum(m_nType, value); }

cJoinOperator::~cJoinOperator() { ReplaceStack(m_pStack, nullptr); }

void cJoinOperator::SetConditionStack(cGenericStack* stack) { ReplaceStack(m_pStack, stack); }

HRESULT cJoinOperator::get_JoinType(JOIN_TYPE* value) { return ReadEnum(m_nType, value); }

HRESULT cJoinOperator::get_JoinCondition(JOIN_CONDITION* value) { return ReadEnum(m_nCondition, value); }

HRESULT cJoinOperator::get_JoinConditionStack(IGenericStack** value) { return ReadStack(m_pStack, value); }

// "CROSS JOIN", "LEFT JOIN ON", "INNER JOIN NATURAL" ...: every type outside the four named
// ones reads as INNER, and a cross join names no condition.
std::string cJoinOperator::Text() const {
    std::string text;
    switch (m_nType) {
    case JOIN_TYPE_CROSS: text = "CROSS"; break;
    case JOIN_TYPE_OUTER_LEFT: text = "LEFT"; break;
    case JOIN_TYPE_OUTER_RIGHT: text = "RIGHT"; break;
    case JOIN_TYPE_OUTER_FULL: text = "FULL"; break;
    default: text = "INNER"; break;
    }
    text += " JOIN";
    if (m_nCondition == JOIN_CONDITION_ON)
        text += " ON";
    else if (m_nCondition == JOIN_CONDITION_USING)
        text += " USING";
    else if (m_nType != JOIN_TYPE_CROSS)
        text += " NATURAL";
    return text;
}

// The join text is pure ASCII, so it is built as wide text directly.
HRESULT cJoinOperator::get_AsString(BSTR* text) {
    const std::string narrow = Text();
    std::basic_string<OLECHAR> wide(narrow.begin(), narrow.end());
    return WideToBSTR(wide.data(), wide.size(), text);
}

cTableIdent::~cTableIdent() { ReplaceStack(m_pStack, nullptr); }

void cTableIdent::SetJoinStack(cGenericStack* stack) { ReplaceStack(m_pStack, stack); }

HRESULT cTableIdent::get_JoinedTable(LONG* value) {
    if (!value) return E_POINTER;
    *value = m_pStack ? 1 : 0;
    return S_OK;
}

HRESULT cTableIdent::get_JoinExpressionStack(IGenericStack** value) { return ReadStack(m_pStack, value); }

std::string cTableIdent::Text() const {
    if (m_pStack) return "{JoinedTable}";
    std::string text;
    AppendQuoted(text, m_strName.View());
    if (!m_strAlias.Empty()) {
        text += " AS ";
        AppendQuoted(text, m_strAlias.View());
    }
    return text;
}

HRESULT cCaseState::get_CaseState(CASESTATE_TYPE* value) { return ReadEnum(m_nState, value); }

void cCaseState::SetCaseStateText(std::string_view word) {
    std::string lower(word);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    m_strWord.Assign(lower);
    for (size_t i = 0; i < std::size(kCaseStateWords); ++i) {
        if (lower == kCaseStateWords[i]) {
            m_nState = static_cast<LONG>(i);
            return;
        }
    }
}
