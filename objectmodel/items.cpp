#include "objectmodel/items.h"

#include <cctype>
#include <cstdint>
#include <initializer_list>

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

// The length of name as AppendQuoted writes it.
size_t QuotedLength(std::string_view name, bool quoted) { return name.size() + (quoted ? 2 : 0); }

// Appends name to text, between single quotes when it needs them.
void AppendQuoted(std::string& text, std::string_view name, bool quoted) {
    if (quoted) text += '\'';
    text += name;
    if (quoted) text += '\'';
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

// Blank, full stop, slash and backslash, tested a byte at a time: a name is short, and a
// search for a set of characters would cost a call per byte.
bool NameNeedsQuotes(std::string_view name) {
    constexpr uint64_t kBelow64 = (uint64_t(1) << ' ') | (uint64_t(1) << '.') | (uint64_t(1) << '/');
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 64 ? (kBelow64 >> byte) & 1 : byte == '\\') return true;
    }
    return false;
}

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
    const std::string_view table = m_strTable.View(), column = m_strColumn.View();
    const bool quoteTable = NameNeedsQuotes(table), quoteColumn = NameNeedsQuotes(column);
    std::string text;
    text.reserve((table.empty() ? 0 : QuotedLength(table, quoteTable) + 1) + QuotedLength(column, quoteColumn));
    if (!table.empty()) {
        AppendQuoted(text, table, quoteTable);
        text += '.';
    }
    AppendQuoted(text, column, quoteColumn);
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
namespace {

struct JoinWords {
    std::string_view type, condition; // around " JOIN"
};

JoinWords WordsOfJoin(LONG type, LONG condition) {
    JoinWords words;
    switch (type) {
    case JOIN_TYPE_CROSS: words.type = "CROSS"; break;
    case JOIN_TYPE_OUTER_LEFT: words.type = "LEFT"; break;
    case JOIN_TYPE_OUTER_RIGHT: words.type = "RIGHT"; break;
    case JOIN_TYPE_OUTER_FULL: words.type = "FULL"; break;
    default: words.type = "INNER"; break;
    }
    if (condition == JOIN_CONDITION_ON)
        words.condition = " ON";
    else if (condition == JOIN_CONDITION_USING)
        words.condition = " USING";
    else if (type != JOIN_TYPE_CROSS)
        words.condition = " NATURAL";
    return words;
}

constexpr std::string_view kJoin = " JOIN";

} // namespace

std::string cJoinOperator::Text() const {
    const JoinWords words = WordsOfJoin(m_nType, m_nCondition);
    std::string text(words.type);
    text += kJoin;
    text += words.condition;
    return text;
}

// The join text is pure ASCII, so it is built as wide text directly, in a buffer that holds
// the longest one.
HRESULT cJoinOperator::get_AsString(BSTR* text) {
    const JoinWords words = WordsOfJoin(m_nType, m_nCondition);
    OLECHAR wide[sizeof "RIGHT JOIN NATURAL"];
    size_t length = 0;
    for (const std::string_view part : {words.type, kJoin, words.condition})
        for (const char c : part) wide[length++] = static_cast<OLECHAR>(c);
    return WideToBSTR(wide, length, text);
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
    constexpr std::string_view kAs = " AS ";
    const std::string_view name = m_strName.View(), alias = m_strAlias.View();
    const bool quoteName = NameNeedsQuotes(name), quoteAlias = NameNeedsQuotes(alias);
    std::string text;
    text.reserve(QuotedLength(name, quoteName) + (alias.empty() ? 0 : kAs.size() + QuotedLength(alias, quoteAlias)));
    AppendQuoted(text, name, quoteName);
    if (!alias.empty()) {
        text += kAs;
        AppendQuoted(text, alias, quoteAlias);
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
