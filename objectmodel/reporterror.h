// Publishing error information for the calling thread.
#pragma once

#include <string>

#include "platform/platform.h"

// Publishes an error object (null GUID; source = the ProgID registered for clsid, if any;
// description = text converted with the thread's ANSI code page) and returns
// DISP_E_EXCEPTION. A null text gives E_POINTER and a failed conversion E_OUTOFMEMORY,
// both without publishing anything.
HRESULT ReportError(REFCLSID clsid, const char* description);

// The message text of an automation error, as shown when releasing a statement's
// sub-objects raises one: the system's text for the code, else "IDispatch error #n" for
// codes 0x80040201 to 0x8004FFFF, else "Unknown error 0x...".
std::string AutomationErrorMessage(HRESULT code);

// An automation error raised as an exception: a code and, optionally, its error object
// (one reference owned by the exception).
class CAutomationError {
public:
    explicit CAutomationError(HRESULT code, IErrorInfo* info = nullptr) : m_hr(code), m_pInfo(info) {}
    CAutomationError(const CAutomationError& other) : m_hr(other.m_hr), m_pInfo(other.m_pInfo) {
        if (m_pInfo) m_pInfo->AddRef();
    }
    CAutomationError& operator=(const CAutomationError&) = delete;
    ~CAutomationError() {
        if (m_pInfo) m_pInfo->Release();
    }
    HRESULT Error() const { return m_hr; }
    IErrorInfo* ErrorInfo() const { return m_pInfo; }

private:
    HRESULT m_hr;
    IErrorInfo* m_pInfo;
};

// Shows an automation error in a message box without owner: the caption is the error's
// description (if it has an error object), the text its message.
void ShowAutomationError(const CAutomationError& error);

// Releases object; an automation error raised by the release is shown, not passed on.
void ReleaseShowingErrors(IUnknown* object);
