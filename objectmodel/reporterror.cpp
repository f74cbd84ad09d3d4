#include "objectmodel/reporterror.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

HRESULT ReportError(REFCLSID clsid, const char* description) {
    if (!description) return E_POINTER;

    std::vector<OLECHAR> wide;
    const int length = static_cast<int>(std::strlen(description));
    try {
        const int n = length ? MultiByteToWideChar(CP_ACP, 0, description, length, nullptr, 0) : 0;
        wide.resize(static_cast<size_t>(n) + 1);
        if (n) MultiByteToWideChar(CP_ACP, 0, description, length, reinterpret_cast<LPWSTR>(wide.data()), n);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }

    ICreateErrorInfo* create = nullptr;
    if (FAILED(CreateErrorInfo(&create)) || !create) return DISP_E_EXCEPTION;
    create->SetGUID(GUID_NULL);
    LPOLESTR progId = nullptr;
    if (SUCCEEDED(ProgIDFromCLSID(clsid, &progId)) && progId) {
        create->SetSource(progId);
        CoTaskMemFree(progId);
    }
    create->SetDescription(reinterpret_cast<LPOLESTR>(wide.data()));
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info))) && info) {
        SetErrorInfo(0, info);
        info->Release();
    }
    create->Release();
    return DISP_E_EXCEPTION;
}

std::string AutomationErrorMessage(HRESULT code) {
    char* buffer = nullptr;
    DWORD n = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                             reinterpret_cast<LPSTR>(&buffer), 0, nullptr);
    if (n && buffer) {
        std::string text(buffer, n);
        LocalFree(buffer);
        if (!text.empty() && text.back() == '\n') text.pop_back();
        if (!text.empty() && text.back() == '\r') text.pop_back();
        return text;
    }
    char text[32];
    const unsigned long u = static_cast<uint32_t>(code); // not sign-extended where long has 64 bits
    if (u > 0x80040200UL && u <= 0x8004FFFFUL)
        std::snprintf(text, sizeof text, "IDispatch error #%d", static_cast<int>(u - 0x80040200UL));
    else
        std::snprintf(text, sizeof text, "Unknown error 0x%0lX", u);
    return text;
}

void ShowAutomationError(const CAutomationError& error) {
    std::string caption;
    if (IErrorInfo* info = error.ErrorInfo()) {
        BSTR description = nullptr;
        if (SUCCEEDED(info->GetDescription(&description)) && description) {
            const int n = WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(description),
                                              static_cast<int>(SysStringLen(description)), nullptr, 0, nullptr, nullptr);
            if (n > 0) {
                caption.resize(static_cast<size_t>(n));
                WideCharToMultiByte(CP_ACP, 0, reinterpret_cast<LPCWSTR>(description),
                                    static_cast<int>(SysStringLen(description)), &caption[0], n, nullptr, nullptr);
            }
        }
        SysFreeString(description);
    }
    const std::string text = AutomationErrorMessage(error.Error());
    MessageBoxA(nullptr, text.c_str(), caption.c_str(), MB_OK);
}

void ReleaseShowingErrors(IUnknown* object) {
    if (!object) return;
    try {
        object->Release();
    } catch (const CAutomationError& error) {
        ShowAutomationError(error);
    }
}
