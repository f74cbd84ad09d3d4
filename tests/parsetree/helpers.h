// Shared helpers of the parser tests.
#pragma once

#include <sstream>
#include <string>

#include "parsetree/parsetree.h"

// Parses narrow text into tree; the echo is swallowed.
inline int ParseInto(CParseTree& tree, const std::string& text) {
    std::ostringstream echo;
    tree.SetEchoStream(&echo);
    const int result = tree.ParseNarrow(text.data(), text.size());
    tree.SetEchoStream(nullptr);
    return result;
}

// head, then piece n times with "#" replaced by the count, then tail.
inline std::string Repeat(std::string s, const std::string& piece, int n, const char* tail) {
    const size_t at = piece.find('#');
    for (int i = 0; i < n; ++i)
        s += piece.substr(0, at) + std::to_string(i) + piece.substr(at + 1);
    return s + tail;
}
