// Narrow text (ANSI code page) to and from automation strings.
#pragma once

#include <string>
#include <string_view>

#include "platform/platform.h"

// *result = a new BSTR holding text converted with the thread's ANSI code page; an empty
// text gives an empty BSTR. E_POINTER for a null result, E_OUTOFMEMORY when allocation
// fails (nothing is written then).
HRESULT NarrowToBSTR(std::string_view text, BSTR* result);

// The same for a UTF-16 text that is already wide.
HRESULT WideToBSTR(const OLECHAR* text, size_t length, BSTR* result);
