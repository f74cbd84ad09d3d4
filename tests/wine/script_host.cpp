// script_host: runs a JScript or VBScript file in the system's script engine, as cscript
// does, and then checks what cscript cannot: that the component has no live object left
// once the engine is closed (DllCanUnloadNow of the loaded tarvolin.dll answers S_OK).
//
//   script_host [--engine-keeps-objects] SCRIPT.js|SCRIPT.vbs
//
// The script sees one named item, WScript, with the members the test scripts use:
// Echo(text) prints a line, Quit(code) sets the exit code, CreateObject(progid) creates an
// object and Check(what, actual, expected) counts a check, which passes when both values
// are of the same kind (text, number, boolean, ...) and read the same as text. The scripts
// create their parsers with WScript.CreateObject rather than new ActiveXObject or
// VBScript's CreateObject: Wine's script engines keep the class factory that those obtain,
// and an outside reference to the factory keeps the module locked, so DllCanUnloadNow could
// never answer S_OK. Wine's JScript never releases what new Enumerator holds: a script that
// uses it runs with --engine-keeps-objects, which leaves that check out. An error the script
// does not catch fails the run. The last line printed is "script_host: all <n> checks
// passed" when every check passed, the script quit with 0 and raised nothing.
#include <windows.h>

// The script engines' interface ids are defined here, by the header itself.
#include <initguid.h>

#include <activscp.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

constexpr DISPID kEcho = 1, kQuit = 2, kCreateObject = 3, kCheck = 4;

int g_nExitCode = 0, g_nChecks = 0, g_nFailures = 0;
bool g_bScriptError = false;

void Check(const std::string& what, bool ok) {
    ++g_nChecks;
    if (!ok) ++g_nFailures;
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what.c_str());
    std::fflush(stdout);
}

// A script's value as "<kind>:<text>" (kinds: s text, n number, b boolean, e empty, u null,
// o object), and the text alone; a failed check shows both values in the first form.
std::wstring KindAndText(VARIANT& value, std::wstring& text) {
    VARIANT v, t;
    VariantInit(&v);
    VariantInit(&t);
    VariantCopyInd(&v, &value); // VBScript passes its variables by reference
    const VARTYPE vt = V_VT(&v);
    const wchar_t kind = vt == VT_BSTR                           ? L's'
                         : vt == VT_BOOL                         ? L'b'
                         : vt == VT_EMPTY                        ? L'e'
                         : vt == VT_NULL                         ? L'u'
                         : vt == VT_DISPATCH || vt == VT_UNKNOWN ? L'o'
                                                                 : L'n';
    text = kind == L'u' ? L"null" : kind == L'o' ? L"<object>" : L"";
    if (text.empty() && SUCCEEDED(VariantChangeType(&t, &v, 0, VT_BSTR)) && V_BSTR(&t))
        text.assign(V_BSTR(&t), SysStringLen(V_BSTR(&t)));
    VariantClear(&t);
    VariantClear(&v);
    return std::wstring(1, kind) + L":" + text;
}

std::string Utf8(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, &utf8[0], n, nullptr, nullptr);
    return utf8;
}

void FreeExcepInfo(EXCEPINFO& info) {
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
}

// The IUnknown of a static object that answers for one interface.
template <class Interface, const IID& Iid> class CStatic : public Interface {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = iid == IID_IUnknown || iid == Iid ? static_cast<Interface*>(this) : nullptr;
        return *result ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

// The WScript item: a static object whose IDispatch knows its members by name.
class CHostObject : public CStatic<IDispatch, IID_IDispatch> {
  public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        HRESULT hr = S_OK;
        for (UINT i = 0; i < count; ++i) {
            ids[i] = i > 0                                   ? DISPID_UNKNOWN
                     : !lstrcmpiW(names[0], L"Echo")         ? kEcho
                     : !lstrcmpiW(names[0], L"Quit")         ? kQuit
                     : !lstrcmpiW(names[0], L"CreateObject") ? kCreateObject
                     : !lstrcmpiW(names[0], L"Check")        ? kCheck
                                                             : DISPID_UNKNOWN;
            if (ids[i] == DISPID_UNKNOWN) hr = DISP_E_UNKNOWNNAME;
        }
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                                     EXCEPINFO*, UINT*) override {
        if (result) VariantInit(result);
        VARIANT arg;
        VariantInit(&arg);
        if (member == kEcho) {
            std::wstring line, text;
            for (UINT i = params->cArgs; i-- > 0;) { // arguments come last to first
                KindAndText(params->rgvarg[i], text);
                line += text + (i ? L" " : L"");
            }
            std::printf("%s\n", Utf8(line).c_str());
            std::fflush(stdout);
            return S_OK;
        }
        if (member == kCreateObject) {
            CLSID clsid;
            IDispatch* object = nullptr;
            if (params->cArgs != 1 || FAILED(VariantChangeType(&arg, &params->rgvarg[0], 0, VT_BSTR)))
                return DISP_E_TYPEMISMATCH;
            HRESULT hr = CLSIDFromProgID(V_BSTR(&arg), &clsid);
            VariantClear(&arg);
            if (SUCCEEDED(hr))
                hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                      reinterpret_cast<void**>(&object));
            if (FAILED(hr)) return hr;
            if (!result) {
                object->Release();
                return S_OK;
            }
            V_VT(result) = VT_DISPATCH;
            V_DISPATCH(result) = object;
            return S_OK;
        }
        if (member == kCheck) {
            if (params->cArgs != 3) return DISP_E_BADPARAMCOUNT;
            std::wstring what, actual, expected;
            KindAndText(params->rgvarg[2], what);
            const std::wstring got = KindAndText(params->rgvarg[1], actual);
            const std::wstring want = KindAndText(params->rgvarg[0], expected);
            const bool same = got == want;
            Check(Utf8(what + L": " + (same ? actual : L"got <" + got + L">, expected <" + want + L">")),
                  same);
            return S_OK;
        }
        if (member == kQuit) {
            if (params->cArgs > 0 && SUCCEEDED(VariantChangeType(&arg, &params->rgvarg[0], 0, VT_I4)))
                g_nExitCode = V_I4(&arg);
            return S_OK;
        }
        return DISP_E_MEMBERNOTFOUND;
    }
};

CHostObject g_Host;

class CScriptSite : public CStatic<IActiveScriptSite, IID_IActiveScriptSite> {
  public:
    HRESULT STDMETHODCALLTYPE GetLCID(LCID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR name, DWORD mask, IUnknown** item,
                                          ITypeInfo** info) override {
        if (item) *item = nullptr;
        if (info) *info = nullptr;
        if (lstrcmpiW(name, L"WScript")) return TYPE_E_ELEMENTNOTFOUND;
        if ((mask & SCRIPTINFO_IUNKNOWN) && item) *item = static_cast<IDispatch*>(&g_Host);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError* error) override {
        g_bScriptError = true;
        EXCEPINFO info = {};
        DWORD context = 0;
        ULONG line = 0;
        LONG column = 0;
        error->GetExceptionInfo(&info);
        error->GetSourcePosition(&context, &line, &column);
        std::printf("FAIL uncaught script error 0x%08lX at line %lu: ",
                    static_cast<unsigned long>(info.scode), line + 1);
        std::printf("%s\n", info.bstrDescription ? Utf8(info.bstrDescription).c_str() : "");
        FreeExcepInfo(info);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE OnEnterScript() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnLeaveScript() override { return S_OK; }
};

CScriptSite g_Site;

bool EndsWith(const std::string& text, const char* end) {
    const std::string e(end);
    return text.size() >= e.size() && text.compare(text.size() - e.size(), e.size(), e) == 0;
}

// Runs the script to its end and closes the engine; false when the engine could not run it.
bool RunScript(const wchar_t* engine, const std::wstring& code) {
    CLSID clsid;
    IActiveScript* script = nullptr;
    IActiveScriptParse* parse = nullptr;
    if (FAILED(CLSIDFromProgID(engine, &clsid)) ||
        FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IActiveScript,
                                reinterpret_cast<void**>(&script))))
        return false;
    bool ran = SUCCEEDED(script->QueryInterface(IID_IActiveScriptParse, reinterpret_cast<void**>(&parse))) &&
               SUCCEEDED(script->SetScriptSite(&g_Site)) && SUCCEEDED(parse->InitNew()) &&
               SUCCEEDED(script->AddNamedItem(L"WScript", SCRIPTITEM_ISVISIBLE));
    if (ran) {
        EXCEPINFO info = {};
        parse->ParseScriptText(code.c_str(), nullptr, nullptr, nullptr, 0, 0, SCRIPTTEXT_ISVISIBLE, nullptr,
                               &info);
        FreeExcepInfo(info);
        ran = SUCCEEDED(script->SetScriptState(SCRIPTSTATE_CONNECTED));
    }
    script->Close();
    if (parse) parse->Release();
    script->Release();
    return ran;
}

} // namespace

int main(int argc, char** argv) {
    const bool engineKeepsObjects = argc == 3 && std::string(argv[1]) == "--engine-keeps-objects";
    const std::string path = argc == 2 || engineKeepsObjects ? argv[argc - 1] : "";
    const wchar_t* engine = EndsWith(path, ".js")    ? L"JScript"
                            : EndsWith(path, ".vbs") ? L"VBScript"
                                                     : nullptr;
    std::ifstream in(path, std::ios::binary);
    if (!engine || !in) {
        std::fprintf(stderr, "usage: script_host [--engine-keeps-objects] SCRIPT.js|SCRIPT.vbs\n");
        return 2;
    }
    std::stringstream text;
    text << in.rdbuf();
    const std::string bytes = text.str();
    const std::wstring code(bytes.begin(), bytes.end()); // the scripts are ASCII

    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Check("the script engine ran the script", RunScript(engine, code));
    Check("the script raised no uncaught error", !g_bScriptError);
    Check("the script quit with exit code 0", g_nExitCode == 0);
    HMODULE component = GetModuleHandleW(L"tarvolin.dll");
    Check("the script loaded tarvolin.dll", component != nullptr);
    if (component && !engineKeepsObjects) {
        auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
            reinterpret_cast<void*>(GetProcAddress(component, "DllCanUnloadNow")));
        Check("no object of the component is alive (DllCanUnloadNow answers S_OK)",
              canUnloadNow && canUnloadNow() == S_OK);
    }
    CoUninitialize();
    if (g_nFailures) {
        std::printf("script_host: %d of %d checks failed\n", g_nFailures, g_nChecks);
        return 1;
    }
    std::printf("script_host: all %d checks passed\n", g_nChecks);
    return 0;
}
