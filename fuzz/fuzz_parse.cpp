// A libFuzzer target: any bytes go to ParseSQL of a Parser made by the class factory, and
// everything the parser hands out is walked through the public interfaces (every list,
// stack and item, with AsString). The same bytes then go to the narrow parse of a parse
// tree that is kept from input to input, as a parser keeps its own.
//
// The input is read as text of one byte per character (Latin-1), so that the seeds, SQL
// statements, are what the parser sees; an input that starts with the byte 0xFF is read as
// UTF-16 instead (little-endian pairs after that byte), which reaches characters the ANSI
// code page cannot represent.
//
// Besides the sanitizers' findings, the target stops on a broken promise:
//   - ParseSQL answers S_OK or DISP_E_EXCEPTION (or E_OUTOFMEMORY), and the statement type
//     and the error description agree with the answer;
//   - every list delivers Count elements, every stack object enumerates, peeks and
//     indexes consistently;
//   - once the parser is released, no object of the component is alive;
//   - for text of printable ASCII and blanks, the narrow parse accepts exactly when
//     ParseSQL does.
//
// Bytes that no scanner rule matches are echoed by the scanner; here they go to a stream
// that only counts them, so the fuzzer's own output stays readable.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "component/classfactory.h"
#include "parsetree/dump.h"
#include "parsetree/parsetree.h"
#include "tools/walker.h"

namespace {

[[noreturn]] void Fail(const char* what, int line) {
    std::fprintf(stderr, "fuzz_parse.cpp:%d: check failed: %s\n", line, what);
    std::abort();
}

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) Fail(#condition, __LINE__);                                                        \
    } while (0)

class CountingBuffer : public std::streambuf {
  public:
    size_t bytes = 0;

  protected:
    int_type overflow(int_type c) override {
        ++bytes;
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char*, std::streamsize n) override {
        bytes += static_cast<size_t>(n);
        return n;
    }
};

CountingBuffer g_EchoBuffer;
std::ostream g_Echo(&g_EchoBuffer);

// Count, Item at and past both ends, Peek, and the enumerator (Next one by one and in a
// batch, Skip, Reset, Clone) of one stack, none of which may disagree with the others.
void CheckStack(IGenericStack* stack) {
    LONG count = -1;
    FUZZ_CHECK(stack->get_Count(&count) == S_OK && count >= 0);
    VARIANT element;
    VariantInit(&element);
    FUZZ_CHECK(stack->get_Item(0, &element) == E_INVALIDARG);
    FUZZ_CHECK(stack->get_Item(count + 1, &element) == E_FAIL);
    FUZZ_CHECK(V_VT(&element) == VT_EMPTY);
    HRESULT peek = stack->Peek(&element);
    if (count == 0) {
        FUZZ_CHECK(peek == DISP_E_EXCEPTION);
    } else {
        FUZZ_CHECK(peek == S_OK);
        VARIANT first;
        VariantInit(&first);
        FUZZ_CHECK(stack->get_Item(1, &first) == S_OK);
        FUZZ_CHECK(V_VT(&first) == V_VT(&element));
        FUZZ_CHECK(V_VT(&first) != VT_DISPATCH || V_DISPATCH(&first) == V_DISPATCH(&element));
        VariantClear(&first);
        VariantClear(&element);
    }

    IUnknown* unknown = nullptr;
    FUZZ_CHECK(stack->get__NewEnum(&unknown) == S_OK && unknown);
    IEnumVARIANT* items = nullptr;
    FUZZ_CHECK(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&items)) == S_OK);
    unknown->Release();
    LONG seen = 0;
    ULONG fetched = 0;
    while (items->Next(1, &element, &fetched) == S_OK) {
        FUZZ_CHECK(fetched == 1);
        VariantClear(&element);
        ++seen;
    }
    FUZZ_CHECK(fetched == 0 && seen == count);
    FUZZ_CHECK(items->Reset() == S_OK);
    FUZZ_CHECK(items->Skip(static_cast<ULONG>(count)) == S_OK);
    FUZZ_CHECK(items->Skip(1) == S_FALSE);
    FUZZ_CHECK(items->Reset() == S_OK);
    IEnumVARIANT* clone = nullptr;
    FUZZ_CHECK(items->Clone(&clone) == S_OK && clone);
    std::vector<VARIANT> batch(static_cast<size_t>(count) + 1);
    for (VARIANT& v : batch)
        VariantInit(&v);
    FUZZ_CHECK(clone->Next(static_cast<ULONG>(batch.size()), batch.data(), &fetched) == S_FALSE);
    FUZZ_CHECK(fetched == static_cast<ULONG>(count));
    for (VARIANT& v : batch)
        VariantClear(&v);
    clone->Release();
    items->Release();
}

// Checks the shape of the walk: objects and lists nest properly, every list delivers the
// number of elements it announced, and every stack that is an object of its own (the
// stacks of a select list) passes CheckStack.
class CheckingVisitor : public CModelVisitor {
  public:
    void BeginObject(const char* name, IDispatch* object) override {
        Element(name);
        m_Open.push_back(-1);
        IGenericStack* stack = nullptr;
        if (object->QueryInterface(IID_IGenericStack, reinterpret_cast<void**>(&stack)) == S_OK) {
            CheckStack(stack);
            stack->Release();
        }
        ++objects;
    }
    void EndObject() override {
        FUZZ_CHECK(!m_Open.empty() && m_Open.back() == -1);
        m_Open.pop_back();
    }
    void BeginList(const char* name, long count) override {
        Element(name);
        FUZZ_CHECK(count >= 0);
        m_Open.push_back(count);
    }
    void EndList() override {
        FUZZ_CHECK(!m_Open.empty() && m_Open.back() == 0);
        m_Open.pop_back();
    }
    void Text(const char* name, const std::string&) override { Element(name); }
    void Number(const char* name, double) override { Element(name); }
    void Enumeration(const char* name, long, const char* valueName) override {
        Element(name);
        FUZZ_CHECK(valueName != nullptr);
    }

    bool Closed() const { return m_Open.empty(); }
    size_t objects = 0;

  private:
    // A list element has no name; it counts down its list's announced count.
    void Element(const char* name) {
        if (name) return;
        if (m_Open.empty()) return; // the walk's own start
        FUZZ_CHECK(m_Open.back() > 0);
        --m_Open.back();
    }

    std::vector<long> m_Open; // per open list, the elements still to come; -1 for an object
};

std::basic_string<OLECHAR> TextOf(const uint8_t* data, size_t size) {
    std::basic_string<OLECHAR> text;
    if (size > 0 && data[0] == 0xFF) {
        for (size_t i = 1; i + 1 < size; i += 2)
            text.push_back(static_cast<OLECHAR>(data[i] | (data[i + 1] << 8)));
        return text;
    }
    text.assign(data, data + size);
    return text;
}

// Printable ASCII and blanks: the text that reaches the scanner unchanged through both
// entries.
bool IsPlainText(const uint8_t* data, size_t size) {
    for (size_t i = 0; i < size; ++i)
        if (data[i] == 0 || data[i] >= 0x80 ||
            (data[i] < 0x20 && data[i] != '\t' && data[i] != '\n' && data[i] != '\r'))
            return false;
    return true;
}

std::string ErrorDescription() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return std::string();
    BSTR text = nullptr;
    info->GetDescription(&text);
    std::string description(SysStringLen(text), 'x');
    SysFreeString(text);
    info->Release();
    return description;
}

HRESULT ParseAndWalk(const uint8_t* data, size_t size) {
    IClassFactory* factory = nullptr;
    FUZZ_CHECK(DllGetClassObject(CLSID_Parser, IID_IClassFactory, reinterpret_cast<void**>(&factory)) ==
               S_OK);
    IParser* parser = nullptr;
    FUZZ_CHECK(factory->CreateInstance(nullptr, IID_IParser, reinterpret_cast<void**>(&parser)) == S_OK);
    factory->Release();

    const std::basic_string<OLECHAR> text = TextOf(data, size);
    BSTR bstr = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    SetErrorInfo(0, nullptr);
    const HRESULT hr = parser->ParseSQL(bstr);
    SysFreeString(bstr);
    FUZZ_CHECK(hr == S_OK || hr == DISP_E_EXCEPTION || hr == E_OUTOFMEMORY);

    STATEMENT_TYPE type = STATEMENT_TYPE_UNKNOWN;
    FUZZ_CHECK(parser->get_StatementType(&type) == S_OK);
    if (hr == S_OK) {
        FUZZ_CHECK(type >= STATEMENT_TYPE_UPDATE && type <= STATEMENT_TYPE_SETOPERATIONS);
    } else {
        FUZZ_CHECK(type == STATEMENT_TYPE_UNKNOWN);
        if (hr == DISP_E_EXCEPTION) FUZZ_CHECK(!ErrorDescription().empty());
    }

    CheckingVisitor visitor;
    WalkStatement(parser, visitor);
    FUZZ_CHECK(visitor.Closed());
    FUZZ_CHECK((hr == S_OK) == (visitor.objects > 1)); // the parser and its statement

    parser->Release();
    FUZZ_CHECK(DllCanUnloadNow() == S_OK);
    return hr;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // ParseSQL's scanner echoes to standard output; this target points it at the counter.
    std::cout.rdbuf(&g_EchoBuffer);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const HRESULT hr = ParseAndWalk(data, size);

    static CParseTree tree;
    tree.SetEchoStream(&g_Echo);
    const int32_t result = tree.ParseNarrow(reinterpret_cast<const char*>(data), size);
    if (result == PARSE_ACCEPTED) {
        FUZZ_CHECK(!DumpTree(tree).empty());
    } else {
        FUZZ_CHECK(!tree.GetErrorText().empty());
    }
    if (IsPlainText(data, size) && hr != E_OUTOFMEMORY)
        FUZZ_CHECK((result == PARSE_ACCEPTED) == (hr == S_OK));
    return 0;
}
