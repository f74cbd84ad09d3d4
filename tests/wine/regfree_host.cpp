// regfree_host.cpp: a host that uses Tarvolin.Parser without any registration, through the
// activation context of its application manifest (regfree_host.exe.manifest, which depends
// on the component's assembly, Tarvolin.manifest beside tarvolin.dll in its folder). It
// calls the parser as a late-bound client does: IDispatch by name, the names resolved
// through the type library the component manifest declares.
//
//   regfree_host.exe use       creates Parser and checks parsing, properties and errors
//   regfree_host.exe missing   the manifest's DLL is not there: creation must fail with
//                              HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND) (under Wine 8, whose
//                              COM says so for any DLL it cannot load, E_ACCESSDENIED)
//
// The exit code is 0 when every check passed and 1 otherwise.
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "tarvolin_h.h"

namespace {

int g_Checks = 0, g_Failures = 0;

void Check(const char* what, bool ok, const std::string& detail = "") {
    ++g_Checks;
    if (!ok) ++g_Failures;
    std::printf("%s %s%s%s\n", ok ? "ok  " : "FAIL", what, detail.empty() ? "" : ": ", detail.c_str());
}

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lx", static_cast<unsigned long>(hr));
    return text;
}

std::string Narrow(const OLECHAR* text) {
    std::string out;
    for (; text && *text; ++text) out += *text < 0x80 ? static_cast<char>(*text) : '?';
    return out;
}

// Calls a member of an object by name: a method with one string argument, or a property
// read (with an optional index). The result goes to `result`.
HRESULT Call(IDispatch* object, const wchar_t* name, WORD kind, VARIANT* argument, VARIANT* result,
             std::string* error = nullptr, std::string* source = nullptr) {
    DISPID id = 0;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    HRESULT hr = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    DISPPARAMS params = {argument, nullptr, argument ? 1u : 0u, 0};
    EXCEPINFO exception = {};
    VariantInit(result);
    hr = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &params, result, &exception, nullptr);
    if (error) *error = Narrow(exception.bstrDescription);
    if (source) *source = Narrow(exception.bstrSource);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    return hr;
}

HRESULT Parse(IDispatch* parser, const wchar_t* sql, std::string* error = nullptr, std::string* source = nullptr) {
    VARIANT argument, result;
    argument.vt = VT_BSTR;
    argument.bstrVal = SysAllocString(sql);
    const HRESULT hr = Call(parser, L"ParseSQL", DISPATCH_METHOD, &argument, &result, error, source);
    VariantClear(&argument);
    VariantClear(&result);
    return hr;
}

// A property that holds an object.
IDispatch* Object(IDispatch* object, const wchar_t* name, VARIANT* index = nullptr) {
    VARIANT result;
    if (FAILED(Call(object, name, DISPATCH_PROPERTYGET | DISPATCH_METHOD, index, &result))) return nullptr;
    if (result.vt == VT_DISPATCH) return result.pdispVal;
    VariantClear(&result);
    return nullptr;
}

// A property as a number or a text; "(failed)" when it cannot be read.
std::string Property(IDispatch* object, const wchar_t* name) {
    VARIANT result;
    if (!object || FAILED(Call(object, name, DISPATCH_PROPERTYGET, nullptr, &result))) return "(failed)";
    std::string text = "(unexpected type)";
    if (result.vt == VT_BSTR) text = Narrow(result.bstrVal);
    if (result.vt == VT_I4) text = std::to_string(result.lVal);
    VariantClear(&result);
    return text;
}

void UseParser() {
    // By ProgID, as scripts and late-bound languages create it: the manifest's progid
    // attribute and its <progid> element each make a ProgID known. (Wine answers with a class
    // id of its own making for the manifest's class, which creates the Parser.)
    for (const wchar_t* progId : {L"Tarvolin.Parser", L"Tarvolin.Parser.1"}) {
        CLSID clsid = {};
        IDispatch* object = nullptr;
        HRESULT hr = CLSIDFromProgID(progId, &clsid);
        if (SUCCEEDED(hr))
            hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&object));
        if (SUCCEEDED(hr)) {
            hr = Parse(object, L"SELECT a FROM t");
            object->Release();
        }
        Check(("created by ProgID " + Narrow(progId) + ", ParseSQL").c_str(), hr == S_OK, Hex(hr));
    }
    // By class id, as a C++ host creates it.
    IDispatch* parser = nullptr;
    HRESULT hr = CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                  reinterpret_cast<void**>(&parser));
    Check("CoCreateInstance(CLSID_Parser, IID_IDispatch)", hr == S_OK, Hex(hr));
    if (!parser) return;

    hr = Parse(parser, L"SELECT a, b FROM orders o WHERE a > 1");
    Check("ParseSQL of a SELECT", hr == S_OK, Hex(hr));
    Check("StatementType", Property(parser, L"StatementType") == "2", Property(parser, L"StatementType"));
    IDispatch* select = Object(parser, L"SelectStmt");
    IDispatch* tables = select ? Object(select, L"TableIdentList") : nullptr;
    VARIANT first;
    first.vt = VT_I4;
    first.lVal = 1;
    IDispatch* table = tables ? Object(tables, L"Item", &first) : nullptr;
    Check("TableIdentList.Item(1).Name", Property(table, L"Name") == "orders", Property(table, L"Name"));
    for (IDispatch* object : {table, tables, select})
        if (object) object->Release();

    // A statement that does not parse: the description reaches the host.
    std::string error, source;
    hr = Parse(parser, L"SELECT FROM", &error, &source);
    Check("ParseSQL of a bad statement", hr == DISP_E_EXCEPTION, Hex(hr));
    Check("its description", error.compare(0, 11, "Parse error") == 0, error.substr(0, error.find('\n')));
    // The source is the class's ProgID, which ProgIDFromCLSID finds in the manifest.
    Check("its source", source == "Tarvolin.Parser.1", source);
    parser->Release();
}

// Wine's COM answers E_ACCESSDENIED for every in-process server whose DLL it cannot load,
// registered or not; Windows answers with the loader's error.
bool UnderWine() {
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

void MissingLibrary() {
    IDispatch* parser = nullptr;
    const HRESULT hr = CoCreateInstance(CLSID_Parser, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                        reinterpret_cast<void**>(&parser));
    const HRESULT expected = UnderWine() ? E_ACCESSDENIED : HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    Check("CoCreateInstance without the manifest's DLL", hr == expected, Hex(hr) + ", expected " + Hex(expected));
    if (parser) parser->Release();
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode != "use" && mode != "missing") {
        std::fprintf(stderr, "usage: regfree_host.exe use|missing\n");
        return 2;
    }
    if (FAILED(CoInitialize(nullptr))) return 1;
    if (mode == "use") UseParser();
    else MissingLibrary();
    CoUninitialize();
    if (g_Failures) {
        std::printf("regfree_host: %d of %d checks failed\n", g_Failures, g_Checks);
        return 1;
    }
    std::printf("regfree_host: all %d checks passed\n", g_Checks);
    return 0;
}
