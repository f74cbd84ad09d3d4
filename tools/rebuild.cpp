#include "tools/rebuild.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/utf.h"

namespace {

// Thrown inside the rebuilder for a model that no text gives; caught by RebuildStatement.
struct CannotRebuild {
    std::string why;
};

[[noreturn]] void Refuse(std::string why) { throw CannotRebuild{std::move(why)}; }

// One reference to an interface, released at the end of the scope.
template <class T> class CRef {
public:
    CRef() = default;
    CRef(const CRef&) = delete;
    CRef& operator=(const CRef&) = delete;
    ~CRef() {
        if (m_p) m_p->Release();
    }
    T** Out() { return &m_p; }
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }

private:
    T* m_p = nullptr;
};

template <class T> bool QueryTo(IUnknown* object, const IID& iid, CRef<T>& out) {
    return object && SUCCEEDED(object->QueryInterface(iid, reinterpret_cast<void**>(out.Out()))) && out;
}

std::string TakeText(BSTR text) {
    std::string utf8 = Utf16ToUtf8(text, SysStringLen(text));
    SysFreeString(text);
    return utf8;
}

template <class T, class Getter> std::string ReadText(T* object, Getter get) {
    BSTR text = nullptr;
    if (FAILED((object->*get)(&text))) Refuse("a text property could not be read");
    return TakeText(text);
}

template <class V, class T, class Getter> V ReadValue(T* object, Getter get) {
    V value{};
    if (FAILED((object->*get)(&value))) Refuse("a property could not be read");
    return value;
}

// The number of elements of a list or stack (0 when it cannot be read).
template <class List> long CountOf(List* list) {
    LONG count = 0;
    if (!list || FAILED(list->get_Count(&count)) || count < 0) return 0;
    return count;
}

class CVariant {
public:
    CVariant() { VariantInit(&m_v); }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;
    ~CVariant() { VariantClear(&m_v); }
    VARIANT* Out() { return &m_v; }
    IDispatch* Object() const { return V_VT(&m_v) == VT_DISPATCH ? V_DISPATCH(&m_v) : nullptr; }
    const VARIANT& Get() const { return m_v; }

private:
    VARIANT m_v;
};

// Element index (1-based) of a list or stack.
template <class List> void ItemOf(List* list, long index, CVariant& element) {
    if (FAILED(list->get_Item(index, element.Out()))) Refuse("a list element could not be read");
}

// ---------------------------------------------------------------------------------------
// Names and words.

// The keywords of the language, lower case: a word among them is no name unless quoted.
const char* const kKeywords[] = {
    "like",   "drop",   "getdate", "round",    "abs",      "having",    "null",     "all",     "distinct", "top",
    "percent", "limit", "as",      "not",      "is",       "and",       "values",   "delete",  "update",   "insert",
    "into",   "set",    "where",   "order",    "group",    "by",        "asc",      "desc",    "or",       "select",
    "create", "from",   "max",     "min",      "avg",      "count",     "sum",      "stdev",   "first",    "last",
    "var",    "table",  "smallint", "integer", "char",     "float",     "join",     "cross",   "natural",  "inner",
    "outer",  "left",   "right",   "full",     "using",    "on",        "union",    "except",  "intersect", "case",
    "when",   "then",   "else",    "end",      "nullif",   "coalesce",  "if",       "in",      "between",  "casestate",
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool IsLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A word the scanner reads back as one identifier with this text.
bool IsPlainName(std::string_view name) {
    if (name.empty() || !IsLetter(name[0])) return false;
    for (char c : name)
        if (!IsLetter(c) && !IsDigit(c)) return false;
    std::string lower;
    for (char c : name) lower += Lower(c);
    // A word starting with "casestate" is a case-state form, not a name.
    if (lower.compare(0, 9, "casestate") == 0) return false;
    for (const char* keyword : kKeywords)
        if (lower == keyword) return false;
    return true;
}

// The text is a whole number token (digits with an optional exponent).
bool IsNumberToken(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && IsDigit(text[i])) ++i;
    if (i == 0) return false;
    if (i == text.size()) return true;
    if (text[i] != 'e' && text[i] != 'E') return false;
    if (++i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    const size_t digits = i;
    while (i < text.size() && IsDigit(text[i])) ++i;
    return i > digits && i == text.size();
}

// Whether text between the quote q and a closing q scans back to exactly text: a lone q
// would end it early and a final backslash would take the closing quote as its own.
bool Quotable(std::string_view text, char q) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == q) {
            if (i + 1 == text.size() || text[i + 1] != q) return false;
            ++i;
        } else if (text[i] == '\\') {
            if (i + 1 == text.size()) return false;
            if (text[i + 1] != '\n') ++i;
        }
    }
    return true;
}

bool Bracketable(std::string_view text) {
    return text.find(']') == std::string_view::npos && (text.empty() || text.back() != '\\');
}

// The forms a name may take where it stands.
enum NAME_FORMS : unsigned {
    NAME_PLAIN = 1,
    NAME_QUOTED = 2, // square brackets or double quotes
    NAME_STRING = 4, // single quotes
};

std::string Name(std::string_view name, unsigned forms) {
    if (IsPlainName(name)) return std::string(name);
    if (forms & NAME_QUOTED) {
        if (Bracketable(name)) return "[" + std::string(name) + "]";
        if (Quotable(name, '"')) return "\"" + std::string(name) + "\"";
    }
    if ((forms & NAME_STRING) && Quotable(name, '\'')) return "'" + std::string(name) + "'";
    Refuse("the name " + std::string(name) + " has no form that reads back as it is");
}

// A column reference: qualifier and name, "*" after a qualifier; a number as GROUP BY and
// ORDER BY take it.
std::string Column(IColumnIdent* column, bool numbersAllowed) {
    const std::string table = ReadText(column, &IColumnIdent::get_TableName);
    const std::string name = ReadText(column, &IColumnIdent::get_ColumnName);
    if (table.empty()) {
        if (numbersAllowed && IsNumberToken(name)) return name;
        if (name == "*") Refuse("a column * without a table");
        return Name(name, NAME_PLAIN | NAME_QUOTED);
    }
    const std::string qualifier = Name(table, NAME_PLAIN | NAME_QUOTED | NAME_STRING) + ".";
    return qualifier + (name == "*" ? name : Name(name, NAME_PLAIN | NAME_QUOTED));
}

std::string FormatNumber(double value) {
    char buffer[40];
    for (int precision = 15; precision <= 17; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, value);
        if (std::strtod(buffer, nullptr) == value) break;
    }
    return buffer;
}

// ---------------------------------------------------------------------------------------
// Expressions: the items read front to back onto a stack of operands.

// Binding strength, weakest first: conditions, then values.
enum PRECEDENCE : int {
    PREC_OR = 1,
    PREC_AND,
    PREC_NOT,
    PREC_PREDICATE, // a comparison, IN, BETWEEN, LIKE, IS, a case state
    PREC_ADDITIVE,
    PREC_MULTIPLICATIVE,
    PREC_ATOM,
};

enum OPERAND_KIND {
    OPERAND_VALUE,     // text of a value expression
    OPERAND_CONDITION, // text of a condition
    OPERAND_NULL,      // NULL, which stands only after IS
    OPERAND_STAR,      // *, which stands only in COUNT(*) and as the whole select list
    OPERAND_CASE_HEAD, // CASE [operand], with the ELSE value once it is read
    OPERAND_WHENS,     // the WHEN branches read so far
    OPERAND_CASE_BODY, // head and branches
    OPERAND_CASE_END,
    OPERAND_COALESCE,  // COALESCE's arguments read so far
    OPERAND_COALESCE_END,
    OPERAND_IF_PAIR,   // IF's false and true values
    OPERAND_TABLE,     // a table of a join
    OPERAND_JOIN,
    OPERAND_SELECT,
    OPERAND_SET,       // a set operation
};

// What a predicate was built from, for IN and BETWEEN and their NOT forms.
enum PREDICATE_SHAPE { SHAPE_NONE, SHAPE_EQUALS, SHAPE_MORE_EQUALS, SHAPE_LESS_EQUALS, SHAPE_IN, SHAPE_BETWEEN, SHAPE_LIKE };

struct Operand {
    OPERAND_KIND kind = OPERAND_VALUE;
    int precedence = PREC_ATOM;
    std::string text;
    bool column = false;          // the text is a column reference
    PREDICATE_SHAPE shape = SHAPE_NONE;
    std::string tested, rest;     // the tested operand and what follows it (IN, BETWEEN, LIKE)
    std::string second;           // ELSE value, IF's true value
    bool hasElse = false;
};

const char* const kAggregateNames[] = {"SUM", "COUNT", "MIN", "MAX", "AVG", "STDEV", "FIRST", "LAST", "VAR"};
const char* const kAritSymbols[] = {"+", "-", "/", "*"};
const int kAritPrecedence[] = {PREC_ADDITIVE, PREC_ADDITIVE, PREC_MULTIPLICATIVE, PREC_MULTIPLICATIVE};
const char* const kCompareSymbols[] = {"=", "<>", ">", "<", ">=", "<="};
const char* const kJoinWords[] = {"CROSS JOIN", "JOIN", "LEFT JOIN", "RIGHT JOIN", "FULL JOIN"};
const char* const kSetWords[] = {"UNION", "UNION ALL", "INTERSECT", "EXCEPT"};

template <size_t N> const char* WordOf(const char* const (&words)[N], long value, const char* what) {
    if (value < 0 || static_cast<size_t>(value) >= N) Refuse(std::string("an unknown ") + what);
    return words[value];
}

std::string Parenthesised(const Operand& operand, bool needed) {
    return needed ? "(" + operand.text + ")" : operand.text;
}

const Operand& Value(const Operand& operand) {
    if (operand.kind != OPERAND_VALUE) Refuse("a value was expected");
    return operand;
}
const Operand& Condition(const Operand& operand) {
    if (operand.kind != OPERAND_CONDITION) Refuse("a condition was expected");
    return operand;
}

Operand MakeValue(std::string text, int precedence = PREC_ATOM) {
    Operand operand;
    operand.text = std::move(text);
    operand.precedence = precedence;
    return operand;
}
Operand MakeCondition(std::string text, int precedence, PREDICATE_SHAPE shape = SHAPE_NONE) {
    Operand operand = MakeValue(std::move(text), precedence);
    operand.kind = OPERAND_CONDITION;
    operand.shape = shape;
    return operand;
}
Operand MakeMarker(OPERAND_KIND kind, std::string text = std::string()) {
    Operand operand = MakeValue(std::move(text));
    operand.kind = kind;
    return operand;
}

// A binary operator of a precedence level that groups to the left: the right operand
// needs parentheses from the same level up. The left operand's text is taken over, so that
// a chain of a hundred thousand terms grows in place instead of being copied at each term.
std::string Binary(Operand&& left, const char* symbol, const Operand& right, int precedence) {
    std::string text = left.precedence < precedence ? "(" + left.text + ")" : std::move(left.text);
    text += ' ';
    text += symbol;
    text += ' ';
    if (right.precedence <= precedence) {
        text += '(';
        text += right.text;
        text += ')';
    } else {
        text += right.text;
    }
    return text;
}

class CExpression {
public:
    // The items of a stack; join and set-operation stacks bring their own element kinds.
    void Stack(IGenericStack* stack);
    // Every operand the stack left, first to last.
    std::vector<Operand> TakeAll() { return std::move(m_Operands); }
    // The single operand the stack left, or none for an empty stack.
    bool Result(Operand& result) {
        if (m_Operands.empty()) return false;
        if (m_Operands.size() != 1) Refuse("a stack leaves more than one operand");
        result = std::move(m_Operands.back());
        m_Operands.clear();
        return true;
    }

private:
    void Element(const CVariant& element);
    void Item(IExpressionItem* item, EXPRESSIONITEM_TYPE type);
    void Compare(ICompareOperator* item);
    void Conditional(IConditionalStatement* item);
    void Join(IJoinOperator* item);
    void Table(ITableIdent* table);
    void SetOperation(long op);

    Operand Pop() {
        if (m_Operands.empty()) Refuse("an operator lacks its operands");
        Operand top = std::move(m_Operands.back());
        m_Operands.pop_back();
        return top;
    }
    Operand PopValue() {
        Operand top = Pop();
        Value(top);
        return top;
    }
    Operand PopCondition() {
        Operand top = Pop();
        Condition(top);
        return top;
    }
    void Push(Operand operand) { m_Operands.push_back(std::move(operand)); }

    std::vector<Operand> m_Operands;
};

std::string Select(ISelectStmt* select);

// The condition of a WHERE, HAVING or ON clause, or the value of a list element: empty
// when the stack is.
std::string StackText(IGenericStack* stack, bool condition) {
    CExpression expression;
    expression.Stack(stack);
    Operand result;
    if (!expression.Result(result)) return std::string();
    return condition ? Condition(result).text : Value(result).text;
}

void CExpression::Stack(IGenericStack* stack) {
    const long count = CountOf(stack);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(stack, i, element);
        Element(element);
    }
}

void CExpression::Element(const CVariant& element) {
    IDispatch* object = element.Object();
    if (!object) Refuse("a stack element is no object");
    CRef<IExpressionItem> item;
    if (QueryTo(object, IID_IExpressionItem, item)) {
        Item(item.Get(), ReadValue<EXPRESSIONITEM_TYPE>(item.Get(), &IExpressionItem::get_ItemType));
        return;
    }
    CRef<ISelectStmt> select;
    if (!QueryTo(object, IID_ISelectStmt, select)) Refuse("a stack element is neither an item nor a SELECT");
    Operand operand = MakeMarker(OPERAND_SELECT, Select(select.Get()));
    Push(std::move(operand));
}

void CExpression::Item(IExpressionItem* item, EXPRESSIONITEM_TYPE type) {
    switch (type) {
    case EXPRESSIONITEM_TYPE_COLUMNIDENT: {
        CRef<IColumnIdent> column;
        if (!QueryTo(item, IID_IColumnIdent, column)) Refuse("a column item without its interface");
        Operand operand = MakeValue(Column(column.Get(), false));
        operand.column = true;
        Push(std::move(operand));
        return;
    }
    case EXPRESSIONITEM_TYPE_LITERALVALUE: {
        CRef<ILiteralValue> literal;
        if (!QueryTo(item, IID_ILiteralValue, literal)) Refuse("a literal without its interface");
        const std::string text = ReadText(item, &IExpressionItem::get_AsString);
        const PARSER_DATATYPE type = ReadValue<PARSER_DATATYPE>(literal.Get(), &ILiteralValue::get_DataType);
        Push(MakeValue(type == PARSER_DATATYPE_STRING ? "'" + text + "'" : text));
        return;
    }
    case EXPRESSIONITEM_TYPE_NULLEXPRESSION: Push(MakeMarker(OPERAND_NULL, "NULL")); return;
    case EXPRESSIONITEM_TYPE_SELECTSTAR: Push(MakeMarker(OPERAND_STAR, "*")); return;
    case EXPRESSIONITEM_TYPE_DATEFUNCTION: Push(MakeValue("GETDATE()")); return;
    case EXPRESSIONITEM_TYPE_CASESTATE: {
        const std::string word = ReadText(item, &IExpressionItem::get_AsString);
        if (!IsPlainName(word)) Refuse("a case state without its word");
        Push(MakeCondition("CASESTATE_" + word, PREC_PREDICATE));
        return;
    }
    case EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION: {
        CRef<IAggregateFunction> aggregate;
        if (!QueryTo(item, IID_IAggregateFunction, aggregate)) Refuse("an aggregate without its interface");
        const long function = ReadValue<AGGREGATE_FUNCTION>(aggregate.Get(), &IAggregateFunction::get_AggregateFunction);
        const bool distinct = ReadValue<LONG>(aggregate.Get(), &IAggregateFunction::get_Distinct) != 0;
        const Operand argument = Pop();
        const std::string name = WordOf(kAggregateNames, function, "aggregate");
        if (argument.kind == OPERAND_STAR) {
            if (function != AGGREGATE_FUNCTION_COUNT || distinct) Refuse("* as the argument of another aggregate");
            Push(MakeValue("COUNT(*)"));
            return;
        }
        Push(MakeValue(name + "(" + (distinct ? "DISTINCT " : "") + Value(argument).text + ")"));
        return;
    }
    case EXPRESSIONITEM_TYPE_MATHFUNCTION: {
        CRef<IMathFunction> math;
        if (!QueryTo(item, IID_IMathFunction, math)) Refuse("a function without its interface");
        const long function = ReadValue<MATH_FUNCTION>(math.Get(), &IMathFunction::get_MathFunction);
        const Operand argument = Pop();
        if (function == MATH_FUNCTION_ABS) {
            Push(MakeValue("ABS(" + Value(argument).text + ")"));
            return;
        }
        if (function != MATH_FUNCTION_ROUND) Refuse("an unknown function");
        // The digits come first, as the left operand; only a whole number stands there.
        const Operand digits = Pop();
        if (!IsNumberToken(Value(digits).text)) Refuse("ROUND with digits that are no number");
        // ROUND(x) stands for ROUND(x, 0).
        Push(MakeValue("ROUND(" + Value(argument).text + (digits.text == "0" ? "" : ", " + digits.text) + ")"));
        return;
    }
    case EXPRESSIONITEM_TYPE_ARITOPERATOR: {
        CRef<IAritOperator> arit;
        if (!QueryTo(item, IID_IAritOperator, arit)) Refuse("an operator without its interface");
        const long op = ReadValue<ARIT_OPERATOR>(arit.Get(), &IAritOperator::get_AritOperator);
        const char* symbol = WordOf(kAritSymbols, op, "arithmetic operator");
        const Operand right = PopValue();
        Operand left = PopValue();
        // Unary minus is 0 - x in the stack, and -x reads back so: it binds tightest.
        if (op == ARIT_OPERATOR_MINUS && left.text == "0") {
            const std::string operand = Parenthesised(right, right.precedence < PREC_ATOM);
            Push(MakeValue((operand[0] == '-' ? "- " : "-") + operand));
            return;
        }
        Push(MakeValue(Binary(std::move(left), symbol, right, kAritPrecedence[op]), kAritPrecedence[op]));
        return;
    }
    case EXPRESSIONITEM_TYPE_COMPAREOPERATOR: {
        CRef<ICompareOperator> compare;
        if (!QueryTo(item, IID_ICompareOperator, compare)) Refuse("a comparison without its interface");
        Compare(compare.Get());
        return;
    }
    case EXPRESSIONITEM_TYPE_BOOLOPERATOR: {
        CRef<IBoolOperator> op;
        if (!QueryTo(item, IID_IBoolOperator, op)) Refuse("an operator without its interface");
        const bool isAnd = ReadValue<BOOL_OPERATOR>(op.Get(), &IBoolOperator::get_BoolOperator) == BOOL_OPERATOR_AND;
        const Operand right = PopCondition();
        Operand left = PopCondition();
        // x >= a AND x <= b is what BETWEEN became; x = a OR x = b ... what IN became.
        if (isAnd && left.shape == SHAPE_MORE_EQUALS && right.shape == SHAPE_LESS_EQUALS && left.tested == right.tested) {
            Operand between = MakeCondition(left.tested + " BETWEEN " + left.rest + " AND " + right.rest, PREC_PREDICATE,
                                            SHAPE_BETWEEN);
            between.tested = left.tested;
            between.rest = "BETWEEN " + left.rest + " AND " + right.rest;
            between.column = left.column;
            Push(std::move(between));
            return;
        }
        if (!isAnd && left.shape == SHAPE_IN && right.shape == SHAPE_EQUALS && left.tested == right.tested) {
            // One more value: the list grows in place.
            left.text.pop_back();
            (left.text += ", ") += right.second + ")";
            (left.rest += ", ") += right.second;
            Push(std::move(left));
            return;
        }
        if (!isAnd && left.shape == SHAPE_EQUALS && right.shape == SHAPE_EQUALS && left.tested == right.tested) {
            const std::string list = left.second + ", " + right.second;
            Operand in = MakeCondition(left.tested + " IN (" + list + ")", PREC_PREDICATE, SHAPE_IN);
            in.tested = left.tested;
            in.rest = list;
            in.column = left.column;
            Push(std::move(in));
            return;
        }
        const int precedence = isAnd ? PREC_AND : PREC_OR;
        Push(MakeCondition(Binary(std::move(left), isAnd ? "AND" : "OR", right, precedence), precedence));
        return;
    }
    case EXPRESSIONITEM_TYPE_CONDITIONALSTATEMENT: {
        CRef<IConditionalStatement> conditional;
        if (!QueryTo(item, IID_IConditionalStatement, conditional)) Refuse("a marker without its interface");
        Conditional(conditional.Get());
        return;
    }
    case EXPRESSIONITEM_TYPE_JOINOPERATOR: {
        CRef<IJoinOperator> join;
        if (!QueryTo(item, IID_IJoinOperator, join)) Refuse("a join without its interface");
        Join(join.Get());
        return;
    }
    case EXPRESSIONITEM_TYPE_TABLEIDENT: {
        CRef<ITableIdent> table;
        if (!QueryTo(item, IID_ITableIdent, table)) Refuse("a table without its interface");
        Table(table.Get());
        return;
    }
    case EXPRESSIONITEM_TYPE_SETOPERATOR: {
        CRef<ISetOperator> op;
        if (!QueryTo(item, IID_ISetOperator, op)) Refuse("a set operator without its interface");
        SetOperation(ReadValue<SET_OPERATOR>(op.Get(), &ISetOperator::get_SetOperator));
        return;
    }
    }
    Refuse("an unknown item type");
}

void CExpression::Compare(ICompareOperator* item) {
    const long op = ReadValue<COMPARE_OPERATOR>(item, &ICompareOperator::get_CompareOperator);
    if (op == COMPARE_OPERATOR_NOT) {
        const Operand operand = PopCondition();
        // NOT over IN, BETWEEN and LIKE of a column reads back from x NOT IN (...) and alike.
        if (operand.column && (operand.shape == SHAPE_IN || operand.shape == SHAPE_BETWEEN || operand.shape == SHAPE_LIKE)) {
            const char* word = operand.shape == SHAPE_IN ? " NOT IN (" : " NOT ";
            Push(MakeCondition(operand.tested + word + operand.rest + (operand.shape == SHAPE_IN ? ")" : ""),
                               PREC_PREDICATE));
            return;
        }
        Push(MakeCondition("NOT " + Parenthesised(operand, operand.precedence < PREC_NOT), PREC_NOT));
        return;
    }
    const Operand right = Pop();
    const Operand left = PopValue();
    if (op == COMPARE_OPERATOR_IS || op == COMPARE_OPERATOR_ISNOT) {
        if (right.kind != OPERAND_NULL) Refuse("IS with something other than NULL");
        Push(MakeCondition(left.text + (op == COMPARE_OPERATOR_IS ? " IS NULL" : " IS NOT NULL"), PREC_PREDICATE));
        return;
    }
    if (op == COMPARE_OPERATOR_LIKE) {
        Operand like = MakeCondition(left.text + " LIKE " + Value(right).text, PREC_PREDICATE, SHAPE_LIKE);
        like.tested = left.text;
        like.rest = "LIKE " + right.text;
        like.column = left.column;
        Push(std::move(like));
        return;
    }
    const char* symbol = WordOf(kCompareSymbols, op, "comparison");
    const PREDICATE_SHAPE shape = op == COMPARE_OPERATOR_EQUALS        ? SHAPE_EQUALS
                                  : op == COMPARE_OPERATOR_MOREEQUALS ? SHAPE_MORE_EQUALS
                                  : op == COMPARE_OPERATOR_LESSEQUALS ? SHAPE_LESS_EQUALS
                                                                      : SHAPE_NONE;
    Operand comparison = MakeCondition(left.text + " " + symbol + " " + Value(right).text, PREC_PREDICATE, shape);
    comparison.tested = left.text;
    comparison.rest = right.text;
    comparison.second = right.text;
    comparison.column = left.column;
    Push(std::move(comparison));
}

void CExpression::Conditional(IConditionalStatement* item) {
    const long marker = ReadValue<CONDITIONALSTATEMENT_TYPE>(item, &IConditionalStatement::get_ConditionalStatement);
    switch (marker) {
    case CONDITIONALSTATEMENT_CASE_SIMPLE: Push(MakeMarker(OPERAND_CASE_HEAD, "CASE " + PopValue().text)); return;
    case CONDITIONALSTATEMENT_CASE_SEARCHED: Push(MakeMarker(OPERAND_CASE_HEAD, "CASE")); return;
    case CONDITIONALSTATEMENT_WHEN_SIMPLE:
    case CONDITIONALSTATEMENT_WHEN_SEARCHED: {
        const Operand result = PopValue();
        const Operand test = Pop();
        const bool searched = marker == CONDITIONALSTATEMENT_WHEN_SEARCHED;
        Push(MakeMarker(OPERAND_WHENS, "WHEN " + (searched ? Condition(test) : Value(test)).text + " THEN " + result.text));
        return;
    }
    case CONDITIONALSTATEMENT_ELSE: {
        const Operand value = PopValue();
        Operand head = Pop();
        if (head.kind != OPERAND_CASE_HEAD || head.hasElse) Refuse("ELSE outside a CASE");
        head.hasElse = true;
        head.second = value.text;
        Push(std::move(head));
        return;
    }
    case CONDITIONALSTATEMENT_END: Push(MakeMarker(OPERAND_CASE_END)); return;
    case CONDITIONALSTATEMENT_NULLIF: {
        const Operand second = PopValue();
        const Operand first = PopValue();
        Push(MakeValue("NULLIF(" + first.text + ", " + second.text + ")"));
        return;
    }
    case CONDITIONALSTATEMENT_IF: {
        const Operand condition = PopCondition();
        const Operand pair = Pop();
        if (pair.kind != OPERAND_IF_PAIR) Refuse("IF without its two values");
        Push(MakeValue("IF(" + condition.text + ", " + pair.second + ", " + pair.text + ")"));
        return;
    }
    case CONDITIONALSTATEMENT_COALESCE_BEGIN: Push(MakeMarker(OPERAND_COALESCE)); return;
    case CONDITIONALSTATEMENT_COALESCE_ITEM: {
        const Operand value = PopValue();
        Operand list = Pop();
        if (list.kind != OPERAND_COALESCE) Refuse("a COALESCE argument outside COALESCE");
        list.text += (list.text.empty() ? "" : ", ") + value.text;
        Push(std::move(list));
        return;
    }
    case CONDITIONALSTATEMENT_COALESCE_END: Push(MakeMarker(OPERAND_COALESCE_END)); return;
    case CONDITIONALSTATEMENT_CONTAINER: {
        Operand second = Pop();
        Operand first = Pop();
        if (first.kind == OPERAND_WHENS && second.kind == OPERAND_WHENS) {
            first.text += " " + second.text;
            Push(std::move(first));
        } else if (first.kind == OPERAND_CASE_HEAD && second.kind == OPERAND_WHENS) {
            Operand body = MakeMarker(OPERAND_CASE_BODY, first.text + " " + second.text);
            if (first.hasElse) body.text += " ELSE " + first.second;
            Push(std::move(body));
        } else if (first.kind == OPERAND_CASE_BODY && second.kind == OPERAND_CASE_END) {
            Push(MakeValue(first.text + " END"));
        } else if (first.kind == OPERAND_COALESCE && second.kind == OPERAND_COALESCE_END && !first.text.empty()) {
            Push(MakeValue("COALESCE(" + first.text + ")"));
        } else if (first.kind == OPERAND_VALUE && second.kind == OPERAND_VALUE) {
            Operand pair = MakeMarker(OPERAND_IF_PAIR, first.text);
            pair.second = second.text;
            Push(std::move(pair));
        } else {
            Refuse("a container of parts that belong to no CASE, IF or COALESCE");
        }
        return;
    }
    }
    Refuse("an unknown conditional marker");
}

std::string UsingList(IGenericStack* stack) {
    std::string list;
    const long count = CountOf(stack);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(stack, i, element);
        if (V_VT(&element.Get()) != VT_BSTR) Refuse("a USING column that is no text");
        const BSTR name = V_BSTR(&element.Get());
        if (i > 1) list += ", ";
        list += Name(Utf16ToUtf8(name, SysStringLen(name)), NAME_PLAIN | NAME_QUOTED | NAME_STRING);
    }
    if (list.empty()) Refuse("USING without columns");
    return list;
}

void CExpression::Join(IJoinOperator* item) {
    const long type = ReadValue<JOIN_TYPE>(item, &IJoinOperator::get_JoinType);
    const long condition = ReadValue<JOIN_CONDITION>(item, &IJoinOperator::get_JoinCondition);
    const Operand right = Pop();
    const Operand left = Pop();
    if ((left.kind != OPERAND_TABLE && left.kind != OPERAND_JOIN) || (right.kind != OPERAND_TABLE && right.kind != OPERAND_JOIN))
        Refuse("a join of something other than tables");
    const char* words = WordOf(kJoinWords, type, "join type");
    // Joins group to the left: a join on the right is parenthesised.
    const std::string rightText = Parenthesised(right, right.kind == OPERAND_JOIN);
    std::string text;
    if (type == JOIN_TYPE_CROSS) {
        if (condition != JOIN_CONDITION_NATURAL) Refuse("a cross join with a condition");
        text = left.text + " " + words + " " + rightText;
    } else if (condition == JOIN_CONDITION_ON || condition == JOIN_CONDITION_USING) {
        CRef<IGenericStack> stack;
        if (FAILED(item->get_JoinConditionStack(stack.Out())) || !stack) Refuse("a join without its condition");
        text = left.text + " " + words + " " + rightText;
        if (condition == JOIN_CONDITION_ON) {
            const std::string on = StackText(stack.Get(), true);
            if (on.empty()) Refuse("ON without a condition");
            text += " ON " + on;
        } else {
            text += " USING (" + UsingList(stack.Get()) + ")";
        }
    } else {
        text = left.text + " NATURAL " + words + " " + rightText;
    }
    Push(MakeMarker(OPERAND_JOIN, text));
}

// A table of a FROM list or a join: its name and alias.
std::string TableText(ITableIdent* table) {
    const std::string name = ReadText(table, &ITableIdent::get_Name);
    const std::string alias = ReadText(table, &ITableIdent::get_Alias);
    std::string text = Name(name, NAME_PLAIN | NAME_QUOTED | NAME_STRING);
    if (!alias.empty()) {
        if (!IsPlainName(alias)) Refuse("a table alias that is no plain name");
        text += " AS " + alias;
    }
    return text;
}

void CExpression::Table(ITableIdent* table) {
    if (ReadValue<LONG>(table, &ITableIdent::get_JoinedTable)) Refuse("a joined table inside a join");
    Push(MakeMarker(OPERAND_TABLE, TableText(table)));
}

void CExpression::SetOperation(long op) {
    const char* word = WordOf(kSetWords, op, "set operator");
    // An operand written empty leaves nothing in the stack: the operator then takes
    // what there is. Set operations as operands are parenthesised, so that UNION ALL's
    // own grouping never comes into play.
    Operand right, left;
    bool haveRight = false, haveLeft = false;
    if (!m_Operands.empty() && (m_Operands.back().kind == OPERAND_SELECT || m_Operands.back().kind == OPERAND_SET))
        right = Pop(), haveRight = true;
    if (!m_Operands.empty() && (m_Operands.back().kind == OPERAND_SELECT || m_Operands.back().kind == OPERAND_SET))
        left = Pop(), haveLeft = true;
    if (haveRight && !haveLeft) std::swap(left, right), std::swap(haveLeft, haveRight);
    std::string text;
    if (haveLeft) text = Parenthesised(left, left.kind == OPERAND_SET) + " ";
    text += word;
    if (haveRight) text += " " + Parenthesised(right, right.kind == OPERAND_SET);
    Push(MakeMarker(OPERAND_SET, text));
}

// ---------------------------------------------------------------------------------------
// Statements.

std::string Tables(ITableIdentList* list) {
    std::string text;
    const long count = CountOf(list);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list, i, element);
        CRef<ITableIdent> table;
        if (!QueryTo(element.Object(), IID_ITableIdent, table)) Refuse("a FROM element that is no table");
        if (i > 1) text += ", ";
        if (!ReadValue<LONG>(table.Get(), &ITableIdent::get_JoinedTable)) {
            text += TableText(table.Get());
            continue;
        }
        CRef<IGenericStack> stack;
        if (FAILED(table->get_JoinExpressionStack(stack.Out())) || !stack) Refuse("a joined table without its join");
        CExpression join;
        join.Stack(stack.Get());
        Operand result;
        if (!join.Result(result) || result.kind != OPERAND_JOIN) Refuse("a joined table that holds no join");
        text += result.text;
    }
    if (text.empty()) Refuse("a SELECT without tables");
    return text;
}

template <class List> std::string Columns(List* list, bool numbersAllowed) {
    std::string text;
    const long count = CountOf(list);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list, i, element);
        CRef<IColumnIdent> column;
        if (!QueryTo(element.Object(), IID_IColumnIdent, column)) Refuse("a column list element that is no column");
        if (i > 1) text += ", ";
        text += Column(column.Get(), numbersAllowed);
    }
    return text;
}

std::string SelectList(IGenericStackList* list) {
    std::string text;
    const long count = CountOf(list);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list, i, element);
        CRef<IGenericStack> stack;
        if (!QueryTo(element.Object(), IID_IGenericStack, stack)) Refuse("a select list element that is no stack");
        CExpression expression;
        expression.Stack(stack.Get());
        Operand result;
        if (!expression.Result(result)) Refuse("an empty select list element");
        if (result.kind == OPERAND_STAR) {
            if (count != 1) Refuse("* beside other select list elements");
            return "*";
        }
        if (i > 1) text += ", ";
        text += Value(result).text;
        const std::string alias = ReadText(stack.Get(), &IGenericStack::get_AsName);
        if (!alias.empty()) text += " AS " + Name(alias, NAME_PLAIN | NAME_QUOTED | NAME_STRING);
    }
    if (text.empty()) Refuse("an empty select list");
    return text;
}

std::string OrderBy(IOrderByObjList* list) {
    std::string text;
    const long count = CountOf(list);
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list, i, element);
        CRef<IOrderByObj> order;
        if (!QueryTo(element.Object(), IID_IOrderByObj, order)) Refuse("an ORDER BY element of another kind");
        CRef<IColumnIdent> column;
        if (FAILED(order->get_ColumnIdent(column.Out())) || !column) Refuse("an ORDER BY element without its column");
        if (i > 1) text += ", ";
        text += Column(column.Get(), true);
        if (!ReadValue<LONG>(order.Get(), &IOrderByObj::get_Asc)) text += " DESC";
    }
    return text;
}

template <class T, class Getter> std::string Condition(T* statement, Getter get) {
    CRef<IGenericStack> stack;
    if (FAILED((statement->*get)(stack.Out())) || !stack) Refuse("a condition stack is missing");
    return StackText(stack.Get(), true);
}

std::string Select(ISelectStmt* select) {
    std::string text = "SELECT";
    if (ReadValue<LONG>(select, &ISelectStmt::get_IsTopPercent))
        text += " TOP " + FormatNumber(ReadValue<double>(select, &ISelectStmt::get_TopPercent)) + " PERCENT";
    else if (const long top = ReadValue<LONG>(select, &ISelectStmt::get_Top); top > 0)
        text += " TOP " + std::to_string(top);
    if (ReadValue<LONG>(select, &ISelectStmt::get_Distinct)) text += " DISTINCT";

    CRef<IGenericStackList> items;
    CRef<ITableIdentList> tables;
    CRef<IColumnIdentList> groupBy;
    CRef<IOrderByObjList> orderBy;
    if (FAILED(select->get_SelectExpressionList(items.Out())) || FAILED(select->get_TableIdentList(tables.Out())) ||
        FAILED(select->get_GroupByObjList(groupBy.Out())) || FAILED(select->get_OrderByObjList(orderBy.Out())))
        Refuse("a list of the SELECT could not be read");
    text += " " + SelectList(items.Get()) + " FROM " + Tables(tables.Get());
    const std::string where = Condition(select, &ISelectStmt::get_WhereExpressionStack);
    if (!where.empty()) text += " WHERE " + where;
    const std::string group = Columns(groupBy.Get(), true);
    if (!group.empty()) text += " GROUP BY " + group;
    const std::string having = Condition(select, &ISelectStmt::get_HavingExpressionStack);
    if (!having.empty()) text += " HAVING " + having;
    const std::string order = OrderBy(orderBy.Get());
    if (!order.empty()) text += " ORDER BY " + order;
    if (ReadValue<LONG>(select, &ISelectStmt::get_HasLimitClause))
        text += " LIMIT " + std::to_string(ReadValue<LONG>(select, &ISelectStmt::get_LimitOffset)) + ", " +
                std::to_string(ReadValue<LONG>(select, &ISelectStmt::get_LimitCount));
    return text;
}

// The table of UPDATE, INSERT, DELETE, CREATE TABLE and DROP TABLE: a plain name there.
template <class T> std::string StatementTable(T* statement) {
    CRef<ITableIdent> table;
    if (FAILED(statement->get_TableIdent(table.Out())) || !table) Refuse("the statement has no table");
    const std::string name = ReadText(table.Get(), &ITableIdent::get_Name);
    if (!IsPlainName(name)) Refuse("the statement's table is no plain name");
    return name;
}

std::string Update(IUpdateStmt* update) {
    std::string text = "UPDATE " + StatementTable(update) + " SET ";
    CRef<IUpdateItemList> list;
    if (FAILED(update->get_UpdateItemList(list.Out()))) Refuse("the SET list could not be read");
    const long count = CountOf(list.Get());
    if (count == 0) Refuse("UPDATE without assignments");
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list.Get(), i, element);
        CRef<IUpdateItem> item;
        CRef<IColumnIdent> column;
        CRef<IGenericStack> value;
        if (!QueryTo(element.Object(), IID_IUpdateItem, item) || FAILED(item->get_ColumnIdent(column.Out())) ||
            !column || FAILED(item->get_ExpressionStack(value.Out())) || !value)
            Refuse("an assignment could not be read");
        const std::string valueText = StackText(value.Get(), false);
        if (valueText.empty()) Refuse("an assignment without a value");
        text += (i > 1 ? ", " : "") + Column(column.Get(), false) + " = " + valueText;
    }
    const std::string where = Condition(update, &IUpdateStmt::get_WhereExpressionStack);
    return where.empty() ? text : text + " WHERE " + where;
}

std::string Insert(IInsertStmt* insert) {
    std::string text = "INSERT INTO " + StatementTable(insert);
    CRef<IColumnIdentList> columns;
    CRef<IGenericStackList> values;
    if (FAILED(insert->get_ColumnIdentList(columns.Out())) || FAILED(insert->get_InsertExpressionList(values.Out())))
        Refuse("a list of the INSERT could not be read");
    const std::string columnText = Columns(columns.Get(), false);
    if (!columnText.empty()) text += " (" + columnText + ")";
    std::string valueText;
    const long count = CountOf(values.Get());
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(values.Get(), i, element);
        CRef<IGenericStack> stack;
        if (!QueryTo(element.Object(), IID_IGenericStack, stack)) Refuse("a value that is no stack");
        const std::string value = StackText(stack.Get(), false);
        if (value.empty()) Refuse("an empty value");
        valueText += (i > 1 ? ", " : "") + value;
    }
    if (valueText.empty()) Refuse("INSERT without values");
    return text + " VALUES (" + valueText + ")";
}

std::string Delete(IDeleteStmt* del) {
    const std::string text = "DELETE FROM " + StatementTable(del);
    const std::string where = Condition(del, &IDeleteStmt::get_WhereExpressionStack);
    return where.empty() ? text : text + " WHERE " + where;
}

// The column types, as the builder records them: CHAR(n) by its length, the others by a
// fixed pair of data type and length.
std::string ColumnType(ICreateTableItem* item) {
    const PARSER_DATATYPE type = ReadValue<PARSER_DATATYPE>(item, &ICreateTableItem::get_DataType);
    const short length = ReadValue<short>(item, &ICreateTableItem::get_DataLength);
    if (type == PARSER_DATATYPE_STRING)
        return "CHAR(" + std::to_string(static_cast<unsigned short>(length)) + ")"; // the length is kept in 16 bits
    if (type == PARSER_DATATYPE_INTEGER && length == 4) return "INTEGER";
    if (type == PARSER_DATATYPE_INTEGER && length == 2) return "SMALLINT";
    if (type == PARSER_DATATYPE_FLOAT && length == 8) return "FLOAT";
    Refuse("a column type that no type name gives");
}

std::string CreateTable(ICreateTableStmt* create) {
    std::string text = "CREATE TABLE " + StatementTable(create) + " (";
    CRef<ICreateTableItemList> list;
    if (FAILED(create->get_CreateTableItemList(list.Out()))) Refuse("the column list could not be read");
    const long count = CountOf(list.Get());
    if (count == 0) Refuse("CREATE TABLE without columns");
    for (long i = 1; i <= count; ++i) {
        CVariant element;
        ItemOf(list.Get(), i, element);
        CRef<ICreateTableItem> item;
        if (!QueryTo(element.Object(), IID_ICreateTableItem, item)) Refuse("a column definition of another kind");
        const std::string name = ReadText(item.Get(), &ICreateTableItem::get_ColName);
        if (!IsPlainName(name)) Refuse("a column definition whose name is no plain name");
        text += (i > 1 ? ", " : "") + name + " " + ColumnType(item.Get());
    }
    return text + ")";
}

std::string SetOperations(ISetOperationsStmt* statement) {
    CRef<IGenericStack> stack;
    if (FAILED(statement->get_SetOperationsExpressionStack(stack.Out())) || !stack)
        Refuse("the set operations could not be read");
    CExpression expression;
    expression.Stack(stack.Get());
    std::vector<Operand> operands = expression.TakeAll();
    if (operands.size() == 1 && operands[0].kind == OPERAND_SET) return operands[0].text;
    // A set operation with an operand other than a SELECT keeps only its SELECT operands,
    // without its operator, and so does every operation above it: the operands stand
    // side by side. The same comes of operations whose first operand is a DELETE.
    std::string text = "DELETE FROM t UNION ";
    if (operands.empty()) return text + "DELETE FROM t";
    for (size_t i = 0; i < operands.size(); ++i) {
        if (i > 0) text = "(" + text + ") UNION ";
        text += Parenthesised(operands[i], operands[i].kind == OPERAND_SET);
    }
    return text;
}

template <class T, class Getter> CRef<T>& Statement(IParser* parser, Getter get, CRef<T>& out) {
    if (FAILED((parser->*get)(out.Out())) || !out) Refuse("the statement object is missing");
    return out;
}

std::string Rebuild(IParser* parser) {
    const STATEMENT_TYPE type = ReadValue<STATEMENT_TYPE>(parser, &IParser::get_StatementType);
    switch (type) {
    case STATEMENT_TYPE_SELECT: {
        CRef<ISelectStmt> s;
        return Select(Statement(parser, &IParser::get_SelectStmt, s).Get());
    }
    case STATEMENT_TYPE_UPDATE: {
        CRef<IUpdateStmt> s;
        return Update(Statement(parser, &IParser::get_UpdateStmt, s).Get());
    }
    case STATEMENT_TYPE_INSERT: {
        CRef<IInsertStmt> s;
        return Insert(Statement(parser, &IParser::get_InsertStmt, s).Get());
    }
    case STATEMENT_TYPE_DELETE: {
        CRef<IDeleteStmt> s;
        return Delete(Statement(parser, &IParser::get_DeleteStmt, s).Get());
    }
    case STATEMENT_TYPE_CREATETABLE: {
        CRef<ICreateTableStmt> s;
        return CreateTable(Statement(parser, &IParser::get_CreateTableStmt, s).Get());
    }
    case STATEMENT_TYPE_DROPTABLE: {
        CRef<IDropStmt> s;
        return "DROP TABLE " + StatementTable(Statement(parser, &IParser::get_DropTableStmt, s).Get());
    }
    case STATEMENT_TYPE_SETOPERATIONS: {
        CRef<ISetOperationsStmt> s;
        return SetOperations(Statement(parser, &IParser::get_SetOperationsStmt, s).Get());
    }
    case STATEMENT_TYPE_UNKNOWN: break;
    }
    Refuse("no statement was parsed");
}

} // namespace

bool RebuildStatement(IParser* parser, std::string& sql, std::string& why) {
    try {
        sql = Rebuild(parser);
        return true;
    } catch (const CannotRebuild& refusal) {
        why = refusal.why;
        return false;
    }
}
