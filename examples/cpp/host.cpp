// host.cpp: a C++ host of Tarvolin.Parser, calling it through its vtables.
//
// It needs nothing of the component but the declarations generated from its IDL
// (tarvolin_h.h and the GUIDs in tarvolin_i.c) and the system's COM libraries. It finds
// the class through the registry, parses statements, walks every list and stack, reads
// the error info of a failed call, and checks the component's rules for hosts: when the
// DLL may be unloaded, aggregation, and which classes it serves.
//
// Build with MinGW-w64 (the Windows build does this as the target example_host):
//   x86_64-w64-mingw32-g++ -std=c++17 -I<build>/interfaces/generated host.cpp
//       <build>/interfaces/generated/tarvolin_i.c -lole32 -loleaut32 -luuid -static -o host.exe
// Run it once tarvolin.dll is registered (regsvr32 tarvolin.dll):
//   host.exe [first line of a parse-error report, "Parse error" by default]
// It prints what it checks; the exit code is 0 when every check passed and 1 otherwise.
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>

#include <cstdio>
#include <string>

#include "tarvolin_h.h"

namespace {

// ---------------------------------------------------------------------------------------
// Owning wrappers: every interface pointer, string and VARIANT a host gets, it must
// release; the checks of DllCanUnloadNow below depend on it.

template <class T> class Ptr {
public:
    Ptr() = default;
    Ptr(const Ptr&) = delete;
    Ptr& operator=(const Ptr&) = delete;
    ~Ptr() { Reset(); }
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    T** Out() {
        Reset();
        return &m_p;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }
    void Reset() {
        if (m_p) m_p->Release();
        m_p = nullptr;
    }

private:
    T* m_p = nullptr;
};

// Asks an object for another of its interfaces.
template <class T> bool As(IUnknown* object, REFIID iid, Ptr<T>& result) {
    return object && SUCCEEDED(object->QueryInterface(iid, result.OutVoid())) && result;
}

std::string Utf8(const OLECHAR* text) {
    if (!text) return "";
    const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string out(n > 0 ? n - 1 : 0, '\0');
    if (n > 1) WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], n, nullptr, nullptr);
    return out;
}

class Bstr {
public:
    Bstr() = default;
    explicit Bstr(const char* text) {
        const int n = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
        m_b = SysAllocStringLen(nullptr, n - 1);
        MultiByteToWideChar(CP_UTF8, 0, text, -1, m_b, n);
    }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(m_b); }
    BSTR Get() const { return m_b; }
    BSTR* Out() {
        SysFreeString(m_b);
        m_b = nullptr;
        return &m_b;
    }
    std::string Str() const { return Utf8(m_b); }

private:
    BSTR m_b = nullptr;
};

struct Variant {
    VARIANT v;
    Variant() { VariantInit(&v); }
    ~Variant() { VariantClear(&v); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    // The object an element of a list or stack holds (the list keeps its reference).
    IDispatch* Object() const { return V_VT(&v) == VT_DISPATCH ? V_DISPATCH(&v) : nullptr; }
};

// ---------------------------------------------------------------------------------------
// Checking and printing.

int g_checks = 0;
int g_failures = 0;

void Line(int depth, const std::string& text) { std::printf("%*s%s\n", depth * 2, "", text.c_str()); }

std::string Hex(HRESULT hr) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "0x%08lX", static_cast<unsigned long>(hr));
    return buffer;
}

void Report(bool ok, const std::string& what, const std::string& got, const std::string& expected, bool quiet = false) {
    ++g_checks;
    if (!ok) {
        ++g_failures;
        Line(0, "FAIL " + what + ": got <" + got + ">, expected <" + expected + ">");
    } else if (!quiet) {
        Line(0, "ok   " + what + ": " + got);
    }
}

void CheckText(const std::string& what, const std::string& got, const std::string& expected, bool quiet = false) {
    Report(got == expected, what, got, expected, quiet);
}

void CheckNumber(const std::string& what, long got, long expected) {
    Report(got == expected, what, std::to_string(got), std::to_string(expected));
}

// A call must return exactly this code.
bool CheckHr(const std::string& what, HRESULT got, HRESULT expected) {
    Report(got == expected, what, Hex(got), Hex(expected));
    return got == expected;
}

void CheckTrue(const std::string& what, bool condition) { Report(condition, what, condition ? "yes" : "no", "yes"); }

void Append(std::string& list, const std::string& text) { list += (list.empty() ? "" : ", ") + text; }

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// ---------------------------------------------------------------------------------------
// Walking. Every list and stack has get_Count, get_Item(i) (1-based, a VARIANT holding
// an object) and get__NewEnum (an IEnumVARIANT). A stack's elements are expression items,
// except in a set operation's stack, which also holds SelectStmt objects, and in
// SelectExpressionList, whose elements are stacks themselves.

// Turns one element into text; prints it (and what it contains) when show is true.
using Describer = std::string (*)(IDispatch* element, int depth, bool show);

// Walks a list with its enumerator, printing each element, and again with get_Item;
// both walks must give the same text. Without show, only the second walk, silently.
template <class List> std::string Walk(const char* what, List* list, Describer describe, int depth, bool show) {
    LONG count = -1;
    if (FAILED(list->get_Count(&count))) count = -1;
    std::string byIndex;
    for (LONG i = 1; i <= count; ++i) {
        Variant element;
        HRESULT hr = list->get_Item(i, &element.v);
        if (FAILED(hr) || !element.Object()) {
            Report(false, std::string(what) + " item " + std::to_string(i), Hex(hr), "an object");
            continue;
        }
        Append(byIndex, describe(element.Object(), depth + 1, false));
    }
    if (!show) return byIndex;

    Line(depth, std::string(what) + " (" + std::to_string(count) + "):");
    std::string byEnumerator;
    LONG fetchedCount = 0;
    Ptr<IUnknown> unknown;
    Ptr<IEnumVARIANT> items;
    if (SUCCEEDED(list->get__NewEnum(unknown.Out())) && As(unknown.Get(), IID_IEnumVARIANT, items)) {
        for (;;) {
            Variant element;
            ULONG fetched = 0;
            if (items->Next(1, &element.v, &fetched) != S_OK || fetched != 1) break;
            ++fetchedCount;
            Append(byEnumerator, element.Object() ? describe(element.Object(), depth + 1, true) : "<no object>");
        }
    } else {
        Report(false, std::string(what) + " _NewEnum", "no IEnumVARIANT", "an IEnumVARIANT");
    }
    CheckText(std::string(what) + ": get_Item agrees with the enumerator", byIndex, byEnumerator, true);
    Report(fetchedCount == count, std::string(what) + ": Count", std::to_string(fetchedCount), std::to_string(count), true);
    return byEnumerator;
}

// An expression item: its text, and for joins the stacks they carry, in parentheses.
std::string DescribeItem(IDispatch* element, int depth, bool show) {
    Ptr<IExpressionItem> item;
    if (!As(element, IID_IExpressionItem, item)) return "<not an expression item>";
    Bstr text;
    EXPRESSIONITEM_TYPE type = EXPRESSIONITEM_TYPE_AGGREGATEFUNCTION;
    item->get_AsString(text.Out());
    item->get_ItemType(&type);
    std::string result = text.Str();
    if (show) Line(depth, result + "  [ItemType " + std::to_string(type) + "]");

    Ptr<IGenericStack> stack;
    Ptr<IJoinOperator> join;
    Ptr<ITableIdent> table;
    if (type == EXPRESSIONITEM_TYPE_JOINOPERATOR && As(element, IID_IJoinOperator, join)) {
        // "INNER JOIN ON": the ON condition is a stack of its own.
        if (SUCCEEDED(join->get_JoinConditionStack(stack.Out())) && stack)
            result += " (" + Walk("JoinConditionStack", stack.Get(), DescribeItem, depth + 1, show) + ")";
    } else if (type == EXPRESSIONITEM_TYPE_TABLEIDENT && As(element, IID_ITableIdent, table)) {
        // A FROM entry with joins: its tables and join operators, in postfix order.
        LONG joined = 0;
        table->get_JoinedTable(&joined);
        if (joined && SUCCEEDED(table->get_JoinExpressionStack(stack.Out())) && stack)
            result += " (" + Walk("JoinExpressionStack", stack.Get(), DescribeItem, depth + 1, show) + ")";
    }
    return result;
}

// An element of SelectExpressionList: a stack with the column's alias in AsName.
std::string DescribeSelectExpression(IDispatch* element, int depth, bool show) {
    Ptr<IGenericStack> stack;
    if (!As(element, IID_IGenericStack, stack)) return "<not a stack>";
    Bstr name;
    stack->get_AsName(name.Out());
    const std::string alias = name.Str();
    const std::string what = alias.empty() ? "expression without alias" : "expression AS " + alias;
    const std::string items = "(" + Walk(what.c_str(), stack.Get(), DescribeItem, depth, show) + ")";
    return alias.empty() ? items : alias + " = " + items;
}

// An element of OrderByObjList: the column, and Asc (-1 ascending, 0 descending).
std::string DescribeOrderBy(IDispatch* element, int depth, bool show) {
    Ptr<IOrderByObj> order;
    Ptr<IColumnIdent> column;
    if (!As(element, IID_IOrderByObj, order) || FAILED(order->get_ColumnIdent(column.Out())) || !column)
        return "<not an ORDER BY entry>";
    LONG asc = 0;
    Bstr text;
    order->get_Asc(&asc);
    column->get_AsString(text.Out());
    const std::string result = text.Str() + (asc ? " ASC" : " DESC");
    if (show) Line(depth, result + "  [Asc = " + std::to_string(asc) + "]");
    return result;
}

std::string DescribeSelect(ISelectStmt* select, int depth, bool show) {
    Ptr<IGenericStackList> expressions;
    Ptr<ITableIdentList> tables;
    Ptr<IGenericStack> where;
    select->get_SelectExpressionList(expressions.Out());
    select->get_TableIdentList(tables.Out());
    select->get_WhereExpressionStack(where.Out());
    if (!expressions || !tables || !where) return "<incomplete SelectStmt>";
    // One statement per walk: the printed lines come in this order.
    std::string text = Walk("SelectExpressionList", expressions.Get(), DescribeSelectExpression, depth, show);
    text += " FROM " + Walk("TableIdentList", tables.Get(), DescribeItem, depth, show);
    LONG n = 0;
    where->get_Count(&n);
    if (n > 0) text += " WHERE " + Walk("WhereExpressionStack", where.Get(), DescribeItem, depth, show);
    return text;
}

// An element of a set operation's stack: a whole SELECT, or UNION, UNION ALL, ...
std::string DescribeSetElement(IDispatch* element, int depth, bool show) {
    Ptr<ISelectStmt> select;
    if (!As(element, IID_ISelectStmt, select)) return DescribeItem(element, depth, show);
    if (show) Line(depth, "SelectStmt:");
    return "{" + DescribeSelect(select.Get(), depth + 1, show) + "}";
}

// ---------------------------------------------------------------------------------------
// The error info a failed call left for this thread: source and description.

struct ErrorInfo {
    bool present = false;
    std::string source, description;
};

ErrorInfo TakeErrorInfo() {
    ErrorInfo result;
    Ptr<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK || !info) return result;
    Bstr source, description;
    info->GetSource(source.Out());
    info->GetDescription(description.Out());
    result.present = true;
    result.source = source.Str();
    result.description = description.Str();
    return result;
}

// Whether an object says its interface reports errors through error info.
bool SupportsErrorInfo(IUnknown* object, REFIID iid) {
    Ptr<ISupportErrorInfo> support;
    return As(object, IID_ISupportErrorInfo, support) && support->InterfaceSupportsErrorInfo(iid) == S_OK;
}

// ---------------------------------------------------------------------------------------
// An outer object that aggregates a Parser: it hands out the inner object's IParser as
// its own. The inner object's interfaces delegate AddRef, Release and QueryInterface to
// this object, so the pair has one identity and one reference count.

class Outer final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (IsEqualGUID(iid, IID_IUnknown)) {
            *result = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        if (IsEqualGUID(iid, IID_IParser) && m_Inner) return m_Inner->QueryInterface(iid, result);
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRef; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRef;
        if (n == 0) {
            // Guard against re-entry while the inner object goes.
            m_nRef = 1;
            if (m_Inner) m_Inner->Release();
            m_Inner = nullptr;
            delete this;
        }
        return n;
    }
    // The inner object's own IUnknown: the only interface of it an outer object may hold.
    IUnknown** Inner() { return &m_Inner; }
    ULONG References() const { return m_nRef; }

private:
    ULONG m_nRef = 1;
    IUnknown* m_Inner = nullptr;
};

// ---------------------------------------------------------------------------------------
// The host.

const char* const kSelect =
    "SELECT c.name AS customer, COUNT(o.id) AS orders, "
    "CASE WHEN COUNT(o.id) > 10 THEN 'big' ELSE 'small' END AS size "
    "FROM customers c INNER JOIN orders o ON c.id = o.customer_id "
    "LEFT JOIN regions r ON r.id = c.region_id "
    "WHERE c.state IN ('NY', 'CA') AND o.total >= 10 "
    "GROUP BY c.name HAVING COUNT(o.id) > 1 ORDER BY c.name DESC, orders";
const char* const kUnion = "SELECT a FROM t UNION SELECT b FROM u WHERE b > 1 UNION ALL SELECT c FROM v";

using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, LPVOID*);

template <class F> F Entry(HMODULE module, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

void WalkSelect(IParser* parser) {
    Line(0, "== SELECT with joins, CASE, IN and aliases");
    Bstr sql(kSelect);
    if (!CheckHr("ParseSQL", parser->ParseSQL(sql.Get()), S_OK)) return;
    STATEMENT_TYPE type = STATEMENT_TYPE_UNKNOWN;
    parser->get_StatementType(&type);
    CheckNumber("StatementType", type, STATEMENT_TYPE_SELECT);
    // Only the getter of the parsed statement's kind gives an object.
    Ptr<IUpdateStmt> update;
    Ptr<ISetOperationsStmt> set;
    CheckHr("get_UpdateStmt of a SELECT", parser->get_UpdateStmt(update.Out()), S_OK);
    CheckTrue("  ... gives no object", !update);
    CheckHr("get_SetOperationsStmt of a SELECT", parser->get_SetOperationsStmt(set.Out()), S_OK);
    CheckTrue("  ... gives no object", !set);

    Ptr<ISelectStmt> select;
    if (!CheckHr("get_SelectStmt", parser->get_SelectStmt(select.Out()), S_OK) || !select) return;
    Ptr<IGenericStackList> expressions;
    Ptr<ITableIdentList> tables;
    Ptr<IGenericStack> where, having;
    Ptr<IColumnIdentList> groupBy;
    Ptr<IOrderByObjList> orderBy;
    select->get_SelectExpressionList(expressions.Out());
    select->get_TableIdentList(tables.Out());
    select->get_WhereExpressionStack(where.Out());
    select->get_GroupByObjList(groupBy.Out());
    select->get_HavingExpressionStack(having.Out());
    select->get_OrderByObjList(orderBy.Out());
    if (!expressions || !tables || !where || !groupBy || !having || !orderBy) {
        Report(false, "lists of the SelectStmt", "missing", "all six");
        return;
    }
    // Expressions are stacks in postfix order: operands first, then their operator.
    CheckText("SelectExpressionList",
              Walk("SelectExpressionList", expressions.Get(), DescribeSelectExpression, 0, true),
              "customer = (c.name), orders = (o.id, COUNT), size = (CASE_SEARCHED, small, CASE_ELSE, "
              "o.id, COUNT, 10, >, big, WHEN_SEARCHED, CASE_CONTAINER, CASE_END, CASE_CONTAINER)");
    CheckText("TableIdentList", Walk("TableIdentList", tables.Get(), DescribeItem, 0, true),
              "{JoinedTable} (customers AS c, orders AS o, INNER JOIN ON (c.id, o.customer_id, =), "
              "regions AS r, LEFT JOIN ON (r.id, c.region_id, =))");
    // IN (a, b) arrives as a chain of comparisons joined by OR.
    CheckText("WhereExpressionStack", Walk("WhereExpressionStack", where.Get(), DescribeItem, 0, true),
              "c.state, NY, =, c.state, CA, =, OR, o.total, 10, >=, AND");
    CheckText("GroupByObjList", Walk("GroupByObjList", groupBy.Get(), DescribeItem, 0, true), "c.name");
    CheckText("HavingExpressionStack", Walk("HavingExpressionStack", having.Get(), DescribeItem, 0, true),
              "o.id, COUNT, 1, >");
    CheckText("OrderByObjList", Walk("OrderByObjList", orderBy.Get(), DescribeOrderBy, 0, true),
              "c.name DESC, orders ASC");

    // Out of range: there is no item 0 and none past Count.
    Variant none, beyond;
    CheckTrue("WhereExpressionStack get_Item(0) fails", FAILED(where->get_Item(0, &none.v)));
    CheckTrue("WhereExpressionStack get_Item(Count + 1) fails", FAILED(where->get_Item(12, &beyond.v)));

    Line(0, "== Peek and Pop");
    // Peek and Pop give the element at Item(1); Pop takes it off the statement's own stack.
    Variant top;
    LONG before = 0;
    CheckHr("Peek", having->Peek(&top.v), S_OK);
    CheckText("  ... gives", top.Object() ? DescribeItem(top.Object(), 0, false) : "<no object>", "o.id");
    having->get_Count(&before);
    CheckNumber("Count after Peek", before, 4);
    std::string popped;
    for (;;) {
        LONG n = 0;
        having->get_Count(&n);
        if (n == 0) break;
        Variant element;
        if (FAILED(having->Pop(&element.v))) break;
        Append(popped, DescribeItem(element.Object(), 0, false));
    }
    CheckText("Pop until empty", popped, "o.id, COUNT, 1, >");
    Ptr<IGenericStack> again;
    LONG after = -1;
    if (SUCCEEDED(select->get_HavingExpressionStack(again.Out())) && again) again->get_Count(&after);
    CheckNumber("the statement's HAVING stack after popping", after, 0);
    Variant element;
    CheckHr("Pop on an empty stack", having->Pop(&element.v), DISP_E_EXCEPTION);
    const ErrorInfo empty = TakeErrorInfo();
    CheckTrue("  ... leaves error info", empty.present);
    CheckText("  ... description", empty.description, "Stack is empty");
    // The stack is no registered class: the error has no source.
    CheckText("  ... source", empty.source, "");
    CheckTrue("the stack reports errors through error info", SupportsErrorInfo(having.Get(), IID_IGenericStack));
}

void ParseError(IParser* parser, const std::string& expectedFirstLine) {
    Line(0, "== A statement that does not parse");
    Bstr sql("SELECT FROM");
    CheckHr("ParseSQL(\"SELECT FROM\")", parser->ParseSQL(sql.Get()), DISP_E_EXCEPTION);
    // Read the error info at once: the next call may replace it.
    const ErrorInfo error = TakeErrorInfo();
    CheckTrue("  ... leaves error info", error.present);
    CheckTrue("IParser reports errors through error info", SupportsErrorInfo(parser, IID_IParser));
    // The source is the parser's ProgID, as registered.
    CheckText("  ... source", error.source, "Tarvolin.Parser.1");
    // The description is the whole report: its first line, the expected tokens and a trace
    // of the parse, one per line.
    CheckText("  ... first line of the description", FirstLine(error.description), expectedFirstLine);
    CheckTrue("  ... the description goes on", error.description.size() > expectedFirstLine.size() + 1);
    STATEMENT_TYPE type = STATEMENT_TYPE_SELECT;
    parser->get_StatementType(&type);
    CheckNumber("StatementType after the failure", type, STATEMENT_TYPE_UNKNOWN);
}

// Parses the UNION and walks its stack; gives the caller the statement to hold.
void WalkUnion(IParser* parser, Ptr<ISetOperationsStmt>& set) {
    Line(0, "== UNION and UNION ALL");
    Bstr sql(kUnion);
    if (!CheckHr("ParseSQL", parser->ParseSQL(sql.Get()), S_OK)) return;
    STATEMENT_TYPE type = STATEMENT_TYPE_UNKNOWN;
    parser->get_StatementType(&type);
    CheckNumber("StatementType", type, STATEMENT_TYPE_SETOPERATIONS);
    Ptr<ISelectStmt> select;
    parser->get_SelectStmt(select.Out());
    CheckTrue("get_SelectStmt of a set operation gives no object", !select);
    Ptr<IGenericStack> stack;
    if (FAILED(parser->get_SetOperationsStmt(set.Out())) || !set ||
        FAILED(set->get_SetOperationsExpressionStack(stack.Out())) || !stack) {
        Report(false, "SetOperationsStmt and its stack", "missing", "present");
        return;
    }
    // The stack holds the SELECTs and the operators between them, in postfix order.
    CheckText("SetOperationsExpressionStack",
              Walk("SetOperationsExpressionStack", stack.Get(), DescribeSetElement, 0, true),
              "{(a) FROM t}, {(b) FROM u WHERE b, 1, >}, UNION, {(c) FROM v}, UNIONALL");
    Variant third;
    Ptr<ISetOperator> op;
    SET_OPERATOR kind = SET_OPERATOR_EXCEPT;
    if (SUCCEEDED(stack->get_Item(3, &third.v)) && As(third.Object(), IID_ISetOperator, op)) op->get_SetOperator(&kind);
    CheckNumber("element 3: SetOperator (SET_OPERATOR_UNION)", kind, SET_OPERATOR_UNION);
}

// A Parser inside an outer object.
void Aggregation() {
    Line(0, "== Aggregation");
    Outer* outer = new Outer;
    HRESULT hr = CoCreateInstance(CLSID_Parser, outer, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                  reinterpret_cast<void**>(outer->Inner()));
    if (CheckHr("CoCreateInstance with an outer object, IID_IUnknown", hr, S_OK)) {
        Ptr<IParser> parser;
        CheckHr("the outer object's IParser", outer->QueryInterface(IID_IParser, parser.OutVoid()), S_OK);
        if (parser) {
            // References taken through the inner object's interfaces count on the outer one.
            CheckNumber("the outer object's references while its IParser is held", outer->References(), 2);
            Ptr<IUnknown> identity;
            parser->QueryInterface(IID_IUnknown, identity.OutVoid());
            CheckTrue("IParser's IUnknown is the outer object", identity.Get() == static_cast<IUnknown*>(outer));
            identity.Reset();
            Bstr sql("SELECT a FROM t");
            CheckHr("ParseSQL through the outer object", parser->ParseSQL(sql.Get()), S_OK);
        }
    }
    outer->Release();

    // An outer object can only get the inner object's own IUnknown.
    Outer* other = new Outer;
    IParser* parser = reinterpret_cast<IParser*>(1);
    CheckHr("CoCreateInstance with an outer object, IID_IParser",
            CoCreateInstance(CLSID_Parser, other, CLSCTX_INPROC_SERVER, IID_IParser, reinterpret_cast<void**>(&parser)),
            CLASS_E_NOAGGREGATION);
    CheckTrue("  ... gives no object", parser == nullptr);
    other->Release();
}

// Only Parser is a class the DLL serves; every other object comes from a parse.
void Classes(HMODULE module) {
    Line(0, "== Classes");
    GetClassObject getClassObject = Entry<GetClassObject>(module, "DllGetClassObject");
    CanUnloadNow canUnloadNow = Entry<CanUnloadNow>(module, "DllCanUnloadNow");
    if (!getClassObject || !canUnloadNow) {
        Report(false, "DllGetClassObject and DllCanUnloadNow", "missing", "exported");
        return;
    }
    void* object = reinterpret_cast<void*>(1);
    CheckHr("DllGetClassObject(CLSID_SelectStmt)", getClassObject(CLSID_SelectStmt, IID_IClassFactory, &object),
            CLASS_E_CLASSNOTAVAILABLE);
    CheckTrue("  ... gives no object", object == nullptr);
    // Through COM the answer comes from the registry, where only Parser is.
    object = reinterpret_cast<void*>(1);
    CheckHr("CoGetClassObject(CLSID_SelectStmt)",
            CoGetClassObject(CLSID_SelectStmt, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, &object),
            REGDB_E_CLASSNOTREG);
    CheckTrue("  ... gives no object", object == nullptr);

    Ptr<IClassFactory> factory;
    CheckHr("CoGetClassObject(CLSID_Parser)",
            CoGetClassObject(CLSID_Parser, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.OutVoid()), S_OK);
    if (factory) {
        // A factory the host holds keeps the DLL in use, as LockServer does.
        CheckHr("DllCanUnloadNow while a class factory is held", canUnloadNow(), S_FALSE);
        Ptr<IParser> parser;
        CheckHr("IClassFactory::CreateInstance", factory->CreateInstance(nullptr, IID_IParser, parser.OutVoid()), S_OK);
        parser.Reset();
        CheckHr("LockServer(TRUE)", factory->LockServer(TRUE), S_OK);
        factory.Reset();
        CheckHr("DllCanUnloadNow while the server is locked", canUnloadNow(), S_FALSE);
        CoGetClassObject(CLSID_Parser, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.OutVoid());
        if (factory) factory->LockServer(FALSE);
        factory.Reset();
    }
    CheckHr("DllCanUnloadNow after the factory is released and unlocked", canUnloadNow(), S_OK);
}

int Run(const std::string& expectedFirstLine) {
    // The ProgIDs lead to the class, and the class to its ProgID.
    Line(0, "== Registration");
    CLSID clsid = CLSID_NULL;
    CheckHr("CLSIDFromProgID(\"Tarvolin.Parser\")", CLSIDFromProgID(L"Tarvolin.Parser", &clsid), S_OK);
    CheckTrue("  ... is CLSID_Parser", IsEqualGUID(clsid, CLSID_Parser));
    clsid = CLSID_NULL;
    CheckHr("CLSIDFromProgID(\"Tarvolin.Parser.1\")", CLSIDFromProgID(L"Tarvolin.Parser.1", &clsid), S_OK);
    CheckTrue("  ... is CLSID_Parser", IsEqualGUID(clsid, CLSID_Parser));
    LPOLESTR progId = nullptr;
    CheckHr("ProgIDFromCLSID(CLSID_Parser)", ProgIDFromCLSID(CLSID_Parser, &progId), S_OK);
    CheckText("  ... is", Utf8(progId), "Tarvolin.Parser.1");
    CoTaskMemFree(progId);

    // COM loads tarvolin.dll from the path registered under InprocServer32.
    Ptr<IParser> parser;
    if (!CheckHr("CoCreateInstance(CLSID_Parser)",
                 CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IParser, parser.OutVoid()), S_OK))
        return 1;
    HMODULE module = GetModuleHandleW(L"tarvolin.dll");
    CanUnloadNow canUnloadNow = module ? Entry<CanUnloadNow>(module, "DllCanUnloadNow") : nullptr;
    CheckTrue("tarvolin.dll is loaded and exports DllCanUnloadNow", canUnloadNow != nullptr);
    if (!canUnloadNow) return 1;
    CheckHr("DllCanUnloadNow while a parser is held", canUnloadNow(), S_FALSE);

    WalkSelect(parser.Get());
    ParseError(parser.Get(), expectedFirstLine);
    Ptr<ISetOperationsStmt> set;
    WalkUnion(parser.Get(), set);

    // Every object keeps the DLL in use, a statement without its parser too.
    Line(0, "== Unloading");
    parser.Reset();
    CheckTrue("a statement outlives its parser", static_cast<bool>(set));
    CheckHr("DllCanUnloadNow while only a statement is held", canUnloadNow(), S_FALSE);
    set.Reset();
    CheckHr("DllCanUnloadNow after everything is released", canUnloadNow(), S_OK);

    Aggregation();
    CheckHr("DllCanUnloadNow after the aggregates are released", canUnloadNow(), S_OK);
    Classes(module);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string expectedFirstLine = argc > 1 ? argv[1] : "Parse error";
    if (FAILED(CoInitialize(nullptr))) {
        std::printf("FAIL CoInitialize\n");
        return 1;
    }
    Run(expectedFirstLine);
    CoUninitialize();
    if (g_failures) {
        std::printf("host: %d of %d checks failed\n", g_failures, g_checks);
        return 1;
    }
    std::printf("host: all %d checks passed\n", g_checks);
    return 0;
}
