// Where a rejected statement stopped, told as a file position with the line and a caret
// under the token, the way compilers report errors:
//
//     FILE:LINE:COLUMN: <the error report as the component gives it>
//     <the line>
//          ^
//
// Lines and columns count from 1, columns in characters.
#pragma once

#include <cstddef>
#include <string>

#include "tools/script.h"

struct ErrorPlace {
    long line = 1, column = 1;
    std::string lineText; // the line as far as it is known: up to the statement's end
    std::string caret;    // blanks (tabs under tabs) and "^" under the token
};

// The place of the byte offset where parsing stopped. With ansi the offset counts the
// bytes of the statement in the ANSI code page (as the component parses it), else the
// bytes of its UTF-8 text.
ErrorPlace LocateError(const ScriptStatement& statement, size_t offset, bool ansi);

// The report of a rejected statement: file null for a statement given as an argument.
std::string FormatRejection(const char* file, const ErrorPlace& place, const std::string& report);
