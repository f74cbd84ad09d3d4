// The C++ interface of Tarvolin: the component's own interfaces, with ownership, errors,
// UTF-8 and iteration taken care of. Header-only; it works over the real COM runtime on
// Windows and over the platform layer natively.
//
//     tarvolin::Apartment apartment;              // CoInitializeEx for this thread
//     tarvolin::Parser parser;                    // CoCreateInstance of Tarvolin.Parser
//     parser.parse("SELECT a, b FROM t WHERE a > 1");
//     auto select = parser.select();              // Ptr<ISelectStmt>
//     for (auto table : tarvolin::items(tarvolin::get(select, &ISelectStmt::get_TableIdentList)))
//         std::cout << tarvolin::get(table, &ITableIdent::get_TableName) << '\n';
//     for (auto item : tarvolin::items(tarvolin::get(select, &ISelectStmt::get_WhereExpressionStack)))
//         std::cout << tarvolin::as_string(item) << '\n';
//
// Every failed call throws tarvolin::Error with the HRESULT and, when the object reported
// one, the error report's text. Ptr<I> releases what it holds, so a host never calls
// Release or SysFreeString itself. Texts go in and come out as UTF-8.
#pragma once

#include <cstddef>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "interfaces/interfaces.h"
#include "platform/utf.h"

namespace tarvolin {

// ---- Errors -------------------------------------------------------------------------------

class Error : public std::runtime_error {
  public:
    Error(HRESULT hr, const std::string& message) : std::runtime_error(message), m_hr(hr) {}
    HRESULT hresult() const noexcept { return m_hr; }

  private:
    HRESULT m_hr;
};

namespace detail {

inline std::string ToUtf8(BSTR text) {
    return text ? Utf16ToUtf8(text, SysStringLen(text)) : std::string();
}

inline std::string HexCode(HRESULT hr) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "HRESULT 0x%08lX",
                  static_cast<unsigned long>(static_cast<ULONG>(hr)));
    return buffer;
}

// The error information the failed call left for this thread, or the code alone.
[[noreturn]] inline void Throw(HRESULT hr) {
    std::string message;
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK && info) {
        BSTR description = nullptr;
        if (SUCCEEDED(info->GetDescription(&description))) message = ToUtf8(description);
        SysFreeString(description);
        info->Release();
    }
    throw Error(hr, message.empty() ? HexCode(hr) : message);
}

inline void Check(HRESULT hr) {
    if (FAILED(hr)) Throw(hr);
}

// The IID of each interface, for QueryInterface.
template <class I> struct Iid;
#define TARVOLIN_IID(I)                                                                                      \
    template <> struct Iid<I> {                                                                              \
        static const IID& get() { return IID_##I; }                                                          \
    }
TARVOLIN_IID(IUnknown);
TARVOLIN_IID(IDispatch);
TARVOLIN_IID(IExpressionItem);
TARVOLIN_IID(IAggregateFunction);
TARVOLIN_IID(ISelectStarExpression);
TARVOLIN_IID(IColumnIdent);
TARVOLIN_IID(IAritOperator);
TARVOLIN_IID(IBoolOperator);
TARVOLIN_IID(ICompareOperator);
TARVOLIN_IID(IDateFunction);
TARVOLIN_IID(ILiteralValue);
TARVOLIN_IID(IMathFunction);
TARVOLIN_IID(INullExpression);
TARVOLIN_IID(IJoinOperator);
TARVOLIN_IID(ITableIdent);
TARVOLIN_IID(ICaseState);
TARVOLIN_IID(IConditionalStatement);
TARVOLIN_IID(ISetOperator);
TARVOLIN_IID(ITableIdentList);
TARVOLIN_IID(IColumnIdentList);
TARVOLIN_IID(IOrderByObjList);
TARVOLIN_IID(IGenericStackList);
TARVOLIN_IID(IUpdateItemList);
TARVOLIN_IID(ICreateTableItemList);
TARVOLIN_IID(IGenericColl);
TARVOLIN_IID(IGenericStack);
TARVOLIN_IID(ISelectStmt);
TARVOLIN_IID(IUpdateStmt);
TARVOLIN_IID(IInsertStmt);
TARVOLIN_IID(IDeleteStmt);
TARVOLIN_IID(ICreateTableStmt);
TARVOLIN_IID(IDropStmt);
TARVOLIN_IID(ISetOperationsStmt);
TARVOLIN_IID(IOrderByObj);
TARVOLIN_IID(IUpdateItem);
TARVOLIN_IID(ICreateTableItem);
TARVOLIN_IID(IParser);
#undef TARVOLIN_IID

} // namespace detail

// ---- Owning interface pointers ------------------------------------------------------------

template <class I> class Ptr {
  public:
    Ptr() noexcept = default;
    Ptr(std::nullptr_t) noexcept {}
    // Takes over a reference the caller owns.
    static Ptr Attach(I* p) noexcept {
        Ptr result;
        result.m_p = p;
        return result;
    }
    // Adds a reference of its own.
    static Ptr Share(I* p) noexcept {
        if (p) p->AddRef();
        return Attach(p);
    }
    Ptr(const Ptr& other) noexcept : m_p(other.m_p) {
        if (m_p) m_p->AddRef();
    }
    Ptr(Ptr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    Ptr& operator=(Ptr other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    ~Ptr() { reset(); }

    I* get() const noexcept { return m_p; }
    I* operator->() const noexcept { return m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    void reset() noexcept {
        if (I* p = std::exchange(m_p, nullptr)) p->Release();
    }
    // For a call that hands out a new reference: releases what is held, returns the slot.
    I** put() noexcept {
        reset();
        return &m_p;
    }
    I* detach() noexcept { return std::exchange(m_p, nullptr); }

    // Another interface of the same object; empty when the object does not have it.
    template <class J> Ptr<J> as() const {
        Ptr<J> result;
        if (m_p) m_p->QueryInterface(detail::Iid<J>::get(), reinterpret_cast<void**>(result.put()));
        return result;
    }

  private:
    I* m_p = nullptr;
};

// ---- Reading properties -------------------------------------------------------------------

namespace detail {

// What a property getter's out-parameter becomes for the caller.
template <class T> struct Out {
    T value{};
    T* slot() { return &value; }
    T take() { return value; }
};
template <> struct Out<BSTR> {
    BSTR value = nullptr;
    ~Out() { SysFreeString(value); }
    BSTR* slot() { return &value; }
    std::string take() { return ToUtf8(value); }
};
template <class J> struct Out<J*> {
    Ptr<J> value;
    J** slot() { return value.put(); }
    Ptr<J> take() { return std::move(value); }
};

template <class P> auto* Raw(const P& object) {
    if constexpr (std::is_pointer_v<P>) {
        return object;
    } else {
        return object.get();
    }
}

} // namespace detail

// The value of a property: get(select, &ISelectStmt::get_Top) is a long, a BSTR property is
// a UTF-8 std::string and an object property a Ptr. Throws Error when the call fails,
// including on an empty pointer (E_POINTER).
template <class P, class I, class T> auto get(const P& object, HRESULT (STDMETHODCALLTYPE I::*getter)(T*)) {
    I* raw = detail::Raw(object);
    if (!raw) throw Error(E_POINTER, detail::HexCode(E_POINTER));
    detail::Out<T> out;
    detail::Check((raw->*getter)(out.slot()));
    return out.take();
}

// AsString and ItemType of any expression item (through IExpressionItem).
template <class P> std::string as_string(const P& object) {
    return get(Ptr<IUnknown>::Share(detail::Raw(object)).template as<IExpressionItem>(),
               &IExpressionItem::get_AsString);
}
template <class P> EXPRESSIONITEM_TYPE item_type(const P& object) {
    return get(Ptr<IUnknown>::Share(detail::Raw(object)).template as<IExpressionItem>(),
               &IExpressionItem::get_ItemType);
}

// ---- Iterating lists and stacks -----------------------------------------------------------

// The interface of a collection's elements. A stack holds expression items, and in a set
// operation also SELECT statements, so its elements are IDispatch: ask them with as<>().
template <class List> struct ElementOf;
template <> struct ElementOf<ITableIdentList> { using type = ITableIdent; };
template <> struct ElementOf<IColumnIdentList> { using type = IColumnIdent; };
template <> struct ElementOf<IOrderByObjList> { using type = IOrderByObj; };
template <> struct ElementOf<IGenericStackList> { using type = IGenericStack; };
template <> struct ElementOf<IUpdateItemList> { using type = IUpdateItem; };
template <> struct ElementOf<ICreateTableItemList> { using type = ICreateTableItem; };
template <> struct ElementOf<IGenericColl> { using type = IDispatch; };
template <> struct ElementOf<IGenericStack> { using type = IDispatch; };

// The elements of a list or stack in order (Item(1) to Item(Count)), for range-for. The
// count is read once, when the range is made.
template <class List> class Items {
  public:
    using Element = Ptr<typename ElementOf<List>::type>;

    explicit Items(Ptr<List> list) : m_list(std::move(list)) {
        if (m_list) m_count = get(m_list, &List::get_Count);
    }
    long size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }

    // The element at a 0-based position.
    Element operator[](long index) const {
        VARIANT value;
        VariantInit(&value);
        detail::Check(m_list->get_Item(index + 1, &value));
        Element element;
        if (V_VT(&value) == VT_DISPATCH && V_DISPATCH(&value)) {
            const HRESULT hr = V_DISPATCH(&value)->QueryInterface(
                detail::Iid<typename ElementOf<List>::type>::get(), reinterpret_cast<void**>(element.put()));
            if (FAILED(hr)) {
                VariantClear(&value);
                throw Error(hr, detail::HexCode(hr));
            }
        }
        VariantClear(&value);
        return element;
    }

    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Element;
        using difference_type = long;
        using pointer = void;
        using reference = Element;

        iterator(const Items* items, long index) : m_items(items), m_index(index) {}
        Element operator*() const { return (*m_items)[m_index]; }
        iterator& operator++() {
            ++m_index;
            return *this;
        }
        bool operator==(const iterator& other) const { return m_index == other.m_index; }
        bool operator!=(const iterator& other) const { return m_index != other.m_index; }

      private:
        const Items* m_items;
        long m_index;
    };
    iterator begin() const { return iterator(this, 0); }
    iterator end() const { return iterator(this, m_count); }

  private:
    Ptr<List> m_list;
    long m_count = 0;
};

template <class List> Items<List> items(Ptr<List> list) {
    return Items<List>(std::move(list));
}

// ---- The parser ---------------------------------------------------------------------------

// COM set up for the calling thread for the object's lifetime (CoInitializeEx), as a
// Windows host must before it creates objects; natively it does nothing.
class Apartment {
  public:
    explicit Apartment(DWORD model = COINIT_APARTMENTTHREADED) : m_hr(CoInitializeEx(nullptr, model)) {}
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() {
        if (SUCCEEDED(m_hr)) CoUninitialize();
    }
    HRESULT hresult() const noexcept { return m_hr; }

  private:
    HRESULT m_hr;
};

class Parser {
  public:
    // A new Tarvolin.Parser from the COM runtime (the registered class, or natively the
    // component the program is linked with).
    Parser() {
        detail::Check(CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IParser,
                                       reinterpret_cast<void**>(m_parser.put())));
    }
    // A parser the host created itself (a class factory of its own, an activation context).
    explicit Parser(Ptr<IParser> parser) : m_parser(std::move(parser)) {
        if (!m_parser) throw Error(E_POINTER, detail::HexCode(E_POINTER));
    }

    // Parses one statement given in UTF-8 (bytes that are not UTF-8 are read as Latin-1).
    // A statement that is not accepted throws Error with the parser's error report.
    void parse(std::string_view sql) {
        const std::basic_string<OLECHAR> text = Utf8ToUtf16(sql);
        if (text.size() > 0x7FFFFFFF) throw Error(E_OUTOFMEMORY, detail::HexCode(E_OUTOFMEMORY));
        BSTR bstr = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
        if (!bstr) throw Error(E_OUTOFMEMORY, detail::HexCode(E_OUTOFMEMORY));
        const HRESULT hr = m_parser->ParseSQL(bstr);
        SysFreeString(bstr);
        detail::Check(hr);
    }

    STATEMENT_TYPE statement_type() const { return get(m_parser, &IParser::get_StatementType); }
    // The statement of the last parse; empty unless it was of that type.
    Ptr<ISelectStmt> select() const { return get(m_parser, &IParser::get_SelectStmt); }
    Ptr<IUpdateStmt> update() const { return get(m_parser, &IParser::get_UpdateStmt); }
    Ptr<IInsertStmt> insert() const { return get(m_parser, &IParser::get_InsertStmt); }
    Ptr<IDeleteStmt> delete_statement() const { return get(m_parser, &IParser::get_DeleteStmt); }
    Ptr<ICreateTableStmt> create_table() const { return get(m_parser, &IParser::get_CreateTableStmt); }
    Ptr<IDropStmt> drop_table() const { return get(m_parser, &IParser::get_DropTableStmt); }
    Ptr<ISetOperationsStmt> set_operations() const { return get(m_parser, &IParser::get_SetOperationsStmt); }

    const Ptr<IParser>& com() const noexcept { return m_parser; }

  private:
    Ptr<IParser> m_parser;
};

} // namespace tarvolin
