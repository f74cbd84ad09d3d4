// The oracle of the scanner's differential test: a scanner's rules compiled as a scanner of
// its own, which reads its text through a stream (see oracle_prologue.l).
#pragma once

#include <string>

struct OracleScan {
    // " t<code>:<text>" for each recorded token and " r<code>" for each value yylex
    // returned, in the order they happened; the last is " r0".
    std::string trace;
    std::string echo;  // the bytes that no rule covers
    std::string error; // the case-state error text, if any
};

// Scans text (which may hold NULs) to its end with the oracle scanner.
OracleScan OracleScanText(const std::string& text);
