// script_host: runs a JScript or VBScript file in the system's script engine, as cscript
// does, and then checks what cscript cannot: that the component has no live object left
// once the engine is closed (DllCanUnloadNow of the loaded tarvolin.dll answers S_OK).
//
//   script_host SCRIPT.js|SCRIPT.vbs
//
// The script sees one named item, WScript, with the three members the test scripts use:
// Echo(text) prints a line, Quit(code) sets the exit code and CreateObject(progid) creates
// an object. The scripts create their parsers with WScript.CreateObject rather than
// new ActiveXObject or VBScript's CreateObject: Wine's script engines keep the class
// factory that those obtain, and an outside reference to the factory keeps the module
// locked, so DllCanUnloadNow could never answer S_OK. An error the script does not catch
// fails the run. The last line printed is "script_host: all <n> checks passed" when
// the script quit with 0, raised nothing and left no object alive.
#include <windows.h>

// The script engines' interface ids are defined here, by the header itself.
#include <initguid.h>

#include <activscp.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

constexpr DISPID kEcho = 1, kQuit = 2, kCreateObject = 3;

int g_nExitCode = 0;
bool g_bScriptError = false;

void PrintWide(const wchar_t* text, UINT length) {
    const int n =
        WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), &utf8[0], n, nullptr, nullptr);
    std::printf("%s\n", utf8.c_str());
    std::fflush(stdout);
}

// The WScript item: a static object whose IDispatch knows Echo and Quit by name.
class CHostObject : public IDispatch {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (iid != IID_IUnknown && iid != IID_IDispatch) return E_NOINTERFACE;
        *result = static_cast<IDispatch*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
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
            std::wstring line;
            // Arguments come last to first.
            for (UINT i = params->cArgs; i-- > 0;) {
                if (FAILED(VariantChangeType(&arg, &params->rgvarg[i], 0, VT_BSTR)))
                    return DISP_E_TYPEMISMATCH;
                line.append(V_BSTR(&arg), SysStringLen(V_BSTR(&arg)));
                if (i) line += L' ';
                VariantClear(&arg);
            }
            PrintWide(line.c_str(), static_cast<UINT>(line.size()));
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
        if (member == kQuit) {
            if (params->cArgs > 0 && SUCCEEDED(VariantChangeType(&arg, &params->rgvarg[0], 0, VT_I4)))
                g_nExitCode = V_I4(&arg);
            return S_OK;
        }
        return DISP_E_MEMBERNOTFOUND;
    }
};

CHostObject g_Host;

class CScriptSite : public IActiveScriptSite {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        if (!result) return E_POINTER;
        *result = nullptr;
        if (iid != IID_IUnknown && iid != IID_IActiveScriptSite) return E_NOINTERFACE;
        *result = static_cast<IActiveScriptSite*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
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
        if (info.bstrDescription)
            PrintWide(info.bstrDescription, SysStringLen(info.bstrDescription));
        else
            std::printf("\n");
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
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
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
        ran = SUCCEEDED(script->SetScriptState(SCRIPTSTATE_CONNECTED));
    }
    script->Close();
    if (parse) parse->Release();
    script->Release();
    return ran;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: script_host SCRIPT.js|SCRIPT.vbs\n");
        return 2;
    }
    const std::string path = argv[1];
    const wchar_t* engine = EndsWith(path, ".js")    ? L"JScript"
                            : EndsWith(path, ".vbs") ? L"VBScript"
                                                     : nullptr;
    std::ifstream in(path, std::ios::binary);
    if (!engine || !in) {
        std::fprintf(stderr, "script_host: cannot run %s\n", path.c_str());
        return 2;
    }
    std::stringstream text;
    text << in.rdbuf();
    const std::string bytes = text.str();
    const std::wstring code(bytes.begin(), bytes.end()); // the scripts are ASCII

    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const bool ran = RunScript(engine, code);

    int checks = 0, failures = 0;
    auto check = [&](const char* what, bool ok) {
        ++checks;
        if (!ok) ++failures;
        std::printf("%s %s\n", ok ? "ok  " : "FAIL", what);
    };
    check("the script engine ran the script", ran);
    check("the script raised no uncaught error", !g_bScriptError);
    check("the script quit with exit code 0", g_nExitCode == 0);
    HMODULE component = GetModuleHandleW(L"tarvolin.dll");
    check("the script loaded tarvolin.dll", component != nullptr);
    if (component) {
        auto canUnloadNow = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
            reinterpret_cast<void*>(GetProcAddress(component, "DllCanUnloadNow")));
        check("no object of the component is alive (DllCanUnloadNow answers S_OK)",
              canUnloadNow && canUnloadNow() == S_OK);
    }
    CoUninitialize();
    if (failures) {
        std::printf("script_host: %d of %d checks failed\n", failures, checks);
        return 1;
    }
    std::printf("script_host: all %d checks passed\n", checks);
    return 0;
}
