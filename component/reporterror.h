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
